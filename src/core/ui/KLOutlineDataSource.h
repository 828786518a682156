#pragma once

#include "KLCell.h"
#include "KLItem.h"
#include "KLListView.h"
#include "KLPasteboard.h"
#include "KLPlist.h"
#include "KLTableDataSource.h"

#include <string>
#include <vector>

// An outline's data source and delegate. Items are opaque pointers that only
// the source interprets; a null item is the top level.
class KLOutlineDataSource
{
public:
    virtual ~KLOutlineDataSource() = default;

    virtual int numberOfChildren(KLListView& view, KLItem item) = 0;
    virtual KLItem child(KLListView& view, int index, KLItem item) = 0;
    virtual bool isItemExpandable(KLListView& view, KLItem item) = 0;
    virtual KLPlist objectValue(KLListView& view, const std::string& column, KLItem item) = 0;
    virtual void setObjectValue(KLListView& view, const KLPlist& value, const std::string& column, KLItem item);
    virtual bool shouldEdit(KLListView& view, const std::string& column, KLItem item);
    virtual void willDisplayCell(KLListView& view, KLCell& cell, const std::string& column, KLItem item);
    virtual bool shouldSelectItem(KLListView& view, KLItem item);
    // The selection changed (by mouse or keyboard).
    virtual void selectionDidChange(KLListView& view);
    virtual void itemWillExpand(KLListView& view, KLItem item);
    virtual void itemWillCollapse(KLListView& view, KLItem item);

    // Editing a name: whether the edit may end with this text.
    virtual bool hasTextValidation() const;
    virtual bool validateText(KLListView& view, const std::string& text);
    // The outline's end-of-editing check, asked before an edited text is
    // stored; a source may act on an accepted text at that moment.
    virtual bool textShouldEndEditing(KLListView& view, const std::string& text);

    // Drag and drop.
    virtual bool writeItems(KLListView& view, const std::vector<KLItem>& items, KLPasteboard& pasteboard);
    virtual KLDragOperation validateDrop(KLListView& view, const KLPasteboard& pasteboard, KLItem item,
                                         int childIndex);
    virtual bool acceptDrop(KLListView& view, const KLPasteboard& pasteboard, KLItem item, int childIndex);
    virtual std::string summaryTextForItem(KLItem item);
};
