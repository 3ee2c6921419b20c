#pragma once

#include "platform/simulated/win32.h"

#include <cstdint>
#include <map>

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

    std::int32_t active = 1;        ///< session at the console, -1 while there is none
    std::map<DWORD, User> loggedOn; ///< by session
    bool withoutLibrary = false;    ///< sess.dll can't be loaded

    /// The road of a session, in processes: winlogon.exe and logonui.exe, then the shell.
    void open(DWORD session);
    void logOn(DWORD session, User user = {});
    void showLogonScreen(DWORD session);
    void hideLogonScreen(DWORD session);
    void startShell(DWORD session);
    void endShell(DWORD session);
    /// Ends what runs in the session but winlogon.exe and services, and shows the logon screen.
    void logOff(DWORD session);
    /// Takes the session away with all that runs in it.
    void close(DWORD session);

    /// The services' session is always there, any other one while a process runs in it.
    [[nodiscard]] bool exists(DWORD session) const;

    /// Starts a program as sess.dll does; gives what that library gives.
    std::int32_t launch(const char* path, const char* arguments, std::int32_t session, bool normalPrivileges);

private:
    Machine& machine_;
};

} // namespace kovra::simulated
