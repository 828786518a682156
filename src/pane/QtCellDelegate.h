#pragma once

#include <QStyledItemDelegate>

// The plain cell of the pane's lists: Qt's own drawing, with the view's
// vertical intercell spacing added to each row's height. The view keeps the
// spacing in its "intercellSpacing" property (a QSize).
class QtCellDelegate : public QStyledItemDelegate
{
    Q_OBJECT
public:
    static constexpr const char* kSpacingProperty = "intercellSpacing";

    using QStyledItemDelegate::QStyledItemDelegate;

    QSize sizeHint(const QStyleOptionViewItem& option, const QModelIndex& index) const override;

protected:
    // Cells the source disabled look disabled.
    void initStyleOption(QStyleOptionViewItem* option, const QModelIndex& index) const override;
    static bool isCellEnabled(const QModelIndex& index);
    static int verticalSpacing(const QStyleOptionViewItem& option);
    // Draws the row's background (and selection) over the whole cell.
    static void paintBackground(QPainter* painter, const QStyleOptionViewItem& option);
};
