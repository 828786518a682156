#pragma once

#include <string>

// A temporary folder removed (with everything in it) when the object goes away.
class TempDir {
public:
    TempDir();
    ~TempDir();
    TempDir(const TempDir&) = delete;
    TempDir& operator=(const TempDir&) = delete;

    const std::string& path() const { return path_; }
    std::string file(const std::string& name) const { return path_ + "/" + name; }
    // Writes a file below the folder (creating folders on the way); returns its path.
    std::string write(const std::string& name, const std::string& contents) const;
    std::string mkdir(const std::string& name) const;

private:
    std::string path_;
};

std::string readFile(const std::string& path);
