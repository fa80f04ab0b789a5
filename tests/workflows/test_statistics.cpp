// The exposure statistics window: what it keeps of a test, the chart of one column with its
// fitted line and the mean curve, the profile of one exposure, the tooltip, and the chart's
// wheel zoom and drag panning.
#include "views/linefit.h"
#include "views/profilewidget.h"
#include "views/statisticswidget.h"

#include <QCheckBox>
#include <QDoubleSpinBox>
#include <QGraphicsScene>
#include <QGraphicsSceneMouseEvent>
#include <QGraphicsSceneWheelEvent>
#include <QLabel>
#include <QSpinBox>
#include <QtCharts/QChartView>
#include <QtCharts/QLineSeries>
#include <QtCharts/QScatterSeries>
#include <QtCharts/QSplineSeries>
#include <QtCharts/QValueAxis>
#include <QtTest>

#include <cmath>
#include <memory>

namespace {

// One row of `cols` columns and `channels` channels; column c of channel k holds f(c, k).
template <typename F>
cv::Mat row(int cols, int channels, F f)
{
    cv::Mat m(1, cols, CV_32FC(channels));
    for (int c = 0; c < cols; ++c)
        for (int k = 0; k < channels; ++k) m.ptr<float>(0)[c * channels + k] = f(c, k);
    return m;
}

QValueAxis* axis(QChart* chart, Qt::Orientation o)
{
    return qobject_cast<QValueAxis*>(chart->axes(o).value(0));
}

}  // namespace

class TestStatistics : public QObject {
    Q_OBJECT

    std::unique_ptr<StatisticsWidget> m_w;

    // Three exposures 10, 20, 30 on 4 columns of one channel: column c at exposure e reads
    // 2e + c, so every column is a line of slope 2; the mean of the columns is 2e + 1.5.
    void feedLinear()
    {
        QList<cv::Mat> mats;
        for (double e : {10.0, 20.0, 30.0}) mats << row(4, 1, [e](int c, int) { return float(2 * e + c); });
        m_w->dataReady({10.0, 20.0, 30.0}, mats);
    }

    void wheel(int delta, QPointF pos)
    {
        QGraphicsSceneWheelEvent e(QEvent::GraphicsSceneWheel);
        e.setDelta(delta);
        e.setPos(pos);
        e.setScenePos(m_w->chart()->mapToScene(pos));
        e.setOrientation(Qt::Vertical);
        m_w->chart()->scene()->sendEvent(m_w->chart(), &e);
    }

    void mouse(QEvent::Type type, QPointF pos, QPointF lastPos)
    {
        QGraphicsSceneMouseEvent e(type);
        e.setButton(Qt::LeftButton);
        e.setButtons(type == QEvent::GraphicsSceneMouseRelease ? Qt::NoButton : Qt::LeftButton);
        e.setPos(pos);
        e.setLastPos(lastPos);
        e.setScenePos(m_w->chart()->mapToScene(pos));
        e.setLastScenePos(m_w->chart()->mapToScene(lastPos));
        m_w->chart()->scene()->sendEvent(m_w->chart(), &e);
    }

    // Both ranges, x min, x max, y min, y max.
    QList<double> ranges() const
    {
        QValueAxis* x = axis(m_w->chart(), Qt::Horizontal);
        QValueAxis* y = axis(m_w->chart(), Qt::Vertical);
        return {x->min(), x->max(), y->min(), y->max()};
    }

    QPointF plotCentre() const { return m_w->chart()->plotArea().center(); }

private slots:
    void init()
    {
        m_w = std::make_unique<StatisticsWidget>();
        m_w->resize(900, 700);
    }
    void cleanup() { m_w.reset(); }

    // ---- Edge cases ----

