# Run by cpack between the installation into its folder and the making of the packages: adds what only packages have,
# and takes out what they must not have.
find_program(GZIP gzip REQUIRED)

foreach(composant IN LISTS CPACK_COMPONENTS_ALL)
  string(TOUPPER ${composant} c)
  set(paquet ${CPACK_DEBIAN_${c}_PACKAGE_NAME})
  set(racine ${CPACK_TEMPORARY_DIRECTORY}/${composant})
  if(IS_DIRECTORY ${CPACK_OXCDV_PAQUETS}/racine/${composant})
    file(COPY ${CPACK_OXCDV_PAQUETS}/racine/${composant}/ DESTINATION ${racine} NO_SOURCE_PERMISSIONS)
  endif()

  # Its documents: the copyright, what users see change, and the changes of the packages.
  set(documents ${racine}/usr/share/doc/${paquet})
  configure_file(${CPACK_OXCDV_PAQUETS}/copyright ${documents}/copyright COPYONLY)
  configure_file(${CPACK_OXCDV_JOURNAL} ${documents}/changelog COPYONLY)
  set(SOURCE ${paquet})
  configure_file(${CPACK_OXCDV_PAQUETS}/changelog.Debian.in ${documents}/changelog.Debian @ONLY)
  if(EXISTS ${CPACK_OXCDV_PAQUETS}/${composant}/lintian-overrides)
    configure_file(${CPACK_OXCDV_PAQUETS}/${composant}/lintian-overrides
                   ${racine}/usr/share/lintian/overrides/${paquet} COPYONLY)
  endif()
  file(GLOB comprimes ${documents}/changelog* ${racine}/usr/share/man/*/*.[1-8])
  execute_process(COMMAND ${GZIP} -9 -n -f ${comprimes} COMMAND_ERROR_IS_FATAL ANY)

  # The packages' libraries are where the loader looks: no path in the programs.
  file(GLOB_RECURSE binaires LIST_DIRECTORIES false ${racine}/usr/bin/* ${racine}/usr/lib/*.so.*)
  foreach(binaire IN LISTS binaires)
    if(NOT IS_SYMLINK ${binaire})
      file(RPATH_REMOVE FILE ${binaire})
    endif()
  endforeach()
endforeach()
