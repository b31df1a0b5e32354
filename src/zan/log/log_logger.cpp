#include "zan/log/log_logger.h"

#include <ace/OS_NS_stdio.h>

#include <optional>
#include <ostream>

#include "zan/base/exception.h"
#include "zan/base/mlcheck.h"
#include "zan/base/version.h"
#include "zan/cfg/config_file.h"
#include "zan/log/console.h"
#include "zan/log/log_entry.h"
#include "zan/log/log_tracer.h"
#include "zan/log/logger_impl.h"
#include "zan/platform/native_path.h"
#include "zan/pml/pml_stream.h"
#include "zan/util/util_func.h"

namespace zan {

namespace {

// Before a line would take a file past this size, the file becomes the backup.
constexpr __int64 FILE_LIMIT = 0xA00000;

// What is kept of the newest lines while they have no file to go to.
constexpr unsigned long UNDRAINED_BYTES = 64 * 1024;

// The longest run of lines that goes to a file in one write.
constexpr unsigned long WRITE_SIZE = 256 * 1024;

char const RULE[] = "=============================================================================";
static_assert(sizeof(RULE) == 77 + 1);

}  // namespace

logger::~logger() = default;

LogObserver::~LogObserver() = default;

namespace detail {

std::atomic<unsigned long> LogCategory::generation{1};

bool LogCategory::ask() const {
    // The generation is read first: a change that comes in between makes the answer stale, never
    // wrong for good.
    unsigned long const current = generation.load(std::memory_order_acquire);
    bool const on = zanLogger().appLogOn(String(name_));
    cached_.store(current << 1 | (on ? 1u : 0u), std::memory_order_relaxed);
    return on;
}

}  // namespace detail

// --- The flush thread

class loggerImpl::FlushLogThread final : public SimpleThread {
public:
    FlushLogThread(char const* name, loggerImpl* log) : SimpleThread(nullptr, name), log_(log) {}

private:
    bool onBirth() override {
        MutexLock const files(log_->fileMutex_);
        if (log_->debugOn()) {
            log_->debug_.file.close();
            log_->openFile(log_->debug_, log_->nameOf(log_->debug_));
        }
        log_->main_.file.close();
        bool const opened = log_->openFile(log_->main_, log_->nameOf(log_->main_));
        log_->threadDead_ = !opened;
        return opened;
    }
    bool onWait() override {
        log_->draining_ = false;
        // Lines that arrived while this thread was at work have found nobody to wake.
        if (!log_->flushIsDue()) wait(Time::seconds(3));
        return true;
    }
    void onWork() override {
        log_->draining_ = true;
        log_->drain();
    }
    void onDeath() override {
        log_->drain();
        log_->closeFiles();
    }
    void onStop() override { notify(); }

