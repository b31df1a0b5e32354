// A run with the book of tracked objects: the library at work in all its parts leaves nothing in
// it and releases nothing unknown, and an object that the program forgets is named.
#include <cstdio>
#include <fstream>
#include <future>

#include "zan/zan.h"

#include "checks.h"

namespace {

class Echo : public zan::TcpCallback {
public:
    explicit Echo(zan::TcpServer& server) : server_(server) {}
    void onRecv(zan::TcpAddr const& peer, zan::istr const& message) override {
        server_.send(peer, message, 5);
    }
    void onClose(zan::TcpAddr const&) override {}

private:
    zan::TcpServer& server_;
};

class Answer : public zan::TcpCallback {
public:
    void onRecv(zan::TcpAddr const&, zan::istr const&) override { arrived.set_value(); }
    void onClose(zan::TcpAddr const&) override {}
    std::promise<void> arrived;
};

class Tick : public zan::ITimerObject {
public:
    zan::OnTimerResult onTimer(zan::TimerId, unsigned long, void*) override {
        return zan::OnTimerResult(zan::Time(), 0);
    }
    void onTimerRelease(zan::TimerId, unsigned long, void*) override { released.set_value(); }
    std::promise<void> released;
};

void trees() {
    zan::pml::ntv::Unit* const tree =
        zan::pml::newNTV(zan::istr("a(b(1) c:map(x(2) y(3)) d(\"text\"))"));
    tree->addChild("more", "", zan::istr("value"));
    zan::dumper text;
    text << *tree;
    ZAN_DELETE(tree);
    zan::nbr::OutputStream out;
    out.write(1, 42);
    out.write(2, zan::String("text"));
    zan::nbr::InputStream const in(out.str());
    zan::XMLParser const parser(zan::istr("<a x=\"1\"><b>text</b><b/></a>"));
    zan::XMLNode copy(*parser.rootNode());
    copy.addChildNode("c");
    copy.str(true, 0);
}

void echo() {
    zan::TcpServer server;
    zan::TcpClient client;
    zan::Handle<zan::TcpCallback> const back(ZAN_NEW(Echo(server)));
    zan::Handle<Answer> const answer(ZAN_NEW(Answer));
    server.open(zan::TcpAddr(0, "127.0.0.1"), back, 0);
    client.open(zan::TcpAddr(server.getLocalPort(), "127.0.0.1"), answer.get(), 5, 0);
    client.send("ping", 5);
    answer->arrived.get_future().wait();
    client.close();
    server.close();
}

void work(std::string const& round) {
    zan::logger& log = zan::logger_factory::instance("round." + round);
    log.open((round + ".log").c_str());
    log.start();
    ZAN_INFO(log, "at work");
    trees();
    echo();
    Tick tick;
    zan::TimerId id;
    zan::TimerManager::instance()->setTimer(id, "tick", 0, 1, &tick, 1, nullptr);
    tick.released.get_future().wait();
    log.stop();
}

// Within reach, as other checkers are not to complain.
int* volatile forgotten = nullptr;

void runTracked(bool forget) {
    std::remove("tracked.log");
    {
        zan::InitFini const library("tracked.log", true);
        zan::MemLeakChecker::Helper const checked;
        check(zan::MemLeakChecker::running(), "not running", "");
        work("first");
        work("second");
        if (forget) forgotten = ZAN_NEW(int(7));
    }
    std::fflush(stderr);
    checkHas("tracked.log", forget ? "tracked_objects.cpp" : "Congratulations! No memory leaked.");
    std::string const screen = contentOf("screen.txt");
    check(screen.find("[NOTICE]") == std::string::npos, "released something unknown", screen);
}

}  // namespace

int main() {
    std::ofstream("p2p_config.pml") << "cfg(log(consoleOn(1) appLogOn(1) appLogs:map(MLC(1))))";
    if (std::freopen("screen.txt", "w", stderr) == nullptr) return 3;
    for (bool const forget : {false, true}) runTracked(forget);
    return failures == 0 ? 0 : 1;
}
