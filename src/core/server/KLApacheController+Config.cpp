// The configuration side of the web server tab: where the configuration is,
// which logs it names, and the AllowOverride repair.

#include "KLApacheController.h"

#include "KLApacheModules.h"
#include "KLButton.h"
#include "KLChildProcess.h"
#include "KLFileExtensions.h"
#include "KLLayout.h"
#include "KLLog.h"
#include "KLPopUpButton.h"
#include "KLRegex.h"
#include "KLStringExtensions.h"
#include "KLTempFile.h"
#include "KLTextField.h"
#include "KLTextFile.h"
#include "KLUserDefaults.h"
#include "KLWorkspace.h"

#include <dirent.h>
#include <fcntl.h>
#include <pwd.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <climits>
#include <cstdlib>

namespace {

constexpr const char* kUserConfDirectoryKey = "Apache User Conf Directory";
constexpr const char* kBinaryLocationKey = "ApacheBinaryLocation";
constexpr const char* kOverrideLogDirectoryKey = "Override Log Directory";
constexpr const char* kLogDirectoryKey = "Apache Log Directory";

constexpr const char* kConfigFileMarker = "SERVER_CONFIG_FILE";
constexpr const char* kIncludeToken = "Include";
const std::vector<std::string> kLogTokens{"CustomLog", "ErrorLog", kIncludeToken};
// The contents of the last double-quoted argument of a line is group 4.
constexpr const char* kLogValuePattern = R"re(((([-.*/\w]+)|"([-.*/\w\s]+)")\s*)*)re";
constexpr std::size_t kLogValueGroup = 4;

// The server itself refuses includes nested deeper than this; beyond it, or
// beyond this many files in one search, a configuration is taken as broken.
constexpr std::size_t kMaxIncludeDepth = 128;
constexpr std::size_t kMaxIncludedFiles = 4096;
constexpr const char* kIncludeCycleMessage = "Include cycle: %1 includes %2 again; not followed";
constexpr const char* kIncludeLimitMessage = "Include limit reached at %1; the rest of the includes are not followed";

std::string format(std::string message, const std::string& first, const std::string& second = {})
{
    message.replace(message.find("%1"), 2, first);
    if (auto at = message.find("%2"); at != std::string::npos)
        message.replace(at, 2, second);
    return message;
}

bool existsFollowingLinks(const std::string& path)
{
    return attributesOfItemAtPath(path, true).has_value();
}

std::string canonicalPath(const std::string& path)
{
    char resolved[PATH_MAX];
    return ::realpath(path.c_str(), resolved) ? std::string(resolved) : path;
}

std::string currentUserName()
{
    if (const passwd* pw = ::getpwuid(::getuid()); pw && pw->pw_name)
        return pw->pw_name;
    const char* user = std::getenv("USER");
    return user ? user : "";
}

bool writeAll(int handle, std::string_view data)
{
    while (!data.empty()) {
        ssize_t n = ::write(handle, data.data(), data.size());
        if (n < 0 && errno == EINTR)
            continue;
        if (n <= 0)
            return false;
        data.remove_prefix(static_cast<std::size_t>(n));
    }
    return true;
}

// One rule set of the repair: inside the blocks its start pattern opens,
// "AllowOverride None" becomes "AllowOverride All".
struct RepairRule
{
    KLRegex beginMatch;
    KLRegex search;
    std::string replace;
    KLRegex endMatch;
};

std::vector<RepairRule> repairRules(const KLLayout& layout)
{
    auto rule = [](const std::string& begin) {
        return RepairRule{KLRegex(begin), KLRegex(R"(AllowOverride\s+None)"), "AllowOverride All",
                          KLRegex("</Directory>")};
    };
    std::vector<RepairRule> rules;
    rules.push_back(rule(R"(<Directory\s+/\s*)"));
    rules.push_back(rule(R"(<Directory\s+")" + layout.repairSharedDirectory + R"("\s*)"));
    rules.push_back(rule(R"(<Directory\s+")" + layout.repairPersonalDirectory + R"("\s*)"));
    return rules;
}

} // namespace

