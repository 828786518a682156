#pragma once

#include <optional>
#include <string>
#include <vector>

// A FOLDER argument: relative to the protected folder root, or an absolute
// path inside it. Resolved to the names of the folders to walk from the root
// (none for the root itself); nothing when the path lies outside the root.
class KLFolderPath
{
public:
    static std::optional<std::vector<std::string>> componentsBelowRoot(const std::string& root,
                                                                       const std::string& folder);
    // The path as fendrelctl prints it: relative to the root, "." for the root.
    static std::string displayPath(const std::vector<std::string>& components);
    // An absolute form of a path given on the command line (no links resolved).
    static std::string absolutePath(const std::string& path);
};