    void oneExposureIsIgnored()
    {
        feedLinear();
        const QVector<double> before = m_w->expVec();
        m_w->dataReady({5.0}, {row(4, 1, [](int, int) { return 1.0f; })});
        QCOMPARE(m_w->expVec(), before);
        QCOMPARE(m_w->dataMatList().size(), 3);
        QCOMPARE(m_w->meanVec().at(2).at(0), 61.5f);
    }

    // The lists are paired by index; a list shorter than the exposures is refused as a whole.
    void listsOfDifferentLengthAreIgnored()
    {
        m_w->dataReady({1.0, 2.0, 3.0},
                       {row(4, 1, [](int, int) { return 1.0f; }), row(4, 1, [](int, int) { return 2.0f; })});
        QVERIFY(m_w->expVec().isEmpty());
        QCOMPARE(m_w->chart()->series().size(), 0);
    }

    void fourChannelsGetAFourthColour()
    {
        QCOMPARE(StatisticsWidget::channelColor(4, 0), QColor(Qt::blue));
        QCOMPARE(StatisticsWidget::channelColor(4, 1), QColor(Qt::green));
        QCOMPARE(StatisticsWidget::channelColor(4, 2), QColor(Qt::red));
        QCOMPARE(StatisticsWidget::channelColor(4, 3), QColor(Qt::gray));
        QList<cv::Mat> mats;
        for (double e : {1.0, 2.0}) mats << row(3, 4, [e](int c, int k) { return float(e * (k + 1) + c); });
        m_w->dataReady({1.0, 2.0}, mats);
        const QList<QAbstractSeries*> series = m_w->chart()->series();
        // Per channel: the points as a spline and as markers, the fitted line, the mean curve.
        QCOMPARE(series.size(), 16);
        QCOMPARE(static_cast<QXYSeries*>(series.at(12))->color(), QColor(Qt::gray));
        QCOMPARE(m_w->meanVec().at(1).at(3), 9.0f);  // 2 * 4 + mean of 0, 1, 2
    }

    void zoomAtTheLimitMovesNothing()
    {
        feedLinear();
        m_w->show();
        QVERIFY(QTest::qWaitForWindowExposed(m_w.get()));
        const QPointF at = plotCentre() + QPointF(20, 10);
        for (int i = 0; i < 30; ++i) wheel(120, at);
        QCOMPARE(m_w->chart()->scale(), CustomChart::maxScale);
        const QList<double> before = ranges();
        wheel(120, at);
        QCOMPARE(m_w->chart()->scale(), CustomChart::maxScale);
        const QList<double> after = ranges();
        for (int i = 0; i < 4; ++i) QCOMPARE(after[i], before[i]);
    }

    void wheelDownAtScaleOneMovesNothing()
    {
        feedLinear();
        m_w->show();
        QVERIFY(QTest::qWaitForWindowExposed(m_w.get()));
        const QList<double> before = ranges();
        wheel(-120, plotCentre());
        QCOMPARE(m_w->chart()->scale(), 1.0f);
        const QList<double> after = ranges();
        for (int i = 0; i < 4; ++i) QCOMPARE(after[i], before[i]);
    }

