#include "zan/base/startstop.h"

#include <ace/Init_ACE.h>

#include <cstdlib>
#include <exception>
#include <ostream>

#include "zan/base/mlcheck.h"
#include "zan/base/version.h"
#include "zan/cfg/config_file.h"
#include "zan/log/console.h"
#include "zan/log/log_entry.h"
#include "zan/log/log_factory.h"
#include "zan/log/log_tracer.h"
#include "zan/mlc/mlc.h"
#include "zan/mt/thread.h"
#include "zan/timer/timermanager.h"
#include "zan/xml/xmlattr.h"
#include "zan/xml/xmlnode.h"

namespace zan {

namespace {

void logBlank() {
    detail::zanLogger().log("\n");
}

void logMessage(istr const& text) {
    detail::logPlainLine(detail::zanLogger(), text);
}

}  // namespace

void init(char const*, bool, int) {
    logBlank();
    logMessage("zan initializing...");
    logMessage(String("zan version ") << detail::versionText());
    logMessage("zan compiled at " __DATE__ " " __TIME__);
    std::srand(static_cast<unsigned int>(Time::now().toMicroSeconds()));
    ACE::init();
    MLC_Entry::enter();
    MemLeakChecker::instance();
    console::create();
    logger_factory::create();
    SimpleThread::current();
    tracer::instance();
    TimerManager::instance();
    // They stay until fini(), and would look forgotten in a book that begins ahead of their first
    // use.
    XMLAttr::null();
    XMLNode::null();
    pml::ntv::Unit::null();
}

void startup(char const* logFile, bool consoleOn, int maxTimers) {
    logBlank();
    logMessage("zan startup...");
    logger& log = detail::zanLogger();
    log.setConsoleOn(consoleOn);
    log.open(logFile);
    TimerManager::instance()->reopen(static_cast<unsigned long>(maxTimers));
    log.start();
    console::open();
}

void shutdown() {
    logMessage("zan shutdown...");
    logBlank();
    System::close();
    TimerManager::instance()->close();
    detail::zanLogger().stop();
    console::close();
}

void fini() {
    shutdown();
    TimerManager::destroy();
    tracer::destroy();
    SimpleThread::destroyThreadFactory();
    logMessage("zan finalized.");
    logBlank();
    logger_factory::destroy();
    console::destroy();
    ConfigFile::destroy();
    pml::ntv::Unit::destroy_null();
    XMLAttr::destroy_null();
    XMLNode::destroy_null();
    MemLeakChecker::destroy();
    MLC_Entry::leave();
    ACE::fini();
}

InitFini::InitFini(char const* logFile, bool consoleOn, int maxTimers) {
    init(logFile, consoleOn, maxTimers);
    startup(logFile, consoleOn, maxTimers);
}

InitFini::~InitFini() {
    try {
        fini();
    } catch (std::exception const& e) {
        // The program is at its end; the screen is the one place left to say it.
        std_err() << "zan: the services did not stop in order: " << e.what() << std::endl;
    }
}

}  // namespace zan
