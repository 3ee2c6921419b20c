# The fuzzers, which scripts/fuzz runs: each file fuzzers/NAMEFuzzer.cpp is a program bin/NAME of its own.

if(NOT KOVRA_SANITIZE MATCHES "fuzzer-no-link")
    message(FATAL_ERROR "A fuzzer finds its way by what the compiler puts in: see the preset fuzz")
endif()
# What counts as new is the way that an input takes through the launcher or the simulator, not through the machine.
set_source_files_properties(${SIMULATED_SOURCES} PROPERTIES COMPILE_OPTIONS
    -fno-sanitize-coverage=inline-8bit-counters,pc-table,trace-cmp,indirect-calls)

add_library(fuzzing OBJECT fuzzers/fuzzing.cpp)
target_link_libraries(fuzzing PUBLIC simulation)
add_custom_target(fuzzers)
file(GLOB FUZZERS CONFIGURE_DEPENDS fuzzers/*Fuzzer.cpp)
foreach(file IN LISTS FUZZERS)
    string(REGEX REPLACE "^.*/(.*)Fuzzer\\.cpp$" "\\1" name "${file}")
    add_executable(${name} "${file}")
    target_link_libraries(${name} PRIVATE fuzzing)
    target_link_options(${name} PRIVATE -fsanitize=fuzzer)
    set_target_properties(${name} PROPERTIES RUNTIME_OUTPUT_DIRECTORY "${CMAKE_BINARY_DIR}/bin")
    add_dependencies(fuzzers ${name})
endforeach()
