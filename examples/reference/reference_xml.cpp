#include "example.h"

EXAMPLE(XMLNode) {
    // also: XMLAttr
    zan::XMLNode order("order");
    order.attr("id").value("7");
    order["item"].cdata("bolt");
    order.addChildNode("item")->cdata("nut");
    zan::XMLNode const& doc = order;
    std::cout << doc["item"].cdata() << ' ' << doc["none"].isNull() << '\n';
    std::cout << doc.str(true, 0) << '\n';
}

EXAMPLE(XMLParser) {
    // also: XMLParserCallback
    zan::XMLParser parser("<order id='7'><item>bolt</item><item>nut</item></order>");
    zan::XMLNode const& order = *parser.rootNode();
    std::cout << order("id").value() << ": " << order.child(1).cdata() << '\n';
}

EXAMPLE(XMLRuntimeException) {
    try {
        zan::XMLParser parser("<?xml version='1.0'");
    } catch (zan::XMLRuntimeException const& e) {
        std::cout << e.what() << '\n';
    }
}

namespace {
struct Item : zan::XMLCodecBase {
    zan::String name;
    int count = 1;

    void codecXml(zan::XMLStream& s) override {
        s.enter("Item");
        field(s, "name", name);
        field(s, "count", count);
    }

    template <class T>
    static void field(zan::XMLStream& s, char const* key, T& value) {
        if (s.isInputting())
            zan::XMLStream(zan::in_t(), key, s) >> value;
        else
            zan::XMLStream(zan::out_t(), key, s) << value;
    }
};
}  // namespace

EXAMPLE(XMLCodecBase) {
    // also: XMLStream, XMLInputString, XMLStreamBase
    // Item is the class that stands above.
    Item item;
    item.fromXml("<Item><name>bolt</name><count>12</count></Item>");
    ++item.count;
    std::cout << item.toXml(true) << '\n';
}

EXAMPLE(XMLOutStream) {
    // also: XMLInStream
    zan::XMLOutStream root("order");
    root("id").value("7");
    zan::XMLOutStream("count", root) << 12;
    std::cout << root.str(false, 0) << '\n';
}

int main() {
    return reference::run("reference_xml.log");
}
