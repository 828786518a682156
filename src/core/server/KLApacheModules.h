#pragma once

#include <string>
#include <vector>

// The Apache modules that Fendrel's access files depend on, and which of them
// a Debian-style configuration folder leaves off. A module is on when
// mods-enabled/NAME.load exists, the way a2enmod turns it on; a folder
// without mods-available is not laid out that way and is never judged.
class KLApacheModules
{
public:
    // The modules every access file needs, then "userdir", which serves the
    // personal web folders.
    static const std::vector<std::string>& accessModules();
    static constexpr const char* kUserDir = "userdir";

    // The modules that are off in confDir, in the order above; userdir only
    // when personalFolders is true.
    static std::vector<std::string> missing(const std::string& confDir, bool personalFolders);
    // What a module that is off means for the person, in one sentence.
    static std::string problem(const std::string& module);
    // Whether the personal web folder of the user running this program
    // exists, so that serving it matters.
    static bool hasPersonalFolder();
};
