#pragma once

#include <string>
#include <vector>

// What a data source may set on a cell before it is drawn.
struct KLCell
{
    bool enabled = true;
    bool transparent = false;      // drawn as nothing (a check box that does not apply)
    std::string iconFile;          // show the file system icon of this path
    std::string imageName;         // a named image ("delete_idle", "user", ...)
    std::string alternateImageName; // shown while pressed
    int selectedIndex = -1;        // pop-up cells
    std::vector<std::string> menuItems; // pop-up cells: the entries, by index
    std::string textColor;         // a colour name, empty for the default
    std::string toolTip;
};
