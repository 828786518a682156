#include "KLAssert.h"
#include "KLPlainRunLoop.h"
#include "PaneFixture.h"

#include <pwd.h>
#include <unistd.h>

namespace {

using FoldersTest = PaneTest;

TEST_F(FoldersTest, SelectingAFolderSetsTheAddressViews)
{
    root.write("open/.htaccess", "Allow from 127.0.0.1\nDeny from all\n");
    root.write("shut/.htaccess", "Deny from 127.0.0.1\n");
    root.mkdir("plain");
    wake();
    // The refilled editor has nothing to save.
    auto views = [&] {
        return std::tuple(addressMode.selectedRowValue, addressMode.enabled, customViewText.editable,
                          customSaveButton.enabled);
    };
    selectFolder("open");
    EXPECT_EQ(views(), std::tuple(0, true, true, false));
    selectFolder("shut");
    EXPECT_EQ(addressMode.selectedRowValue, 1);
    addressMode.selectedRowValue = 0;
    pref->changeAddressMode(&addressMode);
    EXPECT_TRUE(pref->selectedItem()->isAllowSet());
    EXPECT_NE(readFile(root.file("shut/.htaccess")).find("Deny from all"), std::string::npos);
    selectFolder("plain");
    EXPECT_EQ(views(), std::tuple(0, false, false, false));
    EXPECT_EQ(customViewText.text, "");
    pref->webRefresh(nullptr); // drops the old selection
    EXPECT_EQ(pref->selectedItem(), nullptr);
}

// One component per level, each the selected folder's name; no port; the personal root adds its prefix.
TEST_F(FoldersTest, WebAddressRepeatsTheNameOncePerLevelAndTheLoginForThePersonalRoot)
{
    const passwd* entry = getpwuid(getuid());
    const std::string sites = std::string(std::getenv("HOME")) + "/Sites";
    std::filesystem::create_directories(sites);
    root.mkdir("docs/x");
    defaults().setObject(KLPlist("https"), "Apache Site Protocol");
    defaults().setObject(KLPlist("example.test"), "Apache Site Address");
    defaults().setObject(KLPlist("8080"), "Apache Site Port");
    wake();
    selectFolder("docs/x");
    pref->viewSelectionOnWeb(nullptr);
    EXPECT_EQ(workspace.urls, std::vector<std::string>{"https://example.test/x/x"});
    pref->setWebDirRoot(KLState(0));
    showTree();
    webDirOutline.selectRow(0, false);
    pref->webOutlineClick(nullptr);
    EXPECT_EQ(pref->webAddressOfSelection(), "https://example.test/~" + std::string(entry ? entry->pw_name : "") + "/");
    std::filesystem::remove_all(sites);
}

TEST_F(FoldersTest, ClearingAsksFirstWhenTheDialogIsOnAndDropsEdits)
{
    root.write("private/.htaccess", "Require valid-user\n");
    root.write("other/.htaccess", "Require valid-user\n");
    wake();
    selectFolder("private");
    pref->clearAccessPrompt(nullptr);
    ASSERT_EQ(alerts.shown.size(), 1u);
    EXPECT_EQ(alerts.shown[0].message, "Are you sure you want to permanently delete all access restrictions for "
                                       "\"private\"?\n\nThis action cannot be undone.");
    alerts.answer(1);
    EXPECT_FALSE(fileExists(root.file("private/.htaccess")));
    EXPECT_TRUE(defaults().boolForKey("Show Delete Dialog"));

    // Without the dialog it happens at once, pending edits and all.
    selectFolder("other");
    customViewText.text = "edited";
    pref->textDidChange();
    accessFileDeleteCheck.stateValue = 0;
    pref->writeOption(&accessFileDeleteCheck);
    pref->clearAccessPrompt(nullptr);
    EXPECT_EQ(alerts.shown.size(), 1u);
    EXPECT_EQ(std::tuple(fileExists(root.file("other/.htaccess")), pref->hasBeenManuallyEdited(), customViewText.text),
              std::tuple(false, false, ""));
}

class AddressesTest : public PaneTest {
protected:
    void SetUp() override
    {
        PaneTest::SetUp();
        KLRunLoop::setMain(loop);
    }
    KLPlist::Array stored() const { return defaults().arrayForKey("Address Array").value_or(KLPlist::Array{}); }
    std::shared_ptr<KLPlainRunLoop> loop = std::make_shared<KLPlainRunLoop>();
};

// Host names, IPv4 and IPv6 addresses and networks and env= forms are addresses, lowered and once each;
// texts that would add or change lines of the access file are not. A new row is edited until it holds one.
TEST_F(AddressesTest, OnlyAddressesThatCannotBreakTheAccessFileAreKept)
{
    wake();
    pref->addAddressesFromArray({"10.0.0.1", "10.0.0.1", "(null)", "ALL", "Host.Example", "fendreled", "10.0.0.0/8",
                                 "fe80::1%eth0", "env=let_me_in", "Host-1.example_net", "10.9.9.9\nAllow from all",
                                 "10.0.0.1 10.0.0.2", "10.0.0.3#", "\"q\"", "", "caf\u00e9.example"});
    KLPlist::Array usable = {"127.0.0.1",    "10.0.0.1",      "host.example",      "10.0.0.0/8",
                             "fe80::1%eth0", "env=let_me_in", "host-1.example_net"};
    EXPECT_EQ(std::pair(pref->addresses(), stored()), std::pair(usable, usable));

    const int n = static_cast<int>(usable.size());
    pref->addAddress(nullptr);
    EXPECT_EQ(pref->addresses().back(), KLPlist("host.domain.tld"));
    EXPECT_EQ(addressTable.selection, std::vector<int>{n});
    addressTable.deselectAll();
    addressTable.edits.clear();
    pref->replaceAddressAtIndex(n, "host.domain.tld");
    EXPECT_TRUE(addressTable.edits.empty()); // only after the table's own end of editing
    loop->runPending();
    EXPECT_EQ(addressTable.selection, std::vector<int>{n});
    EXPECT_EQ(addressTable.edits, (std::vector<std::pair<std::string, int>>{{"address", n}}));
    for (const char* typed : {"10.0.0.1 10.0.0.2", "", "10.0.0.1\tx"})
        pref->replaceAddressAtIndex(n, typed);
    EXPECT_EQ(workspace.beeps, 4);
    EXPECT_EQ(std::pair(stored(), pref->addresses().size()), std::pair(usable, usable.size() + 1));
    try {
        pref->replaceAddressAtIndex(n + 1, "10.0.0.9");
        ADD_FAILURE() << "an index past the end is accepted";
    } catch (const KLInvalidParameter& e) {
        EXPECT_STREQ(e.what(), "Invalid parameter not satisfying: old >= 0 && old < [addresses count]");
    }
    pref->replaceAddressAtIndex(n, "ALL"); // typed in capitals, stored as typed
    pref->addAddress(nullptr);
    pref->replaceAddressAtIndex(n + 1, "192.168.0.0/255.255.0.0");
    usable.insert(usable.end(), {"ALL", "192.168.0.0/255.255.0.0"});
    EXPECT_EQ(std::pair(stored(), workspace.beeps), std::pair(usable, 4));
}

TEST_F(AddressesTest, RemovingSelectedRowsRewritesTheFolder)
{
    root.write("lan/.htaccess", "Allow from 10.0.0.1 10.0.0.2\nDeny from all\n");
    wake();
    pref->addAddressesFromArray({"10.0.0.1", "10.0.0.2", "10.0.0.3"});
    selectFolder("lan");
    addressTable.selectRow(1, false);
    addressTable.selectRow(2, true);
    pref->addressClick(&addressTable);
    EXPECT_TRUE(addressDeleteButton.enabled);
    pref->deleteRow(&addressTable, 1);
    // Row 2 is read after row 1 went: it then holds the next address.
    EXPECT_EQ(pref->addresses(), (KLPlist::Array{"127.0.0.1", "10.0.0.2"}));
    EXPECT_EQ(stored(), pref->addresses());
    std::string text = readFile(root.file("lan/.htaccess"));
    EXPECT_NE(text.find("Allow from 10.0.0.2\n"), std::string::npos);
    EXPECT_EQ(text.find("10.0.0.1"), std::string::npos);

    addressTable.deselectAll();
    pref->addressClick(&addressTable);
    EXPECT_FALSE(addressDeleteButton.enabled);
    addressDiscoverSwitch.stateValue = 0;
    pref->toggleAddressDiscovery(&addressDiscoverSwitch);
    EXPECT_FALSE(pref->shouldDiscoverAddresses());
}

} // namespace
