#pragma once

#include "platform/simulated/account.h"
#include "platform/simulated/files.h"
#include "platform/simulated/scheduler.h"

#include <cstdint>
#include <functional>
#include <list>
#include <map>
#include <memory>
#include <string>
#include <string_view>
#include <vector>

namespace kovra::simulated {

class Machine;
struct Service;

/// A process of the machine: a plain entry of the process list or, with threads and module values, a
/// launcher.
class Process {
public:
    DWORD id = 0;
    std::string name; ///< as the process list shows it; ANSI, usually a bare file name
    DWORD session = 0;
    Account account = Account::user;
    std::uint64_t startedAt = 0;
    DWORD launchedBy = 0;       ///< the launcher that started it in its session; 0: none
    bool debugs = false;        ///< has its debug privilege enabled
    bool unkillable = false;    ///< the launcher may not open it
    std::string path;           ///< of its executable, where it was started by path
    std::string arguments;      ///< behind the program name
    Service* service = nullptr; ///< the service that it was started for, if any
    std::uint64_t waits = 0;    ///< for an event or a thread, since it started
    std::size_t messages = 0;   ///< that wait for its main thread to serve them
    bool hasMessage = false;    ///< its main thread has taken one that it hasn't dispatched
    bool ended = false;
    std::optional<OpenFile> workingFolder; ///< held by the process; empty: one that nobody deletes
    std::map<const void*, std::unique_ptr<char[]>> memory; ///< blocks of GlobalAlloc that are not freed
    std::vector<void*> values;                             ///< a launcher's module-level values, by slot

    /// The name with the arguments.
    [[nodiscard]] std::string commandLine() const {
        return name + (arguments.empty() ? "" : " " + arguments);
    }

    [[nodiscard]] bool hasAdminRights() const { return account != Account::user; }

    /// Whether it may end the other process.
    [[nodiscard]] bool mayEnd(const Process& other) const;
};

/// The process list, and the launcher processes in it.
class Processes {
public:
    explicit Processes(Machine& machine) : machine_(machine) {}

    ~Processes();

    /// Puts a process into the list, at its end, and calls what `onStart` holds for it. Gives its id.
    DWORD start(const std::string& name, DWORD session, Account account = Account::user);
    /// Starts an executable by its path: a launcher process where the file is the machine's launcher, else a
    /// plain process. Gives its id, 0 when there is no such file.
    DWORD launch(const std::string& path, const std::string& arguments, DWORD session, Account account,
                 Service* service = nullptr);
    /// Starts a launcher process that runs the body on its main thread.
    Process& startLauncher(const std::string& arguments, DWORD session, Account account, Service* service,
                           std::function<void()> body);
    /// Takes the process off the list; a launcher's threads end where they stand.
    void end(DWORD id);
    /// Ends the process as a launcher does: it stays in the list for `terminationMs`.
    void terminate(const Process& process);
    /// Ends all of the name.
    void endAll(std::string_view name);

    /// The processes in list order.
    [[nodiscard]] std::vector<const Process*> list() const;
    /// The first of the name, whatever its case, optionally in one session; null when there is none.
    [[nodiscard]] Process* find(std::string_view name, std::optional<DWORD> session = {}) const;
    [[nodiscard]] Process* find(DWORD id) const;
    /// The system's own of the name: anybody may give a program of his the name of one of the system's.
    [[nodiscard]] Process* findOwn(std::string_view name, DWORD session) const;
    [[nodiscard]] std::size_t count(std::string_view name) const;

    /// What a program does when it has been started, by its name in lower case.
    std::map<std::string, std::function<void(Process&)>> onStart;
    /// Called with each process that has left the list.
    std::function<void(const Process&)> onEnd;
    /// How long a terminated process stays in the list.
    std::uint64_t terminationMs = 0;

    /// Drops what ended launchers left. Called by the world only.
    void reap();

private:
    Process& add(const std::string& name, DWORD session, Account account);
    DWORD letRun(Process& process);

    Machine& machine_;
    DWORD nextId_ = 4;
    std::list<std::unique_ptr<Process>> running_;
    std::list<std::unique_ptr<Process>> ended_;
};

/// Whose rights the calling process has.
[[nodiscard]] Account callersAccount();

} // namespace kovra::simulated