    void verticalFitGivesNonFinitePoints()
    {
        // vx of 0: the quotient is infinite; at x0 the product is 0 * inf, elsewhere +-inf.
        QVERIFY(std::isnan(fitLineAt(cv::Vec4f(0.0f, 1.0f, 5.0f, 20.0f), 5.0)));
        QVERIFY(std::isinf(fitLineAt(cv::Vec4f(0.0f, 1.0f, 5.0f, 20.0f), 6.0)));
        QVERIFY(std::isinf(fitLineAt(cv::Vec4f(0.0f, -1.0f, 5.0f, 20.0f), 4.0)));
        // An ordinary line: y = (x - 2) * 0.5 + 3.
        QCOMPARE(fitLineAt(cv::Vec4f(0.8f, 0.4f, 2.0f, 3.0f), 10.0), 7.0f);

        // Through the points of a column: y = 0.25 x + 3 at 2, 10 and 30 us.
        const cv::Vec4f line = fitResponseLine({{2.0f, 3.5f}, {10.0f, 5.5f}, {30.0f, 10.5f}});
        QVERIFY(std::abs(fitLineAt(line, 0.0) - 3.0f) < 1e-4f);
        QVERIFY(std::abs(fitLineAt(line, 100.0) - 28.0f) < 1e-3f);
        // One point or none makes no line.
        for (int i = 0; i < 4; ++i) QVERIFY(std::isnan(fitResponseLine({{2.0f, 3.5f}})[i]));
        QVERIFY(std::isnan(fitLineAt(fitResponseLine({}), 1.0)));

        // One exposure repeated: the fit is vertical (the fitter may return a vx just off 0),
        // and the chart is drawn all the same, with its line of two points.
        QList<cv::Mat> mats;
        for (float v : {10.0f, 20.0f, 30.0f}) mats << row(2, 1, [v](int, int) { return v; });
        m_w->dataReady({5.0, 5.0, 5.0}, mats);
        const QList<QAbstractSeries*> series = m_w->chart()->series();
        QCOMPARE(series.size(), 4);
        auto* fit = qobject_cast<QLineSeries*>(series.at(2));
        QVERIFY(fit);
        QVERIFY(!qobject_cast<QSplineSeries*>(series.at(2)));
        QCOMPARE(fit->count(), 2);
        QCOMPARE(fit->at(0).x(), 5.0);
        m_w->show();
        QVERIFY(QTest::qWaitForWindowExposed(m_w.get()));
    }

    void tickingTheFitLineRedrawsAndResetsTheZoom()
    {
        feedLinear();
        m_w->show();
        QVERIFY(QTest::qWaitForWindowExposed(m_w.get()));
        wheel(120, plotCentre());
        wheel(120, plotCentre());
        QVERIFY(m_w->chart()->scale() > 1.0f);
        QCOMPARE(m_w->chart()->series().size(), 4);

        m_w->showFitlineCheck()->click();
        QVERIFY(!m_w->showFitlineCheck()->isChecked());
        QCOMPARE(m_w->chart()->series().size(), 3);
        QCOMPARE(m_w->chart()->scale(), 1.0f);
        const QList<double> r = ranges();
        QCOMPARE(r[0], 0.0);
        QCOMPARE(r[1], 40.0);

        m_w->showFitlineCheck()->click();
        QCOMPARE(m_w->chart()->series().size(), 4);
    }

    // ---- The data and the chart ----

    void dataReadyKeepsTheTestAndSetsTheBoxes()
    {
        QVERIFY(!m_w->isVisible());
        QCOMPARE(m_w->windowTitle(), QStringLiteral("曝光统计"));
        QCOMPARE(m_w->windowModality(), Qt::WindowModal);
        QVERIFY(m_w->windowFlags() & Qt::Window);
        feedLinear();
        QCOMPARE(m_w->expVec(), (QVector<double>{10.0, 20.0, 30.0}));
        QCOMPARE(m_w->meanVec().size(), size_t(3));
        QCOMPARE(m_w->meanVec().at(0).at(0), 21.5f);
        QCOMPARE(m_w->meanVec().at(1).at(0), 41.5f);
        QCOMPARE(m_w->colSelSBox()->minimum(), 0);
        QCOMPARE(m_w->colSelSBox()->maximum(), 3);
        QCOMPARE(m_w->colSelSBox()->value(), 0);
        QCOMPARE(m_w->expSBox()->minimum(), 10.0);
        QCOMPARE(m_w->expSBox()->maximum(), 30.0);
        QCOMPARE(m_w->expSBox()->singleStep(), 10.0);
        QCOMPARE(m_w->expSBox()->value(), 10.0);
        QCOMPARE(m_w->expSBox()->decimals(), 4);
    }

