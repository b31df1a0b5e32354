#pragma once

namespace zan::platform {

// Looks up where the loader of modules and the C library stand. Before the others, which are
// async-signal-safe then.
void findLoader();
// Code of the loader: tables of modules, blocks of thread-local data.
bool isLoader(unsigned long address);
// Code of the C library.
bool isCLibrary(unsigned long address);
// Code of libzanmlc.so, the loader or of a library of the language's own.
bool isRunTime(unsigned long address);
// Code of the module that `code` is in, too.
bool isSameModule(unsigned long address, void const* code);

// Whether the block that was allocated behind these calls, the innermost first, is the C library's
// own: buffers of its streams, the environment, tables that it never gives back. What a function
// of it returns for the caller to free, as strdup() does, is not.
class RunTimeBlock {
public:
    RunTimeBlock();
    bool isOne(void* const* addresses, unsigned long n) const;

private:
    struct Function {
        unsigned long begin;
        unsigned long end;
    };
    static constexpr unsigned long MOST = 64;
    Function owned_[MOST];
    unsigned long ownedCount_ = 0;
    Function buffers_[2];
    unsigned long bufferCount_ = 0;
};

}  // namespace zan::platform
