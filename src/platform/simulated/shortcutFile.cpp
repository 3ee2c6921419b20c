#include "platform/simulated/shortcutFile.h"

#include "platform/simulated/codePage.h"

#include <charconv>
#include <vector>

namespace kovra::simulated {

namespace {

// The content is text in UTF-8: this line, then one property a line.
constexpr std::string_view head = "shell link\n";
constexpr std::size_t propertyCount = 5;

CodePage utf8() {
    CodePage codePage;
    codePage.set(CP_UTF8);
    return codePage;
}

} // namespace

std::wstring ShortcutFile::program() const {
    if (targetPath.size() < 2 || targetPath.front() != L'"' || targetPath.back() != L'"')
        return targetPath;
    return targetPath.substr(1, targetPath.size() - 2);
}

std::string ShortcutFile::toContent() const {
    const CodePage codePage = utf8();
    std::string content{head};
    for (const std::wstring* property : {&targetPath, &arguments, &workingDirectory, &iconLocation})
        (content += codePage.toAnsi(*property)) += '\n';
    return (content += std::to_string(windowStyle)) += '\n';
}

std::optional<ShortcutFile> ShortcutFile::parse(std::string_view content) {
    if (!content.starts_with(head))
        return std::nullopt;
    content.remove_prefix(head.size());
    std::vector<std::string_view> properties;
    while (!content.empty()) {
        const std::size_t end = content.find('\n');
        if (end == std::string_view::npos)
            return std::nullopt;
        properties.push_back(content.substr(0, end));
        content.remove_prefix(end + 1);
    }
    if (properties.size() != propertyCount)
        return std::nullopt;
    const CodePage codePage = utf8();
    ShortcutFile file;
    file.targetPath = codePage.toWide(properties[0]);
    file.arguments = codePage.toWide(properties[1]);
    file.workingDirectory = codePage.toWide(properties[2]);
    file.iconLocation = codePage.toWide(properties[3]);
    std::from_chars(properties[4].data(), properties[4].data() + properties[4].size(), file.windowStyle);
    return file;
}

} // namespace kovra::simulated
