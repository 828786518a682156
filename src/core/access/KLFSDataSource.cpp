#include "KLFSDataSource.h"

#include "KLBundle.h"
#include "KLFSItem.h"
#include "KLPaneContext.h"

#include <algorithm>

namespace {

constexpr const char* kSetObjectValueSelector = "outlineView:setObjectValue:forTableColumn:byItem:";
constexpr const char* kSelectRowSelector = "selectRow:byExtendingSelection:";

bool imageExists(const char* name)
{
    for (const char* type : {"tiff", "png", "svg"}) {
        if (KLBundle::main().pathForResource(name, type))
            return true;
    }
    return false;
}

} // namespace

const std::vector<std::string>& KLFSDataSource::modeNames()
{
    static const std::vector<std::string> names = {"None", "Password", "Address", "Password or Address",
                                                   "Password and Address"};
    return names;
}

KLFSDataSource::KLFSDataSource(const std::string& rootPath) : menu_(modeNames())
{
    setRootPath(rootPath);
    hasDeleteImages_ = imageExists(kDeleteIdleImage) && imageExists(kDeletePressedImage);
}

KLFSDataSource::KLFSDataSource() : KLFSDataSource("/")
{
}

KLFSDataSource::~KLFSDataSource()
{
    *alive_ = false;
    for (const auto& timer : timers_)
        timer->cancel();
    setRootPath(std::nullopt);
}

void KLFSDataSource::setRootPath(const std::optional<std::string>& path)
{
    root_.reset();
    if (path)
        root_ = KLFSItem::create(*path);
}

std::string KLFSDataSource::rootPath() const
{
    return root_ ? root_->fullPath() : std::string();
}

int KLFSDataSource::modeIndex(const KLFSItem& item)
{
    return std::min(item.authStatus(), static_cast<std::int32_t>(PasswordAndAddress));
}

const KLAccessCheck* KLFSDataSource::accessCheckFor(const KLFSItem& item) const
{
    if (item.isAuthenticationDisabled() || modeIndex(item) == None)
        return nullptr;
    auto found = checks_.find(item.fullPath());
    return found == checks_.end() ? nullptr : &found->second;
}

KLFSItem* KLFSDataSource::itemFor(KLItem item) const
{
    return item ? static_cast<KLFSItem*>(item) : root_.get();
}

int KLFSDataSource::numberOfChildren(KLListView&, KLItem item)
{
    if (!item)
        return root_ ? 1 : 0;
    return static_cast<KLFSItem*>(item)->numberOfChildren();
}

KLItem KLFSDataSource::child(KLListView&, int index, KLItem item)
{
    if (!item)
        return root_.get();
    return static_cast<KLFSItem*>(item)->childAtIndex(index);
}

bool KLFSDataSource::isItemExpandable(KLListView&, KLItem item)
{
    KLFSItem* fsItem = itemFor(item);
    return fsItem && fsItem->numberOfChildren() != -1;
}

KLPlist KLFSDataSource::objectValue(KLListView& view, const std::string& column, KLItem item)
{
    KLFSItem* fsItem = itemFor(item);
    if (!fsItem)
        return {};
    if (column == kDirColumn)
        return fsItem->relativePath();
    if (column == kProtectColumn)
        return fsItem->isAuthenticationDisabled() ? 0 : modeIndex(*fsItem);
    restoreExpansion(view, *fsItem);
    return "";
}

void KLFSDataSource::restoreExpansion(KLListView& view, KLFSItem& item)
{
    if (!KLFSItem::expansionStateForItem(item) || view.isItemExpanded(&item))
        return;
    view.expandItem(&item);
    std::erase_if(timers_, [](const auto& timer) { return !timer->isValid(); });
    // Redraw once the current drawing pass is over, so the next level of
    // remembered folders opens as its rows are drawn.
    std::weak_ptr<bool> alive = alive_;
    timers_.push_back(KLRunLoop::main().scheduleOnce(0, [this, alive, &view] {
        if (auto live = alive.lock(); live && *live)
            refresh(view);
    }));
}

void KLFSDataSource::refresh(KLListView& view)
{
    view.setNeedsDisplay();
}

