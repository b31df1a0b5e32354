#include "zan/util/directory.h"

#include <fcntl.h>
#include <gtest/gtest.h>
#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <filesystem>
#include <fstream>
#include <map>

#include "support/assertions.h"
#include "support/log_capture.h"
#include "support/temp_dir.h"
#include "zan/base/exception.h"
#include "zan/log/log_dumper.h"
#include "zan/pml/pml_t.h"
#include "zan/util/file.h"

namespace {

using namespace zan;
namespace fs = std::filesystem;

class DirectoryWalk : public testing::Test {
protected:
    void file(std::string const& name, std::size_t size) {
        std::ofstream(dir_.file(name)) << std::string(size, 'x');
    }
    void folder(std::string const& name) { fs::create_directories(dir_.path() / name); }
    void link(std::string const& to, std::string const& name) {
        fs::create_symlink(to, dir_.path() / name);
    }
    std::wstring home() const { return libraryName(dir_.path().string()); }
    std::wstring in(std::wstring const& name) const { return home() + L'\\' + name; }

    static std::map<std::wstring, __int64> sizes(Directory const& d) {
        std::map<std::wstring, __int64> result;
        for (DirItem const& item : d.items()) {
            EXPECT_TRUE(!item.isDir || item.size == -1);
            EXPECT_TRUE(result.emplace(item.path, item.size).second);
        }
        return result;
    }

