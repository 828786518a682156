#include "KLNameIndex.h"
#include "KLNameSet.h"

#include <gtest/gtest.h>

namespace {

TEST(NameIndexTest, IndexAndSetCountDuplicatesFoldCaseAndTakeLongNames)
{
    KLNameIndex exact(KLNameIndex::Matching::Exact), folded(KLNameIndex::Matching::IgnoringCase);
    for (const char* name : {"Alice", "Alice", "J\xC3\x96RG"}) {
        exact.add(name);
        folded.add(name);
    }
    EXPECT_EQ(std::tuple(exact.contains("Alice"), exact.contains("alice"), folded.contains("ALICE"),
                         folded.contains("j\xC3\xB6rg")),
              std::tuple(true, false, true, true));
    exact.remove("Alice");
    folded.remove("aLICE");
    EXPECT_TRUE(exact.contains("Alice") && folded.contains("alice")) << "one of two removed";
    exact.remove("Alice");
    folded.remove("alice");
    EXPECT_FALSE(exact.contains("Alice") || folded.contains("alice"));
    exact.remove("never there");
    EXPECT_EQ(exact.size(), 1u);
    EXPECT_TRUE(KLNameIndex::equalIgnoringCase("\xE2\x84\xAAim", "kim")); // the Kelvin sign folds to k
    std::vector<std::string> names{"a-name-longer-than-fifteen-bytes", "user7", ""};
    for (int i = 0; i < 5000; ++i)
        names.push_back("user" + std::to_string(i));
    KLNameSet set(names);
    for (const char* in : {"user0", "user4999", "a-name-longer-than-fifteen-bytes", ""})
        EXPECT_TRUE(set.contains(in)) << in;
    for (const char* out : {"user5000", "User1", "user1\r", "a-name-longer-than-fifteen-byteS"})
        EXPECT_FALSE(set.contains(out)) << out;
    EXPECT_FALSE(KLNameSet({}).contains(""));
}

} // namespace
