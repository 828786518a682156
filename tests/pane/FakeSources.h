#pragma once

#include "KLOutlineDataSource.h"
#include "KLTableDataSource.h"

#include <memory>
#include <string>
#include <vector>

// A table of names with a check box column "active" and a text column
// "name"; records what the view sends it.
class FakeTableSource : public KLTableDataSource
{
public:
    struct Row
    {
        std::string name;
        bool active = false;
    };

    int numberOfRows(KLListView&) override { return static_cast<int>(rows.size()); }
    KLPlist objectValue(KLListView&, const std::string& column, int row) override
    {
        const Row& r = rows.at(static_cast<std::size_t>(row));
        if (column == "active")
            return r.active;
        return r.name;
    }
    void setObjectValue(KLListView& view, const KLPlist& value, const std::string& column, int row) override
    {
        Row& r = rows.at(static_cast<std::size_t>(row));
        if (column == "active")
            r.active = value.boolReading().value_or(false);
        else
            r.name = value.description();
        ++sets;
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
    bool writeRows(KLListView&, const std::vector<int>& rowList, KLPasteboard& pasteboard) override
    {
        if (rowList.empty() || rowList.front() == 0)
            return false;
        pasteboard.declareTypes({KLPasteboard::kFendrelUserType});
        return pasteboard.setString(rows.at(static_cast<std::size_t>(rowList.front())).name,
                                    KLPasteboard::kFendrelUserType);
    }
    std::string summaryTextForRow(int row) override { return rows.at(static_cast<std::size_t>(row)).name + " "; }

    std::vector<Row> rows;
    bool checksEnabled = true;
    bool editable = true;
    bool reloadOnSet = false;
    int sets = 0;
};

// A tree of named nodes (groups with members); the column "group" is the
// name, "active" a check box. Drops of "KLFendrelUser" onto a group add a
// member; names that exist already (any case) are refused by validation.
class FakeOutlineSource : public KLOutlineDataSource
{
public:
    struct Node
    {
        std::string name;
        bool active = false;
        Node* parent = nullptr;
        std::vector<std::unique_ptr<Node>> children;
        bool isGroup = true;
    };

    Node* addGroup(const std::string& name)
    {
        root.children.push_back(std::make_unique<Node>());
        Node* node = root.children.back().get();
        node->name = name;
        node->parent = &root;
        return node;
    }
    Node* addMember(Node* group, const std::string& name)
    {
        group->children.push_back(std::make_unique<Node>());
        Node* node = group->children.back().get();
        node->name = name;
        node->parent = group;
        node->isGroup = false;
        return node;
    }
    Node* nodeOf(KLItem item) const { return item ? static_cast<Node*>(item) : const_cast<Node*>(&root); }

    int numberOfChildren(KLListView&, KLItem item) override
    {
        return static_cast<int>(nodeOf(item)->children.size());
    }
    KLItem child(KLListView&, int index, KLItem item) override
    {
        return nodeOf(item)->children.at(static_cast<std::size_t>(index)).get();
    }
    bool isItemExpandable(KLListView&, KLItem item) override { return nodeOf(item)->isGroup; }
    KLPlist objectValue(KLListView&, const std::string& column, KLItem item) override
    {
        if (column == "active")
            return nodeOf(item)->active;
        return nodeOf(item)->name;
    }
    void setObjectValue(KLListView& view, const KLPlist& value, const std::string& column, KLItem item) override
    {
        if (column == "active")
            nodeOf(item)->active = value.boolReading().value_or(false);
        else
            nodeOf(item)->name = value.description();
        ++sets;
        if (reloadOnSet)
            view.reloadData();
    }
    bool shouldEdit(KLListView&, const std::string& column, KLItem item) override
    {
        return column == "group" && nodeOf(item)->isGroup;
    }
    // Members have no check box.
    void willDisplayCell(KLListView&, KLCell& cell, const std::string& column, KLItem item) override
    {
        if (column == "active" && !nodeOf(item)->isGroup)
            cell.transparent = true;
    }
    bool shouldSelectItem(KLListView&, KLItem item) override
    {
        ++selectionQuestions;
        return !refuseSelection || nodeOf(item) == allowed;
    }
    void selectionDidChange(KLListView&) override { ++selectionChanges; }
    void itemWillExpand(KLListView&, KLItem item) override { expandedNames.push_back(nodeOf(item)->name); }

    bool hasTextValidation() const override { return true; }
    bool validateText(KLListView&, const std::string& text) override
    {
        validated.push_back(text);
        for (const auto& group : root.children) {
            std::string a = group->name, b = text;
            for (auto& c : a)
                c = static_cast<char>(std::tolower(static_cast<unsigned char>(c)));
            for (auto& c : b)
                c = static_cast<char>(std::tolower(static_cast<unsigned char>(c)));
            if (a == b)
                return false;
        }
        return true;
    }

    KLDragOperation validateDrop(KLListView&, const KLPasteboard& pasteboard, KLItem item, int childIndex) override
    {
        bool ok = item && nodeOf(item)->isGroup && childIndex == -1 &&
                  pasteboard.stringForType(KLPasteboard::kFendrelUserType).has_value();
        return ok ? KLDragOperation::Copy : KLDragOperation::None;
    }
    bool acceptDrop(KLListView& view, const KLPasteboard& pasteboard, KLItem item, int) override
    {
        addMember(nodeOf(item), *pasteboard.stringForType(KLPasteboard::kFendrelUserType));
        view.reloadItem(item);
        return true;
    }

    Node root;
    bool refuseSelection = false;
    bool reloadOnSet = false;
    Node* allowed = nullptr;
    int sets = 0;
    int selectionQuestions = 0;
    int selectionChanges = 0;
    std::vector<std::string> validated;
    std::vector<std::string> expandedNames;
};
