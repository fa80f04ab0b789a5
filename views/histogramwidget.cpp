#include "histogramwidget.h"

#include <QPainter>
#include <QPainterPath>

#include <algorithm>
#include <cmath>

namespace {

constexpr int kLeft = 56;
constexpr int kRight = 12;
constexpr int kTop = 10;
constexpr int kBottom = 34;

}  // namespace

HistogramWidget::HistogramWidget(QWidget* parent) : QWidget(parent)
{
    setMinimumSize(320, 180);
    setAutoFillBackground(true);
    QPalette p = palette();
    p.setColor(QPalette::Window, QColor(0x30, 0x30, 0x30));
    setPalette(p);
}

void HistogramWidget::setHistograms(const QList<PlaneHistogram>& planes, const QString& unit)
{
    m_planes = planes;
    m_unit = unit;
    update();
}

void HistogramWidget::clear()
{
    m_planes.clear();
    update();
}

void HistogramWidget::setLogScale(bool on)
{
    if (m_log == on) return;
    m_log = on;
    update();
}

QColor HistogramWidget::planeColor(const QString& name)
{
    if (name == QLatin1String("R")) return QColor(235, 70, 70);
    if (name == QLatin1String("G")) return QColor(80, 200, 90);
    if (name == QLatin1String("B")) return QColor(90, 140, 255);
    if (name == QLatin1String("X")) return QColor(230, 200, 80);
    return QColor(220, 220, 220);
}

double HistogramWidget::axisValue(quint64 count) const
{
    return m_log ? std::log10(double(count) + 1.0) : double(count);
}

void HistogramWidget::paintEvent(QPaintEvent* event)
{
    QWidget::paintEvent(event);
    QPainter p(this);
    p.setRenderHint(QPainter::Antialiasing, true);
    const QRectF plot(kLeft, kTop, width() - kLeft - kRight, height() - kTop - kBottom);
    const QColor ink(220, 220, 220);
    p.setPen(QColor(110, 110, 110));
    p.drawRect(plot);
    if (m_planes.isEmpty() || plot.width() < 10 || plot.height() < 10) {
        p.setPen(ink);
        p.drawText(plot, Qt::AlignCenter, tr("没有图像"));
        return;
    }

    int bins = 0;
    quint64 top = 1;
    for (const PlaneHistogram& h : std::as_const(m_planes)) {
        bins = std::max(bins, int(h.counts.size()));
        for (quint64 n : h.counts) top = std::max(top, n);
    }
    const double yTop = axisValue(top);
    const double sx = plot.width() / std::max(1, bins);
    const double sy = plot.height() / yTop;

    // Axes: the bins below, the counts (or their logarithm) on the left.
    p.setPen(ink);
    const QFontMetrics fm = p.fontMetrics();
    for (int i = 0; i <= 4; ++i) {
        const double bin = (bins - 1) * i / 4.0;
        const double x = plot.left() + (bin + 0.5) * sx;
        const QString label = QString::number(int(std::lround(bin)));
        p.drawText(QRectF(x - 30, plot.bottom() + 2, 60, fm.height()), Qt::AlignHCenter, label);
    }
    p.drawText(QRectF(plot.left(), plot.bottom() + 2 + fm.height(), plot.width(), fm.height()), Qt::AlignHCenter,
               m_unit);
    // The highest count at the top in both scales; on the logarithmic one each power of ten between
    // is marked too, where its label keeps clear of the top's and the bottom's.
    p.drawText(QRectF(0, plot.top(), kLeft - 4, fm.height()), Qt::AlignRight, QString::number(top));
    p.drawText(QRectF(0, plot.bottom() - fm.height(), kLeft - 4, fm.height()), Qt::AlignRight, QStringLiteral("0"));
    if (m_log) {
        for (quint64 decade = 10; decade < top; decade *= 10) {
            const double y = plot.bottom() - axisValue(decade) * sy;
            if (y - plot.top() < fm.height() * 1.5 || plot.bottom() - y < fm.height() * 1.5) continue;
            p.drawLine(QPointF(plot.left() - 3, y), QPointF(plot.left(), y));
            p.drawText(QRectF(0, y - fm.height() / 2.0, kLeft - 6, fm.height()), Qt::AlignRight | Qt::AlignVCenter,
                       QString::number(decade));
        }
    }
    p.save();
    p.translate(12, plot.center().y());
    p.rotate(-90);
    p.drawText(QRectF(-60, -8, 120, 16), Qt::AlignCenter, m_log ? tr("像素数（对数）") : tr("像素数"));
    p.restore();

    // One stair curve per plane, each bin a flat step.
    p.setClipRect(plot.adjusted(-1, -1, 1, 1));
    for (const PlaneHistogram& h : std::as_const(m_planes)) {
        QPainterPath path;
        path.moveTo(plot.left(), plot.bottom());
        for (int b = 0; b < int(h.counts.size()); ++b) {
            const double y = plot.bottom() - axisValue(h.counts[b]) * sy;
            path.lineTo(plot.left() + b * sx, y);
            path.lineTo(plot.left() + (b + 1) * sx, y);
        }
        QPen pen(h.color);
        pen.setWidthF(1.2);
        p.setPen(pen);
        p.drawPath(path);
    }
    p.setClipping(false);

    // The legend, top right.
    int y = int(plot.top()) + 4;
    for (const PlaneHistogram& h : std::as_const(m_planes)) {
        const int w = fm.horizontalAdvance(h.name);
        const QRect swatch(int(plot.right()) - w - 26, y + fm.height() / 2 - 2, 14, 4);
        p.fillRect(swatch, h.color);
        p.setPen(ink);
        p.drawText(QRect(swatch.right() + 6, y, w + 4, fm.height()), Qt::AlignLeft | Qt::AlignVCenter, h.name);
        y += fm.height() + 2;
    }
}
