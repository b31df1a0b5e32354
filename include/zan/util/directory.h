#pragma once

#include <list>
#include <string>
#include <vector>

#include "zan/base/base_type_bytes.h"
#include "zan/base/base_type_value.h"
#include "zan/pml/ntv_unit.h"

namespace zan {

class dumper;

// Yes, no, or no answer.
class TriBool {
public:
    constexpr TriBool() = default;  // invalid
    constexpr TriBool(bool v) : value_(v ? 1 : 0) {}

    constexpr bool valid() const { return value_ >= 0; }
    constexpr bool isTrue() const { return value_ == 1; }
    constexpr bool isFalse() const { return value_ == 0; }
    // -1 for invalid, 0 for false, 1 for true.
    constexpr int value() const { return value_; }

    friend constexpr bool operator==(TriBool a, TriBool b) { return a.value_ == b.value_; }
    friend constexpr bool operator!=(TriBool a, TriBool b) { return a.value_ != b.value_; }

private:
    signed char value_ = -1;
};

// One entry of a Directory.
struct ZAN_EXPORT DirItem {
    DirItem() = default;
    DirItem(bool isDir, iwstr const& path, __int64 size, pml::ntv::Unit const* unit);
    // What the unit says. It must outlive the item.
    DirItem(pml::ntv::Unit const& unit, iwstr const& path);

    // "sub\a.txt, 100", or "sub, <dir>".
    dumper& dump(dumper& d) const;

    Bit isDir;
    std::wstring path;                     // from the home directory on
    Longlong size;                         // in bytes; -1 for a directory and where it is not known
    pml::ntv::Unit const* unit = nullptr;  // not owned
};

// A snapshot of a tree of directories, read once: as a PML tree, and as a flat list with the paths.
//
//     zan::Directory docs;
//     if (!docs.setup(L"/home/me/docs")) return 1;
//     for (zan::DirItem const& item : docs.items()) use(item.path, item.size);
//     save(docs.files().str());
//
// In the tree a directory is a unit with a list, a file is one with its size. In each directory the
// sub-directories come first; nothing is sorted. A link counts as what it leads to; one that leads
// to a directory already on the way from the root stays empty, with a warning in the log, so the
// walk has an end. It can still be a long one: links may show a directory many times over.
//
// Left out, or left empty, with a warning each, and the walk goes on: a name that is no UTF-8 or
// has a backslash in it, which the tree cannot hold; a directory that cannot be read, or whose path
// is too long for the system. The walk fails at a name that leads nowhere, such as a broken link or
// a file that went meanwhile, and at a home directory that cannot be read. What was read up to
// there stays.
//
// Paths may use '\' and '/'; those of the items have '\'. Files are opened by File or nativeName().
//
// Ownership: owns tree and list. Threads: one at a time, or any number while nobody calls setup().
// Errors: false, with an error line in the log; what throws is told. Cost: one call of the system
//   for each file and three for each directory; no recursion.
class ZAN_EXPORT Directory {
public:
    Directory() = default;
    explicit Directory(iwstr const& home) { setup(home); }
    // Not copied: the items point into the tree.
    Directory(Directory const&) = delete;
    Directory& operator=(Directory const&) = delete;

    // Once for an object: the list is added to.
    bool setup(iwstr const& home);
    // Only these entries of the home directory; with an empty list all of them.
    bool setup(iwstr const& home, std::list<std::wstring> const& names);

    std::wstring const& homeDir() const { return homeDir_; }
    pml::ntv::Unit const& files() const { return dirTree_; }
    std::vector<DirItem> const& items() const { return items_; }
    // OutOfRangeException.
    DirItem const& at(unsigned long i) const;
    unsigned long numof() const { return items_.size(); }
    // A measure of the work that there is: the bytes of all files, where an item of less than two
    // counts 1, and 1 for the whole.
    __int64 totalSize() const { return total_.value(); }

    // The two steps of setup(). A null pointer is a NullPointerException.
    static bool setupDirTree(iwstr const& dir, pml::ntv::Unit* tree);
    static bool setupDirTree(iwstr const& dir, std::list<std::wstring> const& names,
                             pml::ntv::Unit* tree);
    // Adds an item for each unit below the tree, and for the tree itself unless `path` is empty.
    static bool recurseDirTree(iwstr const& path, pml::ntv::Unit const& tree,
                               std::vector<DirItem>* files);

    dumper& dump(dumper& d) const;

    // --- One path. Links are followed.

    // Invalid where there is nothing.
    static TriBool isDirectory(iwstr const& path);
    // -1 for a directory, a device, and where there is nothing.
    static __int64 getFileSize(iwstr const& path);
    static bool isEmptyFile(iwstr const& path) { return getFileSize(path) == 0; }
    // A file that is there is emptied only if `truncate`.
    static bool createFile(iwstr const& path, bool truncate);
    // At most max_size() bytes of it; true and empty at the end of the file.
    static bool readFrom(iwstr const& path, __int64 offset, Bytes& out);
    // Makes the file if there is none. What stands elsewhere in it stays.
    static bool writeTo(iwstr const& path, __int64 offset, istr const& data);

    // --- One open file, by a handle that the caller closes. -1, as a pointer, is no file.

    static void* openFileForRead(iwstr const& path);
    static void* openFileForWrite(iwstr const& path, bool truncate);
    static void closeFile(void* handle);
    // As readFrom() and writeTo().
    static bool readFileAt(void* handle, __int64 offset, Bytes& out);
    static bool writeFileAt(void* handle, __int64 offset, istr const& data);

private:
    std::wstring homeDir_;
    pml::ntv::Unit dirTree_;
    std::vector<DirItem> items_;
    Longlong total_;
};

}  // namespace zan
