// The dark current of the sensor's columns (darkcurrent.h).
#include "calibration/darkcurrent.h"

#include "fpnparams/paramfile.h"

#include <QCoreApplication>
#include <QDir>
#include <QFile>
#include <QJsonArray>
#include <QJsonDocument>
#include <QJsonObject>
#include <QRegularExpression>

#include <algorithm>
#include <cmath>
#include <vector>

namespace {

const QString kFormat = QStringLiteral("lsxcalib-dark-current");
constexpr int kVersion = 1;

// Per column of one plane: the mean over its rows and the sum of squared deviations from it, in
// double precision (the samples less the first row's, so that a large level keeps the precision).
struct Moments {
    std::vector<double> mean, ss;
};

template <typename T>
Moments momentsOf(const cv::Mat& plane)
{
    const int n = plane.cols, rows = plane.rows;
    Moments m;
    m.mean.assign(size_t(n), 0.0);
    m.ss.assign(size_t(n), 0.0);
    const T* first = plane.ptr<T>(0);
    std::vector<double> sum(size_t(n), 0.0), sum2(size_t(n), 0.0);
    for (int y = 1; y < rows; ++y) {
        const T* p = plane.ptr<T>(y);
        for (int x = 0; x < n; ++x) {
            const double d = double(p[x]) - double(first[x]);
            sum[size_t(x)] += d;
            sum2[size_t(x)] += d * d;
        }
    }
    for (int x = 0; x < n; ++x) {
        const double shift = sum[size_t(x)] / rows;
        m.mean[size_t(x)] = double(first[x]) + shift;
        m.ss[size_t(x)] = std::max(0.0, sum2[size_t(x)] - sum[size_t(x)] * shift);
    }
    return m;
}

bool momentsOf(const cv::Mat& plane, Moments& m)
{
    if (plane.empty() || plane.channels() != 1 || plane.rows < 2) return false;
    if (plane.depth() == CV_8U)
        m = momentsOf<uint8_t>(plane);
    else if (plane.depth() == CV_16U)
        m = momentsOf<uint16_t>(plane);
    else
        return false;
    return true;
}

// The moments of a plane stacked of `steps` equal blocks of rows, one per black level: per column
// the mean over all rows, and the squared deviations of each block from its own mean, summed over
// the blocks (the steps between the blocks are no noise). False for rows that do not divide into
// blocks of two rows or more.
bool blockMomentsOf(const cv::Mat& plane, int steps, Moments& m)
{
    if (steps < 1 || plane.rows % steps != 0 || plane.rows / steps < 2) return false;
    const int rows = plane.rows / steps;
    m.mean.assign(size_t(plane.cols), 0.0);
    m.ss.assign(size_t(plane.cols), 0.0);
    for (int b = 0; b < steps; ++b) {
        Moments block;
        if (!momentsOf(plane.rowRange(b * rows, (b + 1) * rows), block)) return false;
        for (size_t x = 0; x < m.mean.size(); ++x) {
            m.mean[x] += block.mean[x] / steps;
            m.ss[x] += block.ss[x];
        }
    }
    return true;
}

// The temporal variance of a plane: the mean over its columns of ss / degrees of freedom.
double temporalVariance(const Moments& m, int freedom)
{
    double total = 0.0;
    for (double s : m.ss) total += s / freedom;
    return m.ss.empty() ? 0.0 : total / double(m.ss.size());
}

double median(std::vector<double> v)
{
    const size_t mid = v.size() / 2;
    std::nth_element(v.begin(), v.begin() + long(mid), v.end());
    return v[mid];
}

}  // namespace

bool DarkCurrent::fits(const QList<QList<double>>& darkRows) const
{
    if (slope.isEmpty() || slope.size() != darkRows.size()) return false;
    for (qsizetype r = 0; r < slope.size(); ++r)
        if (slope[r].size() != darkRows[r].size()) return false;
    return true;
}

double secondDarkExposure(double working, double minimum, double maximum)
{
    if (!(working > 0.0)) return 0.0;
    if (working - minimum >= working / 2.0) return minimum;
    if (2.0 * working <= maximum) return 2.0 * working;
    return 0.0;
}

QList<double> darkSlopeRow(const cv::Mat& atWorking, const cv::Mat& atSecond, double working, double second, int steps)
{
    Moments w, s;
    if (working == second || !blockMomentsOf(atWorking, steps, w) || !blockMomentsOf(atSecond, steps, s)) return {};
    if (atWorking.cols != atSecond.cols || atWorking.type() != atSecond.type()) return {};
    const double span = working - second;
    const double sd = std::sqrt(temporalVariance(w, atWorking.rows - steps) / atWorking.rows
                                + temporalVariance(s, atSecond.rows - steps) / atSecond.rows)
                      / std::abs(span);
    std::vector<double> raw(w.mean.size());
    for (size_t x = 0; x < raw.size(); ++x) raw[x] = (w.mean[x] - s.mean[x]) / span;
    const double typical = median(raw);
    QList<double> out;
    out.reserve(qsizetype(raw.size()));
    for (double v : raw) out.append(std::abs(v - typical) > kDarkCurrentSignificance * sd ? v : typical);
    return out;
}

QList<double> predictedDark(const QList<double>& dark, const QList<double>& slope, double working, double exposure)
{
    if (slope.size() < dark.size()) return dark;
    QList<double> out;
    out.reserve(dark.size());
    const double dt = exposure - working;
    for (qsizetype x = 0; x < dark.size(); ++x) out.append(dark[x] + slope[x] * dt);
    return out;
}

