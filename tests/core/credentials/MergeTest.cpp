// Changes made here carried over to a file another program edited meanwhile.

#include "KLGroupsDataSource.h"
#include "KLGroupsMerge.h"
#include "KLUsersDataSource.h"
#include "KLUsersMerge.h"

#include <gtest/gtest.h>

#include <array>

namespace {

// what, base (as last read here), ours (the list now), theirs (the file now), written
using MergeCase = std::array<const char*, 5>;

TEST(MergeTest, UsersAndGroupsKeepBothSidesChanges)
{
    const MergeCase cases[] = {
        {"added on both sides", "a:1\n", "a:1\nb:2\n", "a:1\nz:9\n", "a:1\nz:9\nb:2\n"},
        {"deleted here, added there", "a:1\nb:2\n", "a:1\n", "z:9\na:1\nb:2\n", "z:9\na:1\n"},
        {"new password here", "a:1\nb:2\n", "a:5\nb:2\n", "b:2\na:1\nz:9\n", "b:2\na:5\nz:9\n"},
        {"new password there stays", "a:1\nb:2\n", "a:1\nb:2\nc:3\n", "a:7\nb:2\n", "a:7\nb:2\nc:3\n"},
        {"deleted there stays deleted", "a:1\nb:2\n", "a:1\nb:2\nc:3\n", "b:2\n", "b:2\nc:3\n"},
        {"changed here, deleted there", "a:1\n", "a:5\n", "", "a:5\n"},
        {"added on both sides with one name", "", "a:1\n", "a:9\n", "a:1\n"},
    };
    for (const MergeCase& c : cases) {
        auto parse = [&](int side) { return KLUsersDataSource::parseUsers(c[side]); };
        EXPECT_EQ(KLUsersDataSource::userfileText(KLUsersMerge::merged(parse(1), parse(2), parse(3))), c[4]) << c[0];
    }
    const MergeCase groupCases[] = {
        {"group added on both sides", "g: a \n", "g: a \nh: b \n", "g: a \nx: c \n", "g: a \nx: c \nh: b \n"},
        {"member added and removed here", "g: a b \n", "g: b c \n", "g: a b z \n", "g: b z c \n"},
        {"renamed here, member added there", "g: a \n", "h: a \n", "g: a z \n", "h: a \n"},
        {"deleted there, untouched here", "g: a \nh: b \n", "g: a \nh: b \nk:\n", "h: b \n", "h: b \nk: \n"},
        {"deleted there, changed here", "g: a \n", "g: a b \n", "", "g: a b \n"},
        {"unchanged here", "g: a \n", "g: a \n", "g: a z \nx: c \n", "g: a z \nx: c \n"},
    };
    auto isUser = [](const std::string& name) { return name.size() == 1; };
    for (const MergeCase& c : groupCases) {
        auto parse = [&](int side) { return KLGroupsDataSource::parseGroups(c[side], isUser); };
        auto theirs = parse(3);
        KLGroupsMerge::mergeInto(*parse(1), *parse(2), *theirs);
        EXPECT_EQ(KLGroupsDataSource::groupfileText(*theirs), c[4]) << c[0];
    }
}

} // namespace
