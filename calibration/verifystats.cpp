#include "verifystats.h"

#include <QJsonArray>
#include <QRegularExpression>

#include <algorithm>
#include <cmath>
#include <limits>

namespace {

// Whether a stack is one plane of a depth the kernels read.
bool readable(const cv::Mat& stack)
{
    if (stack.empty() || stack.channels() != 1) return false;
    const int d = stack.depth();
    return d == CV_8U || d == CV_16U || d == CV_32F || d == CV_64F;
}

// Per column, in one pass over the stack and one row of doubles at a time: the mean and the sum of
// squared deviations from it, both times scale (scale^2). The sums run over the samples less the
// first row's, so that a large level does not eat the precision of a small spread.
struct ColumnMoments {
    cv::Mat means;           // 1 x N CV_64F
    std::vector<double> ss;  // sum over l of (y[l][x] - mu[x])^2
};

ColumnMoments columnMoments(const cv::Mat& stack, double scale)
{
    ColumnMoments m;
    if (!readable(stack)) return m;
    const int n = stack.cols, lines = stack.rows;
    cv::Mat first, row;
    stack.row(0).convertTo(first, CV_64F, scale);
    const double* f = first.ptr<double>(0);
    std::vector<double> sum(size_t(n), 0.0), sum2(size_t(n), 0.0);
    for (int l = 1; l < lines; ++l) {
        stack.row(l).convertTo(row, CV_64F, scale);
        const double* v = row.ptr<double>(0);
        for (int x = 0; x < n; ++x) {
            const double d = v[x] - f[x];
            sum[size_t(x)] += d;
            sum2[size_t(x)] += d * d;
        }
    }
    m.means.create(1, n, CV_64F);
    m.ss.resize(size_t(n));
    double* mu = m.means.ptr<double>(0);
    for (int x = 0; x < n; ++x) {
        const double shift = sum[size_t(x)] / lines;
        mu[x] = f[x] + shift;
        m.ss[size_t(x)] = std::max(0.0, sum2[size_t(x)] - sum[size_t(x)] * shift);
    }
    return m;
}

// The same over `steps` blocks of rows, one per black-level step: the mean over all rows, and the
// squared deviations of each block from its own mean, summed (stackTemporalVariance). `steps` 1, or
// too many for two rows a block, is the stack as one block.
ColumnMoments blockMoments(const cv::Mat& stack, double scale, int& steps)
{
    if (steps < 2 || stack.rows < 2 * steps) {
        steps = 1;
        return columnMoments(stack, scale);
    }
    ColumnMoments m;
    const int lines = stack.rows;
    for (int b = 0; b < steps; ++b) {
        const int from = b * lines / steps, to = (b + 1) * lines / steps;
        const ColumnMoments block = columnMoments(stack.rowRange(from, to), scale);
        if (block.means.empty()) return ColumnMoments();
        if (b == 0) {
            m.means = cv::Mat::zeros(1, stack.cols, CV_64F);
            m.ss.assign(size_t(stack.cols), 0.0);
        }
        m.means += block.means * (double(to - from) / lines);
        for (size_t x = 0; x < m.ss.size(); ++x) m.ss[x] += block.ss[x];
    }
    return m;
}

// sigma2_y of moments over `lines` rows in `steps` blocks: L - steps degrees of freedom.
double temporalOf(const ColumnMoments& m, int lines, int steps = 1)
{
    if (m.ss.empty() || lines - steps < 1) return 0.0;
    double total = 0.0;
    for (double s : m.ss) total += s / (lines - steps);
    return total / double(m.ss.size());
}

// A 1 x N row of doubles, whatever the row came in.
cv::Mat rowOfDoubles(const cv::Mat& row)
{
    if (row.empty()) return cv::Mat();
    cv::Mat out;
    row.reshape(1, 1).convertTo(out, CV_64F);
    return out;
}

QVector<double> toVector(const cv::Mat& row)
{
    QVector<double> out;
    if (row.empty()) return out;
    out.reserve(int(row.total()));
    for (int x = 0; x < row.cols; ++x) out.append(row.at<double>(0, x));
    return out;
}

QVector<double> toVector(const std::vector<double>& v)
{
    return QVector<double>(v.begin(), v.end());
}

QJsonArray jsonArray(const QVector<double>& v)
{
    QJsonArray a;
    for (double x : v) a.append(x);
    return a;
}

QJsonArray jsonArray(const QVector<int>& v)
{
    QJsonArray a;
    for (int x : v) a.append(x);
    return a;
}

// JSON has no NaN: a figure that could not be had is written as null.
QJsonValue number(double v)
{
    return std::isfinite(v) ? QJsonValue(v) : QJsonValue();
}

QJsonObject liftJson(const DarkLift& l)
{
    return QJsonObject{{QStringLiteral("measurable"), l.measurable},
                       {QStringLiteral("blackLevelLifts"), QJsonArray{l.first, l.second}},
                       {QStringLiteral("stepsPerLift"), l.steps},
                       {QStringLiteral("zeroShareAsFound"), number(l.zerosAsFound)},
                       {QStringLiteral("worstColumnZeroShare"), number(l.worstColumnZeros)}};
}

// The PRNU figures and the means and variances of the dark and the bright stack, as a level's
// and a plane's figures both hold them.
template <typename Figures>
void putStackFigures(QJsonObject& o, const Figures& f)
{
    o[QStringLiteral("prnu")] = number(f.prnu);
    o[QStringLiteral("prnu1288")] = number(f.prnu1288);
    o[QStringLiteral("prnuResponse")] = number(f.prnuResponse);
    o[QStringLiteral("darkMean")] = number(f.darkMean);
    o[QStringLiteral("brightMean")] = number(f.brightMean);
    o[QStringLiteral("darkTemporalVariance")] = number(f.darkTemporalVar);
    o[QStringLiteral("brightTemporalVariance")] = number(f.brightTemporalVar);
    o[QStringLiteral("darkSpatialVariance")] = number(f.darkSpatialVar);
    o[QStringLiteral("brightSpatialVariance")] = number(f.brightSpatialVar);
}

QJsonObject levelJson(const VerifyLevelFigures& f)
{
    QJsonObject o;
    o[QStringLiteral("targetPercent")] = number(f.target);
    o[QStringLiteral("exposureUs")] = number(f.exposure);
    o[QStringLiteral("levelPercent")] = number(f.level);
    putStackFigures(o, f);
    o[QStringLiteral("brightSlowPeakToPeakPercent")] = number(f.brightSlow);
    o[QStringLiteral("dark")] = liftJson(f.darkLift);
    return o;
}

QJsonObject figuresJson(const VerifyFigures& f)
{
    QJsonObject o;
    o[QStringLiteral("dsnu")] = number(f.dsnu);
    o[QStringLiteral("responseShapeChangePercent")] = number(f.shapeChange);
    putStackFigures(o, f);
    o[QStringLiteral("darkSlowPeakToPeak")] = number(f.darkSlow);
    o[QStringLiteral("brightSlowPeakToPeak")] = number(f.brightSlow);
    o[QStringLiteral("darkZeroShare")] = number(f.darkZero);
    o[QStringLiteral("dark")] = liftJson(f.darkLift);
    QJsonArray levels;
    for (const VerifyLevelFigures& l : f.levels) levels.append(levelJson(l));
    o[QStringLiteral("levels")] = levels;
    o[QStringLiteral("defectCount")] = f.defects.size();
    o[QStringLiteral("defectColumns")] = jsonArray(f.defects);
    o[QStringLiteral("darkColumnMeans")] = jsonArray(f.darkMeans);
    o[QStringLiteral("brightColumnMeans")] = jsonArray(f.brightMeans);
    return o;
}

}  // namespace

