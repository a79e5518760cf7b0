// Reading a saved state, against expat.
//
//     read_N   the text of a state with N contacts to a tree: IDocument::DocumentParse, and giving the tree
//     back
//
// The reference is expat over the same text, with no handler set: it looks whether the text is well-formed
// and makes nothing of it.
#include <benchmark/benchmark.h>
#include <expat.h>

#include <string>

#include "bench/support/ContactHome.h"

namespace {

// Made once for each size: a benchmark's function runs several times.
template <int count>
const std::string& Text() {
    static const std::string text = bench::ContactHome(count).State();
    return text;
}

template <int count>
void Read(benchmark::State& state) {
    const std::string& text = Text<count>();
    for (auto _ : state) {
        const auto document = DvXML::CreateXmlDocument("");
        if (document->DocumentParse(text) != 0) bench::GiveUp(document->DocumentGetError());
        benchmark::DoNotOptimize(document->DocumentGetRoot());
    }
}

template <int count>
void ReadReference(benchmark::State& state) {
    const std::string& text = Text<count>();
    for (auto _ : state) {
        XML_Parser parser = XML_ParserCreate("UTF-8");
        if (XML_Parse(parser, text.data(), static_cast<int>(text.size()), XML_TRUE) != XML_STATUS_OK)
            bench::GiveUp("expat does not read the text");
        XML_ParserFree(parser);
    }
}

}  // namespace

BENCHMARK(Read<1000>)->Name("read_1000/ours");
BENCHMARK(ReadReference<1000>)->Name("read_1000/reference");
BENCHMARK(Read<10000>)->Name("read_10000/ours");
BENCHMARK(ReadReference<10000>)->Name("read_10000/reference");
