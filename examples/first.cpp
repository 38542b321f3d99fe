// The program on the first screen of the README.
#include <vdx/vdx.h>

int main() {
    const chTickTimer timer;
    const auto headers = vdxFindFile("/usr/include", "std*.h;-*_*", true);
    vdxOutputDebugString("%s found %zu headers", pathGetLastPart(vdxGetExeFileName()).c_str(),
                         headers.size());
    vdxOutputDebugString("a password at rest: %s", pswEncrypt("open sesame").c_str());
    chXmlElement note("note");
    note.SetOption("pi", "3 < pi < 4");
    vdxOutputDebugString("%s", note.ExportToText(true).c_str());
    vdxModuleTrace(6, "M:First", "done in %u us", timer.GetMicrosecond());
}