cv::Mat stackColumnMeans(const cv::Mat& stack, double scale)
{
    return columnMoments(stack, scale).means;
}

double stackTemporalVariance(const cv::Mat& stack, double scale, int steps)
{
    const ColumnMoments m = blockMoments(stack, scale, steps);
    return temporalOf(m, stack.rows, steps);
}

double spatialVariance(const cv::Mat& means, double temporalVar, int lines)
{
    const cv::Mat m = rowOfDoubles(means);
    if (m.cols < 2 || lines < 1) return 0.0;
    const double mu = cv::mean(m)[0];
    double s2 = 0.0;
    for (int x = 0; x < m.cols; ++x) {
        const double d = m.at<double>(0, x) - mu;
        s2 += d * d;
    }
    return s2 / (m.cols - 1) - temporalVar / lines;
}

StackStats stackStats(const cv::Mat& stack, double scale, int steps)
{
    StackStats s;
    const ColumnMoments m = blockMoments(stack, scale, steps);
    if (m.means.empty()) return s;
    s.means = m.means;
    s.lines = stack.rows;
    s.columns = stack.cols;
    s.mean = cv::mean(s.means)[0];
    s.temporalVar = temporalOf(m, s.lines, steps);
    s.spatialVar = spatialVariance(s.means, s.temporalVar, s.lines);
    s.zeros = 1.0 - double(cv::countNonZero(stack)) / double(stack.total());
    return s;
}

