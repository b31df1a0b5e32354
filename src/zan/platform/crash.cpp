#include "zan/platform/crash.h"

#include <dlfcn.h>
#include <fcntl.h>
#include <link.h>
#include <sched.h>
#include <signal.h>
#include <sys/mman.h>
#include <sys/resource.h>
#include <sys/stat.h>
#include <sys/wait.h>
#include <time.h>
#include <ucontext.h>
#include <unistd.h>
#include <unwind.h>

#include <atomic>
#include <cerrno>
#include <cstdint>
#include <cstdlib>
#include <cstring>
#include <mutex>
#include <new>

#include "zan/platform/debug_heap.h"
#include "zan/platform/thread.h"

namespace zan::platform {

namespace {

constexpr int SIGNALS[] = {SIGSEGV, SIGBUS, SIGILL, SIGFPE, SIGABRT};
constexpr unsigned long SIGNAL_COUNT = sizeof SIGNALS / sizeof SIGNALS[0];

// What is never touched costs address space only. The copy of the process reads debug information
// on the same stack.
constexpr unsigned long STACK_SIZE = 512 * 1024;

std::mutex installing;
std::atomic<void (*)(Crash const&)> installed{nullptr};
struct sigaction before[SIGNAL_COUNT] = {};
std::atomic<int> reporter{0};           // the thread that reports
std::atomic<int> spareFile{-1};         // a descriptor for a process that has run out of them
std::atomic<int>* apartDone = nullptr;  // shared with the copy of the process
long offsetToUtc = 0;                   // seconds
Crash crash;                            // too large for a stack
ucontext_t const* atCrash = nullptr;

thread_local __attribute__((tls_model("initial-exec"))) void* handlerStack = nullptr;

void dropHandlerStack(void*) {
    if (handlerStack == nullptr) return;
    stack_t off = {};
    off.ss_flags = SS_DISABLE;
    sigaltstack(&off, nullptr);
    munmap(handlerStack, STACK_SIZE);
    handlerStack = nullptr;
}

// --- What happened

#if defined(__x86_64__)
void const* instructionOf(ucontext_t const& context) {
    return reinterpret_cast<void const*>(context.uc_mcontext.gregs[REG_RIP]);
}
std::uintptr_t stackOf(ucontext_t const& context) {
    return static_cast<std::uintptr_t>(context.uc_mcontext.gregs[REG_RSP]);
}
bool wasWrite(ucontext_t const& context) {
    return (context.uc_mcontext.gregs[REG_ERR] & 2) != 0;
}
// A call of a bad address has left no more than its return address.
void* callerOfNowhere(ucontext_t const& context) {
    return *reinterpret_cast<void* const*>(stackOf(context));
}
#elif defined(__aarch64__)
void const* instructionOf(ucontext_t const& context) {
    return reinterpret_cast<void const*>(context.uc_mcontext.pc);
}
std::uintptr_t stackOf(ucontext_t const& context) {
    return static_cast<std::uintptr_t>(context.uc_mcontext.sp);
}
// Behind the registers stand records, each with its size; one of them is the processor's account.
bool wasWrite(ucontext_t const& context) {
    constexpr unsigned long WRITE = 1ul << 6;
    unsigned char const* at = context.uc_mcontext.__reserved;
    unsigned char const* const end = at + sizeof context.uc_mcontext.__reserved;
    while (static_cast<unsigned long>(end - at) >= sizeof(esr_context)) {
        esr_context record;
        std::memcpy(&record, at, sizeof record);
        if (record.head.magic == ESR_MAGIC) return (record.esr & WRITE) != 0;
        if (record.head.size < sizeof record.head ||
            record.head.size > static_cast<unsigned long>(end - at))
            break;
        at += record.head.size;
    }
    return false;
}
void* callerOfNowhere(ucontext_t const& context) {
    return reinterpret_cast<void*>(context.uc_mcontext.regs[30]);
}
#else
#error "the registers of a signal's context are not known for this processor"
#endif

constexpr unsigned int ACCESS_VIOLATION = 0xC0000005;
constexpr unsigned int STACK_OVERFLOW = 0xC00000FD;

unsigned int codeOfFloatFault(int why) {
    switch (why) {
        case FPE_INTDIV:
            return 0xC0000094;
        case FPE_INTOVF:
            return 0xC0000095;
        case FPE_FLTDIV:
            return 0xC000008E;
        case FPE_FLTOVF:
            return 0xC0000091;
        case FPE_FLTUND:
            return 0xC0000093;
        case FPE_FLTRES:
            return 0xC000008F;
        case FPE_FLTSUB:
            return 0xC000008C;
        default:
            return 0xC0000090;
    }
}

// An access close to the stack pointer hits memory, unless the stack is at its end.
bool isOverflow(siginfo_t const& info) {
    if (info.si_code != SEGV_MAPERR && info.si_code != SEGV_ACCERR) return false;
    auto const address = reinterpret_cast<std::uintptr_t>(info.si_addr);
    std::uintptr_t const stack = stackOf(*atCrash);
    return address + 65536 > stack && address < stack + 65536;
}

void classify(int number, siginfo_t const& info) {
    crash.signal = number;
    crash.address = instructionOf(*atCrash);
    bool const sent = info.si_code <= 0;  // by a process, not by a fault
    switch (number) {
        case SIGSEGV:
            crash.code = ACCESS_VIOLATION;
            if (sent) break;
            crash.isAccess = true;
            // The address of an access that no address space has is not told.
            crash.accessed =
                info.si_code == SI_KERNEL ? reinterpret_cast<void const*>(~0UL) : info.si_addr;
            crash.isWrite = info.si_code != SI_KERNEL && wasWrite(*atCrash);
            if (isOverflow(info)) {
                crash.code = STACK_OVERFLOW;
                crash.isAccess = false;
            }
            break;
        case SIGBUS:
            crash.code = info.si_code == BUS_ADRALN ? 0x80000002 : 0xC0000006;
            break;
        case SIGILL:
            crash.code =
                info.si_code == ILL_PRVOPC || info.si_code == ILL_PRVREG ? 0xC0000096 : 0xC000001D;
            break;
        case SIGFPE:
            crash.code = codeOfFloatFault(info.si_code);
            break;
        default:
            crash.code = 0xC0000025;  // the program itself has found that it can't go on
            crash.flags = 1;
    }
}

// --- Where

_Unwind_Reason_Code addFrame(_Unwind_Context* at, void*) {
    auto const ip = reinterpret_cast<void*>(_Unwind_GetIP(at));
    // The frames of the handler come first.
    if (crash.frameCount == 0 && ip != crash.address) return _URC_NO_REASON;
    if (ip == nullptr && crash.frameCount != 0) return _URC_END_OF_STACK;
    if (crash.frameCount == Crash::MAX_FRAMES) {
        crash.cut = true;
        return _URC_END_OF_STACK;
    }
    crash.frames[crash.frameCount++] = ip;
    return _URC_NO_REASON;
}

_Unwind_Reason_Code skipFrame(_Unwind_Context*, void*) {
    return _URC_NO_REASON;
}

// --- The handler

struct sigaction& beforeOf(int number) {
    unsigned long i = 0;
    while (i + 1 < SIGNAL_COUNT && SIGNALS[i] != number) ++i;
    return before[i];
}

[[noreturn]] void dieOf(int number) {
    signal(number, SIG_DFL);
    sigset_t only;
    sigemptyset(&only);
    sigaddset(&only, number);
    pthread_sigmask(SIG_UNBLOCK, &only, nullptr);
    raise(number);
    _exit(128 + number);
}

void onCrash(int number, siginfo_t* info, void* rawContext) {
    int const saved = errno;
    int const self = gettid();
    int none = 0;
    if (!reporter.compare_exchange_strong(none, self)) {
        if (none != self) {
            for (;;) pause();
        }
        // The report itself has failed.
        auto* const report = installed.load();
        if (!crash.again && report != nullptr) {
            crash.again = true;
            report(crash);
        }
        dieOf(crash.signal);
    }
    atCrash = static_cast<ucontext_t const*>(rawContext);
    classify(number, *info);
    if (auto* const report = installed.load()) report(crash);
    // The signal comes back: a fault by itself, since the instruction runs once more and finds the
    // state untouched; one that was sent has to be sent again.
    for (unsigned long i = 0; i < SIGNAL_COUNT; ++i) sigaction(SIGNALS[i], &before[i], nullptr);
    if (beforeOf(number).sa_handler == SIG_IGN) signal(number, SIG_DFL);
    if (info->si_code <= 0) raise(number);
    errno = saved;
}

}  // namespace

bool installCrashReport(void (*report)(Crash const&)) {
    std::lock_guard<std::mutex> const lock(installing);
    if (installed.load() != nullptr) return false;
    // Loads what the unwinder needs, and opens what a process in distress can't open any more.
    _Unwind_Backtrace(&skipFrame, nullptr);
    if (spareFile < 0) spareFile = open("/dev/null", O_RDONLY | O_CLOEXEC);
    if (apartDone == nullptr) {
        void* const page = mmap(nullptr, sizeof *apartDone, PROT_READ | PROT_WRITE,
                                MAP_SHARED | MAP_ANONYMOUS, -1, 0);
        if (page != MAP_FAILED) apartDone = new (page) std::atomic<int>(0);
    }
    readTimeZone();
    installed = report;
    prepareThreadForCrash();
    struct sigaction action = {};
    action.sa_sigaction = &onCrash;
    // A fault in the handler is to come back to it; all else has to wait for the report.
    action.sa_flags = SA_SIGINFO | SA_ONSTACK | SA_NODEFER;
    sigfillset(&action.sa_mask);
    for (int const number : SIGNALS) sigdelset(&action.sa_mask, number);
    for (unsigned long i = 0; i < SIGNAL_COUNT; ++i) sigaction(SIGNALS[i], &action, &before[i]);
    return true;
}

bool crashReportInstalled() {
    return installed.load() != nullptr;
}

void uninstallCrashReport() {
    std::lock_guard<std::mutex> const lock(installing);
    if (installed.load() == nullptr) return;
    for (unsigned long i = 0; i < SIGNAL_COUNT; ++i) {
        struct sigaction now;
        sigaction(SIGNALS[i], nullptr, &now);
        if (now.sa_sigaction == &onCrash) sigaction(SIGNALS[i], &before[i], nullptr);
    }
    installed = nullptr;
}

void prepareThreadForCrash() {
    if (installed.load(std::memory_order_relaxed) == nullptr || handlerStack != nullptr) return;
    stack_t present = {};
    if (sigaltstack(nullptr, &present) != 0 || (present.ss_flags & SS_DISABLE) == 0) return;
    void* const memory = mmap(nullptr, STACK_SIZE, PROT_READ | PROT_WRITE,
                              MAP_PRIVATE | MAP_ANONYMOUS | MAP_NORESERVE | MAP_STACK, -1, 0);
    if (memory == MAP_FAILED) return;
    stack_t stack = {};
    stack.ss_sp = memory;
    stack.ss_size = STACK_SIZE;
    if (sigaltstack(&stack, nullptr) != 0) {
        munmap(memory, STACK_SIZE);
        return;
    }
    handlerStack = memory;
    // The main thread keeps its stack to the end of the process.
    if (gettid() != getpid()) atThreadExit(&dropHandlerStack, nullptr);
}

void findCrashFrames() {
    crash.frameCount = 0;
    crash.cut = false;
    _Unwind_Backtrace(&addFrame, nullptr);
    if (crash.frameCount == 0) crash.frames[crash.frameCount++] = const_cast<void*>(crash.address);
    LoadedModule module;
    if (crash.frameCount == 1 && crash.code != STACK_OVERFLOW &&
        !loadedModule(crash.address, module))
        crash.frames[crash.frameCount++] = callerOfNowhere(*atCrash);
}

int openReport(char const* name, char const* old, unsigned long limit) {
    int const flags = O_WRONLY | O_CREAT | O_APPEND | O_CLOEXEC | O_NOCTTY;
    int file = open(name, flags, 0666);
    if (file < 0 && (errno == EMFILE || errno == ENFILE)) {
        int const spare = spareFile.exchange(-1);
        if (spare >= 0) close(spare);
        file = open(name, flags, 0666);
    }
    struct stat status;
    if (file < 0 || fstat(file, &status) != 0 || status.st_size < static_cast<off_t>(limit))
        return file;
    close(file);
    rename(name, old);
    return open(name, flags, 0666);
}

void closeReport(int file) {
    if (file > 2) close(file);
}

void writeReport(int file, char const* text, unsigned long size) {
    while (size != 0) {
        ssize_t const n = write(file, text, size);
        if (n < 0 && errno == EINTR) continue;
        if (n <= 0) return;  // a full disk: nobody is left to be told
        text += n;
        size -= static_cast<unsigned long>(n);
    }
}

bool runApart(bool (*work)(int), int file, unsigned int seconds) {
    if (apartDone == nullptr) return false;
    apartDone->store(0);
    pid_t const child = _Fork();
    if (child < 0) return false;
    if (child == 0) {
        forgetAllocHook();
        for (int const number : SIGNALS) signal(number, SIG_DFL);
        rlimit const noCore = {0, 0};
        setrlimit(RLIMIT_CORE, &noCore);
        // The process may have no descriptor left.
        if (file > 3) close_range(3, static_cast<unsigned int>(file - 1), 0);
        close_range(static_cast<unsigned int>(file < 3 ? 3 : file + 1), ~0u, 0);
        unsetenv("DEBUGINFOD_URLS");  // a report does not wait for the network
        if (work(file)) apartDone->store(1);
        _exit(0);
    }
    // Polled, since the program may have its own ways with the signals and the ends of children.
    constexpr long STEP = 5000000;
    for (unsigned long left = seconds * 1000000000ul / STEP;; --left) {
        pid_t const gone = waitpid(child, nullptr, WNOHANG);
        if (gone == child || (gone < 0 && errno == ECHILD) || apartDone->load() != 0) break;
        if (left == 0) {
            kill(child, SIGKILL);
            break;
        }
        timespec const pause = {0, STEP};
        nanosleep(&pause, nullptr);
    }
    waitpid(child, nullptr, 0);
    return apartDone->load() != 0;
}

bool loadedModule(void const* address, LoadedModule& module) {
    dl_find_object found;
    if (_dl_find_object(const_cast<void*>(address), &found) != 0) return false;
    module.path = found.dlfo_link_map->l_name;
    module.base = found.dlfo_link_map->l_addr;
    return true;
}

void readTimeZone() {
    time_t const now = time(nullptr);
    tm local = {};
    localtime_r(&now, &local);
    offsetToUtc = local.tm_gmtoff;
}

WallClock wallClock() {
    timespec now = {};
    clock_gettime(CLOCK_REALTIME, &now);
    long const seconds = now.tv_sec + offsetToUtc;
    long const days = (seconds - (seconds % 86400 + 86400) % 86400) / 86400;
    long const ofDay = seconds - days * 86400;
    // Years from March on, in eras of 400.
    long const shifted = days + 719468;
    long const era = (shifted >= 0 ? shifted : shifted - 146096) / 146097;
    long const ofEra = shifted - era * 146097;
    long const yearOfEra = (ofEra - ofEra / 1460 + ofEra / 36524 - ofEra / 146096) / 365;
    long const ofYear = ofEra - (365 * yearOfEra + yearOfEra / 4 - yearOfEra / 100);
    long const month = (5 * ofYear + 2) / 153;
    WallClock clock = {};
    clock.day = static_cast<int>(ofYear - (153 * month + 2) / 5 + 1);
    clock.month = static_cast<int>(month < 10 ? month + 3 : month - 9);
    clock.year = static_cast<int>(yearOfEra + era * 400 + (clock.month <= 2 ? 1 : 0));
    clock.hour = static_cast<int>(ofDay / 3600);
    clock.minute = static_cast<int>(ofDay / 60 % 60);
    clock.second = static_cast<int>(ofDay % 60);
    return clock;
}

}  // namespace zan::platform
