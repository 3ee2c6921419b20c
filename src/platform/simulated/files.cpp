#include "platform/simulated/files.h"

#include "libraries/ext/localPath.h"
#include "platform/simulated/machine.h"

#include <algorithm>
#include <array>
#include <cstring>
#include <utility>

namespace kovra::simulated {

namespace {

constexpr int maxJunctionDepth = 31; // more than that leads in a circle

constexpr bool isSeparator(wchar_t character) {
    return character == L'\\' || character == L'/';
}

/// The part of the path ahead of its first separator; all of it without one.
std::wstring_view firstPart(std::wstring_view path) {
    return path.substr(
        0, static_cast<std::size_t>(std::find_if(path.begin(), path.end(), isSeparator) - path.begin()));
}

constexpr bool maySpell(wchar_t character) {
    switch (character) {
    case L'<':
    case L'>':
    case L':':
    case L'"':
    case L'|':
    case L'?':
    case L'*':
        return false;
    default:
        return character >= L' ';
    }
}

} // namespace

/// A file, a folder, a drive's or share's root, or a junction.
struct FileNode : std::enable_shared_from_this<FileNode> {
    FileNode(std::wstring_view itsName, bool folder, FileNode* itsParent)
        : name(itsName),
          parent(itsParent),
          isFolder(folder) {}

    /// A file below can outlast the folder while it is open.
    ~FileNode() {
        for (const auto& [key, node] : children)
            node->parent = nullptr;
    }

    FileNode(const FileNode&) = delete;
    FileNode& operator=(const FileNode&) = delete;

    std::wstring name;
    FileNode* parent; // null: a root, or a file that was removed while it was open
    bool isFolder;
    bool readOnly = false;
    bool loaded = false;
    bool inUse = false;
    bool writesDenied = false;
    std::wstring junctionTarget; // of a file: it is a symbolic link
    std::shared_ptr<std::string> content = std::make_shared<std::string>(); // one for all names of a file
    std::map<std::wstring, std::shared_ptr<FileNode>, Caseless> children;

    // Who holds the file open, and who of them shares it with nobody else that reads, or writes.
    int openers = 0;
    int readers = 0;
    int writers = 0;
    int readDenials = 0;
    int writeDenials = 0;
    int deletionDenials = 0;

    [[nodiscard]] bool isJunction() const { return !junctionTarget.empty(); }

    /// Why a program can't open the file; ERROR_SUCCESS when it can.
    [[nodiscard]] DWORD openError(DWORD access, DWORD share, DWORD disposition) const {
        const bool reads = (access & GENERIC_READ) != 0;
        const bool changes =
            (access & (GENERIC_WRITE | FILE_APPEND_DATA)) != 0 || disposition == CREATE_ALWAYS;
        if (isFolder || (changes && (readOnly || !mayChange())))
            return ERROR_ACCESS_DENIED;
        const bool refused = (reads && readDenials > 0) || (changes && writeDenials > 0) ||
                             ((share & FILE_SHARE_READ) == 0 && readers > 0) ||
                             ((share & FILE_SHARE_WRITE) == 0 && writers > 0);
        return inUse || refused || (changes && loaded) ? ERROR_SHARING_VIOLATION : ERROR_SUCCESS;
    }

    [[nodiscard]] bool mayChange() const {
        for (const FileNode* node = this; node != nullptr; node = node->parent)
            if (node->writesDenied)
                return false;
        return true;
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

    std::shared_ptr<FileNode> take(std::wstring_view childName) {
        std::shared_ptr<FileNode> node = std::move(children.extract(children.find(childName)).mapped());
        node->parent = nullptr;
        return node;
    }

    [[nodiscard]] std::wstring path() const {
        return parent == nullptr ? name : parent->path() + L'\\' + name;
    }

    [[nodiscard]] FileFacts facts() const {
        return {isFolder, readOnly, loaded, inUse, writesDenied, junctionTarget, *content};
    }
};

/// A path cut into its drive or share and its names, with `.` and `..` resolved. The views last as long as
/// the texts that it was made from.
struct ParsedPath {
    ParsedPath(std::wstring_view path, std::wstring_view currentFolder) {
        if (path.empty() || path.size() >= MAX_PATH)
            return;
        endsInSeparator = isSeparator(path.back());
        if (path.size() >= 2 && path[1] == L':') {
            volume = path.substr(0, 2);
            path.remove_prefix(2);
        } else if (path.size() > 2 && isSeparator(path[0]) && isSeparator(path[1])) {
            const std::size_t server = firstPart(path.substr(2)).size();
            if (2 + server == path.size())
                return;
            volume = path.substr(0, 2 + server + 1 + firstPart(path.substr(2 + server + 1)).size());
            path.remove_prefix(volume.size());
        } else {
            const ParsedPath current{currentFolder, {}};
            volume = current.volume;
            if (!isSeparator(path[0])) {
                names = current.names;
                count = current.count;
            }
        }
        split(path);
    }

