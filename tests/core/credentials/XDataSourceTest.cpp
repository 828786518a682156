#include "FakeOutlets.h"
#include "KLXDataSource.h"

#include <gtest/gtest.h>

namespace {

TEST(XDataSourceTest, PlainRowsHaveOneColumnAndShareTheArray)
{
    auto array = std::make_shared<KLPlist::Array>(KLPlist::Array{"10.0.0.1", "192.168.1.0/24"});
    KLXDataSource source(array);
    FakeListView view;
    EXPECT_EQ(std::pair(source.numberOfRows(view), source.numberOfColumns()), std::pair(2, 1));
    EXPECT_EQ(source.objectValue(view, "address", 1), KLPlist("192.168.1.0/24"));
    EXPECT_EQ(source.objectValue(view, "anything", 0), KLPlist("10.0.0.1"));
    source.setObjectValue(view, "10.0.0.2", "whatever", 0);
    EXPECT_EQ((*array)[0], KLPlist("10.0.0.2"));
    EXPECT_EQ(source.summaryTextForRow(1), "192.168.1.0/24");
    EXPECT_TRUE(source.objectAtRow(2, "address").isNull());
    array->push_back("y");
    EXPECT_EQ(source.numberOfRows(), 3);
    source.setDataArray(nullptr);
    EXPECT_EQ(source.numberOfRows(), 0);
    EXPECT_EQ(array->size(), 3u);
}

TEST(XDataSourceTest, DictionaryRowsAreKeyedByColumn)
{
    KLPlist::Array rows{KLPlist::Dictionary{{"user", "alice"}, {"basic password", "h1"}}};
    auto source = KLXDataSource::dataSourceWithDataArray(std::make_shared<KLPlist::Array>(rows));
    EXPECT_EQ(source->numberOfColumns(), 2);
    EXPECT_TRUE(source->objectAtRow(0, "missing").isNull());
    source->setObject("bob", 0, "user");
    EXPECT_EQ(source->objectAtRow(0, "user"), KLPlist("bob"));
    EXPECT_EQ(source->summaryTextForRow(0), "h1 bob "); // every value followed by one space
}

TEST(XDataSourceTest, DeleteRowRemovesTheElementBeforeTheRow)
{
    auto array = std::make_shared<KLPlist::Array>(KLPlist::Array{"a", "b", "c"});
    KLXDataSource source(array);
    FakeListView view;
    // Row 0 addresses no element; the row equal to the count removes the last.
    for (int row : {-1, 4, 0})
        EXPECT_FALSE(source.deleteRow(view, row)) << row;
    EXPECT_EQ(view.reloads, 0);
    EXPECT_TRUE(source.deleteRow(view, 3));
    EXPECT_EQ(*array, (KLPlist::Array{"a", "b"}));
    EXPECT_TRUE(source.deleteRow(view, 1));
    EXPECT_EQ(*array, (KLPlist::Array{"b"}));
    EXPECT_EQ(view.reloads, 2);
}

} // namespace
