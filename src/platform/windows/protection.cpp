#include "platform/windows/protection.h"

#include "platform/systemFunction.h"

namespace kovra {
namespace {

// LOAD_LIBRARY_SEARCH_SYSTEM32, which the headers know from later versions on.
constexpr DWORD searchSystemFolder = 0x800;

using HeapSetInformationFunction = BOOL(WINAPI*)(HANDLE, HEAP_INFORMATION_CLASS, PVOID, SIZE_T);
using SetDllDirectoryFunction = BOOL(WINAPI*)(LPCSTR);
using SetDefaultDllDirectoriesFunction = BOOL(WINAPI*)(DWORD);

} // namespace

void protectProcess() {
    // Windows XP SP1 and later: not the current folder. The launcher's own folder still comes first.
    if (auto* const function = findSystemFunction<SetDllDirectoryFunction>("SetDllDirectoryA"))
        function("");
    // Windows 8 and later, and Windows 7 and Vista with their updates: the system's folder alone.
    if (auto* const function =
            findSystemFunction<SetDefaultDllDirectoriesFunction>("SetDefaultDllDirectories"))
        function(searchSystemFolder);
    if (auto* const function = findSystemFunction<HeapSetInformationFunction>("HeapSetInformation"))
        function(nullptr, HeapEnableTerminationOnCorruption, nullptr, 0);
}

} // namespace kovra
