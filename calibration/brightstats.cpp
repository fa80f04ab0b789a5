// The numbers of the bright-field calibration (brightstats.h).
#include "calibration/brightstats.h"

#include "calibration/darkstats.h"
#include "calibration/klevels.h"

#include <QDebug>

#include <algorithm>
#include <cmath>
#include <limits>

// ---- Exposure search ----

double highestPlaneMean(const std::vector<cv::Mat>& planes)
{
    double b = 0.0;
    bool first = true;
    for (const cv::Mat& plane : planes) {
        if (plane.empty()) continue;
        const double m = cv::mean(plane)[0];
        if (first || m > b) b = m;
        first = false;
    }
    return b;
}

double highestPlaneMean(const std::vector<cv::Mat>& planes, const std::vector<double>& darks)
{
    double b = 0.0;
    bool first = true;
    for (size_t p = 0; p < planes.size(); ++p) {
        if (planes[p].empty()) continue;
        const double m = cv::mean(planes[p])[0] - (p < darks.size() ? darks[p] : 0.0);
        if (first || m > b) b = m;
        first = false;
    }
    return b;
}

std::vector<double> planeDarkLevels(const QList<QList<double>>& darkRows, int planes, int lineCount)
{
    auto rowMean = [](const QList<double>& row) {
        double s = 0.0;
        for (double v : row) s += v;
        return row.isEmpty() ? 0.0 : s / double(row.size());
    };
    const int rows = planes == 1 ? std::max(1, lineCount) : planes;
    if (planes < 1 || darkRows.size() < rows) return {};
    if (planes > 1) {
        std::vector<double> out;
        for (int p = 0; p < planes; ++p) out.push_back(rowMean(darkRows[p]));
        return out;
    }
    double s = 0.0;
    for (int l = 0; l < rows; ++l) s += rowMean(darkRows[l]);
    return {s / rows};
}

double highestColumnMean(const std::vector<cv::Mat>& planes)
{
    double b = 0.0;
    bool first = true;
    for (const cv::Mat& plane : planes) {
        const cv::Mat means = columnMeansF(plane);
        for (int x = 0; x < means.cols; ++x) {
            const double m = means.at<float>(0, x);
            if (first || m > b) b = m;
            first = false;
        }
    }
    return b;
}

ExposureSearch ExposureSearch::forTarget(double t, double lo, double min)
{
    ExposureSearch s;
    s.kind = Kind::Targets;
    s.winLow = std::trunc(std::max(t - 1.0, 0.0));
    s.winHigh = std::trunc(t + 1.0);
    s.logLow = s.winLow;
    s.logHigh = s.winHigh;
    s.min = min;
    s.lo = lo;
    s.hi = lo + 30.0;
    s.cur = s.hi;
    return s;
}

ExposureSearch ExposureSearch::upper(int highTarget, double lower, double upper, double min)
{
    ExposureSearch s;
    s.kind = Kind::Upper;
    s.winLow = highTarget - 1;
    s.winHigh = std::min(highTarget + 1, 255);
    s.logLow = s.winLow;
    s.logHigh = s.winHigh;
    s.min = min;
    s.lo = lower;
    s.hi = upper;
    s.cur = upper;
    return s;
}

ExposureSearch ExposureSearch::lower(int lowTarget, int highTarget, double lower, double upper, double min)
{
    ExposureSearch s;
    s.kind = Kind::Lower;
    s.winLow = std::max(lowTarget - 1, 0);
    s.winHigh = lowTarget + 1;
    // The debug line of the lower search shows the upper search's window.
    s.logLow = highTarget - 1;
    s.logHigh = std::min(highTarget + 1, 255);
    s.min = min;
    s.lo = lower;
    s.hi = upper;
    s.cur = min;
    return s;
}

ExposureSearch::Verdict ExposureSearch::judge(double b)
{
    if (!bracketed) {
        switch (kind) {
        case Kind::Targets:
            if (b < winHigh) {
                hi *= 2.0;
                cur = hi;
                return Verdict::Measure;
            }
            break;
        case Kind::Upper:
            if (b < winLow) {
                hi *= 2.0;
                cur = hi;
                return Verdict::Measure;
            }
            break;
        case Kind::Lower:
            if (!(b < winLow)) {
                cur = min;
                return Verdict::Found;
            }
            break;
        }
    }
    bracketed = true;
    auto logLine = [&] {
        qDebug() << "[" << lo << "," << hi << "] -- " << cur << " -- " << b << " -- [" << logLow << "," << logHigh
                 << "]";
    };
    if (kind != Kind::Targets) logLine();
    if (lo == hi) {
        lo *= 0.5;
        hi *= 2.0;
        if (kind != Kind::Targets) qDebug() << "correct : " << lo << " -- " << hi;
    }
    const bool tooHigh = kind == Kind::Lower ? b > winHigh : !(b < winHigh);
    if (tooHigh) {
        hi = cur;
        cur = cur + lo;
    } else if (b < winLow) {
        lo = cur;
        cur = cur + hi;
    } else {
        return Verdict::Found;
    }
    cur *= 0.5;
    if (kind == Kind::Targets) logLine();
    if (cur - min < 1.0) return Verdict::AtMinimum;
    return Verdict::Measure;
}

