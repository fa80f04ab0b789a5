// The FPN parameter file (fpnfile.h).
#include "fpnparams/fpnfile.h"

#include "fpnparams/paramfile.h"
#include "lsx.h"

#include <QCoreApplication>
#include <QFileInfo>
#include <QLocale>
#include <QMap>
#include <QSettings>
#include <QStringList>

#include <algorithm>
#include <cmath>

namespace {

const QString kB = QStringLiteral("B_");
const QString kK = QStringLiteral("K_");

// Room for the head and the group lines of a file, beside its values.
constexpr qint64 kHeadRoom = 64 * 1024;
// More value groups than this of one kind belong to no camera (and keep group names short).
constexpr int kMaxGroups = 4096;

// Rows of one gain on a one-line camera: the colour planes of its source format.
int planesOf(int sourceFormat)
{
    switch (sourceFormat) {
    case FORMAT_BGR24:
    case FORMAT_BGR32:
    case FORMAT_RGB24:
    case FORMAT_RGB32:
    case 40:
    case 44: return 3;
    default: return 1;
    }
}

QString number(double v)
{
    return QString::number(v, 'g', QLocale::FloatingPointShortest);
}

// The range of one kind of value, as the operator reads it: B from 0 to the record's largest,
// K above 0 up to the record's largest, and a multi-level camera's bands of K between the limits
// its level interpolation keeps them in.
struct ValueRange {
    QChar kind;  // 'B' or 'K'
    double lowest = 0.0;
    bool lowestIncluded = true;
    double highest = kFpnMaxB;

    static ValueRange b() { return {QLatin1Char('B'), 0.0, true, kFpnMaxB}; }
    static ValueRange k(bool bands, int maxK)
    {
        if (bands && maxK > 0) return {QLatin1Char('K'), kFpnBandMinK, true, maxK - kFpnBandMaxKMargin};
        return {QLatin1Char('K'), 0.0, false, kFpnMaxK};
    }
    bool inside(double v) const { return (lowestIncluded ? v >= lowest : v > lowest) && v <= highest; }
    QString text() const
    {
        if (!lowestIncluded) return QCoreApplication::translate("FpnFile", "大于 %1，至多 %2").arg(lowest).arg(highest);
        return QCoreApplication::translate("FpnFile", "%1 到 %2").arg(lowest).arg(highest);
    }
};

// Whether one value can stand in the file: finite and inside its range.
bool valueFits(double v, const ValueRange& range)
{
    return std::isfinite(v) && range.inside(v);
}

// Why one value cannot stand in the file: not finite, or outside its range. Empty when it can.
// `where` names the value; callers make that text only for a value that does not fit.
QString valueRefusal(const QString& where, double v, const ValueRange& range)
{
    if (!std::isfinite(v))
        return QCoreApplication::translate("FpnFile", "%1的值 %2 不是有限数。").arg(where, number(v));
    if (!range.inside(v))
        return QCoreApplication::translate("FpnFile", "%1的值 %2 超出 %3 的范围（%4）。")
            .arg(where, number(v), range.kind, range.text());
    return QString();
}

// A whole non-negative number in its plain decimal text ("7", not "07" or "+7"); -1 otherwise.
int plainIndex(const QString& text, int limit)
{
    bool ok = false;
    const int i = text.toInt(&ok);
    if (!ok || i < 0 || i >= limit || QString::number(i) != text) return -1;
    return i;
}

// The reading of one file, refusing at the first check that fails.
class Reader {
public:
    Reader(QSettings& file, const FpnCamera& camera, FpnFileContent& out) : m_file(file), m_camera(camera), m_out(out)
    {}

    bool run() { return head() && region() && groups() && rowCounts() && rows(); }

private:
    bool refuse(const QString& why)
    {
        m_out.why = why;
        return false;
    }

    // An integer of the head; a missing key or a text that is not an integer refuses the file.
    bool headInt(const char* key, int& out)
    {
        const QString name = QStringLiteral("Head/%1").arg(QLatin1String(key));
        if (!m_file.contains(name)) return refuse(QCoreApplication::translate("FpnFile", "缺少 %1。").arg(name));
        const QVariant v = m_file.value(name);
        bool ok = false;
        const int n = v.toString().trimmed().toInt(&ok);
        if (!ok || v.userType() != QMetaType::QString)
            return refuse(QCoreApplication::translate("FpnFile", "%1 的值 \"%2\" 不是整数。")
                              .arg(name, v.toStringList().join(QLatin1Char(','))));
        out = n;
        return true;
    }

