#include "KLButtonCell.h"

#include "NSImageAndTextCell.h"
#include "QtColumn.h"

#include <QAbstractItemView>
#include <QIcon>
#include <QMouseEvent>
#include <QPainter>

void KLButtonCell::paint(QPainter* painter, const QStyleOptionViewItem& option, const QModelIndex& index) const
{
    QStyleOptionViewItem opt = option;
    initStyleOption(&opt, index);
    paintBackground(painter, opt);
    QIcon icon = qvariant_cast<QIcon>(index.data(Qt::DecorationRole));
    if (isPressed(index)) {
        QIcon pressed = qvariant_cast<QIcon>(index.data(QtColumn::kAlternateImageRole));
        if (!pressed.isNull())
            icon = pressed;
    }
    if (icon.isNull())
        return;
    int size = NSImageAndTextCell::kImageSize;
    QRect target(0, 0, size, size);
    target.moveCenter(opt.rect.center());
    icon.paint(painter, target, Qt::AlignCenter, isCellEnabled(index) ? QIcon::Normal : QIcon::Disabled);
}

QSize KLButtonCell::sizeHint(const QStyleOptionViewItem& option, const QModelIndex&) const
{
    int size = NSImageAndTextCell::kImageSize + 2 * NSImageAndTextCell::kMargin;
    return {size, size + verticalSpacing(option)};
}

bool KLButtonCell::editorEvent(QEvent* event, QAbstractItemModel*, const QStyleOptionViewItem& option,
                               const QModelIndex& index)
{
    auto* view = qobject_cast<QAbstractItemView*>(const_cast<QWidget*>(option.widget));
    auto repaint = [view](const QModelIndex& i) {
        if (view && i.isValid())
            view->update(i);
    };
    switch (event->type()) {
    case QEvent::MouseButtonPress:
    case QEvent::MouseButtonDblClick: {
        auto* mouse = static_cast<QMouseEvent*>(event);
        bool usable = mouse->button() == Qt::LeftButton && isCellEnabled(index) &&
                      !index.data(Qt::DecorationRole).isNull();
        if (!usable)
            return false;
        pressed_ = index;
        repaint(index);
        // A double click on the button is two clicks, not the row's double action.
        return event->type() == QEvent::MouseButtonDblClick;
    }
    case QEvent::MouseButtonRelease: {
        if (!pressed_.isValid())
            return false;
        QModelIndex was = pressed_;
        pressed_ = QPersistentModelIndex();
        repaint(was);
        auto* mouse = static_cast<QMouseEvent*>(event);
        if (was == index && option.rect.contains(mouse->position().toPoint()))
            emit clicked(index);
        return true;
    }
    default:
        return false;
    }
}
