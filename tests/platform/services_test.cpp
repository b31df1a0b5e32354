#include <fcntl.h>
#include <gtest/gtest.h>
#include <poll.h>
#include <signal.h>
#include <sys/socket.h>
#include <sys/wait.h>
#include <unistd.h>

#include <atomic>
#include <cerrno>

#include "support/threads.h"
#include "zan/platform/clock.h"
#include "zan/platform/file.h"
#include "zan/platform/quit_signal.h"
#include "zan/platform/tcp_socket.h"
#include "zan/platform/thread.h"

#if defined(__has_feature)
#if __has_feature(thread_sanitizer)
#define ZAN_UNDER_TSAN
#endif
#elif defined(__SANITIZE_THREAD__)
#define ZAN_UNDER_TSAN
#endif

namespace zan::platform {
namespace {

TEST(PlatformClock, TheCoarseOneFollowsTheFineOne) {
    long long frequency = 0;
    long long now = 0;
    ASSERT_TRUE(queryFrequency(frequency));
    EXPECT_EQ(1000000000, frequency);
    long long const coarse = coarseMilliSeconds();
    ASSERT_TRUE(readCounter(now));
    EXPECT_LE(coarse, now / 1000000);
    sleepMilliSeconds(25);
    EXPECT_GE(coarseMilliSeconds() - coarse, 10);
}

TEST(PlatformFile, OpenFlagsAreTranslatedOrRefused) {
    std::pair<int, int> const known[] = {{0x8000, O_RDONLY},
                                         {0x4000, O_RDONLY},
                                         {0x8101, O_WRONLY | O_CREAT},
                                         {0x8302, O_RDWR | O_CREAT | O_TRUNC},
                                         {0x8109, O_WRONLY | O_CREAT | O_APPEND}};
    for (auto const& [flags, native] : known) EXPECT_EQ(native | O_CLOEXEC, openFlags(flags));
    for (int flags : {0x0003, 0x0040, 0x0004, -1, O_CREAT | O_WRONLY}) {
        errno = 0;
        EXPECT_EQ(-1, openFlags(flags)) << flags;
        EXPECT_EQ(EINVAL, errno);
    }
}

// --- Quit signals.

// What the callbacks were called with, and by which thread.
struct Calls : zan_test::Gate {
    std::vector<int> signals;
    std::vector<unsigned> threads;

    void add(int signal) {
        change([&] {
            signals.push_back(signal);
            threads.push_back(threadId());
        });
    }
    void waitFor(unsigned long n) {
        EXPECT_TRUE(wait([&] { return signals.size() >= n; }));
    }
    void clear() {
        change([&] { signals.clear(), threads.clear(); });
    }
};
Calls calls;

void onQuit(int signal) {
    calls.add(signal);
}

TEST(PlatformQuitSignal, EachSignalCallsOnAnOrdinaryThread) {
    struct sigaction before = {};
    struct sigaction after = {};
    sigaction(SIGTERM, nullptr, &before);
    for (int round = 0; round < 10; ++round) {
        calls.clear();
        ASSERT_EQ(0, installQuitSignals(&onQuit));
        raise(SIGTERM);
        calls.waitFor(1);
        raise(SIGINT);
        raise(SIGINT);
        kill(getpid(), SIGTERM);
        calls.waitFor(4);
        uninstallQuitSignals();
        uninstallQuitSignals();
        EXPECT_EQ((std::vector<int>{SIGTERM, SIGINT, SIGINT, SIGTERM}), calls.signals);
        for (unsigned thread : calls.threads) EXPECT_NE(threadId(), thread);
        sigaction(SIGTERM, nullptr, &after);
        EXPECT_EQ(before.sa_handler, after.sa_handler);
    }
    EXPECT_EQ(EINVAL, installQuitSignals(nullptr));
}

TEST(PlatformQuitSignal, UninstallingWaitsForTheCallbackButNotInIt) {
    static std::atomic<int> stage{0};
    stage = 0;
    ASSERT_EQ(0, installQuitSignals([](int) {
                  stage = 1;
                  sleepMilliSeconds(20);
                  stage = 2;
              }));
    raise(SIGTERM);
    while (stage == 0) yieldThread();
    uninstallQuitSignals();
    EXPECT_EQ(2, stage.load());

    calls.clear();
    ASSERT_EQ(0, installQuitSignals([](int signal) {
                  uninstallQuitSignals();
                  installQuitSignals(&onQuit);
                  calls.add(signal);
              }));
    raise(SIGTERM);
    calls.waitFor(1);
    raise(SIGINT);
    calls.waitFor(2);
    uninstallQuitSignals();
    EXPECT_EQ((std::vector<int>{SIGTERM, SIGINT}), calls.signals);
}

TEST(PlatformQuitSignal, AForkedChildDiesOfItsOwnSignal) {
#if defined(ZAN_UNDER_TSAN)
    GTEST_SKIP() << "the thread checker runs no handlers in the child of a program with threads";
#endif
    calls.clear();
    ASSERT_EQ(0, installQuitSignals(&onQuit));
    pid_t const child = fork();
    if (child == 0) {
        alarm(20);  // the end, if the signal is lost
        raise(SIGTERM);
        for (;;) sleepMilliSeconds(10);
    }
    int status = 0;
    waitpid(child, &status, 0);
    EXPECT_TRUE(WIFSIGNALED(status) && WTERMSIG(status) == SIGTERM);
    raise(SIGINT);
    calls.waitFor(1);
    uninstallQuitSignals();
    EXPECT_EQ(std::vector<int>{SIGINT}, calls.signals);
}

// --- Sockets.

TEST(PlatformSocket, TheWakerEndsAWaitFromAnywhere) {
    int ends[2];
    ASSERT_EQ(0, socketpair(AF_UNIX, SOCK_STREAM, 0, ends));
    Waker waker;
    ASSERT_TRUE(waker.valid());
    EXPECT_EQ(Waited::TimedOut, waitReadable(ends[0], waker, 0));
    long long begin = 0;
    long long end = 0;
    readCounter(begin);
    EXPECT_EQ(Waited::TimedOut, waitReadable(ends[0], waker, 20));
    readCounter(end);
    EXPECT_GE(end - begin, 20 * 1000000LL);

    std::thread other([&] { waker.wake(); });
    EXPECT_EQ(Waited::Woken, waitReadable(ends[0], waker, -1));
    other.join();
    waker.wake();
    EXPECT_EQ(Waited::Woken, waitReadable(ends[0], waker, 1LL << 62));  // it stays
    waker.reset();
    waker.reset();
    EXPECT_EQ(Waited::TimedOut, waitReadable(ends[0], waker, 0));

    ASSERT_EQ(1, write(ends[1], "x", 1));
    EXPECT_EQ(Waited::Ready, waitReadable(ends[0], waker, -1));
    waker.wake();
    EXPECT_EQ(Waited::Woken, waitReadable(ends[0], waker, -1));
    waker.reset();
    close(ends[1]);
    char byte;
    EXPECT_EQ(1, read(ends[0], &byte, 1));
    EXPECT_EQ(Waited::Ready, waitReadable(ends[0], waker, -1));  // end of stream
    close(ends[0]);
    EXPECT_EQ(Waited::Failed, waitReadable(ends[0], waker, -1));
    EXPECT_EQ(EBADF, errno);
}

}  // namespace
}  // namespace zan::platform