void KLApacheController::getApacheConfFile()
{
    const std::string binary =
        KLUserDefaults::standardUserDefaults().stringForKey(kBinaryLocationKey).value_or(std::string());
    const std::string report =
        KLChildProcess::run(binary, {"-V"}, KLChildProcess::Output::Capture, KLChildProcess::Output::Discard).output;

    std::string path;
    if (std::size_t at = report.find(kConfigFileMarker); at != std::string::npos) {
        std::size_t start = report.find_first_not_of(" \t\r\n\v\f=\"", at + std::string_view(kConfigFileMarker).size());
        if (start != std::string::npos)
            path = report.substr(start, report.find('"', start) - start);
    }
    // A relative path stays relative: it is not joined with the server root.
    confFileDir_ = stringByDeletingLastPathComponent(path);
    confFileName_ = lastPathComponent(path);
}

std::string KLApacheController::httpdConfFile() const
{
    return stringByAppendingPathComponent(confFileDir_, confFileName_);
}

std::string KLApacheController::userConfFile() const
{
    const std::string folder =
        KLUserDefaults::standardUserDefaults().stringForKey(kUserConfDirectoryKey).value_or(std::string());
    return pathWithComponents({httpdConfRoot(), folder, currentUserName() + ".conf"});
}

void KLApacheController::findLogs()
{
    KLUserDefaults& defaults = KLUserDefaults::standardUserDefaults();
    if (defaults.boolForKey(kOverrideLogDirectoryKey)) {
        listLogDirectory(defaults.stringForKey(kLogDirectoryKey).value_or(std::string()));
        return;
    }
    findLogFiles_ = logFinderForFile(httpdConfFile(), {});
    if (findLogFiles_)
        findLogFiles_->parse();
}

std::shared_ptr<KLConfParser> KLApacheController::logFinderForFile(const std::string& path,
                                                                   std::vector<std::string> includeChain)
{
    auto parser = KLConfParser::initWithFile(path);
    if (!parser)
        return nullptr;
    parser->setDelegate(delegateHandle_);
    parser->setTokens(kLogTokens);
    includeChain.push_back(canonicalPath(path));
    logFinders_[parser.get()] = {parser, std::move(includeChain)};
    return parser;
}

bool KLApacheController::isFindingLogs() const
{
    return std::any_of(logFinders_.begin(), logFinders_.end(),
                       [](const auto& entry) {
                           return entry.second.first->isParsing() || entry.second.first->hasUndeliveredHits();
                       });
}

void KLApacheController::parsedToken(KLConfParser& parser, const std::string& token, const std::string& line,
                                     std::int32_t, const std::optional<std::string>&)
{
    static const KLRegex valuePattern(kLogValuePattern);
    auto match = valuePattern.firstMatch(line);
    const std::string value = match && match->groups.size() > kLogValueGroup && match->groups[kLogValueGroup]
                                  ? *match->groups[kLogValueGroup]
                                  : std::string();

    if (token != kIncludeToken) {
        if (!value.empty() && existsFollowingLinks(value))
            addLog(value, lastPathComponent(value));
        return;
    }

    auto finder = logFinders_.find(&parser);
    const std::vector<std::string> chain =
        finder != logFinders_.end() ? finder->second.second : std::vector<std::string>{};
    const std::string includer = chain.empty() ? parser.path().value_or(std::string()) : chain.back();
    for (const std::string& included : glob(value).value_or(std::vector<std::string>{})) {
        if (std::find(chain.begin(), chain.end(), canonicalPath(included)) != chain.end()) {
            KLLog(format(kIncludeCycleMessage, includer, included));
            continue;
        }
        if (chain.size() >= kMaxIncludeDepth || logFinders_.size() >= kMaxIncludedFiles) {
            if (!includeLimitLogged_)
                KLLog(format(kIncludeLimitMessage, included));
            includeLimitLogged_ = true;
            continue;
        }
        if (auto includedParser = logFinderForFile(included, chain))
            includedParser->parse();
    }
}

void KLApacheController::listLogDirectory(const std::string& dir)
{
    std::unique_ptr<DIR, int (*)(DIR*)> listing(::opendir(dir.c_str()), ::closedir);
    if (!listing)
        return;
    // In the order the file system gives; compressed old logs are left out.
    while (const dirent* entry = ::readdir(listing.get())) {
        const std::string name = entry->d_name;
        if (name == "." || name == ".." || name.ends_with("gz"))
            continue;
        addLog(stringByAppendingPathComponent(dir, name), name);
    }
}

