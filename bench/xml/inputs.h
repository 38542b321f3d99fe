// The texts that all XML parsers are measured on.
#pragma once

#include <cstddef>
#include <string>
#include <vector>

namespace xmlbench {

// 0: elements with many attributes. 1: paragraphs of text. 2: a public file, the
// Vulkan registry. Each is a few megabytes and well-formed for every parser.
constexpr int INPUTS = 3;
const std::string& input(int nIndex);

// Messages of a few hundred bytes.
const std::vector<std::string>& smallDocuments();

// What is built and looked up.
constexpr int BUILT_ITEMS = 1000;
constexpr int CHILDREN = 40;
constexpr int ATTRIBUTES = 10;
const std::vector<std::string>& childNames();
const std::vector<std::string>& attributeNames();
// Of the named ones under <root>: CHILDREN elements with ATTRIBUTES attributes each.
const std::string& lookupDocument();

// A peer's whole work with one text, for measuring memory: parse, and leave all as it is.
using ParseAndKeep = void (*)(const std::string&);
void keepWithVdx(const std::string& szText);
void keepWithPugixml(const std::string& szText);

}  // namespace xmlbench
