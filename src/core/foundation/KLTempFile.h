#pragma once

#include <memory>
#include <string>

// A new, uniquely named, open temporary file "<tmp>/.<application name>XXXXXX"
// (mode 0600), closed when the object goes away. The file itself stays.
class KLTempFile
{
public:
    static std::unique_ptr<KLTempFile> tempFile();
    ~KLTempFile();
    KLTempFile(const KLTempFile&) = delete;
    KLTempFile& operator=(const KLTempFile&) = delete;

    int handle() const { return fd_; }
    const std::string& path() const { return path_; }

private:
    KLTempFile(int fd, std::string path) : fd_(fd), path_(std::move(path)) {}
    int fd_;
    std::string path_;
};
