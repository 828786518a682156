#include "KLFilterField.h"

#include <QKeyEvent>

KLFilterField::KLFilterField(const QString& name, const QString& placeholder, QWidget* parent) : QLineEdit(parent)
{
    setObjectName(name);
    setPlaceholderText(placeholder);
    setClearButtonEnabled(true);
}

void KLFilterField::keyPressEvent(QKeyEvent* event)
{
    if (event->key() == Qt::Key_Escape && !text().isEmpty()) {
        clear();
        event->accept();
        return;
    }
    QLineEdit::keyPressEvent(event);
}
