#include "zan/platform/symbols.h"

#include <dlfcn.h>
#include <elfutils/libdwfl.h>
#include <unistd.h>

#include <cstdint>

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
                each(dwfl_module_getsrc) each(dwfl_lineinfo)
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

Symbol Symbols::find(void const* address, bool isReturn) {
    Symbol symbol;
    if (!state_) return symbol;
    auto const at = reinterpret_cast<std::uintptr_t>(address);
    // The return address of a call at the very end of a function belongs to the next one.
    Dwarf_Addr const asked = isReturn && at != 0 ? at - 1 : at;
    Dwfl_Module* const module = library.dwfl_addrmodule(state_->dwfl, asked);
    if (module == nullptr) return symbol;
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
    if (Dwfl_Line* const line = library.dwfl_module_getsrc(module, asked)) {
        int number = 0;
        Dwarf_Addr begin = at;
        char const* const file =
            library.dwfl_lineinfo(line, &begin, &number, nullptr, nullptr, nullptr);
        if (file != nullptr) {
            symbol.file = file;
            symbol.line = static_cast<unsigned long>(number);
            symbol.lineOffset = at - begin;
            symbol.source = Symbol::Source::Debug;
        }
    }
    return symbol;
}

}  // namespace zan::platform
