// pugixml at the same work. Comments and declarations are kept, as we keep them.
#include <cstring>
#include <pugixml.hpp>

#include <benchmark/benchmark.h>

#include "inputs.h"

namespace {

using namespace xmlbench;

constexpr unsigned int FLAGS =
    pugi::parse_default | pugi::parse_comments | pugi::parse_declaration | pugi::parse_pi;

bool load(pugi::xml_document& document, const std::string& szText) {
    return static_cast<bool>(document.load_buffer(szText.data(), szText.size(), FLAGS, pugi::encoding_utf8));
}

pugi::xml_document& parsed(int nIndex) {
    static pugi::xml_document s_documents[INPUTS];
    pugi::xml_document& document = s_documents[nIndex];
    if (!document.first_child()) load(document, input(nIndex));
    return document;
}

void BM_Parse_pugixml(benchmark::State& state) {
    const std::string& szText = input(static_cast<int>(state.range(0)));
    for (auto _ : state) {
        pugi::xml_document document;
        if (!load(document, szText)) state.SkipWithError("not parsed");
    }
    state.SetBytesProcessed(state.iterations() * static_cast<std::int64_t>(szText.size()));
}
BENCHMARK(BM_Parse_pugixml)->DenseRange(0, INPUTS - 1);

void BM_Small_pugixml(benchmark::State& state) {
    for (auto _ : state) {
        for (const std::string& szText : smallDocuments()) {
            pugi::xml_document document;
            if (!load(document, szText)) state.SkipWithError("not parsed");
        }
    }
}
BENCHMARK(BM_Small_pugixml);

struct StringWriter : pugi::xml_writer {
    std::string szText;
    void write(const void* pData, std::size_t nSize) override {
        szText.append(static_cast<const char*>(pData), nSize);
    }
};

void BM_Export_pugixml(benchmark::State& state) {
    pugi::xml_document& document = parsed(static_cast<int>(state.range(0)));
    std::int64_t nBytes = 0;
    for (auto _ : state) {
        StringWriter writer;
        document.save(writer, "  ", pugi::format_indent | pugi::format_no_declaration, pugi::encoding_utf8);
        nBytes += static_cast<std::int64_t>(writer.szText.size());
    }
    state.SetBytesProcessed(nBytes);
}
BENCHMARK(BM_Export_pugixml)->DenseRange(0, INPUTS - 1);

void BM_Clone_pugixml(benchmark::State& state) {
    pugi::xml_document& document = parsed(static_cast<int>(state.range(0)));
    for (auto _ : state) {
        pugi::xml_document copy;
        copy.reset(document);
        benchmark::DoNotOptimize(copy.first_child());
    }
}
BENCHMARK(BM_Clone_pugixml)->DenseRange(0, INPUTS - 1);

void BM_Children_pugixml(benchmark::State& state) {
    pugi::xml_document document;
    load(document, lookupDocument());
    const pugi::xml_node root = document.first_child();
    for (auto _ : state) {
        for (const std::string& szName : childNames()) {
            if (!root.child(szName.c_str())) state.SkipWithError("not found");
        }
    }
}
BENCHMARK(BM_Children_pugixml);

void BM_Attributes_pugixml(benchmark::State& state) {
    pugi::xml_document document;
    load(document, lookupDocument());
    const pugi::xml_node first = document.first_child().first_child();
    for (auto _ : state) {
        for (const std::string& szName : attributeNames()) {
            if (!first.attribute(szName.c_str())) state.SkipWithError("not found");
        }
    }
}
BENCHMARK(BM_Attributes_pugixml);

void BM_Build_pugixml(benchmark::State& state) {
    for (auto _ : state) {
        pugi::xml_document document;
        pugi::xml_node root = document.append_child("root");
        for (int i = 0; i < BUILT_ITEMS; ++i) {
            pugi::xml_node item = root.append_child("item");
            item.append_attribute("id").set_value("plain");
            item.append_attribute("kind").set_value("plain");
            item.append_child(pugi::node_pcdata).set_value("some text");
        }
    }
}
BENCHMARK(BM_Build_pugixml);

}  // namespace

void xmlbench::keepWithPugixml(const std::string& szText) {
    static pugi::xml_document s_document;
    if (!load(s_document, szText)) std::abort();
}
