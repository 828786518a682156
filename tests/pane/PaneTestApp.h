#pragma once

#include <QApplication>
#include <QMessageBox>

#include <functional>

// The one application object of the pane tests (offscreen platform, the Qt
// run loop installed as the main run loop), and what they do with it.
class PaneTestApp
{
public:
    // Processes events until the predicate holds or the timeout passes.
    static bool waitFor(const std::function<bool()>& predicate, int timeoutMs = 2000);
    // Runs whatever is queued now (posted functions, zero timers, deferred deletes).
    static void settle();
    // The open alert, waited for up to the timeout; null when there is none.
    static QMessageBox* openAlert(int timeoutMs = 0);
    // Clicks the open alert's button with this title; false when there is none.
    static bool answerAlert(const QString& title);
};
