#pragma once

#include "QtCellDelegate.h"

// A name with its icon: the icon (16 by 16) is drawn 3 points from the
// left edge of an image part as wide as the icon plus 3 points, vertically
// centred; the text takes the rest of the cell, and so does the editor,
// which never covers the icon.
class NSImageAndTextCell : public QtCellDelegate
{
    Q_OBJECT
public:
    static constexpr int kImageSize = 16;
    static constexpr int kMargin = 3;

    using QtCellDelegate::QtCellDelegate;

    // The icon's rectangle in a cell, or an empty rectangle without icon.
    static QRect imageFrameForCellFrame(const QRect& cellFrame, bool hasImage);
    // The part of the cell the text (and its editor) gets.
    static QRect textFrameForCellFrame(const QRect& cellFrame, bool hasImage);

    void paint(QPainter* painter, const QStyleOptionViewItem& option, const QModelIndex& index) const override;
    QSize sizeHint(const QStyleOptionViewItem& option, const QModelIndex& index) const override;
    void updateEditorGeometry(QWidget* editor, const QStyleOptionViewItem& option,
                              const QModelIndex& index) const override;
};
