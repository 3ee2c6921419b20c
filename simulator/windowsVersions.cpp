#include "simulator/windowsVersions.h"

namespace kovra::simulation {

namespace {

struct NamedVersion {
    std::string_view name;
    simulated::WindowsVersion version;
};

constexpr DWORD windows9x = VER_PLATFORM_WIN32_WINDOWS;
constexpr DWORD windowsNt = VER_PLATFORM_WIN32_NT;

/// What GetVersionExA tells a program whose manifest names no Windows: from 8 on it stays at 8's numbers.
constexpr NamedVersion versions[] = {
    {"98", {4, 10, windows9x}},  {"me", {4, 90, windows9x}}, {"nt", {4, 0, windowsNt}},
    {"2000", {5, 0, windowsNt}}, {"xp", {5, 1, windowsNt}},  {"vista", {6, 0, windowsNt}},
    {"7", {6, 1, windowsNt}},    {"8", {6, 2, windowsNt}},   {"8.1", {6, 2, windowsNt}},
    {"10", {6, 2, windowsNt}},
};

} // namespace

const simulated::WindowsVersion* findWindows(std::string_view name) {
    for (const NamedVersion& each : versions) {
        if (each.name == name)
            return &each.version;
    }
    return nullptr;
}

bool isCodePage(std::int32_t number) {
    return simulated::CodePage{}.set(static_cast<UINT>(number));
}

} // namespace kovra::simulation
