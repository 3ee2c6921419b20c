#pragma once

#include <string>

// The launcher's one diagnostic channel, and its one way to tell a person that something is wrong.

namespace kovra {

/// Appends one line with the local date and time to the trace file "c:\P1\log.txt" on a machine that has the
/// folder "C:\P1"; a process looks for that folder once, at its first line. A line that can't be written, or
/// would go elsewhere by a link, is lost.
void writeLog(const std::wstring& message);

/// Tells the message: in service mode in the trace, else in a message box, and returns when it is closed.
void reportError(const std::wstring& message);

} // namespace kovra
