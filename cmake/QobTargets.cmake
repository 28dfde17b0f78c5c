# The kinds of target this project has: folders, tests, fuzz targets, benchmarks.

# qob_folder(<name> SOURCES <files> [DEPS <folders>]): one static library per source folder, linked by name.
function(qob_folder name)
  cmake_parse_arguments(ARG "" "" "SOURCES;DEPS" ${ARGN})
  add_library(qob_${name} STATIC ${ARG_SOURCES})
  target_link_libraries(qob_${name} PUBLIC qob_compile)
  foreach(dep IN LISTS ARG_DEPS)
    target_link_libraries(qob_${name} PUBLIC qob_${dep})
  endforeach()
endfunction()

# qob_shared(<target> FOLDERS <folders> MAP <version script> [SOURCES <files>] [LINK <targets>] OUTPUT <name>)
function(qob_shared target)
  cmake_parse_arguments(ARG "" "MAP;OUTPUT" "FOLDERS;SOURCES;LINK" ${ARGN})
  add_library(${target} SHARED ${ARG_SOURCES})
  foreach(folder IN LISTS ARG_FOLDERS)
    target_sources(${target} PRIVATE $<TARGET_OBJECTS:qob_${folder}>)
  endforeach()
  target_link_libraries(${target} PRIVATE qob_compile)
  target_link_libraries(${target} PUBLIC ${ARG_LINK})
  target_include_directories(${target} PUBLIC
    $<BUILD_INTERFACE:${PROJECT_SOURCE_DIR}/include> $<INSTALL_INTERFACE:${CMAKE_INSTALL_INCLUDEDIR}>)
  set_target_properties(${target} PROPERTIES OUTPUT_NAME ${ARG_OUTPUT}
    VERSION ${PROJECT_VERSION} SOVERSION ${PROJECT_VERSION_MAJOR} LINKER_LANGUAGE CXX
    LINK_DEPENDS ${ARG_MAP} LIBRARY_OUTPUT_DIRECTORY ${PROJECT_BINARY_DIR}/lib
    BUILD_RPATH_USE_ORIGIN ON)
  target_link_options(${target} PRIVATE LINKER:--version-script=${ARG_MAP})
  if(NOT QOB_SANITIZE)
    target_link_options(${target} PRIVATE LINKER:--no-undefined)
  endif()
endfunction()

# qob_test(<name> SOURCES <files> [CORE <folders> | SHARED] [LINK <libs>] [TIMEOUT <s>] [NO_DISCOVERY]):
# one GoogleTest program, linked with the static core or with the shared libraries, never with both;
# every TEST is a ctest entry of its own.
function(qob_test name)
  cmake_parse_arguments(ARG "SHARED;NO_DISCOVERY" "TIMEOUT" "SOURCES;CORE;LINK" ${ARGN})
  if(NOT ARG_TIMEOUT)
    set(ARG_TIMEOUT 120)
  endif()
  add_executable(${name} ${ARG_SOURCES})
  target_link_libraries(${name} PRIVATE qob_compile qob_test_support GTest::gtest GTest::gtest_main ${ARG_LINK})
  target_include_directories(${name} PRIVATE ${PROJECT_SOURCE_DIR}/tests)
  if(ARG_SHARED)
    target_link_libraries(${name} PRIVATE qob3xapi qobplatform)
  else()
    foreach(folder IN LISTS ARG_CORE)
      target_link_libraries(${name} PRIVATE qob_${folder})
    endforeach()
  endif()
  if(NOT ARG_NO_DISCOVERY)
    gtest_discover_tests(${name} DISCOVERY_MODE PRE_TEST
      PROPERTIES TIMEOUT ${ARG_TIMEOUT} ENVIRONMENT "QOB_SOURCE_DIR=${PROJECT_SOURCE_DIR}")
  endif()
endfunction()

# qob_fuzz(<name> CORE <folders>): libFuzzer target <name>_fuzz from <name>_fuzz.cc; its corpus below fuzz/corpus/<name>
# is replayed by ctest.
function(qob_fuzz name)
  cmake_parse_arguments(ARG "" "" "CORE" ${ARGN})
  add_executable(${name}_fuzz ${name}_fuzz.cc)
  target_link_libraries(${name}_fuzz PRIVATE qob_compile)
  target_include_directories(${name}_fuzz PRIVATE ${PROJECT_SOURCE_DIR}/tests ${PROJECT_SOURCE_DIR}/fuzz)
  foreach(folder IN LISTS ARG_CORE)
    target_link_libraries(${name}_fuzz PRIVATE qob_${folder})
  endforeach()
  target_link_options(${name}_fuzz PRIVATE -fsanitize=fuzzer)
  add_test(NAME fuzz.${name} COMMAND ${name}_fuzz -runs=0 ${CMAKE_CURRENT_SOURCE_DIR}/corpus/${name})
  set_tests_properties(fuzz.${name} PROPERTIES TIMEOUT 300)
endfunction()
