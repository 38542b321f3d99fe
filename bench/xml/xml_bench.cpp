// The library's own XML, and the figures that compare it with its peers.
#include <benchmark/benchmark.h>

#include <vdx/xml.h>

#include "inputs.h"
#include "support/ratio.h"

namespace {

using namespace xmlbench;

const chXmlDocument& parsed(int nIndex) {
    static const chXmlDocument s_documents[INPUTS] = {chXmlDocument::ParseDocument(input(0)),
                                                      chXmlDocument::ParseDocument(input(1)),
                                                      chXmlDocument::ParseDocument(input(2))};
    return s_documents[nIndex];
}

void BM_Parse_vdx(benchmark::State& state) {
    const std::string& szText = input(static_cast<int>(state.range(0)));
    for (auto _ : state) {
        const chXmlDocument document = chXmlDocument::ParseDocument(szText);
        if (!document.hasChildren()) state.SkipWithError("not parsed");
    }
    state.SetBytesProcessed(state.iterations() * static_cast<std::int64_t>(szText.size()));
}
BENCHMARK(BM_Parse_vdx)->DenseRange(0, INPUTS - 1);

void BM_Small_vdx(benchmark::State& state) {
    for (auto _ : state) {
        for (const std::string& szText : smallDocuments()) {
            const chXmlDocument document = chXmlDocument::ParseDocument(szText);
            if (!document.hasChildren()) state.SkipWithError("not parsed");
        }
    }
}
BENCHMARK(BM_Small_vdx);

void BM_Export_vdx(benchmark::State& state) {
    const chXmlDocument& document = parsed(static_cast<int>(state.range(0)));
    std::int64_t nBytes = 0;
    for (auto _ : state) {
        const std::string szText = document.ExportToText(false);
        nBytes += static_cast<std::int64_t>(szText.size());
    }
    state.SetBytesProcessed(nBytes);
}
BENCHMARK(BM_Export_vdx)->DenseRange(0, INPUTS - 1);

void BM_Clone_vdx(benchmark::State& state) {
    const chXmlDocument& document = parsed(static_cast<int>(state.range(0)));
    for (auto _ : state) {
        const chXmlObject copy = document.clone();
        benchmark::DoNotOptimize(copy.hasChildren());
    }
}
BENCHMARK(BM_Clone_vdx)->DenseRange(0, INPUTS - 1);

// Visits every element and the first byte of every attribute value.
std::size_t walk(const chXmlElement& top) {
    std::size_t nSum = 1;
    for (const auto& [szName, szValue] : *top.GetAttributeData())
        nSum += static_cast<unsigned char>(*szValue.c_str());
    for (chXmlElement child = top.getChildElement(); child.hasData(); ++child)
        nSum += walk(child);
    return nSum;
}

void BM_Walk_vdx(benchmark::State& state) {
    const chXmlElement top = parsed(static_cast<int>(state.range(0))).getChildElement();
    for (auto _ : state)
        benchmark::DoNotOptimize(walk(top));
}
BENCHMARK(BM_Walk_vdx)->DenseRange(0, INPUTS - 1);

void BM_Children_vdx(benchmark::State& state) {
    const chXmlElement root = chXmlDocument::ParseDocument(lookupDocument()).getChildElement();
    for (auto _ : state) {
        for (const std::string& szName : childNames()) {
            if (!root.FindChildElement(szName).hasData()) state.SkipWithError("not found");
        }
    }
}
BENCHMARK(BM_Children_vdx);

void BM_Attributes_vdx(benchmark::State& state) {
    const chXmlElement first =
        chXmlDocument::ParseDocument(lookupDocument()).getChildElement().getChildElement();
    for (auto _ : state) {
        for (const std::string& szName : attributeNames()) {
            if (!first.FindAttributeValue(szName)) state.SkipWithError("not found");
        }
    }
}
BENCHMARK(BM_Attributes_vdx);

void BM_Build_vdx(benchmark::State& state) {
    const std::string szItem = "item", szId = "id", szKind = "kind", szValue = "plain", szBody = "some text";
    for (auto _ : state) {
        chXmlDocument document;
        chXmlElement root = document.AddChildElement("root");
        for (int i = 0; i < BUILT_ITEMS; ++i) {
            chXmlElement item = root.AddChildElement(szItem);
            item.SetAttributeValue(szId, szValue);
            item.SetAttributeValue(szKind, szValue);
            item.AddChildObject(xmlText, szBody);
        }
    }
}
BENCHMARK(BM_Build_vdx);

VDX_FIGURE("XML parse, attribute-heavy", "BM_Parse_vdx/0", {"BM_Parse_pugixml/0"}, 0.4);
VDX_FIGURE("XML parse, text-heavy", "BM_Parse_vdx/1", {"BM_Parse_pugixml/1"}, 0.6);
VDX_FIGURE("XML parse, public file", "BM_Parse_vdx/2", {"BM_Parse_pugixml/2"}, 0.4);
VDX_FIGURE("XML parse, attribute-heavy, tinyxml2", "BM_Parse_vdx/0", {"BM_Parse_tinyxml2/0"}, 1.5);
VDX_FIGURE("XML parse, text-heavy, tinyxml2", "BM_Parse_vdx/1", {"BM_Parse_tinyxml2/1"}, 1.5);
VDX_FIGURE("XML parse, public file, tinyxml2", "BM_Parse_vdx/2", {"BM_Parse_tinyxml2/2"}, 1.5);
VDX_FIGURE("XML parse, attribute-heavy, libxml2", "BM_Parse_vdx/0", {"BM_Parse_libxml2/0"}, 1.5);
VDX_FIGURE("XML parse, text-heavy, libxml2", "BM_Parse_vdx/1", {"BM_Parse_libxml2/1"}, 1.5);
VDX_FIGURE("XML parse, public file, libxml2", "BM_Parse_vdx/2", {"BM_Parse_libxml2/2"}, 1.5);
VDX_FIGURE("XML parse, small documents", "BM_Small_vdx", {"BM_Small_pugixml"}, 0.6);
VDX_FIGURE("XML export, attribute-heavy", "BM_Export_vdx/0", {"BM_Export_pugixml/0"}, 1.0);
VDX_FIGURE("XML export, text-heavy", "BM_Export_vdx/1", {"BM_Export_pugixml/1"}, 1.0);
VDX_FIGURE("XML export, public file", "BM_Export_vdx/2", {"BM_Export_pugixml/2"}, 1.0);
VDX_FIGURE("XML clone, attribute-heavy", "BM_Clone_vdx/0", {"BM_Clone_pugixml/0"}, 0.5);
VDX_FIGURE("XML clone, text-heavy", "BM_Clone_vdx/1", {"BM_Clone_pugixml/1"}, 0.5);
VDX_FIGURE("XML clone, public file", "BM_Clone_vdx/2", {"BM_Clone_pugixml/2"}, 0.5);
VDX_FIGURE("XML walk, attribute-heavy", "BM_Walk_vdx/0", {"BM_Walk_tinyxml2/0"}, 1.2);
VDX_FIGURE("XML walk, text-heavy", "BM_Walk_vdx/1", {"BM_Walk_tinyxml2/1"}, 1.2);
VDX_FIGURE("XML walk, public file", "BM_Walk_vdx/2", {"BM_Walk_tinyxml2/2"}, 1.2);
VDX_FIGURE("XML children by name", "BM_Children_vdx", {"BM_Children_pugixml"}, 1.5);
VDX_FIGURE("XML attributes by name", "BM_Attributes_vdx", {"BM_Attributes_pugixml"}, 1.0);
VDX_FIGURE("XML build and release", "BM_Build_vdx", {"BM_Build_pugixml"}, 0.7);

}  // namespace

void xmlbench::keepWithVdx(const std::string& szText) {
    static chXmlDocument s_document;
    s_document = chXmlDocument::ParseDocument(szText);
    if (!s_document.hasChildren()) std::abort();
}
