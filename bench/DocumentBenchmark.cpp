#include <benchmark/benchmark.h>
#include <expat.h>
#include <malloc.h>
#include <pugixml.hpp>
#include <rapidxml/rapidxml.hpp>
#include <rapidxml/rapidxml_utils.hpp>

#include <sys/wait.h>
#include <unistd.h>

#include <cstring>
#include <fstream>
#include <memory>

#include "bench/DataFile.h"
#include "tests/support/TempDir.h"
#include "tests/support/Text.h"
#include "xml/MarkupSTL.h"

// Reading whole documents: ours and other programs' on the same text. A peer's result is the document that it
// would work with afterwards; expat keeps none and is the bare event parser.

namespace {

constexpr long END = 1'790'000'000;

/// A file of a benchmark's size in a folder of its own; it stays in the page cache.
class File
{
public:
    explicit File(const std::string& text) { nettest::WriteFile(m_path, text); }
    const char* Path() const { return m_path.c_str(); }

private:
    nettest::TempDir m_directory;
    std::string m_path = m_directory.File("NetInfo.dat");
};

class ParsedAgain : public CMarkupSTL
{
public:
    using CMarkupSTL::CMarkupSTL;
    using CMarkupSTL::x_ParseText;
};

/// Runs `parse` on the text of N records, again and again.
template <typename Parse>
void Measure(benchmark::State& state, Parse parse)
{
    const std::string text = DataFileOf(static_cast<std::size_t>(state.range(0)), END);
    auto parseThis = parse(text);
    for (auto _ : state)
        benchmark::DoNotOptimize(parseThis());
    state.SetBytesProcessed(static_cast<std::int64_t>(text.size()) * state.iterations());
}

// --- Text in memory, where it is

void Parse_Netinfo(benchmark::State& state)
{
    Measure(state, [](const std::string& text) {
        return [doc = std::make_shared<ParsedAgain>(text.c_str())] { return doc->x_ParseText(); };
    });
}

void Parse_RapidxmlFastest(benchmark::State& state)
{
    Measure(state, [](const std::string& text) {
        return [text = std::string(text)]() mutable {  // fastest leaves the text as it is
            rapidxml::xml_document<> doc;
            doc.parse<rapidxml::parse_fastest>(text.data());
            return doc.first_node() != nullptr;
        };
    });
}

void Parse_Pugixml(benchmark::State& state)
{
    const std::string text = DataFileOf(static_cast<std::size_t>(state.range(0)), END);
    std::string copy;
    pugi::xml_document doc;
    for (auto _ : state) {
        state.PauseTiming();
        copy = text;  // it writes into the text
        state.ResumeTiming();
        benchmark::DoNotOptimize(
            doc.load_buffer_inplace(copy.data(), copy.size(), pugi::parse_minimal).status);
    }
    state.SetBytesProcessed(static_cast<std::int64_t>(text.size()) * state.iterations());
}

void Parse_Expat(benchmark::State& state)
{
    Measure(state, [](const std::string& text) {
        return [text = std::string(text)] {
            XML_Parser parser = XML_ParserCreate(nullptr);
            XML_SetElementHandler(
                parser, [](void*, const XML_Char*, const XML_Char**) {}, [](void*, const XML_Char*) {});
            const auto status = XML_Parse(parser, text.data(), static_cast<int>(text.size()), 1);
            XML_ParserFree(parser);
            return status;
        };
    });
}

void Scan_ForLessThan(benchmark::State& state)
{
    Measure(state, [](const std::string& text) {
        return [text = std::string(text)] {
            int count = 0;
            for (const char* at = text.data();; ++at) {
                at = static_cast<const char*>(
                    std::memchr(at, '<', static_cast<std::size_t>(text.data() + text.size() - at)));
                if (!at) return count;
                ++count;
            }
        };
    });
}

void Parse_NetinfoWithCopy(benchmark::State& state)
{
    Measure(state, [](const std::string& text) {
        return [doc = std::make_shared<CMarkupSTL>(), text = std::string(text)] {
            return doc->SetDoc(text.c_str());
        };
    });
}

void Sizes(benchmark::internal::Benchmark* benchmark)
{
    benchmark->Arg(10)->Arg(1'000)->Arg(10'000)->Arg(100'000)->Unit(benchmark::kMicrosecond);
}

BENCHMARK(Parse_Netinfo)->Apply(Sizes);
BENCHMARK(Parse_NetinfoWithCopy)->Apply(Sizes);
BENCHMARK(Parse_RapidxmlFastest)->Apply(Sizes);
BENCHMARK(Parse_Pugixml)->Apply(Sizes);
BENCHMARK(Parse_Expat)->Apply(Sizes);
BENCHMARK(Scan_ForLessThan)->Apply(Sizes);

// --- Files in the page cache

template <typename Load>
void MeasureLoad(benchmark::State& state, Load load)
{
    const File file(DataFileOf(static_cast<std::size_t>(state.range(0)), END));
    for (auto _ : state)
        benchmark::DoNotOptimize(load(file.Path()));
}

void Load_Netinfo(benchmark::State& state)
{
    MeasureLoad(state, [](const char* path) {
        CMarkupSTL doc;
        return doc.Load(path);
    });
}

void Load_Pugixml(benchmark::State& state)
{
    MeasureLoad(state, [](const char* path) {
        pugi::xml_document doc;
        return doc.load_file(path).status == pugi::status_ok;
    });
}

void Load_RapidxmlFastest(benchmark::State& state)
{
    MeasureLoad(state, [](const char* path) {
        rapidxml::file<> file(path);
        rapidxml::xml_document<> doc;
        doc.parse<rapidxml::parse_fastest>(file.data());
        return doc.first_node() != nullptr;
    });
}

// --- Memory. Each document is loaded in a process of its own, which tells how much more it has then.

double ResidentBytes()
{
    std::ifstream status("/proc/self/smaps_rollup");
    for (std::string line; std::getline(status, line);) {
        if (line.starts_with("Rss:")) return std::stod(line.substr(4)) * 1024;
    }
    return 0;
}

template <typename Document, typename Load>
void MeasureMemory(benchmark::State& state, Load load)
{
    const std::string text = DataFileOf(static_cast<std::size_t>(state.range(0)), END);
    const auto length = static_cast<double>(text.size());
    const File file(text);
    double taken = 0;
    for (auto _ : state) {
        int ends[2];
        if (pipe(ends) != 0) return state.SkipWithError("no pipe");
        const pid_t child = fork();
        if (child == 0) {
            malloc_trim(0);  // what was freed before counts for nobody
            const double before = ResidentBytes();
            Document doc;
            load(doc, file.Path());
            const double more = ResidentBytes() - before;
            _exit(write(ends[1], &more, sizeof more) == sizeof more ? 0 : 1);
        }
        if (child < 0 || read(ends[0], &taken, sizeof taken) != sizeof taken)
            state.SkipWithError("no answer");
        waitpid(child, nullptr, 0);
        close(ends[0]);
        close(ends[1]);
    }
    state.counters["bytes"] = taken;
    state.counters["times_the_file"] = taken / length;
}

void Memory_Netinfo(benchmark::State& state)
{
    MeasureMemory<CMarkupSTL>(state, [](CMarkupSTL& doc, const char* path) { doc.Load(path); });
}

void Memory_Pugixml(benchmark::State& state)
{
    MeasureMemory<pugi::xml_document>(state,
                                      [](pugi::xml_document& doc, const char* path) { doc.load_file(path); });
}

BENCHMARK(Memory_Netinfo)->Arg(10'000)->Arg(100'000)->Iterations(3)->Unit(benchmark::kMillisecond);
BENCHMARK(Memory_Pugixml)->Arg(10'000)->Arg(100'000)->Iterations(3)->Unit(benchmark::kMillisecond);

BENCHMARK(Load_Netinfo)->Apply(Sizes);
BENCHMARK(Load_Pugixml)->Apply(Sizes);
BENCHMARK(Load_RapidxmlFastest)->Apply(Sizes);

}  // namespace
