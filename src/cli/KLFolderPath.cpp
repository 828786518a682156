#include "KLFolderPath.h"

#include <filesystem>

namespace fs = std::filesystem;

namespace {

constexpr const char* kRootDisplay = ".";

std::optional<std::vector<std::string>> relativeComponents(const fs::path& root, const fs::path& path)
{
    fs::path relative = path.lexically_normal().lexically_relative(root.lexically_normal());
    if (relative.empty())
        return std::nullopt;
    std::vector<std::string> components;
    for (const fs::path& part : relative) {
        std::string name = part.string();
        if (name == "..")
            return std::nullopt;
        if (name != "." && !name.empty())
            components.push_back(name);
    }
    return components;
}

} // namespace

std::optional<std::vector<std::string>> KLFolderPath::componentsBelowRoot(const std::string& root,
                                                                          const std::string& folder)
{
    fs::path base(root);
    if (folder.empty())
        return std::vector<std::string>{};
    fs::path path(folder);
    if (path.is_relative())
        return relativeComponents(base, base / path);
    if (std::optional<std::vector<std::string>> inside = relativeComponents(base, path))
        return inside;
    // The root may be reached through a symbolic link on one side only.
    std::error_code error;
    fs::path realRoot = fs::canonical(base, error);
    if (error)
        return std::nullopt;
    fs::path realPath = fs::weakly_canonical(path, error);
    if (error)
        return std::nullopt;
    return relativeComponents(realRoot, realPath);
}

std::string KLFolderPath::displayPath(const std::vector<std::string>& components)
{
    if (components.empty())
        return kRootDisplay;
    std::string path;
    for (const std::string& name : components)
        path += (path.empty() ? "" : "/") + name;
    return path;
}

std::string KLFolderPath::absolutePath(const std::string& path)
{
    fs::path absolute = fs::absolute(fs::path(path)).lexically_normal();
    std::string text = absolute.string();
    while (text.size() > 1 && text.back() == '/')
        text.pop_back();
    return text;
}
