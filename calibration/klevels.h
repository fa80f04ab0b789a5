#pragma once
// K as a function of the pixel level.
//
// A bright-field calibration measures K at several pixel levels (one KPoint per column and
// exposure). kAtLevel interpolates between those samples; the level tables split the 8-bit
// pixel range into bands that share one set of K, and levelStepK says at which level each
// band is sampled. The live preview, the bright-field run, the parameter file and the writing
// to the camera all go through these, so they agree on every band.

#include "calibration/kpoint.h"

#include <QList>

#include <cstdint>
#include <vector>

// The level tables: the upper pixel level of each band, on the 8-bit scale.
extern const std::vector<uint16_t> fpnLevels3;
extern const std::vector<uint16_t> fpnLevels6;
extern const std::vector<uint16_t> fpnLevels9;

// The table chosen by the setting Params/FpnSel: 6 and 9 pick their tables, anything else the
// three-band table.
const std::vector<uint16_t>& fpnLevelsFor(int fpnSel);

// The pixel level (8-bit scale) at which band `band` of `table` is sampled: three quarters of
// the band's upper level, or the middle of the band when that would fall at or below the band's
// first level. Rounded to nearest (ties to even), saturated to 0..255.
uint8_t levelStepK(const std::vector<uint16_t>& table, int band);

// K of every row and column at one pixel level, row after row, into `out` (emptied first).
// kPoints holds per-exposure sample lists; the first size/rows lists belong to row 0, the next
// ones to row 1, and so on. Between two exposures K is linear in the level; below the first
// sample it is the first exposure's K, above the last the last one's. The result is limited to
// 0.51 .. maxK - 0.2 (a K that is not a number comes out as maxK - 0.2).
void kAtLevel(const QList<QList<KPoint>>& kPoints, uint8_t maxK, uint8_t level, QList<double>& out, int rows);
