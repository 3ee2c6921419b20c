#include "libraries/ext/localPath.h"
#include "libraries/sess/rights.h"

#include <gtest/gtest.h>

#include <cstdint>

namespace kovra::sess {
namespace {

using enum SessionUser;
using enum StartToken;

TEST(Rights, TheTokenDependsOnTheUserAndTheSystemsOwnPrograms) {
    struct {
        SessionUser user;
        bool logonProcessUp, logonScreenUp;
        StartToken normal, admin;
    } const rows[] = {
        {Ordinary, true, true, User, User},      {AdminWithLinkedToken, true, true, User, UserElevated},
        {ElevatedAdmin, true, true, User, User}, {Nobody, true, false, None, Service},
        {Nobody, false, true, None, None}, // such as the services' own session
        {Unknown, true, true, None, Service},    {Unknown, true, false, None, None},
    };

    for (const auto& row : rows) {
        const SessionFacts facts{row.user, row.logonProcessUp, row.logonScreenUp};
        EXPECT_EQ(tokenFor(true, facts), row.normal) << "row " << &row - rows;
        EXPECT_EQ(tokenFor(false, facts), row.admin) << "row " << &row - rows;
    }
}

TEST(LogonWatch, EndsWhatOutlivesTheLogon) {
    struct {
        SessionUser user;
        std::uint32_t shellFrom, shellPausesEvery, logonScreenTo, over; // seconds; 100: never
    } const rows[] = {{Nobody, 0, 100, 0, 100},   {Unknown, 5, 100, 0, 15},
                      {Unknown, 5, 100, 20, 30}, // behind the logon screen it would be started again
                      {Ordinary, 5, 100, 20, 15}, {Ordinary, 0, 9, 0, 60}, // it is ended again and again
                      {Unknown, 100, 100, 0, 100}};

    for (const auto& row : rows) {
        LogonWatch watch;
        std::uint32_t second = 0;
        const auto isOver = [&] {
            const bool isUp =
                second >= row.shellFrom && second % row.shellPausesEvery != row.shellPausesEvery - 1;
            // The clock turns in between.
            return watch.isOver(second * LogonWatch::lookEveryMs - 7000, row.user, isUp,
                                second < row.logonScreenTo);
        };
        while (second < 100 && !isOver())
            ++second;
        EXPECT_EQ(second, row.over) << "row " << &row - rows;
    }
}

TEST(DrivePath, BeginsWithALetterOfAnyCase) {
    EXPECT_TRUE(ext::isDrivePath(L"c:\\"));
    EXPECT_FALSE(ext::isDrivePath(L"c:a"));
}

} // namespace
} // namespace kovra::sess
