#include "platform/simulated/files.h"

#include "libraries/ext/localPath.h"
#include "platform/simulated/machine.h"
#include "platform/simulated/paths.h"

#include <algorithm>
#include <cstring>
#include <utility>

namespace kovra::simulated {

namespace {

constexpr int maxLinkDepth = 31; // more than that leads in a circle

constexpr DWORD anyWrite = GENERIC_WRITE | FILE_APPEND_DATA;

} // namespace

/// A file, a folder, or a drive's or share's root.
struct FileNode : FileAttributes, std::enable_shared_from_this<FileNode> {
    FileNode(std::wstring_view itsName, bool folder, FileNode* itsParent)
        : FileAttributes{.isFolder = folder},
          name(itsName),
          parent(itsParent) {}

    /// A file below can outlast the folder while it is open.
    ~FileNode() {
        for (const auto& [key, node] : children)
            node->parent = nullptr;
    }

    FileNode(const FileNode&) = delete;
    FileNode& operator=(const FileNode&) = delete;

    std::wstring name;
    FileNode* parent; // null: a root, or a file that was removed while it was open
    std::shared_ptr<std::string> content = std::make_shared<std::string>(); // one for all names of a file
    std::map<std::wstring, std::shared_ptr<FileNode>, Caseless> children;

    // Shared with each that has it open, and with each that lets nobody delete it.
    std::shared_ptr<void> openers = std::make_shared<char>();
    std::shared_ptr<void> holders = std::make_shared<char>();

    [[nodiscard]] bool isLink() const { return !linkTarget.empty(); }

    [[nodiscard]] bool isHeld() const { return inUse || holders.use_count() > 1; }

    [[nodiscard]] bool mayChange() const {
        return !writesDenied && (parent == nullptr || parent->mayChange());
    }

    [[nodiscard]] bool mayOpen(bool changes) const {
        return !isFolder && !inUse && !(changes && (readOnly || loaded || !mayChange()));
    }

    /// Whether the file, or the folder or junction alone, can be deleted.
    [[nodiscard]] bool mayDelete(bool force) const {
        return !loaded && (!readOnly || force) && mayChange() && parent != nullptr && !isHeld();
    }

    /// Whether the file, or the folder with all in it, can be moved.
    [[nodiscard]] bool mayMove() const {
        return !isHeld() && std::all_of(children.begin(), children.end(), [](const auto& child) {
            return child.second->openers.use_count() == 1 && child.second->mayMove();
        });
    }

    [[nodiscard]] FileNode* child(std::wstring_view childName) const {
        const auto found = children.find(childName);
        return found == children.end() ? nullptr : found->second.get();
    }

    FileNode& add(std::wstring_view childName, bool folder) {
        std::shared_ptr<FileNode>& node = children[std::wstring{childName}];
        node = std::make_shared<FileNode>(childName, folder, this);
        return *node;
    }

    /// Takes it out of its folder.
    std::shared_ptr<FileNode> take() {
        FileNode* const folder = std::exchange(parent, nullptr);
        return std::move(folder->children.extract(folder->children.find(name)).mapped());
    }

    [[nodiscard]] std::wstring path() const {
        return parent == nullptr ? name : parent->path() + L'\\' + name;
    }
};

/// Where a path leads: its last name is looked up, but a link that stands there isn't followed.
struct FileSystem::Place {
    FileNode* node = nullptr;   // null: nothing is there
    FileNode* parent = nullptr; // null: a root, or the folder for it is missing as well
    std::wstring_view name;
    bool endsInSeparator = false;

