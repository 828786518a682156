#pragma once

#include "KLHeadlessControl.h"
#include "KLListView.h"

#include <set>
#include <string>
#include <utility>
#include <vector>

class KLOutlineDataSource;
class KLTableDataSource;

// A table or outline without a window. A table has as many rows as its data
// source says; an outline's rows are its visible items (top level, then the
// children of every expanded item), asked of its data source as a real
// outline would. The command line selects rows in it and lets the
// controller act on that selection, exactly as a click would.
class KLHeadlessListView : public KLHeadlessControl<KLListView>
{
public:
    explicit KLHeadlessListView(std::string name) : name_(std::move(name)) {}

    KLTableDataSource* tableDataSource() const { return table_; }
    KLOutlineDataSource* outlineDataSource() const { return outline_; }

    std::string name() const override { return name_; }
    void setDataSource(KLTableDataSource* source) override { table_ = source; }
    void setDataSource(KLOutlineDataSource* source) override { outline_ = source; }
    void reloadData() override {}
    void reloadItem(KLItem) override {}
    int numberOfRows() const override;
    int selectedRow() const override { return selection_.empty() ? -1 : selection_.front(); }
    std::vector<int> selectedRows() const override { return selection_; }
    void selectRow(int row, bool extendSelection) override;
    void deselectAll() override { selection_.clear(); }
    void editColumn(const std::string& column, int row) override { editing_ = {column, row}; }
    int editedRow() const override { return editing_.second; }
    // The edit of the cell ends (the command line has typed its text).
    void endEditing() { editing_ = {std::string(), -1}; }
    KLItem itemAtRow(int row) const override;
    int rowForItem(KLItem item) const override;
    void expandItem(KLItem item) override { expanded_.insert(item); }
    void collapseItem(KLItem item) override { expanded_.erase(item); }
    bool isItemExpanded(KLItem item) const override { return expanded_.count(item) > 0; }
    void setNeedsDisplay() override {}


private:
    std::vector<KLItem> visibleItems() const;
    void appendVisible(KLItem parent, std::vector<KLItem>& items) const;

    std::string name_;
    KLTableDataSource* table_ = nullptr;
    KLOutlineDataSource* outline_ = nullptr;
    std::vector<int> selection_;
    std::set<KLItem> expanded_;
    std::pair<std::string, int> editing_{std::string(), -1};
};
