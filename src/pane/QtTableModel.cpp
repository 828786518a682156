#include "QtTableModel.h"

#include "KLListView.h"
#include "QtCellData.h"
#include "QtPasteboard.h"
#include "QtStrings.h"

#include <QMimeData>

#include <algorithm>
#include <optional>
#include <set>

QtTableModel::QtTableModel(KLListView& view, QtColumns columns, QObject* parent)
    : QAbstractTableModel(parent), view_(view), columns_(std::move(columns))
{
}

void QtTableModel::setDataSource(KLTableDataSource* source)
{
    source_ = source;
    reload();
}

int QtTableModel::columnIndex(const std::string& identifier) const
{
    for (std::size_t i = 0; i < columns_.size(); ++i)
        if (columns_[i].identifier == identifier)
            return static_cast<int>(i);
    return -1;
}

void QtTableModel::reload()
{
    beginResetModel();
    rows_ = source_ ? std::max(0, source_->numberOfRows(view_)) : 0;
    if (filter_.isActive())
        filter_.refresh(rows_, nameAt());
    endResetModel();
}

KLNameFilter::NameAt QtTableModel::nameAt() const
{
    auto column = std::find_if(columns_.begin(), columns_.end(),
                               [](const QtColumn& c) { return c.kind == QtColumn::Kind::Text; });
    if (!source_ || column == columns_.end())
        return [](int) { return std::string(); };
    return [this, identifier = column->identifier](int row) {
        return source_->objectValue(view_, identifier, row).description();
    };
}

void QtTableModel::setFilterText(const QString& text)
{
    beginResetModel();
    filter_.setText(fromQt(text), rows_, nameAt());
    endResetModel();
}

void QtTableModel::rowChanged(int row)
{
    int shown = shownRow(row);
    if (shown >= 0 && shown < rowCount() && !columns_.empty())
        emit dataChanged(index(shown, 0), index(shown, static_cast<int>(columns_.size()) - 1));
}

int QtTableModel::rowCount(const QModelIndex& parent) const
{
    return parent.isValid() ? 0 : filter_.count(rows_);
}

int QtTableModel::columnCount(const QModelIndex& parent) const
{
    return parent.isValid() ? 0 : static_cast<int>(columns_.size());
}

// A source changes its rows first and reloads its view after; until then
// the rows past its new end are not asked for.
bool QtTableModel::isLive(int shown) const
{
    int row = sourceRow(shown);
    return source_ && row >= 0 && row < rows_ && row < source_->numberOfRows(view_);
}

KLCell QtTableModel::cellAt(const QModelIndex& index) const
{
    KLCell cell;
    source_->willDisplayCell(view_, cell, columns_[static_cast<std::size_t>(index.column())].identifier,
                             sourceRow(index.row()));
    return cell;
}

QVariant QtTableModel::data(const QModelIndex& index, int role) const
{
    if (!index.isValid() || !checkIndex(index, CheckIndexOption::IndexIsValid) || !isLive(index.row()))
        return {};
    const QtColumn& column = columns_[static_cast<std::size_t>(index.column())];
    if (role == QtColumn::kSummaryRole)
        return toQt(source_->summaryTextForRow(sourceRow(index.row())));
    KLPlist value = source_->objectValue(view_, column.identifier, sourceRow(index.row()));
    return QtCellData::data(column, value, cellAt(index), role);
}

void QtTableModel::multiData(const QModelIndex& index, QModelRoleDataSpan roleDataSpan) const
{
    if (!index.isValid() || !checkIndex(index, CheckIndexOption::IndexIsValid) || !isLive(index.row())) {
        for (QModelRoleData& roleData : roleDataSpan)
            roleData.clearData();
        return;
    }
    const QtColumn& column = columns_[static_cast<std::size_t>(index.column())];
    std::optional<KLPlist> value;
    std::optional<KLCell> cell;
    for (QModelRoleData& roleData : roleDataSpan) {
        if (roleData.role() == QtColumn::kSummaryRole) {
            roleData.setData(toQt(source_->summaryTextForRow(sourceRow(index.row()))));
            continue;
        }
        if (!value) {
            value = source_->objectValue(view_, column.identifier, sourceRow(index.row()));
            cell = cellAt(index);
        }
        roleData.setData(QtCellData::data(column, *value, *cell, roleData.role()));
    }
}

