#include "KLStringExtensions.h"

#include <gtest/gtest.h>

// The removal set is decided once per process by the first call; this test
// program holds only this test so that the order is known.
TEST(RemovingCharactersTest, FirstSetDecidesForTheWholeProcess)
{
    EXPECT_EQ(stringByRemovingCharactersInString("my: group\t", " :\t\r\n"), "mygroup");
    // White-space removal now also removes colons.
    EXPECT_EQ(stringByRemovingWhitespace("a : b"), "ab");
    EXPECT_EQ(stringByRemovingCharactersInString("x-y z", "-"), "x-yz");
    EXPECT_EQ(stringByRemovingWhitespace("gr\xC3\xBCn \xE2\x82\xAC"), "gr\xC3\xBCn\xE2\x82\xAC");
}
