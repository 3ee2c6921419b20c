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
constexpr const char* readOnlyNames[] = {"r", "F\\R"};
constexpr const char* contents[] = {"", "x", "one\r\ntwo", "one\ntwo\r\n", "\r\n\r\nx", "caf\xE9\x1A z"};

FileSystemObject object;

FileSystemObject& fileSystem() {
    if (!object)
        object = FileSystemObject::create();
    return object;
}

std::wstring wide(const std::string& bytes) {
    std::wstring text;
    for (const char byte : bytes)
        text += static_cast<wchar_t>(static_cast<unsigned char>(byte));
    return text;
}

std::string shown(const std::optional<std::wstring>& text) {
    if (!text)
        return "none";
    std::string bytes;
    for (const wchar_t character : *text)
        bytes += static_cast<char>(character);
    return differences::shown(bytes);
}

/// What other programs do.
std::string worldStep(Draw& draw, const std::string& name, const std::string& path) {
    switch (draw.below(5)) {
    case 0:
        contract::makeFolder(path);
        return "folder(" + differences::shown(name) + ")";
    case 1: {
        const std::string fixed = draw.of(readOnlyNames);
        const std::string fixedPath = contract::scratchFolder + "\\" + fixed;
        if (fileSystem().FileExists(wide(fixedPath)))
            return {};
        const bool isMade = FileHandle{CreateFileA(fixedPath.c_str(), GENERIC_WRITE, 0, nullptr,
                                                   CREATE_ALWAYS, FILE_ATTRIBUTE_NORMAL, nullptr)}
                                .get() != INVALID_HANDLE_VALUE;
        if (isMade)
            contract::makeReadOnly(fixedPath);
        return tell("read-only", fixed, isMade);
    }
    default: {
        const std::string content = draw.of(contents);
        const FileHandle made{CreateFileA(path.c_str(), GENERIC_WRITE, FILE_SHARE_READ | FILE_SHARE_WRITE,
                                          nullptr, CREATE_ALWAYS, FILE_ATTRIBUTE_NORMAL, nullptr)};
        DWORD written = 0;
        WriteFile(made.get(), content.data(), static_cast<DWORD>(content.size()), &written, nullptr);
        return tell("make", name + ":" + content, static_cast<bool>(made));
    }
    }
}

std::string handleStep(Draw& draw, const std::string& name, const std::string& path) {
    const FileHandle file{CreateFileA(path.c_str(), GENERIC_READ, FILE_SHARE_READ | FILE_SHARE_WRITE, nullptr,
                                      OPEN_EXISTING, FILE_ATTRIBUTE_NORMAL, nullptr)};
    std::string told = tell("read from", name, static_cast<bool>(file));
    for (std::uint32_t left = file ? 1 + draw.below(4) : 0; left > 0; --left) {
        const LONG place = static_cast<LONG>(draw.below(9));
        LONG high = 0;
        DWORD size = 0;
        char bytes[8];
        switch (draw.below(3)) {
        case 0:
            told += " size=" + std::to_string(GetFileSize(file.get(), nullptr));
            break;
        case 1:
            SetFilePointer(file.get(), place, &high, FILE_BEGIN);
            told += " from " + std::to_string(place);
            break;
        default:
            if (!ReadFile(file.get(), bytes, 1 + draw.below(8), &size, nullptr))
                return told + " not";
            told += " " + differences::shown({bytes, size});
        }
    }
    return told;
}

