#pragma once

#include <string_view>

namespace kovra::ext {

/// Whether the path is full and on a drive: a letter, a colon, a backslash. Network paths, paths relative to
/// a folder or to a drive, and paths in the system's own namespaces are none.
[[nodiscard]] constexpr bool isDrivePath(std::wstring_view path) {
    if (path.size() < 3 || path[1] != L':' || path[2] != L'\\')
        return false;
    const wchar_t letter = path[0];
    return (letter >= L'A' && letter <= L'Z') || (letter >= L'a' && letter <= L'z');
}

} // namespace kovra::ext
