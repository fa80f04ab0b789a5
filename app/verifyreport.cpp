#include "verifyreport.h"

#include <QCoreApplication>
#include <QDir>
#include <QFileInfo>
#include <QGraphicsScene>
#include <QJsonDocument>
#include <QPageLayout>
#include <QPageSize>
#include <QPainter>
#include <QPdfWriter>
#include <QSaveFile>
#include <QTextLayout>
#include <QtCharts/QChart>
#include <QtCharts/QLegend>
#include <QtCharts/QLineSeries>
#include <QtCharts/QLogValueAxis>
#include <QtCharts/QValueAxis>

#include <algorithm>
#include <cmath>

namespace {

// The four curves of a plane, each in its own colour on the dark window and on paper: bright (or
// response) before and after correction, dark before and after (also dashed).
const QColor kBrightBefore(235, 120, 20);
const QColor kBrightAfter(40, 170, 70);
const QColor kDarkBefore(200, 70, 200);
const QColor kDarkAfter(40, 140, 240);
const QColor kDarkBackground(QStringLiteral("#444444"));
// Amplitudes below this are drawn at it: the logarithmic axis has no 0.
constexpr double kSpectrumFloor = 1e-3;

QString number(double v, int decimals)
{
    return std::isfinite(v) ? QString::number(v, 'f', decimals) : QCoreApplication::translate("VerifyReport", "不可测");
}

// A figure in per cent with its unit, or "不可测" alone.
QString percent(double v)
{
    return std::isfinite(v) ? number(v, 3) + QStringLiteral(" %") : number(v, 3);
}

QLineSeries* series(const QString& name, const QColor& color, bool dashed)
{
    auto* s = new QLineSeries;
    s->setName(name);
    QPen pen(color);
    pen.setWidthF(1.2);
    if (dashed) pen.setStyle(Qt::DashLine);
    s->setPen(pen);
    return s;
}

void styleAxis(QAbstractAxis* axis, ChartStyle style, const QString& title)
{
    const QColor ink = style == ChartStyle::Dark ? QColor(Qt::white) : QColor(Qt::black);
    axis->setTitleText(title);
    axis->setTitleBrush(ink);
    axis->setLabelsColor(ink);
    axis->setLinePenColor(ink);
    axis->setGridLineColor(style == ChartStyle::Dark ? QColor(90, 90, 90) : QColor(220, 220, 220));
}

QChart* newChart(const QString& title, ChartStyle style)
{
    auto* chart = new QChart;
    chart->setTitle(title);
    chart->setMargins(QMargins(4, 4, 4, 4));
    chart->legend()->setAlignment(Qt::AlignBottom);
    if (style == ChartStyle::Dark) {
        chart->setBackgroundBrush(kDarkBackground);
        chart->setTitleBrush(Qt::white);
        chart->legend()->setLabelColor(Qt::white);
    } else {
        chart->setBackgroundBrush(Qt::white);
        chart->setTitleBrush(Qt::black);
        chart->legend()->setLabelColor(Qt::black);
    }
    return chart;
}

// The range of some rows of values with a little room above and below.
std::pair<double, double> rangeOf(const QList<const QVector<double>*>& rows)
{
    double lo = 0.0, hi = 0.0;
    bool first = true;
    for (const QVector<double>* row : rows)
        for (double v : *row) {
            if (!std::isfinite(v)) continue;
            lo = first ? v : std::min(lo, v);
            hi = first ? v : std::max(hi, v);
            first = false;
        }
    const double room = std::max(1.0, (hi - lo) * 0.05);
    return {lo - room, hi + room};
}

// ---- The PDF ----

class PdfPage {
public:
    PdfPage(QPdfWriter& writer, QPainter& painter)
        : m_writer(writer), m_p(painter), m_width(writer.width()), m_height(writer.height())
    {}

    QFont font(double points, bool bold = false) const
    {
        QFont f;
        f.setFamilies({QStringLiteral("WenQuanYi Micro Hei"), QStringLiteral("Noto Sans CJK SC"),
                       QStringLiteral("Microsoft YaHei"), QStringLiteral("SimHei")});
        f.setPointSizeF(points);
        f.setBold(bold);
        return f;
    }

