#include "KLCliAuthorizationView.h"

void KLCliAuthorizationView::updateStatus()
{
    authorization_.obtainRights(false);
    tellDelegate();
}

void KLCliAuthorizationView::deauthorize()
{
    authorization_.releaseRights();
    tellDelegate();
}

bool KLCliAuthorizationView::authorize(bool allowUserInteraction)
{
    if (!authorization_.holdsRights())
        authorization_.obtainRights(allowUserInteraction);
    tellDelegate();
    return authorization_.holdsRights();
}

void KLCliAuthorizationView::tellDelegate()
{
    if (!delegate_)
        return;
    if (authorization_.holdsRights())
        delegate_->authorizationViewDidAuthorize(*this);
    else
        delegate_->authorizationViewDidDeauthorize(*this);
}
