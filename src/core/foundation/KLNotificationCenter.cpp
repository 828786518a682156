#include "KLNotificationCenter.h"

#include <algorithm>
#include <memory>

KLNotificationCenter& KLNotificationCenter::defaultCenter()
{
    static KLNotificationCenter center;
    return center;
}

KLNotificationCenter::Token KLNotificationCenter::addObserver(const std::string& name, const void* object,
                                                              Handler handler)
{
    Token token = next_++;
    observers_.push_back({token, name, object, std::make_shared<Handler>(std::move(handler))});
    return token;
}

void KLNotificationCenter::removeObserver(Token token)
{
    std::erase_if(observers_, [token](const Observer& o) { return o.token == token; });
}

void KLNotificationCenter::post(const std::string& name, const void* object, const KLPlist& userInfo)
{
    // Observers may come and go while one is called; call those present now.
    std::vector<std::pair<Token, std::shared_ptr<Handler>>> targets;
    for (const Observer& o : observers_) {
        if ((o.name.empty() || o.name == name) && (!o.object || o.object == object))
            targets.emplace_back(o.token, o.handler);
    }
    // Most posts have nobody to tell: no copy of the name and user info then.
    if (targets.empty())
        return;
    KLNotification notification{name, object, userInfo};
    for (auto& [token, handler] : targets) {
        bool stillThere = std::any_of(observers_.begin(), observers_.end(),
                                      [t = token](const Observer& o) { return o.token == t; });
        if (stillThere)
            (*handler)(notification);
    }
}

KLObservation::KLObservation(const std::string& name, const void* object, KLNotificationCenter::Handler handler)
    : token_(KLNotificationCenter::defaultCenter().addObserver(name, object, std::move(handler)))
{
}

KLObservation::~KLObservation()
{
    if (token_)
        KLNotificationCenter::defaultCenter().removeObserver(token_);
}

KLObservation::KLObservation(KLObservation&& other) noexcept : token_(other.token_)
{
    other.token_ = 0;
}

KLObservation& KLObservation::operator=(KLObservation&& other) noexcept
{
    if (this != &other) {
        if (token_)
            KLNotificationCenter::defaultCenter().removeObserver(token_);
        token_ = other.token_;
        other.token_ = 0;
    }
    return *this;
}
