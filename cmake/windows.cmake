# The Windows build: kovraLauncher.exe and the product's libraries sess.dll and ext.dll, each without a runtime
# library beside it. Included by the top-level CMakeLists.txt; cross-compiled with one of the mingw-*.cmake
# toolchain files. Results are put into bin/ of the build folder.

get_filename_component(root "${CMAKE_CURRENT_LIST_DIR}/.." ABSOLUTE)

set(CMAKE_RUNTIME_OUTPUT_DIRECTORY "${CMAKE_BINARY_DIR}/bin")
set(CMAKE_SHARED_LIBRARY_PREFIX "")

add_library(windowsSettings INTERFACE)
target_include_directories(windowsSettings INTERFACE "${root}/src" "${root}")
target_compile_definitions(windowsSettings INTERFACE
    _WIN32_WINNT=0x0501 WINVER=0x0501 _WIN32_IE=0x0600 NOMINMAX WIN32_LEAN_AND_MEAN)
# No -fdata-sections: it writes zero-initialised arrays into the file.
target_compile_options(windowsSettings INTERFACE
    $<$<COMPILE_LANGUAGE:CXX>:-Os -ffunction-sections -fno-exceptions -fno-rtti -fno-threadsafe-statics
    -fno-asynchronous-unwind-tables -fno-ident -Wall -Wextra -Wpedantic -Wconversion -Werror>)
# Without a time stamp the same source gives the same bytes. The subsystem's version is that of the oldest Windows
# that the program runs on: XP, in 64 bits its own 5.02.
set(subsystemMinor 1)
if(CMAKE_SIZEOF_VOID_P EQUAL 8)
    set(subsystemMinor 2)
endif()
target_link_options(windowsSettings INTERFACE
    -static -s -Wl,--gc-sections -Wl,--no-insert-timestamp -Wl,--dynamicbase -Wl,--nxcompat
    -Wl,--major-subsystem-version,5 -Wl,--minor-subsystem-version,${subsystemMinor})

set(runtime "${root}/src/platform/windows/runtime.cpp")

file(GLOB platformSources CONFIGURE_DEPENDS "${root}/src/platform/windows/*.cpp")
enable_language(RC)
set(resources "${root}/src/platform/windows/kovraLauncher.rc")
set_source_files_properties("${resources}" PROPERTIES
    OBJECT_DEPENDS "${root}/src/platform/windows/kovraLauncher.manifest")
add_executable(kovraLauncher WIN32 "${root}/src/main.cpp" ${LAUNCHER_SOURCES} ${platformSources} "${resources}")
# The system's headers are most of what the compiler reads. The native build shows a missing include.
target_precompile_headers(kovraLauncher PRIVATE "${root}/src/platform/win32.h" <string>)
target_include_directories(kovraLauncher PRIVATE "${root}/src/platform/windows")
target_link_libraries(kovraLauncher PRIVATE windowsSettings
    ntdll advapi32 shell32 ole32 oleaut32 user32 kernel32 uuid)

function(addProductLibrary name)
    file(GLOB sources CONFIGURE_DEPENDS "${root}/libraries/${name}/*.cpp")
    add_library(${name} SHARED ${sources} "${root}/libraries/${name}/${name}.def" "${runtime}")
    # The exports bear their plain names, without the stdcall marks.
    target_link_options(${name} PRIVATE -Wl,--enable-stdcall-fixup)
    target_link_libraries(${name} PRIVATE windowsSettings ${ARGN})
    # Nobody links against the library: it is loaded at run time.
    set_target_properties(${name} PROPERTIES IMPORT_PREFIX "" ARCHIVE_OUTPUT_DIRECTORY "${CMAKE_BINARY_DIR}/import")
endfunction()
addProductLibrary(sess advapi32 kernel32)
addProductLibrary(ext advapi32 kernel32)

# What scripts/bench measures the launcher beside; built on demand.
foreach(name bareRun bareService bareLoop)
    add_executable(${name} WIN32 EXCLUDE_FROM_ALL "${root}/benchmarks/windows/${name}.cpp")
    target_link_libraries(${name} PRIVATE windowsSettings advapi32 ole32 uuid)
endforeach()

# The programs that check a Windows, contractTests.exe, differences.exe and windowsChecks.exe, and the one that measures
# on it, windowsBenchmarks.exe; built on demand.
include(ExternalProject)
string(REPLACE "g++" "gcc" windowsTestsC "${CMAKE_CXX_COMPILER}")
ExternalProject_Add(windowsTests
    EXCLUDE_FROM_ALL TRUE
    SOURCE_DIR "${root}/cmake/contract"
    CMAKE_ARGS -DCMAKE_SYSTEM_NAME=Windows -DCMAKE_C_COMPILER=${windowsTestsC}-posix
        -DCMAKE_CXX_COMPILER=${CMAKE_CXX_COMPILER}-posix -DCMAKE_RUNTIME_OUTPUT_DIRECTORY=${CMAKE_BINARY_DIR}/bin
    DEPENDS sess ext # which the contract loads from the folder of its program
    BUILD_ALWAYS TRUE
    BUILD_COMMAND "${CMAKE_COMMAND}" --build . --target contractTests differences windowsChecks windowsBenchmarks
    INSTALL_COMMAND "")
