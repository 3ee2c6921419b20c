#include "libraries/ext/localPath.h"
#include "platform/handles.h"
#include "platform/win32.h"
#include "platform/windows/searchHandle.h"

#include <cstring>
#include <string>

#include <winioctl.h>

// ext.dll: makes a folder that shows the content of another one (an NTFS junction).

namespace kovra::ext {
namespace {

/// What the file system keeps in a junction: its header and two texts, each with a closing NUL. Lengths and
/// offsets are in bytes, the NULs not counted.
struct JunctionData {
    DWORD tag;
    WORD dataLength; ///< of what follows `reserved`
    WORD reserved;
    WORD substituteOffset;
    WORD substituteLength;
    WORD printOffset;
    WORD printLength;
    WCHAR texts[2 * (MAX_PATH + 8)]; ///< the path as the kernel reads it, then as a person reads it
};

constexpr std::size_t junctionHeaderSize = 8;
static_assert(offsetof(JunctionData, substituteOffset) == junctionHeaderSize);
static_assert(sizeof(JunctionData) <= MAXIMUM_REPARSE_DATA_BUFFER_SIZE);

/// The path in full, without a trailing backslash unless it is a drive's root. Empty for what doesn't lie on
/// a drive of this machine, and for a path too long for a folder.
std::wstring localPath(LPCSTR ansiPath) {
    WCHAR given[MAX_PATH];
    WCHAR full[MAX_PATH];
    if (ansiPath == nullptr || MultiByteToWideChar(CP_ACP, 0, ansiPath, -1, given, MAX_PATH) == 0 ||
        !isDrivePath(given))
        return {};
    const DWORD length = GetFullPathNameW(given, MAX_PATH, full, nullptr);
    if (length == 0 || length >= MAX_PATH || !isDrivePath(full))
        return {};
    std::wstring path{full, length};
    const UINT drive = GetDriveTypeW(path.substr(0, 3).c_str());
    if (drive == DRIVE_REMOTE || drive == DRIVE_UNKNOWN || drive == DRIVE_NO_ROOT_DIR)
        return {};
    while (path.size() > 3 && path.back() == L'\\')
        path.pop_back();
    return path;
}

bool isFolder(DWORD attributes) {
    return attributes != INVALID_FILE_ATTRIBUTES && (attributes & FILE_ATTRIBUTE_DIRECTORY) != 0;
}

/// Whether the folder shows anything. A folder that can't be listed counts as full, but for a junction whose
/// target is gone: there is nothing in it to lose.
bool hasContent(const std::wstring& folder, DWORD attributes) {
    WIN32_FIND_DATAW entry{};
    const SearchHandle search{FindFirstFileW((folder + L"\\*").c_str(), &entry)};
    if (!search) {
        const DWORD error = GetLastError();
        const bool targetGone = error == ERROR_FILE_NOT_FOUND || error == ERROR_PATH_NOT_FOUND;
        return (attributes & FILE_ATTRIBUTE_REPARSE_POINT) == 0 || !targetGone;
    }
    do {
        if (std::wcscmp(entry.cFileName, L".") != 0 && std::wcscmp(entry.cFileName, L"..") != 0)
            return true;
    } while (FindNextFileW(search.get(), &entry) != FALSE);
    return false;
}

/// Whether both paths lead to one folder, however they are spelled.
bool isSameFolder(const std::wstring& one, const std::wstring& other) {
    BY_HANDLE_FILE_INFORMATION facts[2]{};
    const std::wstring* paths[] = {&one, &other};
    for (int index = 0; index < 2; ++index) {
        const FileHandle folder{CreateFileW(paths[index]->c_str(), 0,
                                            FILE_SHARE_READ | FILE_SHARE_WRITE | FILE_SHARE_DELETE, nullptr,
                                            OPEN_EXISTING, FILE_FLAG_BACKUP_SEMANTICS, nullptr)};
        if (!folder || !GetFileInformationByHandle(folder.get(), &facts[index]))
            return false;
    }
    return facts[0].dwVolumeSerialNumber == facts[1].dwVolumeSerialNumber &&
           facts[0].nFileIndexHigh == facts[1].nFileIndexHigh &&
           facts[0].nFileIndexLow == facts[1].nFileIndexLow;
}

/// Turns the empty folder into a junction; otherwise it stays as it is.
bool redirect(const std::wstring& folder, const std::wstring& target) {
    const std::wstring substitute = L"\\??\\" + target;
    JunctionData data{};
    data.tag = IO_REPARSE_TAG_MOUNT_POINT;
    data.substituteLength = static_cast<WORD>(substitute.size() * sizeof(WCHAR));
    data.printOffset = static_cast<WORD>(data.substituteLength + sizeof(WCHAR));
    data.printLength = static_cast<WORD>(target.size() * sizeof(WCHAR));
    std::memcpy(data.texts, substitute.c_str(), data.substituteLength + sizeof(WCHAR));
    std::memcpy(data.texts + substitute.size() + 1, target.c_str(), data.printLength + sizeof(WCHAR));
    const auto size = static_cast<DWORD>(offsetof(JunctionData, texts) + data.printOffset + data.printLength +
                                         sizeof(WCHAR));
    data.dataLength = static_cast<WORD>(size - junctionHeaderSize);

    const FileHandle handle{CreateFileW(
        folder.c_str(), GENERIC_WRITE, FILE_SHARE_READ | FILE_SHARE_WRITE | FILE_SHARE_DELETE, nullptr,
        OPEN_EXISTING, FILE_FLAG_BACKUP_SEMANTICS | FILE_FLAG_OPEN_REPARSE_POINT, nullptr)};
    DWORD returned = 0;
    return handle && DeviceIoControl(handle.get(), FSCTL_SET_REPARSE_POINT, &data, size, nullptr, 0,
                                     &returned, nullptr) != FALSE;
}

} // namespace
} // namespace kovra::ext

using namespace kovra::ext;

/// Makes the folder `link` show the content of the existing folder `target`; both are full ANSI paths on
/// drives of this machine. An existing `link` is used when it shows nothing, and left alone otherwise.
/// Nothing comes back: when it can't be done, all is as it was.
extern "C" void WINAPI createJunction(LPCSTR target, LPCSTR link) {
    const std::wstring targetPath = localPath(target);
    const std::wstring linkPath = localPath(link);
    if (targetPath.empty() || linkPath.empty() || !isFolder(GetFileAttributesW(targetPath.c_str())))
        return;
    const DWORD linkAttributes = GetFileAttributesW(linkPath.c_str());
    if (linkAttributes != INVALID_FILE_ATTRIBUTES) {
        if (isFolder(linkAttributes) && !hasContent(linkPath, linkAttributes) &&
            !isSameFolder(targetPath, linkPath))
            redirect(linkPath, targetPath);
        return;
    }
    if (CreateDirectoryW(linkPath.c_str(), nullptr) != FALSE && !redirect(linkPath, targetPath))
        RemoveDirectoryW(linkPath.c_str());
}
