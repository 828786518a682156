#include "KLOutlineView.h"

#include "KLListKeys.h"
#include "KLPaneContext.h"
#include "QtCellDelegate.h"
#include "QtOutlineModel.h"
#include "QtStrings.h"

#include <QHeaderView>
#include <QKeyEvent>
#include <QLineEdit>
#include <QTimer>

#include <algorithm>
#include <utility>

KLOutlineView::KLOutlineView(const QString& outletName, QtColumns columns, QWidget* parent)
    : QTreeView(parent), model_(new QtOutlineModel(*this, std::move(columns), this)),
      columnWidths_(*this, *model_)
{
    setObjectName(outletName);
    setModel(model_);
    setItemDelegate(new QtCellDelegate(this));
    setSelectionBehavior(QAbstractItemView::SelectRows);
    setSelectionMode(QAbstractItemView::SingleSelection);
    setEditTriggers(QAbstractItemView::DoubleClicked | QAbstractItemView::EditKeyPressed |
                    QAbstractItemView::SelectedClicked);
    setAlternatingRowColors(true);
    setUniformRowHeights(true);
    setWordWrap(false);
    header()->setHighlightSections(false);
    header()->setStretchLastSection(false);

    connect(this, &QTreeView::expanded, this, [this](const QModelIndex& index) {
        columnWidths_.forget();
        if (auto* source = model_->dataSource())
            source->itemWillExpand(*this, model_->itemForIndex(index));
    });
    connect(this, &QTreeView::collapsed, this, [this](const QModelIndex& index) {
        columnWidths_.forget();
        if (auto* source = model_->dataSource())
            source->itemWillCollapse(*this, model_->itemForIndex(index));
    });
}

int KLOutlineView::columnIndex(const std::string& identifier) const
{
    return model_->columnIndex(identifier);
}

void KLOutlineView::setDragTypes(bool dragItems, const QStringList& dropTypes)
{
    model_->setDragEnabled(dragItems);
    model_->setAcceptedDropTypes(dropTypes);
    setDragEnabled(dragItems);
    setAcceptDrops(!dropTypes.isEmpty());
    setDropIndicatorShown(!dropTypes.isEmpty());
    setDragDropMode(dragItems && !dropTypes.isEmpty() ? QAbstractItemView::DragDrop
                    : dragItems                       ? QAbstractItemView::DragOnly
                    : !dropTypes.isEmpty()            ? QAbstractItemView::DropOnly
                                                      : QAbstractItemView::NoDragDrop);
}

void KLOutlineView::setIntercellSpacing(const QSize& spacing)
{
    setProperty(QtCellDelegate::kSpacingProperty, spacing);
    doItemsLayout();
}

void KLOutlineView::setToolTip(const std::string& toolTip)
{
    QTreeView::setToolTip(toQt(toolTip));
}

std::string KLOutlineView::toolTip() const
{
    return fromQt(QTreeView::toolTip());
}

std::string KLOutlineView::name() const
{
    return fromQt(objectName());
}

void KLOutlineView::setDataSource(KLOutlineDataSource* source)
{
    pendingExpansion_.clear();
    model_->setDataSource(source);
}

void KLOutlineView::setFilterText(const QString& text)
{
    std::vector<int> before = selectedRows();
    filter_.setText(fromQt(text), 0, {});
    applyFilter();
    if (selectedRows() != before)
        notifySelection();
}

void KLOutlineView::applyFilter()
{
    columnWidths_.forget();
    const QtColumns& columns = model_->columns();
    auto text = std::find_if(columns.begin(), columns.end(),
                             [](const QtColumn& c) { return c.kind == QtColumn::Kind::Text; });
    int column = text == columns.end() ? 0 : static_cast<int>(text - columns.begin());
    auto nameOf = [&](const QModelIndex& index) { return fromQt(index.siblingAtColumn(column).data().toString()); };
    for (int row = 0; row < model_->rowCount(); ++row) {
        QModelIndex group = model_->index(row, 0);
        std::string groupName = nameOf(group);
        std::vector<std::string> members;
        for (int child = 0; child < model_->rowCount(group); ++child) {
            members.push_back(nameOf(model_->index(child, 0, group)));
            setRowHidden(child, group, !filter_.showsMember(groupName, members.back()));
        }
        setRowHidden(row, QModelIndex(), !filter_.showsGroup(groupName, members));
        // Members found under a group whose own name does not match are shown.
        if (filter_.isActive() && !filter_.matches(groupName) && filter_.showsGroup(groupName, members))
            expand(group);
    }
}

