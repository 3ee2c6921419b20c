#pragma once

#include <string>

namespace kovra {

/// Full path of the running executable.
[[nodiscard]] std::wstring executablePath();

/// Its folder, without a trailing backslash unless it is a drive's root.
[[nodiscard]] std::wstring executableFolder();

/// Its file name without the extension.
[[nodiscard]] std::wstring executableName();

} // namespace kovra
