#pragma once

#include "platform/handles.h"
#include "platform/win32.h"
// Another program's end of a message pipe, PipeClient. None of its calls waits, and it is connected until the
// server has dropped it. An anonymous one doesn't let the server know who it is.
#ifdef _WIN32
#include "tests/platform/windows/pipeClient.h"
#else
#include "tests/platform/simulated/pipeClient.h"
#endif

#include <gtest/gtest.h>

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

/// Sends the calling thread a message.
void sendMessage();
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

/// Makes a mailslot, another program's, which is there until the test ends.
void makeMailslot(const std::string& name);
/// The message that waits in it.
std::string readMailslot(const std::string& name);

} // namespace kovra::contract

#define CONTRACT_TEST(area, name)                                                                            \
    static void play##area##name();                                                                          \
    [[maybe_unused]] static const bool is##area##name##Added =                                               \
        (kovra::contract::tests().push_back(play##area##name), true);                                        \
    TEST(area##Contract, name) {                                                                             \
        kovra::contract::play(play##area##name);                                                             \
    }                                                                                                        \
    static void play##area##name()

/// Holds everywhere but under Wine, where it must not hold: a mark that nothing needs goes.
#define EXPECT_BUT_NOT_UNDER_WINE(condition, reason)                                                         \
    EXPECT_NE(static_cast<bool>(condition), kovra::contract::underWine())                                    \
        << #condition << ", but not under Wine: " << (reason)