    loggerImpl* log_;
};

// --- Changes of file names: a record whose name has changed gets its file closed and opened anew.

class loggerImpl::NameGuard : noncopyable {
public:
    explicit NameGuard(loggerImpl& log)
        : log_(log),
          debugOn_(log.debugOn()),
          main_(log.nameOf(log.main_)),
          debug_(log.nameOf(log.debug_)) {}
    ~NameGuard() {
        std::wstring const mainName = log_.nameOf(log_.main_);
        std::wstring const debugName = log_.nameOf(log_.debug_);
        if (mainName == main_ && debugName == debug_) return;
        {
            MutexLock const files(log_.fileMutex_);
            if (mainName != main_) {
                log_.main_.file.close();
                log_.openFile(log_.main_, mainName);
            }
            if (debugName != debug_) {
                log_.debug_.file.close();
                if (debugOn_) log_.openFile(log_.debug_, debugName);
            }
        }
        log_.named_ = !mainName.empty();
        if (mainName != main_) log_.restartIfDead();
    }

private:
    loggerImpl& log_;
    bool debugOn_;
    std::wstring main_;
    std::wstring debug_;
};

// --- Life

loggerImpl::loggerImpl(std::string const& id) : id_(id) {
    setKnownId(id_);
    publishLevels();
}

loggerImpl::~loggerImpl() {
    close();
}

void loggerImpl::initOnce() {
    if (!inited_.exchange(true)) load();
}

void loggerImpl::retire() {
    close();
    {
        MutexLock const config(configMutex_);
        main_.filename.clear();
        debug_.filename.clear();
        appLogs_.clear();
        msgLogs_.clear();
    }
    {
        MutexLock const cache(cacheMutex_);
        main_.cache = LineCache();
        debug_.cache = LineCache();
        main_.currSize = debug_.currSize = 0;
    }
    named_ = false;
    setDefaults();
    inited_ = false;
}

void loggerImpl::setDefaults() {
    infoOn_ = debugOn_ = appLogOn_ = true;
    traceOn_ = dataLogOn_ = debugLogOn_ = traceLogOn_ = diagLogOn_ = cmdLogOn_ = commLogOn_ =
        hbLogOn_ = msgLogOn_ = mlcOn_ = false;
    main_.use = debug_.use = true;
    main_.observer = debug_.observer = nullptr;
    maxNumofMsg_ = 100;
    maxCacheSize_ = 65535;
    waitSeconds_ = 3;
    maxStringSize_ = 256;
    publishLevels();
}

void loggerImpl::close() {
    stop();
    flush();
    closeFiles();
}

void loggerImpl::start() {
    flush();
    if (flushThread().get() != nullptr) return;
    // Made ahead of the lock: a thread traces and logs from its constructor on.
    std::string const name = id_.empty() ? "logger" : "logger." + id_;
    Handle<FlushLogThread> const thread(trackNew(new (__FILE__, __LINE__, "zan::loggerImpl::start")
                                                     FlushLogThread(name.c_str(), this),
                                                 __FILE__, __LINE__, "zan::loggerImpl::start"));
    {
        MutexLock const guard(threadMutex_);
        if (thread_.get() != nullptr) return;
        thread_ = thread;
        haveThread_ = true;
        threadDead_ = false;
    }
    thread->startAndWait(0);
}

bool loggerImpl::stop() {
    Handle<FlushLogThread> const thread = flushThread();
    if (thread.get() != nullptr) {
        thread->stop();
        MutexLock const guard(threadMutex_);
        if (thread_.get() == thread.get()) {
            thread_ = nullptr;
            haveThread_ = false;
            threadDead_ = false;
        }
    }
    return true;
}

// A flush thread that found no file to open at its birth is brought up again.
void loggerImpl::restartIfDead() {
    Handle<FlushLogThread> const thread = flushThread();
    if (thread.get() == nullptr || !threadDead_) return;
    try {
        stop();
        start();
    } catch (Exception const&) {
        // The system has no thread to give; the throw is in the log, and the next change of the
        // name tries again.
    }
}

Handle<loggerImpl::FlushLogThread> loggerImpl::flushThread() {
    MutexLock const guard(threadMutex_);
    return thread_;
}

void loggerImpl::open(char const* filename) {
    if (filename != nullptr) changeLogfile(filename);
}

void loggerImpl::changeLogfile(char const* filename) {
    NameGuard const names(*this);
    std::wstring const name = toWstring(utf8(filename));
    std::wstring oldName;
    bool changed = false;
    {
        MutexLock const config(configMutex_);
        oldName = main_.filename;
        if (name != oldName) {
            UncheckedBlocks const lifelong;  // as the logger is
            main_.filename = name;
            debug_.filename = debugName(name);
            changed = true;
        }
    }
    named_ = !name.empty();
    logger& log = detail::zanLogger();
    String announcement("log file ");
    if (changed && !oldName.empty())
        announcement << String::fromWstring(oldName) << " changed to " << filename;
    else
        announcement << "is " << filename;
    detail::logPlainLine(log, RULE);
    detail::logPlainLine(log, announcement);
    detail::logPlainLine(log, RULE);
    detail::logPlainLine(log, String("zan version ") << detail::versionText());
    detail::logPlainLine(log, "zan compiled at " __DATE__ " " __TIME__);
}

void loggerImpl::load(istr const& configFile) {
    ConfigFile::instance().load(configFile);
    load();
}

void loggerImpl::load() {
    ConfigFile const& config = ConfigFile::instance();
    if (config.empty()) return;
    // Not by the operator, whose null unit is taken down at the end: loggers may come after that.
    pml::ntv::Unit const* const unit = config.mps().unit().at("log");
    if (unit == nullptr) return;
    pml::stream section(*unit);
    NameGuard const names(*this);
    codec(section);
}

void loggerImpl::codec(pml::stream& s) {
    auto const flag = [&s](char const* key, Flag& value) {
        bool v = value;
        s& pml::field(key, v);
        value = v;
    };
    auto const limit = [&s](char const* key, Limit& value) {
        unsigned long v = value;
        s& pml::field(key, v);
        value = v;
    };
    // An empty key keeps the name.
    auto const name = [&s](char const* key, std::wstring& value) {
        if (!s.isInputStream() || !s.isEmptyChild(key)) s& pml::field(key, value);
    };
    {
        MutexLock const config(configMutex_);
        std::optional<UncheckedBlocks> lifelong;  // what is read is the logger's
        if (s.isInputStream()) lifelong.emplace();
        flag("infoOn", infoOn_);
        flag("debugOn", debugOn_);
        flag("traceOn", traceOn_);
        flag("dataLogOn", dataLogOn_);
        flag("debugLogOn", debugLogOn_);
        flag("traceLogOn", traceLogOn_);
        flag("diagLogOn", diagLogOn_);
        flag("cmdLogOn", cmdLogOn_);
        flag("commLogOn", commLogOn_);
        flag("hbLogOn", hbLogOn_);
        flag("appLogOn", appLogOn_);
        s& pml::field("appLogs", appLogs_);
        flag("msgLogOn", msgLogOn_);
        s& pml::field("msgLogs", msgLogs_);
        flag("useLogfile", main_.use);
        name("filename", main_.filename);
        flag("useDebugLogfile", debug_.use);
        name("filenameDebug", debug_.filename);
        limit("maxNumofMsg", maxNumofMsg_);
        limit("maxCacheSize", maxCacheSize_);
        limit("waitSeconds", waitSeconds_);
        limit("maxStringSize", maxStringSize_);
        bool consoleOn = console::isOn();
        bool const wasOn = consoleOn;
        s& pml::field("consoleOn", consoleOn);
        if (consoleOn != wasOn) console::setOn(consoleOn);
        flag("mlcOn", mlcOn_);
    }
    publishLevels();
}

// --- Lines

void loggerImpl::log(istr const& line) {
    writeLogfile(line.data(), line.size());
    console::print(line.data(), line.size());
}

void loggerImpl::debugLog(istr const& line) {
    if (useDebugLogfile())
        writeDebugLogfile(line.data(), line.size());
    else
        writeLogfile(line.data(), line.size());
    console::print(line.data(), line.size());
}

void loggerImpl::writeLogfile(char const* text, unsigned long size) {
    istr const line(text, size);
    cacheLine(main_, line);
    notifyObserver(main_, line);
}

void loggerImpl::writeDebugLogfile(char const* text, unsigned long size) {
    istr const line(text, size);
    if (debugOn_) cacheLine(debug_, line);
    notifyObserver(debug_, line);
}

void loggerImpl::cacheLine(LogFile& record, istr const& line) {
    bool due = false;
    {
        MutexLock const cache(cacheMutex_);
        record.cache.add(line);
        if (record.cache.lines() >= maxNumofMsg_) {
            due = true;
        } else {
            unsigned long const size = record.currSize.value() + line.size();
            record.currSize = size > 0xFFFFFFFFul ? 0xFFFFFFFFu : static_cast<unsigned int>(size);
            due = size >= maxCacheSize_;
        }
        if (undrained()) record.cache.keep(UNDRAINED_BYTES, maxNumofMsg_);
    }
    // A thread that is at work looks at the caches again before it waits.
    if (due && haveThread_ && !draining_) wake();
}

void loggerImpl::notifyObserver(LogFile& record, istr const& line) {
    if (record.observer.load(std::memory_order_acquire) == nullptr) return;
    LogObserver* observer = nullptr;
    {
        MutexLock const config(configMutex_);
        observer = record.observer;
    }
    if (observer != nullptr) observer->onLog(line);
}

// Nothing takes the lines out of the caches at present.
bool loggerImpl::undrained() const {
    return !named_ || threadDead_;
}

bool loggerImpl::flushIsDue() {
    if (undrained()) return false;
    MutexLock const cache(cacheMutex_);
    for (LogFile const* record : {&main_, &debug_})
        if (record->cache.lines() >= maxNumofMsg_ || record->cache.bytes() >= maxCacheSize_)
            return true;
    return false;
}

void loggerImpl::wake() {
    Handle<FlushLogThread> const thread = flushThread();
    if (thread.get() != nullptr) thread->notify();
}

void loggerImpl::flush() {
    Handle<FlushLogThread> const thread = flushThread();
    if (thread.get() != nullptr)
        thread->notify();
    else
        drain();
}

void loggerImpl::drainAtExit() {
    // Whoever writes just now finishes; a thread that the end of the process has stopped in the
    // middle of a write must not hold it up.
    for (int tries = 0; !fileMutex_.tryLock(); ++tries) {
        if (tries == 200) return;
        sleep(10);
    }
    drain();
    fileMutex_.unlock();
}

void loggerImpl::setObserver(LogObserver* observer) {
    MutexLock const config(configMutex_);
    main_.observer = observer;
}

void loggerImpl::setDebugObserver(LogObserver* observer) {
    MutexLock const config(configMutex_);
    debug_.observer = observer;
}

// --- Files

std::wstring loggerImpl::nameOf(LogFile const& record) const {
    MutexLock const config(configMutex_);
    return record.filename;
}

std::wstring loggerImpl::debugName(std::wstring const& name) {
    if (name.empty()) return name;
    if (iwstr(name).endWith(L".log")) return name.substr(0, name.size() - 4) + L".debug.log";
    return name + L".debug";
}

bool loggerImpl::openFile(LogFile& record, std::wstring const& name) {
    UncheckedBlocks const lifelong;  // the file keeps its name
    return !name.empty() && record.file.open(iwstr(name));
}

void loggerImpl::closeFiles() {
    MutexLock const files(fileMutex_);
    main_.file.close();
    debug_.file.close();
}

void loggerImpl::drain() {
    console::flush();
    MutexLock const files(fileMutex_);
    std::wstring const mainName = nameOf(main_);
    if (mainName.empty()) return;
    std::wstring const debugName = nameOf(debug_);
    LineCache mainLines;
    LineCache debugLines;
    {
        MutexLock const cache(cacheMutex_);
        std::swap(mainLines, main_.cache);
        std::swap(debugLines, debug_.cache);
        main_.cache.takeSpare(mainLines);
        debug_.cache.takeSpare(debugLines);
        main_.currSize = 0;
        debug_.currSize = 0;
    }
    writeLines(main_, mainName, mainLines);
    if (debugOn_) writeLines(debug_, debugName, debugLines);
    mainLines.recycle();
    debugLines.recycle();
    MutexLock const cache(cacheMutex_);
    main_.cache.takeSpare(mainLines);
    debug_.cache.takeSpare(debugLines);
}

void loggerImpl::writeLines(LogFile& record, std::wstring const& name, LineCache& lines) {
    if (lines.empty() || name.empty()) return;
    if (!record.file.valid() && !openFile(record, name)) {
        sleep(10);
        return;
    }
    __int64 size = record.file.filesize();
    char const* begin = nullptr;
    unsigned long pending = 0;
    auto const put = [&] {
        if (pending != 0) record.file.write(istr(begin, pending));
        pending = 0;
    };
    auto const add = [&](istr const& line) {
        __int64 const counted =
            line.size() < FILE_LIMIT ? static_cast<__int64>(line.size()) : FILE_LIMIT;
        if (size != -1 && size > FILE_LIMIT - counted) {
            put();
            rotate(record, name);
            size = record.file.filesize();
        }
        if (pending == 0 || begin + pending != line.data() || pending >= WRITE_SIZE) {
            put();
            begin = line.data();
        }
        pending += line.size();
        if (size != -1) size += static_cast<__int64>(line.size());
    };
    if (lines.dropped() != 0) {
        String note;
        note << Time::now().toDateTime() << " " << lines.dropped()
             << " older lines were dropped while there was no log file\n";
        add(note);
        put();
    }
    lines.forEach(add);
    put();
    record.file.flush();
}

void loggerImpl::rotate(LogFile& record, std::wstring const& name) {
    record.file.close();
    std::wstring const backup = name + L".bak";
    if (ACE_OS::rename(platform::nativePath(name).c_str(), platform::nativePath(backup).c_str()) !=
        0) {
        String message("rename log file to ");
        message << String::fromWstring(backup) << " failure: " << getLastErrorMsg() << "\n";
        console::print(message);
    }
    openFile(record, name);
}

String loggerImpl::filename() {
    return String(istr(toUtf8(wstr(nameOf(main_)))));
}

String loggerImpl::filenameDebug() {
    return String(istr(toUtf8(wstr(nameOf(debug_)))));
}

void loggerImpl::setFilename(istr const& name) {
    NameGuard const names(*this);
    std::wstring const wide = toWstring(utf8(name));
    MutexLock const config(configMutex_);
    UncheckedBlocks const lifelong;
    main_.filename = wide;
    debug_.filename = debugName(wide);
}

void loggerImpl::setFilenameDebug(istr const& name) {
    NameGuard const names(*this);
    std::wstring const wide = toWstring(utf8(name));
    MutexLock const config(configMutex_);
    UncheckedBlocks const lifelong;
    debug_.filename = wide;
}

// --- Flags and categories

void loggerImpl::set(Flag& flag, bool on) {
    flag = on;
    publishLevels();
}

void loggerImpl::publishLevels() {
    unsigned levels = 0;
    if (infoOn_) levels |= INFO;
    if (appLogOn_) levels |= APP;
    if (debugOn_) {
        levels |= DEBUG;
        if (traceOn_) levels |= TRACE;
        if (traceLogOn_) levels |= TRACE_LOG;
    }
    setLevels(levels);
    detail::LogCategory::generation.fetch_add(1, std::memory_order_release);
}

bool loggerImpl::appLogOn(String const& name) {
    if (!appLogOn_) return false;
    MutexLock const config(configMutex_);
    auto const it = appLogs_.find(name);
    return it != appLogs_.end() && it->second;
}

bool loggerImpl::appLogOff(String const& name) {
    if (!appLogOn_) return true;
    MutexLock const config(configMutex_);
    auto const it = appLogs_.find(name);
    return it != appLogs_.end() && !it->second;
}

void loggerImpl::setAppLog(String const& name, bool on) {
    {
        MutexLock const config(configMutex_);
        UncheckedBlocks const lifelong;
        appLogs_[name] = on;
    }
    publishLevels();
}

bool loggerImpl::msgLogOn(String const& name) {
    if (!msgLogOn()) return false;
    MutexLock const config(configMutex_);
    auto it = msgLogs_.find(name);
    if (it == msgLogs_.end()) it = msgLogs_.find("default");
    return it != msgLogs_.end() && it->second;
}

bool loggerImpl::msgLogOff(String const& name) {
    if (!msgLogOn()) return true;
    MutexLock const config(configMutex_);
    auto it = msgLogs_.find(name);
    if (it == msgLogs_.end()) it = msgLogs_.find("default");
    return it != msgLogs_.end() && !it->second;
}

void loggerImpl::setMsgLog(String const& name, bool on) {
    UncheckedBlocks const lifelong;
    MutexLock const config(configMutex_);
    msgLogs_[name] = on;
}

bool loggerImpl::consoleOn() {
    return console::isOn();
}

void loggerImpl::setConsoleOn(bool on) {
    console::setOn(on);
}

// --- Dump

dumper& loggerImpl::dump(dumper& d) {
    // The caches are copied first: their lock and that of the settings are never held together.
    LineCache mainLines;
    LineCache debugLines;
    unsigned int mainSize = 0;
    unsigned int debugSize = 0;
    {
        MutexLock const cache(cacheMutex_);
        main_.cache.forEach([&](istr const& line) { mainLines.add(line); });
        debug_.cache.forEach([&](istr const& line) { debugLines.add(line); });
        mainSize = main_.currSize;
        debugSize = debug_.currSize;
    }
    // Rendering text asks the library's logger for its limit. The logger is looked up ahead of the
    // lock, since the factory's lock comes before that of the settings.
    detail::zanLogger();
    MutexLock const config(configMutex_);
    dumper::_Entry const entry(d, "zan::loggerImpl");
    auto const field = [&d](char const* name, auto const& value) {
        d << zan::indent << namestring(name) << value << zan::endline;
    };
    field("infoOn_", infoOn_.load());
    field("debugOn_", debugOn_.load());
    field("traceOn_", traceOn_.load());
    field("dataLogOn_", dataLogOn_.load());
    field("debugLogOn_", debugLogOn_.load());
    field("traceLogOn_", traceLogOn_.load());
    field("diagLogOn_", diagLogOn_.load());
    field("cmdLogOn_", cmdLogOn_.load());
    field("commLogOn_", commLogOn_.load());
    field("hbLogOn_", hbLogOn_.load());
    field("appLogOn_", appLogOn_.load());
    field("appLogs_", appLogs_);
    field("msgLogOn_", msgLogOn_.load());
    field("msgLogs_", msgLogs_);
    field("useLogfile", main_.use.load());
    field("filename", main_.filename);
    field("useDebugLogfile", debug_.use.load());
    field("filenameDebug", debug_.filename);
    field("maxNumofMsg_", maxNumofMsg_.load());
    field("maxCacheSize_", maxCacheSize_.load());
    field("waitSeconds_", waitSeconds_.load());
    field("maxStringSize_", maxStringSize_.load());
    field("console::isOn()", console::isOn());
    field("mlcOn_", mlcOn_.load());
    field("cache", mainLines);
    field("currSize", mainSize);
    field("cacheDebug", debugLines);
    field("currSizeDebug", debugSize);
    field("id_", id_);
    field("inited_", inited_.load());
    return d;
}

std::ostream& loggerImpl::dump(std::ostream& os) {
    dumper d(os);
    dump(d);
    return os;
}

}  // namespace zan
