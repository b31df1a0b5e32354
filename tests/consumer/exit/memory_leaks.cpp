// The report of what was never freed names each of the blocks that a program forgets, once, with
// the place, and nothing else; and a program under the checker runs as it does without.
#include <dlfcn.h>
#include <fcntl.h>
#include <malloc.h>
#include <pthread.h>

#include <algorithm>
#include <atomic>
#include <cerrno>
#include <cstdint>
#include <cstring>
#include <regex>
#include <thread>

#include "zan/zan.h"

#include "checks.h"

namespace app {

void* volatile forgotten[64];
int next = 0;
[[gnu::noinline]] void forget(void* p) {
    forgotten[next++] = p;
}

constexpr int FIRST_LINE = __LINE__ + 4;  // each function stands on a line
#define FORGETS(name) [[gnu::noinline]] void name()
struct alignas(256) Wide {};
// clang-format off
FORGETS(byMalloc) { forget(std::malloc(101)); }
FORGETS(byCalloc) { forget(std::calloc(1, 102)); }
FORGETS(byNew) { forget(new char); }
FORGETS(byNewArray) { forget(new char[104]); }
FORGETS(byContainer) { auto* v = new std::vector<char>; v->push_back('x'); forget(v); }
FORGETS(byTracked) { forget(ZAN_NEW(int(7))); }
FORGETS(byThread) { std::thread([] { forget(std::malloc(106)); }).join(); }
FORGETS(byRealloc) { forget(std::realloc(std::malloc(10), 108)); }
FORGETS(byStrdup) { forget(strdup("forgotten")); }
FORGETS(byAligned) { forget(std::aligned_alloc(64, 128)); }
FORGETS(byOverAligned) { forget(new Wide); }
FORGETS(byNothrow) { forget(new (std::nothrow) char[111]); }
FORGETS(byNothing) { forget(std::malloc(0)); }
FORGETS(byFile) { forget(std::fopen("/dev/null", "r")); }
FORGETS(byTask) { forget(zan::taskAlloc(115)); }
// clang-format on

struct Known {
    void (*run)();
    char const* function;
    unsigned long size;  // 0 for any
};
constexpr Known KNOWN[] = {{byMalloc, "byMalloc", 101},
                           {byCalloc, "byCalloc", 102},
                           {byNew, "byNew", 1},
                           {byNewArray, "byNewArray", 104},
                           {byContainer, "byContainer", 0},  // the container and what is in it
                           {byTracked, "byTracked", sizeof(int)},
                           {byThread, "operator()", 106},
                           {byRealloc, "byRealloc", 108},
                           {byStrdup, "byStrdup", 10},
                           {byAligned, "byAligned", 128},
                           {byOverAligned, "byOverAligned", 256},
                           {byNothrow, "byNothrow", 111},
                           {byNothing, "byNothing", 0},
                           {byFile, "byFile", 0},
                           {byTask, "byTask", 115}};

// --- What a program under the checker does. Each ends with 0.

int forgetAll() {
    for (Known const& known : KNOWN) known.run();
    void* const library = dlopen(LEAKY_LIBRARY, RTLD_NOW);
    if (library == nullptr) return 1;
    forget(reinterpret_cast<void* (*)()>(dlsym(library, "forgetInLibrary"))());
    return 0;
}

int leaveNothing() {
    std::printf("a buffer of the C library's\n");
    std::cout << std::regex_replace("text", std::regex("x"), "s") << std::endl;
    setenv("A_NAME", "a value", 1);
    try {
        throw std::runtime_error("thrown");
    } catch (std::exception const&) {
    }
    zan::logger& log = zan::logger_factory::instance("leaves.nothing");
    log.open("leaves_nothing.log");
    log.start();
    ZAN_INFO(log, "a line");
    ZAN_DELETE(zan::pml::newNTV(zan::istr("a(b(1) c:map(x(2)))")));
    zan::String(L"\x20ac").size();
    log.stop();
    return 0;
}

// The contents tell whose block it is.
void churn(unsigned int seed) {
    std::vector<std::pair<unsigned char*, unsigned long>> blocks(64);
    for (int i = 0; i < 20000; ++i) {
        seed = seed * 1664525 + 1013904223;
        auto& [p, n] = blocks[seed >> 26];
        unsigned long const size = (seed >> 8) % 3000 + 1;
        for (unsigned long k = 0; k < n; k += 97)
            if (p[k] != static_cast<unsigned char>(n)) std::abort();
        if ((seed >> 20) % 3 == 0 || p == nullptr) {
            std::free(p);
            p = static_cast<unsigned char*>(seed % 2 == 0 ? std::malloc(size)
                                                          : std::calloc(size, 1));
        } else {
            p = static_cast<unsigned char*>(std::realloc(p, size));
        }
        n = size;
        std::memset(p, static_cast<unsigned char>(n), n);
    }
    for (auto& [p, n] : blocks) std::free(p);
}

int manyThreads() {
    std::vector<std::thread> threads;
    for (unsigned int t = 1; t <= 4; ++t)
        threads.emplace_back([t] {
            churn(t);
            byMalloc();
        });
    for (std::thread& thread : threads) thread.join();
    return 0;
}

// The C library allocates under its lock of a thread. Whoever asks for the thread's stack meanwhile
// waits for ever.
int stackAskedForFirst() {
    std::thread([] {
        pthread_attr_t attributes;
        pthread_getattr_np(pthread_self(), &attributes);
        pthread_attr_destroy(&attributes);
        byMalloc();
    }).join();
    return 0;
}

int forks() {
    std::atomic<bool> done{false};
    std::vector<std::thread> threads;
    for (unsigned int t = 1; t <= 2; ++t)
        threads.emplace_back([t, &done] {
            while (!done) churn(t);
        });
    int bad = 0;
    for (int i = 0; i < 20; ++i) {
        pid_t const child = fork();
        if (child == 0) {
            churn(7);
            std::thread([] { churn(8); }).join();
            _exit(0);
        }
        int status = 0;
        waitpid(child, &status, 0);
        bad += status != 0 ? 1 : 0;
    }
    done = true;
    for (std::thread& thread : threads) thread.join();
    byNew();
    return bad;
}

// In bytes. Allocates nothing.
unsigned long addressSpace() {
    char pages[32] = {};
    int const file = open("/proc/self/statm", O_RDONLY);
    ssize_t const n = read(file, pages, sizeof pages - 1);
    close(file);
    auto const page = static_cast<unsigned long>(sysconf(_SC_PAGESIZE));
    return n > 0 ? std::strtoul(pages, nullptr, 10) * page : 0;
}

int handlerCalls = 0;

int sizes() {
#define EXPECT(condition) check(condition, #condition, "")
    auto const aligned = [](void* p, unsigned long to) {
        return p != nullptr && reinterpret_cast<std::uintptr_t>(p) % to == 0;
    };
    unsigned long const huge = 2ul << 30;
    auto* const big = static_cast<char*>(std::calloc(huge, 1));
    EXPECT(big != nullptr && big[huge - 1] == 0);
    std::free(big);
    void* const none = std::malloc(0);
    EXPECT(none != nullptr);
    EXPECT(std::realloc(none, 0) == nullptr);
    for (unsigned long to = 16; to <= 65536; to *= 2) {
        void* p = nullptr;
        EXPECT(posix_memalign(&p, to, 100) == 0 && aligned(p, to));
        p = std::realloc(p, 100000);
        EXPECT(p != nullptr && malloc_usable_size(p) >= 100000);
        std::free(p);
        for (void* const other : {memalign(to, 7), std::aligned_alloc(to, to)}) {
            EXPECT(aligned(other, to));
            std::free(other);
        }
        auto const a = static_cast<std::align_val_t>(to);
        EXPECT(aligned(p = operator new(3, a), to));
        operator delete(p, a);
        EXPECT(aligned(p = operator new[](3, a, std::nothrow), to));
        operator delete[](p, a);
    }
    for (void* const page : {valloc(10), pvalloc(10)}) {
        EXPECT(aligned(page, 4096));
        std::free(page);
    }
    void* p = nullptr;
    EXPECT(posix_memalign(&p, 3, 10) == EINVAL);
    unsigned long volatile most = ~0ul / 4;
    char* volatile kept = static_cast<char*>(std::malloc(10));
    std::strcpy(kept, "as it was");
    errno = 0;
    EXPECT(std::realloc(kept, most) == nullptr && errno == ENOMEM);
    EXPECT(std::strcmp(kept, "as it was") == 0);
    errno = 0;
    EXPECT(reallocarray(kept, most, 8) == nullptr && errno == ENOMEM);
    EXPECT(std::calloc(most, 8) == nullptr);
    errno = EDOM;
    std::free(kept);
    std::free(std::malloc(1));
    EXPECT(errno == EDOM);
    EXPECT(new (std::nothrow) char[most] == nullptr);
    std::set_new_handler([] {
        if (++handlerCalls == 2) std::set_new_handler(nullptr);
    });
    try {
        forget(new char[most]);
        EXPECT(false);
    } catch (std::bad_alloc const&) {
        EXPECT(handlerCalls == 2);
    }
    return failures;
}

// Each block lies where none was yet, and the system has memory for it and for hardly more. Those
// that the checker could not enter are none of its matter any more.
int withoutRoom() {
    constexpr unsigned long SIZE = 16 << 20;
    mallopt(M_MMAP_THRESHOLD, 1 << 20);
    rlimit before = {};
    getrlimit(RLIMIT_AS, &before);
    void* blocks[8] = {};
    for (void*& p : blocks) {
        rlimit tight = before;
        tight.rlim_cur = addressSpace() + SIZE + (64 << 10);
        setrlimit(RLIMIT_AS, &tight);
        p = std::malloc(SIZE);
        setrlimit(RLIMIT_AS, &before);
    }
    bool const all = std::find(std::begin(blocks), std::end(blocks), nullptr) == std::end(blocks);
    for (void* const p : blocks) std::free(p);
    byMalloc();
    return all ? 0 : 1;
}

int withoutDescriptors() {
    byNewArray();
    return 0;
}

int allFormsOfText(zan::OutputForm form, int trace) {
    if (zan::beginAllocCheck(form, false, trace) != 0) return 1;
    if (zan::beginAllocCheck(form, false, trace) != 2) return 2;
    byMalloc();
    std::free(std::realloc(std::malloc(20), 30));
    byTask();
    return zan::endAllocCheck() == 115 ? 0 : 3;
}

struct Case {
    char const* name;
    int (*run)();
    unsigned long leaks;
    char const* function;  // that forgot them
};
constexpr Case CASES[] = {{"nothing", leaveNothing, 0, ""},
                          {"threads", manyThreads, 4, "app::byMalloc"},
                          {"stack", stackAskedForFirst, 1, "app::byMalloc"},
                          {"forks", forks, 1, "app::byNew"},
                          {"sizes", sizes, 0, ""},
                          {"room", withoutRoom, 1, "app::byMalloc"},
                          {"files", withoutDescriptors, 1, "app::byNewArray"}};

}  // namespace app

