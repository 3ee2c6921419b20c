#pragma once

#include "platform/win32.h"

#include <utility>

namespace kovra {

/// Owns one handle and closes it when it goes. `Kind` knows the handle's type, its invalid value and
/// the call that closes it.
template <typename Kind>
class OwnedHandle {
public:
    using Value = typename Kind::Value;

    OwnedHandle() = default;

    explicit OwnedHandle(Value value) : value_(value) {}

    OwnedHandle(OwnedHandle&& other) noexcept : value_(std::exchange(other.value_, Kind::invalid())) {}

    OwnedHandle& operator=(OwnedHandle&& other) noexcept {
        if (this != &other) {
            close();
            value_ = std::exchange(other.value_, Kind::invalid());
        }
        return *this;
    }

    ~OwnedHandle() { close(); }

    [[nodiscard]] Value get() const { return value_; }

    [[nodiscard]] explicit operator bool() const { return value_ != Kind::invalid(); }

    /// For calls that give a handle through an out-argument; the handle must be empty.
    [[nodiscard]] Value* out() { return &value_; }

    /// Closes the handle ahead of its scope's end; without a handle it does nothing.
    void close() {
        if (value_ != Kind::invalid())
            Kind::close(std::exchange(value_, Kind::invalid()));
    }

private:
    Value value_ = Kind::invalid();
};

/// Events, threads, processes, tokens, ends of anonymous pipes: what CloseHandle closes and 0 marks invalid.
struct KernelObjectKind {
    using Value = HANDLE;

    static Value invalid() { return nullptr; }

    static void close(Value value) { CloseHandle(value); }
};

using KernelHandle = OwnedHandle<KernelObjectKind>;

/// Files, pipes, mailslots and process snapshots: what CloseHandle closes and -1 marks invalid.
struct FileKind {
    using Value = HANDLE;

    static Value invalid() { return INVALID_HANDLE_VALUE; }

    static void close(Value value) { CloseHandle(value); }
};

using FileHandle = OwnedHandle<FileKind>;
using SnapshotHandle = OwnedHandle<FileKind>;

struct EventSourceKind {
    using Value = HANDLE;

    static Value invalid() { return nullptr; }

    static void close(Value value) { DeregisterEventSource(value); }
};

using EventSourceHandle = OwnedHandle<EventSourceKind>;

/// The service manager and its services.
struct ServiceObjectKind {
    using Value = SC_HANDLE;

    static Value invalid() { return nullptr; }

    static void close(Value value) { CloseServiceHandle(value); }
};

using ServiceManagerHandle = OwnedHandle<ServiceObjectKind>;
using ServiceHandle = OwnedHandle<ServiceObjectKind>;

struct RegistryKeyKind {
    using Value = HKEY;

    static Value invalid() { return nullptr; }

    static void close(Value value) { RegCloseKey(value); }
};

using RegistryKey = OwnedHandle<RegistryKeyKind>;

} // namespace kovra
