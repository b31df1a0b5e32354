#include "example.h"

EXAMPLE(StringSlice) {
    zan::StringSlice line("GET /index HTTP/1.0");
    zan::istr const method = line.readUntil(" ");
    zan::istr const path = line.readUntil(" ");
    std::cout << method << " of " << path << ", " << line.left() << " bytes left\n";
}

EXAMPLE(StringBuffer) {
    zan::StringBuffer queue;
    queue += "first second";
    unsigned char word[8];
    unsigned long n = 5;
    queue.read(word, n);
    std::cout << zan::istr(word, n) << ", and " << queue.size() - queue.gsize() << " to be read\n";
}

EXAMPLE(StringRef) {
    char memory[8];
    zan::StringRef text(memory, sizeof memory);
    text << "id="
         << "7";
    std::cout << zan::istr(text) << ", room for " << text.left() << '\n';
}

EXAMPLE(charray) {
    zan::charray<8> name("eth0");
    std::cout << name.c_str() << ", " << name.size() << " of " << name.max_size() << '\n';
}

EXAMPLE(octets) {
    zan::octets<4> const mark = zan::hton(0x0A0B0C0Du);
    zan::write_hex(zan::istr(mark))(std::cout) << "\n";
}

int main() {
    return reference::run("reference_string.log");
}
