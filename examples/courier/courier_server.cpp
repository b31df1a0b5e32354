// Stores the files that courier_send brings. See docs/courier.md.
#include <zan/zan.h>

#include <unistd.h>

#include <atomic>
#include <charconv>
#include <filesystem>
#include <iostream>
#include <optional>
#include <sstream>

#include "idle_watch.h"
#include "inbox.h"
#include "settings.h"

namespace {

constexpr char USAGE[] =
    R"(usage: courier_server [OPTION]...

Listens for courier_send and stores the files that it brings. The first line of
output is "listening on PORT". SIGINT and SIGTERM end the server when the files
that are under way are stored; a second one ends it at once.

  --config FILE  the settings; "courier.pml" unless given, where there is one
  --port N       the port to listen on; 0, the default, takes a free one
  --address IP   the local address to listen on; 127.0.0.1 unless given,
                 0.0.0.0 for every address of this machine
  --inbox DIR    the folder for the files, made if it is not there; "inbox"
                 unless given
  --key TEXT     for files that come encrypted, as in courier_send
  --log FILE     the log file; none unless given
  --check-memory list at the end what of the tracked objects was never freed
  --help         this text

What is given here goes before what the settings say. On a terminal the server
takes commands: status, log on NAME, log off NAME, quit.
)";

constexpr char CONFIG[] = "courier.pml";

struct Options {
    std::string config;
    std::optional<unsigned short> port;
    std::optional<std::string> address, inbox, key, log;
    bool help = false;
    bool checkMemory = false;
    bool crash = false;  // to see the report of a crash
    std::string error;

    Options(int argc, char** argv) {
        for (int i = 1; i < argc && error.empty(); ++i) {
            std::string const option = argv[i];
            if (option == "--help" || option == "-h") {
                help = true;
            } else if (option == "--check-memory") {
                checkMemory = true;
            } else if (option == "--crash") {
                crash = true;
            } else if (i + 1 == argc) {
                error = option.rfind("--", 0) == 0 ? "missing value or unknown option " + option
                                                   : "unexpected argument " + option;
            } else if (option == "--port") {
                std::string const value = argv[++i];
                auto const end = value.data() + value.size();
                auto const read = std::from_chars(value.data(), end, port.emplace());
                if (read.ec != std::errc() || read.ptr != end) error = "no port: " + value;
            } else if (option == "--config") {
                config = argv[++i];
            } else if (option == "--address") {
                address = argv[++i];
            } else if (option == "--inbox") {
                inbox = argv[++i];
            } else if (option == "--key") {
                key = argv[++i];
            } else if (option == "--log") {
                log = argv[++i];
            } else {
                error = "unknown option " + option;
            }
        }
    }
};

zan::logger& log() {
    return zan::logger_factory::instance(zan::LOGGER_ID);
}

class CourierServer : public zan::UowMain {
public:
    CourierServer(int argc, wchar_t** argv, courier::Settings const& settings,
                  courier::IdleWatch& idle)
        : UowMain(argc, argv),
          settings_(settings),
          idle_(idle),
          inbox_(new courier::Inbox(server_, std::string(settings.inbox), settings.key)) {}

    void on_init() override {
        for (zan::String const& problem : settings_.problems()) {
            std::cerr << "courier_server: " << problem << std::endl;
            ZAN_NOTICE(log(), "settings: " << problem);
        }
        server_.setMaxFrameSize(courier::MAX_FRAME);
        if (!server_.open(zan::TcpAddr(settings_.port, settings_.address), inbox_, 0)) {
            std::cerr << "courier_server: cannot listen on " << settings_.address << ':'
                      << settings_.port << std::endl;
            return stop(1);
        }
        auto const lastHeard = [this](zan::TcpAddr const& peer) { return inbox_->lastHeard(peer); };
        if (!idle_.start(server_, lastHeard, settings_.idleTimeout))
            ZAN_WARNING(log(), "no timer, idle connections stay open");
        std::cout << "listening on " << server_.getLocalPort() << std::endl;
        if (isatty(STDIN_FILENO) != 0) commands_.open(L"> ");
    }

