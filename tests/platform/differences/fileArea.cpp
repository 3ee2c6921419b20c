#include "platform/automation.h"
#include "platform/handles.h"
#include "tests/platform/contract.h"
#include "tests/platform/differences/areas.h"

#include <algorithm>
#include <optional>

namespace kovra::differences {
namespace {

constexpr const char* names[] = {"a",       "A",       "b",   "f",       "f\\a",   "f\\g",
                                 "F\\G\\a", "none\\a", "f\\", "caf\xE9", "CAF\xC9"};
// Read-only ones, which are made once only: not every Windows keeps a powerful user from writing to them.
constexpr const char* readOnlyNames[] = {"r", "f\\z"};
constexpr const char* contents[] = {"", "x", "one\r\ntwo", "one\ntwo\r\n", "\r\n\r\nx", "caf\xE9\x1A z"};

FileSystemObject object;

FileSystemObject& fileSystem() {
    if (!object)
        object = FileSystemObject::create();
    return object;
}

std::wstring pathOf(const std::string& name) {
    std::wstring path;
    for (const char byte : contract::scratchFolder + "\\" + name)
        path += static_cast<wchar_t>(static_cast<unsigned char>(byte));
    return path;
}

std::string shown(const std::optional<std::wstring>& text) {
    if (!text)
        return "none";
    std::string bytes;
    for (const wchar_t character : *text)
        bytes += static_cast<char>(character);
    return differences::shown(bytes);
}

bool make(const std::string& path, const std::string& content) {
    const FileHandle file{CreateFileA(path.c_str(), GENERIC_WRITE, FILE_SHARE_READ | FILE_SHARE_WRITE,
                                      nullptr, CREATE_ALWAYS, FILE_ATTRIBUTE_NORMAL, nullptr)};
    DWORD written = 0;
    WriteFile(file.get(), content.data(), static_cast<DWORD>(content.size()), &written, nullptr);
    return static_cast<bool>(file);
}

/// What other programs do.
std::string worldStep(Draw& draw, const std::string& name, const std::string& path) {
    const std::uint32_t kind = draw.below(5);
    if (kind == 0) {
        contract::makeFolder(path);
        return told("folder", name);
    }
    if (kind == 1) {
        const std::string fixed = draw.of(readOnlyNames);
        if (fileSystem().FileExists(pathOf(fixed)) || !make(contract::scratchFolder + "\\" + fixed, "fixed"))
            return {};
        contract::makeReadOnly(contract::scratchFolder + "\\" + fixed);
        return told("read-only", fixed);
    }
    const std::string content = draw.of(contents);
    return told("make", name + ":" + content, make(path, content));
}

std::string streamStep(Draw& draw, const std::string& name) {
    const std::uint32_t kind = draw.below(4);
    if (kind == 0)
        return told("marker", name, fileSystem().CreateTextFile(pathOf(name), true).has_value());
    if (kind == 1) {
        std::optional<TextStream> stream = fileSystem().OpenTextFile(pathOf(name), IoMode::ForWriting, true);
        return told("put", name, stream && stream->Write(L"put \u00E9\r\n"));
    }
    std::optional<TextStream> stream;
    if (kind == 2)
        stream = fileSystem().OpenTextFile(pathOf(name), IoMode::ForReading, false);
    else if (const std::optional<File> file = fileSystem().GetFile(pathOf(name)))
        stream = file->OpenAsTextStream(IoMode::ForReading);
    std::string result = told("text", name, stream.has_value());
    for (std::uint32_t left = stream ? 1 + draw.below(5) : 0; left > 0; --left) {
        const std::optional<bool> atEnd = stream->AtEndOfStream();
        result += !atEnd ? " lost" : *atEnd ? " end" : " ";
        result += shown(draw.below(4) == 0 ? stream->ReadAll() : stream->ReadLine());
    }
    return result;
}

std::string list(const std::wstring& path) {
    const std::optional<Folder> folder = fileSystem().GetFolder(path);
    std::vector<std::string> found;
    for (const File& each : folder ? folder->Files() : std::vector<File>{})
        found.push_back(shown(each.Name()) + std::to_string(each.Size().value_or(0)));
    std::sort(found.begin(), found.end());
    std::string all = folder ? "in it:" : "none";
    for (const std::string& each : found)
        all += each;
    return all;
}

/// What is deleted and moved is told by what is left: nobody looks at the outcomes.
std::string objectStep(Draw& draw, std::string name) {
    const bool isReadOnly = draw.below(5) == 0;
    if (isReadOnly)
        name = draw.of(readOnlyNames);
    const std::wstring path = pathOf(name);
    const std::string other = draw.of(names);
    const bool mayMove = !isReadOnly && name.back() != '\\' && other.back() != '\\'; // as all callers do
    const bool force = draw.below(2) == 0;
    switch (draw.below(7)) {
    case 0:
        return told("file", name, fileSystem().FileExists(path));
    case 1:
        return told("folder", name, fileSystem().FolderExists(path));
    case 2:
        return told("list", name) + list(path);
    case 3:
        fileSystem().DeleteFile(path, force);
        return told(force ? "delete by force" : "delete", name);
    case 4:
        fileSystem().DeleteFolder(path, force);
        return told(force ? "delete folder by force" : "delete folder", name);
    case 5:
        if (!mayMove || !fileSystem().FileExists(path))
            return {};
        fileSystem().MoveFile(path, pathOf(other));
        return told("move", name + "," + other);
    default:
        if (!mayMove || !fileSystem().FolderExists(path))
            return {};
        fileSystem().MoveFolder(path, pathOf(other));
        return told("move folder", name + "," + other);
    }
}

std::string filesStep(Draw& draw) {
    const std::string name = draw.of(names);
    const std::string path = contract::scratchFolder + "\\" + name;
    switch (draw.below(10)) {
    case 0:
    case 1:
    case 2:
        return worldStep(draw, name, path);
    case 3:
        return told("read", name) + differences::shown(contract::read(path));
    case 4:
    case 5:
        return streamStep(draw, name);
    default:
        return objectStep(draw, name);
    }
}

std::string endFiles() {
    std::string left;
    for (const char* name : names)
        left += fileSystem().FileExists(pathOf(name))     ? "f"
                : fileSystem().FolderExists(pathOf(name)) ? "F"
                                                          : "-";
    object = {};
    return left;
}

} // namespace

const Area files{"files", filesStep, endFiles};

} // namespace kovra::differences
