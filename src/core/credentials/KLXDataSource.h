#pragma once

#include "KLPlist.h"
#include "KLTableDataSource.h"

#include <memory>
#include <string>

// A table source over one shared array of rows. A row is either a
// dictionary (each column identifier is a key into it) or a single value
// (the table has one column and the value is the cell); the first row
// decides which for the whole array.
class KLXDataSource : public KLTableDataSource
{
public:
    KLXDataSource();
    explicit KLXDataSource(std::shared_ptr<KLPlist::Array> dataArray);

    static std::unique_ptr<KLXDataSource> dataSource();
    static std::unique_ptr<KLXDataSource> dataSourceWithDataArray(std::shared_ptr<KLPlist::Array> dataArray);

    KLPlist::Array& dataArray() { return *dataArray_; }
    const KLPlist::Array& dataArray() const { return *dataArray_; }
    const std::shared_ptr<KLPlist::Array>& sharedDataArray() const { return dataArray_; }
    // Keeps the array itself (shared, not copied); null gives a new empty one.
    virtual void setDataArray(std::shared_ptr<KLPlist::Array> dataArray);

    virtual int numberOfRows() const;
    int numberOfColumns() const;
    // Null for a row outside the array.
    virtual KLPlist objectAtRow(int row, const std::string& column) const;
    virtual void setObject(const KLPlist& value, int row, const std::string& column);

    int numberOfRows(KLListView& view) override;
    KLPlist objectValue(KLListView& view, const std::string& column, int row) override;
    void setObjectValue(KLListView& view, const KLPlist& value, const std::string& column, int row) override;
    std::string summaryTextForRow(int row) override;

    // Removes array index row - 1: table row 0 of the users table is its
    // pseudo-row, so its rows run one ahead of the array. False for a row
    // below 0 or above the table's row count, and for a row that would
    // address no element.
    virtual bool deleteRow(KLListView& view, int row);

protected:
    bool hasDictionaryRows() const;

private:
    std::shared_ptr<KLPlist::Array> dataArray_;
};
