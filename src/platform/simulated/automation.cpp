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

/// One call of a method, and the object behind it: null when there is none, or the call is to fail.
template <simulated::FunctionName name>
class Method {
public:
    explicit Method(const AutomationObject& object)
        : object_(call_.fails() ? nullptr : static_cast<Object*>(object.get())) {}

    explicit operator bool() const { return object_ != nullptr; }

    Object* operator->() const { return object_; }

    Object& operator*() const { return *object_; }

private:
    Call<name> call_;
    Object* object_;
};

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
std::wstring expanded(std::wstring_view text) {
    const auto& environment = machine().shell.specialFolders.environment;
    std::wstring result;
    while (!text.empty()) {
        const std::size_t closing = text.find(L'%', 1);
        const bool isName = text[0] == L'%' && closing != std::wstring_view::npos;
        const auto value = isName ? environment.find(text.substr(1, closing - 1)) : environment.end();
        if (value != environment.end())
            result += value->second;
        else
            result += text[0]; // a second sign may begin a name
        text.remove_prefix(value != environment.end() ? closing + 1 : 1);
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
    const Method<"TextStream.AtEndOfStream"> stream{object_};
    return !stream ? std::nullopt : std::optional{stream->atEnd()};
}

std::optional<std::wstring> TextStream::ReadLine() {
    const Method<"TextStream.ReadLine"> stream{object_};
    if (!stream || stream->atEnd())
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
    const Method<"TextStream.ReadAll"> stream{object_};
    if (!stream || stream->atEnd())
        return std::nullopt;
    const std::string_view rest = std::string_view{stream->content}.substr(stream->position);
    stream->position = stream->content.size();
    return machine().codePage.toWide(rest);
}

bool TextStream::Write(const std::wstring& text) {
    const Method<"TextStream.Write"> stream{object_};
    if (!stream || !stream->file)
        return false;
    // A stream of ANSI text refuses what the code page lacks.
    bool isComplete = true;
    const std::string bytes = machine().codePage.toAnsi(text, &isComplete);
    return isComplete && stream->file->write(bytes);
}

void TextStream::Close() {
    const Method<"TextStream.Close"> stream{object_};
    if (stream)
        stream->file.reset();
}

// Files and folders

std::optional<std::wstring> File::Name() const {
    const Method<"File.Name"> file{object_};
    if (!file)
        return std::nullopt;
    return file->path.substr(file->path.rfind(L'\\') + 1);
}

std::optional<std::wstring> File::Path() const {
    const Method<"File.Path"> file{object_};
    return !file ? std::nullopt : std::optional{file->path};
}

std::optional<std::uint64_t> File::Size() const {
    const Method<"File.Size"> file{object_};
    const std::optional<std::string> content = file ? files().read(file->path) : std::nullopt;
    return content ? std::optional<std::uint64_t>{content->size()} : std::nullopt;
}

std::optional<TextStream> File::OpenAsTextStream(IoMode mode) const {
    const Method<"File.OpenAsTextStream"> file{object_};
    if (!file || (mode == IoMode::ForWriting && !files().fileExists(file->path)))
        return std::nullopt;
    return openStream(file->path, mode, mode == IoMode::ForReading ? OPEN_EXISTING : CREATE_ALWAYS);
}

bool File::Delete(bool force) {
    const Method<"File.Delete"> file{object_};
    return file && files().deleteFile(file->path, force);
}

std::vector<File> Folder::Files() const {
    const Method<"Folder.Files"> folder{object_};
    std::vector<File> result;
    if (!folder)
        return result;
    const std::wstring prefix = endsInSeparator(folder->path) ? folder->path : folder->path + L'\\';
    for (const std::wstring& name : files().list(folder->path))
        if (files().fileExists(prefix + name))
            result.emplace_back(makeObject({prefix + name}));
    return result;
}

FileSystemObject FileSystemObject::create() {
    const Call<"CreateObject Scripting.FileSystemObject"> call;
    return call.fails() ? FileSystemObject{} : FileSystemObject{makeObject({})};
}

bool FileSystemObject::FileExists(const std::wstring& path) const {
    const Method<"FileSystemObject.FileExists"> self{object_};
    return self && files().fileExists(path);
}

bool FileSystemObject::FolderExists(const std::wstring& path) const {
    const Method<"FileSystemObject.FolderExists"> self{object_};
    return self && files().folderExists(path);
}

std::optional<File> FileSystemObject::GetFile(const std::wstring& path) const {
    const Method<"FileSystemObject.GetFile"> self{object_};
    if (!self || !files().fileExists(path))
        return std::nullopt;
    return File{makeObject({*files().fullPath(path)})};
}

std::optional<Folder> FileSystemObject::GetFolder(const std::wstring& path) const {
    const Method<"FileSystemObject.GetFolder"> self{object_};
    if (!self || !files().folderExists(path))
        return std::nullopt;
    return Folder{makeObject({*files().fullPath(path)})};
}

std::optional<TextStream> FileSystemObject::OpenTextFile(const std::wstring& path, IoMode mode,
                                                         bool create) const {
    const Method<"FileSystemObject.OpenTextFile"> self{object_};
    if (!self)
        return std::nullopt;
    if (mode == IoMode::ForReading)
        return openStream(path, mode, create ? OPEN_ALWAYS : OPEN_EXISTING);
    return create || files().fileExists(path) ? openStream(path, mode, CREATE_ALWAYS) : std::nullopt;
}

std::optional<TextStream> FileSystemObject::CreateTextFile(const std::wstring& path, bool overwrite) const {
    const Method<"FileSystemObject.CreateTextFile"> self{object_};
    if (!self || (!overwrite && files().fileExists(path)))
        return std::nullopt;
    return openStream(path, IoMode::ForWriting, CREATE_ALWAYS);
}

bool FileSystemObject::DeleteFile(const std::wstring& path, bool force) const {
    const Method<"FileSystemObject.DeleteFile"> self{object_};
    return self && files().deleteFile(path, force);
}

bool FileSystemObject::DeleteFolder(const std::wstring& path, bool force) const {
    const Method<"FileSystemObject.DeleteFolder"> self{object_};
    return self && !endsInSeparator(path) && files().deleteFolder(path, force);
}

bool FileSystemObject::MoveFile(const std::wstring& source, const std::wstring& destination) const {
    const Method<"FileSystemObject.MoveFile"> self{object_};
    return self && files().fileExists(source) && moveTo(source, destination);
}

bool FileSystemObject::MoveFolder(const std::wstring& source, const std::wstring& destination) const {
    const Method<"FileSystemObject.MoveFolder"> self{object_};
    return self && files().folderExists(source) && moveTo(source, destination);
}

// The shell object

namespace {

/// Sets a property where there is a shortcut and the call isn't to fail.
template <typename Setter, typename Value>
bool setProperty(const Setter& object, Value simulated::Shortcut::*property, const Value& value) {
    if (object)
        object->shortcut.*property = value;
    return static_cast<bool>(object);
}

} // namespace

bool Shortcut::setTargetPath(const std::wstring& path) {
    return setProperty(Method<"Shortcut.setTargetPath">{object_}, &simulated::Shortcut::targetPath, path);
}

bool Shortcut::setArguments(const std::wstring& arguments) {
    return setProperty(Method<"Shortcut.setArguments">{object_}, &simulated::Shortcut::arguments, arguments);
}

bool Shortcut::setWorkingDirectory(const std::wstring& path) {
    return setProperty(Method<"Shortcut.setWorkingDirectory">{object_},
                       &simulated::Shortcut::workingDirectory, path);
}

bool Shortcut::setWindowStyle(std::int32_t style) {
    return setProperty(Method<"Shortcut.setWindowStyle">{object_}, &simulated::Shortcut::windowStyle, style);
}

bool Shortcut::setIconLocation(const std::wstring& location) {
    return setProperty(Method<"Shortcut.setIconLocation">{object_}, &simulated::Shortcut::iconLocation,
                       location);
}

bool Shortcut::Save() {
    const Method<"Shortcut.Save"> object{object_};
    if (!object)
        return false;
    std::optional<OpenFile> file = files().open(object->path, GENERIC_WRITE, 0, CREATE_ALWAYS);
    return file && file->write(machine().shell.contentOf(object->shortcut));
}

WshShell WshShell::create() {
    const Call<"CreateObject Wscript.Shell"> call;
    return call.fails() ? WshShell{AutomationObject{}} : WshShell{makeObject({})};
}

std::optional<Shortcut> WshShell::createShortcut(const std::wstring& path) const {
    const Method<"WshShell.createShortcut"> self{object_};
    constexpr std::wstring_view extension = L".lnk";
    const bool isLink =
        path.size() > extension.size() &&
        simulated::sameName(std::wstring_view{path}.substr(path.size() - extension.size()), extension);
    const std::optional<std::wstring> fullPath = files().fullPath(path);
    if (!self || !isLink || !fullPath)
        return std::nullopt;
    return Shortcut{
        makeObject({*fullPath, machine().shell.shortcutAt(*fullPath).value_or(simulated::Shortcut{})})};
}

std::optional<std::wstring> WshShell::ExpandEnvironmentStrings(const std::wstring& text) const {
    const Method<"WshShell.ExpandEnvironmentStrings"> self{object_};
    return !self ? std::nullopt : std::optional{expanded(text)};
}

} // namespace kovra
