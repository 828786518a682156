#pragma once

#include "KLHeadlessControl.h"
#include "KLPopUpButton.h"

#include <vector>

// A pop-up menu without a window: its item titles and the selection.
class KLHeadlessPopUpButton : public KLHeadlessControl<KLPopUpButton>
{
public:
    int numberOfItems() const override { return static_cast<int>(titles_.size()); }
    std::string itemTitleAtIndex(int index) const override;
    void insertItem(const std::string& title, const std::string& iconPath, int index) override;
    void insertSeparator(int index) override;
    void setItemIcon(int, const std::string&) override {}
    void removeItemAtIndex(int index) override;
    void selectItemAtIndex(int index) override { selected_ = index; }
    int indexOfSelectedItem() const override { return selected_; }

private:
    std::vector<std::string> titles_; // a separator has an empty title
    int selected_ = -1;
};
