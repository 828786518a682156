#include "FendrelPane.h"

#include "FendrelPref.h"
#include "KLApachePage.h"
#include "KLHelpWindow.h"
#include "KLOutlineView.h"
#include "KLTableView.h"
#include "KLUpdatePanel.h"
#include "KLUserSheet.h"
#include "QtAlerts.h"
#include "QtButton.h"
#include "QtImages.h"
#include "QtMatrix.h"
#include "QtPopUpButton.h"
#include "QtProgressIndicator.h"
#include "QtTabView.h"
#include "QtTextField.h"
#include "QtTextView.h"
#include "QtWindow.h"
#include "QtWorkspace.h"

#include <QAbstractButton>
#include <QButtonGroup>
#include <QComboBox>
#include <QHBoxLayout>
#include <QLabel>
#include <QLineEdit>
#include <QPlainTextEdit>
#include <QProgressBar>
#include <QPushButton>
#include <QSplitter>
#include <QTabWidget>
#include <QTextBrowser>
#include <QVBoxLayout>

namespace {
constexpr const char* kAccessTabTitle = "Access";
constexpr const char* kApacheTabTitle = "Web Server";
constexpr const char* kOptionsTabTitle = "Options";
constexpr const char* kAboutTabTitle = "About";
constexpr const char* kHelpTip = "Fendrel Help";
// The pane's own size before the controller sets its content size.
constexpr int kWidth = 670;
constexpr int kHeight = 461;
} // namespace

FendrelPane::FendrelPane(QWidget* parent) : QWidget(parent)
{
    setObjectName("window"); // the window outlet: the controller sizes the window through the pane
    QtImages::setUpTheme();

    tabs_ = new QTabWidget;
    tabs_->setObjectName("tabs");
    QWidget* accessTab = makeAccessTab();
    accessTab->layout()->addWidget(makeServerNoticeLine());
    tabs_->addTab(accessTab, kAccessTabTitle);
    tabs_->addTab(makeOptionsTab(), kOptionsTabTitle);
    // Third, because that is where the controller puts the web server tab
    // back when the server is local again.
    apachePage_ = new KLApachePage;
    tabs_->addTab(apachePage_, kApacheTabTitle);
    tabs_->addTab(makeAboutTab(), kAboutTabTitle);

    userSheet_ = new KLUserSheet(this);
    helpWindow_ = new KLHelpWindow(this);
    updatePanel_ = new KLUpdatePanel(this);

    auto* layout = new QVBoxLayout(this);
    layout->addWidget(tabs_, 1);
    layout->addWidget(makeStatusLine());

    makeOutlets();
}

FendrelPane::~FendrelPane()
{
    // The controller goes first: it still talks to the views as it goes.
    pref_.reset();
}

QSize FendrelPane::sizeHint() const
{
    QSize content = property(QtWindow::kContentSizeProperty).toSize();
    return content.isValid() ? content : QSize(kWidth, kHeight);
}

QWidget* FendrelPane::makeStatusLine()
{
    auto* line = new QWidget;
    fendrelStatus_ = new QLabel;
    fendrelStatus_->setObjectName("fendrelStatus");
    auto* help = new QPushButton("?");
    help->setObjectName("statusHelpButton");
    help->setToolTip(kHelpTip);
    help->setFixedWidth(help->sizeHint().height());
    auto* layout = new QHBoxLayout(line);
    layout->setContentsMargins(4, 0, 4, 0);
    layout->addWidget(fendrelStatus_, 1);
    layout->addWidget(help);
    return line;
}

// The bottom line of the access tab: what keeps Apache from serving the
// protected folders, with the button that fixes it. The web server
// controller fills it in; hidden while all is well.
QWidget* FendrelPane::makeServerNoticeLine()
{
    auto* line = new QWidget;
    accessNotice_ = new QLabel;
    accessNotice_->setObjectName("accessNotice");
    accessNotice_->setWordWrap(true);
    accessNotice_->hide();
    accessNoticeButton_ = new QPushButton;
    accessNoticeButton_->setObjectName("accessNoticeButton");
    accessNoticeButton_->hide();
    auto* layout = new QHBoxLayout(line);
    layout->setContentsMargins(0, 0, 0, 0);
    layout->addWidget(accessNotice_, 1);
    layout->addWidget(accessNoticeButton_);
    return line;
}

