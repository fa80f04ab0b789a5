// The runner's apply step: the tool's parameter files applied to pictures on the disk, with the
// correction library, no camera needed.
//
//   lsxcalib-cli apply --fpn F [--ffc F] [--lsc F] [--gain G] IN OUT
//
//  1. the files loaded into a correction of liblsxcorrect, the gain and the first sensor column
//     (--region, else the files' ROI X) set;
//  2. IN read whole: a PNG or TIFF picture of 8-bit or 16-bit grey or 8-bit colour (OpenCV's
//     order, B, G, R), or any other file as a raw dump of lines: --width pixels a line (else the
//     FPN file's columns) of --format mono8, mono16, rgb8 or bgr8 (else the FPN file's target
//     format: FORMAT_MONO, FORMAT_MONO16, FORMAT_BGR24 or FORMAT_RGB24; any other needs --format);
//     16-bit samples are the tool's own (10-bit data in the high bits) unless --bits 10 or 12
//     says they sit in the low bits;
//  3. corrected on every core, every check made before the first sample changes;
//  4. OUT, a picture of the same kind for a .png, .tif or .tiff name (encoded in memory) or else a
//     raw dump, saved atomically (a temporary file beside it, renamed once whole). OUT may not
//     be IN.
#include "cli/clirunner.h"

#include "fpnparams/paramfile.h"
#include "lsx.h"
#include "lsxcorrect.h"

#include <QFile>
#include <QFileInfo>

#include <opencv2/imgcodecs.hpp>
#include <opencv2/imgproc.hpp>

#include <cstring>
#include <memory>
#include <vector>

namespace {

struct CorrectionDeleter {
    void operator()(lsxcCorrection* c) const { lsxcDestroy(c); }
};
using Correction = std::unique_ptr<lsxcCorrection, CorrectionDeleter>;

QString libraryError(lsxcCorrection* c)
{
    char text[1024] = {};
    lsxcLastError(c, text, sizeof text);
    return QString::fromUtf8(text);
}

bool isPicture(const QString& path)
{
    const QString suffix = QFileInfo(path).suffix().toLower();
    return suffix == QLatin1String("png") || suffix == QLatin1String("tif") || suffix == QLatin1String("tiff");
}

int bytesPerPixel(int format)
{
    return format == LSXC_MONO8 ? 1 : format == LSXC_MONO16 ? 2 : 3;
}

// The library's format of a raw dump by name, or of the FPN file's target format; 0 when neither
// tells. A 4-byte target (BGR32, RGB32) tells nothing: a dump of it is not in a layout the
// library takes, and one converted to 3 bytes may be in either order.
int rawFormat(const QString& name, const lsxcInfo& info)
{
    if (name == QLatin1String("mono8")) return LSXC_MONO8;
    if (name == QLatin1String("mono16")) return LSXC_MONO16;
    if (name == QLatin1String("rgb8")) return LSXC_RGB8;
    if (name == QLatin1String("bgr8")) return LSXC_BGR8;
    if (!name.isEmpty() || !(info.loaded & LSXC_FPN)) return 0;
    switch (info.fpnTarget) {
    case FORMAT_MONO: return LSXC_MONO8;
    case 30: return LSXC_MONO8;  // the 8-bit mono target the calibrations widen, as the library reads it
    case FORMAT_MONO16: return LSXC_MONO16;
    case FORMAT_BGR24: return LSXC_BGR8;
    case FORMAT_RGB24: return LSXC_RGB8;
    default: return 0;
    }
}

const char* formatName(int format)
{
    switch (format) {
    case LSXC_MONO8: return "mono8";
    case LSXC_MONO16: return "mono16";
    case LSXC_RGB8: return "rgb8";
    default: return "bgr8";
    }
}

}  // namespace

