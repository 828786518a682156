#include "CliFixture.h"
#include "FileSizeLimit.h"

#include <filesystem>
#include <set>

namespace {
bool exists(const std::string& path)
{
    return std::filesystem::exists(path);
}
} // namespace

using FolderCommandTest = CliFixture;

TEST_F(FolderCommandTest, FreshRootShowsNoProtection)
{
    nlohmann::json root = json({"show"});
    EXPECT_EQ(root["path"], ".");
    EXPECT_EQ(root["mode"], "none");
    EXPECT_EQ(root["disabled"], true);
    EXPECT_EQ(root["status"], 0);
    EXPECT_EQ(root["addressMode"], "allow");
    EXPECT_EQ(root["users"], nlohmann::json::array());
    EXPECT_EQ(root["groups"], nlohmann::json::array());
    EXPECT_EQ(root["addresses"], nlohmann::json::array());
    EXPECT_EQ(root["hasAccessFile"], false);

    nlohmann::json tree = json({"tree"});
    ASSERT_TRUE(tree.is_array());
    std::vector<std::string> paths;
    for (const nlohmann::json& row : tree) {
        paths.push_back(row["path"]);
        EXPECT_EQ(row["mode"], "none");
    }
    std::sort(paths.begin() + 1, paths.end());
    EXPECT_EQ(paths, (std::vector<std::string>{".", "private", "private/sub", "public"}));
}

TEST_F(FolderCommandTest, ProtectWritesTheAccessFileAndEveryModeReadsBack)
{
    nlohmann::json state = json({"protect", "private", "password"});
    EXPECT_EQ(state["mode"], "password");
    EXPECT_EQ(state["status"], 1);
    EXPECT_EQ(state["hasAccessFile"], true);
    std::string text = readFile(tree.file("private/.htaccess"));
    EXPECT_NE(text.find("\nRequire user fendreled\n"), std::string::npos) << text;
    EXPECT_NE(text.find("AuthUserFile \"" + tree.file(".htusers") + "\""), std::string::npos) << text;

    struct Case
    {
        const char* mode;
        int status;
    };
    for (Case c : {Case{"address", 2}, Case{"any", 3}, Case{"all", 7}, Case{"password", 1}}) {
        nlohmann::json shown = json({"protect", "private", c.mode});
        EXPECT_EQ(shown["mode"], c.mode);
        EXPECT_EQ(shown["status"], c.status) << c.mode;
        EXPECT_EQ(json({"show", "private"})["mode"], c.mode);
    }
    // An absolute path inside the root names the same folder.
    EXPECT_EQ(json({"show", tree.file("private")})["mode"], "password");

    nlohmann::json off = json({"protect", "private", "none"});
    EXPECT_EQ(off["mode"], "none");
    EXPECT_EQ(off["disabled"], true);
    EXPECT_EQ(off["hasAccessFile"], true); // switched off, lists kept as comments

    nlohmann::json rows = json({"tree"});
    auto row = std::find_if(rows.begin(), rows.end(), [](const nlohmann::json& r) { return r["path"] == "private"; });
    ASSERT_NE(row, rows.end());
    EXPECT_EQ((*row)["mode"], "none");
    EXPECT_EQ((*row)["hasAccessFile"], true);
}

