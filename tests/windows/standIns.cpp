#include "tests/windows/standIns.h"

#include "tests/windows/machine.h"

#include <algorithm>
#include <fstream>

namespace checks {
namespace {

constexpr DWORD standInLifeMs = 300'000; // a forgotten one ends by itself

void writeJournal(const std::string& line) {
    std::ofstream{journalFile, std::ios::binary | std::ios::app} << line + "\n";
}

/// Tells how it was started, then every message that reaches its mailslot, with # for the 0 byte.
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
            std::replace(message, message + size, '\0', '#');
            writeJournal("mail|" + std::string{message, size});
        }
    }
}

} // namespace

bool playStandIn(const std::string& ownFileName) {
    if (ownFileName == "kovra.exe")
        playApplication();
    else if (!ownFileName.starts_with("windows"))
        Sleep(standInLifeMs);
    else
        return false;
    return true;
}

} // namespace checks
