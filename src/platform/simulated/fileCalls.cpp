#include "platform/simulated/machine.h"
#include "platform/simulated/paths.h"

using namespace kovra::simulated;

HANDLE CreateFileA(LPCSTR name, DWORD access, DWORD share, SECURITY_ATTRIBUTES* attributes, DWORD disposition,
                   DWORD flags, HANDLE templateFile) {
    const Call<"CreateFileA"> call;
    const bool isFolder = (flags & FILE_FLAG_BACKUP_SEMANTICS) != 0;
    call.expect(attributes == nullptr && templateFile == nullptr &&
                    (isFolder ? (flags & ~FILE_FLAG_OPEN_REPARSE_POINT) == FILE_FLAG_BACKUP_SEMANTICS &&
                                    access == FILE_READ_ATTRIBUTES && disposition == OPEN_EXISTING
                              : flags == FILE_ATTRIBUTE_NORMAL),
                "attributes, flags, template");
    if (call.fails())
        return INVALID_HANDLE_VALUE;
    Machine& here = machine();
    const std::string path = withoutDevice(name);
    if (path.starts_with(Mailslots::prefix)) {
        const auto slot = here.mailslots.find(path.substr(Mailslots::prefix.size()));
        call.expect(access == GENERIC_WRITE && disposition == OPEN_EXISTING, "a mailslot's access");
        const bool isShared = (share & FILE_SHARE_READ) != 0; // with its owner, who reads
        return slot != nullptr && isShared ? here.handles.add(OpenMailslot{slot}) : INVALID_HANDLE_VALUE;
    }
    // Another launcher process may have it open, too.
    call.expect((share & FILE_SHARE_READ) != 0, "sharing");
    const std::wstring widePath = here.codePage.toWide(path);
    const bool followLinks = (flags & FILE_FLAG_OPEN_REPARSE_POINT) == 0;
    std::optional<OpenFile> file = isFolder ? here.files.openFolder(widePath, followLinks, share)
                                            : here.files.open(widePath, access, share, disposition);
    return file ? here.handles.add(std::move(*file)) : INVALID_HANDLE_VALUE;
}

BOOL ReadFile(HANDLE handle, LPVOID buffer, DWORD size, DWORD* read, OVERLAPPED* overlapped) {
    const Call<"ReadFile"> call;
    call.expect(overlapped == nullptr, "overlapped");
    *read = 0;
    if (call.fails())
        return FALSE;
    KernelObject* const object = machine().handles.findAny(handle);
    if (const OpenPipe* const end = std::get_if<OpenPipe>(object))
        return readMessage(**end, static_cast<char*>(buffer), size, *read);
    if (const PipeReadEnd* const end = std::get_if<PipeReadEnd>(object)) {
        const std::shared_ptr<AnonymousPipe> pipe = end->pipe;
        return pipe->read(static_cast<char*>(buffer), size, *read);
    }
    OpenFile* const file = std::get_if<OpenFile>(object);
    return file != nullptr && file->read(buffer, size, *read);
}

BOOL WriteFile(HANDLE handle, const void* buffer, DWORD size, DWORD* written, OVERLAPPED* overlapped) {
    const Call<"WriteFile"> call;
    call.expect(overlapped == nullptr, "overlapped");
    *written = 0;
    if (call.fails())
        return FALSE;
    KernelObject* const object = machine().handles.findAny(handle);
    const std::string_view bytes{static_cast<const char*>(buffer), size};
    if (const OpenPipe* const end = std::get_if<OpenPipe>(object))
        return writeReply(**end, bytes, *written);
    if (const OpenMailslot* const end = std::get_if<OpenMailslot>(object))
        return machine().mailslots.deliver(end->lock(), bytes, *written);
    OpenFile* const file = std::get_if<OpenFile>(object);
    if (file == nullptr || !file->write(bytes))
        return FALSE;
    *written = size;
    if (sameName(file->path(), traceFile))
        machine().traced(bytes);
    return TRUE;
}

DWORD GetFileSize(HANDLE handle, DWORD* sizeHigh) {
    const Call<"GetFileSize"> call;
    call.expect(sizeHigh == nullptr, "more than 32 bits");
    const OpenFile* const file = call.fails() ? nullptr : machine().handles.find<OpenFile>(handle);
    return file == nullptr ? INVALID_FILE_SIZE : static_cast<DWORD>(file->content().size());
}

DWORD SetFilePointer(HANDLE handle, LONG distance, LONG* distanceHigh, DWORD method) {
    const Call<"SetFilePointer"> call;
    call.expect(distanceHigh != nullptr && method == FILE_BEGIN, "less than 64 bits, method");
    OpenFile* const file = call.fails() ? nullptr : machine().handles.find<OpenFile>(handle);
    if (file == nullptr)
        return INVALID_SET_FILE_POINTER;
    const auto high = static_cast<std::uint64_t>(static_cast<std::uint32_t>(*distanceHigh));
    file->seek(high << 32 | static_cast<std::uint32_t>(distance));
    return static_cast<DWORD>(distance);
}

BOOL RemoveDirectoryA(LPCSTR name) {
    const Call<"RemoveDirectoryA"> call;
    return !call.fails() && machine().files.removeFolder(machine().codePage.toWide(name));
}

BOOL DeleteFileA(LPCSTR name) {
    const Call<"DeleteFileA"> call;
    return !call.fails() && machine().files.deleteFile(machine().codePage.toWide(name));
}
