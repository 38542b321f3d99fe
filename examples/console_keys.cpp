// Reads lines with editing until an empty one, then shows the code of every key until "q".
#include <cstdio>
#include <string>

#include <vdx/console_input.h>

int main() {
    std::string strLine;
    while (vdxGetConsoleLineInput(strLine, "line (empty: go on): ") && !strLine.empty())
        std::printf("read: %s\n", strLine.c_str());

    std::printf("now keys; q ends\n");
    chStdInput input;
    for (int nKey = input.ReadKey(); nKey != 'q' && nKey != chKeyNone; nKey = input.ReadKey()) {
        if (nKey >= chKeyF1 && nKey <= chKeyF12)
            std::printf("F%d\n", nKey - chKeyF1 + 1);
        else if (nKey > 255)
            std::printf("function key %d\n", nKey);
        else
            std::printf("byte %d\n", nKey);
    }
    return 0;
}
