#pragma once
// Colour-line alignment (SCS) tried in software on a stopped image: the blue and the red plane
// are moved in opposite ways around the fixed green one, vertically by whole and fractional lines
// and horizontally by a stretch about the line's centre. All planes are 8-bit, one channel.

#include <opencv2/core.hpp>

#include <vector>

// The plane moved down by x lines (up for x < 0). The whole part k (x rounded towards zero) moves
// the rows; the exposed edge keeps the source's own rows, nothing wraps around. The fraction
// f = x - k then blends each row with its neighbour: f > 0 out[r] = (1-|f|) dst[r] + |f| dst[r-1]
// (row 0 copied), f < 0 out[r] = (1-|f|) dst[r] + |f| dst[r+1] (the last row copied), saturated
// into 8 bits. A shift of the plane's height or more leaves the rows where they are.
cv::Mat scsShiftLines(const cv::Mat& src, float x);

// The plane stretched about the line's centre by s pixels at each end: the affine map that takes
// (s, 0), (W - s, 0), (W - s, H) to (0, 0), (W, 0), (W, H), linear interpolation; pixels whose
// source lies outside the plane keep their old values (s < 0 squeezes the line inward).
cv::Mat scsStretchColumns(const cv::Mat& plane, float s);

// The three planes as the camera would give them after its line shift went up by dV and its pixel
// shift by dH: plane 0 moved by dV and stretched by dH, plane 2 by -dV and -dH, plane 1 as it is.
// dV or dH of 0 leave that step out (plane 0 and 2 are then deep copies). Empty unless there are
// exactly three planes.
std::vector<cv::Mat> scsShiftPlanes(const std::vector<cv::Mat>& planes, float dV, float dH);
