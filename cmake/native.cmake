# The launcher over the simulated machine, with its tests, the simulator, the benchmarks and the fuzzers.

set(KOVRA_SANITIZE "" CACHE STRING "Sanitizers to build with, as for -fsanitize")
option(KOVRA_TESTS "Build the tests and the benchmarks, which take GoogleTest and Google Benchmark" ON)
option(KOVRA_FUZZERS "Build the fuzzers, which take clang" OFF)
set(CMAKE_CXX_FLAGS_RELEASE "-O2")
set(CMAKE_CXX_FLAGS_DEBUG "-O1 -g1")

add_compile_options(-Wall -Wextra -Wpedantic -Wconversion -Werror)
if(KOVRA_SANITIZE)
    add_compile_options(-fsanitize=${KOVRA_SANITIZE} -fno-sanitize-recover=all -fno-omit-frame-pointer)
    add_link_options(-fsanitize=${KOVRA_SANITIZE})
endif()

find_package(Threads REQUIRED)

file(GLOB SIMULATED_SOURCES CONFIGURE_DEPENDS src/platform/simulated/*.cpp)
add_library(launcher STATIC ${LAUNCHER_SOURCES} ${SIMULATED_SOURCES})
target_include_directories(launcher PUBLIC src .)
target_link_libraries(launcher PUBLIC Threads::Threads)
# scripts/check-style compiles each file without it, so that a missing include shows.
target_precompile_headers(launcher PRIVATE <algorithm> <functional> <map> <memory> <optional> <string> <thread> <vector>)

file(GLOB SIMULATOR_SOURCES CONFIGURE_DEPENDS simulator/*.cpp)
list(FILTER SIMULATOR_SOURCES EXCLUDE REGEX "/main\\.cpp$")
add_library(simulation STATIC ${SIMULATOR_SOURCES})
target_link_libraries(simulation PUBLIC launcher)
target_precompile_headers(simulation REUSE_FROM launcher)
add_executable(simulator simulator/main.cpp)
target_link_libraries(simulator PRIVATE simulation)

if(KOVRA_TESTS)
    include(cmake/tests.cmake)
endif()
if(KOVRA_FUZZERS)
    include(cmake/fuzzers.cmake)
endif()