    bool head()
    {
        FpnFileHead& h = m_out.head;
        const QVariant version = m_file.value(QStringLiteral("Head/Version"));
        if (version.toInt() != 1)
            return refuse(version.isValid()
                              ? QCoreApplication::translate("FpnFile", "Head/Version 为 %1，只能加载版本 1。")
                                    .arg(version.toString())
                              : QCoreApplication::translate("FpnFile", "缺少 Head/Version（只能加载版本 1）。"));
        h.camera = m_file.value(QStringLiteral("Head/Camera")).toString();
        if (h.camera != m_camera.name)
            return refuse(
                QCoreApplication::translate("FpnFile", "文件属于相机 \"%1\"（Head/Camera），而当前相机是 \"%2\"。")
                    .arg(h.camera, m_camera.name));
        // Both spellings: the number, as the format began, and the word, as the file is written.
        const QVariant mlk = m_file.value(QStringLiteral("Head/SupportMLK"));
        const QString text = mlk.userType() == QMetaType::QString ? mlk.toString().trimmed().toLower() : QString();
        if (text != QLatin1String("0") && text != QLatin1String("1") && text != QLatin1String("false")
            && text != QLatin1String("true"))
            return refuse(mlk.isValid() ? QCoreApplication::translate(
                                              "FpnFile", "Head/SupportMLK 的值 \"%1\" 不是 0、1、false 或 true。")
                                              .arg(mlk.toString())
                                        : QCoreApplication::translate("FpnFile", "缺少 Head/SupportMLK。"));
        h.supportMLK = text == QLatin1String("1") || text == QLatin1String("true");
        if (h.supportMLK != m_camera.multiLevelK)
            return refuse(h.supportMLK ? QCoreApplication::translate(
                              "FpnFile", "文件是多级K的参数（Head/SupportMLK），而当前相机不支持多级K。")
                                       : QCoreApplication::translate(
                                           "FpnFile", "文件不是多级K的参数（Head/SupportMLK），而当前相机支持多级K。"));
        if (!headInt("X", h.x) || !headInt("W", h.w) || !headInt("SourceFormat", h.sourceFormat)
            || !headInt("TargetFormat", h.targetFormat))
            return false;
        // Cols and Doffset are not needed; where Cols stands it must be a number, checked below.
        h.cols = 0;
        if (m_file.contains(QStringLiteral("Head/Cols")) && !headInt("Cols", h.cols)) return false;
        h.doffset = m_file.value(QStringLiteral("Head/Doffset")).toInt();
        h.version = 1;
        return true;
    }

    // The region the file was made for must be one the camera can take now.
    bool region()
    {
        const FpnFileHead& h = m_out.head;
        const int minWidth = std::max(1, m_camera.minWidth);
        const bool outside =
            h.x < 0 || h.w < minWidth || (m_camera.sensorWidth > 0 && qint64(h.x) + h.w > m_camera.sensorWidth);
        if (outside)
            return refuse(
                QCoreApplication::translate(
                    "FpnFile", "文件的区域 Head/X = %1、Head/W = %2 不在相机当前的宽度 %3 列之内（宽度至少 %4 列）。")
                    .arg(h.x)
                    .arg(h.w)
                    .arg(m_camera.sensorWidth)
                    .arg(minWidth));
        m_columns = m_camera.area ? qint64(h.w) * std::max(1, m_camera.roiHeight) : h.w;
        m_widthSource =
            m_camera.area
                ? QCoreApplication::translate("FpnFile", "Head/W %1 × 高度 %2").arg(h.w).arg(m_camera.roiHeight)
                : QStringLiteral("Head/W");
        if (m_columns > (1 << 24))
            return refuse(QCoreApplication::translate("FpnFile", "文件的区域 Head/W = %1 过大。").arg(h.w));
        if (h.cols > 0 && h.cols != m_columns)
            return refuse(QCoreApplication::translate("FpnFile", "Head/Cols 为 %1 列，而 %2 为 %3 列。")
                              .arg(h.cols)
                              .arg(m_widthSource)
                              .arg(m_columns));
        return true;
    }

