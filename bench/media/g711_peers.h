// The G.711 encoders of spandsp over a whole signal.
#pragma once

#include <cstdint>
#include <vector>

enum class G711Law { mu, a };

template <G711Law law>
void appendSpandsp(const std::vector<double>& samples, std::vector<std::uint8_t>& buffer);
