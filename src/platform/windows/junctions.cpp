#include "platform/junctions.h"

#include "platform/win32.h"
#include "platform/windows/searchHandle.h"

#include <cwchar>

#include <winioctl.h>

namespace kovra {
namespace {

constexpr std::size_t headerSize = 8;        // tag, length of what follows, reserved
constexpr DWORD leadsElsewhere = 0x20000000; // in the tags of junctions and symbolic links

FileHandle openJunction(const std::wstring& path, DWORD access) {
    return FileHandle{
        CreateFileW(path.c_str(), access, FILE_SHARE_READ | FILE_SHARE_WRITE | FILE_SHARE_DELETE, nullptr,
                    OPEN_EXISTING, FILE_FLAG_BACKUP_SEMANTICS | FILE_FLAG_OPEN_REPARSE_POINT, nullptr)};
}

} // namespace

std::string junctionRecord(const std::wstring& path) {
    const FileHandle junction = openJunction(path, FILE_READ_ATTRIBUTES);
    char record[MAXIMUM_REPARSE_DATA_BUFFER_SIZE];
    DWORD size = 0;
    if (!junction || !DeviceIoControl(junction.get(), FSCTL_GET_REPARSE_POINT, nullptr, 0, record,
                                      sizeof record, &size, nullptr))
        return {};
    return {record, size};
}

bool setJunctionRecord(const std::wstring& path, const std::string& record) {
    std::string data = record;
    if (record.empty()) { // the tag alone, to be taken off
        data = junctionRecord(path).substr(0, headerSize);
        if (data.size() < headerSize)
            return false;
        data.replace(sizeof(DWORD), sizeof(WORD), sizeof(WORD), '\0');
    }
    const FileHandle folder = openJunction(path, GENERIC_WRITE);
    DWORD returned = 0;
    return folder &&
           DeviceIoControl(folder.get(),
                           record.empty() ? FSCTL_DELETE_REPARSE_POINT : FSCTL_SET_REPARSE_POINT, data.data(),
                           static_cast<DWORD>(data.size()), nullptr, 0, &returned, nullptr) != FALSE;
}

bool removeJunction(const std::wstring& path) {
    return RemoveDirectoryW(path.c_str()) != FALSE ||
           (SetFileAttributesW(path.c_str(), FILE_ATTRIBUTE_NORMAL) != FALSE &&
            RemoveDirectoryW(path.c_str()) != FALSE);
}

bool removeJunctionsBelow(const std::wstring& folder) {
    WIN32_FIND_DATAW entry{};
    const SearchHandle search{FindFirstFileW((folder + L"\\*").c_str(), &entry)};
    if (!search) // nobody gets into it by its name then
        return true;
    bool allGone = true;
    do {
        const std::wstring name = entry.cFileName;
        if ((entry.dwFileAttributes & FILE_ATTRIBUTE_DIRECTORY) == 0 || name == L"." || name == L"..")
            continue;
        const std::wstring path = folder + L'\\' + name;
        const bool isJunction = (entry.dwFileAttributes & FILE_ATTRIBUTE_REPARSE_POINT) != 0 &&
                                (entry.dwReserved0 & leadsElsewhere) != 0;
        allGone = (isJunction ? removeJunction(path) : removeJunctionsBelow(path)) && allGone;
    } while (FindNextFileW(search.get(), &entry) != FALSE);
    return allGone;
}

} // namespace kovra
