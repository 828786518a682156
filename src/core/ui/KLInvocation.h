#pragma once

#include "KLPlist.h"

#include <functional>
#include <string>

// A held-back action: an operation known by its selector name, with its one
// argument kept beside it so that the argument can still be changed (the
// host's reply becomes NO on a cancel) before the action runs.
class KLInvocation
{
public:
    using Action = std::function<void(const KLPlist& argument)>;

    KLInvocation() = default;
    KLInvocation(std::string selector, Action action, KLPlist argument = {})
        : selector_(std::move(selector)), action_(std::move(action)), argument_(std::move(argument))
    {
    }

    const std::string& selector() const { return selector_; }
    const KLPlist& argument() const { return argument_; }
    void setArgument(KLPlist argument) { argument_ = std::move(argument); }
    bool isValid() const { return static_cast<bool>(action_); }
    void invoke() const
    {
        if (action_)
            action_(argument_);
    }

private:
    std::string selector_;
    Action action_;
    KLPlist argument_;
};
