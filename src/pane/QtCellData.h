#pragma once

#include "KLCell.h"
#include "KLPlist.h"
#include "QtColumn.h"

#include <QVariant>

// What a cell shows for a Qt role, from the value and the cell that a data
// source gave for it. Shared by the table and the tree model.
class QtCellData
{
public:
    static QVariant data(const QtColumn& column, const KLPlist& value, const KLCell& cell, int role);
    static Qt::ItemFlags flags(const QtColumn& column, const KLCell& cell, bool editable);
    // The value a Qt edit stands for, or nothing when the role is no edit.
    static std::optional<KLPlist> valueForEdit(const QtColumn& column, const QVariant& value, int role);
};
