// An echo of frames by servers that give each client a thread. The client is the same for all of
// them: a thread with plain sockets, which sends a frame on each of its connections and then
// collects the answers. Pinned, client and server share one core, so that what is measured is the
// work; apart, each has its own; otherwise the system puts the threads where it likes.
#include <arpa/inet.h>
#include <benchmark/benchmark.h>
#include <netinet/in.h>
#include <netinet/tcp.h>
#include <pthread.h>
#include <sched.h>
#include <sys/socket.h>
#include <unistd.h>

#include <atomic>
#include <chrono>
#include <cstring>
#include <fstream>
#include <memory>
#include <optional>
#include <sstream>
#include <string>
#include <thread>
#include <utility>
#include <vector>

#include "peers/tcp_echo.h"
#include "rounds.h"
#include "zan/zan.h"

namespace {

using bench_tcp::EchoServer;
using bench_tcp::MakeServer;

class ZanServer : public EchoServer, private zan::TcpCallback {
public:
    ZanServer() {
        __setNoDelete(true);
        zan::detail::zanLogger().setInfoOn(false);
        server_.open(zan::TcpAddr(0, "127.0.0.1"), this, 0);
    }
    ~ZanServer() override { server_.close(); }
    unsigned short port() const override { return server_.getLocalPort(); }

private:
    void onRecv(zan::TcpAddr const& peer, zan::istr const& data) override {
        server_.send(peer, data, -1);
    }
    void onClose(zan::TcpAddr const&) override {}

    zan::TcpServer server_;
};

std::unique_ptr<EchoServer> makeZan() {
    return std::make_unique<ZanServer>();
}

class Client {
public:
    explicit Client(std::size_t size) : out_(4 + size, 'x'), in_(4 + size) {
        for (int i = 0; i < 4; ++i)
            out_[static_cast<std::size_t>(i)] = static_cast<char>(size >> (24 - 8 * i));
    }
    Client(Client const&) = delete;
    Client& operator=(Client const&) = delete;
    ~Client() { close(fd_); }

    bool connect(unsigned short port) {
        fd_ = socket(AF_INET, SOCK_STREAM, 0);
        sockaddr_in addr{};
        addr.sin_family = AF_INET;
        addr.sin_addr.s_addr = htonl(INADDR_LOOPBACK);
        addr.sin_port = htons(port);
        if (::connect(fd_, reinterpret_cast<sockaddr*>(&addr), sizeof addr) != 0) return false;
        int on = 1;
        return setsockopt(fd_, IPPROTO_TCP, TCP_NODELAY, &on, sizeof on) == 0;
    }
    bool send() {
        for (std::size_t done = 0; done < out_.size();) {
            ssize_t const n = ::send(fd_, out_.data() + done, out_.size() - done, MSG_NOSIGNAL);
            if (n <= 0) return false;
            done += static_cast<std::size_t>(n);
        }
        return true;
    }
    bool receive() {
        for (std::size_t done = 0; done < in_.size();) {
            ssize_t const n = recv(fd_, in_.data() + done, in_.size() - done, 0);
            if (n <= 0) return false;
            done += static_cast<std::size_t>(n);
        }
        return true;
    }
    bool same() const { return in_ == out_; }

private:
    std::vector<char> out_;
    std::vector<char> in_;
    int fd_ = -1;
};

// The calling thread, and those that it starts.
void pin(int core) {
    cpu_set_t set;
    CPU_ZERO(&set);
    if (core >= 0) {
        CPU_SET(static_cast<unsigned>(core), &set);
    } else {
        for (unsigned i = 0; i < std::thread::hardware_concurrency(); ++i) CPU_SET(i, &set);
    }
    sched_setaffinity(0, sizeof set, &set);
}

// Keeps every core from halting, by threads that run only where no other wants to. A host needs
// between 30 and 600 us to wake a halted virtual core, which would be all that the rows show.
class Awake {
public:
    Awake() {
        for (unsigned i = 0; i < std::thread::hardware_concurrency(); ++i) {
            threads_.emplace_back([this, i] {
                sched_param const none{};
                pin(static_cast<int>(i));
                if (pthread_setschedparam(pthread_self(), SCHED_IDLE, &none) != 0) return;
                while (!over_.load(std::memory_order_relaxed)) {
                }
            });
        }
    }
    Awake(Awake const&) = delete;
    Awake& operator=(Awake const&) = delete;
    ~Awake() {
        over_ = true;
        for (auto& thread : threads_) thread.join();
    }

private:
    std::atomic<bool> over_{false};
    std::vector<std::thread> threads_;
};

enum class Cores { FREE, ONE, TWO };

// Where the threads of a row run, while it lives.
class Setting {
public:
    explicit Setting(Cores cores) {
        if (cores != Cores::ONE) awake_.emplace();
    }
    Setting(Setting const&) = delete;
    Setting& operator=(Setting const&) = delete;
    ~Setting() { pin(-1); }

