#pragma once

#include "KLTableDataSource.h"
#include "QtColumn.h"

#include <string>
#include <vector>

// A table of names with a check box column "active" and a text column
// "name"; what the view stores lands in its rows.
class FakeTableSource : public KLTableDataSource
{
public:
    static QtColumns columns() { return {{"active", "", QtColumn::Kind::Check}, {"name", "Name", QtColumn::Kind::Text, true}}; }

    struct Row
    {
        std::string name;
        bool active = false;
    };
    Row& at(int row) { return rows.at(static_cast<std::size_t>(row)); }

    int numberOfRows(KLListView&) override { return static_cast<int>(rows.size()); }
    KLPlist objectValue(KLListView&, const std::string& column, int row) override
    {
        return column == "active" ? KLPlist(at(row).active) : KLPlist(at(row).name);
    }
    void setObjectValue(KLListView& view, const KLPlist& value, const std::string& column, int row) override
    {
        if (column == "active")
            at(row).active = value.boolReading().value_or(false);
        else
            at(row).name = value.description();
        if (reloadOnSet)
            view.reloadData();
    }
    bool shouldEdit(KLListView&, const std::string& column, int) override { return column == "name" && editable; }
    void willDisplayCell(KLListView&, KLCell& cell, const std::string& column, int) override
    {
        cell.enabled = column != "active" || checksEnabled;
        cell.imageName = column == "name" ? "genericuser" : "";
    }
    // Row 0 (the pseudo-user) is never dragged.
    bool writeRows(KLListView&, const std::vector<int>& rowList, KLPasteboard& pasteboard) override
    {
        if (rowList.empty() || rowList.front() == 0)
            return false;
        pasteboard.declareTypes({KLPasteboard::kFendrelUserType});
        return pasteboard.setString(at(rowList.front()).name, KLPasteboard::kFendrelUserType);
    }
    std::string summaryTextForRow(int row) override { return at(row).name + " "; }

    std::vector<Row> rows;
    bool checksEnabled = true, editable = true, reloadOnSet = false;
};
