#pragma once

#include <zan/zan.h>

#include <vector>

namespace courier {

// What courier.pml says. A key that is missing leaves the default; so does one that is wrong, and
// problems() names it.
class Settings {
public:
    zan::String address = "127.0.0.1";
    unsigned short port = 0;
    zan::String inbox = "inbox";
    zan::String key;                 // of files that come encrypted
    unsigned long idleTimeout = 60;  // seconds; 0 is never

    // Loads the file into the library's configuration, the logger's section with it, and takes the
    // server's own keys from there. Throws zan::DecodeException where the file does not parse.
    void load(zan::istr const& file);
    void codec(zan::pml::stream& s);

    // A line for each key that is unknown or does not convert, with its path and what stands in.
    std::vector<zan::String> const& problems() const { return problems_; }

private:
    void check(zan::pml::ntv::Unit const& file);
    void checkLog(zan::pml::ntv::Unit const& section, zan::istr const& path);
    template <class T>
    void checkValue(zan::pml::ntv::Unit const& unit, zan::istr const& path, zan::istr const& kind,
                    T const& standing);
    void report(zan::istr const& path, zan::String const& what);

    std::vector<zan::String> problems_;
};

}  // namespace courier