    void split(std::wstring_view path) {
        while (!path.empty()) {
            std::wstring_view name = firstPart(path);
            path.remove_prefix(std::min(name.size() + 1, path.size()));
            if (name == L"..") {
                count -= count > 0 ? 1 : 0;
                continue;
            }
            if (path.empty()) // Windows doesn't see dots and blanks at the end of a path
                name = name.substr(0, name.find_last_not_of(L". ") + 1);
            if (name.empty() || name == L".")
                continue;
            if (!std::all_of(name.begin(), name.end(), maySpell) || count == names.size())
                return;
            names[count++] = name;
        }
        valid = true;
    }

    [[nodiscard]] std::wstring text() const {
        std::wstring result{volume};
        for (std::size_t i = 0; i < count; ++i)
            (result += L'\\') += names[i];
        if (count == 0)
            result += L'\\';
        return result;
    }

    bool valid = false;
    bool endsInSeparator = false;
    std::wstring_view volume;
    std::array<std::wstring_view, MAX_PATH / 2> names;
    std::size_t count = 0;
};

/// Where a path leads: its last name is looked up, but a junction that stands there isn't followed.
struct FileSystem::Place {
    FileNode* node = nullptr;   // null: nothing is there
    FileNode* parent = nullptr; // null: a root, or the folder for it is missing as well
    std::wstring_view name;
    DWORD error = ERROR_SUCCESS; // why there is no node
    bool endsInSeparator = false;

    static Place missing(DWORD reason) {
        Place place;
        place.error = reason;
        return place;
    }