void KLFSDataSource::setObjectValue(KLListView& view, const KLPlist& value, const std::string& column, KLItem item)
{
    if (column != kProtectColumn || !item)
        return;
    KLFSItem* fsItem = static_cast<KLFSItem*>(item);
    KLPaneContext* pane = KLPaneContext::shared();
    if (pane && pane->hasBeenManuallyEdited()) {
        // The very same call, replayed once the user has answered; the item
        // stays alive until then.
        std::weak_ptr<bool> alive = alive_;
        std::shared_ptr<KLFSItem> kept = fsItem->shared();
        KLListView* outline = &view;
        pane->presentManualEditingErrorWithInvocation(KLInvocation(
            kSetObjectValueSelector,
            [this, alive, kept, outline, column](const KLPlist& argument) {
                if (auto live = alive.lock(); live && *live)
                    setObjectValue(*outline, argument, column, kept.get());
            },
            value));
        return;
    }

    std::int64_t index = value.integerReading().value_or(-1);
    switch (index) {
    case PasswordAndAddress:
        fsItem->setAuthStatus(KLFSItem::kPasswordBit | KLFSItem::kAddressBit | KLFSItem::kRequireAllBit, false);
        break;
    case None:
        // Switched off, every list kept in the file as commented lines.
        fsItem->setAuthStatus(fsItem->authStatus(), true);
        break;
    case Password:
    case Address:
    case PasswordOrAddress:
        fsItem->setAuthStatus(static_cast<std::int32_t>(index), false);
        break;
    default:
        return;
    }
    view.reloadItem(item);
    if (pane)
        pane->webOutlineClick(nullptr);
}

bool KLFSDataSource::shouldEdit(KLListView&, const std::string& column, KLItem item)
{
    if (column == kDirColumn)
        return false;
    KLFSItem* fsItem = itemFor(item);
    // Only while protection is off, exactly as it has always been.
    return fsItem && fsItem->isAuthenticationDisabled();
}

void KLFSDataSource::willDisplayCell(KLListView&, KLCell& cell, const std::string& column, KLItem item)
{
    KLFSItem* fsItem = itemFor(item);
    if (!fsItem)
        return;
    if (column == kDirColumn) {
        cell.iconFile = fsItem->fullPath();
    } else if (column == kProtectColumn) {
        cell.menuItems = menu_;
        // Unlike the value, this does not look at whether protection is off.
        cell.selectedIndex = modeIndex(*fsItem);
    } else if (column == kDeleteColumn) {
        bool deletable = fsItem->hasAccessFile();
        cell.enabled = deletable;
        cell.imageName = deletable && hasDeleteImages_ ? kDeleteIdleImage : "";
        cell.alternateImageName = deletable && hasDeleteImages_ ? kDeletePressedImage : "";
    } else if (column == kVerdictColumn) {
        const KLAccessCheck* check = accessCheckFor(*fsItem);
        cell.imageName = check ? KLAccessCheck::imageName(check->verdict) : "";
        cell.toolTip = check ? check->reason : "";
    }
}

bool KLFSDataSource::shouldSelectItem(KLListView& view, KLItem item)
{
    KLPaneContext* pane = KLPaneContext::shared();
    if (!pane || !pane->hasBeenManuallyEdited())
        return true;
    int row = view.rowForItem(item);
    KLListView* outline = &view;
    pane->presentManualEditingErrorWithInvocation(
        KLInvocation(kSelectRowSelector, [outline, row](const KLPlist&) { outline->selectRow(row, false); }, row));
    return false;
}

void KLFSDataSource::selectionDidChange(KLListView& view)
{
    // A selection made by keyboard acts like a click.
    if (KLPaneContext* pane = KLPaneContext::shared())
        pane->webOutlineClick(&view);
}

void KLFSDataSource::itemWillExpand(KLListView&, KLItem item)
{
    if (KLFSItem* fsItem = itemFor(item))
        KLFSItem::saveState(true, *fsItem);
}

void KLFSDataSource::itemWillCollapse(KLListView&, KLItem item)
{
    if (KLFSItem* fsItem = itemFor(item))
        KLFSItem::saveState(false, *fsItem);
}