double dsnu1288(const StackStats& dark)
{
    if (dark.spatialVar < 0.0) return std::numeric_limits<double>::quiet_NaN();
    return std::sqrt(dark.spatialVar);
}

double prnu1288(const StackStats& dark, const StackStats& bright)
{
    const double signal = bright.mean - dark.mean;
    const double pattern = bright.spatialVar - dark.spatialVar;
    if (!(signal > 0.0) || pattern < 0.0) return std::numeric_limits<double>::quiet_NaN();
    return 100.0 * std::sqrt(pattern) / signal;
}

double prnuOfResponse(const StackStats& dark, const StackStats& bright)
{
    const double nan = std::numeric_limits<double>::quiet_NaN();
    const double signal = bright.mean - dark.mean;
    if (!(signal > 0.0) || dark.lines < 1 || bright.lines < 1 || dark.means.cols != bright.means.cols) return nan;
    const cv::Mat response = rowOfDoubles(bright.means) - rowOfDoubles(dark.means);
    if (response.cols < 2) return nan;
    // The response row's sample variance (no temporal share yet), less both stacks' shares.
    const double pattern =
        spatialVariance(response, 0.0, 1) - bright.temporalVar / bright.lines - dark.temporalVar / dark.lines;
    if (pattern < 0.0) return nan;
    return 100.0 * std::sqrt(pattern) / signal;
}

double responseShapeChange(const VerifyLevelFigures& a, const VerifyLevelFigures& b)
{
    const double nan = std::numeric_limits<double>::quiet_NaN();
    const qsizetype n = a.brightMeans.size();
    if (n < 2 || a.darkMeans.size() != n || b.brightMeans.size() != n || b.darkMeans.size() != n) return nan;
    std::vector<double> ra(static_cast<size_t>(n)), rb(static_cast<size_t>(n));
    double ma = 0.0, mb = 0.0;
    for (qsizetype x = 0; x < n; ++x) {
        ra[size_t(x)] = a.brightMeans[x] - a.darkMeans[x];
        rb[size_t(x)] = b.brightMeans[x] - b.darkMeans[x];
        ma += ra[size_t(x)] / double(n);
        mb += rb[size_t(x)] / double(n);
    }
    if (!(ma > 0.0) || !(mb > 0.0)) return nan;
    cv::Mat ratio(1, int(n), CV_64F);
    for (qsizetype x = 0; x < n; ++x) {
        if (!(rb[size_t(x)] > 0.0)) return nan;
        ratio.at<double>(0, int(x)) = (ra[size_t(x)] / ma) / (rb[size_t(x)] / mb);
    }
    return 100.0 * std::sqrt(spatialVariance(ratio, 0.0, 1));
}

double judgedPrnu(double prnu1288, double response)
{
    if (std::isnan(response)) return response;
    return std::isnan(prnu1288) ? response : std::max(prnu1288, response);
}

