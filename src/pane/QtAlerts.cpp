#include "QtAlerts.h"

#include "QtStrings.h"

#include <QFileDialog>
#include <QLabel>
#include <QMessageBox>
#include <QPushButton>

#include <memory>

namespace {
constexpr const char* kDefaultButtonTitle = "OK";
constexpr const char* kChooseFolderTitle = "Choose a Folder";
constexpr const char* kSaveTitle = "Save";
// Return codes of the alert buttons.
constexpr int kDefaultReturn = 1;
constexpr int kAlternateReturn = 0;
constexpr int kOtherReturn = -1;
constexpr int kCancelReturn = 0;

// Shows the given text as it stands: user names are never markup.
void makePlain(QMessageBox& box, const char* labelName, bool bold)
{
    if (auto* label = box.findChild<QLabel*>(labelName)) {
        label->setTextFormat(Qt::PlainText);
        if (bold) {
            QFont font = label->font();
            font.setBold(true);
            label->setFont(font);
        }
    }
}
} // namespace

QtAlerts::QtAlerts(QWidget* window) : window_(window)
{
}

void QtAlerts::beginAlertSheet(const KLAlert& alert, std::function<void(int)> handler)
{
    auto* box = new QMessageBox(window_ ? window_->window() : nullptr);
    box->setObjectName(kAlertName);
    box->setAttribute(Qt::WA_DeleteOnClose);
    box->setWindowModality(Qt::WindowModal);
    box->setWindowTitle(window_ ? window_->window()->windowTitle() : QString());
    box->setTextFormat(Qt::PlainText);
    box->setText(toQt(alert.title));
    box->setInformativeText(toQt(alert.message));
    makePlain(*box, "qt_msgbox_label", true);
    makePlain(*box, "qt_msgbox_informativelabel", false);
    if (window_ && !window_->window()->windowIcon().isNull())
        box->setIconPixmap(window_->window()->windowIcon().pixmap(64, 64));

    QString defaultTitle = alert.defaultButton.empty() ? kDefaultButtonTitle : toQt(alert.defaultButton);
    QPushButton* defaultButton = box->addButton(defaultTitle, QMessageBox::AcceptRole);
    box->setDefaultButton(defaultButton);
    QPushButton* alternateButton = nullptr;
    QPushButton* otherButton = nullptr;
    if (!alert.alternateButton.empty())
        alternateButton = box->addButton(toQt(alert.alternateButton), QMessageBox::DestructiveRole);
    if (!alert.otherButton.empty()) {
        otherButton = box->addButton(toQt(alert.otherButton), QMessageBox::RejectRole);
        box->setEscapeButton(otherButton);
    }

    auto answer = std::make_shared<int>(kOtherReturn);
    QObject::connect(box, &QMessageBox::buttonClicked, box,
                     [answer, defaultButton, alternateButton](QAbstractButton* clicked) {
                         if (clicked == defaultButton)
                             *answer = kDefaultReturn;
                         else if (alternateButton && clicked == alternateButton)
                             *answer = kAlternateReturn;
                         else
                             *answer = kOtherReturn;
                     });
    QObject::connect(box, &QDialog::finished, box, [answer, handler = std::move(handler)](int) {
        if (handler)
            handler(*answer);
    });
    box->open();
}

void QtAlerts::runFolderChooser(const std::string& startFolder, std::function<void(int, const std::string&)> handler)
{
    auto* dialog = new QFileDialog(window_ ? window_->window() : nullptr, kChooseFolderTitle,
                                   startFolder.empty() ? QStringLiteral("/") : toQt(startFolder));
    dialog->setObjectName(kFolderChooserName);
    dialog->setAttribute(Qt::WA_DeleteOnClose);
    dialog->setWindowModality(Qt::WindowModal);
    dialog->setFileMode(QFileDialog::Directory);
    dialog->setOption(QFileDialog::ShowDirsOnly);
    QObject::connect(dialog, &QDialog::finished, dialog, [dialog, handler = std::move(handler)](int result) {
        QStringList chosen = dialog->selectedFiles();
        if (!handler)
            return;
        if (result == QDialog::Accepted && !chosen.isEmpty())
            handler(kDefaultReturn, fromQt(chosen.first()));
        else
            handler(kCancelReturn, {});
    });
    dialog->open();
}

void QtAlerts::runSavePanel(const std::string& folder, const std::string& fileName,
                            std::function<void(int, const std::string&)> handler)
{
    auto* dialog = new QFileDialog(window_ ? window_->window() : nullptr, kSaveTitle, toQt(folder));
    dialog->setObjectName(kSavePanelName);
    dialog->setAttribute(Qt::WA_DeleteOnClose);
    dialog->setWindowModality(Qt::WindowModal);
    dialog->setAcceptMode(QFileDialog::AcceptSave);
    dialog->selectFile(toQt(fileName));
    QObject::connect(dialog, &QDialog::finished, dialog, [dialog, handler = std::move(handler)](int result) {
        QStringList chosen = dialog->selectedFiles();
        if (!handler)
            return;
        if (result == QDialog::Accepted && !chosen.isEmpty())
            handler(kDefaultReturn, fromQt(chosen.first()));
        else
            handler(kCancelReturn, {});
    });
    dialog->open();
}
