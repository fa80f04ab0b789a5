#include "framesave.h"

#include <QCoreApplication>
#include <QFileInfo>
#include <QJsonArray>
#include <QJsonDocument>
#include <QSaveFile>

#include <opencv2/imgcodecs.hpp>

#include <cmath>
#include <vector>

namespace {

bool writeWhole(const QString& path, const QByteArray& bytes, QString* error)
{
    QSaveFile out(path);
    if (out.open(QIODevice::WriteOnly) && out.write(bytes) == bytes.size() && out.commit()) return true;
    if (error) *error = out.errorString();
    return false;
}

QJsonValue reading(double v)
{
    return std::isfinite(v) ? QJsonValue(v) : QJsonValue();
}

}  // namespace

QString rawSuffix(const QString& setting)
{
    return setting.compare(QLatin1String("png"), Qt::CaseInsensitive) == 0 ? QStringLiteral("png")
                                                                           : QStringLiteral("tif");
}

bool writeFrameSamples(const cv::Mat& frame, const QString& path, QString* error)
{
    const int channels = frame.channels();
    if (frame.empty() || (frame.depth() != CV_8U && frame.depth() != CV_16U)
        || (channels != 1 && channels != 3 && channels != 4)) {
        if (error) *error = QCoreApplication::translate("FrameSave", "没有可保存的图像数据");
        return false;
    }
    const QString suffix = QFileInfo(path).suffix().toLower();
    const std::string ext = suffix == QLatin1String("png") ? ".png" : ".tif";
    std::vector<uchar> bytes;
    try {
        if (!cv::imencode(ext, frame, bytes)) {
            if (error) *error = QCoreApplication::translate("FrameSave", "图像编码失败");
            return false;
        }
    } catch (const cv::Exception& e) {
        if (error) *error = QString::fromStdString(e.what());
        return false;
    }
    return writeWhole(path, QByteArray(reinterpret_cast<const char*>(bytes.data()), qsizetype(bytes.size())), error);
}

QJsonObject frameMetadataJson(const FrameMetadata& m)
{
    QJsonObject o;
    o[QStringLiteral("time")] = m.when.toString(Qt::ISODateWithMs);
    o[QStringLiteral("source")] = m.live ? QStringLiteral("camera") : QStringLiteral("file");
    if (m.live) {
        o[QStringLiteral("camera")] = m.camera;
        o[QStringLiteral("model")] = m.model;
        o[QStringLiteral("serial")] = m.serial;
        o[QStringLiteral("firmware")] = m.firmware;
        o[QStringLiteral("gain")] = reading(m.gain);
        o[QStringLiteral("exposureUs")] = reading(m.exposureUs);
        o[QStringLiteral("roi")] = QJsonObject{{QStringLiteral("x"), m.roiX}, {QStringLiteral("y"), m.roiY}};
        o[QStringLiteral("sum")] = m.sum;
        o[QStringLiteral("softwareCorrections")] = QJsonArray::fromStringList(m.softwareCorrections);
    }
    o[QStringLiteral("width")] = m.width;
    o[QStringLiteral("height")] = m.height;
    o[QStringLiteral("sampleBits")] = m.sampleBits;
    o[QStringLiteral("fullScale")] = m.sampleBits == 16 ? 65472 : 255;
    o[QStringLiteral("channels")] = m.channels;
    o[QStringLiteral("picture")] = m.picture;
    o[QStringLiteral("samples")] = m.samples;
    return o;
}

bool writeFrameMetadata(const FrameMetadata& m, const QString& path, QString* error)
{
    return writeWhole(path, QJsonDocument(frameMetadataJson(m)).toJson(QJsonDocument::Indented), error);
}
