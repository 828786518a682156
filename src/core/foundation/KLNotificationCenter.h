#pragma once

#include "KLPlist.h"

#include <cstdint>
#include <functional>
#include <memory>
#include <string>
#include <vector>

// A notification: a name, the object that posted it (compared by identity)
// and a property list of user info.
struct KLNotification
{
    std::string name;
    const void* object = nullptr;
    KLPlist userInfo;
};

// Posts notifications by name to the observers registered for that name
// (or for every name) and for that object (or any object). Main thread only.
class KLNotificationCenter
{
public:
    using Handler = std::function<void(const KLNotification&)>;
    using Token = std::uint64_t;

    static KLNotificationCenter& defaultCenter();

    // An empty name observes every name; a null object any sender.
    Token addObserver(const std::string& name, const void* object, Handler handler);
    void removeObserver(Token token);
    void post(const std::string& name, const void* object, const KLPlist& userInfo = {});

private:
    struct Observer
    {
        Token token;
        std::string name;
        const void* object;
        std::shared_ptr<Handler> handler;
    };
    std::vector<Observer> observers_;
    Token next_ = 1;
};

// Removes its observation when destroyed.
class KLObservation
{
public:
    KLObservation() = default;
    KLObservation(const std::string& name, const void* object, KLNotificationCenter::Handler handler);
    ~KLObservation();
    KLObservation(const KLObservation&) = delete;
    KLObservation& operator=(const KLObservation&) = delete;
    KLObservation(KLObservation&& other) noexcept;
    KLObservation& operator=(KLObservation&& other) noexcept;

private:
    KLNotificationCenter::Token token_ = 0;
};
