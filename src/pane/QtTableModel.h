#pragma once

#include "KLNameFilter.h"
#include "KLTableDataSource.h"
#include "QtColumn.h"

#include <QAbstractTableModel>

class KLListView;

// A Qt table model over any KLTableDataSource: rows and cell values come
// from the source, cell looks from its willDisplayCell, edits and check
// box clicks go back to it, and drags carry the pasteboard it fills. The
// row count is taken at each reload, as the source's views expect. A filter
// on the first text column hides rows: the model's rows are the shown ones,
// sourceRow() and shownRow() map them to the rows the source knows.
class QtTableModel : public QAbstractTableModel
{
    Q_OBJECT
public:
    QtTableModel(KLListView& view, QtColumns columns, QObject* parent = nullptr);

    void setDataSource(KLTableDataSource* source);
    KLTableDataSource* dataSource() const { return source_; }
    const QtColumns& columns() const { return columns_; }
    int columnIndex(const std::string& identifier) const;
    void reload();
    // Tells the view that a source row's cells may have changed.
    void rowChanged(int row);
    // Shows only the rows whose name contains `text` (all when empty).
    void setFilterText(const QString& text);
    int sourceRowCount() const { return rows_; }
    int sourceRow(int shownRow) const { return filter_.rowAt(shownRow); }
    int shownRow(int sourceRow) const { return filter_.shownRow(sourceRow); }

    // Whether rows may be dragged out and "KLFendrelUser" drops taken.
    void setDragEnabled(bool enabled) { dragEnabled_ = enabled; }
    void setAcceptedDropTypes(QStringList types) { dropTypes_ = std::move(types); }

    int rowCount(const QModelIndex& parent = {}) const override;
    int columnCount(const QModelIndex& parent = {}) const override;
    QVariant data(const QModelIndex& index, int role) const override;
    // The roles a delegate asks for at once, from one look at the source.
    void multiData(const QModelIndex& index, QModelRoleDataSpan roleDataSpan) const override;
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
    bool isLive(int row) const;
    KLCell cellAt(const QModelIndex& index) const;
    KLNameFilter::NameAt nameAt() const;
    // Where a Qt drop lands, as the source sees it.
    std::pair<int, KLDropOperation> dropTarget(int row, const QModelIndex& parent) const;

    KLListView& view_;
    QtColumns columns_;
    KLTableDataSource* source_ = nullptr;
    int rows_ = 0;
    KLNameFilter filter_;
    bool dragEnabled_ = false;
    QStringList dropTypes_;
};