std::vector<double> spectrogram(const cv::Mat& row)
{
    cv::Mat y = rowOfDoubles(row);
    if (y.empty()) return {};
    const int n = y.cols;
    y -= cv::mean(y)[0];
    cv::Mat spectrum;
    cv::dft(y, spectrum, cv::DFT_COMPLEX_OUTPUT | cv::DFT_ROWS);
    std::vector<double> a(size_t(n / 2 + 1), 0.0);
    for (int k = 0; k <= n / 2; ++k) {
        const cv::Vec2d c = spectrum.at<cv::Vec2d>(0, k);
        a[size_t(k)] = std::sqrt((c[0] * c[0] + c[1] * c[1]) / n);
    }
    a[0] = 0.0;
    return a;
}

std::vector<double> movingAverage(const cv::Mat& row, int window)
{
    const cv::Mat y = rowOfDoubles(row);
    if (y.empty()) return {};
    const int n = y.cols;
    const int w = std::clamp(window, 1, n);
    const double* v = y.ptr<double>(0);
    std::vector<double> out;
    out.reserve(size_t(n - w + 1));
    double sum = 0.0;
    for (int i = 0; i < w; ++i) sum += v[i];
    out.push_back(sum / w);
    for (int i = w; i < n; ++i) {
        sum += v[i] - v[i - w];
        out.push_back(sum / w);
    }
    return out;
}

double slowProfilePeakToPeak(const cv::Mat& row, int window)
{
    const std::vector<double> slow = movingAverage(row, window);
    if (slow.empty()) return 0.0;
    const auto [lo, hi] = std::minmax_element(slow.begin(), slow.end());
    return *hi - *lo;
}

std::vector<double> neighbourMeans(const cv::Mat& row, int window)
{
    const cv::Mat y = rowOfDoubles(row);
    if (y.empty()) return {};
    const int n = y.cols;
    const int half = std::max(1, window / 2);
    const double* v = y.ptr<double>(0);
    // Prefix sums: the sum over [a, b) is p[b] - p[a].
    std::vector<double> p(size_t(n) + 1, 0.0);
    for (int i = 0; i < n; ++i) p[size_t(i) + 1] = p[size_t(i)] + v[i];
    std::vector<double> out(size_t(n), 0.0);
    for (int x = 0; x < n; ++x) {
        const int a = std::max(0, x - half), b = std::min(n, x + half + 1);
        const int count = b - a - 1;
        out[size_t(x)] = count > 0 ? (p[size_t(b)] - p[size_t(a)] - v[x]) / count : v[x];
    }
    return out;
}

std::vector<double> neighbourMedians(const cv::Mat& row, int window)
{
    const cv::Mat y = rowOfDoubles(row);
    if (y.empty()) return {};
    const int n = y.cols;
    const int half = std::max(1, window / 2);
    const double* v = y.ptr<double>(0);
    std::vector<double> out(size_t(n), 0.0), around;
    for (int x = 0; x < n; ++x) {
        around.clear();
        for (int j = std::max(0, x - half); j < std::min(n, x + half + 1); ++j)
            if (j != x) around.push_back(v[j]);
        if (around.empty()) {
            out[size_t(x)] = v[x];
            continue;
        }
        const size_t mid = around.size() / 2;
        std::nth_element(around.begin(), around.begin() + long(mid), around.end());
        double m = around[mid];
        if (around.size() % 2 == 0) m = (m + *std::max_element(around.begin(), around.begin() + long(mid))) / 2.0;
        out[size_t(x)] = m;
    }
    return out;
}

std::vector<int> defectColumns(const cv::Mat& darkMeans, const cv::Mat& brightMeans, double darkLimit,
                               double responsePercent, int window)
{
    const cv::Mat d = rowOfDoubles(darkMeans);
    const cv::Mat b = rowOfDoubles(brightMeans);
    if (d.empty() || b.empty() || d.cols != b.cols) return {};
    const cv::Mat r = b - d;
    const std::vector<double> dRef = neighbourMedians(d, window);
    const std::vector<double> rRef = neighbourMedians(r, window);
    std::vector<int> out;
    for (int x = 0; x < d.cols; ++x) {
        const size_t i = size_t(x);
        const bool darkOff = std::abs(d.at<double>(0, x) - dRef[i]) > darkLimit;
        const bool responseOff =
            rRef[i] > 0.0 && std::abs(r.at<double>(0, x) / rRef[i] - 1.0) * 100.0 > responsePercent;
        if (darkOff || responseOff) out.push_back(x);
    }
    return out;
}

