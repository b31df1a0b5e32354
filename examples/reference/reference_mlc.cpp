#include "example.h"

EXAMPLE(MLC_Entry) {
    // also: StackContext
    // With ZAN_MEM_LEAK_CHECK=on in the environment, the last one that goes writes the report.
    // zan::InitFini has one.
    zan::MLC_Entry const watched;
    std::cout << "watched\n";
}

int main() {
    return reference::run("reference_mlc.log");
}
