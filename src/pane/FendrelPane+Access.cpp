#include "FendrelPane.h"

#include "KLButtonCell.h"
#include "KLFilterField.h"
#include "KLFSDataSource.h"
#include "KLOutlineView.h"
#include "KLPopUpCell.h"
#include "KLTableView.h"
#include "KLUsersDataSource.h"
#include "NSImageAndTextCell.h"
#include "QtCellDelegate.h"
#include "QtImages.h"
#include "QtStrings.h"
#include "QtTabView.h"

#include <QButtonGroup>
#include <QCheckBox>
#include <QComboBox>
#include <QFontDatabase>
#include <QHBoxLayout>
#include <QHeaderView>
#include <QLabel>
#include <QPlainTextEdit>
#include <QPushButton>
#include <QRadioButton>
#include <QSplitter>
#include <QTabWidget>
#include <QToolButton>
#include <QVBoxLayout>

namespace {
constexpr const char* kFolderColumnTitle = "Folder";
constexpr const char* kProtectColumnTitle = "Protection";
constexpr const char* kUsersColumnTitle = "Users";
constexpr const char* kHashColumnTitle = "Hash";
constexpr const char* kGroupsColumnTitle = "Groups";
constexpr const char* kAddressesColumnTitle = "Addresses";
constexpr const char* kUsersTabTitle = "Users && Groups";
constexpr const char* kAddressesTabTitle = "Addresses";
constexpr const char* kManualTabTitle = "Manual";
constexpr const char* kRefreshTitle = "Refresh";
constexpr const char* kViewOnWebTitle = "View in Browser";
constexpr const char* kAddTitle = "+";
constexpr const char* kRemoveTitle = "\u2212";
constexpr const char* kEditTitle = "Edit\u2026";
constexpr const char* kAddUserTip = "Add a user";
constexpr const char* kEditUserTip = "Set a new password for the selected user";
constexpr const char* kDeleteUserTip = "Delete the selected user";
constexpr const char* kAddGroupTip =
    "Add a group; drag users onto it, or choose Add to Group in a user's menu (Ctrl+G), to make them members";
constexpr const char* kFilterUsersText = "Find users";
constexpr const char* kFilterGroupsText = "Find groups";
constexpr const char* kAddAddressTip = "Add an address";
constexpr const char* kRemoveAddressTip = "Remove the selected addresses";
constexpr const char* kAllowTitle = "Allow the ticked addresses";
constexpr const char* kDenyTitle = "Deny the ticked addresses";
constexpr const char* kDiscoverTitle = "Add addresses found in access files";
constexpr const char* kRevertTitle = "Revert";
constexpr const char* kSaveTitle = "Save";
constexpr const char* kManualNote = "The access file of the selected folder. Lines Fendrel does not manage are kept.";

// Width of the folder side when the pane opens, and of its columns.
constexpr int kFolderSideWidth = 330;
constexpr int kIndentation = 14;
// Rows of the folder outline are four points apart.
constexpr int kIntercellHeight = 4;

QToolButton* smallButton(const char* title, const char* name, const char* tip)
{
    auto* button = new QToolButton;
    button->setText(title);
    button->setObjectName(name);
    button->setToolTip(tip);
    return button;
}

QWidget* page(const char* identifier, const char* name = nullptr)
{
    auto* w = new QWidget;
    w->setProperty(QtTabView::kIdentifierProperty, identifier);
    if (name)
        w->setObjectName(name);
    return w;
}
} // namespace

