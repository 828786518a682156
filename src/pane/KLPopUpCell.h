#pragma once

#include "QtCellDelegate.h"

#include <QPersistentModelIndex>
#include <QPointer>

#include <QMenu>

// A pop-up menu in a list cell (the folder outline's "protect" column). It
// is drawn as a combo box showing the chosen title; a click opens the
// column's menu and the choice goes to the model as the new index.
class KLPopUpCell : public QtCellDelegate
{
    Q_OBJECT
public:
    static constexpr const char* kMenuName = "popUpCellMenu";

    // The titles of the menu, by index, where the cells name none.
    KLPopUpCell(QStringList titles, QObject* parent);

    void paint(QPainter* painter, const QStyleOptionViewItem& option, const QModelIndex& index) const override;
    QSize sizeHint(const QStyleOptionViewItem& option, const QModelIndex& index) const override;
    bool editorEvent(QEvent* event, QAbstractItemModel* model, const QStyleOptionViewItem& option,
                     const QModelIndex& index) override;
    // No in-place editor: the menu is the editor.
    QWidget* createEditor(QWidget*, const QStyleOptionViewItem&, const QModelIndex&) const override { return nullptr; }

    // Opens the menu for a cell below the given rectangle of the view.
    void popUp(QWidget* view, const QRect& cellRect, const QModelIndex& index);
    QMenu* openMenu() const { return menu_; }

private:
    QStringList titlesFor(const QModelIndex& index) const;

    QStringList titles_;
    QPointer<QMenu> menu_;
};
