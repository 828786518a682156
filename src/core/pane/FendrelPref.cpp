#include "FendrelPref.h"

#include "KLApacheController.h"
#include "KLBundle.h"
#include "KLFileWatcher.h"
#include "KLFSItem.h"
#include "KLGroupsDataSource.h"
#include "KLLayout.h"
#include "KLLog.h"
#include "KLRunLoop.h"
#include "KLUpdateServer.h"
#include "KLUserDefaults.h"
#include "KLUsersDataSource.h"

#include <cstdlib>
#include <fstream>
#include <mutex>
#include <sstream>

namespace {
FendrelPref* g_sharedInstance = nullptr;

constexpr const char* kErrorsResource = "errors";

#ifdef FENDREL_PACKAGED
constexpr bool kChecksForUpdatesByDefault = false; // updates come through the package manager
#else
constexpr bool kChecksForUpdatesByDefault = true;
#endif

// The error table: an array of message strings. Anything else leaves it empty.
std::vector<std::string> loadErrorTable(const KLBundle& bundle)
{
    std::vector<std::string> table;
    std::optional<std::string> path = bundle.pathForResource(kErrorsResource, "plist");
    if (!path)
        return table;
    std::ifstream in(*path, std::ios::binary);
    std::stringstream bytes;
    bytes << in.rdbuf();
    std::optional<KLPlist> plist = KLPlist::fromBytes(bytes.str());
    if (!plist || !plist->array())
        return table;
    for (const KLPlist& entry : *plist->array())
        table.push_back(entry.description());
    return table;
}
} // namespace

FendrelPref::FendrelPref() : addresses_(std::make_shared<KLPlist::Array>())
{
    initialize();
}

FendrelPref::~FendrelPref()
{
    // A pending re-edit must not reach a controller that is gone.
    if (reeditTimer_)
        reeditTimer_->cancel();
    if (accessCheckTimer_)
        accessCheckTimer_->cancel();
    stopWatchingFiles();
    if (g_sharedInstance == this)
        setSharedInstance(nullptr);
}

const std::vector<std::string>& FendrelPref::badAddresses()
{
    static const std::vector<std::string> bad = {"fendreled", "all", "host.domain.tld", "(null)"};
    return bad;
}

KLPlist::Dictionary FendrelPref::registeredDefaults()
{
    const KLLayout& layout = KLLayout::active();
    const char* home = std::getenv("HOME");
    std::string desktop = std::string(home ? home : "") + "/Desktop";
    return {
        {"Address Array", KLPlist::stringArray({"127.0.0.1"})},
        {"Check for Updates", kChecksForUpdatesByDefault},
        {"Should Discover Addresses", true},
        {"Show Delete Dialog", true},
        {"User Delete Dialog", true},
        {"Group Delete Dialog", true},
        {"Graceful Restart", true},
        {"Sort Users", false},
        {"Sort Groups", false},
        {"Show Manual Editor", false},
        {"Uses Remote Apache", false},
        {"Allow Custom Web Dir", false},
        {"Fendrel Protected Folder", 0},
        {"Web Dir", ""},
        {"SU Default Folder", desktop},
        {KLUpdateServer::kSettingKey, KLUpdateServer::kDefaultServer},
        {"ApacheBinaryLocation", layout.apacheBinary},
        {"ApacheCheckInterval", 2.0},
        {"Override Conf Directory Location", layout.overrideConfDirectory},
        {"Apache Conf File", layout.confFile},
        {"Apache Conf Directory", layout.confDirectory},
        {"Apache User Conf Directory", "users"},
        {"stripVolumesFromFendrelFolder", 0},
        {"fendrelFolderPrefix", ""},
        {"Override Log Directory", false},
        {"Apache Log Directory", layout.logDirectory},
        {"Apache Site Protocol", "http"},
        {"Apache Site Address", "127.0.0.1"},
        {"Apache Site Port", "80"},
        {"New File Extension", ".new"},
        {KLPasswordHash::kSettingKey, KLPasswordHash::nameOf(KLPasswordHash::Kind::DES)},
    };
}

void FendrelPref::initWithBundle(const KLBundle& bundle)
{
    setSharedInstance(this);
    fsItem_ = nullptr;
    errors_ = loadErrorTable(bundle);
    // Only the selected folder's file is the editor's: items read while
    // folders are opened announce their files too, and refilling the editor
    // for them would forget an unsaved edit without asking.
    accessFileObservation_ = KLObservation(KLFSItem::kAccessFileDidChange, nullptr, [this](const KLNotification& n) {
        if (n.object == fsItem_)
            showCustomEditor(nullptr);
        scheduleAccessCheck();
    });
    for (const char* change : {KLUsersDataSource::kUsersFileDidChange, KLGroupsDataSource::kGroupsFileDidChange,
                               KLApacheController::kServerDidChange})
        accessCheckObservations_.emplace_back(change, nullptr, [this](const KLNotification&) { scheduleAccessCheck(); });
}

void FendrelPref::initialize()
{
    static std::once_flag once;
    std::call_once(once, [] {
        badAddresses();
        KLUserDefaults& defaults = KLUserDefaults::standardUserDefaults();
        defaults.setApplicationIdentifier(KLBundle::main().identifier());
        defaults.registerDefaults(registeredDefaults());
    });
}

FendrelPref* FendrelPref::sharedInstance()
{
    return g_sharedInstance;
}

void FendrelPref::setSharedInstance(FendrelPref* instance)
{
    g_sharedInstance = instance;
    KLPaneContext::setShared(instance);
}
