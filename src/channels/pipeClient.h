#pragma once

#include "platform/win32.h"

namespace kovra {

/// Whether the client of the pipe's last read is a program on this machine; no as well where that can't be
/// told. Ends the process where the client's identity can't be put off again.
[[nodiscard]] bool isClientLocal(HANDLE pipe);

} // namespace kovra
