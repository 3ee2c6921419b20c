#include "platform/simulated/handles.h"

#include "platform/simulated/machine.h"

#include <algorithm>

namespace kovra::simulated {

HANDLE Handles::add(KernelObject object) {
    std::size_t index = entries_.size();
    if (free_.empty()) {
        entries_.emplace_back();
    } else {
        index = free_.back();
        free_.pop_back();
    }
    entries_[index] = {std::move(object), currentThread()->process()};
    ++open_;
    return reinterpret_cast<HANDLE>((index + 1) * 4);
}

Handles::Entry* Handles::entryOf(HANDLE handle) {
    const std::size_t number = reinterpret_cast<std::uintptr_t>(handle);
    const std::size_t index = number / 4 - 1;
    if (number % 4 == 0 && index < entries_.size()) {
        Entry& entry = entries_[index];
        if (entry.object.index() != 0 && entry.owner == currentThread()->process())
            return &entry;
    }
    setLastErrorInvalid();
    return nullptr;
}

void Handles::setLastErrorInvalid() {
    setLastError(ERROR_INVALID_HANDLE);
}

KernelObject* Handles::findAny(HANDLE handle) {
    Entry* entry = entryOf(handle);
    return entry == nullptr ? nullptr : &entry->object;
}

bool Handles::close(HANDLE handle) {
    Entry* entry = entryOf(handle);
    if (entry == nullptr)
        return false;
    drop(*entry);
    free_.push_back(reinterpret_cast<std::uintptr_t>(handle) / 4 - 1);
    return true;
}

std::size_t Handles::countOf(const Process& process) const {
    return static_cast<std::size_t>(
        std::count_if(entries_.begin(), entries_.end(), [&process](const Entry& entry) {
            return entry.object.index() != 0 && entry.owner == &process;
        }));
}

void Handles::closeAll(const Process& process) {
    for (std::size_t index = 0; index < entries_.size(); ++index) {
        Entry& entry = entries_[index];
        if (entry.object.index() != 0 && entry.owner == &process) {
            drop(entry);
            free_.push_back(index);
        }
    }
}

void Handles::drop(Entry& entry) {
    if (const OpenPipe* pipe = std::get_if<OpenPipe>(&entry.object))
        closeServerEnd(*pipe->pipe);
    if (const PipeWriteEnd* end = std::get_if<PipeWriteEnd>(&entry.object))
        --end->pipe->writers;
    entry = {};
    --open_;
}

namespace {

/// Whether a wait on the object ends; an auto-reset event is taken by that.
bool takeSignal(KernelObject& object) {
    if (Event* event = std::get_if<Event>(&object)) {
        const bool signalled = event->signalled;
        if (signalled && !event->manualReset)
            event->signalled = false;
        return signalled;
    }
    if (const ThreadObject* thread = std::get_if<ThreadObject>(&object))
        return *thread->ended;
    return false;
}

DWORD wait(DWORD count, const HANDLE* handles, DWORD milliseconds) {
    Scheduler& scheduler = machine().scheduler;
    std::vector<KernelObject*> objects;
    for (DWORD index = 0; index < count; ++index) {
        KernelObject* object = machine().handles.findAny(handles[index]);
        if (object == nullptr) {
            machine().misuses.emplace_back("wait on an unknown handle");
            return WAIT_FAILED;
        }
        objects.push_back(object);
    }
    DWORD signalled = WAIT_TIMEOUT;
    const std::uint64_t due = milliseconds == INFINITE ? Scheduler::never : scheduler.now() + milliseconds;
    scheduler.blockUntil(due, [&] {
        for (DWORD index = 0; index < count; ++index) {
            if (takeSignal(*objects[index])) {
                signalled = WAIT_OBJECT_0 + index;
                return true;
            }
        }
        return false;
    });
    return signalled;
}

} // namespace

} // namespace kovra::simulated

using namespace kovra::simulated;