QModelIndex KLOutlineView::firstRow() const
{
    for (int row = 0; row < model_->rowCount(); ++row)
        if (!isRowHidden(row, QModelIndex()))
            return model_->index(row, 0);
    return {};
}

QModelIndex KLOutlineView::indexAtRow(int row, int column) const
{
    if (row < 0)
        return {};
    QModelIndex index = firstRow();
    for (int i = 0; i < row && index.isValid(); ++i)
        index = indexBelow(index);
    return index.isValid() ? index.siblingAtColumn(column) : QModelIndex();
}

int KLOutlineView::rowForIndex(const QModelIndex& target) const
{
    if (!target.isValid())
        return -1;
    QModelIndex wanted = target.siblingAtColumn(0);
    int row = 0;
    for (QModelIndex index = firstRow(); index.isValid(); index = indexBelow(index), ++row)
        if (index == wanted)
            return row;
    return -1;
}

// Items that were expanded (and still exist) open again after a reload; the
// selection is kept by row, and the controller hears of it only if it moved.
void KLOutlineView::reloadData()
{
    // Items the source dropped may already be freed: the rows about to be
    // replaced are read from the model alone.
    model_->holdUntilReload();
    std::set<KLItem> expanded;
    collectExpansion(expanded, QModelIndex());
    std::vector<int> before = selectedRows();
    quiet_ = true;
    model_->reload();
    restoreExpansion(expanded, QModelIndex());
    if (filter_.isActive())
        applyFilter();
    for (int row : before)
        if (QModelIndex index = indexAtRow(row); index.isValid())
            selectionModel()->select(index, QItemSelectionModel::Select | QItemSelectionModel::Rows);
    if (!before.empty())
        if (QModelIndex index = indexAtRow(before.front()); index.isValid())
            selectionModel()->setCurrentIndex(index, QItemSelectionModel::NoUpdate);
    quiet_ = false;
    if (selectedRows() != before)
        notifySelection();
}

// The shown rows, from the model: walking them in the view would lay out
// the rows the reload is about to drop.
void KLOutlineView::collectExpansion(std::set<KLItem>& expanded, const QModelIndex& parent) const
{
    int rows = model_->rowCount(parent);
    for (int row = 0; row < rows; ++row) {
        QModelIndex index = model_->index(row, 0, parent);
        if (!isRowHidden(row, parent) && isExpanded(index)) {
            expanded.insert(model_->itemForIndex(index));
            collectExpansion(expanded, index);
        }
    }
}

void KLOutlineView::restoreExpansion(const std::set<KLItem>& expanded, const QModelIndex& parent)
{
    if (expanded.empty())
        return;
    int rows = model_->rowCount(parent);
    for (int row = 0; row < rows; ++row) {
        QModelIndex index = model_->index(row, 0, parent);
        if (expanded.count(model_->itemForIndex(index))) {
            expand(index);
            restoreExpansion(expanded, index);
        }
    }
}

void KLOutlineView::reloadItem(KLItem item)
{
    columnWidths_.forget();
    model_->reloadItem(item);
}

int KLOutlineView::numberOfRows() const
{
    int rows = 0;
    for (QModelIndex index = firstRow(); index.isValid(); index = indexBelow(index))
        ++rows;
    return rows;
}

int KLOutlineView::selectedRow() const
{
    QModelIndex current = currentIndex();
    if (current.isValid() && selectionModel()->isSelected(current.siblingAtColumn(0)))
        return rowForIndex(current);
    std::vector<int> rows = selectedRows();
    return rows.empty() ? -1 : rows.front();
}

std::vector<int> KLOutlineView::selectedRows() const
{
    std::vector<int> rows;
    for (const QModelIndex& index : selectionModel()->selectedRows())
        if (int row = rowForIndex(index); row >= 0)
            rows.push_back(row);
    std::sort(rows.begin(), rows.end());
    return rows;
}

