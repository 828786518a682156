#pragma once

#include "KLOutlineDataSource.h"
#include "QtColumn.h"

#include <QAbstractItemModel>

#include <unordered_map>
#include <vector>

class KLListView;

// A Qt tree model over any KLOutlineDataSource. The source knows children
// but not parents, so the model remembers where it met each item (parent
// and row) and how many children it was told an item has; both are kept
// until the next reload, so the view always sees one consistent tree.
class QtOutlineModel : public QAbstractItemModel
{
    Q_OBJECT
public:
    QtOutlineModel(KLListView& view, QtColumns columns, QObject* parent = nullptr);

    void setDataSource(KLOutlineDataSource* source);
    KLOutlineDataSource* dataSource() const { return source_; }
    const QtColumns& columns() const { return columns_; }
    int columnIndex(const std::string& identifier) const;

    // Forgets the whole tree and asks the source again.
    void reload();
    // The source's items may be gone, and a reload follows: until then the
    // model answers from the rows it holds and never asks the source.
    void holdUntilReload() { held_ = true; }
    // Asks again for one item's cells and children (and theirs, as far as
    // they were shown). Children that stayed the same keep their rows.
    void reloadItem(KLItem item);

    KLItem itemForIndex(const QModelIndex& index) const;
    // The index of an item the model has met, or an invalid index.
    QModelIndex indexForItem(KLItem item, int column = 0) const;

    void setDragEnabled(bool enabled) { dragEnabled_ = enabled; }
    void setAcceptedDropTypes(QStringList types) { dropTypes_ = std::move(types); }

    QModelIndex index(int row, int column, const QModelIndex& parent = {}) const override;
    QModelIndex parent(const QModelIndex& index) const override;
    int rowCount(const QModelIndex& parent = {}) const override;
    int columnCount(const QModelIndex& parent = {}) const override;
    bool hasChildren(const QModelIndex& parent = {}) const override;
    QVariant data(const QModelIndex& index, int role) const override;
    bool setData(const QModelIndex& index, const QVariant& value, int role) override;
    QVariant headerData(int section, Qt::Orientation orientation, int role) const override;
    Qt::ItemFlags flags(const QModelIndex& index) const override;

    QStringList mimeTypes() const override;
    QMimeData* mimeData(const QModelIndexList& indexes) const override;
    Qt::DropActions supportedDragActions() const override;
    Qt::DropActions supportedDropActions() const override;
    bool canDropMimeData(const QMimeData* data, Qt::DropAction action, int row, int column,
                         const QModelIndex& parent) const override;
    bool dropMimeData(const QMimeData* data, Qt::DropAction action, int row, int column,
                      const QModelIndex& parent) override;

private:
    struct Node
    {
        KLItem parent = nullptr;
        int row = 0;
        // -1 until the view asks; the children met so far, by row.
        int childCount = -1;
        std::vector<KLItem> children;
    };

    Node& nodeFor(KLItem item) const;
    int childCount(KLItem item) const;
    std::vector<KLItem> currentChildren(KLItem item, int count) const;
    void forgetChildren(KLItem item);
    void emitChanged(KLItem item);
    KLCell cellAt(const QModelIndex& index) const;

    KLListView& view_;
    QtColumns columns_;
    KLOutlineDataSource* source_ = nullptr;
    bool held_ = false;
    // The top level is the entry for the null item.
    mutable std::unordered_map<KLItem, Node> nodes_;
    bool dragEnabled_ = false;
    QStringList dropTypes_;
};
