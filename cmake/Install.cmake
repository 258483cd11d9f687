# What `cmake --install` lays out under the prefix:
#   component vrt_sycl_sparse: the library with its SONAME links, the public headers, the CMake
#     package (vrt::sycl_sparse) and the pkg-config file vrt_sycl_sparse.pc;
#   component hostsycl (bundled runtime only): the host SYCL runtime's library, its headers under
#     include/hostsycl (kept off the include root so that they never shadow a real SYCL
#     compiler's <sycl/sycl.hpp>) and vrt_hostsycl.pc.
include(GNUInstallDirs)
include(CMakePackageConfigHelpers)

set(vrt_package_dir ${CMAKE_INSTALL_LIBDIR}/cmake/vrt_sycl_sparse)
set(vrt_pkgconfig_dir ${CMAKE_INSTALL_LIBDIR}/pkgconfig)
# pkg-config files find the prefix from their own place, so a moved tree still works.
file(RELATIVE_PATH VRT_PC_TO_PREFIX /prefix/${vrt_pkgconfig_dir} /prefix)
string(REGEX REPLACE "/$" "" VRT_PC_TO_PREFIX "${VRT_PC_TO_PREFIX}")

# The installed libraries find each other next to themselves.
set_target_properties(vrt_sycl_sparse PROPERTIES INSTALL_RPATH "$ORIGIN" EXPORT_NAME sycl_sparse)
target_include_directories(vrt_sycl_sparse
  INTERFACE $<INSTALL_INTERFACE:${CMAKE_INSTALL_INCLUDEDIR}>)

if(VRT_USE_EXTERNAL_SYCL)
  set(VRT_BUNDLED_SYCL OFF)
  set(VRT_PC_REQUIRES "")
else()
  set(VRT_BUNDLED_SYCL ON)
  set(VRT_PC_REQUIRES "vrt_hostsycl")
  get_target_property(VRT_HOSTSYCL_VERSION hostsycl VERSION)
  set_target_properties(hostsycl PROPERTIES EXPORT_NAME hostsycl)
  target_include_directories(hostsycl
    INTERFACE $<INSTALL_INTERFACE:${CMAKE_INSTALL_INCLUDEDIR}/hostsycl>)
  install(TARGETS hostsycl EXPORT vrt_hostsycl_targets
    LIBRARY DESTINATION ${CMAKE_INSTALL_LIBDIR} COMPONENT hostsycl NAMELINK_COMPONENT hostsycl)
  install(DIRECTORY ${PROJECT_SOURCE_DIR}/hostsycl/include/
    DESTINATION ${CMAKE_INSTALL_INCLUDEDIR}/hostsycl COMPONENT hostsycl)
  install(EXPORT vrt_hostsycl_targets FILE vrt_hostsycl-targets.cmake NAMESPACE vrt::
    DESTINATION ${vrt_package_dir} COMPONENT hostsycl)
  configure_file(${CMAKE_CURRENT_LIST_DIR}/install/vrt_hostsycl.pc.in
    ${PROJECT_BINARY_DIR}/pkgconfig/vrt_hostsycl.pc @ONLY)
  install(FILES ${PROJECT_BINARY_DIR}/pkgconfig/vrt_hostsycl.pc
    DESTINATION ${vrt_pkgconfig_dir} COMPONENT hostsycl)
endif()

# vrt_sycl is the seam between the library and whichever SYCL it was built with.
set_target_properties(vrt_sycl PROPERTIES EXPORT_NAME sycl)
install(TARGETS vrt_sycl_sparse vrt_sycl EXPORT vrt_sycl_sparse_targets
  LIBRARY DESTINATION ${CMAKE_INSTALL_LIBDIR}
    COMPONENT vrt_sycl_sparse NAMELINK_COMPONENT vrt_sycl_sparse)
install(DIRECTORY ${PROJECT_SOURCE_DIR}/include/ ${PROJECT_BINARY_DIR}/include/
  DESTINATION ${CMAKE_INSTALL_INCLUDEDIR} COMPONENT vrt_sycl_sparse)
install(EXPORT vrt_sycl_sparse_targets FILE vrt_sycl_sparse-targets.cmake NAMESPACE vrt::
  DESTINATION ${vrt_package_dir} COMPONENT vrt_sycl_sparse)

configure_package_config_file(${CMAKE_CURRENT_LIST_DIR}/install/config.cmake.in
  ${PROJECT_BINARY_DIR}/package/vrt_sycl_sparse-config.cmake
  INSTALL_DESTINATION ${vrt_package_dir})
# The major number is the SONAME's: a consumer asking for 4.x takes any 4.y.
write_basic_package_version_file(${PROJECT_BINARY_DIR}/package/vrt_sycl_sparse-config-version.cmake
  COMPATIBILITY SameMajorVersion)
install(FILES ${PROJECT_BINARY_DIR}/package/vrt_sycl_sparse-config.cmake
              ${PROJECT_BINARY_DIR}/package/vrt_sycl_sparse-config-version.cmake
  DESTINATION ${vrt_package_dir} COMPONENT vrt_sycl_sparse)

configure_file(${CMAKE_CURRENT_LIST_DIR}/install/vrt_sycl_sparse.pc.in
  ${PROJECT_BINARY_DIR}/pkgconfig/vrt_sycl_sparse.pc @ONLY)
install(FILES ${PROJECT_BINARY_DIR}/pkgconfig/vrt_sycl_sparse.pc
  DESTINATION ${vrt_pkgconfig_dir} COMPONENT vrt_sycl_sparse)
