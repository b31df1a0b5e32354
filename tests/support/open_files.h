#pragma once

#include <sys/resource.h>
#include <unistd.h>

#include <algorithm>
#include <vector>

namespace zan_test {

// Another limit of open files for one test, and what the test takes of them.
class OpenFiles {
public:
    explicit OpenFiles(rlim_t limit) {
        getrlimit(RLIMIT_NOFILE, &before_);
        rlimit changed = before_;
        changed.rlim_cur = std::min(limit, before_.rlim_max);
        setrlimit(RLIMIT_NOFILE, &changed);
    }
    ~OpenFiles() {
        for (int const fd : taken_) close(fd);
        setrlimit(RLIMIT_NOFILE, &before_);
    }
    OpenFiles(OpenFiles const&) = delete;
    OpenFiles& operator=(OpenFiles const&) = delete;

    // The next one that the system would give.
    static rlim_t next() {
        int const fd = dup(0);
        close(fd);
        return static_cast<rlim_t>(fd);
    }
    // Takes them up to this one; false where the limit is lower.
    bool takeUpTo(int last) {
        int fd = -1;
        while (fd < last && (fd = dup(0)) != -1) taken_.push_back(fd);
        return fd != -1;
    }

private:
    rlimit before_{};
    std::vector<int> taken_;
};

}  // namespace zan_test