void KLOutlineView::selectRow(int row, bool extendSelection)
{
    QModelIndex index = indexAtRow(row);
    if (!index.isValid())
        return;
    auto flags = (extendSelection ? QItemSelectionModel::Select : QItemSelectionModel::ClearAndSelect) |
                 QItemSelectionModel::Rows;
    selectionModel()->setCurrentIndex(index, flags);
    scrollTo(index);
}

bool KLOutlineView::userSelectRow(int row)
{
    QModelIndex index = indexAtRow(row);
    auto* source = model_->dataSource();
    if (!index.isValid() || (source && !source->shouldSelectItem(*this, model_->itemForIndex(index))))
        return false;
    selectRow(row, false);
    return true;
}

void KLOutlineView::deselectAll()
{
    clearSelection();
}

void KLOutlineView::editColumn(const std::string& column, int row)
{
    int col = model_->columnIndex(column);
    QModelIndex index = indexAtRow(row, std::max(col, 0));
    if (col < 0 || !index.isValid())
        return;
    scrollTo(index);
    selectionModel()->setCurrentIndex(index, QItemSelectionModel::NoUpdate);
    if (edit(index, QAbstractItemView::AllEditTriggers, nullptr))
        if (auto* editor = qobject_cast<QLineEdit*>(indexWidget(index)))
            editor->selectAll();
}

KLItem KLOutlineView::itemAtRow(int row) const
{
    return model_->itemForIndex(indexAtRow(row));
}

// Walks the shown rows, so an item the model has not met yet since a
// reload is found too.
int KLOutlineView::rowForItem(KLItem item) const
{
    if (!item)
        return -1;
    int row = 0;
    for (QModelIndex index = firstRow(); index.isValid(); index = indexBelow(index), ++row)
        if (model_->itemForIndex(index) == item)
            return row;
    return -1;
}

// A source may ask for an expansion while the rows are being drawn; the
// tree cannot change its rows then, so that waits for the next turn.
void KLOutlineView::expandItem(KLItem item)
{
    if (painting_) {
        bool first = pendingExpansion_.empty();
        pendingExpansion_.insert(item);
        if (first)
            QTimer::singleShot(0, this, &KLOutlineView::expandPending);
        return;
    }
    QModelIndex index = model_->indexForItem(item);
    // Since a reload the model knows only the rows that were shown.
    if (!index.isValid())
        index = indexAtRow(rowForItem(item));
    if (index.isValid())
        expand(index);
}

void KLOutlineView::expandPending()
{
    std::set<KLItem> items;
    items.swap(pendingExpansion_);
    for (KLItem item : items)
        expandItem(item);
}

void KLOutlineView::collapseItem(KLItem item)
{
    pendingExpansion_.erase(item);
    QModelIndex index = model_->indexForItem(item);
    if (index.isValid())
        collapse(index);
}

bool KLOutlineView::isItemExpanded(KLItem item) const
{
    if (pendingExpansion_.count(item))
        return true;
    QModelIndex index = model_->indexForItem(item);
    return index.isValid() && isExpanded(index);
}

void KLOutlineView::setNeedsDisplay()
{
    columnWidths_.forget();
    viewport()->update();
}

int KLOutlineView::sizeHintForColumn(int column) const
{
    return columnWidths_.width(column, [this, column] { return QTreeView::sizeHintForColumn(column); });
}

void KLOutlineView::paintEvent(QPaintEvent* event)
{
    painting_ = true;
    QTreeView::paintEvent(event);
    painting_ = false;
}

// A row is current with the column Qt last put the cursor on, often a check
// box; the edit key means the row's name, not that column.
bool KLOutlineView::edit(const QModelIndex& index, EditTrigger trigger, QEvent* event)
{
    if (trigger == EditKeyPressed && index.isValid() && !(index.flags() & Qt::ItemIsEditable)) {
        for (int column = 0; column < model_->columnCount(index.parent()); ++column) {
            QModelIndex name = index.siblingAtColumn(column);
            if (name.flags() & Qt::ItemIsEditable) {
                selectionModel()->setCurrentIndex(name, QItemSelectionModel::NoUpdate);
                return QTreeView::edit(name, trigger, event);
            }
        }
    }
    return QTreeView::edit(index, trigger, event);
}

