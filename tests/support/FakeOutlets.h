#pragma once

#include "KLAlerts.h"
#include "KLButton.h"
#include "KLListView.h"
#include "KLMatrix.h"
#include "KLPopUpButton.h"
#include "KLProgressIndicator.h"
#include "KLTabView.h"
#include "KLTextField.h"
#include "KLTextView.h"
#include "KLWindow.h"
#include "KLWorkspace.h"

#include <algorithm>
#include <deque>
#include <functional>
#include <set>
#include <string>
#include <vector>

// Plain outlets for tests: they keep what the controller sets so a test can
// read it back.

template <class Base> class FakeControlOf : public Base {
public:
    void setEnabled(bool e) override { enabled = e; }
    bool isEnabled() const override { return enabled; }
    void setHidden(bool h) override { hidden = h; }
    bool isHidden() const override { return hidden; }
    void setToolTip(const std::string& t) override { tip = t; }
    std::string toolTip() const override { return tip; }
    bool enabled = true, hidden = false;
    std::string tip;
};

class FakeButton : public FakeControlOf<KLButton> {
public:
    void setTitle(const std::string& t) override { titleText = t; }
    std::string title() const override { return titleText; }
    void setState(int s) override { stateValue = s; }
    int state() const override { return stateValue; }
    std::string titleText;
    int stateValue = 0;
};

class FakeTextField : public FakeControlOf<KLTextField> {
public:
    void setStringValue(const std::string& v) override { value = v; }
    std::string stringValue() const override { return value; }
    void setEditable(bool e) override { editable = e; }
    bool isEditable() const override { return editable; }
    void setTextColor(const std::string& c) override { color = c; }
    std::string textColor() const override { return color; }
    std::string value;
    bool editable = true;
    std::string color;
};

class FakeTextView : public FakeControlOf<KLTextView> {
public:
    void setString(const std::string& t) override { text = t; }
    std::string string() const override { return text; }
    void setEditable(bool e) override { editable = e; }
    bool isEditable() const override { return editable; }
    void setVisibleLines(int lines) override { visibleLines = lines; }
    void setSelectedRange(std::size_t location, std::size_t length) override { selection = {location, length}; }
    std::string text;
    std::pair<std::size_t, std::size_t> selection{std::string::npos, 0};
    bool editable = true;
    int visibleLines = 0;
};

class FakePopUpButton : public FakeControlOf<KLPopUpButton> {
public:
    struct Item {
        std::string title, icon;
        bool separator = false;
    };
    int numberOfItems() const override { return static_cast<int>(items.size()); }
    std::string itemTitleAtIndex(int i) const override { return items.at(static_cast<std::size_t>(i)).title; }
    void insertItem(const std::string& title, const std::string& icon, int index) override
    {
        items.insert(items.begin() + index, Item{title, icon, false});
    }
    void insertSeparator(int index) override { items.insert(items.begin() + index, Item{"", "", true}); }
    void setItemIcon(int index, const std::string& icon) override { items.at(static_cast<std::size_t>(index)).icon = icon; }
    void removeItemAtIndex(int index) override
    {
        items.erase(items.begin() + index);
        selected = std::min(selected, numberOfItems() - 1);
    }
    void selectItemAtIndex(int index) override { selected = index; }
    int indexOfSelectedItem() const override { return selected; }
    std::vector<Item> items;
    int selected = -1;
};

class FakeMatrix : public FakeControlOf<KLMatrix> {
public:
    void selectCellAtRow(int row) override { selectedRowValue = row; }
    int selectedRow() const override { return selectedRowValue; }
    int selectedRowValue = 0;
};

class FakeTabView : public KLTabView {
public:
    int numberOfItems() const override { return static_cast<int>(ids.size()); }
    int indexOfItemWithIdentifier(const std::string& id) const override
    {
        auto it = std::find(ids.begin(), ids.end(), id);
        return it == ids.end() ? -1 : static_cast<int>(it - ids.begin());
    }
    void insertItem(const std::string& id, int index) override
    {
        ids.insert(ids.begin() + std::clamp(index, 0, numberOfItems()), id);
    }
    void removeItem(const std::string& id) override { std::erase(ids, id); }
    void selectItem(const std::string& id) override { selected = id; }
    std::string selectedIdentifier() const override { return selected; }
    std::vector<std::string> ids;
    std::string selected;
};

class FakeProgressIndicator : public FakeControlOf<KLProgressIndicator> {
public:
    void startAnimation() override { animating = true; }
    void stopAnimation() override { animating = false; }
    bool isAnimating() const override { return animating; }
    void setIndeterminate(bool i) override { indeterminate = i; }
    void setMaxValue(double v) override { maxValue = v; }
    void setDoubleValue(double v) override { value = v; }
    double doubleValue() const override { return value; }
    bool animating = false, indeterminate = true;
    double maxValue = 100, value = 0;
};

