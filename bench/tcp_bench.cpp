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
#include <cstdlib>
#include <cstring>
#include <fstream>
#include <memory>
#include <optional>
#include <sstream>
#include <string>
#include <thread>
#include <vector>

#include "peers/tcp_echo.h"
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

void echo(benchmark::State& state, MakeServer make, std::size_t size, unsigned clients,
          Cores cores) {
    std::optional<Awake> awake;
    if (cores != Cores::ONE) awake.emplace();
    if (cores != Cores::FREE) pin(0);
    std::unique_ptr<EchoServer> const server = make();
    if (cores == Cores::TWO) pin(1);
    {
        std::vector<std::unique_ptr<Client>> all;
        bool good = true;
        for (unsigned i = 0; i < clients; ++i) {
            all.push_back(std::make_unique<Client>(size));
            good = good && all.back()->connect(server->port()) && all.back()->send() &&
                   all.back()->receive() && all.back()->same();
        }
        if (!good) state.SkipWithError("the echo differs");
        for (auto _ : state) {
            for (auto const& client : all) good = client->send() && good;
            for (auto const& client : all) good = client->receive() && good;
        }
        if (!good) state.SkipWithError("a connection broke");
        state.SetItemsProcessed(state.iterations() * clients);
    }
    pin(-1);
}

// Servers that make the same two calls differ by less than one run does from the next: many short
// runs, in random order, have medians that come back.
constexpr int REPETITIONS = 61;
constexpr double SECONDS = 0.03;
// Where the system moves the threads about, a run has to be long enough to see it happen.
constexpr int FREE_REPETITIONS = 21;
constexpr double FREE_SECONDS = 0.3;

struct Case {
    char const* args;
    std::size_t size;
    unsigned clients;
};

constexpr Case CASES[] = {{"64B/1", 64, 1}, {"64B/64", 64, 64}, {"64KiB/1", 65536, 1}};

void add(char const* impl, MakeServer make) {
    for (Case const& c : CASES) {
        for (Cores const cores : {Cores::FREE, Cores::ONE, Cores::TWO}) {
            // Many clients keep both cores busy, wherever they are.
            bool const many = c.clients != 1;
            if (many && cores == Cores::TWO) continue;
            bool const moves = !many && cores == Cores::FREE;
            std::string name = moves ? "echo_anywhere/" : "echo/";
            name = name + impl + '/' + c.args;
            if (cores == Cores::ONE) name += "/pinned";
            if (cores == Cores::TWO) name += "/apart";
            auto* const row =
                benchmark::RegisterBenchmark(name.c_str(), echo, make, c.size, c.clients, cores)
                    ->UseRealTime();
            // Set by the tests, which ask only whether it runs.
            if (std::getenv("ZAN_BENCH_ONCE") != nullptr) continue;
            row->Repetitions(moves ? FREE_REPETITIONS : REPETITIONS);
            row->MinTime(moves ? FREE_SECONDS : SECONDS);
        }
    }
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
    add("zan", makeZan);
    add("raw", bench_tcp::makeRaw);
    add("raw_ahead", bench_tcp::makeRawAhead);
#if defined(ZAN_PEER_POCO)
    add("poco", bench_tcp::makePoco);
#endif
#if defined(ZAN_PEER_ASIO)
    add("asio", bench_tcp::makeAsio);
#endif
    benchmark::RegisterBenchmark("idle_connection/zan", idleConnection)->Iterations(1);
    return true;
}();

}  // namespace
