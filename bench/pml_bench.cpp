// PML beside readers and writers of other settings languages, on one tree: 1 MB of nested settings,
// sections in sections with leaves of short names and values.
//
// pml_parse      text to a tree that owns its nodes, and its end; time for each leaf
// pml_compact    the tree to text without blanks; RapidJSON writes what is the same tree in JSON
// pml_formatted  the tree to indented text
// pml_lookup     one leaf by the path a/b[3]/c, given as text; nlohmann has its pointer ready, and
//                nlohmann_text makes it from text as we do
// pml_leaf       heap of a leaf, in bytes

#include <benchmark/benchmark.h>
#include <malloc.h>

#include <cstdlib>
#include <string>

#include "zan/pml/pml_t.h"

#ifdef ZAN_PEER_NLOHMANN
#include <nlohmann/json.hpp>
#endif
#ifdef ZAN_PEER_YAML
#include <yaml-cpp/yaml.h>
#endif
#ifdef ZAN_PEER_LIBCONFIG
#include <libconfig.h++>
#endif
#ifdef ZAN_PEER_RAPIDJSON
#pragma GCC diagnostic push
#pragma GCC diagnostic ignored "-Wconversion"
#include <rapidjson/document.h>
#include <rapidjson/prettywriter.h>
#include <rapidjson/stringbuffer.h>
#include <rapidjson/writer.h>
#pragma GCC diagnostic pop
#endif