    // The value groups by kind and number, numbered 0, 1, ... without a gap.
    bool groups()
    {
        for (const QString& group : m_file.childGroups()) {
            const bool isB = group.startsWith(kB, Qt::CaseInsensitive);
            if (!isB && !group.startsWith(kK, Qt::CaseInsensitive)) continue;
            const int index = plainIndex(group.mid(2), kMaxGroups);
            if (index < 0)
                return refuse(QCoreApplication::translate("FpnFile", "参数组 [%1] 的名字不是 %2 加行号。")
                                  .arg(group, isB ? kB : kK));
            QMap<int, QString>& kind = isB ? m_bGroups : m_kGroups;
            if (kind.contains(index))
                return refuse(QCoreApplication::translate("FpnFile", "参数组 [%1] 重复出现。").arg(group));
            kind.insert(index, group);
        }
        for (const QMap<int, QString>* kind : {&m_bGroups, &m_kGroups}) {
            const QString prefix = kind == &m_bGroups ? kB : kK;
            for (int i = 0; i < kind->size(); ++i)
                if (!kind->contains(i))
                    return refuse(QCoreApplication::translate(
                                      "FpnFile", "缺少参数组 [%1%2]：文件有 %3 个 %1 组，应编号为 0 到 %4。")
                                      .arg(prefix)
                                      .arg(i)
                                      .arg(kind->size())
                                      .arg(kind->size() - 1));
        }
        return true;
    }

    // As many rows as the camera's lines (or planes) and gains hold; K one per row or nine bands.
    bool rowCounts()
    {
        const int nB = int(m_bGroups.size()), nK = int(m_kGroups.size());
        if (nB == 0) return refuse(QCoreApplication::translate("FpnFile", "文件中没有 B 参数组。"));
        const int perGain = m_camera.area            ? 1
                            : m_camera.lineCount > 1 ? m_camera.lineCount
                                                     : planesOf(m_out.head.sourceFormat);
        const int gains = m_camera.area ? 1 : std::max(1, m_camera.gains);
        if (nB > perGain * gains)
            return refuse(QCoreApplication::translate(
                              "FpnFile", "文件有 %1 行 B 参数，而相机至多 %2 行（每个增益 %3 行，%4 个增益）。")
                              .arg(nB)
                              .arg(perGain * gains)
                              .arg(perGain)
                              .arg(gains));
        if (nB % perGain != 0)
            return refuse(
                QCoreApplication::translate("FpnFile", "文件有 %1 行 B 参数，不是相机每个增益 %2 行的整数倍。")
                    .arg(nB)
                    .arg(perGain));
        if (m_camera.multiLevelK && nK != 0 && nK != kFpnKBands)
            return refuse(QCoreApplication::translate("FpnFile", "文件有 %1 个 K 参数组，多级K的文件应有 %2 个。")
                              .arg(nK)
                              .arg(kFpnKBands));
        if (!m_camera.multiLevelK && nK != 0 && nK != nB)
            return refuse(
                QCoreApplication::translate("FpnFile", "文件有 %1 行 K 参数，而 B 参数有 %2 行。").arg(nK).arg(nB));
        return true;
    }

    // One value group as a row of `columns` values: every key a column, every column there, every
    // value a number in its range. `label` names the row for the operator ("B 第 0 行").
    bool row(const QString& group, const QString& label, qint64 columns, const QString& widthSource,
             const ValueRange& range, QList<double>& out)
    {
        m_file.beginGroup(group);
        const QStringList keys = m_file.childKeys();
        std::vector<std::pair<int, double>> cells;
        cells.reserve(size_t(keys.size()));
        QString why;
        for (const QString& key : keys) {
            const int c = plainIndex(key, 1 << 30);
            if (c < 0) {
                why = QCoreApplication::translate("FpnFile", "[%1] 中的键 \"%2\" 不是列号。").arg(group, key);
                break;
            }
            if (c >= columns) {
                why = QCoreApplication::translate("FpnFile", "[%1] 有第 %2 列，而每行只有 %3 列（%4）。")
                          .arg(group)
                          .arg(c)
                          .arg(columns)
                          .arg(widthSource);
                break;
            }
            auto where = [&] {
                return QCoreApplication::translate("FpnFile", "%1/%2（%3，第 %4 列）")
                    .arg(group)
                    .arg(c)
                    .arg(label)
                    .arg(c);
            };
            const QVariant v = m_file.value(key);
            bool ok = false;
            const double d = v.toString().trimmed().toDouble(&ok);
            if (!ok || v.userType() != QMetaType::QString) {
                why = QCoreApplication::translate("FpnFile", "%1的值 \"%2\" 不是数。")
                          .arg(where(), v.toStringList().join(QLatin1Char(',')));
                break;
            }
            if (!valueFits(d, range)) {
                why = valueRefusal(where(), d, range);
                break;
            }
            cells.emplace_back(c, d);
        }
        m_file.endGroup();
        if (!why.isEmpty()) return refuse(why);
        std::sort(cells.begin(), cells.end());
        if (qint64(cells.size()) < columns) {
            size_t missing = 0;
            while (missing < cells.size() && cells[missing].first == int(missing)) ++missing;
            return refuse(QCoreApplication::translate("FpnFile", "[%1] 只有 %2 列，应有 %3 列（%4）：缺少第 %5 列。")
                              .arg(group)
                              .arg(cells.size())
                              .arg(columns)
                              .arg(widthSource)
                              .arg(missing));
        }
        out.clear();
        out.reserve(qsizetype(cells.size()));
        for (const auto& cell : cells) out.append(cell.second);
        return true;
    }

