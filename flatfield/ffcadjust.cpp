#include "ffcadjust.h"

#include <algorithm>
#include <cmath>

FfcScaleResult ffcScaleGains(const GainList& saved, const QList<double>& factors, GainList& out)
{
    FfcScaleResult result;
    if (saved.size() != factors.size()) {
        result.outcome = FfcScale::ChannelCount;
        return result;
    }
    GainList copy = saved;
    for (int c = 0; c < copy.size(); ++c)
        for (int i = 0; i < copy[c].size(); ++i) {
            double& k = copy[c][i];
            k = (k - 1.0) * factors.at(c) + 1.0;
            if (result.outcome == FfcScale::Ok && !(std::isfinite(k) && k > 0.0))
                result = FfcScaleResult{FfcScale::NotAGain, c, i, k};
        }
    if (result.outcome == FfcScale::Ok) out = copy;
    return result;
}

std::pair<int, int> ffcFirstNonGain(const GainList& gains)
{
    for (int c = 0; c < gains.size(); ++c)
        for (int i = 0; i < gains[c].size(); ++i)
            if (!(std::isfinite(gains[c][i]) && gains[c][i] > 0.0)) return {c, i};
    return {-1, -1};
}

cv::Mat ffcFlattenStretch(const cv::Mat& data, double selStart, double selEnd, float sx, double left, int action,
                          bool* changed)
{
    if (changed) *changed = false;
    cv::Mat copy = data.clone();
    if (data.empty() || data.depth() != CV_32F || !(sx > 0.0f)) return copy;
    if (selStart > selEnd) std::swap(selStart, selEnd);
    const int columns = data.cols;
    const double startColumn = selStart / sx + left;
    const double endColumn = selEnd / sx + left;
    const int a = int(std::clamp(std::floor(startColumn), 0.0, double(columns - 1)));
    const int b = int(std::clamp(std::floor(endColumn), 0.0, double(columns - 1)));
    // A stretch inside one column has no slope: its column keeps its value.
    if (a == b) return copy;

    if (data.channels() == 3) {
        if (action < 0 || action > 3) return copy;
        cv::Vec3f s = copy.at<cv::Vec3f>(0, a);
        cv::Vec3f e = copy.at<cv::Vec3f>(0, b);
        if (startColumn < 0) s = e;
        if (endColumn >= columns) e = s;
        float step[3];
        for (int c = 0; c < 3; ++c) step[c] = float((e[c] - s[c]) * (1.0 / (b - a)));
        for (int i = 0; i <= b - a; ++i) {
            cv::Vec3f& px = copy.at<cv::Vec3f>(0, a + i);
            for (int c = 0; c < 3; ++c)
                if (action == 0 || c == action - 1) px[c] = float(i) * step[c] + s[c];
        }
    } else if (data.channels() == 1) {
        if (action != 0) return copy;
        float s = copy.at<float>(0, a);
        float e = copy.at<float>(0, b);
        if (startColumn < 0) s = e;
        if (endColumn >= columns) e = s;
        const float step = (e - s) / float(b - a);
        for (int i = 0; i <= b - a; ++i) copy.at<float>(0, a + i) = float(i) * step + s;
    } else {
        return copy;
    }
    if (changed) *changed = true;
    return copy;
}

GainList ffcGainsFromProfile(const cv::Mat& row, const GainList& current)
{
    GainList out = current;
    if (row.empty() || row.depth() != CV_32F || row.rows != 1) return out;
    if (row.channels() == 1 && out.size() == 1) {
        QList<double> list;
        list.reserve(row.cols);
        for (int x = 0; x < row.cols; ++x) list.append(row.at<float>(0, x));
        out[0] = list;
    } else if (row.channels() == 3 && out.size() == 3) {
        for (int c = 0; c < 3; ++c) {
            QList<double> list;
            list.reserve(row.cols);
            for (int x = 0; x < row.cols; ++x) list.append(row.at<cv::Vec3f>(0, x)[c]);
            out[c] = list;
        }
    }
    return out;
}
