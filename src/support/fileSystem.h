#pragma once

#include "platform/automation.h"
#include "platform/handles.h"

namespace kovra {

/// The process's single file-system object, made at its first use. While it can't be made it behaves as an
/// empty machine does: nothing exists and nothing can be written; each use tries again.
[[nodiscard]] FileSystemObject& fileSystem();

/// Opens a file for its bytes, as CreateFileA does, and lets other programs read and write it meanwhile.
/// Empty when it can't be opened.
[[nodiscard]] FileHandle openFile(const std::wstring& path, DWORD access, DWORD disposition);

} // namespace kovra