    static void server(Cores cores) { pin(cores == Cores::FREE ? -1 : 0); }
    static void client(Cores cores) { pin(cores == Cores::FREE ? -1 : cores == Cores::TWO); }

private:
    std::optional<Awake> awake_;
};

// A server, whose threads are born where this one is, and its clients.
class Echo {
public:
    Echo(MakeServer make, std::size_t size, unsigned clients, Cores cores)
        : size_(size),
          renew_(clients != 1           ? 0
                 : cores == Cores::FREE ? 10
                                        : 1) {
        Setting::server(cores);
        server_ = make();
        Setting::client(cores);
        for (unsigned i = 0; i < clients; ++i) connect();
    }
    // The time of an echo to all clients, below 0 for a failure.
    double seconds() {
        // The system settles early how a connection acknowledges, which decides on some percent:
        // a single client shows many connections, not the fate of one.
        if (renew_ != 0 && round_++ % renew_ == 0) {
            clients_.clear();
            connect();
            // Free threads: a new one is put on another core than its client, and one from a pool
            // is not. After some slices that is forgotten.
            for (unsigned i = 1; good_ && i < renew_; ++i) slice();
        }
        return slice();
    }

private:
    double slice() {
        constexpr std::chrono::milliseconds SLICE(6);
        auto const begin = std::chrono::steady_clock::now();
        auto now = begin;
        for (int n = 1; good_; ++n) {
            for (auto const& client : clients_) good_ = client->send() && good_;
            for (auto const& client : clients_) good_ = client->receive() && good_;
            now = std::chrono::steady_clock::now();
            if (now - begin >= SLICE) return std::chrono::duration<double>(now - begin).count() / n;
        }
        return -1;
    }
    void connect() {
        clients_.push_back(std::make_unique<Client>(size_));
        Client& client = *clients_.back();
        good_ = good_ && client.connect(server_->port());
        for (int i = 0; i < 100; ++i)
            good_ = good_ && client.send() && client.receive() && client.same();
    }

    std::size_t const size_;
    unsigned const renew_;  // the connection after so many rounds, 0 never
    unsigned round_ = 0;
    std::unique_ptr<EchoServer> server_;
    std::vector<std::unique_ptr<Client>> clients_;
    bool good_ = true;
};

struct Case {
    char const* args;
    std::size_t size;
    unsigned clients;
    Cores cores;
};

constexpr Case CASES[] = {
    {"64B/1/pinned", 64, 1, Cores::ONE},     {"64B/1/apart", 64, 1, Cores::TWO},
    {"64B/1", 64, 1, Cores::FREE},           {"64B/64/pinned", 64, 64, Cores::ONE},
    {"64B/64", 64, 64, Cores::FREE},         {"64KiB/1/pinned", 65536, 1, Cores::ONE},
    {"64KiB/1/apart", 65536, 1, Cores::TWO}, {"64KiB/1", 65536, 1, Cores::FREE},
};

constexpr std::pair<char const*, MakeServer> SERVERS[] = {
    {"zan", makeZan},
    {"raw", bench_tcp::makeRaw},
    {"raw_ahead", bench_tcp::makeRawAhead},
#if defined(ZAN_PEER_POCO)
    {"poco", bench_tcp::makePoco},
#endif
#if defined(ZAN_PEER_ASIO)
    {"asio", bench_tcp::makeAsio},
#endif
};

void add(Case const& c) {
    bench::Rounds rounds("echo", c.args, c.clients == 1 ? 601 : 301, benchmark::kMicrosecond);
    rounds.around([c] { return std::make_shared<Setting>(c.cores); });
    for (auto const& [name, make] : SERVERS)
        rounds.add(name, [c, make = make] {
            auto const echo = std::make_shared<Echo>(make, c.size, c.clients, c.cores);
            return [echo] { return echo->seconds(); };
        });
}

// Resident memory without that of the threads' stacks, in bytes.
double residentBesideStacks() {
    std::ifstream smaps("/proc/self/smaps");
    std::string line;
    double total = 0;
    bool stack = false;
    while (std::getline(smaps, line)) {
        std::istringstream fields(line);
        std::string key;
        double kib = 0;
        if (!(fields >> key >> kib)) continue;
        if (key == "Size:") stack = kib == 8192;
        if (key == "Rss:" && !stack) total += kib * 1024;
    }
    return total;
}

// What a connection costs that has carried a frame of 64 KiB and then fallen silent.
void idleConnection(benchmark::State& state) {
    constexpr unsigned COUNT = 200;
    double bytes = 0;
    for (auto _ : state) {
        ZanServer server;
        Client first(65536);
        bool good = first.connect(server.port()) && first.send() && first.receive();
        std::vector<std::unique_ptr<Client>> all;
        for (unsigned i = 0; i < COUNT; ++i)
            all.push_back(std::make_unique<Client>(i % 8 == 0 ? 65536 : 64));
        double const before = residentBesideStacks();
        for (auto const& client : all)
            good = client->connect(server.port()) && client->send() && client->receive() && good;
        if (!good) state.SkipWithError("a connection broke");
        // Memory goes back after a second of silence.
        std::this_thread::sleep_for(std::chrono::milliseconds(2500));
        bytes = (residentBesideStacks() - before) / COUNT;
    }
    state.counters["bytes"] = bytes;
}

bool const registered = [] {
    for (Case const& c : CASES) add(c);
    benchmark::RegisterBenchmark("idle_connection/zan", idleConnection)->Iterations(1);
    return true;
}();

}  // namespace
