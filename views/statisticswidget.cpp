#include "statisticswidget.h"

#include "linefit.h"
#include "profilewidget.h"

#include <QCheckBox>
#include <QCursor>
#include <QDoubleSpinBox>
#include <QFrame>
#include <QGraphicsSceneMouseEvent>
#include <QGraphicsSceneWheelEvent>
#include <QGroupBox>
#include <QHBoxLayout>
#include <QLabel>
#include <QPen>
#include <QSpinBox>
#include <QTimer>
#include <QVBoxLayout>
#include <QtCharts/QChartView>
#include <QtCharts/QLineSeries>
#include <QtCharts/QScatterSeries>
#include <QtCharts/QSplineSeries>
#include <QtCharts/QValueAxis>

#include <algorithm>
#include <utility>

namespace {

const QColor kBackground(QStringLiteral("#444444"));

// Both axes of a chart, or nulls when the chart has none or they are not value axes.
std::pair<QValueAxis*, QValueAxis*> valueAxes(const QChart* chart)
{
    const QList<QAbstractAxis*> xs = chart->axes(Qt::Horizontal);
    const QList<QAbstractAxis*> ys = chart->axes(Qt::Vertical);
    if (xs.isEmpty() || ys.isEmpty()) return {nullptr, nullptr};
    return {qobject_cast<QValueAxis*>(xs.first()), qobject_cast<QValueAxis*>(ys.first())};
}

// One channel's value of column `col` in row 0 of a row-statistics matrix, 32-bit float with
// the channels interleaved.
float valueAt(const cv::Mat& mat, int col, int channel)
{
    return mat.ptr<float>(0)[col * mat.channels() + channel];
}

// A row of column means as the test delivers it: one row or more of 32-bit float, not empty.
bool usableRow(const cv::Mat& mat, const cv::Mat& first)
{
    return !mat.empty() && mat.depth() == CV_32F && mat.cols == first.cols && mat.channels() == first.channels();
}

}  // namespace

// ---- CustomChart ----

CustomChart::CustomChart(QGraphicsItem* parent) : QChart(parent) {}

void CustomChart::resetLine()
{
    m_vLine = nullptr;
    m_hLine = nullptr;
}

void CustomChart::mousePressEvent(QGraphicsSceneMouseEvent* event)
{
    m_dragging = true;
    // Accepted, so that the moves of the held button come here.
    event->accept();
}

void CustomChart::mouseMoveEvent(QGraphicsSceneMouseEvent* event)
{
    if (!m_dragging) return;
    const QPointF from = mapToValue(event->lastPos());
    const QPointF to = mapToValue(event->pos());
    const QPointF d = to - from;
    auto [x, y] = valueAxes(this);
    if (!x || !y) return;
    // The values under the cursor follow it: the ranges move against the drag.
    x->setMin(x->min() - d.x());
    x->setMax(x->max() - d.x());
    y->setMin(y->min() - d.y());
    y->setMax(y->max() - d.y());
}

void CustomChart::mouseReleaseEvent(QGraphicsSceneMouseEvent* event)
{
    m_dragging = false;
    event->accept();
}

void CustomChart::wheelEvent(QGraphicsSceneWheelEvent* event)
{
    float scale = event->delta() >= 1 ? m_scale * wheelStep : m_scale / wheelStep;
    scale = std::min(scale, maxScale);
    scale = std::max(scale, 1.0f);
    const float f = scale / m_scale;
    auto [x, y] = valueAxes(this);
    if (x && y) {
        // The point under the cursor stays where it is while the ranges shrink or grow by f.
        const QPointF p = mapToValue(event->pos());
        const double xMin = p.x() - (p.x() - x->min()) / f;
        const double yMin = p.y() - (p.y() - y->min()) / f;
        const double xSpan = (x->max() - x->min()) / f;
        const double ySpan = (y->max() - y->min()) / f;
        zoom(f);
        x->setRange(xMin, xMin + xSpan);
        y->setRange(yMin, yMin + ySpan);
    }
    m_scale = scale;
    QChart::wheelEvent(event);
}

// ---- StatisticsWidget ----

StatisticsWidget::StatisticsWidget(QWidget* parent) : QWidget(parent, Qt::Window)
{
    setWindowModality(Qt::WindowModal);
    setWindowTitle(tr("曝光统计"));

    m_chart = new CustomChart;
    m_chart->setBackgroundBrush(kBackground);
    m_chart->legend()->hide();
    m_chart->setMargins(QMargins(5, 5, 5, 5));
    m_chartView = new QChartView(m_chart);
    m_chartView->setObjectName(QStringLiteral("chartView"));
    m_chartView->setBackgroundBrush(kBackground);
    m_chartView->setRenderHint(QPainter::Antialiasing);

    m_profile = new ProfileWidget;
    m_profile->setObjectName(QStringLiteral("profile"));

    buildForm();

    m_tipLabel = new QLabel(m_chartView);
    m_tipLabel->setObjectName(QStringLiteral("tipLabel"));
    m_tipLabel->setGeometry(0, 0, 149, 29);
    m_tipLabel->hide();

    connect(m_colSelSBox, &QSpinBox::valueChanged, this, &StatisticsWidget::updateSingleCol);
    connect(m_showFitlineCheck, &QCheckBox::clicked, this, &StatisticsWidget::updateSingleCol);
    connect(m_showAllColsCheck, &QCheckBox::clicked, this, &StatisticsWidget::updateSingleCol);
    connect(m_expSBox, &QDoubleSpinBox::valueChanged, this, &StatisticsWidget::updateAllCol);

    hide();
}

