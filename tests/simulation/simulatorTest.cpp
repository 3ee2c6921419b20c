#include "simulator/simulator.h"

#include "simulator/text.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <algorithm>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <string>
#include <vector>

#include <unistd.h>

namespace kovra::simulation {
namespace {

using testing::HasSubstr;
using testing::StartsWith;

struct Played {
    int code;
    std::string out;
    std::string err;
};

std::string contentOf(std::FILE* file) {
    std::string content(static_cast<std::size_t>(std::ftell(file)), '\0');
    std::rewind(file);
    content.resize(std::fread(content.data(), 1, content.size(), file));
    std::fclose(file);
    return content;
}

Played simulate(const std::vector<std::string>& arguments) {
    std::FILE* out = std::tmpfile();
    std::FILE* err = std::tmpfile();
    const int code = runSimulator(arguments, out, err);
    return {code, contentOf(out), contentOf(err)};
}

/// A folder of this process's own: several may run the same test at the same time.
struct OwnFolder {
    OwnFolder() { std::filesystem::create_directory(path); }

    ~OwnFolder() { std::filesystem::remove_all(path); }

    const std::filesystem::path path = testing::TempDir() + "simulatorTest" + std::to_string(getpid());
};

std::string fileWith(const std::string& text, const std::string& suffix = "") {
    static const OwnFolder folder;
    std::string path = folder.path / ("test" + suffix + ".scenario");
    std::ofstream{path, std::ios::binary} << text;
    return path;
}

Played simulateText(const std::string& text) {
    return simulate({fileWith(text)});
}

TEST(Simulator, ShowsCauseAndEffectInTwoColumns) {
    const Played run = simulateText("# A title\nservice installed\n0 machine boots\n"
                                    "3.5 expect application runs as system\nservice stops\n"
                                    "# Later\n1d expect service stopped\n");
    EXPECT_EQ(run.code, 0);
    EXPECT_EQ(run.err, "");
    EXPECT_THAT(run.out, StartsWith("A title\n"));
    EXPECT_THAT(run.out, HasSubstr("\n          0.000  * machine boots\n"));
    EXPECT_THAT(run.out, HasSubstr("\n          0.000  LogonUI.exe starts in session 1\n"));
    EXPECT_THAT(run.out, HasSubstr("\n          0.001" + std::string(46, ' ') + "Starting service...\n"));
    EXPECT_THAT(run.out, HasSubstr("\n          2.011" + std::string(46, ' ') +
                                   "> asks for a start in session 1 with admin rights\n"));
    EXPECT_THAT(run.out, HasSubstr("\n          3.500  = application runs as system\n"));
    EXPECT_THAT(run.out, HasSubstr("\n                 # Later\n1d 00:00:00.000  = service stopped\n"));
    EXPECT_THAT(run.out, HasSubstr(": 3 of 3 expectations hold, 1d 00:00:00.000 played\n"));
}

struct WrongLine {
    const char* text;
    const char* message; ///< behind the file's name
};

TEST(Simulator, TellsFileAndNumberOfAWrongLine) {
    const WrongLine wrongLines[] = {
        {"flying saucer lands", ":1: \"flying\" is not understood here\n"},
        {"# title\n\nuser goes home\n", ":3: \"goes\" is not understood here; known: user logs on"},
        {"service starts twice", ":1: \"twice\" is not understood here; known: service starts"},
        {"session 1", ":1: the line breaks off; known: session SESSION opens|closes"},
        {"windows 12", ":1: \"12\" is no Windows version; known: windows VERSION"},
        {"code page 7", ":1: \"7\" is no code page"},
        {"user logs on in cellar", ":1: \"cellar\" is no session"},
        {"application dies after lunch", ":1: \"lunch\" is no time"},
        {"file bin\\a.txt gone", ":1: \"bin\\a.txt\" is no full path"},
        {"registry HKLM\\a gone", ":1: \"HKLM\\a\" is no registry key below HKCR"},
        {"1:2x machine boots", ":1: \"1:2x\" is no time\n"},
        {"5 machine boots\n4 shell up", ":2: the time 4 lies before the end of the line above, 5.000\n"},
        {"5 expect service running within 3\n6 shell up", ":2: the time 6 lies before the end"},
        {"5", ":1: nothing stands behind the time\n"},
        {"expect", ":1: the line breaks off\n"},
        {"expect service flying", ":1: \"flying\" is not understood here; known: service installed|"},
        {"| text", ":1: no line above that it belongs to\n"},
        {"machine boots\n| text", ":1: the lines with a bar below belong to nothing"},
        {"client a deaf deaf", ":1: \"deaf\" is not understood here"},
    };
    for (const WrongLine& wrong : wrongLines) {
        SCOPED_TRACE(wrong.text);
        const Played run = simulateText(wrong.text);
        EXPECT_EQ(run.code, 2);
        EXPECT_EQ(run.out, "");
        EXPECT_THAT(run.err, HasSubstr(".scenario" + std::string{wrong.message}));
    }
}

TEST(Simulator, PlaysNothingWhenOneFileIsWrong) {
    const std::string good = fileWith("0 machine boots\n", "Good");
    const Played run = simulate({good, fileWith("one\ntwo\n", "Wrong"), "/no/such.scenario"});
    EXPECT_EQ(run.code, 2);
    EXPECT_EQ(run.out, "");
    EXPECT_THAT(run.err, HasSubstr("Wrong.scenario:1: "));
    EXPECT_THAT(run.err, HasSubstr("Wrong.scenario:2: "));
    EXPECT_THAT(run.err, HasSubstr("/no/such.scenario: can't be read\n"));
    EXPECT_EQ(simulate({}).code, 2);
}

struct FailingLine {
    const char* line;
    const char* seen;
};

TEST(Simulator, ShowsWhatWasSeenInsteadOfWhatWasExpected) {
    const std::string beginning =
        "service installed\nregistry HKCR\\a holds one\nfile C:\\b holds zwölf\\0\\x81\n"
        "0 machine boots\n10 shell up\n";
    const FailingLine lines[] = {
        {"application gone", "Kovra.exe in session 1 as system with \"-service\""},
        {"application runs as user", "Kovra.exe in session 1 as system with \"-service\""},
        {"application runs in 2", "Kovra.exe in session 1"},
        {"application runs with -resume", "with \"-service\""},
        {"process mysqld.exe runs", "no mysqld.exe"},
        {"process winlogon.exe runs times 2", "winlogon.exe in session 1"},
        {"traced Kill kovra", "0 times; at last:"},
        {"not traced once Starting service...", "1 times; at last:"},
        {"traced once min launch time not reached", "2 times; at last:"},
        {"shown once min launch time not reached", "2 times; at last:"},
        {"traced\n| Starting service...\n| Start KovraLauncher with command line -service",
         "no \"Start KovraLauncher with command line -service\" in:"},
        {"shown 2 times service is running", "1 times"},
        {"client bob answered", "no client of that name"},
        {"client application unanswered", "1 times answered, at last \"OK\" at 2.420"},
        {"service stopped within 2", "running"},
        {"file C:\\b holds three", "\"zwölf\\x00\\x81\""},
        {"file C:\\b gone", "it is there"},
        {"folder C:\\Kovra lists bin", "\"bin data shared www\""},
        {"shortcut C:\\b target C:\\c", "no shortcut"},
        {"junction C:\\Kovra to C:\\c", "\"\""},
        {"registry HKCR\\a holds two", "\"one\""},
        {"registry HKCR\\b holds two", "none"},
        {"not services unchanged", "Kovra"},
    };
    for (const FailingLine& line : lines) {
        SCOPED_TRACE(line.line);
        const Played run = simulateText(beginning + "expect " + line.line + "\n");
        EXPECT_EQ(run.code, 1);
        EXPECT_THAT(run.err, HasSubstr(".scenario:6: at 1")); // at 10 or, behind a wait, at 12
        EXPECT_THAT(run.err, HasSubstr(line.seen));
        EXPECT_THAT(run.out, HasSubstr("  ! expect "));
        EXPECT_THAT(run.out, HasSubstr("1 of 2 expectations hold"));
    }
}

TEST(Simulator, FailsWhenAnEventNeverComesToPass) {
    const Played run = simulateText("service stops when traced Starting service...\n10 machine boots\n");
    EXPECT_EQ(run.code, 1);
    EXPECT_THAT(run.err, HasSubstr(":1: at 10.000: service stops when traced Starting service...\n"
                                   "    seen: it never came to that\n"));
    EXPECT_THAT(run.out, HasSubstr(": 1 of 1 expectations hold, events that never came: 1, 10.000 played\n"));
}

TEST(SimulatorText, ReadsAndWritesTimes) {
    EXPECT_EQ(parseTime("1.5"), 1500U);
    EXPECT_EQ(parseTime("2:30"), 150'000U);
    EXPECT_EQ(parseTime("24d20:31:23.648"), 0x8000'0000U);
    EXPECT_EQ(parseTime("1d"), 86'400'000U);
    for (const char* wrong : {"", "-1", "1.", "1.2345", "1:", "d", "1d2d", "1 2", "99999999999"})
        EXPECT_EQ(parseTime(wrong), std::nullopt) << wrong;
    EXPECT_EQ(formatTime(86'399'999), "86399.999");
    EXPECT_EQ(formatTime(0x8000'0000U), "24d 20:31:23.648");
}

} // namespace
} // namespace kovra::simulation