    // A new page when fewer than `needed` units are left on this one.
    void room(int needed)
    {
        if (m_height - m_y < needed) newPage();
    }

    void newPage()
    {
        m_writer.newPage();
        m_y = 0;
    }

    // A paragraph, wrapped to the page's width; one longer than the rest of the page (a long list
    // of defect columns) goes on, line by line, on the next pages.
    void text(const QString& paragraph, double points, bool bold = false, const QColor& color = Qt::black)
    {
        m_p.setFont(font(points, bold));
        m_p.setPen(color);
        QTextLayout layout(paragraph, m_p.font(), &m_writer);
        QTextOption option;
        option.setWrapMode(QTextOption::WrapAtWordBoundaryOrAnywhere);
        layout.setTextOption(option);
        layout.beginLayout();
        for (QTextLine line = layout.createLine(); line.isValid(); line = layout.createLine())
            line.setLineWidth(m_width);
        layout.endLayout();
        int lineHeight = 0;
        for (int i = 0; i < layout.lineCount(); ++i) {
            const QTextLine line = layout.lineAt(i);
            lineHeight = int(std::ceil(line.height()));
            room(lineHeight);
            // A line draws at its own place in the layout plus the offset given: here, at m_y.
            line.draw(&m_p, QPointF(0.0, m_y - line.y()));
            m_y += lineHeight;
        }
        m_y += lineHeight / 4;
    }

    // A table: the header row shaded, one row per entry; `widths` are shares of the page width.
    // Cells of a judged column show their verdict's colour.
    void table(const QStringList& header, const QList<QStringList>& rows, const QList<double>& widths,
               const QList<QList<QColor>>& colours = {})
    {
        m_p.setFont(font(8.5));
        const int rowHeight = m_p.fontMetrics().height() * 3 / 2;
        const int pad = rowHeight / 5;
        auto drawRow = [&](const QStringList& cells, bool head, const QList<QColor>& colour) {
            room(rowHeight);
            int x = 0;
            for (int c = 0; c < cells.size() && c < widths.size(); ++c) {
                const int w = int(widths[c] * m_width);
                const QRect cell(x, m_y, w, rowHeight);
                if (head) m_p.fillRect(cell, QColor(230, 230, 230));
                m_p.setPen(QColor(150, 150, 150));
                m_p.drawRect(cell);
                m_p.setPen(c < colour.size() && colour[c].isValid() ? colour[c] : QColor(Qt::black));
                m_p.setFont(font(8.5, head));
                const Qt::Alignment align = Qt::AlignVCenter | (c == 0 ? Qt::AlignLeft : Qt::AlignRight);
                m_p.drawText(cell.adjusted(pad, 0, -pad, 0), align, cells[c]);
                x += w;
            }
            m_y += rowHeight;
        };
        drawRow(header, true, {});
        for (int r = 0; r < rows.size(); ++r)
            drawRow(rows[r], false, r < colours.size() ? colours[r] : QList<QColor>{});
        m_y += rowHeight / 2;
    }

    // A chart drawn as vectors, the page's width wide and `aspect` of it high; the chart is
    // deleted after.
    void chart(QChart* chart, double aspect)
    {
        const int h = int(m_width * aspect);
        room(h);
        const QSizeF logical(1000.0, 1000.0 * aspect);
        QGraphicsScene scene;
        scene.addItem(chart);
        chart->setGeometry(QRectF(QPointF(0, 0), logical));
        scene.setSceneRect(QRectF(QPointF(0, 0), logical));
        scene.render(&m_p, QRectF(0, m_y, m_width, h), scene.sceneRect());
        m_y += h + h / 20;
    }

