#include "example.h"

EXAMPLE(StringSlice) {
    zan::StringSlice line("GET /index HTTP/1.0");
    zan::istr const method = line.readUntil(" ");
    zan::istr const path = line.readUntil(" ");
    std::cout << method << " of " << path << ", " << line.left() << " bytes left\n";
}

int main() {
    return reference::run("reference_string.log");
}
