// Bytes as text and back, UTF-8 by characters, words, rounding, and a part of an image.
#include <cstdio>
#include <string>
#include <vector>

#include <vdx/characters.h>
#include <vdx/codecs.h>
#include <vdx/memory2d.h>
#include <vdx/rounding.h>
#include <vdx/words.h>

namespace {

int nFaults = 0;

void show(const std::string& text, const std::string& expected) {
    std::printf("%s\n", text.c_str());
    nFaults += text != expected;
}

void showCodes() {
    const unsigned char aKey[16] = {'v', 'd', 'x'};
    const std::string strToken = vdxBin2Base64(aKey, sizeof aKey);
    const std::vector<unsigned char> key = vdxBase642Bin(strToken);
    show(strToken, "dmR4AAAAAAAAAAAAAAAAAA==");
    nFaults += key != std::vector<unsigned char>(aKey, aKey + sizeof aKey);

    const std::string strSpaced = vdxBin2Text("\x0A\x1B", 2);
    const std::string strPacked = vdxBin2Base16("\x0A\x1B", 2);
    show(strSpaced, "0A 1B ");
    show(strPacked, "0A1B");
}

void showCharacters() {
    const char* pNext = "h\xC3\xA9!";
    int nFirst = chUTF8Word(pNext);
    int nSecond = chUTF8Word(pNext);
    nFaults += nFirst != 'h' || nSecond != 0xE9 || *pNext != '!';
}

void showWords() {
    std::string strJoined;
    for (const std::string& strPiece : vdxTextBreak("a;;b;", ";"))
        strJoined += "(" + strPiece + ")";
    for (const std::string& strWord : vdxGetWords("  two  words "))
        strJoined += "[" + strWord + "]";
    show(strJoined, "(a)()(b)[two][words]");
}

void showNumbers() {
    double dBelow = mathFloor(7.3, 2.5);
    double dNear = mathNear(7.3, 2.5);
    double dRounded = mathRound(-2.345, 1);
    show(std::to_string(dBelow) + " " + std::to_string(dNear) + " " + std::to_string(dRounded),
         "5.000000 7.500000 -2.300000");
}

void showPart() {
    constexpr int nImagePitch = 100 * 4;
    std::vector<unsigned char> image(nImagePitch * 80, 1);
    std::vector<unsigned char> part(64 * 4 * 48);
    vdxMemcpy2D(part.data(), 64 * 4, image.data(), nImagePitch, 64 * 4, 48);
    nFaults += part != std::vector<unsigned char>(part.size(), 1);
}

}  // namespace

int main() {
    showCodes();
    showCharacters();
    showWords();
    showNumbers();
    showPart();
    return nFaults == 0 ? 0 : 1;
}
