#pragma once

#include <memory>
#include <string>
#include <vector>

namespace zan::platform {

// What the symbol tables and the debug information of the process say about an address.
struct Symbol {
    std::string raw;           // as the linker knows it, no version; empty where there is none
    unsigned long offset = 0;  // of the address, into the function
    std::string file;          // empty where there is no debug information
    unsigned long line = 0;
    unsigned long lineOffset = 0;  // of the address, into the line's code
    std::string module;            // the file that was loaded; empty outside all of them
    unsigned long base = 0;
    enum class Source { None, Table, Debug } source = Source::None;
};

// Loads the library that reads symbols, once: programs that never ask are spared it and what it
// needs in its turn. False, with the system's words for why, where it isn't there or is another.
//
// Threads: one at a time.
bool loadSymbolLibrary(std::string& error);

// Copies memory of the stack that is walked; false where it can't be met in full.
using ReadStack = bool (*)(void* process, unsigned long address, void* to, unsigned long size);
// Gets the frames of a walk from the innermost. Each address is a return address.
using TakeFrame = void (*)(void* taker, void* address);

// The files that are loaded at the time of the first look-up, read once. Allocates freely.
//
// Threads: one at a time.
class Symbols {
public:
    Symbols();
    ~Symbols();
    Symbols(Symbols const&) = delete;
    Symbols& operator=(Symbols const&) = delete;

    // False where the files can't be read at all, or the library isn't loaded.
    bool ready() const { return state_ != nullptr; }
    // Whether no module has come or gone since they were read.
    bool current() const;
    // The function at the address, behind those that the compiler has put into it there, from the
    // innermost; at least one. `isReturn` says that the call ahead of the address is meant.
    std::vector<Symbol> find(void const* address, bool isReturn);
    // Follows the stack from the frame that was saved at `frame`, by the unwind tables of the
    // files, until it ends or a read fails: 0, or the errno value.
    int walk(unsigned long frame, ReadStack read, void* process, TakeFrame take, void* taker);

private:
    struct State;
    std::unique_ptr<State> state_;
};

}  // namespace zan::platform