namespace {

// The report of a copy of this program that runs the case.
std::string reportOf(std::string const& program, char const* name, char const* form) {
    std::filesystem::remove(program + form);
    int const status = run(program, name);
    check(status == 0, std::string(name) + ": status " + std::to_string(status),
          contentOf("out.txt") + contentOf("screen.txt"));
    return contentOf(program + form);
}

struct Leak {
    std::string function, file;
    unsigned long line, size;
};

std::vector<Leak> leaksOf(std::string const& report) {
    static std::regex const form(
        "<LEAK requestID=\"\\d+\" size=\"(\\d+)\">\n<STACKENTRY decl=\"([^\"]*)\" [^>]*"
        "srcfile=\"([^\"]*)\"(?: line=\"(\\d+)\")?[^>]*/>");
    std::vector<Leak> leaks;
    for (std::sregex_iterator it(report.begin(), report.end(), form), end; it != end; ++it)
        leaks.push_back({(*it)[2], (*it)[3], std::strtoul((*it)[4].str().c_str(), nullptr, 10),
                         std::strtoul((*it)[1].str().c_str(), nullptr, 10)});
    return leaks;
}

std::string entry(std::string const& function, std::string const& file, unsigned long line,
                  unsigned long size) {
    return function + " " + file + ":" + std::to_string(line) + ", " + std::to_string(size);
}

// Each of the known once and nothing else; where two blocks are forgotten, each of the two.
void checkKnown(std::string const& report) {
    std::vector<std::string> wanted{entry("forgetInLibrary", "leaky.cpp", 5, 107)};
    for (unsigned long i = 0; i < std::size(app::KNOWN); ++i) {
        app::Known const& known = app::KNOWN[i];
        wanted.insert(wanted.end(), known.run == app::byContainer ? 2 : 1,
                      entry(known.function, "memory_leaks.cpp", app::FIRST_LINE + i, known.size));
    }
    std::vector<std::string> found;
    for (Leak const& leak : leaksOf(report)) {
        // What is inlined has no scopes in its name.
        std::string const function = std::regex_replace(leak.function, std::regex(".*::"), "");
        std::string const file = std::filesystem::path(leak.file).filename();
        unsigned long const i = leak.line - app::FIRST_LINE;
        bool const any = i < std::size(app::KNOWN) && app::KNOWN[i].size == 0;
        found.push_back(entry(function, file, leak.line, any ? 0 : leak.size));
    }
    for (auto* const list : {&wanted, &found}) std::sort(list->begin(), list->end());
    check(wanted == found, "the known leaks", report);
}

void checkCase(app::Case const& c, std::string const& report) {
    std::string const name = c.name;
    auto const leaks = leaksOf(report);
    check(report.rfind("<MEMREPORT date=\"", 0) == 0 &&
              report.find("</MEMREPORT>\n") == report.size() - 13,
          name + ": a whole report", report);
    check(leaks.size() == c.leaks, name + ": the number of leaks", report);
    for (Leak const& leak : leaks)
        check(leak.function == c.function, name + ": " + leak.function, report);
}

constexpr char SIMPLE[] =
    "^\n##### Memory Report ########################################\n"
    "\\d{4}-\\d\\d-\\d\\d \\d\\d:\\d\\d:\\d\\d\n"
    "\n##### Leaks: ###############################################\n"
    "RequestID:  +\\d+, Removed: 0, Size:          101\n"
    "1: \\d{4}-\\d\\d-\\d\\d \\d\\d:\\d\\d:\\d\\d\n"
    "1: .*memory_leaks.cpp\\(\\d+\\) \\+\\d+ bytes \\(app::byMalloc\\)\n(1: .*\n)+\n\n"
    "\n\\*\\*\\*\\* Number of leaks: 1\n"
    "\n##### COM-Leaks: ###############################################\n"
    "Pointer \\(RequestID\\):  *\\d+, Removed: 0, Size:          115\n"
    "2: .*\n2: .*\\(app::byTask\\)\n(2: .*\n)+\n\n"
    "\n\\*\\*\\*\\* Number of leaks: 1\n$";
constexpr char DETAILED[] =
    "Size:          101\n1: .*\n\n1:   0     app::byMalloc \\+\\d+ bytes\n"
    "1:     Decl: app::byMalloc\\(\\)\n1:     Line: .*memory_leaks.cpp\\(\\d+\\) \\+\\d+ bytes\n"
    "1:     Mod:  .*, base: [0-9a-f]{8,}h\n(.*\n)*"
    "\n\\*\\*\\*\\* Number of leaks: 1\n\\*\\*\\*\\*\\* Hash-Table statistics:\n"
    "      Table-Size:     1023\n      Inserts:        3\n      Freed:          2\n"
    "      Sum Collisions: 0\n\n      Max used:       2\n      Max Collisions: 0\n"
    "\n##### COM-Leaks: (.*\n)*      Inserts:        1\n      Freed:          0\n";
constexpr char TRACE[] =
    "^##### Memory operation: ALLOCATIONG a 101-byte 'Normal' block \\(# \\d+\\) at 0x[0-9A-F]+\n"
    "\\d+: .*\n\\d+: .*\\(app::byMalloc\\)\n(.*\n)*"
    "##### Memory operation: RE-ALLOCATING a 30-byte 'Normal' block \\(# \\d+\\) at 0x[0-9A-F]+\n"
    "##### Implicit freeing because of re-allocation \\(# old: \\d+, new: \\d+\\)\n(.*\n)*"
    "##### Memory operation: FREEING a 30-byte 'Normal' block \\(# \\d+\\) at 0x[0-9A-F]+\n"
    "\\d+: .*\n\\d+: .*app::allFormsOfText\\)\n(.*\n)*"
    "\n##### Memory Report ####";

// What a copy of this program is for.
int runNamed(std::string const& name) {
    if (name == "simple") return app::allFormsOfText(zan::SIMPLE_TEXT, 0);
    if (name == "detailed") return app::allFormsOfText(zan::DETAILED_TEXT, 4);
    if (name == "trace") return app::allFormsOfText(zan::SIMPLE_TEXT, 3);
    if (name == "files")
        while (dup(0) >= 0) {
        }
    zan::InitFini const library;
    if (name == "known") return app::forgetAll();
    for (app::Case const& c : app::CASES)
        if (name == c.name) return c.run();
    return 105;
}

}  // namespace