QWidget* FendrelPane::makeAccessTab()
{
    QWidget* tab = page("access", "accessTab");

    QStringList modes;
    for (const std::string& mode : KLFSDataSource::modeNames())
        modes << toQt(mode);
    QtColumns folderColumns = {
        {KLFSDataSource::kDirColumn, kFolderColumnTitle, QtColumn::Kind::Text},
        {KLFSDataSource::kProtectColumn, kProtectColumnTitle, QtColumn::Kind::PopUp, false,
         std::vector<QString>(modes.begin(), modes.end())},
        {KLFSDataSource::kDeleteColumn, "", QtColumn::Kind::Button},
        {KLFSDataSource::kVerdictColumn, "", QtColumn::Kind::Text},
    };
    webDirOutline_ = new KLOutlineView("webDirOutline", folderColumns);
    webDirOutline_->setIntercellSpacing(QSize(0, kIntercellHeight));
    webDirOutline_->setUniformRowHeights(true);
    // A double click opens the folder's web address, and only that.
    webDirOutline_->setExpandsOnDoubleClick(false);
    webDirOutline_->setItemDelegateForColumn(0, new NSImageAndTextCell(webDirOutline_));
    protectCell_ = new KLPopUpCell(modes, webDirOutline_);
    webDirOutline_->setItemDelegateForColumn(1, protectCell_);
    deleteCell_ = new KLButtonCell(webDirOutline_);
    webDirOutline_->setItemDelegateForColumn(2, deleteCell_);
    webDirOutline_->setContextMenuPolicy(Qt::CustomContextMenu);
    webDirOutline_->setIndentation(kIndentation);
    QHeaderView* header = webDirOutline_->header();
    header->setStretchLastSection(false);
    header->setSectionResizeMode(0, QHeaderView::Stretch);
    header->setSectionResizeMode(1, QHeaderView::ResizeToContents);
    header->setSectionResizeMode(2, QHeaderView::Fixed);
    header->resizeSection(2, NSImageAndTextCell::kImageSize + 4 * NSImageAndTextCell::kMargin);
    header->setSectionResizeMode(3, QHeaderView::Fixed);
    header->resizeSection(3, NSImageAndTextCell::kImageSize + 4 * NSImageAndTextCell::kMargin);

    // The protection modes as the controller reads them; the pop-up cells
    // show them, the combo itself is never shown.
    directoryMenu_ = new QComboBox(tab);
    directoryMenu_->setObjectName("directoryMenu");
    directoryMenu_->addItems(modes);
    directoryMenu_->hide();

    auto* refresh = new QPushButton(kRefreshTitle);
    refresh->setObjectName("webRefreshButton");
    auto* viewOnWeb = new QPushButton(kViewOnWebTitle);
    viewOnWeb->setObjectName("viewOnWebButton");
    auto* folderButtons = new QHBoxLayout;
    folderButtons->addWidget(refresh);
    folderButtons->addWidget(viewOnWeb);
    folderButtons->addStretch();

    // The web server's own answer for the selected folder.
    auto* accessCheck = new QLabel;
    accessCheck->setObjectName("accessCheckText");
    accessCheck->setWordWrap(true);
    accessCheck->setTextInteractionFlags(Qt::TextSelectableByMouse);

    auto* folderSide = new QWidget;
    auto* folderLayout = new QVBoxLayout(folderSide);
    folderLayout->setContentsMargins(0, 0, 0, 0);
    folderLayout->addWidget(webDirOutline_);
    folderLayout->addWidget(accessCheck);
    folderLayout->addLayout(folderButtons);

    userAddressTabs_ = new QTabWidget;
    userAddressTabs_->setObjectName("userAddressTabs");
    userAddressTabs_->addTab(makeUsersPage(), kUsersTabTitle);
    userAddressTabs_->addTab(makeAddressesPage(), kAddressesTabTitle);
    userAddressTabs_->addTab(makeManualPage(), kManualTabTitle);

    splitView_ = new QSplitter(Qt::Horizontal);
    splitView_->setObjectName("splitView");
    splitView_->setChildrenCollapsible(false);
    splitView_->addWidget(folderSide);
    splitView_->addWidget(userAddressTabs_);
    splitView_->setStretchFactor(0, 0);
    splitView_->setStretchFactor(1, 1);
    splitView_->setSizes({kFolderSideWidth, 1000});

    auto* layout = new QVBoxLayout(tab);
    layout->addWidget(splitView_);
    setAccessTabOrder(tab);
    return tab;
}

