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
            const InsideMachine inside;
            acquireFrom(&thread);
            current = &thread;
            thread.turn_.await();
            runs = !thread.process_->ended;
        }
        try {
            if (runs)
                body();
        } catch (const ProcessEnded&) {
            // The thread ends with its process.
        }
        const InsideMachine inside;
        releaseTo(&thread);
        thread.ended_ = true;
        nextThread().turn_.give();
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

void Scheduler::work(std::uint64_t milliseconds) {
    if (current->process_ != nullptr && current->condition_ == nullptr)
        blockUntil(now_ + milliseconds, [] { return false; });
}

void Scheduler::drawOrder(std::uint32_t seed) {
    order_.emplace(seed);
    callsLeft_ = 0;
}

std::uint32_t Scheduler::draw(std::uint32_t count) {
    return static_cast<std::uint32_t>((*order_)() % count);
}

void Scheduler::atCall() {
    Thread& self = *current;
    // The world has no turns, and a planned event runs on a thread that has given its turn away.
    if (!order_ || self.process_ == nullptr || self.condition_ != nullptr || self.ended_)
        return;
    if (callsLeft_ > 0) {
        --callsLeft_;
        return;
    }
    passTurn(self);
    if (self.process_->ended && std::uncaught_exceptions() == 0)
        throw ProcessEnded{};
}

void Scheduler::passTurn(Thread& from) {
    Thread& next = nextThread();
    if (&next == &from)
        return;
    next.turn_.give();
    from.turn_.await();
}

Thread& Scheduler::nextThread() {
    for (;;) {
        // Without the world, which waits until nobody else is ready.
        const std::size_t count = threads_.size() - 1;
        const std::size_t first = order_ && count > 0 ? draw(static_cast<std::uint32_t>(count)) : 0;
        for (std::size_t step = 0; step < count; ++step) {
            Thread& thread = *threads_[(first + step) % count];
            if (!isReady(thread))
                continue;
            // Turns of one call and of hundreds are equally likely: short ones mix the threads finely, long
            // ones let a thread stand still while another comes far.
            if (order_)
                callsLeft_ = draw(1U << draw(9));
            return thread;
        }
        if (isReady(*world_))
            return *world_;
        advance();
    }
}

bool Scheduler::isReady(Thread& thread) const {
    if (thread.ended_)
        return false;
    thread.conditionHeld_ = false;
    if (thread.condition_ == nullptr || (thread.process_ != nullptr && thread.process_->ended))
        return true;
    thread.conditionHeld_ = thread.condition_(thread.conditionContext_);
    return thread.conditionHeld_ || thread.due_ <= now_;
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
