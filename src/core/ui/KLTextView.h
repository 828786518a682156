#pragma once

#include "KLControl.h"

#include <cstddef>

// A multi-line plain-text view.
class KLTextView : public KLControl
{
public:
    virtual void setString(const std::string& text) = 0;
    virtual std::string string() const = 0;
    virtual void setEditable(bool editable) = 0;
    virtual bool isEditable() const = 0;
    // Selects a range of characters; an empty range puts the insertion point.
    virtual void setSelectedRange(std::size_t location, std::size_t length)
    {
        (void)location;
        (void)length;
    }
    // Grows the view to show the given number of lines (error areas).
    virtual void setVisibleLines(int lines) = 0;
};