    void chartOfOneColumn()
    {
        feedLinear();
        m_w->colSelSBox()->setValue(2);
        const QList<QAbstractSeries*> series = m_w->chart()->series();
        QCOMPARE(series.size(), 4);
        auto* spline = qobject_cast<QSplineSeries*>(series.at(0));
        auto* scatter = qobject_cast<QScatterSeries*>(series.at(1));
        auto* fit = qobject_cast<QLineSeries*>(series.at(2));
        auto* means = qobject_cast<QSplineSeries*>(series.at(3));
        QVERIFY(spline && scatter && fit && means);
        // Column 2: 2e + 2.
        QCOMPARE(spline->points(), (QList<QPointF>{{10, 22}, {20, 42}, {30, 62}}));
        QCOMPARE(scatter->points(), spline->points());
        QCOMPARE(scatter->markerSize(), 3.0 * spline->pen().widthF());
        // One channel is drawn in white.
        QCOMPARE(spline->color(), QColor(Qt::white));
        QCOMPARE(scatter->pen().color(), QColor(Qt::white));
        // The fitted line over the first and last exposure.
        QCOMPARE(fit->count(), 2);
        QCOMPARE(fit->at(0).x(), 10.0);
        QCOMPARE(fit->at(1).x(), 30.0);
        QVERIFY(std::abs(fit->at(0).y() - 22.0) < 1e-3);
        QVERIFY(std::abs(fit->at(1).y() - 62.0) < 1e-3);
        QCOMPARE(fit->pen().style(), Qt::DashLine);
        QCOMPARE(fit->pen().capStyle(), Qt::SquareCap);
        QCOMPARE(fit->pen().joinStyle(), Qt::BevelJoin);
        // The mean of all columns.
        QCOMPARE(means->points(), (QList<QPointF>{{10, 21.5}, {20, 41.5}, {30, 61.5}}));
        QCOMPARE(means->pen().style(), Qt::DotLine);

        QValueAxis* x = axis(m_w->chart(), Qt::Horizontal);
        QValueAxis* y = axis(m_w->chart(), Qt::Vertical);
        QVERIFY(x && y);
        QCOMPARE(x->min(), 0.0);
        QCOMPARE(x->max(), 40.0);
        QCOMPARE(y->min(), -16.0);
        QCOMPARE(y->max(), 256.0);
        QCOMPARE(x->labelFormat(), QStringLiteral("%.1f"));
        QVERIFY(!x->isGridLineVisible());
        QVERIFY(!y->isGridLineVisible());
        QCOMPARE(x->labelsColor(), QColor(Qt::white));
    }

    void meanCurveFollowsItsBox()
    {
        feedLinear();
        m_w->showAllColsCheck()->click();
        QCOMPARE(m_w->chart()->series().size(), 3);
        m_w->showFitlineCheck()->click();
        QCOMPARE(m_w->chart()->series().size(), 2);
    }

    void colourChannelsInBlueGreenRed()
    {
        QList<cv::Mat> mats;
        for (double e : {1.0, 2.0}) mats << row(2, 3, [e](int, int k) { return float(e + k); });
        m_w->dataReady({1.0, 2.0}, mats);
        const QList<QAbstractSeries*> series = m_w->chart()->series();
        QCOMPARE(series.size(), 12);
        QCOMPARE(static_cast<QXYSeries*>(series.at(0))->color(), QColor(Qt::blue));
        QCOMPARE(static_cast<QXYSeries*>(series.at(4))->color(), QColor(Qt::green));
        QCOMPARE(static_cast<QXYSeries*>(series.at(8))->color(), QColor(Qt::red));
        // Red channel of column 0 at exposure 2: 2 + 2.
        QCOMPARE(static_cast<QXYSeries*>(series.at(8))->at(1), QPointF(2, 4));
    }

