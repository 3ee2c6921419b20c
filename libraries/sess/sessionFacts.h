#pragma once

#include "libraries/sess/rights.h"
#include "platform/handles.h"
#include "platform/win32.h"

#include <cstdint>

// What Windows tells of a session. All of it is for a process that runs as LocalSystem.

namespace kovra::sess {

enum class Owner : std::uint8_t { Anybody, LocalSystem };

/// Whether a process of that file name and owner runs in the session; no as well when it can't be told.
[[nodiscard]] bool runsInSession(const char* fileName, LONG sessionId, Owner owner);

struct UserTokens {
    SessionUser user = SessionUser::Unknown;
    KernelHandle own;
    KernelHandle elevated;
    DWORD error = ERROR_SUCCESS; ///< why there is no token; Windows' code
};

/// The session's user with what he has of tokens.
[[nodiscard]] UserTokens userOf(LONG sessionId);

} // namespace kovra::sess
