#include "zan/log/log_logger.h"

#include <gtest/gtest.h>

#include <filesystem>
#include <fstream>
#include <sstream>
#include <thread>

#include "support/log_capture.h"
#include "support/temp_dir.h"
#include "zan/log/console.h"
#include "zan/log/log_factory.h"
#include "zan/mt/thread.h"

namespace {

using namespace zan;
using zan_test::LogCapture;
using zan_test::normalized;
using zan_test::occurrences;
using zan_test::TempDir;

std::string contentOf(std::string const& file) {
    std::ifstream in(file, std::ios::binary);
    std::ostringstream os;
    os << in.rdbuf();
    return os.str();
}

// A logger of its own for each test, with the console off, stopped and without a file at the end.
class LoggerTest : public testing::Test {
protected:
    LoggerTest() : log_(logger_factory::instance(name())), console_(console::isOn()) {
        console::setOn(false);
    }
    ~LoggerTest() override {
        log_.close();
        log_.setFilename("");
        log_.setDebugOn(true);
        log_.setTraceOn(false);
        log_.setAppLogOn(true);
        log_.setMsgLogOn(false);
        log_.setMaxNumofMsg(100);
        log_.setMaxCacheSize(65535);
        console::setOn(console_);
    }

    static std::string name() {
        return std::string("test.") + testing::UnitTest::GetInstance()->current_test_info()->name();
    }
    std::string file(std::string const& base = "x.log") { return dir_.file(base); }

