// Programs that crash: each leaves a report that begins with the right function, file and line, and
// ends by its own signal. The program runs copies of itself, since a report lies beside its
// program.
#include <signal.h>

#include <atomic>
#include <cstring>
#include <functional>
#include <regex>
#include <stdexcept>
#include <thread>

#include "zan/zan.h"

#include "checks.h"

#if defined(__SANITIZE_ADDRESS__) || defined(__SANITIZE_THREAD__)
#define UNDER_SANITIZER 1
#elif defined(__has_feature)
#if __has_feature(address_sanitizer) || __has_feature(thread_sanitizer)
#define UNDER_SANITIZER 1
#endif
#endif

namespace app {

// clang-format off
#define PLACE(line) constexpr int line = __LINE__ + 1
int volatile zero = 0;
int* volatile nowhere = nullptr;

// With a stack that can't be followed.
[[gnu::noinline]] void loseStack() {
#if defined(__x86_64__)
    asm volatile("mov $4096, %rsp\n mov $4096, %rbp\n mov 0, %eax");
#else
    *nowhere = 1;
#endif
}
PLACE(WRITE_LINE);
[[gnu::noinline]] void writeNowhere(int value) { *nowhere = value; }
PLACE(INNER_LINE);
[[gnu::always_inline]] inline void inner() { *nowhere = 2; }
PLACE(OUTER_LINE);
[[gnu::noinline]] void outer() { inner(); }
PLACE(READ_LINE);
[[gnu::noinline]] int readNowhere() { return *nowhere; }
PLACE(DIVIDE_LINE);
[[gnu::noinline]] int divide(int value) { return value / zero; }
PLACE(CALL_LINE);
[[gnu::noinline]] void callNowhere() { reinterpret_cast<void (*)()>(nowhere)(); zero = 0; }
PLACE(ABORT_LINE);
[[gnu::noinline]] void giveUp() { std::abort(); }
PLACE(THROW_LINE);
[[gnu::noinline]] void throwAway() { throw std::runtime_error("nobody's"); }
PLACE(DEEP_LINE);
[[gnu::noinline]] int deeper(int value) { int volatile room[200] = {value}; if (zero != 0) return 0; return room[deeper(value + 1) & 1] + value; }
PLACE(FREE_LINE);
[[gnu::noinline]] void freeTwice() { void* volatile p = std::malloc(5000); std::free(p); std::free(p); zero = 0; }
// clang-format on

class Worker : public zan::SimpleThread {
public:
    explicit Worker(std::function<void()> work)
        : SimpleThread(nullptr, "worker"), work_(std::move(work)) {}
    void onWork() override { work_(); }

private:
    std::function<void()> work_;
};

void inWorker(std::function<void()> work) {
    zan::Handle<Worker> const worker(ZAN_NEW(Worker(std::move(work))));
    worker->startAndWait(0);
    pause();
}

struct Case {
    char const* name;
    std::function<void()> crash;
    int signal;
    char const* header;  // a pattern
    char const* function;
    int line;  // 0 where no name is expected
};

Case const CASES[] = {
    {"write", [] { writeNowhere(1); }, SIGSEGV,
     "C0000005.*code_desc=\"ACCESS VIOLATION\" more_desc=\" write attempt to address 0x00000000 \"",
     "app::writeNowhere", WRITE_LINE},
    {"inlined", [] { outer(); }, SIGSEGV, "C0000005", "app::inner", INNER_LINE},
    {"worker", [] { inWorker([] { std::printf("%d", readNowhere()); }); }, SIGSEGV,
     "C0000005.*\" read attempt to address 0x00000000 \"", "app::readNowhere", READ_LINE},
    {"overflow", [] { std::printf("%d", deeper(0)); }, SIGSEGV, "C00000FD.*STACK OVERFLOW.*\"\"",
     "app::deeper", DEEP_LINE},
    {"worker_overflow", [] { inWorker([] { std::printf("%d", deeper(0)); }); }, SIGSEGV,
     "C00000FD.*STACK OVERFLOW", "app::deeper", DEEP_LINE},
    {"abort", [] { giveUp(); }, SIGABRT, "C0000025.*NONCONTINUABLE EXCEPTION", "app::giveUp",
     ABORT_LINE},
    {"uncaught", [] { throwAway(); }, SIGABRT, "C0000025", "app::throwAway", THROW_LINE},
    {"divide", [] { std::printf("%d", divide(1)); }, SIGFPE, "C0000094.*INT DIVIDE BY ZERO",
     "app::divide", DIVIDE_LINE},
    {"jump", [] { callNowhere(); }, SIGSEGV, "C0000005", "app::callNowhere", CALL_LINE},
    {"heap", [] { freeTwice(); }, SIGABRT, "C0000025", "app::freeTwice", FREE_LINE},
    {"killed",
     [] {
         kill(getpid(), SIGBUS);
         pause();
     },
     SIGBUS, "C0000006", "", 0},
    // A report each would be the ruin of all.
    {"many",
     [] {
         std::atomic<int> ready{0};
         for (int i = 0; i < 4; ++i)
             std::thread([&ready] {
                 for (++ready; ready != 4;) {
                 }
                 writeNowhere(1);
             }).detach();
         pause();
     },
     SIGSEGV, "C0000005", "app::writeNowhere", WRITE_LINE},
    {"children",
     [] {
         signal(SIGCHLD, SIG_IGN);
         writeNowhere(1);
     },
     SIGSEGV, "C0000005", "app::writeNowhere", WRITE_LINE},
    {"files",
     [] {
         while (dup(0) >= 0) {
         }
         writeNowhere(1);
     },
     SIGSEGV, "C0000005", "app::writeNowhere", WRITE_LINE},
    {"stack", [] { loseStack(); }, SIGSEGV, "C00000(05|FD)", "app::loseStack", 0},
    // No memory for a copy of the process.
    {"memory",
     [] {
         rlimit const none = {1, 1};
         setrlimit(RLIMIT_AS, &none);
         writeNowhere(1);
     },
     SIGSEGV, "C0000005", "app::writeNowhere", 0}};

}  // namespace app

