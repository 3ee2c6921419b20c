#include "libraries/sess/rights.h"

#include <gtest/gtest.h>

namespace kovra::sess {
namespace {

using enum SessionUser;

TEST(Rights, TheTokenDependsOnTheUserAndTheLogonScreen) {
    struct {
        bool normal;
        SessionUser user;
        bool logonScreenUp;
        StartRights rights;
    } const rows[] = {
        // What normal rights can be had, unmarked: a mark on an always elevated user would have his
        // application lowered for ever.
        {true, Ordinary, false, {StartToken::User, false}},
        {true, Ordinary, true, {StartToken::User, false}},
        {true, AdminWithLinkedToken, false, {StartToken::User, false}},
        {true, ElevatedAdmin, false, {StartToken::User, false}},
        {true, ElevatedAdmin, true, {StartToken::User, false}},
        {true, Nobody, false, {StartToken::None, false}},
        {true, Nobody, true, {StartToken::None, false}},
        {true, Unknown, true, {StartToken::None, false}},
        // Admin rights: the user's own ones first.
        {false, AdminWithLinkedToken, false, {StartToken::UserElevated, true}},
        {false, AdminWithLinkedToken, true, {StartToken::UserElevated, true}},
        {false, ElevatedAdmin, false, {StartToken::User, true}},
        {false, ElevatedAdmin, true, {StartToken::User, true}},
        // Then the service's, never on an open desktop.
        {false, Nobody, true, {StartToken::Service, true}},
        {false, Nobody, false, {StartToken::Service, true}},
        {false, Ordinary, true, {StartToken::Service, true}},
        {false, Unknown, true, {StartToken::Service, true}},
        {false, Ordinary, false, {StartToken::User, false}},
        {false, Unknown, false, {StartToken::None, false}},
    };

    for (const auto& row : rows)
        EXPECT_EQ(rightsFor(row.normal, {row.user, row.logonScreenUp}), row.rights) << "row " << &row - rows;
    EXPECT_EQ(answerFor(3, {StartToken::Service, true}), 1003);
    EXPECT_EQ(answerFor(0, {StartToken::User, true}), 1000);
    EXPECT_EQ(answerFor(3, {StartToken::User, false}), 3);
}

} // namespace
} // namespace kovra::sess