int main(int argc, char** argv) {
    if (argc == 2) return runNamed(argv[1]);
    rlimit const fewFiles = {64, 64};
    setrlimit(RLIMIT_NOFILE, &fewFiles);
    std::string const program = copyOfThisProgram("forgets");
    setenv("LD_PRELOAD", CHECKER_LIBRARY, 1);
    setenv("ZAN_MEM_LEAK_CHECK", "on", 1);
    char const* const xml = ".mem.xml-leaks";
    checkKnown(reportOf(program, "known", xml));
    for (app::Case const& c : app::CASES) checkCase(c, reportOf(program, c.name, xml));
    // Where the report can't be written, or is no file.
    std::filesystem::remove(program + xml);
    std::filesystem::create_symlink("/dev/full", program + xml);
    run(program, "nothing");
    checkHas("screen.txt", "is not complete: No space left on device");
    std::filesystem::remove(program + xml);
    std::filesystem::create_directory(program + xml);
    run(program, "sizes");
    checkCase({"sizes", nullptr, 0, ""}, contentOf("out.txt"));
    std::filesystem::remove(program + xml);
    for (auto const& [name, pattern] :
         {std::pair("simple", SIMPLE), std::pair("detailed", DETAILED),
          std::pair("trace", TRACE)}) {
        std::string const report = reportOf(program, name, ".mem.log");
        check(std::regex_search(report, std::regex(pattern)), name, report);
    }
    return failures == 0 ? 0 : 1;
}
