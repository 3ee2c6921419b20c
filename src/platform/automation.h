#pragma once

#include "platform/win32.h"

#include <cstdint>
#include <optional>
#include <string>
#include <utility>
#include <vector>

// The automation objects of the platform as typed classes: Scripting.FileSystemObject with its folders, files
// and text streams, and Wscript.Shell with its shortcuts. Methods bear the platform's names. None of them
// throws: a failure comes back as no, or as an empty optional, and an object that could not be made fails in
// every method.

namespace kovra {

/// Owns one reference to an automation object; empty when the object could not be made or was not given.
class AutomationObject {
public:
    AutomationObject() = default;

    explicit AutomationObject(void* object) : object_(object) {}

    AutomationObject(AutomationObject&& other) noexcept : object_(std::exchange(other.object_, nullptr)) {}

    AutomationObject& operator=(AutomationObject&& other) noexcept {
        std::swap(object_, other.object_);
        return *this;
    }

    ~AutomationObject();

    [[nodiscard]] void* get() const { return object_; }

    [[nodiscard]] explicit operator bool() const { return object_ != nullptr; }

private:
    void* object_ = nullptr;
};

enum class IoMode : std::uint8_t { ForReading = 1, ForWriting = 2 };

/// A text file open in the machine's ANSI code page (TristateFalse). It is closed when it goes.
class TextStream {
public:
    explicit TextStream(AutomationObject object) : object_(std::move(object)) {}

    [[nodiscard]] std::optional<bool> AtEndOfStream() const;
    /// The next line without its line end (LF or CR LF).
    [[nodiscard]] std::optional<std::wstring> ReadLine();
    /// Everything from the current position on. Fails at the end of the stream, so for an empty file too.
    [[nodiscard]] std::optional<std::wstring> ReadAll();
    bool Write(const std::wstring& text);
    void Close();

private:
    AutomationObject object_;
};

class File {
public:
    explicit File(AutomationObject object) : object_(std::move(object)) {}

    [[nodiscard]] std::optional<std::wstring> Name() const;
    [[nodiscard]] std::optional<std::wstring> Path() const;
    /// In bytes.
    [[nodiscard]] std::optional<std::uint64_t> Size() const;
    /// Opens the file as ANSI text.
    [[nodiscard]] std::optional<TextStream> OpenAsTextStream(IoMode mode) const;
    bool Delete(bool force);

private:
    AutomationObject object_;
};

class Folder {
public:
    explicit Folder(AutomationObject object) : object_(std::move(object)) {}

    /// The files directly in the folder, as they are at the call; empty when they can't be listed.
    [[nodiscard]] std::vector<File> Files() const;

private:
    AutomationObject object_;
};

class FileSystemObject {
public:
    /// Makes "Scripting.FileSystemObject" by its class name; the outcome is in `operator bool`.
    [[nodiscard]] static FileSystemObject create();

    FileSystemObject() = default;

    [[nodiscard]] explicit operator bool() const { return static_cast<bool>(object_); }

    [[nodiscard]] bool FileExists(const std::wstring& path) const;
    [[nodiscard]] bool FolderExists(const std::wstring& path) const;
    [[nodiscard]] std::optional<File> GetFile(const std::wstring& path) const;
    [[nodiscard]] std::optional<Folder> GetFolder(const std::wstring& path) const;
    /// Opens the file as ANSI text; `create` makes it where it is missing.
    [[nodiscard]] std::optional<TextStream> OpenTextFile(const std::wstring& path, IoMode mode,
                                                         bool create) const;
    /// Makes an ANSI text file; an existing one is replaced where `overwrite` says so.
    [[nodiscard]] std::optional<TextStream> CreateTextFile(const std::wstring& path, bool overwrite) const;
    /// `force` also deletes a read-only file.
    bool DeleteFile(const std::wstring& path, bool force) const;
    /// Deletes the folder with all below it; `force` also what is read-only.
    bool DeleteFolder(const std::wstring& path, bool force) const;
    bool MoveFile(const std::wstring& source, const std::wstring& destination) const;
    bool MoveFolder(const std::wstring& source, const std::wstring& destination) const;

private:
    explicit FileSystemObject(AutomationObject object) : object_(std::move(object)) {}

    AutomationObject object_;
};

/// A shell link in memory; `Save` writes it to the path it was made for.
class Shortcut {
public:
    explicit Shortcut(AutomationObject object) : object_(std::move(object)) {}

    bool setTargetPath(const std::wstring& path);
    bool setArguments(const std::wstring& arguments);
    bool setWorkingDirectory(const std::wstring& path);
    bool setWindowStyle(std::int32_t style);
    bool setIconLocation(const std::wstring& location);
    bool Save();

private:
    AutomationObject object_;
};

class WshShell {
public:
    /// Makes "Wscript.Shell" by its class name; the outcome is in `operator bool`.
    [[nodiscard]] static WshShell create();

    [[nodiscard]] explicit operator bool() const { return static_cast<bool>(object_); }

    /// Gives the shortcut that stands at `path`, or a new one for it, without touching the disk.
    [[nodiscard]] std::optional<Shortcut> createShortcut(const std::wstring& path) const;
    [[nodiscard]] std::optional<std::wstring> ExpandEnvironmentStrings(const std::wstring& text) const;

private:
    explicit WshShell(AutomationObject object) : object_(std::move(object)) {}

    AutomationObject object_;
};

} // namespace kovra
