#pragma once

#include "KLCell.h"
#include "KLListView.h"
#include "KLPasteboard.h"
#include "KLPlist.h"

#include <string>
#include <vector>

// Where a drop lands on a table row: on it, or above it.
enum class KLDropOperation { On = 0, Above = 1 };
// What a drop would do: nothing, or add (copy) the dragged data.
enum class KLDragOperation { None = 0, Copy = 1 };

// A table's data source and delegate. Column identifiers are the column
// names of the view ("active", "user", "address", ...). Cell values are
// property-list values: strings for text, booleans for check boxes.
class KLTableDataSource
{
public:
    virtual ~KLTableDataSource() = default;

    virtual int numberOfRows(KLListView& view) = 0;
    virtual KLPlist objectValue(KLListView& view, const std::string& column, int row) = 0;
    virtual void setObjectValue(KLListView& view, const KLPlist& value, const std::string& column, int row);
    virtual bool shouldEdit(KLListView& view, const std::string& column, int row);
    virtual void willDisplayCell(KLListView& view, KLCell& cell, const std::string& column, int row);

    // Drag and drop.
    virtual bool writeRows(KLListView& view, const std::vector<int>& rows, KLPasteboard& pasteboard);
    virtual KLDragOperation validateDrop(KLListView& view, const KLPasteboard& pasteboard, int row,
                                         KLDropOperation operation);
    virtual bool acceptDrop(KLListView& view, const KLPasteboard& pasteboard, int row, KLDropOperation operation);
    // The text shown while a row is dragged.
    virtual std::string summaryTextForRow(int row);
};
