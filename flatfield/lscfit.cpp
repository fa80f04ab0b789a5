#include "lscfit.h"

#include <QCoreApplication>
#include <QSettings>

#include <algorithm>
#include <cmath>
#include <cstring>

namespace {

const char kChannelNames[3] = {'R', 'G', 'B'};

QString lscKey(char name, int letter)
{
    return QStringLiteral("FFC_%1/%2_%3").arg(QChar(name)).arg(QChar('A' + letter)).arg(QChar(name));
}

// The channels in the file's order R, G, B: three channels reversed, fewer as they are.
QList<QList<double>> fileOrder(const QList<QList<double>>& polys)
{
    QList<QList<double>> list = polys;
    if (list.size() == 3) std::reverse(list.begin(), list.end());
    return list;
}

}  // namespace

std::vector<float> lscChannelRatios(const std::vector<cv::Mat>& rows)
{
    std::vector<float> ratio{1.0f, 1.0f, 1.0f};
    if (rows.size() != 3) return ratio;
    double m[3];
    for (int c = 0; c < 3; ++c) {
        double lo = 0.0;
        cv::minMaxIdx(rows[size_t(c)], &lo, &m[c]);
    }
    ratio[0] = float(m[0] / m[1]);
    ratio[2] = float(m[2] / m[1]);
    return ratio;
}

QList<double> lscFitChannel(const cv::Mat& row, int roiW, float goalRate, float ratio)
{
    if (roiW < 1 || row.empty() || row.type() != CV_32FC1 || row.cols < roiW) return {};
    cv::Mat A = cv::Mat::zeros(7, 7, CV_64F);
    cv::Mat b = cv::Mat::zeros(7, 1, CV_64F);
    const float* y = row.ptr<float>(0);
    for (int i = 0; i < roiW; ++i) {
        cv::Mat X(7, 1, CV_64F);
        for (int k = 0; k < 7; ++k) X.at<double>(k) = std::pow(double(i), double(k));
        A += X * X.t();
        b += double(y[i]) * X;
    }
    const cv::Mat c = A.inv(cv::DECOMP_LU) * b;
    QList<double> poly;
    for (int k = 0; k < 7; ++k) poly.prepend(c.at<double>(k));

    float target = 0.0f;
    if (goalRate < 0.0f) {
        float sum = 0.0f;
        for (int i = 0; i < row.cols; ++i) sum += y[i];
        target = sum / float(row.cols);
    } else if (goalRate <= 1.0f) {
        double lo = 0.0, hi = 0.0;
        cv::minMaxIdx(row, &lo, &hi);
        target = float((hi - lo) * goalRate + lo);
    } else {
        target = goalRate * ratio;
    }
    poly.append(double(target));
    return poly;
}

bool lscFitUsable(const QList<double>& poly)
{
    if (poly.size() != 8) return false;
    bool anyCoefficient = false;
    for (int i = 0; i < 8; ++i) {
        if (!std::isfinite(poly[i])) return false;
        if (i < 7 && poly[i] != 0.0) anyCoefficient = true;
    }
    return anyCoefficient;
}

double lscPolyValue(const QList<double>& poly, double x)
{
    double p = 0.0;
    for (int d = 0; d < 7; ++d) p += poly.value(d) * std::pow(x, double(6 - d));
    return p;
}

QList<double> lscSensorGains(const QList<double>& poly, int roiX, int roiW, int sensorWidth)
{
    QList<double> gains;
    gains.reserve(qMax(0, sensorWidth));
    const double target = poly.value(7);
    for (int s = 0; s < sensorWidth; ++s) {
        if (s >= roiX && s < roiX + roiW)
            gains.append(target / lscPolyValue(poly, double(s - roiX)));
        else
            gains.append(1.0);
    }
    return gains;
}

std::vector<uint8_t> lscPackBlock(const QList<QList<double>>& polys, const lsxRegion& roi)
{
    if (polys.isEmpty()) return {};
    for (const QList<double>& p : polys)
        if (p.size() != 8) return {};
    const size_t payload = size_t(polys.size()) * LSX_LSC_CHANNEL_BYTES;
    if (payload > 0xFFFF) return {};
    std::vector<uint8_t> block(sizeof(lsxLscBlockHead) + payload, 0);
    uint8_t* data = block.data() + sizeof(lsxLscBlockHead);
    size_t at = 0;
    for (int c = int(polys.size()) - 1; c >= 0; --c)
        for (double v : polys[c]) {
            std::memcpy(data + at, &v, sizeof v);
            at += sizeof v;
        }
    uint32_t sum = 0;
    for (size_t i = 0; i < payload; ++i) sum += data[i];
    lsxLscBlockHead head;
    head.magic = LSX_LSC_MAGIC;
    head.roiX = uint16_t(roi.X);
    head.roiY = uint16_t(roi.Y);
    head.roiW = uint16_t(roi.W);
    head.roiH = uint16_t(roi.H);
    head.checksum = uint16_t(sum & 0xFFFF);
    head.payloadSize = uint16_t(payload);
    std::memcpy(block.data(), &head, sizeof head);
    return block;
}