void StatisticsWidget::buildForm()
{
    setObjectName(QStringLiteral("StatisticsWidget"));

    // Top: one column against the exposure.
    m_groupBox = new QGroupBox(tr("单独一列曝光与亮度的关系"));
    m_groupBox->setObjectName(QStringLiteral("groupBox"));
    auto* label2 = new QLabel(tr("选择列"));
    label2->setObjectName(QStringLiteral("label_2"));
    m_colSelSBox = new QSpinBox;
    m_colSelSBox->setObjectName(QStringLiteral("colSelSBox"));
    m_colSelSBox->setMinimumSize(80, 30);
    m_showFitlineCheck = new QCheckBox(tr("显示拟合直线"));
    m_showFitlineCheck->setObjectName(QStringLiteral("showFitlineCheck"));
    m_showFitlineCheck->setChecked(true);
    m_showAllColsCheck = new QCheckBox(tr("显示列均值变化曲线"));
    m_showAllColsCheck->setObjectName(QStringLiteral("showAllColsCheck"));
    m_showAllColsCheck->setChecked(true);
    auto* groupRow = new QHBoxLayout(m_groupBox);
    groupRow->addWidget(label2);
    groupRow->addWidget(m_colSelSBox);
    groupRow->addWidget(m_showFitlineCheck);
    groupRow->addWidget(m_showAllColsCheck);
    groupRow->addStretch(1);

    auto* chartHolder = new QWidget;
    chartHolder->setObjectName(QStringLiteral("widget"));
    auto* topLayout = new QVBoxLayout(chartHolder);
    topLayout->setObjectName(QStringLiteral("topLayout"));
    topLayout->setContentsMargins(0, 0, 0, 0);
    topLayout->addWidget(m_chartView);

    auto* top = new QVBoxLayout;
    top->addWidget(m_groupBox, 1);
    top->addWidget(chartHolder, 4);

    auto* line = new QFrame;
    line->setObjectName(QStringLiteral("line"));
    line->setFrameShape(QFrame::HLine);
    line->setFrameShadow(QFrame::Sunken);

    // Bottom: the whole row at one exposure.
    m_groupBox2 = new QGroupBox(tr("所有列"));
    m_groupBox2->setObjectName(QStringLiteral("groupBox_2"));
    auto* label = new QLabel(tr("曝光调节"));
    label->setObjectName(QStringLiteral("label"));
    m_expSBox = new QDoubleSpinBox;
    m_expSBox->setObjectName(QStringLiteral("expSBox"));
    m_expSBox->setDecimals(4);
    m_expSBox->setMinimumSize(80, 30);
    auto* group2Row = new QHBoxLayout(m_groupBox2);
    group2Row->addWidget(label);
    group2Row->addWidget(m_expSBox);
    group2Row->addStretch(1);

    auto* profileHolder = new QWidget;
    profileHolder->setObjectName(QStringLiteral("widget_2"));
    auto* bottomLayout = new QVBoxLayout(profileHolder);
    bottomLayout->setObjectName(QStringLiteral("bottomLayout"));
    bottomLayout->setContentsMargins(0, 0, 0, 0);
    bottomLayout->addWidget(m_profile);

    auto* bottom = new QVBoxLayout;
    bottom->addWidget(m_groupBox2, 1);
    bottom->addWidget(profileHolder, 4);

    auto* outer = new QVBoxLayout(this);
    outer->setContentsMargins(3, 3, 3, 3);
    outer->setSpacing(1);
    outer->addLayout(top, 5);
    outer->addWidget(line);
    outer->addLayout(bottom, 3);
}

QColor StatisticsWidget::channelColor(int channels, int k)
{
    if (channels == 1) return QColor(Qt::white);
    // The rows come in the camera's blue-green-red order.
    static const QColor colors[] = {QColor(Qt::blue), QColor(Qt::green), QColor(Qt::red), QColor(Qt::gray)};
    return colors[std::clamp(k, 0, 3)];
}

void StatisticsWidget::connectSeries(QXYSeries* series)
{
    connect(series, &QXYSeries::hovered, this, &StatisticsWidget::showData);
}

