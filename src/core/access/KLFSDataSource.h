#pragma once

#include "KLAccessCheck.h"
#include "KLOutlineDataSource.h"
#include "KLRunLoop.h"

#include <map>
#include <memory>
#include <optional>
#include <string>
#include <vector>

class KLFSItem;

// The folder outline's data source: the protected folder as the only top
// level row, its sub-folders below, a protection mode pop-up per folder and a
// delete button for folders with an access file. Choosing a mode rewrites the
// folder's access file; while the manual editor holds unsaved text, a mode
// change or a selection is held back and handed to the pane to replay.
// Outline items are the tree's KLFSItem pointers.
class KLFSDataSource : public KLOutlineDataSource
{
public:
    static constexpr const char* kDirColumn = "dir";
    static constexpr const char* kProtectColumn = "protect";
    static constexpr const char* kDeleteColumn = "delete";
    // The web server's answer for a protected folder: an image per verdict,
    // the reason as its tool tip.
    static constexpr const char* kVerdictColumn = "verdict";
    static constexpr const char* kDeleteIdleImage = "delete_idle";
    static constexpr const char* kDeletePressedImage = "delete_pressed";

    // The protection modes of the "protect" pop-up, by index.
    enum Mode { None = 0, Password = 1, Address = 2, PasswordOrAddress = 3, PasswordAndAddress = 4 };
    static const std::vector<std::string>& modeNames();

    explicit KLFSDataSource(const std::string& rootPath);
    // The file system root.
    KLFSDataSource();
    ~KLFSDataSource() override;
    KLFSDataSource(const KLFSDataSource&) = delete;
    KLFSDataSource& operator=(const KLFSDataSource&) = delete;

    // Drops the whole tree and makes a new root item (none for nullopt).
    void setRootPath(const std::optional<std::string>& path);
    std::string rootPath() const;
    KLFSItem* rootItem() const { return root_.get(); }

    // The entries of the "protect" pop-up cells.
    void setMenu(std::vector<std::string> menu) { menu_ = std::move(menu); }
    const std::vector<std::string>& menu() const { return menu_; }

    // What the web server answered for the protected folders, by full path.
    void setAccessChecks(std::map<std::string, KLAccessCheck> checks) { checks_ = std::move(checks); }
    // The check of a folder whose protection is on; null for any other.
    const KLAccessCheck* accessCheckFor(const KLFSItem& item) const;

    // The mode index an item shows: 4 stands for both kinds required.
    static int modeIndex(const KLFSItem& item);

    int numberOfChildren(KLListView& view, KLItem item) override;
    KLItem child(KLListView& view, int index, KLItem item) override;
    bool isItemExpandable(KLListView& view, KLItem item) override;
    KLPlist objectValue(KLListView& view, const std::string& column, KLItem item) override;
    void setObjectValue(KLListView& view, const KLPlist& value, const std::string& column, KLItem item) override;
    bool shouldEdit(KLListView& view, const std::string& column, KLItem item) override;
    void willDisplayCell(KLListView& view, KLCell& cell, const std::string& column, KLItem item) override;
    bool shouldSelectItem(KLListView& view, KLItem item) override;
    void selectionDidChange(KLListView& view) override;
    void itemWillExpand(KLListView& view, KLItem item) override;
    void itemWillCollapse(KLListView& view, KLItem item) override;

    // Redraws the outline after an expansion was restored.
    void refresh(KLListView& view);

private:
    KLFSItem* itemFor(KLItem item) const;
    void restoreExpansion(KLListView& view, KLFSItem& item);

    std::shared_ptr<KLFSItem> root_;
    std::vector<std::string> menu_;
    std::map<std::string, KLAccessCheck> checks_;
    bool hasDeleteImages_ = false;
    std::vector<std::shared_ptr<KLTimer>> timers_;
    // Held-back calls check it, so none runs after this source is gone.
    std::shared_ptr<bool> alive_ = std::make_shared<bool>(true);
};
