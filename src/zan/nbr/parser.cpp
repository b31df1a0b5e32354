#include "zan/nbr/parser.h"

#include <sstream>

#include "zan/base/mlcheck.h"
#include "zan/log/log_logger.h"
#include "zan/log/log_tracer.h"
#include "zan/nbr/arena.h"

namespace zan::nbr {
namespace {

constexpr char BEGIN_MARK = '(';
constexpr char END_MARK = ')';
constexpr unsigned long MARK_SIZE = 3;

// Two debug texts in code page 936: a complex value was cut short when logging; a value was cut
// short when logging, there are not enough bytes of its length.
constexpr char CUT_COMPLEX[] =
    "\xB4\xF2\xD3\xA1\xC8\xD5\xD6\xBE\xCA\xB1\xB8\xB4\xD4\xD3\xCA\xFD\xBE\xDD\xB1\xBB\xBD\xD8"
    "\xB6\xCF..";
constexpr char CUT_LENGTH[] =
    "\xB4\xF2\xD3\xA1\xC8\xD5\xD6\xBE\xCA\xB1\xCA\xFD\xBE\xDD\xB1\xBB\xBD\xD8\xB6\xCF:\xB3\xA4"
    "\xB6\xC8\xCA\xFD\xBE\xDD\xB2\xBB\xB9\xBB..";

// Frames of the parse on the thread's call stack, for the time of building an exception. Pushing
// them only now spares the good path a frame for each value.
class Frames {
public:
    Frames(bool tree, unsigned long depth) {
#if defined(_ZAN_TRACE_ON)
        UncheckedBlocks const lifelong;  // in the main thread, whose stack grows
        constexpr unsigned long SHOWN = 128;
        if (tree) push(__LINE__, "zan::nbr::parser::from");
        for (unsigned long i = 0; i < depth && i < SHOWN; ++i)
            push(__LINE__, "zan::nbr::parser::parseValue");
        push(__LINE__, "zan::nbr::parser::readSimple");
        push(__LINE__, "zan::nbr::parser::peekValue");
#else
        static_cast<void>(tree);
        static_cast<void>(depth);
#endif
    }
    Frames(Frames const&) = delete;
    Frames& operator=(Frames const&) = delete;
    ~Frames() {
        while (pushed_-- != 0) stack_.pop();
    }

private:
    void push(unsigned int line, char const* func) {
        stack_.push(Current(__FILE__, line, func));
        ++pushed_;
    }

    CallStack::Frames& stack_ = zan::detail::currentCallStack().container();
    unsigned long pushed_ = 0;
};

struct Place {
    char const* file;
    unsigned int line;
    char const* func;
};

[[noreturn, gnu::noinline, gnu::cold]] void fail(Place const& at,
                                                 std::ios_base& (*base)(std::ios_base&),
                                                 char const* text, unsigned int value, bool tree,
                                                 unsigned long depth) {
    std::ostringstream os;
    os << "zan::nbr::DecodeException"
       << ": " << text << base << value;
    Frames const frames(tree, depth);
    throw DecodeException(at.file, at.line, at.func, os.str().c_str());
}

// As ZAN_TRACE, out of the way of the code that parses.
[[gnu::noinline, gnu::cold]] void debugLine(Place const& at, char const* text) {
#if defined(_ZAN_DEBUG_ON)
    logger& log = zan::detail::zanLogger();
    if (log.mayBeOn(logger::TRACE_LOG) && log.debugOn() && log.traceLogOn())
        writeDebugLog(log, at.file, at.line, at.func, text, "TRACE");
#else
    static_cast<void>(at);
    static_cast<void>(text);
#endif
}

}  // namespace

DecodeException::DecodeException(char const* file, unsigned int line, char const* func,
                                 char const* msg)
    : Exception(file, line, func, "zan::nbr::DecodeException", msg) {}

DecodeException::~DecodeException() noexcept = default;

ValueBase* parser::from(istr data) {
    ValueBase* const root = parser(data).parseValue();
    return trackNew(root, ZAN_HERE);
}

ValueBase* parser::from(istr data, unsigned char id) {
    return parser(data).parseValue(id);
}

// The cursor of one parse, in registers.
struct parser::Input {
    explicit Input(StringSlice const& s) : at(s.current()), end(at + s.left()) {}

