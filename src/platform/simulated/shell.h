#pragma once

#include "platform/simulated/caseless.h"
#include "platform/simulated/processes.h"

#include <cstdint>
#include <functional>
#include <map>
#include <optional>
#include <string>
#include <utility>
#include <vector>

namespace kovra::simulated {

class Machine;

/// Where programs find things: the shell's special folders and the environment.
struct SpecialFolders {
    SpecialFolders();

    /// The logged-on user's and everybody's, by CSIDL number; a lookup of one that isn't there fails.
    std::map<int, std::wstring> paths;
    /// What LocalSystem has in place of the user's.
    std::map<int, std::wstring> servicesPaths;
    std::map<std::wstring, std::wstring, Caseless> environment;

    /// The item lists that were given out and not freed.
    std::map<const void*, std::shared_ptr<ITEMIDLIST>> lists;
};

/// One call of ShellExecuteA.
struct ShellCall {
    std::string operation;
    std::string file;
    std::string parameters;
    std::string directory;
};

/// What a console program writes: pieces, each so many milliseconds behind the one before, then the end.
struct ConsoleRun {
    std::vector<std::pair<std::uint64_t, std::string>> output;
    /// Milliseconds behind the last piece; `Scheduler::never`: keeps its output open.
    std::uint64_t endsAfter = 0;
};

/// What a shell link's file (.lnk) holds, each property as it was set.
struct Shortcut {
    std::wstring targetPath;
    std::wstring arguments;
    std::wstring workingDirectory;
    std::int32_t windowStyle = 1;
    std::wstring iconLocation = L",0";

    bool operator==(const Shortcut&) const = default;
};

/// Programs started by name, message boxes, and what the shell knows of its folders.
class Shell {
public:
    explicit Shell(Machine& machine);

    SpecialFolders specialFolders;

    /// Console programs by name in lower case; each is given its whole command line. `schtasks` is there.
    std::map<std::string, std::function<ConsoleRun(const std::string&)>> consolePrograms;

    std::vector<std::string> messageBoxes;

    /// The shortcut that the file holds; empty when it holds none.
    [[nodiscard]] std::optional<Shortcut> shortcutAt(std::wstring_view path) const;
    /// Gives what a file has to hold to be the shortcut.
    std::string contentOf(const Shortcut& shortcut);

    /// Puts a tool of the system that is started by its name into the process list; null for other programs.
    Process* startTool(const std::string& file, DWORD session, Account account);
    void execute(const ShellCall& call, DWORD session, Account account);

private:
    ConsoleRun runTaskScheduler(const std::string& commandLine);

    Machine& machine_;
    std::map<std::string, Shortcut> shortcuts_; // by their files' content
    std::map<std::string, std::string> tasks_;  // what each scheduled task runs
};

} // namespace kovra::simulated
