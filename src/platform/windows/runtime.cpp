#include "platform/win32.h"

#include <cstddef>
#include <new>

// What the runtime library would bring along and this program has no use for. Memory comes from the process's
// own heap, and what would be an exception ends the process: an allocation that fails, or a text asked for
// what it doesn't hold. Without these the library's unwinder, demangler and printing come in, many times the
// size of the program itself.

namespace {

constexpr UINT failedExitCode = 3; // as abort() gives it

[[noreturn]] void endProcess() {
    // Nothing may run in a process that is out of memory: no library's farewell, which ExitProcess would
    // call.
    TerminateProcess(GetCurrentProcess(), failedExitCode);
    __builtin_unreachable();
}

void* allocate(std::size_t size) {
    void* const memory = HeapAlloc(GetProcessHeap(), 0, size);
    if (memory == nullptr)
        endProcess();
    return memory;
}

void release(void* memory) {
    if (memory != nullptr)
        HeapFree(GetProcessHeap(), 0, memory);
}

} // namespace

void* operator new(std::size_t size) {
    return allocate(size);
}

void* operator new[](std::size_t size) {
    return allocate(size);
}

void operator delete(void* memory) noexcept {
    release(memory);
}

void operator delete[](void* memory) noexcept {
    release(memory);
}

void operator delete(void* memory, std::size_t) noexcept {
    release(memory);
}

void operator delete[](void* memory, std::size_t) noexcept {
    release(memory);
}

extern "C" [[noreturn]] void __cxa_pure_virtual() {
    endProcess();
}

namespace std {

[[noreturn]] void terminate() noexcept {
    endProcess();
}

[[noreturn]] void __throw_bad_alloc() {
    endProcess();
}

[[noreturn]] void __throw_bad_array_new_length() {
    endProcess();
}

[[noreturn]] void __throw_length_error(const char*) {
    endProcess();
}

[[noreturn]] void __throw_logic_error(const char*) {
    endProcess();
}

[[noreturn]] void __throw_out_of_range(const char*) {
    endProcess();
}

[[noreturn]] void __throw_out_of_range_fmt(const char*, ...) {
    endProcess();
}

} // namespace std
