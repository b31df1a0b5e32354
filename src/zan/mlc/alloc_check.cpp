#include <cerrno>
#include <cstdio>
#include <cstring>
#include <map>
#include <mutex>
#include <string>
#include <vector>

#include "zan/log/console.h"
#include "zan/mlc/alloc_table.h"
#include "zan/mlc/frame_text.h"
#include "zan/mlc/malloc_spy.h"
#include "zan/mlc/stackwalker.h"
#include "zan/platform/c_library.h"
#include "zan/platform/crash.h"
#include "zan/platform/debug_heap.h"
#include "zan/platform/last_error.h"
#include "zan/platform/native_path.h"
#include "zan/platform/process_image.h"
#include "zan/platform/report_file.h"
#include "zan/platform/saved_frame.h"
#include "zan/platform/symbols.h"
#include "zan/platform/task_allocator.h"

namespace zan {

namespace {

using detail::formatted;
using platform::AllocCall;
using platform::AllocOperation;
using platform::BlockType;
using platform::SavedFrame;

// Never destroyed: blocks are freed, and stacks written, up to the last moment of the process.
struct State {
    std::mutex beginning;  // of begin and end
    bool started = false;
    bool hears = false;  // of the heap
    OutputForm form = SIMPLE_TEXT;
    int traceLevel = 0;
    std::string leakFile;
    std::FILE* stream = nullptr;  // of the trace
    std::mutex opening;
    platform::AllocHook before = nullptr;
    CMallocSpy* spy = nullptr;
    AllocTable crtTable{true};
    AllocTable comTable{false};

    // A walk at a time.
    std::mutex walking;
    unsigned long walkNumber = 0;
    platform::Symbols* symbols = nullptr;
};
union States {
    States() : state() {}
    ~States() {}
    State state;
};
State& state() {
    static States all;
    return all.state;
}

// Keeps the hook from re-entering, and what it allocates out of the table.
thread_local unsigned hookBusy = 0;
class Busy {
public:
    Busy() { ++hookBusy; }
    ~Busy() { --hookBusy; }
    Busy(Busy const&) = delete;
    Busy& operator=(Busy const&) = delete;
    bool isFirst() const { return hookBusy == 1; }

private:
    platform::UncheckedBlocks const unchecked_;
};

std::string dateAndTime(char const* between) {
    auto const t = platform::wallClock();
    return formatted("%04d-%02d-%02d", t.year, t.month, t.day) + between +
           formatted("%02d:%02d:%02d", t.hour, t.minute, t.second);
}

// --- Walks

struct Frame {
    void* address;
    platform::Symbol symbol;
};

bool startsWith(std::string const& text, char const* start) {
    return text.compare(0, std::strlen(start), start) == 0;
}

// What the C++ library does with the memory that it is asked for.
bool isLanguage(platform::Symbol const& symbol) {
    std::string const name = detail::bareNameOf(symbol);
    return startsWith(name, "std::") || startsWith(name, "__gnu_cxx::") ||
           startsWith(name, "operator new");
}

// The frames of a report, with those left out that led from the statement that asked for the memory
// to the allocator. Symbols are looked up once for each address.
class Walker {
public:
    explicit Walker(platform::Symbols& symbols) : symbols_(symbols) {}

    // Returns the errno value of what ended the walk, 0 where the stack did.
    int walk(unsigned long frame, platform::ReadStack read, void* process) {
        addresses_.clear();
        return symbols_.walk(frame, read, process, &take, this);
    }
    std::vector<void*> const& addresses() const { return addresses_; }

    // `ours` says that this library's frames led there, too.
    std::vector<Frame> frames(bool ours = false) {
        std::vector<Frame> all;
        bool asking = true;
        unsigned long i = 0;
        while (i < addresses_.size() && isAllocator(addresses_[i], ours)) ++i;
        if (i == addresses_.size()) i = 0;
        for (; i < addresses_.size(); ++i) {
            auto& found = known_[addresses_[i]];
            if (found.empty()) found = symbols_.find(addresses_[i], true);
            for (platform::Symbol const& symbol : found) {
                asking = asking && isLanguage(symbol);
                if (!asking) all.push_back({addresses_[i], symbol});
            }
        }
        if (all.empty())
            for (void* const address : addresses_)
                for (platform::Symbol const& symbol : known_[address])
                    all.push_back({address, symbol});
        return all;
    }

private:
    static void take(void* self, void* address) {
        static_cast<Walker*>(self)->addresses_.push_back(address);
    }
    static bool isAllocator(void* address, bool ours) {
        auto const at = reinterpret_cast<unsigned long>(address);
        return platform::isRunTime(at) ||
               (ours && platform::isSameModule(at, reinterpret_cast<void*>(&endAllocCheck)));
    }

