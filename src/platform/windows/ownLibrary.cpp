#include "platform/windows/ownLibrary.h"

#include "platform/win32.h"

#include <string>

namespace kovra {
namespace {

/// Full path of a file in the launcher's own folder; empty when the folder can't be told.
std::string besideLauncher(const char* fileName) {
    char path[MAX_PATH];
    const DWORD length = GetModuleFileNameA(nullptr, path, MAX_PATH);
    if (length == 0 || length >= MAX_PATH)
        return {};
    const std::string launcher{path, length};
    const std::size_t backslash = launcher.rfind('\\');
    if (backslash == std::string::npos)
        return {};
    return launcher.substr(0, backslash + 1) + fileName;
}

} // namespace

void* findInOwnLibrary(const char* libraryFile, const char* function) {
    // A bare name would have Windows look in other folders too, where anybody may have laid such a file.
    const std::string path = besideLauncher(libraryFile);
    if (path.empty()) {
        SetLastError(ERROR_MOD_NOT_FOUND);
        return nullptr;
    }
    HMODULE library = GetModuleHandleA(path.c_str());
    if (library == nullptr) {
        // A damaged library must not hold the process by a box that nobody sees.
        const UINT mode = SetErrorMode(SEM_FAILCRITICALERRORS | SEM_NOOPENFILEERRORBOX);
        library = LoadLibraryExA(path.c_str(), nullptr, LOAD_WITH_ALTERED_SEARCH_PATH);
        const DWORD error = GetLastError();
        SetErrorMode(mode);
        SetLastError(error);
    }
    if (library == nullptr)
        return nullptr;
    return reinterpret_cast<void*>(GetProcAddress(library, function));
}

} // namespace kovra
