#include "support/systemFacts.h"

#include "platform/perProcess.h"
#include "platform/win32.h"
#include "support/text.h"

#include <cstring>
#include <optional>

namespace kovra {

namespace {

PerProcess<std::wstring> osCode;
PerProcess<std::int16_t> windowsMajorVersion;

/// What GetVersionExA fills; a failure leaves the fields at 0.
OSVERSIONINFOA versionInformation() {
    OSVERSIONINFOA information{};
    information.dwOSVersionInfoSize = sizeof information;
    GetVersionExA(&information);
    return information;
}

struct VersionCode {
    DWORD major;
    DWORD minor;
    std::optional<DWORD> platformId; // empty: any
    const wchar_t* code;
};

constexpr VersionCode versionCodes[] = {
    {3, 51, std::nullopt, L"35"},
    {4, 0, VER_PLATFORM_WIN32_NT, L"40"},
    {4, 0, VER_PLATFORM_WIN32_WINDOWS, L"95"},
    {4, 10, VER_PLATFORM_WIN32_WINDOWS, L"98"},
    {4, 90, VER_PLATFORM_WIN32_WINDOWS, L"ME"},
    {5, 0, VER_PLATFORM_WIN32_NT, L"00"},
    {5, 1, VER_PLATFORM_WIN32_NT, L"XP"},
    {5, 2, VER_PLATFORM_WIN32_NT, L"03"},
    {6, 0, VER_PLATFORM_WIN32_NT, L"VI"},
    {6, 1, std::nullopt, L"W7"},
    {6, 2, std::nullopt, L"W8"},
};

const wchar_t* codeOf(const OSVERSIONINFOA& information) {
    for (const VersionCode& entry : versionCodes) {
        if (entry.major == information.dwMajorVersion && entry.minor == information.dwMinorVersion &&
            entry.platformId.value_or(information.dwPlatformId) == information.dwPlatformId)
            return entry.code;
    }
    return L"XX";
}

} // namespace

const std::wstring& getOsCode() {
    if (osCode->empty())
        *osCode = codeOf(versionInformation());
    return *osCode;
}

std::int16_t getWindowsMajorVersion() {
    if (*windowsMajorVersion <= 0)
        *windowsMajorVersion = static_cast<std::int16_t>(versionInformation().dwMajorVersion);
    return *windowsMajorVersion;
}

bool isNtBased() {
    return getWindowsMajorVersion() >= 5;
}

void runPendingMessages() {
    MSG message{};
    while (PeekMessageA(&message, nullptr, 0, 0, PM_REMOVE)) {
        TranslateMessage(&message);
        DispatchMessageA(&message);
    }
}

void pauseMs(std::int16_t milliseconds) {
    const DWORD start = GetTickCount();
    // The elapsed time is a difference modulo 2^32, so it holds across both turns of the clock.
    while (milliseconds > 0 && GetTickCount() - start < static_cast<DWORD>(milliseconds))
        runPendingMessages();
}

std::wstring getSpecialFolder(int csidl) {
    const auto owner = reinterpret_cast<HWND>(static_cast<std::uintptr_t>(100));
    ITEMIDLIST* list = nullptr;
    if (SHGetSpecialFolderLocation(owner, csidl, &list) != 0)
        return {};
    char path[512];
    std::memset(path, ' ', sizeof path);
    const bool found = SHGetPathFromIDListA(list, path) != 0;
    CoTaskMemFree(list);
    return found ? fromAnsiBuffer(path, sizeof path) : std::wstring{};
}

} // namespace kovra
