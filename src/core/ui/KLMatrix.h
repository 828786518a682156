#pragma once

#include "KLControl.h"

// A group of radio rows; exactly one row is selected.
class KLMatrix : public KLControl
{
public:
    virtual void selectCellAtRow(int row) = 0;
    virtual int selectedRow() const = 0;
};