    unsigned long left() const { return static_cast<unsigned long>(end - at); }
    bool eof() const { return at == end; }
    // REQUIRES: not eof().
    unsigned char take() { return *at++; }
    istr next(unsigned long n) {
        if (n > left()) n = left();
        istr const view(at, n);
        at += n;
        return view;
    }
    // Steps over a mark, where one stands here.
    bool mark(char last) {
        if (left() < MARK_SIZE || at[0] != 0xFF || at[1] != 1 ||
            at[2] != static_cast<unsigned char>(last))
            return false;
        at += MARK_SIZE;
        return true;
    }

    unsigned char const* at;
    unsigned char const* end;
};

// Takes the head and the data of a simple value. False where there is none: the cursor stays where
// it has got to. `levels` tells how deep the parse is, for the call stack of an exception.
template <class Levels>
[[gnu::always_inline]] inline bool parser::peekValue(Input& in, istr& data, bool& text,
                                                     Levels const& levels) {
    if (in.eof()) {
        debugLine({ZAN_HERE}, "empty iptr_");
        return false;
    }
    unsigned int const head = in.take();
    if (in.eof()) {
        debugLine({ZAN_HERE}, "no data after length of size");
        return false;
    }
    if (head == 0xFF) {
        debugLine({ZAN_HERE}, CUT_COMPLEX);
        return false;
    }
    unsigned int const high = head >> 4;
    if (high != 0 && high != 0xF)
        fail({ZAN_HERE}, std::hex, "maybe not nbr: invalid high part of lengthOfSize ", head,
             levels.tree, levels.depth());
    text = high != 0;
    unsigned int const width = head & 0xF;
    if (width == 0) {
        debugLine({ZAN_HERE}, "null data: zero length of size");
        return false;
    }
    if (width > 4)
        fail({ZAN_HERE}, std::dec, "maybe not nbr: invalid lengthOfSize ", width, levels.tree,
             levels.depth());
    if (in.left() < width) {
        debugLine({ZAN_HERE}, CUT_LENGTH);
        return false;
    }
    unsigned long size = in.take();
    for (unsigned int shift = 8; shift < 8 * width; shift += 8)
        size |= static_cast<unsigned long>(in.take()) << shift;
    if (size == 0) {
        data = istr();
        return true;
    }
    if (in.eof()) {
        debugLine({ZAN_HERE}, "no data after size");
        return false;
    }
    data = in.next(size);
    return true;
}

ValueBase* parser::parseValue() {
    struct Levels {
        bool tree;
        unsigned long open;
        unsigned long depth() const { return open; }
    };
    struct OpenLevels {
        TreeBuilder const& builder;
        bool tree = true;
        // The open ones, and that of the simple value itself.
        unsigned long depth() const { return builder.depth() + 1; }
    };
    Input in(iptr_);
    if (in.eof()) {
        debugLine({ZAN_HERE}, "eof: empty iptr_");
        return nullptr;
    }
    istr data;
    bool text = false;
    if (!in.mark(BEGIN_MARK)) {
        if (!peekValue(in, data, text, Levels{true, 1})) return nullptr;
        TreeBuilder tree(0);
        tree.simpleRoot(data, text);
        return tree.release();
    }
    TreeBuilder tree(in.left());
    tree.openRoot();
    while (tree.anyOpen()) {
        if (in.eof() || in.mark(END_MARK)) {
            tree.close();
            continue;
        }
        unsigned char const id = in.take();
        if (in.eof())
            debugLine({ZAN_HERE}, "eof: empty value");
        else if (in.mark(BEGIN_MARK))
            tree.open(id);
        else if (peekValue(in, data, text, OpenLevels{tree}))
            tree.simple(id, data, text);
    }
    return tree.release();
}

ValueBase* parser::parseValue(unsigned char wanted) {
    struct Levels {
        unsigned long open;
        bool tree = false;
        unsigned long depth() const { return open; }
    };
    Input in(iptr_);
    if (in.eof()) {
        debugLine({ZAN_HERE}, "eof: empty iptr_");
        return nullptr;
    }
    if (!in.mark(BEGIN_MARK)) return nullptr;
    unsigned long open = 1;
    while (open != 0 && !in.eof()) {
        if (in.mark(END_MARK)) {
            --open;
            continue;
        }
        unsigned char const id = in.take();
        bool const found = open == 1 && id == wanted;
        if (in.eof()) {
            debugLine({ZAN_HERE}, "eof: empty value");
        } else if (in.mark(BEGIN_MARK)) {
            if (found) return nullptr;
            ++open;
        } else {
            istr data;
            bool text = false;
            bool const any = peekValue(in, data, text, Levels{open});
            if (found) return any ? ZAN_NEW(SimpleValue(data, text)) : nullptr;
        }
    }
    return nullptr;
}

}  // namespace zan::nbr