HANDLE CreateEventA(SECURITY_ATTRIBUTES* attributes, BOOL manualReset, BOOL initialState, LPCSTR name) {
    const Call<"CreateEventA"> call;
    call.expect(attributes == nullptr && name == nullptr, "attributes, name");
    return call.fails() ? nullptr : machine().handles.add(Event{manualReset != 0, initialState != 0});
}

BOOL SetEvent(HANDLE handle) {
    releaseTo(handle);
    const Call<"SetEvent"> call;
    if (call.fails())
        return FALSE;
    Event* event = machine().handles.find<Event>(handle);
    if (event == nullptr) {
        machine().misuses.emplace_back("SetEvent on an unknown handle");
        return FALSE;
    }
    event->signalled = true;
    return TRUE;
}

HANDLE CreateThread(SECURITY_ATTRIBUTES* attributes, SIZE_T stackSize, LPTHREAD_START_ROUTINE start,
                    LPVOID parameter, DWORD flags, LPDWORD threadId) {
    const Call<"CreateThread"> call;
    call.expect(attributes == nullptr && stackSize == 0 && flags == 0, "attributes, stack size, flags");
    if (call.fails())
        return nullptr;
    ThreadObject object;
    HANDLE handle = machine().handles.add(object);
    machine().scheduler.start(*currentThread()->process(), [start, parameter, handle, ended = object.ended] {
        start(parameter);
        releaseTo(handle);
        const MachineCode machineCode;
        *ended = true;
    });
    if (threadId != nullptr)
        *threadId = 1;
    return handle;
}

DWORD WaitForSingleObject(HANDLE handle, DWORD milliseconds) {
    DWORD result = WAIT_FAILED;
    {
        const Call<"WaitForSingleObject"> call;
        if (call.fails())
            return WAIT_FAILED;
        result = wait(1, &handle, milliseconds);
    }
    if (result == WAIT_OBJECT_0)
        acquireFrom(handle);
    return result;
}

DWORD WaitForMultipleObjects(DWORD count, const HANDLE* handles, BOOL waitAll, DWORD milliseconds) {
    DWORD result = WAIT_FAILED;
    {
        const Call<"WaitForMultipleObjects"> call;
        call.expect(count > 0 && waitAll == FALSE, "count, wait for all");
        if (call.fails())
            return WAIT_FAILED;
        result = wait(count, handles, milliseconds);
    }
    if (result < WAIT_OBJECT_0 + count)
        acquireFrom(handles[result - WAIT_OBJECT_0]);
    return result;
}

BOOL CloseHandle(HANDLE handle) {
    const Call<"CloseHandle"> call;
    Handles& handles = machine().handles;
    const KernelObject* object = handles.findAny(handle);
    const bool closed =
        object != nullptr && !std::holds_alternative<EventSource>(*object) && handles.close(handle);
    // What an ended process held is closed already, and the world drops what its module values remember.
    const Process* process = currentThread()->process();
    if (!closed && process != nullptr && !process->ended)
        machine().misuses.emplace_back("CloseHandle on an unknown handle");
    return closed;
}

namespace {

/// What a path leads to. One below "\\.\" is a device's: there "/" is a "\", empty names and "." count for
/// nothing, and ".." takes the name before it back, a device's own as well; "C:" and "UNC" lead to files.
std::string resolveDevice(std::string_view path) {
    constexpr std::string_view devices = "\\\\.\\";
    if (!path.starts_with(devices))
        return std::string{path};
    std::vector<std::string_view> names;
    for (std::string_view rest = path.substr(devices.size()); !rest.empty();) {
        const std::size_t end = std::min(rest.find_first_of("\\/"), rest.size());
        const std::string_view name = rest.substr(0, end);
        if (name == ".." && !names.empty())
            names.pop_back();
        else if (!name.empty() && name != "." && name != "..")
            names.push_back(name);
        rest.remove_prefix(std::min(end + 1, rest.size()));
    }
    std::string result;
    for (const std::string_view name : names)
        result.append(result.empty() ? "" : "\\").append(name);
    if (result.size() > 1 && result[1] == ':')
        return result;
    return result.starts_with("UNC\\") ? "\\\\" + result.substr(4) : std::string{devices} + result;
}

} // namespace

