#pragma once
// Editing flat-field gains after a run: damping or strengthening per channel, and flattening a
// marked stretch of the gain profile.

#include "flatfield/ffcgains.h"

#include <opencv2/core.hpp>

#include <utility>

// K := (K - 1) x factor + 1 for every column of channel c with factor c: 1.0 is the fixed
// point, factor 0 makes every gain 1.0 and a negative factor inverts the correction. A result
// that is not a gain (0 or below, or not finite) refuses the whole adjustment: the camera cannot
// take it and its file would not load back. `out` is set only on Ok; on NotAGain `channel` and
// `column` name the first gain refused and `value` what it would have become.
enum class FfcScale { Ok, ChannelCount, NotAGain };
struct FfcScaleResult {
    FfcScale outcome = FfcScale::Ok;
    int channel = -1;
    int column = -1;
    double value = 0.0;
};
FfcScaleResult ffcScaleGains(const GainList& saved, const QList<double>& factors, GainList& out);

// The first gain of a list that is not a finite number above 0: its channel and column (-1, -1
// when every gain is one).
std::pair<int, int> ffcFirstNonGain(const GainList& gains);

// The marked stretch of a gain profile, straightened. `data` is one float row of 1 or 3
// channels; selStart/selEnd are widget x of the stretch (swapped when reversed), sx the widget
// pixels per column (a float), left the column at the widget's left edge. Columns
// a = floor(selStart / sx + left) and b = floor(selEnd / sx + left), each limited to the data,
// become i x step + S for i = 0..b-a with step = (E - S) / (b - a), S and E the values at a and
// b; a stretch beginning left of the data takes S := E, one ending right of it E := S. `action`
// names the channels: 0 all, n channel n - 1 (three channels); one channel serves 0 only.
// Returns the changed copy; `changed` false (and an unchanged copy) for another channel count,
// an action the data has no channel for, or a stretch inside one column (a = b), whose column
// stays as it is.
cv::Mat ffcFlattenStretch(const cv::Mat& data, double selStart, double selEnd, float sx, double left, int action,
                          bool* changed = nullptr);

// The gains edited on the profile back into a gain list: a 1-channel row replaces the one list,
// a 3-channel row the three lists in channel order; any other pairing leaves `current` as it is.
GainList ffcGainsFromProfile(const cv::Mat& row, const GainList& current);
