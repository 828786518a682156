#include "QtButton.h"

#include <QAbstractButton>

QtButton::QtButton(QAbstractButton* button) : QtControl(button), button_(button)
{
}

void QtButton::setTitle(const std::string& title)
{
    if (button_)
        button_->setText(toQt(title));
}

std::string QtButton::title() const
{
    return button_ ? fromQt(button_->text()) : std::string();
}

void QtButton::setState(int state)
{
    if (button_ && button_->isCheckable())
        button_->setChecked(state != 0);
}

int QtButton::state() const
{
    return button_ && button_->isChecked() ? 1 : 0;
}