QWidget* FendrelPane::makeUsersPage()
{
    QWidget* usersPage = page("users", "usersTab");

    QtColumns userColumns = {
        {"active", "", QtColumn::Kind::Check},
        {"user", kUsersColumnTitle, QtColumn::Kind::Text},
        {KLUsersDataSource::kHashColumn, kHashColumnTitle, QtColumn::Kind::Text},
    };
    userTable_ = new KLTableView("userTable", userColumns);
    userTable_->setItemDelegateForColumn(1, new NSImageAndTextCell(userTable_));
    userTable_->setDragTypes(true, {KLPasteboard::kFendrelUserType});
    userTable_->setEditTriggers(QAbstractItemView::NoEditTriggers);
    userTable_->horizontalHeader()->setSectionResizeMode(0, QHeaderView::ResizeToContents);
    userTable_->horizontalHeader()->setStretchLastSection(false);
    userTable_->horizontalHeader()->setSectionResizeMode(1, QHeaderView::Stretch);
    userTable_->horizontalHeader()->setSectionResizeMode(2, QHeaderView::ResizeToContents);
    userTable_->setContextMenuPolicy(Qt::CustomContextMenu);
    userFilter_ = new KLFilterField("userFilterField", kFilterUsersText);
    connect(userFilter_, &QLineEdit::textChanged, userTable_, &KLTableView::setFilterText);

    QtColumns groupColumns = {
        {"active", "", QtColumn::Kind::Check},
        {"group", kGroupsColumnTitle, QtColumn::Kind::Text, true},
    };
    groupOutline_ = new KLOutlineView("groupOutline", groupColumns);
    groupOutline_->setTreePosition(1);
    groupOutline_->setItemDelegateForColumn(1, new NSImageAndTextCell(groupOutline_));
    groupOutline_->setDragTypes(false, {KLPasteboard::kFendrelUserType});
    groupOutline_->header()->setSectionResizeMode(0, QHeaderView::ResizeToContents);
    groupOutline_->header()->setStretchLastSection(true);
    // Rows and icons as in the users table beside it.
    groupOutline_->setProperty(QtCellDelegate::kTableRowsProperty, true);
    groupOutline_->setContextMenuPolicy(Qt::CustomContextMenu);
    groupFilter_ = new KLFilterField("groupFilterField", kFilterGroupsText);
    connect(groupFilter_, &QLineEdit::textChanged, groupOutline_, &KLOutlineView::setFilterText);

    auto* userButtons = new QHBoxLayout;
    userButtons->addWidget(smallButton(kAddTitle, "addUserButton", kAddUserTip));
    userButtons->addWidget(smallButton(kRemoveTitle, "userDeleteButton", kDeleteUserTip));
    userButtons->addWidget(smallButton(kEditTitle, "userEditButton", kEditUserTip));
    userButtons->addStretch();
    auto* groupButtons = new QHBoxLayout;
    groupButtons->addWidget(smallButton(kAddTitle, "addGroupButton", kAddGroupTip));
    groupButtons->addWidget(smallButton(kRemoveTitle, "groupDeleteButton", ""));
    groupButtons->addStretch();

    auto* users = new QVBoxLayout;
    users->addWidget(userFilter_);
    users->addWidget(userTable_);
    users->addLayout(userButtons);
    auto* groups = new QVBoxLayout;
    groups->addWidget(groupFilter_);
    groups->addWidget(groupOutline_);
    groups->addLayout(groupButtons);
    auto* layout = new QHBoxLayout(usersPage);
    // The users table carries the hash column as well.
    layout->addLayout(users, 3);
    layout->addLayout(groups, 2);
    return usersPage;
}

