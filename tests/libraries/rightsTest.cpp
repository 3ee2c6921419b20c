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
        {Ordinary, true, true, User, User},
        {Ordinary, false, false, User, User},
        {AdminWithLinkedToken, true, true, User, UserElevated},
        {ElevatedAdmin, true, true, User, User},
        {Nobody, true, true, None, Service},
        {Nobody, true, false, None, Service},
        {Nobody, false, true, None, None}, // such as the services' own session
        {Unknown, true, true, None, Service},
        {Unknown, true, false, None, None},
        {Unknown, false, true, None, None},
    };

    for (const auto& row : rows) {
        const SessionFacts facts{row.user, row.logonProcessUp, row.logonScreenUp};
        EXPECT_EQ(tokenFor(true, facts), row.normal) << "row " << &row - rows;
        EXPECT_EQ(tokenFor(false, facts), row.admin) << "row " << &row - rows;
    }
    EXPECT_EQ(answerFor(3, false), 1003);
    EXPECT_EQ(answerFor(0, true), 0);
}

TEST(LogonWatch, EndsWhatOutlivesTheLogon) {
    struct {
        SessionUser user;
        std::uint32_t shellFrom, shellUntil; // second of the watch
        std::uint32_t shellPausesEvery;
        std::uint32_t over; // the second in which it is, 100: never
    } const rows[] = {
        {Nobody, 0, 100, 100, 100},       {Ordinary, 0, 100, 100, 10},
        {ElevatedAdmin, 5, 100, 100, 15}, {Ordinary, 5, 14, 100, 60}, // the shell stays away
        {Ordinary, 0, 100, 9, 60},                                    // it is ended again and again
        {Unknown, 5, 100, 100, 15},       {Unknown, 100, 100, 100, 100},
    };

    for (const auto& row : rows) {
        // The clock turns in between.
        constexpr std::uint32_t start = 0U - 7000;
        LogonWatch watch;
        std::uint32_t second = 0;
        for (; second < 100; ++second) {
            const bool shellUp = second >= row.shellFrom && second < row.shellUntil &&
                                 second % row.shellPausesEvery != row.shellPausesEvery - 1;
            if (watch.isOver(start + second * LogonWatch::lookEveryMs, row.user, shellUp))
                break;
        }
        EXPECT_EQ(second, row.over) << "row " << &row - rows;
    }
}

} // namespace
} // namespace kovra::sess
