#include "FendrelPane.h"

#include "FendrelPref.h"
#include "KLApacheController.h"
#include "KLApachePage.h"
#include "KLBundle.h"
#include "KLButtonCell.h"
#include "KLFSDataSource.h"
#include "KLOutlineView.h"
#include "KLPopUpCell.h"
#include "KLProgressIndicator.h"
#include "KLSUController.h"
#include "KLTableView.h"
#include "KLUpdatePanel.h"
#include "KLUserItem.h"
#include "KLUserSheet.h"
#include "QtColumn.h"
#include "QtOutlineModel.h"
#include "QtStrings.h"

#include <QAbstractButton>
#include <QButtonGroup>
#include <QCheckBox>
#include <QAction>
#include <QComboBox>
#include <QLineEdit>
#include <QMenu>
#include <QPlainTextEdit>
#include <QPushButton>
#include <QSplitter>

namespace {
constexpr const char* kClearAccessTitle = "Remove Access Restrictions\u2026";
constexpr const char* kProtectionMenuTitle = "Protection";
constexpr const char* kViewOnWebTitle = "View in Browser";
constexpr const char* kRefreshTitle = "Refresh";
constexpr const char* kFolderMenuName = "folderMenu";
constexpr const char* kUserMenuName = "userMenu";
constexpr const char* kGroupMenuName = "groupMenu";
constexpr const char* kAddToGroupTitle = "Add to Group";
constexpr const char* kNoGroupsTitle = "No Groups";
constexpr const char* kSetPasswordTitle = "Set Password\u2026";
constexpr const char* kDeleteUserTitle = "Delete User";
constexpr const char* kRemoveFromGroupTitle = "Remove from Group";
constexpr const char* kDeleteGroupTitle = "Delete Group";
constexpr const char* kAddGroupTitle = "Add Group";
// Widths the divider limits are worked out against.
constexpr double kSplitReference = 1000;
} // namespace

void FendrelPane::loadController(ApacheFactory apacheFactory)
{
    if (pref_)
        return;
    FendrelPref::initialize();
    pref_ = std::make_unique<FendrelPref>();
    pref_->initWithBundle(KLBundle::main());
    if (apacheFactory)
        pref_->setApacheFactory(std::move(apacheFactory));
    pref_->setOutlets(outlets_);
    connectActions();
    pref_->awakeFromNib();
    applySplitLimits();
}

// Where a Qt signal stands for a user action, the controller hears of it
// with the outlet as the sender, as its actions expect.
void FendrelPane::connectActions()
{
    connectAccessActions();
    connectOptionActions();
    connectApacheActions();
}

