#include "gcpixel.h"

namespace lsxgc {

uint32_t bytesPerPixelOf(uint32_t pixelFormat)
{
    return (((pixelFormat >> 16) & 0xFFu) + 7u) / 8u;
}

FrameLayout layoutOf(uint32_t pixelFormat)
{
    FrameLayout l;
    l.bytesPerPixel = bytesPerPixelOf(pixelFormat);
    l.format = pixelFormat;
    l.bits = l.bytesPerPixel >= 2 ? LSX_BITS_16 : LSX_BITS_8;
    switch (pixelFormat) {
    case kPfMono8: l = {true, FORMAT_MONO, LSX_BITS_8, 1, 1, 0, 0xFF}; break;
    case kPfMono10: l = {true, FORMAT_MONO, LSX_BITS_16, 1, 2, 6, 0x3FF}; break;
    case kPfMono12: l = {true, FORMAT_MONO, LSX_BITS_16, 1, 2, 4, 0xFFF}; break;
    case kPfMono16: l = {true, FORMAT_MONO, LSX_BITS_16, 1, 2, 0, 0xFFFF}; break;
    case kPfRGB8: l = {true, FORMAT_RGB24, LSX_BITS_8, 3, 3, 0, 0xFF}; break;
    case kPfBGR8: l = {true, FORMAT_BGR24, LSX_BITS_8, 3, 3, 0, 0xFF}; break;
    case kPfRGBa8: l = {true, FORMAT_RGB32, LSX_BITS_8, 4, 4, 0, 0xFF}; break;
    case kPfBGRa8: l = {true, FORMAT_BGR32, LSX_BITS_8, 4, 4, 0, 0xFF}; break;
    default: break;
    }
    return l;
}

int32_t targetCodeOf(uint32_t pixelFormat)
{
    const FrameLayout l = layoutOf(pixelFormat);
    if (!l.known) return -1;
    if (l.format == FORMAT_MONO) return l.bits == LSX_BITS_16 ? int32_t(FORMAT_MONO16) : int32_t(FORMAT_MONO);
    return int32_t(l.format);
}

int32_t sourceCodeOf(uint32_t pixelFormat)
{
    const int32_t target = targetCodeOf(pixelFormat);
    if (target == FORMAT_MONO16) return FORMAT_MONO16_SOURCE;
    return target;
}

std::vector<uint32_t> pixelFormatsFor(int32_t target)
{
    switch (target) {
    case FORMAT_MONO:
    case 30: return {kPfMono8};
    case FORMAT_MONO16: return {kPfMono10, kPfMono12, kPfMono16};
    case FORMAT_RGB24: return {kPfRGB8};
    case FORMAT_BGR24: return {kPfBGR8};
    case FORMAT_RGB32: return {kPfRGBa8};
    case FORMAT_BGR32: return {kPfBGRa8};
    default: return {};
    }
}

bool isMonoCode(int32_t code)
{
    return (code >= 0 && code <= 4) || (code >= 30 && code <= 34);
}

void liftToHighBits(uint16_t* samples, size_t count, int shift, uint16_t mask)
{
    if (shift <= 0) return;
    for (size_t i = 0; i < count; ++i) samples[i] = static_cast<uint16_t>((samples[i] & mask) << shift);
}

}  // namespace lsxgc
