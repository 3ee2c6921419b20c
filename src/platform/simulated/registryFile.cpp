#include "platform/simulated/codePage.h"
#include "platform/simulated/registry.h"

#include <algorithm>

namespace kovra::simulated {

namespace {

/// Takes a text in double quotes off the line, with \\ and \" resolved; empty when there is none.
std::optional<std::wstring> takeQuoted(std::wstring_view& line) {
    if (!line.starts_with(L'"'))
        return std::nullopt;
    std::wstring text;
    for (std::size_t i = 1; i < line.size(); ++i) {
        if (line[i] == L'"') {
            line.remove_prefix(i + 1);
            return text;
        }
        if (line[i] == L'\\' && i + 1 < line.size())
            ++i;
        text.push_back(line[i]);
    }
    return std::nullopt;
}

std::wstring_view takeLine(std::wstring_view& text) {
    const std::size_t end = std::min(text.find(L'\n'), text.size());
    std::wstring_view line = text.substr(0, end);
    text.remove_prefix(std::min(end + 1, text.size()));
    if (line.ends_with(L'\r'))
        line.remove_suffix(1);
    return line;
}

} // namespace

void Registry::import(std::string_view file, const CodePage& codePage, Account account) {
    constexpr std::wstring_view root = L"HKEY_CLASSES_ROOT\\";
    const std::wstring all = codePage.toWide(file);
    std::wstring_view text = all;
    if (takeLine(text) != L"REGEDIT4")
        return;
    std::optional<std::wstring_view> key; // that values go to
    while (!text.empty()) {
        std::wstring_view line = takeLine(text);
        if (line.starts_with(L'[') && line.ends_with(L']')) {
            const bool deletes = line.starts_with(L"[-");
            const std::wstring_view path = line.substr(deletes ? 2 : 1, line.size() - (deletes ? 3 : 2));
            key.reset();
            if (!path.starts_with(root) || !mayChange(path.substr(root.size()), account))
                continue;
            if (deletes)
                removeKey(path.substr(root.size()));
            else
                makeKey(*(key = path.substr(root.size())));
            continue;
        }
        std::optional<std::wstring> name = takeQuoted(line);
        if (line.starts_with(L"@=")) {
            name = L"";
            line.remove_prefix(1);
        }
        if (!key || !name || !line.starts_with(L'='))
            continue;
        line.remove_prefix(1);
        if (const std::optional<std::wstring> value = takeQuoted(line); value && line.empty())
            setText(*key, *name, *value);
    }
}

} // namespace kovra::simulated
