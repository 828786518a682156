#pragma once

#include <string>
#include <vector>

class FendrelPref;

// A small protected folder tree to show Fendrel with: a few folders, users
// (each user's password is the name followed by "-demo") and groups, and,
// once a pane has it as its root, protections of every kind.
class DemoTree
{
public:
    struct User
    {
        std::string name;
        std::string password;
    };
    static const std::vector<User>& users();
    // Folders below the root, protected as protect() says.
    static constexpr const char* kPrivate = "private";   // password: alice and group staff
    static constexpr const char* kIntranet = "intranet"; // address: 127.0.0.1 allowed
    static constexpr const char* kShared = "shared";     // password and address
    static constexpr const char* kPublic = "public";     // none

    // Makes the folders, an index page in each, the users file and the
    // groups file. False (with a reason) when something cannot be written.
    static bool create(const std::string& root, std::string& error);
    // Stores the settings that make the tree the pane's protected folder
    // (the custom root). Call before the pane wakes up.
    static void useAsRoot(const std::string& root);
    // Writes the protections through the pane's folder model.
    static void protect(FendrelPref& pref);
};
