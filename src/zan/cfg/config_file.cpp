#include "zan/cfg/config_file.h"

#include <atomic>

#include "zan/base/codepage_default.h"
#include "zan/base/exception.h"
#include "zan/base/mlcheck.h"
#include "zan/log/log_dumper.h"
#include "zan/log/log_logger.h"
#include "zan/log/log_tracer.h"
#include "zan/util/singleton_t.h"
#include "zan/util/util_func.h"

namespace zan {

namespace {

// This thread is reading a configuration, and must not wait for one.
thread_local unsigned int g_loading = 0;

class Loading {
public:
    Loading() { ++g_loading; }
    ~Loading() { --g_loading; }
    Loading(Loading const&) = delete;
    Loading& operator=(Loading const&) = delete;
};

// The configuration did not parse, and somebody has been told.
std::atomic<bool> g_reported{false};

}  // namespace

// The first caller learns that the file does not parse. Those after it get the defaults, for the
// logger that is to report it, and every conversion of text, comes this way.
struct ConfigFile::Policy : CreateByAllocate<ConfigFile> {
    static ConfigFile* create(char const* file, unsigned int line, char const* func) {
        UncheckedBlocks const lifelong;  // it stays behind the end of the library
        ConfigFile* made = nullptr;
        try {
            made = CreateByAllocate<ConfigFile>::create(file, line, func);
            g_reported = false;
        } catch (Exception const&) {
            if (!g_reported.exchange(true)) throw;
            made = trackNew(new ConfigFile(Unread()), file, line, func);
        }
        detail::publishCodepage(static_cast<long>(made->codepage_.value()));
        return made;
    }

    // A thread that logs beside the end of the library may be reading it. So it goes at the next
    // end, if there is one.
    static void destroy(ConfigFile*& p) {
        if (p == nullptr) return;
        static ConfigFile* retired = nullptr;
        CreateByAllocate<ConfigFile>::destroy(retired);
        retired = p;
        __atomic_store_n(&p, nullptr, __ATOMIC_RELEASE);
    }
};

ConfigFile& ConfigFile::instance() {
    using Holder = Singleton<ConfigFile, Policy>;
    if (ConfigFile* const present = Holder::peek()) return *present;
    // Loggers read the configuration under their factory's lock. So the logger that a broken file
    // is reported to is made ahead of the lock of this singleton.
    detail::zanLogger();
    return *Holder::instance(ZAN_HERE);
}

void ConfigFile::destroy() {
    detail::forgetCodepage();
    Singleton<ConfigFile, Policy>::destroy();
    g_reported = false;
}

unsigned long ConfigFile::codepage() {
    return instance().codepage_;
}

ConfigFile::ConfigFile() : config_(zan::getenv("QOV_CLI_CFG_FILE")) {
    load();
}

ConfigFile::ConfigFile(Unread) : config_(zan::getenv("QOV_CLI_CFG_FILE")) {
    readKeys();
}

ConfigFile& ConfigFile::load() {
    UncheckedBlocks const lifelong;
    Loading const loading;
    ZAN_TRACE_FRAME(detail::zanLogger());
    if (config_.empty()) config_ = "p2p_config.pml";
    mps_[0].from(config_, pml::from_file(), false);
    readKeys();
    if (this == Singleton<ConfigFile, Policy>::peek())
        detail::publishCodepage(static_cast<long>(codepage_.value()));
    return *this;
}

ConfigFile& ConfigFile::load(istr const& fileName) {
    UncheckedBlocks const lifelong;
    config_ = fileName;
    return load();
}

void ConfigFile::readKeys() {
    enable_ = true;
    mps_[0]["enable"] >> enable_;
    mps_[0]["codepage"] >> codepage_;
}

dumper& ConfigFile::dump(dumper& d) const {
    dumper::_Entry const entry(d, "zan::ConfigFile");
    d << indent << namestring("enable_") << enable_ << endline;
    d << indent << namestring("config_") << config_ << endline;
    d << indent << namestring("mps_");
    {
        dumper::_Entry const both(d, "zan::array");
        d << indent << namestring("[0]", "") << mps_[0] << endline;
        d << indent << namestring("[1]", "") << mps_[1] << endline;
    }
    d << endline;
    d << indent << namestring("codepage_") << codepage_ << endline;
    return d;
}

namespace detail {

// Behind the fast path of configuredCodepage().
long loadConfiguredCodepage() {
    if (g_loading != 0) return 65001;
    return static_cast<long>(ConfigFile::codepage());
}

}  // namespace detail

}  // namespace zan
