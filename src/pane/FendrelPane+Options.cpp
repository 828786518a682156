#include "FendrelPane.h"

#include "KLBundle.h"
#include "KLLayout.h"
#include "KLPasswordHash.h"
#include "QtImages.h"
#include "QtStrings.h"
#include "QtTabView.h"

#include <QCheckBox>
#include <QComboBox>
#include <QFormLayout>
#include <QGroupBox>
#include <QHBoxLayout>
#include <QLabel>
#include <QProgressBar>
#include <QPushButton>
#include <QTextBrowser>
#include <QVBoxLayout>

namespace {
constexpr const char* kListsTitle = "Lists";
constexpr const char* kSortUsersTitle = "Sort users by name";
constexpr const char* kSortGroupsTitle = "Sort groups by name";
constexpr const char* kAskTitle = "Ask Before";
constexpr const char* kAskAccessFileTitle = "Removing a folder's access restrictions";
constexpr const char* kAskUserTitle = "Deleting a user";
constexpr const char* kAskGroupTitle = "Deleting a group or a member";
constexpr const char* kFolderTitle = "Protected Folder";
constexpr const char* kFolderLabel = "Protect:";
constexpr const char* kPersonalTitle = "My web folder (~/%1)";
constexpr const char* kSharedTitle = "Server documents (%1)";
constexpr const char* kRevealTitle = "Show";
constexpr const char* kCustomDirTitle = "Allow a folder of my choice";
constexpr const char* kRemoteTitle = "The web server runs on another computer";
constexpr const char* kManualTitle = "Show the manual editor";
constexpr const char* kHashLabel = "Password hash:";
constexpr const char* kHashExplanation = "DES counts only 8 characters, bcrypt all.";
constexpr const char* kUpdatesTitle = "Updates";
constexpr const char* kLaunchCheckTitle = "Check for a new version when Fendrel opens";
constexpr const char* kCheckNowTitle = "Check Now";
constexpr const char* kProductName = "Fendrel";
constexpr const char* kVersionLabel = "Version";
constexpr const char* kHelpTitle = "Help";
constexpr const char* kWebsiteTitle = "Web Site";
constexpr const char* kDonateTitle = "Donate";
constexpr int kAboutIconSize = 64;

template <class T>
T* named(T* widget, const char* name)
{
    widget->setObjectName(name);
    return widget;
}

QString folderName(const std::string& path)
{
    QString name = toQt(path);
    while (name.size() > 1 && name.endsWith('/'))
        name.chop(1);
    return name;
}
} // namespace

