#pragma once

#include "KLAuthorizationView.h"

#include <QPointer>
#include <QToolButton>

#include <memory>

// The lock control over a tool button: closed, a click asks polkit for the
// pane's rights (its agent may ask for an administrator's password) on a
// thread of its own; open, a click gives them up. The delegate hears of
// every change on the main thread.
class QtAuthorizationView : public QObject, public KLAuthorizationView
{
    Q_OBJECT
public:
    QtAuthorizationView(QToolButton* button, std::string pkcheckPath = "/usr/bin/pkcheck");
    ~QtAuthorizationView() override;

    void setRights(const std::vector<KLAuthorizationRight>& rights) override { rights_ = rights; }
    void setDelegate(KLAuthorizationViewDelegate* delegate) override { delegate_ = delegate; }
    void updateStatus() override;
    bool isAuthorized() const override { return authorized_; }
    void deauthorize() override;
    void askForRights() override;

    // The program asked for the rights (pkcheck's command line).
    void setPkcheckPath(std::string path) { pkcheckPath_ = std::move(path); }
    // Whether a polkit question is under way.
    bool isAsking() const { return asking_; }

private:
    void clicked();
    void ask(bool allowUserInteraction);
    void show();
    void tell();

    QPointer<QToolButton> button_;
    std::string pkcheckPath_;
    bool authorized_ = false;
    std::vector<KLAuthorizationRight> rights_;
    KLAuthorizationViewDelegate* delegate_ = nullptr;
    bool asking_ = false;
    // Answers from a question still running when the view goes away are dropped.
    std::shared_ptr<bool> alive_ = std::make_shared<bool>(true);
};
