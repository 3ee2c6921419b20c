#include "simulator/simulator.h"
#include "simulator/randomMachine.h"
#include "simulator/soak.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <cstdio>
#include <cstdlib>
#include <string>

namespace kovra::simulation {
namespace {

using testing::AllOf;
using testing::HasSubstr;
using testing::StartsWith;

struct Played {
    int code;
    std::string out;
    std::string err;
};

Played simulate(const std::string& text) {
    std::FILE* const file = std::tmpfile();
    std::fputs(text.c_str(), file);
    std::rewind(file);
    char* out = nullptr;
    char* err = nullptr;
    std::size_t sizes[2];
    std::FILE* const streams[] = {open_memstream(&out, &sizes[0]), open_memstream(&err, &sizes[1])};
    const int code = runSimulator({"/dev/fd/" + std::to_string(fileno(file))}, streams[0], streams[1]);
    for (std::FILE* each : {file, streams[0], streams[1]})
        std::fclose(each);
    Played played{code, out, err};
    std::free(out);
    std::free(err);
    return played;
}

TEST(Simulator, ShowsCauseAndEffectInTwoColumns) {
    const std::string right(46, ' ');
    const Played run =
        simulate("# A title\nservice installed\n0 machine boots\n"
                 "3.5 expect application runs as system\n# Later\n1d expect service running\n");
    EXPECT_EQ(run.code, 0);
    EXPECT_THAT(run.out, AllOf(StartsWith("A title\n"), HasSubstr("\n          0.000  * machine boots\n"),
                               HasSubstr("\n          0.001" + right + "Starting service...\n"),
                               HasSubstr("\n          0.001" + right + "> service is running\n"),
                               HasSubstr("\n          3.500  = application runs as system\n"),
                               HasSubstr("\n                 # Later\n1d 00:00:00.000  = service running\n"),
                               HasSubstr(": 3 of 3 expectations hold, 1d 00:00:00.000 played\n")));
}

TEST(Simulator, TellsEachWrongLineAndPlaysNothing) {
    const char* const rows[][2] = {
        {"flying saucer lands", "\"flying\" is not understood here\n"},
        {"service starts twice", "\"twice\" is not understood here; known: service starts"},
        {"session 1", "the line breaks off; known: session SESSION opens|closes"},
        {"1:2x machine boots", "\"1:2x\" is no time\n"},
        {"user logs on in cellar", "\"cellar\" is no session"},
        {"file bin\\a.txt gone", "\"bin\\a.txt\" is no full path"},
        {"registry HKLM\\a gone", "\"HKLM\\a\" is no registry key below HKCR"},
        {"machine boots\n| text", "the lines with a bar below belong to nothing"},
        {"5 expect service running within 3\n4 shell up", "the time 4 lies before the end"},
    };

    for (const auto& [lines, message] : rows) {
        const Played run = simulate("machine boots\n" + std::string{lines});
        EXPECT_EQ(run.code, 2) << lines;
        EXPECT_EQ(run.out, "") << lines;
        EXPECT_THAT(run.err, HasSubstr(message)) << lines;
    }
    std::FILE* const nowhere = std::tmpfile();
    EXPECT_EQ(runSimulator({"/no/such.scenario"}, nowhere, nowhere), 2);
    EXPECT_EQ(runSimulator({"--random", "seed"}, nowhere, nowhere), 2);
    std::fclose(nowhere);
}

TEST(Simulator, ShowsWhatWasSeenInsteadOfWhatWasExpected) {
    const char* const rows[][2] = {
        {"application runs as user", "Kovra.exe in session 1 as system with \"-service\""},
        {"not traced once Starting service...", "1 times; at last:"},
        {"traced\n| Starting service...\n| Start", "no \"Start\" in:"},
        {"client application unanswered", "1 times answered, at last \"OK\" at 2.420"},
        {"service stopped within 2", "running"},
        {"file C:\\b holds three", "\"zw\u00F6lf\\x00\\x81\""},
        {"folder C:\\Kovra lists bin", "\"bin data shared www\""},
        {"shortcut C:\\b target C:\\c", "no shortcut"},
        {"junction C:\\Kovra to C:\\c", "\"\""},
        {"registry HKCR\\a holds two", "\"one\""},
        {"not services unchanged", "Kovra"},
    };

    for (const auto& [line, seen] : rows) {
        const Played run =
            simulate("service installed\nregistry HKCR\\a holds one\nfile C:\\b holds zw\u00F6lf\\0\\x81\n"
                     "0 machine boots\nshell up when traced never\n10 expect " +
                     std::string{line} + "\n");
        EXPECT_EQ(run.code, 1);
        EXPECT_THAT(run.err, AllOf(HasSubstr(":6: at 1"), HasSubstr(seen))) << line;
        EXPECT_THAT(run.out, AllOf(HasSubstr("  ! expect "),
                                   HasSubstr("1 of 2 expectations hold, events that never came: 1")));
    }
}

TEST(RandomMachine, ShowsWhatDoesNotHoldInTheFewestLines) {
    // Windows takes so long to end the program that SYSTEM's application stays behind the logon.
    const std::string needed[] = {"processes linger 30", "machine watched", "service installed",
                                  "0 machine boots",     "5 user logs on",  "6 shell up"};
    const std::string scenario = "# title\nwindows 7\nsetting launchWithAdminRights = 0\n" + needed[0] +
                                 "\n" + needed[1] + "\npipe quota hidden\n" + needed[2] + "\n" + needed[3] +
                                 "\n3 client a says test\n" + needed[4] + "\n" + needed[5] +
                                 "\n7 client b says test\n60 from here\n61 user logs off\n";

    std::string fewest;
    for (const std::string& line : needed)
        fewest += line + "\n";
    EXPECT_EQ(cutDown(scenario), fewest + "+60 from here\n");
    EXPECT_THAT(simulate(fewest + "60 from here\n").err,
                HasSubstr("the application's rights aren't lowered"));
    EXPECT_EQ(drawHour(7), drawHour(7));
    EXPECT_NE(drawHour(7), drawHour(8));
}

} // namespace
} // namespace kovra::simulation