void FendrelPane::connectAccessActions()
{
    FendrelPref* pref = pref_.get();
    FendrelPrefOutlets& o = outlets_;
    auto onClick = [this](const char* name, auto action) {
        if (auto* button = findChild<QAbstractButton*>(name))
            connect(button, &QAbstractButton::clicked, this, action);
    };

    // The folder outline's own selection reaches the controller through its
    // data source; double clicks, the delete buttons and the menu here.
    connect(webDirOutline_, &QAbstractItemView::doubleClicked, this, [pref](const QModelIndex& index) {
        if (index.column() == 0)
            pref->viewSelectionOnWeb(nullptr);
    });
    connect(deleteCell_, &KLButtonCell::clicked, this, [this, pref](const QModelIndex& index) {
        // Only the selected folder's button acts; a refused selection left
        // another folder selected.
        if (webDirOutline_->rowForIndex(index) == webDirOutline_->selectedRow())
            pref->clearAccessPrompt(nullptr);
    });
    connect(webDirOutline_, &QWidget::customContextMenuRequested, this, &FendrelPane::showFolderMenu);
    onClick("webRefreshButton", [pref] { pref->webRefresh(nullptr); });
    onClick("viewOnWebButton", [pref] { pref->viewSelectionOnWeb(nullptr); });

    connect(userTable_, &KLTableView::selectionDidChange, this, [pref] { pref->userClick(nullptr); });
    connect(userTable_, &QAbstractItemView::doubleClicked, this, [pref] { pref->editUser(nullptr); });
    onClick("addUserButton", [pref] { pref->addUser(nullptr); });
    onClick("userEditButton", [pref] { pref->editUser(nullptr); });
    onClick("userDeleteButton", [pref] { pref->deleteUser(nullptr); });
    connect(userTable_, &QWidget::customContextMenuRequested, this, &FendrelPane::showUserMenu);
    // Ctrl+G: the user menu at the selected row, for joining a group
    // without dragging.
    auto* addToGroupKey = new QAction(userTable_);
    addToGroupKey->setShortcut(QKeySequence(Qt::CTRL | Qt::Key_G));
    addToGroupKey->setShortcutContext(Qt::WidgetShortcut);
    userTable_->addAction(addToGroupKey);
    connect(addToGroupKey, &QAction::triggered, this,
            [this] { showUserMenu(userTable_->visualRect(userTable_->currentIndex()).center()); });
    userSheet_->setActions([pref] { pref->endNewUser(nullptr); }, [pref] { pref->closeNewUser(nullptr); });
    connect(userSheet_->passField(), &QLineEdit::textChanged, this, [pref] { pref->passwordDidChange(nullptr); });

    connect(groupOutline_, &KLOutlineView::selectionDidChange, this, [pref] { pref->groupClick(nullptr); });
    onClick("addGroupButton", [pref] { pref->addGroup(nullptr); });
    onClick("groupDeleteButton", [pref] { pref->deleteGroup(nullptr); });
    connect(groupOutline_, &QWidget::customContextMenuRequested, this, &FendrelPane::showGroupMenu);

    connect(addressTable_, &KLTableView::selectionDidChange, this, [this, pref] { pref->addressClick(addressTable_); });
    onClick("addAddressButton", [pref] { pref->addAddress(nullptr); });
    onClick("addressDeleteButton", [pref] { pref->removeAddress(nullptr); });
    onClick("addressDiscoverSwitch", [pref, &o] { pref->toggleAddressDiscovery(o.addressDiscoverSwitch); });
    connect(addressModeGroup_, &QButtonGroup::idClicked, this, [pref, &o] { pref->changeAddressMode(o.addressMode); });

    connect(customViewText_, &QPlainTextEdit::textChanged, this, [pref] { pref->textDidChange(); });
    onClick("customSaveButton", [pref] { pref->saveCustomEdit(nullptr); });
    onClick("customRevertButton", [pref] { pref->revertCustomEdit(nullptr); });
}

