#include "KLXDataSource.h"

KLXDataSource::KLXDataSource() : dataArray_(std::make_shared<KLPlist::Array>())
{
}

KLXDataSource::KLXDataSource(std::shared_ptr<KLPlist::Array> dataArray)
    : dataArray_(dataArray ? std::move(dataArray) : std::make_shared<KLPlist::Array>())
{
}

std::unique_ptr<KLXDataSource> KLXDataSource::dataSource()
{
    return std::make_unique<KLXDataSource>();
}

std::unique_ptr<KLXDataSource> KLXDataSource::dataSourceWithDataArray(std::shared_ptr<KLPlist::Array> dataArray)
{
    return std::make_unique<KLXDataSource>(std::move(dataArray));
}

void KLXDataSource::setDataArray(std::shared_ptr<KLPlist::Array> dataArray)
{
    dataArray_ = dataArray ? std::move(dataArray) : std::make_shared<KLPlist::Array>();
}

bool KLXDataSource::hasDictionaryRows() const
{
    return !dataArray_->empty() && dataArray_->front().isDictionary();
}

int KLXDataSource::numberOfRows() const
{
    return static_cast<int>(dataArray_->size());
}

int KLXDataSource::numberOfColumns() const
{
    if (hasDictionaryRows())
        return static_cast<int>(dataArray_->front().dictionary()->size());
    return 1;
}

KLPlist KLXDataSource::objectAtRow(int row, const std::string& column) const
{
    if (row < 0 || static_cast<std::size_t>(row) >= dataArray_->size())
        return {};
    const KLPlist& element = (*dataArray_)[static_cast<std::size_t>(row)];
    return hasDictionaryRows() ? element[column] : element;
}

void KLXDataSource::setObject(const KLPlist& value, int row, const std::string& column)
{
    if (row < 0 || static_cast<std::size_t>(row) >= dataArray_->size())
        return;
    KLPlist& element = (*dataArray_)[static_cast<std::size_t>(row)];
    if (!hasDictionaryRows()) {
        element = value;
        return;
    }
    if (KLPlist::Dictionary* dict = element.dictionary())
        (*dict)[column] = value;
}

int KLXDataSource::numberOfRows(KLListView&)
{
    return numberOfRows();
}

KLPlist KLXDataSource::objectValue(KLListView&, const std::string& column, int row)
{
    return objectAtRow(row, column);
}

void KLXDataSource::setObjectValue(KLListView&, const KLPlist& value, const std::string& column, int row)
{
    setObject(value, row, column);
}

std::string KLXDataSource::summaryTextForRow(int row)
{
    if (row < 0 || static_cast<std::size_t>(row) >= dataArray_->size())
        return {};
    const KLPlist& element = (*dataArray_)[static_cast<std::size_t>(row)];
    const KLPlist::Dictionary* dict = hasDictionaryRows() ? element.dictionary() : nullptr;
    if (!dict)
        return element.description();
    std::string text;
    for (const auto& [key, value] : *dict)
        text += value.description() + " ";
    return text;
}

bool KLXDataSource::deleteRow(KLListView& view, int row)
{
    if (row < 0 || row > numberOfRows(view))
        return false;
    std::size_t index = static_cast<std::size_t>(row) - 1;
    if (row == 0 || index >= dataArray_->size())
        return false;
    dataArray_->erase(dataArray_->begin() + static_cast<std::ptrdiff_t>(index));
    view.reloadData();
    return true;
}