    bool rows()
    {
        const ValueRange b = ValueRange::b(), k = ValueRange::k(m_camera.multiLevelK, m_camera.maxK);
        for (int i = 0; i < m_bGroups.size(); ++i) {
            QList<double> r;
            if (!row(m_bGroups.value(i), QCoreApplication::translate("FpnFile", "B 第 %1 行").arg(i), m_columns,
                     m_widthSource, b, r))
                return false;
            m_out.b.append(r);
        }
        const qint64 kColumns = m_camera.multiLevelK ? m_columns * m_bGroups.size() : m_columns;
        for (int i = 0; i < m_kGroups.size(); ++i) {
            const QString source =
                m_camera.multiLevelK
                    ? QCoreApplication::translate("FpnFile", "B 的 %1 行 × %2 列").arg(m_bGroups.size()).arg(m_columns)
                    : QCoreApplication::translate("FpnFile", "与 [%1] 相同").arg(m_bGroups.value(i));
            QList<double> r;
            const QString label = m_camera.multiLevelK ? QCoreApplication::translate("FpnFile", "K 第 %1 级").arg(i)
                                                       : QCoreApplication::translate("FpnFile", "K 第 %1 行").arg(i);
            if (!row(m_kGroups.value(i), label, kColumns, source, k, r)) return false;
            m_out.k.append(r);
        }
        return true;
    }

    QSettings& m_file;
    const FpnCamera& m_camera;
    FpnFileContent& m_out;
    qint64 m_columns = 0;
    QString m_widthSource;
    QMap<int, QString> m_bGroups, m_kGroups;
};

void appendRows(IniText& text, const QString& prefix, const QList<QList<double>>& rows)
{
    for (int i = 0; i < rows.size(); ++i) {
        text.section(prefix + QString::number(i));
        for (int c = 0; c < rows[i].size(); ++c) text.value(QString::number(c), rows[i][c]);
    }
}

}  // namespace

qint64 fpnFileSizeLimit(const FpnCamera& camera)
{
    const qint64 width = camera.sensorWidth > 0 ? camera.sensorWidth : 65536;
    const qint64 columns = camera.area ? width * std::max(1, camera.roiHeight) : width;
    // Three colour planes at most on a one-line camera; the format is in the file's head.
    const qint64 rows =
        camera.area ? 1 : qint64(camera.lineCount > 1 ? camera.lineCount : 3) * std::max(1, camera.gains);
    const qint64 kRows = camera.multiLevelK ? kFpnKBands * rows : rows;
    return kHeadRoom + (rows + kRows) * columns * kIniBytesPerValue;
}

FpnFileContent readFpnFile(const QString& path, const FpnCamera& camera)
{
    FpnFileContent out;
    out.path = path;
    const qint64 limit = fpnFileSizeLimit(camera);
    out.why = fileReadRefusal(path, limit);
    if (!out.why.isEmpty()) {
        if (QFileInfo(path).size() > limit)
            out.why = QCoreApplication::translate("FpnFile",
                                                  "文件过大：%1 字节，而相机 %2（宽 %3 列）的FPN参数文件至多 %4 字节。")
                          .arg(QFileInfo(path).size())
                          .arg(camera.name)
                          .arg(camera.sensorWidth)
                          .arg(limit);
        return out;
    }
    QSettings file(path, QSettings::IniFormat);
    if (file.status() != QSettings::NoError) {
        out.why = QCoreApplication::translate("FpnFile", "文件 %1 不是可读的参数文件。").arg(path);
        return out;
    }
    out.ok = Reader(file, camera, out).run();
    if (!out.ok) {
        out.b.clear();
        out.k.clear();
    }
    return out;
}

