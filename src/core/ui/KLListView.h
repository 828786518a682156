#pragma once

#include "KLControl.h"
#include "KLItem.h"

class KLOutlineDataSource;
class KLTableDataSource;

#include <string>
#include <vector>

// What a data source may ask of its table or outline.
class KLListView : public KLControl
{
public:
    virtual std::string name() const = 0; // the outlet's name, e.g. "userTable"
    // The source (and delegate) the view asks for its rows; a table takes a
    // table source, an outline an outline source. The view does not own it;
    // null detaches it. Views that cannot show the kind ignore it.
    virtual void setDataSource(KLTableDataSource* source) { (void)source; }
    virtual void setDataSource(KLOutlineDataSource* source) { (void)source; }
    virtual void reloadData() = 0;
    virtual void reloadItem(KLItem item) = 0;
    virtual int numberOfRows() const = 0;
    virtual int selectedRow() const = 0; // -1 when none
    virtual std::vector<int> selectedRows() const = 0;
    virtual void selectRow(int row, bool extendSelection) = 0;
    virtual void deselectAll() = 0;
    virtual void editColumn(const std::string& column, int row) = 0;
    // The row whose cell is being edited, -1 when none. Views that edit
    // cells in place override this; the default says nothing is edited.
    virtual int editedRow() const { return -1; }
    virtual KLItem itemAtRow(int row) const = 0;
    virtual int rowForItem(KLItem item) const = 0;
    virtual void expandItem(KLItem item) = 0;
    virtual void collapseItem(KLItem item) = 0;
    virtual bool isItemExpanded(KLItem item) const = 0;
    virtual void setNeedsDisplay() = 0;
};
