// Known-answer vectors: text files in tests/data, one row a line, fields separated by blanks.
#pragma once

#include <cstddef>
#include <fstream>
#include <iterator>
#include <sstream>
#include <string>
#include <vector>

// The rows of a file without its comment lines ("#"); empty where it cannot be read.
inline std::vector<std::vector<std::string>> readVectors(const std::string& strName) {
    std::ifstream file(std::string(VDX_TEST_DATA_DIR) + "/" + strName);
    std::vector<std::vector<std::string>> rows;
    for (std::string strLine; std::getline(file, strLine);) {
        if (strLine.empty() || strLine[0] == '#') continue;
        std::istringstream line(strLine);
        using Field = std::istream_iterator<std::string>;
        rows.emplace_back(Field(line), Field());
    }
    return rows;
}