    /// A file's path doesn't end in a separator.
    [[nodiscard]] bool isFile() const { return node != nullptr && !node->isFolder && !endsInSeparator; }
};

// Open files

namespace {

/// Changes who holds the file open, by one opener more (+1) or less (-1).
void countOpener(FileNode& node, DWORD access, DWORD share, int change) {
    node.openers += change;
    node.readers += (access & GENERIC_READ) != 0 ? change : 0;
    node.writers += (access & (GENERIC_WRITE | FILE_APPEND_DATA)) != 0 ? change : 0;
    node.readDenials += (share & FILE_SHARE_READ) == 0 ? change : 0;
    node.writeDenials += (share & FILE_SHARE_WRITE) == 0 ? change : 0;
    node.deletionDenials += (share & FILE_SHARE_DELETE) == 0 ? change : 0;
}

} // namespace

OpenFile::OpenFile(std::shared_ptr<FileNode> node, DWORD access, DWORD share)
    : node_(std::move(node)),
      access_(access),
      share_(share) {
    countOpener(*node_, access_, share_, +1);
}

OpenFile& OpenFile::operator=(OpenFile&& other) noexcept {
    std::swap(node_, other.node_);
    std::swap(access_, other.access_);
    std::swap(share_, other.share_);
    std::swap(position_, other.position_);
    return *this;
}

OpenFile::~OpenFile() {
    if (node_ != nullptr)
        countOpener(*node_, access_, share_, -1);
}

bool OpenFile::read(void* buffer, DWORD size, DWORD& read) {
    read = 0;
    if ((access_ & GENERIC_READ) == 0)
        return false;
    const std::uint64_t left =
        node_->content->size() - std::min<std::uint64_t>(position_, node_->content->size());
    read = static_cast<DWORD>(std::min<std::uint64_t>(size, left));
    if (read > 0)
        std::memcpy(buffer, node_->content->data() + position_, read);
    position_ += read;
    return true;
}

std::optional<std::string> OpenFile::readRest() {
    if ((access_ & GENERIC_READ) == 0)
        return std::nullopt;
    const std::size_t start =
        static_cast<std::size_t>(std::min<std::uint64_t>(position_, node_->content->size()));
    position_ = node_->content->size();
    return node_->content->substr(start);
}

bool OpenFile::write(const void* buffer, DWORD size, DWORD& written) {
    written = 0;
    if ((access_ & (GENERIC_WRITE | FILE_APPEND_DATA)) == 0)
        return false;
    std::string& content = *node_->content;
    if ((access_ & GENERIC_WRITE) == 0)
        position_ = content.size();
    const std::size_t start = static_cast<std::size_t>(position_);
    if (content.size() < start)
        content.resize(start);
    content.replace(start, std::min<std::size_t>(size, content.size() - start),
                    static_cast<const char*>(buffer), size);
    position_ += size;
    written = size;
    return true;
}

std::uint64_t OpenFile::size() const {
    return node_->content->size();
}

std::wstring OpenFile::path() const {
    return node_->path();
}

DWORD OpenFile::links() const {
    return static_cast<DWORD>(node_->content.use_count());
}

bool OpenFile::isLink() const {
    return node_->isJunction();
}

OpenFolder::OpenFolder(std::shared_ptr<FileNode> node, DWORD share) : node_(std::move(node)), share_(share) {
    countOpener(*node_, 0, share_, +1);
}

OpenFolder& OpenFolder::operator=(OpenFolder&& other) noexcept {
    std::swap(node_, other.node_);
    std::swap(share_, other.share_);
    return *this;
}

OpenFolder::~OpenFolder() {
    if (node_ != nullptr)
        countOpener(*node_, 0, share_, -1);
}

std::wstring OpenFolder::path() const {
    return node_->path();
}

bool OpenFolder::isLink() const {
    return node_->isJunction();
}

std::optional<OpenFile> OpenFolder::openFile(std::wstring_view name, DWORD share) const {
    FileNode* file = node_->child(name);
    if (file == nullptr ? !node_->mayChange()
                        : file->openError(FILE_APPEND_DATA, share, OPEN_ALWAYS) != ERROR_SUCCESS)
        return std::nullopt;
    if (file == nullptr)
        file = &node_->add(name, false);
    return OpenFile{file->shared_from_this(), FILE_APPEND_DATA, share};
}

// Finding

FileSystem::FileSystem() {
    volumes_[L"C:"] = std::make_shared<FileNode>(L"C:", true, nullptr);
    makeFolder(currentFolder);
    const SpecialFolders folders;
    for (const auto& paths : {folders.paths, folders.servicesPaths})
        for (const auto& [number, path] : paths)
            makeFolder(path);
}

FileSystem::~FileSystem() = default;

FileNode* FileSystem::volume(std::wstring_view name) const {
    const auto found = volumes_.find(name);
    return found == volumes_.end() ? nullptr : found->second.get();
}

/// The folder itself, or the one that a junction leads to in the end; null when that is missing.
FileNode* FileSystem::throughJunctions(FileNode* node, int depth) const {
    if (node == nullptr || !node->isJunction())
        return node;
    if (depth == maxJunctionDepth)
        return nullptr;
    return throughJunctions(locate(node->junctionTarget, depth + 1).node, depth + 1);
}

FileSystem::Place FileSystem::locate(std::wstring_view path, int depth) const {
    const ParsedPath parsed{path, currentFolder};
    if (!parsed.valid)
        return Place::missing(path.empty() || path.size() >= MAX_PATH ? ERROR_PATH_NOT_FOUND
                                                                      : ERROR_INVALID_NAME);
    Place place = Place::missing(ERROR_SUCCESS);
    place.endsInSeparator = parsed.endsInSeparator;
    place.node = volume(parsed.volume);
    place.error = place.node == nullptr ? ERROR_PATH_NOT_FOUND : ERROR_SUCCESS;
    for (std::size_t i = 0; i < parsed.count && place.node != nullptr; ++i) {
        FileNode* const folder = throughJunctions(place.node, depth);
        const bool isFolder = folder != nullptr && folder->isFolder;
        const bool isLast = i + 1 == parsed.count;
        place.node = isFolder ? folder->child(parsed.names[i]) : nullptr;
        place.parent = isFolder && isLast ? folder : nullptr;
        place.name = parsed.names[i];
        if (place.node == nullptr)
            place.error = place.parent != nullptr ? ERROR_FILE_NOT_FOUND : ERROR_PATH_NOT_FOUND;
    }
    return place;
}

FileNode* FileSystem::find(std::wstring_view path) const {
    return locate(path).node;
}

FileNode* FileSystem::findFolder(std::wstring_view path) const {
    FileNode* const folder = throughJunctions(find(path));
    return folder != nullptr && folder->isFolder ? folder : nullptr;
}

FileNode* FileSystem::findFile(std::wstring_view path) const {
    const Place place = locate(path);
    if (place.isFile() && place.node->isJunction())
        return findFile(place.node->junctionTarget);
    return place.isFile() ? place.node : nullptr;
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
        folder = next == nullptr ? &folder->add(path.names[i], true) : throughJunctions(next);
        if (folder != nullptr && !folder->isFolder)
            return nullptr;
    }
    return folder;
}

bool FileSystem::write(std::wstring_view path, std::string_view bytes) {
    const ParsedPath parsed{path, currentFolder};
    if (parsed.count == 0 || parsed.endsInSeparator)
        return false;
    FileNode* const folder = makeFolders(parsed, parsed.count - 1);
    if (folder == nullptr)
        return false;
    FileNode* file = folder->child(parsed.names[parsed.count - 1]);
    if (file == nullptr)
        file = &folder->add(parsed.names[parsed.count - 1], false);
    if (file->isFolder)
        return false;
    *file->content = bytes;
    return true;
}

bool FileSystem::makeFolder(std::wstring_view path) {
    const ParsedPath parsed{path, currentFolder};
    return makeFolders(parsed, parsed.count) != nullptr;
}

bool FileSystem::remove(std::wstring_view path) {
    const Place place = locate(path);
    if (place.node == nullptr || place.parent == nullptr)
        return false;
    place.parent->take(place.name);
    return true;
}

bool FileSystem::setReadOnly(std::wstring_view path, bool readOnly) {
    FileNode* const node = find(path);
    if (node != nullptr)
        node->readOnly = readOnly;
    return node != nullptr;
}

bool FileSystem::setLoaded(std::wstring_view path, bool loaded) {
    FileNode* const file = findFile(path);
    if (file != nullptr)
        file->loaded = loaded;
    return file != nullptr;
}

bool FileSystem::setInUse(std::wstring_view path, bool inUse) {
    FileNode* const file = findFile(path);
    if (file != nullptr)
        file->inUse = inUse;
    return file != nullptr;
}

bool FileSystem::denyWrites(std::wstring_view path, bool denied) {
    FileNode* node = find(path);
    if (node == nullptr && makeFolder(path))
        node = find(path);
    if (node != nullptr)
        node->writesDenied = denied;
    return node != nullptr;
}

bool FileSystem::addName(std::wstring_view file, std::wstring_view name) {
    const FileNode* const node = findFile(file);
    const Place place = locate(name);
    if (node == nullptr || place.node != nullptr || place.parent == nullptr)
        return false;
    place.parent->add(place.name, false).content = node->content;
    return true;
}

bool FileSystem::setLink(std::wstring_view path, std::wstring_view target) {
    FileNode* const node = find(path);
    if (node != nullptr)
        node->junctionTarget = target;
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

std::optional<std::uint64_t> FileSystem::size(std::wstring_view path) const {
    const FileNode* const file = findFile(path);
    return file == nullptr ? std::nullopt : std::optional<std::uint64_t>{file->content->size()};
}

std::vector<std::wstring> FileSystem::list(std::wstring_view path) const {
    std::vector<std::wstring> names;
    if (const FileNode* const folder = findFolder(path); folder != nullptr)
        for (const auto& [key, node] : folder->children)
            names.push_back(node->name);
    return names;
}

std::vector<std::wstring> FileSystem::listFiles(std::wstring_view path) const {
    std::vector<std::wstring> names;
    if (const FileNode* const folder = findFolder(path); folder != nullptr)
        for (const auto& [key, node] : folder->children)
            if (!node->isFolder)
                names.push_back(node->name);
    return names;
}

std::wstring FileSystem::linkTarget(std::wstring_view path) const {
    const FileNode* const node = find(path);
    return node != nullptr ? node->junctionTarget : std::wstring{};
}

std::optional<OpenFolder> FileSystem::openFolder(std::wstring_view path, bool followLinks,
                                                 DWORD share) const {
    FileNode* const node = followLinks ? findFolder(path) : find(path);
    if (node == nullptr || !node->isFolder)
        return std::nullopt;
    return OpenFolder{node->shared_from_this(), share};
}

std::optional<std::wstring> FileSystem::fullPath(std::wstring_view path) const {
    const ParsedPath parsed{path, currentFolder};
    return parsed.valid ? std::optional{parsed.text()} : std::nullopt;
}

namespace {

void addFacts(const FileNode& node, const std::wstring& path, FileSnapshot& snapshot) {
    snapshot.emplace(path, node.facts());
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

std::optional<OpenFile> FileSystem::open(std::wstring_view path, DWORD access, DWORD share, DWORD disposition,
                                         DWORD& error) {
    Place place = locate(path);
    const bool isThere = place.node != nullptr;
    if (isThere && !place.node->isFolder && place.node->isJunction())
        return open(place.node->junctionTarget, access, share, disposition, error);
    if (disposition != CREATE_ALWAYS && disposition != OPEN_ALWAYS && disposition != OPEN_EXISTING) {
        error = ERROR_INVALID_PARAMETER;
    } else if (isThere) {
        const FileNode& node = *place.node;
        error = place.endsInSeparator && !node.isFolder ? ERROR_INVALID_NAME
                                                        : node.openError(access, share, disposition);
        if (error == ERROR_SUCCESS && disposition != OPEN_EXISTING)
            error = ERROR_ALREADY_EXISTS;
    } else if (place.error != ERROR_FILE_NOT_FOUND || disposition == OPEN_EXISTING) {
        error = place.error;
    } else if (place.endsInSeparator) {
        error = ERROR_INVALID_NAME;
    } else {
        error = place.parent->mayChange() ? ERROR_SUCCESS : ERROR_ACCESS_DENIED;
    }
    if (error != ERROR_SUCCESS && error != ERROR_ALREADY_EXISTS)
        return std::nullopt;
    if (!isThere)
        place.parent->add(place.name, false);
    const std::shared_ptr<FileNode>& node = place.parent->children.find(place.name)->second;
    if (disposition == CREATE_ALWAYS)
        node->content->clear();
    return OpenFile{node, access, share};
}

namespace {

/// Why the file, or the folder or junction alone, can't be deleted.
DWORD deletionError(const FileNode& node, bool force) {
    if (node.loaded || (node.readOnly && !force) || !node.mayChange() || node.parent == nullptr)
        return ERROR_ACCESS_DENIED;
    if (node.inUse || node.deletionDenials > 0)
        return ERROR_SHARING_VIOLATION;
    return ERROR_SUCCESS;
}

/// Deletes the file, or the folder or junction alone.
DWORD deleteNode(FileNode& node, bool force) {
    const DWORD error = deletionError(node, force);
    if (error == ERROR_SUCCESS)
        node.parent->children.erase(node.parent->children.find(node.name));
    return error;
}

/// Why the file, or something in the folder, can't be moved.
DWORD moveError(const FileNode& node) {
    if (node.inUse || node.deletionDenials > 0)
        return ERROR_SHARING_VIOLATION;
    const bool isHeld = std::any_of(node.children.begin(), node.children.end(), [](const auto& child) {
        return child.second->openers > 0 || moveError(*child.second) != ERROR_SUCCESS;
    });
    return isHeld ? ERROR_ACCESS_DENIED : ERROR_SUCCESS;
}

const FileNode* rootOf(const FileNode* node) {
    while (node->parent != nullptr)
        node = node->parent;
    return node;
}

} // namespace

DWORD FileSystem::deleteFile(std::wstring_view path, bool force) {
    const Place place = locate(path);
    if (place.node == nullptr)
        return place.error;
    if (!place.isFile())
        return place.node->isFolder ? ERROR_ACCESS_DENIED : ERROR_INVALID_NAME;
    const DWORD error = deletionError(*place.node, force);
    if (error == ERROR_SUCCESS)
        place.parent->take(place.name);
    return error;
}

DWORD FileSystem::deleteTree(FileNode& node, bool force, int depth) {
    FileNode* const content = deletionFollowsJunctions ? throughJunctions(&node) : &node;
    if (depth == maxJunctionDepth) // a circle of junctions ends with the longest path
        return ERROR_PATH_NOT_FOUND;
    while (content != nullptr && !content->children.empty()) {
        const DWORD error = deleteTree(*content->children.begin()->second, force, depth + 1);
        if (error != ERROR_SUCCESS)
            return error;
    }
    return deleteNode(node, force);
}

DWORD FileSystem::deleteFolder(std::wstring_view path, bool force) {
    const Place place = locate(path);
    if (place.node == nullptr || !place.node->isFolder)
        return ERROR_PATH_NOT_FOUND;
    return deleteTree(*place.node, force);
}

bool FileSystem::removeJunctionsBelow(std::wstring_view folder) {
    FileNode* const node = find(folder);
    return node == nullptr || removeJunctionsIn(*node);
}

bool FileSystem::removeJunctionsIn(FileNode& folder) {
    bool allGone = true;
    const auto children = folder.children;
    for (const auto& [name, child] : children)
        if (child->isFolder)
            allGone = (child->isJunction() ? deleteNode(*child, true) == ERROR_SUCCESS
                                           : removeJunctionsIn(*child)) &&
                      allGone;
    return allGone;
}

DWORD FileSystem::removeFolder(std::wstring_view path) {
    constexpr DWORD notEmpty = 145;
    const Place place = locate(path);
    if (place.node == nullptr || !place.node->isFolder)
        return ERROR_PATH_NOT_FOUND;
    if (!place.node->isJunction() && !place.node->children.empty())
        return notEmpty;
    return deleteNode(*place.node, false);
}

DWORD FileSystem::move(std::wstring_view source, std::wstring_view destination) {
    const Place from = locate(source);
    const Place to = locate(destination);
    if (from.node == nullptr)
        return from.error;
    if (to.node != nullptr)
        return ERROR_ALREADY_EXISTS;
    if (to.parent == nullptr)
        return to.error;
    if (from.parent == nullptr || !from.node->mayChange() || !to.parent->mayChange())
        return ERROR_ACCESS_DENIED;
    for (const FileNode* node = to.parent; node != nullptr; node = node->parent)
        if (node == from.node)
            return ERROR_SHARING_VIOLATION; // into itself
    if (rootOf(from.parent) != rootOf(to.parent) && (from.node->isFolder || from.node->loaded))
        return ERROR_ACCESS_DENIED; // to another drive a file alone can go, by copying and deleting it
    const DWORD error = moveError(*from.node);
    if (error != ERROR_SUCCESS)
        return error;
    std::shared_ptr<FileNode> node = from.parent->take(from.name);
    node->name = to.name;
    node->parent = to.parent;
    to.parent->children.emplace(to.name, std::move(node));
    return ERROR_SUCCESS;
}

DWORD FileSystem::makeJunction(std::wstring_view target, std::wstring_view link) {
    const std::optional<std::wstring> targetPath = fullPath(target);
    if (!targetPath || !ext::isDrivePath(target) || !ext::isDrivePath(link))
        return ERROR_INVALID_NAME;
    const FileNode* const shown = findFolder(target);
    if (shown == nullptr)
        return ERROR_PATH_NOT_FOUND;
    const Place place = locate(link);
    if (place.node == nullptr && place.parent == nullptr)
        return place.error;
    const FileNode& changed = place.node != nullptr ? *place.node : *place.parent;
    const FileNode* const content = throughJunctions(place.node);
    if (place.node != nullptr &&
        (!place.node->isFolder || content == shown || (content != nullptr && !content->children.empty())))
        return ERROR_ALREADY_EXISTS;
    if (place.parent == nullptr || !changed.mayChange())
        return ERROR_ACCESS_DENIED;
    FileNode& node = place.node != nullptr ? *place.node : place.parent->add(place.name, true);
    node.junctionTarget = *targetPath;
    return ERROR_SUCCESS;
}

} // namespace kovra::simulated

using namespace kovra::simulated;

BOOL RemoveDirectoryA(LPCSTR name) {
    const Call<"RemoveDirectoryA"> call;
    if (call.fails())
        return FALSE;
    Machine& here = machine();
    const DWORD error = here.files.removeFolder(here.codePage.toWide(name));
    if (error != ERROR_SUCCESS)
        setLastError(error);
    return error == ERROR_SUCCESS ? TRUE : FALSE;
}

BOOL DeleteFileA(LPCSTR name) {
    const Call<"DeleteFileA"> call;
    if (call.fails())
        return FALSE;
    Machine& here = machine();
    const DWORD error = here.files.deleteFile(here.codePage.toWide(name));
    if (error != ERROR_SUCCESS)
        setLastError(error);
    return error == ERROR_SUCCESS ? TRUE : FALSE;
}
