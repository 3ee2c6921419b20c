#include "platform/simulated/shell.h"

#include "platform/simulated/machine.h"

#include <algorithm>

namespace kovra::simulated {

namespace {

constexpr std::uint64_t childDelayMs = 50; // behind ShellExecuteA, until a hidden child does its work

/// The text between the double quotes.
std::string quotedIn(const std::string& text) {
    const std::size_t start = text.find('"') + 1;
    return text.substr(start, text.find('"', start) - start);
}

// What the shell extension does to the registry by itself.
constexpr std::string_view extensionComes =
    "REGEDIT4\r\n\r\n[HKEY_CLASSES_ROOT\\Directory\\Shell\\KOVRA.share]\r\n@=\"Share\"\r\n";
constexpr std::string_view extensionGoes =
    "REGEDIT4\r\n\r\n[-HKEY_CLASSES_ROOT\\Directory\\Shell\\KOVRA.share]\r\n";

} // namespace

Shell::Shell(Machine& machine) : machine_(machine) {
    consolePrograms["schtasks"] = [this](const std::string& commandLine) {
        return runTaskScheduler(commandLine);
    };
}

std::optional<Shortcut> Shell::shortcutAt(std::wstring_view path) const {
    const auto found = shortcuts_.find(machine_.files.read(path).value_or(""));
    return found == shortcuts_.end() ? std::nullopt : std::optional{found->second};
}

std::string Shell::contentOf(const Shortcut& shortcut) {
    std::wstring text = std::to_wstring(shortcut.windowStyle);
    for (const std::wstring* property :
         {&shortcut.targetPath, &shortcut.arguments, &shortcut.workingDirectory, &shortcut.iconLocation})
        text.append(1, L'\n').append(*property);
    std::string content{reinterpret_cast<const char*>(text.data()), text.size() * sizeof(wchar_t)};
    shortcuts_[content] = shortcut;
    return content;
}

Process* Shell::startTool(const std::string& file, DWORD session, Account account) {
    const std::string program = lowerCase(file);
    for (const char* tool : {"net", "regedit", "regsvr32"})
        if (program == tool || program == std::string{tool} + ".exe")
            return machine_.processes.find(
                machine_.processes.start(std::string{tool} + ".exe", session, account));
    return nullptr;
}

void Shell::execute(const ShellCall& call, DWORD session, Account account) {
    machine_.tell(Side::launcher, "runs " + call.file +
                                      (call.parameters.empty() ? "" : " " + call.parameters) + " in " +
                                      call.directory);
    const std::string program = lowerCase(call.file);
    if (program == "net") {
        if (call.parameters.starts_with("start ") && account != Account::user)
            machine_.services.start(call.parameters.substr(6));
    } else if (program == "regedit") {
        if (const auto bytes = machine_.files.read(machine_.codePage.toWide(quotedIn(call.parameters))))
            machine_.registry.import(*bytes, machine_.codePage, account);
    } else if (program == "regsvr32.exe") {
        // The extension's own registration: its context menu entry.
        const std::string library =
            call.directory + "\\" + call.parameters.substr(call.parameters.rfind(' ') + 1);
        if (!machine_.files.fileExists(machine_.codePage.toWide(library)))
            return;
        machine_.registry.import(call.parameters.starts_with("/u ") ? extensionGoes : extensionComes,
                                 machine_.codePage, account);
    } else {
        const DWORD id =
            machine_.processes.launch(call.directory + "\\" + call.file, call.parameters, session, account);
        if (Process* const process = machine_.processes.find(id))
            process->workingFolder = machine_.files.openFolder(machine_.codePage.toWide(call.directory), true,
                                                               FILE_SHARE_READ | FILE_SHARE_WRITE);
    }
}

ConsoleRun Shell::runTaskScheduler(const std::string& commandLine) {
    const auto wordBehind = [&](const std::string& word) {
        const std::size_t start = commandLine.find(word) + word.size();
        return commandLine.substr(start, commandLine.find(' ', start) - start);
    };
    const std::string task = wordBehind("/tn ");
    if (commandLine.find(" /create ") != std::string::npos) {
        const std::size_t start = commandLine.find("/tr \"") + 5;
        tasks_[task] = commandLine.substr(start, commandLine.find("\" /SC ") - start);
    } else if (commandLine.find(" /delete ") != std::string::npos) {
        tasks_.erase(task);
    } else if (const auto action = tasks_.find(task); action != tasks_.end()) {
        // \"program \"arguments
        const std::size_t closing = action->second.find("\\\"", 2);
        std::string program = action->second.substr(2, closing - 2);
        program.erase(program.find_last_not_of(' ') + 1);
        machine_.processes.launch(program, action->second.substr(closing + 2),
                                  static_cast<DWORD>(machine_.sessions.active), Account::user);
    } else {
        return {{{100, "ERROR: The system cannot find the file specified.\r\n"}}, 10};
    }
    return {{{100, "SUCCESS: \"" + task + "\".\r\n"}}, 10};
}

} // namespace kovra::simulated

using namespace kovra::simulated;

HINSTANCE ShellExecuteA(HWND owner, LPCSTR operation, LPCSTR file, LPCSTR parameters, LPCSTR directory,
                        int show) {
    const Call<"ShellExecuteA"> call;
    call.expect(owner == nullptr && show == SW_HIDE, "owner, show");
    call.expect(*operation == '\0' || sameAnsiName(operation, "open"), "operation");
    const auto result = [](std::uintptr_t code) { return reinterpret_cast<HINSTANCE>(code); };
    if (call.fails())
        return result(ERROR_FILE_NOT_FOUND);
    Machine& here = machine();
    const ShellCall shellCall{operation, file, parameters == nullptr ? "" : parameters,
                              directory == nullptr ? "" : directory};
    here.scheduler.work(programStartMs);
    std::optional<OpenFile> folder = here.files.openFolder(here.codePage.toWide(shellCall.directory), true,
                                                           FILE_SHARE_READ | FILE_SHARE_WRITE);
    if (!folder && !shellCall.directory.empty())
        return result(ERROR_PATH_NOT_FOUND);
    const Process& caller = *currentThread()->process();
    // A tool of the system stays in its folder until its work is done.
    Process* const tool = here.shell.startTool(shellCall.file, caller.session, caller.account);
    if (tool != nullptr)
        tool->workingFolder = std::move(folder);
    here.scheduler.after(childDelayMs, [&here, shellCall, session = caller.session, account = caller.account,
                                        id = tool != nullptr ? tool->id : 0] {
        here.shell.execute(shellCall, session, account);
        here.processes.end(id);
    });
    return result(33);
}
