#pragma once

#include "KLControl.h"

// A one-line text field. Colours are named ("black", "gray", "red",
// "darkGreen", ...); the toolkit maps a name to its palette.
class KLTextField : public KLControl
{
public:
    virtual void setStringValue(const std::string& value) = 0;
    virtual std::string stringValue() const = 0;
    virtual void setEditable(bool editable) = 0;
    virtual bool isEditable() const = 0;
    virtual void setTextColor(const std::string& colorName) = 0;
    virtual std::string textColor() const = 0;
};
