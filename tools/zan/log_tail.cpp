#include "log_tail.h"

#include <fcntl.h>
#include <poll.h>
#include <sys/inotify.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>
#include <cstring>
#include <filesystem>
#include <set>
#include <utility>

namespace tool {

namespace {

int openFile(std::string const& name) {
    int const file = ::open(name.c_str(), O_RDONLY | O_CLOEXEC);
    if (file == -1 && errno != ENOENT) throw Trouble(name + ": " + std::strerror(errno));
    return file;
}

}  // namespace

LogTail::LogTail(std::string name, bool backup, LogAssembler::Sink sink)
    : name_(std::move(name)), assembler_(std::move(sink)), backup_(backup) {
    std::error_code none;
    if (std::filesystem::is_directory(name_, none)) throw Trouble(name_ + ": is a folder");
}

LogTail::~LogTail() {
    if (file_ != -1) ::close(file_);
}

bool LogTail::open() {
    file_ = openFile(name_);
    struct stat is {};
    if (file_ == -1 || ::fstat(file_, &is) != 0) return false;
    device_ = is.st_dev;
    inode_ = is.st_ino;
    offset_ = 0;
    return true;
}

// Up to the end that the file has now.
void LogTail::drain(int file) {
    char buffer[64 * 1024];
    for (;;) {
        ssize_t const n = ::read(file, buffer, sizeof(buffer));
        if (n < 0 && errno == EINTR) continue;
        if (n < 0) throw Trouble(name_ + ": " + std::strerror(errno));
        if (n == 0) return;
        offset_ += n;
        assembler_.add(zan::istr(buffer, static_cast<unsigned long>(n)));
    }
}

// Unless it is the file that we have read last.
void LogTail::drainBackup() {
    int const file = openFile(name_ + ".bak");
    if (file == -1) return;
    struct stat is {};
    bool const known = ::fstat(file, &is) == 0 && is.st_dev == device_ && is.st_ino == inode_;
    long const offset = offset_;
    try {
        if (!known) drain(file);
    } catch (...) {
        ::close(file);
        throw;
    }
    ::close(file);
    offset_ = offset;
}

void LogTail::poll() {
    // The file is open first: should it become the backup now, it is not read twice.
    bool const there = file_ != -1 || open();
    if (std::exchange(backup_, false)) drainBackup();
    if (!there) return assembler_.finish();
    drain(file_);
    for (;;) {
        struct stat is {};
        bool const here = ::stat(name_.c_str(), &is) == 0;
        if (here && is.st_dev == device_ && is.st_ino == inode_) {
            if (is.st_size < offset_) {
                // Emptied in place.
                offset_ = ::lseek(file_, 0, SEEK_SET);
                drain(file_);
            }
            break;
        }
        // Moved away. Its writer has written the last of it before.
        drain(file_);
        if (!here) break;  // the new file is still to come
        ::close(file_);
        file_ = -1;
        assembler_.end();
        // Moved away twice: the file between is the backup now.
        drainBackup();
        if (!open()) return;
        drain(file_);
    }
    assembler_.finish();
}

FolderWatch::FolderWatch(std::vector<std::string> const& files)
    : notify_(::inotify_init1(IN_CLOEXEC | IN_NONBLOCK)) {
    if (notify_ == -1) return;
    std::set<std::string> folders;
    for (std::string const& file : files) {
        std::string const parent = std::filesystem::path(file).parent_path().string();
        folders.insert(parent.empty() ? "." : parent);
    }
    for (std::string const& folder : folders)
        ::inotify_add_watch(notify_, folder.c_str(),
                            IN_MODIFY | IN_CREATE | IN_MOVED_FROM | IN_MOVED_TO | IN_DELETE);
}

FolderWatch::~FolderWatch() {
    if (notify_ != -1) ::close(notify_);
}

void FolderWatch::wait() {
    pollfd watch{notify_, POLLIN, 0};
    if (::poll(&watch, 1, 1000) <= 0) return;
    alignas(inotify_event) char events[4096];
    while (::read(notify_, events, sizeof(events)) > 0) continue;
}

}  // namespace tool
