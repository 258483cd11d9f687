# Checks the SONAME of the shared library and that the functions it exports are exactly the
# public API listed in public_symbols.txt (EXPECTED), each as often as it is listed: nothing more, such as a test seam or an
# internal routine, and nothing less.
find_program(READELF readelf REQUIRED)
find_program(NM nm REQUIRED)
execute_process(COMMAND ${READELF} -d ${LIBRARY} OUTPUT_VARIABLE dynamic COMMAND_ERROR_IS_FATAL ANY)
if(NOT dynamic MATCHES "Library soname: \\[libvrt_sycl_sparse\\.so\\.4\\]")
  message(FATAL_ERROR "SONAME is not libvrt_sycl_sparse.so.4:\n${dynamic}")
endif()
execute_process(COMMAND ${NM} -D --defined-only --demangle ${LIBRARY}
                OUTPUT_VARIABLE symbols COMMAND_ERROR_IS_FATAL ANY)
string(REPLACE "\n" ";" lines "${symbols}")
set(exported "")
set(stray "")
foreach(line IN LISTS lines)
  if(line STREQUAL "" OR line MATCHES "^[0-9a-fA-F]+ [VWuvwU] ")
    # Weak symbols (inline functions, template instances, their static data) come with any C++
    # library, as do the type information and virtual tables of the exported exception classes.
    # None of ours may be among them: a weak function or object of the library's namespaces,
    # such as an inline function left at default visibility, is an export the list does not have.
    if(line MATCHES "^[0-9a-fA-F]+ [VvWw] ")
      string(REGEX REPLACE "^[0-9a-fA-F]+ [A-Za-z] " "" name "${line}")
      # Whose symbol it is: the name with its template arguments and parameter lists taken out,
      # so that a standard template instance over one of our types stays the standard's.
      set(owner "${name}")
      set(previous "")
      while(NOT owner STREQUAL previous)
        set(previous "${owner}")
        string(REGEX REPLACE "<[^<>]*>|\\([^()]*\\)" "" owner "${owner}")
      endwhile()
      if(NOT name MATCHES "^(typeinfo name for|typeinfo for|vtable for) orvane::vrt::[A-Za-z_]+$"
         AND owner MATCHES "(^| )orvane::vrt::")
        list(APPEND stray "${name}")
      endif()
    endif()
    continue()
  endif()
  string(REGEX REPLACE "^[0-9a-fA-F]+ [A-Za-z] " "" name "${line}")
  if(NOT name STREQUAL "_init" AND NOT name STREQUAL "_fini")
    list(APPEND exported "${name}")
  endif()
endforeach()
file(STRINGS ${EXPECTED} expected REGEX "^[^#]")
list(SORT exported)
list(SORT expected)
set(extra ${exported})
list(REMOVE_ITEM extra ${expected})
set(missing ${expected})
list(REMOVE_ITEM missing ${exported})
set(report "")
if(NOT extra AND NOT missing AND NOT exported STREQUAL expected)
  # Constructors and destructors demangle alike in their complete and base forms, so the list
  # counts each name as often as it is exported.
  set(report "the same names, exported a different number of times:\n  ${exported}\n")
endif()
if(extra OR stray)
  set(text ${extra} ${stray})
  string(REPLACE ";" "\n  " text "${text}")
  string(APPEND report "exported but not part of the public API:\n  ${text}\n")
endif()
if(missing)
  string(REPLACE ";" "\n  " text "${missing}")
  string(APPEND report "public API not exported:\n  ${text}\n")
endif()
if(report)
  message(FATAL_ERROR "${report}")
endif()
list(LENGTH exported count)
message(STATUS "the library exports exactly the ${count} functions of the public API")
