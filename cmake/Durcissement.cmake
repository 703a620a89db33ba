# Optimised builds are hardened, so that what is tested and measured is what is shipped. Sanitizers bring their own checks.
include_guard(GLOBAL)

if(CMAKE_BUILD_TYPE MATCHES Rel AND NOT OXCDV_SANITIZE)
  add_compile_options(-fstack-protector-strong -fstack-clash-protection -Wformat -Werror=format-security)
  add_compile_definitions(_FORTIFY_SOURCE=2)
  add_link_options(-Wl,-z,relro -Wl,-z,now)
  if(CMAKE_SYSTEM_PROCESSOR MATCHES "x86_64|AMD64")
    add_compile_options(-fcf-protection)
  endif()
endif()