QString fpnDataRefusal(const QList<QList<double>>& b, const QList<QList<double>>& k, bool multiLevelK, int maxK)
{
    if (b.isEmpty()) return QCoreApplication::translate("FpnFile", "没有B参数。");
    const qsizetype columns = b.first().size();
    const qsizetype kColumns = multiLevelK ? columns * b.size() : columns;
    if (!multiLevelK && !k.isEmpty() && k.size() != b.size())
        return QCoreApplication::translate("FpnFile", "K 有 %1 行，而 B 有 %2 行。").arg(k.size()).arg(b.size());
    if (multiLevelK && !k.isEmpty() && k.size() != kFpnKBands)
        return QCoreApplication::translate("FpnFile", "K 有 %1 个级别，多级K应有 %2 个。")
            .arg(k.size())
            .arg(kFpnKBands);
    const ValueRange rangeB = ValueRange::b(), rangeK = ValueRange::k(multiLevelK, maxK);
    for (int i = 0; i < b.size(); ++i) {
        if (b[i].size() != columns)
            return QCoreApplication::translate("FpnFile", "B 第 %1 行有 %2 列，而第 0 行有 %3 列。")
                .arg(i)
                .arg(b[i].size())
                .arg(columns);
        for (int c = 0; c < b[i].size(); ++c)
            if (!valueFits(b[i][c], rangeB))
                return valueRefusal(QCoreApplication::translate("FpnFile", "B 第 %1 行第 %2 列").arg(i).arg(c), b[i][c],
                                    rangeB);
    }
    for (int i = 0; i < k.size(); ++i) {
        if (k[i].size() != kColumns)
            return QCoreApplication::translate("FpnFile", "K 第 %1 行有 %2 列，而应有 %3 列。")
                .arg(i)
                .arg(k[i].size())
                .arg(kColumns);
        for (int c = 0; c < k[i].size(); ++c) {
            if (valueFits(k[i][c], rangeK)) continue;
            const int row = multiLevelK ? int(c / columns) : i;
            const int column = multiLevelK ? int(c % columns) : c;
            const QString where =
                multiLevelK
                    ? QCoreApplication::translate("FpnFile", "K 第 %1 级第 %2 行第 %3 列").arg(i).arg(row).arg(column)
                    : QCoreApplication::translate("FpnFile", "K 第 %1 行第 %2 列").arg(row).arg(column);
            return valueRefusal(where, k[i][c], rangeK);
        }
    }
    return QString();
}

QByteArray fpnFileText(const FpnFileHead& head, const QList<QList<double>>& bRows, const QList<QList<double>>& kRows)
{
    IniText text;
    text.section(QStringLiteral("Head"));
    text.value(QStringLiteral("Version"), head.version);
    text.value(QStringLiteral("Camera"), head.camera);
    text.value(QStringLiteral("SupportMLK"), head.supportMLK ? QStringLiteral("true") : QStringLiteral("false"));
    text.value(QStringLiteral("SourceFormat"), head.sourceFormat);
    text.value(QStringLiteral("TargetFormat"), head.targetFormat);
    text.value(QStringLiteral("X"), head.x);
    text.value(QStringLiteral("W"), head.w);
    text.value(QStringLiteral("Cols"), head.cols);
    text.value(QStringLiteral("Doffset"), head.doffset);
    appendRows(text, kB, bRows);
    appendRows(text, kK, kRows);
    return text.bytes();
}

bool writeFpnFile(const QString& path, const FpnFileHead& head, const QList<QList<double>>& bRows,
                  const QList<QList<double>>& kRows, QString* why)
{
    return saveAtomically(path, fpnFileText(head, bRows, kRows), why);
}

QList<QList<KPoint>> kPointsFromBands(const QList<QList<double>>& bands, const std::vector<uint8_t>& levels, int rows)
{
    QList<QList<KPoint>> points;
    if (rows < 1 || bands.isEmpty() || size_t(bands.size()) > levels.size()) return points;
    const qsizetype columns = bands.first().size() / rows;
    for (int r = 0; r < rows; ++r)
        for (int n = 0; n < bands.size(); ++n) {
            QList<KPoint> samples;
            samples.reserve(columns);
            for (qsizetype c = 0; c < columns; ++c)
                samples.append(KPoint{double(levels[size_t(n)]), bands[n].value(r * columns + c, 1.0)});
            points.append(samples);
        }
    return points;
}
