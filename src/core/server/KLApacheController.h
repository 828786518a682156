#pragma once

#include "KLApacheControllerOutlets.h"
#include "KLAuthorizationView.h"
#include "KLConfParser.h"
#include "KLRunLoop.h"
#include "KLServerNotice.h"

#include <cstdint>
#include <functional>
#include <map>
#include <memory>
#include <optional>
#include <set>
#include <string>
#include <vector>

class KLHelperTool;
class KLTextField;

// The controller of the pane's web server tab. Its configuration side
// (KLApacheController+Config.cpp) finds the server's main configuration
// file, lists the logs it names and repairs its AllowOverride settings; its
// control side (KLApacheController+Control.cpp) starts, stops and restarts
// the server through the privileged helper tool, tests the configuration
// and watches whether the server runs. Main thread only.
class KLApacheController : public KLConfParserDelegate, public KLAuthorizationViewDelegate
{
public:
    // Status names of the text colours.
    static constexpr const char* kStatusFine = "statusFine";
    static constexpr const char* kStatusBoth = "statusBoth";
    static constexpr const char* kApacheNotConfigured = "apacheNotConfigured";
    static constexpr const char* kApacheNotRunning = "apacheNotRunning";
    static constexpr const char* kConfigSuccess = "configSuccess";
    static constexpr const char* kConfigError = "configError";
    // Posted (the controller as object) once the server has had time to act
    // on a command: a start, stop, restart or a repair's graceful restart.
    static constexpr const char* kServerDidChange = "KLApacheServerDidChange";
    // The identifier of the web server tab in the pane's tab view.
    static constexpr const char* kTabIdentifier = "apache";

    // Results of repairConfFile besides those of the file check (4 missing,
    // 9 empty) and of the helper tool.
    static constexpr int kRepairUnreadable = 5;
    static constexpr int kRepairNotWritten = 6;
    // Finds the configuration (from the settings or the server binary) and
    // the helper tool WebCheck of the installation.
    KLApacheController();
    // The same with another helper tool; null when none is installed.
    explicit KLApacheController(std::shared_ptr<KLHelperTool> helper);
    ~KLApacheController() override;
    KLApacheController(const KLApacheController&) = delete;
    KLApacheController& operator=(const KLApacheController&) = delete;

    // The tab's views are connected: set up the lock control, the log picker
    // (and start finding logs) and the graceful switch.
    void awakeFromNib(const KLApacheControllerOutlets& outlets);
    const std::string& tabViewItem() const { return tabIdentifier_; }

    // Configuration discovery and repair.
    void getApacheConfFile();
    const std::string& httpdConfRoot() const { return confFileDir_; }
    const std::string& confFileDir() const { return confFileDir_; }
    void setConfFileDir(std::string dir) { confFileDir_ = std::move(dir); }
    const std::string& confFileName() const { return confFileName_; }
    void setConfFileName(std::string name) { confFileName_ = std::move(name); }
    std::string httpdConfFile() const;
    std::string userConfFile() const;
    void findLogs();
    const std::vector<std::string>& logs() const { return logs_; }
    void parsedToken(KLConfParser& parser, const std::string& token, const std::string& line,
                     std::int32_t lineNumber, const std::optional<std::string>& file) override;
    // Whether the log search still runs: a scan is running or its hits (which
    // may start scans of included files) are still on their way.
    bool isFindingLogs() const;
    void openLogAtIndex(long index);
    void displayLog();
    // Writes the file, repaired, to the open descriptor; true when a line
    // changed. failure, when given, gets 0, kRepairUnreadable (nothing was
    // written) or kRepairNotWritten.
    bool grepFile(const std::string& path, int handle, int* failure = nullptr);
    int repairConfFile(const std::string& path);
    bool webcheckCheck();
    void checkApacheConfig();
    // The modules Fendrel's access files need that the configuration leaves
    // off (userdir only when the personal web folder exists), and a sentence
    // for each in the tab's problem line.
    std::vector<std::string> missingModules() const;
    void showModuleProblems();
    // Whether a repair would change either configuration file or turn a
    // module on; changes nothing on disk.
    bool needsRepair();
    // What the window says about the server now, and its action (the
    // access tab's button), which starts Apache or repairs the configuration.
    const KLServerNotice& serverNotice() const { return serverNotice_; }
    void fixServerProblem();
    // Whether the server's control program is installed.
    bool isApacheInstalled() const;
    // Whether the last repair changed the configuration or turned a module on.
    bool lastRepairChanged() const { return lastRepairChanged_; }