    /// A file's path doesn't end in a separator.
    [[nodiscard]] bool isFile() const { return node != nullptr && !node->isFolder && !endsInSeparator; }
};

// Open files

OpenFile::OpenFile(std::shared_ptr<FileNode> node, DWORD access, DWORD share)
    : node_(std::move(node)),
      access_(access),
      opener_(node_->openers),
      holder_((share & FILE_SHARE_DELETE) == 0 ? node_->holders : nullptr) {}

bool OpenFile::read(void* buffer, DWORD size, DWORD& read) {
    if ((access_ & GENERIC_READ) == 0)
        return false;
    const std::uint64_t left = content().size() - std::min<std::uint64_t>(position_, content().size());
    read = static_cast<DWORD>(std::min<std::uint64_t>(size, left));
    if (read > 0)
        std::memcpy(buffer, content().data() + position_, read);
    position_ += read;
    return true;
}

bool OpenFile::write(std::string_view bytes) {
    if ((access_ & anyWrite) == 0)
        return false;
    std::string& content = *node_->content;
    if ((access_ & GENERIC_WRITE) == 0)
        position_ = content.size();
    const auto start = static_cast<std::size_t>(position_);
    content.resize(std::max(content.size(), start));
    content.replace(start, std::min(bytes.size(), content.size() - start), bytes);
    position_ += bytes.size();
    return true;
}

const std::string& OpenFile::content() const {
    return *node_->content;
}

std::wstring OpenFile::path() const {
    return node_->path();
}

bool OpenFile::isLinked() const {
    return node_->isLink() || node_->content.use_count() > 1;
}

std::optional<OpenFile> OpenFile::openFile(std::wstring_view name, DWORD share) const {
    FileNode* file = node_->child(name);
    if (!node_->isFolder || !(file == nullptr ? node_->mayChange() : file->mayOpen(true)))
        return std::nullopt;
    if (file == nullptr)
        file = &node_->add(name, false);
    return OpenFile{file->shared_from_this(), FILE_APPEND_DATA, share};
}

// Finding

FileSystem::FileSystem() {
    makeFolder(currentFolder);
    const SpecialFolders folders;
    for (const auto& paths : {folders.paths, folders.servicesPaths})
        for (const auto& [number, path] : paths)
            makeFolder(path);
}

FileSystem::~FileSystem() = default;

/// The file or folder itself, or the one that a link leads to in the end; null when that is missing.
FileNode* FileSystem::throughLinks(FileNode* node, int depth) const {
    if (node == nullptr || !node->isLink())
        return node;
    if (depth == maxLinkDepth)
        return nullptr;
    return throughLinks(locate(node->linkTarget, depth + 1).node, depth + 1);
}

FileSystem::Place FileSystem::locate(std::wstring_view path, int depth) const {
    const ParsedPath parsed{path, currentFolder};
    const auto root = volumes_.find(parsed.volume);
    Place place;
    if (!parsed.valid || root == volumes_.end())
        return place;
    place.endsInSeparator = parsed.endsInSeparator;
    place.node = root->second.get();
    for (const std::wstring_view name : parsed.names) {
        FileNode* const folder = throughLinks(place.node, depth);
        const bool isFolder = folder != nullptr && folder->isFolder;
        place.node = isFolder ? folder->child(name) : nullptr;
        place.parent = isFolder ? folder : nullptr;
        place.name = name;
    }
    return place;
}

FileNode* FileSystem::find(std::wstring_view path) const {
    return locate(path).node;
}

FileNode* FileSystem::findFolder(std::wstring_view path) const {
    FileNode* const folder = throughLinks(find(path));
    return folder != nullptr && folder->isFolder ? folder : nullptr;
}

FileNode* FileSystem::findFile(std::wstring_view path) const {
    const Place place = locate(path);
    FileNode* const file = place.isFile() ? throughLinks(place.node) : nullptr;
    return file != nullptr && !file->isFolder ? file : nullptr;
}

// The world's hand

/// The folder of the path's first `count` names, with all that is missing on the way to it; null when a file
/// stands in the way.
FileNode* FileSystem::makeFolders(const ParsedPath& path, std::size_t count) {
    if (!path.valid)
        return nullptr;
    std::shared_ptr<FileNode>& root = volumes_[std::wstring{path.volume}];
    if (root == nullptr)
        root = std::make_shared<FileNode>(path.volume, true, nullptr);
    FileNode* folder = root.get();
    for (std::size_t i = 0; i < count && folder != nullptr; ++i) {
        FileNode* const next = folder->child(path.names[i]);
        folder = next == nullptr ? &folder->add(path.names[i], true) : throughLinks(next);
        if (folder != nullptr && !folder->isFolder)
            return nullptr;
    }
    return folder;
}

void FileSystem::write(std::wstring_view path, std::string_view bytes) {
    const ParsedPath parsed{path, currentFolder};
    FileNode* const folder = parsed.names.empty() ? nullptr : makeFolders(parsed, parsed.names.size() - 1);
    if (folder == nullptr)
        return;
    FileNode* const file = folder->child(parsed.names.back());
    *(file == nullptr ? folder->add(parsed.names.back(), false) : *file).content = bytes;
}

void FileSystem::makeFolder(std::wstring_view path) {
    const ParsedPath parsed{path, currentFolder};
    makeFolders(parsed, parsed.names.size());
}

void FileSystem::remove(std::wstring_view path) {
    if (FileNode* const node = find(path); node != nullptr && node->parent != nullptr)
        node->take();
}

void FileSystem::mark(std::wstring_view path, bool FileAttributes::*mark, bool value) const {
    if (FileNode* const node = find(path))
        node->*mark = value;
}

void FileSystem::setReadOnly(std::wstring_view path, bool readOnly) {
    mark(path, &FileAttributes::readOnly, readOnly);
}

void FileSystem::setLoaded(std::wstring_view path, bool loaded) {
    mark(path, &FileAttributes::loaded, loaded);
}

void FileSystem::setInUse(std::wstring_view path, bool inUse) {
    mark(path, &FileAttributes::inUse, inUse);
}

void FileSystem::denyWrites(std::wstring_view path, bool denied) {
    if (find(path) == nullptr)
        makeFolder(path);
    mark(path, &FileAttributes::writesDenied, denied);
}

void FileSystem::addName(std::wstring_view file, std::wstring_view name) {
    const FileNode* const node = findFile(file);
    const Place place = locate(name);
    if (node != nullptr && place.node == nullptr && place.parent != nullptr)
        place.parent->add(place.name, false).content = node->content;
}

bool FileSystem::setLink(std::wstring_view path, std::wstring_view target) {
    FileNode* const node = find(path);
    if (node != nullptr)
        node->linkTarget = target;
    return node != nullptr;
}

// Looking

bool FileSystem::fileExists(std::wstring_view path) const {
    return findFile(path) != nullptr;
}

bool FileSystem::folderExists(std::wstring_view path) const {
    const FileNode* const node = find(path);
    return node != nullptr && node->isFolder;
}

std::optional<std::string> FileSystem::read(std::wstring_view path) const {
    const FileNode* const file = findFile(path);
    return file == nullptr ? std::nullopt : std::optional{*file->content};
}

std::vector<std::wstring> FileSystem::list(std::wstring_view path) const {
    std::vector<std::wstring> names;
    if (const FileNode* const folder = findFolder(path); folder != nullptr)
        for (const auto& [key, node] : folder->children)
            names.push_back(node->name);
    return names;
}

std::optional<std::wstring> FileSystem::fullPath(std::wstring_view path) const {
    const ParsedPath parsed{path, currentFolder};
    return parsed.valid ? std::optional{parsed.text()} : std::nullopt;
}

std::wstring FileSystem::linkTarget(std::wstring_view path) const {
    const FileNode* const node = find(path);
    return node != nullptr ? node->linkTarget : std::wstring{};
}

namespace {

void addFacts(const FileNode& node, const std::wstring& path, FileSnapshot& snapshot) {
    snapshot.emplace(path, std::pair{static_cast<const FileAttributes&>(node), *node.content});
    for (const auto& [key, child] : node.children)
        addFacts(*child, path + L'\\' + child->name, snapshot);
}

} // namespace

FileSnapshot FileSystem::snapshot() const {
    FileSnapshot snapshot;
    for (const auto& [name, root] : volumes_)
        addFacts(*root, root->name, snapshot);
    return snapshot;
}

// What programs do

std::optional<OpenFile> FileSystem::open(std::wstring_view path, DWORD access, DWORD share,
                                         DWORD disposition) {
    const Place place = locate(path);
    FileNode* node = place.node;
    if (place.isFile() && node->isLink())
        return open(node->linkTarget, access, share, disposition);
    const bool changes = (access & anyWrite) != 0 || disposition == CREATE_ALWAYS;
    const bool may = node != nullptr ? place.isFile() && node->mayOpen(changes)
                                     : place.parent != nullptr && !place.endsInSeparator &&
                                           disposition != OPEN_EXISTING && place.parent->mayChange();
    if (!may)
        return std::nullopt;
    if (node == nullptr)
        node = &place.parent->add(place.name, false);
    if (disposition == CREATE_ALWAYS)
        node->content->clear();
    return OpenFile{node->shared_from_this(), access, share};
}

std::optional<OpenFile> FileSystem::openFolder(std::wstring_view path, bool followLinks, DWORD share) const {
    FileNode* const node = followLinks ? findFolder(path) : find(path);
    if (node == nullptr || !node->isFolder)
        return std::nullopt;
    return OpenFile{node->shared_from_this(), 0, share};
}

namespace {

/// Deletes the file, or the folder or junction alone.
bool deleteNode(FileNode& node, bool force) {
    const bool may = node.mayDelete(force);
    if (may)
        node.take();
    return may;
}

const FileNode* rootOf(const FileNode* node) {
    return node->parent == nullptr ? node : rootOf(node->parent);
}

bool isIn(const FileNode* node, const FileNode* folder) {
    return node != nullptr && (node == folder || isIn(node->parent, folder));
}

bool removeJunctionsIn(FileNode& folder) {
    bool allGone = true;
    const auto children = folder.children;
    for (const auto& [name, child] : children)
        if (child->isFolder)
            allGone = (child->isLink() ? deleteNode(*child, true) : removeJunctionsIn(*child)) && allGone;
    return allGone;
}

} // namespace

bool FileSystem::deleteFile(std::wstring_view path, bool force) {
    const Place place = locate(path);
    return place.isFile() && deleteNode(*place.node, force);
}

bool FileSystem::deleteTree(FileNode& node, bool force, int depth) {
    // One maker's file-system object empties what the junctions in a folder lead to; of Windows' own it isn't
    // told.
    FileNode* const content = throughLinks(&node);
    if (depth == maxLinkDepth) // a circle of junctions ends with the longest path
        return false;
    while (content != nullptr && !content->children.empty())
        if (!deleteTree(*content->children.begin()->second, force, depth + 1))
            return false;
    return deleteNode(node, force);
}

bool FileSystem::deleteFolder(std::wstring_view path, bool force) {
    FileNode* const node = find(path);
    return node != nullptr && node->isFolder && deleteTree(*node, force);
}

bool FileSystem::removeJunctionsBelow(std::wstring_view folder) {
    FileNode* const node = find(folder);
    return node == nullptr || removeJunctionsIn(*node);
}

bool FileSystem::removeFolder(std::wstring_view path, bool force) {
    FileNode* const node = find(path);
    return node != nullptr && node->isFolder && (node->isLink() || node->children.empty()) &&
           deleteNode(*node, force);
}

bool FileSystem::move(std::wstring_view source, std::wstring_view destination) {
    FileNode* const node = find(source);
    const Place to = locate(destination);
    if (node == nullptr || node->parent == nullptr || to.node != nullptr || to.parent == nullptr ||
        !node->mayChange() || !to.parent->mayChange() || isIn(to.parent, node))
        return false;
    // To another drive a file alone can go, by copying and deleting it.
    if ((rootOf(node) != rootOf(to.parent) && (node->isFolder || node->loaded)) || !node->mayMove())
        return false;
    const std::shared_ptr<FileNode> taken = node->take();
    taken->name = to.name;
    taken->parent = to.parent;
    to.parent->children.emplace(to.name, taken);
    return true;
}

bool FileSystem::makeJunction(std::wstring_view target, std::wstring_view link) {
    const std::optional<std::wstring> targetPath = fullPath(target);
    const FileNode* const shown = findFolder(target);
    const Place place = locate(link);
    if (!targetPath || !ext::isDrivePath(target) || !ext::isDrivePath(link) || shown == nullptr ||
        place.parent == nullptr || !(place.node != nullptr ? place.node : place.parent)->mayChange())
        return false;
    const FileNode* const content = throughLinks(place.node);
    if (place.node != nullptr &&
        (!place.node->isFolder || content == shown || (content != nullptr && !content->children.empty())))
        return false;
    (place.node != nullptr ? *place.node : place.parent->add(place.name, true)).linkTarget = *targetPath;
    return true;
}

} // namespace kovra::simulated