TEST_F(FolderCommandTest, GrantAndRevokeUsersGroupsAndAddresses)
{
    addUser("alice");
    addUser("bob");
    ASSERT_EQ(ctl({"group", "add", "staff"}).status, 0);
    ASSERT_EQ(ctl({"group", "add-member", "staff", "bob"}).status, 0);
    ASSERT_EQ(ctl({"protect", "private", "any"}).status, 0);

    nlohmann::json state = json({"allow", "private", "--user", "alice", "--group", "staff", "--address", "10.0.0.7"});
    EXPECT_EQ(state["users"], nlohmann::json::array({"alice"}));
    EXPECT_EQ(state["groups"], nlohmann::json::array({"staff"}));
    EXPECT_EQ(state["addresses"], nlohmann::json::array({"10.0.0.7"}));
    // The new address joined the known addresses.
    nlohmann::json known = json({"address", "list"});
    EXPECT_NE(std::find(known.begin(), known.end(), "10.0.0.7"), known.end());

    // Any user replaces the named users, as the pane's first row does.
    state = json({"allow", "private", "--any-user"});
    EXPECT_EQ(state["users"], nlohmann::json::array({"valid-user"}));
    state = json({"allow", "private", "--user", "bob"});
    EXPECT_EQ(state["users"], nlohmann::json::array({"bob"}));

    state = json({"revoke", "private", "--user", "bob", "--group", "staff", "--address", "10.0.0.7"});
    EXPECT_EQ(state["users"], nlohmann::json::array());
    EXPECT_EQ(state["groups"], nlohmann::json::array());
    EXPECT_EQ(state["addresses"], nlohmann::json::array());

    state = json({"address-mode", "private", "deny"});
    EXPECT_EQ(state["addressMode"], "deny");
    state = json({"address-mode", "private", "allow"});
    EXPECT_EQ(state["addressMode"], "allow");
}

TEST_F(FolderCommandTest, ClearAsksUnlessToldYes)
{
    ASSERT_EQ(ctl({"protect", "public", "password"}).status, 0);
    std::string file = tree.file("public/.htaccess");
    ASSERT_TRUE(exists(file));

    // No terminal to ask and no --yes: refused, nothing removed.
    CliResult asked = ctl({"clear", "public"});
    EXPECT_EQ(asked.status, 3);
    EXPECT_NE(asked.err.find("--yes"), std::string::npos) << asked.err;
    EXPECT_TRUE(exists(file));

    EXPECT_EQ(ctl({"--yes", "clear", "public"}).status, 0);
    EXPECT_FALSE(exists(file));

    // With the confirmation turned off in the options, it goes at once.
    ASSERT_EQ(ctl({"protect", "public", "address"}).status, 0);
    ASSERT_EQ(runCli({"settings", "set", "Show Delete Dialog", "false"}).status, 0);
    EXPECT_EQ(ctl({"clear", "public"}).status, 0);
    EXPECT_FALSE(exists(file));
}

TEST_F(FolderCommandTest, RefusalsChangeNothing)
{
    addUser("alice");
    ASSERT_EQ(ctl({"protect", "private", "address"}).status, 0);
    std::string before = readFile(tree.file("private/.htaccess"));

    expectRefused(ctl({"show", "nowhere"}), 4, "No such folder: nowhere");
    expectRefused(ctl({"protect", "private/nowhere", "password"}), 4, "No such folder: private/nowhere");
    expectRefused(ctl({"show", "../"}), 4, "No such folder: ../");
    expectRefused(ctl({"show", "/etc"}), 4, "No such folder: /etc");
    expectRefused(ctl({"allow", "private", "--user", "nobody"}), 4, "No such user: nobody");
    expectRefused(ctl({"allow", "private", "--group", "nogroup"}), 4, "No such group: nogroup");
    // Users may be ticked only while the folder asks for a password.
    expectRefused(ctl({"allow", "private", "--user", "alice"}), 3,
                  "Folder \"private\" is not password protected");
    expectRefused(ctl({"allow", "private", "--address", "all"}), 3, "Address \"all\" cannot be used");
    // An address cannot bring lines of its own into the file, nor split into two.
    expectRefused(ctl({"allow", "private", "--address", "10.9.9.9\nallow from all\nsatisfy any\n#"}), 3,
                  "Address \"10.9.9.9?allow from all?satisfy any?#\" cannot be used");
    expectRefused(ctl({"allow", "private", "--address", "10.0.0.1 10.0.0.2"}), 3,
                  "Address \"10.0.0.1 10.0.0.2\" cannot be used");
    expectRefused(ctl({"allow", "private", "--address", "10.0.0.1#"}), 3, "Address \"10.0.0.1#\" cannot be used");
    // A refused option refuses the whole command: the good address is not added either.
    expectRefused(ctl({"allow", "private", "--address", "10.1.1.1", "--user", "alice"}), 3,
                  "Folder \"private\" is not password protected");
    EXPECT_EQ(readFile(tree.file("private/.htaccess")), before);
    nlohmann::json known = json({"address", "list"});
    EXPECT_EQ(std::find(known.begin(), known.end(), "10.1.1.1"), known.end());

    EXPECT_EQ(ctl({"protect", "private", "sideways"}).status, 2);
    EXPECT_EQ(ctl({"address-mode", "private", "maybe"}).status, 2);
    EXPECT_EQ(ctl({"allow"}).status, 2);
    expectRefused(ctl({"address-mode", "public", "deny"}), 3, "Folder \"public\" is not address protected");
    EXPECT_EQ(readFile(tree.file("private/.htaccess")), before);
}