void StatisticsWidget::dataReady(QVector<double> expVec, QList<cv::Mat> dataMatList)
{
    if (expVec.size() < 2 || dataMatList.size() != expVec.size()) return;
    const cv::Mat& first = dataMatList.first();
    for (const cv::Mat& mat : dataMatList)
        if (!usableRow(mat, first)) return;

    m_expVec = expVec;
    m_dataMatList = dataMatList;
    m_meanVec.clear();
    for (const cv::Mat& mat : m_dataMatList) {
        std::vector<float> means(mat.channels(), 0.0f);
        for (int k = 0; k < mat.channels(); ++k) {
            float sum = 0.0f;
            for (int c = 0; c < mat.cols; ++c) sum += valueAt(mat, c, k);
            means[k] = sum / static_cast<float>(mat.cols);
        }
        m_meanVec.push_back(std::move(means));
    }

    m_colSelSBox->setMinimum(0);
    m_colSelSBox->setMaximum(first.cols - 1);
    m_expSBox->setMinimum(m_expVec.first());
    m_expSBox->setMaximum(m_expVec.last());
    m_expSBox->setSingleStep(m_expVec[1] - m_expVec[0]);

    m_colSelSBox->setValue(0);
    m_expSBox->setValue(m_expVec.first());
    updateSingleCol();
    // The box may have stood at this value already: the profile follows the new data anyway.
    updateAllCol();
}

void StatisticsWidget::updateSingleCol()
{
    if (m_dataMatList.isEmpty() || m_expVec.isEmpty()) return;
    const int channels = m_dataMatList.first().channels();
    const int col = m_colSelSBox->value();
    // The exposures and the rows are paired by index, up to the shorter list.
    const int steps = static_cast<int>(std::min(m_expVec.size(), m_dataMatList.size()));

    m_chart->removeAllSeries();
    m_chart->resetScale();

    for (int k = 0; k < channels; ++k) {
        const QColor color = channelColor(channels, k);
        auto* spline = new QSplineSeries;
        auto* scatter = new QScatterSeries;
        connectSeries(spline);
        connectSeries(scatter);
        scatter->setMarkerSize(3.0 * spline->pen().widthF());
        scatter->setPen(QPen(color));
        spline->setColor(color);
        scatter->setColor(color);

        std::vector<cv::Point2f> points;
        points.reserve(size_t(steps));
        for (int i = 0; i < steps; ++i) {
            const float x = static_cast<float>(m_expVec[i]);
            const float y = valueAt(m_dataMatList[i], col, k);
            spline->append(x, y);
            scatter->append(x, y);
            points.emplace_back(x, y);
        }
        m_chart->addSeries(spline);
        m_chart->addSeries(scatter);

        if (m_showFitlineCheck->isChecked()) {
            // A vertical fit (all exposures equal) has non-finite points: the chart draws no line.
            const cv::Vec4f fit = fitResponseLine(points);
            auto* fitLine = new QLineSeries;
            for (const double x : {m_expVec.first(), m_expVec.last()}) fitLine->append(x, fitLineAt(fit, x));
            fitLine->setPen(QPen(QBrush(color), fitLine->pen().widthF(), Qt::DashLine, Qt::SquareCap, Qt::BevelJoin));
            connectSeries(fitLine);
            m_chart->addSeries(fitLine);
        }

        if (m_showAllColsCheck->isChecked()) {
            auto* means = new QSplineSeries;
            for (int i = 0; i < steps; ++i) means->append(m_expVec[i], m_meanVec[i][k]);
            means->setPen(QPen(QBrush(color), means->pen().widthF(), Qt::DotLine, Qt::SquareCap, Qt::BevelJoin));
            connectSeries(means);
            m_chart->addSeries(means);
        }
    }

    m_chart->createDefaultAxes();
    auto [x, y] = valueAxes(m_chart);
    if (!x || !y) return;
    for (QValueAxis* axis : {x, y}) {
        axis->setGridLineVisible(false);
        axis->setLinePenColor(Qt::white);
        axis->setLabelsColor(Qt::white);
        axis->setLabelFormat(QStringLiteral("%.1f"));
    }
    x->setRange(0.0, m_expVec.last() + m_expSBox->singleStep());
    y->setRange(-16.0, 256.0);
}

void StatisticsWidget::updateAllCol()
{
    if (m_expVec.isEmpty()) return;
    // Only a value the test took: one typed in between two steps leaves the profile as it is.
    const int i = m_expVec.indexOf(m_expSBox->value());
    if (i < 0 || i >= m_dataMatList.size()) return;
    const cv::Mat row = m_dataMatList[i].clone();
    m_profile->setProfile(row, 0.0, row.cols, false);
    m_profile->setYMax(255.0);
}

void StatisticsWidget::showData(QPointF point, bool state)
{
    const QPoint at = m_chartView->mapFromGlobal(QCursor::pos());
    m_tipLabel->move(at.x() + 30, at.y());
    m_tipLabel->setText(QStringLiteral("(%1, %2)").arg(point.x()).arg(point.y()));
    m_tipLabel->show();
    if (!state) QTimer::singleShot(4000, m_tipLabel, &QLabel::hide);
}
