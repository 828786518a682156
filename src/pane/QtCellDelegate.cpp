#include "QtCellDelegate.h"

#include "QtColumn.h"

#include <QApplication>
#include <QPainter>
#include <QStyle>
#include <QVariant>

QSize QtCellDelegate::sizeHint(const QStyleOptionViewItem& option, const QModelIndex& index) const
{
    QSize size = QStyledItemDelegate::sizeHint(option, index);
    return {size.width(), size.height() + verticalSpacing(option)};
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