TEST_F(FolderCommandTest, MissingRootIsNoSuchFolder)
{
    CliResult result = runCli({"--root", tree.file("absent"), "show"});
    EXPECT_EQ(result.status, 4);
    EXPECT_EQ(result.err, "fendrelctl: No such folder: " + tree.file("absent") + "\n");
}

// The pane abandons a failed access-file write silently and keeps the new
// state in memory; the command must not print that state as done.
TEST_F(FolderCommandTest, AccessFileThatCannotBeWrittenFailsTheCommand)
{
    tree.mkdir("private/.htaccess");
    CliResult blocked = ctl({"protect", "private", "password"});
    expectRefused(blocked, 1, tree.file("private/.htaccess") + " was not changed: it is a folder.");
    EXPECT_TRUE(blocked.out.empty());
    EXPECT_EQ(json({"show", "private"})["mode"], "none");

    ASSERT_EQ(ctl({"protect", "public", "password"}).status, 0);
    ASSERT_EQ(ctl({"allow", "public", "--any-user"}).status, 0);
    std::string before = readFile(tree.file("public/.htaccess"));
    {
        // Any replacement of the file is larger than this.
        FileSizeLimit limit(16);
        const std::string tooLarge = tree.file("public/.htaccess") + " was not changed: File too large.";
        expectRefused(ctl({"revoke", "public", "--any-user"}), 1, tooLarge);
        expectRefused(ctl({"protect", "public", "all"}), 1, tooLarge);
        expectRefused(ctl({"protect", "public", "none"}), 1, tooLarge);
    }
    EXPECT_EQ(readFile(tree.file("public/.htaccess")), before);
    nlohmann::json kept = json({"show", "public"});
    EXPECT_EQ(kept["mode"], "password");
    EXPECT_EQ(kept["users"], nlohmann::json::array({"valid-user"}));
}

// Links to folders are folders: links back up must neither hang the walk nor
// repeat the tree below themselves.
TEST_F(FolderCommandTest, TreeEntersNoFolderTwiceThroughLinks)
{
    std::filesystem::create_directory_symlink("..", tree.file("private/sub/parent"));
    std::filesystem::create_directory_symlink("../..", tree.file("private/sub/top"));
    std::filesystem::create_directory_symlink(tree.path(), tree.file("public/root"));
    std::filesystem::create_directory_symlink("../private", tree.file("public/elsewhere"));

    CliResult result = ctl({"--json", "tree"}, {}, 20);
    ASSERT_EQ(result.status, 0) << result.err;
    std::multiset<std::string> paths;
    for (const nlohmann::json& row : result.json())
        paths.insert(row["path"].get<std::string>());
    for (const char* loop : {"private/sub/parent", "private/sub/top", "public/root"}) {
        EXPECT_EQ(paths.count(loop), 1u) << loop;
        EXPECT_EQ(paths.lower_bound(loop + std::string("/")), paths.lower_bound(loop + std::string("0"))) << loop;
    }
    // A link to a folder that is not its ancestor is walked like the folder.
    EXPECT_EQ(paths.count("public/elsewhere/sub"), 1u);
    EXPECT_EQ(paths.count("public/elsewhere/sub/parent"), 1u);
}