QVector<double> spacedExposures(const QVector<double>& found, double min, double step)
{
    QVector<double> out;
    if (found.size() < 4) return found;
    auto stride = [step](double span) {
        double s = std::ceil(span / step) * step;
        if (!(s > step)) s = step;
        return static_cast<double>(static_cast<float>(s));
    };
    double e = min;
    const double s1 = stride((found[0] - min) / 24.0);
    while (e < found[0] + s1) {
        out.append(e);
        e += s1;
    }
    const double s2 = stride((found[1] - found[0]) / 12.0);
    while (e < found[1] + s2) {
        out.append(e);
        e += s2;
    }
    const double s3 = stride((found[2] - found[1]) / 6.0);
    while (e < found[3]) {
        out.append(e);
        e += s3;
    }
    return out;
}

// ---- Column gains ----

namespace {

template <typename T>
std::vector<double> columnMeansD(const cv::Mat& plane)
{
    std::vector<double> sum(static_cast<size_t>(plane.cols), 0.0);
    for (int y = 0; y < plane.rows; ++y) {
        const T* p = plane.ptr<T>(y);
        for (int x = 0; x < plane.cols; ++x) sum[static_cast<size_t>(x)] += p[x];
    }
    for (double& s : sum) s /= plane.rows;
    return sum;
}

}  // namespace

QList<KPoint> calcColumnK(const cv::Mat& plane, QList<double>& kOut, const QList<double>& dark, bool flat,
                          int /*colCount*/, bool renormalize)
{
    kOut.clear();
    QList<KPoint> result;
    const int type = plane.type();
    if ((type != CV_8UC1 && type != CV_16UC1) || plane.rows < 1 || plane.cols < 1) return result;
    const int columns = plane.cols;
    if (dark.size() < columns) return result;
    const bool sixteen = type == CV_16UC1;
    const std::vector<double> m = sixteen ? columnMeansD<uint16_t>(plane) : columnMeansD<uint8_t>(plane);

    double darkMean = 0.0;
    for (double d : dark) darkMean += d;
    darkMean /= static_cast<double>(dark.size());

    const int W = 80 * std::clamp(columns / 1000, 1, 4);
    double top = 0.0;
    if (flat)
        for (double v : m)
            if (v > top) top = v;

    kOut.reserve(columns);
    result.reserve(columns);
    for (int i = 0; i < columns; ++i) {
        double ref = top;
        if (!flat) {
            const int from = std::max(0, i - W), to = std::min(i + W, columns);
            double sum = 0.0;
            for (int j = from; j < to; ++j) sum += m[static_cast<size_t>(j)];
            ref = sum / (to - from);
        }
        double k = (ref - darkMean) / (m[static_cast<size_t>(i)] - dark[i]);
        double x = m[static_cast<size_t>(i)];
        if (sixteen) x /= 256.0;
        if (x > 252.0) {
            k = 1.0;
            x = kSaturatedLevel;
        }
        kOut.append(k);
        result.append(KPoint{x, k});
    }

    if (renormalize && !flat) {
        const double maxv = sixteen ? 65472.0 : 255.0;
        double low = 65535.0;
        for (int i = 0; i < columns; ++i) {
            const double t = (maxv - dark[i]) * kOut[i];
            if (t < low) low = t;
        }
        for (KPoint& p : result) p.y *= maxv / low;
    }
    return result;
}

namespace {

// Rows l, l + n, l + 2n, ... of an image, as one matrix (empty when the image has no such row).
cv::Mat sensorLine(const cv::Mat& image, int l, int n)
{
    std::vector<cv::Mat> rows;
    for (int y = l; y < image.rows; y += n) rows.push_back(image.row(y));
    cv::Mat out;
    if (!rows.empty()) cv::vconcat(rows, out);
    return out;
}

}  // namespace

bool fitColumnGains(const QList<cv::Mat>& images, const QList<QList<double>>& bList, int lineCount, bool flat,
                    int colCount, QList<QList<double>>& kList, QList<QList<KPoint>>& kPoints)
{
    return fitColumnGains(images, QList<QList<QList<double>>>{bList}, lineCount, flat, colCount, kList, kPoints);
}

