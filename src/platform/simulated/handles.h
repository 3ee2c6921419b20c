#pragma once

#include "platform/simulated/files.h"
#include "platform/simulated/scheduler.h"

#include <deque>
#include <map>
#include <memory>
#include <optional>
#include <string>
#include <utility>
#include <variant>
#include <vector>

namespace kovra::simulated {

struct Pipe;
struct Mailslot;
struct Service;

/// What an anonymous pipe's two ends share.
struct AnonymousPipe {
    std::deque<char> bytes;
    int writers = 1; ///< holders of the write end

    /// Waits for bytes; no when nobody is left to write any.
    BOOL read(char* buffer, DWORD size, DWORD& read);
};

// The kinds of handles, by what stands behind them.

enum class EventObject : std::uint8_t { reset, set };
enum class OpenedProcess : DWORD {}; // the process's id
enum class EventSource : std::uint8_t { kovra };
using ThreadObject = std::shared_ptr<bool>; // whether the thread has ended
using OpenPipe = std::shared_ptr<Pipe>;     // the server's end
using OpenMailslot = std::weak_ptr<Mailslot>;

struct PipeReadEnd {
    std::shared_ptr<AnonymousPipe> pipe;
};

struct PipeWriteEnd {
    std::shared_ptr<AnonymousPipe> pipe;
    bool inheritable;
};

struct Snapshot {
    std::vector<std::pair<DWORD, std::string>> entries; // id and name
    std::size_t next = 0;
};

struct Token {
    DWORD access;
    std::optional<ClientIdentity> client{}; // empty: a process's own token
};

struct OpenedService {
    Service* service; // null: the service manager
    DWORD access;
};

struct OpenedKey {
    std::wstring path;
    int deletions; // of keys at that path, ahead of this one
    REGSAM access;
};

using KernelObject =
    std::variant<EventObject, ThreadObject, Snapshot, OpenedProcess, Token, OpenPipe, OpenMailslot, OpenFile,
                 PipeReadEnd, PipeWriteEnd, EventSource, OpenedService, OpenedKey>;

/// The open handles of all launcher processes. No number is given twice.
class Handles {
public:
    /// Opens a handle for the calling process.
    HANDLE add(KernelObject object);

    /// The object behind a handle of the calling process; null when there is none.
    [[nodiscard]] KernelObject* findAny(HANDLE handle);

    /// The same, null also when it is of another kind.
    template <typename Object>
    [[nodiscard]] Object* find(HANDLE handle) {
        return std::get_if<Object>(findAny(handle));
    }

    /// No when it is no handle of the calling process.
    bool close(HANDLE handle);

    /// No when it is none of that kind.
    template <typename Object>
    bool close(HANDLE handle) {
        return find<Object>(handle) != nullptr && close(handle);
    }

    void closeAll(const Process& process);

    /// How many handles are open.
    [[nodiscard]] std::size_t count() const { return entries_.size(); }

    [[nodiscard]] std::size_t countOf(const Process& process) const;

    /// Whether a wait on the handle, of whatever process, ends.
    [[nodiscard]] bool isSignalled(HANDLE handle) const;

private:
    struct Entry {
        KernelObject object;
        const Process* owner;
    };

    static void letGo(const KernelObject& object);

    std::map<HANDLE, Entry> entries_;
    std::uintptr_t lastHandle_ = 0;
};

} // namespace kovra::simulated
