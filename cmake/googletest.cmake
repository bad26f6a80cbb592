# GoogleTest, and how its programs become tests.
if(CMAKE_CROSSCOMPILING)
  # Debian has its library for the machine that builds alone, and its source for all others.
  block()
    set(BUILD_GMOCK OFF)
    set(INSTALL_GTEST OFF)
    set(CMAKE_COMPILE_WARNING_AS_ERROR OFF)
    set(BUILD_SHARED_LIBS OFF)
    add_subdirectory(/usr/src/googletest ${PROJECT_BINARY_DIR}/googletest EXCLUDE_FROM_ALL SYSTEM)
  endblock()
else()
  find_package(GTest REQUIRED)
  include(GoogleTest)
endif()

# add_skipped_test(<name> <reason> [<source>...]): stands for a test that this build can't have, and for all
# cases of the sources, so that they are counted.
function(add_skipped_test name reason)
  set(cases 0)
  foreach(source IN LISTS ARGN)
    file(STRINGS ${source} found REGEX "^TEST")
    list(LENGTH found count)
    math(EXPR cases "${cases} + ${count}")
  endforeach()
  if(ARGN)
    string(PREPEND reason "${cases} cases: ")
  endif()
  add_test(NAME ${name} COMMAND ${CMAKE_COMMAND} -E echo "skipped: ${reason}")
  set_tests_properties(${name} PROPERTIES SKIP_REGULAR_EXPRESSION "^skipped:")
endfunction()

# add_googletest(<program> [SHARDS <n>]): a test for each of the program's cases. Where an emulator runs
# them, whose start takes its time, one or n tests for all cases.
function(add_googletest program)
  cmake_parse_arguments(tests "" "SHARDS" "" ${ARGN})
  if(NOT CMAKE_CROSSCOMPILING)
    gtest_discover_tests(${program} DISCOVERY_TIMEOUT 60 NO_PRETTY_VALUES)
    return()
  endif()
  if(NOT tests_SHARDS OR EMSCRIPTEN) # which gives its programs no environment
    set(tests_SHARDS 1)
  endif()
  foreach(shard RANGE 1 ${tests_SHARDS})
    math(EXPR index "${shard} - 1")
    add_test(NAME ${program}.${shard} COMMAND ${program})
    set_tests_properties(${program}.${shard} PROPERTIES TIMEOUT 1500
      ENVIRONMENT "FILTER_PROCESSOR_EMULATED=1;GTEST_TOTAL_SHARDS=${tests_SHARDS};GTEST_SHARD_INDEX=${index}")
  endforeach()
endfunction()
