#include "KLUpdatePanel.h"

#include "KLSUController.h"
#include "KLTableView.h"
#include "QtImages.h"
#include "QtProgressIndicator.h"
#include "QtTextField.h"
#include "QtTextView.h"
#include "QtWindow.h"

#include <QHBoxLayout>
#include <QHeaderView>
#include <QLabel>
#include <QPlainTextEdit>
#include <QProgressBar>
#include <QPushButton>
#include <QVBoxLayout>

namespace {
constexpr const char* kTitle = "Software Update";
constexpr const char* kHeadline = "A new version of Fendrel is available.";
constexpr const char* kVersionTitle = "Version";
constexpr const char* kSizeTitle = "Size (bytes)";
constexpr const char* kNotesLabel = "Release notes:";
constexpr const char* kInfoTitle = "More Info\u2026";
constexpr const char* kDownloadTitle = "Download\u2026";
constexpr const char* kLaterTitle = "Later";
constexpr int kIconSize = 48;
constexpr int kDetailsRows = 2;
} // namespace

KLUpdatePanel::KLUpdatePanel(QWidget* parent) : QDialog(parent)
{
    setObjectName("swuPanel");
    setWindowTitle(kTitle);

    auto* icon = new QLabel;
    icon->setPixmap(QtImages::named("fendrel").pixmap(kIconSize, kIconSize));
    auto* headline = new QLabel(kHeadline);
    QFont bold = headline->font();
    bold.setBold(true);
    headline->setFont(bold);
    noteField_ = new QLabel;
    noteField_->setObjectName("noteField");
    noteField_->setWordWrap(true);
    noteField_->setTextFormat(Qt::PlainText);
    auto* titles = new QVBoxLayout;
    titles->addWidget(headline);
    titles->addWidget(noteField_);
    auto* header = new QHBoxLayout;
    header->addWidget(icon, 0, Qt::AlignTop);
    header->addLayout(titles, 1);

    detailsTable_ = new KLTableView("detailsTable", {{KLSUController::kCurrentVersionKey, kVersionTitle},
                                                     {KLSUController::kByteSizeKey, kSizeTitle}});
    detailsTable_->setEditTriggers(QAbstractItemView::NoEditTriggers);
    detailsTable_->setSelectionMode(QAbstractItemView::NoSelection);
    detailsTable_->setAlternatingRowColors(false);
    detailsTable_->horizontalHeader()->setSectionResizeMode(QHeaderView::Stretch);
    detailsTable_->setFixedHeight(detailsTable_->horizontalHeader()->sizeHint().height() +
                                  kDetailsRows * detailsTable_->verticalHeader()->defaultSectionSize());

    releaseNotes_ = new QPlainTextEdit;
    releaseNotes_->setObjectName("releaseNotes");
    releaseNotes_->setReadOnly(true);
    progressBar_ = new QProgressBar;
    progressBar_->setObjectName("progressBar");

    infoButton_ = new QPushButton(kInfoTitle);
    infoButton_->setObjectName("infoButton");
    downloadButton_ = new QPushButton(kDownloadTitle);
    downloadButton_->setObjectName("downloadButton");
    downloadButton_->setDefault(true);
    laterButton_ = new QPushButton(kLaterTitle);
    laterButton_->setObjectName("laterButton");
    auto* buttons = new QHBoxLayout;
    buttons->addWidget(infoButton_);
    buttons->addStretch();
    buttons->addWidget(laterButton_);
    buttons->addWidget(downloadButton_);

    auto* layout = new QVBoxLayout(this);
    layout->addLayout(header);
    layout->addWidget(detailsTable_);
    layout->addWidget(new QLabel(kNotesLabel));
    layout->addWidget(releaseNotes_, 1);
    layout->addWidget(progressBar_);
    layout->addLayout(buttons);

    auto keep = [this](auto adapter) {
        auto* raw = adapter.get();
        adapters_.push_back(std::move(adapter));
        return raw;
    };
    outlets_.swuPanel = keep(std::make_shared<QtWindow>(this));
    outlets_.progressBar = keep(std::make_shared<QtProgressIndicator>(progressBar_));
    outlets_.releaseNotes = keep(std::make_shared<QtTextView>(releaseNotes_));
    outlets_.noteField = keep(std::make_shared<QtTextField>(noteField_));
    outlets_.detailsTable = detailsTable_;
}

KLUpdatePanel::~KLUpdatePanel() = default;

KLSUControllerOutlets KLUpdatePanel::outlets(KLAlerts* alerts, KLWorkspace* workspace) const
{
    KLSUControllerOutlets o = outlets_;
    o.alerts = alerts;
    o.workspace = workspace;
    return o;
}
