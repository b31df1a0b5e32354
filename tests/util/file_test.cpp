#include "zan/util/file.h"

#include <gmock/gmock.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>
#include <thread>

#include "support/temp_dir.h"

namespace zan {
namespace {

using namespace std::string_literals;

class FileFixture : public testing::Test {
protected:
    std::wstring wide(std::string const& name) const { return libraryName(dir_.file(name)); }
    std::wstring make(std::string const& name, std::string const& content) const {
        return libraryName(dir_.put(name, content));
    }
    std::string content(std::string const& name) const { return dir_.content(name); }

    zan_test::TempDir dir_;
};

// --- Opening: what a mode does to the file that is there.

using FileOpening = FileFixture;

TEST_F(FileOpening, ANameAloneDoesNotOpen) {
    File file(make("a", "12345"));
    EXPECT_FALSE(file.valid());
    EXPECT_EQ(5, file.filesize());
    EXPECT_TRUE(file.open(0x8000));
    EXPECT_EQ(3, file.seek(3, File::SEEK_FROM_START));
    EXPECT_TRUE(file.open());  // stays where it is
    EXPECT_EQ(3, file.advance(0));
    EXPECT_TRUE(file.open(0x8000));  // anew
    EXPECT_EQ(0, file.advance(0));
    file.close();
    EXPECT_TRUE(file.reopen());
}

TEST_F(FileOpening, ModesKeepEmptyOrAppend) {
    std::wstring const name = make("a", "old content");
    EXPECT_TRUE(FileWriter(name).write("new"));
    EXPECT_EQ("new content", content("a"));
    EXPECT_TRUE(FileAppender(name).write("!"));
    EXPECT_EQ("new content!", content("a"));
    EXPECT_TRUE(FileWriter(name, true).write("x"));
    EXPECT_EQ("x", content("a"));
    FileReadWriter both(name);
    Bytes bytes;
    EXPECT_TRUE(both.readAll(bytes) && both.append("yz") && both.readAll(bytes));
    EXPECT_EQ("xyz", std::string(istr(bytes)));
    both.truncate(1);
    EXPECT_EQ(1, both.filesize());
    both.flush();
    EXPECT_FALSE(FileReader(name).write("no"));
    EXPECT_FALSE(FileReader(wide("none")).valid());
    FileWriter out(false);
    EXPECT_TRUE(out.open(wide("fresh")));
    EXPECT_NE(0, access(dir_.file("fresh").c_str(), X_OK));
}

TEST_F(FileOpening, FailuresAreFalseWithAReason) {
    for (auto const& name : {std::wstring(), wide("no/such/folder"), wide("a") + L'\0' + L"b"s}) {
        errno = 0;
        EXPECT_FALSE(FileWriter(name, true).valid());
        EXPECT_EQ(ENOENT, errno);
        EXPECT_EQ(-1, File(name).filesize());
    }
    EXPECT_FALSE(File(wide("a"), 0x40).valid());  // the system's own flag for "create"
    EXPECT_EQ(EINVAL, errno);
    File closed;
    Bytes bytes;
    String text;
    std::wstring line;
    EXPECT_FALSE(closed.read(bytes, 1) || closed.readAll(bytes) || closed.readLine(text) ||
                 closed.readLine(line) || closed.write("x") || closed.append("x"));
    EXPECT_EQ(-1, closed.readByte());
    EXPECT_EQ(-1, closed.rewind());
    closed.flush();
    closed.truncate(0);
}

TEST_F(FileOpening, NamesMayHaveAnySeparatorAndAnyBytes) {
    ASSERT_EQ(0, mkdir(dir_.file("sub").c_str(), 0777));
    std::wstring const folder = libraryName(dir_.path().string());
    EXPECT_TRUE(FileWriter(folder + L"\\sub/\u4e2d", true).write("x"));
    EXPECT_EQ(0, access(dir_.file("sub/\xE4\xB8\xAD").c_str(), F_OK));
    for (std::string const& name : {"sub/\xFF\xE4"s, "sub/a\\b"s}) {
        EXPECT_TRUE(FileWriter(wide(name), true).write("y"));
        EXPECT_EQ(0, access(dir_.file(name).c_str(), F_OK)) << testing::PrintToString(name);
    }
    EXPECT_EQ("a/b", nativeName(L"a\\b"));
}

// --- Copies have a descriptor of their own and harm nothing.

using FileCopies = FileFixture;

TEST_F(FileCopies, AreIndependentAndNeverTruncate) {
    FileWriter out(make("a", "old"), true);
    EXPECT_TRUE(out.write("content"));
    File copy(out);
    out.close();
    EXPECT_TRUE(copy.valid());
    EXPECT_EQ(0, copy.advance(0));
    File third;
    third = copy;
    third = *&third;
    EXPECT_TRUE(third.valid());
    EXPECT_EQ("content", content("a"));
    third = out;  // closed
    EXPECT_FALSE(third.valid());
    EXPECT_TRUE(third.filename() == out.filename());
    EXPECT_TRUE(copy.reopen());  // now by its flags
    EXPECT_EQ("", content("a"));
}

// --- Reading.

using FileReading = FileFixture;

TEST_F(FileReading, NeverGivesMoreThanWasAskedFor) {
    FileReader file(make("a", "0123456789"));
    Bytes bytes(100);
    EXPECT_TRUE(file.read(bytes, 4));
    EXPECT_EQ("0123", std::string(istr(bytes)));
    EXPECT_TRUE(file.read(bytes, 0));
    EXPECT_TRUE(bytes.empty());
    EXPECT_TRUE(file.read(bytes));  // as the capacity
    EXPECT_EQ("456789", std::string(istr(bytes)));
    EXPECT_TRUE(file.read(bytes, 4));
    EXPECT_TRUE(bytes.empty());  // the end
    EXPECT_EQ(8, file.seekEnd(-2));
    EXPECT_EQ('8', file.readByte());
    EXPECT_EQ(8, file.putback(1));
    String text;
    EXPECT_TRUE(file.read(text, 10));
    EXPECT_EQ("89", text);
    EXPECT_EQ(-1, file.readByte());
    EXPECT_FALSE(file.read(bytes, ~0UL - 1));  // refused, not thrown
    EXPECT_FALSE(FileReader(libraryName(dir_.path().string())).read(bytes, 4));
    EXPECT_TRUE(file.rewind() == 0 && file.readAll(text));
    EXPECT_EQ(10, file.advance(0));
    EXPECT_TRUE(file.readAll(text));
    EXPECT_EQ("0123456789", text);
}

TEST_F(FileReading, FilesOfUnknownSizeAreReadToTheirEnd) {
    String text;
    EXPECT_TRUE(FileReader(L"/proc/self/status").readAll(text));
    EXPECT_NE(std::string::npos, text.find("\nPid:"));
    EXPECT_TRUE(FileReader(make("empty", "")).readAll(text));
    EXPECT_EQ("", text);
}

// All lines, with the position after each, and the rest.
std::vector<std::string> lines(File const& file) {
    std::vector<std::string> result;
    String line;
    while (file.readLine(line)) result.push_back(line + "@" + std::to_string(file.advance(0)));
    result.push_back(line);
    return result;
}

TEST_F(FileReading, LinesEndInThreeWays) {
    std::pair<std::string, std::vector<std::string>> const table[] = {
        {"a\r\nb\rc\n\r\r\n\nd", {"a@3", "b@5", "c@7", "@8", "@10", "@11", "d"}},
        {"", {""}},
        {"x\r", {"x@2", ""}},
        {"\0x\n"s, {"\0x@3"s, ""}}};
    for (auto const& [text, wanted] : table) EXPECT_EQ(wanted, lines(FileReader(make("a", text))));
    // Anywhere in a block.
    for (unsigned long length = 1018; length < 1030; ++length)
        for (std::string const& end : {"\n"s, "\r"s, "\r\n"s}) {
            std::string const text(length, 'x');
            std::string const line = text + "@" + std::to_string(length + end.size());
            EXPECT_THAT(lines(FileReader(make("a", text + end + "y"))),
                        testing::ElementsAre(line, "y"));
        }
}

TEST_F(FileReading, LinesOfAPipeTakeNothingThatFollows) {
    std::string const name = dir_.file("pipe");
    ASSERT_EQ(0, mkfifo(name.c_str(), 0600));
    std::thread writer([&] { FileWriter(wide("pipe")).write("one\ntwo\r\nthree"); });
    FileReader file(wide("pipe"));
    String line;
    EXPECT_TRUE(file.readLine(line));
    EXPECT_EQ("one", line);
    EXPECT_EQ('t', file.readByte());
    EXPECT_TRUE(file.readLine(line));
    EXPECT_EQ("wo", line);
    EXPECT_FALSE(file.readLine(line));
    EXPECT_EQ("three", line);
    writer.join();
}

// --- Text.

using FileText = FileFixture;

TEST_F(FileText, WideTextGoesThroughTheCodePage) {
    std::wstring const name = wide("a");
    FileWriter out(name, true);
    EXPECT_TRUE(out.writeLine(iwstr(L"\u4e2d\u6587"), 936));
    EXPECT_TRUE(out.writeLine(iwstr(L"\u00e9"), 65001, "|"));
    EXPECT_TRUE(out.writeLine("end", "\n"));
    out.close();
    EXPECT_EQ("\xD6\xD0\xCE\xC4\r\n\xC3\xA9|end\n", content("a"));
    FileReader in(name);
    std::wstring text;
    EXPECT_TRUE(in.readLine(text, 936));
    EXPECT_TRUE(text == L"\u4e2d\u6587");
    EXPECT_TRUE(in.read(text, 3));  // the default is UTF-8
    EXPECT_TRUE(text == L"\u00e9|");
    EXPECT_TRUE(in.readAll(text, 28591));
    EXPECT_EQ(13U, text.size());
}

TEST_F(FileText, AFullDiskIsAFailureAndEndsTheLine) {
    File full(L"/dev/full", 1);
    if (!full.valid()) GTEST_SKIP() << "no /dev/full here";
    errno = 0;
    EXPECT_FALSE(full.writeLine("text", "\n"));
    EXPECT_EQ(ENOSPC, errno);
    EXPECT_TRUE(full.write(""));
}

}  // namespace
}  // namespace zan
