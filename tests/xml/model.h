// A second reading of the rules of the parser, made for clarity alone.
#pragma once

#include <optional>
#include <random>
#include <string>

namespace xmltest {

// What xmltest::dump gives for the document of a text; nothing if it cannot be read.
std::optional<std::string> modelDump(const std::string& szText);

// Texts near the border between readable and not.
std::string randomDocument(std::mt19937& random);
std::string mutated(std::string szText, std::mt19937& random);

}  // namespace xmltest
