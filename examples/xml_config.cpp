// A configuration in an XML file: defaults, options, a save that a crash cannot damage.
#include <cstdio>
#include <cstdlib>
#include <string>

#include <vdx/platform.h>
#include <vdx/xml.h>

int main(int argc, char** argv) {
    const std::string szPath =
        argc > 1 ? argv[1]
                 : vdxGetTempDirectory() + "/vdx_config_" + std::to_string(vdxGetCurrentProcessId()) + ".xml";

    // The first run finds no file: the document is empty and gets its defaults.
    chXmlFile file(szPath);
    chXmlElement config = file.getChildElement();
    if (!config.hasData()) {
        config = file.AddChildElement("config");
        config.SetOption("port", "8080");
        config.SetOption("origin", print(chVarArgs(12, ",", 2.5, ",", true)));
        config.SetOption("greeting", "\"Hello\" & <welcome>");
    }

    // Typed values become text by print(chVarArgs).
    const int nRuns = std::atoi(config.GetOption("runs", "0").c_str()) + 1;
    config.SetOption("runs", print(chVarArgs(nRuns)));
    if (!file.SaveToFile("")) {
        std::fprintf(stderr, "cannot save %s\n", szPath.c_str());
        return 1;
    }

    // Another reader sees what was saved.
    const chXmlFile again(szPath);
    const chXmlElement read = again["config"];
    std::printf("%s: run %s, port %s, greeting %s\n", szPath.c_str(), read.GetOption("runs", "?").c_str(),
                read.GetOption("port", "?").c_str(), read.GetOption("greeting", "?").c_str());
    const bool bSame = read.GetOption("greeting", "") == "\"Hello\" & <welcome>";
    if (argc < 2) std::remove(szPath.c_str());
    return bSame ? 0 : 1;
}
