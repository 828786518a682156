#pragma once

#include "QtCellDelegate.h"

#include <QPersistentModelIndex>

// A push button in a list cell (the folder outline's "delete" column): it
// shows the cell's image, the alternate image while pressed, and reports a
// click on an enabled cell. A cell without image draws nothing.
class KLButtonCell : public QtCellDelegate
{
    Q_OBJECT
public:
    using QtCellDelegate::QtCellDelegate;

    void paint(QPainter* painter, const QStyleOptionViewItem& option, const QModelIndex& index) const override;
    QSize sizeHint(const QStyleOptionViewItem& option, const QModelIndex& index) const override;
    bool editorEvent(QEvent* event, QAbstractItemModel* model, const QStyleOptionViewItem& option,
                     const QModelIndex& index) override;
    QWidget* createEditor(QWidget*, const QStyleOptionViewItem&, const QModelIndex&) const override { return nullptr; }

    bool isPressed(const QModelIndex& index) const { return pressed_.isValid() && pressed_ == index; }

signals:
    void clicked(const QModelIndex& index);

private:
    QPersistentModelIndex pressed_;
};