    platform::Symbols& symbols_;
    std::vector<void*> addresses_;
    std::map<void*, std::vector<platform::Symbol>> known_;
};

std::string stackText(OutputForm form, unsigned long walk, std::vector<Frame> const& frames,
                      int error) {
    std::string out;
    if (form != XML) out += formatted("%lu: ", walk) + dateAndTime(" ") + "\n";
    unsigned long n = 0;
    for (Frame const& frame : frames)
        detail::putFrame(out, form, walk, n++, frame.address, frame.symbol);
    if (error != 0 && form != XML)
        out += formatted("\n%lu: StackWalk(): GetLastError = %lu\n", walk,
                         static_cast<unsigned long>(error));
    return out + "\n\n";
}

bool readOwnStack(void*, unsigned long address, void* to, unsigned long size) {
    return platform::readMemory(reinterpret_cast<void const*>(address), to, size) == size;
}

bool readRecord(void* process, unsigned long address, void* to, unsigned long size) {
    auto const& record = *static_cast<AllocRecord const*>(process);
    auto const serve = [&](unsigned long begin, unsigned long read, unsigned char const* bytes) {
        if (begin == 0 || address < begin || address - begin > read ||
            size > read - (address - begin))
            return false;
        std::memcpy(to, bytes + (address - begin), size);
        return true;
    };
    return serve(record.stackAddress, record.stackRead, record.stackBytes) ||
           serve(record.codeAddress, record.codeRead, record.codeBytes);
}

// A library that was loaded since is in no list that is older.
platform::Symbols& currentSymbols() {
    State& s = state();
    if (s.symbols == nullptr || !s.symbols->current()) {
        delete s.symbols;
        s.symbols = nullptr;
        s.symbols = new platform::Symbols;
    }
    return *s.symbols;
}

struct CallerRead {
    ReadMemory read;
    unsigned long process;
};
bool readByCaller(void* process, unsigned long address, void* to, unsigned long size) {
    auto const& caller = *static_cast<CallerRead const*>(process);
    return caller.read(caller.process, address, to, size);
}

void writeStackFrom(unsigned long frame, std::FILE* stream, ReadMemory readMemory,
                    unsigned long process) {
    State& s = state();
    std::FILE* const to = stream != nullptr ? stream : stdout;
    std::lock_guard<std::mutex> const lock(s.walking);
    std::string error;
    unsigned long const number = s.walkNumber + 1;
    if (!platform::loadSymbolLibrary(error)) {
        std::fprintf(to, "%lu: Stackwalker not initialized (or was not able to initialize)!\n",
                     s.walkNumber);
        return;
    }
    s.walkNumber = number;
    CallerRead caller = {readMemory, process};
    Walker walker(currentSymbols());
    int const failed = walker.walk(frame, readMemory != nullptr ? &readByCaller : &readOwnStack,
                                   readMemory != nullptr ? &caller : nullptr);
    std::string const text = stackText(s.form, number, walker.frames(), failed);
    std::fwrite(text.data(), 1, text.size(), to);
    if (stream != nullptr) std::fflush(stream);
}

void* writeFromHere(unsigned long stream, unsigned long, unsigned long, SavedFrame const* frame) {
    writeStackFrom(reinterpret_cast<unsigned long>(frame), reinterpret_cast<std::FILE*>(stream),
                   nullptr, 0);
    return nullptr;
}

// --- The hook

char const* nameOf(AllocOperation operation) {
    switch (operation) {
        case AllocOperation::Allocate:
            return "ALLOCATIONG";
        case AllocOperation::Reallocate:
            return "RE-ALLOCATING";
        default:
            return "FREEING";
    }
}

char const* nameOf(BlockType type) {
    constexpr char const* NAMES[] = {"Free", "Normal", "CRT", "Ignore", "Client"};
    return NAMES[static_cast<int>(type)];
}

std::FILE* traceStream() {
    State& s = state();
    std::lock_guard<std::mutex> const lock(s.opening);
    if (s.stream == nullptr) s.stream = platform::openReportStream(s.leakFile.c_str(), true);
    return s.stream != nullptr ? s.stream : stdout;
}

void traceCall(AllocCall const& call, unsigned long old, bool removed) {
    State& s = state();
    bool const isFree = call.operation == AllocOperation::Free;
    std::FILE* const out = traceStream();
    std::string line =
        formatted("##### Memory operation: %s a %lu-byte '%s' block (# %lu)",
                  nameOf(call.operation), call.size, nameOf(call.type), call.request);
    auto const address = reinterpret_cast<unsigned long>(call.pointer);
    if (address != 0) line += formatted(" at 0x%lX", address);
    line += "\n";
    if (isFree && old == 0)
        line += formatted("###### No valid RequestID for FREEING! (0x%lX)\n", address);
    else if (isFree && !removed)
        line += formatted("###### RequestID not found in hash table for FREEING (%lu)!\n", old);
    else if (call.operation == AllocOperation::Reallocate && !removed)
        line +=
            formatted("###### RequestID not found in hash table for RE-ALLOCATING (%lu)!\n", old);
    else if (call.operation == AllocOperation::Reallocate)
        line +=
            formatted("##### Implicit freeing because of re-allocation (# old: %lu, new: %lu)\n",
                      old, call.request);
    std::fwrite(line.data(), 1, line.size(), out);
    if (s.traceLevel > (isFree ? 2 : 1))
        writeStackFrom(reinterpret_cast<unsigned long>(call.frame), out, nullptr, 0);
}

// Drops the record of the old block, which is not of interest to who comes behind. Its numbers are
// looked up where somebody wants them.
AllocTable::Block removeOld(State& s, AllocCall& call, bool& removed) {
    auto const handle = static_cast<AllocTable::Handle>(call.record);
    call.record = 0;
    AllocTable::Block old;
    if (handle == AllocTable::Handle::None) return old;
    if (s.traceLevel > 0 || s.before != nullptr) old = s.crtTable.blockOf(handle);
    removed = s.crtTable.remove(handle);
    if (call.operation == AllocOperation::Free) {
        call.request = old.requestId;
        call.size = old.size;
    }
    return old;
}

void operate(State& s, AllocCall& call) {
    bool const isFree = call.operation == AllocOperation::Free;
    bool removed = false;
    AllocTable::Block const old = removeOld(s, call, removed);
    if (call.type == BlockType::Ignore) return;
    if (s.traceLevel > 0) traceCall(call, old.requestId, removed);
    if (!isFree && call.request != 0)
        call.record = static_cast<platform::BlockRecord>(s.crtTable.insert(
            call.request, call.size, reinterpret_cast<void const*>(call.frame->returnAddress),
            call.frame));
}

void heapHook(AllocCall& call) {
    if (call.type == BlockType::Crt) return;
    Busy const busy;
    State& s = state();
    bool removed = false;
    if (busy.isFirst())
        operate(s, call);
    else
        removeOld(s, call, removed);  // a block of the program's that is given up inside the hook
    if (platform::AllocHook const before = s.before) before(call);
}

// --- The report

class Report {
public:
    Report(std::FILE* out, OutputForm form) : out_(out), form_(form) {}

