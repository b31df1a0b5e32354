#include "zan/util/cmdline_queue.h"

#include <gtest/gtest.h>

#include <atomic>
#include <sstream>
#include <thread>

#include "support/log_capture.h"
#include "support/standard_input.h"
#include "zan/log/console.h"

namespace {

using namespace zan;

// Besides, std::cerr is a string.
class Screen : public zan_test::StandardInput {
public:
    explicit Screen(std::string const& input) : StandardInput(input) {
        saved_ = std::cerr.rdbuf(output_.rdbuf());
        // A prompt that an earlier reader has left standing would not be shown again.
        console::destroy();
        console::setOn(false);
    }
    ~Screen() { std::cerr.rdbuf(saved_); }
    std::string shown() const { return output_.str(); }

private:
    std::ostringstream output_;
    std::streambuf* saved_;
};

TEST(CommandLines, ComeInOrderAndWithoutTheReadersOwn) {
    zan_test::LogCapture const log;
    Screen const screen("first\n\nnoprompt()\nsecond\nprompt()\nprompt() \n");
    CmdLineQueue queue;
    ASSERT_TRUE(queue.open(L"> "));
    for (wchar_t const* want : {L"first", L"second", L"prompt() "}) {
        std::wstring line;
        ASSERT_TRUE(queue.get(line, Time::seconds(60)));
        EXPECT_EQ(want, line);
    }
    queue.close();
    EXPECT_TRUE(log.has("turn off prompt") && log.has("turn on prompt"));
    EXPECT_EQ("> > > > ", screen.shown().substr(0, 8));
}

TEST(CommandLines, AWaitEndsByItsTimeOrByTheClose) {
    CmdLineQueue queue;
    std::wstring line = L"kept";
    EXPECT_FALSE(queue.get(line, Time()));
    EXPECT_FALSE(queue.get(line, Time::milliSeconds(1)));
    std::atomic<bool> ended{false};
    std::thread waiting([&] {
        EXPECT_FALSE(queue.get(line, Time::forever()));
        ended = true;
    });
    while (!ended) {  // a close that comes ahead of the wait wakes nobody
        queue.close();
        ThreadControl::yield();
    }
    waiting.join();
    EXPECT_EQ(L"kept", line);
}

TEST(CommandLines, ASecondOpenReplacesTheThread) {
    zan_test::LogCapture const log;
    Screen const screen("");
    CmdLineQueue queue;
    ASSERT_TRUE(queue.open(L""));
    ASSERT_TRUE(queue.open(L""));
    EXPECT_EQ(1u, log.count("thread stopped."));
    queue.close();
    EXPECT_EQ(2u, log.count("thread stopped."));
}

}  // namespace
