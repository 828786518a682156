#pragma once

#include "KLApacheControllerOutlets.h"

#include <QWidget>

#include <memory>
#include <vector>

class QComboBox;
class QLabel;
class QPlainTextEdit;
class QPushButton;
class QCheckBox;
class QToolButton;
class QtAuthorizationView;

// The web server tab: server control (start/stop, restart, graceful, the
// configuration test with its error area that appears only when there are
// errors), the log picker, the configuration repair and the lock control.
// Its views reach the web server controller as KLApacheControllerOutlets.
class KLApachePage : public QWidget
{
    Q_OBJECT
public:
    explicit KLApachePage(QWidget* parent = nullptr);
    ~KLApachePage() override;

    // The outlets, valid as long as the page, with the pane's workspace.
    KLApacheControllerOutlets outlets(KLWorkspace* workspace) const;

    QPushButton* toggleButton() const { return toggleButton_; }
    QPushButton* restartButton() const { return restartButton_; }
    QCheckBox* gracefulSwitch() const { return gracefulSwitch_; }
    QPushButton* configCheckButton() const { return configCheckButton_; }
    QPushButton* logDisplayButton() const { return logDisplayButton_; }
    QPushButton* webcheckButton() const { return webcheckButton_; }
    QComboBox* logPicker() const { return logPicker_; }
    QPlainTextEdit* configErrorView() const { return configErrorView_; }
    QLabel* moduleProblems() const { return moduleProblems_; }
    QLabel* serverNotice() const { return serverNotice_; }
    QtAuthorizationView* authorizationView() const { return authView_.get(); }

private:
    QPushButton* toggleButton_;
    QPushButton* restartButton_;
    QCheckBox* gracefulSwitch_;
    QPushButton* configCheckButton_;
    QLabel* configCheckStatus_;
    QPlainTextEdit* configErrorView_;
    QComboBox* logPicker_;
    QPushButton* logDisplayButton_;
    QPushButton* webcheckButton_;
    QLabel* moduleProblems_;
    QLabel* serverNotice_;
    QToolButton* lockButton_;

    std::unique_ptr<QtAuthorizationView> authView_;
    std::vector<std::shared_ptr<void>> adapters_;
    KLApacheControllerOutlets outlets_;
};