bool fitColumnGains(const QList<cv::Mat>& images, const QList<QList<QList<double>>>& darks, int lineCount, bool flat,
                    int colCount, QList<QList<double>>& kList, QList<QList<KPoint>>& kPoints)
{
    if (images.isEmpty()) return false;
    const int channels = images.first().channels();
    if (channels > 4 || channels == 2) return false;
    if (darks.size() != 1 && darks.size() != images.size()) return false;
    auto darkOf = [&darks](qsizetype image) -> const QList<QList<double>>& {
        return darks.size() == 1 ? darks.first() : darks[image];
    };

    // A dark row for every plane or line used, as wide as the images.
    const int rowsUsed = channels == 1 ? (lineCount > 1 ? lineCount : 1) : channels;
    int widest = 0;
    for (const cv::Mat& image : images) widest = std::max(widest, image.cols);
    for (const QList<QList<double>>& bList : darks) {
        if (bList.size() < rowsUsed) return false;
        for (int r = 0; r < rowsUsed; ++r)
            if (bList[r].size() < widest) return false;
    }

    const int count = static_cast<int>(images.size());
    if (channels == 1 && lineCount <= 1) {
        for (int i = 0; i < count; ++i) {
            QList<double> k;
            // Never true: kept as the renormalising of the one-line path has always been asked for.
            const bool renormalize = i > count;
            kPoints.append(calcColumnK(images[i], k, darkOf(i)[0], flat, colCount, renormalize));
            kList.append(k);
        }
        return true;
    }
    if (channels == 1) {
        const cv::Mat& last = images.last();
        for (int l = 0; l < lineCount; ++l) {
            QList<double> k;
            calcColumnK(sensorLine(last, l, lineCount), k, darkOf(count - 1)[l], flat, colCount, false);
            kList.append(k);
        }
        return true;
    }
    std::vector<QList<QList<KPoint>>> perPlane(static_cast<size_t>(channels));
    for (int i = 0; i < count; ++i) {
        std::vector<cv::Mat> planes;
        if (images[i].channels() == channels) cv::split(images[i], planes);
        for (int p = 0; p < channels; ++p) {
            QList<double> k;
            const cv::Mat plane = p < static_cast<int>(planes.size()) ? planes[static_cast<size_t>(p)] : cv::Mat();
            perPlane[static_cast<size_t>(p)].append(calcColumnK(plane, k, darkOf(i)[p], flat, colCount, false));
            kList.append(k);
        }
    }
    for (const QList<QList<KPoint>>& lists : perPlane) kPoints.append(lists);
    return true;
}

namespace {

bool unusable(double k)
{
    return !std::isfinite(k) || !(k > 0.0);
}

}  // namespace

std::vector<int> limitUnusableK(QList<double>& k, double limit)
{
    std::vector<int> out;
    for (qsizetype x = 0; x < k.size(); ++x)
        if (unusable(k[x])) {
            k[x] = limit;
            out.push_back(int(x));
        }
    return out;
}

std::vector<int> limitUnusableK(QList<KPoint>& points, double limit)
{
    std::vector<int> out;
    for (qsizetype x = 0; x < points.size(); ++x)
        if (unusable(points[x].y)) {
            points[x].y = limit;
            out.push_back(int(x));
        }
    return out;
}

// ---- The camera's dark rows ----

int readBackPlanes(int32_t sourceFormat)
{
    switch (sourceFormat) {
    case 0:
    case 1:
    case 2:
    case 3:
    case 4:
    case 30:
    case 31:
    case 32:
    case 33:
    case 34: return 1;
    case 10:
    case 14:
    case 40:
    case 44: return 3;
    case 11:
    case 15: return 4;
    default: return 0;
    }
}

void appendReadBackRows(QList<QList<double>>& bList, const float* pairs, int columns, int planes)
{
    for (int p = 0; p < planes; ++p) bList.append(QList<double>());
    for (int c = 0; c < columns; ++c)
        for (int p = 0; p < planes; ++p) {
            const size_t at = 2 * (static_cast<size_t>(c) * planes + p);
            qDebug() << pairs[at] << " -- " << pairs[at + 1];
            bList[p].append(static_cast<double>(pairs[at + 1]));
        }
    for (int p = 0; p < planes && p < bList.size(); ++p) qDebug() << bList[p];
}

// ---- Final step ----

double liftOf(const QList<double>& incBList, int row)
{
    return row < incBList.size() ? incBList[row] : 0.0;
}

