#pragma once

#include "platform/win32.h"

#include <gtest/gtest.h>

#include <memory>
#include <optional>
#include <string>

// What the launcher counts on of Windows, told in Windows' own calls. The same tests run on the simulated
// machine, each in a simulated launcher process on a machine of its own, and as an ordinary program on a
// Windows.

namespace kovra::contract {

/// An empty folder, and a key below HKEY_CLASSES_ROOT that isn't there: for the test alone, which may leave
/// anything in them.
inline const std::string scratchFolder = "C:\\Scratch";
inline const std::string scratchKey = "KovraContract";

void play(void (*body)());

/// Wine, which is Windows but for the checks that are marked.
[[nodiscard]] bool underWine();

/// Polls until the condition holds (yes) or ten seconds are over (no).
template <typename Condition>
[[nodiscard]] bool soon(Condition condition) {
    for (int left = 1000; left > 0 && !condition(); --left)
        Sleep(10);
    return condition();
}

/// Starts another program, whose file bears the name, and which runs until it is ended. Gives its process id.
inline const std::string otherProgram = "KovraOther.exe";
DWORD startOther();

/// The command line of a program that prints "hello" and ends its line.
inline const std::string sayHello = "cmd /c echo hello";

/// Another program's end of a message pipe. None of its calls waits.
class PipeClient {
public:
    /// Connects to the pipe of the name behind "\\.\pipe\", if that takes it; an anonymous one doesn't let
    /// the server know who it is.
    explicit PipeClient(const std::string& name, bool isAnonymous = false);
    ~PipeClient();
    PipeClient(const PipeClient&) = delete;
    PipeClient& operator=(const PipeClient&) = delete;

    /// No once the server has dropped it, too.
    [[nodiscard]] bool connected() const;
    bool write(const std::string& message);
    /// The message that waits, if one does.
    std::optional<std::string> read();
    void close();

private:
    struct End;
    std::unique_ptr<End> end_;
};

/// Another program's mailslot.
class Mailslot {
public:
    explicit Mailslot(const std::string& name);
    ~Mailslot();
    Mailslot(const Mailslot&) = delete;
    Mailslot& operator=(const Mailslot&) = delete;

    /// The message that waits, if one does.
    std::optional<std::string> read();

private:
    struct End;
    std::unique_ptr<End> end_;
};

} // namespace kovra::contract

#define CONTRACT_TEST(area, name)                                                                            \
    static void play##area##name();                                                                          \
    TEST(area##Contract, name) {                                                                             \
        kovra::contract::play(play##area##name);                                                             \
    }                                                                                                        \
    static void play##area##name()

/// Holds everywhere but under Wine, where it must not hold: a mark that nothing needs goes.
#define EXPECT_BUT_NOT_UNDER_WINE(condition, reason)                                                         \
    EXPECT_NE(static_cast<bool>(condition), kovra::contract::underWine())                                    \
        << #condition << ", but not under Wine: " << (reason)
