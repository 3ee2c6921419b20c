#pragma once

#include "platform/simulated/files.h"
#include "platform/simulated/scheduler.h"

#include <deque>
#include <memory>
#include <optional>
#include <string>
#include <utility>
#include <variant>
#include <vector>

namespace kovra::simulated {

struct Pipe;
struct Mailslot;

struct Event {
    bool manualReset = false;
    bool signalled = false;
};

/// A thread as CreateThread's caller holds it.
struct ThreadObject {
    std::shared_ptr<bool> ended = std::make_shared<bool>(false);
};

struct Snapshot {
    std::vector<std::pair<DWORD, std::string>> entries; // id and name
    std::size_t next = 0;
};

struct OpenedProcess {
    DWORD processId;
    DWORD access;
};

struct Token {
    DWORD access;
    std::optional<ClientIdentity> client{}; ///< empty: a process's own token
};

struct OpenPipe {
    std::shared_ptr<Pipe> pipe;
};

struct OpenMailslot {
    std::weak_ptr<Mailslot> slot;
};

/// What an anonymous pipe's two ends share.
struct AnonymousPipe {
    std::deque<char> bytes;
    int writers = 1; ///< holders of the write end
};

struct PipeReadEnd {
    std::shared_ptr<AnonymousPipe> pipe;
};

struct PipeWriteEnd {
    std::shared_ptr<AnonymousPipe> pipe;
    bool inheritable;
};

struct EventSource {
    std::string name;
};

using KernelObject =
    std::variant<std::monostate, Event, ThreadObject, Snapshot, OpenedProcess, Token, OpenPipe, OpenMailslot,
                 OpenFile, OpenFolder, PipeReadEnd, PipeWriteEnd, EventSource>;

/// The open handles of all launcher processes.
class Handles {
public:
    /// Opens a handle for the calling process.
    HANDLE add(KernelObject object);

    /// The object behind a handle of the calling process; null, with the last error set, when the handle is
    /// none of that kind.
    template <typename Object>
    [[nodiscard]] Object* find(HANDLE handle) {
        Entry* entry = entryOf(handle);
        return entry == nullptr ? nullptr : asKind(std::get_if<Object>(&entry->object));
    }

    [[nodiscard]] KernelObject* findAny(HANDLE handle);
    bool close(HANDLE handle);
    void closeAll(const Process& process);

    /// How many handles are open.
    [[nodiscard]] std::size_t count() const { return open_; }

    [[nodiscard]] std::size_t countOf(const Process& process) const;

private:
    struct Entry {
        KernelObject object;
        const Process* owner = nullptr;
    };

    Entry* entryOf(HANDLE handle);
    void drop(Entry& entry);

    template <typename Object>
    static Object* asKind(Object* object) {
        if (object == nullptr)
            setLastErrorInvalid();
        return object;
    }

    static void setLastErrorInvalid();

    std::deque<Entry> entries_; // handle 4 * (index + 1)
    std::vector<std::size_t> free_;
    std::size_t open_ = 0;
};

} // namespace kovra::simulated
