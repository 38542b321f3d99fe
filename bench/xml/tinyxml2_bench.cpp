// tinyxml2 at the same work.
#include <tinyxml2.h>

#include <benchmark/benchmark.h>

#include "inputs.h"

namespace {

using namespace xmlbench;

void BM_Parse_tinyxml2(benchmark::State& state) {
    const std::string& szText = input(static_cast<int>(state.range(0)));
    for (auto _ : state) {
        tinyxml2::XMLDocument document;
        if (document.Parse(szText.data(), szText.size()) != tinyxml2::XML_SUCCESS)
            state.SkipWithError("not parsed");
    }
    state.SetBytesProcessed(state.iterations() * static_cast<std::int64_t>(szText.size()));
}
BENCHMARK(BM_Parse_tinyxml2)->DenseRange(0, INPUTS - 1);

std::size_t walk(const tinyxml2::XMLElement* pTop) {
    std::size_t nSum = 1;
    for (const tinyxml2::XMLAttribute* p = pTop->FirstAttribute(); p; p = p->Next())
        nSum += static_cast<unsigned char>(*p->Value());
    for (const tinyxml2::XMLElement* p = pTop->FirstChildElement(); p; p = p->NextSiblingElement())
        nSum += walk(p);
    return nSum;
}

void BM_Walk_tinyxml2(benchmark::State& state) {
    tinyxml2::XMLDocument document;
    const std::string& szText = input(static_cast<int>(state.range(0)));
    document.Parse(szText.data(), szText.size());
    walk(document.RootElement());  // Values are decoded when they are read first.
    for (auto _ : state)
        benchmark::DoNotOptimize(walk(document.RootElement()));
}
BENCHMARK(BM_Walk_tinyxml2)->DenseRange(0, INPUTS - 1);

}  // namespace
