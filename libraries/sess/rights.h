#pragma once

#include <cstdint>

// Decides with whose rights a program is started in a session. Only the decision: nothing here asks or
// changes the system.

namespace kovra::sess {

/// Who is logged on in a session.
enum class SessionUser : std::uint8_t {
    Nobody,
    /// It can't be told: no such session, or no right to ask.
    Unknown,
    /// Somebody without admin rights.
    Ordinary,
    /// An administrator who works with normal rights; the elevated token is linked to the user's own.
    AdminWithLinkedToken,
    /// An administrator whose own token is elevated: no UAC, UAC off, or the built-in administrator.
    ElevatedAdmin,
};

struct SessionFacts {
    SessionUser user = SessionUser::Unknown;
    /// `logonui.exe` runs in the session, so that its desktop isn't open.
    bool logonScreenUp = false;
};

enum class StartToken : std::uint8_t {
    /// Nothing is to be started.
    None,
    /// The session user's own.
    User,
    /// The elevated one that is linked to the session user's own.
    UserElevated,
    /// The service's own, moved into the session.
    Service,
};

struct StartRights {
    StartToken token = StartToken::None;
    /// The answer of a start that works carries `adminMark`.
    bool marked = false;

    friend constexpr bool operator==(const StartRights&, const StartRights&) = default;
};

/// Added to the session id in the answer of a start that got admin rights.
constexpr std::int32_t adminMark = 1000;

/// The answer of a start that didn't take place.
constexpr std::int32_t nothingStarted = -1;

/// The token for a start in a session with these facts. The service's own token never gets on the open
/// desktop of somebody who is logged on.
[[nodiscard]] constexpr StartRights rightsFor(bool normalPrivileges, const SessionFacts& facts) {
    const bool userKnown = facts.user != SessionUser::Nobody && facts.user != SessionUser::Unknown;
    if (normalPrivileges) {
        // Never marked, even for a user who is always elevated: there is no lower token to start on, and a
        // mark would have the start lowered again and again.
        return {userKnown ? StartToken::User : StartToken::None, false};
    }
    if (facts.user == SessionUser::AdminWithLinkedToken)
        return {StartToken::UserElevated, true};
    if (facts.user == SessionUser::ElevatedAdmin)
        return {StartToken::User, true};
    if (facts.user == SessionUser::Nobody || facts.logonScreenUp)
        return {StartToken::Service, true};
    return {userKnown ? StartToken::User : StartToken::None, false};
}

/// The answer of a start that worked.
[[nodiscard]] constexpr std::int32_t answerFor(std::int32_t sessionId, const StartRights& rights) {
    return rights.marked ? sessionId + adminMark : sessionId;
}

} // namespace kovra::sess
