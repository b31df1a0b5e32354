#pragma once

#include <map>

#include "zan/base/base_type_value.h"
#include "zan/log/line_cache.h"
#include "zan/log/log_logger.h"
#include "zan/mt/thread.h"
#include "zan/util/file.h"

namespace zan {

// The only logger of the library. Its objects live as long as the process: retire() takes one out
// of service, and the factory puts it back when its name is asked for again, so a reference that
// somebody still holds is never stale.
//
// Locks: configMutex_ and cacheMutex_ are never held together. fileMutex_ is taken first, by
// whoever touches the files; no line waits for it.
class loggerImpl final : public logger {
public:
    explicit loggerImpl(std::string const& id);
    ~loggerImpl() override;

    // First use under a name: reads the configuration.
    void initOnce();
    void retire();
    // Writes what is cached, as far as that is possible at the end of the process.
    void drainAtExit();

    void close() override;
    void start() override;
    bool stop() override;
    void open(char const* filename) override;
    bool useLogfile() override { return main_.use; }
    void setUseLogfile(bool on) override { main_.use = on; }
    void changeLogfile(char const* filename) override;
    void load(istr const& configFile) override;
    void load() override;
    void debugLog(istr const& line) override;
    void log(istr const& line) override;
    void writeLogfile(char const* text, unsigned long size) override;
    void writeLogfile(istr const& line) override { writeLogfile(line.data(), line.size()); }
    void writeDebugLogfile(char const* text, unsigned long size) override;
    void writeDebugLogfile(istr const& line) override {
        writeDebugLogfile(line.data(), line.size());
    }
    void flush() override;
    void setMaxCacheSize(unsigned long bytes) override { maxCacheSize_ = bytes; }
    void setMaxNumofMsg(unsigned long lines) override { maxNumofMsg_ = lines; }
    void setWaitSeconds(unsigned long seconds) override { waitSeconds_ = seconds; }
    void setObserver(LogObserver* observer) override;
    void setDebugObserver(LogObserver* observer) override;

    bool infoOn() override { return infoOn_; }
    void setInfoOn(bool on) override { set(infoOn_, on); }
    bool debugOn() override { return debugOn_; }
    void setDebugOn(bool on) override { set(debugOn_, on); }
    bool traceOn() override { return debugOn_ && traceOn_; }
    void setTraceOn(bool on) override { set(traceOn_, on); }
    bool dataLogOn() override { return debugOn_ && dataLogOn_; }
    bool debugLogOn() override { return debugOn_ && debugLogOn_; }
    bool traceLogOn() override { return debugOn_ && traceLogOn_; }
    bool diagLogOn() override { return debugOn_ && diagLogOn_; }
    bool cmdLogOn() override { return debugOn_ && cmdLogOn_; }
    bool commLogOn() override { return debugOn_ && commLogOn_; }
    bool hbLogOn() override { return debugOn_ && hbLogOn_; }
    bool appLogOn() override { return appLogOn_; }
    void setAppLogOn(bool on) override { set(appLogOn_, on); }
    bool appLogOn(String const& name) override;
    void setAppLog(String const& name, bool on) override;
    bool appLogOff(String const& name) override;
    bool msgLogOn() override { return debugOn_ && msgLogOn_; }
    void setMsgLogOn(bool on) override { set(msgLogOn_, on); }
    bool msgLogOn(String const& name) override;
    void setMsgLog(String const& name, bool on) override;
    bool msgLogOff(String const& name) override;

    String filename() override;
    void setFilename(istr const& name) override;
    bool useDebugLogfile() override { return debug_.use; }
    void setUseDebugLogfile(bool on) override { debug_.use = on; }
    String filenameDebug() override;
    void setFilenameDebug(istr const& name) override;
    unsigned long maxStringSize() override { return maxStringSize_; }
    bool consoleOn() override;
    void setConsoleOn(bool on) override;
    bool mlcOn() override { return mlcOn_; }
    void setMlcOn(bool on) override { mlcOn_ = on; }
    // Fixed for the object, so the lock is not needed to copy it.
    std::string id() override { return id_; }
    void codec(pml::stream& s) override;
    dumper& dump(dumper& d) override;
    std::ostream& dump(std::ostream& os) override;

private:
    using Flag = std::atomic<bool>;
    using Limit = std::atomic<unsigned long>;
    using Categories = std::map<String, Bit>;

    struct LogFile {
        Flag use{true};
        std::wstring filename;  // configMutex_
        FileAppender file;      // fileMutex_
        LineCache cache;        // cacheMutex_
        Ulong currSize;         // cacheMutex_; bytes in the cache, as far as they count
        std::atomic<LogObserver*> observer{nullptr};
    };

    class FlushLogThread;
    class NameGuard;

    void set(Flag& flag, bool on);
    void publishLevels();
    void setDefaults();

    void cacheLine(LogFile& record, istr const& line);
    void notifyObserver(LogFile& record, istr const& line);
    bool undrained() const;
    bool flushIsDue();
    void wake();
    Handle<FlushLogThread> flushThread();
    void restartIfDead();

    void drain();
    void writeLines(LogFile& record, std::wstring const& name, LineCache& lines);
    bool openFile(LogFile& record, std::wstring const& name);
    void reopenFiles(bool debugToo);
    void closeFiles();
    void rotate(LogFile& record, std::wstring const& name);
    std::wstring nameOf(LogFile const& record) const;
    static std::wstring debugName(std::wstring const& name);

    Mutex cacheMutex_;
    mutable Mutex configMutex_;
    Mutex fileMutex_;    // serialises file output
    Mutex threadMutex_;  // guards the handle
    Flag infoOn_{true};
    Flag debugOn_{true};
    Flag traceOn_{false};
    Flag dataLogOn_{false};
    Flag debugLogOn_{false};
    Flag traceLogOn_{false};
    Flag diagLogOn_{false};
    Flag cmdLogOn_{false};
    Flag commLogOn_{false};
    Flag hbLogOn_{false};
    Flag appLogOn_{true};
    Categories appLogs_;
    Flag msgLogOn_{false};
    Categories msgLogs_;
    LogFile main_;
    LogFile debug_;
    Limit maxNumofMsg_{100};
    Limit maxCacheSize_{65535};
    Limit waitSeconds_{3};
    Limit maxStringSize_{256};
    Flag mlcOn_{false};
    Handle<FlushLogThread> thread_;
    std::string const id_;
    Flag inited_{false};

    Flag named_{false};       // the main record has a file name
    Flag threadDead_{false};  // the flush thread ended at its birth
    Flag draining_{false};    // the flush thread is at work and will look again by itself
    Flag haveThread_{false};
};

// What stands behind logger_factory. It lives as long as the process, since threads may log while,
// and after, the library goes down.
class LoggerFactoryImpl {
public:
    static LoggerFactoryImpl& instance();

    logger& get(std::string const& name);
    // Takes all loggers out of service; they come back with the next get() of their name.
    void destroy();
    dumper& dump(dumper& d) const;

private:
    LoggerFactoryImpl();

    mutable Mutex mutex_;
    std::map<std::string, loggerImpl*> loggers_;
};

}  // namespace zan
