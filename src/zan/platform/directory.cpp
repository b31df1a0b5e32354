#include "zan/platform/directory.h"

#include <dirent.h>
#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>

namespace zan::platform {

namespace {

FileStatus statusAt(int directory, char const* name) {
    FileStatus result;
    struct stat status;
    if (fstatat(directory, name, &status, AT_SYMLINK_NOFOLLOW) != 0) return result;
    result.link = S_ISLNK(status.st_mode);
    if (result.link && fstatat(directory, name, &status, 0) != 0) return result;
    result.kind = S_ISDIR(status.st_mode) ? FileStatus::DIRECTORY : FileStatus::OTHER;
    if (S_ISREG(status.st_mode) || (result.link && result.kind == FileStatus::OTHER))
        result.size = status.st_size;
    return result;
}

}  // namespace

FileStatus fileStatus(char const* path) {
    return statusAt(AT_FDCWD, path);
}

DirectoryReader::~DirectoryReader() {
    if (stream_ != nullptr) closedir(static_cast<DIR*>(stream_));
}

bool DirectoryReader::open(char const* path) {
    int const handle = ::open(path, O_RDONLY | O_DIRECTORY | O_CLOEXEC);
    if (handle == -1) return false;
    struct stat status;
    DIR* const stream = fstat(handle, &status) == 0 ? fdopendir(handle) : nullptr;
    if (stream == nullptr) {
        int const error = errno;
        ::close(handle);
        errno = error;
        return false;
    }
    stream_ = stream;
    handle_ = handle;
    identity_ = {status.st_dev, status.st_ino};
    return true;
}

bool DirectoryReader::next(char const*& name, FileStatus& status) {
    for (;;) {
        errno = 0;
        dirent const* const entry = readdir(static_cast<DIR*>(stream_));
        if (entry == nullptr) return false;
        name = entry->d_name;
        if (name[0] == '.' && (name[1] == 0 || (name[1] == '.' && name[2] == 0))) continue;
        // A directory has no size to ask for.
        if (entry->d_type == DT_DIR) {
            status = FileStatus();
            status.kind = FileStatus::DIRECTORY;
        } else {
            status = statusAt(handle_, name);
        }
        return true;
    }
}

}  // namespace zan::platform