    int lineUnits() const { return QFontMetrics(font(10), &m_writer).height(); }

private:
    QPdfWriter& m_writer;
    QPainter& m_p;
    int m_width = 0, m_height = 0;
    int m_y = 0;
};

QColor verdictColour(bool passed)
{
    return passed ? QColor(0, 140, 60) : QColor(200, 30, 30);
}

void planeSection(PdfPage& page, const VerifyPlane& plane, const VerifyLimits& limits)
{
    page.room(page.lineUnits() * 16);
    page.text(QCoreApplication::translate("VerifyReport", "平面：%1").arg(plane.name), 12, true);
    QList<QStringList> rows;
    QList<QList<QColor>> colours;
    for (const VerifyRow& r : verifyRows(plane, limits)) {
        rows.append({r.label, r.before, r.after, r.limit, r.judged ? verdictText(r.passed) : QString()});
        colours.append({{}, {}, {}, {}, r.judged ? verdictColour(r.passed) : QColor()});
    }
    page.table(
        {QCoreApplication::translate("VerifyReport", "指标"), QCoreApplication::translate("VerifyReport", "校正前"),
         QCoreApplication::translate("VerifyReport", "校正后"), QCoreApplication::translate("VerifyReport", "限值"),
         QCoreApplication::translate("VerifyReport", "结论")},
        rows, {0.40, 0.15, 0.15, 0.15, 0.15}, colours);
    page.chart(verifyProfileChart(plane, ChartStyle::Paper), 0.27);
    page.chart(verifySpectrumChart(plane, ChartStyle::Paper), 0.23);
    page.text(QCoreApplication::translate("VerifyReport", "校正前缺陷列：%1").arg(defectText(plane.before.defects)),
              8.5);
    page.text(QCoreApplication::translate("VerifyReport", "校正后缺陷列：%1").arg(defectText(plane.after.defects)),
              8.5);
    for (const QString& note : verifyNotes(plane))
        page.text(QCoreApplication::translate("VerifyReport", "说明：") + note, 8.5);
}

bool writePdf(const VerifyReport& r, QIODevice* device)
{
    QPdfWriter writer(device);
    writer.setPageSize(QPageSize(QPageSize::A4));
    writer.setPageMargins(QMarginsF(12, 12, 12, 12), QPageLayout::Millimeter);
    writer.setResolution(300);
    writer.setTitle(QCoreApplication::translate("VerifyReport", "线扫相机校正验证报告"));
    writer.setCreator(QCoreApplication::translate("VerifyReport", "线扫相机校正工具"));
    QPainter painter;
    if (!painter.begin(&writer)) return false;
    PdfPage page(writer, painter);

    const bool passed = reportPasses(r);
    const QString on = QCoreApplication::translate("VerifyReport", "开"),
                  off = QCoreApplication::translate("VerifyReport", "关");
    page.text(QCoreApplication::translate("VerifyReport", "线扫相机校正验证报告"), 16, true);
    page.text(QCoreApplication::translate("VerifyReport", "相机：%1　　型号：%2　　序列号：%3　　固件版本：%4")
                  .arg(r.camera, r.model, r.serial, r.version),
              9.5);
    page.text(QCoreApplication::translate("VerifyReport", "日期：%1　　增益：%2　　工作曝光时间：%3 us　　位深：%4 位　　每平面行数：%5")
                  .arg(r.when.toString(QStringLiteral("yyyy-MM-dd HH:mm:ss")))
                  .arg(r.gain)
                  .arg(r.exposure)
                  .arg(r.bits == 0 ? 8 : 16)
                  .arg(r.lines),
              9.5);
    page.text(QCoreApplication::translate("VerifyReport",
                                          "校正后测量时相机FPN：%1　　平场/镜头校正：%2　　校正前测量时两者均关闭")
                  .arg(r.fpnOn ? on : off, r.flatOn ? on : off),
              9.5);
    page.text(verifyLevelsText(r) + QCoreApplication::translate("VerifyReport", "（曝光时间由验证设定，结束后恢复）；DSNU 在工作曝光时间下测量。"),
              9.5);
    page.text(QCoreApplication::translate("VerifyReport", "依据 EMVA 1288 第 4.0 版的定义（线扫：每列 %1 个时间样本），数值单位 DN10（10 位数据）。")
                  .arg(r.lines),
              9.5);
    page.text(QCoreApplication::translate("VerifyReport", "限值：PRNU ≤ %1 %，DSNU ≤ %2 DN10，缺陷列 ≤ %3；"
                             "缺陷列判定：暗场偏离邻列 %4 DN10 或响应偏离邻列 %5 %。")
                  .arg(r.limits.maxPrnu)
                  .arg(r.limits.maxDsnu)
                  .arg(r.limits.maxDefects)
                  .arg(r.limits.defectDark)
                  .arg(r.limits.defectResponse),
              9.5);
    page.text(QCoreApplication::translate("VerifyReport", "结论：%1").arg(verdictText(passed)), 18, true,
              verdictColour(passed));

    QList<QStringList> summary;
    QList<QList<QColor>> colours;
    for (const VerifyPlane& p : r.planes) {
        const bool ok = planePasses(p.after, r.limits);
        summary.append({p.name, number(p.before.dsnu, 3), number(p.after.dsnu, 3), number(p.before.prnu, 3),
                        number(p.after.prnu, 3), QString::number(p.before.defects.size()),
                        QString::number(p.after.defects.size()), verdictText(ok)});
        colours.append({{}, {}, {}, {}, {}, {}, {}, verdictColour(ok)});
    }
    page.table(
        {QCoreApplication::translate("VerifyReport", "平面"), QCoreApplication::translate("VerifyReport", "DSNU 前"),
         QCoreApplication::translate("VerifyReport", "DSNU 后"),
         QCoreApplication::translate("VerifyReport", "PRNU% 前"),
         QCoreApplication::translate("VerifyReport", "PRNU% 后"),
         QCoreApplication::translate("VerifyReport", "缺陷 前"), QCoreApplication::translate("VerifyReport", "缺陷 后"),
         QCoreApplication::translate("VerifyReport", "结论")},
        summary, {0.16, 0.12, 0.12, 0.12, 0.12, 0.12, 0.12, 0.12}, colours);

    for (int i = 0; i < r.planes.size(); ++i) {
        if (i > 0) page.newPage();
        planeSection(page, r.planes[i], r.limits);
    }
    return painter.end();
}

}  // namespace

