#include "support/trace.h"

#include "platform/handles.h"
#include "platform/perProcess.h"
#include "support/fileSystem.h"
#include "support/serviceMode.h"
#include "support/text.h"

namespace kovra {

namespace {

enum class TraceState : std::int16_t { notTested = 0, off = 1, on = 2 };

PerProcess<TraceState> traceState;

/// The local date and time under the user's regional settings, in the ANSI code page.
std::string dateAndTime() {
    SYSTEMTIME now{};
    GetLocalTime(&now);
    char date[64] = "";
    char time[64] = "";
    GetDateFormatA(LOCALE_USER_DEFAULT, DATE_SHORTDATE | LOCALE_USE_CP_ACP, &now, nullptr, date, sizeof date);
    GetTimeFormatA(LOCALE_USER_DEFAULT, LOCALE_USE_CP_ACP, &now, nullptr, time, sizeof time);
    return std::string{date} + " " + time;
}

} // namespace

void writeLog(const std::wstring& message) {
    if (*traceState == TraceState::off)
        return;
    if (*traceState != TraceState::on) {
        *traceState = fileSystem().FolderExists(L"C:\\P1") ? TraceState::on : TraceState::off;
        if (*traceState == TraceState::off)
            return;
    }
    // Append access and full sharing: lines of several launchers follow one another and none is lost.
    const FileHandle file = openFile(L"c:\\P1\\log.txt", FILE_APPEND_DATA, OPEN_ALWAYS);
    if (!file)
        return;
    const std::string line = dateAndTime() + " SCE: " + toAnsi(message) + "\r\n";
    DWORD written = 0;
    WriteFile(file.get(), line.data(), static_cast<DWORD>(line.size()), &written, nullptr);
}

void reportError(const std::wstring& message) {
    if (*serviceMode)
        writeLog(message);
    else
        MessageBoxA(nullptr, toAnsi(message).c_str(), "KovraLauncher", MB_OK | MB_ICONEXCLAMATION);
}

} // namespace kovra
