#include "platform/simulated/paths.h"

#include "platform/simulated/win32.h"

#include <algorithm>

namespace kovra::simulated {

namespace {

constexpr std::wstring_view separators = L"\\/";

bool isSeparator(wchar_t character) {
    return separators.find(character) != std::wstring_view::npos;
}

/// The part of the path ahead of its first separator; all of it without one.
std::wstring_view firstPart(std::wstring_view path) {
    return path.substr(0, path.find_first_of(separators));
}

} // namespace

ParsedPath::ParsedPath(std::wstring_view path, std::wstring_view currentFolder) {
    if (path.empty() || path.size() >= MAX_PATH)
        return;
    endsInSeparator = isSeparator(path.back());
    if (path.size() >= 2 && path[1] == L':') {
        volume = path.substr(0, 2);
    } else if (path.size() > 2 && isSeparator(path[0]) && isSeparator(path[1])) {
        const std::size_t server = firstPart(path.substr(2)).size();
        if (2 + server == path.size())
            return;
        volume = path.substr(0, 2 + server + 1 + firstPart(path.substr(2 + server + 1)).size());
    } else {
        const ParsedPath current{currentFolder, {}};
        if (!isSeparator(path[0]))
            names = current.names;
        split(path);
        volume = current.volume;
        return;
    }
    split(path.substr(volume.size()));
}

void ParsedPath::split(std::wstring_view path) {
    while (!path.empty()) {
        std::wstring_view name = firstPart(path);
        path.remove_prefix(std::min(name.size() + 1, path.size()));
        if (name == L"..") {
            if (!names.empty())
                names.pop_back();
            continue;
        }
        if (path.empty()) // Windows doesn't see dots and blanks at the end of a path
            name = name.substr(0, name.find_last_not_of(L". ") + 1);
        if (name.empty() || name == L".")
            continue;
        names.push_back(name);
    }
    valid = true;
}

std::wstring ParsedPath::text() const {
    std::wstring result{volume};
    for (const std::wstring_view name : names)
        (result += L'\\') += name;
    return names.empty() ? result + L'\\' : result;
}

// Below "\\.\" a "/" is a "\", empty names and "." count for nothing, and ".." takes the name before it back,
// a device's own as well.
std::string withoutDevice(std::string_view path) {
    constexpr std::string_view devices = "\\\\.\\";
    if (!path.starts_with(devices))
        return std::string{path};
    std::vector<std::string_view> names;
    for (std::string_view rest = path.substr(devices.size()); !rest.empty();) {
        const std::size_t end = std::min(rest.find_first_of("\\/"), rest.size());
        const std::string_view name = rest.substr(0, end);
        if (name == ".." && !names.empty())
            names.pop_back();
        else if (!name.empty() && name != "." && name != "..")
            names.push_back(name);
        rest.remove_prefix(std::min(end + 1, rest.size()));
    }
    std::string result;
    for (const std::string_view name : names)
        result.append(result.empty() ? "" : "\\").append(name);
    if (result.size() > 1 && result[1] == ':')
        return result;
    return result.starts_with("UNC\\") ? "\\\\" + result.substr(4) : std::string{devices} + result;
}

} // namespace kovra::simulated
