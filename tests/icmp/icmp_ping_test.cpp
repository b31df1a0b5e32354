#include "zan/icmp/icmp_ping.h"

#include <gtest/gtest.h>

#include "support/log_capture.h"
#include "support/open_files.h"
#include "zan/log/log_logger.h"

namespace {

using namespace zan;

// With the category of the failures on.
class PingSocket : public testing::Test {
protected:
    PingSocket() : zanLog(logger_factory::instance(LOGGER_ID)), appLogOn_(zanLog.appLogOn()) {
        zanLog.setAppLogOn(true);
        zanLog.setAppLog("<ICMP.ERROR>", true);
    }
    ~PingSocket() override {
        zanLog.setAppLog("<ICMP.ERROR>", false);
        zanLog.setAppLogOn(appLogOn_);
    }

    zan_test::LogCapture const log;
    logger& zanLog;

private:
    bool const appLogOn_;
};

TEST_F(PingSocket, ClosedItSaysSo) {
    Ping ping;
    __int64 cost = -7;
    EXPECT_FALSE(ping.sendAndWait("127.0.0.1", &cost, 1));
    EXPECT_EQ(-7, cost);
    EXPECT_EQ(1u, log.count("ICMP socket not open."));
    ping.close();
    ping.close();
    EXPECT_EQ(1u, log.count("<ICMP.ERROR>"));
}

TEST_F(PingSocket, RefusedItSaysSo) {
    // No more files for this process: as little of a socket as without the right to it.
    Ping ping;
    {
        zan_test::OpenFiles const none(3);
        EXPECT_FALSE(ping.open());
    }
    EXPECT_EQ(1u, log.count("ICMP socket open failed."));
    EXPECT_FALSE(ping.sendAndWait("127.0.0.1", nullptr, 1));
}

TEST_F(PingSocket, ThisHostAnswers) {
    Ping ping;
    if (!ping.open()) GTEST_SKIP() << "no right to open a raw socket";
    zanLog.setAppLog("ICMP.INFO", true);
    EXPECT_TRUE(ping.open()) << "it is";
    __int64 cost = -7;
    EXPECT_TRUE(ping.sendAndWait("127.0.0.1", &cost, 5));
    EXPECT_GE(cost, 0);
    EXPECT_LT(cost, 5000);
    EXPECT_TRUE(log.has("ping:127.0.0.1, waitTimeout:5,cost:"));
    EXPECT_TRUE(ping.sendAndWait("127.0.0.1", nullptr, 5));
    zanLog.setAppLog("ICMP.INFO", false);
    cost = -7;
    for (String const& host : {String(), String("127.0.0.1\0x", 11), String("no host")})
        EXPECT_FALSE(ping.sendAndWait(host, &cost, 1)) << host;
    EXPECT_EQ(-7, cost);
    EXPECT_EQ(3u, log.count("ICMP send failed. remote:"));
    ping.close();
    EXPECT_FALSE(ping.sendAndWait("127.0.0.1", nullptr, 5));
    EXPECT_TRUE(ping.open());
    fini();  // ACE is gone, and what it keeps for the thread
    EXPECT_TRUE(ping.sendAndWait("127.0.0.1", nullptr, 5));
}

}  // namespace