namespace {

void checkCase(std::string const& program, app::Case const& c) {
    std::string const file = program + ".exp.xml";
    std::filesystem::remove(file);
    int const status = run(program, c.name, "2");
    std::string const report = contentOf(file);
    std::string const name = c.name;
    check(WIFSIGNALED(status) && WTERMSIG(status) == c.signal, name + ": its end", report);
    checkHas("screen.txt", "*** Unhandled Exception!\n   ExpCode: 0x");
    std::string const source = "[^\"]*crash_reports.cpp\" line=\"";
    std::string pattern = "^<EXCEPTION code=\"" + std::string(c.header) + ".*>\n";
    if (name == "jump") pattern += "<STACKENTRY decl=\"\\(-nosymbols- PC == 0\\)\"/>\n";
    if (*c.function != '\0' && c.line == 0)
        pattern +=
            "<STACKENTRY decl=\"0x[0-9A-F]+\" decl_offset=\"\\+0\" srcfile=\"\""
            " module=\"[^\"]*crash &amp; burn\"";
    else if (*c.function != '\0')
        pattern += "<STACKENTRY decl=\"" + std::string(c.function) +
                   "\" decl_offset=\"\\+\\d+\" srcfile=\"" + source + std::to_string(c.line) + "\"";
    if (name == "inlined")
        pattern += ".*\n<STACKENTRY decl=\"app::outer\" .*" + source +
                   std::to_string(app::OUTER_LINE) + "\"";
    check(std::regex_search(report, std::regex(pattern)), name + ": " + pattern, report);
    check(std::regex_search(report, std::regex("/>\n\n\n</EXCEPTION>\n$")),
          name + ": the report's end", report);
}

void checkRotation(std::string const& program) {
    std::string const file = program + ".exp.log";
    for (unsigned long const size : {0xFFFFFul, 0x100000ul}) {
        std::ofstream(file, std::ios::binary) << std::string(size, 'x');
        std::ofstream(file + ".old") << "older";
        run(program, "write", "0");
        bool const rotated = size == 0x100000;
        std::string const report = contentOf(file);
        check(contentOf(file + ".old").size() == (rotated ? size : 5), "rotation", "");
        check((report.size() > size) != rotated, "a new file", "");
        check(std::regex_search(report.substr(rotated ? 0 : size),
                                std::regex("^######## EXCEPTION: 0xC0000005 at address: 0x[0-9A-F]+"
                                           ": ACCESS VIOLATION  write attempt to address "
                                           "0x00000000 \n1: .*\n1: .*crash_reports.cpp\\(\\d+\\) "
                                           "\\+\\d+ bytes \\(app::writeNowhere\\)\n")),
              "the text form", report.substr(rotated ? 0 : size));
    }
}

}  // namespace

int main(int argc, char** argv) {
    if (argc == 3) {
        zan::console::setOn(false);
        if (std::strcmp(argv[2], "on") == 0) {
            setenv("ZAN_MEM_LEAK_CHECK", argv[2], 1);
            zan::MLC_Entry::enter();
        } else {
            zan::catchExceptionsOnly(static_cast<zan::OutputForm>(std::atoi(argv[2])));
        }
        for (app::Case const& c : app::CASES)
            if (std::strcmp(c.name, argv[1]) == 0) c.crash();
        return 5;
    }
#if !defined(UNDER_SANITIZER)
    std::string const program = copyOfThisProgram("crash & burn");
    for (app::Case const& c : app::CASES) checkCase(program, c);
    checkRotation(program);
    std::filesystem::remove(program + ".exp.xml");
    run(program, "write", "on");
    check(!contentOf(program + ".exp.xml").empty(), "the environment's switch", "");
#endif
    return failures == 0 ? 0 : 1;
}
