#pragma once
// Editing flat-field gains after a run: damping or strengthening per channel, and flattening a
// marked stretch of the gain profile.

#include "flatfield/ffcgains.h"

#include <opencv2/core.hpp>

// K := (K - 1) x factor + 1 for every column of channel c with factor c: 1.0 is the fixed
// point, factor 0 makes every gain 1.0 and a negative factor inverts the correction; no limit
// applies. False (and `out` untouched) when the number of factors is not the number of channels.
bool ffcScaleGains(const GainList& saved, const QList<double>& factors, GainList& out);

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
