#pragma once

#include "KLListView.h"
#include "QtColumn.h"
#include "QtColumnWidths.h"

#include <QTableView>

#include <functional>

class QtTableModel;

// The pane's table: a QTableView over a QtTableModel that is also the
// KLListView its data source and the controller talk to. The delete key
// asks the pane to delete the selected row (-1 when none); Return ends an
// edit and keeps the row; a drag shows the row's summary text. Rows given
// to and asked of it as a KLListView are the source's rows, whatever the
// filter hides.
class KLTableView : public QTableView, public KLListView
{
    Q_OBJECT
public:
    // The font size of the drag image text.
    static constexpr int kDragFontSize = 12;
    // The rows a column fitting its contents is measured on: those shown
    // and their neighbours, all of an ordinary file's.
    static constexpr int kMeasuredRows = 100;

    KLTableView(const QString& outletName, QtColumns columns, QWidget* parent = nullptr);

    QtTableModel* tableModel() const { return model_; }
    int columnIndex(const std::string& identifier) const;
    // Whether a cell's text is being edited in place.
    bool isEditing() const { return state() == QAbstractItemView::EditingState; }
    // Lets rows be dragged, and drops of these types land on rows.
    void setDragTypes(bool dragRows, const QStringList& dropTypes);

    // Shows only the rows whose name contains `text`, keeping the selection
    // where it is still shown.
    void setFilterText(const QString& text);

    // The image a drag of these rows shows.
    QPixmap dragImageForRows(const std::vector<int>& rows) const;

    // KLControl
    void setEnabled(bool enabled) override { QTableView::setEnabled(enabled); }
    bool isEnabled() const override { return QTableView::isEnabled(); }
    void setHidden(bool hidden) override { QTableView::setHidden(hidden); }
    bool isHidden() const override { return QTableView::isHidden(); }
    void setToolTip(const std::string& toolTip) override;
    std::string toolTip() const override;

    // KLListView
    std::string name() const override;
    void setDataSource(KLTableDataSource* source) override;
    void reloadData() override;
    void reloadItem(KLItem item) override;
    int numberOfRows() const override;
    int selectedRow() const override;
    std::vector<int> selectedRows() const override;
    void selectRow(int row, bool extendSelection) override;
    void deselectAll() override;
    void editColumn(const std::string& column, int row) override;
    int editedRow() const override;
    KLItem itemAtRow(int row) const override;
    int rowForItem(KLItem item) const override;
    void expandItem(KLItem) override {}
    void collapseItem(KLItem) override {}
    bool isItemExpanded(KLItem) const override { return false; }
    void setNeedsDisplay() override;

signals:
    // The selected rows changed, by the user or by the controller.
    void selectionDidChange();

protected:
    void changeEvent(QEvent* event) override;
    int sizeHintForColumn(int column) const override;
    void keyPressEvent(QKeyEvent* event) override;
    void startDrag(Qt::DropActions supportedActions) override;
    void selectionChanged(const QItemSelection& selected, const QItemSelection& deselected) override;

private:
    // Runs a change of the rows and selects the source rows selected before,
    // as far as they are shown.
    void keepingSelection(const std::function<void()>& change);

    QtTableModel* model_;
    bool quiet_ = false;
    mutable QtColumnWidths columnWidths_;
};
