#pragma once
// Frame descriptors that do not hold together, as a misbehaving camera library might deliver
// them, with the status the program answers each with. The buffer behind them holds 24 bytes
// (or is missing where `nullBuffer` says so).
#include "lsx.h"

#include <QtTest>

struct BadFrame {
    const char* name;
    uint32_t format, bits;
    int width, height;
    uint32_t size;
    bool nullBuffer;
    lsxStatus status;
};

inline const BadFrame kBadFrames[] = {
    {"size 0, huge frame", 0, 0, 100000, 100000, 0, false, LSX_ERR_BLOCK_SIZE},
    {"wraps in 32 bits", 0, 2, 65536, 32768, 0, false, LSX_ERR_BLOCK_SIZE},
    {"negative size", 0, 0, -4096, -1000, 24, false, LSX_ERR_INVALID_ARG},
    {"negative height", 0, 0, 3, -2, 6, false, LSX_ERR_INVALID_ARG},
    {"zero height", 0, 0, 3, 0, 6, false, LSX_ERR_INVALID_ARG},
    {"null buffer", 0, 0, 3, 2, 6, true, LSX_ERR_INVALID_ARG},
    {"bits 1", 0, 1, 3, 2, 6, false, LSX_ERR_NOT_SUPPORTED},
    {"format 99", 99, 0, 3, 2, 6, false, LSX_ERR_NOT_SUPPORTED},
    {"size halved", 0, 2, 3, 2, 6, false, LSX_ERR_BLOCK_SIZE},
    {"colour short", 10, 0, 3, 2, 17, false, LSX_ERR_BLOCK_SIZE},
};

// The rows of a data-driven test: one column "frame" of the table's index.
inline void addBadFrameRows()
{
    QTest::addColumn<int>("frame");
    for (int i = 0; i < int(std::size(kBadFrames)); ++i) QTest::newRow(kBadFrames[i].name) << i;
}

inline lsxFrame descriptorOf(const BadFrame& b)
{
    lsxFrame f{};
    f.format = b.format;
    f.bits = b.bits;
    f.width = b.width;
    f.height = b.height;
    f.size = b.size;
    return f;
}
