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

// An item's state on one line: status, the flags that are set, and every
// list the dictionary holds, so one row of a table checks all of it.
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

// A root folder whose pane knows two users, two groups and two addresses.
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
    TempDir dir;
    FakePaneContext pane;
};
