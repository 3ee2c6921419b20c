#pragma once

#include "platform/handles.h"

#include <string>

// What Windows does by an opened file or folder and not by its name, which somebody may have given to another
// one meanwhile.

namespace kovra {

/// Opens the file `name` directly in the opened folder for appending, sharing it in every way, and makes it
/// where it is missing. A link that stands there is opened itself. Empty when it can't be.
[[nodiscard]] FileHandle openForAppending(const FileHandle& folder, const wchar_t* name);

/// Whether the opened file or folder is a link itself, or a file with more names than one; yes also when it
/// can't be told.
[[nodiscard]] bool isLinked(const FileHandle& file);

/// The path at which the opened file lies on its volume, without the drive, whatever way led to it; empty
/// when it can't be told.
[[nodiscard]] std::wstring pathOnVolume(const FileHandle& file);

} // namespace kovra
