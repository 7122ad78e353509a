// game::Config against the YAML library's own document model on the same text in the same run:
// parsing a document of about 1 MB (Config::Parse against YAML::Load), and 100,000 lookups of
// three keys deep (section, entry, field) against YAML::Node's operator[]. The document is 128
// sections of 64 entries, each a block map of four members, one of them a flow sequence.
// Counters: bytes/s for parsing, lookups/s for lookups.
#include <benchmark/benchmark.h>

#include <cstdio>
#include <random>
#include <string>
#include <vector>

#include <yaml-cpp/yaml.h>

#include "game/Config.h"

namespace {

constexpr int kSections = 128;
constexpr int kEntries = 64;
constexpr int kLookups = 100000;
const char* const kFields[] = {"kind", "mass", "position", "name"};

std::string Name(const char* prefix, int i) {
    char buffer[32];
    std::snprintf(buffer, sizeof buffer, "%s%03d", prefix, i);
    return buffer;
}

struct Document {
    std::string text;
    std::vector<std::string> keys;  // kLookups triples, flattened

    Document() {
        for (int s = 0; s < kSections; ++s) {
            text += "# section " + std::to_string(s) + "\n" + Name("section", s) + ":\n";
            for (int e = 0; e < kEntries; ++e) {
                text += "  " + Name("entry", e) + ":\n";
                text += "    kind: " + std::string(e % 3 ? "box" : "glider") + "\n";
                text += "    mass: " + std::to_string(12.5 + s * 0.25 + e) + "\n";
                text += "    position: [" + std::to_string(e * 1.5) + ", 2.25, " + std::to_string(-s) + "]\n";
                text += "    name: \"Entry " + std::to_string(e) + " of section " + std::to_string(s) + "\"\n";
            }
        }
        std::mt19937 random(27);
        for (int i = 0; i < kLookups; ++i) {
            keys.push_back(Name("section", int(random() % kSections)));
            keys.push_back(Name("entry", int(random() % kEntries)));
            keys.push_back(kFields[random() % 4]);
        }
    }
};

const Document& TheDocument() {
    static Document document;
    return document;
}

void BM_Parse_YamlLoad(benchmark::State& state) {
    const Document& d = TheDocument();
    for (auto _ : state) {
        YAML::Node root = YAML::Load(d.text);
        benchmark::DoNotOptimize(root);
    }
    state.SetLabel(std::to_string(d.text.size() / 1024) + " KiB");
    state.counters["bytes/s"] =
        benchmark::Counter(double(d.text.size()) * double(state.iterations()), benchmark::Counter::kIsRate);
}
BENCHMARK(BM_Parse_YamlLoad)->Unit(benchmark::kMillisecond);

void BM_Parse_Config(benchmark::State& state) {
    const Document& d = TheDocument();
    std::string text = d.text;
    game::Config config;
    for (auto _ : state) {
        config.Parse(text.data());
        benchmark::DoNotOptimize(config);
    }
    state.counters["bytes/s"] =
        benchmark::Counter(double(d.text.size()) * double(state.iterations()), benchmark::Counter::kIsRate);
}
BENCHMARK(BM_Parse_Config)->Unit(benchmark::kMillisecond);

void BM_Lookup_YamlNode(benchmark::State& state) {
    const Document& d = TheDocument();
    const YAML::Node root = YAML::Load(d.text);
    size_t found = 0;
    for (auto _ : state) {
        for (size_t i = 0; i < d.keys.size(); i += 3) {
            const YAML::Node node = root[d.keys[i]][d.keys[i + 1]][d.keys[i + 2]];
            found += node.IsDefined();
        }
    }
    if (found != size_t(kLookups) * state.iterations()) state.SkipWithError("a key was not found");
    state.counters["lookups/s"] =
        benchmark::Counter(double(kLookups) * double(state.iterations()), benchmark::Counter::kIsRate);
}
BENCHMARK(BM_Lookup_YamlNode)->Unit(benchmark::kMillisecond);

void BM_Lookup_Config(benchmark::State& state) {
    const Document& d = TheDocument();
    std::string text = d.text;
    game::Config config;
    config.Parse(text.data());
    size_t found = 0;
    for (auto _ : state) {
        for (size_t i = 0; i < d.keys.size(); i += 3) {
            game::Config::Node node = config[d.keys[i].c_str()][d.keys[i + 1].c_str()][d.keys[i + 2].c_str()];
            found += node.Key() == d.keys[i + 2];
        }
    }
    if (found != size_t(kLookups) * state.iterations()) state.SkipWithError("a key was not found");
    state.counters["lookups/s"] =
        benchmark::Counter(double(kLookups) * double(state.iterations()), benchmark::Counter::kIsRate);
}
BENCHMARK(BM_Lookup_Config)->Unit(benchmark::kMillisecond);

}  // namespace

BENCHMARK_MAIN();
