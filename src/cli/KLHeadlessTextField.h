#pragma once

#include "KLHeadlessControl.h"
#include "KLTextField.h"

// A text field without a window: the command line types into it and reads
// the controller's messages from it.
class KLHeadlessTextField : public KLHeadlessControl<KLTextField>
{
public:
    void setStringValue(const std::string& value) override { value_ = value; }
    std::string stringValue() const override { return value_; }
    void setEditable(bool editable) override { editable_ = editable; }
    bool isEditable() const override { return editable_; }
    void setTextColor(const std::string& colorName) override { color_ = colorName; }
    std::string textColor() const override { return color_; }

private:
    std::string value_;
    bool editable_ = true;
    std::string color_;
};
