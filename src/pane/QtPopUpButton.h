#pragma once

#include "KLPopUpButton.h"
#include "QtControl.h"

#include <QComboBox>

// A pop-up menu as a KLPopUpButton over a QComboBox. Selecting by code does
// not count as a choice: the controller hears only the combo's `activated`.
class QtPopUpButton : public QtControl<KLPopUpButton>
{
public:
    explicit QtPopUpButton(QComboBox* combo);

    int numberOfItems() const override;
    std::string itemTitleAtIndex(int index) const override;
    void insertItem(const std::string& title, const std::string& iconPath, int index) override;
    void insertSeparator(int index) override;
    void setItemIcon(int index, const std::string& iconPath) override;
    void removeItemAtIndex(int index) override;
    void selectItemAtIndex(int index) override;
    int indexOfSelectedItem() const override;

private:
    QPointer<QComboBox> combo_;
};