void KLOutlineView::keyPressEvent(QKeyEvent* event)
{
    if (state() != QAbstractItemView::EditingState && KLListKeys::isDeleteKey(*event)) {
        if (KLPaneContext* pane = KLPaneContext::shared())
            pane->deleteRow(this, selectedRow());
        event->accept();
        return;
    }
    QTreeView::keyPressEvent(event);
}

// Only what the user does is put to the source; the controller's own
// selections (a replayed click among them) go through.
QItemSelectionModel::SelectionFlags KLOutlineView::selectionCommand(const QModelIndex& index,
                                                                    const QEvent* event) const
{
    auto* source = model_->dataSource();
    if (event && source && index.isValid()) {
        switch (event->type()) {
        case QEvent::MouseButtonPress:
        case QEvent::MouseButtonDblClick:
        case QEvent::KeyPress: {
            bool isNew = !selectionModel()->isSelected(index.siblingAtColumn(0));
            refusedPress_ = isNew && !source->shouldSelectItem(const_cast<KLOutlineView&>(*this),
                                                               model_->itemForIndex(index));
            break;
        }
        case QEvent::MouseButtonRelease:
        case QEvent::MouseMove:
            break;
        default:
            refusedPress_ = false;
            break;
        }
        if (refusedPress_)
            return QItemSelectionModel::NoUpdate;
    }
    return QTreeView::selectionCommand(index, event);
}

void KLOutlineView::selectionChanged(const QItemSelection& selected, const QItemSelection& deselected)
{
    QTreeView::selectionChanged(selected, deselected);
    if (!quiet_)
        notifySelection();
}

void KLOutlineView::notifySelection()
{
    emit selectionDidChange();
    if (auto* source = model_->dataSource())
        source->selectionDidChange(*this);
}

void KLOutlineView::commitData(QWidget* editor)
{
    auto* source = model_->dataSource();
    auto* line = qobject_cast<QLineEdit*>(editor);
    if (source && line && !source->textShouldEndEditing(*this, fromQt(line->text()))) {
        refusedEditor_ = editor;
        return;
    }
    refusedEditor_ = nullptr;
    editorHadFocus_ = editor && editor->hasFocus();
    editedColumn_ = currentIndex().column();
    releasedWhileCommitting_ = false;
    committing_ = true;
    QTreeView::commitData(editor);
    committing_ = false;
}

void KLOutlineView::reset()
{
    if (committing_)
        releasedWhileCommitting_ = true;
    QTreeView::reset();
}

void KLOutlineView::closeEditor(QWidget* editor, QAbstractItemDelegate::EndEditHint hint)
{
    if (editor && editor == refusedEditor_ && hint != QAbstractItemDelegate::RevertModelCache) {
        refusedEditor_ = nullptr;
        editor->setFocus(Qt::OtherFocusReason);
        return;
    }
    refusedEditor_ = nullptr;
    if (std::exchange(releasedWhileCommitting_, false)) {
        endReleasedEdit(hint);
        return;
    }
    QTreeView::closeEditor(editor, hint);
}

// The source reloaded the rows while the edit was stored, so Qt has already
// dropped the editor and moved the focus on; the edit ends here as Qt would
// have ended it: the list takes the focus back, and Tab edits the next row.
void KLOutlineView::endReleasedEdit(QAbstractItemDelegate::EndEditHint hint)
{
    if (std::exchange(editorHadFocus_, false))
        setFocus(Qt::OtherFocusReason);
    if (hint != QAbstractItemDelegate::EditNextItem && hint != QAbstractItemDelegate::EditPreviousItem)
        return;
    CursorAction move = hint == QAbstractItemDelegate::EditNextItem ? MoveNext : MovePrevious;
    QModelIndex next = moveCursor(move, Qt::NoModifier);
    if (!next.isValid() || editedColumn_ < 0)
        return;
    next = next.siblingAtColumn(editedColumn_);
    selectionModel()->setCurrentIndex(next, QItemSelectionModel::ClearAndSelect | QItemSelectionModel::Rows);
    if (next.flags() & Qt::ItemIsEditable)
        edit(next, AllEditTriggers, nullptr);
}