QChart* verifyProfileChart(const VerifyPlane& plane, ChartStyle style)
{
    QChart* chart = newChart(QCoreApplication::translate("VerifyReport", "列均值曲线（%1）").arg(plane.name), style);
    struct Line {
        QString name;
        const QVector<double>* values;
        QColor color;
        bool dark;
    };
    const Line lines[] = {
        {QCoreApplication::translate("VerifyReport", "明场 校正前"), &plane.before.brightMeans, kBrightBefore, false},
        {QCoreApplication::translate("VerifyReport", "明场 校正后"), &plane.after.brightMeans, kBrightAfter, false},
        {QCoreApplication::translate("VerifyReport", "暗场 校正前（右轴）"), &plane.before.darkMeans, kDarkBefore,
         true},
        {QCoreApplication::translate("VerifyReport", "暗场 校正后（右轴）"), &plane.after.darkMeans, kDarkAfter, true},
    };
    auto* x = new QValueAxis;
    auto* bright = new QValueAxis;
    auto* dark = new QValueAxis;
    chart->addAxis(x, Qt::AlignBottom);
    chart->addAxis(bright, Qt::AlignLeft);
    chart->addAxis(dark, Qt::AlignRight);
    int columns = 0;
    for (const Line& l : lines) {
        QLineSeries* s = series(l.name, l.color, l.dark);
        QList<QPointF> points;
        points.reserve(l.values->size());
        for (int i = 0; i < l.values->size(); ++i) points.append(QPointF(i, l.values->at(i)));
        s->replace(points);
        columns = std::max(columns, int(l.values->size()));
        chart->addSeries(s);
        s->attachAxis(x);
        s->attachAxis(l.dark ? dark : bright);
    }
    x->setRange(0, std::max(1, columns - 1));
    x->setLabelFormat(QStringLiteral("%d"));
    const auto [bLo, bHi] = rangeOf({&plane.before.brightMeans, &plane.after.brightMeans});
    const auto [dLo, dHi] = rangeOf({&plane.before.darkMeans, &plane.after.darkMeans});
    bright->setRange(bLo, bHi);
    dark->setRange(dLo, dHi);
    bright->setLabelFormat(QStringLiteral("%.0f"));
    dark->setLabelFormat(QStringLiteral("%.1f"));
    styleAxis(x, style, QCoreApplication::translate("VerifyReport", "列"));
    styleAxis(bright, style, QCoreApplication::translate("VerifyReport", "明场 DN10"));
    styleAxis(dark, style, QCoreApplication::translate("VerifyReport", "暗场 DN10"));
    return chart;
}

