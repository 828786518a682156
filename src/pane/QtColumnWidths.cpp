#include "QtColumnWidths.h"

#include <QAbstractItemView>
#include <QEvent>
#include <QScrollBar>

QtColumnWidths::QtColumnWidths(QAbstractItemView& view, QAbstractItemModel& model)
{
    connect(&model, &QAbstractItemModel::modelReset, this, &QtColumnWidths::forget);
    connect(&model, &QAbstractItemModel::layoutChanged, this, &QtColumnWidths::forget);
    connect(&model, &QAbstractItemModel::rowsInserted, this, &QtColumnWidths::forget);
    connect(&model, &QAbstractItemModel::rowsRemoved, this, &QtColumnWidths::forget);
    connect(&model, &QAbstractItemModel::dataChanged, this, &QtColumnWidths::forget);
    connect(view.verticalScrollBar(), &QScrollBar::valueChanged, this, &QtColumnWidths::forget);
    view.installEventFilter(this);
}

int QtColumnWidths::width(int column, const std::function<int()>& measure)
{
    auto index = static_cast<std::size_t>(column);
    if (column >= 0 && index < widths_.size() && widths_[index] >= 0)
        return widths_[index];
    // Measuring lays the view out first, which may scroll it.
    int width = measure();
    if (column >= 0) {
        if (widths_.size() <= index)
            widths_.resize(index + 1, -1);
        widths_[index] = width;
    }
    return width;
}

bool QtColumnWidths::eventFilter(QObject* watched, QEvent* event)
{
    if (event->type() == QEvent::FontChange || event->type() == QEvent::StyleChange)
        forget();
    return QObject::eventFilter(watched, event);
}
