# What `cmake --install` puts where: libraries, headers, pkg-config file, CMake package. The command line installs itself.
include(CMakePackageConfigHelpers)

set(package_dir ${CMAKE_INSTALL_LIBDIR}/cmake/qob3xapi)
set(pc_dir ${CMAKE_INSTALL_LIBDIR}/pkgconfig)

# Each finds its neighbour beside it, wherever the tree stands.
set_target_properties(qob3xapi PROPERTIES INSTALL_RPATH "$ORIGIN")
install(TARGETS qob3xapi qobplatform EXPORT qob3xapiTargets
  LIBRARY DESTINATION ${CMAKE_INSTALL_LIBDIR} COMPONENT runtime NAMELINK_COMPONENT development)
install(DIRECTORY ${PROJECT_SOURCE_DIR}/include/qob3xapi ${PROJECT_SOURCE_DIR}/include/qobplatform
  DESTINATION ${CMAKE_INSTALL_INCLUDEDIR} COMPONENT development FILES_MATCHING PATTERN "*.h")

# The pkg-config file finds its prefix from where it stands, so that the tree may be moved.
if(IS_ABSOLUTE "${CMAKE_INSTALL_LIBDIR}" OR IS_ABSOLUTE "${CMAKE_INSTALL_INCLUDEDIR}")
  message(FATAL_ERROR "CMAKE_INSTALL_LIBDIR and CMAKE_INSTALL_INCLUDEDIR must be relative: the install tree can be moved")
endif()
file(RELATIVE_PATH QOB_PREFIX_FROM_PC /prefix/${pc_dir} /prefix)
string(REGEX REPLACE "/$" "" QOB_PREFIX_FROM_PC "${QOB_PREFIX_FROM_PC}")
configure_file(${PROJECT_SOURCE_DIR}/packaging/qob3xapi.pc.in ${PROJECT_BINARY_DIR}/qob3xapi.pc @ONLY)
install(FILES ${PROJECT_BINARY_DIR}/qob3xapi.pc DESTINATION ${pc_dir} COMPONENT development)

configure_package_config_file(${PROJECT_SOURCE_DIR}/packaging/qob3xapiConfig.cmake.in
  ${PROJECT_BINARY_DIR}/qob3xapiConfig.cmake INSTALL_DESTINATION ${package_dir})
write_basic_package_version_file(${PROJECT_BINARY_DIR}/qob3xapiConfigVersion.cmake COMPATIBILITY SameMajorVersion)
install(FILES ${PROJECT_BINARY_DIR}/qob3xapiConfig.cmake ${PROJECT_BINARY_DIR}/qob3xapiConfigVersion.cmake
  DESTINATION ${package_dir} COMPONENT development)
install(EXPORT qob3xapiTargets NAMESPACE qob3xapi:: DESTINATION ${package_dir} COMPONENT development)
