// The G.711 encoders of spandsp over a whole signal.
#include "media/g711_peers.h"

#include <spandsp.h>

template <>
void appendSpandsp<G711Law::mu>(const std::vector<double>& samples, std::vector<std::uint8_t>& buffer) {
    for (const double x : samples)
        buffer.push_back(linear_to_ulaw(static_cast<int>(x * 32767.0)));
}

template <>
void appendSpandsp<G711Law::a>(const std::vector<double>& samples, std::vector<std::uint8_t>& buffer) {
    for (const double x : samples)
        buffer.push_back(linear_to_alaw(static_cast<int>(x * 32767.0)));
}