void FendrelPane::connectOptionActions()
{
    FendrelPref* pref = pref_.get();
    FendrelPrefOutlets& o = outlets_;
    auto onClick = [this](const char* name, auto action) {
        if (auto* button = findChild<QAbstractButton*>(name))
            connect(button, &QAbstractButton::clicked, this, action);
    };
    onClick("userSortCheck", [pref, &o] { pref->writeOption(o.userSortCheck); });
    onClick("groupSortCheck", [pref, &o] { pref->writeOption(o.groupSortCheck); });
    onClick("accessFileDeleteCheck", [pref, &o] { pref->writeOption(o.accessFileDeleteCheck); });
    onClick("userDeleteCheck", [pref, &o] { pref->writeOption(o.userDeleteCheck); });
    onClick("groupDeleteCheck", [pref, &o] { pref->writeOption(o.groupDeleteCheck); });
    connect(webDirFolder_, &QComboBox::activated, this, [pref, &o] { pref->setWebDirRoot(o.webDirFolder); });
    connect(passwordHashMenu_, &QComboBox::activated, this, [pref, &o] { pref->setPasswordHash(o.passwordHashMenu); });
    onClick("revealWebDirButton", [pref] { pref->revealWebDir(nullptr); });
    onClick("customDirCheck", [pref, &o] { pref->setCustomWebDirAllowed(o.customDirCheck); });
    onClick("remoteApacheCheck", [pref, &o] { pref->setUsesRemoteApache(o.remoteApacheCheck); });
    onClick("manualEditCheck", [pref, &o] { pref->setManualEditVisible(o.manualEditCheck); });
    onClick("launchVersionCheck", [pref, &o] { pref->changeCheckAtLaunch(o.launchVersionCheck); });

    // While a check runs the button cancels it (the controller titles it so).
    onClick("versionCheckButton", [pref, &o] {
        KLSUController* update = pref->SWUController();
        if (update && o.versionCheckProgress && o.versionCheckProgress->isAnimating())
            update->cancel();
        else
            pref->beginSWUCheck(nullptr);
    });
    auto onPanel = [this](QAbstractButton* button, auto action) {
        connect(button, &QAbstractButton::clicked, this, [pref = pref_.get(), action] {
            if (KLSUController* update = pref->SWUController())
                action(*update);
        });
    };
    onPanel(updatePanel_->infoButton(), [](KLSUController& update) { update.viewInfoPage(); });
    onPanel(updatePanel_->downloadButton(), [](KLSUController& update) { update.downloadNewVersion(); });
    onPanel(updatePanel_->laterButton(), [](KLSUController& update) { update.hideSWUPanel(); });

    onClick("helpButton", [pref] { pref->help(nullptr); });
    onClick("statusHelpButton", [pref] { pref->help(nullptr); });
    onClick("websiteButton", [pref] { pref->loadWebsite(nullptr); });
    onClick("donateButton", [pref] { pref->donate(nullptr); });
}

// The web server controller may come and go with the remote server
// option, so each click asks for the current one.
void FendrelPane::connectApacheActions()
{
    KLApachePage* page = apachePage_;
    auto onClick = [this](QAbstractButton* button, auto action) {
        connect(button, &QAbstractButton::clicked, this, [pref = pref_.get(), action] {
            if (KLApacheController* apache = pref->apache())
                action(*apache);
        });
    };
    onClick(page->toggleButton(), [](KLApacheController& apache) { apache.toggleApache(); });
    onClick(page->restartButton(), [](KLApacheController& apache) { apache.resetApache(); });
    onClick(page->gracefulSwitch(),
            [this](KLApacheController& apache) { apache.toggleGraceful(*apacheOutlets_.gracefulSwitch); });
    onClick(page->configCheckButton(), [](KLApacheController& apache) { apache.checkApacheConfig(); });
    onClick(page->logDisplayButton(), [](KLApacheController& apache) { apache.displayLog(); });
    onClick(page->webcheckButton(), [](KLApacheController& apache) { apache.webcheck(); });
    onClick(accessNoticeButton_, [](KLApacheController& apache) { apache.fixServerProblem(); });
}

void FendrelPane::showFolderMenu(const QPoint& where)
{
    QModelIndex index = webDirOutline_->indexAt(where);
    if (!index.isValid())
        return;
    // The menu acts on the selected folder, so a right click selects first
    // (the source may refuse while manual edits wait).
    int row = webDirOutline_->rowForIndex(index);
    if (row != webDirOutline_->selectedRow() && !webDirOutline_->userSelectRow(row))
        return;
    FendrelPref* pref = pref_.get();
    QModelIndex deleteIndex = index.siblingAtColumn(webDirOutline_->columnIndex(KLFSDataSource::kDeleteColumn));
    QModelIndex protectIndex = index.siblingAtColumn(webDirOutline_->columnIndex(KLFSDataSource::kProtectColumn));

    auto* menu = new QMenu(webDirOutline_);
    menu->setObjectName(kFolderMenuName);
    menu->setAttribute(Qt::WA_DeleteOnClose);
    QMenu* modes = menu->addMenu(kProtectionMenuTitle);
    QStringList titles = protectIndex.data(QtColumn::kMenuRole).toStringList();
    int chosen = protectIndex.data(QtColumn::kPopUpIndexRole).toInt();
    QPersistentModelIndex target(protectIndex);
    for (int i = 0; i < titles.size(); ++i) {
        QAction* mode = modes->addAction(titles[i]);
        mode->setCheckable(true);
        mode->setChecked(i == chosen);
        connect(mode, &QAction::triggered, this, [target, i] {
            if (target.isValid())
                const_cast<QAbstractItemModel*>(target.model())->setData(target, i, Qt::EditRole);
        });
    }
    QAction* clear = menu->addAction(kClearAccessTitle, this, [pref] { pref->clearAccessPrompt(nullptr); });
    clear->setEnabled(deleteIndex.data(QtColumn::kEnabledRole).toBool());
    menu->addSeparator();
    menu->addAction(kViewOnWebTitle, this, [pref] { pref->viewSelectionOnWeb(nullptr); });
    menu->addAction(kRefreshTitle, this, [pref] { pref->webRefresh(nullptr); });
    menu->popup(webDirOutline_->viewport()->mapToGlobal(where));
}

