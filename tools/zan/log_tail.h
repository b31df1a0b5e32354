#pragma once

#include <memory>

#include "log_record.h"

namespace tool {

// Follows one log file by its name, from its start: over what is appended, and over to the new file
// when the old one is moved to "NAME.bak". The file may be missing, now and at times.
class LogTail {
public:
    // With `backup` it begins with the lines of "NAME.bak".
    LogTail(std::string name, bool backup, LogAssembler::Sink sink);
    ~LogTail();
    LogTail(LogTail const&) = delete;
    LogTail& operator=(LogTail const&) = delete;

    std::string const& name() const { return name_; }
    // Reads what is there; gives out whole lines.
    void poll();

private:
    bool open();
    void drain(int file);
    void drainBackup();

    std::string name_;
    LogAssembler assembler_;
    bool backup_;
    int file_ = -1;
    unsigned long device_ = 0;
    unsigned long inode_ = 0;
    long offset_ = 0;
};

// Waits for changes in the folders of some files.
class FolderWatch {
public:
    explicit FolderWatch(std::vector<std::string> const& files);
    ~FolderWatch();
    FolderWatch(FolderWatch const&) = delete;
    FolderWatch& operator=(FolderWatch const&) = delete;

    // Returns after a change, and after a second at the latest: some file systems tell nothing.
    void wait();

private:
    int notify_;
};

}  // namespace tool
