#include "zan/util/directory.h"

#include <fcntl.h>
#include <gmock/gmock.h>
#include <sys/stat.h>
#include <unistd.h>

#include <filesystem>

#include "support/assertions.h"
#include "support/log_capture.h"
#include "support/pml.h"
#include "support/temp_dir.h"
#include "support/text.h"
#include "zan/zan.h"

namespace {

using namespace zan;
namespace fs = std::filesystem;
using testing::AllOf, testing::ElementsAre, testing::Gt, testing::Lt, testing::UnorderedElementsAre;

class DirectoryWalk : public testing::Test {
protected:
    void file(std::string const& name, std::size_t size) { dir_.put(name, std::string(size, 'x')); }
    void folder(std::string const& name) { fs::create_directories(dir_.path() / name); }
    void link(std::string const& to, std::string const& name) {
        fs::create_symlink(to, dir_.path() / name);
    }
    std::wstring home() const { return libraryName(dir_.path().string()); }
    std::wstring in(std::wstring const& name) const { return home() + L'\\' + name; }

    // Each item as it dumps itself.
    static std::vector<std::string> items(std::vector<DirItem> const& all) {
        std::vector<std::string> texts;
        for (DirItem const& item : all) {
            EXPECT_TRUE(!item.isDir || item.size == -1);
            texts.push_back(zan_test::dumped(item, true));
        }
        return texts;
    }
    std::vector<std::string> walked() const {
        Directory d;
        EXPECT_TRUE(d.setup(home()));
        return items(d.items());
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
    file("sub/a.txt", 0);
    file("sub/deeper/b", 2);
    file("\xC3\xA4", 1);
    Directory d;
    EXPECT_TRUE(d.setup(home() + L"/"));
    EXPECT_THAT(items(d.items()), ElementsAre("sub, <dir>", "sub\\deeper, <dir>",
                                              "sub\\deeper\\b, 2", "sub\\a.txt, 0", "\xC3\xA4, 1"));
    EXPECT_EQ(1 + 2 + 1 + 2 + 1, d.totalSize());
    EXPECT_EQ(d.files().find("/sub/deeper"), d.at(1).unit);
    EXPECT_THROW((void)d.at(d.numof()), OutOfRangeException);
    EXPECT_EQ("x, 5", zan_test::dumped(DirItem(false, L"x", 5, nullptr), true));

    // Only some of it; what stands below is read in full.
    file("c", 100);
    Directory some;
    EXPECT_TRUE(some.setup(home(), {L"c", L"sub", L"c"}));
    EXPECT_EQ(5u, some.numof());
    EXPECT_EQ(L"sub", some.at(0).path);
    EXPECT_FALSE(log_.has("not valid file"));
    EXPECT_FALSE(Directory().setup(home(), {L"c", L"nothing"}));
    EXPECT_EQ(1u, log_.count("not valid file: "));
    EXPECT_FALSE(Directory().setup(home(), {L""}));
    for (std::wstring const& root : {in(L"nothing"), in(L"c"), std::wstring()})
        EXPECT_FALSE(Directory().setup(root));
}

TEST_F(DirectoryWalk, FollowsLinksButNotInCircles) {
    folder("a/b");
    file("a/f", 7);
    link("../..", "a/b/up");
    link("b", "a/side");
    link("f", "a/g");
    link("/dev/null", "null");
    ASSERT_EQ(0, mkfifo(dir_.file("fifo").c_str(), 0600));
    EXPECT_THAT(walked(), UnorderedElementsAre("a, <dir>", "a\\b, <dir>", "a\\b\\up, <dir>",
                                               "a\\side, <dir>", "a\\side\\up, <dir>", "a\\f, 7",
                                               "a\\g, 7", "null, 0", "fifo, -1"));
    EXPECT_EQ(2u, log_.count("link back to a directory on the way: "));
    link("nowhere", "broken");
    EXPECT_FALSE(Directory().setup(home()));
    EXPECT_EQ(1u, log_.count("not valid file: "));
}

TEST_F(DirectoryWalk, LeavesOutWhatItCannotHold) {
    file("good", 3);
    file("bad\xFF", 3);
    file("back\\slash", 3);
    EXPECT_THAT(walked(), ElementsAre("good, 3"));
    EXPECT_EQ(2u, log_.count("name left out: "));
    if (geteuid() == 0) return;  // who may read everything
    folder("closed");
    ASSERT_EQ(0, chmod(dir_.file("closed").c_str(), 0));
    EXPECT_THAT(walked(), ElementsAre("closed, <dir>", "good, 3"));
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
    std::vector<std::string> const reached = walked();
    EXPECT_THAT(reached.size(), AllOf(Gt(15u), Lt(25u)));
    EXPECT_EQ("last, 5", reached.back());
    EXPECT_EQ(1u, log_.count("cannot read directory: "));

    pml::ntv::Unit deep("root");
    deep.initValueAsList();
    pml::ntv::Unit* unit = &deep;
    for (int i = 0; i < 3000; ++i) {
        unit = unit->at("d");
        unit->initValueAsList();
    }
    std::vector<DirItem> all;
    EXPECT_TRUE(Directory::recurseDirTree(iwstr(), deep, &all));
    EXPECT_EQ(3000u, all.size());
    (*unit)["y"].at("z");
    all.clear();
    EXPECT_TRUE(Directory::recurseDirTree(L"r", *unit, &all));
    EXPECT_THAT(items(all), ElementsAre("r, <dir>", "r\\y, <dir>", "r\\y\\z, -1"));
    EXPECT_FALSE(Directory::recurseDirTree(L"r", pml::ntv::Unit("leaf"), &all));
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
    std::vector<DirItem> read;
    pml::ntv::Unit const files = zan_test::parsedPml(d.files().str());
    EXPECT_TRUE(Directory::recurseDirTree(iwstr(), files, &read));
    ASSERT_EQ(d.numof(), read.size());
    for (unsigned long i = 0; i < read.size(); ++i) {
        __int64 size = -1;
        if (!d.at(i).isDir) *read[i].unit >> size;
        EXPECT_EQ(d.at(i).path, read[i].path);
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
    std::tuple<wchar_t const*, int, __int64> const cases[] = {
        {L"empty", 0, 0}, {L"full", 0, 4},     {L"sub", 1, -1},
        {L"link", 0, 4},  {L"broken", -1, -1}, {L"none", -1, -1}};
    for (auto const& [name, isDirectory, size] : cases) {
        EXPECT_EQ(isDirectory, Directory::isDirectory(in(name)).value()) << size;
        EXPECT_EQ(size, Directory::getFileSize(in(name)));
        EXPECT_EQ(size == 0, Directory::isEmptyFile(in(name)));
    }
    EXPECT_FALSE(TriBool().valid());
    EXPECT_TRUE(TriBool(true).isTrue() && TriBool(false).isFalse());
    EXPECT_NE(TriBool(), TriBool(false));
    for (bool const anew : {false, true}) {
        EXPECT_TRUE(Directory::createFile(in(L"full"), anew));
        EXPECT_EQ(anew ? 0 : 4, Directory::getFileSize(in(L"full")));
    }
    EXPECT_FALSE(Directory::createFile(in(L"none\\x"), true));
}

TEST_F(DirectoryFile, PiecesAreReadAndWritten) {
    std::wstring const path = in(L"data");
    Bytes piece(4);
    EXPECT_FALSE(Directory::readFrom(path, 0, piece));
    EXPECT_TRUE(Directory::writeTo(path, 0, "0123456789"));
    EXPECT_TRUE(Directory::writeTo(path, 4, "ab"));
    EXPECT_TRUE(Directory::writeTo(path, 12, ""));
    for (auto const& [from, wanted] :
         {std::pair(3, "3ab6"), std::pair(8, "89"), std::pair(10, "")}) {
        EXPECT_TRUE(Directory::readFrom(path, from, piece));
        EXPECT_EQ(istr(wanted), istr(piece));
    }
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
    EXPECT_EQ(reinterpret_cast<void*>(-1), Directory::openFileForRead(in(L"none")));
    EXPECT_FALSE(Directory::writeTo(in(L"none\\x"), 0, "x"));
}

}  // namespace