void FendrelPane::fillAddToGroupMenu(QMenu* menu)
{
    menu->clear();
    std::vector<std::string> groups = pref_ ? pref_->groupArray().value_or(std::vector<std::string>{})
                                            : std::vector<std::string>{};
    if (groups.empty())
        menu->addAction(kNoGroupsTitle)->setEnabled(false);
    FendrelPref* pref = pref_.get();
    for (std::size_t i = 0; i < groups.size(); ++i) {
        int index = static_cast<int>(i);
        QAction* group = menu->addAction(toQt(groups[i]).replace('&', "&&"), this,
                                         [pref, index] { pref->addUserToGroup(index); });
        group->setEnabled(pref->canAddUserToGroup(index));
    }
}

// Right click or the menu key in the users table: the actions on the
// selected user, among them joining a group.
void FendrelPane::showUserMenu(const QPoint& where)
{
    FendrelPref* pref = pref_.get();
    if (!pref)
        return;
    auto* menu = new QMenu(userTable_);
    menu->setObjectName(kUserMenuName);
    menu->setAttribute(Qt::WA_DeleteOnClose);
    fillAddToGroupMenu(menu->addMenu(kAddToGroupTitle));
    menu->addSeparator();
    menu->addAction(kSetPasswordTitle, this, [pref] { pref->editUser(nullptr); })
        ->setEnabled(findChild<QAbstractButton*>("userEditButton")->isEnabled());
    menu->addAction(kDeleteUserTitle, this, [pref] { pref->deleteUser(nullptr); })
        ->setEnabled(findChild<QAbstractButton*>("userDeleteButton")->isEnabled());
    menu->popup(userTable_->viewport()->mapToGlobal(where));
}

// Right click or the menu key in the groups outline: a member leaves its
// group, a group is deleted, as the delete key does (asking first).
void FendrelPane::showGroupMenu(const QPoint& where)
{
    FendrelPref* pref = pref_.get();
    if (!pref)
        return;
    auto* menu = new QMenu(groupOutline_);
    menu->setObjectName(kGroupMenuName);
    menu->setAttribute(Qt::WA_DeleteOnClose);
    if (auto* node = static_cast<KLUserItem*>(groupOutline_->itemAtRow(groupOutline_->selectedRow())))
        menu->addAction(node->hasChildren() ? kDeleteGroupTitle : kRemoveFromGroupTitle, this,
                        [pref] { pref->deleteGroup(nullptr); });
    menu->addAction(kAddGroupTitle, this, [pref] { pref->addGroup(nullptr); });
    menu->popup(groupOutline_->viewport()->mapToGlobal(where));
}

// The divider keeps the folder side and the rules side as wide as the
// controller's limits say: the minimum is raised, the maximum lowered.
void FendrelPane::applySplitLimits()
{
    int minimum = static_cast<int>(pref_->constrainMinCoordinate(0, 0));
    int reserve = static_cast<int>(kSplitReference - pref_->constrainMaxCoordinate(kSplitReference, 0));
    splitView_->widget(0)->setMinimumWidth(std::max(0, minimum));
    splitView_->widget(1)->setMinimumWidth(std::max(0, reserve));
}
