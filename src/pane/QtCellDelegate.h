#pragma once

#include <QStyledItemDelegate>

// The plain cell of the pane's lists: Qt's own drawing, with the view's
// vertical intercell spacing added to each row's height. The view keeps the
// spacing in its "intercellSpacing" property (a QSize). A view with the
// "tableRows" property set has rows exactly as high as the pane's tables.
class QtCellDelegate : public QStyledItemDelegate
{
    Q_OBJECT
public:
    static constexpr const char* kSpacingProperty = "intercellSpacing";
    static constexpr const char* kTableRowsProperty = "tableRows";

    // The height of a table row in `view`'s font: a line of text, a check
    // box or a 16-point icon, not the style's roomier default.
    static int tableRowHeight(const QWidget* view);

    using QStyledItemDelegate::QStyledItemDelegate;

    QSize sizeHint(const QStyleOptionViewItem& option, const QModelIndex& index) const override;

protected:
    // Cells the source disabled look disabled.
    void initStyleOption(QStyleOptionViewItem* option, const QModelIndex& index) const override;
    static bool isCellEnabled(const QModelIndex& index);
    static int verticalSpacing(const QStyleOptionViewItem& option);
    // `height` plus the spacing, or the table row height where the view asks for it.
    static int rowHeight(const QStyleOptionViewItem& option, int height);
    // Draws the row's background (and selection) over the whole cell.
    static void paintBackground(QPainter* painter, const QStyleOptionViewItem& option);
};
