#include "KLTableView.h"

#include "KLListKeys.h"
#include "KLPaneContext.h"
#include "QtCellDelegate.h"
#include "QtStrings.h"
#include "QtTableModel.h"

#include <QApplication>
#include <QDrag>
#include <QHeaderView>
#include <QKeyEvent>
#include <QLineEdit>
#include <QMimeData>
#include <QPainter>

#include <algorithm>

KLTableView::KLTableView(const QString& outletName, QtColumns columns, QWidget* parent)
    : QTableView(parent), model_(new QtTableModel(*this, std::move(columns), this)),
      columnWidths_(*this, *model_)
{
    setObjectName(outletName);
    setModel(model_);
    setItemDelegate(new QtCellDelegate(this));
    setSelectionBehavior(QAbstractItemView::SelectRows);
    setSelectionMode(QAbstractItemView::SingleSelection);
    setEditTriggers(QAbstractItemView::DoubleClicked | QAbstractItemView::EditKeyPressed |
                    QAbstractItemView::SelectedClicked);
    // Tab leaves the table for the next control instead of walking its cells.
    setTabKeyNavigation(false);
    setShowGrid(false);
    setAlternatingRowColors(true);
    setWordWrap(false);
    verticalHeader()->hide();
    verticalHeader()->setDefaultSectionSize(QtCellDelegate::tableRowHeight(this));
    horizontalHeader()->setHighlightSections(false);
    horizontalHeader()->setStretchLastSection(true);
    horizontalHeader()->setResizeContentsPrecision(kMeasuredRows);
}

int KLTableView::columnIndex(const std::string& identifier) const
{
    return model_->columnIndex(identifier);
}

void KLTableView::setDragTypes(bool dragRows, const QStringList& dropTypes)
{
    model_->setDragEnabled(dragRows);
    model_->setAcceptedDropTypes(dropTypes);
    setDragEnabled(dragRows);
    setAcceptDrops(!dropTypes.isEmpty());
    setDropIndicatorShown(!dropTypes.isEmpty());
    setDragDropMode(dragRows && !dropTypes.isEmpty() ? QAbstractItemView::DragDrop
                    : dragRows                       ? QAbstractItemView::DragOnly
                    : !dropTypes.isEmpty()           ? QAbstractItemView::DropOnly
                                                     : QAbstractItemView::NoDragDrop);
}

void KLTableView::setToolTip(const std::string& toolTip)
{
    QTableView::setToolTip(toQt(toolTip));
}

std::string KLTableView::toolTip() const
{
    return fromQt(QTableView::toolTip());
}

std::string KLTableView::name() const
{
    return fromQt(objectName());
}

void KLTableView::setDataSource(KLTableDataSource* source)
{
    model_->setDataSource(source);
}

// The selection survives a reload by row, as far as the rows still exist;
// the controller hears of it only when it changed.
void KLTableView::reloadData()
{
    keepingSelection([this] { model_->reload(); });
}

void KLTableView::setFilterText(const QString& text)
{
    keepingSelection([this, &text] { model_->setFilterText(text); });
}

void KLTableView::keepingSelection(const std::function<void()>& change)
{
    std::vector<int> before = selectedRows();
    int current = currentIndex().isValid() ? model_->sourceRow(currentIndex().row()) : -1;
    quiet_ = true;
    change();
    for (int row : before)
        if (int shown = model_->shownRow(row); shown >= 0 && shown < model_->rowCount())
            selectionModel()->select(model_->index(shown, 0), QItemSelectionModel::Select | QItemSelectionModel::Rows);
    if (int shown = model_->shownRow(current); current >= 0 && shown >= 0 && shown < model_->rowCount())
        selectionModel()->setCurrentIndex(model_->index(shown, 0), QItemSelectionModel::NoUpdate);
    quiet_ = false;
    if (selectedRows() != before)
        emit selectionDidChange();
}

void KLTableView::reloadItem(KLItem)
{
    columnWidths_.forget();
    viewport()->update();
}

int KLTableView::numberOfRows() const
{
    return model_->sourceRowCount();
}

int KLTableView::selectedRow() const
{
    QModelIndex current = currentIndex();
    if (current.isValid() && selectionModel()->isRowSelected(current.row(), QModelIndex()))
        return model_->sourceRow(current.row());
    std::vector<int> rows = selectedRows();
    return rows.empty() ? -1 : rows.front();
}