// A list view whose rows are whatever the test says; outlines list their
// visible items in `rows`.
class FakeListView : public FakeControlOf<KLListView> {
public:
    explicit FakeListView(std::string outletName = "list") : outlet(std::move(outletName)) {}
    std::string name() const override { return outlet; }
    void setDataSource(KLTableDataSource* source) override { tableSource = source; }
    void setDataSource(KLOutlineDataSource* source) override { outlineSource = source; }
    void reloadData() override { ++reloads; }
    void reloadItem(KLItem item) override { reloadedItems.push_back(item); }
    int numberOfRows() const override { return rowCount >= 0 ? rowCount : static_cast<int>(rows.size()); }
    int selectedRow() const override { return selection.empty() ? -1 : selection.front(); }
    std::vector<int> selectedRows() const override { return selection; }
    void selectRow(int row, bool extend) override
    {
        if (!extend)
            selection.clear();
        selection.push_back(row);
    }
    void deselectAll() override { selection.clear(); }
    void editColumn(const std::string& column, int row) override { edits.emplace_back(column, row); }
    int editedRow() const override { return editingRow; }
    KLItem itemAtRow(int row) const override
    {
        return row >= 0 && row < static_cast<int>(rows.size()) ? rows[static_cast<std::size_t>(row)] : nullptr;
    }
    int rowForItem(KLItem item) const override
    {
        auto it = std::find(rows.begin(), rows.end(), item);
        return it == rows.end() ? -1 : static_cast<int>(it - rows.begin());
    }
    void expandItem(KLItem item) override { expanded.insert(item); }
    void collapseItem(KLItem item) override { expanded.erase(item); }
    bool isItemExpanded(KLItem item) const override { return expanded.count(item) > 0; }
    void setNeedsDisplay() override { ++redraws; }

    std::string outlet;
    KLTableDataSource* tableSource = nullptr;
    KLOutlineDataSource* outlineSource = nullptr;
    int reloads = 0, redraws = 0, rowCount = -1, editingRow = -1;
    std::vector<KLItem> rows, reloadedItems;
    std::vector<int> selection;
    std::vector<std::pair<std::string, int>> edits;
    std::set<KLItem> expanded;
};

class FakeWindow : public KLWindow {
public:
    void setContentSize(double w, double h) override { width = w, height = h; }
    void orderFront() override { visible = true; }
    void orderOut() override { visible = false; }
    bool isVisible() const override { return visible; }
    void beginSheet(KLWindow& sheet) override { sheets.push_back(&sheet); }
    void endSheet(KLWindow& sheet) override { std::erase(sheets, &sheet); }
    void makeFirstResponder(const std::string& control) override { firstResponder = control; }
    double width = 0, height = 0;
    bool visible = false;
    std::vector<KLWindow*> sheets;
    std::string firstResponder;
};

// Alerts are queued; the test answers them with answer(code).
class FakeAlerts : public KLAlerts {
public:
    struct Pending {
        KLAlert alert;
        std::function<void(int)> handler;
    };
    using PathHandler = std::function<void(int, const std::string&)>;
    void beginAlertSheet(const KLAlert& alert, std::function<void(int)> handler) override
    {
        shown.push_back(alert);
        pending.push_back({alert, std::move(handler)});
    }
    void runFolderChooser(const std::string& start, PathHandler handler) override
    {
        chooserStarts.push_back(start);
        folderHandler = std::move(handler);
    }
    void runSavePanel(const std::string& folder, const std::string& name, PathHandler handler) override
    {
        savePanels.emplace_back(folder, name);
        saveHandler = std::move(handler);
    }
    // Answers the oldest open alert.
    void answer(int code)
    {
        Pending p = std::move(pending.front());
        pending.pop_front();
        if (p.handler)
            p.handler(code);
    }
    std::vector<KLAlert> shown;
    std::deque<Pending> pending;
    std::vector<std::string> chooserStarts;
    PathHandler folderHandler, saveHandler;
    std::vector<std::pair<std::string, std::string>> savePanels;
};

class FakeWorkspace : public KLWorkspace {
public:
    bool openURL(const std::string& url) override { return urls.push_back(url), true; }
    bool openFile(const std::string& path) override { return files.push_back(path), true; }
    bool revealFolder(const std::string& path) override { return revealed.push_back(path), true; }
    void beep() override { ++beeps; }
    std::vector<std::string> urls, files, revealed;
    int beeps = 0;
};
