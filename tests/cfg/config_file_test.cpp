#include "zan/cfg/config_file.h"

#include <gmock/gmock.h>

#include <atomic>
#include <cstdlib>
#include <filesystem>

#include "support/temp_dir.h"
#include "support/text.h"
#include "support/threads.h"
#include "zan/zan.h"

namespace {

using namespace zan;

// A working directory and an environment of its own, and no configuration read yet.
class Fresh {
public:
    Fresh() : before_(std::filesystem::current_path()) {
        std::filesystem::current_path(dir_.path());
        unsetenv("QOV_CLI_CFG_FILE");
        forget();
    }
    ~Fresh() {
        unsetenv("QOV_CLI_CFG_FILE");
        std::filesystem::current_path(before_);
        forget();
        zan::console::setOn(false);
    }
    Fresh(Fresh const&) = delete;
    Fresh& operator=(Fresh const&) = delete;

    static void forget() {
        zan::logger_factory::destroy();
        ConfigFile::destroy();
    }
    void write(std::string const& name, std::string const& text) const { dir_.put(name, text); }

private:
    std::filesystem::path before_;
    zan_test::TempDir dir_;
};

TEST(ConfigDefaults, HoldWithoutAFile) {
    Fresh const fresh;
    ConfigFile& config = ConfigFile::instance();
    EXPECT_EQ(65001u, ConfigFile::codepage());
    EXPECT_FALSE(config.empty());
    EXPECT_EQ("(enable()codepage())", config.mps().toPml(false));
    EXPECT_THAT(zan_test::dumped(config, true), testing::HasSubstr("config_='p2p_config.pml'"));
}

TEST(ConfigKeys, AreReadFromTheFileOfTheEnvironmentFirst) {
    Fresh const fresh;
    fresh.write("p2p_config.pml", "cfg(codepage(1252) key(a))");
    EXPECT_EQ(1252u, ConfigFile::codepage());
    EXPECT_EQ("a", std::string(ConfigFile::instance().mps()["key"].getStringValue()));
    EXPECT_EQ("\xE9", zan::String(std::wstring(L"\xE9")));
    fresh.write("other.pml", "cfg(enable(false) codepage(1251) key(b))");
    setenv("QOV_CLI_CFG_FILE", "other.pml", 1);
    Fresh::forget();
    EXPECT_FALSE(ConfigFile::instance().mps().has("key"));
    EXPECT_EQ(1251u, ConfigFile::codepage());
    EXPECT_EQ("\xC6", zan::String(std::wstring(L"\x416")));
}

TEST(ConfigKeys, ThatDoNotConvertLeaveWhatThereWas) {
    Fresh const fresh;
    fresh.write("p2p_config.pml", "cfg(codepage(abc) enable(maybe))");
    EXPECT_EQ(65001u, ConfigFile::codepage());
    EXPECT_TRUE(ConfigFile::instance().mps().has("codepage"));
    fresh.write("next.pml", "cfg(codepage(1252))");
    ConfigFile::instance().load("next.pml");
    EXPECT_EQ("\xE9", zan::String(std::wstring(L"\xE9")));
    fresh.write("next.pml", "cfg(enable(0))");
    ConfigFile::instance().load();
    EXPECT_EQ(1252u, ConfigFile::codepage());
    EXPECT_TRUE(ConfigFile::instance().mps().unit().empty());
}

TEST(ConfigThatDoesNotParse, IsTheFirstCallersErrorOnly) {
    Fresh const fresh;
    fresh.write("p2p_config.pml", "cfg(\n  codepage(1252)\n  log:x)");
    EXPECT_EQ(
        "DecodeException: not found value begin tag, token, file p2p_config.pml, line 3, column 8",
        zan_test::messageOf<zan::pml::DecodeException>(
            [] { zan::logger_factory::instance("first"); }));
    // The logger works, and so does everything that asks for the configuration.
    zan::console::setOn(false);
    ZAN_INFO(zan::logger_factory::instance("first"), "alive");
    EXPECT_EQ(65001u, ConfigFile::codepage());
    EXPECT_EQ("(enable()codepage())", ConfigFile::instance().mps().toPml(false));
    EXPECT_THROW(ConfigFile(), zan::pml::DecodeException);
    EXPECT_THROW(ConfigFile::instance().load(), zan::pml::DecodeException);
    fresh.write("p2p_config.pml", "cfg(codepage(1252))");
    ConfigFile::instance().load();
    EXPECT_EQ(1252u, ConfigFile::codepage());
}

TEST(ConfigThatDoesNotParse, MayBeMetByAConversionOfText) {
    Fresh const fresh;
    fresh.write("p2p_config.pml", "cfg(a(1)a(2))");
    EXPECT_THROW(zan::String(std::wstring(L"x")), zan::DuplicatedUnitException);
    EXPECT_EQ("x", zan::String(std::wstring(L"x")));
}

TEST(ConfigThatDoesNotParse, MeetsManyThreadsAtOnce) {
    Fresh const fresh;
    fresh.write("p2p_config.pml", "cfg(a:b)");
    std::atomic<int> errors{0};
    zan_test::Threads(4, [&errors](unsigned i) {
        try {
            if (i % 2 == 0)
                zan::logger_factory::instance("t" + std::to_string(i));
            else
                ConfigFile::instance();
        } catch (zan::pml::DecodeException const&) {
            ++errors;
        }
    });
    EXPECT_EQ(1, errors);
}

TEST(ConfigOfLoggers, IsReadAtTheirFirstUse) {
    Fresh const fresh;
    fresh.write("p2p_config.pml",
                "cfg(log(infoOn(0) debugOn(1) traceOn(true) hbLogOn(1) appLogs:map(A(1) B(0))"
                " msgLogOn(1) msgLogs(default(1)) filename(first.log) filenameDebug()"
                " maxNumofMsg(7) maxStringSize(5) consoleOn(0) mlcOn(1)))");
    zan::logger& log = zan::logger_factory::instance("configured");
    auto const settings = [](zan::logger& of) {
        zan::pml::stream out;
        of.codec(out);
        return std::string(out.toPml(false));
    };
    std::string const flags =
        "debugOn(1)traceOn(1)dataLogOn(0)debugLogOn(0)traceLogOn(0)diagLogOn(0)cmdLogOn(0)"
        "commLogOn(0)hbLogOn(1)appLogOn(1)appLogs:map";
    std::string const rest =
        "msgLogOn(1)msgLogs:map(default(1))useLogfile(1)filename:utf8(Zmlyc3QubG9n)"
        "useDebugLogfile(1)filenameDebug:utf8()maxNumofMsg(7)maxCacheSize(65535)waitSeconds(3)"
        "maxStringSize(5)consoleOn(0)mlcOn(1))";
    EXPECT_EQ("(infoOn(0)" + flags + "(A(1)B(0))" + rest, settings(log));
    EXPECT_TRUE(log.mlcOn() && !log.cmdLogOn());
    fresh.write("second.pml", "cfg(log(infoOn(1) appLogs(C(1)) filename() hbLogOn(x)))");
    log.load("second.pml");
    EXPECT_EQ("(infoOn(1)" + flags + "(C(1))" + rest, settings(log));
    // What it writes, another one reads back.
    zan::pml::stream out;
    log.codec(out);
    out.setAsInputStream();
    zan::logger& other = zan::logger_factory::instance("other");
    other.codec(out);
    EXPECT_EQ(settings(log), settings(other));
}

}  // namespace
