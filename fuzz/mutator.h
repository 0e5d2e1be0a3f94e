// Changes that know what tracks are made of.
#pragma once

#include <cstdint>
#include <string>

namespace tagsmith::fuzz {

/// Makes one change to `input`: puts in a frame, a chunk, MPEG frames or an ID3v1 block, writes a
/// size in one of its forms, mends the size of the whole, or repeats or drops a part.
void MutateStructure(std::string& input, std::uint32_t seed);

}  // namespace tagsmith::fuzz
