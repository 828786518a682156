#pragma once

#include <string>
#include <vector>

class KLAuthorizationView;

// One right the lock control asks for: its name and an optional value.
struct KLAuthorizationRight
{
    std::string name;
    std::string value;
};

class KLAuthorizationViewDelegate
{
public:
    virtual ~KLAuthorizationViewDelegate() = default;
    virtual void authorizationViewDidAuthorize(KLAuthorizationView& view) = 0;
    virtual void authorizationViewDidDeauthorize(KLAuthorizationView& view) = 0;
    virtual void authorizationViewCreatedAuthorization(KLAuthorizationView&) {}
};

// The lock control that obtains the administrator's rights for the pane's
// process (polkit on Linux) and tells its delegate when they are gained or
// given up.
class KLAuthorizationView
{
public:
    virtual ~KLAuthorizationView() = default;
    virtual void setRights(const std::vector<KLAuthorizationRight>& rights) = 0;
    virtual void setDelegate(KLAuthorizationViewDelegate* delegate) = 0;
    // Asks again whether the rights are held, and tells the delegate.
    virtual void updateStatus() = 0;
    // Whether the rights are held now (the lock is open).
    virtual bool isAuthorized() const = 0;
    // Opens the lock as a click on it would; the delegate hears the answer.
    virtual void askForRights() = 0;
    virtual void deauthorize() = 0;
};
