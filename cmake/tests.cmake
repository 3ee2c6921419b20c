# What CTest runs: the unit tests, each scenario as a test of its own, and some random hours. The label "thread" marks
# what thread sanitizer judges as well, "long" what measures time or plays much of it and so wants an optimised build.

enable_testing()
include(GoogleTest)
find_package(GTest REQUIRED)
find_package(benchmark REQUIRED)

# Every other file belongs to `tests`. These lists name what must exist: a file or a scenario that has gone is an
# error, not a test less.
set(THREAD_TESTS channels/pipesTest.cpp service/NTServiceTest.cpp service/serviceOrdersTest.cpp)
set(LONG_TESTS service/performanceTest.cpp service/serviceOrdersTest.cpp)
set(THREAD_SCENARIOS exit one-logon stop-during-start)
set(LONG_SCENARIOS sixty-days)

list(TRANSFORM THREAD_TESTS PREPEND "${PROJECT_SOURCE_DIR}/tests/")
list(TRANSFORM LONG_TESTS PREPEND "${PROJECT_SOURCE_DIR}/tests/")
file(GLOB_RECURSE TEST_SOURCES CONFIGURE_DEPENDS tests/*.cpp)
list(FILTER TEST_SOURCES EXCLUDE REGEX "/tests/(windows|platform/(windows|differences))/")
list(REMOVE_ITEM TEST_SOURCES ${THREAD_TESTS} ${LONG_TESTS})

# What the tests share: every file that is no test.
set(SUPPORT_SOURCES ${TEST_SOURCES})
list(FILTER TEST_SOURCES INCLUDE REGEX "Test\\.cpp$")
list(REMOVE_ITEM SUPPORT_SOURCES ${TEST_SOURCES})
add_library(testSupport OBJECT ${SUPPORT_SOURCES})
target_include_directories(testSupport PUBLIC tests)
target_link_libraries(testSupport PUBLIC simulation GTest::gmock GTest::gtest_main)
target_precompile_headers(testSupport PRIVATE <gmock/gmock.h> <gtest/gtest.h>)
if(CMAKE_BUILD_TYPE STREQUAL Release)
    # Strings made of literals bring up overflows that this compiler only imagines.
    target_compile_options(testSupport PUBLIC -Wno-restrict)
else()
    target_compile_options(testSupport PUBLIC -O0)
endif()

# Further arguments: the label, none for most, and the sources
function(add_tests name label)
    add_executable(${name} ${ARGN})
    target_link_libraries(${name} PRIVATE testSupport)
    target_precompile_headers(${name} REUSE_FROM testSupport)
    gtest_discover_tests(${name} TEST_PREFIX "${label}." PROPERTIES LABELS "${label}")
endfunction()
add_tests(tests unit ${TEST_SOURCES})
add_tests(threadTests thread ${THREAD_TESTS})
add_tests(longTests long ${LONG_TESTS})

# What scripts/differences plays beside the same on a Windows
file(GLOB DIFFERENCES_SOURCES CONFIGURE_DEPENDS tests/platform/differences/*.cpp)
add_executable(differences ${DIFFERENCES_SOURCES} tests/platform/simulated/contract.cpp)
target_link_libraries(differences PRIVATE launcher GTest::gtest)

file(GLOB SCENARIOS CONFIGURE_DEPENDS RELATIVE "${PROJECT_SOURCE_DIR}/scenarios" scenarios/*.scenario)
foreach(file IN LISTS SCENARIOS)
    add_test(NAME scenario.${file} COMMAND simulator --quiet "${PROJECT_SOURCE_DIR}/scenarios/${file}")
endforeach()
# Each draws a seed of its own, which it tells.
foreach(number RANGE 1 12)
    add_test(NAME random.${number} COMMAND simulator --quiet --random)
endforeach()
foreach(name IN LISTS THREAD_SCENARIOS)
    set_property(TEST scenario.${name}.scenario APPEND PROPERTY LABELS thread)
endforeach()
foreach(name IN LISTS LONG_SCENARIOS)
    set_property(TEST scenario.${name}.scenario APPEND PROPERTY LABELS long)
endforeach()

if(NOT KOVRA_SANITIZE)
    file(GLOB BENCHMARK_SOURCES CONFIGURE_DEPENDS benchmarks/*.cpp)
    add_executable(benchmarks ${BENCHMARK_SOURCES})
    target_link_libraries(benchmarks PRIVATE launcher benchmark::benchmark_main)
    # Each once, to see that it still does what it measures; scripts/bench takes the figures.
    add_test(NAME benchmarks COMMAND benchmarks --benchmark_min_time=0.001)
    set_tests_properties(benchmarks PROPERTIES LABELS long FAIL_REGULAR_EXPRESSION "ERROR OCCURRED")
endif()