QWidget* FendrelPane::makeOptionsTab()
{
    auto* tab = named(new QWidget, "optionsTab");
    tab->setProperty(QtTabView::kIdentifierProperty, "options");

    auto* lists = new QGroupBox(kListsTitle);
    auto* listsLayout = new QVBoxLayout(lists);
    listsLayout->addWidget(named(new QCheckBox(kSortUsersTitle), "userSortCheck"));
    listsLayout->addWidget(named(new QCheckBox(kSortGroupsTitle), "groupSortCheck"));
    // The explanation wraps beside the pop-up: the tab has no room for a row more.
    passwordHashMenu_ = named(new QComboBox, "passwordHashMenu");
    for (KLPasswordHash::Kind kind : {KLPasswordHash::Kind::DES, KLPasswordHash::Kind::Bcrypt})
        passwordHashMenu_->addItem(KLPasswordHash::nameOf(kind));
    auto* explanation = named(new QLabel(kHashExplanation), "passwordHashExplanation");
    explanation->setWordWrap(true);
    auto* hashRow = new QHBoxLayout;
    hashRow->addWidget(new QLabel(kHashLabel));
    hashRow->addWidget(passwordHashMenu_);
    hashRow->addWidget(explanation, 1);
    listsLayout->addLayout(hashRow);
    listsLayout->addStretch();

    auto* ask = new QGroupBox(kAskTitle);
    auto* askLayout = new QVBoxLayout(ask);
    askLayout->addWidget(named(new QCheckBox(kAskAccessFileTitle), "accessFileDeleteCheck"));
    askLayout->addWidget(named(new QCheckBox(kAskUserTitle), "userDeleteCheck"));
    askLayout->addWidget(named(new QCheckBox(kAskGroupTitle), "groupDeleteCheck"));

    auto* top = new QHBoxLayout;
    top->addWidget(lists, 1);
    top->addWidget(ask);

    const KLLayout& layout = KLLayout::active();
    webDirFolder_ = named(new QComboBox, "webDirFolder");
    webDirFolder_->addItem(QtImages::named("folder"), QString(kPersonalTitle).arg(folderName(layout.personalWebFolder)));
    webDirFolder_->addItem(QtImages::named("folder"), QString(kSharedTitle).arg(folderName(layout.sharedDocumentRoot)));
    webDirFolder_->setSizeAdjustPolicy(QComboBox::AdjustToContents);
    auto* folderRow = new QHBoxLayout;
    folderRow->addWidget(new QLabel(kFolderLabel));
    folderRow->addWidget(webDirFolder_);
    folderRow->addWidget(named(new QPushButton(kRevealTitle), "revealWebDirButton"));
    folderRow->addStretch();
    auto* folder = new QGroupBox(kFolderTitle);
    auto* folderLayout = new QVBoxLayout(folder);
    folderLayout->addLayout(folderRow);
    auto* custom = named(new QCheckBox(kCustomDirTitle), "customDirCheck");
    auto* remote = named(new QCheckBox(kRemoteTitle), "remoteApacheCheck");
    folderLayout->addWidget(custom);
    auto* remoteRow = new QHBoxLayout;
    remoteRow->addSpacing(20);
    remoteRow->addWidget(remote);
    folderLayout->addLayout(remoteRow);
    folderLayout->addWidget(named(new QCheckBox(kManualTitle), "manualEditCheck"));

    auto* updates = new QGroupBox(kUpdatesTitle);
    auto* updatesLayout = new QVBoxLayout(updates);
    updatesLayout->addWidget(named(new QCheckBox(kLaunchCheckTitle), "launchVersionCheck"));
    versionCheckProgress_ = named(new QProgressBar, "versionCheckProgress");
    versionCheckProgress_->setMaximumWidth(120);
    lastCheckText_ = named(new QLabel, "lastCheckText");
    auto* checkRow = new QHBoxLayout;
    checkRow->addWidget(named(new QPushButton(kCheckNowTitle), "versionCheckButton"));
    checkRow->addWidget(versionCheckProgress_);
    checkRow->addWidget(lastCheckText_, 1);
    updatesLayout->addLayout(checkRow);

    auto* layoutBox = new QVBoxLayout(tab);
    layoutBox->addLayout(top);
    layoutBox->addWidget(folder);
    layoutBox->addWidget(updates);
    layoutBox->addStretch();
    return tab;
}

QWidget* FendrelPane::makeAboutTab()
{
    auto* tab = named(new QWidget, "aboutTab");
    tab->setProperty(QtTabView::kIdentifierProperty, "about");

    auto* icon = new QLabel;
    icon->setPixmap(QtImages::named("fendrel").pixmap(kAboutIconSize, kAboutIconSize));
    auto* name = new QLabel(kProductName);
    QFont big = name->font();
    big.setPointSizeF(big.pointSizeF() * 1.6);
    big.setBold(true);
    name->setFont(big);
    nameVersionText_ = named(new QLabel, "nameVersionText");
    auto* version = new QHBoxLayout;
    version->addWidget(new QLabel(kVersionLabel));
    version->addWidget(nameVersionText_);
    version->addStretch();
    auto* company = new QLabel(toQt(applicationCompany()));

    auto* titles = new QVBoxLayout;
    titles->addWidget(name);
    titles->addLayout(version);
    titles->addWidget(company);
    titles->addStretch();
    auto* header = new QHBoxLayout;
    header->addWidget(icon, 0, Qt::AlignTop);
    header->addLayout(titles, 1);

    creditsText_ = named(new QTextBrowser, "creditsText");
    creditsText_->setOpenExternalLinks(true);

    auto* buttons = new QHBoxLayout;
    buttons->addWidget(named(new QPushButton(kHelpTitle), "helpButton"));
    buttons->addStretch();
    buttons->addWidget(named(new QPushButton(kWebsiteTitle), "websiteButton"));
    buttons->addWidget(named(new QPushButton(kDonateTitle), "donateButton"));

    auto* layout = new QVBoxLayout(tab);
    layout->addLayout(header);
    layout->addWidget(creditsText_, 1);
    layout->addLayout(buttons);
    return tab;
}
