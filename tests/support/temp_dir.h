#pragma once

#include <filesystem>
#include <string>

namespace zan_test {

// A fresh folder below the system's temporary one, removed with all that is in it.
class TempDir {
public:
    TempDir();
    ~TempDir();

    // Not copyable: the folder has one owner.
    TempDir(TempDir const&) = delete;
    TempDir& operator=(TempDir const&) = delete;

    std::filesystem::path const& path() const { return path_; }

    // The full name of a file in it, which need not exist.
    std::string file(std::string const& name) const { return (path_ / name).string(); }

    // Writes a file in it and gives its full name.
    std::string write(std::string const& name, std::string const& content) const;

private:
    std::filesystem::path path_;
};

// All bytes of a file; none where there is no such file.
std::string contentOf(std::string const& file);

}  // namespace zan_test
