#include "platform/simulated/shell.h"

#include "platform/simulated/machine.h"

#include <algorithm>
#include <cstring>

namespace kovra::simulated {

namespace {

/// The text between the first pair of double quotes; the whole text without one.
std::string unquoted(const std::string& text) {
    const std::size_t opening = text.find('"');
    const std::size_t closing = opening == std::string::npos ? opening : text.find('"', opening + 1);
    return closing == std::string::npos ? text : text.substr(opening + 1, closing - opening - 1);
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

Process* Shell::startTool(const std::string& file, DWORD session, Account account) {
    const std::string program = lowerCase(file);
    for (const char* tool : {"net", "regedit", "regsvr32"})
        if (program == tool || program == std::string{tool} + ".exe")
            return machine_.processes.find(
                machine_.processes.start(std::string{tool} + ".exe", session, account));
    return nullptr;
}

void Shell::execute(const ShellCall& call, DWORD session, Account account) {
    machine_.tell(Side::launcher,
                  "runs " + call.file + (call.parameters.empty() ? "" : " " + call.parameters));
    const std::string program = lowerCase(call.file);
    if (program == "net") {
        if (call.parameters.starts_with("start ") && account != Account::user)
            machine_.services.start(call.parameters.substr(6));
    } else if (program == "regedit") {
        if (const auto bytes = machine_.files.read(machine_.codePage.toWide(unquoted(call.parameters))))
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
    call.expect(*operation == '\0' || sameName(operation, "open"), "operation");
    const auto result = [](std::uintptr_t code) { return reinterpret_cast<HINSTANCE>(code); };
    if (call.fails())
        return result(ERROR_FILE_NOT_FOUND);
    Machine& here = machine();
    const ShellCall shellCall{operation, file, parameters == nullptr ? "" : parameters,
                              directory == nullptr ? "" : directory, show};
    here.shell.executed.push_back(shellCall);
    here.scheduler.work(programStartMs);
    std::optional<OpenFolder> folder = here.files.openFolder(here.codePage.toWide(shellCall.directory), true,
                                                             FILE_SHARE_READ | FILE_SHARE_WRITE);
    if (!folder && !shellCall.directory.empty())
        return result(ERROR_PATH_NOT_FOUND);
    const Process& caller = *currentThread()->process();
    // A tool of the system stays in its folder until its work is done.
    Process* const tool = here.shell.startTool(shellCall.file, caller.session, caller.account);
    if (tool != nullptr)
        tool->workingFolder = std::move(folder);
    here.scheduler.after(here.shell.childDelayMs,
                         [&here, shellCall, session = caller.session, account = caller.account,
                          id = tool != nullptr ? tool->id : 0] {
                             here.shell.execute(shellCall, session, account);
                             here.processes.end(id);
                         });
    return result(33);
}

BOOL CreateProcessA(LPCSTR applicationName, LPSTR commandLine, SECURITY_ATTRIBUTES*, SECURITY_ATTRIBUTES*,
                    BOOL inheritHandles, DWORD flags, LPVOID environment, LPCSTR currentDirectory,
                    STARTUPINFOA* startup, PROCESS_INFORMATION* information) {
    const Call<"CreateProcessA"> call;
    call.expect(applicationName == nullptr && flags == NORMAL_PRIORITY_CLASS && environment == nullptr &&
                    currentDirectory == nullptr,
                "application, flags, environment, folder");
    // A console's window comes up unless it is hidden.
    call.expect(startup->cb == sizeof *startup && startup->lpReserved == nullptr &&
                    startup->lpDesktop == nullptr && startup->cbReserved2 == 0 &&
                    startup->dwFlags == (STARTF_USESTDHANDLES | STARTF_USESHOWWINDOW) &&
                    startup->wShowWindow == SW_HIDE && startup->hStdInput == nullptr &&
                    startup->hStdError == startup->hStdOutput,
                "start-up record");
    if (call.fails())
        return FALSE;
    Machine& here = machine();
    const std::string line{commandLine};
    const auto program = here.shell.consolePrograms.find(lowerCase(line.substr(0, line.find(' '))));
    if (program == here.shell.consolePrograms.end()) {
        setLastError(ERROR_FILE_NOT_FOUND);
        return FALSE;
    }
    here.shell.consoleCommands.push_back(line);
    here.scheduler.work(programStartMs);
    here.tell(Side::launcher, "runs " + line);
    const ConsoleRun run = program->second(line);
    const PipeWriteEnd* end = here.handles.find<PipeWriteEnd>(startup->hStdOutput);
    if (end != nullptr && end->inheritable && inheritHandles != 0) {
        const std::shared_ptr<AnonymousPipe> pipe = end->pipe;
        ++pipe->writers;
        std::uint64_t time = here.scheduler.now();
        for (const auto& [delay, piece] : run.output) {
            time += delay;
            here.scheduler.at(time, [pipe, piece = piece] {
                pipe->bytes.insert(pipe->bytes.end(), piece.begin(), piece.end());
            });
        }
        if (run.endsAfter != Scheduler::never)
            here.scheduler.at(time + run.endsAfter, [pipe] { --pipe->writers; });
    }
    information->hProcess = here.handles.add(OpenedProcess{0, 0});
    information->hThread = here.handles.add(ThreadObject{});
    return TRUE;
}

int MessageBoxA(HWND owner, LPCSTR text, LPCSTR caption, UINT type) {
    const Call<"MessageBoxA"> call;
    call.expect(owner == nullptr && std::strcmp(caption, "KovraLauncher") == 0 &&
                    type == (MB_OK | MB_ICONEXCLAMATION),
                "a box of another kind");
    Machine& here = machine();
    here.shell.messageBoxes.emplace_back(text);
    here.tell(Side::launcher, "message box: " + std::string{text});
    Scheduler& scheduler = here.scheduler;
    const auto closes = here.shell.messageBoxClosesAfter;
    scheduler.blockUntil(closes ? scheduler.now() + *closes : Scheduler::never, [] { return false; });
    return 1;
}

BOOL PeekMessageA(MSG*, HWND window, UINT first, UINT last, UINT remove) {
    const Call<"PeekMessageA"> call;
    call.expect(window == nullptr && first == 0 && last == 0 && remove == PM_REMOVE, "not every message");
    Thread& self = *currentThread();
    if (std::size_t& messages = self.process()->messages; messages > 0) {
        --messages;
        return TRUE;
    }
    // Looking again at once takes time: without that a thread that polls would never see the clock move.
    Scheduler& scheduler = machine().scheduler;
    if (self.polledAt == scheduler.now())
        scheduler.blockUntil(scheduler.now() + 1, [] { return false; });
    self.polledAt = scheduler.now();
    return FALSE;
}

BOOL TranslateMessage(const MSG*) {
    return FALSE;
}

LRESULT DispatchMessageA(const MSG*) {
    return 0;
}

BOOL GetVersionExA(OSVERSIONINFOA* information) {
    const Call<"GetVersionExA"> call;
    if (call.fails())
        return FALSE;
    if (information->dwOSVersionInfoSize != sizeof(OSVERSIONINFOA)) {
        setLastError(ERROR_INSUFFICIENT_BUFFER);
        return FALSE;
    }
    const WindowsVersion& version = machine().version;
    information->dwMajorVersion = version.major;
    information->dwMinorVersion = version.minor;
    information->dwPlatformId = version.platformId;
    return TRUE;
}