HANDLE CreateFileA(LPCSTR name, DWORD access, DWORD share, SECURITY_ATTRIBUTES* attributes, DWORD disposition,
                   DWORD flags, HANDLE templateFile) {
    constexpr DWORD harmlessFlags =
        FILE_ATTRIBUTE_NORMAL | FILE_FLAG_OPEN_REPARSE_POINT | FILE_FLAG_BACKUP_SEMANTICS;
    const Call<"CreateFileA"> call;
    call.expect(attributes == nullptr && (flags & ~harmlessFlags) == 0 && templateFile == nullptr,
                "attributes, flags, template");
    if (call.fails())
        return INVALID_HANDLE_VALUE;
    Machine& here = machine();
    const std::string resolved = resolveDevice(name);
    const std::string_view path = resolved;
    if (path.starts_with(Mailslots::prefix)) {
        const auto slot = here.mailslots.find(path.substr(Mailslots::prefix.size()));
        call.expect(access == GENERIC_WRITE && disposition == OPEN_EXISTING, "a mailslot's access");
        if (slot == nullptr || (share & FILE_SHARE_READ) == 0) { // its owner reads
            setLastError(slot == nullptr ? ERROR_FILE_NOT_FOUND : ERROR_SHARING_VIOLATION);
            return INVALID_HANDLE_VALUE;
        }
        return here.handles.add(OpenMailslot{slot});
    }
    if ((flags & FILE_FLAG_BACKUP_SEMANTICS) != 0) {
        const bool followLinks = (flags & FILE_FLAG_OPEN_REPARSE_POINT) == 0;
        if (auto folder = here.files.openFolder(here.codePage.toWide(path), followLinks, share))
            return here.handles.add(std::move(*folder));
    }
    DWORD error = ERROR_SUCCESS;
    std::optional<OpenFile> file =
        here.files.open(here.codePage.toWide(path), access, share, disposition, error);
    if (!file) {
        setLastError(error);
        return INVALID_HANDLE_VALUE;
    }
    return here.handles.add(std::move(*file));
}

namespace {

/// Reads from an anonymous pipe: waits for bytes, and fails when nobody is left to write any.
BOOL readPipe(AnonymousPipe& pipe, char* buffer, DWORD size, DWORD* read) {
    machine().scheduler.blockUntil(Scheduler::never,
                                   [&] { return !pipe.bytes.empty() || pipe.writers == 0; });
    if (pipe.bytes.empty()) {
        setLastError(ERROR_BROKEN_PIPE);
        return FALSE;
    }
    *read = 0;
    while (*read < size && !pipe.bytes.empty()) {
        buffer[(*read)++] = pipe.bytes.front();
        pipe.bytes.pop_front();
    }
    return TRUE;
}

} // namespace

BOOL ReadFile(HANDLE handle, LPVOID buffer, DWORD size, DWORD* read, OVERLAPPED* overlapped) {
    const Call<"ReadFile"> call;
    call.expect(overlapped == nullptr, "overlapped");
    *read = 0;
    if (call.fails())
        return FALSE;
    KernelObject* object = machine().handles.findAny(handle);
    if (object == nullptr)
        return FALSE;
    if (const OpenPipe* end = std::get_if<OpenPipe>(object))
        return readMessage(*end->pipe, static_cast<char*>(buffer), size, *read);
    if (const PipeReadEnd* end = std::get_if<PipeReadEnd>(object)) {
        const std::shared_ptr<AnonymousPipe> pipe = end->pipe;
        return readPipe(*pipe, static_cast<char*>(buffer), size, read);
    }
    OpenFile* file = std::get_if<OpenFile>(object);
    if (file != nullptr && file->read(buffer, size, *read))
        return TRUE;
    setLastError(ERROR_ACCESS_DENIED);
    return FALSE;
}