namespace {

using zan::istr;
using zan::String;
using zan::pml::ShowPattern;
using zan::pml::ntv::Unit;

constexpr int SECTIONS = 250;
constexpr int GROUPS = 10;
constexpr int LEAVES = 16;
constexpr int ALL_LEAVES = SECTIONS * GROUPS * LEAVES;

struct Texts {
    std::string pml, json, yaml, conf;
};

std::string valueOf(int i) {
    static char const* const values[] = {"127.0.0.1", "8080", "true", "inbox/reports", "a b c"};
    return values[i % 5];
}

// The same settings in each language.
Texts const& texts() {
    static Texts const all = [] {
        Texts t;
        t.pml = "cfg(";
        t.json = "{";
        for (int s = 0; s < SECTIONS; ++s) {
            std::string const section = "section" + std::to_string(s);
            t.pml += section + "(";
            t.json += (s == 0 ? "" : ",") + ("\"" + section + "\":{");
            t.yaml += section + ":\n";
            t.conf += section + " : {\n";
            for (int g = 0; g < GROUPS; ++g) {
                std::string const group = "group" + std::to_string(g);
                t.pml += group + "(";
                t.json += (g == 0 ? "" : ",") + ("\"" + group + "\":{");
                t.yaml += "  " + group + ":\n";
                t.conf += group + " : {\n";
                for (int i = 0; i < LEAVES; ++i) {
                    std::string const name = "setting" + std::to_string(i);
                    std::string const value = valueOf(s + g + i);
                    t.pml += name + "(" + value + ")";
                    t.json += (i == 0 ? "" : ",") + ("\"" + name + "\":\"" + value + "\"");
                    t.yaml += "    " + name + ": \"" + value + "\"\n";
                    t.conf += name + " = \"" + value + "\";\n";
                }
                t.pml += ")";
                t.json += "}";
                t.conf += "};\n";
            }
            t.pml += ")";
            t.json += "}";
            t.conf += "};\n";
        }
        t.pml += ")";
        t.json += "}";
        return t;
    }();
    return all;
}

void perLeaf(benchmark::State& state) {
    state.counters["leaves"] = ALL_LEAVES;
}

void parseZan(benchmark::State& state) {
    std::string const& text = texts().pml;
    for (auto _ : state) {
        Unit u;
        zan::pml::ntvFromPml(u, istr(text));
        if (u.numofChildren() != SECTIONS) return state.SkipWithError("not parsed");
    }
    perLeaf(state);
}

void render(benchmark::State& state, int mode) {
    Unit parsed;
    zan::pml::ntvFromPml(parsed, istr(texts().pml));
    String out;
    for (auto _ : state) {
        out.clear();
        zan::pml::ntvToPml(parsed, out, mode, ShowPattern(7));
        benchmark::DoNotOptimize(out.data());
    }
    if (mode == 1 && out != texts().pml) state.SkipWithError("not the same text");
    perLeaf(state);
}

void lookupZan(benchmark::State& state) {
    Unit u;
    zan::pml::ntvFromPml(u, "r(z(1)y(2)a(x(1)b((c(0))(c(1))(c(2))(d(8)e(9)c(3)))w(4))x(3))");
    for (auto _ : state) {
        Unit const* const found = u.find("a/b[3]/c");
        if (found == nullptr || found->getStringValue().size() != 1)
            return state.SkipWithError("not found");
    }
}

// What leaves cost beyond an empty list, by the allocator's own count.
void leafZan(benchmark::State& state) {
    constexpr int N = 1000;
    double bytes = 0;
    for (auto _ : state) {
        auto const before = mallinfo2().uordblks;
        Unit u(istr("list"));
        for (int i = 0; i < N; ++i) u.addChild("setting" + std::to_string(i), "fifteen letters");
        bytes = static_cast<double>(mallinfo2().uordblks - before) / N;
    }
    state.counters["bytes"] = bytes;
}

BENCHMARK(parseZan)->Name("pml_parse/zan");
BENCHMARK_CAPTURE(render, compact, 1)->Name("pml_compact/zan");
BENCHMARK_CAPTURE(render, formatted, 4)->Name("pml_formatted/zan");
BENCHMARK(lookupZan)->Name("pml_lookup/zan");
BENCHMARK(leafZan)->Name("pml_leaf/zan");

#ifdef ZAN_PEER_NLOHMANN
void parseNlohmann(benchmark::State& state) {
    std::string const& text = texts().json;
    for (auto _ : state) {
        auto const j = nlohmann::json::parse(text);
        if (j.size() != SECTIONS) return state.SkipWithError("not parsed");
    }
    perLeaf(state);
}

void lookupNlohmann(benchmark::State& state) {
    auto const j =
        nlohmann::json::parse(R"({"z":"1","y":"2","a":{"x":"1","b":[{"c":"0"},{"c":"1"},{"c":"2"},)"
                              R"({"d":"8","e":"9","c":"3"}],"w":"4"},"x":"3"})");
    nlohmann::json::json_pointer const pointer("/a/b/3/c");
    for (auto _ : state) {
        auto const& found = j[pointer];
        if (found.get_ref<std::string const&>().size() != 1)
            return state.SkipWithError("not found");
    }
}

void lookupNlohmannText(benchmark::State& state) {
    auto const j =
        nlohmann::json::parse(R"({"z":"1","y":"2","a":{"x":"1","b":[{"c":"0"},{"c":"1"},{"c":"2"},)"
                              R"({"d":"8","e":"9","c":"3"}],"w":"4"},"x":"3"})");
    for (auto _ : state) {
        auto const& found = j[nlohmann::json::json_pointer("/a/b/3/c")];
        if (found.get_ref<std::string const&>().size() != 1)
            return state.SkipWithError("not found");
    }
}

BENCHMARK(lookupNlohmannText)->Name("pml_lookup/nlohmann_text");
BENCHMARK(parseNlohmann)->Name("pml_parse/nlohmann");
BENCHMARK(lookupNlohmann)->Name("pml_lookup/nlohmann");
#endif

#ifdef ZAN_PEER_YAML
void parseYaml(benchmark::State& state) {
    std::string const& text = texts().yaml;
    for (auto _ : state) {
        YAML::Node const node = YAML::Load(text);
        if (node.size() != SECTIONS) return state.SkipWithError("not parsed");
    }
    perLeaf(state);
}

BENCHMARK(parseYaml)->Name("pml_parse/yaml-cpp");
#endif

#ifdef ZAN_PEER_LIBCONFIG
void parseLibconfig(benchmark::State& state) {
    std::string const& text = texts().conf;
    for (auto _ : state) {
        libconfig::Config config;
        config.readString(text);
        if (config.getRoot().getLength() != SECTIONS) return state.SkipWithError("not parsed");
    }
    perLeaf(state);
}

BENCHMARK(parseLibconfig)->Name("pml_parse/libconfig");
#endif

#ifdef ZAN_PEER_RAPIDJSON
template <class Writer>
void writeRapidjson(benchmark::State& state) {
    rapidjson::Document document;
    document.Parse(texts().json.c_str());
    rapidjson::StringBuffer out;
    for (auto _ : state) {
        out.Clear();
        Writer writer(out);
        document.Accept(writer);
        benchmark::DoNotOptimize(out.GetString());
    }
    if (out.GetSize() < texts().json.size()) state.SkipWithError("not the same tree");
    perLeaf(state);
}

BENCHMARK_TEMPLATE(writeRapidjson, rapidjson::Writer<rapidjson::StringBuffer>)
    ->Name("pml_compact/rapidjson");
BENCHMARK_TEMPLATE(writeRapidjson, rapidjson::PrettyWriter<rapidjson::StringBuffer>)
    ->Name("pml_formatted/rapidjson");
#endif

}  // namespace
