#include "CliFixture.h"
#include "FileSizeLimit.h"

#include <algorithm>
#include <filesystem>

namespace {

using FolderCommandTest = CliFixture;

// A folder's state as show and every change print it.
std::string shown(const std::string& path, const std::string& mode, int status, const std::string& lists = "",
                  bool hasFile = true, const std::string& addressMode = "allow")
{
    return "path: " + path + "\nmode: " + mode + "\ndisabled: " + (status && mode != "none" ? "false" : "true") +
           "\nstatus: " + std::to_string(status) + "\naddressMode: " + addressMode + "\n" +
           (lists.empty() ? "users: \ngroups: \naddresses: \n" : lists) + "hasAccessFile: " +
           (hasFile ? "true" : "false") + "\n";
}

} // namespace

TEST_F(FolderCommandTest, EveryModeAndListIsWrittenAndReadBack)
{
    auto row = [](const char* path, bool hasFile) {
        return nlohmann::json{{"path", path}, {"mode", "none"}, {"hasAccessFile", hasFile}};
    };
    // The root comes first; the folders below it in the order the file system lists them.
    auto sortedTree = [this] {
        nlohmann::json rows = json({"tree"});
        EXPECT_EQ(rows[0]["path"], ".");
        std::sort(rows.begin(), rows.end(), [](const auto& a, const auto& b) { return a["path"] < b["path"]; });
        return rows;
    };
    EXPECT_EQ(sortedTree(), nlohmann::json::array({row(".", false), row("private", false), row("private/sub", false),
                                                   row("public", false)}));
    EXPECT_EQ(json({"show"}), nlohmann::json::parse(R"({"path":".","mode":"none","disabled":true,"status":0,
        "addressMode":"allow","users":[],"groups":[],"addresses":[],"hasAccessFile":false})"));
    run({{{"show"}, 0, "", shown(".", "none", 0, "", false)},
         {{"protect", "private", "password"}, 0, "", shown("private", "password", 1)},
         {{"protect", "private", "address"}, 0, "", shown("private", "address", 2)},
         {{"protect", "private", "any"}, 0, "", shown("private", "any", 3)},
         {{"protect", "private", "all"}, 0, "", shown("private", "all", 7)},
         {{"protect", "private", "password"}, 0, "", shown("private", "password", 1)},
         // An absolute path inside the root names the same folder.
         {{"show", tree.file("private")}, 0, "", shown("private", "password", 1)}});
    std::string access = text("private/.htaccess");
    EXPECT_NE(access.find("\nRequire user fendreled\n"), std::string::npos) << access;
    EXPECT_NE(access.find("AuthUserFile \"" + file(".htusers") + "\""), std::string::npos) << access;
    // Switched off, the lists stay in the file as comments.
    run({{{"protect", "private", "none"}, 0, "", shown("private", "none", 0)}});
    EXPECT_EQ(sortedTree()[1], row("private", true));

    addUser("alice");
    addUser("bob");
    const std::string lists = "groups: staff\naddresses: 10.0.0.7\n";
    run({{{"group", "add", "staff"}},
         {{"group", "add-member", "staff", "bob"}},
         {{"protect", "private", "any"}},
         {{"allow", "private", "--user", "alice", "--group", "staff", "--address", "10.0.0.7"}, 0, "",
          shown("private", "any", 3, "users: alice\n" + lists)},
         // The new address joined the known addresses.
         {{"address", "list"}, 0, "", "127.0.0.1\n10.0.0.7\n"},
         // Any user replaces the named users, as the pane's first row does.
         {{"allow", "private", "--any-user"}, 0, "", shown("private", "any", 3, "users: valid-user\n" + lists)},
         {{"allow", "private", "--user", "bob"}, 0, "", shown("private", "any", 3, "users: bob\n" + lists)},
         {{"revoke", "private", "--user", "bob", "--group", "staff", "--address", "10.0.0.7"}, 0, "",
          shown("private", "any", 3)},
         {{"address-mode", "private", "deny"}, 0, "", shown("private", "any", 3, "", true, "deny")},
         {{"address-mode", "private", "allow"}, 0, "", shown("private", "any", 3)},
         {{"protect", "public", "password"}},
         {{"clear", "public"}, 3, "Deleting the access file of \"public\" needs a confirmation: answer on a terminal "
                                  "or use --yes"}});
    EXPECT_TRUE(std::filesystem::exists(file("public/.htaccess")));
    run({{{"--yes", "clear", "public"}}});
    EXPECT_FALSE(std::filesystem::exists(file("public/.htaccess")));
    // With the confirmation turned off in the options, it goes at once.
    run({{{"protect", "public", "address"}}, {{"settings", "set", "Show Delete Dialog", "false"}}, {{"clear", "public"}}});
    EXPECT_FALSE(std::filesystem::exists(file("public/.htaccess")));
}

