#include "platform/simulated/handles.h"

#include "platform/simulated/machine.h"

#include <algorithm>

namespace kovra::simulated {

HANDLE Handles::add(KernelObject object) {
    const HANDLE handle = reinterpret_cast<HANDLE>(lastHandle_ += 4);
    entries_.emplace(handle, Entry{std::move(object), currentThread()->process()});
    return handle;
}

KernelObject* Handles::findAny(HANDLE handle) {
    const auto entry = entries_.find(handle);
    const bool isOwn = entry != entries_.end() && entry->second.owner == currentThread()->process();
    return isOwn ? &entry->second.object : nullptr;
}

bool Handles::close(HANDLE handle) {
    const KernelObject* const object = findAny(handle);
    if (object == nullptr)
        return false;
    letGo(*object);
    entries_.erase(handle);
    return true;
}

void Handles::closeAll(const Process& process) {
    std::erase_if(entries_, [&](const auto& entry) {
        if (entry.second.owner != &process)
            return false;
        letGo(entry.second.object);
        return true;
    });
}

std::size_t Handles::countOf(const Process& process) const {
    return static_cast<std::size_t>(std::count_if(
        entries_.begin(), entries_.end(), [&](const auto& entry) { return entry.second.owner == &process; }));
}

bool Handles::isSignalled(HANDLE handle) const {
    const auto entry = entries_.find(handle);
    if (entry == entries_.end())
        return false;
    const EventObject* const event = std::get_if<EventObject>(&entry->second.object);
    const ThreadObject* const thread = std::get_if<ThreadObject>(&entry->second.object);
    return (event != nullptr && *event == EventObject::set) || (thread != nullptr && **thread);
}

void Handles::letGo(const KernelObject& object) {
    if (const OpenPipe* const pipe = std::get_if<OpenPipe>(&object))
        closeServerEnd(**pipe);
    if (const PipeWriteEnd* const end = std::get_if<PipeWriteEnd>(&object))
        --end->pipe->writers;
    if (const OpenedService* const opened = std::get_if<OpenedService>(&object))
        machine().services.closed(opened->service);
}

} // namespace kovra::simulated

using namespace kovra::simulated;

BOOL CloseHandle(HANDLE handle) {
    const Call<"CloseHandle"> call;
    Handles& handles = machine().handles;
    const bool hasOwnCall = handles.find<EventSource>(handle) != nullptr ||
                            handles.find<OpenedService>(handle) != nullptr ||
                            handles.find<OpenedKey>(handle) != nullptr;
    const bool closed = !hasOwnCall && handles.close(handle);
    // What an ended process held is closed already, and the world drops what its module values remember.
    const Process* process = currentThread()->process();
    call.expect(closed || process == nullptr || process->ended, "an unknown handle");
    return closed;
}