std::vector<double> responseSpectrogram(const cv::Mat& row)
{
    const cv::Mat y = rowOfDoubles(row);
    if (y.empty()) return {};
    const double mean = cv::mean(y)[0];
    if (!(mean > 0.0)) return {};
    std::vector<double> a = spectrogram(y);
    for (double& v : a) v *= 100.0 / mean;
    return a;
}

double worstColumnZeroShare(const cv::Mat& stack)
{
    if (!readable(stack) || stack.rows < 1) return 0.0;
    cv::Mat zero;
    cv::compare(stack, cv::Scalar(0), zero, cv::CMP_LE);
    cv::Mat perColumn;
    cv::reduce(zero, perColumn, 0, cv::REDUCE_SUM, CV_64F);
    double most = 0.0;
    cv::minMaxLoc(perColumn, nullptr, &most);
    return most / 255.0 / stack.rows;
}

cv::Mat extrapolatedDark(const cv::Mat& lifted1, double s1, const cv::Mat& lifted2, double s2)
{
    if (!readable(lifted1) || !readable(lifted2) || lifted1.cols != lifted2.cols || lifted1.type() != lifted2.type()
        || !(s1 < s2))
        return cv::Mat();
    const int rows = std::min(lifted1.rows, lifted2.rows);
    cv::Mat a, b;
    lifted1.rowRange(0, rows).convertTo(a, CV_64F);
    lifted2.rowRange(0, rows).convertTo(b, CV_64F);
    const double k = s1 / (s2 - s1);
    // y1 - k (y2 - y1) = (1 + k) y1 - k y2
    cv::Mat out;
    cv::addWeighted(a, 1.0 + k, b, -k, 0.0, out, CV_64F);
    return out;
}

int dark8BitDither(int bits)
{
    return bits == 0 ? 8 : 1;
}

bool parseVerifyLevels(const QString& text, QList<double>& levels)
{
    const QStringList parts = text.split(QRegularExpression(QStringLiteral("[,\\s]+")), Qt::SkipEmptyParts);
    QList<double> out;
    for (const QString& part : parts) {
        bool ok = false;
        const double v = part.toDouble(&ok);
        if (!ok || !(v >= 10.0 && v <= 95.0)) return false;
        if (!out.isEmpty() && !(v > out.last())) return false;
        out.append(v);
    }
    if (out.isEmpty()) return false;
    levels = out;
    return true;
}

BrightLevel brightLevel(const cv::Mat& plane, double fullScale)
{
    BrightLevel l;
    if (!readable(plane) || fullScale <= 0.0) return l;
    const double total = double(plane.total());
    cv::Mat atTop;
    cv::compare(plane, cv::Scalar(fullScale), atTop, cv::CMP_GE);
    l.clipped = double(cv::countNonZero(atTop)) / total;
    l.level = cv::mean(plane)[0] / fullScale;
    return l;
}

