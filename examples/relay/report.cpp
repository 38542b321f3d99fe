// The table at the end of a run.
#include "report.h"

#include <algorithm>

#include <vdx/vdx.h>

void Report::show(const std::string& name, const std::string& value) {
    m_rows.push_back({name, value, true});
}

void Report::show(const std::string& name, std::int64_t nValue) {
    show(name, std::to_string(nValue));
}

void Report::expect(const std::string& name, std::int64_t nValue, std::int64_t nExpected) {
    const bool bRight = nValue == nExpected;
    m_rows.push_back(
        {name, std::to_string(nValue) + (bRight ? "" : ", not " + std::to_string(nExpected)), bRight});
}

void Report::require(const std::string& name, bool bHolds) {
    m_rows.push_back({name, bHolds ? "yes" : "no", bHolds});
}

bool Report::print() const {
    std::size_t nWidth = 0;
    for (const Row& row : m_rows)
        nWidth = std::max(nWidth, row.name.size());
    bool bAllRight = true;
    for (const Row& row : m_rows) {
        vdxOutputDebugString("  %-*s  %s%s", static_cast<int>(nWidth), row.name.c_str(), row.value.c_str(),
                             row.bRight ? "" : "   <-- wrong");
        bAllRight = bAllRight && row.bRight;
    }
    vdxOutputDebugString("%s", bAllRight ? "relay: every figure is right" : "[E:] relay: figures are wrong");
    return bAllRight;
}