BOOL WriteFile(HANDLE handle, const void* buffer, DWORD size, DWORD* written, OVERLAPPED* overlapped) {
    const Call<"WriteFile"> call;
    call.expect(overlapped == nullptr, "overlapped");
    *written = 0;
    if (call.fails())
        return FALSE;
    KernelObject* object = machine().handles.findAny(handle);
    if (object == nullptr)
        return FALSE;
    const std::string_view bytes{static_cast<const char*>(buffer), size};
    if (const OpenPipe* end = std::get_if<OpenPipe>(object))
        return writeReply(*end->pipe, bytes, *written);
    if (const OpenMailslot* end = std::get_if<OpenMailslot>(object))
        return machine().mailslots.deliver(end->slot.lock(), bytes, *written);
    OpenFile* file = std::get_if<OpenFile>(object);
    if (file != nullptr && file->write(buffer, size, *written)) {
        if (sameName(file->path(), traceFile))
            machine().traced(bytes);
        return TRUE;
    }
    setLastError(ERROR_ACCESS_DENIED);
    return FALSE;
}

DWORD GetFileSize(HANDLE handle, DWORD* sizeHigh) {
    const Call<"GetFileSize"> call;
    const OpenFile* file = call.fails() ? nullptr : machine().handles.find<OpenFile>(handle);
    if (file == nullptr)
        return INVALID_FILE_SIZE;
    const std::uint64_t size = file->size();
    if (sizeHigh != nullptr)
        *sizeHigh = static_cast<DWORD>(size >> 32);
    return static_cast<DWORD>(size);
}

DWORD SetFilePointer(HANDLE handle, LONG distance, LONG* distanceHigh, DWORD method) {
    const Call<"SetFilePointer"> call;
    call.expect(method == FILE_BEGIN, "method");
    OpenFile* file = call.fails() ? nullptr : machine().handles.find<OpenFile>(handle);
    if (file == nullptr)
        return INVALID_SET_FILE_POINTER;
    const std::uint64_t high = static_cast<std::uint32_t>(distanceHigh == nullptr ? 0 : *distanceHigh);
    file->seek(high << 32 | static_cast<std::uint32_t>(distance));
    return static_cast<DWORD>(distance);
}

BOOL CreatePipe(HANDLE* readEnd, HANDLE* writeEnd, SECURITY_ATTRIBUTES* attributes, DWORD size) {
    const Call<"CreatePipe"> call;
    call.expect(size == 0 && attributes != nullptr && attributes->nLength == sizeof *attributes &&
                    attributes->lpSecurityDescriptor == nullptr,
                "attributes, size");
    if (call.fails())
        return FALSE;
    const auto pipe = std::make_shared<AnonymousPipe>();
    *readEnd = machine().handles.add(PipeReadEnd{pipe});
    *writeEnd =
        machine().handles.add(PipeWriteEnd{pipe, attributes != nullptr && attributes->bInheritHandle != 0});
    return TRUE;
}

HANDLE RegisterEventSourceA(LPCSTR server, LPCSTR source) {
    const Call<"RegisterEventSourceA"> call;
    call.expect(server == nullptr && std::string_view{source} == "Kovra", "server, source");
    return call.fails() ? nullptr : machine().handles.add(EventSource{source});
}

BOOL ReportEventA(HANDLE log, WORD type, WORD category, DWORD eventId, PSID userSid, WORD stringCount,
                  DWORD dataSize, LPCSTR* strings, LPVOID data) {
    const Call<"ReportEventA"> call;
    call.expect(type == EVENTLOG_INFORMATION_TYPE && category == 0 && eventId == 0 && userSid == nullptr &&
                    stringCount == 1 && dataSize == 0 && data == nullptr,
                "an entry of another kind");
    if (call.fails() || machine().handles.find<EventSource>(log) == nullptr)
        return FALSE;
    machine().eventLog.emplace_back(strings[0]);
    machine().tell(Side::launcher, "event log: " + std::string{strings[0]});
    return TRUE;
}

BOOL DeregisterEventSource(HANDLE log) {
    const Call<"DeregisterEventSource"> call;
    Handles& handles = machine().handles;
    const bool closed = handles.find<EventSource>(log) != nullptr && handles.close(log);
    call.expect(closed, "an unknown handle");
    return closed;
}
