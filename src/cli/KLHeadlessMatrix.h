#pragma once

#include "KLHeadlessControl.h"
#include "KLMatrix.h"

// A radio group without a window.
class KLHeadlessMatrix : public KLHeadlessControl<KLMatrix>
{
public:
    void selectCellAtRow(int row) override { row_ = row; }
    int selectedRow() const override { return row_; }

private:
    int row_ = 0;
};
