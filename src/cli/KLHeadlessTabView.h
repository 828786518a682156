#pragma once

#include "KLTabView.h"

#include <string>
#include <vector>

// A tab view without a window: the identifiers of its items, in order.
class KLHeadlessTabView : public KLTabView
{
public:
    int numberOfItems() const override { return static_cast<int>(identifiers_.size()); }
    int indexOfItemWithIdentifier(const std::string& identifier) const override;
    void insertItem(const std::string& identifier, int index) override;
    void removeItem(const std::string& identifier) override;
    void selectItem(const std::string& identifier) override { selected_ = identifier; }
    std::string selectedIdentifier() const override { return selected_; }

private:
    std::vector<std::string> identifiers_;
    std::string selected_;
};
