// The table at the end of a run.
#pragma once

#include <cstdint>
#include <string>
#include <vector>

// Collects figures, some with what they must be, and prints them.
class Report {
public:
    // A figure that is shown only.
    void show(const std::string& name, const std::string& value);
    void show(const std::string& name, std::int64_t nValue);

    // A figure that must have one value.
    void expect(const std::string& name, std::int64_t nValue, std::int64_t nExpected);

    // A statement that must hold.
    void require(const std::string& name, bool bHolds);

    // Prints the table; false when any figure is wrong.
    bool print() const;

private:
    struct Row {
        std::string name;
        std::string value;
        bool bRight;
    };
    std::vector<Row> m_rows;
};
