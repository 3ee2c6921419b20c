#pragma once

#include <cstdint>

// The product's library for sessions, sess.dll, as the launcher calls it. The library is loaded from the
// launcher's own folder at the first call. Without it, or without one of its functions, the console session
// is -1, no explorer is seen and a start gives -1.

namespace kovra {

/// Id of the session attached to the physical console; -1 while the console is between sessions.
[[nodiscard]] std::int32_t getActiveConsoleSessionId();

/// A number above 0 when an `explorer.exe` runs in the session; 0 when none does or it can't be told.
[[nodiscard]] std::int32_t isExplorerInSession(std::int32_t sessionId);

/// Starts the executable with the arguments (both ANSI) in the session, with the rights of the session's user
/// (`normalPrivileges`) or with admin rights. Gives the id of the session in which it was started, with 1000
/// added where admin rights were asked for; -1 when nothing was started, with GetLastError telling why.
[[nodiscard]] std::int32_t launchApplicationInSession(const char* applicationPath, const char* arguments,
                                                      std::int32_t sessionId, bool normalPrivileges);

} // namespace kovra
