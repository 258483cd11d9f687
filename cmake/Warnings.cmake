# Project-wide warning flags. Unknown `sycl::` attributes are expected on a plain C++ compiler:
# kernels carry the standard attributes for conformant compilers.
# -Wno-psabi: GCC notes that passing complex<float> members and wide vectors by value changed
# ABI in releases long past; every object of the project is built by one compiler, so the notes
# only bury real warnings.
include(CheckCXXCompilerFlag)
check_cxx_compiler_flag(-Wpsabi VRT_HAS_WPSABI)
function(vrt_set_warnings target)
  target_compile_options(${target} PRIVATE -Wall -Wextra -Wno-attributes=sycl::)
  if(VRT_HAS_WPSABI)
    target_compile_options(${target} PRIVATE -Wno-psabi)
  endif()
  if(VRT_WARNINGS_AS_ERRORS)
    target_compile_options(${target} PRIVATE -Werror)
  endif()
endfunction()
