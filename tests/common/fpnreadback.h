#pragma once
// The camera's FPN set read back as the program reads it (key 45): the set "FPNC.Selector"
// chooses, at the current gain, `pairs` pairs K, B over the whole sensor (planes interleaved by
// column). For tests that compare a set before and after a write, value for value.

#include "lsx.h"

#include <cstring>
#include <vector>

// The record's block (the 40-byte head, then the pairs); empty when the camera refuses the read.
inline std::vector<uint8_t> fpnReadBack(lsxHandle h, const char* set, uint32_t pairs)
{
    if (lsxSetConfigString(h, "FPNC.Selector", set) != LSX_OK) return {};
    std::vector<uint8_t> block(40 + size_t(pairs) * 8, 0);
    auto* head = reinterpret_cast<lsxFpnHeader*>(block.data());
    head->columns = pairs;
    head->lines = 1;
    head->dataSize = pairs * 8;
    head->data = block.data() + 40;
    uint32_t size = uint32_t(block.size());
    if (lsxGet(h, LSX_KEY_FPN, block.data(), &size) != LSX_OK) return {};
    return block;
}

// The pairs of a block as floats: K of pair i at 2 i, B at 2 i + 1.
inline std::vector<float> fpnPairs(const std::vector<uint8_t>& block)
{
    if (block.size() < 40) return {};
    std::vector<float> out((block.size() - 40) / 4);
    std::memcpy(out.data(), block.data() + 40, out.size() * 4);
    return out;
}
