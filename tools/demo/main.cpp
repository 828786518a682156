// A demo of what a Debian user gets: a private Apache on 127.0.0.1 (port 8080
// or the next free one) on a copy of the installed configuration, as
// installed, serving the demo tree; a separate settings file pointing the
// pane at it; and the pane itself. Until the web server tab's repair runs,
// the server ignores the access files, as the installed one does. Nothing of
// the system's server or of the user's settings is touched; the server stops
// when the pane closes.

#include "ApacheSandbox.h"
#include "DemoHelperTool.h"
#include "DemoTree.h"
#include "FendrelHostWindow.h"
#include "FendrelPref.h"
#include "KLApacheController.h"
#include "KLApachePage.h"
#include "KLRunLoop.h"
#include "KLUserDefaults.h"
#include "QtAuthorizationView.h"
#include "QtImages.h"
#include "QtRunLoop.h"

#include <QApplication>
#include <QTimer>

#include <arpa/inet.h>
#include <atomic>
#include <csignal>
#include <cstdio>
#include <cstdlib>
#include <filesystem>
#include <netinet/in.h>
#include <sys/socket.h>
#include <unistd.h>

namespace {
constexpr int kFirstPort = 8080;
constexpr int kLastPort = 8180;
// The lock of the web server tab opens without asking: the demo's helper
// acts only on the private server.
constexpr const char* kAlwaysYes = "/bin/true";
constexpr int kSignalPollMs = 200;

// Ctrl-C closes the window the ordinary way, so the server is stopped and
// the temporary folder removed.
std::atomic<bool> g_interrupted{false};
void interrupted(int)
{
    g_interrupted = true;
}

bool portIsFree(int port)
{
    int fd = ::socket(AF_INET, SOCK_STREAM | SOCK_CLOEXEC, 0);
    if (fd < 0)
        return false;
    sockaddr_in address{};
    address.sin_family = AF_INET;
    address.sin_port = htons(static_cast<uint16_t>(port));
    address.sin_addr.s_addr = htonl(INADDR_LOOPBACK);
    bool free = ::bind(fd, reinterpret_cast<sockaddr*>(&address), sizeof address) == 0;
    ::close(fd);
    return free;
}

void pointSettingsAt(const ApacheSandbox& sandbox)
{
    KLUserDefaults& defaults = KLUserDefaults::standardUserDefaults();
    defaults.setBool(true, "Override Conf Directory Location");
    defaults.setObject(KLPlist(sandbox.serverRoot()), "Apache Conf Directory");
    defaults.setObject(KLPlist(std::filesystem::path(sandbox.configPath()).filename().string()), "Apache Conf File");
    // The installed configuration names its logs without quotes, which the
    // log search does not follow: list the sandbox's log folder instead.
    defaults.setBool(true, "Override Log Directory");
    defaults.setObject(KLPlist(std::filesystem::path(sandbox.errorLogPath()).parent_path().string() + "/"),
                       "Apache Log Directory");
    defaults.setObject(KLPlist("127.0.0.1:" + std::to_string(sandbox.port())), "Apache Site Address");
    defaults.setObject(KLPlist(std::to_string(sandbox.port())), "Apache Site Port");
    defaults.setBool(false, "Check for Updates");
}
} // namespace

int main(int argc, char** argv)
{
    if (!ApacheSandbox::available()) {
        std::fprintf(stderr, "fendrel-demo needs Debian's Apache 2.4 (%s and %s)\n", ApacheSandbox::kBinary,
                     ApacheSandbox::kInstalledConf);
        return 1;
    }
    // A settings file of the demo's own.
    std::string base = (std::filesystem::temp_directory_path() / "fendrel-demo-XXXXXX").string();
    if (!::mkdtemp(base.data())) {
        std::fprintf(stderr, "cannot make a temporary folder\n");
        return 1;
    }
    ::setenv("XDG_CONFIG_HOME", (base + "/config").c_str(), 1);
    ::setenv("TMPDIR", base.c_str(), 1);

    int status = 1;
    {
        ApacheSandbox sandbox(ApacheSandbox::Setup::Stock);
        for (int port = kFirstPort; port <= kLastPort; ++port) {
            if (portIsFree(port)) {
                sandbox.setPort(port);
                break;
            }
        }
        std::string error;
        if (!DemoTree::create(sandbox.documentRoot(), error) || !sandbox.start()) {
            std::fprintf(stderr, "%s\n", error.empty() ? sandbox.error().c_str() : error.c_str());
            return 1;
        }
        const std::string controlProgram = sandbox.controlProgram();

        QApplication app(argc, argv);
        QApplication::setApplicationName("Fendrel");
        KLRunLoop::setMain(std::make_shared<QtRunLoop>(&app));
        QtImages::setUpTheme();
        FendrelPref::initialize();
        DemoTree::useAsRoot(sandbox.documentRoot());
        pointSettingsAt(sandbox);

        auto helper = std::make_shared<DemoHelperTool>(sandbox);
        {
            FendrelHostWindow window([&] {
                auto apache = std::make_shared<KLApacheController>(helper);
                apache->setControlProgram(controlProgram);
                apache->setProcessLister([&sandbox] {
                    return sandbox.isRunning() ? std::vector<std::string>{"apache2"} : std::vector<std::string>{};
                });
                apache->setProcessName("apache2");
                return apache;
            });
            window.pane()->apachePage()->authorizationView()->setPkcheckPath(kAlwaysYes);
            DemoTree::protect(*window.pane()->controller());

            std::printf("Fendrel demo: Apache serves the demo tree at http://127.0.0.1:%d/\n", sandbox.port());
            std::printf("  /%s/   password (alice, or a member of staff)\n", DemoTree::kPrivate);
            std::printf("  /%s/  address (127.0.0.1 only)\n", DemoTree::kIntranet);
            std::printf("  /%s/    password and address (bob or carol)\n", DemoTree::kShared);
            std::printf("  /%s/    open to all\n", DemoTree::kPublic);
            for (const DemoTree::User& user : DemoTree::users())
                std::printf("  user %s, password %s\n", user.name.c_str(), user.password.c_str());
            std::printf("As installed, Apache ignores these access files: use Repair Configuration in the\n"
                        "Web Server tab (the lock opens without asking) to make them take effect.\n");
            std::printf("The server stops when the window closes.\n");
            std::fflush(stdout);

            std::signal(SIGINT, interrupted);
            std::signal(SIGTERM, interrupted);
            QTimer interruptPoll;
            QObject::connect(&interruptPoll, &QTimer::timeout, [&window] {
                if (g_interrupted.exchange(false))
                    window.close();
            });
            interruptPoll.start(kSignalPollMs);
            QObject::connect(&window, &FendrelHostWindow::unselected, &app, &QApplication::quit);

            window.show();
            status = QApplication::exec();
        }
        KLRunLoop::setMain(nullptr);
        sandbox.stop();
    }
    std::error_code ec;
    std::filesystem::remove_all(base, ec);
    return status;
}
