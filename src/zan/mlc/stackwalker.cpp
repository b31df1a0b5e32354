#include "zan/mlc/stackwalker.h"

#include <cstdio>
#include <cstring>
#include <map>
#include <string>
#include <vector>

#include "zan/log/console.h"
#include "zan/mlc/frame_text.h"
#include "zan/platform/crash.h"
#include "zan/platform/native_path.h"
#include "zan/platform/process_image.h"
#include "zan/platform/symbols.h"

namespace zan {

namespace {

using platform::Crash;

constexpr unsigned long ROTATE_AT = 0x100000;
constexpr unsigned int SYMBOLS_WITHIN = 10;  // seconds

// Set before the report is installed; the handler allocates nothing.
OutputForm reportForm = SIMPLE_TEXT;
char reportName[4200] = {};
char oldName[4200] = {};
char programName[4200] = {};
unsigned long walkNumber = 0;  // one thread reports, once

// A line of text in a fixed room, for the handler. What has no room is left out.
class Line {
public:
    Line& operator<<(char const* s) {
        while (*s != '\0') put(*s++);
        return *this;
    }
    Line& decimal(unsigned long v, unsigned digits = 1) { return number(v, 10, digits); }
    Line& hex(unsigned long v, unsigned digits = 8) { return number(v, 16, digits); }
    Line& escaped(char const* s) {
        for (; *s != '\0'; ++s) {
            if (char const* const entity = detail::xmlEntity(*s))
                *this << entity;
            else
                put(*s);
        }
        return *this;
    }
    Line& date() {
        auto const t = platform::wallClock();
        decimal(static_cast<unsigned long>(t.year), 4) << "-";
        decimal(static_cast<unsigned long>(t.month), 2) << "-";
        return decimal(static_cast<unsigned long>(t.day), 2);
    }
    Line& time() {
        auto const t = platform::wallClock();
        decimal(static_cast<unsigned long>(t.hour), 2) << ":";
        decimal(static_cast<unsigned long>(t.minute), 2) << ":";
        return decimal(static_cast<unsigned long>(t.second), 2);
    }
    void write(int file) const { platform::writeReport(file, text_, size_); }

private:
    void put(char c) {
        if (size_ < sizeof text_) text_[size_++] = c;
    }
    Line& number(unsigned long v, unsigned base, unsigned digits) {
        char reversed[24];
        unsigned n = 0;
        for (; v != 0 || n < digits; v /= base) reversed[n++] = "0123456789ABCDEF"[v % base];
        while (n != 0) put(reversed[--n]);
        return *this;
    }