QChart* verifySpectrumChart(const VerifyPlane& plane, ChartStyle style)
{
    QChart* chart = newChart(QCoreApplication::translate("VerifyReport", "频谱（%1）").arg(plane.name), style);
    struct Line {
        QString name;
        const QVector<double>* values;
        QColor color;
        bool dashed;
    };
    const Line lines[] = {
        {QCoreApplication::translate("VerifyReport", "响应 校正前"), &plane.before.responseSpectrum, kBrightBefore,
         false},
        {QCoreApplication::translate("VerifyReport", "响应 校正后"), &plane.after.responseSpectrum, kBrightAfter,
         false},
        {QCoreApplication::translate("VerifyReport", "暗场 校正前"), &plane.before.darkSpectrum, kDarkBefore, true},
        {QCoreApplication::translate("VerifyReport", "暗场 校正后"), &plane.after.darkSpectrum, kDarkAfter, true},
    };
    auto* x = new QValueAxis;
    auto* y = new QLogValueAxis;
    y->setBase(10.0);
    chart->addAxis(x, Qt::AlignBottom);
    chart->addAxis(y, Qt::AlignLeft);
    double top = kSpectrumFloor * 10.0;
    for (const Line& l : lines) {
        QLineSeries* s = series(l.name, l.color, l.dashed);
        // Frequency k / N for k = 1 .. N / 2, where the row had N = 2 * (size - 1) columns or one more.
        const int n = std::max(1, 2 * (int(l.values->size()) - 1));
        QList<QPointF> points;
        for (int k = 1; k < l.values->size(); ++k) {
            const double a = std::max(kSpectrumFloor, l.values->at(k));
            top = std::max(top, a);
            points.append(QPointF(double(k) / n, a));
        }
        s->replace(points);
        chart->addSeries(s);
        s->attachAxis(x);
        s->attachAxis(y);
    }
    x->setRange(0.0, 0.5);
    x->setLabelFormat(QStringLiteral("%.2f"));
    y->setRange(kSpectrumFloor, top * 2.0);
    y->setLabelFormat(QStringLiteral("%g"));
    styleAxis(x, style, QCoreApplication::translate("VerifyReport", "空间频率（周期/列）"));
    styleAxis(y, style, QCoreApplication::translate("VerifyReport", "幅度（暗场 DN10，响应 %）"));
    return chart;
}