QList<QList<double>> predictedDarkRows(const QList<QList<double>>& darkRows, const DarkCurrent& current,
                                       double exposure)
{
    if (!current.fits(darkRows)) return darkRows;
    QList<QList<double>> out;
    out.reserve(darkRows.size());
    for (qsizetype r = 0; r < darkRows.size(); ++r)
        out.append(predictedDark(darkRows[r], current.slope[r], current.exposure, exposure));
    return out;
}

double largestDarkShift(const DarkCurrent& current, double exposure)
{
    double steepest = 0.0;
    for (const QList<double>& row : current.slope)
        for (double v : row) steepest = std::max(steepest, std::abs(v));
    const double dn10 = current.bits == 0 ? 4.0 : 1.0 / 64.0;
    return steepest * std::abs(exposure - current.exposure) * dn10;
}

QString darkCurrentPath(const QString& fpnPath)
{
    return fpnPath + QStringLiteral(".dark");
}

QString darkCurrentAsidePath(const QString& fpnPath)
{
    return darkCurrentPath(fpnPath) + QStringLiteral(".old");
}

bool writeDarkCurrentFile(const QString& path, const QString& camera, const DarkCurrent& current, QString* error)
{
    QJsonArray rows;
    for (const QList<double>& row : current.slope) {
        QJsonArray values;
        for (double v : row) values.append(v);
        rows.append(values);
    }
    QJsonObject o{{QStringLiteral("format"), kFormat},
                        {QStringLiteral("version"), kVersion},
                        {QStringLiteral("camera"), camera},
                        {QStringLiteral("exposureUs"), current.exposure},
                        {QStringLiteral("secondExposureUs"), current.secondExposure},
                        {QStringLiteral("bits"), current.bits == 0 ? 8 : 16},
                        {QStringLiteral("unit"), QStringLiteral("raw sample units per microsecond")},
                        {QStringLiteral("slopes"), rows}};
    if (!current.fpnDigest.isEmpty()) o.insert(QStringLiteral("fpnSha256"), current.fpnDigest);
    // Unbuffered, as the parameter files: a write cut short is seen, never renamed into place.
    QString cause;
    if (!writeAtomically(path, QJsonDocument(o).toJson(QJsonDocument::Compact), &cause)) {
        if (error)
            *error = QCoreApplication::translate("DarkCurrent", "无法写入暗电流文件 %1：%2。")
                         .arg(QDir::toNativeSeparators(path), cause);
        return false;
    }
    return true;
}

bool readDarkCurrentFile(const QString& path, const QString& camera, DarkCurrent& out, QString* error)
{
    auto refuse = [&](const QString& why) {
        if (error)
            *error =
                QCoreApplication::translate("DarkCurrent", "暗电流文件 %1 %2").arg(QDir::toNativeSeparators(path), why);
        return false;
    };
    QFile file(path);
    if (!file.open(QIODevice::ReadOnly)) return refuse(QCoreApplication::translate("DarkCurrent", "无法读取。"));
    QJsonParseError parsed{};
    const QJsonDocument doc = QJsonDocument::fromJson(file.readAll(), &parsed);
    if (parsed.error != QJsonParseError::NoError || !doc.isObject())
        return refuse(QCoreApplication::translate("DarkCurrent", "不是 JSON 文件。"));
    const QJsonObject o = doc.object();
    if (o.value(QStringLiteral("format")).toString() != kFormat
        || o.value(QStringLiteral("version")).toInt() != kVersion)
        return refuse(QCoreApplication::translate("DarkCurrent", "的格式或版本不对。"));
    if (o.value(QStringLiteral("camera")).toString() != camera)
        return refuse(QCoreApplication::translate("DarkCurrent", "属于相机 \"%1\"，不是 \"%2\"。")
                          .arg(o.value(QStringLiteral("camera")).toString(), camera));
    const double exposure = o.value(QStringLiteral("exposureUs")).toDouble(-1.0);
    const double second = o.value(QStringLiteral("secondExposureUs")).toDouble(-1.0);
    const int bits = o.value(QStringLiteral("bits")).toInt();
    if (!(exposure > 0.0) || !(second > 0.0) || exposure == second || (bits != 8 && bits != 16))
        return refuse(QCoreApplication::translate("DarkCurrent", "的曝光时间或位深无效。"));
    DarkCurrent read;
    if (o.contains(QStringLiteral("fpnSha256"))) {
        static const QRegularExpression hex(QStringLiteral("^[0-9a-f]{64}$"));
        const QString digest = o.value(QStringLiteral("fpnSha256")).toString();
        if (!hex.match(digest).hasMatch())
            return refuse(QCoreApplication::translate("DarkCurrent", "的FPN文件摘要无效。"));
        read.fpnDigest = digest;
    }
    read.exposure = exposure;
    read.secondExposure = second;
    read.bits = bits == 8 ? 0 : 2;
    const QJsonArray rows = o.value(QStringLiteral("slopes")).toArray();
    for (qsizetype r = 0; r < rows.size(); ++r) {
        if (!rows[r].isArray()) return refuse(QCoreApplication::translate("DarkCurrent", "第 %1 行不是数列。").arg(r));
        QList<double> row;
        const QJsonArray values = rows[r].toArray();
        for (qsizetype x = 0; x < values.size(); ++x) {
            if (!values[x].isDouble() || !std::isfinite(values[x].toDouble()))
                return refuse(QCoreApplication::translate("DarkCurrent", "第 %1 行第 %2 列不是数值。").arg(r).arg(x));
            row.append(values[x].toDouble());
        }
        read.slope.append(row);
    }
    out = read;
    return true;
}
