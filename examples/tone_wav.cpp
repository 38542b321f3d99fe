// Writes a tone as a mu-law .wav file that any player plays:
//   tone_wav <file> [<frequency in Hz> [<seconds>]]
// Without arguments it writes one second of 440 Hz to tone.wav.
#include <cmath>
#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <string>

#include <vdx/sample_buffer.h>

namespace {

constexpr int kRate = 8000;  // Samples per second, as in telephony.
constexpr int kMuLaw = 7;    // The format's number in a .wav file.

void appendNumber(std::string& bytes, std::uint32_t nValue, int nBytes) {
    for (int i = 0; i < nBytes; ++i)
        bytes += static_cast<char>(nValue >> (8 * i) & 0xFF);
}

// The chunks before the samples, with the "fact" chunk that compressed formats need.
std::string wavHeader(std::uint32_t nSamples) {
    std::string header = "RIFF";
    appendNumber(header, 50 + nSamples + nSamples % 2, 4);
    header += "WAVEfmt ";
    appendNumber(header, 18, 4);
    appendNumber(header, kMuLaw, 2);
    appendNumber(header, 1, 2);      // Channels.
    appendNumber(header, kRate, 4);  // Samples per second.
    appendNumber(header, kRate, 4);  // Bytes per second.
    appendNumber(header, 1, 2);      // Bytes per sample.
    appendNumber(header, 8, 2);      // Bits per sample.
    appendNumber(header, 0, 2);      // Nothing more about the format.
    header += "fact";
    appendNumber(header, 4, 4);
    appendNumber(header, nSamples, 4);
    header += "data";
    appendNumber(header, nSamples, 4);
    return header;
}

uLawSample makeTone(double frequency, int nSamples) {
    constexpr double kTurn = 2 * 3.14159265358979323846;
    uLawSample tone;
    tone.AllocSampleBuffer(nSamples);
    for (int i = 0; i < nSamples; ++i)
        tone.AppendSample(0.5 * std::sin(kTurn * frequency * i / kRate));
    return tone;
}

bool writeWav(const char* szPath, const uLawSample& tone) {
    const auto nSamples = static_cast<std::size_t>(tone.GetBufferSize());
    const std::string strHeader = wavHeader(static_cast<std::uint32_t>(nSamples));
    std::FILE* pFile = std::fopen(szPath, "wb");
    if (pFile == nullptr) return false;
    bool bWritten = std::fwrite(strHeader.data(), 1, strHeader.size(), pFile) == strHeader.size() &&
                    std::fwrite(tone.GetBuffer(), 1, nSamples, pFile) == nSamples;
    if (nSamples % 2 != 0) bWritten = std::fputc(0, pFile) != EOF && bWritten;  // Chunks have even sizes.
    return std::fclose(pFile) == 0 && bWritten;
}

}  // namespace

int main(int argc, char** argv) {
    const char* szPath = argc > 1 ? argv[1] : "tone.wav";
    const double frequency = argc > 2 ? std::atof(argv[2]) : 440;
    const double seconds = argc > 3 ? std::atof(argv[3]) : 1;
    if (!(frequency > 0 && frequency < kRate / 2 && seconds > 0 && seconds <= 3600)) {
        std::fprintf(stderr, "usage: tone_wav <file> [<Hz below %d> [<seconds up to 3600>]]\n", kRate / 2);
        return 2;
    }
    const uLawSample tone = makeTone(frequency, static_cast<int>(seconds * kRate));
    if (!writeWav(szPath, tone)) {
        std::perror(szPath);
        return 1;
    }
    std::printf("%s: %d samples of %g Hz\n", szPath, tone.GetBufferSize(), frequency);
    return 0;
}