QList<VerifyRow> verifyRows(const VerifyPlane& p, const VerifyLimits& l)
{
    const VerifyFigures &b = p.before, &a = p.after;
    auto sd = [](double var) { return std::sqrt(std::max(0.0, var)); };
    // A figure shown only, without a limit.
    auto shown = [](const QString& label, const QString& before, const QString& after) {
        VerifyRow row;
        row.label = label;
        row.before = before;
        row.after = after;
        return row;
    };
    auto judged = [](const QString& label, const QString& before, const QString& after, const QString& limit,
                     bool passed) {
        VerifyRow row{label, before, after, limit, true, passed};
        return row;
    };
    QList<VerifyRow> rows;
    rows.append(judged(QStringLiteral("DSNU1288 (DN10)"), number(b.dsnu, 3), number(a.dsnu, 3),
                       QStringLiteral("≤ %1").arg(l.maxDsnu), a.dsnu <= l.maxDsnu));
    // The judged PRNU is the larger of PRNU1288 and the response row's, both shown below it.
    rows.append(judged(QStringLiteral("PRNU (%)"), number(b.prnu, 3), number(a.prnu, 3),
                       QStringLiteral("≤ %1").arg(l.maxPrnu), a.prnu <= l.maxPrnu));
    rows.append(judged(QCoreApplication::translate("VerifyReport", "缺陷列数"), QString::number(b.defects.size()), QString::number(a.defects.size()),
                       QStringLiteral("≤ %1").arg(l.maxDefects), a.defects.size() <= l.maxDefects));
    rows.append(shown(QCoreApplication::translate("VerifyReport", "暗场均值 μ (DN10)"), number(b.darkMean, 2), number(a.darkMean, 2)));
    rows.append(shown(QCoreApplication::translate("VerifyReport", "明场均值 μ (DN10)"), number(b.brightMean, 2), number(a.brightMean, 2)));
    rows.append(shown(QCoreApplication::translate("VerifyReport", "暗场时间噪声 σ (DN10)"), number(sd(b.darkTemporalVar), 3),
                      number(sd(a.darkTemporalVar), 3)));
    rows.append(shown(QCoreApplication::translate("VerifyReport", "明场时间噪声 σ (DN10)"), number(sd(b.brightTemporalVar), 3),
                      number(sd(a.brightTemporalVar), 3)));
    rows.append(shown(QCoreApplication::translate("VerifyReport", "暗场慢变化峰峰值 (DN10)"), number(b.darkSlow, 3), number(a.darkSlow, 3)));
    rows.append(shown(QCoreApplication::translate("VerifyReport", "响应慢变化峰峰值 (%)"), number(b.brightSlow, 3), number(a.brightSlow, 3)));
    rows.append(
        shown(QCoreApplication::translate("VerifyReport", "暗场零值像素比例 (%)"), number(100.0 * b.darkZero, 1), number(100.0 * a.darkZero, 1)));
    rows.append(shown(QStringLiteral("PRNU1288 (%)"), number(b.prnu1288, 3), number(a.prnu1288, 3)));
    rows.append(shown(QCoreApplication::translate("VerifyReport", "响应行 PRNU (%)"), number(b.prnuResponse, 3),
                      number(a.prnuResponse, 3)));
    // With two levels or more: what one K per column cannot follow.
    if (a.levels.size() >= 2)
        rows.append(shown(QCoreApplication::translate("VerifyReport", "响应行形状随亮度的变化 (%)"), number(b.shapeChange, 3),
                          number(a.shapeChange, 3)));
    // PRNU at each level of saturation, with its exposure; the judged PRNU is the worst of them.
    for (int i = 0; i < a.levels.size() && i < b.levels.size(); ++i) {
        rows.append(shown(QCoreApplication::translate("VerifyReport", "PRNU1288 @ %1% 饱和，%2 us (%)")
                              .arg(a.levels[i].target)
                              .arg(a.levels[i].exposure, 0, 'f', 1),
                          number(b.levels[i].prnu1288, 3), number(a.levels[i].prnu1288, 3)));
        rows.append(shown(QCoreApplication::translate("VerifyReport", "响应行 PRNU @ %1% 饱和，%2 us (%)")
                              .arg(a.levels[i].target)
                              .arg(a.levels[i].exposure, 0, 'f', 1),
                          number(b.levels[i].prnuResponse, 3), number(a.levels[i].prnuResponse, 3)));
    }
    return rows;
}

