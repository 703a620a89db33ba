# What "cmake --install" ships: the libraries, the programs, the public headers (none of which needs an ORB header), a
# CMake package, pkg-config files, the IDL and the examples. The components are those of the packages (cmake/Paquets.cmake).
include_guard(GLOBAL)
include(CMakePackageConfigHelpers)

# What the libraries say of their types is for tests/abi.sh.
install(CODE "if(CMAKE_INSTALL_CONFIG_NAME STREQUAL Release)\n  set(CMAKE_INSTALL_DO_STRIP TRUE)\nendif()" ALL_COMPONENTS)

set(paquet ${CMAKE_INSTALL_LIBDIR}/cmake/OXcdvCli)
set(entetes ${CMAKE_INSTALL_INCLUDEDIR}/oxcdv)

# A tree installed anywhere finds its own libraries.
set_target_properties(OXcdvCli OXcdvVol OXcdvSession PROPERTIES INSTALL_RPATH $ORIGIN)
set_target_properties(cdv-serveur PROPERTIES INSTALL_RPATH $ORIGIN/../${CMAKE_INSTALL_LIBDIR})

# Public headers are those of the file set of their target, which its CMakeLists.txt names.
set(objets LIBRARY DESTINATION ${CMAKE_INSTALL_LIBDIR} COMPONENT bibliotheques NAMELINK_COMPONENT developpement
           FILE_SET HEADERS DESTINATION ${entetes} COMPONENT developpement
           INCLUDES DESTINATION ${entetes})
install(TARGETS OXcdvCli OXcdvVol OXcdvSession EXPORT OXcdvCliTargets ${objets})
install(TARGETS OXcdvEssais EXPORT OXcdvCliTargets ARCHIVE DESTINATION ${CMAKE_INSTALL_LIBDIR} COMPONENT developpement
        FILE_SET HEADERS DESTINATION ${entetes} COMPONENT developpement INCLUDES DESTINATION ${entetes})
install(TARGETS cdv-serveur RUNTIME DESTINATION ${CMAKE_INSTALL_BINDIR} COMPONENT serveur)
install(FILES ${PROJECT_SOURCE_DIR}/docs/cdv-serveur.1 DESTINATION ${CMAKE_INSTALL_MANDIR}/man1 COMPONENT serveur)
# The command, its manual and its completion.
set_target_properties(cdv PROPERTIES INSTALL_RPATH $ORIGIN/../${CMAKE_INSTALL_LIBDIR})
install(TARGETS cdv RUNTIME DESTINATION ${CMAKE_INSTALL_BINDIR} COMPONENT outils)
install(FILES ${PROJECT_SOURCE_DIR}/docs/cdv.1 DESTINATION ${CMAKE_INSTALL_MANDIR}/man1 COMPONENT outils)
install(FILES ${PROJECT_SOURCE_DIR}/outils/completion/cdv
        DESTINATION ${CMAKE_INSTALL_DATAROOTDIR}/bash-completion/completions
        COMPONENT outils)
install(EXPORT OXcdvCliTargets NAMESPACE OXcdvCli:: DESTINATION ${paquet} COMPONENT developpement)

# Our own middleware goes along; another provider installs its own, with the package "orix".
if(OXCDV_FOURNISSEUR_ORIX STREQUAL plateforme)
  set_target_properties(orix PROPERTIES INSTALL_RPATH $ORIGIN)
  install(TARGETS orix EXPORT orixTargets ${objets})
  install(EXPORT orixTargets NAMESPACE orix:: DESTINATION ${paquet} COMPONENT developpement)
endif()

configure_package_config_file(cmake/OXcdvCliConfig.cmake.in ${PROJECT_BINARY_DIR}/OXcdvCliConfig.cmake
                              INSTALL_DESTINATION ${paquet})
write_basic_package_version_file(${PROJECT_BINARY_DIR}/OXcdvCliConfigVersion.cmake COMPATIBILITY SameMajorVersion)
# The files find their own prefix: the tree may be moved, or installed into a package.
file(RELATIVE_PATH CHEMIN_PREFIXE /${CMAKE_INSTALL_LIBDIR}/pkgconfig /)
string(REGEX REPLACE "/$" "" CHEMIN_PREFIXE "${CHEMIN_PREFIXE}")
foreach(nom IN ITEMS oxcdvcli oxcdvvol oxcdvsession oxcdvessais)
  configure_file(cmake/${nom}.pc.in ${PROJECT_BINARY_DIR}/${nom}.pc @ONLY)
  install(FILES ${PROJECT_BINARY_DIR}/${nom}.pc DESTINATION ${CMAKE_INSTALL_LIBDIR}/pkgconfig COMPONENT developpement)
endforeach()
install(FILES ${PROJECT_BINARY_DIR}/OXcdvCliConfig.cmake ${PROJECT_BINARY_DIR}/OXcdvCliConfigVersion.cmake
        DESTINATION ${paquet} COMPONENT developpement)
# For who speaks the protocol without the library (docs/protocole.md).
install(DIRECTORY ${PROJECT_SOURCE_DIR}/plateforme/idl/ ${PROJECT_SOURCE_DIR}/src/services/cdv/groupe1/src/
        DESTINATION ${CMAKE_INSTALL_DATAROOTDIR}/oxcdv/idl COMPONENT developpement
        FILES_MATCHING PATTERN *.idl)
install(FILES ${PROJECT_SOURCE_DIR}/exemples/CMakeLists.txt ${PROJECT_SOURCE_DIR}/exemples/essai_parkings.cpp ${PROJECT_SOURCE_DIR}/exemples/parkings.cpp
              ${PROJECT_SOURCE_DIR}/exemples/session_cdv.cpp ${PROJECT_SOURCE_DIR}/exemples/vols.csv
        DESTINATION ${CMAKE_INSTALL_DATAROOTDIR}/doc/liboxcdvcli-dev/examples COMPONENT developpement)
set(documents ${PROJECT_SOURCE_DIR}/docs)
set(mesures ${documents}/performance.md ${documents}/performance-comparaison.svg ${documents}/performance-courbes.svg)
install(FILES ${documents}/reference.md ${documents}/guide.md ${documents}/champs.md ${documents}/configuration.md
              ${documents}/protocole.md ${documents}/securite.md ${documents}/architecture.md ${mesures}
        DESTINATION ${CMAKE_INSTALL_DATAROOTDIR}/doc/liboxcdvcli-dev COMPONENT developpement)
install(DIRECTORY ${documents}/decisions DESTINATION ${CMAKE_INSTALL_DATAROOTDIR}/doc/liboxcdvcli-dev
        COMPONENT developpement)
install(FILES ${documents}/exploitation.md ${documents}/configuration.md ${documents}/securite.md ${mesures}
        DESTINATION ${CMAKE_INSTALL_DATAROOTDIR}/doc/cdv-serveur COMPONENT serveur)
# Two machines: what exploitation.md puts on them.
install(DIRECTORY ${PROJECT_SOURCE_DIR}/exemples/grappe DESTINATION ${CMAKE_INSTALL_DATAROOTDIR}/doc/cdv-serveur/examples
        COMPONENT serveur)
