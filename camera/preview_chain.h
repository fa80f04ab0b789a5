#pragma once
// The row chain of the preview (FPN, FFC, LSC of each element, with the column sums on the
// way) and its dispatch to the register widths and the threads. Shared by the preview's own
// files only; the rest of the program goes through preview.h.

#include "camera/preview.h"

#include <opencv2/core.hpp>

#include <cstdint>
#include <vector>

// The corrections that apply to one frame, resolved once per frame: each pointer is null when
// its correction is off or its coefficients do not fit the frame.
struct Chain {
    const FpnLevelTable* fpn = nullptr;     // FPN with level bands
    const LineFpnTable* lineFpn = nullptr;  // FPN per sensor line
    const float* ffc = nullptr;             // FFC gain rows, one per sensor line
    int ffcRows = 1;
    const double* lsc = nullptr;  // LSC gain row
    bool any() const { return fpn || lineFpn || ffc || lsc; }
};

// The source row of each row of a regrouped mono frame of several sensor lines: rows l, l + n,
// l + 2n, ... of each line l together, the lines one below the other. Empty for one line.
std::vector<int> regroupedRows(int rows, int lineCount);

// Every row of `from` (8- or 16-bit) through the chain into `to`, of the same size and type:
// the frame's copy, or `from` itself. With rowOf, row j of `to` comes from row rowOf[j] of
// `from` (its coefficients those of that row), else from row j. With `acc`, each result is
// added to acc[element of the row] as float, in the order of the rows of `to`: the column sums
// of columnMeans of `to`, to the last bit.
//
// The frame is cut into column strips, shared out among the preview's threads; each strip is
// swept from the top row to the bottom, so that its coefficients stay in the cache from row to
// row and each column's sum is added in the order of the rows by one thread, whatever the
// number of threads. Each element's result depends on its own value and column only, so where
// the strips are cut does not change it.
void correctFrame(const cv::Mat& from, cv::Mat& to, const int* rowOf, const Chain& chain, float* acc);

// The first n elements of one 8-bit row through the chain, as row 0 of a frame.
void correctByteRow(uint8_t* p, int n, const Chain& chain);
