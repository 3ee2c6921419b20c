#include "platform/simulated/scheduler.h"

#include "platform/simulated/call.h"
#include "platform/simulated/processes.h"

#include <algorithm>
#include <exception>

namespace kovra::simulated {

namespace {

thread_local Thread* current = nullptr;

} // namespace

Thread* currentThread() {
    return current;
}

Scheduler::Scheduler() {
    world_ = threads_.emplace_back(std::make_unique<Thread>()).get();
    current = world_;
}

Scheduler::~Scheduler() {
    for (const auto& thread : threads_) {
        if (thread->osThread_.joinable())
            thread->osThread_.join();
    }
    current = nullptr;
}

void Scheduler::at(std::uint64_t time, std::function<void()> event) {
    events_.emplace(std::max(time, now_), std::move(event));
}

Thread& Scheduler::start(Process& process, std::function<void()> body) {
    const auto world = threads_.end() - 1;
    Thread& thread = **threads_.insert(world, std::make_unique<Thread>());
    thread.process_ = &process;
    releaseTo(&thread);
    thread.osThread_ = std::thread([this, &thread, body = std::move(body)] {
        bool runs = false;
        {
            const MachineCode machineCode;
            acquireFrom(&thread);
            current = &thread;
            thread.turn_.acquire();
            runs = !thread.process_->ended;
        }
        try {
            if (runs)
                body();
        } catch (const ProcessEnded&) {
            // The thread ends with its process.
        }
        const MachineCode machineCode;
        releaseTo(&thread);
        thread.ended_ = true;
        nextThread().turn_.release();
    });
    return thread;
}

void Scheduler::forget(const Process& process) {
    const auto belongs = [&](const std::unique_ptr<Thread>& thread) { return thread->process_ == &process; };
    for (const auto& thread : threads_) {
        if (belongs(thread)) {
            thread->osThread_.join();
            acquireFrom(thread.get());
        }
    }
    std::erase_if(threads_, belongs);
}

bool Scheduler::block(std::uint64_t due, bool (*condition)(void*), void* context) {
    Thread& self = *current;
    self.condition_ = condition;
    self.conditionContext_ = context;
    self.due_ = std::max(due, now_);
    passTurn(self);
    self.condition_ = nullptr;
    if (self.process_ != nullptr && self.process_->ended && std::uncaught_exceptions() == 0)
        throw ProcessEnded{};
    return self.conditionHeld_;
}

void Scheduler::passTurn(Thread& from) {
    Thread& next = nextThread();
    if (&next == &from)
        return;
    next.turn_.release();
    from.turn_.acquire();
}

Thread& Scheduler::nextThread() {
    for (;;) {
        for (const auto& thread : threads_) {
            if (thread->ended_)
                continue;
            if (thread->condition_ == nullptr || (thread->process_ != nullptr && thread->process_->ended)) {
                thread->conditionHeld_ = false;
                return *thread;
            }
            thread->conditionHeld_ = thread->condition_(thread->conditionContext_);
            if (thread->conditionHeld_ || thread->due_ <= now_)
                return *thread;
        }
        advance();
    }
}

void Scheduler::advance() {
    std::uint64_t next = events_.empty() ? never : events_.begin()->first;
    for (const auto& thread : threads_) {
        if (!thread->ended_)
            next = std::min(next, thread->due_);
    }
    now_ = next;
    // An event may plan another one for the same time; both run before any thread does.
    while (!events_.empty() && events_.begin()->first <= now_) {
        const auto event = std::move(events_.begin()->second);
        events_.erase(events_.begin());
        event();
    }
}

} // namespace kovra::simulated