    // The helper tool.
    const std::optional<std::string>& helperPath() const { return helperPath_; }
    void setHelperPath(std::optional<std::string> path) { helperPath_ = std::move(path); }
    bool isHelperSetUID() const;
    int webcheckWithArgs(const std::vector<std::string>& arguments);
    void webcheck();

    // Server control.
    const std::vector<std::string>& validCommands() const { return validCommands_; }
    // Status name -> colour name for the text fields.
    const std::map<std::string, std::string>& colors() const { return colors_; }
    void apachectl(const std::string& command);
    void toggleApache();
    void resetApache();
    void toggleGraceful(const KLButton& sender);
    void checkApacheStatus();
    void setApacheState(int state);
    bool isApacheRunning() const { return isApacheRunning_; }
    bool isGraceful() const { return isGraceful_; }
    void showErrorPanel(bool show);
    bool errorPanelIsVisible() const { return errorPanelIsVisible_; }
    void enable();
    void disable();
    bool isEnabled() const { return apacheT_ != nullptr; }
    void setStatusDisplay(KLTextField* field) { apacheStatus_ = field; }

    void authorizationViewDidAuthorize(KLAuthorizationView& view) override;
    void authorizationViewDidDeauthorize(KLAuthorizationView& view) override;

    // The program run for "configtest" and the process name that counts as
    // the running server: the active layout's, settable for tests.
    void setControlProgram(std::string path) { controlProgram_ = std::move(path); }
    const std::string& controlProgram() const { return controlProgram_; }
    void setProcessName(std::string name) { processName_ = std::move(name); }
    void setProcessLister(std::function<std::vector<std::string>()> lister) { processLister_ = std::move(lister); }

private:
    // A tokenizer on one configuration file, reporting to this controller.
    std::shared_ptr<KLConfParser> logFinderForFile(const std::string& path, std::vector<std::string> includeChain);
    void addLog(const std::string& path, const std::string& title);
    void listLogDirectory(const std::string& dir);
    std::vector<KLAuthorizationRight> authorizationRights() const;
    void setStatus(KLTextField* field, const std::string& text, const std::string& statusName);
    void showServerNotice(bool running);
    bool serverIsRunning() const;

    std::string tabIdentifier_ = kTabIdentifier;
    KLApacheControllerOutlets outlets_;
    KLTextField* apacheStatus_ = nullptr;
    std::shared_ptr<KLHelperTool> helper_;
    std::optional<std::string> helperPath_;
    bool isApacheRunning_ = false;
    std::shared_ptr<KLTimer> apacheT_;
    std::vector<std::shared_ptr<KLTimer>> rechecks_; // the status checks after a command
    bool isGraceful_ = true;
    bool lastRepairChanged_ = false;
    bool ignoresAccessFiles_ = false; // needsRepair(), as of enabling or the last repair
    KLServerNotice serverNotice_;
    bool fixOnAuthorization_ = false; // the notice's button waits for the lock to open
    bool errorPanelIsVisible_ = false;
    std::vector<std::string> validCommands_;
    std::map<std::string, std::string> colors_;

    std::string confFileDir_;
    std::string confFileName_;
    std::vector<std::string> logs_;
    std::shared_ptr<KLConfParser> findLogFiles_;
    // Every tokenizer of the log search, with the files that included it
    // (canonical paths, outermost first), so that a cycle is not followed.
    std::map<const KLConfParser*, std::pair<std::shared_ptr<KLConfParser>, std::vector<std::string>>> logFinders_;
    bool includeLimitLogged_ = false;

    std::string controlProgram_;
    std::string processName_;
    std::function<std::vector<std::string>()> processLister_;
    // The tokenizers hold this weakly; it goes away with the controller, so
    // hits still queued for a destroyed controller are dropped.
    std::shared_ptr<KLConfParserDelegate> delegateHandle_;
};
