#pragma once

#include <QImage>
#include <QString>

#include <atomic>
#include <memory>
#include <string>
#include <thread>

class FendrelHostWindow;
class KLApacheController;
class Socket;

// The stage the documentation's screenshots are taken on: private settings
// and home, the demo tree as protected folder, a web server controller that
// touches nothing of the system (a configuration test that fails, logs in
// a private folder, a server that counts as running), a stand-in for the
// server's answers on a loopback port, and the host window.
class ScreenshotStage
{
public:
    ScreenshotStage();
    ~ScreenshotStage();

    // Builds everything; false with a reason on failure.
    bool setUp(QString& error);
    FendrelHostWindow& window() { return *window_; }

    // The server as a first run may find it: running or stopped, its
    // configuration obeying or ignoring access files (AllowOverride None,
    // authz_groupfile and userdir off, as Debian installs it). The window is
    // told at once.
    void setServer(bool running, bool ignoresAccessFiles);

    // Lets queued work and painting happen.
    static void settle();
    // The window as shown, with an open sheet drawn on it as the desktop
    // shows sheets: centred below the title.
    QImage shot();

private:
    std::shared_ptr<KLApacheController> makeApacheController();
    // Answers each request as Apache would for the demo tree with one access
    // file it ignores: a password prompt for "private", the page for the rest.
    bool startSite(QString& error);
    void serveSite();

    std::string base_;
    std::string root_;
    bool running_ = true;
    std::unique_ptr<FendrelHostWindow> window_;
    std::unique_ptr<Socket> site_;
    std::atomic<bool> stopping_{false};
    std::thread siteThread_;
};