VerifyLevelFigures verifyLevelFigures(const VerifyLevelStacks& in, double fullScale)
{
    VerifyLevelFigures f;
    const StackStats &d = in.dark, &b = in.bright;
    f.target = in.target;
    f.exposure = in.exposure;
    f.darkLift = in.darkLift;
    f.prnu = f.prnu1288 = f.prnuResponse = std::numeric_limits<double>::quiet_NaN();
    if (d.means.empty() || b.means.empty()) return f;
    f.darkMean = d.mean;
    f.brightMean = b.mean;
    f.darkTemporalVar = d.temporalVar;
    f.brightTemporalVar = b.temporalVar;
    f.darkSpatialVar = d.spatialVar;
    f.brightSpatialVar = b.spatialVar;
    const double signal = b.mean - d.mean;
    f.level = fullScale > d.mean ? 100.0 * signal / (fullScale - d.mean) : 0.0;
    // A dark that could not be had unclipped gives no PRNU either: its pattern is not subtracted.
    if (in.darkLift.measurable) {
        f.prnu1288 = prnu1288(d, b);
        f.prnuResponse = prnuOfResponse(d, b);
        f.prnu = judgedPrnu(f.prnu1288, f.prnuResponse);
    }
    f.darkMeans = toVector(d.means);
    f.brightMeans = toVector(b.means);
    if (b.means.cols == d.means.cols) {
        const cv::Mat response = b.means - d.means;
        f.brightSlow = signal > 0.0 ? 100.0 * slowProfilePeakToPeak(response, kSlowWindow) / signal : 0.0;
        f.responseSpectrum = toVector(responseSpectrogram(response));
    }
    return f;
}

VerifyFigures verifyFigures(const StackStats& d, const DarkLift& darkLift, const QList<VerifyLevelStacks>& levels,
                            const VerifyLimits& limits, double fullScale)
{
    VerifyFigures f;
    if (d.means.empty()) return f;
    f.darkMean = d.mean;
    f.darkTemporalVar = d.temporalVar;
    f.darkSpatialVar = d.spatialVar;
    f.darkLift = darkLift;
    f.dsnu = darkLift.measurable ? dsnu1288(d) : std::numeric_limits<double>::quiet_NaN();
    f.darkSlow = slowProfilePeakToPeak(d.means, kSlowWindow);
    f.darkZero = darkLift.zerosAsFound;
    f.darkMeans = toVector(d.means);
    f.darkSpectrum = toVector(spectrogram(d.means));

    // PRNU: the worst level; one level without a figure leaves the plane without one.
    f.prnu = f.prnu1288 = f.prnuResponse = levels.isEmpty() ? std::numeric_limits<double>::quiet_NaN() : 0.0;
    auto worst = [](double& w, double p) {
        w = std::isnan(p) || std::isnan(w) ? std::numeric_limits<double>::quiet_NaN() : std::max(w, p);
    };
    int reference = -1;
    for (int i = 0; i < levels.size(); ++i) {
        f.levels.append(verifyLevelFigures(levels[i], fullScale));
        worst(f.prnu, f.levels.last().prnu);
        worst(f.prnu1288, f.levels.last().prnu1288);
        worst(f.prnuResponse, f.levels.last().prnuResponse);
        if (reference < 0 || std::abs(levels[i].target - 50.0) < std::abs(levels[reference].target - 50.0))
            reference = i;
    }
    f.shapeChange = std::numeric_limits<double>::quiet_NaN();
    if (f.levels.size() >= 2) {
        int low = 0, high = 0;
        for (int i = 1; i < f.levels.size(); ++i) {
            if (f.levels[i].target < f.levels[low].target) low = i;
            if (f.levels[i].target > f.levels[high].target) high = i;
        }
        f.shapeChange = responseShapeChange(f.levels[low], f.levels[high]);
    }
    if (reference < 0) return f;
    const VerifyLevelFigures& ref = f.levels[reference];
    const VerifyLevelStacks& refStacks = levels[reference];
    f.brightMean = ref.brightMean;
    f.brightTemporalVar = ref.brightTemporalVar;
    f.brightSpatialVar = ref.brightSpatialVar;
    f.brightSlow = ref.brightSlow;
    f.brightMeans = ref.brightMeans;
    f.responseSpectrum = ref.responseSpectrum;
    // Dark defects at the working exposure; response defects at the reference level, its response
    // against the dark of its own exposure.
    if (refStacks.bright.means.cols == d.means.cols && refStacks.dark.means.cols == d.means.cols) {
        const cv::Mat response = refStacks.bright.means - refStacks.dark.means;
        const std::vector<int> defects =
            defectColumns(d.means, d.means + response, limits.defectDark, limits.defectResponse, kDefectWindow);
        f.defects = QVector<int>(defects.begin(), defects.end());
    }
    return f;
}

