#include "zan/xml/xml_writer.h"

#include <cstring>
#include <ostream>
#include <vector>

#include "zan/xml/xml_scan.h"
#include "zan/xml/xml_tree.h"
#include "zan/xml/xmlparser.h"

namespace zan::detail {

void XMLWriter::flush() {
    if (text_ != nullptr)
        text_->append(buffer_, used_);
    else
        stream_->write(buffer_, static_cast<std::streamsize>(used_));
    used_ = 0;
}

inline void XMLWriter::put(char const* p, unsigned long n) {
    while (n > SIZE - used_) {
        unsigned long const part = SIZE - used_;
        std::memcpy(buffer_ + used_, p, part);
        used_ = SIZE;
        flush();
        p += part;
        n -= part;
    }
    if (n != 0) std::memcpy(buffer_ + used_, p, n);
    used_ += n;
}

void XMLWriter::escaped(istr const& s) {
    char const* const end = s.end();
    for (char const* p = s.begin();; ++p) {
        char const* const special = xmlFindSpecial(p, end);
        put(p, static_cast<unsigned long>(special - p));
        if (special == end) return;
        p = special;
        put(xmlReference(*p));
    }
}

void XMLWriter::cdata(istr const& s) {
    if (xmlFindSpecial(s.begin(), s.end()) == s.end()) return put(s);
    String encoded(s);
    xml::encode_cdata(encoded);
    put(encoded);
}

void XMLWriter::lead(unsigned long depth) {
    if (!indent_) return;
    put('\n');
    for (unsigned long blanks = depth * 4; blanks != 0;) {
        if (used_ == SIZE) flush();
        unsigned long const part = blanks < SIZE - used_ ? blanks : SIZE - used_;
        std::memset(buffer_ + used_, ' ', part);
        used_ += part;
        blanks -= part;
    }
}

void XMLWriter::attr(XMLAttr const& a) {
    if (a.name().empty()) return;
    put(' ');
    put(a.name());
    put("=\"", 2);
    escaped(a.value());
    put('"');
}

bool XMLWriter::begin(XMLNode const& node, unsigned long depth) {
    put('<');
    put(node.name());
    bool broken = false;
    if (XMLAttrList const* const attrs = XMLTree::attrs(node)) {
        for (unsigned long i = 0; i < attrs->size(); ++i) {
            XMLAttr const& a = attrs->at(i);
            if (i != 0 && std::strncmp(a.name().c_str(), "__", 2) != 0) {
                lead(depth + 1);
                broken = true;
            }
            attr(a);
        }
    }
    if (broken) lead(depth + 1);
    bool const leaf = node.numofChildren() == 0;
    if (leaf && node.cdata().empty()) {
        put("/>", 2);
        return true;
    }
    put('>');
    if (!leaf) return false;
    cdata(node.cdata());
    end(node);
    return true;
}

void XMLWriter::end(XMLNode const& node) {
    put("</", 2);
    put(node.name());
    put('>');
}

void XMLWriter::element(XMLNode const& node, unsigned long depth) {
    if (begin(node, depth)) return;
    struct Level {
        XMLNode const* node;
        unsigned long next;
    };
    std::vector<Level> open{{&node, 0}};
    for (;;) {
        Level& level = open.back();
        if (level.next < level.node->numofChildren()) {
            XMLNode const& child = *level.node->getChildNodes()[level.next++];
            lead(depth + 1);
            if (!begin(child, depth + 1)) {
                open.push_back({&child, 0});
                ++depth;
            }
            continue;
        }
        if (!level.node->cdata().empty()) {
            lead(depth + 1);
            cdata(level.node->cdata());
        }
        lead(depth);
        end(*level.node);
        open.pop_back();
        if (open.empty()) return;
        --depth;
    }
}

}  // namespace zan::detail
