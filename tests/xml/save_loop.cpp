// Saves one document after the other until it is killed. Arguments: path, first
// version, number of versions (0: endless). Version n holds n in many elements.
#include <cstdio>
#include <cstdlib>

#include <vdx/xml.h>

#include "xml/save_versions.h"

int main(int argc, char** argv) {
    if (argc != 4) return 2;
    const int nFirst = std::atoi(argv[2]);
    const int nCount = std::atoi(argv[3]);
    for (int n = nFirst; nCount == 0 || n < nFirst + nCount; ++n) {
        chXmlFile file;
        static_cast<chXmlObject&>(file) = xmltest::versionDocument(n);
        if (!file.SaveToFile(argv[1])) return 3;
    }
    return 0;
}
