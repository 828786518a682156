#include "QtTextField.h"

#include <QColor>
#include <QLabel>
#include <QLineEdit>
#include <QPalette>

QtTextField::QtTextField(QLineEdit* edit) : QtControl(edit), edit_(edit)
{
}

QtTextField::QtTextField(QLabel* label) : QtControl(label), label_(label)
{
}

void QtTextField::setStringValue(const std::string& value)
{
    if (edit_)
        edit_->setText(toQt(value));
    else if (label_)
        label_->setText(toQt(value));
}

std::string QtTextField::stringValue() const
{
    if (edit_)
        return fromQt(edit_->text());
    if (label_)
        return fromQt(label_->text());
    return {};
}

void QtTextField::setEditable(bool editable)
{
    if (edit_)
        edit_->setReadOnly(!editable);
}

bool QtTextField::isEditable() const
{
    return edit_ && !edit_->isReadOnly();
}

void QtTextField::setTextColor(const std::string& colorName)
{
    color_ = colorName;
    QWidget* w = widget();
    if (!w)
        return;
    QPalette palette = w->parentWidget() ? w->parentWidget()->palette() : QPalette();
    QColor color(toQt(colorName));
    if (!colorName.empty() && color.isValid()) {
        palette.setColor(QPalette::WindowText, color);
        palette.setColor(QPalette::Text, color);
    }
    w->setPalette(palette);
}
