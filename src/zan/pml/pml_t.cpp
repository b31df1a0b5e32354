#include "zan/pml/pml_t.h"

#include <cstring>
#include <fstream>
#include <ostream>
#include <sstream>
#include <vector>

#include "zan/log/log_logger.h"
#include "zan/log/log_tracer.h"
#include "zan/pml/char_class.h"
#include "zan/pml/tree_access.h"

namespace zan::pml {

using ntv::ListValue;
using ntv::TreeAccess;
using ntv::Unit;
using ntv::ValueBase;

namespace {

// Collects output in a buffer, so that the small pieces of PML cost no call each.
class Sink {
public:
    explicit Sink(String& out) : text_(&out) {}
    explicit Sink(std::ostream& out) : stream_(&out) {}
    Sink(Sink const&) = delete;
    Sink& operator=(Sink const&) = delete;

    void put(char c) {
        if (at_ == buffer_ + sizeof(buffer_)) flush();
        *at_++ = c;
    }
    void put(char const* p, unsigned long n) {
        if (n > room()) {
            flush();
            if (n > sizeof(buffer_)) return pass(p, n);
        }
        std::memcpy(at_, p, n);
        at_ += n;
    }
    void put(String const& s) { put(s.data(), s.size()); }
    void blanks(unsigned long n) {
        while (n > room()) {
            unsigned long const part = room();
            std::memset(at_, ' ', part);
            at_ += part;
            n -= part;
            flush();
        }
        std::memset(at_, ' ', n);
        at_ += n;
    }
    void flush() {
        pass(buffer_, static_cast<unsigned long>(at_ - buffer_));
        at_ = buffer_;
    }

private:
    unsigned long room() const {
        return static_cast<unsigned long>(buffer_ + sizeof(buffer_) - at_);
    }
    void pass(char const* p, unsigned long n) {
        if (text_ != nullptr)
            text_->append(p, n);
        else
            stream_->write(p, static_cast<std::streamsize>(n));
    }

    String* text_ = nullptr;
    std::ostream* stream_ = nullptr;
    char buffer_[4096];
    char* at_ = buffer_;
};

unsigned int kindsIn(String const& s) {
    unsigned int kinds = 0;
    for (char const c : s) kinds |= classOf(c);
    return kinds;
}

class Renderer {
public:
    Renderer(Sink& out, ShowPattern pattern)
        : out_(out),
          names_(pattern.show_name()),
          types_(pattern.show_type()),
          values_(pattern.show_value()),
          paths_(pattern.show_path()) {
        open_.reserve(32);
    }

    void compact(Unit const& unit) {
        unsigned long const base = open_.size();
        compactHead(unit);
        while (open_.size() > base) {
            Level& level = open_.back();
            if (level.next != level.end) {
                compactHead(**level.next++);
            } else {
                out_.put(')');
                open_.pop_back();
            }
        }
    }

    // SIMPLE, MIXED and FORMATTED.
    void lines(Unit const& root, ShowMode::Mode mode) {
        bool const mixed = mode == ShowMode::MIXED;
        if (begin(root, 0, root.childWasSingle(), mode)) return;
        while (!open_.empty()) {
            Level& level = open_.back();
            if (level.next != level.end) {
                Unit const& child = **level.next++;
                unsigned long const depth = level.depth;
                if (mixed && TreeAccess::name(child).empty() && !child.type().empty())
                    newline(depth);
                // An only child is as its parent is: a chain is walked along once.
                bool const single = !level.only && child.childWasSingle();
                if (begin(child, depth, single, mode) && !mixed) out_.put('\n');
                continue;
            }
            if (mixed) {
                if (level.unnamed) newline(level.depth - 1);
            } else {
                indent(level.depth - 1);
            }
            out_.put(')');
            open_.pop_back();
            if (!open_.empty() && !mixed) out_.put('\n');
        }
    }

private:
    // A unit of which the children are being written.
    struct Level {
        Unit* const* next;
        Unit* const* end;
        unsigned long depth;  // of the children
        bool unnamed;
        bool only;  // there is one child
    };

    void indent(unsigned long depth) { out_.blanks(4 * depth); }
    void newline(unsigned long depth) {
        out_.put('\n');
        indent(depth);
    }

    Level& push(ListValue const& units) {
        std::vector<Unit*> const& all = TreeAccess::children(units);
        open_.push_back(Level{all.data(), all.data() + all.size(), 0, false, all.size() == 1});
        return open_.back();
    }

