#pragma once

#include "platform/simulated/scheduler.h"

#include <cstdint>

namespace kovra::simulated {

// How long the calls work that take noticeable time, as measured on a machine with nine processes.
constexpr std::uint64_t snapshotMs = 1;
constexpr std::uint64_t programStartMs = 8;
constexpr std::uint64_t pipeMessageMs = 1;

/// The machine's clocks, both driven by the scheduler's time.
class Clock {
public:
    explicit Clock(const Scheduler& scheduler) : scheduler_(scheduler) {}

    /// What GetTickCount gives: milliseconds in 32 bits, which wrap.
    [[nodiscard]] std::uint32_t tickCount() const {
        return static_cast<std::uint32_t>(scheduler_.now()) + offset_;
    }

    /// Makes the tick count this value at this moment, for instance one just short of its turn.
    void setTickCount(std::uint32_t ticks) { offset_ = ticks - static_cast<std::uint32_t>(scheduler_.now()); }

    /// The local date and time; a fresh machine starts on 11/17/2026 at 12:05:28 PM.
    [[nodiscard]] SYSTEMTIME localTime() const;

private:
    const Scheduler& scheduler_;
    std::uint32_t offset_ = 0;
};

} // namespace kovra::simulated
