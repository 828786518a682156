#pragma once

#include <optional>
#include <string>
#include <sys/stat.h>

// File-manager helpers with the exact results their callers rely on.

// The attributes of the item; with traverseLink, symbolic links are followed
// (a relative destination is taken relative to the current folder, not the
// link's). A link that cannot be read, or a chain of more than 40, gives none.
std::optional<struct stat> attributesOfItemAtPath(const std::string& path, bool traverseLink);
// 4 nothing at the path, 9 an empty file, 0 otherwise; links are followed,
// so a link to nothing gives 4.
int isFileAcceptable(const std::string& path);
bool fileExists(const std::string& path);
bool isFolder(const std::string& path); // links followed
