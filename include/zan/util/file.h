#pragma once

#include <string>
#include <type_traits>

#include "zan/base/base_type_bytes.h"
#include "zan/base/base_type_string.h"

namespace zan {

// A thin object on a file of the system. It keeps the wide file name and the open mode, so that it
// can be closed, opened again and copied. The four classes derived from it differ only by the mode
// that they default to.
//
//     zan::FileReader in(L"inbox\\report.txt");
//     zan::String line;
//     while (in.readLine(line)) use(line);
//
// Names may use '\' and '/' alike. A name with a NUL inside names no file.
//
// Open modes are the numbers of the interface on all platforms: 0 read only, 0x0001 write only,
// 0x0002 read and write, 0x0008 append, 0x0100 create, 0x0200 truncate, 0x8000 binary and 0x4000
// text, which are the same here. Any other bit fails the open with EINVAL. New files get the
// permission 0666, cut by the umask. No file is inherited by a program that this one starts.
//
// Ownership: the descriptor is the object's own; the destructor closes it. A copy opens the file
//   for itself.
// Threads: one at a time. Reading is const but moves the position.
// Errors: every failure is false, -1 or no effect, never an exception of the library;
//   getLastErrorMsg() has the reason. Only a result that does not fit into memory
//   throws std::bad_alloc.
// Interrupted calls and partial writes are carried on.
class ZAN_EXPORT File {
public:
    // What an offset counts from.
    enum SeekWhence { SEEK_FROM_START = 0, SEEK_FROM_CURRENT = 1, SEEK_FROM_END = 2 };

    File() = default;
    explicit File(int flags) : flags_(flags) {}
    // Does not open.
    explicit File(iwstr const& name) : name_(name) {}
    // Opens; valid() tells whether that worked.
    File(iwstr const& name, int flags);
    // Opens the file once more if the other one is open, but without truncating it: to copy an
    // object must not empty its file. The flags stay as they are for a later reopen().
    File(File const& other);
    File& operator=(File const& other);
    ~File() { close(); }

    // Leaves an open file untouched, with its position, and gives true.
    bool open();
    // Store what is given, close and open.
    bool open(int flags);
    bool open(iwstr const& name);
    bool open(iwstr const& name, int flags);
    bool reopen();
    void close();
    bool valid() const { return handle_ != -1; }
    // Stays after close().
    std::wstring const& filename() const { return name_; }

    // Of the open file, else of the one with the name. -1 where there is none.
    __int64 filesize() const;
    void truncate(__int64 size);
    // To the disk.
    void flush();

    // Each gives the new position, or -1.
    __int64 seek(__int64 offset, SeekWhence whence) const;
    __int64 rewind(__int64 offset = 0) const { return seek(offset, SEEK_FROM_START); }
    __int64 advance(__int64 offset) const { return seek(offset, SEEK_FROM_CURRENT); }
    __int64 putback(__int64 n) const { return advance(-n); }
    __int64 seekEnd(__int64 offset = 0) const { return seek(offset, SEEK_FROM_END); }

    // Reads once, at most `n` bytes, or with ~0UL as many as the capacity holds. True with empty
    // bytes means the end of the file. After a failure the size is as before.
    bool read(Bytes& bytes, unsigned long n = npos) const;
    // A character whose bytes are cut by `n` comes out as damage.
    bool read(String& text, unsigned long n) const;
    bool read(std::wstring& text, unsigned long n, long codePage = -1) const;
    // 0 to 255, or -1 when there was nothing to read.
    int readByte() const;
    // Ends a line at "\n", "\r\n" or "\r", which are taken but not given. At the end of the file
    // the result is false, with a last line that had no end left in `line`.
    bool readLine(String& line) const;
    // `line` is changed only where the result is true.
    bool readLine(std::wstring& line, long codePage = -1) const;
    // The whole file, from any position; the position is then the end. Files whose size the system
    // does not know, such as those in /proc, are read to their end.
    bool readAll(Bytes& bytes) const;
    bool readAll(String& text) const;
    bool readAll(std::wstring& text, long codePage = -1) const;

    bool write(istr const& text);
    bool write(iwstr const& text, long codePage = -1);
    // At the end of the file.
    bool append(istr const& text);
    bool append(iwstr const& text, long codePage = -1);
    // The end is not written where the text was not.
    bool writeLine(istr const& text, istr const& lineEnd = newline());
    bool writeLine(iwstr const& text, long codePage = -1, istr const& lineEnd = newline());

    // "\r\n", the usual end of a line on all platforms.
    static char const* newline();
    // The separator that the library writes, a backslash.
    static char const* path_seperator();
    // `flags`, with the bit for truncating if `truncate`.
    static int open_read_write_trunc(bool truncate, int flags) {
        return truncate ? flags | 0x0200 : flags;
    }

private:
    bool openWith(int flags);
    bool readToEnd(Bytes& bytes, unsigned long expected) const;

    int handle_ = -1;
    std::wstring name_;
    int flags_ = 0;
};

// Read only.
class ZAN_EXPORT FileReader : public File {
public:
    explicit FileReader(int flags = 0x8000) : File(flags) {}
    explicit FileReader(iwstr const& name, int flags = 0x8000) : File(name, flags) {}
};

namespace detail {
// A bool and nothing that converts to one: text must not be taken for `truncate`.
template <class B>
using BoolOnly = std::enable_if_t<std::is_same_v<B, bool>, int>;
}  // namespace detail

// Write only; makes the file if there is none. An existing one keeps its content and is written
// from its start, or is emptied first if `truncate`.
class ZAN_EXPORT FileWriter : public File {
public:
    FileWriter() : File(0x8101) {}
    template <class B, detail::BoolOnly<B> = 0>
    explicit FileWriter(B truncate, int flags = 0x8101)
        : File(open_read_write_trunc(truncate, flags)) {}
    explicit FileWriter(iwstr const& name, bool truncate = false, int flags = 0x8101)
        : File(name, open_read_write_trunc(truncate, flags)) {}
};

// The same for reading and writing.
class ZAN_EXPORT FileReadWriter : public File {
public:
    FileReadWriter() : File(0x8102) {}
    template <class B, detail::BoolOnly<B> = 0>
    explicit FileReadWriter(B truncate, int flags = 0x8102)
        : File(open_read_write_trunc(truncate, flags)) {}
    explicit FileReadWriter(iwstr const& name, bool truncate = false, int flags = 0x8102)
        : File(name, open_read_write_trunc(truncate, flags)) {}
};

// Write only, always at the end; makes the file if there is none.
class ZAN_EXPORT FileAppender : public File {
public:
    explicit FileAppender(int flags = 0x8109) : File(flags) {}
    explicit FileAppender(iwstr const& name, int flags = 0x8109) : File(name, flags) {}
};

// A name as the system's own calls and other programs take it: UTF-8 with '/'. Empty for a name
// with a NUL inside.
ZAN_EXPORT String nativeName(iwstr const& name);

// A name that came from the system, for use in the library. Bytes that are not UTF-8, and a
// backslash that belongs to a name, come back unchanged through nativeName().
ZAN_EXPORT std::wstring libraryName(istr const& name);

}  // namespace zan
