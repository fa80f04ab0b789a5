#pragma once
// The flat-field set as it crosses to the camera and back: the record of key 45 (type 4) that the
// write-down sends, the widening of a table to the whole sensor on multi-level cameras, and the
// camera's memory view of its current set (read by the export).

#include "flatfield/ffcgains.h"
#include "lsx.h"

#include <QString>

#include <cstdint>
#include <vector>

// Widens a table of ROI columns to the whole sensor in its current resolution and then to the
// physical columns: 1.0 is put roiX times in front and after the ROI up to maxWidth, and every
// value is then repeated `factor` times in place. A factor below 1 counts as 1.
GainList ffcPadTable(const GainList& table, int roiX, int roiW, int maxWidth, int factor);

// The binning factor of a resolution mode's name: "SUM2"/"BIN2" 2, "SUM4" 4, anything else 1
// ("USER" is read from the camera's "BinningHorizontal" by the caller).
int ffcBinningFactor(const QString& modeName);

// What the head of the record carries besides the table.
struct FfcRecordHead {
    int lineCount = 1;   // sensor lines with their own data
    int frameBits = 0;   // bits of the last frame (0 8-bit, 2 16-bit)
    int doffset = 0;     // low byte goes to byte 9
    int pixelMax = 180;  // low 16 bits go to byte 10
    int targetFormat = FORMAT_BGR24;
    float minK = 0.0f;  // over the unpadded gains
    float maxK = 0.0f;
};

// Smallest and largest gain of a table, starting from the largest and the smallest double.
void ffcGainRange(const GainList& table, float& minK, float& maxK);

// The record of key 45 for a (padded) table, in one block of 40 + 8 N + 1 bytes: the head, then
// N = columns x channels entries (K as float32, then a uint32 0). Field 0 holds N / lineCount.
// Entry order: planar (channel after channel) on a multi-line sensor; otherwise interleaved per
// column, channels from last to first for target format 14, in the order 2, 1, 0, 3 for format
// 15 with exactly four channels, else in list order. The head's data pointer is set to byte 40
// of `out`; `out` must not be resized afterwards. Empty when the table is empty or ragged.
std::vector<uint8_t> ffcPackRecord(const GainList& table, const FfcRecordHead& head);

// The camera's memory view of its current flat-field set: columns per channel at byte 8, payload
// bytes at byte 14, then uint16 K x 2^14 planar. Channels = payload / (columns x 2). Empty for a
// head of 0 columns, a payload of less than one channel, or a buffer too short for the payload.
GainList ffcParseMemory(const uint8_t* block, size_t size);
