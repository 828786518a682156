#include "NSImageAndTextCell.h"

#include <QApplication>
#include <QIcon>
#include <QPainter>
#include <QStyle>

#include <cmath>

QRect NSImageAndTextCell::imageFrameForCellFrame(const QRect& cellFrame, bool hasImage)
{
    if (!hasImage)
        return {};
    int offset = static_cast<int>(std::ceil((cellFrame.height() - kImageSize) / 2.0));
    return {cellFrame.x() + kMargin, cellFrame.y() + offset, kImageSize, kImageSize};
}

QRect NSImageAndTextCell::textFrameForCellFrame(const QRect& cellFrame, bool hasImage)
{
    if (!hasImage)
        return cellFrame;
    return cellFrame.adjusted(kImageSize + kMargin, 0, 0, 0);
}

void NSImageAndTextCell::paint(QPainter* painter, const QStyleOptionViewItem& option, const QModelIndex& index) const
{
    QStyleOptionViewItem opt = option;
    initStyleOption(&opt, index);
    QIcon icon = opt.icon;
    bool hasImage = !icon.isNull();
    QStyle* style = opt.widget ? opt.widget->style() : QApplication::style();

    // The row's background under the image part too, then the text part
    // drawn by the style without the icon.
    QStyleOptionViewItem background = opt;
    background.text.clear();
    background.icon = QIcon();
    background.features &= ~QStyleOptionViewItem::HasDecoration;
    style->drawControl(QStyle::CE_ItemViewItem, &background, painter, opt.widget);

    if (hasImage) {
        QIcon::Mode mode = !(opt.state & QStyle::State_Enabled) ? QIcon::Disabled
                           : (opt.state & QStyle::State_Selected) ? QIcon::Selected
                                                                  : QIcon::Normal;
        icon.paint(painter, imageFrameForCellFrame(opt.rect, true), Qt::AlignCenter, mode);
    }

    QStyleOptionViewItem text = opt;
    text.rect = textFrameForCellFrame(opt.rect, hasImage);
    text.icon = QIcon();
    text.features &= ~QStyleOptionViewItem::HasDecoration;
    text.showDecorationSelected = true;
    style->drawControl(QStyle::CE_ItemViewItem, &text, painter, opt.widget);
}

QSize NSImageAndTextCell::sizeHint(const QStyleOptionViewItem& option, const QModelIndex& index) const
{
    QStyleOptionViewItem opt = option;
    initStyleOption(&opt, index);
    bool hasImage = !opt.icon.isNull();
    opt.icon = QIcon();
    opt.features &= ~QStyleOptionViewItem::HasDecoration;
    QStyle* style = opt.widget ? opt.widget->style() : QApplication::style();
    QSize text = style->sizeFromContents(QStyle::CT_ItemViewItem, &opt, QSize(), opt.widget);
    int width = text.width() + (hasImage ? kImageSize + kMargin : kMargin);
    int height = rowHeight(option, std::max(text.height(), hasImage ? kImageSize : 0));
    return {width, height};
}

void NSImageAndTextCell::updateEditorGeometry(QWidget* editor, const QStyleOptionViewItem& option,
                                              const QModelIndex& index) const
{
    QStyleOptionViewItem opt = option;
    initStyleOption(&opt, index);
    editor->setGeometry(textFrameForCellFrame(option.rect, !opt.icon.isNull()));
}
