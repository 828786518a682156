#pragma once

#include <string>

// What the window says at once when the local Apache cannot serve the
// protected folders as Fendrel writes them, and the one action that fixes
// it. The first problem in this order wins: not installed, stopped, ignoring
// the access files (a configuration that a repair would change).
struct KLServerNotice
{
    enum class Action { None, StartApache, RepairConfiguration };

    std::string text;        // empty: nothing to say
    Action action = Action::None;
    std::string actionTitle; // the button's title; empty when there is nothing to press

    static KLServerNotice forServer(bool installed, bool running, bool ignoresAccessFiles);
};
