#pragma once

#include "platform/simulated/win32.h"

#include <cstdint>
#include <map>

namespace kovra::sess {
enum class SessionUser : std::uint8_t;
class LogonWatch;
struct SessionFacts;
} // namespace kovra::sess

namespace kovra::simulated {

class Machine;

/// The user who is logged on in a session.
struct User {
    bool administrator = false;
    bool alwaysElevated = false; ///< an administrator without a second, lesser token
};

/// The sessions of the machine, and the product's library for them as the simulated machine has it.
class Sessions {
public:
    explicit Sessions(Machine& machine) : machine_(machine) {}

    std::int32_t active = 1;        ///< session at the console, -1 while there is none; others are remote
    std::map<DWORD, User> loggedOn; ///< by session
    bool withoutLibrary = false;    ///< sess.dll can't be loaded
    bool terminalServices = true;   ///< without them nobody can tell who is logged on

    /// The road of a session, in processes: winlogon.exe and logonui.exe, then the shell.
    void open(DWORD session);
    void logOn(DWORD session, User user = {});
    void showLogonScreen(DWORD session);
    void hideLogonScreen(DWORD session);
    /// Brings another session, or with -1 none, to the console. Somebody who is switched away from is locked:
    /// his logon screen stays up until it is hidden.
    void switchTo(std::int32_t session);
    void startShell(DWORD session);
    void endShell(DWORD session);
    /// Ends what runs in the session but winlogon.exe and services, and shows the logon screen.
    void logOff(DWORD session);
    /// Takes the session away with all that runs in it.
    void close(DWORD session);

    /// The services' session is always there, any other one while a process runs in it.
    [[nodiscard]] bool exists(DWORD session) const;

    /// Somebody is logged on there, with his shell up and no logon screen before it.
    [[nodiscard]] bool isDesktopOpen(DWORD session) const;

    /// What the library goes by when it starts a program there.
    [[nodiscard]] sess::SessionFacts factsOf(DWORD session) const;

    /// Starts a program as sess.dll does, for the calling launcher process; gives what that library gives.
    /// One with the service's token is ended as that library ends it.
    std::int32_t launch(const char* path, const char* arguments, std::int32_t session, bool normalPrivileges);

private:
    [[nodiscard]] sess::SessionUser userIn(DWORD session) const;
    /// The library's next look at a program that it has started for the service.
    void watchLogon(DWORD program, DWORD service, const sess::LogonWatch& watch);

    Machine& machine_;
};

} // namespace kovra::simulated