QStringList verifyNotes(const VerifyPlane& plane)
{
    QStringList notes;
    for (const auto& [state, f] : {std::pair<QString, const VerifyFigures*>{QCoreApplication::translate("VerifyReport", "校正前"), &plane.before},
                                   {QCoreApplication::translate("VerifyReport", "校正后"), &plane.after}}) {
        const DarkLift& l = f->darkLift;
        if (!l.measurable)
            notes.append(
                QCoreApplication::translate("VerifyReport", "%1暗场输出有 %2% 的像素为 0，黑电平无法抬升到消除截断：DSNU 不可测，结论不能为合格。")
                    .arg(state)
                    .arg(100.0 * f->darkZero, 0, 'f', 1));
        else if (l.second > 0)
            notes.append(
                QCoreApplication::translate("VerifyReport", "%1暗场输出有 %2% 的像素为 0：DSNU 在黑电平抬升 %3 与 %4 后测量（每列为 0 的像素不超过 "
                               "%5%），外推到原黑电平。")
                    .arg(state)
                    .arg(100.0 * f->darkZero, 0, 'f', 1)
                    .arg(l.first)
                    .arg(l.second)
                    .arg(100.0 * l.worstColumnZeros, 0, 'f', 2));
        // Where PRNU1288 has no figure or less than half the response row's, the dark's column
        // pattern is not the lit stack's and the difference of variances does not hold.
        for (const VerifyLevelFigures& level : f->levels)
            if (!std::isnan(level.prnuResponse)
                && (std::isnan(level.prnu1288) || level.prnu1288 < 0.5 * level.prnuResponse))
                notes.append(QCoreApplication::translate("VerifyReport",
                                                         "%1在 %2% 饱和处 PRNU1288 为 %3，响应行 PRNU 为 %4：暗场的列图案"
                                                         "与明场的不同，方差之差不成立，判定取响应行 PRNU。")
                                 .arg(state)
                                 .arg(level.target)
                                 .arg(percent(level.prnu1288))
                                 .arg(percent(level.prnuResponse)));
    }
    return notes;
}

QString verifyLevelsText(const VerifyReport& r)
{
    QStringList levels;
    for (int i = 0; i < r.levels.size(); ++i)
        levels.append(
            QCoreApplication::translate("VerifyReport", "%1% 饱和 %2 us")
                .arg(r.levels[i])
                .arg(i < r.levelExposures.size() ? QString::number(r.levelExposures[i], 'f', 1) : QStringLiteral("?")));
    return QCoreApplication::translate("VerifyReport", "PRNU 测量：%1").arg(levels.join(QCoreApplication::translate("VerifyReport", "、")));
}

QString defectText(const QVector<int>& columns)
{
    if (columns.isEmpty()) return QCoreApplication::translate("VerifyReport", "无");
    QStringList list;
    for (int x : columns) list.append(QString::number(x));
    return QCoreApplication::translate("VerifyReport", "%1（共 %2 列）")
        .arg(list.join(QStringLiteral(", ")))
        .arg(columns.size());
}

QString verdictText(bool passed)
{
    return passed ? QCoreApplication::translate("VerifyReport", "合格")
                  : QCoreApplication::translate("VerifyReport", "不合格");
}

QString verifyJsonPath(const QString& pdfPath)
{
    const QFileInfo info(pdfPath);
    return info.dir().filePath(info.completeBaseName() + QStringLiteral(".json"));
}

bool writeVerifyReport(const VerifyReport& report, const QString& pdfPath, QString* error)
{
    auto fail = [error](const QString& path) {
        if (error)
            *error = QCoreApplication::translate("VerifyReport", "无法写入报告文件 %1。")
                         .arg(QDir::toNativeSeparators(path));
        return false;
    };
    // Both files whole or not at all: each written under a temporary name and renamed when done,
    // so a failure half way leaves an earlier report of the same name as it was.
    QSaveFile pdf(pdfPath);
    if (!pdf.open(QIODevice::WriteOnly) || !writePdf(report, &pdf) || pdf.size() == 0 || !pdf.commit())
        return fail(pdfPath);
    const QString jsonPath = verifyJsonPath(pdfPath);
    QSaveFile json(jsonPath);
    if (!json.open(QIODevice::WriteOnly)) return fail(jsonPath);
    json.write(QJsonDocument(verifyReportJson(report)).toJson(QJsonDocument::Indented));
    if (!json.commit()) return fail(jsonPath);
    return true;
}
