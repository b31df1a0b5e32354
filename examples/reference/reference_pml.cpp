#include "example.h"

namespace {
struct Server : zan::pml::PmlCodecInterface {
    zan::String address = "127.0.0.1";
    unsigned short port = 80;

    void codec(zan::pml::stream& s) override {
        s& zan::pml::field("address", address) & zan::pml::field("port", port);
    }
};
}  // namespace

EXAMPLE(stream) {
    // also: PmlCodecInterface, Field__, name_id
    // void Server::codec(zan::pml::stream& s) {
    //     s & zan::pml::field("address", address) & zan::pml::field("port", port);
    // }
    Server server;
    zan::pml::stream in(zan::istr("server(port(8080))"), false);
    server.codec(in);
    zan::pml::stream out;
    server.codec(out.name("server"));
    std::cout << out.toPml() << '\n';
}

EXAMPLE(Unit) {
    // also: ListValue, StringValue, ValueBase
    zan::pml::ntv::Unit cfg("server");
    cfg.addChild("address", "127.0.0.1");
    cfg["port"] << 8080;
    zan::pml::ntv::Unit const& in = cfg;
    unsigned short port = 80;
    in["port"] >> port;
    std::cout << port << ' ' << in["none"].getStringValue().size() << '\n';
    std::cout << cfg.str() << '\n';
}

EXAMPLE(IntegerValue) {
    // also: UnsignedValue, FloatValue, BooleanValue, CharacterValue, WcharValue, TimeValue
    // also: BytesValue, WstringValue
    zan::pml::ntv::Unit limit("limit", "int", zan::pml::ntv::IntegerValue::create(250));
    std::cout << limit.str() << '\n';
}

EXAMPLE(ShowMode) {
    // also: ShowPattern
    zan::pml::ntv::Unit unit;
    zan::pml::ntvFromPml(unit, zan::istr("log(level(3) file('a:b'))"));
    std::cout << unit.str(zan::pml::ShowMode::COMPACT) << '\n';
    std::cout << unit.str(zan::pml::ShowMode::SIMPLE) << '\n';
}

EXAMPLE(pmlString) {
    // also: pmlType, pmlFile, File
    zan::pml::pmlString text("a(b(1))");
    zan::pml::ntv::Unit unit;
    text.toNTV(unit);
    std::cout << unit["b"].getStringValue() << '\n';
}

EXAMPLE(DecodeException) {
    // also: pmlParserBase
    zan::pml::ntv::Unit unit;
    try {
        zan::pml::ntvFromPml(unit, zan::istr("port:int"));
    } catch (zan::pml::DecodeException const& e) {
        std::cout << e.name() << '\n';
    }
}

int main() {
    return reference::run("reference_pml.log");
}