QString lscPolysRefusal(const QList<QList<double>>& polys)
{
    if (polys.size() > 3)
        return QCoreApplication::translate("LscFit", "LSC参数文件至多保存三个通道，当前有 %1 个。").arg(polys.size());
    const QList<QList<double>> list = fileOrder(polys);
    for (int n = 0; n < list.size(); ++n) {
        if (list[n].size() != 8)
            return QCoreApplication::translate("LscFit", "FFC_%1 有 %2 个系数，而应有 8 个。")
                .arg(QChar(kChannelNames[n]))
                .arg(list[n].size());
        for (int letter = 0; letter < 8; ++letter)
            if (!std::isfinite(list[n][letter]))
                return QCoreApplication::translate("LscFit", "%1 的值 %2 不是有限数，不能保存。")
                    .arg(lscKey(kChannelNames[n], letter))
                    .arg(list[n][letter]);
    }
    return QString();
}

QByteArray lscFileText(const lsxRegion& roi, const QList<QList<double>>& polys)
{
    const QList<QList<double>> list = fileOrder(polys);
    IniText text;
    text.section(QStringLiteral("FFC"));
    text.value(QStringLiteral("Version"), 2);
    text.section(QStringLiteral("FFC_ROI"));
    text.value(QStringLiteral("OffsetH"), int(roi.X));
    text.value(QStringLiteral("OffsetV"), int(roi.Y));
    text.value(QStringLiteral("Width"), int(roi.W));
    text.value(QStringLiteral("Height"), int(roi.H));
    for (int n = 0; n < 3; ++n) {
        text.section(QStringLiteral("FFC_%1").arg(QChar(kChannelNames[n])));
        const QList<double> values = n < list.size() ? list[n] : QList<double>();
        for (int letter = 0; letter < 11; ++letter)
            text.value(lscKey(kChannelNames[n], letter).section(QLatin1Char('/'), 1), values.value(letter, 0.0));
    }
    return text.bytes();
}

bool lscSaveFile(const QString& path, const lsxRegion& roi, const QList<QList<double>>& polys, QString* why)
{
    const QString refusal = lscPolysRefusal(polys);
    if (!refusal.isEmpty()) {
        if (why) *why = refusal;
        return false;
    }
    return saveAtomically(path, lscFileText(roi, polys), why);
}

LscFileContent lscReadFile(const QString& path)
{
    LscFileContent c;
    c.text = fileReadRefusal(path, kLscFileMaxBytes);
    if (!c.text.isEmpty()) return c;
    QSettings file(path, QSettings::IniFormat);
    if (file.status() != QSettings::NoError || file.value(QStringLiteral("FFC/Version"), 0).toInt() != 2) {
        c.text = QCoreApplication::translate("LscFit", "不支持的参数版本号，无法解析及加载。");
        return c;
    }
    const QString roiKeys[4] = {QStringLiteral("FFC_ROI/OffsetH"), QStringLiteral("FFC_ROI/OffsetV"),
                                QStringLiteral("FFC_ROI/Width"), QStringLiteral("FFC_ROI/Height")};
    int* roiValues[4] = {&c.roiX, &c.roiY, &c.roiW, &c.roiH};
    for (int i = 0; i < 4; ++i) {
        bool ok = false;
        *roiValues[i] = file.value(roiKeys[i]).toString().trimmed().toInt(&ok);
        if (!ok || *roiValues[i] < 0 || *roiValues[i] > 0xFFFF) {
            c.text = QCoreApplication::translate("LscFit", "参数文件中 %1 缺失或无效，无法解析。").arg(roiKeys[i]);
            return c;
        }
    }
    QList<QList<double>> rgb;
    for (int n = 0; n < 3; ++n) {
        QList<double> values;
        for (int letter = 0; letter < 11; ++letter) {
            const QString key = lscKey(kChannelNames[n], letter);
            bool ok = false;
            const double v = file.value(key).toString().trimmed().toDouble(&ok);
            if (!file.contains(key) || !ok || !std::isfinite(v)) {
                c.text = QCoreApplication::translate("LscFit", "参数文件中 %1 缺失或无效，无法解析。").arg(key);
                return c;
            }
            values.append(v);
        }
        values = values.mid(0, 8);
        rgb.append(values);
    }
    auto zeros = [](const QList<double>& v) {
        return std::all_of(v.begin(), v.end(), [](double x) { return x == 0.0; });
    };
    // A file of the head and zeros holds no polynomial; one of R alone a mono camera's.
    if (zeros(rgb[0]) && zeros(rgb[1]) && zeros(rgb[2]))
        c.polys = {};
    else if (zeros(rgb[1]) && zeros(rgb[2]))
        c.polys = {rgb[0]};
    else
        c.polys = {rgb[2], rgb[1], rgb[0]};
    c.ok = true;
    return c;
}
