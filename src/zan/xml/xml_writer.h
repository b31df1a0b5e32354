#pragma once

#include "zan/base/base_type_string.h"
#include "zan/xml/xmlnode.h"

namespace zan::detail {

// Writes elements to a text or a stream, through a small buffer.
class XMLWriter {
public:
    // Appends.
    explicit XMLWriter(String& out) : text_(&out) {}
    explicit XMLWriter(std::ostream& out) : stream_(&out) {}
    XMLWriter(XMLWriter const&) = delete;
    XMLWriter& operator=(XMLWriter const&) = delete;

    // Nothing where the name is empty.
    void write(XMLAttr const& a) {
        attr(a);
        flush();
    }
    // Nothing for the null node.
    void write(XMLNode const& node, bool indent, unsigned long depth) {
        indent_ = indent;
        if (!node.isNull()) element(node, depth);
        flush();
    }

private:
    static constexpr unsigned long SIZE = 4096;

    void flush();
    void put(char c) {
        if (used_ == SIZE) flush();
        buffer_[used_++] = c;
    }
    void put(char const* p, unsigned long n);
    void put(istr const& s) { put(s.data(), s.size()); }
    void attr(XMLAttr const& a);
    void element(XMLNode const& node, unsigned long depth);
    void escaped(istr const& s);
    void cdata(istr const& s);
    // A line feed and the blanks of a level, where lines are broken.
    void lead(unsigned long depth);
    // Up to the end of a start tag. True where the element ended with it.
    bool begin(XMLNode const& node, unsigned long depth);
    void end(XMLNode const& node);

    String* text_ = nullptr;
    std::ostream* stream_ = nullptr;
    bool indent_ = false;
    unsigned long used_ = 0;
    char buffer_[SIZE];
};

}  // namespace zan::detail
