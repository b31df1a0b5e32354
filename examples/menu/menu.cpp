// A test program with menus. By hand, `menu` shows what there is and asks; in batch, `menu net/echo
// text` runs those cases and ends, with exit code 0 if all went well. See docs/testing.md.
#include <zan/zan.h>

#include <deque>

namespace {

using zan::test::TestCase;
using zan::test::UowTest;

zan::logger& mainLog() {
    return zan::logger_factory::instance(zan::LOGGER_ID);
}

unsigned long casesRun = 0;
unsigned long casesFailed = 0;

// [rows]
// A row that runs `body` within a frame in the log. An exception makes the case a failed one, and
// the menu goes on.
template <class Body>
void addCase(UowTest& menu, char const* key, char const* msg, Body body) {
    menu.add(key, msg, zan::test::testFn([key, body] {
                 zan::test::tester::_Entry const frame(key);
                 ++casesRun;
                 try {
                     body();
                 } catch (std::exception const& e) {
                     ++casesFailed;
                     ZAN_ERROR(mainLog(), key << " failed: " << e.what());
                 }
             }));
}

// A row that opens a menu below this one, with what `fill` puts there and the cases for all menus.
template <class Fill>
void addMenu(UowTest& menu, char const* key, char const* msg, Fill fill) {
    menu.add(key, msg, zan::test::testFn([key, fill](TestCase* above) {
                 UowTest unit(key, above);
                 fill(unit);
                 unit.appendAddons();
                 if (unit.start() != 0) ++casesFailed;
             }));
}
// [/rows]

void expect(bool holds, char const* what) {
    if (!holds) ZAN_USER_THROW_MSG(mainLog(), zan::InvalidDataException, "not so: " << what);
}

// --- net

// Sends back what comes.
class Echo : public zan::TcpCallback {
public:
    explicit Echo(zan::TcpServer& server) : server_(server) {}
    void onRecv(zan::TcpAddr const& peer, zan::istr const& data) override {
        server_.send(peer, data, 5);
    }
    void onClose(zan::TcpAddr const&) override {}

private:
    zan::TcpServer& server_;
};

// Keeps what comes until somebody asks for it.
class Inbox : public zan::TcpCallback {
public:
    void onRecv(zan::TcpAddr const&, zan::istr const& data) override { put(data); }
    void onClose(zan::TcpAddr const&) override { put("<closed>"); }
    // The next message, or "<nothing>" after five seconds.
    zan::String take() {
        zan::MonitorLock const guard(monitor_);
        while (messages_.empty())
            if (!monitor_.timedWait(zan::Time::seconds(5))) return "<nothing>";
        zan::String const first = messages_.front();
        messages_.pop_front();
        return first;
    }

private:
    void put(zan::istr const& data) {
        zan::MonitorLock const guard(monitor_);
        messages_.emplace_back(data);
        monitor_.notify();
    }

    zan::Monitor monitor_;
    std::deque<zan::String> messages_;
};

// A server that echoes and a client that is connected to it. The client goes first at the end.
struct Connection {
    zan::TcpServer server;
    zan::TcpClient client;
    zan::Handle<Inbox> const inbox{new Inbox};