void KLApacheController::addLog(const std::string& path, const std::string& title)
{
    logs_.push_back(path);
    if (outlets_.logPicker) {
        outlets_.logPicker->setEnabled(true);
        outlets_.logPicker->addItem(title, path);
    }
    if (outlets_.logDisplayButton)
        outlets_.logDisplayButton->setEnabled(true);
}

void KLApacheController::openLogAtIndex(long index)
{
    if (index < 0 || index >= static_cast<long>(logs_.size()) || !outlets_.workspace)
        return;
    outlets_.workspace->openFile(logs_[static_cast<std::size_t>(index)]);
}

void KLApacheController::displayLog()
{
    if (outlets_.logPicker)
        openLogAtIndex(outlets_.logPicker->indexOfSelectedItem());
}

bool KLApacheController::grepFile(const std::string& path, int handle, int* failure)
{
    if (failure)
        *failure = 0;
    auto text = KLTextFile::read(path);
    if (!text) {
        // Nothing is written: an empty result must never replace a file
        // that could not be read.
        if (failure)
            *failure = kRepairUnreadable;
        return false;
    }
    std::vector<RepairRule> rules = repairRules(KLLayout::active());
    bool inside = false; // one flag for all sets and the whole file
    bool changed = false;
    std::string output;
    output.reserve(text->size() + 64);
    std::size_t pos = 0;
    for (;;) {
        std::size_t end = text->find('\n', pos);
        std::string line = text->substr(pos, end == std::string::npos ? std::string::npos : end - pos);
        for (RepairRule& rule : rules) {
            if (rule.beginMatch.matches(line)) {
                inside = true;
                break;
            }
            if (inside && rule.search.matches(line)) {
                line = rule.search.replaceAll(line, rule.replace);
                changed = true;
                break;
            }
            if (rule.endMatch.matches(line)) {
                inside = false;
                break;
            }
        }
        // Every piece gets its line feed, the last one too.
        output += line;
        output += '\n';
        if (end == std::string::npos)
            break;
        pos = end + 1;
    }
    if (!writeAll(handle, output) && failure)
        *failure = kRepairNotWritten;
    return changed;
}

int KLApacheController::repairConfFile(const std::string& path)
{
    if (int code = isFileAcceptable(path))
        return code;
    auto temp = KLTempFile::tempFile();
    if (!temp)
        return kRepairNotWritten;
    const std::string tempPath = temp->path();
    int failure = 0;
    grepFile(path, temp->handle(), &failure);
    if (failure == 0 && ::fsync(temp->handle()) != 0)
        failure = kRepairNotWritten;
    temp.reset();
    // The repair is run even when nothing changed, never from a short file.
    int status = failure ? failure
                         : webcheckWithArgs({"-operation", "webcheck", "-file", path, "-data", tempPath});
    if (fileExists(tempPath))
        ::unlink(tempPath.c_str());
    return status;
}

bool KLApacheController::webcheckCheck()
{
    int nullDevice = ::open("/dev/null", O_WRONLY | O_CLOEXEC);
    // Only the second result counts.
    grepFile(httpdConfFile(), nullDevice);
    bool changed = grepFile(userConfFile(), nullDevice);
    if (nullDevice >= 0)
        ::close(nullDevice);
    return changed;
}

void KLApacheController::checkApacheConfig()
{
    apachectl("configtest");
}

bool KLApacheController::needsRepair()
{
    int nullDevice = ::open("/dev/null", O_WRONLY | O_CLOEXEC);
    bool changed = grepFile(httpdConfFile(), nullDevice);
    changed = grepFile(userConfFile(), nullDevice) || changed;
    if (nullDevice >= 0)
        ::close(nullDevice);
    return changed || !missingModules().empty();
}

std::vector<std::string> KLApacheController::missingModules() const
{
    return KLApacheModules::missing(confFileDir_, KLApacheModules::hasPersonalFolder());
}

void KLApacheController::showModuleProblems()
{
    if (!outlets_.moduleProblems)
        return;
    std::string text;
    for (const std::string& module : missingModules())
        text += (text.empty() ? "" : "\n") + KLApacheModules::problem(module);
    outlets_.moduleProblems->setStringValue(text);
    outlets_.moduleProblems->setHidden(text.empty());
}
