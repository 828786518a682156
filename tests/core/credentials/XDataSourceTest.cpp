#include "FakeOutlets.h"
#include "KLXDataSource.h"

#include <gtest/gtest.h>

namespace {

TEST(XDataSourceTest, PlainRowsHaveOneColumn)
{
    auto array = std::make_shared<KLPlist::Array>(KLPlist::Array{"10.0.0.1", "192.168.1.0/24"});
    KLXDataSource source(array);
    FakeListView view;
    EXPECT_EQ(source.numberOfRows(view), 2);
    EXPECT_EQ(source.numberOfColumns(), 1);
    EXPECT_EQ(source.objectValue(view, "address", 1), KLPlist("192.168.1.0/24"));
    EXPECT_EQ(source.objectValue(view, "anything", 0), KLPlist("10.0.0.1"));
    source.setObjectValue(view, "10.0.0.2", "whatever", 0);
    // The array is shared, not copied.
    EXPECT_EQ((*array)[0], KLPlist("10.0.0.2"));
    EXPECT_EQ(source.summaryTextForRow(1), "192.168.1.0/24");
    EXPECT_TRUE(source.objectAtRow(2, "address").isNull());
}

TEST(XDataSourceTest, DictionaryRowsAreKeyedByColumn)
{
    KLPlist::Array rows{KLPlist::Dictionary{{"user", "alice"}, {"basic password", "h1"}}};
    auto source = KLXDataSource::dataSourceWithDataArray(std::make_shared<KLPlist::Array>(rows));
    EXPECT_EQ(source->numberOfColumns(), 2);
    EXPECT_EQ(source->objectAtRow(0, "user"), KLPlist("alice"));
    EXPECT_TRUE(source->objectAtRow(0, "missing").isNull());
    source->setObject("bob", 0, "user");
    EXPECT_EQ(source->objectAtRow(0, "user"), KLPlist("bob"));
    // Every value followed by one space, the last included.
    EXPECT_EQ(source->summaryTextForRow(0), "h1 bob ");
}

TEST(XDataSourceTest, DeleteRowRemovesTheElementBeforeTheRow)
{
    auto array = std::make_shared<KLPlist::Array>(KLPlist::Array{"a", "b", "c"});
    KLXDataSource source(array);
    FakeListView view;
    EXPECT_FALSE(source.deleteRow(view, -1));
    EXPECT_FALSE(source.deleteRow(view, 4));
    // Row 0 would address no element, and the row equal to the count is
    // allowed by the bounds check and removes the last element.
    EXPECT_FALSE(source.deleteRow(view, 0));
    EXPECT_EQ(view.reloads, 0);
    EXPECT_TRUE(source.deleteRow(view, 3));
    EXPECT_EQ(*array, (KLPlist::Array{"a", "b"}));
    EXPECT_TRUE(source.deleteRow(view, 1));
    EXPECT_EQ(*array, (KLPlist::Array{"b"}));
    EXPECT_EQ(view.reloads, 2);
}

TEST(XDataSourceTest, SetDataArrayShares)
{
    KLXDataSource source;
    EXPECT_EQ(source.numberOfRows(), 0);
    auto array = std::make_shared<KLPlist::Array>(KLPlist::Array{"x"});
    source.setDataArray(array);
    array->push_back("y");
    EXPECT_EQ(source.numberOfRows(), 2);
    source.setDataArray(nullptr);
    EXPECT_EQ(source.numberOfRows(), 0);
    EXPECT_EQ(array->size(), 2u);
}

} // namespace
