// Greets each of its arguments, on the console and in hello.log.
#include <zan/zan.h>

namespace {

class Hello : public zan::UowMain {
public:
    using UowMain::UowMain;

    // Called until stop(). An exception ends the loop, is logged, and makes the exit code 1.
    void on_loop() override {
        zan::logger& log = zan::logger_factory::instance(zan::LOGGER_ID);
        ZAN_TRACE_ENTRY(log);
        if (argLeft() == 0) return stop(0);
        if (argCurrent().empty())
            ZAN_USER_THROW_MSG(log, zan::InvalidDataException, "a name is empty");
        ZAN_INFO(log, "hello, " << argCurrent());
        argNext();
    }
};

}  // namespace

int main(int argc, char** argv) {
    zan::InitFini const library("hello.log");  // the library is up as long as this object
    zan::WideArgs const args(argc, argv);
    Hello hello(args.argc(), args.argv());
    return hello.start();
}