    Connection() {
        zan::Handle<zan::TcpCallback> const echo(new Echo(server));
        expect(server.open(zan::TcpAddr(0, "127.0.0.1"), echo, 0), "the server listens");
        zan::TcpAddr const there(server.getLocalPort(), "127.0.0.1");
        expect(client.open(there, inbox, 5, 0), "the client connects");
    }
};

void echo() {
    Connection c;
    for (std::string const& message :
         {std::string("one"), std::string(), std::string(1 << 20, 'x')}) {
        expect(c.client.send(message, 5), "the message goes out");
        expect(c.inbox->take() == message, "it comes back as it was");
    }
}

void hangUp() {
    Connection c;
    expect(c.client.send("hello", 5) && c.inbox->take() == "hello", "the connection works");
    c.server.close();
    expect(c.inbox->take() == "<closed>", "the client hears of the end");
}

// --- text

void codepages() {
    zan::String const utf8 = "\xe4\xb8\xad\xe6\x96\x87";
    zan::String const gbk = zan::to_ansi(zan::iwstr(utf8.toWstring(65001)), 936);
    expect(gbk == "\xd6\xd0\xce\xc4", "two characters of GBK");
    expect(zan::to_ansi(zan::iwstr(gbk.toWstring(936)), 65001) == utf8, "and back");
}

void base64() {
    zan::String text;
    zan::Base64::encode("any carnal pleas", text, false);
    expect(text == "YW55IGNhcm5hbCBwbGVhcw==", "the text of the encoder");
    zan::Bytes bytes;
    zan::Base64::decode(text, bytes);
    expect(zan::istr(bytes) == zan::istr("any carnal pleas"), "and back");
}

// --- time

// Counts its firings.
class Ticks : public zan::ITimerObject {
public:
    zan::OnTimerResult onTimer(zan::TimerId, unsigned long, void*) override {
        ++fired_;
        return zan::OnTimerResult(zan::Time(), 1);  // go on as planned
    }
    void onTimerRelease(zan::TimerId, unsigned long, void*) override {
        zan::MonitorLock const guard(monitor_);
        released_ = true;
        monitor_.notify();
    }
    // How often it has fired when its timer has ended; -1 if that takes more than five seconds.
    int wait() {
        zan::MonitorLock const guard(monitor_);
        while (!released_)
            if (!monitor_.timedWait(zan::Time::seconds(5))) return -1;
        return fired_;
    }

private:
    zan::Monitor monitor_;
    bool released_ = false;
    int fired_ = 0;
};

void timer() {
    Ticks ticks;
    zan::TimerId id;
    zan::TimerManager& timers = *zan::TimerManager::instance();
    expect(timers.setTimer(id, "ticks", 0, 50, &ticks, 3, nullptr), "there is room for a timer");
    int const fired = ticks.wait();
    timers.killTimer(id);
    expect(fired == 3, "it fires three times and is released");
}

void dates() {
    zan::Time const now = zan::Time::milliSeconds(zan::Time::now().toMilliSeconds());
    zan::Time read;
    read.fromString(now.toFullDateTime());
    expect(read == now, "a date reads back as it was");
    expect(zan::Time::seconds(90061).toDuration() == "1d 01:01:01", "a day and a bit");
}

// --- For all menus

void version() {
    zan::String text;
    text << zan::show_version();
    mainLog().debugLog(text);
}

// --- The program

// [program]
class Menu : public UowTest {
public:
    Menu(int argc, wchar_t** argv) : UowTest(argc, argv) {
        addMenu(*this, "net", "framed TCP", [](UowTest& menu) {
            addCase(menu, "echo", "messages there and back", &echo);
            addCase(menu, "hangup", "the server closes first", &hangUp);
        });
        addMenu(*this, "text", "conversions of text", [](UowTest& menu) {
            addCase(menu, "codepages", "UTF-8 and GBK", &codepages);
            addCase(menu, "base64", "there and back", &base64);
        });
        addMenu(*this, "time", "timers and dates", [](UowTest& menu) {
            addCase(menu, "timer", "three firings of a timer", &timer);
            addCase(menu, "dates", "dates as text", &dates);
        });
        // In every menu, and no part of "all".
        addCase(instance(), "version", "what this is built from", &version);
        appendAddons();
        // In batch nobody is there to be asked.
        choices_ = args().size();
        if (choices_ != 0) args().push_back("exit");
    }

    // A choice in batch that has run nothing was none: its key or its path is wrong.
    bool ok() const { return casesFailed == 0 && casesRun >= choices_; }

private:
    unsigned long choices_;
};
// [/program]

}  // namespace

int main(int argc, char** argv) {
    zan::InitFini const library("menu.log");
    zan::WideArgs const args(argc, argv);
    Menu menu(args.argc(), args.argv());
    int const code = menu.start();
    return code == 0 && !menu.ok() ? 1 : code;
}
