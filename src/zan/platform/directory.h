#pragma once

#include <string>

namespace zan::platform {

// What a name of the system stands for. A link counts as what it leads to.
struct FileStatus {
    enum Kind { MISSING, DIRECTORY, OTHER };
    Kind kind = MISSING;
    // In bytes; -1 for a directory, and for what is neither a file nor a link.
    long long size = -1;
    bool link = false;
};

// MISSING also for a link that leads nowhere.
FileStatus fileStatus(char const* path);

// Reads the names in a directory, in the system's order.
//
// Threads: one at a time. Errors: false, and errno; a name is not read twice, unless the
// directory changes meanwhile.
class DirectoryReader {
public:
    // Two directories are the same where both numbers are.
    struct Identity {
        unsigned long device = 0;
        unsigned long number = 0;
        bool operator==(Identity const& other) const {
            return device == other.device && number == other.number;
        }
    };

    DirectoryReader() = default;
    DirectoryReader(DirectoryReader const&) = delete;
    DirectoryReader& operator=(DirectoryReader const&) = delete;
    ~DirectoryReader();

    bool open(char const* path);
    Identity const& identity() const { return identity_; }
    // The next name, without "." and "..". At the end false, with 0 in errno.
    bool next(char const*& name, FileStatus& status);

private:
    void* stream_ = nullptr;
    int handle_ = -1;
    Identity identity_;
};

}  // namespace zan::platform
