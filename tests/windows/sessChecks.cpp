#include "libraries/sess/logonEnd.h"
#include "tests/windows/installation.h"

#include <tlhelp32.h>

namespace checks {
namespace {

int ownThreads() {
    const HANDLE snapshot = CreateToolhelp32Snapshot(TH32CS_SNAPTHREAD, 0);
    THREADENTRY32 entry{};
    entry.dwSize = sizeof entry;
    int count = 0;
    for (BOOL found = Thread32First(snapshot, &entry); found != FALSE; found = Thread32Next(snapshot, &entry))
        count += entry.th32OwnerProcessID == GetCurrentProcessId() ? 1 : 0;
    CloseHandle(snapshot);
    return count;
}

bool watch(const Process& program) {
    DWORD session = 0;
    HANDLE copy = nullptr;
    return ProcessIdToSessionId(GetCurrentProcessId(), &session) != FALSE &&
           DuplicateHandle(GetCurrentProcess(), program.handle(), GetCurrentProcess(), &copy, 0, FALSE,
                           DUPLICATE_SAME_ACCESS) != FALSE &&
           kovra::sess::endAtLogon(kovra::KernelHandle{copy}, static_cast<LONG>(session));
}

} // namespace

void checkLogonEnd() {
    const Process shell = startStandIn("explorer.exe");
    const Process left = startStandIn("mysqld.exe");
    Process ended = startStandIn("winlogon.exe");
    const int threads = ownThreads();
    check(watch(left) && watch(ended) && ownThreads() == threads + 2, "a thread watches each program");
    ended.kill();
    check(waitFor(2000, [threads] { return ownThreads() == threads + 1; }), "and ends with it");
    check(!left.waitForEnd(7500), "a program of the service is left alone for 10 seconds of the shell");
    check(left.waitForEnd(10'000), "and ended behind them"); // a busy machine
    check(waitFor(2000, [threads] { return ownThreads() == threads; }), "no watch is left behind");
}

} // namespace checks
