#include "example.h"

EXAMPLE(ConfigFile) {
    zan::FileWriter(L"app.pml", true).write("cfg(enable(1) app(port(8080)))");
    zan::ConfigFile& config = zan::ConfigFile::instance().load("app.pml");
    unsigned short port = 80;
    config.mps()["app"]["port"] >> port;
    std::cout << port << ", code page " << zan::ConfigFile::codepage() << '\n';
}

int main() {
    return reference::run("reference_cfg.log");
}
