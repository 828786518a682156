#include "QtOutlineModel.h"

#include "KLListView.h"
#include "QtCellData.h"
#include "QtPasteboard.h"
#include "QtStrings.h"

#include <QMimeData>

#include <algorithm>

QtOutlineModel::QtOutlineModel(KLListView& view, QtColumns columns, QObject* parent)
    : QAbstractItemModel(parent), view_(view), columns_(std::move(columns))
{
}

void QtOutlineModel::setDataSource(KLOutlineDataSource* source)
{
    source_ = source;
    reload();
}

int QtOutlineModel::columnIndex(const std::string& identifier) const
{
    for (std::size_t i = 0; i < columns_.size(); ++i)
        if (columns_[i].identifier == identifier)
            return static_cast<int>(i);
    return -1;
}

void QtOutlineModel::reload()
{
    beginResetModel();
    nodes_.clear();
    held_ = false;
    endResetModel();
}

QtOutlineModel::Node& QtOutlineModel::nodeFor(KLItem item) const
{
    return nodes_[item];
}

int QtOutlineModel::childCount(KLItem item) const
{
    Node& node = nodeFor(item);
    if (node.childCount < 0) {
        if (held_)
            return 0;
        node.childCount = source_ ? std::max(0, source_->numberOfChildren(view_, item)) : 0;
        node.children.assign(static_cast<std::size_t>(node.childCount), nullptr);
    }
    return node.childCount;
}

std::vector<KLItem> QtOutlineModel::currentChildren(KLItem item, int count) const
{
    std::vector<KLItem> children;
    for (int i = 0; i < count; ++i)
        children.push_back(source_->child(view_, i, item));
    return children;
}

void QtOutlineModel::forgetChildren(KLItem item)
{
    auto it = nodes_.find(item);
    if (it == nodes_.end())
        return;
    std::vector<KLItem> children = std::move(it->second.children);
    it->second.children.clear();
    it->second.childCount = -1;
    for (KLItem child : children) {
        if (!child)
            continue;
        forgetChildren(child);
        nodes_.erase(child);
    }
}

void QtOutlineModel::reloadItem(KLItem item)
{
    if (!source_)
        return;
    if (!item) {
        reload();
        return;
    }
    QModelIndex parentIndex = indexForItem(item);
    if (!parentIndex.isValid())
        return;
    Node& node = nodes_.at(item);
    if (node.childCount >= 0) {
        int fresh = std::max(0, source_->numberOfChildren(view_, item));
        std::vector<KLItem> freshChildren = currentChildren(item, fresh);
        bool same = fresh == node.childCount;
        for (std::size_t i = 0; same && i < node.children.size(); ++i)
            same = !node.children[i] || node.children[i] == freshChildren[i];
        if (same) {
            std::vector<KLItem> known = node.children;
            for (KLItem child : known)
                if (child)
                    reloadItem(child);
        } else {
            if (node.childCount > 0) {
                beginRemoveRows(parentIndex, 0, node.childCount - 1);
                std::vector<KLItem> old = std::move(node.children);
                node.children.clear();
                node.childCount = 0;
                endRemoveRows();
                for (KLItem child : old) {
                    if (child) {
                        forgetChildren(child);
                        nodes_.erase(child);
                    }
                }
            }
            Node& refreshed = nodes_.at(item);
            if (fresh > 0) {
                beginInsertRows(parentIndex, 0, fresh - 1);
                refreshed.childCount = fresh;
                refreshed.children.assign(static_cast<std::size_t>(fresh), nullptr);
                endInsertRows();
            } else {
                refreshed.childCount = 0;
            }
        }
    }
    emitChanged(item);
}

void QtOutlineModel::emitChanged(KLItem item)
{
    QModelIndex first = indexForItem(item, 0);
    if (first.isValid() && !columns_.empty())
        emit dataChanged(first, indexForItem(item, static_cast<int>(columns_.size()) - 1));
}

KLItem QtOutlineModel::itemForIndex(const QModelIndex& index) const
{
    return index.isValid() ? index.internalPointer() : nullptr;
}

QModelIndex QtOutlineModel::indexForItem(KLItem item, int column) const
{
    if (!item)
        return {};
    auto it = nodes_.find(item);
    if (it == nodes_.end())
        return {};
    auto parent = nodes_.find(it->second.parent);
    std::size_t row = static_cast<std::size_t>(it->second.row);
    if (parent == nodes_.end() || row >= parent->second.children.size() || parent->second.children[row] != item)
        return {};
    return createIndex(it->second.row, column, item);
}

QModelIndex QtOutlineModel::index(int row, int column, const QModelIndex& parent) const
{
    if (!source_ || !hasIndex(row, column, parent))
        return {};
    KLItem parentItem = itemForIndex(parent);
    childCount(parentItem);
    Node& parentNode = nodeFor(parentItem);
    KLItem& child = parentNode.children[static_cast<std::size_t>(row)];
    if (!child) {
        if (held_)
            return {};
        child = source_->child(view_, row, parentItem);
        Node& childNode = nodes_[child];
        childNode.parent = parentItem;
        childNode.row = row;
    }
    return createIndex(row, column, child);
}

QModelIndex QtOutlineModel::parent(const QModelIndex& index) const
{
    if (!index.isValid())
        return {};
    auto it = nodes_.find(index.internalPointer());
    if (it == nodes_.end() || !it->second.parent)
        return {};
    KLItem parentItem = it->second.parent;
    return createIndex(nodes_.at(parentItem).row, 0, parentItem);
}

