#include "service/processControl.h"

#include "channels/mailslots.h"
#include "platform/handles.h"
#include "platform/perProcess.h"
#include "support/executable.h"
#include "support/systemFacts.h"
#include "support/text.h"
#include "support/trace.h"

namespace kovra {

namespace {

/// One walk through a fresh snapshot, in its order. Without a snapshot there is no entry.
class ProcessWalk {
public:
    ProcessWalk() : snapshot_(CreateToolhelp32Snapshot(TH32CS_SNAPPROCESS, 0)) {
        entry_.dwSize = sizeof entry_;
        more_ = snapshot_ && Process32First(snapshot_.get(), &entry_) != FALSE;
    }

    [[nodiscard]] explicit operator bool() const { return more_; }

    void next() { more_ = Process32Next(snapshot_.get(), &entry_) != FALSE; }

    [[nodiscard]] DWORD id() const { return entry_.th32ProcessID; }

    /// As the list has it, in upper case; good until it is asked for again.
    [[nodiscard]] std::wstring_view name() {
        return upperFromAnsiBuffer(entry_.szExeFile, sizeof entry_.szExeFile, nameMemory_);
    }

private:
    SnapshotHandle snapshot_;
    PROCESSENTRY32 entry_{};
    std::wstring nameMemory_;
    bool more_ = false;
};

/// The 8.3 form of a file name whose stem has 9 characters or more; any other name as it is.
std::wstring shortForm(const std::wstring& name) {
    const std::size_t dot = name.rfind(L'.');
    if (dot == std::wstring::npos || dot < 9)
        return name;
    return name.substr(0, 6) + L"~1" + name.substr(dot);
}

/// Lets the launcher open processes of other users.
void enableDebugPrivilege() {
    KernelHandle token;
    OpenProcessToken(GetCurrentProcess(), TOKEN_ADJUST_PRIVILEGES | TOKEN_QUERY, token.out());
    TOKEN_PRIVILEGES privileges{};
    static_assert(sizeof privileges == 16);
    privileges.PrivilegeCount = 1;
    LookupPrivilegeValueA("", "SeDebugPrivilege", &privileges.Privileges[0].Luid);
    privileges.Privileges[0].Attributes = SE_PRIVILEGE_ENABLED;
    AdjustTokenPrivileges(token.get(), FALSE, &privileges, sizeof privileges, nullptr, nullptr);
}

PerProcess<std::int16_t> dumpCounter;

} // namespace

std::int32_t findProcess(const std::wstring& name) {
    const std::wstring wanted = toUpper(name);
    const std::wstring wantedShort = shortForm(wanted);
    for (ProcessWalk walk; walk; walk.next()) {
        const std::wstring_view found = fileNameOf(walk.name());
        if (found == wanted || found == wantedShort)
            return static_cast<std::int32_t>(walk.id());
    }
    return -1;
}

bool isAnotherInstanceRunning() {
    const std::wstring ownPath = toUpper(executablePath());
    const std::wstring_view ownName = fileNameOf(ownPath);
    const DWORD ownId = GetCurrentProcessId();
    for (ProcessWalk walk; walk; walk.next()) {
        if (walk.id() != ownId && fileNameOf(walk.name()) == ownName)
            return true;
    }
    return false;
}

void killProcessByName(const std::wstring& name, std::int16_t exceptProcessId) {
    const std::wstring wanted = toUpper(name);
    for (ProcessWalk walk; walk; walk.next()) {
        if (walk.name().starts_with(wanted) && static_cast<std::int64_t>(walk.id()) != exceptProcessId)
            killProcessById(walk.id());
    }
}

bool killProcessById(DWORD processId) {
    if (processId == 0)
        return false;
    enableDebugPrivilege();
    const KernelHandle process{OpenProcess(PROCESS_TERMINATE, FALSE, processId)};
    return process && TerminateProcess(process.get(), 0) != FALSE;
}

void logProcessList() {
    // A diagnostic counter must not end anything: behind its last number it starts over.
    *dumpCounter = static_cast<std::int16_t>(*dumpCounter == INT16_MAX ? 1 : *dumpCounter + 1);
    const std::wstring number = decimal(*dumpCounter);
    writeLog(L"----------------------------------------------v " + number);
    for (ProcessWalk walk; walk; walk.next()) {
        const std::wstring_view name = fileNameOf(walk.name());
        if (name == L"WINLOGON.EXE" || name == L"EXPLORER.EXE" || name == L"LOGONUI.EXE")
            writeLog(decimal(walk.id()) + L" - " + std::wstring{name});
    }
    writeLog(L"----------------------------------------------^ " + number);
}

void killApplication() {
    writeLog(L"Kill kovra");
    sendToApp(L"removeTrayIcon");
    pauseMs(200);
    // The database server outlives a restart of the application.
    for (const wchar_t* name : {L"kovra.exe", L"kovraHttpd.exe", L"kovraFfmpeg.exe", L"Thumbler.exe"})
        killProcessByName(name, 0);
}

} // namespace kovra
