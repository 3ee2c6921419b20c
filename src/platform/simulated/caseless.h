#pragma once

#include <string>
#include <string_view>

namespace kovra::simulated {

// Names whose case doesn't count. Of the letters those of Latin-1 have a case here.

/// Their order.
struct Caseless {
    using is_transparent = void;
    [[nodiscard]] bool operator()(std::wstring_view left, std::wstring_view right) const;
};

[[nodiscard]] bool sameName(std::wstring_view one, std::wstring_view other);
/// In which the case of the plain letters alone does not count.
[[nodiscard]] bool sameAnsiName(std::string_view one, std::string_view other);
[[nodiscard]] std::string lowerCase(std::string_view text);

} // namespace kovra::simulated
