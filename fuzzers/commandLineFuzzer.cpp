// The input is a command line, behind one byte that chooses the machine.

#include "fuzzers/fuzzing.h"

#include <algorithm>
#include <set>

namespace kovra::fuzzing {
namespace {

using simulated::Account;
using simulated::Process;

/// No form of the launcher's own: the line goes to the application.
bool isForApplication(std::string_view line) {
    static const std::set<std::string_view> verbs{
        "",
        "service",
        "launchService",
        "uninstallApplication",
        "uninstallServices",
        "installServices",
        "resetShortcuts",
        "registerContextMenu",
        "unregisterContextMenu",
        "installFfmpegFrom",
        "restart",
        "installUpdate",
        "shutdown",
    };
    return !verbs.contains(line.substr(0, line.find(' '))) && !line.starts_with("createShortcuts");
}

class User {
public:
    explicit User(std::uint8_t choice)
        : account_(choice / 2 % 2 == 0 ? Account::administrator : Account::user) {
        machine_.sessions.open(1);
        machine_.sessions.logOn(1);
        world_.application.reportsAfter.reset(); // there is no service to hear it
        machine_.services.add("Apache", "apache.exe");
        if (choice % 2 != 0)
            machine_.processes.start("Kovra.exe", 1);
    }

    /// Starts the launcher with the line, which does its job and ends.
    void type(std::string_view line) {
        machine_.codePage.set(codePageFor(line));
        setWindowsFor(machine_, line);
        const simulation::Beginning before = world_.lookAtAll();
        const Process* const application = machine_.processes.find("Kovra.exe");
        const bool ran = application != nullptr;
        const DWORD runningId = ran ? application->id : 0;
        const std::wstring wide = machine_.codePage.toWide(line);
        mustHold(machine_.run(wide, account_), "the launcher comes to an end");
        machine_.play(500); // what it has started does its work
        const std::string arguments = machine_.codePage.toAnsi(wide);
        mustEqual(machine_.traceLines.at(0), "Start KovraLauncher with command line " + arguments,
                  "the first line of the trace");
        const std::string command = arguments.substr(arguments.starts_with('-') ? 1 : 0);
        const bool meansService = command == "service" || command.starts_with("service ");
        const auto refused = std::count(machine_.traceLines.begin(), machine_.traceLines.end(),
                                        "Service couldn't be created !!!"); // without the service manager
        mustHold(refused == (meansService ? 1 : 0), "the one word alone means the service");
        if (!isForApplication(command))
            return;
        mustHold(areSame(before, world_.lookAtAll()), "a line for the application changes nothing else");
        const Process* const runs = machine_.processes.find("Kovra.exe");
        mustHold(runs != nullptr && (!ran || runs->id == runningId),
                 "the application runs on, or has been started");
        if (ran)
            mustEqual(machine_.mailslots.delivered.at(0), command + '\0', "what the application is sent");
        else if (machine_.version.major != 6 || machine_.version.minor != 0) // Vista's task changes quotes
            mustEqual(runs->arguments, command, "the application's arguments");
        mustHold(machine_.processes.count("Kovra.exe") == 1 &&
                     machine_.mailslots.delivered.size() == (ran ? 1U : 0U),
                 "the line is handed on once");
        mustHold(machine_.shell.messageBoxes.empty(), "nobody is asked");
    }

private:
    Account account_;
    simulation::World world_;
    simulated::Machine& machine_ = world_.machine;
};

} // namespace
} // namespace kovra::fuzzing

int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    using namespace kovra::fuzzing;
    if (size == 0)
        return 0;
    const std::string_view line = bytesOf(data, size).substr(1);
    User{*data}.type(line.substr(0, line.find('\0'))); // no line goes on behind a 0
    return 0;
}
