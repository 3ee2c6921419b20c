#pragma once

#include "platform/handles.h"

#include <functional>
#include <optional>
#include <string>

// What the checks do with the machine, and what they look at.

namespace checks {

/// Polls until the condition holds or the time is over; gives whether it holds.
bool waitFor(DWORD limitMs, const std::function<bool()>& condition);

std::string lower(std::string text);

/// The whole file; empty when it can't be read.
std::string readFile(const std::string& path);
/// Writes the file, and makes the folders above it.
void writeFile(const std::string& path, const std::string& content);
void makeFolder(const std::string& path);
bool exists(const std::string& path);
/// Path of a shell folder by its CSIDL number.
std::string shellFolder(int csidl);

/// A process that the checks started; killed at the end unless it has ended.
class Process {
public:
    Process() = default;
    explicit Process(const std::string& commandLine);
    Process(Process&&) noexcept = default;
    Process& operator=(Process&& other) noexcept;

    ~Process() { kill(); }

    /// Whether it ended within the time.
    [[nodiscard]] bool waitForEnd(DWORD limitMs) const;
    void kill();

    [[nodiscard]] HANDLE handle() const { return handle_.get(); }

private:
    kovra::KernelHandle handle_;
};

bool isRunning(const std::string& fileName);
/// Kills every process of that file name and gives the tick count of that moment.
DWORD killAll(const std::string& fileName);

/// 0 when there is no such service.
DWORD serviceState(const std::string& name);
/// Image path, display name, start type and account, in one text; empty without the service.
std::string serviceConfiguration(const std::string& name);
void stopService(const std::string& name);
bool waitForServiceState(const std::string& name, DWORD state, DWORD limitMs);

/// A default value below HKEY_CLASSES_ROOT; empty optional when there is no such key or value.
std::optional<std::string> classesRootValue(const std::string& key);

/// A client of the control pipe.
class PipeClient {
public:
    /// Connects as soon as the instance is free.
    explicit PipeClient(DWORD limitMs = 10'000);

    void send(const std::string& message) const;
    /// A text in brackets when there is none.
    [[nodiscard]] std::string readReply() const;

private:
    kovra::FileHandle pipe_;
};

/// The reply to one command on a connection of its own.
std::string command(const std::string& message);

} // namespace checks