    zan_test::TempDir dir_;
    zan_test::LogCapture log_;
};

TEST_F(DirectoryWalk, ShowsDirectoriesAheadOfTheirContent) {
    Directory empty;
    EXPECT_TRUE(empty.setup(home()));
    EXPECT_EQ(0u, empty.numof());
    EXPECT_EQ(1, empty.totalSize());
    folder("sub/deeper");
    folder("void");
    file("sub/a.txt", 0);
    file("sub/deeper/b", 2);
    file("c", 100);
    file("\xC3\xA4", 1);
    Directory d;
    EXPECT_TRUE(d.setup(home() + L"/"));
    std::map<std::wstring, __int64> const want{
        {L"sub", -1},  {L"sub\\a.txt", 0}, {L"sub\\deeper", -1}, {L"sub\\deeper\\b", 2},
        {L"void", -1}, {L"c", 100},        {L"\u00E4", 1}};
    EXPECT_EQ(want, sizes(d));
    EXPECT_EQ(1 + 3 + 1 + 2 + 100 + 1, d.totalSize());
    auto const place = [&](std::wstring const& path) {
        return std::find_if(d.items().begin(), d.items().end(),
                            [&](DirItem const& item) { return item.path == path; }) -
               d.items().begin();
    };
    EXPECT_LT(place(L"sub"), place(L"sub\\deeper"));
    EXPECT_LT(place(L"sub\\deeper\\b"), place(L"sub\\a.txt"));
    EXPECT_LT(place(L"void"), place(L"c"));
    EXPECT_EQ(d.files().find("/sub/deeper"),
              d.at(static_cast<unsigned long>(place(L"sub\\deeper"))).unit);
    EXPECT_THROW((void)d.at(d.numof()), OutOfRangeException);
    dumper text(true);
    d.items()[static_cast<unsigned long>(place(L"c"))].dump(text);
    d.items()[static_cast<unsigned long>(place(L"void"))].dump(text);
    EXPECT_EQ("c, 100void, <dir>", text.str());
    EXPECT_EQ(L"x", DirItem(false, L"x", 5, nullptr).path);
    EXPECT_EQ(0, DirItem().size.value());

    // Only some of it; what stands below is read in full.
    Directory some;
    EXPECT_TRUE(some.setup(home(), {L"c", L"sub", L"c"}));
    EXPECT_EQ(5u, some.numof());
    EXPECT_EQ(L"sub", some.at(0).path);
    EXPECT_FALSE(log_.has("not valid file"));
    EXPECT_FALSE(Directory().setup(home(), {L"c", L"nothing"}));
    EXPECT_EQ(1u, log_.count("not valid file: "));
    EXPECT_FALSE(Directory().setup(home(), {L""}));
    EXPECT_FALSE(Directory().setup(in(L"nothing")));
    EXPECT_FALSE(Directory().setup(in(L"c")));
    EXPECT_FALSE(Directory().setup(L""));
}

TEST_F(DirectoryWalk, FollowsLinksButNotInCircles) {
    folder("a/b");
    file("a/f", 7);
    link("../..", "a/b/up");
    link("b", "a/side");
    link("f", "a/g");
    link("/dev/null", "null");
    ASSERT_EQ(0, mkfifo(dir_.file("fifo").c_str(), 0600));
    Directory d;
    EXPECT_TRUE(d.setup(home()));
    std::map<std::wstring, __int64> const want{
        {L"a", -1},   {L"a\\b", -1}, {L"a\\b\\up", -1}, {L"a\\side", -1}, {L"a\\side\\up", -1},
        {L"a\\f", 7}, {L"a\\g", 7},  {L"null", 0},      {L"fifo", -1}};
    EXPECT_EQ(want, sizes(d));
    EXPECT_EQ(2u, log_.count("link back to a directory on the way: "));
    Directory some;
    EXPECT_TRUE(some.setup(home(), {L"a"}));
    EXPECT_EQ(7u, some.numof());
    link("nowhere", "broken");
    EXPECT_FALSE(Directory().setup(home()));
    EXPECT_EQ(1u, log_.count("not valid file: "));
}

TEST_F(DirectoryWalk, LeavesOutWhatItCannotHold) {
    file("good", 3);
    file("bad\xFF", 3);
    file("back\\slash", 3);
    Directory d;
    EXPECT_TRUE(d.setup(home()));
    EXPECT_EQ(1u, d.numof());
    EXPECT_EQ(2u, log_.count("name left out: "));
    if (geteuid() == 0) return;  // who may read everything
    folder("closed");
    ASSERT_EQ(0, chmod(dir_.file("closed").c_str(), 0));
    Directory other;
    EXPECT_TRUE(other.setup(home()));
    EXPECT_EQ(2u, other.numof());
    EXPECT_TRUE(log_.has("cannot read directory: "));
    chmod(dir_.file("closed").c_str(), 0700);
}

// Deeper than any path of the system reaches: the rest is left out with a line.
TEST_F(DirectoryWalk, TakesNoStackForDepth) {
    int at = open(dir_.path().c_str(), O_RDONLY | O_DIRECTORY);
    std::string const name(200, 'd');
    for (int i = 0; i < 30; ++i) {
        ASSERT_EQ(0, mkdirat(at, name.c_str(), 0700));
        int const below = openat(at, name.c_str(), O_RDONLY | O_DIRECTORY);
        close(at);
        at = below;
    }
    close(at);
    file("last", 5);
    Directory d;
    EXPECT_TRUE(d.setup(home()));
    EXPECT_GT(d.numof(), 15u);
    EXPECT_LT(d.numof(), 25u);
    EXPECT_EQ(L"last", d.items().back().path);
    EXPECT_EQ(1u, log_.count("cannot read directory: "));

    pml::ntv::Unit deep("root");
    deep.initValueAsList();
    pml::ntv::Unit* unit = &deep;
    for (int i = 0; i < 3000; ++i) {
        unit = unit->at("d");
        unit->initValueAsList();
    }
    std::vector<DirItem> items;
    EXPECT_TRUE(Directory::recurseDirTree(iwstr(), deep, &items));
    EXPECT_EQ(3000u, items.size());
    unit->addChild("x");
    (*unit)["y"].at("z");
    items.clear();
    EXPECT_TRUE(Directory::recurseDirTree(L"r", *unit, &items));
    ASSERT_EQ(4u, items.size());
    EXPECT_EQ(L"r\\y\\z", items[3].path);
    EXPECT_EQ(-1, items[3].size.value());
    EXPECT_FALSE(Directory::recurseDirTree(L"r", pml::ntv::Unit("leaf"), &items));
}

TEST_F(DirectoryWalk, IsKeptAsPmlAndReadBack) {
    for (int i = 0; i < 6; ++i) {
        std::string const sub = "folder" + std::to_string(i);
        folder(sub);
        for (int j = 0; j < 50; ++j)
            file(sub + "/[" + std::to_string(j) + "] \"{odd}\" n\xC3\xA4me=",
                 static_cast<std::size_t>(j % 3));
    }
    Directory d;
    ASSERT_TRUE(d.setup(home()));
    ASSERT_EQ(306u, d.numof());
    pml::ntv::Unit read;
    ASSERT_TRUE(pml::ntvFromPml(read, istr(d.files().str())));
    std::vector<DirItem> items;
    EXPECT_TRUE(Directory::recurseDirTree(iwstr(), read, &items));
    ASSERT_EQ(d.numof(), items.size());
    for (unsigned long i = 0; i < items.size(); ++i) {
        EXPECT_EQ(d.at(i).path, items[i].path);
        __int64 size = -1;
        if (!d.at(i).isDir) *items[i].unit >> size;
        EXPECT_EQ(d.at(i).size.value(), size);
    }
}

TEST_F(DirectoryWalk, NullPointersAreReported) {
    SKIP_WHERE_ASSERTIONS_ABORT();
    EXPECT_THROW(Directory::setupDirTree(home(), nullptr), NullPointerException);
    EXPECT_THROW(Directory::recurseDirTree(home(), pml::ntv::Unit(), nullptr),
                 NullPointerException);
}

using DirectoryFile = DirectoryWalk;

TEST_F(DirectoryFile, KindsAndSizes) {
    file("empty", 0);
    file("full", 4);
    folder("sub");
    link("full", "link");
    link("nowhere", "broken");
    struct {
        wchar_t const* name;
        int isDirectory;
        __int64 size;
    } const cases[] = {{L"empty", 0, 0}, {L"full", 0, 4},     {L"sub", 1, -1},
                       {L"link", 0, 4},  {L"broken", -1, -1}, {L"none", -1, -1}};
    for (auto const& c : cases) {
        EXPECT_EQ(c.isDirectory, Directory::isDirectory(in(c.name)).value()) << c.size;
        EXPECT_EQ(c.size, Directory::getFileSize(in(c.name)));
        EXPECT_EQ(c.size == 0, Directory::isEmptyFile(in(c.name)));
    }
    EXPECT_FALSE(TriBool().valid());
    EXPECT_TRUE(TriBool(true).isTrue() && TriBool(false).isFalse());
    EXPECT_NE(TriBool(), TriBool(false));
    EXPECT_TRUE(Directory::createFile(in(L"full"), false));
    EXPECT_EQ(4, Directory::getFileSize(in(L"full")));
    EXPECT_TRUE(Directory::createFile(in(L"full"), true));
    EXPECT_TRUE(Directory::isEmptyFile(in(L"full")));
    EXPECT_FALSE(Directory::createFile(in(L"none\\x"), true));
}

TEST_F(DirectoryFile, PiecesAreReadAndWritten) {
    std::wstring const path = in(L"data");
    Bytes piece(4);
    EXPECT_FALSE(Directory::readFrom(path, 0, piece));
    EXPECT_TRUE(Directory::writeTo(path, 0, "0123456789"));
    EXPECT_TRUE(Directory::writeTo(path, 4, "ab"));
    EXPECT_TRUE(Directory::writeTo(path, 12, ""));
    EXPECT_TRUE(Directory::readFrom(path, 3, piece));
    EXPECT_EQ(istr("3ab6"), istr(piece));
    EXPECT_TRUE(Directory::readFrom(path, 8, piece));
    EXPECT_EQ(istr("89"), istr(piece));
    EXPECT_TRUE(Directory::readFrom(path, 10, piece));
    EXPECT_TRUE(piece.empty());
    EXPECT_FALSE(Directory::readFrom(path, -1, piece));
    Bytes none;
    EXPECT_FALSE(Directory::readFrom(path, 0, none));
    void* const handle = Directory::openFileForWrite(path, true);
    EXPECT_TRUE(Directory::isEmptyFile(path));
    EXPECT_FALSE(Directory::writeFileAt(handle, -1, "x"));
    EXPECT_TRUE(Directory::writeFileAt(handle, 2, "x"));
    EXPECT_TRUE(Directory::readFileAt(handle, 0, piece));
    EXPECT_EQ(istr("\0\0x", 3), istr(piece));
    Directory::closeFile(handle);
    EXPECT_FALSE(Directory::readFileAt(handle, 0, piece));
    EXPECT_TRUE(piece.empty());
    EXPECT_EQ(reinterpret_cast<void*>(-1), Directory::openFileForRead(in(L"none")));
    EXPECT_FALSE(Directory::writeTo(in(L"none\\x"), 0, "x"));
}

}  // namespace
