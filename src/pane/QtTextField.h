#pragma once

#include "KLTextField.h"
#include "QtControl.h"

#include <QLabel>
#include <QLineEdit>

// A one-line text as a KLTextField: an editable QLineEdit or a QLabel that
// only shows text. Colour names are those QColor knows ("gray", "darkGreen")
// or "#rrggbb"; the empty name is the style's own colour.
class QtTextField : public QtControl<KLTextField>
{
public:
    explicit QtTextField(QLineEdit* edit);
    explicit QtTextField(QLabel* label);

    void setStringValue(const std::string& value) override;
    std::string stringValue() const override;
    void setEditable(bool editable) override;
    bool isEditable() const override;
    void setTextColor(const std::string& colorName) override;
    std::string textColor() const override { return color_; }

private:
    QPointer<QLineEdit> edit_;
    QPointer<QLabel> label_;
    std::string color_;
};
