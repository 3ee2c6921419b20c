#include "tests/windows/standIns.h"

#include "tests/windows/machine.h"

namespace checks {
namespace {

constexpr DWORD standInLifeMs = 300'000; // a forgotten one ends by itself

void writeJournal(const std::string& line) {
    const HANDLE file = CreateFileA(journalFile, FILE_APPEND_DATA, FILE_SHARE_READ | FILE_SHARE_WRITE,
                                    nullptr, OPEN_ALWAYS, FILE_ATTRIBUTE_NORMAL, nullptr);
    DWORD written = 0;
    WriteFile(file, (line + "\n").data(), static_cast<DWORD>(line.size() + 1), &written, nullptr);
    CloseHandle(file);
}

/// Tells how it was started, then every message that reaches its mailslot, byte by byte.
void playApplication() {
    char folder[MAX_PATH] = "";
    GetCurrentDirectoryA(MAX_PATH, folder);
    const HANDLE slot = CreateMailslotA("\\\\.\\mailslot\\kovraMailslot", 0, 1000, nullptr);
    writeJournal("start|" + std::to_string(GetTickCount()) + "|" + folder + "|" + GetCommandLineA());
    const DWORD start = GetTickCount();
    while (GetTickCount() - start < standInLifeMs) {
        char message[512];
        DWORD size = 0;
        if (slot == INVALID_HANDLE_VALUE) {
            Sleep(1000);
        } else if (ReadFile(slot, message, sizeof message, &size, nullptr)) {
            writeJournal("mail|" + hex({message, size}));
        }
    }
}

} // namespace

bool playStandIn(const std::string& ownFileName) {
    if (ownFileName == "kovra.exe")
        playApplication();
    else if (ownFileName == "winlogon.exe" || ownFileName == "logonui.exe" || ownFileName == "explorer.exe" ||
             ownFileName == "mysqld.exe")
        Sleep(standInLifeMs);
    else
        return false;
    return true;
}

} // namespace checks
