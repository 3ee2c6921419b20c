#include "benchmarks/windows/fileSystemObject.h"

#include "platform/handles.h"

#include <cstring>

#include <tlhelp32.h>

// The least of an idle service: `bareLoop PROGRAM` makes the file-system object, waits as the launcher's main
// loop does, walks as often through as many snapshots, and starts the program, a full path without blanks,
// when it isn't there.

namespace {

constexpr DWORD loopWaitMs = 200;
constexpr int startCadence = 5;
constexpr int rightsCadence = 15;

bool isRunning(const char* fileName) {
    const kovra::SnapshotHandle snapshot{CreateToolhelp32Snapshot(TH32CS_SNAPPROCESS, 0)};
    PROCESSENTRY32 entry{};
    entry.dwSize = sizeof entry;
    for (BOOL more = Process32First(snapshot.get(), &entry); more;
         more = Process32Next(snapshot.get(), &entry))
        if (_stricmp(entry.szExeFile, fileName) == 0)
            return true;
    return false;
}

void start(char* program) {
    STARTUPINFOA startup{};
    startup.cb = sizeof startup;
    PROCESS_INFORMATION information{};
    if (!CreateProcessA(nullptr, program, nullptr, nullptr, FALSE, 0, nullptr, nullptr, &startup,
                        &information))
        return;
    CloseHandle(information.hThread);
    CloseHandle(information.hProcess);
}

} // namespace

int WINAPI WinMain(HINSTANCE, HINSTANCE, LPSTR program, int) {
    makeFileSystemObject();
    const char* fileName = std::strrchr(program, '\\') + 1;
    const HANDLE never = CreateEventA(nullptr, TRUE, FALSE, nullptr);
    for (int pass = 0; WaitForSingleObject(never, loopWaitMs) == WAIT_TIMEOUT; ++pass) {
        if (pass % startCadence == 0 && !isRunning(fileName))
            start(program);
        if (pass % rightsCadence == 0)
            for (const char* name : {fileName, "winlogon.exe", "explorer.exe", "logonui.exe"})
                isRunning(name);
    }
    ExitProcess(0);
}
