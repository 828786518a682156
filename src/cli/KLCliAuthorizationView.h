#pragma once

#include "KLAuthorization.h"
#include "KLAuthorizationView.h"

#include <vector>

// The web server tab's lock control on the command line: polkit is asked
// for the rights of this process, with its agent allowed to ask for an
// administrator password when a terminal is there to answer.
class KLCliAuthorizationView : public KLAuthorizationView
{
public:
    void setRights(const std::vector<KLAuthorizationRight>& rights) override { rights_ = rights; }
    void setDelegate(KLAuthorizationViewDelegate* delegate) override { delegate_ = delegate; }
    // Looks whether the rights are already held, asking no one.
    void updateStatus() override;
    bool isAuthorized() const override { return authorization_.holdsRights(); }
    void deauthorize() override;
    void askForRights() override { authorize(true); }

    // Opens the lock as a click on it would; true when the rights are held.
    bool authorize(bool allowUserInteraction);

private:
    void tellDelegate();

    KLAuthorization authorization_;
    std::vector<KLAuthorizationRight> rights_;
    KLAuthorizationViewDelegate* delegate_ = nullptr;
};
