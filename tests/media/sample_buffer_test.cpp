// Sample buffers: conversion, the G.711 codes of all samples, room and silence.
#include <climits>
#include <map>
#include <stdexcept>

#include <gtest/gtest.h>

#include <vdx/sample_buffer.h>

#include "support/vectors.h"

namespace {

// A number that is stored as the given 16-bit sample: halfway to the next one away from
// zero, so that no rounding of the product matters.
double numberFor(int nSample) {
    return (nSample + (nSample > 0 ? 0.5 : nSample < 0 ? -0.5 : 0.0)) / 32767.0;
}

// The last sample or code of a buffer.
template <class Sample, class Buffer>
int last(const Buffer& buffer) {
    const auto nSamples = buffer.GetBufferSize() / static_cast<int>(sizeof(Sample));
    return static_cast<const Sample*>(buffer.GetBuffer())[nSamples - 1];
}

TEST(pcm16Sample, ConvertsByTruncationAndWraps) {
    const auto rows = readVectors("pcm16.vec");
    ASSERT_EQ(rows.size(), 11U);
    pcm16Sample buffer;
    for (const auto& row : rows) {
        buffer.AppendSample(std::strtod(row[0].c_str(), nullptr));
        EXPECT_EQ(last<short>(buffer), std::stoi(row[1])) << row[0];
    }
}

// The tables of the standard: law, sign, lowest magnitude, end, step, first code.
TEST(G711, AllSamplesFollowTheSegments) {
    const auto rows = readVectors("g711_segments.vec");
    ASSERT_EQ(rows.size(), 32U);
    std::map<int, int> muLawCodes, aLawCodes;
    for (const auto& row : rows) {
        const int nLow = std::stoi(row[2]), nEnd = std::stoi(row[3]), nStep = std::stoi(row[4]);
        const int nSign = row[1] == "-" ? -1 : 1;
        for (int n = std::max(nLow, nSign < 0 ? 1 : 0); n <= 32768; ++n)
            (row[0] == "ulaw" ? muLawCodes : aLawCodes)[nSign * n] =
                std::stoi(row[5], nullptr, 16) ^ (std::min(n, nEnd - 1) - nLow) / nStep;
    }
    uLawSample muLaw;
    aLawSample aLaw;
    for (int nSample = -32768; nSample <= 32767; ++nSample) {
        muLaw.AppendSample(numberFor(nSample));
        aLaw.AppendSample(numberFor(nSample));
        ASSERT_EQ(last<unsigned char>(muLaw), muLawCodes[nSample]) << nSample;
        ASSERT_EQ(last<unsigned char>(aLaw), aLawCodes[nSample]) << nSample;
    }
}

template <class Buffer>
class SampleBuffer : public testing::Test {};
using Buffers = testing::Types<pcm16Sample, uLawSample, aLawSample>;
TYPED_TEST_SUITE(SampleBuffer, Buffers);

// Negative counts, too: they throw for PCM and do nothing for the others.
TYPED_TEST(SampleBuffer, RoomAndSilenceKeepSizeContentAndPlace) {
    TypeParam buffer;
    buffer.AppendMuteSample(100);
    const void* pMuted = buffer.GetBuffer();
    for (int i = 0; i < 100; ++i)
        buffer.AppendSample(0.25);
    EXPECT_EQ(buffer.GetBuffer(), pMuted) << "the muted room was there for the samples";
    const auto nSize = static_cast<std::size_t>(buffer.GetBufferSize());
    const std::string samples(static_cast<const char*>(pMuted), nSize);
    buffer.AllocSampleBuffer(1000);
    const void* pRoom = buffer.GetBuffer();
    for (const int n : {900, 10, 0, -1, INT_MIN}) {
        if (std::is_same_v<TypeParam, pcm16Sample> && n < 0) {
            EXPECT_THROW(buffer.AllocSampleBuffer(n), std::length_error);
            EXPECT_THROW(buffer.AppendMuteSample(n), std::length_error);
        } else {
            buffer.AllocSampleBuffer(n);
            buffer.AppendMuteSample(n);
        }
    }
    EXPECT_EQ(buffer.GetBuffer(), pRoom);
    EXPECT_EQ(buffer.GetBufferSize(), static_cast<int>(nSize));
    EXPECT_EQ(std::string(static_cast<const char*>(pRoom), nSize), samples);
    buffer.Clear();
    buffer.AppendMuteSample(100);
    // The zeros stand behind the samples, in room that the buffer owns.
    EXPECT_EQ(std::string(static_cast<const char*>(pRoom), nSize), std::string(nSize, '\0'));
    EXPECT_EQ(buffer.GetBufferSize(), 0);
    buffer.AppendSample(0.5);
    EXPECT_EQ(buffer.GetBuffer(), pRoom);
}

}  // namespace
