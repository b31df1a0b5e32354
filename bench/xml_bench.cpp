// XML beside other document models, on three documents of 1 MB: records with ten attributes each,
// paragraphs of text, and 10,000 levels.
//
// xml_parse       text to a document that owns all it holds, and its end
// xml_render      the document to text on one line
// xml_indent      the same with line breaks and blanks; not for the deep one, whose blanks alone
// are
//                 400 MB
// xml_child       an element by name among so many
// xml_attr        an attribute by name among so many
// xml_memory      heap of the document, in bytes

#include <benchmark/benchmark.h>
#include <malloc.h>

#include <algorithm>
#include <memory>
#include <random>
#include <string>
#include <vector>

#include "zan/xml/xmlparser.h"

#ifdef ZAN_PEER_TINYXML2
#include <tinyxml2.h>
#endif
#ifdef ZAN_PEER_LIBXML2
#include <libxml/parser.h>
#endif
#ifdef ZAN_PEER_PUGIXML
#include <pugixml.hpp>
#endif
#ifdef ZAN_PEER_POCOXML
#include <Poco/AutoPtr.h>
#include <Poco/DOM/DOMParser.h>
#include <Poco/DOM/Document.h>
#endif

namespace {

using zan::istr;
using zan::String;
using zan::XMLNode;
using zan::XMLParser;

constexpr unsigned long SIZE = 1000000;

std::string recordsText() {
    std::string text = "<records>\n";
    for (int i = 0; text.size() < SIZE; ++i) {
        std::string const n = std::to_string(i);
        text += "  <record id=\"" + n + "\" name=\"customer " + n + "\" street=\"" + n +
                " Long Meadow Road\" city=\"Springfield\" zip=\"" + n +
                "\" country=\"us\" active=\"true\" balance=\"" + n +
                ".50\" note=\"fish &amp; chips\" rating=\"4\"/>\n";
    }
    return text + "</records>\n";
}

std::string proseText() {
    std::string text = "<book>\n";
    for (int i = 0; text.size() < SIZE; ++i) {
        text += "  <chapter>\n    <title>Chapter " + std::to_string(i) + "</title>\n";
        for (int k = 0; k < 8; ++k) {
            text += "    <p>";
            for (int w = 0; w < 8 + (i + k) % 8; ++w)
                text += "the quick brown fox jumps over the lazy dog, ";
            text += k == 3 ? "Bonnie &amp; Clyde.</p>\n" : "and so on.</p>\n";
        }
        text += "  </chapter>\n";
    }
    return text + "</book>\n";
}

std::string deepText() {
    std::string text;
    std::string end;
    for (int i = 0; i < 10000; ++i) {
        std::string const n = std::to_string(10000 + i);
        text += "<level" + n + " id=\"" + n +
                "\" kind=\"nested folder\">some words of this level, so " + "that it has text\n";
        end = "</level" + n + ">" + end;
    }
    return text + end;
}

enum Kind { RECORDS, PROSE, DEEP };

std::string const& text(Kind kind) {
    static std::string const texts[] = {recordsText(), proseText(), deepText()};
    return texts[kind];
}

// "work/impl" for the kinds up to the last one.
template <class Run>
int add(std::string const& name, Kind last, Run run) {
    static char const* const kinds[] = {"/records", "/prose", "/deep"};
    for (int kind = 0; kind <= last; ++kind)
        benchmark::RegisterBenchmark((name + kinds[kind]).c_str(), run, static_cast<Kind>(kind));
    return 0;
}

// --- Ours

void parseZan(benchmark::State& state, Kind kind) {
    std::string const& in = text(kind);
    for (auto _ : state) {
        XMLParser const parser{istr(in)};
        if (parser.rootNode() == nullptr) return state.SkipWithError("not parsed");
    }
}

template <bool INDENT>
void render(benchmark::State& state, Kind kind) {
    XMLParser const parser(text(kind));
    for (auto _ : state) {
        String const out = parser.rootNode()->str(INDENT, 0);
        benchmark::DoNotOptimize(out.data());
    }
}

// So many children and attributes, and their names in random order.
struct Wide {
    explicit Wide(long n) {
        text = "<r";
        for (long i = 0; i < n; ++i) names.push_back("name" + std::to_string(i));
        for (auto const& name : names) text += " " + name + "=\"1\"";
        text += ">";
        for (auto const& name : names) text += "<" + name + "/>";
        text += "</r>";
        std::shuffle(names.begin(), names.end(), std::mt19937(1));
    }
    char const* next() {
        if (at == names.size()) at = 0;
        return names[at++].c_str();
    }
    std::string text;
    std::vector<std::string> names;
    std::size_t at = 0;
};

void childZan(benchmark::State& state) {
    Wide wide(state.range(0));
    XMLParser const parser(wide.text);
    XMLNode const& root = *parser.rootNode();
    for (auto _ : state)
        if (root.child(wide.next()).isNull()) return state.SkipWithError("not found");
}

void attrZan(benchmark::State& state) {
    Wide wide(state.range(0));
    XMLParser const parser(wide.text);
    XMLNode const& root = *parser.rootNode();
    for (auto _ : state)
        if (root.attr(wide.next()).isNull()) return state.SkipWithError("not found");
}

template <class Parse>
void memory(benchmark::State& state, Kind kind, Parse parse) {
    std::string const& in = text(kind);
    double bytes = 0;
    for (auto _ : state) {
        auto const before = mallinfo2();
        auto const document = parse(in);
        auto const after = mallinfo2();
        bytes = static_cast<double>(after.uordblks + after.hblkhd) -
                static_cast<double>(before.uordblks + before.hblkhd);
        if (document == nullptr) return state.SkipWithError("not parsed");
    }
    state.counters["bytes"] = bytes;
}

void memoryZan(benchmark::State& state, Kind kind) {
    memory(state, kind, [](std::string const& in) {
        XMLParser parser{istr(in)};
        return std::unique_ptr<XMLNode>(parser.release());
    });
}

int const parseZanRows = add("xml_parse/zan", DEEP, parseZan);
int const renderRows = add("xml_render/zan", DEEP, render<false>);
int const indentRows = add("xml_indent/zan", PROSE, render<true>);
BENCHMARK(childZan)->Name("xml_child/zan")->Arg(10)->Arg(10000);
BENCHMARK(attrZan)->Name("xml_attr/zan")->Arg(10)->Arg(10000);
int const memoryZanRows = add("xml_memory/zan", DEEP, memoryZan);

#ifdef ZAN_PEER_TINYXML2
// Its documents have a limit of depth, so not the deep one.
void parseTinyxml2(benchmark::State& state, Kind kind) {
    std::string const& in = text(kind);
    for (auto _ : state) {
        tinyxml2::XMLDocument document;
        if (document.Parse(in.data(), in.size()) != tinyxml2::XML_SUCCESS)
            return state.SkipWithError("not parsed");
    }
}

int const parseTinyxml2Rows = add("xml_parse/tinyxml2", PROSE, parseTinyxml2);
#endif

#ifdef ZAN_PEER_LIBXML2
xmlDocPtr readLibxml2(std::string const& in) {
    return xmlReadMemory(in.data(), static_cast<int>(in.size()), nullptr, nullptr, XML_PARSE_HUGE);
}

void parseLibxml2(benchmark::State& state, Kind kind) {
    std::string const& in = text(kind);
    for (auto _ : state) {
        xmlDocPtr const document = readLibxml2(in);
        if (document == nullptr) return state.SkipWithError("not parsed");
        xmlFreeDoc(document);
    }
}

struct FreeLibxml2 {
    void operator()(xmlDocPtr document) const { xmlFreeDoc(document); }
};

void memoryLibxml2(benchmark::State& state, Kind kind) {
    xmlInitParser();
    memory(state, kind, [](std::string const& in) {
        return std::unique_ptr<xmlDoc, FreeLibxml2>(readLibxml2(in));
    });
}

int const parseLibxml2Rows = add("xml_parse/libxml2", DEEP, parseLibxml2);
int const memoryLibxml2Rows = add("xml_memory/libxml2", DEEP, memoryLibxml2);
#endif

#ifdef ZAN_PEER_POCOXML
// It recurses, with room for some hundred levels.
void parsePoco(benchmark::State& state, Kind kind) {
    std::string const& in = text(kind);
    for (auto _ : state) {
        Poco::XML::DOMParser parser;
        Poco::AutoPtr<Poco::XML::Document> const document = parser.parseString(in);
        if (document.isNull()) return state.SkipWithError("not parsed");
    }
}

int const parsePocoRows = add("xml_parse/poco", PROSE, parsePoco);
#endif

#ifdef ZAN_PEER_PUGIXML
void parsePugixml(benchmark::State& state, Kind kind) {
    std::string const& in = text(kind);
    for (auto _ : state) {
        pugi::xml_document document;
        if (!document.load_buffer(in.data(), in.size())) return state.SkipWithError("not parsed");
    }
}

struct StringWriter : pugi::xml_writer {
    void write(void const* data, std::size_t size) override {
        out.append(static_cast<char const*>(data), size);
    }
    std::string out;
};

template <unsigned int FLAGS>
void renderPugixml(benchmark::State& state, Kind kind) {
    pugi::xml_document document;
    document.load_string(text(kind).c_str());
    for (auto _ : state) {
        StringWriter writer;
        document.save(writer, "    ", FLAGS | pugi::format_no_declaration);
        benchmark::DoNotOptimize(writer.out.data());
    }
}

void childPugixml(benchmark::State& state) {
    Wide wide(state.range(0));
    pugi::xml_document document;
    document.load_string(wide.text.c_str());
    pugi::xml_node const root = document.first_child();
    for (auto _ : state)
        if (!root.child(wide.next())) return state.SkipWithError("not found");
}

void attrPugixml(benchmark::State& state) {
    Wide wide(state.range(0));
    pugi::xml_document document;
    document.load_string(wide.text.c_str());
    pugi::xml_node const root = document.first_child();
    for (auto _ : state)
        if (!root.attribute(wide.next())) return state.SkipWithError("not found");
}

int const parsePugixmlRows = add("xml_parse/pugixml", DEEP, parsePugixml);
int const renderPugixmlRows = add("xml_render/pugixml", DEEP, renderPugixml<pugi::format_raw>);
int const indentPugixmlRows =
    add("xml_indent/pugixml", PROSE,
        renderPugixml<pugi::format_indent | pugi::format_indent_attributes>);
BENCHMARK(childPugixml)->Name("xml_child/pugixml")->Arg(10)->Arg(10000);
BENCHMARK(attrPugixml)->Name("xml_attr/pugixml")->Arg(10)->Arg(10000);
#endif

}  // namespace
