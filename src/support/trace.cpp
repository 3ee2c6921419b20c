#include "support/trace.h"

#include "platform/fileByHandle.h"
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

/// Opens the trace file, and nothing else: any user may make the folder, as a junction too, or lay a link
/// into it, and the service writes with rights that he lacks. So the folder is opened itself, and the file by
/// the opened folder: on no way a file is made or opened elsewhere, and what counts is what was opened.
FileHandle openTraceFile() {
    const FileHandle folder{CreateFileA(
        "C:\\P1", FILE_READ_ATTRIBUTES, FILE_SHARE_READ | FILE_SHARE_WRITE | FILE_SHARE_DELETE, nullptr,
        OPEN_EXISTING, FILE_FLAG_BACKUP_SEMANTICS | FILE_FLAG_OPEN_REPARSE_POINT, nullptr)};
    if (!folder || isLinked(folder))
        return {};
    FileHandle file = openForAppending(folder, L"log.txt");
    const bool isIt = file && !isLinked(file) && toUpper(pathOnVolume(file)) == L"\\P1\\LOG.TXT";
    return isIt ? std::move(file) : FileHandle{};
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
    const FileHandle file = openTraceFile();
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
