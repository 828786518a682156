#include "QtMatrix.h"

#include <QAbstractButton>
#include <QButtonGroup>

QtMatrix::QtMatrix(QWidget* container, QButtonGroup* group) : QtControl(container), group_(group)
{
}

void QtMatrix::selectCellAtRow(int row)
{
    if (!group_)
        return;
    if (QAbstractButton* button = group_->button(row))
        button->setChecked(true);
}

int QtMatrix::selectedRow() const
{
    return group_ ? group_->checkedId() : -1;
}
