#include "TempDir.h"

#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <sstream>
#include <stdexcept>
#include <unistd.h>

TempDir::TempDir()
{
    const char* tmp = std::getenv("TMPDIR");
    std::string base = std::string(tmp && *tmp ? tmp : "/tmp") + "/fendrel-XXXXXX";
    if (!::mkdtemp(base.data()))
        throw std::runtime_error("cannot create a temporary folder");
    path_ = base;
}

TempDir::~TempDir()
{
    std::error_code ignored;
    std::filesystem::remove_all(path_, ignored);
}

std::string TempDir::write(const std::string& name, const std::string& contents) const
{
    std::filesystem::path p = std::filesystem::path(path_) / name;
    std::filesystem::create_directories(p.parent_path());
    std::ofstream(p, std::ios::binary) << contents;
    return p.string();
}

std::string TempDir::mkdir(const std::string& name) const
{
    std::filesystem::path p = std::filesystem::path(path_) / name;
    std::filesystem::create_directories(p);
    return p.string();
}

std::string readFile(const std::string& path)
{
    std::ostringstream s;
    s << std::ifstream(path, std::ios::binary).rdbuf();
    return s.str();
}
