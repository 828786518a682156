#pragma once

#include "KLListView.h"
#include "QtColumn.h"

#include <QTableView>

class QtTableModel;

// The pane's table: a QTableView over a QtTableModel that is also the
// KLListView its data source and the controller talk to. The delete key
// asks the pane to delete the selected row (-1 when none); Return ends an
// edit and keeps the row; a drag shows the row's summary text.
class KLTableView : public QTableView, public KLListView
{
    Q_OBJECT
public:
    // The font size of the drag image text.
    static constexpr int kDragFontSize = 12;

    KLTableView(const QString& outletName, QtColumns columns, QWidget* parent = nullptr);

    QtTableModel* tableModel() const { return model_; }
    int columnIndex(const std::string& identifier) const;
    // Whether a cell's text is being edited in place.
    bool isEditing() const { return state() == QAbstractItemView::EditingState; }
    // Lets rows be dragged, and drops of these types land on rows.
    void setDragTypes(bool dragRows, const QStringList& dropTypes);

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
    int editedRow() const override { return isEditing() ? currentIndex().row() : -1; }
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
    void keyPressEvent(QKeyEvent* event) override;
    void startDrag(Qt::DropActions supportedActions) override;
    void selectionChanged(const QItemSelection& selected, const QItemSelection& deselected) override;

private:
    QtTableModel* model_;
    bool quiet_ = false;
};
