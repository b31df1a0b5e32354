// exit() called by a SimpleThread, while the main thread waits for it.
#include <cstdlib>

#include "zan/zan.h"

namespace {

class Ender : public zan::SimpleThread {
public:
    Ender() : SimpleThread(nullptr, "ender") {}

protected:
    bool onLoop() override {
        ZAN_INFO(zan::logger_factory::instance("ZAN"), "good bye");
        std::exit(0);
    }
};

}  // namespace

int main() {
    zan::init(nullptr, false, 0);
    zan::startup("exit_in_thread.log", false, 0);
    zan::Handle<Ender> const ender(new Ender);
    ender->startAndWait();
    ender->join();
    return 1;
}
