# Project-wide warning flags, by compiler family. Unknown `sycl::` attributes are expected on a
# compiler that does not compile SYCL device code: kernels carry the standard attributes for
# conformant compilers. GCC spells the silencing flag per namespace; clang-based compilers only
# know the global form and warn about the GCC spelling in every unit.
# -Wno-psabi: GCC notes that passing complex<float> members and wide vectors by value changed
# ABI in releases long past; every object of the project is built by one compiler, so the notes
# only bury real warnings.
include(CheckCXXCompilerFlag)
check_cxx_compiler_flag(-Wpsabi VRT_HAS_WPSABI)
if(CMAKE_CXX_COMPILER_ID STREQUAL "GNU")
  set(VRT_UNKNOWN_ATTRIBUTE_FLAGS -Wno-attributes=sycl::)
elseif(CMAKE_CXX_COMPILER_ID MATCHES "Clang")
  set(VRT_UNKNOWN_ATTRIBUTE_FLAGS -Wno-unknown-attributes)
else()
  # Other families, among them clang-based SYCL compilers under their own id: ask the compiler
  # (clang rejects an unknown warning option, so the check is meaningful there).
  check_cxx_compiler_flag(-Wno-unknown-attributes VRT_HAS_WNO_UNKNOWN_ATTRIBUTES)
  if(VRT_HAS_WNO_UNKNOWN_ATTRIBUTES)
    set(VRT_UNKNOWN_ATTRIBUTE_FLAGS -Wno-unknown-attributes)
  else()
    set(VRT_UNKNOWN_ATTRIBUTE_FLAGS "")
  endif()
endif()
function(vrt_set_warnings target)
  target_compile_options(${target} PRIVATE -Wall -Wextra ${VRT_UNKNOWN_ATTRIBUTE_FLAGS})
  if(VRT_HAS_WPSABI)
    target_compile_options(${target} PRIVATE -Wno-psabi)
  endif()
  if(VRT_WARNINGS_AS_ERRORS)
    target_compile_options(${target} PRIVATE -Werror)
  endif()
endfunction()
