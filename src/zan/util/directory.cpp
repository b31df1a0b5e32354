#include "zan/util/directory.h"

#include <ace/OS_NS_fcntl.h>
#include <ace/OS_NS_unistd.h>

#include <algorithm>
#include <cerrno>
#include <cstdint>
#include <typeinfo>
#include <utility>

#include "zan/base/exception.h"
#include "zan/log/log_logger.h"
#include "zan/platform/directory.h"
#include "zan/platform/file.h"
#include "zan/platform/last_error.h"
#include "zan/platform/native_path.h"
#include "zan/platform/utf8.h"
#include "zan/pml/ntv_integervalue.h"
#include "zan/pml/tree_access.h"
#include "zan/util/file.h"
#include "zan/util/names.h"

namespace zan {

namespace {

using platform::DirectoryReader;
using platform::FileStatus;
using pml::ntv::IntegerValue;
using pml::ntv::ListValue;
using pml::ntv::NodeArena;
using pml::ntv::Tracked;
using pml::ntv::TreeAccess;
using pml::ntv::Unit;

// Whether the tree can hold the name, and the path of an item give it back.
bool isText(char const* name, unsigned long n) {
    if (std::all_of(name, name + n, [](unsigned char c) { return c > 0 && c < 0x80 && c != '\\'; }))
        return true;
    std::wstring const wide = platform::libraryPath(name, n);
    return std::none_of(wide.begin(), wide.end(),
                        [](wchar_t c) { return c >= 0xD800 && c <= 0xDFFF; });
}

// Fills a tree. The directories on the way from the root lie on a stack; each is read in one go,
// then its sub-directories come one after the other, then its files.
class Walk {
public:
    bool run(iwstr const& dir, std::list<std::wstring> const& names, Unit* tree) {
        path_ = platform::nativePath(dir.data(), dir.size());
        levels_.push_back({tree, path_.size(), {}, {}, {}, 0});
        if (!(names.empty() ? readRoot() : take(dir, names))) return false;
        while (!levels_.empty()) {
            Level& level = levels_.back();
            path_.resize(level.pathSize);
            if (level.next != level.directories.size()) {
                if (!enter(level.unit, level.directories[level.next++])) return false;
                continue;
            }
            for (Tracked<Unit>& file : level.files) add(level.unit, std::move(file));
            levels_.pop_back();
        }
        return true;
    }

    // Of the units in the tree, but for the root.
    unsigned long count() const { return count_; }

private:
    struct SubDirectory {
        std::string name;    // UTF-8
        std::string native;  // where that is another
        bool link;
    };
    struct Level {
        Unit* unit;
        unsigned long pathSize;
        DirectoryReader::Identity identity;
        std::vector<SubDirectory> directories;
        std::vector<Tracked<Unit>> files;  // to be added behind the directories
        unsigned long next;
    };

    bool readRoot() {
        if (read(levels_.back(), false)) return true;
        if (!invalid_)
            ZAN_ERROR(detail::zanLogger(),
                      "cannot read directory: " << path_ << ": " << platform::errorText(errno));
        return false;
    }

    // The entries that the caller names.
    bool take(iwstr const& dir, std::list<std::wstring> const& names) {
        DirectoryReader home;  // for links that lead back to it
        if (home.open(path_.c_str())) levels_.back().identity = home.identity();
        for (std::wstring const& name : names) {
            Filename const full(dir, name);
            std::string const native = platform::nativePath(std::wstring(full.full()));
            FileStatus const status = platform::fileStatus(native.c_str());
            if (status.kind == FileStatus::MISSING) return invalid(native);
            if (name.empty()) return false;  // no child can be called so
            Bytes utf8;
            wstringToUtf8(name, utf8);
            if (status.kind == FileStatus::DIRECTORY)
                levels_.back().directories.push_back(
                    {std::string(istr(utf8)), platform::nativePath(std::wstring(full.file())),
                     status.link});
            else
                levels_.back().files.push_back(makeFile(utf8, status.size));
        }
        return true;
    }

    // False where the directory cannot be opened, or a name in it leads nowhere.
    bool read(Level& level, bool link) {
        DirectoryReader reader;
        if (!reader.open(path_.c_str())) return false;
        level.identity = reader.identity();
        if (link && std::any_of(levels_.begin(), levels_.end() - 1, [&](Level const& above) {
                return above.identity == level.identity;
            })) {
            ZAN_WARNING(detail::zanLogger(), "link back to a directory on the way: " << path_);
            return true;
        }
        char const* name = nullptr;
        FileStatus status;
        while (reader.next(name, status)) {
            unsigned long const n = StrLen(name);
            if (!isText(name, n)) {
                ZAN_WARNING(detail::zanLogger(), "name left out: " << path_ << '/' << name);
                continue;
            }
            if (status.kind == FileStatus::MISSING) return invalid(path_ + '/' + name);
            if (status.kind == FileStatus::DIRECTORY)
                level.directories.push_back({std::string(name, n), std::string(), status.link});
            else
                level.files.push_back(makeFile(istr(name, n), status.size));
        }
        if (errno != 0)
            ZAN_WARNING(detail::zanLogger(), "directory not read to its end: "
                                                 << path_ << ": " << platform::errorText(errno));
        return true;
    }

