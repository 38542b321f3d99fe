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

// A number that is stored as the given 16-bit sample: halfway to the next one away from
// zero, so that no rounding of the product matters.
double numberFor(int nSample) {
    return (nSample + (nSample > 0 ? 0.5 : nSample < 0 ? -0.5 : 0.0)) / 32767.0;
}

template <class Buffer>
int last(const Buffer& buffer) {
    return static_cast<const unsigned char*>(buffer.GetBuffer())[buffer.GetBufferSize() - 1];
}

int lastPcm(const pcm16Sample& buffer) {
    short sample;
    std::memcpy(&sample, static_cast<const char*>(buffer.GetBuffer()) + buffer.GetBufferSize() - 2, 2);
    return sample;
}

TEST(pcm16Sample, ConvertsByTruncationAndWraps) {
    const struct {
        double x;
        int nSample;
    } rows[] = {{1.0, 32767},
                {-1.0, -32767},
                {0.0, 0},
                {-0.0, 0},
                {0.99999, 32766},
                {-0.99999, -32766},
                {0.00003, 0},
                {-0.00003, 0},
                {numberFor(32768), -32768},
                {numberFor(-32769), 32767},
                {3.0, 32765},
                {1e300, 0},
                {-1e300, 0},
                {std::numeric_limits<double>::infinity(), 0},
                {-std::numeric_limits<double>::infinity(), 0},
                {std::numeric_limits<double>::quiet_NaN(), 0}};
    pcm16Sample buffer;
    for (const auto& row : rows) {
        buffer.AppendSample(row.x);
        EXPECT_EQ(lastPcm(buffer), row.nSample) << row.x;
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

template <class Buffer>
void expectCodes(const char* szLaw) {
    const auto rows = readVectors("g711_segments.vec");
    ASSERT_EQ(rows.size(), 32U);
    Buffer buffer;
    for (int nSample = -32768; nSample <= 32767; ++nSample) {
        buffer.AppendSample(numberFor(nSample));
        ASSERT_EQ(last(buffer), codeByTable(rows, szLaw, nSample)) << nSample;
    }
    EXPECT_EQ(buffer.GetBufferSize(), 65536);
}

TEST(uLawSample, AllSamplesFollowTheSegments) {
    expectCodes<uLawSample>("ulaw");
}

TEST(aLawSample, AllSamplesFollowTheSegments) {
    expectCodes<aLawSample>("alaw");
}

template <class Buffer>
class SampleBuffer : public testing::Test {};
using Buffers = testing::Types<pcm16Sample, uLawSample, aLawSample>;
TYPED_TEST_SUITE(SampleBuffer, Buffers);

TYPED_TEST(SampleBuffer, RoomKeepsSizeContentAndPlace) {
    TypeParam buffer;
    EXPECT_EQ(buffer.GetBufferSize(), 0);
    buffer.AppendMuteSample(100);
    EXPECT_EQ(buffer.GetBufferSize(), 0);
    const void* pMuted = buffer.GetBuffer();
    for (int i = 0; i < 100; ++i)
        buffer.AppendSample(0.25);
    EXPECT_EQ(buffer.GetBuffer(), pMuted);  // The muted room was there for the samples.
    const int nSize = buffer.GetBufferSize();
    const std::string strBefore(static_cast<const char*>(buffer.GetBuffer()),
                                static_cast<std::size_t>(nSize));
    buffer.AllocSampleBuffer(1000);
    const void* pRoom = buffer.GetBuffer();
    buffer.AllocSampleBuffer(10);
    buffer.AllocSampleBuffer(0);
    buffer.AppendMuteSample(900);
    EXPECT_EQ(buffer.GetBuffer(), pRoom);
    EXPECT_EQ(buffer.GetBufferSize(), nSize);
    EXPECT_EQ(std::string(static_cast<const char*>(buffer.GetBuffer()), static_cast<std::size_t>(nSize)),
              strBefore);
    // The zeros stand behind the samples, in room that the buffer owns.
    EXPECT_EQ(std::string(static_cast<const char*>(pRoom) + nSize, static_cast<std::size_t>(nSize) * 9),
              std::string(static_cast<std::size_t>(nSize) * 9, '\0'));
    buffer.Clear();
    EXPECT_EQ(buffer.GetBufferSize(), 0);
    buffer.AppendSample(0.5);
    EXPECT_EQ(buffer.GetBuffer(), pRoom);
}

TEST(pcm16Sample, RefusesNegativeCounts) {
    pcm16Sample buffer;
    for (int nSamples = 0; nSamples < 3; ++nSamples) {
        for (const int n : {-1, -2, INT_MIN}) {
            EXPECT_THROW(buffer.AllocSampleBuffer(n), std::length_error);
            EXPECT_THROW(buffer.AppendMuteSample(n), std::length_error);
        }
        EXPECT_EQ(buffer.GetBufferSize(), 2 * nSamples);
        buffer.AppendSample(0.5);
    }
}

TEST(uLawSample, IgnoresNegativeCounts) {
    uLawSample buffer;
    buffer.AppendSample(0.0);
    buffer.AppendSample(0.0);
    for (const int n : {-1, INT_MIN}) {
        EXPECT_NO_THROW(buffer.AllocSampleBuffer(n));
        EXPECT_NO_THROW(buffer.AppendMuteSample(n));
    }
    EXPECT_EQ(buffer.GetBufferSize(), 2);
    EXPECT_EQ(last(buffer), 0xFF);
}

}  // namespace
