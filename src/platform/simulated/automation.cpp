#include "platform/automation.h"

#include "platform/simulated/machine.h"

#include <algorithm>

namespace kovra {

using simulated::Call;
using simulated::FileSystem;
using simulated::machine;
using simulated::OpenFile;

namespace {

/// What stands behind an automation object; each kind uses its part.
struct Object {
    std::wstring path{};            // of a file, a folder, a shortcut
    simulated::Shortcut shortcut{}; // to be saved there
    std::optional<OpenFile> file{}; // of a stream; empty once it was closed
    std::string content{};          // what the stream has read of the file
    std::size_t position = 0;

    [[nodiscard]] bool atEnd() const { return !file || position == content.size(); }
};

/// Null when there is none, or the call is to fail.
Object* behind(const AutomationObject& object, bool fails) {
    return fails ? nullptr : static_cast<Object*>(object.get());
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
    const bool reads = mode == IoMode::ForReading;
    Object stream;
    stream.file = files().open(path, reads ? GENERIC_READ : GENERIC_WRITE, FILE_SHARE_READ | FILE_SHARE_WRITE,
                               disposition);
    if (!stream.file)
        return std::nullopt;
    if (reads)
        stream.content = stream.file->content();
    return TextStream{makeObject(std::move(stream))};
}

/// Moves a file or a folder; a destination that ends in a separator is the folder that it goes into.
bool moveTo(const std::wstring& source, std::wstring destination) {
    if (endsInSeparator(source))
        return false;
    if (endsInSeparator(destination))
        destination += source.substr(source.find_last_of(L"\\/:") + 1);
    return files().move(source, destination);
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
    const simulated::InsideMachine inside;
    delete static_cast<Object*>(object_);
}

// Text streams

std::optional<bool> TextStream::AtEndOfStream() const {
    const Call<"TextStream.AtEndOfStream"> call;
    const Object* const stream = behind(object_, call.fails());
    return stream == nullptr ? std::nullopt : std::optional{stream->atEnd()};
}

std::optional<std::wstring> TextStream::ReadLine() {
    const Call<"TextStream.ReadLine"> call;
    Object* const stream = behind(object_, call.fails());
    if (stream == nullptr || stream->atEnd())
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
    Object* const stream = behind(object_, call.fails());
    if (stream == nullptr || stream->atEnd())
        return std::nullopt;
    const std::string_view rest = std::string_view{stream->content}.substr(stream->position);
    stream->position = stream->content.size();
    return machine().codePage.toWide(rest);
}

bool TextStream::Write(const std::wstring& text) {
    const Call<"TextStream.Write"> call;
    Object* const stream = behind(object_, call.fails());
    if (stream == nullptr || !stream->file)
        return false;
    // A stream of ANSI text refuses what the code page lacks.
    bool isComplete = true;
    const std::string bytes = machine().codePage.toAnsi(text, &isComplete);
    return isComplete && stream->file->write(bytes);
}

void TextStream::Close() {
    const Call<"TextStream.Close"> call;
    if (Object* const stream = behind(object_, call.fails()); stream != nullptr && !call.fails())
        stream->file.reset();
}

// Files and folders

std::optional<std::wstring> File::Name() const {
    const Call<"File.Name"> call;
    const Object* const file = behind(object_, call.fails());
    if (file == nullptr)
        return std::nullopt;
    return file->path.substr(file->path.rfind(L'\\') + 1);
}

std::optional<std::wstring> File::Path() const {
    const Call<"File.Path"> call;
    const Object* const file = behind(object_, call.fails());
    return file == nullptr ? std::nullopt : std::optional{file->path};
}

std::optional<std::uint64_t> File::Size() const {
    const Call<"File.Size"> call;
    const Object* const file = behind(object_, call.fails());
    const std::optional<std::string> content = file == nullptr ? std::nullopt : files().read(file->path);
    return content ? std::optional<std::uint64_t>{content->size()} : std::nullopt;
}

std::optional<TextStream> File::OpenAsTextStream(IoMode mode) const {
    const Call<"File.OpenAsTextStream"> call;
    const Object* const file = behind(object_, call.fails());
    if (file == nullptr || (mode == IoMode::ForWriting && !files().fileExists(file->path)))
        return std::nullopt;
    return openStream(file->path, mode, mode == IoMode::ForReading ? OPEN_EXISTING : CREATE_ALWAYS);
}

bool File::Delete(bool force) {
    const Call<"File.Delete"> call;
    const Object* const file = behind(object_, call.fails());
    return file != nullptr && files().deleteFile(file->path, force);
}

std::vector<File> Folder::Files() const {
    const Call<"Folder.Files"> call;
    std::vector<File> result;
    const Object* const folder = behind(object_, call.fails());
    if (folder == nullptr)
        return result;
    const std::wstring prefix = endsInSeparator(folder->path) ? folder->path : folder->path + L'\\';
    for (const std::wstring& name : files().list(folder->path))
        if (files().fileExists(prefix + name))
            result.emplace_back(makeObject({prefix + name}));
    return result;
}

FileSystemObject FileSystemObject::create() {
    const Call<"CreateObject Scripting.FileSystemObject"> call;
    return FileSystemObject{call.fails() ? AutomationObject{} : makeObject({})};
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
    return File{makeObject({*files().fullPath(path)})};
}

std::optional<Folder> FileSystemObject::GetFolder(const std::wstring& path) const {
    const Call<"FileSystemObject.GetFolder"> call;
    if (call.fails() || !object_ || !files().folderExists(path))
        return std::nullopt;
    return Folder{makeObject({*files().fullPath(path)})};
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
    return !call.fails() && object_ && files().deleteFile(path, force);
}

bool FileSystemObject::DeleteFolder(const std::wstring& path, bool force) const {
    const Call<"FileSystemObject.DeleteFolder"> call;
    return !call.fails() && object_ && !endsInSeparator(path) && files().deleteFolder(path, force);
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
bool setProperty(Object* object, Value simulated::Shortcut::*property, const Value& value) {
    if (object != nullptr)
        object->shortcut.*property = value;
    return object != nullptr;
}

} // namespace

bool Shortcut::setTargetPath(const std::wstring& path) {
    const Call<"Shortcut.setTargetPath"> call;
    return setProperty(behind(object_, call.fails()), &simulated::Shortcut::targetPath, path);
}

bool Shortcut::setArguments(const std::wstring& arguments) {
    const Call<"Shortcut.setArguments"> call;
    return setProperty(behind(object_, call.fails()), &simulated::Shortcut::arguments, arguments);
}

bool Shortcut::setWorkingDirectory(const std::wstring& path) {
    const Call<"Shortcut.setWorkingDirectory"> call;
    return setProperty(behind(object_, call.fails()), &simulated::Shortcut::workingDirectory, path);
}

bool Shortcut::setWindowStyle(std::int32_t style) {
    const Call<"Shortcut.setWindowStyle"> call;
    return setProperty(behind(object_, call.fails()), &simulated::Shortcut::windowStyle, style);
}

bool Shortcut::setIconLocation(const std::wstring& location) {
    const Call<"Shortcut.setIconLocation"> call;
    return setProperty(behind(object_, call.fails()), &simulated::Shortcut::iconLocation, location);
}

bool Shortcut::Save() {
    const Call<"Shortcut.Save"> call;
    const Object* const object = behind(object_, call.fails());
    if (object == nullptr)
        return false;
    std::optional<OpenFile> file = files().open(object->path, GENERIC_WRITE, 0, CREATE_ALWAYS);
    return file && file->write(machine().shell.contentOf(object->shortcut));
}

WshShell WshShell::create() {
    const Call<"CreateObject Wscript.Shell"> call;
    return WshShell{call.fails() ? AutomationObject{} : makeObject({})};
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
    return Shortcut{
        makeObject({*fullPath, machine().shell.shortcutAt(*fullPath).value_or(simulated::Shortcut{})})};
}

std::optional<std::wstring> WshShell::ExpandEnvironmentStrings(const std::wstring& text) const {
    const Call<"WshShell.ExpandEnvironmentStrings"> call;
    return call.fails() || !object_ ? std::nullopt : std::optional{expanded(text)};
}

} // namespace kovra
