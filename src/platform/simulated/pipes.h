#pragma once

#include "platform/simulated/scheduler.h"

#include <cstdint>
#include <deque>
#include <functional>
#include <memory>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

namespace kovra::simulated {

class Machine;
class PipeClient;

/// The one instance of a named pipe, in message mode and without waiting on the server's side.
struct Pipe {
    enum class State : std::uint8_t { disconnected, listening, connected, clientGone };

    std::string name; ///< behind "\\.\pipe\"
    State state = State::listening;
    bool openToEveryone = false; ///< a security descriptor with an empty-pointer DACL
    DWORD outQuota = 0;
    std::deque<std::string> toServer{}, toClient{};
    PipeClient* client = nullptr;
    ClientIdentity clientIdentity{}; ///< of the client that is connected, or has last been
    bool hasRead = false;            ///< the server has read from the connection
};

/// A client's end of a pipe. None of its calls waits.
class PipeClient {
public:
    explicit PipeClient(Machine& machine) : machine_(machine) {}

    ~PipeClient() { close(); }

    PipeClient(const PipeClient&) = delete;
    PipeClient& operator=(const PipeClient&) = delete;

    /// Connects; no when there is no such pipe, when its instance does not listen, or when it isn't open to
    /// all.
    bool connect(std::string_view name = "kovraLauncherPipe");
    /// Writes one message; no when the service has dropped the connection.
    bool write(std::string_view message);
    /// The reply that waits, if one does.
    std::optional<std::string> read();
    void close();
    /// The server takes the connection away.
    void drop();

    [[nodiscard]] bool connected() const { return pipe_ != nullptr; }

    /// A client that waits in its read gets the reply the moment it is written.
    std::function<void(const std::string&)> onReply;
    ClientIdentity identity;
    /// The service has dropped the connection.
    std::function<void()> onDropped;

private:
    Machine& machine_;
    std::shared_ptr<Pipe> pipe_;
};

/// How a client behaves; all times are milliseconds behind the step before.
struct ClientManner {
    std::uint64_t writesAfter = 0;             ///< `Scheduler::never`: stays silent
    std::optional<std::uint64_t> readsAfter{}; ///< empty: waits in its read; `Scheduler::never`: never reads
    bool readsOn = false;                      ///< goes on reading behind the reply, waiting for the end
    ClientIdentity identity{};
    std::uint64_t closesAfter = 0;                ///< behind the reply; `Scheduler::never`: never
    std::optional<std::uint64_t> vanishesAfter{}; ///< behind the connection, whatever the state
    std::uint64_t patienceMs = 60'000;            ///< for how long it tries to connect
};

/// What became of one conversation.
struct Conversation {
    std::optional<std::uint64_t> connectedAt, answeredAt;
    std::string reply;
    int replies = 0;
    bool dropped = false; ///< the service dropped the connection
};

class Pipes {
public:
    explicit Pipes(Machine& machine) : machine_(machine) {}

    /// A program on the machine has one conversation: connects (trying again every 10 ms while the pipe is
    /// busy or missing), writes, reads, closes.
    std::shared_ptr<Conversation> say(const std::string& message, const ClientManner& manner = {});

    /// Calls it once, when an instance next begins to listen.
    void whenListening(std::function<void()> retry) { waiting_.push_back(std::move(retry)); }

    /// An instance listens.
    void tellWaiting();

    static constexpr std::string_view prefix = "\\\\.\\pipe\\";

    std::vector<std::shared_ptr<Pipe>> pipes;
    /// Whether the machine tells how much of a pipe's quota is in use; a compatible system may not.
    bool quotaIsTold = true;

private:
    Machine& machine_;
    // They keep the programs' ends open for as long as the machine lasts.
    std::vector<std::shared_ptr<void>> talks_;
    std::vector<std::function<void()>> waiting_;
};

/// Its security descriptor has an access list that admits everybody.
[[nodiscard]] bool letsEverybodyIn(const SECURITY_ATTRIBUTES& attributes);

/// The server's side, for ReadFile, WriteFile and CloseHandle.
BOOL readMessage(Pipe& pipe, char* buffer, DWORD size, DWORD& read);
BOOL writeReply(Pipe& pipe, std::string_view bytes, DWORD& written);
void closeServerEnd(Pipe& pipe);

} // namespace kovra::simulated
