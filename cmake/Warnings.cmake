# Project-wide warning flags. Unknown `sycl::` attributes are expected on a plain C++ compiler:
# kernels carry the standard attributes for conformant compilers.
function(vrt_set_warnings target)
  target_compile_options(${target} PRIVATE -Wall -Wextra -Wno-attributes=sycl::)
  if(VRT_WARNINGS_AS_ERRORS)
    target_compile_options(${target} PRIVATE -Werror)
  endif()
endfunction()
