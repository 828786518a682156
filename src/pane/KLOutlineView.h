#pragma once

#include "KLListView.h"
#include "KLNameFilter.h"
#include "QtColumn.h"
#include "QtColumnWidths.h"

#include <QPointer>
#include <QTreeView>

#include <set>

class QtOutlineModel;

// The pane's outline: a QTreeView over a QtOutlineModel that is also the
// KLListView its data source and the controller talk to. Rows are counted
// as shown (expanded children included). The delete key asks the pane to
// delete the selected row (-1 when none); Return ends an edit and keeps the
// row; a data source with text validation decides whether an edit may end;
// the source may refuse a selection the user makes. The edit key on a row
// edits its first editable column, whichever column is current. A filter
// hides the rows whose name does not contain its text: a group stays when
// its name or a member's does, and opens to show the members that do.
class KLOutlineView : public QTreeView, public KLListView
{
    Q_OBJECT
public:
    KLOutlineView(const QString& outletName, QtColumns columns, QWidget* parent = nullptr);
    using QTreeView::edit;

    QtOutlineModel* outlineModel() const { return model_; }
    int columnIndex(const std::string& identifier) const;
    // Whether a cell's text is being edited in place.
    bool isEditing() const { return state() == QAbstractItemView::EditingState; }
    void setDragTypes(bool dragItems, const QStringList& dropTypes);
    void setIntercellSpacing(const QSize& spacing);
    void setFilterText(const QString& text);

    QModelIndex indexAtRow(int row, int column = 0) const;
    // Selects a row as the user's choice: the source may refuse it.
    bool userSelectRow(int row);
    int rowForIndex(const QModelIndex& index) const;
    // Qt's answer to a model reset; it lets go of any open editor.
    void reset() override;

    // KLControl
    void setEnabled(bool enabled) override { QTreeView::setEnabled(enabled); }
    bool isEnabled() const override { return QTreeView::isEnabled(); }
    void setHidden(bool hidden) override { QTreeView::setHidden(hidden); }
    bool isHidden() const override { return QTreeView::isHidden(); }
    void setToolTip(const std::string& toolTip) override;
    std::string toolTip() const override;

    // KLListView
    std::string name() const override;
    void setDataSource(KLOutlineDataSource* source) override;
    void reloadData() override;
    void reloadItem(KLItem item) override;
    int numberOfRows() const override;
    int selectedRow() const override;
    std::vector<int> selectedRows() const override;
    void selectRow(int row, bool extendSelection) override;
    void deselectAll() override;
    void editColumn(const std::string& column, int row) override;
    int editedRow() const override { return isEditing() ? rowForIndex(currentIndex()) : -1; }
    KLItem itemAtRow(int row) const override;
    int rowForItem(KLItem item) const override;
    void expandItem(KLItem item) override;
    void collapseItem(KLItem item) override;
    bool isItemExpanded(KLItem item) const override;
    void setNeedsDisplay() override;

signals:
    void selectionDidChange();

protected:
    bool edit(const QModelIndex& index, EditTrigger trigger, QEvent* event) override;
    void keyPressEvent(QKeyEvent* event) override;
    void paintEvent(QPaintEvent* event) override;
    int sizeHintForColumn(int column) const override;
    QItemSelectionModel::SelectionFlags selectionCommand(const QModelIndex& index,
                                                         const QEvent* event = nullptr) const override;
    void selectionChanged(const QItemSelection& selected, const QItemSelection& deselected) override;
    void commitData(QWidget* editor) override;
    void closeEditor(QWidget* editor, QAbstractItemDelegate::EndEditHint hint) override;

private:
    void notifySelection();
    void applyFilter();
    // The first row shown, or an invalid index.
    QModelIndex firstRow() const;
    void endReleasedEdit(QAbstractItemDelegate::EndEditHint hint);
    void expandPending();
    void collectExpansion(std::set<KLItem>& expanded, const QModelIndex& parent) const;
    void restoreExpansion(const std::set<KLItem>& expanded, const QModelIndex& parent);

    QtOutlineModel* model_;
    mutable QtColumnWidths columnWidths_;
    KLNameFilter filter_;
    bool quiet_ = false;
    bool painting_ = false;
    std::set<KLItem> pendingExpansion_;
    // The editor whose text the source refused; it stays open.
    QPointer<QWidget> refusedEditor_;
    // Set while an edit is being stored: a source that reloads the view then
    // makes Qt let go of the editor before the edit has ended.
    bool committing_ = false;
    bool releasedWhileCommitting_ = false;
    bool editorHadFocus_ = false;
    int editedColumn_ = -1;
    // A refused press also refuses the release and moves that follow it.
    mutable bool refusedPress_ = false;
};
