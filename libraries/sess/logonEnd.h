#pragma once

#include "platform/handles.h"
#include "platform/win32.h"

namespace kovra::sess {

/// Ends the program, which runs in the session with the service's token, when it has outlived the logon there
/// (`LogonWatch`). A thread of its own looks, as long as the program runs; it holds this library, so that one
/// that is let go in the meantime is unloaded behind it, and goes with the process. A program that can't be
/// watched is ended at once: then the answer is no, and GetLastError tells why.
[[nodiscard]] bool endAtLogon(KernelHandle program, LONG sessionId);

} // namespace kovra::sess
