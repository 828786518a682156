#pragma once

#include <string>

// The <Directory> blocks whose "AllowOverride None" a repair turns into
// "AllowOverride All": the file-system root (any unquoted path, as written
// "<Directory /...>"), the shared document root, and every personal web
// folder "<prefix>NAME<suffix>" (NAME one or more characters).
struct RepairRules {
    std::string sharedDirectory;
    std::string personalPrefix;
    std::string personalSuffix;
};

// What Fendrel's repair makes of a configuration text: the same lines, each
// followed by a line feed (so a text ending in one gains another), with
// "AllowOverride<blanks>None" replaced by "AllowOverride All" on the lines
// inside those blocks. The helper writes a file only when the caller's data
// is exactly this text of the file's current content.
std::string repairOf(const std::string& text, const RepairRules& rules);
