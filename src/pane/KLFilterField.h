#pragma once

#include <QLineEdit>

// The find field above a list: what is typed narrows the list, Escape
// empties the field (and so shows every row again).
class KLFilterField : public QLineEdit
{
    Q_OBJECT
public:
    KLFilterField(const QString& name, const QString& placeholder, QWidget* parent = nullptr);

protected:
    void keyPressEvent(QKeyEvent* event) override;
};
