# The ORB: target oxcdv::orb, with the program of its IDL compiler in OMNIIDL.
include_guard(GLOBAL)

set(OXCDV_ORB omniORB CACHE STRING "ORB to build on")
set_property(CACHE OXCDV_ORB PROPERTY STRINGS omniORB)
if(NOT OXCDV_ORB STREQUAL "omniORB")
  message(FATAL_ERROR "OXCDV_ORB=${OXCDV_ORB}: the bindings of orb/ are for omniORB")
endif()

find_package(PkgConfig REQUIRED)
find_package(Threads REQUIRED)
find_program(OMNIIDL omniidl)
if(NOT OMNIIDL)
  message(FATAL_ERROR "omniidl is missing: run scripts/installer-dependances.sh (Debian packages omniidl, libomniorb4-dev)")
endif()
pkg_check_modules(OMNIORB REQUIRED IMPORTED_TARGET omniDynamic4 omniConnectionMgmt4)

# Its header of TCP connections wants one that stands beside, without its folder.
find_path(OMNIORB_INTERNE SocketCollection.h PATH_SUFFIXES omniORB4/internal REQUIRED)

# The TLS transport has no pkg-config file of its own.
find_library(OMNISSL omnisslTP4 REQUIRED)
find_package(OpenSSL REQUIRED)

add_library(oxcdv_orb_interface INTERFACE)
add_library(oxcdv::orb ALIAS oxcdv_orb_interface)
target_link_libraries(oxcdv_orb_interface INTERFACE PkgConfig::OMNIORB ${OMNISSL} OpenSSL::Crypto Threads::Threads)