    bool invalid(std::string const& path) {
        invalid_ = true;
        ZAN_ERROR(detail::zanLogger(), "not valid file: " << path);
        return false;
    }

    bool enter(Unit* parent, SubDirectory const& sub) {
        Unit* const unit = add(parent, makeUnit(sub.name));
        unit->initValueAsList();
        bool const link = sub.link;
        if (!path_.empty()) path_ += '/';
        path_ += sub.native.empty() ? sub.name : sub.native;
        // No reference to a level survives this.
        levels_.push_back({unit, path_.size(), {}, {}, {}, 0});
        if (read(levels_.back(), link)) return true;
        if (invalid_) return false;
        ZAN_WARNING(detail::zanLogger(),
                    "cannot read directory: " << path_ << ": " << platform::errorText(errno));
        return true;
    }

    Tracked<Unit> makeUnit(istr const& name) {
        Tracked<Unit> unit(TreeAccess::makeUnit(nullptr, arena_));
        TreeAccess::name(*unit, name.data(), name.size());
        ++count_;
        return unit;
    }

    Tracked<Unit> makeFile(istr const& name, __int64 size) {
        Tracked<Unit> unit = makeUnit(name);
        void* const memory = arena_.take<IntegerValue>();
        unit->value(trackNew(new (memory) IntegerValue(size), ZAN_HERE));
        return unit;
    }

    // Gives the child.
    static Unit* add(Unit* parent, Tracked<Unit> unit) {
        try {
            TreeAccess::append(*parent, unit.get());
        } catch (DuplicatedUnitException const&) {
            // Named twice, or shown twice by a directory that changes.
            return parent->at(TreeAccess::name(*unit));
        }
        return unit.release();
    }

