#include "QtCellDelegate.h"

#include "QtColumn.h"

#include <QApplication>
#include <QPainter>
#include <QStyle>
#include <QVariant>

#include <algorithm>

namespace {
constexpr int kRowPadding = 6;
constexpr int kMinimumRowHeight = 20;
} // namespace

int QtCellDelegate::tableRowHeight(const QWidget* view)
{
    return std::max(view->fontMetrics().height() + kRowPadding, kMinimumRowHeight);
}

int QtCellDelegate::rowHeight(const QStyleOptionViewItem& option, int height)
{
    if (option.widget && option.widget->property(kTableRowsProperty).toBool())
        return tableRowHeight(option.widget);
    return height + verticalSpacing(option);
}

QSize QtCellDelegate::sizeHint(const QStyleOptionViewItem& option, const QModelIndex& index) const
{
    QSize size = QStyledItemDelegate::sizeHint(option, index);
    return {size.width(), rowHeight(option, size.height())};
}

void QtCellDelegate::initStyleOption(QStyleOptionViewItem* option, const QModelIndex& index) const
{
    QStyledItemDelegate::initStyleOption(option, index);
    if (!isCellEnabled(index))
        option->state &= ~QStyle::State_Enabled;
}

bool QtCellDelegate::isCellEnabled(const QModelIndex& index)
{
    QVariant enabled = index.data(QtColumn::kEnabledRole);
    return (index.flags() & Qt::ItemIsEnabled) && (!enabled.isValid() || enabled.toBool());
}

int QtCellDelegate::verticalSpacing(const QStyleOptionViewItem& option)
{
    return option.widget ? option.widget->property(kSpacingProperty).toSize().height() : 0;
}

void QtCellDelegate::paintBackground(QPainter* painter, const QStyleOptionViewItem& option)
{
    QStyle* style = option.widget ? option.widget->style() : QApplication::style();
    style->drawPrimitive(QStyle::PE_PanelItemViewItem, &option, painter, option.widget);
}
