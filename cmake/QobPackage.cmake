# Debian packages, made by cpack from the preset `package`. Three of them: the libraries, what a program is built
# with, and the tools with the seeds of their databases. `./check --package` builds and proves them.
set(debian ${PROJECT_SOURCE_DIR}/packaging/debian)
set(library_package libqob3xapi${PROJECT_VERSION_MAJOR})
set(development_package libqob3xapi-dev)
set(tools_package qob3xapi-tools)

# gzip without name and time gives the same bytes on every build.
function(qob_compressed source target component)
  set(made ${PROJECT_BINARY_DIR}/package/${component}/${target})
  get_filename_component(folder ${made} DIRECTORY)
  get_filename_component(place ${target} DIRECTORY)
  file(MAKE_DIRECTORY ${folder})
  execute_process(COMMAND gzip -9nc ${source} OUTPUT_FILE ${made} COMMAND_ERROR_IS_FATAL ANY)
  install(FILES ${made} DESTINATION ${CMAKE_INSTALL_DATADIR}/${place} COMPONENT ${component})
  set_property(DIRECTORY APPEND PROPERTY CMAKE_CONFIGURE_DEPENDS ${source})
endfunction()

foreach(component IN ITEMS runtime development tools)
  set(package ${${component}_package})
  if(component STREQUAL runtime)
    set(package ${library_package})
  endif()
  qob_compressed(${debian}/changelog doc/${package}/changelog.gz ${component})
  install(FILES ${debian}/copyright DESTINATION ${CMAKE_INSTALL_DATADIR}/doc/${package} COMPONENT ${component})
endforeach()
file(GLOB pages CONFIGURE_DEPENDS ${PROJECT_SOURCE_DIR}/docs/man/*.1)
foreach(page IN LISTS pages)
  get_filename_component(name ${page} NAME)
  qob_compressed(${page} man/man1/${name}.gz tools)
endforeach()
file(GLOB units CONFIGURE_DEPENDS ${PROJECT_SOURCE_DIR}/packaging/*.service)
install(FILES ${units} DESTINATION lib/systemd/system COMPONENT tools)

set(CPACK_GENERATOR DEB)
set(CPACK_PACKAGE_NAME qob3xapi)
set(CPACK_PACKAGE_DESCRIPTION_SUMMARY "core library of a mail transfer agent")
set(CPACK_PACKAGE_VERSION ${PROJECT_VERSION})
set(CPACK_PACKAGE_CONTACT "the qob3xapi developers <developers@qob3xapi.invalid>")
set(CPACK_PACKAGING_INSTALL_PREFIX /usr)
set(CPACK_INSTALL_DEFAULT_DIRECTORY_PERMISSIONS
  OWNER_READ OWNER_WRITE OWNER_EXECUTE GROUP_READ GROUP_EXECUTE WORLD_READ WORLD_EXECUTE)
set(CPACK_STRIP_FILES ON)
set(CPACK_COMPONENTS_ALL runtime development tools)
set(CPACK_DEB_COMPONENT_INSTALL ON)
set(CPACK_DEBIAN_FILE_NAME DEB-DEFAULT)
set(CPACK_DEBIAN_PACKAGE_CONTROL_STRICT_PERMISSION ON)
set(CPACK_DEBIAN_PACKAGE_PRIORITY optional)
set(CPACK_DEBIAN_PACKAGE_SHLIBDEPS ON)
set(CPACK_DEBIAN_PACKAGE_SHLIBDEPS_PRIVATE_DIRS ${PROJECT_BINARY_DIR}/lib)

set(CPACK_DEBIAN_RUNTIME_PACKAGE_NAME ${library_package})
set(CPACK_DEBIAN_RUNTIME_PACKAGE_SECTION libs)
set(CPACK_COMPONENT_RUNTIME_DESCRIPTION "Line I/O, message headers and addresses, MIME parsing and building, the
message queue with envelopes, locks and scanning, bounces and delivery
status notifications: what the cooperating processes of a mail system share.")
set(CPACK_DEBIAN_RUNTIME_PACKAGE_CONTROL_EXTRA ${debian}/symbols ${debian}/shlibs ${debian}/triggers)

set(CPACK_DEBIAN_DEVELOPMENT_PACKAGE_NAME ${development_package})
set(CPACK_DEBIAN_DEVELOPMENT_PACKAGE_SECTION libdevel)
set(CPACK_DEBIAN_DEVELOPMENT_PACKAGE_SHLIBDEPS OFF)
set(CPACK_DEBIAN_DEVELOPMENT_PACKAGE_DEPENDS "${library_package} (= ${PROJECT_VERSION})")
set(CPACK_COMPONENT_DEVELOPMENT_DESCRIPTION "Development files.
Headers, pkg-config file and CMake package for programs that use the library.")

set(CPACK_DEBIAN_TOOLS_PACKAGE_NAME ${tools_package})
set(CPACK_DEBIAN_TOOLS_PACKAGE_SECTION mail)
set(CPACK_DEBIAN_TOOLS_PACKAGE_DEPENDS "${library_package} (= ${PROJECT_VERSION})")
set(CPACK_COMPONENT_TOOLS_DESCRIPTION "Command line.
The program qob reads, builds, sends and repairs mail and looks after the
queue; a unit clears the locks of the queue at boot and checks it.")
include(CPack)

# The reference of the public headers; a warning fails it.
find_program(QOB_DOXYGEN doxygen)
if(QOB_DOXYGEN)
  configure_file(${PROJECT_SOURCE_DIR}/packaging/reference/Doxyfile.in ${PROJECT_BINARY_DIR}/Doxyfile @ONLY)
  add_custom_target(api_reference COMMAND ${QOB_DOXYGEN} ${PROJECT_BINARY_DIR}/Doxyfile VERBATIM)
endif()
