// Parses a tree of 1 MB of PML and destroys it, twenty times: some hundred thousand allocations.
#include <string>

#include "zan/zan.h"

int main() {
    zan::InitFini const library;
    std::string text = "root:map(";
    for (int i = 0; text.size() < 1u << 20; ++i) {
        std::string const n = std::to_string(i);
        text += "item" + n + ":map(name(\"object number " + n + "\") id(" + n +
                ") tags(one two three) pos:map(x(1.5) y(2.5)))";
    }
    text += ")";
    for (int i = 0; i < 20; ++i) ZAN_DELETE(zan::pml::newNTV(zan::istr(text)));
}
