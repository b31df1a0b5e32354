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

void putPrefix(detail::LineBuffer& out, ThreadInfo const& info, logger& log) {
    out.append(istr(info.sCurrDateTime_));
    out.append(istr(info.sThreadId_));
    out.append('[');
    out.append(istr(log.id()));
    out.append(']');
}

void putThreadName(detail::LineBuffer& out, ThreadInfo const& info) {
    if (info.thread_ == nullptr) return;
    out.append('{');
    out.append(istr(info.thread_->name()));
    out.append('}');
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

void writeInfoLog(logger& log, char const*, unsigned int, char const* func, char const* text,
                  char const* tag) {
    ThreadInfo const& info = SimpleThread::current();
    Line line;
    detail::LineBuffer& out = line.text();
    putPrefix(out, info, log);
    if (hasText(tag)) {
        out.append('[');
        out.append(istr(tag));
        out.append(']');
    }
    putThreadName(out, info);
    out.append(shortFunc(func));
    out.append("() ", 3);
    out.append(istr(text));
    out.append('\n');
    log.log(line.view());
}

void writeDebugLog(logger& log, char const*, unsigned int, char const* func, char const* text,
                   char const* tag) {
    ThreadInfo const& info = SimpleThread::current();
    Line line;
    detail::LineBuffer& out = line.text();
    putPrefix(out, info, log);
    out.append('[');
    out.append(istr(tag));
    out.append(']');
    putThreadName(out, info);
    out.append('[');
    out.append(istr(func));
    out.append("] ", 2);
    out.append(istr(text));
    out.append('\n');
    log.debugLog(line.view());
}

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
