#pragma once

#include <QApplication>

#include <functional>

// The one application object of the pane tests (offscreen platform, the Qt
// run loop installed as the main run loop).
class PaneTestApp
{
public:
    // Processes events until the predicate holds or the timeout passes.
    static bool waitFor(const std::function<bool()>& predicate, int timeoutMs = 2000);
    // Runs whatever is queued now (posted functions, zero timers, deferred
    // deletes).
    static void settle();
};