    // All work is done on the threads of the connections; what is left is to obey.
    void on_loop() override {
        if (signals_ != 0) return stop(0);
        inbox_->saveIndex();
        std::wstring line;
        if (commands_.get(line, zan::Time::seconds(1))) obey(zan::String(line));
    }

    void on_fini() override {
        commands_.close();
        idle_.stop();
        inbox_->drain();
        // A sender that has fallen silent does not hold up the end for ever.
        if (!inbox_->waitIdle(30)) ZAN_WARNING(log(), "stopping with files under way");
        server_.close();
        inbox_->saveIndex();
    }

    // On the thread of the quit handler.
    void onSignal() {
        if (++signals_ > 1) inbox_->giveUp();
        commands_.close();  // lets the loop come back
    }

private:
    void obey(std::string const& line) {
        std::istringstream words(line);
        std::string command, state, name, more;
        words >> command >> state >> name >> more;
        if (command == "status" && state.empty()) {
            zan::dumper out(std::cout);
            inbox_->dump(out);
            std::cout << std::endl;
        } else if (command == "log" && (state == "on" || state == "off") && !name.empty() &&
                   more.empty()) {
            log().setAppLog(name, state == "on");
            std::cout << name << " is " << state << std::endl;
        } else if (command == "quit" && state.empty()) {
            stop(0);
        } else if (!command.empty()) {
            std::cout << "commands: status, log on NAME, log off NAME, quit" << std::endl;
        }
    }

    courier::Settings const& settings_;
    courier::IdleWatch& idle_;
    zan::TcpServer server_;
    zan::Handle<courier::Inbox> const inbox_;
    zan::CmdLineQueue commands_;
    std::atomic<int> signals_{0};
};

// The settings that hold: those of the file, and those of the command line before them.
courier::Settings settingsOf(Options const& options) {
    courier::Settings settings;
    if (!options.config.empty() && !std::filesystem::exists(options.config))
        throw std::runtime_error("no such file: " + options.config);
    settings.load(zan::String(zan::libraryName(options.config.empty() ? CONFIG : options.config)));
    if (options.port) settings.port = *options.port;
    if (options.address) settings.address = *options.address;
    if (options.inbox) settings.inbox = *options.inbox;
    if (options.key) settings.key = *options.key;
    return settings;
}

[[gnu::noinline]] void writeTo(int volatile* place) {
    *place = 1;
}

// As a fault on a thread of the server's would.
class Crash : public zan::SimpleThread {
public:
    Crash() : SimpleThread(nullptr, "crash") {}

protected:
    void onWork() override { writeTo(nullptr); }
};

int serve(int argc, char** argv, courier::Settings const& settings, courier::IdleWatch& idle) {
    zan::WideArgs const wide(argc, argv);
    CourierServer server(wide.argc(), wide.argv(), settings, idle);
    zan::QuitHandler const quit([](int) { static_cast<CourierServer&>(zan::app()).onSignal(); });
    return server.start();
}

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
    courier::IdleWatch idle;
    try {
        courier::Settings const settings = settingsOf(options);
        std::string const logFile = options.log ? *options.log : std::string(log().filename());
        zan::InitFini const library(logFile.empty() ? nullptr : logFile.c_str(), false);
        if (options.crash) {
            zan::MLC_Entry::logExceptionOnly();
            zan::Handle<Crash> const crash(ZAN_NEW(Crash));
            crash->start();
            crash->join();
        }
        std::optional<zan::MemLeakChecker::Helper> checked;
        if (options.checkMemory) {
            log().setAppLog("MLC", true);
            checked.emplace();
        }
        int const status = serve(argc, argv, settings, idle);
        if (checked) zan::MemLeakChecker::instance()->dump(std::cout) << std::endl;
        return status;
    } catch (std::exception const& e) {
        std::cerr << "courier_server: " << e.what() << std::endl;
        return 1;
    }
}
