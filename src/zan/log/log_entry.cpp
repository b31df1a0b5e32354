// The entry functions: they lay out lines and framed reports.
#include "zan/log/log_entry.h"

#include <ostream>

#include "zan/base/exception.h"
#include "zan/log/line_pool.h"
#include "zan/log/log_logger.h"
#include "zan/log/log_row.h"
#include "zan/log/log_tracer.h"
#include "zan/mt/thread.h"

namespace zan {

namespace {

char const AT[] = "\n        AT: ";
char const STACK[] = "\nCALL STACK: ";
char const STACK_SEPARATOR[] = "\n            ";

// A slot of the calling thread's pool, for the lifetime of this object.
class Line {
public:
    Line() : slot_(detail::LineSlot::take()) {}
    ~Line() { detail::LineSlot::giveBack(slot_); }
    Line(Line const&) = delete;
    Line& operator=(Line const&) = delete;

    detail::LineBuffer& text() { return slot_.buffer(); }
    std::ostream& stream() { return slot_.stream(); }
    istr view() { return slot_.buffer().view(); }

private:
    detail::LineSlot& slot_;
};

bool hasText(char const* s) {
    return s != nullptr && *s != 0;
}

// A prefix under construction, on the stack. Overlong parts make it invalid, not wrong.
class Prefix {
public:
    void add(istr const& s) {
        if (s.size() > sizeof(text_) - size_) {
            valid_ = false;
            return;
        }
        if (!s.empty()) std::memcpy(text_ + size_, s.data(), s.size());
        size_ += s.size();
    }
    void add(char c) { add(istr(&c, 1)); }
    bool valid() const { return valid_; }
    operator istr() const { return istr(text_, size_); }

private:
    char text_[detail::LineBuffer::HEADROOM];
    unsigned long size_ = 0;
    bool valid_ = true;
};

// The same for both kinds of buffers.
void put(Prefix& out, istr const& s) {
    out.add(s);
}
void put(detail::LineBuffer& out, istr const& s) {
    out.append(s);
}

template <class Out>
void putPrefix(Out& out, ThreadInfo const& info, logger& log) {
    put(out, info.sCurrDateTime_);
    put(out, info.sThreadId_);
    put(out, istr("[", 1));
    istr const id = log.knownId();
    if (id.is_null())
        put(out, istr(log.id()));
    else
        put(out, id);
    put(out, istr("]", 1));
}

template <class Out>
void putThreadName(Out& out, ThreadInfo const& info) {
    if (info.thread_ == nullptr) return;
    put(out, istr("{", 1));
    put(out, info.thread_->name());
    put(out, istr("}", 1));
}

// The last two components of a qualified name: class and function.
istr shortFunc(char const* func) {
    istr const whole(func);
    unsigned components = 0;
    for (unsigned long i = whole.size(); i >= 2; --i) {
        if (whole[i - 1] != ':' || whole[i - 2] != ':') continue;
        if (++components == 2) return whole.removeLeft(i);
        --i;
    }
    if (components == 0) return whole;
    // One separator: all behind it, the part ahead being the namespace.
    unsigned long i = whole.size();
    while (whole[i - 1] != ':' || whole[i - 2] != ':') --i;
    return whole.removeLeft(i);
}

void putPlace(std::ostream& os, char const* file, unsigned int line, char const* func) {
    os << Current(file, line, func).prefix(AT) << STACK
       << detail::currentCallStack().separator(STACK_SEPARATOR);
}

void writeReport(logger& log, char const* title, Line& text) {
    // Empty, not null: the frame is drawn, with nothing at its right end.
    writeLog(log, "", title, text.view().c_str(), "", "");
}

}  // namespace

void detail::logPlainLine(logger& log, istr const& text) {
    Line line;
    putPrefix(line.text(), SimpleThread::current(), log);
    line.text().append(' ');
    line.text().append(text);
    line.text().append('\n');
    log.log(line.view());
}

namespace {

// All that stands ahead of the text of an information line.
template <class Out>
void putInfoHead(Out& out, logger& log, char const* func, char const* tag) {
    ThreadInfo const& info = SimpleThread::current();
    putPrefix(out, info, log);
    if (hasText(tag)) {
        put(out, istr("[", 1));
        put(out, istr(tag));
        put(out, istr("]", 1));
    }
    putThreadName(out, info);
    put(out, shortFunc(func));
    put(out, istr("() ", 3));
}

template <class Out>
void putDebugHead(Out& out, logger& log, char const* func, char const* tag) {
    ThreadInfo const& info = SimpleThread::current();
    putPrefix(out, info, log);
    put(out, istr("[", 1));
    put(out, istr(tag));
    put(out, istr("]", 1));
    putThreadName(out, info);
    put(out, istr("[", 1));
    put(out, istr(func));
    put(out, istr("] ", 2));
}

}  // namespace

void writeInfoLog(logger& log, char const*, unsigned int, char const* func, char const* text,
                  char const* tag) {
    Line line;
    putInfoHead(line.text(), log, func, tag);
    line.text().append(istr(text));
    line.text().append('\n');
    log.log(line.view());
}

void writeDebugLog(logger& log, char const*, unsigned int, char const* func, char const* text,
                   char const* tag) {
    Line line;
    putDebugHead(line.text(), log, func, tag);
    line.text().append(istr(text));
    line.text().append('\n');
    log.debugLog(line.view());
}

namespace detail {

struct LineWriter {
    // Puts the prefix ahead of the text and a line end behind it.
    static istr complete(LineStream& text, Prefix const& prefix) {
        text.append(istr("\n", 1));
        LineBuffer& buffer = text.slot_.buffer();
        buffer.next(text.next_);
        istr whole;
        buffer.prepend(prefix, whole);
        return whole;
    }
};

// A zero byte ends the text, as it does for the forms that take a terminated one.
void writeInfoLine(logger& log, char const* func, char const* tag, LineStream& text) {
    Prefix prefix;
    putInfoHead(prefix, log, func, tag);
    istr const message = text.view();
    if (prefix.valid() && std::memchr(message.data(), 0, message.size()) == nullptr)
        log.log(LineWriter::complete(text, prefix));
    else
        writeInfoLog(log, nullptr, 0, func, text.c_str(), tag);
}

void writeDebugLine(logger& log, char const* func, char const* tag, LineStream& text) {
    Prefix prefix;
    putDebugHead(prefix, log, func, tag);
    istr const message = text.view();
    if (prefix.valid() && std::memchr(message.data(), 0, message.size()) == nullptr)
        log.debugLog(LineWriter::complete(text, prefix));
    else
        writeDebugLog(log, nullptr, 0, func, text.c_str(), tag);
}

}  // namespace detail

void writeDataLog(logger& log, char const*, unsigned int, char const*, char const* text) {
    Line line;
    line.text().append(istr(text));
    line.text().append('\n');
    log.log(line.view());
}

void writeErrorLog(logger& log, char const* file, unsigned int line, char const* func,
                   char const* cause, char const* title) {
    Line text;
    text.stream() << "     CAUSE: " << SafeStr(cause);
    putPlace(text.stream(), file, line, func);
    writeReport(log, title, text);
}

void writeExcptLog(logger& log, char const* file, unsigned int line, char const* func,
                   char const* what) {
    Line text;
    text.stream() << "     CAUSE: catch a exception.";
    putPlace(text.stream(), file, line, func);
    text.stream() << '\n' << SafeStr(what);
    writeReport(log, "EXCEPTION", text);
}

void exceptionThrown(logger& log, char const* file, unsigned int line, char const* func,
                     char const* cause) {
    Line text;
    text.stream() << "     CAUSE: " << SafeStr(cause);
    putPlace(text.stream(), file, line, func);
    writeReport(log, "THROWING", text);
}

namespace {

void conditionFailure(logger& log, char const* title, char const* cond, char const* file,
                      unsigned int line, char const* func, char const* willDo) {
    Line text;
    text.stream() << " CONDITION: " << SafeStr(cond);
    putPlace(text.stream(), file, line, func);
    if (hasText(willDo)) text.stream() << "\n   WILL DO: " << willDo;
    writeReport(log, title, text);
}

}  // namespace

void assertFailure(logger& log, char const* cond, char const* file, unsigned int line,
                   char const* func, char const* willDo) {
    conditionFailure(log, "ASSERT FAILURE", cond, file, line, func, willDo);
}

void ensureFailure(logger& log, char const* cond, char const* file, unsigned int line,
                   char const* func, char const* willDo) {
    conditionFailure(log, "ENSURE FAILURE", cond, file, line, func, willDo);
}

void writeEntryLog(logger& log, char const* left, char const* middle, char const* right,
                   char fill) {
    Line leftPart;
    leftPart.text().append(istr(left));
    leftPart.text().append(' ');
    leftPart.text().append(istr(middle));
    istr const leftText = leftPart.view();
    istr const rightText(right);

    Line line;
    LogRow row(fill);
    if (leftText.size() + rightText.size() < row.max_size()) {
        row.right(rightText).left(leftText);
        line.text().append(row.text());
    } else {
        line.text().append(leftText);
        if (!rightText.empty()) {
            line.text().append(' ');
            line.text().append(rightText);
        }
    }
    line.text().append('\n');
    log.log(line.view());
}

void writeLog(logger& log, char const* header, char const* title, char const* text,
              char const* footer, char const* closing) {
    Line line;
    detail::LineBuffer& out = line.text();
    auto const putRow = [&out](LogRow const& row) {
        out.append(row.text());
        out.append('\n');
    };
    if (header != nullptr) {
        ThreadInfo const& info = SimpleThread::current();
        Line left;
        putPrefix(left.text(), info, log);
        if (hasText(title)) {
            left.text().append('[');
            left.text().append(istr(title));
            left.text().append(']');
        }
        putThreadName(left.text(), info);
        out.append('\n');
        putRow(LogRow('-').right(header).left(left.view()));
    }
    if (hasText(title)) {
        putRow(LogRow(' ').right(title));
        putRow(LogRow(' ').right('=', StrLen(title)));
    }
    out.append(istr(text));
    out.append('\n');
    if (hasText(footer)) {
        putRow(LogRow(' ').right('_', StrLen(footer)));
        putRow(LogRow(' ').right(footer));
    }
    if (closing != nullptr) putRow(LogRow('-').right(closing));
    out.append('\n');
    log.log(line.view());
    log.flush();
}

}  // namespace zan
