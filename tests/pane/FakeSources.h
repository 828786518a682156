#pragma once

#include "KLOutlineDataSource.h"
#include "KLTableDataSource.h"
#include "QtColumn.h"

#include <algorithm>
#include <memory>
#include <string>
#include <vector>

// The columns the fakes below answer for: a check box "active" and a name.
inline QtColumns tableColumns() { return {{"active", "", QtColumn::Kind::Check}, {"name", "Name", QtColumn::Kind::Text, true}}; }
inline QtColumns outlineColumns() { return {{"group", "Group", QtColumn::Kind::Text, true}, {"active", "", QtColumn::Kind::Check}}; }

// A table of names; records what the view sends it.
class FakeTableSource : public KLTableDataSource
{
public:
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
        if (column == "active")
            cell.enabled = checksEnabled;
        if (column == "name")
            cell.imageName = "genericuser";
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

// Groups with members; "group" is the name, "active" a check box members do
// not show. A user dropped onto a group joins it; validation refuses a group
// name that exists already in any case.
class FakeOutlineSource : public KLOutlineDataSource
{
public:
    struct Node
    {
        std::string name;
        bool active = false;
        std::vector<std::unique_ptr<Node>> children;
        bool isGroup = true;
    };

    Node* add(Node* parent, const std::string& name, bool isGroup)
    {
        parent->children.push_back(std::make_unique<Node>(Node{name, false, {}, isGroup}));
        return parent->children.back().get();
    }
    Node* addGroup(const std::string& name) { return add(&root, name, true); }
    Node* addMember(Node* group, const std::string& name) { return add(group, name, false); }
    Node* nodeOf(KLItem item) { return item ? static_cast<Node*>(item) : &root; }

    int numberOfChildren(KLListView&, KLItem item) override { return static_cast<int>(nodeOf(item)->children.size()); }
    KLItem child(KLListView&, int index, KLItem item) override { return nodeOf(item)->children.at(static_cast<std::size_t>(index)).get(); }
    bool isItemExpandable(KLListView&, KLItem item) override { return nodeOf(item)->isGroup; }
    KLPlist objectValue(KLListView&, const std::string& column, KLItem item) override
    {
        return column == "active" ? KLPlist(nodeOf(item)->active) : KLPlist(nodeOf(item)->name);
    }
    void setObjectValue(KLListView& view, const KLPlist& value, const std::string& column, KLItem item) override
    {
        if (column == "active")
            nodeOf(item)->active = value.boolReading().value_or(false);
        else
            nodeOf(item)->name = value.description();
        if (reloadOnSet)
            view.reloadData();
    }
    bool shouldEdit(KLListView&, const std::string& column, KLItem item) override { return column == "group" && nodeOf(item)->isGroup; }
    void willDisplayCell(KLListView&, KLCell& cell, const std::string& column, KLItem item) override
    {
        if (column == "active" && !nodeOf(item)->isGroup)
            cell.transparent = true;
    }
    bool shouldSelectItem(KLListView&, KLItem) override { return ++selectionQuestions, !refuseSelection; }
    void selectionDidChange(KLListView&) override { ++selectionChanges; }
    void itemWillExpand(KLListView&, KLItem item) override { expandedNames.push_back(nodeOf(item)->name); }

    bool hasTextValidation() const override { return true; }
    bool validateText(KLListView&, const std::string& text) override
    {
        validated.push_back(text);
        auto lower = [](std::string s) {
            std::transform(s.begin(), s.end(), s.begin(), [](unsigned char c) { return static_cast<char>(std::tolower(c)); });
            return s;
        };
        return std::none_of(root.children.begin(), root.children.end(),
                            [&](const auto& group) { return lower(group->name) == lower(text); });
    }
    KLDragOperation validateDrop(KLListView&, const KLPasteboard& pasteboard, KLItem item, int childIndex) override
    {
        bool ok = item && nodeOf(item)->isGroup && childIndex == -1 && pasteboard.stringForType(KLPasteboard::kFendrelUserType);
        return ok ? KLDragOperation::Copy : KLDragOperation::None;
    }
    bool acceptDrop(KLListView& view, const KLPasteboard& pasteboard, KLItem item, int) override
    {
        addMember(nodeOf(item), *pasteboard.stringForType(KLPasteboard::kFendrelUserType));
        view.reloadItem(item);
        return true;
    }

    Node root;
    bool refuseSelection = false, reloadOnSet = false;
    int selectionQuestions = 0, selectionChanges = 0;
    std::vector<std::string> validated, expandedNames;
};