    bool write() {
        if (form_ == XML)
            put("<MEMREPORT date=\"" + dateAndTime("\" time=\"") + "\" >\n");
        else
            put("\n##### Memory Report ########################################\n" +
                dateAndTime(" ") +
                "\n\n##### Leaks: ###############################################\n");
        table(state().crtTable, false, "RequestID: %12lu, Removed: %i, Size: %12lu\n");
        if (form_ != XML)
            put("\n##### COM-Leaks: ###############################################\n");
        comSize_ =
            table(state().comTable, true, "Pointer (RequestID): %12lu, Removed: %i, Size: %12lu\n");
        if (form_ == XML) put("</MEMREPORT>\n");
        return std::fflush(out_) == 0 && std::ferror(out_) == 0;
    }
    // Of the blocks of the task allocator; one without a size counts as 1.
    unsigned long comSize() const { return comSize_; }

private:
    void put(std::string const& text) { std::fwrite(text.data(), 1, text.size(), out_); }

    unsigned long table(AllocTable& table, bool ofTask, char const* line) {
        unsigned long leaks = 0;
        unsigned long sum = 0;
        for (AllocTable::Saved const* const saved : table.all()) {
            AllocRecord const record = AllocTable::record(*saved);
            if (record.removed == 1) continue;
            int const failed = walk(record);
            if (own_.isOne(walker_.addresses().data(), walker_.addresses().size())) continue;
            ++leaks;
            sum += record.size != 0 ? record.size : 1;
            if (form_ == XML)
                put(formatted("<LEAK requestID=\"%lu\" size=\"%lu\">\n", record.requestId,
                              record.size));
            else
                put(detail::formatted(line, record.requestId, static_cast<int>(record.removed),
                                      record.size));
            put(stackText(form_, ++state().walkNumber, walker_.frames(ofTask), failed));
            if (form_ == XML) put("</LEAK>\n");
        }
        if (form_ != XML) put(formatted("\n**** Number of leaks: %lu\n", leaks));
        if (form_ == DETAILED_TEXT) statistics(table.counters());
        table.drop();
        return sum;
    }

    int walk(AllocRecord const& record) {
        return walker_.walk(record.stackAddress, &readRecord, const_cast<AllocRecord*>(&record));
    }

