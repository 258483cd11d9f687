# Checks the SONAME of the shared library and that it exports nothing but the public interface:
# symbols of the orvane::vrt namespace and C entry points named vrt_*.
find_program(READELF readelf REQUIRED)
find_program(NM nm REQUIRED)
execute_process(COMMAND ${READELF} -d ${LIBRARY} OUTPUT_VARIABLE dynamic COMMAND_ERROR_IS_FATAL ANY)
if(NOT dynamic MATCHES "Library soname: \\[libvrt_sycl_sparse\\.so\\.4\\]")
  message(FATAL_ERROR "SONAME is not libvrt_sycl_sparse.so.4:\n${dynamic}")
endif()
execute_process(COMMAND ${NM} -D --defined-only --demangle ${LIBRARY}
                OUTPUT_VARIABLE symbols COMMAND_ERROR_IS_FATAL ANY)
string(REPLACE "\n" ";" lines "${symbols}")
set(unexpected "")
foreach(line IN LISTS lines)
  if(line STREQUAL "")
    continue()
  endif()
  string(REGEX REPLACE "^[0-9a-fA-F]+ [A-Za-z] " "" name "${line}")
  # Weak template instances of the C++ runtime and of SYCL types may appear in any library.
  if(line MATCHES "^[0-9a-fA-F]+ [VWuv] ")
    continue()
  endif()
  # Exported classes bring their type information and virtual tables along.
  string(REGEX REPLACE "^(typeinfo name for|typeinfo for|vtable for) " "" name "${name}")
  if(NOT name MATCHES "^orvane::vrt::" AND NOT name MATCHES "^vrt_"
     AND NOT name MATCHES "^_init$" AND NOT name MATCHES "^_fini$")
    list(APPEND unexpected "${name}")
  endif()
endforeach()
if(unexpected)
  string(REPLACE ";" "\n  " text "${unexpected}")
  message(FATAL_ERROR "symbols exported outside the public interface:\n  ${text}")
endif()
message(STATUS "exports are limited to the public interface")
