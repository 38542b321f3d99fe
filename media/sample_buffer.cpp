// Buffers of audio samples.
#include <vdx/sample_buffer.h>

#include <climits>
#include <cstddef>
#include <stdexcept>

namespace {

template <class T>
void reserve(std::vector<T>& samples, int n) {
    if (n > 0) samples.reserve(static_cast<std::size_t>(n));
}

// Growing and shrinking again leaves zeros in the room behind the samples.
template <class T>
void mute(std::vector<T>& samples, int n) {
    if (n < 1) return;
    const std::size_t nUsed = samples.size();
    samples.reserve(nUsed + static_cast<std::size_t>(n));
    samples.resize(nUsed + static_cast<std::size_t>(n));
    samples.resize(nUsed);
}

template <class T>
int bytesOf(const std::vector<T>& samples) {
    const std::size_t nBytes = samples.size() * sizeof(T);
    return nBytes < INT_MAX ? static_cast<int>(nBytes) : INT_MAX;
}

void refuseNegative(int n) {
    if (n < 0) throw std::length_error("pcm16Sample: negative count");
}

}  // namespace

void pcm16Sample::AllocSampleBuffer(int n) {
    refuseNegative(n);
    reserve(m_samples, n);
}
void pcm16Sample::AppendMuteSample(int n) {
    refuseNegative(n);
    mute(m_samples, n);
}
const void* pcm16Sample::GetBuffer() const {
    return m_samples.data();
}
int pcm16Sample::GetBufferSize() const {
    return bytesOf(m_samples);
}
void pcm16Sample::Clear() {
    m_samples.clear();
}

void uLawSample::AllocSampleBuffer(int n) {
    reserve(m_samples, n);
}
void uLawSample::AppendMuteSample(int n) {
    mute(m_samples, n);
}
const void* uLawSample::GetBuffer() const {
    return m_samples.data();
}
int uLawSample::GetBufferSize() const {
    return bytesOf(m_samples);
}
void uLawSample::Clear() {
    m_samples.clear();
}

void aLawSample::AllocSampleBuffer(int n) {
    reserve(m_samples, n);
}
void aLawSample::AppendMuteSample(int n) {
    mute(m_samples, n);
}
const void* aLawSample::GetBuffer() const {
    return m_samples.data();
}
int aLawSample::GetBufferSize() const {
    return bytesOf(m_samples);
}
void aLawSample::Clear() {
    m_samples.clear();
}
