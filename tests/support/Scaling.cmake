# qob_scaling(<test name> PROGRAM <target> ARGS <words, one of them N> SIZE <n>): a ctest entry that fails when the program's
# instructions for 2n are not below 2.2 times those for n. Not under sanitizers: valgrind cannot run such programs.
function(qob_scaling name)
  cmake_parse_arguments(ARG "" "PROGRAM;SIZE" "ARGS" ${ARGN})
  if(QOB_SANITIZE OR QOB_COVERAGE)
    return()
  endif()
  add_test(NAME ${name} COMMAND ${PROJECT_SOURCE_DIR}/tests/support/scaling.py
    $<TARGET_FILE:${ARG_PROGRAM}> ${ARG_ARGS} ${ARG_SIZE} 2.2)
  set_tests_properties(${name} PROPERTIES TIMEOUT 300)
endfunction()
