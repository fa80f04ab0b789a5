#pragma once
// Pixel formats of GenICam cameras (the GigE Vision pixel format naming convention) against the
// image formats of the camera contract.
//
// The contract knows 8-bit mono, 16-bit mono carrying its data in the high bits, and 8-bit
// colour of three or four channels. Mono10 and Mono12 arrive from the camera as 16-bit words
// holding the value in the low bits; they are lifted to the high bits in place (x 64, x 16), so
// that a frame of any depth reads on one scale (full scale 65472 for 10-bit data, 65520 for
// 12-bit, 65535 for 16-bit). Other formats (Bayer, packed, YUV) are delivered with their own
// code in the descriptor's format field, which the program does not take.

#include "lsx.h"

#include <cstddef>
#include <cstdint>
#include <vector>

namespace lsxgc {

// Pixel format codes
enum : uint32_t {
    kPfMono8 = 0x01080001u,
    kPfMono10 = 0x01100003u,
    kPfMono12 = 0x01100005u,
    kPfMono16 = 0x01100007u,
    kPfRGB8 = 0x02180014u,
    kPfBGR8 = 0x02180015u,
    kPfRGBa8 = 0x02200016u,
    kPfBGRa8 = 0x02200017u
};

// How a frame of one pixel format is described to the program.
struct FrameLayout {
    bool known = false;   // a format of the contract
    uint32_t format = 0;  // FORMAT_xxx, or the pixel format code itself when not known
    uint32_t bits = 0;    // LSX_BITS_8 or LSX_BITS_16
    uint32_t channels = 1;
    uint32_t bytesPerPixel = 1;
    int liftShift = 0;       // left shift to the high bits of 16 (6 for Mono10, 4 for Mono12)
    uint16_t valueMask = 0;  // the bits of the value before the lift
};

FrameLayout layoutOf(uint32_t pixelFormat);

// Bytes per pixel of a format by its code (bits per pixel in bits 16..23), rounded up.
uint32_t bytesPerPixelOf(uint32_t pixelFormat);

// The contract's target format code of a pixel format: 0 (8-bit mono), 34 (16-bit mono),
// 10, 11, 14, 15 (colour), or -1 for a format the contract has no code for.
int32_t targetCodeOf(uint32_t pixelFormat);

// The sensor-side code: 0 for 8-bit mono, 2 for deeper mono, the colour code as the target.
int32_t sourceCodeOf(uint32_t pixelFormat);

// The pixel formats that deliver a target code, best first (16-bit mono: Mono10, Mono12,
// Mono16, the depths the program's 10-bit scale reads best first). Empty for a code the library
// cannot deliver. Codes 0 and 30 both mean 8-bit mono.
std::vector<uint32_t> pixelFormatsFor(int32_t target);

// Whether a source code belongs to the mono family (0..4, 30..34) or names a colour format.
bool isMonoCode(int32_t code);

// 10- and 12-bit samples lifted to the high bits of their 16-bit words, in place: each sample
// is masked to its depth (stray bits above it are dropped) and shifted left.
void liftToHighBits(uint16_t* samples, size_t count, int shift, uint16_t mask);

}  // namespace lsxgc
