#include "QtAuthorizationView.h"

#include "KLAuthorization.h"
#include "KLRunLoop.h"
#include "QtImages.h"

#include <thread>

namespace {
constexpr const char* kLockedText = "Click the lock to make changes.";
constexpr const char* kUnlockedText = "Click the lock to prevent further changes.";
constexpr const char* kAskingText = "Asking for authorization\u2026";
} // namespace

QtAuthorizationView::QtAuthorizationView(QToolButton* button, std::string pkcheckPath)
    : button_(button), pkcheckPath_(std::move(pkcheckPath))
{
    button->setToolButtonStyle(Qt::ToolButtonTextBesideIcon);
    button->setAutoRaise(true);
    connect(button, &QToolButton::clicked, this, &QtAuthorizationView::clicked);
    show();
}

QtAuthorizationView::~QtAuthorizationView()
{
    *alive_ = false;
}

void QtAuthorizationView::updateStatus()
{
    ask(false);
}

void QtAuthorizationView::deauthorize()
{
    bool was = authorized_;
    authorized_ = false;
    KLAuthorization(pkcheckPath_).releaseRights();
    show();
    if (was)
        tell();
}

void QtAuthorizationView::askForRights()
{
    if (!authorized_)
        ask(true);
}

void QtAuthorizationView::clicked()
{
    if (asking_)
        return;
    if (authorized_)
        deauthorize();
    else
        ask(true);
}

// pkcheck waits for the polkit agent's dialog, so it runs beside the event
// loop; the answer comes back through the main run loop.
void QtAuthorizationView::ask(bool allowUserInteraction)
{
    if (asking_)
        return;
    asking_ = true;
    show();
    std::weak_ptr<bool> alive = alive_;
    std::thread([this, alive, path = pkcheckPath_, allowUserInteraction] {
        bool held = KLAuthorization(path).obtainRights(allowUserInteraction);
        KLRunLoop::main().post([this, alive, held] {
            auto living = alive.lock();
            if (!living || !*living)
                return;
            authorized_ = held;
            asking_ = false;
            show();
            tell();
        });
    }).detach();
}

void QtAuthorizationView::show()
{
    if (!button_)
        return;
    bool open = authorized_;
    button_->setIcon(QtImages::named(open ? "unlock" : "lock"));
    button_->setText(asking_ ? kAskingText : open ? kUnlockedText : kLockedText);
    button_->setEnabled(!asking_);
}

void QtAuthorizationView::tell()
{
    if (!delegate_)
        return;
    if (authorized_)
        delegate_->authorizationViewDidAuthorize(*this);
    else
        delegate_->authorizationViewDidDeauthorize(*this);
}
