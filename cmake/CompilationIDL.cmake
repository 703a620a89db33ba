# oxcdv_ajouter_idl(CIBLE <target> FICHIERS <file.idl>... [INCLURE <folder>...])
#
# Compiles each IDL file into the build tree and adds the stubs, the skeletons and the type codes to the target. The
# stubs are made again when the file, one that it includes, or the compiler changes. Whichever the ORB, the headers are
# <name>C.h (client side) and <name>S.h (server side).
include_guard(GLOBAL)

function(oxcdv_ajouter_idl)
  cmake_parse_arguments(PARSE_ARGV 0 IDL "" "CIBLE" "FICHIERS;INCLURE")
  if(IDL_UNPARSED_ARGUMENTS OR NOT IDL_CIBLE OR NOT IDL_FICHIERS)
    message(FATAL_ERROR "oxcdv_ajouter_idl: CIBLE and FICHIERS are expected, got: ${ARGV}")
  endif()

  set(sortie ${CMAKE_CURRENT_BINARY_DIR}/idl)
  file(MAKE_DIRECTORY ${sortie})
  set(options)
  foreach(dossier IN LISTS IDL_INCLURE)
    list(APPEND options -I${dossier})
  endforeach()

  foreach(fichier IN LISTS IDL_FICHIERS)
    get_filename_component(nom ${fichier} NAME_WE)
    get_filename_component(fichier ${fichier} ABSOLUTE)
    # Every IDL file of the folders that may be included: few, and cheap to compile.
    set(inclus)
    foreach(dossier IN LISTS IDL_INCLURE)
      file(GLOB trouves CONFIGURE_DEPENDS ${dossier}/*.idl)
      list(APPEND inclus ${trouves})
    endforeach()

    set(produits ${sortie}/${nom}C.h ${sortie}/${nom}C.cpp ${sortie}/${nom}Dyn.cpp)
    add_custom_command(
      OUTPUT ${produits}
      COMMAND ${OMNIIDL} -bcxx -Wba -Wbami -Wbh=C.h -Wbs=C.cpp -Wbd=Dyn.cpp ${options} -C${sortie} ${fichier}
      DEPENDS ${fichier} ${inclus} ${OMNIIDL}
      COMMENT "IDL ${nom}"
      VERBATIM)
    file(CONFIGURE OUTPUT ${sortie}/${nom}S.h CONTENT "#include \"${nom}C.h\"\n")
    set_source_files_properties(${sortie}/${nom}C.cpp ${sortie}/${nom}Dyn.cpp PROPERTIES COMPILE_OPTIONS "-w")
    target_sources(${IDL_CIBLE} PRIVATE ${produits})
  endforeach()

  target_include_directories(${IDL_CIBLE} SYSTEM PUBLIC $<BUILD_INTERFACE:${sortie}>)
endfunction()