    // Writes up to the children; true where the unit is complete.
    bool begin(Unit const& unit, unsigned long depth, bool single, ShowMode::Mode mode) {
        indent(depth);
        if (paths_ && mode == ShowMode::FORMATTED) {
            out_.put("(* ", 3);
            out_.put(unit.path());
            out_.put(" *) ", 4);
        }
        if (single) {
            compact(unit);
            return true;
        }
        head(unit);
        Level& level = push(*TreeAccess::list(unit));
        if (mode == ShowMode::MIXED) {
            level.unnamed = unit.childrenWereUnnamedList();
            level.depth = level.unnamed ? depth + 1 : depth;
        } else {
            level.depth = depth + 1;
            out_.put('\n');
        }
        return false;
    }

    void compactHead(Unit const& unit) {
        head(unit);
        ValueBase const* const value = TreeAccess::value(unit);
        if (value != nullptr) {
            if (String const* const text = TreeAccess::text(*value)) {
                if (values_) putText(*text);
            } else if (ListValue const* const units = TreeAccess::list(unit)) {
                push(*units);
                return;
            } else if (values_) {
                std::ostringstream os;
                value->dump(os);
                out_.put(String(os.str()));
            }
        }
        out_.put(')');
    }

    void head(Unit const& unit) {
        if (names_) {
            String const& name = TreeAccess::name(unit);
            if ((kindsIn(name) & ESCAPED) == 0)
                out_.put(name);
            else
                putEscaped(name);
        }
        if (types_ && !unit.type().empty()) {
            out_.put(':');
            out_.put(unit.type());
        }
        out_.put('(');
    }

    void putEscaped(String const& s) {
        for (char const c : s) {
            if ((classOf(c) & ESCAPED) != 0) out_.put('^');
            out_.put(c);
        }
    }

    // As escapeString().
    void putText(String const& s) {
        if (s.empty()) return;
        unsigned int const kinds = kindsIn(s);
        if ((kinds & (SPECIAL | HIGH)) == 0 && !detail::isBlank(s.front()) &&
            !detail::isBlank(s.back()))
            return out_.put(s);
        out_.put('"');
        if ((kinds & ESCAPED) == 0)
            out_.put(s);
        else
            putEscaped(s);
        out_.put('"');
    }

    Sink& out_;
    bool names_;
    bool types_;
    bool values_;
    bool paths_;
    std::vector<Level> open_;
};

template <class Target>
bool render(Unit const& unit, Target& out, ShowMode mode, ShowPattern pattern) {
    ZAN_TRACE_FRAME(zan::detail::zanLogger());
    int const layout = mode.get();
    if (layout < ShowMode::COMPACT || layout > ShowMode::FORMATTED) return false;
    Sink sink(out);
    Renderer renderer(sink, pattern);
    if (layout == ShowMode::COMPACT)
        renderer.compact(unit);
    else
        renderer.lines(unit, static_cast<ShowMode::Mode>(layout));
    sink.flush();
    return true;
}

}  // namespace

bool ntvToPml(Unit const& unit, std::ostream& out, ShowMode mode, ShowPattern pattern) {
    return render(unit, out, mode, pattern);
}

bool ntvToPml(Unit const& unit, String& out, ShowMode mode, ShowPattern pattern) {
    return render(unit, out, mode, pattern);
}

bool ntvToPml(Unit const& unit, File const& out, ShowMode mode, ShowPattern pattern) {
    if (mode.get() < ShowMode::COMPACT || mode.get() > ShowMode::FORMATTED) return false;
    std::ofstream os;
    if (!out.open(os)) return false;
    render(unit, static_cast<std::ostream&>(os), mode, pattern);
    os.close();
    return !os.fail();
}

#define ZAN_PML_LAYOUT(Name, MODE, O)                         \
    bool Name(Unit const& unit, O out, ShowPattern pattern) { \
        return ntvToPml(unit, out, ShowMode::MODE, pattern);  \
    }
#define ZAN_PML_LAYOUTS(O)                      \
    ZAN_PML_LAYOUT(ntvToCompactPml, COMPACT, O) \
    ZAN_PML_LAYOUT(ntvToSimplePml, SIMPLE, O)   \
    ZAN_PML_LAYOUT(ntvToMixedPml, MIXED, O)     \
    ZAN_PML_LAYOUT(ntvToFormattedPml, FORMATTED, O)
ZAN_PML_LAYOUTS(std::ostream&)
ZAN_PML_LAYOUTS(String&)
ZAN_PML_LAYOUTS(File const&)
#undef ZAN_PML_LAYOUTS
#undef ZAN_PML_LAYOUT

}  // namespace zan::pml
