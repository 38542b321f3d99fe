// Sample buffers: conversion, the G.711 codes of all samples, room and silence.
#include <climits>
#include <cmath>
#include <cstring>
#include <limits>
#include <stdexcept>

#include <gtest/gtest.h>

#include <vdx/sample_buffer.h>

#include "support/vectors.h"

namespace {

constexpr double INFINITE = std::numeric_limits<double>::infinity();

// A number that is stored as the given 16-bit sample: halfway to the next one away from
// zero, so that no rounding of the product matters.
double numberFor(int nSample) {
    return (nSample + (nSample > 0 ? 0.5 : nSample < 0 ? -0.5 : 0.0)) / 32767.0;
}

// The last sample or code of a buffer.
template <class Sample, class Buffer>
int last(const Buffer& buffer) {
    Sample sample;
    const char* pEnd = static_cast<const char*>(buffer.GetBuffer()) + buffer.GetBufferSize();
    std::memcpy(&sample, pEnd - sizeof sample, sizeof sample);
    return sample;
}

TEST(pcm16Sample, ConvertsByTruncationAndWraps) {
    const struct {
        double x;
        int nSample;
    } rows[] = {
        {1.0, 32767},
        {-1.0, -32767},
        {0.99999, 32766},
        {-0.99999, -32766},
        {-0.00003, 0},
        {numberFor(32768), -32768},
        {numberFor(-32769), 32767},
        {3.0, 32765},
        {-1e300, 0},
        {INFINITE, 0},
        {std::numeric_limits<double>::quiet_NaN(), 0},
    };
    pcm16Sample buffer;
    for (const auto& row : rows) {
        buffer.AppendSample(row.x);
        EXPECT_EQ(last<short>(buffer), row.nSample) << row.x;
    }
    EXPECT_EQ(buffer.GetBufferSize(), static_cast<int>(2 * std::size(rows)));
}

// The code of a sample by the tables of the standard: law, sign, lowest magnitude, end,
// step, first code.
int codeByTable(const std::vector<std::vector<std::string>>& rows, const char* szLaw, int nSample) {
    const int nMagnitude = std::abs(nSample);
    int nCode = -1;
    for (const auto& row : rows) {
        const int nLow = std::stoi(row[2]), nEnd = std::stoi(row[3]), nStep = std::stoi(row[4]);
        if (row[0] != szLaw || row[1] != (nSample < 0 ? "-" : "+") || nMagnitude < nLow) continue;
        nCode = std::stoi(row[5], nullptr, 16) ^ (std::min(nMagnitude, nEnd - 1) - nLow) / nStep;
    }
    return nCode;
}

TEST(G711, AllSamplesFollowTheSegments) {
    const auto rows = readVectors("g711_segments.vec");
    ASSERT_EQ(rows.size(), 32U);
    uLawSample muLaw;
    aLawSample aLaw;
    for (int nSample = -32768; nSample <= 32767; ++nSample) {
        muLaw.AppendSample(numberFor(nSample));
        aLaw.AppendSample(numberFor(nSample));
        ASSERT_EQ(last<unsigned char>(muLaw), codeByTable(rows, "ulaw", nSample)) << nSample;
        ASSERT_EQ(last<unsigned char>(aLaw), codeByTable(rows, "alaw", nSample)) << nSample;
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
    EXPECT_EQ(buffer.GetBufferSize(), 0);
    const void* pMuted = buffer.GetBuffer();
    for (int i = 0; i < 100; ++i)
        buffer.AppendSample(0.25);
    EXPECT_EQ(buffer.GetBuffer(), pMuted) << "the muted room was there for the samples";
    const auto nSize = static_cast<std::size_t>(buffer.GetBufferSize());
    std::string expected(static_cast<const char*>(pMuted), nSize);
    buffer.AllocSampleBuffer(1000);
    const void* pRoom = buffer.GetBuffer();
    buffer.AllocSampleBuffer(10);
    buffer.AppendMuteSample(900);
    for (const int n : {-1, INT_MIN}) {
        if constexpr (std::is_same_v<TypeParam, pcm16Sample>) {
            EXPECT_THROW(buffer.AllocSampleBuffer(n), std::length_error);
            EXPECT_THROW(buffer.AppendMuteSample(n), std::length_error);
        } else {
            buffer.AllocSampleBuffer(n);
            buffer.AppendMuteSample(n);
        }
    }
    EXPECT_EQ(buffer.GetBuffer(), pRoom);
    EXPECT_EQ(buffer.GetBufferSize(), static_cast<int>(nSize));
    // The zeros stand behind the samples, in room that the buffer owns.
    expected.append(nSize * 9, '\0');
    EXPECT_EQ(std::string(static_cast<const char*>(pRoom), nSize * 10), expected);
    buffer.Clear();
    EXPECT_EQ(buffer.GetBufferSize(), 0);
    buffer.AppendSample(0.5);
    EXPECT_EQ(buffer.GetBuffer(), pRoom);
}

}  // namespace
