#include "zan/platform/symbols.h"

#include <dlfcn.h>
#include <dwarf.h>
#include <elfutils/libdwfl.h>
#include <unistd.h>

#include <cstdint>
#include <cstdlib>

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
                                        each(dwarf_filesrc)
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
}

Symbols::~Symbols() = default;

std::vector<Symbol> Symbols::find(void const* address, bool isReturn) {
    Symbol symbol;
    if (!state_) return {symbol};
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
