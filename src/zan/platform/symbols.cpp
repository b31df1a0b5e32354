#include "zan/platform/symbols.h"

#include <dlfcn.h>
#include <dwarf.h>
#include <elfutils/libdwfl.h>
#include <link.h>
#include <unistd.h>

#include <cerrno>
#include <cstdint>
#include <cstdlib>

#include "zan/platform/crash.h"
#include "zan/platform/process_image.h"
#include "zan/platform/saved_frame.h"

namespace zan::platform {

namespace {

// The functions of elfutils under their own names.
struct Library {
    template <class F>
    bool find(void* handle, char const* name, F*& function) {
        function = reinterpret_cast<F*>(dlsym(handle, name));
        return function != nullptr;
    }
#define ZAN_FUNCTIONS(each)                                                                   \
    each(dwfl_begin) each(dwfl_end) each(dwfl_linux_proc_find_elf)                            \
        each(dwfl_standard_find_debuginfo) each(dwfl_linux_proc_report) each(dwfl_report_end) \
            each(dwfl_addrmodule) each(dwfl_module_info) each(dwfl_module_addrinfo)           \
                each(dwfl_module_addrdie) each(dwfl_module_nextcu) each(dwarf_haspc)          \
                    each(dwarf_getsrc_die) each(dwarf_linesrc) each(dwarf_lineno)             \
                        each(dwarf_lineaddr) each(dwarf_getfuncs) each(dwarf_child)           \
                            each(dwarf_siblingof) each(dwarf_tag) each(dwarf_attr_integrate)  \
                                each(dwarf_attr) each(dwarf_formudata) each(dwarf_formstring) \
                                    each(dwarf_diename) each(dwarf_getsrcfiles)               \
                                        each(dwarf_filesrc) each(dwfl_attach_state)           \
                                            each(dwfl_getthread_frames) each(dwfl_frame_pc)   \
                                                each(dwfl_thread_state_registers)             \
                                                    each(dwfl_thread_state_register_pc)
#define ZAN_DECLARE(name) decltype(&::name) name = nullptr;
#define ZAN_FIND(name) &&find(handle, #name, name)
    ZAN_FUNCTIONS(ZAN_DECLARE)
    bool load(void* handle) {
        return handle != nullptr ZAN_FUNCTIONS(ZAN_FIND);
    }
#undef ZAN_FIND
#undef ZAN_DECLARE
#undef ZAN_FUNCTIONS
};

Library library;
bool loaded = false;

std::string inlinedName(Dwarf_Die& function) {
    Dwarf_Attribute attribute;
    if (library.dwarf_attr_integrate(&function, DW_AT_linkage_name, &attribute) != nullptr)
        if (char const* const name = library.dwarf_formstring(&attribute)) return name;
    char const* const name = library.dwarf_diename(&function);
    return name != nullptr ? name : "";
}

// The compilation unit of the address. g++ writes a table for that; clang++ leaves it out, so that
// each unit has to be asked.
Dwarf_Die* unitOf(Dwfl_Module* module, Dwarf_Addr address, Dwarf_Addr& bias) {
    if (Dwarf_Die* const unit = library.dwfl_module_addrdie(module, address, &bias)) return unit;
    Dwarf_Die* unit = nullptr;
    while ((unit = library.dwfl_module_nextcu(module, unit, &bias)) != nullptr)
        if (library.dwarf_haspc(unit, address - bias) > 0) return unit;
    return nullptr;
}

// `at` is the address that is shown, `pc` the one that was looked for.
void addLine(Dwarf_Die& unit, Dwarf_Addr pc, Dwarf_Addr at, Symbol& symbol) {
    Dwarf_Line* const line = library.dwarf_getsrc_die(&unit, pc);
    if (line == nullptr) return;
    char const* const file = library.dwarf_linesrc(line, nullptr, nullptr);
    int number = 0;
    Dwarf_Addr begin = at;
    if (file == nullptr || library.dwarf_lineno(line, &number) != 0) return;
    library.dwarf_lineaddr(line, &begin);
    symbol.file = file;
    symbol.line = static_cast<unsigned long>(number);
    symbol.lineOffset = at - begin;
    symbol.source = Symbol::Source::Debug;
}

// The function at `pc`. It may lie in a namespace, which has no addresses of its own to be found
// by.
bool functionAt(Dwarf_Die& unit, Dwarf_Addr pc, Dwarf_Die& function) {
    struct Search {
        Dwarf_Addr pc;
        Dwarf_Die* found;
    } search = {pc, &function};
    auto const look = [](Dwarf_Die* die, void* argument) {
        Search const& wanted = *static_cast<Search*>(argument);
        if (library.dwarf_haspc(die, wanted.pc) <= 0) return static_cast<int>(DWARF_CB_OK);
        *wanted.found = *die;
        return static_cast<int>(DWARF_CB_ABORT);
    };
    return library.dwarf_getfuncs(&unit, look, &search, 0) > 0;
}

// The calls at `pc` that the compiler put into the function, the outermost in front.
std::vector<Dwarf_Die> inlinedAt(Dwarf_Die& function, Dwarf_Addr pc) {
    std::vector<Dwarf_Die> calls;
    Dwarf_Die die;
    bool more = library.dwarf_child(&function, &die) == 0;
    while (more) {
        int const tag = library.dwarf_tag(&die);
        bool const inlined = tag == DW_TAG_inlined_subroutine;
        if ((inlined || tag == DW_TAG_lexical_block) && library.dwarf_haspc(&die, pc) > 0) {
            if (inlined) calls.push_back(die);
            more = library.dwarf_child(&die, &die) == 0;
        } else {
            more = library.dwarf_siblingof(&die, &die) == 0;
        }
    }
    return calls;
}

// Adds the functions that stand inlined at `pc`. The place of `outer` becomes that of the call
// which the outermost of them has taken the place of.
void addInlined(std::vector<Symbol>& all, Dwarf_Die& unit, Dwarf_Addr pc, Symbol& outer) {
    Dwarf_Die function;
    if (!functionAt(unit, pc, function)) return;
    std::vector<Dwarf_Die> calls = inlinedAt(function, pc);
    for (auto call = calls.rbegin(); call != calls.rend(); ++call) {
        Symbol inlined = outer;
        inlined.raw = inlinedName(*call);
        inlined.offset = 0;
        all.push_back(inlined);
        outer.lineOffset = 0;
        Dwarf_Attribute attribute;
        Dwarf_Word file = 0;
        Dwarf_Word line = 0;
        Dwarf_Files* files = nullptr;
        if (library.dwarf_formudata(library.dwarf_attr(&*call, DW_AT_call_line, &attribute),
                                    &line) == 0)
            outer.line = line;
        if (library.dwarf_formudata(library.dwarf_attr(&*call, DW_AT_call_file, &attribute),
                                    &file) == 0 &&
            library.dwarf_getsrcfiles(&unit, &files, nullptr) == 0)
            if (char const* const name = library.dwarf_filesrc(files, file, nullptr, nullptr))
                outer.file = name;
    }
}

// Counts the modules that have come and gone.
unsigned long long moduleChanges() {
    unsigned long long changes = 0;
    dl_iterate_phdr(
        [](dl_phdr_info* info, std::size_t, void* out) {
            *static_cast<unsigned long long*>(out) = info->dlpi_adds + info->dlpi_subs;
            return 1;
        },
        &changes);
    return changes;
}

// A walk up a stack, for the functions that elfutils calls.
struct Walk {
    SavedFrame saved;
    unsigned long frame;
    ReadStack read;
    void* process;
    TakeFrame take;
    void* taker;
    bool failed = false;
};
Walk*& walkOf(void* argument) {
    return *static_cast<Walk**>(argument);
}

bool readWord(Dwfl*, Dwarf_Addr address, Dwarf_Word* word, void* argument) {
    Walk& walk = *walkOf(argument);
    if (walk.read(walk.process, address, word, sizeof *word)) return true;
    walk.failed = true;
    return false;
}
pid_t oneThread(Dwfl*, void* argument, void** threadArgument) {
    bool const first = *threadArgument == nullptr;
    *threadArgument = argument;
    return first ? getpid() : 0;
}
bool theThread(Dwfl*, pid_t, void* argument, void** threadArgument) {
    *threadArgument = argument;
    return true;
}
#if defined(__x86_64__)
// In the numbers of the unwind tables.
bool setRegisters(Dwfl_Thread* thread, void* argument) {
    Walk const& walk = *walkOf(argument);
    auto const& saved = walk.saved.registers;
    Dwarf_Word all[17] = {};
    all[3] = saved[4];
    all[6] = saved[5];
    all[7] = walk.frame + sizeof(SavedFrame);
    for (int i = 0; i < 4; ++i) all[15 - i] = saved[i];
    all[16] = walk.saved.returnAddress;
    return library.dwfl_thread_state_registers(thread, 0, 17, all);
}
#elif defined(__aarch64__)
bool setRegisters(Dwfl_Thread* thread, void* argument) {
    Walk const& walk = *walkOf(argument);
    Dwarf_Word all[32] = {};
    for (unsigned long i = 0; i < SavedFrame::REGISTERS; ++i) all[19 + i] = walk.saved.registers[i];
    all[29] = walk.saved.framePointer;
    all[30] = walk.saved.returnAddress;
    all[31] = walk.frame + sizeof(SavedFrame);
    library.dwfl_thread_state_register_pc(thread, walk.saved.returnAddress);
    return library.dwfl_thread_state_registers(thread, 0, 32, all);
}
#endif
int takeFrame(Dwfl_Frame* frame, void* argument) {
    Walk& walk = *static_cast<Walk*>(argument);
    Dwarf_Addr pc = 0;
    if (!library.dwfl_frame_pc(frame, &pc, nullptr) || pc == 0) return DWARF_CB_ABORT;
    walk.take(walk.taker, reinterpret_cast<void*>(pc));
    return DWARF_CB_OK;
}
constexpr Dwfl_Thread_Callbacks THREADS = {&oneThread,    &theThread, &readWord,
                                           &setRegisters, nullptr,    nullptr};

}  // namespace

bool loadSymbolLibrary(std::string& error) {
    // Never unloaded: a report may be due at any time.
    if (!loaded) loaded = library.load(dlopen("libdw.so.1", RTLD_NOW | RTLD_LOCAL));
    if (!loaded)
        if (char const* const why = dlerror()) error = why;
    return loaded;
}

struct Symbols::State {
    ~State() {
        if (dwfl != nullptr) library.dwfl_end(dwfl);
    }
    char* debugPath = nullptr;
    Dwfl_Callbacks callbacks = {};
    Dwfl* dwfl = nullptr;
    Walk* walk = nullptr;  // the one that is under way
    bool walks = false;
    unsigned long long modules = moduleChanges();
};

Symbols::Symbols() : state_(std::make_unique<State>()) {
    if (!loaded) {
        state_.reset();
        return;
    }
    State& s = *state_;
    s.callbacks.find_elf = library.dwfl_linux_proc_find_elf;
    s.callbacks.find_debuginfo = library.dwfl_standard_find_debuginfo;
    s.callbacks.debuginfo_path = &s.debugPath;
    s.dwfl = library.dwfl_begin(&s.callbacks);
    if (s.dwfl == nullptr || library.dwfl_linux_proc_report(s.dwfl, getpid()) != 0 ||
        library.dwfl_report_end(s.dwfl, nullptr, nullptr) != 0)
        state_.reset();
    else
        s.walks = library.dwfl_attach_state(s.dwfl, nullptr, getpid(), &THREADS, &s.walk);
}

Symbols::~Symbols() = default;

bool Symbols::current() const {
    return state_ != nullptr && state_->modules == moduleChanges();
}

int Symbols::walk(unsigned long frame, ReadStack read, void* process, TakeFrame take, void* taker) {
    Walk walk = {{}, frame, read, process, take, taker};
    if (!read(process, frame, &walk.saved, sizeof walk.saved)) return EFAULT;
    if (!state_ || !state_->walks) {
        take(taker, reinterpret_cast<void*>(walk.saved.returnAddress));
        return ENOEXEC;
    }
    state_->walk = &walk;
    int const result = library.dwfl_getthread_frames(state_->dwfl, getpid(), &takeFrame, &walk);
    state_->walk = nullptr;
    return result < 0 && walk.failed ? EFAULT : 0;
}

std::vector<Symbol> Symbols::find(void const* address, bool isReturn) {
    Symbol symbol;
    if (!state_) {  // for tools that have more to read
        LoadedModule module;
        if (loadedModule(address, module)) {
            symbol.module = *module.path != '\0' ? module.path : executablePath();
            symbol.base = module.base;
        }
        return {symbol};
    }
    auto const at = reinterpret_cast<std::uintptr_t>(address);
    // The return address of a call at the very end of a function belongs to the next one.
    Dwarf_Addr const asked = isReturn && at != 0 ? at - 1 : at;
    Dwfl_Module* const module = library.dwfl_addrmodule(state_->dwfl, asked);
    if (module == nullptr) return {symbol};
    char const* path = nullptr;
    Dwarf_Addr start = 0;
    char const* const name = library.dwfl_module_info(module, nullptr, &start, nullptr, nullptr,
                                                      nullptr, &path, nullptr);
    symbol.module = path != nullptr ? path : name != nullptr ? name : "";
    symbol.base = start;
    GElf_Off offset = 0;
    GElf_Sym entry;
    char const* const raw =
        library.dwfl_module_addrinfo(module, asked, &offset, &entry, nullptr, nullptr, nullptr);
    if (raw != nullptr) {
        symbol.raw = raw;
        auto const version = symbol.raw.find('@');  // "exit@@GLIBC_2.2.5"
        if (version != std::string::npos) symbol.raw.resize(version);
        symbol.offset = offset + (at - asked);
        symbol.source = Symbol::Source::Table;
    }
    Dwarf_Addr bias = 0;
    Dwarf_Die* const unit = unitOf(module, asked, bias);
    std::vector<Symbol> all;
    if (unit != nullptr) {
        addLine(*unit, asked - bias, at - bias, symbol);
        addInlined(all, *unit, asked - bias, symbol);
    }
    all.push_back(symbol);
    return all;
}

}  // namespace zan::platform
