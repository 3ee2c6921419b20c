#pragma once

#include "platform/simulated/caseless.h"
#include "platform/simulated/win32.h"

#include <cstdint>
#include <map>
#include <memory>
#include <optional>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

namespace kovra::simulated {

struct FileNode;
struct ParsedPath;

/// A file or folder that a program holds open, or its working folder. It is let go when this goes. Without
/// sharing the deletion it can be neither deleted nor moved meanwhile.
class OpenFile {
public:
    OpenFile(std::shared_ptr<FileNode> node, DWORD access, DWORD share);

    // They read and write in order, and give no where it isn't open for that.

    /// Reads the next bytes, none at the end of the file.
    bool read(void* buffer, DWORD size, DWORD& read);
    /// Writes at the position, or behind the end when it is open for appending alone.
    bool write(std::string_view bytes);

    void seek(std::uint64_t position) { position_ = position; }

    [[nodiscard]] const std::string& content() const;
    /// The full path, with the case of its names.
    [[nodiscard]] std::wstring path() const;
    /// It is a link itself, or a file with more names than one.
    [[nodiscard]] bool isLinked() const;
    /// Opens the file directly in this folder for appending, and makes it where it is missing. A symbolic
    /// link is opened itself. Empty when it can't be opened.
    [[nodiscard]] std::optional<OpenFile> openFile(std::wstring_view name, DWORD share) const;

private:
    std::shared_ptr<FileNode> node_;
    DWORD access_;
    std::uint64_t position_ = 0;
    std::shared_ptr<void> opener_, holder_; // one of the node's
};

/// What can be told of a file or folder, but for its content.
struct FileAttributes {
    bool isFolder = false;
    bool readOnly = false;
    bool loaded = false;
    bool inUse = false;
    bool writesDenied = false;
    std::wstring linkTarget{}; ///< of a symbolic link, or a folder that is a junction; else empty

    bool operator==(const FileAttributes&) const = default;
};

/// Attributes and content by full path; what a junction shows stands under its own path alone.
using FileSnapshot = std::map<std::wstring, std::pair<FileAttributes, std::string>>;

/// The machine's drives and network shares with their folders and files. Names keep their case, which doesn't
/// count. A path is a drive's ("C:\a"), a share's ("\\server\share\a"), or goes out from the current folder
/// or its drive. A new machine has drive C: with Windows' folders and the special folders.
class FileSystem {
public:
    FileSystem();
    ~FileSystem();
    FileSystem(const FileSystem&) = delete;
    FileSystem& operator=(const FileSystem&) = delete;

    std::wstring currentFolder = L"C:\\Windows\\System32";

    // The world's hand: no attribute and no denial stops it. What can't be done isn't.

    /// Gives the file this content, and makes it with all folders (and the drive or share) that are missing.
    void write(std::wstring_view path, std::string_view bytes);
    void makeFolder(std::wstring_view path);
    /// Removes the file, or the folder with all below it; a junction goes without what it leads to.
    void remove(std::wstring_view path);
    void setReadOnly(std::wstring_view path, bool readOnly = true);
    /// A library that a process has loaded: it can be moved, but not deleted or written.
    void setLoaded(std::wstring_view path, bool loaded = true);
    /// A file that another program holds for itself: it can't be opened, moved or deleted.
    void setInUse(std::wstring_view path, bool inUse = true);
    /// Nothing can be made, written, moved or deleted in the folder, and below it; it is made when it is
    /// missing.
    void denyWrites(std::wstring_view path, bool denied = true);
    /// Gives the file a second name (a hard link). The new name must be free.
    void addName(std::wstring_view file, std::wstring_view name);
    /// Makes the file or folder lead elsewhere, be it there or not: a file as a symbolic link, a folder as a
    /// junction. An empty target makes it an ordinary one. No when nothing is there.
    bool setLink(std::wstring_view path, std::wstring_view target);

    // Looking, which Windows never refuses here.

    [[nodiscard]] bool fileExists(std::wstring_view path) const;
    [[nodiscard]] bool folderExists(std::wstring_view path) const;
    /// The file's content; empty when there is no such file.
    [[nodiscard]] std::optional<std::string> read(std::wstring_view path) const;
    /// The names of what is in the folder, in order; empty when there is no such folder.
    [[nodiscard]] std::vector<std::wstring> list(std::wstring_view path) const;
    /// The path from its drive or share on, without `.`, `..` and a separator at the end.
    [[nodiscard]] std::optional<std::wstring> fullPath(std::wstring_view path) const;
    /// Where the link at the path leads; empty when there is none.
    [[nodiscard]] std::wstring linkTarget(std::wstring_view path) const;
    [[nodiscard]] FileSnapshot snapshot() const;

    // What programs do, with all that Windows refuses: then it is no, or empty.

    [[nodiscard]] std::optional<OpenFile> open(std::wstring_view path, DWORD access, DWORD share,
                                               DWORD disposition);
    /// `followLinks` opens what a junction leads to, not itself.
    [[nodiscard]] std::optional<OpenFile> openFolder(std::wstring_view path, bool followLinks,
                                                     DWORD share) const;
    /// `force` deletes a read-only file too.
    bool deleteFile(std::wstring_view path, bool force = false);
    /// Deletes the folder with all below it, up to the first thing that can't be deleted.
    bool deleteFolder(std::wstring_view path, bool force);
    /// Deletes the empty folder, or the junction without what it leads to; `force` a read-only one too.
    bool removeFolder(std::wstring_view path, bool force = false);
    /// Moves a file, or a folder with all below it; the destination must not exist.
    bool move(std::wstring_view source, std::wstring_view destination);
    /// Takes all junctions below the folder away, without what they lead to; no when one stays.
    bool removeJunctionsBelow(std::wstring_view folder);
    /// Makes the folder `link`, which must be missing or show nothing, show the content of the folder
    /// `target`. Both are full paths on a drive.
    bool makeJunction(std::wstring_view target, std::wstring_view link);

private:
    struct Place;

    [[nodiscard]] FileNode* throughLinks(FileNode* node, int depth = 0) const;
    [[nodiscard]] Place locate(std::wstring_view path, int depth = 0) const;
    [[nodiscard]] FileNode* find(std::wstring_view path) const;
    [[nodiscard]] FileNode* findFolder(std::wstring_view path) const;
    [[nodiscard]] FileNode* findFile(std::wstring_view path) const;
    FileNode* makeFolders(const ParsedPath& path, std::size_t count);
    bool deleteTree(FileNode& node, bool force, int depth = 0);
    void mark(std::wstring_view path, bool FileAttributes::*mark, bool value) const;

    std::map<std::wstring, std::shared_ptr<FileNode>, Caseless> volumes_;
};

} // namespace kovra::simulated