    TempDir dir_;
    logger& log_;
    bool console_;
};

using LoggerLines = LoggerTest;
using LoggerFiles = LoggerTest;
using LoggerFlags = LoggerTest;

TEST_F(LoggerLines, EachFormToTheByte) {
    LogCapture const capture(name());
    writeInfoLog(log_, "f", 1, "app::net::Server::open", "text", "TCP.INFO");
    writeInfoLog(log_, "f", 1, "Server::open", "text", nullptr);
    writeInfoLog(log_, "f", 1, "main", "text", "");
    log_.setUseDebugLogfile(false);
    writeDebugLog(log_, "f", 1, "app::net::Server::open", nullptr, nullptr);
    writeDebugLog(log_, "f", 1, "app::f", "text", "TRACE");
    log_.setUseDebugLogfile(true);
    writeDataLog(log_, "f", 1, "app::f", "data");
    writeEntryLog(log_, "left", "middle", "right", '.');
    writeEntryLog(log_, "left", std::string(120, 'm').c_str(), "right", '.');
    std::string const prefix = "DATE<T>[" + name() + "]";
    EXPECT_EQ(prefix + "[TCP.INFO]Server::open() text\n" +               //
                  prefix + "open() text\n" +                             //
                  prefix + "main() text\n" +                             //
                  prefix + "[][app::net::Server::open] \n" +             //
                  prefix + "[TRACE][app::f] text\n" +                    //
                  "data\n" +                                             //
                  "left middle " + std::string(100, '.') + " right\n" +  //
                  "left " + std::string(120, 'm') + " right\n",
              normalized(capture.text()));
}

TEST_F(LoggerLines, AFramedReportHasAllItsParts) {
    LogCapture const capture(name());
    writeLog(log_, "header", "title", "text", "footer", "closing");
    std::string const text = capture.text();
    EXPECT_EQ(0u, normalized(text).find("\nDATE<T>[" + name() + "][title] ---"));
    EXPECT_EQ("--- header\n", text.substr(109, 11).substr(0)) << text;
    auto const row = [](std::string const& right) {
        return std::string(118 - right.size(), ' ') + right + "\n";
    };
    EXPECT_EQ(row("title") + row("=====") + "text\n" + row("______") + row("footer") +
                  std::string(110, '-') + " closing\n\n",
              text.substr(120));
    LogCapture const bare(name());
    writeLog(log_, nullptr, nullptr, "text", nullptr, nullptr);
    EXPECT_EQ("text\n\n", bare.text());
}

TEST_F(LoggerLines, AThreadOfItsOwnShowsItsName) {
    class Worker : public SimpleThread {
    public:
        explicit Worker(logger& log) : SimpleThread(nullptr, "worker"), log_(log) {}

    private:
        bool onLoop() override {
            writeInfoLog(log_, "f", 1, "app::f", "from the thread", "INFO");
            return false;
        }
        logger& log_;
    };
    LogCapture const capture(name());
    Handle<Worker> const worker(new Worker(log_));
    worker->startAndWait();
    worker->join();
    EXPECT_EQ("DATE{T}[" + name() + "][INFO]{worker}f() from the thread\n",
              normalized(capture.text()));
}

TEST_F(LoggerFlags, DebugIsTheMasterOfItsGroupOnly) {
    log_.setTraceOn(true);
    log_.setMsgLogOn(true);
    log_.setAppLog("on", true);
    log_.setAppLog("off", false);
    EXPECT_TRUE(log_.traceOn() && log_.msgLogOn() && log_.mayBeOn(logger::TRACE));
    log_.setDebugOn(false);
    EXPECT_FALSE(log_.traceOn() || log_.msgLogOn() || log_.debugLogOn() || log_.hbLogOn());
    EXPECT_FALSE(log_.mayBeOn(logger::TRACE) || log_.mayBeOn(logger::DEBUG));
    EXPECT_TRUE(log_.appLogOn() && log_.appLogOn("on"));
    EXPECT_TRUE(log_.appLogOff("off"));
    EXPECT_FALSE(log_.appLogOff("on") || log_.appLogOn("off"));
    EXPECT_FALSE(log_.appLogOn("unknown") || log_.appLogOff("unknown"));
    log_.setAppLogOn(false);
    EXPECT_FALSE(log_.appLogOn("on"));
    EXPECT_TRUE(log_.appLogOff("on") && log_.appLogOff("unknown"));
}

TEST_F(LoggerFlags, UnknownMessagesFollowTheDefault) {
    log_.setMsgLogOn(true);
    EXPECT_FALSE(log_.msgLogOn("m") || log_.msgLogOff("m"));
    log_.setMsgLog("default", true);
    EXPECT_TRUE(log_.msgLogOn("m"));
    log_.setMsgLog("m", false);
    EXPECT_TRUE(log_.msgLogOff("m") && !log_.msgLogOn("m"));
    log_.setMsgLogOn(false);
    EXPECT_TRUE(log_.msgLogOff("m"));
}

TEST_F(LoggerFlags, AFilteredLineIsNotComposed) {
    int composed = 0;
    auto const operand = [&composed] {
        ++composed;
        return "x";
    };
    LogCapture const capture(name());
    log_.setInfoOn(false);
    log_.setDebugOn(false);
    ZAN_INFO(log_, operand());
    ZAN_TRACE(log_, operand());
    ZAN_DEBUG(log_, "TAG", operand());
    ZAN_APP_INFO(log_, "unknown", operand());
    EXPECT_EQ(0, composed);
    EXPECT_EQ("", capture.text());
    log_.setInfoOn(true);
    ZAN_INFO(log_, operand() << 1 << std::hex << 255);
    ZAN_NOTICE(log_, 255);
    EXPECT_EQ(1, composed);
    EXPECT_TRUE(capture.has("() x1ff\n"));
    EXPECT_TRUE(capture.has("[NOTICE]")) << capture.text();
    EXPECT_TRUE(capture.has("() 255\n")) << "the stream forgets the line before";
}

TEST_F(LoggerFlags, TheDumpShowsEveryField) {
    log_.setAppLog("cat", true);
    log_.log("a line\n");
    std::ostringstream os;
    log_.dump(os);
    std::string const text = os.str();
    std::vector<std::string> names;
    std::istringstream lines(text);
    for (std::string line; std::getline(lines, line);) {
        if (line.compare(0, 4, "    ") == 0 && line[4] != ' ' && line.find(" = ") != line.npos)
            names.push_back(line.substr(4, line.find(" = ") - 4));
    }
    EXPECT_EQ(
        (std::vector<std::string>{
            "infoOn_",      "debugOn_",        "traceOn_",        "dataLogOn_",   "debugLogOn_",
            "traceLogOn_",  "diagLogOn_",      "cmdLogOn_",       "commLogOn_",   "hbLogOn_",
            "appLogOn_",    "appLogs_",        "msgLogOn_",       "msgLogs_",     "useLogfile",
            "filename",     "useDebugLogfile", "filenameDebug",   "maxNumofMsg_", "maxCacheSize_",
            "waitSeconds_", "maxStringSize_",  "console::isOn()", "mlcOn_",       "cache",
            "currSize",     "cacheDebug",      "currSizeDebug",   "id_",          "inited_"}),
        names);
    EXPECT_EQ(0u, text.find("@zan::loggerImpl{\n    infoOn_ = true\n"));
    EXPECT_NE(std::string::npos, text.find("    maxNumofMsg_ = 100\n    maxCacheSize_ = 65535\n"
                                           "    waitSeconds_ = 3\n    maxStringSize_ = 256\n"));
    dumper d(true);
    d << LOGGER_FACTORY();
    EXPECT_NE(std::string::npos, std::string(d.str()).find("'" + name() + "':{"));
}

TEST_F(LoggerFiles, LinesBeforeTheNameReachTheFile) {
    log_.log("early\n");
    log_.setFilename(istr(file()));
    log_.log("later\n");
    EXPECT_EQ("", contentOf(file()));
    log_.flush();  // no thread: drains here
    EXPECT_EQ("early\nlater\n", contentOf(file()));
    EXPECT_EQ(file("x.debug.log"), static_cast<std::string>(log_.filenameDebug()));
    log_.setFilename(istr(file("plain")));
    EXPECT_EQ(file("plain.debug"), static_cast<std::string>(log_.filenameDebug()));
    log_.setFilenameDebug(istr(file("other")));
    EXPECT_EQ(file("plain"), static_cast<std::string>(log_.filename()));
}

TEST_F(LoggerFiles, DebugLinesGoToTheTwin) {
    log_.setFilename(istr(file()));
    log_.debugLog("d1\n");
    log_.log("m1\n");
    log_.setUseDebugLogfile(false);
    log_.debugLog("m2\n");
    log_.setUseDebugLogfile(true);
    log_.flush();
    EXPECT_EQ("m1\nm2\n", contentOf(file()));
    EXPECT_EQ("d1\n", contentOf(file("x.debug.log")));
    log_.setDebugOn(false);
    log_.debugLog("lost\n");
    log_.flush();
    log_.setDebugOn(true);
    EXPECT_EQ("d1\n", contentOf(file("x.debug.log")));
}

TEST_F(LoggerFiles, StoppingDrainsWhatIsLeft) {
    log_.setFilename(istr(file()));
    log_.start();
    std::string want;
    for (int i = 0; i < 5000; ++i) {
        std::string const line = "line " + std::to_string(i) + "\n";
        log_.log(istr(line));
        want += line;
    }
    EXPECT_TRUE(log_.stop());
    EXPECT_EQ(want, contentOf(file()));
    EXPECT_TRUE(log_.stop()) << "a second stop is harmless";
}

TEST_F(LoggerFiles, ThresholdsWakeTheFlushThread) {
    class Told : public LogObserver {
    public:
        void onLog(istr const&) override {}
    };
    log_.setFilename(istr(file()));
    log_.start();
    auto const arrived = [this](unsigned long lines) {
        // The flush thread would come by itself after three seconds; woken, it is there at once.
        Time const begin = Time::now(Time::Monotonic);
        while (occurrences(contentOf(file()), "\n") < lines) {
            if (Time::now(Time::Monotonic) - begin > Time::milliSeconds(2500)) return false;
            ThreadControl::yield();
        }
        return true;
    };
    for (int i = 0; i < 100; ++i) log_.log("x\n");
    EXPECT_TRUE(arrived(100));
    log_.log(istr(std::string(65534, 'y') + "\n"));
    EXPECT_TRUE(arrived(101));
    log_.stop();
}

TEST_F(LoggerFiles, RotatesBeforeTheLineThatWouldPassTheLimit) {
    constexpr unsigned long LIMIT = 0xA00000;
    log_.setFilename(istr(file()));
    std::string const block(LIMIT / 10 - 1, 'a');
    for (int i = 0; i < 10; ++i) log_.log(istr(block + "\n"));
    log_.flush();
    EXPECT_EQ(LIMIT, std::filesystem::file_size(file())) << "exactly at the limit stays";
    log_.log("next\n");
    log_.flush();
    EXPECT_EQ("next\n", contentOf(file()));
    EXPECT_EQ(LIMIT, std::filesystem::file_size(file("x.log.bak")));
    log_.log(istr(std::string(LIMIT + 5, 'b')));
    log_.log("after\n");
    log_.flush();
    EXPECT_EQ("after\n", contentOf(file()));
    EXPECT_EQ(LIMIT + 5, std::filesystem::file_size(file("x.log.bak"))) << "one generation";
}

TEST_F(LoggerFiles, AFolderThatIsNotThereLosesTheBatchAndGoesOn) {
    log_.setFilename(istr(file("missing/x.log")));
    log_.log("lost\n");
    log_.flush();
    std::filesystem::create_directory(dir_.path() / "missing");
    log_.log("kept\n");
    log_.flush();
    EXPECT_EQ("kept\n", contentOf(file("missing/x.log")));
}

TEST_F(LoggerFiles, AFullDiskDoesNotStopTheProgram) {
    if (!std::filesystem::exists("/dev/full")) GTEST_SKIP();
    log_.setFilename("/dev/full");
    log_.start();
    for (int i = 0; i < 1000; ++i) log_.log("x\n");
    EXPECT_TRUE(log_.stop());
}

TEST_F(LoggerFiles, AFileRemovedUnderneathDoesNotStopTheProgram) {
    log_.setFilename(istr(file()));
    log_.log("1\n");
    log_.flush();
    std::filesystem::remove(file());
    log_.log("2\n");
    log_.flush();
    log_.close();
    log_.log("3\n");
    log_.flush();
    EXPECT_EQ("3\n", contentOf(file()));
}

TEST_F(LoggerFiles, WithoutANameTheNewestLinesAreKept) {
    std::string const line(1000, 'x');
    for (int i = 0; i < 500; ++i) log_.log(istr(line + std::to_string(1000 + i) + "\n"));
    log_.setFilename(istr(file()));
    log_.flush();
    std::string const text = contentOf(file());
    // 100 lines at the least, which is more than 64 KiB here.
    EXPECT_NE(
        std::string::npos,
        normalized(text).find("DATE 400 older lines were dropped while there was no log file\n"));
    EXPECT_EQ(0u, occurrences(text, "x1399\n"));
    EXPECT_EQ(1u, occurrences(text, "x1400\n"));
    EXPECT_EQ(1u, occurrences(text, "x1499\n"));
    log_.log("more\n");
    log_.flush();
    EXPECT_EQ(1u, occurrences(contentOf(file()), "dropped"));
}

TEST_F(LoggerFiles, AFlushThreadThatFoundNoFileTriesAgainWithTheName) {
    log_.start();
    log_.log("early\n");
    log_.setFilename(istr(file()));
    log_.log("later\n");
    log_.stop();
    EXPECT_EQ("early\nlater\n", contentOf(file()));
}

TEST_F(LoggerFiles, ChangingTheNameAnnouncesIt) {
    LogCapture const capture(LOGGER_ID);
    log_.open(nullptr);
    EXPECT_EQ("", capture.text());
    log_.open(file().c_str());
    std::string const rule = "DATE<T>[ZAN] " + std::string(77, '=') + "\n";
    EXPECT_EQ(0u, normalized(capture.text())
                      .find(rule + "DATE<T>[ZAN] log file is " + file() + "\n" + rule +
                            "DATE<T>[ZAN] zan version "));
    log_.open(file("y.log").c_str());
    EXPECT_TRUE(capture.has(" log file " + file() + " changed to " + file("y.log") + "\n"));
    log_.open(file("y.log").c_str());
    EXPECT_TRUE(capture.has(" log file is " + file("y.log") + "\n"));
}

TEST_F(LoggerFiles, ManyThreadsLoseNothingAndKeepTheirOrder) {
    log_.setFilename(istr(file()));
    log_.start();
    constexpr int THREADS = 4;
    constexpr int LINES = 3000;
    std::vector<std::thread> threads;
    for (int t = 0; t < THREADS; ++t)
        threads.emplace_back([this, t] {
            for (int i = 0; i < LINES; ++i)
                ZAN_INFO(log_, "thread " << t << " line " << i << " end");
        });
    for (auto& thread : threads) thread.join();
    log_.stop();
    std::istringstream in(contentOf(file()));
    std::vector<int> next(THREADS, 0);
    for (std::string line; std::getline(in, line);) {
        int t = -1;
        int i = -1;
        auto const at = line.find("thread ");
        ASSERT_NE(std::string::npos, at) << line;
        ASSERT_EQ(2, std::sscanf(line.c_str() + at, "thread %d line %d end", &t, &i)) << line;
        ASSERT_EQ(next[static_cast<unsigned long>(t)]++, i);
    }
    EXPECT_EQ(std::vector<int>(THREADS, LINES), next);
}

}  // namespace
