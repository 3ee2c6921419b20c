#include "platform/simulated/machine.h"

using namespace kovra::simulated;

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
    if (program == here.shell.consolePrograms.end())
        return FALSE;
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
    information->hProcess = here.handles.add(OpenedProcess{0});
    information->hThread = here.handles.add(std::make_shared<bool>(false));
    return TRUE;
}
