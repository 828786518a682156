#pragma once

#include "KLHeadlessControl.h"
#include "KLTextView.h"

// A multi-line text view without a window.
class KLHeadlessTextView : public KLHeadlessControl<KLTextView>
{
public:
    void setString(const std::string& text) override { text_ = text; }
    std::string string() const override { return text_; }
    void setEditable(bool editable) override { editable_ = editable; }
    bool isEditable() const override { return editable_; }
    void setVisibleLines(int) override {}

private:
    std::string text_;
    bool editable_ = true;
};
