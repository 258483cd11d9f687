# One step of the install tests (cmake -P), chosen by STEP:
#   install       fresh install of the built library into ROOT/prefix;
#   find_package  configure the examples on their own against ROOT/prefix, build and run gemv;
#   pkg_config    compile the gemv example with the flags pkg-config gives, link it and run it.
cmake_minimum_required(VERSION 3.25)
set(prefix ${ROOT}/prefix)

function(run)
  execute_process(COMMAND ${ARGN} RESULT_VARIABLE status)
  if(NOT status EQUAL 0)
    string(REPLACE ";" " " shown "${ARGN}")
    message(FATAL_ERROR "failed (${status}): ${shown}")
  endif()
endfunction()

if(STEP STREQUAL "install")
  file(REMOVE_RECURSE ${prefix})
  run(${CMAKE_COMMAND} --install ${BUILD_DIR} --prefix ${prefix})
  # The SONAME chain a loader and a linker follow.
  foreach(name libvrt_sycl_sparse.so libvrt_sycl_sparse.so.4 libhostsycl.so)
    if(NOT EXISTS ${prefix}/lib/${name})
      message(FATAL_ERROR "${name} is not installed under ${prefix}/lib")
    endif()
  endforeach()
elseif(STEP STREQUAL "find_package")
  set(build ${ROOT}/find_package)
  file(REMOVE_RECURSE ${build})
  set(launcher "")
  if(LAUNCHER)
    set(launcher -DCMAKE_CXX_COMPILER_LAUNCHER=${LAUNCHER})
  endif()
  run(${CMAKE_COMMAND} -S ${EXAMPLES} -B ${build} -G ${GENERATOR} -DCMAKE_BUILD_TYPE=Release
      -DCMAKE_CXX_COMPILER=${CXX} ${launcher} -DCMAKE_PREFIX_PATH=${prefix})
  run(${CMAKE_COMMAND} --build ${build} --target example_gemv)
  run(${build}/example_gemv)
elseif(STEP STREQUAL "pkg_config")
  set(build ${ROOT}/pkg_config)
  file(REMOVE_RECURSE ${build})
  file(MAKE_DIRECTORY ${build})
  set(ENV{PKG_CONFIG_PATH} ${prefix}/lib/pkgconfig)
  execute_process(COMMAND pkg-config --cflags --libs vrt_sycl_sparse
                  OUTPUT_VARIABLE flags OUTPUT_STRIP_TRAILING_WHITESPACE COMMAND_ERROR_IS_FATAL ANY)
  separate_arguments(flags UNIX_COMMAND "${flags}")
  run(${LAUNCHER} ${CXX} -O1 ${EXAMPLES}/gemv.cpp -o ${build}/example_gemv ${flags})
  # pkg-config gives no run path: the loader finds the libraries through LD_LIBRARY_PATH.
  run(${CMAKE_COMMAND} -E env LD_LIBRARY_PATH=${prefix}/lib ${build}/example_gemv)
else()
  message(FATAL_ERROR "unknown STEP '${STEP}'")
endif()
