#include "zan/platform/c_library.h"

#include <dlfcn.h>
#include <link.h>

#include <cstdint>
#include <cstring>
#include <initializer_list>

#include "zan/platform/stack_memory.h"

namespace zan::platform {

namespace {

struct Range {
    unsigned long begin = 1;
    unsigned long end = 0;
    bool has(unsigned long address) const { return address >= begin && address < end; }
};
Range loader;
Range cLibrary;

Range moduleOf(void* address) {
    dl_find_object found;
    if (_dl_find_object(address, &found) != 0) return {};
    return {reinterpret_cast<unsigned long>(found.dlfo_map_start),
            reinterpret_cast<unsigned long>(found.dlfo_map_end)};
}

bool read(unsigned long from, void* to, unsigned long size) {
    return readMemory(reinterpret_cast<void const*>(from), to, size) == size;
}

#if defined(__x86_64__)
// Follows a jump through a slot of the loader's, as the entries of a linkage table are.
unsigned long behindLinkage(unsigned long function) {
    unsigned char code[11] = {};
    if (!read(function, code, sizeof code)) return function;
    unsigned long at = 0;
    if (std::memcmp(code, "\xF3\x0F\x1E\xFA", 4) == 0) at = 4;  // endbr64
    if (code[at] == 0xF2) ++at;                                 // bnd
    if (code[at] != 0xFF || code[at + 1] != 0x25) return function;
    std::int32_t distance = 0;
    unsigned long target = 0;
    if (!read(function + at + 2, &distance, sizeof distance) ||
        !read(function + at + 6 + static_cast<unsigned long>(distance), &target, sizeof target))
        return function;
    return target;
}

// By the call instruction ahead of a return address; 0 where it names none.
unsigned long functionCalledBy(unsigned long address) {
    unsigned char code[6] = {};
    std::int32_t distance = 0;
    if (!read(address - 6, code, sizeof code)) return 0;
    std::memcpy(&distance, code + 2, sizeof distance);
    unsigned long const target = address + static_cast<unsigned long>(distance);
    if (code[1] == 0xE8) return behindLinkage(target);
    unsigned long function = 0;
    if (code[0] == 0xFF && code[1] == 0x15 && read(target, &function, sizeof function))
        return function;
    return 0;
}
#elif defined(__aarch64__)
// The bits [low, low + count) of an instruction, as a signed number.
long signedField(std::uint32_t instruction, int low, int count) {
    return static_cast<std::int32_t>(instruction << (32 - low - count)) >> (32 - count);
}

// Follows a jump through a slot of the loader's, as the entries of a linkage table are:
// adrp x16, page; ldr x17, [x16, #offset]; add x16, x16, #offset; br x17.
unsigned long behindLinkage(unsigned long function) {
    constexpr std::uint32_t LANDING = 0xD503245F;  // bti c
    std::uint32_t code[3] = {};
    if (!read(function, code, sizeof code)) return function;
    unsigned long at = function;
    std::uint32_t const* next = code;
    if (*next == LANDING) {
        at += 4;
        ++next;
    }
    if ((next[0] & 0x9F00001F) != 0x90000010 || (next[1] & 0xFFC003FF) != 0xF9400211)
        return function;
    long const pages = signedField(next[0], 5, 19) * 4 + static_cast<long>(next[0] >> 29 & 3);
    unsigned long const slot = (at & ~0xFFFul) + static_cast<unsigned long>(pages) * 4096 +
                               (next[1] >> 10 & 0xFFF) * 8;
    unsigned long target = 0;
    return read(slot, &target, sizeof target) ? target : function;
}

// By the call instruction ahead of a return address; 0 where it names none.
unsigned long functionCalledBy(unsigned long address) {
    std::uint32_t call = 0;
    if (!read(address - 4, &call, sizeof call) || (call & 0xFC000000) != 0x94000000) return 0;
    return behindLinkage(address - 4 + static_cast<unsigned long>(signedField(call, 0, 26)) * 4);
}
#else
#error "the calls of this processor are not known"
#endif

// The functions whose caller frees what they have allocated, and that keep nothing for themselves.
constexpr char const* OWNED[] = {
    "strdup",
    "strndup",
    "wcsdup",
    "asprintf",
    "__asprintf_chk",
    "vasprintf",
    "__vasprintf_chk",
    "getline",
    "getdelim",
    "realpath",
    "__realpath_chk",
    "canonicalize_file_name",
    "getcwd",
    "get_current_dir_name",
    "opendir",
    "fdopendir",
    "scandir",
    "fopen",
    "fopen64",
    "fdopen",
    "freopen",
    "popen",
    "tmpfile",
    "tmpfile64",
    "open_memstream",
    "open_wmemstream",
    "fmemopen",

    "getifaddrs",
    "if_nameindex",
    "regcomp",
    "glob",
    "wordexp",

    "duplocale",
    "iconv_open",
    "tempnam",

    "hcreate_r",
    "argz_create",
    "fts_open",
    "posix_spawn_file_actions_addopen",
    "posix_spawn_file_actions_adddup2",
};

}  // namespace

void findLoader() {
    loader = moduleOf(dlsym(RTLD_DEFAULT, "__tls_get_addr"));
    cLibrary = moduleOf(dlsym(RTLD_DEFAULT, "strdup"));
}

bool isLoader(unsigned long address) {
    return loader.has(address);
}
bool isCLibrary(unsigned long address) {
    return cLibrary.has(address);
}

bool isRunTime(unsigned long address) {
    dl_find_object found;
    if (_dl_find_object(reinterpret_cast<void*>(address), &found) != 0) return false;
    char const* const path = found.dlfo_link_map->l_name;
    char const* const slash = std::strrchr(path, '/');
    char const* const name = slash != nullptr ? slash + 1 : path;
    for (char const* const library :
         {"libzanmlc.so", "libc.so", "libstdc++.so", "libgcc_s.so", "libc++", "ld-linux"})
        if (std::strncmp(name, library, std::strlen(library)) == 0) return true;
    return false;
}

bool isSameModule(unsigned long address, void const* code) {
    return moduleOf(const_cast<void*>(code)).has(address);
}

RunTimeBlock::RunTimeBlock() {
    auto const add = [](char const* name, Function* to, unsigned long& n) {
        Dl_info info;
        ElfW(Sym)* symbol = nullptr;
        void* const at = dlsym(RTLD_DEFAULT, name);
        if (at == nullptr || !isCLibrary(reinterpret_cast<unsigned long>(at)) ||
            dladdr1(at, &info, reinterpret_cast<void**>(&symbol), RTLD_DL_SYMENT) == 0 ||
            symbol == nullptr)
            return;
        auto const begin = reinterpret_cast<unsigned long>(at);
        to[n++] = {begin, begin + symbol->st_size};
    };
    static_assert(sizeof OWNED / sizeof OWNED[0] <= MOST);
    for (char const* const name : OWNED) add(name, owned_, ownedCount_);
    for (char const* const name : {"_IO_file_doallocate", "_IO_wfile_doallocate"})
        add(name, buffers_, bufferCount_);
}

bool RunTimeBlock::isOne(void* const* addresses, unsigned long n) const {
    auto const isIn = [](unsigned long address, Function const* all, unsigned long count) {
        for (unsigned long i = 0; i < count; ++i)
            if (address >= all[i].begin && address < all[i].end) return true;
        return false;
    };
    auto const numberOf = [&](unsigned long i) {
        return reinterpret_cast<unsigned long>(addresses[i]);
    };
    bool owned = false;
    unsigned long i = 0;
    for (; i < n && isCLibrary(numberOf(i)); ++i) {
        // The return address of a call at the very end of a function belongs to the next one.
        if (isIn(numberOf(i) - 1, buffers_, bufferCount_)) return true;
        owned = owned || isIn(numberOf(i) - 1, owned_, ownedCount_);
    }
    // A walk that has ended in the library tells nothing.
    if (i == 0 || i == n) return false;
    // A function that calls another one last has no frame any more.
    unsigned long const called = functionCalledBy(numberOf(i));
    return isCLibrary(called) ? !isIn(called, owned_, ownedCount_) : !owned;
}

}  // namespace zan::platform
