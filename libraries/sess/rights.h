#pragma once

#include <cstdint>

// Decides with whose rights a program is started in a session, and when one with the service's own is to be
// ended. Only the decision: nothing here asks or changes the system.

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

[[nodiscard]] constexpr bool isSomebody(SessionUser user) {
    return user != SessionUser::Nobody && user != SessionUser::Unknown;
}

/// Programs count as the system's by their name and by running as LocalSystem: anybody may give a program of
/// his such a name.
struct SessionFacts {
    SessionUser user = SessionUser::Unknown;
    /// The system's `winlogon.exe` runs in the session; asked only where nobody is known to be logged on.
    bool logonProcessUp = false;
    /// So does its `logonui.exe`.
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

/// Added to the session id in the answer of a start that was asked for with admin rights.
constexpr std::int32_t adminMark = 1000;

/// The answer of a start that didn't take place.
constexpr std::int32_t nothingStarted = -1;

/// The token for a start in a session with these facts. The service's own is for a session that people log on
/// to and in which nobody has; whoever is logged on, locked out or not, gets a token of his.
[[nodiscard]] constexpr StartToken tokenFor(bool normalPrivileges, const SessionFacts& facts) {
    if (isSomebody(facts.user)) {
        return !normalPrivileges && facts.user == SessionUser::AdminWithLinkedToken ? StartToken::UserElevated
                                                                                    : StartToken::User;
    }
    const bool nobody = facts.user == SessionUser::Nobody || facts.logonScreenUp;
    return !normalPrivileges && nobody && facts.logonProcessUp ? StartToken::Service : StartToken::None;
}

/// The answer of a start that worked. The mark tells what was asked for: with admin rights an ordinary user's
/// own token is all that there is to be had, and with normal rights an always elevated one's own is. Any
/// other mark would have the start repeated for ever.
[[nodiscard]] constexpr std::int32_t answerFor(std::int32_t sessionId, bool normalPrivileges) {
    return normalPrivileges ? sessionId : sessionId + adminMark;
}

/// What the program starts on its own token, which is ended with it. The database server outlives a restart.
constexpr const char* childPrograms[] = {"kovraHttpd.exe", "kovraFfmpeg.exe", "Thumbler.exe"};

/// Tells when a program with the service's token has outlived the logon in its session. It is asked again and
/// again, `lookEveryMs` apart, for as long as the program runs.
class LogonWatch {
public:
    static constexpr std::uint32_t lookEveryMs = 1000;
    /// Leaves the launcher's own checks the time to restart the program in their way.
    static constexpr std::uint32_t shellPatienceMs = 10'000;
    /// A shell under another name, or one that is ended again and again, wins its user no more than this.
    static constexpr std::uint32_t logonPatienceMs = 60'000;
    static_assert(shellPatienceMs < logonPatienceMs);

    /// What is seen at the tick count `now`; the shell counts only beside somebody who may be logged on.
    /// Where that can't be told it doesn't count behind the system's logon screen: there the program is
    /// started for nobody, again and again. Gives whether the program is to be ended.
    [[nodiscard]] constexpr bool isOver(std::uint32_t now, SessionUser user, bool shellUp,
                                        bool logonScreenUp) {
        const bool mayBeSomebody = isSomebody(user) || (user == SessionUser::Unknown && !logonScreenUp);
        const bool shellStays = shell_.hasHeld(mayBeSomebody && shellUp, now, shellPatienceMs);
        return user_.hasHeld(isSomebody(user), now, logonPatienceMs) || shellStays;
    }

private:
    /// Since when something has held without a break.
    struct Spell {
        bool held = false;
        std::uint32_t since = 0;

        constexpr bool hasHeld(bool holds, std::uint32_t now, std::uint32_t forMs) {
            if (holds && !held)
                since = now;
            held = holds;
            return holds && now - since >= forMs;
        }
    };

    Spell user_;
    Spell shell_;
};

} // namespace kovra::sess
