#pragma once

#include "KLButton.h"
#include "QtControl.h"

#include <QAbstractButton>

// A push button or check box as a KLButton. Setting the state never counts
// as a click: only the user's clicks reach the controller.
class QtButton : public QtControl<KLButton>
{
public:
    explicit QtButton(QAbstractButton* button);

    void setTitle(const std::string& title) override;
    std::string title() const override;
    void setState(int state) override;
    int state() const override;

private:
    QPointer<QAbstractButton> button_;
};
