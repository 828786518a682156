// Scanning a 1,000,000-line server configuration for the log search's
// keywords (file read, comment removal, keyword test, every hit delivered on
// the main run loop), against `grep -c` asking the same question of the same
// file.

#include "BenchRatio.h"

#include "KLChildProcess.h"
#include "KLConfParser.h"
#include "KLPlainRunLoop.h"

#include <benchmark/benchmark.h>

#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <string>
#include <unistd.h>

namespace {

constexpr int kLines = 1000000;
constexpr const char* kGrep = "/usr/bin/grep";
// Lines that begin with a keyword, after leading blanks; comment lines never do.
constexpr const char* kGrepPattern = "^[[:space:]]*(CustomLog|ErrorLog|Include)";

struct Fixture
{
    std::string folder;
    std::string path;
    long expectedHits = 0;

    Fixture()
    {
        std::string base = std::filesystem::temp_directory_path().string() + "/bench-confparser-XXXXXX";
        if (!::mkdtemp(base.data()))
            std::abort();
        folder = base;
        path = folder + "/httpd.conf";
        std::ofstream out(path, std::ios::binary);
        // A mix like a large generated configuration: comments, blank lines,
        // blocks, quoted values with "#", and about one keyword line in 20.
        for (int i = 0; i < kLines; ++i) {
            switch (i % 20) {
            case 0:
                out << "# Section " << i << ": virtual host settings follow\n";
                break;
            case 1:
                out << "\n";
                break;
            case 2:
                out << "<Directory \"/srv/www/site" << i << "/htdocs\">\n";
                break;
            case 3:
                out << "    Options Indexes FollowSymLinks # trailing note\n";
                break;
            case 4:
                out << "    AllowOverride None\n";
                break;
            case 5:
                out << "</Directory>\n";
                break;
            case 6:
                out << "  CustomLog \"/var/log/httpd/site" << i << "_log\" combined\n";
                ++expectedHits;
                break;
            case 7:
                out << "LogFormat \"%h %l %u %t \\\"%r\\\" %>s %b #x\" common\n";
                break;
            case 8:
                out << "#Include \"/etc/httpd/disabled/" << i << ".conf\"\n";
                break;
            default:
                out << "    SetEnvIf User-Agent \".*MSIE.*\" nokeepalive ssl-unclean-shutdown 'q;#' " << i << "\n";
                break;
            }
        }
    }
    ~Fixture() { std::filesystem::remove_all(folder); }
};

Fixture& fixture()
{
    static Fixture f;
    return f;
}

class Counter : public KLConfParserDelegate
{
public:
    void parsedToken(KLConfParser&, const std::string&, const std::string&, std::int32_t,
                     const std::optional<std::string>&) override
    {
        ++hits;
    }
    long hits = 0;
};

void BM_ConfParserScan(benchmark::State& state)
{
    Fixture& f = fixture();
    auto loop = std::make_shared<KLPlainRunLoop>();
    KLRunLoop::setMain(loop);
    auto counter = std::make_shared<Counter>();
    for (auto _ : state) {
        counter->hits = 0;
        auto parser = KLConfParser::initWithFile(f.path);
        parser->setTokens({"CustomLog", "ErrorLog", "Include"});
        parser->setDelegate(counter);
        parser->parse();
        loop->runUntil([&] { return !parser->isParsing(); }, 600);
        loop->runPending();
        if (counter->hits != f.expectedHits)
            state.SkipWithError("wrong number of hits");
    }
    KLRunLoop::setMain(nullptr);
}

void BM_GrepCount(benchmark::State& state)
{
    Fixture& f = fixture();
    for (auto _ : state) {
        auto result = KLChildProcess::run(kGrep, {"-c", "-i", "-E", kGrepPattern, f.path},
                                          KLChildProcess::Output::Capture, KLChildProcess::Output::Inherit);
        if (std::atol(result.output.c_str()) != f.expectedHits)
            state.SkipWithError("grep counted otherwise");
    }
}

} // namespace

BENCHMARK(BM_ConfParserScan)->Unit(benchmark::kMillisecond)->Repetitions(5)->ReportAggregatesOnly();
BENCHMARK(BM_GrepCount)->Unit(benchmark::kMillisecond)->Repetitions(5)->ReportAggregatesOnly();

int main(int argc, char** argv)
{
    fixture();
    return runBenchmarksWithRatios(
        argc, argv,
        {{"confparser_scan_vs_grep_count", "BM_ConfParserScan/repeats:5_median", "BM_GrepCount/repeats:5_median"}});
}
