#pragma once

#include <exception>
#include <iosfwd>
#include <memory>
#include <vector>

#include "zan/base/base_type_string.h"
#include "zan/xml/xmlnode.h"

namespace zan {

class XMLParser;

namespace detail {
class XMLArena;
}

// What a parser refuses; all other malformed text is read in some defined way.
class ZAN_EXPORT XMLRuntimeException : public std::exception {
public:
    explicit XMLRuntimeException(istr const& message) : message_(message) {}
    // File and line are the source place of the throw, not a place in the text that was parsed.
    XMLRuntimeException(istr const& message, istr const& file, unsigned int line)
        : message_(message), file_(file), line_(line) {}
    XMLRuntimeException(XMLRuntimeException const&) = default;
    XMLRuntimeException& operator=(XMLRuntimeException const&) = default;
    ~XMLRuntimeException() noexcept override;

    // "XMLRuntimeException".
    char const* what() const noexcept override;
    String const& message() const { return message_; }
    String const& file() const { return file_; }
    unsigned int line() const { return line_; }

private:
    String message_;
    String file_;
    unsigned int line_ = 0;
};

// "message @ file:line".
ZAN_EXPORT std::ostream& operator<<(std::ostream& os, XMLRuntimeException const& e);

// Is told what a parser finds, in the order of the document, on the thread that parses. The node is
// still being built.
//
// A callback may change the node that it is given and take away its children; it may not delete
// the node itself or any that is still open, and may not make the parser parse.
struct ZAN_EXPORT XMLParserCallback {
    virtual ~XMLParserCallback();
    // The node has its name; its attributes come next.
    virtual void onNodeBegin(XMLParser*, XMLNode*) {}
    // The node is null at an end tag without an open element.
    virtual void onNodeEnd(XMLParser*, XMLNode*) {}
    // cdata() has grown by a piece; it holds all so far.
    virtual void onCDATAFound(XMLParser*, XMLNode*) {}
    // A copy, which lives during the call.
    virtual void onAttrFound(XMLParser*, XMLAttr*) {}
};

// Reads XML into a tree of XMLNode, in one pass. It is forgiving and does not validate: it works on
// bytes and knows no encodings, namespaces or DTD. docs/formats/xml.md says how everything is read.
//
//     XMLParser parser("<order id='7'><item>bolt</item></order>");
//     if (parser.rootNode() != nullptr) use((*parser.rootNode())["item"].cdata());
//
// Ownership: the tree is the parser's until release(), the next parse() or the parser's end. The
//   text is copied.
// Threads: one at a time.
// Errors: XMLRuntimeException for a "<?" without its end and for three faults in an attribute; what
//   was read until then is the tree. A text that just ends gives what it held so far.
// Cost: linear in the text. Depth and number of elements have no limit but memory.
class ZAN_EXPORT XMLParser {
public:
    XMLParser();
    // These parse at once, so without a callback.
    explicit XMLParser(istr const& text);
    explicit XMLParser(std::ifstream& file);
    virtual ~XMLParser();

    // Not copyable: a tree has one owner. Copy the root.
    XMLParser(XMLParser const&) = delete;
    XMLParser& operator=(XMLParser const&) = delete;

    // Forgets the tree, then reads up to the end tag of the root, or the end of the text.
    void parse(istr const& text);
    // Line by line, up to the end of the file or the first fault in reading it; each line is
    // followed by a line feed.
    void parse(std::ifstream& file);
    // One step: a tag, a run of text, a comment, a declaration. False at the root's end tag, behind
    // which the next call goes on, and at the end of the text. After an exception it finds the same
    // fault again.
    bool nextNode();

    // Null where there is none. A second root behind one of the form "<a/>" replaces it, and the
    // first is freed.
    XMLNode const* rootNode() const { return root_; }
    // The caller owns the tree, and may have null. The parser then has no root, and leaves this
    // tree alone if it goes on.
    XMLNode* release();
    // Null switches it off.
    void setCallback(XMLParserCallback* callback) { callback_ = callback; }

private:
    // Not views: the compiler would build those in memory, and wait for it.
    struct Attr {
        char const* name;
        unsigned long nameSize;
        char const* value;
        unsigned long valueSize;
        bool escaped;
    };

    void init();
    void clearNodes();
    bool parseItem(char const* p);
    bool parseTag(char const* p);
    bool parseMarkup(char const* p);
    bool parseText(char const* p, bool report);
    char const* parseNode(char const* begin, char const* end);
    char const* parseAttrs(char const* begin, char const* end);
    bool isNewName(char const* name, unsigned long n) const;
    char const* parseComments(char const* begin) const;
    // No general entity is ever defined.
    void parseEntity(char const*, char const*) {}
    static char const* skipWhitespace(char const* begin, char const* end);
    // Adds it to the current element. REQUIRES: there is one.
    void decodeText(istr const& text);
    bool goOn(char const* p) {
        position_ = p;
        return p < end_;
    }

    String text_;  // with a tail of NUL bytes, for the searches
    unsigned long length_ = 0;
    char const* begin_ = nullptr;
    char const* end_ = nullptr;
    char const* position_ = nullptr;
    char const* token_ = nullptr;
    bool insideDoctype_ = false;
    XMLNode* current_ = nullptr;
    XMLNode* root_ = nullptr;
    XMLParserCallback* callback_ = nullptr;
    std::unique_ptr<detail::XMLArena> arena_;
    std::vector<Attr> attrs_;          // of the tag that is being read
    char const* attrFault_ = nullptr;  // what ended them early
    bool attrsDiffer_ = true;          // they are few, and no name is there twice
};

// The root, where there is one.
ZAN_EXPORT std::ostream& operator<<(std::ostream& os, XMLParser const& p);

namespace xml {

// Appends the text with references in place of & < > " and '.
ZAN_EXPORT void escape(String& out, istr in);
// Appends the text with references resolved. A reference gives one byte at most: the low eight bits
// of its number. One that is unknown stays as it is.
ZAN_EXPORT void unescape(String& out, istr in);
ZAN_EXPORT void encode_attr(String& s);
ZAN_EXPORT void decode_attr(String& s);
// As character data: in a CDATA section where there is anything to escape, or with references where
// the text holds the end of such a section.
ZAN_EXPORT void encode_cdata(String& s);
ZAN_EXPORT void decode_cdata(String& s);

}  // namespace xml
}  // namespace zan
