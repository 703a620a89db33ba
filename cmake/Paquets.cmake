# "cpack": four Debian packages of the installed tree, one for each component of cmake/Installation.cmake. What belongs
# to the packages alone (unit, configuration, copyright, changelog) stands in paquets/.
include_guard(GLOBAL)

set(paquets ${PROJECT_SOURCE_DIR}/paquets)
set(CPACK_GENERATOR DEB)
set(CPACK_PACKAGE_VENDOR "libOXcdvCli")
set(OXCDV_MAINTENEUR "libOXcdvCli maintainers <maintainers@oxcdv.invalid>" CACHE STRING "Maintainer of the packages")
set(CPACK_PACKAGE_CONTACT "${OXCDV_MAINTENEUR}")
set(CPACK_PACKAGE_VERSION ${PROJECT_VERSION})
set(CPACK_PACKAGING_INSTALL_PREFIX /usr)
set(CPACK_PACKAGE_DIRECTORY ${CMAKE_BINARY_DIR}/paquets)
set(CPACK_STRIP_FILES ON)
set(CPACK_INSTALL_DEFAULT_DIRECTORY_PERMISSIONS OWNER_READ OWNER_WRITE OWNER_EXECUTE GROUP_READ GROUP_EXECUTE
                                                WORLD_READ WORLD_EXECUTE)
set(CPACK_DEB_COMPONENT_INSTALL ON)
set(CPACK_COMPONENTS_GROUPING IGNORE)
set(CPACK_COMPONENTS_ALL bibliotheques developpement outils serveur)
set(CPACK_PRE_BUILD_SCRIPTS ${paquets}/preparer.cmake)
set(CPACK_OXCDV_PAQUETS ${paquets}) # for that script
set(CPACK_OXCDV_JOURNAL ${PROJECT_SOURCE_DIR}/CHANGELOG.md)

set(CPACK_DEBIAN_FILE_NAME DEB-DEFAULT)
set(CPACK_DEBIAN_PACKAGE_RELEASE 1)
set(CPACK_DEBIAN_PACKAGE_SHLIBDEPS ON)
set(CPACK_DEBIAN_PACKAGE_GENERATE_SHLIBS ON)
set(CPACK_DEBIAN_PACKAGE_GENERATE_SHLIBS_POLICY ">=")
set(CPACK_DEBIAN_PACKAGE_CONTROL_STRICT_PERMISSION ON)
# Where dpkg-shlibdeps finds the libraries that no installed package provides: ours. Known at generation only.
file(GENERATE OUTPUT ${CMAKE_BINARY_DIR}/cpack-generation.cmake CONTENT
"set(CPACK_PACKAGE_DESCRIPTION_SUMMARY \"\") # each component has its own first line
set(CPACK_DEBIAN_PACKAGE_SHLIBDEPS_PRIVATE_DIRS
    $<TARGET_FILE_DIR:OXcdvCli> $<TARGET_FILE_DIR:OXcdvVol> $<TARGET_FILE_DIR:OXcdvSession> $<TARGET_FILE_DIR:orix::orix>)
")
set(CPACK_PROJECT_CONFIG_FILE ${CMAKE_BINARY_DIR}/cpack-generation.cmake)

set(avec_bibliotheques "liboxcdvcli3 (= ${PROJECT_VERSION}-${CPACK_DEBIAN_PACKAGE_RELEASE})")

# oxcdv_paquet(<component> <package> SECTION <section> DESCRIPTION <text> [DEPENDS <list>] [CONTROLE <file>...])
function(oxcdv_paquet composant nom)
  cmake_parse_arguments(PARSE_ARGV 2 P "" "SECTION;DESCRIPTION;DEPENDS" "CONTROLE")
  string(TOUPPER ${composant} c)
  set(CPACK_COMPONENT_${c}_DESCRIPTION "${P_DESCRIPTION}" PARENT_SCOPE)
  set(CPACK_DEBIAN_${c}_PACKAGE_NAME ${nom} PARENT_SCOPE)
  set(CPACK_DEBIAN_${c}_PACKAGE_SECTION ${P_SECTION} PARENT_SCOPE)
  set(CPACK_DEBIAN_${c}_PACKAGE_DEPENDS "${P_DEPENDS}" PARENT_SCOPE)
  set(CPACK_DEBIAN_${c}_PACKAGE_CONTROL_EXTRA "${P_CONTROLE}" PARENT_SCOPE)
endfunction()

oxcdv_paquet(
  bibliotheques liboxcdvcli3
  SECTION libs
  CONTROLE ${paquets}/bibliotheques/triggers
  DESCRIPTION "client library of the cdv flight-record service
Shared objects for programs that create, change, delete, consult and list the
complete flight records of an airport flight-information system over CORBA:
the facade, the record as a value, the session layer and the middleware that
they stand on.")
oxcdv_paquet(
  developpement liboxcdvcli-dev
  SECTION libdevel
  DEPENDS "${avec_bibliotheques}"
  DESCRIPTION "client library of the cdv service, development files
Headers, CMake package, pkg-config files, IDL and complete examples for
programs that use the cdv flight-record service. No ORB header is needed.")
oxcdv_paquet(
  outils cdv-outils
  SECTION utils
  DEPENDS "${avec_bibliotheques}"
  DESCRIPTION "command for the records of the cdv flight service
The command cdv creates, changes, deletes, consults, lists, imports and exports
flight records, and watches the connection to the two servers of the service.")
oxcdv_paquet(
  serveur cdv-serveur
  SECTION net
  DEPENDS "${avec_bibliotheques}, adduser"
  CONTROLE ${paquets}/serveur/conffiles ${paquets}/serveur/postinst ${paquets}/serveur/prerm ${paquets}/serveur/postrm
  DESCRIPTION "server of the cdv flight-record service
Keeps complete flight records in an SQLite database and serves them to CORBA
clients. Runs as a systemd service under a user of its own. Two of them over
one database are the two servers of the service.")

include(CPack)
