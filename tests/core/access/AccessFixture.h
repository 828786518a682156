#pragma once

#include "FakePaneContext.h"
#include "KLFSItem.h"
#include "TempDir.h"

#include <gtest/gtest.h>

#include <string>
#include <vector>

inline std::vector<std::string> names(const KLPlist& value)
{
    std::vector<std::string> out;
    if (const KLPlist::Array* array = value.array()) {
        for (const KLPlist& v : *array)
            out.push_back(v.description());
    }
    return out;
}

// An item's status, set flags and every list on one line, so one table row checks all of it.
inline std::string stateOf(const KLFSItem& item)
{
    std::string state = std::to_string(item.authStatus());
    for (auto [on, flag] : {std::pair(item.isAuthenticationDisabled(), " off"),
                            std::pair(item.isPasswordProtected(), " password"),
                            std::pair(item.isAddressProtected(), " address"), std::pair(item.requiresAll(), " all"),
                            std::pair(item.isAllowSet(), " allow")})
        state += on ? flag : "";
    for (const auto& [key, value] : item.authDict()) {
        if (!value.array())
            continue;
        state += " | " + key + ":";
        for (const std::string& name : names(value))
            state += " " + name;
    }
    return state;
}

// A root whose pane knows two users, groups and addresses, and the item of its folder "site".
class AccessTest : public ::testing::Test
{
protected:
    AccessTest()
    {
        pane.root = dir.path();
        pane.userNames = std::vector<std::string>{"alice", "bob"};
        pane.groupNames = std::vector<std::string>{"staff", "web"};
        pane.addressList = {KLPlist("10.0.0.1"), KLPlist("10.0.0.2")};
    }
    std::vector<std::string> list(const char* key) { return names(item->authDict()[key]); }
    void setList(const char* key, const std::vector<std::string>& values) { item->authDict()[key] = KLPlist::stringArray(values); }
    std::string file() const { return readFile(item->accessPath()); }
    KLFSItem& parse(const std::string& text)
    {
        item->setStringValue(text);
        return *item;
    }
    // Lines the file must hold, each whole.
    void expectLines(const std::vector<std::string>& lines)
    {
        for (const std::string& line : lines)
            EXPECT_NE(("\n" + file()).find("\n" + line + "\n"), std::string::npos) << line << " in\n" << file();
    }

    TempDir dir;
    FakePaneContext pane;
    std::string folder = dir.mkdir("site");
    std::shared_ptr<KLFSItem> item = KLFSItem::create(folder);
};
