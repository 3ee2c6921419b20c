#pragma once

#include "platform/perProcess.h"

#include <cstdint>

namespace kovra {

/// The application's run state, by which the watchdog, the application start and the control commands steer
/// one another. Only the service gives it a use, on its main thread alone.
struct AppRunState {
    /// The watchdog acts at all.
    bool appExpected = false;
    /// In milliseconds of the tick count: the application is started only when the clock is past it.
    std::int32_t minLaunchTime = 0;
    /// Leave the main loop at the end of this pass.
    bool exitRequested = false;
    /// Below Windows major version 6: the session is ending; start nothing until the old shell is gone.
    bool sessionShutdownPending = false;
    /// The next start passes "-resume".
    bool resumeOnNextStart = false;
    /// Session in which the application runs; 0 also means not known yet.
    std::int32_t launchedSessionId = 0;
    /// Session asked for by the application, -1 for none; serves one start.
    std::int32_t forcedSessionId = 0;
    /// 1 when the setting or an old Windows calls for admin rights; the logon screen does not make it 1.
    std::int32_t adminRequested = 0;
    /// What the application really got at its last start.
    bool launchedWithAdminRights = false;
    /// The active console session as read at the last start or report; -1 when no session was active.
    std::int32_t watchedSessionId = 0;
    /// The application was started into a session with no shell yet and is to be restarted when one comes up.
    bool restartWhenExplorerStarts = false;
};

inline PerProcess<AppRunState> appRunState;

/// No launch time lies further ahead of the clock than this.
constexpr std::uint32_t longestLaunchDelayMs = 2000;

/// Makes the next start due `delayMs` from now, at most `longestLaunchDelayMs`.
void delayNextLaunch(std::uint32_t delayMs);

/// Whether the tick count `now` is behind `minLaunchTime`. A launch time counts as ahead for as long as it
/// could have been set to, and as past in every other case: so the answer holds across both turns of the
/// 32-bit clock and however long the application has been running.
[[nodiscard]] bool isPastMinLaunchTime(std::uint32_t now);

} // namespace kovra
