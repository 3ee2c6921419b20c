#pragma once

#include <cstdint>
#include <optional>
#include <string>
#include <string_view>

namespace kovra::simulated {

/// What a shell link's file (.lnk) holds, each property as it was set.
struct ShortcutFile {
    std::wstring targetPath;
    std::wstring arguments;
    std::wstring workingDirectory;
    std::int32_t windowStyle = 1;
    std::wstring iconLocation = L",0";

    bool operator==(const ShortcutFile&) const = default;

    /// The path of the program to start: the target without the double quotes it may have been set with.
    [[nodiscard]] std::wstring program() const;

    /// The file's content, and back; empty when the content is no shortcut's.
    [[nodiscard]] std::string toContent() const;
    [[nodiscard]] static std::optional<ShortcutFile> parse(std::string_view content);
};

} // namespace kovra::simulated
