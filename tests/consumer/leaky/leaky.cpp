// A library that is opened at run time and forgets a block.
#include <cstdlib>

extern "C" [[gnu::visibility("default")]] void* forgetInLibrary() {
    void* volatile block = std::malloc(107);
    return block;
}
