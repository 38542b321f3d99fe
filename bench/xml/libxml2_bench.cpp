// libxml2 at the same work: white space between elements makes no nodes.
#include <libxml/parser.h>
#include <libxml/tree.h>

#include <benchmark/benchmark.h>

#include "inputs.h"

namespace {

void BM_Parse_libxml2(benchmark::State& state) {
    const std::string& szText = xmlbench::input(static_cast<int>(state.range(0)));
    for (auto _ : state) {
        xmlDocPtr pDocument =
            xmlReadMemory(szText.data(), static_cast<int>(szText.size()), "", nullptr,
                          XML_PARSE_NONET | XML_PARSE_HUGE | XML_PARSE_NOBLANKS | XML_PARSE_COMPACT);
        if (!pDocument) state.SkipWithError("not parsed");
        xmlFreeDoc(pDocument);
    }
    state.SetBytesProcessed(state.iterations() * static_cast<std::int64_t>(szText.size()));
}
BENCHMARK(BM_Parse_libxml2)->DenseRange(0, xmlbench::INPUTS - 1);

}  // namespace