std::vector<int> KLTableView::selectedRows() const
{
    std::vector<int> rows;
    for (const QModelIndex& index : selectionModel()->selectedRows())
        rows.push_back(model_->sourceRow(index.row()));
    std::sort(rows.begin(), rows.end());
    return rows;
}

void KLTableView::selectRow(int sourceRow, bool extendSelection)
{
    int row = model_->shownRow(sourceRow);
    if (row < 0 || row >= model_->rowCount())
        return;
    auto flags = (extendSelection ? QItemSelectionModel::Select : QItemSelectionModel::ClearAndSelect) |
                 QItemSelectionModel::Rows;
    selectionModel()->setCurrentIndex(model_->index(row, 0), flags);
    scrollTo(model_->index(row, 0));
}

void KLTableView::deselectAll()
{
    clearSelection();
}

void KLTableView::editColumn(const std::string& column, int row)
{
    int col = model_->columnIndex(column);
    int shown = model_->shownRow(row);
    if (col < 0 || row < 0 || shown < 0 || shown >= model_->rowCount())
        return;
    QModelIndex index = model_->index(shown, col);
    scrollTo(index);
    setCurrentIndex(index);
    if (edit(index, QAbstractItemView::AllEditTriggers, nullptr))
        if (auto* editor = qobject_cast<QLineEdit*>(indexWidget(index)))
            editor->selectAll();
}

int KLTableView::editedRow() const
{
    return isEditing() ? model_->sourceRow(currentIndex().row()) : -1;
}

KLItem KLTableView::itemAtRow(int) const
{
    return nullptr;
}

int KLTableView::rowForItem(KLItem) const
{
    return -1;
}

void KLTableView::setNeedsDisplay()
{
    columnWidths_.forget();
    viewport()->update();
}

// The rows follow the font, as the groups outline's do.
void KLTableView::changeEvent(QEvent* event)
{
    QTableView::changeEvent(event);
    if (event->type() == QEvent::FontChange)
        verticalHeader()->setDefaultSectionSize(QtCellDelegate::tableRowHeight(this));
}

int KLTableView::sizeHintForColumn(int column) const
{
    return columnWidths_.width(column, [this, column] { return QTableView::sizeHintForColumn(column); });
}

void KLTableView::keyPressEvent(QKeyEvent* event)
{
    if (state() != QAbstractItemView::EditingState && KLListKeys::isDeleteKey(*event)) {
        if (KLPaneContext* pane = KLPaneContext::shared())
            pane->deleteRow(this, selectedRow());
        event->accept();
        return;
    }
    QTableView::keyPressEvent(event);
}

void KLTableView::selectionChanged(const QItemSelection& selected, const QItemSelection& deselected)
{
    QTableView::selectionChanged(selected, deselected);
    if (!quiet_)
        emit selectionDidChange();
}

QPixmap KLTableView::dragImageForRows(const std::vector<int>& rows) const
{
    if (rows.empty())
        return {};
    QString text = model_->index(model_->shownRow(rows.front()), 0).data(QtColumn::kSummaryRole).toString();
    QFont font = QApplication::font();
    font.setPointSize(kDragFontSize);
    QFontMetrics metrics(font);
    QSize size(std::max(1, metrics.horizontalAdvance(text)), metrics.height());
    qreal ratio = devicePixelRatioF();
    QPixmap image(size * ratio);
    image.setDevicePixelRatio(ratio);
    image.fill(Qt::transparent);
    QPainter painter(&image);
    painter.setFont(font);
    painter.setPen(palette().color(QPalette::Text));
    painter.drawText(QPoint(0, metrics.ascent()), text);
    return image;
}

void KLTableView::startDrag(Qt::DropActions supportedActions)
{
    std::vector<int> rows = selectedRows();
    if (rows.empty())
        return;
    QModelIndexList indexes;
    for (int row : rows)
        indexes << model_->index(model_->shownRow(row), 0);
    QMimeData* data = model_->mimeData(indexes);
    if (!data)
        return;
    auto* drag = new QDrag(this);
    drag->setMimeData(data);
    drag->setPixmap(dragImageForRows(rows));
    drag->setHotSpot(QPoint(0, 0));
    drag->exec(supportedActions, Qt::CopyAction);
}
