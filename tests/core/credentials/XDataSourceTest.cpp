#include "FakeOutlets.h"
#include "KLXDataSource.h"

#include <gtest/gtest.h>

namespace {

// Row deletion is checked through the users table, which deletes through this base.
TEST(XDataSourceTest, RowsShareTheArrayPlainOnesInOneColumnDictionariesKeyedByColumn)
{
    auto array = std::make_shared<KLPlist::Array>(KLPlist::Array{"10.0.0.1", "192.168.1.0/24"});
    KLXDataSource source(array);
    FakeListView view;
    EXPECT_EQ(std::pair(source.numberOfRows(view), source.numberOfColumns()), std::pair(2, 1));
    source.setObjectValue(view, "10.0.0.2", "whatever", 0);
    EXPECT_EQ(std::pair((*array)[0], source.summaryTextForRow(1)), std::pair(KLPlist("10.0.0.2"), std::string("192.168.1.0/24")));
    EXPECT_TRUE(source.objectAtRow(2, "address").isNull());
    source.setDataArray(nullptr);
    EXPECT_EQ(std::pair(source.numberOfRows(), array->size()), std::pair(0, std::size_t{2}));

    KLPlist::Array rows{KLPlist::Dictionary{{"user", "alice"}, {"basic password", "h1"}}};
    auto keyed = KLXDataSource::dataSourceWithDataArray(std::make_shared<KLPlist::Array>(rows));
    EXPECT_EQ(keyed->numberOfColumns(), 2);
    EXPECT_TRUE(keyed->objectAtRow(0, "missing").isNull());
    keyed->setObject("bob", 0, "user");
    EXPECT_EQ(keyed->objectAtRow(0, "user"), KLPlist("bob"));
    EXPECT_EQ(keyed->summaryTextForRow(0), "h1 bob "); // every value followed by one space
}

} // namespace