TEST_F(FolderCommandTest, RefusalsChangeNothing)
{
    addUser("alice");
    ASSERT_EQ(ctl({"protect", "private", "address"}).status, 0);
    const std::string before = text("private/.htaccess");
    const std::string usage = "\nRun 'fendrelctl --help' for usage.";
    run({{{"show", "nowhere"}, 4, "No such folder: nowhere", ""},
         {{"protect", "private/nowhere", "password"}, 4, "No such folder: private/nowhere"},
         {{"show", "../"}, 4, "No such folder: ../"},
         {{"show", "/etc"}, 4, "No such folder: /etc"},
         {{"allow", "private", "--user", "nobody"}, 4, "No such user: nobody"},
         {{"allow", "private", "--group", "nogroup"}, 4, "No such group: nogroup"},
         // Users may be ticked only while the folder asks for a password.
         {{"allow", "private", "--user", "alice"}, 3, "Folder \"private\" is not password protected"},
         {{"allow", "private", "--address", "all"}, 3, "Address \"all\" cannot be used"},
         // An address cannot bring lines of its own into the file, nor split into two.
         {{"allow", "private", "--address", "10.9.9.9\nallow from all\nsatisfy any\n#"}, 3,
          "Address \"10.9.9.9?allow from all?satisfy any?#\" cannot be used"},
         // A refused option refuses the whole command: the good address is not added either.
         {{"allow", "private", "--address", "10.1.1.1", "--user", "alice"}, 3,
          "Folder \"private\" is not password protected"},
         {{"protect", "private", "sideways"}, 2, "MODE: sideways not in {none,password,address,any,all}" + usage},
         {{"address-mode", "private", "maybe"}, 2},
         {{"allow"}, 2, "FOLDER is required" + usage},
         {{"address-mode", "public", "deny"}, 3, "Folder \"public\" is not address protected"},
         {{"address", "list"}, 0, "", "127.0.0.1\n"}});
    EXPECT_EQ(text("private/.htaccess"), before);
    CliResult missing = runCli({"--root", tree.file("absent"), "show"});
    EXPECT_EQ(missing.status, 4);
    EXPECT_EQ(missing.err, "fendrelctl: No such folder: " + tree.file("absent") + "\n");
}

// The pane abandons a failed access-file write silently and keeps the new state in memory; the command must not
// print that state as done.
TEST_F(FolderCommandTest, AccessFileThatCannotBeWrittenFailsTheCommand)
{
    tree.mkdir("private/.htaccess");
    run({{{"protect", "private", "password"}, 1, file("private/.htaccess") + " was not changed: it is a folder.", ""},
         {{"protect", "public", "password"}},
         {{"allow", "public", "--any-user"}}});
    EXPECT_EQ(json({"show", "private"})["mode"], "none");
    const std::string before = text("public/.htaccess"), tooLarge = file("public/.htaccess") + " was not changed: File too large.";
    {
        FileSizeLimit limit(16); // any replacement of the file is larger
        run({{{"revoke", "public", "--any-user"}, 1, tooLarge, ""},
             {{"protect", "public", "all"}, 1, tooLarge, ""},
             {{"protect", "public", "none"}, 1, tooLarge, ""}});
    }
    EXPECT_EQ(text("public/.htaccess"), before);
}

// Links to folders are folders: links back up must neither hang the walk nor repeat the tree below themselves.
TEST_F(FolderCommandTest, TreeEntersNoFolderTwiceThroughLinks)
{
    for (auto [link, target] : {std::pair{"private/sub/parent", ".."}, {"private/sub/top", "../.."},
                                {"public/root", tree.path().c_str()}, {"public/elsewhere", "../private"}})
        std::filesystem::create_directory_symlink(target, file(link));
    std::multiset<std::string> paths;
    for (const nlohmann::json& row : json({"tree"}))
        paths.insert(row["path"].get<std::string>());
    for (const char* loop : {"private/sub/parent", "private/sub/top", "public/root"}) {
        EXPECT_EQ(paths.count(loop), 1u) << loop;
        EXPECT_EQ(paths.lower_bound(loop + std::string("/")), paths.lower_bound(loop + std::string("0"))) << loop;
    }
    // A link to a folder that is not its ancestor is walked like the folder.
    EXPECT_EQ(paths.count("public/elsewhere/sub"), 1u);
    EXPECT_EQ(paths.count("public/elsewhere/sub/parent"), 1u);
}
