#include "zan/xml/xml_writer.h"

#include <cstdint>
#include <cstring>
#include <ostream>
#include <vector>

#include "zan/xml/xml_scan.h"
#include "zan/xml/xml_tree.h"
#include "zan/xml/xmlparser.h"

namespace zan::detail {

namespace {
constexpr unsigned long AHEAD = 1024;
}

void XMLWriter::flush() {
    if (text_ != nullptr) {
        makeRoom();
        text_->append(buffer_, used_);
    } else {
        stream_->write(buffer_, static_cast<std::streamsize>(used_));
    }
    used_ = 0;
}

// Fresh memory costs more than what is written to it, so a text that grows asks for what it will
// need, by how far the top element has got; but never for more than four times what there is.
void XMLWriter::makeRoom() {
    unsigned long const size = text_->size() + used_;
    if (size <= text_->capacity() || done_ == 0 || done_ >= children_) return;
    double const whole = 1.05 * static_cast<double>(size) * static_cast<double>(children_) /
                         static_cast<double>(done_);
    auto const most = static_cast<double>(size) * 4;
    text_->reserve(static_cast<unsigned long>(whole < most ? whole : most));
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

// A name behind one character, and with another one behind it unless that is NUL.
inline void XMLWriter::put(char before, String const& name, char behind) {
    unsigned long const n = name.size();
    if (n > SHORT_TEXT) {
        need(1);
        add(before);
        put(name.data(), n);
        need(1);
    } else {
        need(SHORT_TEXT + 2);
        add(before);
        add(name.data(), n);
    }
    if (behind != 0) add(behind);
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

// Copies up to SHORT_TEXT bytes. False where one of them is to be escaped.
inline bool XMLWriter::copyPlain(char* to, char const* p, unsigned long n) {
#if defined(__SSE2__)
    if (n >= 16) {
        unsigned int special = 0;
        for (unsigned long at = 0; at < n; at += 16) {
            unsigned long const from = at + 16 <= n ? at : n - 16;
            __m128i const block = xmlLoad(p + from);
            _mm_storeu_si128(reinterpret_cast<__m128i*>(to + from), block);
            special |= xmlSpecials(block);
        }
        return special == 0;
    }
    if (n >= 8) {
        std::uint64_t words[2];
        std::memcpy(words, p, 8);
        std::memcpy(words + 1, p + n - 8, 8);
        std::memcpy(to, words, 8);
        std::memcpy(to + n - 8, words + 1, 8);
        return xmlSpecials(_mm_set_epi64x(static_cast<long long>(words[1]),
                                          static_cast<long long>(words[0]))) == 0;
    }
#endif
    bool plain = true;
    for (unsigned long i = 0; i < n; ++i) {
        to[i] = p[i];
        plain = plain && !xmlSpecial(p[i]);
    }
    return plain;
}

void XMLWriter::escaped(char const* p, unsigned long n) {
    char const* const end = p + n;
    if (n > SHORT_TEXT) {
        for (;; ++p) {
            char const* const special = xmlFindSpecial(p, end);
            put(p, static_cast<unsigned long>(special - p));
            if (special == end) return;
            p = special;
            put(xmlReference(*p).data(), xmlReference(*p).size());
        }
    }
    need(SHORT_TEXT * 6);
    char* to = buffer_ + used_;
    if (copyPlain(to, p, n)) {
        used_ += n;
        return;
    }
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

void XMLWriter::cdata(istr const& s) {
    if (xmlFindSpecial(s.begin(), s.end()) == s.end()) return put(s.data(), s.size());
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
    put(' ', name, '=');
    need(1);
    add('"');
    escaped(a.value().data(), a.value().size());
    need(1);
    add('"');
}

bool XMLWriter::begin(XMLNode const& node, unsigned long depth) {
    put('<', node.name());
    bool broken = false;
    if (XMLAttrList const* const attrs = XMLTree::attrs(node)) {
        for (unsigned long i = 0; i < attrs->size(); ++i) {
            XMLAttr const& a = attrs->at(i);
            // What was read together lies side by side, but not in the cache.
            __builtin_prefetch(reinterpret_cast<char const*>(&a) + AHEAD);
            __builtin_prefetch(reinterpret_cast<char const*>(&a) + AHEAD + 64);
            if (i != 0 && !(a.name()[0] == '_' && a.name()[1] == '_')) {
                lead(depth + 1);
                broken = true;
            }
            attr(a);
        }
    }
    if (broken) lead(depth + 1);
    bool const leaf = node.numofChildren() == 0;
    istr const text = XMLTree::text(node);
    need(2);
    if (leaf && text.empty()) {
        add('/');
        add('>');
        return true;
    }
    add('>');
    if (!leaf) return false;
    cdata(text);
    end(node.name());
    return true;
}

void XMLWriter::end(String const& name) {
    need(1);
    add('<');
    put('/', name, '>');
}

void XMLWriter::element(XMLNode const& node, unsigned long depth) {
    if (begin(node, depth)) return;
    struct Level {
        XMLNode const* node;
        unsigned long next;
    };
    std::vector<Level> open{{&node, 0}};
    children_ = node.numofChildren();
    for (;;) {
        Level& level = open.back();
        if (level.next < level.node->numofChildren()) {
            XMLNode const& child = *level.node->getChildNodes()[level.next++];
            if (open.size() == 1) done_ = level.next;
            lead(depth + 1);
            if (!begin(child, depth + 1)) {
                open.push_back({&child, 0});
                ++depth;
            }
            continue;
        }
        istr const text = XMLTree::text(*level.node);
        if (!text.empty()) {
            lead(depth + 1);
            cdata(text);
        }
        lead(depth);
        end(level.node->name());
        open.pop_back();
        if (open.empty()) return;
        --depth;
    }
}

}  // namespace zan::detail
