#include "example.h"

#include <memory>

namespace {
// [point]
struct Point : zan::nbr::CodecInterface {
    int x = 0;
    zan::String label;

    void codec(zan::nbr::CodecStream& s) override {
        if (s.encoding()) {
            zan::nbr::OutputStream::Entry const entry(s.bos());
            s.bos().write(1, x);
            s.bos().write(2, label);
        } else {
            s.bis().read(1, x);
            s.bis().read(2, label);
        }
    }
};
// [/point]
}  // namespace

EXAMPLE(CodecInterface) {
    // also: CodecStream
    // void Point::codec(zan::nbr::CodecStream& s) {
    //     if (s.encoding()) {
    //         zan::nbr::OutputStream::Entry const entry(s.bos());
    //         s.bos().write(1, x);
    //         s.bos().write(2, label);
    //     } else {
    //         s.bis().read(1, x);
    //         s.bis().read(2, label);
    //     }
    // }
    Point point;
    point.x = 7;
    point.label = "dock";
    zan::nbr::OutputStream out;
    point.encode(out);
    Point copy;
    zan::nbr::InputStream in(out.str());
    copy.decode(in);
    std::cout << copy.x << ' ' << copy.label << ", " << out.str().size() << " bytes\n";
}

EXAMPLE(OutputStream) {
    // also: InputStream
    zan::nbr::OutputStream out;
    {
        zan::nbr::OutputStream::Entry const entry(out);
        out.write(1, 12);
    }
    int count = 0;
    int other = 5;
    zan::nbr::InputStream in(out.str());
    std::cout << in.read(1, count) << in.read(2, other) << ' ' << count << ' ' << other << '\n';
}

EXAMPLE(parser) {
    // also: ValueBase, SimpleValue, ComplexValue, DecodeException
    zan::nbr::OutputStream out;
    {
        zan::nbr::OutputStream::Entry const entry(out);
        out.write(1, 12);
        out.write(2, zan::istr("dock"));
    }
    std::unique_ptr<zan::nbr::ValueBase> const tree(zan::nbr::parser::from(out.str()));
    zan::dumper d(std::cout, true);
    tree->dump(d);
    std::cout << '\n';
}

EXAMPLE(dump_buf) {
    zan::nbr::OutputStream out;
    {
        zan::nbr::OutputStream::Entry const entry(out);
        out.write(1, zan::istr("dock"));
    }
    zan::dumper d(std::cout, true);
    d << zan::nbr::dump_buf(out.str());
    std::cout << '\n';
}

int main() {
    return reference::run("reference_nbr.log");
}