bool QtTableModel::setData(const QModelIndex& index, const QVariant& value, int role)
{
    if (!index.isValid() || !checkIndex(index, CheckIndexOption::IndexIsValid) || !isLive(index.row()))
        return false;
    const QtColumn& column = columns_[static_cast<std::size_t>(index.column())];
    auto edit = QtCellData::valueForEdit(column, value, role);
    if (!edit)
        return false;
    int row = sourceRow(index.row());
    // The source may reload the view from here; the index is not used after.
    source_->setObjectValue(view_, *edit, column.identifier, row);
    rowChanged(row);
    return true;
}

QVariant QtTableModel::headerData(int section, Qt::Orientation orientation, int role) const
{
    if (orientation != Qt::Horizontal || role != Qt::DisplayRole || section < 0 ||
        section >= static_cast<int>(columns_.size()))
        return {};
    return columns_[static_cast<std::size_t>(section)].title;
}

Qt::ItemFlags QtTableModel::flags(const QModelIndex& index) const
{
    if (!index.isValid() || !checkIndex(index, CheckIndexOption::IndexIsValid))
        return dropTypes_.isEmpty() ? Qt::NoItemFlags : Qt::ItemIsDropEnabled;
    // A row the source has dropped stays selected until the reload.
    if (!isLive(index.row()))
        return Qt::ItemIsSelectable | Qt::ItemIsEnabled | Qt::ItemNeverHasChildren;
    const QtColumn& column = columns_[static_cast<std::size_t>(index.column())];
    bool editable = column.kind == QtColumn::Kind::Text && column.editable &&
                    source_->shouldEdit(view_, column.identifier, sourceRow(index.row()));
    Qt::ItemFlags flags = QtCellData::flags(column, cellAt(index), editable) | Qt::ItemNeverHasChildren;
    if (dragEnabled_)
        flags |= Qt::ItemIsDragEnabled;
    if (!dropTypes_.isEmpty())
        flags |= Qt::ItemIsDropEnabled;
    return flags;
}

QStringList QtTableModel::mimeTypes() const
{
    return dropTypes_.isEmpty() ? QStringList{toQt(KLPasteboard::kFendrelUserType)} : dropTypes_;
}

QMimeData* QtTableModel::mimeData(const QModelIndexList& indexes) const
{
    if (!source_ || !dragEnabled_)
        return nullptr;
    std::set<int> unique;
    for (const QModelIndex& index : indexes)
        if (isLive(index.row()))
            unique.insert(sourceRow(index.row()));
    std::vector<int> rows(unique.begin(), unique.end());
    KLPasteboard pasteboard;
    if (rows.empty() || !source_->writeRows(view_, rows, pasteboard))
        return nullptr;
    return QtPasteboard::toMimeData(pasteboard);
}

Qt::DropActions QtTableModel::supportedDragActions() const
{
    return dragEnabled_ ? Qt::CopyAction : Qt::IgnoreAction;
}

Qt::DropActions QtTableModel::supportedDropActions() const
{
    return dropTypes_.isEmpty() ? Qt::IgnoreAction : Qt::CopyAction;
}

std::pair<int, KLDropOperation> QtTableModel::dropTarget(int row, const QModelIndex& parent) const
{
    if (parent.isValid())
        return {sourceRow(parent.row()), KLDropOperation::On};
    // Below the last row: above the row that would follow it.
    int above = row < 0 || row >= rowCount() ? rows_ : sourceRow(row);
    return {above, KLDropOperation::Above};
}

bool QtTableModel::canDropMimeData(const QMimeData* data, Qt::DropAction, int row, int, const QModelIndex& parent) const
{
    if (!source_ || !data || dropTypes_.isEmpty())
        return false;
    KLPasteboard pasteboard = QtPasteboard::fromMimeData(*data, dropTypes_);
    if (pasteboard.types().empty())
        return false;
    auto [target, operation] = dropTarget(row, parent);
    return source_->validateDrop(view_, pasteboard, target, operation) != KLDragOperation::None;
}

bool QtTableModel::dropMimeData(const QMimeData* data, Qt::DropAction action, int row, int column,
                                const QModelIndex& parent)
{
    if (!canDropMimeData(data, action, row, column, parent))
        return false;
    KLPasteboard pasteboard = QtPasteboard::fromMimeData(*data, dropTypes_);
    auto [target, operation] = dropTarget(row, parent);
    return source_->acceptDrop(view_, pasteboard, target, operation);
}
