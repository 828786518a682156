// The pane's start-up on a personal web folder holding 100,000 users and
// 100 groups of 1,000 members, against the same start-up on an empty one:
// the controller waking behind headless views, the Qt pane in its host
// window up to its first paint on the offscreen platform, and the whole
// `fendrelctl --json user list` process.
#include "BenchRatio.h"
#include "FendrelHostWindow.h"
#include "FendrelPref.h"
#include "KLBundle.h"
#include "KLHeadlessOutlets.h"
#include "KLRunLoop.h"
#include "KLTableView.h"
#include "KLUserDefaults.h"
#include "QtImages.h"
#include "QtRunLoop.h"

#include <QApplication>
#include <QElapsedTimer>

#include <benchmark/benchmark.h>

#include <sys/stat.h>

#include <cstdio>
#include <cstdlib>
#include <fstream>
#include <memory>
#include <string>

namespace {

constexpr int kUsers = 100000;
constexpr int kGroups = 100;
constexpr int kMembersPerGroup = 1000;
constexpr qint64 kPaintTimeoutMs = 60000;

// Two homes, each with the personal web folder the pane opens by default.
struct Homes
{
    std::string base;
    std::string empty;
    std::string large;

    Homes()
    {
        base = "/tmp/fendrel-bench-XXXXXX";
        if (!::mkdtemp(base.data()))
            std::abort();
        ::setenv("XDG_CONFIG_HOME", (base + "/.config").c_str(), 1);
        ::setenv("FENDREL_LAYOUT", "debian", 1);
        empty = makeHome("empty");
        large = makeHome("large");
        std::ofstream users(large + "/public_html/.htusers", std::ios::binary);
        for (int i = 0; i < kUsers; ++i)
            users << name(i) << ":abJnggxhB/yWI\n";
        std::ofstream groups(large + "/public_html/.htgroups", std::ios::binary);
        for (int g = 0; g < kGroups; ++g) {
            groups << "group" << g << ": ";
            for (int m = 0; m < kMembersPerGroup; ++m)
                groups << name((g * 7919 + m * 97) % kUsers) << ' ';
            groups << '\n';
        }
    }

    ~Homes() { std::system(("rm -rf '" + base + "'").c_str()); }

    std::string makeHome(const std::string& leaf) const
    {
        std::string home = base + "/" + leaf;
        ::mkdir(home.c_str(), 0755);
        ::mkdir((home + "/public_html").c_str(), 0755);
        return home;
    }

    static std::string name(int i)
    {
        char text[16];
        std::snprintf(text, sizeof text, "user%06d", i);
        return text;
    }

    const std::string& home(benchmark::State& state) const { return state.range(0) ? large : empty; }
};

Homes& homes()
{
    static Homes h;
    return h;
}

void useHome(const std::string& home)
{
    ::setenv("HOME", home.c_str(), 1);
    FendrelPref::initialize();
    KLUserDefaults::standardUserDefaults().setBool(false, "Check for Updates");
}

void BM_ControllerStartup(benchmark::State& state)
{
    useHome(homes().home(state));
    for (auto _ : state) {
        KLHeadlessOutlets views(true);
        FendrelPref pref;
        pref.initWithBundle(KLBundle::main());
        pref.setOutlets(views.outlets());
        pref.setApacheFactory([] { return std::shared_ptr<KLApacheController>(); });
        pref.awakeFromNib();
        benchmark::DoNotOptimize(pref.users());
    }
}
BENCHMARK(BM_ControllerStartup)->Arg(0)->Arg(1)->Unit(benchmark::kMillisecond)->Repetitions(5)->ReportAggregatesOnly();

// Notes the first paint of the users table, the view that grows with the file.
class PaintWatcher : public QObject
{
public:
    bool painted = false;

    bool eventFilter(QObject* watched, QEvent* event) override
    {
        if (event->type() == QEvent::Paint)
            painted = true;
        return QObject::eventFilter(watched, event);
    }
};

void BM_QtPaneStartup(benchmark::State& state)
{
    useHome(homes().home(state));
    for (auto _ : state) {
        FendrelHostWindow window([] { return std::shared_ptr<KLApacheController>(); });
        PaintWatcher watcher;
        window.pane()->findChild<KLTableView*>("userTable")->viewport()->installEventFilter(&watcher);
        window.show();
        QElapsedTimer waited;
        waited.start();
        while (!watcher.painted && waited.elapsed() < kPaintTimeoutMs)
            QApplication::processEvents(QEventLoop::AllEvents, 10);
        if (!watcher.painted)
            state.SkipWithError("the users table was never painted");
    }
}
BENCHMARK(BM_QtPaneStartup)->Arg(0)->Arg(1)->Unit(benchmark::kMillisecond)->Repetitions(5)->ReportAggregatesOnly();

void BM_CliUserList(benchmark::State& state)
{
    useHome(homes().home(state));
    for (auto _ : state) {
        if (!runQuietly({FENDRELCTL_PATH, "--json", "user", "list"}))
            state.SkipWithError("fendrelctl failed");
    }
}
BENCHMARK(BM_CliUserList)->Arg(0)->Arg(1)->Unit(benchmark::kMillisecond)->Repetitions(5)->ReportAggregatesOnly();

} // namespace

int main(int argc, char** argv)
{
    ::setenv("QT_QPA_PLATFORM", "offscreen", 1);
    QApplication app(argc, argv);
    QtImages::setUpTheme();
    KLRunLoop::setMain(std::make_shared<QtRunLoop>(&app));
    homes();
    int status = runBenchmarksWithRatios(argc, argv,
                                         {{"controller_startup_100k_users_vs_empty",
                                           "BM_ControllerStartup/1/repeats:5_median",
                                           "BM_ControllerStartup/0/repeats:5_median"},
                                          {"qt_pane_startup_100k_users_vs_empty", "BM_QtPaneStartup/1/repeats:5_median",
                                           "BM_QtPaneStartup/0/repeats:5_median"},
                                          {"cli_user_list_100k_users_vs_empty", "BM_CliUserList/1/repeats:5_median",
                                           "BM_CliUserList/0/repeats:5_median"}});
    KLRunLoop::setMain(nullptr);
    return status;
}
