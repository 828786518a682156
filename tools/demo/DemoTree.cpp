#include "DemoTree.h"

#include "FendrelPref.h"
#include "KLAtomicFile.h"
#include "KLFSDataSource.h"
#include "KLFSItem.h"
#include "KLUserDefaults.h"
#include "KLUsersDataSource.h"

#include <filesystem>
#include <optional>

namespace {
constexpr const char* kIndexFormat = "<html><body><h1>%s</h1><p>A folder of the Fendrel demo.</p></body></html>\n";
constexpr const char* kGroups = "staff: alice bob\nguests: carol\n";
constexpr const char* kRootIndex =
    "<html><body><h1>Fendrel demo</h1><ul>"
    "<li><a href=\"private/\">private</a>: password</li>"
    "<li><a href=\"intranet/\">intranet</a>: address</li>"
    "<li><a href=\"shared/\">shared</a>: password and address</li>"
    "<li><a href=\"public/\">public</a>: open</li>"
    "</ul></body></html>\n";

bool write(const std::filesystem::path& path, const std::string& text, std::string& error)
{
    if (KLAtomicFile::write(path.string(), text))
        return true;
    error = "cannot write " + path.string();
    return false;
}

KLFSItem* child(KLFSItem& parent, const std::string& name)
{
    for (KLFSItem* item : parent.children())
        if (item->relativePath() == name)
            return item;
    return nullptr;
}

KLPlist names(std::initializer_list<const char*> list)
{
    KLPlist::Array array;
    for (const char* name : list)
        array.emplace_back(name);
    return array;
}
} // namespace

const std::vector<DemoTree::User>& DemoTree::users()
{
    static const std::vector<User> list = {{"alice", "alice-demo"}, {"bob", "bob-demo"}, {"carol", "carol-demo"}};
    return list;
}

bool DemoTree::create(const std::string& root, std::string& error)
{
    namespace fs = std::filesystem;
    std::error_code ec;
    for (const char* folder : {kPrivate, kIntranet, kShared, kPublic, "private/reports", "public/downloads"}) {
        fs::create_directories(fs::path(root) / folder, ec);
        if (ec) {
            error = "cannot make " + (fs::path(root) / folder).string() + ": " + ec.message();
            return false;
        }
        char index[256];
        std::snprintf(index, sizeof index, kIndexFormat, folder);
        if (!write(fs::path(root) / folder / "index.html", index, error))
            return false;
    }
    if (!write(fs::path(root) / "index.html", kRootIndex, error))
        return false;
    std::string usersFile;
    for (const User& user : users()) {
        std::optional<std::string> hash = KLPasswordHash().make(user.password, KLPasswordHash::Kind::DES);
        if (!hash) {
            error = "libcrypt made no password hash";
            return false;
        }
        usersFile += user.name + ":" + *hash + "\n";
    }
    return write(fs::path(root) / ".htusers", usersFile, error) && write(fs::path(root) / ".htgroups", kGroups, error);
}

void DemoTree::useAsRoot(const std::string& root)
{
    KLUserDefaults& defaults = KLUserDefaults::standardUserDefaults();
    defaults.setBool(true, "Allow Custom Web Dir");
    defaults.setObject(KLPlist(root), "Web Dir");
    defaults.setInteger(2, "Fendrel Protected Folder");
}

void DemoTree::protect(FendrelPref& pref)
{
    KLFSItem* root = pref.files() ? pref.files()->rootItem() : nullptr;
    if (!root)
        return;
    if (KLFSItem* item = child(*root, kPrivate)) {
        item->authDict()[KLFSItem::kRequireUser] = names({"alice"});
        item->authDict()[KLFSItem::kRequireGroup] = names({"staff"});
        item->setAuthStatus(KLFSItem::kPasswordBit, false);
    }
    if (KLFSItem* item = child(*root, kIntranet)) {
        item->authDict()[KLFSItem::kAllowOrDeny] = true;
        item->authDict()[KLFSItem::kAllowFrom] = names({"127.0.0.1"});
        item->setAuthStatus(KLFSItem::kAddressBit, false);
    }
    if (KLFSItem* item = child(*root, kShared)) {
        item->authDict()[KLFSItem::kRequireUser] = names({"bob", "carol"});
        item->authDict()[KLFSItem::kAllowOrDeny] = true;
        item->authDict()[KLFSItem::kAllowFrom] = names({"127.0.0.1"});
        item->setAuthStatus(KLFSItem::kPasswordBit | KLFSItem::kAddressBit | KLFSItem::kRequireAllBit, false);
    }
}
