#include "KLPopUpCell.h"

#include "QtColumn.h"

#include <QAbstractItemView>
#include <QApplication>
#include <QMenu>
#include <QMouseEvent>
#include <QPainter>
#include <QStyle>
#include <QStyleOptionComboBox>

namespace {
constexpr int kInset = 1;

QStyleOptionComboBox comboOption(const QStyleOptionViewItem& option, const QString& text)
{
    QStyleOptionComboBox combo;
    combo.initFrom(option.widget);
    combo.rect = option.rect.adjusted(kInset, kInset, -kInset, -kInset);
    combo.state = option.state & QStyle::State_Enabled;
    combo.currentText = text;
    combo.editable = false;
    combo.frame = true;
    return combo;
}
} // namespace

KLPopUpCell::KLPopUpCell(QStringList titles, QObject* parent) : QtCellDelegate(parent), titles_(std::move(titles))
{
}

QStringList KLPopUpCell::titlesFor(const QModelIndex& index) const
{
    QStringList titles = index.data(QtColumn::kMenuRole).toStringList();
    return titles.isEmpty() ? titles_ : titles;
}

void KLPopUpCell::paint(QPainter* painter, const QStyleOptionViewItem& option, const QModelIndex& index) const
{
    QStyleOptionViewItem opt = option;
    initStyleOption(&opt, index);
    paintBackground(painter, opt);
    int chosen = index.data(QtColumn::kPopUpIndexRole).toInt();
    QString text = titlesFor(index).value(chosen);
    QStyleOptionComboBox combo = comboOption(opt, text);
    QStyle* style = opt.widget ? opt.widget->style() : QApplication::style();
    style->drawComplexControl(QStyle::CC_ComboBox, &combo, painter, opt.widget);
    style->drawControl(QStyle::CE_ComboBoxLabel, &combo, painter, opt.widget);
}

QSize KLPopUpCell::sizeHint(const QStyleOptionViewItem& option, const QModelIndex& index) const
{
    QStyleOptionViewItem opt = option;
    initStyleOption(&opt, index);
    int widest = 0;
    for (const QString& title : titlesFor(index))
        widest = std::max(widest, opt.fontMetrics.horizontalAdvance(title));
    QStyleOptionComboBox combo = comboOption(opt, QString());
    QStyle* style = opt.widget ? opt.widget->style() : QApplication::style();
    QSize content(widest, opt.fontMetrics.height());
    QSize size = style->sizeFromContents(QStyle::CT_ComboBox, &combo, content, opt.widget);
    return {size.width() + 2 * kInset, size.height() + 2 * kInset + verticalSpacing(option)};
}

bool KLPopUpCell::editorEvent(QEvent* event, QAbstractItemModel*, const QStyleOptionViewItem& option,
                              const QModelIndex& index)
{
    if (event->type() != QEvent::MouseButtonRelease || !isCellEnabled(index))
        return false;
    auto* mouse = static_cast<QMouseEvent*>(event);
    if (mouse->button() != Qt::LeftButton || !option.rect.contains(mouse->position().toPoint()))
        return false;
    auto* view = qobject_cast<QAbstractItemView*>(const_cast<QWidget*>(option.widget));
    popUp(view ? view->viewport() : nullptr, option.rect, index);
    return true;
}

void KLPopUpCell::popUp(QWidget* view, const QRect& cellRect, const QModelIndex& index)
{
    if (menu_)
        menu_->close();
    auto* menu = new QMenu(view);
    menu->setObjectName(kMenuName);
    menu->setAttribute(Qt::WA_DeleteOnClose);
    int chosen = index.data(QtColumn::kPopUpIndexRole).toInt();
    QPersistentModelIndex target(index);
    QStringList titles = titlesFor(index);
    for (int i = 0; i < titles.size(); ++i) {
        QAction* action = menu->addAction(titles[i]);
        action->setCheckable(true);
        action->setChecked(i == chosen);
        connect(action, &QAction::triggered, this, [target, i] {
            if (target.isValid())
                const_cast<QAbstractItemModel*>(target.model())->setData(target, i, Qt::EditRole);
        });
    }
    menu_ = menu;
    QPoint where = view ? view->mapToGlobal(cellRect.bottomLeft()) : cellRect.bottomLeft();
    menu->popup(where);
}
