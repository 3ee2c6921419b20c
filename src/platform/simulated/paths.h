#pragma once

#include <string>
#include <string_view>
#include <vector>

namespace kovra::simulated {

/// A path cut into its drive or share and its names, with `.` and `..` resolved. The views last as long as
/// the texts that it was made from.
struct ParsedPath {
    ParsedPath(std::wstring_view path, std::wstring_view currentFolder);

    [[nodiscard]] std::wstring text() const;

    bool valid = false;
    bool endsInSeparator = false;
    std::wstring_view volume;
    std::vector<std::wstring_view> names;

private:
    void split(std::wstring_view path);
};

/// What a program's path leads to: one below "\\.\" leads to a device, or, behind a drive or "UNC", to a
/// file.
[[nodiscard]] std::string withoutDevice(std::string_view path);

} // namespace kovra::simulated
