#pragma once

#include "platform/simulated/account.h"
#include "platform/simulated/win32.h"

#include <condition_variable>
#include <cstdint>
#include <functional>
#include <map>
#include <memory>
#include <mutex>
#include <optional>
#include <random>
#include <thread>
#include <vector>

namespace kovra::simulated {

class Process;
class Scheduler;

/// Thrown through a launcher thread whose process has ended; nothing in the launcher catches it.
struct ProcessEnded {};

/// The turn to run, which one thread hands to another. A std::binary_semaphore gives the core away several
/// times before it waits, which on one core costs more than the waiting.
class Turn {
public:
    void give() {
        {
            const std::lock_guard lock{mutex_};
            given_ = true;
        }
        condition_.notify_one();
    }

    void await() {
        std::unique_lock lock{mutex_};
        condition_.wait(lock, [this] { return given_; });
        given_ = false;
    }

private:
    std::mutex mutex_;
    std::condition_variable condition_;
    bool given_ = false;
};

/// One thread of a simulated process, or the world: the thread that owns the machine and plays it.
class Thread {
public:
    [[nodiscard]] Process* process() const { return process_; }

    DWORD lastError = 0;
    std::optional<ClientIdentity> impersonated; ///< in whose name it acts; empty: in the process's
    std::uint64_t polledAt = UINT64_MAX;        ///< when it last looked for messages and found none

private:
    friend class Scheduler;

    Process* process_ = nullptr;
    std::thread osThread_;
    Turn turn_;
    bool (*condition_)(void*) = nullptr; // null: ready to run
    void* conditionContext_ = nullptr;
    std::uint64_t due_ = 0;
    bool conditionHeld_ = false;
    bool ended_ = false;
};

/// The machine's clock and its threads. One thread runs at a time; it runs until it blocks, or, where a seed
/// draws the order, until its turn is over. When all are blocked the clock moves straight to the next thing
/// due: a planned event, or the end of a wait. Every run of the same machine is thus the same run.
class Scheduler {
public:
    static constexpr std::uint64_t never = UINT64_MAX;

    Scheduler();
    ~Scheduler();

    /// Milliseconds since the machine started, which never wrap.
    [[nodiscard]] std::uint64_t now() const { return now_; }

    /// Plans an event; events of one time run in the order in which they were planned, ahead of the threads
    /// that are due then. A time that has passed means now. The event runs inside the machine and must not
    /// block.
    void at(std::uint64_t time, std::function<void()> event);

    void after(std::uint64_t milliseconds, std::function<void()> event) {
        at(now_ + milliseconds, std::move(event));
    }

    /// Blocks the calling thread until the condition holds (yes) or the clock has reached `due` (no).
    template <typename Condition>
    bool blockUntil(std::uint64_t due, Condition condition) {
        return block(
            due, [](void* context) { return static_cast<bool>((*static_cast<Condition*>(context))()); },
            &condition);
    }

    /// The calling thread is busy for so long; others run meanwhile. For the world it takes no time.
    void work(std::uint64_t milliseconds);

    /// From now on the launcher's threads are switched at the platform's calls too, in an order that the seed
    /// draws.
    void drawOrder(std::uint32_t seed);

    /// The calling thread makes a call of the platform: a point at which its turn may be over.
    void atCall();

    /// Starts a thread of the process; it runs when the calling thread blocks.
    Thread& start(Process& process, std::function<void()> body);

    /// Drops the threads of an ended process, all of which must have ended.
    void forget(const Process& process);

private:
    bool block(std::uint64_t due, bool (*condition)(void*), void* context);
    void passTurn(Thread& from);
    Thread& nextThread();
    [[nodiscard]] bool isReady(Thread& thread) const;
    std::uint32_t draw(std::uint32_t count);
    void advance();

    std::uint64_t now_ = 0;
    std::multimap<std::uint64_t, std::function<void()>> events_;
    std::vector<std::unique_ptr<Thread>> threads_; // the world last
    Thread* world_ = nullptr;
    std::optional<std::mt19937> order_;
    std::uint32_t callsLeft_ = 0; // in the running thread's turn
};

/// The calling thread; null outside of any machine.
[[nodiscard]] Thread* currentThread();

} // namespace kovra::simulated
