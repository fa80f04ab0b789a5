#include "histogramwindow.h"

#include "views/histogramwidget.h"
#include "views/imagestats.h"

#include <QCheckBox>
#include <QCoreApplication>
#include <QHeaderView>
#include <QLabel>
#include <QTableWidget>
#include <QVBoxLayout>

namespace {

const char* const kColumns[] = {
    QT_TRANSLATE_NOOP("HistogramWindow", "平面"),   QT_TRANSLATE_NOOP("HistogramWindow", "均值"),
    QT_TRANSLATE_NOOP("HistogramWindow", "标准差"), QT_TRANSLATE_NOOP("HistogramWindow", "最小"),
    QT_TRANSLATE_NOOP("HistogramWindow", "最大"),   QT_TRANSLATE_NOOP("HistogramWindow", "满量程像素")};

QString figure(double v, int decimals)
{
    return QString::number(v, 'f', decimals);
}

}  // namespace

HistogramWindow::HistogramWindow(QWidget* parent) : QWidget(parent, Qt::Window)
{
    setObjectName(QStringLiteral("HistogramWindow"));
    setWindowTitle(tr("直方图与区域统计"));
    resize(640, 520);

    m_scope = new QLabel(tr("没有图像"));
    m_scope->setObjectName(QStringLiteral("scopeLabel"));
    m_scope->setWordWrap(true);
    m_log = new QCheckBox(tr("对数坐标"));
    m_log->setObjectName(QStringLiteral("logCheck"));
    m_histogram = new HistogramWidget;
    m_histogram->setObjectName(QStringLiteral("histogramWidget"));
    m_table = new QTableWidget(0, int(std::size(kColumns)));
    m_table->setObjectName(QStringLiteral("statsTable"));
    QStringList headers;
    for (const char* c : kColumns) headers << tr(c);
    m_table->setHorizontalHeaderLabels(headers);
    m_table->verticalHeader()->hide();
    m_table->setEditTriggers(QAbstractItemView::NoEditTriggers);
    m_table->horizontalHeader()->setSectionResizeMode(QHeaderView::Stretch);
    m_table->setMaximumHeight(150);

    auto* top = new QHBoxLayout;
    top->addWidget(m_scope, 1);
    top->addWidget(m_log);
    auto* layout = new QVBoxLayout(this);
    layout->setContentsMargins(6, 6, 6, 6);
    layout->addLayout(top);
    layout->addWidget(m_histogram, 1);
    layout->addWidget(m_table);

    connect(m_log, &QCheckBox::toggled, m_histogram, &HistogramWidget::setLogScale);
}

void HistogramWindow::showFrame(const cv::Mat& frame, const QRect& region)
{
    const QList<FramePlane> planes = framePlanes(frame.channels());
    const double top = fullScaleOf(frame.depth());
    if (frame.empty() || planes.isEmpty() || top <= 0.0) {
        m_scope->setText(tr("没有图像"));
        m_histogram->clear();
        m_table->setRowCount(0);
        return;
    }

    // The rectangle as it lies in this frame; none left of it means the whole frame.
    const cv::Rect drawn = clipToFrame(cv::Rect(region.x(), region.y(), region.width(), region.height()), frame);
    const bool inRegion = !region.isEmpty() && drawn.area() > 0;
    const cv::Mat part = inRegion ? frame(drawn) : frame;
    const bool wide = frame.depth() == CV_16U;
    const QString depth = wide ? QCoreApplication::translate("HistogramWindow", "16位（满量程 65472）")
                               : QCoreApplication::translate("HistogramWindow", "8位（满量程 255）");
    if (inRegion)
        m_scope->setText(tr("统计范围：框选区域 (%1, %2) %3 × %4，%5 个像素；%6")
                             .arg(drawn.x)
                             .arg(drawn.y)
                             .arg(drawn.width)
                             .arg(drawn.height)
                             .arg(qint64(drawn.area()))
                             .arg(depth));
    else
        m_scope->setText(tr("统计范围：整幅图像 %1 × %2；%3").arg(frame.cols).arg(frame.rows).arg(depth));

    const auto counts = channelHistograms(part);
    const auto stats = regionStatistics(part, cv::Rect(0, 0, part.cols, part.rows));
    const auto shares = fullScaleShares(part);
    QList<PlaneHistogram> curves;
    m_table->setRowCount(planes.size());
    const int decimals = wide ? 1 : 2;
    for (int row = 0; row < planes.size(); ++row) {
        const FramePlane& plane = planes[row];
        curves.append({plane.name, HistogramWidget::planeColor(plane.name), counts[plane.channel]});
        const RegionStats& s = stats[plane.channel];
        const QStringList cells = {plane.name,
                                   figure(s.mean, decimals),
                                   figure(s.stddev, decimals),
                                   figure(s.min, 0),
                                   figure(s.max, 0),
                                   QStringLiteral("%1 %").arg(figure(100.0 * shares[plane.channel], 3))};
        for (int c = 0; c < cells.size(); ++c) {
            auto* item = new QTableWidgetItem(cells[c]);
            item->setTextAlignment(Qt::AlignCenter);
            if (c == cells.size() - 1 && shares[plane.channel] > kSaturationShare) item->setForeground(Qt::red);
            m_table->setItem(row, c, item);
        }
    }
    m_histogram->setHistograms(curves, wide ? tr("DN10（16位值 ÷ 64）") : QStringLiteral("DN8"));
}
