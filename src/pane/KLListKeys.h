#pragma once

class QKeyEvent;

// Keys the pane's lists give a meaning of their own.
class KLListKeys
{
public:
    // The keyboard's delete key: Delete, or Backspace as on keyboards whose
    // delete key sends it.
    static bool isDeleteKey(const QKeyEvent& event);
};