void FendrelPane::makeOutlets()
{
    auto button = [this](const char* name) { return keep(std::make_shared<QtButton>(findChild<QAbstractButton*>(name))); };
    auto field = [this](const char* name) {
        if (auto* edit = findChild<QLineEdit*>(name))
            return keep(std::make_shared<QtTextField>(edit));
        return keep(std::make_shared<QtTextField>(findChild<QLabel*>(name)));
    };
    FendrelPrefOutlets& o = outlets_;
    o.window = keep(std::make_shared<QtWindow>(this));
    o.tabs = keep(std::make_shared<QtTabView>(tabs_));
    o.fendrelStatus = field("fendrelStatus");

    o.userAddPanel = keep(std::make_shared<QtWindow>(userSheet_));
    o.userField = field("userField");
    o.errorField = field("errorField");
    o.confirmField = field("confirmField");
    o.passField = field("passField");
    o.passwordWarningField = field("passwordWarningField");

    o.webDirOutline = webDirOutline_;
    o.accessCheckText = field("accessCheckText");
    o.directoryMenu = keep(std::make_shared<QtPopUpButton>(directoryMenu_));
    o.userAddressTabs = keep(std::make_shared<QtTabView>(userAddressTabs_));

    o.userTable = userTable_;
    o.userEditButton = button("userEditButton");
    o.userDeleteButton = button("userDeleteButton");
    o.groupOutline = groupOutline_;
    o.groupDeleteButton = button("groupDeleteButton");

    o.addressMode = keep(std::make_shared<QtMatrix>(addressMode_, addressModeGroup_));
    o.addressTable = addressTable_;
    o.addressDeleteButton = button("addressDeleteButton");
    o.addressDiscoverSwitch = button("addressDiscoverSwitch");

    o.customViewText = keep(std::make_shared<QtTextView>(customViewText_));
    o.customSaveButton = button("customSaveButton");
    o.customRevertButton = button("customRevertButton");

    o.userSortCheck = button("userSortCheck");
    o.groupSortCheck = button("groupSortCheck");
    o.accessFileDeleteCheck = button("accessFileDeleteCheck");
    o.userDeleteCheck = button("userDeleteCheck");
    o.groupDeleteCheck = button("groupDeleteCheck");
    o.webDirFolder = keep(std::make_shared<QtPopUpButton>(webDirFolder_));
    o.manualEditCheck = button("manualEditCheck");
    o.customDirCheck = button("customDirCheck");
    o.remoteApacheCheck = button("remoteApacheCheck");
    o.passwordHashMenu = keep(std::make_shared<QtPopUpButton>(passwordHashMenu_));

    o.nameVersionText = keep(std::make_shared<QtTextField>(nameVersionText_));
    o.creditsText = keep(std::make_shared<QtTextView>(creditsText_));
    o.versionCheckButton = button("versionCheckButton");
    o.versionCheckProgress = keep(std::make_shared<QtProgressIndicator>(versionCheckProgress_));
    o.launchVersionCheck = button("launchVersionCheck");
    o.lastCheckText = keep(std::make_shared<QtTextField>(lastCheckText_));

    o.helpWindow = keep(std::make_shared<QtWindow>(helpWindow_));
    o.helpWebView = keep(std::make_shared<QtTextView>(helpWindow_->browser()));

    o.alerts = keep(std::make_shared<QtAlerts>(this));
    o.workspace = keep(std::make_shared<QtWorkspace>());

    apacheOutlets_ = apachePage_->outlets(o.workspace);
    apacheOutlets_.accessNotice = keep(std::make_shared<QtTextField>(accessNotice_));
    apacheOutlets_.accessNoticeButton = keep(std::make_shared<QtButton>(accessNoticeButton_));
    o.apache = &apacheOutlets_;
    swuOutlets_ = updatePanel_->outlets(o.alerts, o.workspace);
    o.swu = &swuOutlets_;
}
