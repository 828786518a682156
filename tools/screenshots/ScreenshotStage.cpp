#include "ScreenshotStage.h"

#include "DemoTree.h"
#include "FendrelHostWindow.h"
#include "FendrelPref.h"
#include "KLApacheController.h"
#include "KLAtomicFile.h"
#include "KLHelperTool.h"
#include "KLSocketException.h"
#include "KLUserDefaults.h"
#include "KLUserSheet.h"
#include "Socket.h"

#include <QApplication>
#include <QDialog>
#include <QElapsedTimer>
#include <QMessageBox>
#include <QPainter>

#include <arpa/inet.h>
#include <cstdlib>
#include <filesystem>
#include <poll.h>
#include <sys/stat.h>

namespace {
// What the stage's "apachectl configtest" reports.
constexpr const char* kConfigTest = R"(#!/bin/sh
echo "AH00526: Syntax error on line 14 of /etc/apache2/sites-enabled/000-default.conf:" >&2
echo "Invalid command 'Requir', perhaps misspelled or defined by a module not included in the server configuration" >&2
echo "Action 'configtest' failed." >&2
echo "The Apache error log may have more information." >&2
exit 1
)";
constexpr const char* kServerName = "apache2";
} // namespace

ScreenshotStage::ScreenshotStage() = default;

ScreenshotStage::~ScreenshotStage()
{
    window_.reset();
    stopping_ = true;
    if (siteThread_.joinable())
        siteThread_.join();
    if (!base_.empty()) {
        std::error_code ec;
        std::filesystem::remove_all(base_, ec);
    }
}

bool ScreenshotStage::setUp(QString& error)
{
    namespace fs = std::filesystem;
    std::string base = (fs::temp_directory_path() / "fendrel-screenshots-XXXXXX").string();
    if (!::mkdtemp(base.data())) {
        error = "cannot make a temporary folder";
        return false;
    }
    base_ = base;
    // Nothing of the user's own settings or home is read or written.
    ::setenv("HOME", (base_ + "/home").c_str(), 1);
    ::setenv("XDG_CONFIG_HOME", (base_ + "/config").c_str(), 1);
    fs::create_directories(base_ + "/home/public_html");
    fs::create_directories(base_ + "/logs");
    root_ = base_ + "/www";
    std::string reason;
    if (!DemoTree::create(root_, reason)) {
        error = QString::fromStdString(reason);
        return false;
    }
    for (const char* log : {"error.log", "access.log", "other_vhosts_access.log"})
        KLAtomicFile::write(base_ + "/logs/" + log, "");
    KLAtomicFile::write(base_ + "/configtest", kConfigTest);
    ::chmod((base_ + "/configtest").c_str(), 0755);

    FendrelPref::initialize();
    DemoTree::useAsRoot(root_);
    if (!startSite(error))
        return false;
    KLUserDefaults& defaults = KLUserDefaults::standardUserDefaults();
    defaults.setObject(KLPlist("127.0.0.1:" + std::to_string(site_->localPort())), "Apache Site Address");
    defaults.setBool(true, "Override Conf Directory Location");
    defaults.setObject(KLPlist(base_), "Apache Conf Directory");
    defaults.setObject(KLPlist("apache2.conf"), "Apache Conf File");
    defaults.setBool(true, "Override Log Directory");
    defaults.setObject(KLPlist(base_ + "/logs/"), "Apache Log Directory");
    defaults.setBool(false, "Check for Updates");
    defaults.setBool(true, "Show Manual Editor");
    defaults.setDouble(0, "Last Version Check");

    window_ = std::make_unique<FendrelHostWindow>([this] { return makeApacheController(); });
    window_->show();
    settle();
    FendrelPref& pref = *window_->pane()->controller();
    DemoTree::protect(pref);
    // The status line without waiting for the first poll.
    if (pref.apache())
        pref.apache()->checkApacheStatus();
    settle();
    return true;
}

std::shared_ptr<KLApacheController> ScreenshotStage::makeApacheController()
{
    auto apache = std::make_shared<KLApacheController>(std::shared_ptr<KLHelperTool>());
    apache->setControlProgram(base_ + "/configtest");
    apache->setProcessName(kServerName);
    apache->setProcessLister([this] {
        return running_ ? std::vector<std::string>{"init", kServerName} : std::vector<std::string>{"init"};
    });
    return apache;
}

bool ScreenshotStage::startSite(QString& error)
{
    try {
        site_ = Socket::socket();
        site_->bindTo(INADDR_LOOPBACK, 0);
        site_->listen(5);
    } catch (const KLSocketException& e) {
        error = QString::fromStdString("cannot listen on the loopback address: " + e.name());
        return false;
    }
    siteThread_ = std::thread([this] { serveSite(); });
    return true;
}

void ScreenshotStage::serveSite()
{
    while (!stopping_) {
        pollfd entry{site_->descriptor(), POLLIN, 0};
        if (::poll(&entry, 1, 20) <= 0)
            continue;
        try {
            std::unique_ptr<Socket> connection = site_->acceptConnectionAndKeepListening();
            std::string request;
            while (request.find("\r\n\r\n") == std::string::npos && connection->isConnected() && !stopping_)
                if (connection->isReadableWithin(0.02))
                    connection->readData(&request);
            bool prompt = request.rfind("GET /private/ ", 0) == 0;
            connection->writeString(prompt ? "HTTP/1.1 401 Unauthorized\r\n\r\n" : "HTTP/1.1 200 OK\r\n\r\n");
        } catch (const KLSocketException&) {
        }
    }
}

void ScreenshotStage::setServer(bool running, bool ignoresAccessFiles)
{
    namespace fs = std::filesystem;
    running_ = running;
    KLAtomicFile::write(base_ + "/apache2.conf", std::string("<Directory />\n\tAllowOverride ") +
                                                     (ignoresAccessFiles ? "None" : "All") + "\n</Directory>\n");
    fs::create_directories(base_ + "/mods-available");
    fs::create_directories(base_ + "/mods-enabled");
    // As installed, Debian leaves the last two off.
    for (const std::string module : {"auth_basic", "authn_core", "authn_file", "authz_core", "authz_user", "authz_host",
                                     "access_compat", "authz_groupfile", "userdir"}) {
        const std::string load = base_ + "/mods-enabled/" + module + ".load";
        if (ignoresAccessFiles && (module == "authz_groupfile" || module == "userdir"))
            fs::remove(load);
        else
            KLAtomicFile::write(load, "");
    }
    if (KLApacheController* apache = window_->pane()->controller()->apache()) {
        apache->disable();
        apache->enable();
        apache->showModuleProblems();
        apache->checkApacheStatus();
    }
    settle();
}

void ScreenshotStage::settle()
{
    QElapsedTimer timer;
    timer.start();
    while (timer.elapsed() < 150)
        QApplication::processEvents(QEventLoop::AllEvents, 20);
}

QImage ScreenshotStage::shot()
{
    settle();
    QImage image = window_->grab().toImage();
    for (QWidget* w : QApplication::topLevelWidgets()) {
        auto* dialog = qobject_cast<QDialog*>(w);
        if (!dialog || !dialog->isVisible())
            continue;
        QImage sheet = dialog->grab().toImage();
        QPainter painter(&image);
        int x = (image.width() - sheet.width()) / 2;
        painter.fillRect(QRect(x - 1, -1, sheet.width() + 2, sheet.height() + 2), QColor(0, 0, 0, 90));
        painter.drawImage(x, 0, sheet);
    }
    return image;
}
