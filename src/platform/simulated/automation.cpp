#include "platform/automation.h"

#include "platform/simulated/machine.h"
#include "platform/simulated/shortcutFile.h"

#include <algorithm>
#include <variant>

namespace kovra {

using simulated::Call;
using simulated::FileSystem;
using simulated::machine;
using simulated::OpenFile;
using simulated::ShortcutFile;

namespace {

constexpr DWORD shareAll = FILE_SHARE_READ | FILE_SHARE_WRITE;

struct FileSystemState {};

struct ShellState {};

struct FolderState {
    std::wstring path;
};

struct FileState {
    std::wstring path;
};

struct StreamState {
    std::optional<OpenFile> file; // empty once it was closed
    std::string content;          // what was read of the file
    std::size_t position = 0;

    [[nodiscard]] bool atEnd() const { return !file || position == content.size(); }
};

struct ShortcutState {
    std::wstring path;
    ShortcutFile file;
};

using Object = std::variant<FileSystemState, ShellState, FolderState, FileState, StreamState, ShortcutState>;

template <typename State>
State* stateOf(const AutomationObject& object) {
    return object ? std::get_if<State>(static_cast<Object*>(object.get())) : nullptr;
}

AutomationObject makeObject(Object state) {
    return AutomationObject{new Object{std::move(state)}};
}

FileSystem& files() {
    return machine().files;
}

bool endsInSeparator(const std::wstring& path) {
    return path.ends_with(L'\\') || path.ends_with(L'/');
}

std::optional<TextStream> openStream(const std::wstring& path, IoMode mode, DWORD disposition) {
    DWORD error = ERROR_SUCCESS;
    const DWORD access = mode == IoMode::ForReading ? GENERIC_READ : GENERIC_WRITE;
    StreamState stream{files().open(path, access, shareAll, disposition, error), {}};
    if (!stream.file)
        return std::nullopt;
    if (mode == IoMode::ForReading)
        stream.content = *stream.file->readRest();
    return TextStream{makeObject(std::move(stream))};
}

/// Moves a file or a folder; a destination that ends in a separator is the folder that it goes into.
bool moveTo(const std::wstring& source, std::wstring destination) {
    if (endsInSeparator(source))
        return false;
    if (endsInSeparator(destination))
        destination += source.substr(source.find_last_of(L"\\/:") + 1);
    return files().move(source, destination) == ERROR_SUCCESS;
}

/// `%NAME%` replaced by the environment's value; one that the environment lacks stays as it is.
std::wstring expanded(const std::wstring& text) {
    const auto& environment = machine().shell.specialFolders.environment;
    std::wstring result;
    std::size_t position = 0;
    while (position < text.size()) {
        const std::size_t opening = std::min(text.find(L'%', position), text.size());
        result.append(text, position, opening - position);
        position = opening;
        const std::size_t closing = text.find(L'%', opening + 1);
        if (closing == std::wstring::npos) {
            result.append(text, position);
            return result;
        }
        const auto value =
            environment.find(std::wstring_view{text}.substr(opening + 1, closing - opening - 1));
        if (value == environment.end()) {
            result.append(text, opening, closing - opening); // the second sign may begin a name
            position = closing;
        } else {
            result += value->second;
            position = closing + 1;
        }
    }
    return result;
}

} // namespace

AutomationObject::~AutomationObject() {
    if (object_ == nullptr)
        return;
    const simulated::MachineCode machineCode;
    delete static_cast<Object*>(object_);
}

// Text streams

std::optional<bool> TextStream::AtEndOfStream() const {
    const Call<"TextStream.AtEndOfStream"> call;
    const StreamState* const stream = stateOf<StreamState>(object_);
    return call.fails() || stream == nullptr ? std::nullopt : std::optional{stream->atEnd()};
}

std::optional<std::wstring> TextStream::ReadLine() {
    const Call<"TextStream.ReadLine"> call;
    StreamState* const stream = stateOf<StreamState>(object_);
    if (call.fails() || stream == nullptr || stream->atEnd())
        return std::nullopt;
    const std::size_t end = stream->content.find('\n', stream->position);
    std::string_view line =
        std::string_view{stream->content}.substr(stream->position, end - stream->position);
    stream->position = std::min(end, stream->content.size() - 1) + 1;
    if (end != std::string::npos && line.ends_with('\r'))
        line.remove_suffix(1);
    return machine().codePage.toWide(line);
}

std::optional<std::wstring> TextStream::ReadAll() {
    const Call<"TextStream.ReadAll"> call;
    StreamState* const stream = stateOf<StreamState>(object_);
    if (call.fails() || stream == nullptr || stream->atEnd())
        return std::nullopt;
    const std::string_view rest = std::string_view{stream->content}.substr(stream->position);
    stream->position = stream->content.size();
    return machine().codePage.toWide(rest);
}

bool TextStream::Write(const std::wstring& text) {
    const Call<"TextStream.Write"> call;
    StreamState* const stream = stateOf<StreamState>(object_);
    if (call.fails() || stream == nullptr || !stream->file)
        return false;
    // A stream of ANSI text refuses what the code page lacks.
    bool isComplete = true;
    const std::string bytes = machine().codePage.toAnsi(text, &isComplete);
    DWORD written = 0;
    return isComplete && stream->file->write(bytes.data(), static_cast<DWORD>(bytes.size()), written);
}

void TextStream::Close() {
    const Call<"TextStream.Close"> call;
    if (StreamState* const stream = stateOf<StreamState>(object_); stream != nullptr && !call.fails())
        stream->file.reset();
}

// Files and folders

std::optional<std::wstring> File::Name() const {
    const Call<"File.Name"> call;
    const FileState* const file = stateOf<FileState>(object_);
    if (call.fails() || file == nullptr)
        return std::nullopt;
    return file->path.substr(file->path.rfind(L'\\') + 1);
}

std::optional<std::wstring> File::Path() const {
    const Call<"File.Path"> call;
    const FileState* const file = stateOf<FileState>(object_);
    return call.fails() || file == nullptr ? std::nullopt : std::optional{file->path};
}

std::optional<std::uint64_t> File::Size() const {
    const Call<"File.Size"> call;
    const FileState* const file = stateOf<FileState>(object_);
    return call.fails() || file == nullptr ? std::nullopt : files().size(file->path);
}

std::optional<TextStream> File::OpenAsTextStream(IoMode mode) const {
    const Call<"File.OpenAsTextStream"> call;
    const FileState* const file = stateOf<FileState>(object_);
    if (call.fails() || file == nullptr || (mode == IoMode::ForWriting && !files().fileExists(file->path)))
        return std::nullopt;
    return openStream(file->path, mode, mode == IoMode::ForReading ? OPEN_EXISTING : CREATE_ALWAYS);
}

bool File::Delete(bool force) {
    const Call<"File.Delete"> call;
    const FileState* const file = stateOf<FileState>(object_);
    return !call.fails() && file != nullptr && files().deleteFile(file->path, force) == ERROR_SUCCESS;
}

std::vector<File> Folder::Files() const {
    const Call<"Folder.Files"> call;
    std::vector<File> result;
    const FolderState* const folder = stateOf<FolderState>(object_);
    if (call.fails() || folder == nullptr)
        return result;
    const std::wstring prefix = endsInSeparator(folder->path) ? folder->path : folder->path + L'\\';
    for (const std::wstring& name : files().listFiles(folder->path))
        result.emplace_back(makeObject(FileState{prefix + name}));
    return result;
}

FileSystemObject FileSystemObject::create() {
    const Call<"CreateObject Scripting.FileSystemObject"> call;
    return FileSystemObject{call.fails() ? AutomationObject{} : makeObject(FileSystemState{})};
}

bool FileSystemObject::FileExists(const std::wstring& path) const {
    const Call<"FileSystemObject.FileExists"> call;
    return !call.fails() && object_ && files().fileExists(path);
}

bool FileSystemObject::FolderExists(const std::wstring& path) const {
    const Call<"FileSystemObject.FolderExists"> call;
    return !call.fails() && object_ && files().folderExists(path);
}

std::optional<File> FileSystemObject::GetFile(const std::wstring& path) const {
    const Call<"FileSystemObject.GetFile"> call;
    if (call.fails() || !object_ || !files().fileExists(path))
        return std::nullopt;
    return File{makeObject(FileState{*files().fullPath(path)})};
}

std::optional<Folder> FileSystemObject::GetFolder(const std::wstring& path) const {
    const Call<"FileSystemObject.GetFolder"> call;
    if (call.fails() || !object_ || !files().folderExists(path))
        return std::nullopt;
    return Folder{makeObject(FolderState{*files().fullPath(path)})};
}

std::optional<TextStream> FileSystemObject::OpenTextFile(const std::wstring& path, IoMode mode,
                                                         bool create) const {
    const Call<"FileSystemObject.OpenTextFile"> call;
    if (call.fails() || !object_)
        return std::nullopt;
    if (mode == IoMode::ForReading)
        return openStream(path, mode, create ? OPEN_ALWAYS : OPEN_EXISTING);
    return create || files().fileExists(path) ? openStream(path, mode, CREATE_ALWAYS) : std::nullopt;
}

std::optional<TextStream> FileSystemObject::CreateTextFile(const std::wstring& path, bool overwrite) const {
    const Call<"FileSystemObject.CreateTextFile"> call;
    if (call.fails() || !object_ || (!overwrite && files().fileExists(path)))
        return std::nullopt;
    return openStream(path, IoMode::ForWriting, CREATE_ALWAYS);
}

bool FileSystemObject::DeleteFile(const std::wstring& path, bool force) const {
    const Call<"FileSystemObject.DeleteFile"> call;
    return !call.fails() && object_ && files().deleteFile(path, force) == ERROR_SUCCESS;
}

bool FileSystemObject::DeleteFolder(const std::wstring& path, bool force) const {
    const Call<"FileSystemObject.DeleteFolder"> call;
    return !call.fails() && object_ && !endsInSeparator(path) &&
           files().deleteFolder(path, force) == ERROR_SUCCESS;
}

bool FileSystemObject::MoveFile(const std::wstring& source, const std::wstring& destination) const {
    const Call<"FileSystemObject.MoveFile"> call;
    return !call.fails() && object_ && files().fileExists(source) && moveTo(source, destination);
}

bool FileSystemObject::MoveFolder(const std::wstring& source, const std::wstring& destination) const {
    const Call<"FileSystemObject.MoveFolder"> call;
    return !call.fails() && object_ && files().folderExists(source) && moveTo(source, destination);
}

// The shell object

namespace {

/// Sets a property where there is a shortcut and the call isn't to fail.
template <typename Value>
bool setProperty(bool fails, const AutomationObject& object, Value ShortcutFile::*property,
                 const Value& value) {
    ShortcutState* const shortcut = stateOf<ShortcutState>(object);
    if (fails || shortcut == nullptr)
        return false;
    shortcut->file.*property = value;
    return true;
}

} // namespace

bool Shortcut::setTargetPath(const std::wstring& path) {
    const Call<"Shortcut.setTargetPath"> call;
    return setProperty(call.fails(), object_, &ShortcutFile::targetPath, path);
}

bool Shortcut::setArguments(const std::wstring& arguments) {
    const Call<"Shortcut.setArguments"> call;
    return setProperty(call.fails(), object_, &ShortcutFile::arguments, arguments);
}

bool Shortcut::setWorkingDirectory(const std::wstring& path) {
    const Call<"Shortcut.setWorkingDirectory"> call;
    return setProperty(call.fails(), object_, &ShortcutFile::workingDirectory, path);
}

bool Shortcut::setWindowStyle(std::int32_t style) {
    const Call<"Shortcut.setWindowStyle"> call;
    return setProperty(call.fails(), object_, &ShortcutFile::windowStyle, style);
}

bool Shortcut::setIconLocation(const std::wstring& location) {
    const Call<"Shortcut.setIconLocation"> call;
    return setProperty(call.fails(), object_, &ShortcutFile::iconLocation, location);
}

bool Shortcut::Save() {
    const Call<"Shortcut.Save"> call;
    const ShortcutState* const shortcut = stateOf<ShortcutState>(object_);
    if (call.fails() || shortcut == nullptr)
        return false;
    DWORD error = ERROR_SUCCESS;
    std::optional<OpenFile> file = files().open(shortcut->path, GENERIC_WRITE, 0, CREATE_ALWAYS, error);
    const std::string content = shortcut->file.toContent();
    DWORD written = 0;
    return file && file->write(content.data(), static_cast<DWORD>(content.size()), written);
}

WshShell WshShell::create() {
    const Call<"CreateObject Wscript.Shell"> call;
    return WshShell{call.fails() ? AutomationObject{} : makeObject(ShellState{})};
}

std::optional<Shortcut> WshShell::createShortcut(const std::wstring& path) const {
    const Call<"WshShell.createShortcut"> call;
    constexpr std::wstring_view extension = L".lnk";
    const bool isLink =
        path.size() > extension.size() &&
        simulated::sameName(std::wstring_view{path}.substr(path.size() - extension.size()), extension);
    const std::optional<std::wstring> fullPath = files().fullPath(path);
    if (call.fails() || !object_ || !isLink || !fullPath)
        return std::nullopt;
    ShortcutState shortcut{*fullPath, {}};
    if (const std::optional<std::string> content = files().read(*fullPath))
        shortcut.file = ShortcutFile::parse(*content).value_or(ShortcutFile{});
    return Shortcut{makeObject(std::move(shortcut))};
}

std::optional<std::wstring> WshShell::ExpandEnvironmentStrings(const std::wstring& text) const {
    const Call<"WshShell.ExpandEnvironmentStrings"> call;
    return call.fails() || !object_ ? std::nullopt : std::optional{expanded(text)};
}

} // namespace kovra
