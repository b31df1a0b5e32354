#include "zan/mlc/frame_text.h"

#include <cxxabi.h>

#include <cstdlib>

namespace zan::detail {

namespace {

std::string escaped(std::string const& text) {
    std::string out;
    for (char const c : text) {
        if (char const* const entity = xmlEntity(c))
            out += entity;
        else
            out += c;
    }
    return out;
}

std::string declarationOf(std::string const& raw) {
    int status = 0;
    char* const text = abi::__cxa_demangle(raw.c_str(), nullptr, nullptr, &status);
    if (text == nullptr) return raw;
    std::string whole = text;
    std::free(text);
    return whole;
}

// "void app::Worker::run<int>(int) const [clone .cold]" -> "app::Worker::run<int>".
std::string bareName(std::string name) {
    auto const cutBehind = [&name](char const* mark) {
        auto const at = name.rfind(mark);
        if (at != std::string::npos) name.resize(at);
    };
    if (!name.empty() && name.back() == ']') cutBehind(" [");
    while (!name.empty() && name.back() != ')' && name.rfind(") ") != std::string::npos &&
           name.find_first_not_of("const volatile&", name.rfind(") ") + 2) == std::string::npos)
        name.resize(name.rfind(") ") + 1);
    if (!name.empty() && name.back() == ')') {
        int depth = 0;
        unsigned long i = name.size();
        while (i != 0) {
            --i;
            if (name[i] == ')') ++depth;
            if (name[i] == '(' && --depth == 0) break;
        }
        if (depth == 0) name.resize(i);
        if (name.size() >= 8 && name.compare(name.size() - 8, 8, "operator") == 0) name += "()";
    }
    // The result that a template's name begins with.
    if (name.find("operator") != std::string::npos) return name;
    int depth = 0;
    for (unsigned long i = name.size(); i != 0; --i) {
        char const c = name[i - 1];
        if (c == '>' || c == ')' || c == '}') ++depth;
        if (c == '<' || c == '(' || c == '{') --depth;
        if (c == ' ' && depth == 0) return name.substr(i);
    }
    return name;
}

char const* sourceName(platform::Symbol const& symbol) {
    switch (symbol.source) {
        case platform::Symbol::Source::None:
            return "-nosymbols-";
        case platform::Symbol::Source::Table:
            return "-exported-";
        default:
            return "DIA";
    }
}

}  // namespace

char const* xmlEntity(char c) {
    switch (c) {
        case '"':
            return "&quot;";
        case '&':
            return "&amp;";
        case '\'':
            return "&apos;";
        case '<':
            return "&lt;";
        case '>':
            return "&gt;";
        default:
            return nullptr;
    }
}

std::string bareNameOf(platform::Symbol const& symbol) {
    return bareName(declarationOf(symbol.raw));
}

void putFrame(std::string& out, OutputForm form, unsigned long walk, unsigned long n,
              void const* address, platform::Symbol const& symbol) {
    if (form == DETAILED_TEXT) out += formatted("\n%lu: %3d", walk, static_cast<int>(n));
    if (address == nullptr) {
        if (form == SIMPLE_TEXT) out += formatted("%lu: (-nosymbols- PC == 0)\n", walk);
        if (form == DETAILED_TEXT) out += "   (-nosymbols- PC == 0)\n";
        if (form == XML) out += "<STACKENTRY decl=\"(-nosymbols- PC == 0)\"/>\n";
        return;
    }
    std::string const whole = declarationOf(symbol.raw);
    std::string const bare = bareName(whole);
    auto const offset = static_cast<long>(symbol.offset);
    auto const lineOffset = static_cast<long>(symbol.lineOffset);
    bool const known = !symbol.file.empty();
    switch (form) {
        case SIMPLE_TEXT:
            if (known)
                out += formatted("%lu: %s(%lu) %+ld bytes (%s)\n", walk, symbol.file.c_str(),
                                 symbol.line, lineOffset, bare.c_str());
            else  // the address in the module, for tools that have more to read
                out += formatted(
                    "%lu: %s(0) %+ld bytes (%s)\n", walk, symbol.module.c_str(),
                    static_cast<long>(reinterpret_cast<unsigned long>(address) - symbol.base),
                    bare.c_str());
            break;
        case DETAILED_TEXT:
            if (symbol.raw.empty())
                out += "\n";
            else
                out += formatted("     %s %+ld bytes\n", bare.c_str(), offset) +
                       formatted("%lu:     Decl: %s\n", walk, whole.c_str());
            if (known)
                out += formatted("%lu:     Line: %s(%lu) %+ld bytes\n", walk, symbol.file.c_str(),
                                 symbol.line, lineOffset);
            out += formatted("%lu:     Mod:  %s, base: %08lxh\n", walk, symbol.module.c_str(),
                             symbol.base);
            if (symbol.source != platform::Symbol::Source::Debug)
                out += formatted("%lu:     Offset: 0x%8.8lx\n", walk,
                                 reinterpret_cast<unsigned long>(address) - symbol.base) +
                       formatted("%lu:     Sym:  type: %s, file: %s\n", walk, sourceName(symbol),
                                 symbol.module.c_str());
            break;
        case XML:
            out += formatted("<STACKENTRY decl=\"%s\" decl_offset=\"%+ld\" ", escaped(bare).c_str(),
                             offset);
            if (known)
                out += formatted("srcfile=\"%s\" line=\"%lu\" line_offset=\"%+ld\" ",
                                 escaped(symbol.file).c_str(), symbol.line, lineOffset);
            else
                out += "srcfile=\"\" ";
            out += formatted("module=\"%s\" base=\"%08lx\" />\n", escaped(symbol.module).c_str(),
                             symbol.base);
    }
}

}  // namespace zan::detail