    void statistics(AllocCounters const& c) {
        put("***** Hash-Table statistics:\n");
        put(formatted("      Table-Size:     %lu\n", ALLOC_HASH_ENTRIES));
        put(formatted("      Inserts:        %lu\n", c.inserts));
        put(formatted("      Freed:          %lu\n", c.freed));
        put(formatted("      Sum Collisions: %lu\n", c.collisions));
        put("\n");
        put(formatted("      Max used:       %lu\n", c.maxUsed));
        put(formatted("      Max Collisions: %lu\n", c.maxChained));
    }

    std::FILE* out_;
    OutputForm form_;
    platform::Symbols symbols_;
    Walker walker_{symbols_};
    platform::RunTimeBlock own_;
    unsigned long comSize_ = 0;
};

struct ReportWork {
    unsigned long comSize = 0;
    std::string failed;  // the file that could not be written
    int error = 0;
};

void reportInto(void* argument) {
    auto& work = *static_cast<ReportWork*>(argument);
    State& s = state();
    std::lock_guard<std::mutex> const lock(s.walking);
    std::string ignored;
    platform::loadSymbolLibrary(ignored);
    std::FILE* const file = platform::openReportStream(s.leakFile.c_str(), s.form != XML);
    if (file == nullptr) work.error = errno;
    Report report(file != nullptr ? file : stdout, s.form);
    errno = 0;
    bool const written = report.write();
    if (!written) work.error = errno;
    work.comSize = report.comSize();
    if (file != nullptr && std::fclose(file) != 0 && work.error == 0) work.error = errno;
}

}  // namespace

int beginAllocCheck(OutputForm form, bool catchExceptions, int traceLevel) {
    State& s = state();
    std::lock_guard<std::mutex> const lock(s.beginning);
    if (catchExceptions) catchExceptionsOnly(form);
    if (s.started) return 2;
    Busy const busy;
    std::string const program = platform::executablePath();
    char const* const ending = form == XML ? ".mem.xml-leaks" : ".mem.log";
    s.leakFile = !program.empty() ? program + ending
                 : form == XML    ? platform::nativePath(L"\\mem-leaks.xml-leaks")
                                  : platform::nativePath(L"\\mem-leaks.log");
    s.traceLevel = traceLevel >= 0 && traceLevel <= 3 ? traceLevel : 0;
    s.form = form;
    s.crtTable.open();
    s.comTable.open();
    platform::readTimeZone();
    s.spy = new CMallocSpy(s.comTable);
    if (int const error = platform::registerMallocSpy(s.spy))
        console::print(
            formatted("\nCoRegisterMallocSpay failed with %.8x", static_cast<unsigned int>(error)));
    std::string error;
    bool const named = platform::loadSymbolLibrary(error);
    if (!named) console::println("LoadLibrary( \"libdw.so.1\" ): GetLastError = " + error);
    platform::aroundHeapFork([] { state().crtTable.lock(); }, [] { state().crtTable.unlock(); });
    std::string deaf;
    s.started = true;
    s.before = platform::setAllocHook(&heapHook, deaf);
    s.hears = deaf.empty();
    if (!s.hears) console::println("zan: allocations are not recorded: " + deaf);
    return named ? 0 : 1;
}

unsigned long endAllocCheck() {
    State& s = state();
    std::lock_guard<std::mutex> const lock(s.beginning);
    ReportWork work;
    if (s.started) {
        Busy const busy;
        std::string ignored;
        platform::setAllocHook(s.before, ignored);
        platform::revokeMallocSpy();
        s.spy->Release();
        s.spy = nullptr;
        s.crtTable.close();
        s.comTable.close();
        // Who hears nothing can't say that nothing was left.
        if (s.hears || s.comTable.counters().inserts != 0)
            platform::runWithFreeFiles(&reportInto, &work);
        if (work.error != 0)
            console::println("zan: the report of memory in " + s.leakFile +
                             " is not complete: " + platform::errorText(work.error));
        s.started = false;
        delete s.symbols;
        s.symbols = nullptr;
        if (s.stream != nullptr) std::fclose(s.stream);
        s.stream = nullptr;
    }
    platform::uninstallCrashReport();
    return work.comSize;
}

void writeStack(void*, StackContext const& context, std::FILE* stream, ReadMemory readMemory,
                unsigned long process) {
    Busy const busy;
    if (context.frame == nullptr)
        zan_with_frame(reinterpret_cast<unsigned long>(stream), 0, 0, &writeFromHere);
    else
        writeStackFrom(reinterpret_cast<unsigned long>(context.frame), stream, readMemory, process);
}

void* taskAlloc(unsigned long size) {
    return platform::taskAlloc(size);
}
void* taskRealloc(void* p, unsigned long size) {
    return platform::taskRealloc(p, size);
}
void taskFree(void* p) {
    platform::taskFree(p);
}

}  // namespace zan
