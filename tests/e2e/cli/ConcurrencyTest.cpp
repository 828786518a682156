#include "CliFixture.h"

#include <memory>
#include <set>

using ConcurrencyTest = CliFixture;

// Each fendrelctl run reads the users file, adds one user and writes the
// file back. Two processes doing so at once must not lose each other's users.
TEST_F(ConcurrencyTest, TwoProcessesAddingUsersLoseNone)
{
    constexpr int kRounds = 8;
    std::set<std::string> expected;
    for (int round = 0; round < kRounds; ++round) {
        std::string a = "ann" + std::to_string(round);
        std::string b = "ben" + std::to_string(round);
        expected.insert(a);
        expected.insert(b);
        auto first = std::make_unique<CliProcess>(
            std::vector<std::string>{"--root", tree.path(), "user", "add", a}, "pw\n");
        auto second = std::make_unique<CliProcess>(
            std::vector<std::string>{"--root", tree.path(), "user", "add", b}, "pw\n");
        CliResult one = first->wait();
        CliResult two = second->wait();
        ASSERT_EQ(one.status, 0) << one.err;
        ASSERT_EQ(two.status, 0) << two.err;
    }
    nlohmann::json listed = json({"user", "list"});
    std::set<std::string> names(listed.begin(), listed.end());
    EXPECT_EQ(names, expected);
}

TEST_F(ConcurrencyTest, TwoProcessesChangingGroupsLoseNone)
{
    addUser("alice");
    constexpr int kRounds = 6;
    std::set<std::string> expected;
    for (int round = 0; round < kRounds; ++round) {
        std::string a = "red" + std::to_string(round);
        std::string b = "blue" + std::to_string(round);
        expected.insert(a);
        expected.insert(b);
        CliProcess first({"--root", tree.path(), "group", "add", a});
        CliProcess second({"--root", tree.path(), "group", "add", b});
        ASSERT_EQ(first.wait().status, 0);
        ASSERT_EQ(second.wait().status, 0);
    }
    std::set<std::string> names;
    for (const nlohmann::json& group : json({"group", "list"}))
        names.insert(group["name"].get<std::string>());
    EXPECT_EQ(names, expected);
}