VerifyFigures verifyFigures(const StackStats& d, const StackStats& b, const VerifyLimits& limits)
{
    VerifyLevelStacks level;
    level.target = 50.0;
    level.dark = d;
    level.bright = b;
    level.darkLift.zerosAsFound = d.zeros;
    return verifyFigures(d, level.darkLift, {level}, limits, 1023.0);
}

VerifyFigures verifyFigures(const cv::Mat& dark, const cv::Mat& bright, double scale, const VerifyLimits& limits)
{
    return verifyFigures(stackStats(dark, scale), stackStats(bright, scale), limits);
}

bool planePasses(const VerifyFigures& after, const VerifyLimits& limits)
{
    // A figure that could not be had (NaN) fails.
    return after.prnu <= limits.maxPrnu && after.dsnu <= limits.maxDsnu && after.defects.size() <= limits.maxDefects;
}

bool reportPasses(const VerifyReport& report)
{
    if (report.planes.isEmpty()) return false;
    for (const VerifyPlane& p : report.planes)
        if (!planePasses(p.after, report.limits)) return false;
    return true;
}

QJsonObject verifyReportJson(const VerifyReport& r)
{
    QJsonObject camera;
    camera[QStringLiteral("name")] = r.camera;
    camera[QStringLiteral("model")] = r.model;
    camera[QStringLiteral("serial")] = r.serial;
    camera[QStringLiteral("firmware")] = r.version;

    QJsonObject settings;
    settings[QStringLiteral("gain")] = r.gain;
    settings[QStringLiteral("exposureUs")] = r.exposure;
    settings[QStringLiteral("blackLevel")] = r.doffset;
    QJsonArray levels, exposures;
    for (double l : r.levels) levels.append(l);
    for (double e : r.levelExposures) exposures.append(e);
    settings[QStringLiteral("levelsPercent")] = levels;
    settings[QStringLiteral("levelExposuresUs")] = exposures;
    settings[QStringLiteral("bits")] = r.bits == 0 ? 8 : 16;
    settings[QStringLiteral("linesPerStack")] = r.lines;
    settings[QStringLiteral("cameraFpnOn")] = r.fpnOn;
    settings[QStringLiteral("flatFieldOn")] = r.flatOn;

    QJsonObject limits;
    limits[QStringLiteral("maxPrnuPercent")] = r.limits.maxPrnu;
    limits[QStringLiteral("maxDsnuDn")] = r.limits.maxDsnu;
    limits[QStringLiteral("maxDefects")] = r.limits.maxDefects;
    limits[QStringLiteral("defectDarkDn")] = r.limits.defectDark;
    limits[QStringLiteral("defectResponsePercent")] = r.limits.defectResponse;

    QJsonArray planes;
    for (const VerifyPlane& p : r.planes) {
        QJsonObject o;
        o[QStringLiteral("name")] = p.name;
        o[QStringLiteral("plane")] = p.key;
        o[QStringLiteral("before")] = figuresJson(p.before);
        o[QStringLiteral("after")] = figuresJson(p.after);
        o[QStringLiteral("passed")] = planePasses(p.after, r.limits);
        planes.append(o);
    }

    QJsonObject o;
    o[QStringLiteral("standard")] = QStringLiteral("EMVA 1288 release 4.0, line-scan");
    o[QStringLiteral("unit")] = QStringLiteral("DN10");
    o[QStringLiteral("date")] = r.when.toString(Qt::ISODate);
    o[QStringLiteral("camera")] = camera;
    o[QStringLiteral("settings")] = settings;
    o[QStringLiteral("limits")] = limits;
    o[QStringLiteral("passed")] = reportPasses(r);
    o[QStringLiteral("planes")] = planes;
    return o;
}

double dn10Scale(int bits)
{
    return bits == 0 ? 4.0 : 1.0 / 64.0;
}

double rawFullScale(int bits)
{
    return bits == 0 ? 255.0 : 65472.0;
}

double dn10FullScale(int bits)
{
    return rawFullScale(bits) * dn10Scale(bits);
}
