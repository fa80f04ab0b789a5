#include "tables.h"

#include <QCoreApplication>
#include <QDir>
#include <QProcessEnvironment>

#include <cstring>

QMap<QString, lsxCameraInfo> cameraInfoMap;

const QStringList supportedModels{
    QStringLiteral("TQW4A1N60"),  QStringLiteral("TQW4A2N60"), QStringLiteral("TQW4A2N61"),
    QStringLiteral("TQW32A2N60"), QStringLiteral("TQW4A3D60"), QStringLiteral("TQW32A3D60"),
};

QString documentDir()
{
    const QString value = QProcessEnvironment::systemEnvironment().value(QStringLiteral("TELORINE_DOCUMENT_PATH"));
    if (value.isEmpty()) return QCoreApplication::applicationDirPath();
    QDir dir(value);
    // mkdir, not mkpath: a folder that doesn't exist is not made, and the value is used as it stands.
    if (dir.exists(QStringLiteral("FPN")) || dir.mkdir(QStringLiteral("FPN"))) return value + QStringLiteral("/FPN");
    return value;
}

QString makeDocumentDir()
{
    const QString value = QProcessEnvironment::systemEnvironment().value(QStringLiteral("TELORINE_DOCUMENT_PATH"));
    if (value.isEmpty()) return QString();
    if (!QDir().mkpath(value + QStringLiteral("/FPN")))
        return QCoreApplication::translate(
                   "CameraTables", "无法创建文档目录 %1/FPN（TELORINE_DOCUMENT_PATH），设置和参数文件无法保存在那里。")
            .arg(value);
    return QString();
}

QString pictureDir()
{
    const QString value = QProcessEnvironment::systemEnvironment().value(QStringLiteral("TELORINE_PICTURE_PATH"));
    if (value.isEmpty()) return QCoreApplication::applicationDirPath();
    return value;
}

QString cameraInfoText(const char* field, std::size_t capacity)
{
    const void* end = std::memchr(field, 0, capacity);
    const std::size_t length = end ? static_cast<std::size_t>(static_cast<const char*>(end) - field) : capacity;
    return QString::fromLatin1(field, static_cast<qsizetype>(length));
}

QString fpnIniPath()
{
    return documentDir() + QStringLiteral("/FPN.ini");
}

namespace FpnIni {

QVariant defaultValue(const QString& key)
{
    if (key == GainMin) return GainMinDefault;
    if (key == GainMax) return GainMaxDefault;
    if (key == PixelMax) return PixelMaxDefault;
    if (key == PixelMin) return PixelMinDefault;
    if (key == DOffset) return DOffsetDefault;
    if (key == FlatEnable) return FlatEnableDefault;
    if (key == HideFunction) return HideFunctionDefault;
    if (key == FpnSel) return FpnSelDefault;
    if (key == Factory) return FactoryDefault;
    if (key == CameraConfig) return CameraConfigDefault;
    if (key == ColCount) return ColCountDefault;
    if (key == StopShowHelp) return StopShowHelpDefault;
    return {};
}

QStringList allKeys()
{
    return {GainMin, GainMax, PixelMax, PixelMin, DOffset,      FlatEnable, HideFunction,
            FpnSel,  Factory, MaxK,     MaxB,     CameraConfig, ColCount,   StopShowHelp};
}

}  // namespace FpnIni
