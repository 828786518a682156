#include "KLListKeys.h"

#include <QKeyEvent>

bool KLListKeys::isDeleteKey(const QKeyEvent& event)
{
    Qt::KeyboardModifiers modifiers = event.modifiers() & ~Qt::KeypadModifier;
    return (event.key() == Qt::Key_Delete || event.key() == Qt::Key_Backspace) && modifiers == Qt::NoModifier;
}
