#pragma once

#include "platform/win32.h"

#include <cstdint>
#include <string>

// Processes by name. Every routine works on a fresh snapshot of the machine's process list; none reports a
// failure.

namespace kovra {

/// Process id of the first process of that name, in any session; -1 when there is none or the list can't be
/// had. Case and a folder in the list's name don't matter, and a name of more than 8 characters answers to
/// its short form too.
[[nodiscard]] std::int32_t findProcess(const std::wstring& name);

/// Whether another process of this executable's file name runs, in any session.
[[nodiscard]] bool isAnotherInstanceRunning();

/// Terminates every process whose name begins with `name`, whatever the case, except the one of the given id.
void killProcessByName(const std::wstring& name, std::int16_t exceptProcessId);

/// Terminates the process; yes when that worked. It does not wait for the process to be gone.
bool killProcessById(DWORD processId);

/// Writes the processes that matter for logon into the trace.
void logProcessList();

/// Tells the application to take its tray icon away, then terminates it and its child programs.
void killApplication();

} // namespace kovra
