#include "zan/log/log_logger.h"

#include <gmock/gmock.h>

#include <filesystem>

#include "support/log_capture.h"
#include "support/temp_dir.h"
#include "support/text.h"
#include "support/threads.h"
#include "zan/zan.h"

namespace {

using namespace zan;
using testing::HasSubstr, testing::StartsWith;
using namespace zan_test;

// A new logger for each test, with the console off, stopped and without a file at the end.
class LoggerTest : public testing::Test {
protected:
    ~LoggerTest() override {
        log_.close();
        log_.setFilename("");
        console::setOn(console_);
    }
    static std::string newName() {
        static int number = 0;
        console::setOn(false);
        return "test." + std::to_string(++number);
    }
    std::string file(std::string const& base = "x.log") { return dir_.file(base); }
    std::string content(std::string const& base = "x.log") { return dir_.content(base); }
    // With no thread running, a flush writes at once.
    void write(std::string const& text) {
        log_.log(istr(text));
        log_.flush();
    }

    bool const console_ = console::isOn();
    std::string const name_ = newName();
    TempDir dir_;
    logger& log_ = logger_factory::instance(name_);
};

using LoggerLines = LoggerTest;
using LoggerFiles = LoggerTest;
using LoggerFlags = LoggerTest;

TEST_F(LoggerLines, EachFormToTheByte) {
    LogCapture const capture(name_);
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
    std::string const prefix = "DATE<T>[" + name_ + "]";
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
    LogCapture const capture(name_);
    writeLog(log_, "header", "title", "text", "footer", "closing");
    std::string const text = capture.text();
    EXPECT_EQ(0u, normalized(text).find("\nDATE<T>[" + name_ + "][title] ---"));
    EXPECT_EQ("--- header\n", text.substr(109, 11).substr(0)) << text;
    auto const row = [](std::string const& right) {
        return std::string(118 - right.size(), ' ') + right + "\n";
    };
    EXPECT_EQ(row("title") + row("=====") + "text\n" + row("______") + row("footer") +
                  std::string(110, '-') + " closing\n\n",
              text.substr(120));
    LogCapture const bare(name_);
    writeLog(log_, nullptr, nullptr, "text", nullptr, nullptr);
    EXPECT_EQ("text\n\n", bare.text());
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
    LogCapture const capture(name_);
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
    ZAN_INFO(log_, "cut" << '\0' << "lost");
    EXPECT_TRUE(capture.has("() cut\n")) << "a zero byte ends the text";
}

TEST_F(LoggerFlags, TheDumpShowsEveryField) {
    log_.setAppLog("cat", true);
    log_.log("a line\n");
    std::ostringstream os;
    log_.dump(os);
    std::string const text = os.str();
    std::string names;
    std::istringstream lines(text);
    for (std::string line; std::getline(lines, line);)
        if (line.compare(0, 4, "    ") == 0 && line[4] != ' ' && line.find(" = ") != line.npos)
            names += line.substr(3, line.find(" = ") - 3);
    EXPECT_EQ(
        " infoOn_ debugOn_ traceOn_ dataLogOn_ debugLogOn_ traceLogOn_ diagLogOn_ cmdLogOn_"
        " commLogOn_ hbLogOn_ appLogOn_ appLogs_ msgLogOn_ msgLogs_ useLogfile filename"
        " useDebugLogfile filenameDebug maxNumofMsg_ maxCacheSize_ waitSeconds_ maxStringSize_"
        " console::isOn() mlcOn_ cache currSize cacheDebug currSizeDebug id_ inited_",
        names);
    EXPECT_EQ(0u, text.find("@zan::loggerImpl{\n    infoOn_ = true\n"));
    EXPECT_THAT(text, HasSubstr("    maxNumofMsg_ = 100\n    maxCacheSize_ = 65535\n"
                                "    waitSeconds_ = 3\n    maxStringSize_ = 256\n"));
    EXPECT_THAT(zan_test::dumped(LOGGER_FACTORY(), true), HasSubstr("'" + name_ + "':{"));
}

TEST_F(LoggerFiles, LinesBeforeTheNameReachTheFile) {
    log_.log("early\n");
    log_.setFilename(istr(file()));
    log_.log("later\n");
    EXPECT_EQ("", content());
    log_.flush();  // no thread: drains here
    EXPECT_EQ("early\nlater\n", content());
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
    EXPECT_EQ("m1\nm2\n", content());
    EXPECT_EQ("d1\n", content("x.debug.log"));
    log_.setDebugOn(false);
    log_.debugLog("lost\n");
    log_.flush();
    log_.setDebugOn(true);
    EXPECT_EQ("d1\n", content("x.debug.log"));
}

TEST_F(LoggerFiles, ThresholdsWakeTheFlushThread) {
    log_.setFilename(istr(file()));
    log_.start();
    auto const arrived = [this](unsigned long lines) {
        // The flush thread would come by itself after three seconds; woken, it is there at once.
        Time const begin = Time::now(Time::Monotonic);
        while (occurrences(content(), "\n") < lines) {
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
    write("next\n");
    EXPECT_EQ("next\n", content());
    EXPECT_EQ(LIMIT, std::filesystem::file_size(file("x.log.bak")));
    log_.log(istr(std::string(LIMIT + 5, 'b')));
    log_.log("after\n");
    log_.flush();
    EXPECT_EQ("after\n", content());
    EXPECT_EQ(LIMIT + 5, std::filesystem::file_size(file("x.log.bak"))) << "one generation";
}

TEST_F(LoggerFiles, AFolderThatIsNotThereLosesTheBatchAndGoesOn) {
    log_.setFilename(istr(file("missing/x.log")));
    write("lost\n");
    std::filesystem::create_directory(dir_.path() / "missing");
    write("kept\n");
    EXPECT_EQ("kept\n", content("missing/x.log"));
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
    write("1\n");
    std::filesystem::remove(file());
    write("2\n");
    log_.close();
    write("3\n");
    EXPECT_EQ("3\n", content());
}

TEST_F(LoggerFiles, WithoutANameTheNewestLinesAreKept) {
    std::string const line(1000, 'x');
    for (int i = 0; i < 500; ++i) log_.log(istr(line + std::to_string(1000 + i) + "\n"));
    log_.setFilename(istr(file()));
    log_.flush();
    std::string const text = content();
    // 100 lines at the least, which is more than 64 KiB here.
    EXPECT_THAT(normalized(text),
                HasSubstr("DATE 400 older lines were dropped while there was no log file\n"));
    EXPECT_EQ(0u, occurrences(text, "x1399\n"));
    EXPECT_EQ(1u, occurrences(text, "x1400\n"));
    EXPECT_EQ(1u, occurrences(text, "x1499\n"));
    write("more\n");
    EXPECT_EQ(1u, occurrences(content(), "dropped"));
}

TEST_F(LoggerFiles, AFlushThreadThatFoundNoFileTriesAgainWithTheName) {
    log_.start();
    log_.log("early\n");
    log_.setFilename(istr(file()));
    log_.log("later\n");
    log_.stop();
    EXPECT_EQ("early\nlater\n", content());
}

TEST_F(LoggerFiles, ChangingTheNameAnnouncesIt) {
    LogCapture const capture(LOGGER_ID);
    log_.open(nullptr);
    EXPECT_EQ("", capture.text());
    log_.open(file().c_str());
    std::string const rule = "DATE<T>[ZAN] " + std::string(77, '=') + "\n";
    EXPECT_THAT(normalized(capture.text()), StartsWith(rule + "DATE<T>[ZAN] log file is " + file() +
                                                       "\n" + rule + "DATE<T>[ZAN] zan version "));
    log_.open(file("y.log").c_str());
    EXPECT_TRUE(capture.has(" log file " + file() + " changed to " + file("y.log") + "\n"));
    log_.open(file("y.log").c_str());
    EXPECT_TRUE(capture.has(" log file is " + file("y.log") + "\n"));
}

TEST_F(LoggerFiles, StoppingDrainsWhatManyThreadsWroteInTheirOrder) {
    log_.setFilename(istr(file()));
    log_.start();
    constexpr unsigned THREADS = 4;
    constexpr int LINES = 3000;
    zan_test::Threads(THREADS, [this](unsigned t) {
        for (int i = 0; i < LINES; ++i) ZAN_INFO(log_, "thread " << t << " line " << i << " end");
    });
    EXPECT_TRUE(log_.stop());
    EXPECT_TRUE(log_.stop()) << "a second stop is harmless";
    std::istringstream in(content());
    std::vector<int> next(THREADS, 0);
    for (std::string line; std::getline(in, line);) {
        unsigned t = THREADS;
        int i = -1;
        line.erase(0, line.find("thread "));
        ASSERT_EQ(2, std::sscanf(line.c_str(), "thread %u line %d end", &t, &i)) << line;
        ASSERT_EQ(next.at(t)++, i);
    }
    EXPECT_EQ(std::vector<int>(THREADS, LINES), next);
}

}  // namespace
