#pragma once

#include "KLAuthorizationView.h"

// A lock control the test opens and closes; it tells its delegate as the
// real one does.
class FakeAuthorizationView : public KLAuthorizationView {
public:
    void setRights(const std::vector<KLAuthorizationRight>& r) override { rights = r; }
    void setDelegate(KLAuthorizationViewDelegate* d) override { delegate = d; }
    void updateStatus() override { ++statusUpdates, tell(); }
    bool isAuthorized() const override { return authorized; }
    void askForRights() override { ++rightsRequests; }
    void deauthorize() override { ++deauthorizations, setAuthorized(false); }
    void setAuthorized(bool a) { authorized = a, tell(); }

    std::vector<KLAuthorizationRight> rights;
    KLAuthorizationViewDelegate* delegate = nullptr;
    bool authorized = false;
    int statusUpdates = 0, deauthorizations = 0, rightsRequests = 0;

private:
    void tell()
    {
        if (delegate && authorized)
            delegate->authorizationViewDidAuthorize(*this);
        else if (delegate)
            delegate->authorizationViewDidDeauthorize(*this);
    }
};
