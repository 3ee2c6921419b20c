#pragma once

#include <string_view>

namespace kovra::simulated {

/// The character in upper case, as Windows' own table for names of files and registry keys has it: one
/// character for one, the same on every machine whatever its language.
[[nodiscard]] wchar_t upperCase(wchar_t character);

/// Order of names whose case doesn't count.
struct Caseless {
    using is_transparent = void;
    [[nodiscard]] bool operator()(std::wstring_view left, std::wstring_view right) const;
};

[[nodiscard]] bool sameName(std::wstring_view one, std::wstring_view other);

} // namespace kovra::simulated
