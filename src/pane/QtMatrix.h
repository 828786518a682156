#pragma once

#include "KLMatrix.h"
#include "QtControl.h"

#include <QButtonGroup>

// A column of radio buttons as a KLMatrix: the group's button ids are the
// rows; the container widget is what gets enabled or hidden.
class QtMatrix : public QtControl<KLMatrix>
{
public:
    QtMatrix(QWidget* container, QButtonGroup* group);

    void selectCellAtRow(int row) override;
    int selectedRow() const override;

private:
    QPointer<QButtonGroup> group_;
};
