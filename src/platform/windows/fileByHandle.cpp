#include "platform/fileByHandle.h"

namespace kovra {
namespace {

// Somebody has a lock on the file that he is asked to give up. It is open, but a write would wait for him.
constexpr NTSTATUS oplockBreakInProgress = 0x108;

} // namespace

FileHandle openForAppending(const FileHandle& folder, const wchar_t* name) {
    const auto length = static_cast<USHORT>(std::char_traits<wchar_t>::length(name) * sizeof(wchar_t));
    UNICODE_STRING text{length, length, const_cast<wchar_t*>(name)};
    OBJECT_ATTRIBUTES attributes{};
    InitializeObjectAttributes(&attributes, &text, OBJ_CASE_INSENSITIVE, folder.get(), nullptr);
    IO_STATUS_BLOCK status{};
    FileHandle file;
    const NTSTATUS outcome = NtCreateFile(
        file.out(), FILE_APPEND_DATA | FILE_READ_ATTRIBUTES | SYNCHRONIZE, &attributes, &status, nullptr,
        FILE_ATTRIBUTE_NORMAL, FILE_SHARE_READ | FILE_SHARE_WRITE | FILE_SHARE_DELETE, FILE_OPEN_IF,
        FILE_NON_DIRECTORY_FILE | FILE_SYNCHRONOUS_IO_NONALERT | FILE_OPEN_REPARSE_POINT |
            FILE_COMPLETE_IF_OPLOCKED,
        nullptr, 0);
    if (!NT_SUCCESS(outcome))
        *file.out() = INVALID_HANDLE_VALUE;
    else if (outcome == oplockBreakInProgress)
        file.close();
    return file;
}

// GetFileInformationByHandle would ask for the volume's facts as well.
bool isLinked(const FileHandle& file) {
    IO_STATUS_BLOCK status{};
    FILE_BASIC_INFORMATION basic{}; // the attributes; on FAT the file system doesn't tell the tag
    FILE_STANDARD_INFORMATION standard{};
    return !NT_SUCCESS(
               NtQueryInformationFile(file.get(), &status, &basic, sizeof basic, FileBasicInformation)) ||
           (basic.FileAttributes & FILE_ATTRIBUTE_REPARSE_POINT) != 0 ||
           !NT_SUCCESS(NtQueryInformationFile(file.get(), &status, &standard, sizeof standard,
                                              FileStandardInformation)) ||
           (standard.Directory == FALSE && standard.NumberOfLinks > 1);
}

// GetFinalPathNameByHandleA is younger, and asks the manager of the drives with each call.
std::wstring pathOnVolume(const FileHandle& file) {
    struct {
        ULONG length; // in bytes
        WCHAR name[MAX_PATH];
    } path{};

    IO_STATUS_BLOCK status{};
    if (!NT_SUCCESS(NtQueryInformationFile(file.get(), &status, &path, sizeof path, FileNameInformation)))
        return {};
    return {path.name, path.length / sizeof(WCHAR)};
}

} // namespace kovra
