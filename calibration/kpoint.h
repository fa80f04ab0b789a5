#pragma once
// One bright-field sample of one column: the column's pixel level on the 8-bit scale
// (0 to 252, or kSaturatedLevel for a saturated column) and the gain K measured there.
struct KPoint {
    double x = 0.0;
    double y = 0.0;
};

// The level mark of a saturated column; its K is 1.0.
constexpr double kSaturatedLevel = 256.0;
