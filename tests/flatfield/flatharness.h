#pragma once
// What the flat-field and lens-shading tests on the simulated camera read back from it: the
// column means of its own output and its correction switch.
#include "lsx.h"

#include <cstring>
#include <vector>

// Column means of the camera's own output over `frames` soft-triggered frames, per channel (B,
// G, R for colour), on the 8-bit scale.
inline std::vector<std::vector<double>> outputMeans(lsxHandle h, int frames)
{
    std::vector<std::vector<double>> sums;
    int rows = 0;
    if (lsxStart(h) < LSX_OK) return {};
    for (int f = 0; f < frames; ++f) {
        if (lsxTriggerFire(h) != LSX_OK) break;
        lsxFrame frame;
        void* buffer = nullptr;
        if (lsxGetFrame(h, &frame, &buffer, 3000) != LSX_OK) break;
        const int ch = frame.format == FORMAT_MONO ? 1 : 3;
        if (sums.empty()) sums.assign(size_t(ch), std::vector<double>(size_t(frame.width), 0.0));
        for (int r = 0; r < frame.height; ++r)
            for (int x = 0; x < frame.width; ++x)
                for (int c = 0; c < ch; ++c) {
                    const size_t at = (size_t(r) * frame.width + x) * ch + c;
                    const double v = frame.bits == LSX_BITS_16 ? static_cast<const uint16_t*>(buffer)[at] / 256.0
                                                               : static_cast<const uint8_t*>(buffer)[at];
                    sums[size_t(c)][size_t(x)] += v;
                }
        rows += frame.height;
    }
    lsxStop(h);
    for (auto& channel : sums)
        for (double& v : channel) v /= rows;
    return sums;
}

// The camera's correction switch record (key 40).
inline lsxCorrectionSwitch switchOf(lsxHandle h)
{
    lsxCorrectionSwitch sw;
    std::memset(&sw, 0, sizeof sw);
    uint32_t size = sizeof sw;
    lsxGet(h, LSX_KEY_CORRECTION_SWITCH, &sw, &size);
    return sw;
}
