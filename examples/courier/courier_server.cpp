// Stores the files that courier_send brings. See docs/courier.md.
#include <zan/zan.h>

#include <charconv>
#include <condition_variable>
#include <iostream>
#include <mutex>

#include "inbox.h"

namespace {

constexpr char USAGE[] =
    R"(usage: courier_server [OPTION]...

Listens for courier_send and stores the files that it brings. The first line of
output is "listening on PORT". SIGINT and SIGTERM end the server when the files
that are under way are stored; a second one ends it at once.

  --port N       the port to listen on; 0, the default, takes a free one
  --address IP   the local address to listen on; 127.0.0.1 unless given,
                 0.0.0.0 for every address of this machine
  --inbox DIR    the folder for the files, made if it is not there; "inbox"
                 unless given
  --log FILE     the log file; none unless given
  --help         this text
)";

struct Options {
    unsigned short port = 0;
    std::string address = "127.0.0.1";
    std::string inbox = "inbox";
    std::string log;
    bool help = false;
    std::string error;

    Options(int argc, char** argv) {
        for (int i = 1; i < argc && error.empty(); ++i) {
            std::string const option = argv[i];
            if (option == "--help" || option == "-h") {
                help = true;
            } else if (i + 1 == argc) {
                error = option.rfind("--", 0) == 0 ? "missing value or unknown option " + option
                                                   : "unexpected argument " + option;
            } else if (option == "--port") {
                std::string const value = argv[++i];
                auto const end = value.data() + value.size();
                auto const read = std::from_chars(value.data(), end, port);
                if (read.ec != std::errc() || read.ptr != end) error = "no port: " + value;
            } else if (option == "--address") {
                address = argv[++i];
            } else if (option == "--inbox") {
                inbox = argv[++i];
            } else if (option == "--log") {
                log = argv[++i];
            } else {
                error = "unknown option " + option;
            }
        }
    }
};

class CourierServer : public zan::UowMain {
public:
    CourierServer(int argc, wchar_t** argv, Options const& options)
        : UowMain(argc, argv),
          options_(options),
          inbox_(new courier::Inbox(server_, options.inbox)) {}

    void on_init() override {
        server_.setMaxFrameSize(courier::MAX_FRAME);
        if (!server_.open(zan::TcpAddr(options_.port, options_.address), inbox_, 0)) {
            std::cerr << "courier_server: cannot listen on " << options_.address << ':'
                      << options_.port << std::endl;
            return stop(1);
        }
        std::cout << "listening on " << server_.getLocalPort() << std::endl;
    }

    // All work is done on the threads of the connections.
    void on_loop() override {
        std::unique_lock<std::mutex> lock(mutex_);
        quitting_.wait(lock, [this] { return signals_ != 0; });
        stop(0);
    }

    void on_fini() override {
        inbox_->drain();
        // A sender that has fallen silent does not hold up the end for ever.
        if (!inbox_->waitIdle(30))
            ZAN_WARNING(zan::logger_factory::instance(zan::LOGGER_ID),
                        "stopping with files under way");
        server_.close();
    }

    // On the thread of the quit handler.
    void onSignal() {
        std::lock_guard<std::mutex> const guard(mutex_);
        if (++signals_ > 1) inbox_->giveUp();
        quitting_.notify_all();
    }

private:
    Options const& options_;
    zan::TcpServer server_;
    zan::Handle<courier::Inbox> const inbox_;
    std::mutex mutex_;
    std::condition_variable quitting_;
    int signals_ = 0;
};

}  // namespace

int main(int argc, char** argv) {
    Options const options(argc, argv);
    if (options.help) {
        std::cout << USAGE;
        return 0;
    }
    if (!options.error.empty()) {
        std::cerr << "courier_server: " << options.error << "\n\n" << USAGE;
        return 2;
    }
    zan::InitFini const library(options.log.empty() ? nullptr : options.log.c_str(), false);
    try {
        zan::WideArgs const wide(argc, argv);
        CourierServer server(wide.argc(), wide.argv(), options);
        zan::QuitHandler const quit(
            [](int) { static_cast<CourierServer&>(zan::app()).onSignal(); });
        return server.start();
    } catch (std::exception const& e) {
        std::cerr << "courier_server: " << e.what() << std::endl;
        return 1;
    }
}
