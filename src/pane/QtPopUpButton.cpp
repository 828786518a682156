#include "QtPopUpButton.h"

#include "QtImages.h"

#include <QComboBox>
#include <QSignalBlocker>

QtPopUpButton::QtPopUpButton(QComboBox* combo) : QtControl(combo), combo_(combo)
{
}

int QtPopUpButton::numberOfItems() const
{
    return combo_ ? combo_->count() : 0;
}

std::string QtPopUpButton::itemTitleAtIndex(int index) const
{
    return combo_ ? fromQt(combo_->itemText(index)) : std::string();
}

void QtPopUpButton::insertItem(const std::string& title, const std::string& iconPath, int index)
{
    if (!combo_)
        return;
    QSignalBlocker blocker(combo_);
    combo_->insertItem(index, QtImages::forNameOrPath(iconPath), toQt(title));
}

void QtPopUpButton::insertSeparator(int index)
{
    if (!combo_)
        return;
    QSignalBlocker blocker(combo_);
    combo_->insertSeparator(index);
}

void QtPopUpButton::setItemIcon(int index, const std::string& iconPath)
{
    if (combo_)
        combo_->setItemIcon(index, QtImages::forNameOrPath(iconPath));
}

void QtPopUpButton::removeItemAtIndex(int index)
{
    if (!combo_)
        return;
    QSignalBlocker blocker(combo_);
    combo_->removeItem(index);
}

void QtPopUpButton::selectItemAtIndex(int index)
{
    if (!combo_)
        return;
    QSignalBlocker blocker(combo_);
    combo_->setCurrentIndex(index);
}

int QtPopUpButton::indexOfSelectedItem() const
{
    return combo_ ? combo_->currentIndex() : -1;
}
