#pragma once

#ifdef _WIN32
#include <cstddef>
#include <new>
#else
#include "platform/simulated/processState.h"
#endif

namespace kovra {

/// A module-level value that every launcher process finds as `T`'s default. On Windows that is a static,
/// which is never destroyed: ending the process runs no code, and what a value owns may be unloaded by then.
/// On the simulated machine each simulated process has its own.
template <typename T>
class PerProcess {
public:
#ifdef _WIN32
    PerProcess() {
        new (storage_) T{};
    }

    T& operator*() {
        return *std::launder(reinterpret_cast<T*>(storage_));
    }

    T* operator->() {
        return &**this;
    }

private:
    alignas(T) std::byte storage_[sizeof(T)];
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

    /// The value of another launcher process, for who plays the machine.
    const T& of(const simulated::Process& process) const {
        return *static_cast<T*>(simulated::processValue(slot_, process));
    }

private:
    std::size_t slot_;
#endif
};

} // namespace kovra
