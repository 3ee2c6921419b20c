#include "platform/sess.h"

#include "platform/win32.h"
#include "platform/windows/ownLibrary.h"

namespace kovra {
namespace {

constexpr const char* libraryFile = "sess.dll";

using GetActiveConsoleSessionIdFunction = LONG(WINAPI*)();
using IsExplorerInSessionFunction = LONG(WINAPI*)(LONG);
using LaunchApplicationInSessionFunction = LONG(WINAPI*)(LPCSTR, LPCSTR, LONG, short);

} // namespace

std::int32_t getActiveConsoleSessionId() {
    auto* const function = reinterpret_cast<GetActiveConsoleSessionIdFunction>(
        findInOwnLibrary(libraryFile, "getActiveConsoleSessionId"));
    return function != nullptr ? function() : -1;
}

std::int32_t isExplorerInSession(std::int32_t sessionId) {
    auto* const function =
        reinterpret_cast<IsExplorerInSessionFunction>(findInOwnLibrary(libraryFile, "isExplorerInSession"));
    return function != nullptr ? function(sessionId) : 0;
}

std::int32_t launchApplicationInSession(const char* applicationPath, const char* arguments,
                                        std::int32_t sessionId, bool normalPrivileges) {
    auto* const function = reinterpret_cast<LaunchApplicationInSessionFunction>(
        findInOwnLibrary(libraryFile, "launchApplicationInSession"));
    return function != nullptr ? function(applicationPath, arguments, sessionId, normalPrivileges ? -1 : 0)
                               : -1;
}

} // namespace kovra
