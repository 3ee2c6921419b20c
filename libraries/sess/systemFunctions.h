#pragma once

#include "platform/win32.h"

#include <string>

#include <userenv.h>
#include <wtsapi32.h>

// Functions of those of Windows' libraries that aren't in every process. An import of theirs would be looked
// for in the launcher's folder first; here they come from the system's folder and from nowhere else.

namespace kovra::sess {

/// Null, with the last error set, where there is no such library or it has no such function.
template <typename Function>
[[nodiscard]] Function* findSystemFunction(const char* libraryFile, const char* name) {
    char folder[MAX_PATH];
    const UINT length = GetSystemDirectoryA(folder, MAX_PATH);
    if (length == 0 || length >= MAX_PATH)
        return nullptr;
    const std::string path = std::string{folder, length} + '\\' + libraryFile;
    HMODULE library = GetModuleHandleA(path.c_str());
    if (library == nullptr)
        // What the library itself imports comes from its own folder, too.
        library = LoadLibraryExA(path.c_str(), nullptr, LOAD_WITH_ALTERED_SEARCH_PATH);
    if (library == nullptr)
        return nullptr;
    return reinterpret_cast<Function*>(reinterpret_cast<void*>(GetProcAddress(library, name)));
}

inline BOOL queryUserToken(ULONG sessionId, HANDLE* token) {
    auto* const function =
        findSystemFunction<decltype(WTSQueryUserToken)>("wtsapi32.dll", "WTSQueryUserToken");
    return function != nullptr ? function(sessionId, token) : FALSE;
}

inline BOOL createEnvironmentBlock(LPVOID* environment, HANDLE token, BOOL inherit) {
    auto* const function =
        findSystemFunction<decltype(CreateEnvironmentBlock)>("userenv.dll", "CreateEnvironmentBlock");
    return function != nullptr ? function(environment, token, inherit) : FALSE;
}

inline void destroyEnvironmentBlock(LPVOID environment) {
    auto* const function =
        findSystemFunction<decltype(DestroyEnvironmentBlock)>("userenv.dll", "DestroyEnvironmentBlock");
    if (function != nullptr)
        function(environment);
}

} // namespace kovra::sess
