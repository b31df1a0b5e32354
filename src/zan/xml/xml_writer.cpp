#include "zan/xml/xml_writer.h"

#include <cstdint>
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

// Most texts are short; a call costs more than the copy.
inline void XMLWriter::add(char const* p, unsigned long n) {
    char* const to = buffer_ + used_;
    if (n > 16) {
        std::memcpy(to, p, n);
    } else if (n >= 8) {
        std::uint64_t words[2];
        std::memcpy(words, p, 8);
        std::memcpy(words + 1, p + n - 8, 8);
        std::memcpy(to, words, 8);
        std::memcpy(to + n - 8, words + 1, 8);
    } else {
        for (unsigned long i = 0; i < n; ++i) to[i] = p[i];
    }
    used_ += n;
}

void XMLWriter::put(char const* p, unsigned long n) {
    for (; n > SIZE - used_; flush()) {
        unsigned long const part = SIZE - used_;
        std::memcpy(buffer_ + used_, p, part);
        used_ = SIZE;
        p += part;
        n -= part;
    }
    add(p, n);
}

void XMLWriter::escaped(char const* p, unsigned long n) {
    char const* const end = p + n;
    if (n > 64) {
        for (;; ++p) {
            char const* const special = xmlFindSpecial(p, end);
            put(p, static_cast<unsigned long>(special - p));
            if (special == end) return;
            p = special;
            put(xmlReference(*p).data(), xmlReference(*p).size());
        }
    }
    need(n * 6);
    char* to = buffer_ + used_;
    for (; p != end; ++p) {
        *to = *p;
        ++to;
        if (!xmlSpecial(*p)) continue;
        istr const reference = xmlReference(*p);
        std::memcpy(to - 1, reference.data(), reference.size());
        to += reference.size() - 1;
    }
    used_ = static_cast<unsigned long>(to - buffer_);
}

void XMLWriter::cdata(String const& s) {
    char const* const p = s.data();
    char const* const end = p + s.size();
    if (xmlFindSpecial(p, end) == end) return put(p, s.size());
    String encoded(s);
    xml::encode_cdata(encoded);
    put(encoded.data(), encoded.size());
}

void XMLWriter::lead(unsigned long depth) {
    if (!indent_) return;
    need(1);
    add('\n');
    for (unsigned long blanks = depth * 4; blanks != 0;) {
        unsigned long const part = blanks < 64 ? blanks : 64;
        need(64);
        std::memset(buffer_ + used_, ' ', 64);
        used_ += part;
        blanks -= part;
    }
}

void XMLWriter::attr(XMLAttr const& a) {
    String const& name = a.name();
    if (name.empty()) return;
    need(1);
    add(' ');
    put(name.data(), name.size());
    need(2);
    add('=');
    add('"');
    escaped(a.value().data(), a.value().size());
    need(1);
    add('"');
}

bool XMLWriter::begin(XMLNode const& node, unsigned long depth) {
    need(1);
    add('<');
    put(node.name().data(), node.name().size());
    bool broken = false;
    if (XMLAttrList const* const attrs = XMLTree::attrs(node)) {
        for (unsigned long i = 0; i < attrs->size(); ++i) {
            XMLAttr const& a = attrs->at(i);
            if (i != 0 && !(a.name()[0] == '_' && a.name()[1] == '_')) {
                lead(depth + 1);
                broken = true;
            }
            attr(a);
        }
    }
    if (broken) lead(depth + 1);
    bool const leaf = node.numofChildren() == 0;
    need(2);
    if (leaf && node.cdata().empty()) {
        add('/');
        add('>');
        return true;
    }
    add('>');
    if (!leaf) return false;
    cdata(node.cdata());
    end(node.name());
    return true;
}

void XMLWriter::end(String const& name) {
    need(2);
    add('<');
    add('/');
    put(name.data(), name.size());
    need(1);
    add('>');
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
        end(level.node->name());
        open.pop_back();
        if (open.empty()) return;
        --depth;
    }
}

}  // namespace zan::detail
