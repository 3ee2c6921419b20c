#pragma once

#include "libraries/sess/rights.h"
#include "platform/handles.h"
#include "platform/win32.h"

#include <cstdint>
#include <vector>

// What Windows tells of a session. All of it is for a process that runs as LocalSystem.

namespace kovra::sess {

enum class Owner : std::uint8_t { Anybody, LocalSystem };

/// Ids of the processes of that file name and owner in the session; none as well when they can't be listed.
[[nodiscard]] std::vector<DWORD> findInSession(const char* fileName, LONG sessionId, Owner owner);

[[nodiscard]] inline bool runsInSession(const char* fileName, LONG sessionId, Owner owner) {
    return !findInSession(fileName, sessionId, owner).empty();
}

struct UserTokens {
    SessionUser user = SessionUser::Unknown;
    KernelHandle own;
    KernelHandle elevated;
    DWORD error = ERROR_SUCCESS; ///< why there is no token; Windows' code
};

/// The session's user with what he has of tokens.
[[nodiscard]] UserTokens userOf(LONG sessionId);

} // namespace kovra::sess
