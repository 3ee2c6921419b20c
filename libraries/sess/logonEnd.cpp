#include "libraries/sess/logonEnd.h"

#include "libraries/sess/rights.h"
#include "libraries/sess/sessionFacts.h"

#include <utility>

namespace kovra::sess {
namespace {

struct Watched {
    KernelHandle program; // which keeps its process id from being given to another one
    LONG sessionId = 0;
    HMODULE library = nullptr;
};

void endAllInSession(const char* fileName, LONG sessionId) {
    for (const DWORD id : findInSession(fileName, sessionId, Owner::LocalSystem)) {
        if (const KernelHandle process{OpenProcess(PROCESS_TERMINATE, FALSE, id)}; process)
            TerminateProcess(process.get(), 0);
    }
}

void watch(const Watched& watched) {
    LogonWatch logon;
    while (WaitForSingleObject(watched.program.get(), LogonWatch::lookEveryMs) == WAIT_TIMEOUT) {
        const SessionUser user = userOf(watched.sessionId).user;
        // While nobody has logged on there, no process list is taken.
        const bool shellUp =
            user != SessionUser::Nobody && runsInSession("explorer.exe", watched.sessionId, Owner::Anybody);
        const bool logonScreenUp = shellUp && user == SessionUser::Unknown &&
                                   runsInSession("logonui.exe", watched.sessionId, Owner::LocalSystem);
        if (logon.isOver(GetTickCount(), user, shellUp, logonScreenUp)) {
            TerminateProcess(watched.program.get(), 0);
            for (const char* child : childPrograms)
                endAllInSession(child, watched.sessionId);
        }
    }
}

DWORD WINAPI watchThread(LPVOID parameter) {
    auto* const watched = static_cast<Watched*>(parameter);
    watch(*watched);
    const HMODULE library = watched->library;
    delete watched;
    // Nothing of the library may run behind its release, not even a return from here.
    FreeLibraryAndExitThread(library, 0);
}

/// No, with the reason as the last error, when there is no thread; then nothing of `watched` is left.
bool startWatch(Watched* watched) {
    if (GetModuleHandleExA(GET_MODULE_HANDLE_EX_FLAG_FROM_ADDRESS, reinterpret_cast<LPCSTR>(&watchThread),
                           &watched->library) == FALSE)
        return false;
    const KernelHandle thread{CreateThread(nullptr, 0, watchThread, watched, 0, nullptr)};
    if (thread)
        return true;
    const DWORD error = GetLastError();
    FreeLibrary(watched->library);
    SetLastError(error);
    return false;
}

} // namespace

bool endAtLogon(KernelHandle program, LONG sessionId) {
    auto* const watched = new Watched{std::move(program), sessionId};
    if (startWatch(watched))
        return true;
    const DWORD error = GetLastError();
    TerminateProcess(watched->program.get(), 0);
    delete watched;
    SetLastError(error);
    return false;
}

} // namespace kovra::sess
