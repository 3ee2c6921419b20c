#pragma once

#include "platform/handles.h"
#include "platform/win32.h"

#include <gtest/gtest.h>

#include <memory>
#include <optional>
#include <string>
#include <vector>

// What the launcher counts on of Windows, told in Windows' own calls. The same tests run on the simulated
// machine, each in a simulated launcher process on a machine of its own, and as an ordinary program on a
// Windows.

namespace kovra::contract {

/// An empty folder, and a key below HKEY_CLASSES_ROOT that isn't there: for the test alone, which may leave
/// anything in them.
inline const std::string scratchFolder = "C:\\Scratch";
inline const std::string scratchKey = "KovraContract";

void play(void (*test)());

/// All of them.
inline std::vector<void (*)()>& tests() {
    static std::vector<void (*)()> all;
    return all;
}

inline bool add(void (*test)()) {
    tests().push_back(test);
    return true;
}

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
DWORD startOther(const std::string& name = otherProgram);

/// The command line of a program that prints "hello" and ends its line.
inline const std::string sayHello = "cmd /c echo hello";

// What other programs do, which the launcher itself has no call for.

void makeFolder(const std::string& path);
void makeReadOnly(const std::string& path);
/// Gives the file a second name.
void addName(const std::string& file, const std::string& name);
/// Lays a library at the path, which stays loaded until the test ends.
void layLoadedLibrary(const std::string& path);
/// Lays a file that is held for nobody else until the test ends.
void layHeldFile(const std::string& path);

/// Gives the file this content, and makes it where it is missing.
inline void write(const std::string& path, const std::string& bytes) {
    const FileHandle file{CreateFileA(path.c_str(), GENERIC_WRITE, FILE_SHARE_READ, nullptr, CREATE_ALWAYS,
                                      FILE_ATTRIBUTE_NORMAL, nullptr)};
    DWORD written = 0;
    EXPECT_TRUE(file &&
                WriteFile(file.get(), bytes.data(), static_cast<DWORD>(bytes.size()), &written, nullptr));
}

/// The content of a short file; empty when it can't be read.
inline std::string read(const std::string& path) {
    const FileHandle file{CreateFileA(path.c_str(), GENERIC_READ, FILE_SHARE_READ | FILE_SHARE_WRITE, nullptr,
                                      OPEN_EXISTING, FILE_ATTRIBUTE_NORMAL, nullptr)};
    char bytes[256];
    DWORD size = 0;
    if (!file || !ReadFile(file.get(), bytes, sizeof bytes, &size, nullptr))
        return {};
    return {bytes, size};
}

/// Opens the folder itself, were it a junction.
[[nodiscard]] inline FileHandle openFolder(const std::string& path) {
    return FileHandle{CreateFileA(
        path.c_str(), FILE_READ_ATTRIBUTES, FILE_SHARE_READ | FILE_SHARE_WRITE | FILE_SHARE_DELETE, nullptr,
        OPEN_EXISTING, FILE_FLAG_BACKUP_SEMANTICS | FILE_FLAG_OPEN_REPARSE_POINT, nullptr)};
}

/// Another program's end of a message pipe. None of its calls waits.
class PipeClient {
public:
    /// Connects to the pipe of the name behind "\\.\pipe\", if that takes it; an anonymous one doesn't let
    /// the server know who it is.
    explicit PipeClient(const std::string& name, bool isAnonymous = false);
    ~PipeClient();

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

    /// The message that waits, if one does.
    std::optional<std::string> read();

private:
    struct End;
    std::unique_ptr<End> end_;
};

} // namespace kovra::contract

#define CONTRACT_TEST(area, name)                                                                            \
    static void play##area##name();                                                                          \
    [[maybe_unused]] static const bool is##area##name##Added = kovra::contract::add(play##area##name);       \
    TEST(area##Contract, name) {                                                                             \
        kovra::contract::play(play##area##name);                                                             \
    }                                                                                                        \
    static void play##area##name()

/// Holds everywhere but under Wine, where it must not hold: a mark that nothing needs goes.
#define EXPECT_BUT_NOT_UNDER_WINE(condition, reason)                                                         \
    EXPECT_NE(static_cast<bool>(condition), kovra::contract::underWine())                                    \
        << #condition << ", but not under Wine: " << (reason)
