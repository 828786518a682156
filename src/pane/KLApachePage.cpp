#include "KLApachePage.h"

#include "QtAuthorizationView.h"
#include "QtButton.h"
#include "QtPopUpButton.h"
#include "QtTabView.h"
#include "QtTextField.h"
#include "QtTextView.h"

#include <QCheckBox>
#include <QComboBox>
#include <QFontDatabase>
#include <QGroupBox>
#include <QHBoxLayout>
#include <QLabel>
#include <QPlainTextEdit>
#include <QPushButton>
#include <QToolButton>
#include <QVBoxLayout>

namespace {
constexpr const char* kIdentifier = "apache";
constexpr const char* kServerBoxTitle = "Web Server";
constexpr const char* kStartTitle = "Start Apache";
constexpr const char* kRestartTitle = "Restart";
constexpr const char* kGracefulTitle = "Graceful restart (finish open requests first)";
constexpr const char* kConfigCheckTitle = "Check Configuration";
constexpr const char* kLogBoxTitle = "Logs";
constexpr const char* kOpenLogTitle = "Open";
constexpr const char* kRepairBoxTitle = "Access Files";
constexpr const char* kRepairText =
    "Apache ignores .htaccess files in folders where its configuration says \"AllowOverride None\". "
    "Repair lets them take effect for your web folders.";
constexpr const char* kRepairTitle = "Repair Configuration";
constexpr int kErrorLines = 6;

template <class T>
T* named(T* widget, const char* name)
{
    widget->setObjectName(name);
    return widget;
}
} // namespace

KLApachePage::KLApachePage(QWidget* parent) : QWidget(parent)
{
    setObjectName("apacheTabViewItem");
    setProperty(QtTabView::kIdentifierProperty, kIdentifier);

    auto* serverBox = named(new QGroupBox(kServerBoxTitle), "apachectlBox");
    toggleButton_ = named(new QPushButton(kStartTitle), "toggleButton");
    restartButton_ = named(new QPushButton(kRestartTitle), "restartButton");
    gracefulSwitch_ = named(new QCheckBox(kGracefulTitle), "gracefulSwitch");
    configCheckButton_ = named(new QPushButton(kConfigCheckTitle), "configCheckButton");
    configCheckStatus_ = named(new QLabel, "configCheckStatus");
    // A QPlainTextEdit is its own scroll view, so the error area is this one
    // widget: it stands for both the text and the scroll view around it.
    configErrorView_ = named(new QPlainTextEdit, "configErrorView");
    configErrorView_->setReadOnly(true);
    configErrorView_->setFont(QFontDatabase::systemFont(QFontDatabase::FixedFont));
    configErrorView_->setFixedHeight(kErrorLines * configErrorView_->fontMetrics().lineSpacing() + 12);
    configErrorView_->hide();

    auto* controls = new QHBoxLayout;
    controls->addWidget(toggleButton_);
    controls->addWidget(restartButton_);
    controls->addWidget(gracefulSwitch_);
    controls->addStretch();
    auto* check = new QHBoxLayout;
    check->addWidget(configCheckButton_);
    check->addWidget(configCheckStatus_, 1);
    auto* serverLayout = new QVBoxLayout(serverBox);
    serverLayout->addLayout(controls);
    serverLayout->addLayout(check);
    serverLayout->addWidget(configErrorView_);

    auto* logBox = named(new QGroupBox(kLogBoxTitle), "logBox");
    logPicker_ = named(new QComboBox, "logPicker");
    logPicker_->setSizeAdjustPolicy(QComboBox::AdjustToMinimumContentsLengthWithIcon);
    logPicker_->setMinimumContentsLength(24);
    logDisplayButton_ = named(new QPushButton(kOpenLogTitle), "logDisplayButton");
    auto* logLayout = new QHBoxLayout(logBox);
    logLayout->addWidget(logPicker_, 1);
    logLayout->addWidget(logDisplayButton_);

    auto* repairBox = named(new QGroupBox(kRepairBoxTitle), "webcheckBox");
    auto* repairText = new QLabel(kRepairText);
    repairText->setWordWrap(true);
    webcheckButton_ = named(new QPushButton(kRepairTitle), "webcheckButton");
    moduleProblems_ = named(new QLabel, "moduleProblems");
    moduleProblems_->setWordWrap(true);
    moduleProblems_->hide();
    auto* repairRow = new QHBoxLayout;
    repairRow->addWidget(repairText, 1);
    repairRow->addWidget(webcheckButton_, 0, Qt::AlignTop);
    auto* repairLayout = new QVBoxLayout(repairBox);
    repairLayout->addLayout(repairRow);
    repairLayout->addWidget(moduleProblems_);

    lockButton_ = named(new QToolButton, "authView");
    authView_ = std::make_unique<QtAuthorizationView>(lockButton_);

    // What keeps the server from serving the protected folders, first thing.
    serverNotice_ = named(new QLabel, "serverNotice");
    serverNotice_->setWordWrap(true);
    serverNotice_->hide();

    auto* layout = new QVBoxLayout(this);
    layout->addWidget(serverNotice_);
    layout->addWidget(serverBox);
    layout->addWidget(logBox);
    layout->addWidget(repairBox);
    layout->addStretch();
    layout->addWidget(lockButton_, 0, Qt::AlignLeft);

    auto keep = [this](auto adapter) {
        auto* raw = adapter.get();
        adapters_.push_back(std::move(adapter));
        return raw;
    };
    outlets_.toggleButton = keep(std::make_shared<QtButton>(toggleButton_));
    outlets_.restartButton = keep(std::make_shared<QtButton>(restartButton_));
    outlets_.gracefulSwitch = keep(std::make_shared<QtButton>(gracefulSwitch_));
    outlets_.configCheckButton = keep(std::make_shared<QtButton>(configCheckButton_));
    outlets_.configCheckStatus = keep(std::make_shared<QtTextField>(configCheckStatus_));
    outlets_.configErrorView = keep(std::make_shared<QtTextView>(configErrorView_));
    outlets_.logPicker = keep(std::make_shared<QtPopUpButton>(logPicker_));
    outlets_.logDisplayButton = keep(std::make_shared<QtButton>(logDisplayButton_));
    outlets_.webcheckButton = keep(std::make_shared<QtButton>(webcheckButton_));
    outlets_.moduleProblems = keep(std::make_shared<QtTextField>(moduleProblems_));
    outlets_.serverNotice = keep(std::make_shared<QtTextField>(serverNotice_));
    outlets_.authView = authView_.get();

    // Nothing can be done before the lock is open and logs are found.
    for (QWidget* w : std::initializer_list<QWidget*>{toggleButton_, restartButton_, gracefulSwitch_, webcheckButton_,
                                                     logPicker_, logDisplayButton_})
        w->setEnabled(false);
}

KLApachePage::~KLApachePage() = default;

KLApacheControllerOutlets KLApachePage::outlets(KLWorkspace* workspace) const
{
    KLApacheControllerOutlets o = outlets_;
    o.workspace = workspace;
    return o;
}