int CliRunner::applyStep(const CliStep& step, StepResult& r)
{
    const QString in = QFileInfo(step.args.value(0)).absoluteFilePath();
    const QString out = QFileInfo(step.args.value(1)).absoluteFilePath();
    const QMap<QString, QString>& o = step.options;
    if (!o.contains(QStringLiteral("fpn")) && !o.contains(QStringLiteral("ffc")) && !o.contains(QStringLiteral("lsc"))) {
        fail(r, tr("apply 需要至少一个校正文件：--fpn、--ffc 或 --lsc。"), CliUsage);
        return r.exit;
    }
    if (QFileInfo(in).exists() && QFileInfo(out).exists() && QFileInfo(in).canonicalFilePath() == QFileInfo(out).canonicalFilePath()) {
        fail(r, tr("输出文件 %1 就是输入文件：不会覆盖原图。").arg(out), CliUsage);
        return r.exit;
    }
    auto number = [&](const char* key, double& value, double lo, double hi) {
        const QString text = o.value(QLatin1String(key));
        if (text.isEmpty()) return true;
        bool ok = false;
        value = text.toDouble(&ok);
        if (ok && value >= lo && value <= hi) return true;
        fail(r, tr("--%1 应在 %2 到 %3 之间，而不是 \"%4\"。").arg(QLatin1String(key)).arg(lo).arg(hi).arg(text),
             CliUsage);
        return false;
    };
    double gain = 1.0, width = 0.0, bits = 16.0, region = -1.0;
    if (!number("gain", gain, 0.01, 1000.0) || !number("width", width, 1.0, 65536.0) || !number("bits", bits, 10.0, 16.0)
        || !number("region", region, 0.0, 1 << 20))
        return r.exit;
    const QString formatOption = o.value(QStringLiteral("format"));
    const QStringList formats{QStringLiteral("mono8"), QStringLiteral("mono16"), QStringLiteral("rgb8"),
                              QStringLiteral("bgr8")};
    if (!formatOption.isEmpty() && !formats.contains(formatOption)) {
        fail(r, tr("--format 应为 mono8、mono16、rgb8 或 bgr8，而不是 \"%1\"。").arg(formatOption), CliUsage);
        return r.exit;
    }

    // 1. The correction.
    lsxcCorrection* raw = nullptr;
    if (lsxcCreate(&raw) != LSXC_OK) {
        fail(r, tr("内存不足。"));
        return r.exit;
    }
    const Correction c(raw);
    const struct {
        const char* key;
        lsxcStatus (*load)(lsxcCorrection*, const char*);
    } files[] = {{"fpn", lsxcLoadFpn}, {"ffc", lsxcLoadFfc}, {"lsc", lsxcLoadLsc}};
    for (const auto& f : files) {
        if (!o.contains(QLatin1String(f.key))) continue;
        const QString path = QFileInfo(o.value(QLatin1String(f.key))).absoluteFilePath();
        if (f.load(c.get(), QFile::encodeName(path).constData()) != LSXC_OK) {
            fail(r, tr("校正文件无法加载：%1").arg(libraryError(c.get())));
            return r.exit;
        }
        r.files.append(path);
    }
    if (lsxcSetGain(c.get(), gain) != LSXC_OK) {
        fail(r, tr("校正库拒绝了 %1：%2").arg(QStringLiteral("lsxcSetGain(%1)").arg(gain), libraryError(c.get())));
        return r.exit;
    }
    if (lsxcSetRegion(c.get(), int32_t(region)) != LSXC_OK) {
        fail(r, tr("校正库拒绝了 %1：%2")
                    .arg(QStringLiteral("lsxcSetRegion(%1)").arg(int32_t(region)), libraryError(c.get())));
        return r.exit;
    }
    lsxcInfo info{};
    lsxcGetInfo(c.get(), &info);

    // 2. The input.
    cv::Mat picture;
    QByteArray dump;
    lsxcImage image{};
    if (isPicture(in)) {
        try {
            picture = cv::imread(QFile::encodeName(in).toStdString(), cv::IMREAD_UNCHANGED);
        } catch (const cv::Exception&) {
            picture.release();
        }
        if (picture.empty()) {
            fail(r, tr("无法读取图像 %1（文件不存在、不是 PNG/TIFF 图像或已损坏）。").arg(in));
            return r.exit;
        }
        const int type = picture.type();
        image.format = type == CV_8UC1 ? LSXC_MONO8 : type == CV_16UC1 ? LSXC_MONO16 : type == CV_8UC3 ? LSXC_BGR8 : 0;
        if (image.format == 0) {
            fail(r, tr("不支持的图像 %1：%2 通道、%3 位；可校正 8 位或 16 位灰度图和 8 位三通道彩色图。")
                        .arg(in)
                        .arg(picture.channels())
                        .arg(picture.depth() == CV_16U ? 16 : picture.depth() == CV_8U ? 8 : 32));
            return r.exit;
        }
        image.width = picture.cols;
        image.lines = picture.rows;
        image.stride = int64_t(picture.step[0]);
        image.data = picture.data;
    } else {
        QFile f(in);
        if (!f.open(QIODevice::ReadOnly)) {
            fail(r, tr("无法读取 %1：%2").arg(in, f.errorString()));
            return r.exit;
        }
        dump = f.readAll();
        image.format = rawFormat(formatOption, info);
        if (image.format == 0 && (info.loaded & LSXC_FPN)) {
            fail(r,
                 tr("原始数据 %1 的像素格式未知：FPN 文件的目标格式 %2 不是 mono8、mono16、rgb8 或 bgr8，"
                    "请用 --format 给出原始数据的格式。")
                     .arg(in)
                     .arg(info.fpnTarget),
                 CliUsage);
            return r.exit;
        }
        if (image.format == 0) {
            fail(r, tr("原始数据 %1 的像素格式未知：请用 --format 给出 mono8、mono16、rgb8 或 bgr8。").arg(in),
                 CliUsage);
            return r.exit;
        }
        image.width = width > 0 ? int(width) : info.fpnColumns;
        const int64_t line = int64_t(image.width) * bytesPerPixel(image.format);
        if (image.width <= 0) {
            fail(r, tr("原始数据 %1 的行宽未知：请用 --width 给出每行的像素数。").arg(in), CliUsage);
            return r.exit;
        }
        if (dump.isEmpty() || dump.size() % line != 0) {
            fail(r, tr("原始数据 %1 有 %2 字节，不是整数行（每行 %3 像素 %4，%5 字节）。")
                        .arg(in)
                        .arg(dump.size())
                        .arg(image.width)
                        .arg(QLatin1String(formatName(image.format)))
                        .arg(line));
            return r.exit;
        }
        image.lines = int32_t(dump.size() / line);
        image.data = dump.data();
    }
    image.bits = image.format == LSXC_MONO16 ? int32_t(bits) : 0;

    // 3. The correction of the whole picture.
    if (lsxcCorrect(c.get(), &image, &image) != LSXC_OK) {
        fail(r, tr("无法校正 %1：%2").arg(in, libraryError(c.get())));
        return r.exit;
    }

    // 4. The output.
    const bool asPicture = isPicture(out);
    if (asPicture && picture.empty()) {
        picture = cv::Mat(image.lines, image.width, image.format == LSXC_MONO16 ? CV_16UC1 : image.format == LSXC_MONO8 ? CV_8UC1 : CV_8UC3,
                          dump.data());
        // The picture file keeps channels in OpenCV's order, B, G, R.
        if (image.format == LSXC_RGB8) cv::cvtColor(picture, picture, cv::COLOR_RGB2BGR);
    }
    if (!asPicture && dump.isEmpty()) {
        const int64_t line = int64_t(image.width) * bytesPerPixel(image.format);
        dump.resize(qsizetype(line * image.lines));
        for (int y = 0; y < image.lines; ++y) std::memcpy(dump.data() + y * line, picture.ptr(y), size_t(line));
    }
    // A picture is encoded in memory, so that what goes to the disk is the file's bytes, saved as
    // every file of the tool is: through a temporary file, renamed once it is whole.
    QByteArray bytes = dump;
    if (asPicture) {
        std::vector<uchar> encoded;
        QString cause = QStringLiteral("cv::imencode");
        bool ok = false;
        try {
            ok = cv::imencode(QStringLiteral(".%1").arg(QFileInfo(out).suffix().toLower()).toStdString(), picture,
                              encoded);
        } catch (const cv::Exception& e) {
            cause = QString::fromStdString(e.msg);
        }
        if (!ok || encoded.empty()) {
            fail(r, tr("无法把校正后的图像编码为 %1：%2").arg(out, cause));
            return r.exit;
        }
        bytes = QByteArray(reinterpret_cast<const char*>(encoded.data()), qsizetype(encoded.size()));
    }
    QString why;
    if (!saveAtomically(out, bytes, &why)) {
        fail(r, why);
        return r.exit;
    }
    report(-1,
           tr("已校正 %1：%2 行 x %3 像素（%4），写入 %5")
               .arg(in)
               .arg(image.lines)
               .arg(image.width)
               .arg(QLatin1String(formatName(image.format)))
               .arg(out),
           &r);
    r.figures = QJsonObject{{QStringLiteral("format"), QLatin1String(formatName(image.format))},
                            {QStringLiteral("width"), image.width},
                            {QStringLiteral("lines"), image.lines},
                            {QStringLiteral("gain"), gain}};
    r.files.append(out);
    return CliOk;
}
