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
    static constexpr unsigned long SIZE = 8192;
    // Texts up to this size go without a look at the room for each byte.
    static constexpr unsigned long SHORT_TEXT = 64;

    void flush();
    void makeRoom();
    // Room for so many bytes. REQUIRES: at most SIZE.
    void need(unsigned long n) {
        if (n > SIZE - used_) flush();
    }
    // REQUIRES: need(1).
    void add(char c) { buffer_[used_++] = c; }
    // REQUIRES: need(n).
    void add(char const* p, unsigned long n);
    void put(char const* p, unsigned long n);
    void put(char before, String const& name, char behind = 0);
    static bool copyPlain(char* to, char const* p, unsigned long n);
    void attr(XMLAttr const& a);
    void element(XMLNode const& node, unsigned long depth);
    void escaped(char const* p, unsigned long n);
    void cdata(istr const& s);
    // A line feed and the blanks of a level, where lines are broken.
    void lead(unsigned long depth);
    // Up to the end of a start tag. True where the element ended with it.
    bool begin(XMLNode const& node, unsigned long depth);
    void end(String const& name);

    String* text_ = nullptr;
    std::ostream* stream_ = nullptr;
    bool indent_ = false;
    unsigned long children_ = 0;  // of the top element, and how many are begun
    unsigned long done_ = 0;
    unsigned long used_ = 0;
    char buffer_[SIZE];
};

}  // namespace zan::detail
