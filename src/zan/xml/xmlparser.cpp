#include "zan/xml/xmlparser.h"

#include <cstring>
#include <fstream>
#include <ostream>
#include <utility>

#include "zan/base/mlcheck.h"
#include "zan/log/log_logger.h"
#include "zan/log/log_tracer.h"
#include "zan/xml/node_memory.h"
#include "zan/xml/xml_scan.h"
#include "zan/xml/xml_tree.h"

namespace zan {

using detail::xmlFind;
using detail::xmlFindOrNul;
using detail::xmlFindSpecial;
using detail::XMLTree;
using detail::xmlWhite;

namespace {

// What may end the name of an element.
inline bool endsName(char c) {
    return xmlWhite(c) || c == '>' || c == '/' || c == 0;
}

// One bit; different for most names in one tag.
inline uint64 nameMark(char const* name, unsigned long n) {
    if (n == 0) return 1;
    auto const first = static_cast<unsigned char>(name[0]);
    auto const last = static_cast<unsigned char>(name[n - 1]);
    return uint64{1} << ((n * 5 + first + last * 3ul) & 63);
}

}  // namespace

XMLRuntimeException::~XMLRuntimeException() noexcept = default;

char const* XMLRuntimeException::what() const noexcept {
    return "XMLRuntimeException";
}

std::ostream& operator<<(std::ostream& os, XMLRuntimeException const& e) {
    return os << e.message() << " @ " << e.file() << ":" << e.line();
}

XMLParserCallback::~XMLParserCallback() = default;

// --- Life

XMLParser::XMLParser() : arena_(std::make_unique<detail::XMLArena>()) {}

XMLParser::XMLParser(istr const& text) : XMLParser() {
    parse(text);
}

XMLParser::XMLParser(std::ifstream& file) : XMLParser() {
    parse(file);
}

XMLParser::~XMLParser() {
    clearNodes();
}

void XMLParser::init() {
    begin_ = position_ = token_ = text_.data();
    end_ = begin_ + length_;
}

void XMLParser::clearNodes() {
    current_ = nullptr;
    arena_->close();
    ZAN_DELETE(root_);
    root_ = nullptr;
}

XMLNode* XMLParser::release() {
    arena_->close();
    current_ = nullptr;
    return std::exchange(root_, nullptr);
}

void XMLParser::parse(istr const& text) {
    ZAN_TRACE_FRAME(detail::zanLogger());
    // The text may stand in the tree that goes.
    String copy;
    copy.reserve(text.size() + detail::XML_SCAN_TAIL);
    copy += text;
    copy.append(detail::XML_SCAN_TAIL, '\0');
    clearNodes();
    length_ = text.empty() ? 0 : text.size();
    text_.swap(copy);
    init();
    while (nextNode()) continue;
    arena_->close();
}

void XMLParser::parse(std::ifstream& file) {
    ZAN_TRACE_FRAME(detail::zanLogger());
    String text;
    std::string line;
    while (std::getline(file, line)) {
        text += line;
        text += '\n';
    }
    parse(text);
}

// --- One item

char const* XMLParser::skipWhitespace(char const* begin, char const* end) {
    while (begin != end && xmlWhite(*begin)) ++begin;
    return begin;
}

bool XMLParser::nextNode() {
    if (position_ >= end_) return false;
    token_ = skipWhitespace(position_, end_);
    if (*token_ != '<') return parseItem(token_);
    char const* const tag = token_ + 1;
    if (*tag == '?') {
        char const* p = tag;
        do {
            p = xmlFindOrNul(p, '?') + 1;
            if (p[-1] == 0)
                throw XMLRuntimeException(
                    "Malformed XML processing node - end '?>' expected, but none found.", __FILE__,
                    __LINE__);
        } while (*p != '>');
        position_ = p + 1;
        return true;
    }
    if (*tag == '!') return parseMarkup(tag + 1);
    if (*tag == 0) return goOn(tag);
    return parseTag(tag);
}

bool XMLParser::parseItem(char const* p) {
    if (*p != ']') return parseText(p, true);
    if (!insideDoctype_) return parseText(p, false);
    p = xmlFindOrNul(p, '>');
    position_ = *p == 0 ? p : p + 1;
    insideDoctype_ = false;
    return true;
}

bool XMLParser::parseText(char const* p, bool report) {
    detail::XMLFound const found = xmlFind(p, end_, '<');
    if (XMLNode* const node = current_) {
        istr const text(p, found.at);
        if (found.ampersand)
            decodeText(text);
        else
            XMLTree::addText(*arena_, *node, text);
        position_ = found.at;
        if (report && callback_ != nullptr) callback_->onCDATAFound(this, node);
    }
    return goOn(found.at);
}

void XMLParser::decodeText(istr const& text) {
    XMLTree::addText(*arena_, *current_, text, true);
}

// Behind "<!".
bool XMLParser::parseMarkup(char const* p) {
    auto const begins = [&](istr const& word) { return istr(p, end_).beginWith(word); };
    if (begins("--")) {
        position_ = parseComments(p + 2);
        return true;
    }
    if (begins("DOCTYPE")) {
        while (*p != 0 && *p != '>' && *p != '[') ++p;
        insideDoctype_ = *p == '[';
        position_ = *p == 0 ? p : p + 1;
        return true;
    }
    if (begins("ENTITY")) {
        char const* const entity = p + 6;
        p = xmlFindOrNul(entity, '>');
        parseEntity(entity, p);
        position_ = *p == 0 ? p : p + 1;
        return true;
    }
    if (!begins("[CDATA[")) return goOn(p);
    token_ = p + 7;
    // The section ends where "]]>" stands, or at the last place but two before a NUL.
    for (p = xmlFindOrNul(token_, ']'); *p != 0 && (p[1] != ']' || p[2] != '>');)
        p = xmlFindOrNul(p + 1, ']');
    char const* behind = p;
    if (*p == 0)
        p = p - token_ < 2 ? token_ : p - 2;
    else
        behind = p + 3;
    position_ = behind;
    if (XMLNode* const node = current_) {
        XMLTree::addText(*arena_, *node, istr(token_, p));
        if (callback_ != nullptr) callback_->onCDATAFound(this, node);
    }
    return goOn(behind);
}

char const* XMLParser::parseComments(char const* begin) const {
    for (char const* p = begin; p < end_; ++p) {
        p = static_cast<char const*>(std::memchr(p, '>', static_cast<unsigned long>(end_ - p)));
        if (p == nullptr) break;
        if (p - begin >= 2 && p[-1] == '-' && p[-2] == '-') return p + 1;
    }
    return end_;
}

// --- Tags

// Behind "<".
bool XMLParser::parseTag(char const* p) {
    bool const endTag = *p == '/';
    p = endTag ? xmlFindOrNul(p, '>') : parseNode(p, end_);
    bool const closed = p[-1] == '/';
    if (*p != 0) ++p;
    if (!closed && !endTag) return goOn(p);
    position_ = p;
    XMLNode* const node = current_;
    if (node != nullptr) current_ = node->parent();
    if (callback_ != nullptr) callback_->onNodeEnd(this, node);
    return closed || current_ != nullptr;
}

char const* XMLParser::parseNode(char const* begin, char const* end) {
    begin = skipWhitespace(begin, end);
    char const* p = begin;
    while (!endsName(*p)) ++p;
    detail::XMLPadded const name{begin, static_cast<unsigned long>(p - begin)};
    // All of the tag is read before the node is made, so that its attributes lie beside it.
    attrs_.clear();
    attrFault_ = nullptr;
    attrsDiffer_ = true;
    if (*p != '>') p = parseAttrs(p, end);
    XMLNode* const node = XMLTree::make(*arena_, name, current_, attrs_.size());
    if (current_ == nullptr) {
        ZAN_DELETE(root_);
        root_ = node;
    }
    current_ = node;
    if (callback_ != nullptr) {
        callback_->onNodeBegin(this, node);
        if (node->numofAttrs() != 0) node->clearAttrs();
    }
    if (!attrs_.empty()) {
        detail::XMLAttrList& list = XMLTree::attrList(*node);
        if (callback_ == nullptr && attrsDiffer_) {
            for (Attr const& a : attrs_)
                list.addNew(a.name, a.nameSize, a.value, a.valueSize, node, a.escaped);
            attrs_.clear();
        }
        for (Attr const& a : attrs_) {
            XMLAttr const& added =
                list.add(istr(a.name, a.nameSize), istr(a.value, a.valueSize), node, a.escaped);
            if (callback_ == nullptr) continue;
            XMLAttr copy(added);
            callback_->onAttrFound(this, &copy);
        }
    }
    if (attrFault_ != nullptr) throw XMLRuntimeException(attrFault_, __FILE__, __LINE__);
    return *p == '>' ? p : xmlFindOrNul(p, '>');
}

bool XMLParser::isNewName(char const* name, unsigned long n) const {
    if (attrs_.size() >= detail::XMLAttrList::SHORT) return false;
    for (Attr const& a : attrs_)
        if (a.nameSize == n && std::memcmp(a.name, name, n) == 0) return false;
    return true;
}

char const* XMLParser::parseAttrs(char const* begin, char const* end) {
    uint64 seen = 0;
    char const* p = skipWhitespace(begin, end);
    while (p != end && *p != '>' && *p != '/' && *p != '<') {
        char const* q = detail::xmlFindNameEnd(p, end);
        auto const n = static_cast<unsigned long>(q - p);
        q = skipWhitespace(q, end);
        if (q == end || *q != '=') {
            attrFault_ = "Malformed XML Attribute - no = found";
            break;
        }
        ++q;
        while (q != end && *q != '"' && *q != '\'') ++q;
        if (q == end) {
            attrFault_ =
                "Malformed XML Attribute - string literal expected, but no beginning quote (\") "
                "found.";
            break;
        }
        detail::XMLFound const close = xmlFind(q + 1, end, *q);
        if (close.at == end) {
            attrFault_ =
                "Malformed XML Attribute - string literal expected, but no ending quote (\") "
                "found.";
            break;
        }
        uint64 const mark = nameMark(p, n);
        if ((seen & mark) != 0 || attrs_.size() == detail::XMLAttrList::SHORT)
            attrsDiffer_ = attrsDiffer_ && isNewName(p, n);
        seen |= mark;
        Attr& a = attrs_.emplace_back();
        a.name = p;
        a.nameSize = n;
        a.value = q + 1;
        a.valueSize = static_cast<unsigned long>(close.at - q - 1);
        a.escaped = close.ampersand;
        p = skipWhitespace(close.at + 1, end);
    }
    return p;
}

std::ostream& operator<<(std::ostream& os, XMLParser const& p) {
    if (p.rootNode() != nullptr) os << *p.rootNode();
    return os;
}

// --- References

namespace {

// What stands between "&" and ";". False for a name that means nothing.
bool resolve(char*& to, istr const& name) {
    struct Entity {
        istr name;
        char byte;
    };
    static Entity const known[] = {
        {"amp", '&'}, {"quot", '"'}, {"apos", '\''}, {"lt", '<'}, {"gt", '>'}};
    for (Entity const& entity : known) {
        if (name != entity.name) continue;
        *to++ = entity.byte;
        return true;
    }
    if (name.empty() || name[0] != '#') return false;
    char const* p = name.begin() + 1;
    unsigned int number = 0;
    bool negative = false;
    if (p != name.end() && *p == 'x') {
        while (++p != name.end()) {
            unsigned char const digit = HexFromChar(*p);
            if (digit > 15) return false;
            number = number << 4 | digit;
        }
    } else {
        // As a stream reads an int.
        while (p != name.end() && CharIsSpace(*p)) ++p;
        if (p != name.end() && (*p == '-' || *p == '+')) negative = *p++ == '-';
        for (; p != name.end() && CharIsDigit(*p); ++p)
            number = number * 10 + static_cast<unsigned int>(*p - '0');
    }
    if (negative) number = 0 - number;
    if (number != 0) *to++ = static_cast<char>(number);
    return true;
}

inline char* copy(char* to, char const* p, char const* end) {
    if (p != end) std::memcpy(to, p, static_cast<unsigned long>(end - p));
    return to + (end - p);
}

}  // namespace

char* detail::xmlUnescape(char* to, istr const& in) {
    char const* const end = in.end();
    for (char const* p = in.begin(); p != end;) {
        auto const left = static_cast<unsigned long>(end - p);
        auto const* const mark = static_cast<char const*>(std::memchr(p, '&', left));
        to = copy(to, p, mark == nullptr ? end : mark);
        if (mark == nullptr) break;
        p = mark + 1;
        auto const behind = static_cast<unsigned long>(end - p);
        auto const* const close =
            static_cast<char const*>(std::memchr(p, ';', behind < 7 ? behind : 7));
        if (close == nullptr) {
            *to++ = '&';
            continue;
        }
        if (!resolve(to, istr(p, close))) to = copy(to, mark, close + 1);
        p = close + 1;
    }
    return to;
}

namespace xml {

void escape(String& out, istr in) {
    char const* const end = in.end();
    for (char const* p = in.begin();;) {
        char const* const special = xmlFindSpecial(p, end);
        out += istr(p, special);
        if (special == end) return;
        out += detail::xmlReference(*special);
        p = special + 1;
    }
}

void unescape(String& out, istr in) {
    // Room for what is written would have to be allocated where what is read fits in a short text.
    char buffer[256];
    if (in.size() <= sizeof(buffer)) {
        out.append(buffer, detail::xmlUnescape(buffer, in));
        return;
    }
    unsigned long const size = out.size();
    out.resize(size + in.size());
    char const* const end = detail::xmlUnescape(out.std::string::data() + size, in);
    out.resize(static_cast<unsigned long>(end - out.data()));
}

void encode_attr(String& s) {
    String out;
    escape(out, s);
    s.swap(out);
}

void decode_attr(String& s) {
    String out;
    unescape(out, s);
    s.swap(out);
}

void encode_cdata(String& s) {
    istr const text(s);
    if (xmlFindSpecial(text.begin(), text.end()) == text.end()) return;
    if (s.find("]]>") != std::string::npos) return encode_attr(s);
    s.insert(0, "<![CDATA[");
    s += "]]>";
}

void decode_cdata(String& s) {
    istr const text(s);
    if (text.beginWith("<![CDATA[") && text.endWith("]]>")) {
        s = String(text.removeLeft(9).removeRight(3));
        return;
    }
    if (s.find('&') != std::string::npos) decode_attr(s);
}

}  // namespace xml
}  // namespace zan