    char text_[8192];
    unsigned long size_ = 0;
};

unsigned long numberOf(void const* p) {
    return reinterpret_cast<unsigned long>(p);
}

char const* describe(unsigned int code) {
    switch (code) {
        case 0x40010005:
            return "DBG CONTROL C ";
        case 0x80000002:
            return "DATATYPE MISALIGNMENT";
        case 0x80000003:
            return "BREAKPOINT";
        case 0x80000004:
            return "SINGLE STEP";
        case 0xC0000005:
            return "ACCESS VIOLATION";
        case 0xC0000006:
            return "IN PAGE ERROR";
        case 0xC000001D:
            return "ILLEGAL INSTRUCTION";
        case 0xC0000025:
            return "NONCONTINUABLE EXCEPTION";
        case 0xC0000026:
            return "INVALID DISPOSITION";
        case 0xC000008C:
            return "ARRAY BOUNDS EXCEEDED";
        case 0xC000008D:
            return "FLT DENORMAL OPERAND";
        case 0xC000008E:
            return "FLT DIVIDE BY ZERO";
        case 0xC000008F:
            return "FLT INEXACT RESULT";
        case 0xC0000090:
            return "FLT INVALID OPERATION";
        case 0xC0000091:
            return "FLT OVERFLOW";
        case 0xC0000092:
            return "FLT STACK CHECK";
        case 0xC0000093:
            return "FLT UNDERFLOW";
        case 0xC0000094:
            return "INT DIVIDE BY ZERO";
        case 0xC0000095:
            return "INT OVERFLOW";
        case 0xC0000096:
            return "PRIV INSTRUCTION";
        case 0xC00000FD:
            return "STACK OVERFLOW";
        default:
            return "<unkown exception>";
    }
}

void putAccess(Line& line, Crash const& crash) {
    if (!crash.isAccess) return;
    line << (crash.isWrite ? " write" : " read") << " attempt to address 0x";
    line.hex(numberOf(crash.accessed)) << " ";
}

// --- Frames with names: in the copy of the process

void putCut(std::string& out) {
    static_assert(Crash::MAX_FRAMES == 256);
    if (reportForm == XML)
        out += "<STACKENTRY decl=\"(more than 256 frames)\" srcfile=\"\" />\n";
    else
        out += detail::formatted("%lu: (more than 256 frames)\n", walkNumber);
}

// Those of the run-time libraries that led from the call which ended the program to the signal say
// nothing about it.
unsigned long firstFrame(Crash const& crash) {
    if (crash.flags == 0) return 0;
    for (unsigned long i = 0; i < crash.frameCount; ++i) {
        platform::LoadedModule module;
        if (!platform::loadedModule(crash.frames[i], module)) return i;
        char const* const slash = std::strrchr(module.path, '/');
        char const* const name = slash != nullptr ? slash + 1 : module.path;
        bool ofRunTime = false;
        for (char const* const library : {"libc.so", "libstdc++.so", "libgcc_s.so", "libc++"})
            ofRunTime = ofRunTime || std::strncmp(name, library, std::strlen(library)) == 0;
        if (!ofRunTime) return i;
    }
    return 0;
}

Crash const* reported = nullptr;

bool nameFrames(int file) {
    platform::Symbols symbols;
    if (!symbols.ready()) return false;
    platform::findCrashFrames();
    Crash const& crash = *reported;
    std::string out;
    unsigned long const first = firstFrame(crash);
    unsigned long n = 0;
    // A recursion comes back to a few addresses, and each look-up walks the debug information.
    std::map<void const*, std::vector<platform::Symbol>> known;
    for (unsigned long i = first; i < crash.frameCount; ++i) {
        void const* const address = crash.frames[i];
        auto& found = known[address];
        if (found.empty()) found = symbols.find(address, i != 0);
        for (platform::Symbol const& symbol : found)
            detail::putFrame(out, reportForm, walkNumber, n++, address, symbol);
    }
    if (crash.cut) putCut(out);
    platform::writeReport(file, out.data(), out.size());
    return true;
}

// --- The report: in the handler

void writePlainFrames(Crash const& crash, int file) {
    for (unsigned long i = firstFrame(crash); i < crash.frameCount; ++i) {
        platform::LoadedModule module;
        bool const found = platform::loadedModule(crash.frames[i], module);
        char const* const path = !found ? "" : *module.path == '\0' ? programName : module.path;
        unsigned long const address = numberOf(crash.frames[i]) - module.base;
        Line line;
        if (reportForm == XML) {
            line << "<STACKENTRY decl=\"0x";
            line.hex(address) << "\" decl_offset=\"+0\" srcfile=\"\" module=\"";
            line.escaped(path) << "\" base=\"";
            line.hex(module.base) << "\" />\n";
        } else {
            line.decimal(walkNumber) << ": " << path << "(0) 0x";
            line.hex(address) << "\n";
        }
        line.write(file);
    }
}

void writeHeader(Crash const& crash, int file) {
    Line line;
    if (reportForm == XML) {
        line << "<EXCEPTION code=\"";
        line.hex(crash.code) << "\" addr=\"";
        line.hex(numberOf(crash.address)) << "\" date=\"";
        line.date() << "\" time=\"";
        line.time() << "\" code_desc=\"";
        line.escaped(describe(crash.code)) << "\" more_desc=\"";
        putAccess(line, crash);
        line << "\">\n";
    } else {
        line << "######## EXCEPTION: 0x";
        line.hex(crash.code) << " at address: 0x";
        line.hex(numberOf(crash.address)) << ": " << describe(crash.code) << " ";
        putAccess(line, crash);
        line << "\n";
        line.decimal(++walkNumber) << ": ";
        line.date() << " ";
        line.time() << "\n";
    }
    line.write(file);
}

void writeMessage(Crash const& crash) {
    Line line;
    line << "*** Unhandled Exception!\n   ExpCode: 0x";
    line.hex(crash.code) << "\n   ExpFlags: ";
    line.decimal(crash.flags) << "\n   ExpAddress: 0x";
    line.hex(numberOf(crash.address)) << "\n   Please report!\n";
    line.write(2);
}

void report(Crash const& crash) {
    static int file = -1;
    if (!crash.again) {
        reported = &crash;
        file = platform::openReport(reportName, oldName, ROTATE_AT);
        if (file < 0) file = 1;
        writeHeader(crash, file);
        if (!platform::runApart(&nameFrames, file, SYMBOLS_WITHIN)) {
            platform::findCrashFrames();
            writePlainFrames(crash, file);
        }
    } else {
        writePlainFrames(crash, file);
    }
    Line end;
    end << "\n\n" << (reportForm == XML ? "</EXCEPTION>\n" : "");
    end.write(file);
    platform::closeReport(file);
    writeMessage(crash);
}

void copyName(char (&to)[4200], std::string const& from) {
    std::snprintf(to, sizeof to, "%s", from.c_str());
}

}  // namespace

void catchExceptionsOnly(OutputForm form) {
    if (platform::crashReportInstalled()) return;
    std::string const program = platform::executablePath();
    std::string const name = program.empty() ? platform::nativePath(L"\\exceptions.log")
                                             : program + (form == XML ? ".exp.xml" : ".exp.log");
    copyName(programName, program);
    copyName(reportName, name);
    copyName(oldName, name + ".old");
    reportForm = form;
    std::string error;
    if (!platform::loadSymbolLibrary(error))
        console::println("LoadLibrary( \"libdw.so.1\" ): GetLastError = " + error);
    platform::installCrashReport(&report);
}

}  // namespace zan