    NodeArena arena_;
    std::string path_;  // native, of the directory that is worked on
    std::vector<Level> levels_;
    unsigned long count_ = 0;
    bool invalid_ = false;
};

int handleOf(void* handle) {
    return static_cast<int>(reinterpret_cast<std::intptr_t>(handle));
}

void* openFile(iwstr const& path, int flags) {
    int const native = platform::openFlags(flags);
    std::string const name = platform::nativePath(path.data(), path.size());
    int handle;
    do {
        handle = ACE_OS::open(name.c_str(), native, platform::FILE_PERMISSION);
    } while (handle == -1 && errno == EINTR);
    return reinterpret_cast<void*>(static_cast<std::intptr_t>(handle));
}

FileStatus statusOf(iwstr const& path) {
    return platform::fileStatus(platform::nativePath(path.data(), path.size()).c_str());
}

}  // namespace

DirItem::DirItem(bool isDirectory, iwstr const& itemPath, __int64 itemSize,
                 pml::ntv::Unit const* itemUnit)
    : isDir(isDirectory), path(itemPath), size(itemSize), unit(itemUnit) {}

DirItem::DirItem(pml::ntv::Unit const& itemUnit, iwstr const& itemPath)
    : isDir(!itemUnit.simple()), path(itemPath), size(-1), unit(&itemUnit) {
    pml::ntv::ValueBase const* const value = itemUnit.value();
    if (value != nullptr && typeid(*value) == typeid(IntegerValue))
        size = static_cast<IntegerValue const*>(value)->data();
}

dumper& DirItem::dump(dumper& d) const {
    d.write(path).write(", ");
    return isDir.value() ? d.write("<dir>") : d.write(size.value());
}

bool Directory::setup(iwstr const& home) {
    return setup(home, std::list<std::wstring>());
}

bool Directory::setup(iwstr const& home, std::list<std::wstring> const& names) {
    homeDir_ = std::wstring(home);
    dirTree_.initValueAsList();
    Walk walk;
    if (!walk.run(homeDir_, names, &dirTree_)) return false;
    items_.reserve(items_.size() + walk.count());
    if (!recurseDirTree(iwstr(), dirTree_, &items_)) return false;
    __int64 total = 1;
    for (DirItem const& item : items_) total += std::max<__int64>(item.size.value(), 1);
    total_ = total;
    return true;
}

DirItem const& Directory::at(unsigned long i) const {
    if (i >= items_.size()) ZAN_THROW_PLAIN(zan::OutOfRangeException);
    return items_[i];
}

bool Directory::setupDirTree(iwstr const& dir, pml::ntv::Unit* tree) {
    return setupDirTree(dir, std::list<std::wstring>(), tree);
}

bool Directory::setupDirTree(iwstr const& dir, std::list<std::wstring> const& names,
                             pml::ntv::Unit* tree) {
    ZAN_ASSERT_TEXT_DO(tree != nullptr, "_tree!=0", "throw NullPointerException",
                       ZAN_THROW_PLAIN(zan::NullPointerException));
    tree->initValueAsList();
    return Walk().run(dir, names, tree);
}

bool Directory::recurseDirTree(iwstr const& path, pml::ntv::Unit const& tree,
                               std::vector<DirItem>* files) {
    ZAN_ASSERT_TEXT_DO(files != nullptr, "_files!=0", "throw NullPointerException",
                       ZAN_THROW_PLAIN(zan::NullPointerException));
    struct Level {
        std::vector<Unit*> const* units;
        unsigned long next;
        unsigned long pathSize;
    };
    std::vector<Level> levels;
    std::wstring full(path);
    std::wstring name;
    Unit const* unit = &tree;
    for (;;) {
        ListValue const* const list = unit->listValue();
        if (list == nullptr) return false;
        if (!full.empty()) files->emplace_back(*unit, full);
        levels.push_back({&list->data(), 0, full.size()});
        for (unit = nullptr; unit == nullptr;) {
            Level& level = levels.back();
            full.resize(level.pathSize);
            if (level.next == level.units->size()) {
                levels.pop_back();
                if (levels.empty()) return true;
                continue;
            }
            Unit const* const child = (*level.units)[level.next++];
            // As Filename merges the two.
            platform::utf8ToWide(child->name().data(), child->name().size(), name);
            if (!name.empty() && name.back() == Filename::separator()) name.pop_back();
            if (!full.empty()) full += Filename::separator();
            full += name;
            if (child->simple())
                files->emplace_back(*child, full);
            else
                unit = child;
        }
    }
}

dumper& Directory::dump(dumper& d) const {
    dumper::_Entry const entry(d, "zan::Directory");
    d << indent << namestring("homeDir_") << homeDir_ << endline;
    d << indent << namestring("dirTree_") << dirTree_ << endline;
    d << indent << namestring("items_") << items_ << endline;
    return d;
}

TriBool Directory::isDirectory(iwstr const& path) {
    FileStatus const status = statusOf(path);
    if (status.kind == FileStatus::MISSING) return TriBool();
    return status.kind == FileStatus::DIRECTORY;
}

__int64 Directory::getFileSize(iwstr const& path) {
    return statusOf(path).size;
}

bool Directory::createFile(iwstr const& path, bool truncate) {
    void* const handle = openFile(path, File::open_read_write_trunc(truncate, 0x0100));
    if (handleOf(handle) == -1) return false;
    closeFile(handle);
    return true;
}

void* Directory::openFileForRead(iwstr const& path) {
    return openFile(path, 0x8000);
}

void* Directory::openFileForWrite(iwstr const& path, bool truncate) {
    return openFile(path, File::open_read_write_trunc(truncate, 0x8102));
}

void Directory::closeFile(void* handle) {
    ACE_OS::close(handleOf(handle));
}

bool Directory::readFileAt(void* handle, __int64 offset, Bytes& out) {
    out.size(0);
    if (ACE_OS::llseek(handleOf(handle), offset, SEEK_SET) < 0) return false;
    if (out.data() == nullptr || out.max_size() == 0) return false;
    while (out.size() != out.max_size()) {
        long const got =
            ACE_OS::read(handleOf(handle), out.buffer() + out.size(), out.max_size() - out.size());
        if (got < 0 && errno == EINTR) continue;
        if (got < 0) return false;
        if (got == 0) break;
        out.size(out.size() + static_cast<unsigned long>(got));
    }
    return true;
}

bool Directory::writeFileAt(void* handle, __int64 offset, istr const& data) {
    if (ACE_OS::llseek(handleOf(handle), offset, SEEK_SET) < 0) return false;
    unsigned long const size = data.empty() ? 0 : data.size();
    for (unsigned long done = 0; done != size;) {
        long const put = ACE_OS::write(handleOf(handle), data.data() + done, size - done);
        if (put < 0 && errno == EINTR) continue;
        if (put <= 0) return false;
        done += static_cast<unsigned long>(put);
    }
    return true;
}

bool Directory::readFrom(iwstr const& path, __int64 offset, Bytes& out) {
    void* const handle = openFileForRead(path);
    if (handleOf(handle) == -1) return false;
    bool const good = readFileAt(handle, offset, out);
    closeFile(handle);
    return good;
}

bool Directory::writeTo(iwstr const& path, __int64 offset, istr const& data) {
    void* const handle = openFileForWrite(path, false);
    if (handleOf(handle) == -1) return false;
    bool const good = writeFileAt(handle, offset, data);
    closeFile(handle);
    return good;
}

}  // namespace zan
