#include "zan/log/console.h"

#include <fcntl.h>
#include <gmock/gmock.h>
#include <unistd.h>

#include <iostream>
#include <sstream>

namespace {

using namespace zan;

// The console writes to the standard error stream: its buffer is replaced for one test.
class ConsoleTest : public testing::Test {
protected:
    ConsoleTest() : old_(std::cerr.rdbuf(shown_.rdbuf())), on_(console::isOn()) {
        console::close();
        console::setOn(true);
        console::flush();
        shown_.str("");
    }
    ~ConsoleTest() override {
        console::close();
        console::setOn(on_);
        std::cerr.rdbuf(old_);
    }
    std::string shown() { return shown_.str(); }

private:
    std::ostringstream shown_;
    std::streambuf* old_;
    bool on_;
};

using ConsoleOutput = ConsoleTest;
using ConsoleInput = ConsoleTest;

TEST_F(ConsoleOutput, IsHeldBackUntilAFlushAndKeepsItsOrder) {
    console::print("a");
    console::println(L"b\u00e4");
    console::print("cde", 2);
    console::println(L"xyz", 1);
    console::println(String("end"));
    EXPECT_EQ("", shown());
    console::flush();
    EXPECT_EQ("ab\xc3\xa4\ncdx\nend\n", shown());
}

TEST_F(ConsoleOutput, ClosingShowsWhatWasPrintedBefore) {
    console::open();
    console::open();  // replaces the thread
    std::string want;
    for (int i = 0; i < 300; ++i) {
        console::println(String() << "line " << i);
        want += "line " + std::to_string(i) + "\n";
    }
    console::close();
    EXPECT_THAT(shown(), testing::HasSubstr(want)) << "at once, and in order";
    console::print("after");
    EXPECT_THAT(shown(), testing::Not(testing::HasSubstr("after")));
    console::flush();
    EXPECT_THAT(shown(), testing::EndsWith("after"));
}

TEST_F(ConsoleOutput, WhatIsPrintedOrShownWhileOffIsLost) {
    console::setOn(false);
    console::print("lost");
    console::setOn(true);
    console::print("cached");
    console::on() = false;
    console::flush();
    console::setOn(true);
    console::flush();
    EXPECT_EQ("", shown());
}

// Standard input, replaced by a pipe.
class Keyboard {
public:
    Keyboard() : saved_(dup(0)) {
        int ends[2];
        if (pipe(ends) != 0) std::abort();
        dup2(ends[0], 0);
        ::close(ends[0]);
        write_ = ends[1];
        std::cin.clear();
    }
    ~Keyboard() {
        dup2(saved_, 0);
        ::close(saved_);
        if (write_ != -1) ::close(write_);
        std::cin.clear();
        clearerr(stdin);
    }
    void type(std::string const& text) {
        EXPECT_EQ(static_cast<ssize_t>(text.size()), ::write(write_, text.data(), text.size()));
    }

private:
    int saved_;
    int write_ = -1;
};

TEST_F(ConsoleInput, EveryLineOfOneWriteIsDelivered) {
    Keyboard keyboard;
    String line("old");
    EXPECT_FALSE(console::readline(line, "? "));
    EXPECT_FALSE(console::readline(line, "? "));
    EXPECT_EQ("old", line);
    EXPECT_EQ("? ", shown()) << "the prompt stands once";
    keyboard.type("one\ntwo\n\xc3\xa4\n");
    for (char const* const want : {"one", "two", "\xc3\xa4"}) {
        ASSERT_TRUE(console::readline(line, "? "));
        EXPECT_EQ(want, line);
    }
    EXPECT_FALSE(console::readline(line, ""));
}

TEST_F(ConsoleInput, OutputPushesThePromptDown) {
    Keyboard keyboard;
    String line;
    EXPECT_FALSE(console::readline(line, "> "));
    console::println("news");
    console::flush();
    EXPECT_FALSE(console::readline(line, "> "));
    EXPECT_EQ("> \nnews\n> ", shown());
    std::wstring wide;
    EXPECT_FALSE(console::readline(wide, L"$ "));
    EXPECT_EQ("> \nnews\n> ", shown()) << "a new prompt waits until the old one is done with";
    keyboard.type("\n");
    EXPECT_TRUE(console::readline(line, "> ")) << "no later test finds the prompt";
}

}  // namespace
