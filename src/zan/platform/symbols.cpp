#include "zan/platform/symbols.h"

#include <elfutils/libdwfl.h>
#include <unistd.h>

#include <cstdint>

namespace zan::platform {

struct Symbols::State {
    ~State() {
        if (dwfl != nullptr) dwfl_end(dwfl);
    }
    char* debugPath = nullptr;
    Dwfl_Callbacks callbacks = {};
    Dwfl* dwfl = nullptr;
};

Symbols::Symbols() : state_(std::make_unique<State>()) {
    State& s = *state_;
    s.callbacks.find_elf = &dwfl_linux_proc_find_elf;
    s.callbacks.find_debuginfo = &dwfl_standard_find_debuginfo;
    s.callbacks.debuginfo_path = &s.debugPath;
    s.dwfl = dwfl_begin(&s.callbacks);
    if (s.dwfl == nullptr || dwfl_linux_proc_report(s.dwfl, getpid()) != 0 ||
        dwfl_report_end(s.dwfl, nullptr, nullptr) != 0)
        state_.reset();
}

Symbols::~Symbols() = default;

Symbol Symbols::find(void const* address, bool isReturn) {
    Symbol symbol;
    if (!state_) return symbol;
    auto const at = reinterpret_cast<std::uintptr_t>(address);
    // The return address of a call at the very end of a function belongs to the next one.
    Dwarf_Addr const asked = isReturn && at != 0 ? at - 1 : at;
    Dwfl_Module* const module = dwfl_addrmodule(state_->dwfl, asked);
    if (module == nullptr) return symbol;
    char const* path = nullptr;
    Dwarf_Addr start = 0;
    char const* const name =
        dwfl_module_info(module, nullptr, &start, nullptr, nullptr, nullptr, &path, nullptr);
    symbol.module = path != nullptr ? path : name != nullptr ? name : "";
    symbol.base = start;
    GElf_Off offset = 0;
    GElf_Sym entry;
    char const* const raw =
        dwfl_module_addrinfo(module, asked, &offset, &entry, nullptr, nullptr, nullptr);
    if (raw != nullptr) {
        symbol.raw = raw;
        auto const version = symbol.raw.find('@');  // "exit@@GLIBC_2.2.5"
        if (version != std::string::npos) symbol.raw.resize(version);
        symbol.offset = offset + (at - asked);
        symbol.source = Symbol::Source::Table;
    }
    if (Dwfl_Line* const line = dwfl_module_getsrc(module, asked)) {
        int number = 0;
        Dwarf_Addr begin = at;
        char const* const file = dwfl_lineinfo(line, &begin, &number, nullptr, nullptr, nullptr);
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
