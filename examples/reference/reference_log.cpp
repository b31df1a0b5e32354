#include "example.h"

namespace {
struct Sample {
    int count_ = 7;
    zan::String name_ = "ab";

    zan::dumper& dump(zan::dumper& d) const {
        zan::dumper::_Entry const entry(d, "app::Sample");
        d << zan::indent << zan::namestring("count_") << count_ << zan::endline;
        d << zan::indent << zan::namestring("name_") << name_ << zan::endline;
        return d;
    }
};
}  // namespace

EXAMPLE(dumper) {
    // also: Dumpable, Interface, namestring
    // Sample has the dump() that stands above.
    zan::dumper lines(std::cout);
    lines << Sample();
    std::cout << '\n';
    zan::dumper compact(std::cout, true);
    compact << Sample();
    std::cout << '\n';
}

EXAMPLE(hexdata) {
    // also: write_hex, dump_hex_base, dump_hex, show_printable
    zan::dumper compact(std::cout, true);
    compact << zan::hexdata("AB\n");
    zan::dumper lines(std::cout);
    lines << zan::hexdata("AB\n");
    std::cout << '\n';
}

EXAMPLE(rawstring) {
    zan::dumper d(std::cout, true);
    d << "in quotes" << zan::rawstring(", and as it is");
    std::cout << '\n';
}

EXAMPLE(LogObserver) {
    // also: logger
    struct Last : zan::LogObserver {
        void onLog(zan::istr const& line) override { text = line; }
        zan::String text;
    } last;
    zan::logger& log = zan::logger_factory::instance("observed");
    log.setObserver(&last);
    ZAN_INFO(log, "disk full");
    log.setObserver(nullptr);
    std::cout << zan::istr(last.text).trim().rightstr(9) << '\n';
}

EXAMPLE(console) {
    zan::console::setOn(false);
    zan::console::println("on nobody's screen");
    zan::console::flush();
    std::cout << zan::console::isOn() << '\n';
}

EXAMPLE(TraceEntry) {
    // also: tracer
    zan::logger& log = zan::logger_factory::instance("app");
    unsigned long const depth = zan::tracer::instance()->container().size();
    {
        // What ZAN_TRACE_FRAME(log) makes where traces are compiled in.
        zan::TraceEntry const frame(log, ZAN_HERE);
        std::cout << zan::tracer::instance()->container().size() - depth << " more\n";
    }
    std::cout << zan::tracer::instance()->container().size() - depth << " more\n";
}

int main() {
    return reference::run("reference_log.log");
}
