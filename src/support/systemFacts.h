#pragma once

#include <cstdint>
#include <string>

namespace kovra {

/// Two characters for the Windows version: "XP", "VI" (6.0), "W7" (6.1), "W8" (6.2) ...; "XX" for an unknown
/// one, every later one included.
[[nodiscard]] const std::wstring& getOsCode();

/// 0 when the version can't be told.
[[nodiscard]] std::int16_t getWindowsMajorVersion();

/// Yes from Windows major version 5 on.
[[nodiscard]] bool isNtBased();

/// Waits while the thread's pending messages and events keep running; returns at once for 0 or less.
void pauseMs(std::int16_t milliseconds);

/// Runs the thread's pending window messages once.
void runPendingMessages();

/// The path of a shell folder; empty when it can't be found.
[[nodiscard]] std::wstring getSpecialFolder(int csidl);

} // namespace kovra
