#include "KLApacheController.h"

#include "KLBundle.h"
#include "KLButton.h"
#include "KLLayout.h"
#include "KLPopUpButton.h"
#include "KLTextView.h"
#include "KLProcessList.h"
#include "KLUserDefaults.h"
#include "KLWebCheckClient.h"

namespace {
constexpr const char* kOverrideConfDirectoryKey = "Override Conf Directory Location";
constexpr const char* kConfDirectoryKey = "Apache Conf Directory";
constexpr const char* kConfFileKey = "Apache Conf File";
constexpr const char* kGracefulRestartKey = "Graceful Restart";
std::shared_ptr<KLHelperTool> installedHelper()
{
    auto path = KLBundle::main().pathForAuxiliaryExecutable("WebCheck");
    return path ? std::make_shared<KLWebCheckClient>(*path) : nullptr;
}
} // namespace

KLApacheController::KLApacheController() : KLApacheController(installedHelper()) {}

KLApacheController::KLApacheController(std::shared_ptr<KLHelperTool> helper)
    : helper_(std::move(helper)),
      helperPath_(KLBundle::main().pathForAuxiliaryExecutable("WebCheck")),
      validCommands_{"start", "stop", "restart", "graceful", "configtest"},
      // Colour names the toolkit maps to its palette; "#rrggbb" where no
      // common name has the exact colour.
      colors_{{kStatusFine, "black"},       {kStatusBoth, "red"},        {kApacheNotConfigured, "red"},
              {kApacheNotRunning, "red"},   {kConfigSuccess, "#009900"}, {kConfigError, "#f59900"}},
      controlProgram_(KLLayout::active().controlProgram),
      processName_(KLLayout::active().processName),
      processLister_([] { return KLProcessList::allProcessNames(); }),
      delegateHandle_(static_cast<KLConfParserDelegate*>(this), [](KLConfParserDelegate*) {})
{
    KLUserDefaults& defaults = KLUserDefaults::standardUserDefaults();
    if (defaults.boolForKey(kOverrideConfDirectoryKey)) {
        confFileDir_ = defaults.stringForKey(kConfDirectoryKey).value_or(std::string());
        confFileName_ = defaults.stringForKey(kConfFileKey).value_or(std::string());
    } else {
        getApacheConfFile();
    }
}

KLApacheController::~KLApacheController()
{
    if (apacheT_)
        apacheT_->cancel();
    for (const auto& timer : rechecks_)
        timer->cancel();
    if (outlets_.authView)
        outlets_.authView->setDelegate(nullptr);
}

void KLApacheController::awakeFromNib(const KLApacheControllerOutlets& outlets)
{
    outlets_ = outlets;
    if (outlets_.authView) {
        outlets_.authView->setRights(authorizationRights());
        outlets_.authView->setDelegate(this);
        outlets_.authView->updateStatus();
    }
    if (outlets_.logPicker) {
        while (outlets_.logPicker->numberOfItems() > 0)
            outlets_.logPicker->removeItemAtIndex(0);
        outlets_.logPicker->setEnabled(false);
    }
    if (outlets_.logDisplayButton)
        outlets_.logDisplayButton->setEnabled(false);
    if (outlets_.configErrorView)
        outlets_.configErrorView->setHidden(!errorPanelIsVisible_);
    findLogs();
    showModuleProblems();
    isGraceful_ = KLUserDefaults::standardUserDefaults().boolForKey(kGracefulRestartKey);
    if (outlets_.gracefulSwitch)
        outlets_.gracefulSwitch->setState(isGraceful_ ? 1 : 0);
}

std::vector<KLAuthorizationRight> KLApacheController::authorizationRights() const
{
    const std::string identifier = KLBundle::main().identifier();
    std::vector<KLAuthorizationRight> rights{{identifier + ".webcheck", ""}, {identifier + ".apachectl", ""}};
    if (!isHelperSetUID())
        rights.push_back({"system.privilege.admin", helperPath_.value_or(std::string())});
    return rights;
}
