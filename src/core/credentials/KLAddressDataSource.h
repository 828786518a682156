#pragma once

#include "KLXDataSource.h"

class KLFSItem;

// The address table: the pane's list of known addresses (shared, not
// copied) with a check box column "active" saying whether the selected
// folder lists the address.
class KLAddressDataSource : public KLXDataSource
{
public:
    static constexpr const char* kAddressColumn = "address";
    static constexpr const char* kActiveColumn = "active";

    explicit KLAddressDataSource(std::shared_ptr<KLPlist::Array> addresses);

    KLPlist objectAtRow(int row, const std::string& column) const override;
    // An edited address goes to the pane in lower case (the pane checks it);
    // a check box change writes the folder's access file only when the
    // folder's list changes.
    void setObject(const KLPlist& value, int row, const std::string& column) override;
    void willDisplayCell(KLListView& view, KLCell& cell, const std::string& column, int row) override;
    KLFSItem* activeDirectory() const;
};