    void profileOfOneExposure()
    {
        feedLinear();
        // The first exposure is on show at once.
        QCOMPARE(m_w->profile()->data().cols, 4);
        QCOMPARE(m_w->profile()->data().at<float>(0, 3), 23.0f);
        QCOMPARE(m_w->profile()->right(), 4.0);
        QCOMPARE(m_w->profile()->yMax(), 255.0);
        m_w->expSBox()->setValue(30.0);
        QCOMPARE(m_w->profile()->data().at<float>(0, 3), 63.0f);
        // A copy: the kept test is not touched through the profile.
        QVERIFY(m_w->profile()->data().data != m_w->dataMatList().at(2).data);
        // Between two steps: the profile stays as it is.
        m_w->expSBox()->setValue(25.0);
        QCOMPARE(m_w->profile()->data().at<float>(0, 3), 63.0f);
    }

    void tooltipShowsThePoint()
    {
        feedLinear();
        m_w->show();
        QVERIFY(QTest::qWaitForWindowExposed(m_w.get()));
        QLabel* tip = m_w->tipLabel();
        QCOMPARE(tip->parentWidget(), static_cast<QWidget*>(m_w->chartView()));
        QCOMPARE(tip->size(), QSize(149, 29));
        QVERIFY(!tip->isVisible());
        m_w->showData(QPointF(1.5, 2.0), true);
        QVERIFY(tip->isVisible());
        QCOMPARE(tip->text(), QStringLiteral("(1.5, 2)"));
        m_w->showData(QPointF(1.5, 2.0), false);
        QVERIFY(tip->isVisible());
        QTRY_VERIFY_WITH_TIMEOUT(!tip->isVisible(), 6000);
    }

    void dragPansBothAxes()
    {
        feedLinear();
        m_w->show();
        QVERIFY(QTest::qWaitForWindowExposed(m_w.get()));
        const QList<double> before = ranges();
        const QPointF a = plotCentre();
        const QPointF b = a + QPointF(40, -30);
        const QPointF d = m_w->chart()->mapToValue(b) - m_w->chart()->mapToValue(a);
        // Without a press, a move does nothing.
        mouse(QEvent::GraphicsSceneMouseMove, b, a);
        QCOMPARE(ranges(), before);
        mouse(QEvent::GraphicsSceneMousePress, a, a);
        QVERIFY(m_w->chart()->isDragging());
        mouse(QEvent::GraphicsSceneMouseMove, b, a);
        const QList<double> after = ranges();
        QCOMPARE(after[0], before[0] - d.x());
        QCOMPARE(after[1], before[1] - d.x());
        QCOMPARE(after[2], before[2] - d.y());
        QCOMPARE(after[3], before[3] - d.y());
        mouse(QEvent::GraphicsSceneMouseRelease, b, b);
        QVERIFY(!m_w->chart()->isDragging());
    }

    void wheelZoomKeepsThePointUnderTheCursor()
    {
        feedLinear();
        m_w->show();
        QVERIFY(QTest::qWaitForWindowExposed(m_w.get()));
        const QPointF at = plotCentre() + QPointF(-60, 25);
        const QPointF valueBefore = m_w->chart()->mapToValue(at);
        const QList<double> before = ranges();
        wheel(120, at);
        QCOMPARE(m_w->chart()->scale(), 1.2f);
        const QList<double> after = ranges();
        QVERIFY(std::abs((after[1] - after[0]) - (before[1] - before[0]) / 1.2) < 1e-4);
        QVERIFY(std::abs((after[3] - after[2]) - (before[3] - before[2]) / 1.2) < 1e-4);
        const QPointF valueAfter = m_w->chart()->mapToValue(at);
        QVERIFY(std::abs(valueAfter.x() - valueBefore.x()) < 1e-3);
        QVERIFY(std::abs(valueAfter.y() - valueBefore.y()) < 1e-3);
        wheel(-120, at);
        QCOMPARE(m_w->chart()->scale(), 1.0f);
    }
};

QTEST_MAIN(TestStatistics)
#include "test_statistics.moc"
