#include "zan/log/log_factory.h"

#include <cstdlib>

#include "zan/base/mlcheck.h"
#include "zan/log/console.h"
#include "zan/log/logger_impl.h"

namespace zan {

namespace {

// All logger objects that the process ever made, by name. They stay until its end, in service or
// retired.
struct Pool {
    Mutex mutex;
    std::map<std::string, loggerImpl*> loggers;
};

Pool& pool() {
    static Pool& all = detail::lifelong([] { return new Pool; });
    return all;
}

// A program that ends without fini() loses no line that has a file to go to.
void drainAllAtExit() {
    std::map<std::string, loggerImpl*> all;
    {
        MutexLock const guard(pool().mutex);
        all = pool().loggers;
    }
    for (auto const& entry : all) entry.second->drainAtExit();
    console::flush();
}

}  // namespace

namespace detail {

std::atomic<logger*> libraryLogger{nullptr};

logger& makeLibraryLogger() {
    logger& log = logger_factory::instance(LOGGER_ID);
    libraryLogger.store(&log, std::memory_order_release);
    return log;
}

}  // namespace detail

LoggerFactoryImpl::LoggerFactoryImpl() {
    std::atexit(&drainAllAtExit);
}

LoggerFactoryImpl& LoggerFactoryImpl::instance() {
    static LoggerFactoryImpl& factory = detail::lifelong([] { return new LoggerFactoryImpl; });
    return factory;
}

void LoggerFactoryImpl::destroy() {
    std::map<std::string, loggerImpl*> loggers;
    {
        MutexLock const guard(mutex_);
        loggers = loggers_;
    }
    // The flush threads end while everything that they log through still stands.
    for (auto const& entry : loggers) entry.second->close();
    detail::libraryLogger.store(nullptr, std::memory_order_release);
    {
        MutexLock const guard(mutex_);
        loggers.swap(loggers_);
        loggers_.clear();
    }
    for (auto const& entry : loggers) entry.second->retire();
    detail::LogCategory::generation.fetch_add(1, std::memory_order_release);
}

logger& LoggerFactoryImpl::get(std::string const& name) {
    UncheckedBlocks const lifelong;
    MutexLock const guard(mutex_);
    loggerImpl*& log = loggers_[name];
    if (log == nullptr) {
        MutexLock const all(pool().mutex);
        loggerImpl*& known = pool().loggers[name];
        if (known == nullptr) known = new loggerImpl(name);
        log = known;
    }
    log->initOnce();
    return *log;
}

dumper& LoggerFactoryImpl::dump(dumper& d) const {
    dumper::_Entry const entry(d, "zan::logger_factory");
    d << indent << namestring("loggers_");
    {
        MutexLock const guard(mutex_);
        dumper::_Entry const map(d, "zan::mt::map");
        d << indent;
        dumper::_Entry const plain(d, "zan::map");
        for (auto const& item : loggers_) {
            d << indent << item.first << rawstring(d.compact() ? ":" : " : ");
            item.second->dump(d);
            d << endline;
        }
    }
    return d << endline;
}

logger& logger_factory::instance(std::string const& name) {
    return LoggerFactoryImpl::instance().get(name);
}

void logger_factory::create() {
    LoggerFactoryImpl::instance();
}

void logger_factory::destroy() {
    LoggerFactoryImpl::instance().destroy();
}

dumper& operator<<(dumper& d, LOGGER_FACTORY) {
    return LoggerFactoryImpl::instance().dump(d);
}

}  // namespace zan