namespace {

// The lowest (maxv - B) x K of a row, from 65535.0; a NaN product takes the place as it comes.
double lowestReach(const QList<double>& b, const QList<double>& k, qsizetype kFrom, qsizetype columns, double maxv)
{
    double m = 65535.0;
    for (qsizetype j = 0; j < columns && j < b.size() && kFrom + j < k.size(); ++j) {
        const double t = (maxv - b[j]) * k[kFrom + j];
        if (!(t > m)) m = t;
    }
    return m;
}

// B += lift / K column by column, so that every column's corrected dark, (dark - B) x K, sits the
// lift below 0: with one K for the row (the largest) the columns of smaller K sat less far below
// it, and the spread of K came back as a pattern in the dark lifted clear of 0. A column whose K
// is no gain (not above 0, or not finite) takes the largest K of its row.
void lift(QList<double>& b, double inc, const double* k, qsizetype kCount, double largestK)
{
    for (qsizetype j = 0; j < b.size(); ++j) {
        const double kj = j < kCount ? k[j] : largestK;
        b[j] = inc / (std::isfinite(kj) && kj > 0.0 ? kj : largestK) + b[j];
    }
}

}  // namespace

void finishSingleLevel(QList<QList<double>>& bList, QList<QList<double>>& kList, const QList<double>& incBList,
                       double maxv, QList<double>& kScaleList)
{
    const int rows = static_cast<int>(bList.size());
    kScaleList.clear();
    for (int i = 0; i < rows; ++i) kScaleList.append(1.0);
    const int fitted = static_cast<int>(std::min(bList.size(), kList.size()));
    for (int i = 0; i < fitted; ++i) {
        const double m = lowestReach(bList[i], kList[i], 0, kList[i].size(), maxv);
        const double s = maxv / m;
        kScaleList[i] = s;
        for (double& k : kList[i]) k *= s;
    }
    for (int i = 0; i < fitted; ++i) {
        double largest = std::numeric_limits<double>::lowest();
        for (double k : kList[i])
            if (k > largest) largest = k;
        lift(bList[i], liftOf(incBList, i), kList[i].constData(), kList[i].size(), largest);
    }
}

void finishMultiLevel(QList<QList<double>>& bList, const QList<QList<KPoint>>& kPoints, uint8_t maxK,
                      const std::vector<uint16_t>& table, const QList<double>& incBList, double maxv,
                      QList<double>& kScaleList)
{
    const int rows = static_cast<int>(bList.size());
    kScaleList.clear();
    for (int i = 0; i < rows; ++i) kScaleList.append(1.0);
    if (rows == 0 || table.empty()) return;
    const qsizetype columns = bList[0].size();

    const double topLevel = std::nearbyint(table.back() * 3.0 * 0.25);
    const uint8_t top = static_cast<uint8_t>(std::clamp(topLevel, 0.0, 255.0));
    QList<double> all;
    kAtLevel(kPoints, maxK, top, all, rows);
    for (int i = 0; i < rows; ++i) kScaleList[i] = maxv / lowestReach(bList[i], all, i * columns, columns, maxv);

    // Levels 0..255 band by band: a band's K is computed at its first level and shared by the rest,
    // so the largest over the 256 levels is the largest over the bands.
    std::vector<double> largest(static_cast<size_t>(rows), std::numeric_limits<double>::lowest());
    QList<double> current, dark;
    size_t n = 0;
    for (int level = 0; level <= 255; ++level) {
        if (!(table[n] < level || current.isEmpty())) continue;
        if (table[n] < level && n + 1 < table.size()) ++n;
        kAtLevel(kPoints, maxK, levelStepK(table, static_cast<int>(n)), current, rows);
        const qsizetype perRow = current.size() / rows;
        if (perRow < 1) break;
        for (qsizetype c = 0; c < current.size(); ++c) {
            const qsizetype r = c / perRow;
            if (r < kScaleList.size()) current[c] *= kScaleList[r];
        }
        // A dark pixel (below B) takes the first band's K.
        if (level == 0) dark = current;
        for (int i = 0; i < rows; ++i)
            for (qsizetype j = 0; j < columns && i * columns + j < current.size(); ++j)
                largest[static_cast<size_t>(i)] = std::max(largest[static_cast<size_t>(i)], current[i * columns + j]);
    }
    const qsizetype darkPerRow = dark.size() / rows;
    for (int i = 0; i < rows; ++i) {
        const qsizetype from = std::min<qsizetype>(i * darkPerRow, dark.size());
        lift(bList[i], liftOf(incBList, i), dark.constData() + from, std::min(darkPerRow, columns),
             largest[static_cast<size_t>(i)]);
    }
}