int QtOutlineModel::rowCount(const QModelIndex& parent) const
{
    if (!source_ || parent.column() > 0)
        return 0;
    return childCount(itemForIndex(parent));
}

int QtOutlineModel::columnCount(const QModelIndex&) const
{
    return static_cast<int>(columns_.size());
}

bool QtOutlineModel::hasChildren(const QModelIndex& parent) const
{
    if (!source_ || parent.column() > 0)
        return false;
    KLItem item = itemForIndex(parent);
    if (!item)
        return childCount(nullptr) > 0;
    auto it = nodes_.find(item);
    if (it != nodes_.end() && it->second.childCount > 0)
        return true;
    return !held_ && source_->isItemExpandable(view_, item);
}

KLCell QtOutlineModel::cellAt(const QModelIndex& index) const
{
    KLCell cell;
    source_->willDisplayCell(view_, cell, columns_[static_cast<std::size_t>(index.column())].identifier,
                             index.internalPointer());
    return cell;
}

QVariant QtOutlineModel::data(const QModelIndex& index, int role) const
{
    if (!source_ || held_ || !index.isValid() || !checkIndex(index, CheckIndexOption::IndexIsValid))
        return {};
    if (role == QtColumn::kSummaryRole)
        return toQt(source_->summaryTextForItem(index.internalPointer()));
    const QtColumn& column = columns_[static_cast<std::size_t>(index.column())];
    KLPlist value = source_->objectValue(view_, column.identifier, index.internalPointer());
    return QtCellData::data(column, value, cellAt(index), role);
}

bool QtOutlineModel::setData(const QModelIndex& index, const QVariant& value, int role)
{
    if (!source_ || held_ || !index.isValid() || !checkIndex(index, CheckIndexOption::IndexIsValid))
        return false;
    const QtColumn& column = columns_[static_cast<std::size_t>(index.column())];
    auto edit = QtCellData::valueForEdit(column, value, role);
    if (!edit)
        return false;
    KLItem item = index.internalPointer();
    // The source may reload the view from here; the index is not used after.
    source_->setObjectValue(view_, *edit, column.identifier, item);
    emitChanged(item);
    return true;
}

QVariant QtOutlineModel::headerData(int section, Qt::Orientation orientation, int role) const
{
    if (orientation != Qt::Horizontal || role != Qt::DisplayRole || section < 0 ||
        section >= static_cast<int>(columns_.size()))
        return {};
    return columns_[static_cast<std::size_t>(section)].title;
}

Qt::ItemFlags QtOutlineModel::flags(const QModelIndex& index) const
{
    // Rows held for a reload keep what selection and expansion look at.
    if (held_ && index.isValid())
        return Qt::ItemIsEnabled | Qt::ItemIsSelectable;
    if (!source_ || !index.isValid() || !checkIndex(index, CheckIndexOption::IndexIsValid))
        return dropTypes_.isEmpty() ? Qt::NoItemFlags : Qt::ItemIsDropEnabled;
    const QtColumn& column = columns_[static_cast<std::size_t>(index.column())];
    bool editable = column.kind == QtColumn::Kind::Text && column.editable &&
                    source_->shouldEdit(view_, column.identifier, index.internalPointer());
    Qt::ItemFlags flags = QtCellData::flags(column, cellAt(index), editable);
    if (dragEnabled_)
        flags |= Qt::ItemIsDragEnabled;
    if (!dropTypes_.isEmpty())
        flags |= Qt::ItemIsDropEnabled;
    return flags;
}

QStringList QtOutlineModel::mimeTypes() const
{
    return dropTypes_.isEmpty() ? QStringList{toQt(KLPasteboard::kFendrelUserType)} : dropTypes_;
}

QMimeData* QtOutlineModel::mimeData(const QModelIndexList& indexes) const
{
    if (!source_ || !dragEnabled_)
        return nullptr;
    std::vector<KLItem> items;
    for (const QModelIndex& index : indexes)
        if (index.isValid() && std::find(items.begin(), items.end(), index.internalPointer()) == items.end())
            items.push_back(index.internalPointer());
    KLPasteboard pasteboard;
    if (items.empty() || !source_->writeItems(view_, items, pasteboard))
        return nullptr;
    return QtPasteboard::toMimeData(pasteboard);
}

Qt::DropActions QtOutlineModel::supportedDragActions() const
{
    return dragEnabled_ ? Qt::CopyAction : Qt::IgnoreAction;
}

Qt::DropActions QtOutlineModel::supportedDropActions() const
{
    return dropTypes_.isEmpty() ? Qt::IgnoreAction : Qt::CopyAction;
}

// Qt says "on parent" with row -1 and "between" with the row inside parent;
// the source's child index is -1 for "on" as well.
bool QtOutlineModel::canDropMimeData(const QMimeData* data, Qt::DropAction, int row, int,
                                     const QModelIndex& parent) const
{
    if (!source_ || !data || dropTypes_.isEmpty())
        return false;
    KLPasteboard pasteboard = QtPasteboard::fromMimeData(*data, dropTypes_);
    if (pasteboard.types().empty())
        return false;
    return source_->validateDrop(view_, pasteboard, itemForIndex(parent), row) != KLDragOperation::None;
}

bool QtOutlineModel::dropMimeData(const QMimeData* data, Qt::DropAction action, int row, int column,
                                  const QModelIndex& parent)
{
    if (!canDropMimeData(data, action, row, column, parent))
        return false;
    KLPasteboard pasteboard = QtPasteboard::fromMimeData(*data, dropTypes_);
    return source_->acceptDrop(view_, pasteboard, itemForIndex(parent), row);
}
