#pragma once

#include <string>

// A tab view whose items are known by identifier. A removed item keeps its
// page, so it can be inserted again later.
class KLTabView
{
public:
    virtual ~KLTabView() = default;
    virtual int numberOfItems() const = 0;
    virtual int indexOfItemWithIdentifier(const std::string& identifier) const = 0; // -1 when absent
    virtual void insertItem(const std::string& identifier, int index) = 0;
    virtual void removeItem(const std::string& identifier) = 0;
    virtual void selectItem(const std::string& identifier) = 0;
    virtual std::string selectedIdentifier() const = 0;

    void addItem(const std::string& identifier) { insertItem(identifier, numberOfItems()); }
};
