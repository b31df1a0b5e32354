// Static objects that log, throw and lock in their constructors and destructors, around a complete
// start and stop, and a thread that outlives main().
#include <thread>

#include "zan/zan.h"

namespace {

struct Noisy {
    Noisy() { work(); }
    ~Noisy() { work(); }
    static void work() {
        ZAN_TRACE_FRAME(zan::logger_factory::instance("ZAN"));
        ZAN_INFO(zan::logger_factory::instance("ZAN"), "static " << zan::String("text"));
        ZAN_INFO(zan::logger_factory::instance("another"), "static");
        try {
            ZAN_USER_THROW_MSG(zan::logger_factory::instance("ZAN"), zan::InvalidDataException,
                               "x");
        } catch (zan::Exception const& e) {
            if (e.what() == nullptr) std::abort();
        }
        zan::SimpleThread::current();
        zan::tracer::instance();
    }
};

Noisy before;

}  // namespace

int main() {
    static Noisy inside;
    {
        zan::InitFini const library(nullptr, false);
        std::thread([] {
            for (;;) Noisy::work();
        }).detach();
        Noisy::work();
    }
    Noisy::work();
}
