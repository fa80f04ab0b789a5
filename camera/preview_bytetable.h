#pragma once
// The byte-table path of the preview: for 8-bit frames whose rows all go through the same chain
// (one sensor line, or colour), the result of each element is a function of its position in the
// row and its own value alone, so one lookup per element replaces the arithmetic exactly.
// Shared by the preview's own files only.

#include "camera/preview_chain.h"

#include <cstdint>

// Whether the frame's chain is such a function (and there is a chain at all).
bool chainIsPerElement(const cv::Mat& img, const Chain& chain);

// Every row of `from` through the table of its chain into `to` (the frame's copy, or `from`
// itself; with rowOf, row j of `to` from row rowOf[j] of `from`), with the integer column sums
// of the results added into sums (one per element of a row). The table is the one kept in
// corrections.byteTable while nothing it was made from has changed, else it is made again here.
// The frame is cut into column strips shared out among the preview's threads; the sums of one
// column are exact integers, whatever the cut.
void applyByteTable(const cv::Mat& from, cv::Mat& to, const int* rowOf, int format, const Chain& chain,
                    const PreviewCorrections& corrections, const PreviewSwitches& switches, uint32_t* sums);