std::string streamStep(Draw& draw, const std::string& name, const std::wstring& path) {
    const std::uint32_t kind = draw.below(6);
    if (kind == 0)
        return tell("marker", name, fileSystem().CreateTextFile(path, true).has_value());
    if (kind == 1) {
        std::optional<TextStream> stream = fileSystem().OpenTextFile(path, IoMode::ForWriting, true);
        const bool isOpen = stream.has_value();
        return tell("put", name, isOpen) + (isOpen ? tell("", "", stream->Write(L"put \u00E9\r\n")) : "");
    }
    std::optional<TextStream> stream;
    if (kind == 2) {
        const std::optional<File> found = fileSystem().GetFile(path);
        stream = found ? found->OpenAsTextStream(IoMode::ForReading) : std::nullopt;
    } else {
        stream = fileSystem().OpenTextFile(path, IoMode::ForReading, false);
    }
    std::string told = tell(kind == 2 ? "text of file" : "text", name, stream.has_value());
    for (std::uint32_t left = stream ? 1 + draw.below(5) : 0; left > 0; --left) {
        const std::optional<bool> atEnd = stream->AtEndOfStream();
        told += !atEnd ? " lost" : *atEnd ? " end" : " ";
        told += draw.below(4) == 0 ? "all=" + shown(stream->ReadAll()) : "line=" + shown(stream->ReadLine());
    }
    return told;
}

std::string objectStep(Draw& draw, std::string name) {
    if (draw.below(5) == 0)
        name = draw.of(readOnlyNames);
    const std::wstring path = wide(contract::scratchFolder + "\\" + name);
    const bool mayMove = name.back() != '\\' && name != readOnlyNames[0] && name != readOnlyNames[1];
    const std::string otherName = draw.of(names);
    const std::wstring other = wide(contract::scratchFolder + "\\" + otherName);
    const bool force = draw.below(2) == 0;
    const std::string forced = force ? ",force" : "";
    switch (draw.below(9)) {
    case 0:
        return tell("file", name, fileSystem().FileExists(path));
    case 1:
        return tell("folder", name, fileSystem().FolderExists(path));
    case 2: {
        const std::optional<File> found = fileSystem().GetFile(path);
        if (!found)
            return "get(" + name + ")=none";
        const std::optional<std::uint64_t> size = found->Size();
        return "get(" + name + ")=" + shown(found->Name()) + (size ? std::to_string(*size) : "none");
    }
    case 3: {
        const std::optional<Folder> folder = fileSystem().GetFolder(path);
        std::vector<std::string> found;
        if (folder) {
            for (const File& each : folder->Files())
                found.push_back(shown(each.Name()));
        }
        std::sort(found.begin(), found.end());
        std::string list;
        for (const std::string& each : found)
            list += each;
        return tell("list", name, folder.has_value()) + list;
    }
    case 4:
        fileSystem().DeleteFile(path, force);
        return "delete(" + differences::shown(name + forced) + ")";
    case 5:
        fileSystem().DeleteFolder(path, force);
        return "delete folder(" + differences::shown(name + forced) + ")";
    case 6:
        if (!mayMove || otherName.back() == '\\' || !fileSystem().FileExists(path))
            return {}; // not a call that anybody makes
        fileSystem().MoveFile(path, other);
        return "move(" + differences::shown(name + "," + otherName) + ")";
    case 7:
        if (!mayMove || otherName.back() == '\\' || !fileSystem().FolderExists(path))
            return {};
        fileSystem().MoveFolder(path, other);
        return "move folder(" + differences::shown(name + "," + otherName) + ")";
    default: {
        std::optional<File> found = fileSystem().GetFile(path);
        if (found)
            found->Delete(force);
        return "delete got(" + differences::shown(name + forced) + ")";
    }
    }
}

std::string filesStep(Draw& draw) {
    const std::string name = draw.of(names);
    const std::string path = contract::scratchFolder + "\\" + name;
    const std::uint32_t kind = draw.below(12);
    if (kind < 3)
        return worldStep(draw, name, path);
    if (kind < 5)
        return handleStep(draw, name, path);
    if (kind < 7)
        return streamStep(draw, name, wide(path));
    return objectStep(draw, name);
}

std::string endFiles() {
    std::string told;
    for (const char* name : names) {
        const std::wstring path = wide(contract::scratchFolder + "\\" + name);
        told += fileSystem().FileExists(path) ? "f" : fileSystem().FolderExists(path) ? "F" : "-";
    }
    object = {};
    return told;
}

} // namespace

const Area files{"files", filesStep, endFiles};

} // namespace kovra::differences
