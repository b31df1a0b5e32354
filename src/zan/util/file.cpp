#include "zan/util/file.h"

#include <ace/OS_NS_fcntl.h>
#include <ace/OS_NS_sys_stat.h>
#include <ace/OS_NS_unistd.h>

#include <cerrno>
#include <new>

#include "zan/platform/file.h"
#include "zan/platform/native_path.h"

namespace zan {

namespace {

constexpr int TRUNCATE = 0x0200;

// Below what one call of the system transfers at most.
constexpr unsigned long GREATEST_TRANSFER = 1UL << 30;

// One read, carried on after signals and beyond the greatest transfer. The bytes read, or -1.
long readSome(int handle, unsigned char* to, unsigned long n) {
    unsigned long done = 0;
    for (;;) {
        unsigned long const want = n - done < GREATEST_TRANSFER ? n - done : GREATEST_TRANSFER;
        long const got = ACE_OS::read(handle, to + done, want);
        if (got < 0) {
            if (errno == EINTR) continue;
            return done != 0 ? static_cast<long>(done) : -1;
        }
        done += static_cast<unsigned long>(got);
        if (done == n || static_cast<unsigned long>(got) < GREATEST_TRANSFER)
            return static_cast<long>(done);
    }
}

bool reserve(Bytes& bytes, unsigned long n) {
    try {
        bytes.resize(n);
        return true;
    } catch (std::bad_alloc const&) {
        errno = ENOMEM;
        return false;
    }
}

}  // namespace

File::File(iwstr const& name, int flags) : name_(name), flags_(flags) {
    open();
}

File::File(File const& other) : name_(other.name_), flags_(other.flags_) {
    if (other.valid()) openWith(flags_ & ~TRUNCATE);
}

File& File::operator=(File const& other) {
    if (this == &other) return *this;
    close();
    name_ = other.name_;
    flags_ = other.flags_;
    if (other.valid()) openWith(flags_ & ~TRUNCATE);
    return *this;
}

bool File::openWith(int flags) {
    int const native = platform::openFlags(flags);
    if (native == -1) return false;
    std::string const path = platform::nativePath(name_);
    do {
        handle_ = ACE_OS::open(path.c_str(), native, platform::FILE_PERMISSION);
    } while (handle_ == -1 && errno == EINTR);
    return valid();
}

bool File::open() {
    return valid() || openWith(flags_);
}

bool File::open(int flags) {
    flags_ = flags;
    return reopen();
}

bool File::open(iwstr const& name) {
    name_ = name;
    return reopen();
}

bool File::open(iwstr const& name, int flags) {
    name_ = name;
    flags_ = flags;
    return reopen();
}

bool File::reopen() {
    close();
    return open();
}

void File::close() {
    // The descriptor is gone also where the system reports an error.
    if (valid()) ACE_OS::close(handle_);
    handle_ = -1;
}

__int64 File::filesize() const {
    if (valid()) return ACE_OS::filesize(handle_);
    ACE_stat status;
    if (ACE_OS::stat(platform::nativePath(name_).c_str(), &status) != 0) return -1;
    return status.st_size;
}

void File::truncate(__int64 size) {
    while (ACE_OS::ftruncate(handle_, size) != 0 && errno == EINTR) {
    }
}

void File::flush() {
    while (ACE_OS::fsync(handle_) != 0 && errno == EINTR) {
    }
}

__int64 File::seek(__int64 offset, SeekWhence whence) const {
    return ACE_OS::llseek(handle_, offset, whence);
}

bool File::read(Bytes& bytes, unsigned long n) const {
    if (!valid()) return false;
    if (n != npos && !reserve(bytes, n)) return false;
    long const got = readSome(handle_, bytes.buffer(), n == npos ? bytes.max_size() : n);
    if (got < 0) return false;
    bytes.size(static_cast<unsigned long>(got));
    return true;
}

bool File::read(String& text, unsigned long n) const {
    Bytes bytes;
    if (n == npos || !read(bytes, n)) return false;
    text = istr(bytes);
    return true;
}

bool File::read(std::wstring& text, unsigned long n, long codePage) const {
    Bytes bytes;
    if (n == npos || !read(bytes, n)) return false;
    ansiToWstring(bytes, text, codePage);
    return true;
}

int File::readByte() const {
    unsigned char byte;
    return valid() && readSome(handle_, &byte, 1) == 1 ? byte : -1;
}

bool File::readLine(String& line) const {
    line.clear();
    if (!valid()) return false;
    __int64 const start = seek(0, SEEK_FROM_CURRENT);
    if (start < 0) {
        // Not a file to move about in, such as a pipe or a terminal: byte by byte, so that nothing
        // behind the line is taken from it. A byte behind a single "\r" cannot be put back there.
        for (;;) {
            int const byte = readByte();
            if (byte == -1) return false;
            if (byte == '\n') return true;
            if (byte == '\r') {
                int const next = readByte();
                if (next != -1 && next != '\n') putback(1);
                return true;
            }
            line += static_cast<char>(byte);
        }
    }
    // In blocks, without moving the position until the line's end is known.
    char block[1024];
    __int64 at = start;
    bool afterReturn = false;
    bool found = false;
    while (!found) {
        ssize_t const got = ACE_OS::pread(handle_, block, sizeof block, at);
        if (got < 0 && errno == EINTR) continue;
        if (got <= 0) break;
        char const* p = block;
        char const* const end = block + got;
        if (afterReturn) {
            if (*p == '\n') ++p;
            found = true;
        } else {
            while (p != end && *p != '\n' && *p != '\r') ++p;
            line += istr(block, p);
            if (p != end) {
                afterReturn = *p++ == '\r';
                found = !afterReturn || p != end;
                if (afterReturn && p != end && *p == '\n') ++p;
            }
        }
        at += p - block;
    }
    seek(at, SEEK_FROM_START);
    return found || afterReturn;
}

bool File::readLine(std::wstring& line, long codePage) const {
    String text;
    if (!readLine(text)) return false;
    ansiToWstring(text, line, codePage);
    return true;
}

bool File::readToEnd(Bytes& bytes, unsigned long expected) const {
    if (expected != 0) return read(bytes, expected);
    // The system knows no size: either there is nothing, or it is made while it is read.
    Bytes block(4096);
    Bytes all;
    do {
        if (!read(block)) return false;
        all += block;
    } while (!block.empty());
    if (!reserve(bytes, all.size())) return false;
    bytes = all;
    return true;
}

bool File::readAll(Bytes& bytes) const {
    if (!valid()) return false;
    rewind(0);
    __int64 const size = filesize();
    return readToEnd(bytes, size > 0 ? static_cast<unsigned long>(size) : 0);
}

bool File::readAll(String& text) const {
    Bytes bytes;
    if (!readAll(bytes)) return false;
    text = istr(bytes);
    return true;
}

bool File::readAll(std::wstring& text, long codePage) const {
    Bytes bytes;
    if (!readAll(bytes)) return false;
    ansiToWstring(bytes, text, codePage);
    return true;
}

bool File::write(istr const& text) {
    if (!valid()) return false;
    char const* p = text.data();
    unsigned long left = text.empty() ? 0 : text.size();
    while (left != 0) {
        unsigned long const want = left < GREATEST_TRANSFER ? left : GREATEST_TRANSFER;
        long const done = ACE_OS::write(handle_, p, want);
        if (done < 0 && errno == EINTR) continue;
        if (done <= 0) return false;
        p += done;
        left -= static_cast<unsigned long>(done);
    }
    return true;
}

bool File::write(iwstr const& text, long codePage) {
    String bytes;
    wstringToAnsi(text, bytes, codePage);
    return write(istr(bytes));
}

bool File::append(istr const& text) {
    seekEnd(0);
    return write(text);
}

bool File::append(iwstr const& text, long codePage) {
    seekEnd(0);
    return write(text, codePage);
}

bool File::writeLine(istr const& text, istr const& lineEnd) {
    return write(text) && write(lineEnd);
}

bool File::writeLine(iwstr const& text, long codePage, istr const& lineEnd) {
    return write(text, codePage) && write(lineEnd);
}

char const* File::newline() {
    return "\r\n";
}

char const* File::path_seperator() {
    return "\\";
}

String nativeName(iwstr const& name) {
    return platform::nativePath(name.data(), name.size());
}

std::wstring libraryName(istr const& name) {
    return platform::libraryPath(name.data(), name.size());
}

}  // namespace zan
