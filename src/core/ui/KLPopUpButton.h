#pragma once

#include "KLControl.h"

// A pop-up menu button: items with a title and an optional icon (a file
// whose icon is shown, or an image name), and separators.
class KLPopUpButton : public KLControl
{
public:
    virtual int numberOfItems() const = 0;
    virtual std::string itemTitleAtIndex(int index) const = 0;
    virtual void insertItem(const std::string& title, const std::string& iconPath, int index) = 0;
    virtual void insertSeparator(int index) = 0;
    virtual void setItemIcon(int index, const std::string& iconPath) = 0;
    virtual void removeItemAtIndex(int index) = 0;
    virtual void selectItemAtIndex(int index) = 0;
    virtual int indexOfSelectedItem() const = 0;

    void addItem(const std::string& title, const std::string& iconPath = {}) { insertItem(title, iconPath, numberOfItems()); }
    void addSeparator() { insertSeparator(numberOfItems()); }
};
