#pragma once

#include "KLSUControllerOutlets.h"

#include <QDialog>

#include <memory>
#include <vector>

class KLTableView;
class QLabel;
class QPlainTextEdit;
class QProgressBar;
class QPushButton;

// The update panel: the offered version's details, its release notes, the
// maker's note, the download progress and the buttons to read more,
// download or close. Its views reach the update controller as
// KLSUControllerOutlets.
class KLUpdatePanel : public QDialog
{
    Q_OBJECT
public:
    explicit KLUpdatePanel(QWidget* parent = nullptr);
    ~KLUpdatePanel() override;

    // The outlets, valid as long as the panel, with the pane's sheets and
    // workspace.
    KLSUControllerOutlets outlets(KLAlerts* alerts, KLWorkspace* workspace) const;

    QPushButton* infoButton() const { return infoButton_; }
    QPushButton* downloadButton() const { return downloadButton_; }
    QPushButton* laterButton() const { return laterButton_; }

private:
    KLTableView* detailsTable_;
    QPlainTextEdit* releaseNotes_;
    QLabel* noteField_;
    QProgressBar* progressBar_;
    QPushButton* infoButton_;
    QPushButton* downloadButton_;
    QPushButton* laterButton_;
    std::vector<std::shared_ptr<void>> adapters_;
    KLSUControllerOutlets outlets_;
};
