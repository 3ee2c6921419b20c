#pragma once

#ifndef _WIN32
#include "platform/simulated/processState.h"
#endif

namespace kovra {

/// A module-level value that every launcher process finds as `T`'s default. On Windows that is a plain
/// static; on the simulated machine each simulated process has its own.
template <typename T>
class PerProcess {
public:
#ifdef _WIN32
    constexpr PerProcess() = default;

    T& operator*() {
        return value_;
    }

    T* operator->() {
        return &value_;
    }

private:
    T value_{};
#else
    PerProcess()
        : slot_(simulated::addProcessValue([]() -> void* { return new T{}; },
                                           [](void* value) { delete static_cast<T*>(value); })) {}

    T& operator*() {
        return *static_cast<T*>(simulated::processValue(slot_));
    }

    T* operator->() {
        return &**this;
    }

private:
    std::size_t slot_;
#endif
};

} // namespace kovra
