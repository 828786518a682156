#include "KLAccessVerifier.h"

#include "FakePaneContext.h"
#include "KLFSItem.h"
#include "KLPlainRunLoop.h"
#include "KLUserDefaults.h"
#include "LoopbackHTTPServer.h"
#include "TempDir.h"

#include <gtest/gtest.h>

#include <cstdlib>
#include <pwd.h>
#include <unistd.h>

namespace {

using Verdict = KLAccessCheck::Verdict;

KLPlist::Array array(const std::vector<std::string>& names) { return KLPlist::Array(names.begin(), names.end()); }

class AccessVerifierTest : public ::testing::Test {
protected:
    AccessVerifierTest()
    {
        KLRunLoop::setMain(loop);
        pane.root = dir.path();
        pane.addressList = array({"10.0.0.1", "127.0.0.0/8", "127.0.0", "env=trusted", "127.0.0.1/32"});
        root = KLFSItem::create(dir.path());
    }
    ~AccessVerifierTest() override { KLRunLoop::setMain(nullptr); }

    TempDir dir;
    FakePaneContext pane;
    std::shared_ptr<KLPlainRunLoop> loop = std::make_shared<KLPlainRunLoop>();
    std::shared_ptr<KLFSItem> root;
};

TEST_F(AccessVerifierTest, VerdictOfEachModeAndAnswer)
{
    // One protected folder (its protection bits), what the server answers for it, and the verdict.
    const struct {
        std::int32_t status;
        bool allowMode;
        std::vector<std::string> allowFrom, denyFrom;
        int answered, expected;
        Verdict verdict;
        std::string reasonPart;
    } rows[] = {
        {1, true, {}, {}, 404, 401, Verdict::NotEnforced, "does not serve this folder at /f0/"},
        {1, true, {}, {}, 500, 401, Verdict::NotEnforced, "The error log says: [core:alert] "},
        {1, true, {}, {}, 403, 401, Verdict::NotEnforced, "answers 403 where the access file promises 401"},
        {2, true, {"10.0.0.1"}, {}, 403, 403, Verdict::Enforced, "keeps this machine's address out"},
        {2, true, {"10.0.0.1"}, {}, 200, 403, Verdict::NotEnforced, "ignores the access file"},
        {2, true, {"127.0.0.0/8"}, {}, 200, 0, Verdict::CannotJudge, "cannot be judged from this machine"},
        {2, false, {}, {"10.0.0.1"}, 200, 0, Verdict::CannotJudge, "lets this machine in"},
        {2, false, {}, {"127.0.0"}, 403, 403, Verdict::Enforced, "keeps this machine's address out"},
        {2, false, {}, {"127.0.0.1/32"}, 403, 403, Verdict::Enforced, "keeps this machine's address out"},
        {2, true, {"env=trusted"}, {}, 403, 0, Verdict::CannotJudge, "names addresses that cannot be judged"},
        {2, true, {"127.0.0.0/8"}, {}, 500, 0, Verdict::NotEnforced, "No line of the error log names the file."},
        {3, true, {"10.0.0.1"}, {}, 401, 401, Verdict::Enforced, "asks for a password"},
        {3, true, {"127.0.0"}, {}, 200, 0, Verdict::CannotJudge, "lets this machine in"},
        {7, true, {"127.0.0.0/8"}, {}, 401, 401, Verdict::Enforced, "asks for a password"},
        {7, true, {"10.0.0.1"}, {}, 403, 403, Verdict::Enforced, "keeps this machine's address out"},
    };
    std::map<std::string, int> answers;
    std::vector<std::shared_ptr<KLFSItem>> kept;
    std::vector<KLFSItem*> items;
    for (std::size_t i = 0; i < std::size(rows); ++i) {
        const auto& row = rows[i];
        auto item = KLFSItem::create(dir.mkdir("f" + std::to_string(i)), root);
        item->authDict()[KLFSItem::kAllowFrom] = array(row.allowFrom);
        item->authDict()[KLFSItem::kDenyFrom] = array(row.denyFrom);
        item->authDict()[KLFSItem::kAllowOrDeny] = row.allowMode;
        item->setAuthStatus(row.status, false);
        answers["/f" + std::to_string(i) + "/"] = row.answered;
        kept.push_back(item);
        items.push_back(item.get());
    }
    std::string log = dir.write("error.log", "[core:alert] " + items[1]->accessPath() +
                                                 ": Invalid command 'Frobnicate'\n[core:error] another line\n");
    LoopbackHTTPServer server([&](Socket& connection, const std::string& request) {
        connection.writeString("HTTP/1.1 " + std::to_string(answers.at(LoopbackHTTPServer::requestPath(request))) +
                               " X\r\n\r\n");
    });
    KLAccessVerifier verifier;
    std::optional<KLAccessVerifier::Result> result;
    verifier.verify(items, *root, KLAccessVerifier::Site{server.port(), "127.0.0.1", "/"}, {dir.file("missing.log"), log},
                    [&](const KLAccessVerifier::Result& r) { result = r; });
    ASSERT_TRUE(loop->runUntil([&] { return result.has_value(); }, 30));
    EXPECT_FALSE(verifier.isVerifying());

    EXPECT_TRUE(result->serverAnswered);
    ASSERT_EQ(result->checks.size(), std::size(rows));
    for (std::size_t i = 0; i < std::size(rows); ++i) {
        const KLAccessCheck& check = result->checks[i];
        EXPECT_EQ(std::tuple(check.expected, check.status, check.verdict),
                  std::tuple(rows[i].expected, rows[i].answered, rows[i].verdict)) << i;
        EXPECT_NE(check.reason.find(rows[i].reasonPart), std::string::npos) << i << ": " << check.reason;
    }
    // Never with credentials.
    EXPECT_EQ(server.requests().size(), std::size(rows));
    for (const std::string& request : server.requests())
        EXPECT_EQ(request.find("Authorization"), std::string::npos) << request;
}

TEST_F(AccessVerifierTest, ProtectedFoldersAndTheirAddresses)
{
    const passwd* entry = ::getpwuid(::getuid());
    const std::string login = entry ? entry->pw_name : "";
    auto inner = KLFSItem::create(dir.mkdir("a b/in"), KLFSItem::create(dir.path() + "/a b", root));
    inner->setAuthStatus(1, false);
    root->setAuthStatus(2, false);
    root->loadChildren();
    // Loaded folders only: "a b" as the tree listed it has no protection, its
    // listed children are not loaded yet.
    EXPECT_EQ(KLAccessVerifier::protectedItems(*root), std::vector<KLFSItem*>{root.get()});

    KLUserDefaults& defaults = KLUserDefaults::standardUserDefaults();
    ::setenv("FENDREL_LAYOUT", "debian", 1);
    const std::string home = std::getenv("HOME");
    struct Site {
        std::string address, port, root;
        std::uint16_t expectedPort;
        std::string prefix;
    };
    for (const Site& site : std::initializer_list<Site>{
             {"127.0.0.1", "80", dir.path(), 80, "/"},
             {"localhost:8080", "80", home + "/public_html", 8080, "/~" + login + "/"},
             {"127.0.0.1", "8081", home + "/public_html/x/", 8081, "/~" + login + "/x/"},
             {"[::1]", "bad", "/var/www/html/team", 80, "/team/"},
         }) {
        defaults.setObject(KLPlist(site.address), "Apache Site Address");
        defaults.setObject(KLPlist(site.port), "Apache Site Port");
        KLAccessVerifier::Site found = KLAccessVerifier::siteForRoot(site.root);
        EXPECT_EQ(std::tuple(found.port, found.host, found.urlPrefix), std::tuple(site.expectedPort, site.address, site.prefix))
            << site.root;
    }
    ::unsetenv("FENDREL_LAYOUT");
    defaults.removeDefaultForKey("Apache Site Address");
    defaults.removeDefaultForKey("Apache Site Port");
    // The folder's real place, each name once and encoded.
    EXPECT_EQ(KLAccessVerifier::expectationFor(*inner, *root, {80, "h", "/~u/"}).urlPath, "/~u/a%20b/in/");
}

} // namespace
