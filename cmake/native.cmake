# The launcher over the simulated machine, with its tests, the simulator and the benchmarks.

set(KOVRA_SANITIZE "" CACHE STRING "Sanitizers to build with, as for -fsanitize")
if(NOT CMAKE_BUILD_TYPE)
    set(CMAKE_BUILD_TYPE Release)
endif()
set(CMAKE_CXX_FLAGS_RELEASE "-O2")
set(CMAKE_CXX_FLAGS_DEBUG "-O1 -g1")

# A build from nothing takes half the time so.
set(CMAKE_UNITY_BUILD ON CACHE BOOL "Compile several files as one")
set(CMAKE_UNITY_BUILD_BATCH_SIZE 12)

add_compile_options(-Wall -Wextra -Wpedantic -Wconversion -Werror)
if(KOVRA_SANITIZE)
    add_compile_options(-fsanitize=${KOVRA_SANITIZE} -fno-sanitize-recover=all -fno-omit-frame-pointer)
    add_link_options(-fsanitize=${KOVRA_SANITIZE})
endif()

find_package(Threads REQUIRED)
find_package(GTest) # without it there are no tests
find_package(benchmark)

file(GLOB SIMULATED_SOURCES CONFIGURE_DEPENDS src/platform/simulated/*.cpp)
add_library(launcher STATIC ${LAUNCHER_SOURCES} ${SIMULATED_SOURCES})
target_include_directories(launcher PUBLIC src .)
target_link_libraries(launcher PUBLIC Threads::Threads)
target_precompile_headers(launcher PRIVATE <algorithm> <functional> <map> <memory> <optional> <string> <thread> <vector>)

file(GLOB SIMULATOR_SOURCES CONFIGURE_DEPENDS simulator/*.cpp)
list(FILTER SIMULATOR_SOURCES EXCLUDE REGEX "/main\\.cpp$")
if(SIMULATOR_SOURCES)
    add_library(simulation STATIC ${SIMULATOR_SOURCES})
    target_link_libraries(simulation PUBLIC launcher)
    add_executable(simulator simulator/main.cpp)
    target_link_libraries(simulator PRIVATE simulation)
endif()

file(GLOB_RECURSE TEST_SOURCES CONFIGURE_DEPENDS tests/*.cpp)
list(FILTER TEST_SOURCES EXCLUDE REGEX "/tests/windows/")
if(GTest_FOUND AND TARGET simulation)
    add_executable(tests ${TEST_SOURCES})
    target_include_directories(tests PRIVATE tests)
    target_precompile_headers(tests PRIVATE <gmock/gmock.h> <gtest/gtest.h>)
    target_compile_definitions(tests PRIVATE SCENARIO_FOLDER="${PROJECT_SOURCE_DIR}/scenarios")
    # Optimised, strings made of literals bring up warnings of overflows that this compiler only imagines.
    target_compile_options(tests PRIVATE -O0)
    target_link_libraries(tests PRIVATE simulation GTest::gmock GTest::gtest_main)
endif()

file(GLOB BENCHMARK_SOURCES CONFIGURE_DEPENDS benchmarks/*.cpp)
if(BENCHMARK_SOURCES AND benchmark_FOUND AND NOT KOVRA_SANITIZE)
    add_executable(benchmarks ${BENCHMARK_SOURCES})
    target_link_libraries(benchmarks PRIVATE launcher benchmark::benchmark_main)
endif()