QWidget* FendrelPane::makeAddressesPage()
{
    QWidget* addressesPage = page("addresses", "addressesTab");

    addressMode_ = new QWidget;
    addressMode_->setObjectName("addressMode");
    addressModeGroup_ = new QButtonGroup(addressMode_);
    auto* allow = new QRadioButton(kAllowTitle);
    allow->setObjectName("addressModeAllow");
    auto* deny = new QRadioButton(kDenyTitle);
    deny->setObjectName("addressModeDeny");
    addressModeGroup_->addButton(allow, 0);
    addressModeGroup_->addButton(deny, 1);
    allow->setChecked(true);
    auto* modeLayout = new QVBoxLayout(addressMode_);
    modeLayout->setContentsMargins(0, 0, 0, 0);
    modeLayout->addWidget(allow);
    modeLayout->addWidget(deny);

    QtColumns addressColumns = {
        {"active", "", QtColumn::Kind::Check},
        {"address", kAddressesColumnTitle, QtColumn::Kind::Text, true},
    };
    addressTable_ = new KLTableView("addressTable", addressColumns);
    addressTable_->setSelectionMode(QAbstractItemView::ExtendedSelection);
    addressTable_->horizontalHeader()->setSectionResizeMode(0, QHeaderView::ResizeToContents);

    auto* discover = new QCheckBox(kDiscoverTitle);
    discover->setObjectName("addressDiscoverSwitch");
    auto* buttons = new QHBoxLayout;
    buttons->addWidget(smallButton(kAddTitle, "addAddressButton", kAddAddressTip));
    buttons->addWidget(smallButton(kRemoveTitle, "addressDeleteButton", kRemoveAddressTip));
    buttons->addStretch();

    // On a row of its own: beside the buttons the page is too narrow for it.
    auto* layout = new QVBoxLayout(addressesPage);
    layout->addWidget(addressMode_);
    layout->addWidget(addressTable_);
    layout->addLayout(buttons);
    layout->addWidget(discover);
    return addressesPage;
}

QWidget* FendrelPane::makeManualPage()
{
    QWidget* manualPage = page("custom", "manualEditTabViewItem");
    auto* note = new QLabel(kManualNote);
    note->setWordWrap(true);
    customViewText_ = new QPlainTextEdit;
    customViewText_->setObjectName("customViewText");
    customViewText_->setFont(QFontDatabase::systemFont(QFontDatabase::FixedFont));
    customViewText_->setLineWrapMode(QPlainTextEdit::NoWrap);
    auto* revert = new QPushButton(kRevertTitle);
    revert->setObjectName("customRevertButton");
    auto* save = new QPushButton(kSaveTitle);
    save->setObjectName("customSaveButton");
    auto* buttons = new QHBoxLayout;
    buttons->addStretch();
    buttons->addWidget(revert);
    buttons->addWidget(save);
    auto* layout = new QVBoxLayout(manualPage);
    layout->addWidget(note);
    layout->addWidget(customViewText_);
    layout->addLayout(buttons);
    return manualPage;
}

// Tab goes through the access tab as it reads: the folders and their
// buttons, then the tabs beside them, each list after its filter field and
// before its buttons.
void FendrelPane::setAccessTabOrder(QWidget* tab)
{
    const char* order[] = {"webDirOutline", "webRefreshButton", "viewOnWebButton", "userAddressTabs",
                           "userFilterField", "userTable", "addUserButton", "userDeleteButton",
                           "userEditButton", "groupFilterField", "groupOutline",
                           "addGroupButton", "groupDeleteButton", "addressModeAllow", "addressModeDeny",
                           "addressTable", "addAddressButton", "addressDeleteButton", "addressDiscoverSwitch",
                           "customViewText", "customRevertButton", "customSaveButton"};
    QWidget* previous = nullptr;
    for (const char* name : order) {
        auto* widget = tab->findChild<QWidget*>(name);
        if (!widget)
            continue;
        widget->setFocusPolicy(static_cast<Qt::FocusPolicy>(widget->focusPolicy() | Qt::TabFocus));
        if (previous)
            setTabOrder(previous, widget);
        previous = widget;
    }
}
