// The verification's raw stacks kept for a second look (verifystacks.h).
#include "calibration/verifystacks.h"

#include "calibration/darkstats.h"
#include "calibration/verifystats.h"
#include "camera/tables.h"
#include "fpnparams/paramfile.h"

#include <QCoreApplication>
#include <QDir>
#include <QFile>
#include <QFileInfo>
#include <QJsonDocument>
#include <QJsonObject>

#include <opencv2/imgcodecs.hpp>

#include <filesystem>
#include <system_error>
#include <vector>

namespace verify {

namespace {

const char* const kKept = QT_TRANSLATE_NOOP("CameraServer", "校正验证-原始图像栈保存在 %1。");
const char* const kFolderFailed =
    QT_TRANSLATE_NOOP("CameraServer", "校正验证-无法创建原始图像栈的文件夹 %1：%2。图像栈不保存，测量照常进行。");
const char* const kWriteFailed =
    QT_TRANSLATE_NOOP("CameraServer", "校正验证-保存原始图像栈 %1 出错：%2。此后的图像栈不再保存，测量照常进行。");
const char* const kIndexFailed = QT_TRANSLATE_NOOP("CameraServer", "校正验证-保存原始图像栈的索引 %1 出错：%2。");
const char* const kNotEncoded = QT_TRANSLATE_NOOP("CameraServer", "图像编码失败");

QString tr(const char* text)
{
    return QCoreApplication::translate("CameraServer", text);
}

// A level as a file name has it: "50pct", or "working" for the dark at the working exposure.
QString levelTag(double target)
{
    return target > 0.0 ? QStringLiteral("%1pct").arg(target) : QStringLiteral("working");
}

QJsonValue levelValue(double target)
{
    return target > 0.0 ? QJsonValue(target) : QJsonValue();
}

}  // namespace

StackFolder::~StackFolder()
{
    finish(QJsonValue());
}

bool StackFolder::open(const QString& root, const QString& camera, const QDateTime& when, int doffset, int progress)
{
    if (root.trimmed().isEmpty()) return false;
    m_progress = progress;
    const QString base = QDir(documentDir()).absoluteFilePath(root.trimmed());
    std::error_code ec;
    std::filesystem::create_directories(QFile::encodeName(base).toStdString(), ec);
    if (!ec && !QFileInfo(base).isDir()) ec = std::make_error_code(std::errc::not_a_directory);
    // The folder that could not be made, for the message.
    QString failed = base;
    const QString name = safeFileName(camera) + when.toString(QStringLiteral("-yyyyMMdd-HHmmss"));
    QString path = base + QLatin1Char('/') + name;
    // A run of the same second (a second camera, a repeat) gets a folder of its own too.
    for (int n = 2; !ec; ++n) {
        if (std::filesystem::create_directory(QFile::encodeName(path).toStdString(), ec)) break;
        if (ec) {
            failed = path;
            break;
        }
        path = base + QLatin1Char('/') + name + QStringLiteral("-%1").arg(n);
    }
    if (ec) {
        m_say(progress,
              tr(kFolderFailed).arg(QDir::toNativeSeparators(failed), QString::fromLocal8Bit(ec.message().c_str())));
        return false;
    }
    m_on = true;
    m_path = path;
    m_camera = camera;
    m_when = when;
    m_doffset = doffset;
    m_say(progress, tr(kKept).arg(QDir::toNativeSeparators(path)));
    return true;
}

void StackFolder::fail(const QString& text)
{
    m_on = false;
    m_allWritten = false;
    m_say(m_progress, text);
}

QString StackFolder::write(const QString& name, const cv::Mat& plane)
{
    if (!m_on) return QString();
    const QString path = m_path + QLatin1Char('/') + name;
    std::vector<uchar> bytes;
    QString error;
    try {
        if (!cv::imencode(".png", plane, bytes)) error = tr(kNotEncoded);
    } catch (const cv::Exception& e) {
        error = QString::fromStdString(e.what());
    }
    if (error.isEmpty())
        writeAtomically(path, QByteArray(reinterpret_cast<const char*>(bytes.data()), qsizetype(bytes.size())), &error);
    if (error.isEmpty()) return name;
    fail(tr(kWriteFailed).arg(QDir::toNativeSeparators(path), error));
    return QString();
}

QJsonObject StackFolder::stackEntry(const QString& stage, double target, double exposure, int bits) const
{
    return QJsonObject{{QStringLiteral("stage"), stage},
                       {QStringLiteral("levelPercent"), levelValue(target)},
                       {QStringLiteral("exposureUs"), exposure},
                       {QStringLiteral("bits"), bits == 0 ? 8 : 16},
                       {QStringLiteral("toDn10"), dn10Scale(bits)},
                       {QStringLiteral("fullScale"), rawFullScale(bits)}};
}

void StackFolder::keepBright(const QString& stage, double target, double exposure, const StackGrab& g, int progress)
{
    if (!m_on) return;
    m_progress = progress;
    const int index = ++m_count;
    QJsonArray planes;
    for (size_t p = 0; p < g.planes.size() && m_on; ++p) {
        const QString key = planeKey(g.format, g.planes.size(), p);
        const QString file = write(
            QStringLiteral("%1-%2-%3-%4.png").arg(index, 2, 10, QLatin1Char('0')).arg(stage, levelTag(target), key),
            g.planes[p]);
        if (file.isEmpty()) return;
        planes.append(QJsonObject{{QStringLiteral("plane"), key},
                                  {QStringLiteral("name"), planeName(g.format, g.planes.size(), p)},
                                  {QStringLiteral("file"), file},
                                  {QStringLiteral("lines"), g.planes[p].rows},
                                  {QStringLiteral("columns"), g.planes[p].cols}});
    }
    QJsonObject entry = stackEntry(stage, target, exposure, g.bits);
    entry[QStringLiteral("planes")] = planes;
    m_stacks.append(entry);
}

void StackFolder::keepDark(const QString& stage, double target, double exposure, const DarkGrab& g, int progress)
{
    if (!m_on) return;
    m_progress = progress;
    const int index = ++m_count;
    const size_t n = g.asFound.size();
    auto name = [&](size_t p, const QString& suffix) {
        return QStringLiteral("%1-%2-%3-%4%5.png")
            .arg(index, 2, 10, QLatin1Char('0'))
            .arg(stage, levelTag(target), planeKey(g.format, n, p), suffix);
    };
    QJsonArray planes;
    for (size_t p = 0; p < n && m_on; ++p) {
        const DarkLift lift = p < g.lifts.size() ? g.lifts[p] : DarkLift{};
        const QString file = write(name(p, QString()), g.asFound[p]);
        if (file.isEmpty()) return;
        // Extrapolated from two lifts when measurable and lifted; as found when measurable and not.
        const bool extrapolated = lift.measurable && lift.second > 0;
        QJsonArray parts;
        for (const DarkPart& part : g.parts) {
            if (p >= part.planes.size()) continue;
            const QString partFile = write(name(p, QStringLiteral("-lift%1").arg(part.lift)), part.planes[p]);
            if (partFile.isEmpty()) return;
            QString use = QStringLiteral("none");
            if (extrapolated && part.lift == lift.first) use = QStringLiteral("first");
            if (extrapolated && part.lift == lift.second) use = QStringLiteral("second");
            parts.append(QJsonObject{{QStringLiteral("file"), partFile},
                                     {QStringLiteral("lift"), part.lift},
                                     {QStringLiteral("ditherSteps"), part.steps},
                                     {QStringLiteral("rowsPerStep"), part.rowsPerStep},
                                     {QStringLiteral("lines"), part.planes[p].rows},
                                     {QStringLiteral("worstColumnZeroShare"), worstColumnZeroShare(part.planes[p])},
                                     {QStringLiteral("use"), use}});
        }
        planes.append(QJsonObject{{QStringLiteral("plane"), planeKey(g.format, n, p)},
                                  {QStringLiteral("name"), planeName(g.format, n, p)},
                                  {QStringLiteral("file"), file},
                                  {QStringLiteral("lines"), g.asFound[p].rows},
                                  {QStringLiteral("columns"), g.asFound[p].cols},
                                  {QStringLiteral("measured"), !lift.measurable ? QStringLiteral("notMeasurable")
                                                               : extrapolated   ? QStringLiteral("extrapolated")
                                                                                : QStringLiteral("asFound")},
                                  {QStringLiteral("lifted"), parts}});
    }
    QJsonObject entry = stackEntry(stage, target, exposure, g.bits);
    entry[QStringLiteral("planes")] = planes;
    m_stacks.append(entry);
}

void StackFolder::finish(const QJsonValue& report)
{
    if (m_finished || m_path.isEmpty()) return;
    m_finished = true;
    const QJsonObject index{{QStringLiteral("camera"), m_camera},
                            {QStringLiteral("date"), m_when.toString(Qt::ISODate)},
                            {QStringLiteral("blackLevelAsFound"), m_doffset},
                            {QStringLiteral("finished"), report.isObject()},
                            {QStringLiteral("allWritten"), m_allWritten},
                            {QStringLiteral("stacks"), m_stacks},
                            {QStringLiteral("report"), report}};
    const QString path = m_path + QLatin1Char('/') + kStackIndex;
    QString error;
    if (!writeAtomically(path, QJsonDocument(index).toJson(QJsonDocument::Indented), &error))
        m_say(m_progress, tr(kIndexFailed).arg(QDir::toNativeSeparators(path), error));
}

}  // namespace verify
