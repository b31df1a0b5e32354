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
    // What a file in it holds, and nothing where there is none.
    std::string content(std::string const& name) const;
    // Writes a file into it; its full name.
    std::string put(std::string const& name, std::string const& content) const;

private:
    std::filesystem::path path_;
};

}  // namespace zan_test
