// The profile strip: zoom limits and the value kept under the cursor, pan, guide lines, the
// marked stretch and its menu, flattening a stretch, and the stair curve on the pixels.
#include <QAction>
#include <QMenu>
#include <QSignalSpy>
#include <QWheelEvent>
#include <QtTest>
#include <cmath>
#include <opencv2/core.hpp>

#include "views/profilewidget.h"

namespace {
bool sendWheel(ProfileWidget& widget, int delta, double y)
{
    const QPointF pos(10.0, y);
    QWheelEvent event(pos, widget.mapToGlobal(pos), QPoint(), QPoint(0, delta), Qt::NoButton, Qt::NoModifier,
                      Qt::NoScrollPhase, false);
    QCoreApplication::sendEvent(&widget, &event);
    return event.isAccepted();
}

cv::Mat oneChannel(std::initializer_list<float> values)
{
    cv::Mat mat(1, int(values.size()), CV_32FC1);
    int i = 0;
    for (float v : values) mat.at<float>(0, i++) = v;
    return mat;
}

cv::Mat threeChannels(int columns, float b, float g, float r)
{
    return cv::Mat(1, columns, CV_32FC3, cv::Scalar(b, g, r));
}

// A 100 x 100 strip over 10 columns: one column is 10 pixels wide.
struct Strip {
    ProfileWidget widget;
    Strip()
    {
        widget.resize(100, 100);
        widget.show();
    }
};

bool isGray(QRgb p)
{
    return p == QColor(Qt::gray).rgb();
}
}  // namespace

class TestProfileWidget : public QObject {
    Q_OBJECT

private slots:
    void initTestCase() { qRegisterMetaType<cv::Mat>("cv::Mat"); }
    void zoomLimitInGainMode();
    void zoomLimitInMeansMode();
    void zoomKeepsTheValueUnderTheCursor();
    void limitedStepAppliesTheLimitedFactor();
    void horizontalWheelIsPassedOn();
    void dragPans();
    void threeDoubleClicksLeaveTheLastTwo();
    void doubleClickOnALineRemovesIt();
    void newYMaxResetsZoomPanAndLines();
    void leftPressCancelsTheStretch();
    void rightClickWithoutMovingShowsNoMenu();
    void stretchInGainModeShowsTheMenu();
    void noMenuInMeansMode();
    void menuTextsAndData();
    void toolTip();
    void hover();
    void flattenOneChannel();
    void flattenFromLeftOfTheData();
    void flattenPastTheRightEdge();
    void flattenInsideOneColumnChangesNothing();
    void flattenOneOfThreeChannels();
    void stairCurveOnThePixels();
    void leftEdgeBelowZeroIsClipped();
    void channelColours();
    void guideLineIsDrawn();
    void emptyDataDrawsNothing();

private:
    // Marks a stretch with the right button from x0 to x1 and releases.
    static void markStretch(ProfileWidget& w, int x0, int x1)
    {
        QTest::mousePress(&w, Qt::RightButton, Qt::NoModifier, QPoint(x0, 50));
        QTest::mouseMove(&w, QPoint(x1, 50));
        QTest::mouseRelease(&w, Qt::RightButton, Qt::NoModifier, QPoint(x1, 50));
    }
    // Marks the stretch and picks action `index` of the flatten menu; returns what was emitted.
    static inline bool menuShown = false;
    static QList<cv::Mat> flatten(ProfileWidget& w, int x0, int x1, int index)
    {
        QList<cv::Mat> emitted;
        menuShown = false;
        auto c = QObject::connect(&w, &ProfileWidget::dataAdjusted, [&](const cv::Mat& m) { emitted << m.clone(); });
        markStretch(w, x0, x1);
        if (w.menu()->isVisible()) {
            menuShown = true;
            w.menu()->actions().at(index)->trigger();
            w.menu()->hide();
        }
        QObject::disconnect(c);
        return emitted;
    }
};

void TestProfileWidget::zoomLimitInGainMode()
{
    Strip s;
    s.widget.setProfile(oneChannel({1.0f, 1.1f}), 0, 2, true);
    s.widget.setYMax(4.0);
    QVERIFY(sendWheel(s.widget, 120, 50));
    QCOMPARE(s.widget.scale(), std::pow(2.0, 0.2));
    for (int i = 0; i < 30; ++i) sendWheel(s.widget, 120, 50);
    QCOMPARE(s.widget.scale(), 4.0);
    QVERIFY(!sendWheel(s.widget, 120, 50));  // no change: passed on
    QCOMPARE(s.widget.scale(), 4.0);
    for (int i = 0; i < 30; ++i) sendWheel(s.widget, -120, 50);
    QCOMPARE(s.widget.scale(), 1.0);
    QVERIFY(!sendWheel(s.widget, -120, 50));
    QCOMPARE(s.widget.scale(), 1.0);
}

void TestProfileWidget::zoomLimitInMeansMode()
{
    Strip s;
    s.widget.setProfile(oneChannel({10, 20}), 0, 2, false);
    s.widget.setYMax(255.0);
    for (int i = 0; i < 39; ++i) sendWheel(s.widget, 120, 50);
    QVERIFY(s.widget.scale() < 255.0);
    QVERIFY(s.widget.scale() > 200.0);
    QVERIFY(sendWheel(s.widget, 120, 50));
    QCOMPARE(s.widget.scale(), 255.0);
    QVERIFY(!sendWheel(s.widget, 120, 50));
    QCOMPARE(s.widget.scale(), 255.0);
}

void TestProfileWidget::zoomKeepsTheValueUnderTheCursor()
{
    Strip s;
    s.widget.setProfile(oneChannel({10, 20}), 0, 2, false);
    const double y = 30.0;
    const double before = s.widget.valueAtY(y);
    QCOMPARE(before, 0.7 * 255.0);
    sendWheel(s.widget, 120, y);
    QCOMPARE(s.widget.offset(), (y + 0.0) * std::pow(2.0, 0.2) - y);
    QVERIFY(std::abs(s.widget.valueAtY(y) - before) < 1e-9);
    sendWheel(s.widget, 120, 80);
    const double at80 = s.widget.valueAtY(80);
    sendWheel(s.widget, -120, 80);
    QVERIFY(std::abs(s.widget.valueAtY(80) - at80) < 1e-9);
}

void TestProfileWidget::limitedStepAppliesTheLimitedFactor()
{
    Strip s;
    s.widget.setProfile(oneChannel({1.0f}), 0, 1, true);
    s.widget.setYMax(4.0);
    for (int i = 0; i < 9; ++i) sendWheel(s.widget, 120, 40);
    const double scale = s.widget.scale();
    const double offset = s.widget.offset();
    QVERIFY(scale < 4.0);
    sendWheel(s.widget, 120, 40);
    QCOMPARE(s.widget.scale(), 4.0);
    QCOMPARE(s.widget.offset(), (40 + offset) * (4.0 / scale) - 40);
}

void TestProfileWidget::horizontalWheelIsPassedOn()
{
    Strip s;
    QWheelEvent event(QPointF(5, 5), QPointF(5, 5), QPoint(), QPoint(120, 0), Qt::NoButton, Qt::NoModifier,
                      Qt::NoScrollPhase, false);
    QCoreApplication::sendEvent(&s.widget, &event);
    QVERIFY(!event.isAccepted());
    QCOMPARE(s.widget.scale(), 1.0);
}

void TestProfileWidget::dragPans()
{
    Strip s;
    s.widget.setProfile(oneChannel({10, 20}), 0, 2, false);
    QTest::mousePress(&s.widget, Qt::LeftButton, Qt::NoModifier, QPoint(20, 50));
    QVERIFY(s.widget.isDragging());
    QTest::mouseMove(&s.widget, QPoint(20, 40));
    QCOMPARE(s.widget.offset(), 10.0);
    QTest::mouseMove(&s.widget, QPoint(20, 65));
    QCOMPARE(s.widget.offset(), -15.0);
    QTest::mouseRelease(&s.widget, Qt::LeftButton, Qt::NoModifier, QPoint(20, 65));
    QVERIFY(!s.widget.isDragging());
    QTest::mouseMove(&s.widget, QPoint(20, 10));
    QCOMPARE(s.widget.offset(), -15.0);
    QCOMPARE(s.widget.hoverY(), 10.0);
}

void TestProfileWidget::threeDoubleClicksLeaveTheLastTwo()
{
    Strip s;
    s.widget.setProfile(oneChannel({10, 20}), 0, 2, false);
    QTest::mouseDClick(&s.widget, Qt::LeftButton, Qt::NoModifier, QPoint(30, 20));
    QTest::mouseDClick(&s.widget, Qt::LeftButton, Qt::NoModifier, QPoint(30, 40));
    QTest::mouseDClick(&s.widget, Qt::LeftButton, Qt::NoModifier, QPoint(30, 80));
    QCOMPARE(s.widget.guideLines().size(), 2);
    QCOMPARE(s.widget.guideLines().at(0), (1.0 - 40.0 / 100.0) * 255.0);
    QCOMPARE(s.widget.guideLines().at(1), (1.0 - 80.0 / 100.0) * 255.0);
}

void TestProfileWidget::doubleClickOnALineRemovesIt()
{
    Strip s;
    s.widget.setProfile(oneChannel({10, 20}), 0, 2, false);
    QTest::mouseDClick(&s.widget, Qt::LeftButton, Qt::NoModifier, QPoint(30, 25));
    QTest::mouseDClick(&s.widget, Qt::LeftButton, Qt::NoModifier, QPoint(30, 75));
    QCOMPARE(s.widget.guideLines().size(), 2);
    QTest::mouseDClick(&s.widget, Qt::LeftButton, Qt::NoModifier, QPoint(70, 25));
    QCOMPARE(s.widget.guideLines(), QList<double>{0.25 * 255.0});
    QTest::mouseDClick(&s.widget, Qt::LeftButton, Qt::NoModifier, QPoint(10, 75));
    QVERIFY(s.widget.guideLines().isEmpty());
}

void TestProfileWidget::newYMaxResetsZoomPanAndLines()
{
    Strip s;
    s.widget.setProfile(oneChannel({10, 20}), 0, 2, false);
    s.widget.setYMax(255.0);
    sendWheel(s.widget, 120, 30);
    QTest::mouseDClick(&s.widget, Qt::LeftButton, Qt::NoModifier, QPoint(30, 25));
    s.widget.setYMax(255.0);  // not new: all stays
    QCOMPARE(s.widget.scale(), std::pow(2.0, 0.2));
    QCOMPARE(s.widget.guideLines().size(), 1);
    s.widget.setYMax(4.0);
    QCOMPARE(s.widget.yMax(), 4.0);
    QCOMPARE(s.widget.scale(), 1.0);
    QCOMPARE(s.widget.offset(), 0.0);
    QVERIFY(s.widget.guideLines().isEmpty());
}

void TestProfileWidget::leftPressCancelsTheStretch()
{
    Strip s;
    s.widget.setProfile(oneChannel({1, 1, 1, 1}), 0, 4, true);
    QTest::mousePress(&s.widget, Qt::RightButton, Qt::NoModifier, QPoint(10, 50));
    QTest::mouseMove(&s.widget, QPoint(60, 50));
    QVERIFY(s.widget.isSelecting());
    QCOMPARE(s.widget.selStart(), 10.0);
    QCOMPARE(s.widget.selEnd(), 60.0);
    QTest::mousePress(&s.widget, Qt::LeftButton, Qt::NoModifier, QPoint(60, 50));
    QVERIFY(!s.widget.isSelecting());
    QVERIFY(s.widget.isDragging());
    QTest::mouseRelease(&s.widget, Qt::LeftButton, Qt::NoModifier, QPoint(60, 50));
    QVERIFY(!s.widget.menu()->isVisible());
}

void TestProfileWidget::rightClickWithoutMovingShowsNoMenu()
{
    Strip s;
    s.widget.setProfile(oneChannel({1, 1, 1, 1}), 0, 4, true);
    QTest::mousePress(&s.widget, Qt::RightButton, Qt::NoModifier, QPoint(30, 50));
    QVERIFY(s.widget.isSelecting());
    QTest::mouseRelease(&s.widget, Qt::RightButton, Qt::NoModifier, QPoint(30, 50));
    QVERIFY(!s.widget.menu()->isVisible());
    QVERIFY(!s.widget.isSelecting());
}

void TestProfileWidget::stretchInGainModeShowsTheMenu()
{
    Strip s;
    s.widget.setProfile(oneChannel({1, 1, 1, 1}), 0, 4, true);
    markStretch(s.widget, 20, 70);
    QVERIFY(s.widget.menu()->isVisible());
    QVERIFY(s.widget.isSelecting());  // stays marked while the menu is open
    // Frames keep coming while the menu is open; it keeps its actions.
    QAction* first = s.widget.menu()->actions().at(0);
    s.widget.setProfile(oneChannel({1, 1, 1, 1}), 0, 4, true);
    QCOMPARE(s.widget.menu()->actions().at(0), first);
    s.widget.menu()->hide();
    QVERIFY(!s.widget.isSelecting());
}

void TestProfileWidget::noMenuInMeansMode()
{
    Strip s;
    s.widget.setProfile(oneChannel({1, 1, 1, 1}), 0, 4, false);
    markStretch(s.widget, 20, 70);
    QVERIFY(!s.widget.menu()->isVisible());
    QVERIFY(!s.widget.isSelecting());
}

void TestProfileWidget::menuTextsAndData()
{
    Strip s;
    s.widget.setProfile(oneChannel({1, 1}), 0, 2, true);
    QList<QAction*> actions = s.widget.menu()->actions();
    QCOMPARE(actions.size(), 1);
    QCOMPARE(actions.at(0)->text(), QStringLiteral("拉平平场系数"));
    QCOMPARE(actions.at(0)->data().toInt(), 0);

    s.widget.setProfile(threeChannels(2, 1, 1, 1), 0, 2, true);
    actions = s.widget.menu()->actions();
    QCOMPARE(actions.size(), 4);
    const QStringList texts{QStringLiteral("拉平三通道平场系数"), QStringLiteral("拉平B通道平场系数"),
                            QStringLiteral("拉平G通道平场系数"), QStringLiteral("拉平R通道平场系数")};
    for (int i = 0; i < 4; ++i) {
        QCOMPARE(actions.at(i)->text(), texts.at(i));
        QCOMPARE(actions.at(i)->data().toInt(), i);
    }
    // The next frame of the same kind keeps the same menu.
    s.widget.setProfile(threeChannels(2, 1, 1, 1), 0, 2, true);
    QCOMPARE(s.widget.menu()->actions(), actions);
}

void TestProfileWidget::toolTip()
{
    Strip s;
    s.widget.setProfile(oneChannel({1, 2}), 0, 2, false);
    QCOMPARE(s.widget.toolTip(), QStringLiteral("双击添加固定辅助线"));
    s.widget.clearProfile();
    QCOMPARE(s.widget.toolTip(), QString());
    QVERIFY(s.widget.data().empty());
}

void TestProfileWidget::hover()
{
    Strip s;
    QCOMPARE(s.widget.hoverX(), -1.0);
    s.widget.setHoverX(42.0);
    QCOMPARE(s.widget.hoverX(), 42.0);
    QEnterEvent enter(QPointF(5, 5), QPointF(5, 5), QPointF(5, 5));
    QCoreApplication::sendEvent(&s.widget, &enter);
    QVERIFY(s.widget.isHovering());
    QEvent leave(QEvent::Leave);
    QCoreApplication::sendEvent(&s.widget, &leave);
    QVERIFY(!s.widget.isHovering());
}

void TestProfileWidget::flattenOneChannel()
{
    Strip s;
    s.widget.setProfile(oneChannel({1.0f, 1.1f, 1.2f, 0.5f, 2.0f, 0.7f, 1.3f, 1.7f, 0.9f, 1.0f}), 0, 10, true);
    const QList<cv::Mat> out = flatten(s.widget, 25, 75, 0);  // columns 2 to 7
    QCOMPARE(out.size(), 1);
    const cv::Mat& m = out.at(0);
    const float step = (1.7f - 1.2f) / 5.0f;
    for (int i = 0; i <= 5; ++i) QCOMPARE(m.at<float>(0, 2 + i), float(i) * step + 1.2f);
    QCOMPARE(m.at<float>(0, 1), 1.1f);
    QCOMPARE(m.at<float>(0, 8), 0.9f);
    // The widget's own data waits for the next frame.
    QCOMPARE(s.widget.data().at<float>(0, 3), 0.5f);

    // Marked from right to left: the same stretch.
    const QList<cv::Mat> back = flatten(s.widget, 75, 25, 0);
    QCOMPARE(back.size(), 1);
    QCOMPARE(cv::norm(back.at(0), m, cv::NORM_INF), 0.0);
}

void TestProfileWidget::flattenFromLeftOfTheData()
{
    Strip s;
    // Column -2 at the left edge: x = 5 is column -1.5, x = 45 column 2.5.
    s.widget.setProfile(oneChannel({1.0f, 1.1f, 1.2f, 0.5f, 2.0f, 0.7f, 1.3f, 1.7f, 0.9f, 1.0f}), -2, 8, true);
    const QList<cv::Mat> out = flatten(s.widget, 5, 45, 0);
    QCOMPARE(out.size(), 1);
    for (int c = 0; c <= 2; ++c) QCOMPARE(out.at(0).at<float>(0, c), 1.2f);
    QCOMPARE(out.at(0).at<float>(0, 3), 0.5f);
}

void TestProfileWidget::flattenPastTheRightEdge()
{
    Strip s;
    // Column 2 at the left edge: x = 55 is column 7.5, x = 95 column 11.5, past the last (9).
    s.widget.setProfile(oneChannel({1.0f, 1.1f, 1.2f, 0.5f, 2.0f, 0.7f, 1.3f, 1.7f, 0.9f, 1.0f}), 2, 12, true);
    const QList<cv::Mat> out = flatten(s.widget, 55, 95, 0);
    QCOMPARE(out.size(), 1);
    for (int c = 7; c <= 9; ++c) QCOMPARE(out.at(0).at<float>(0, c), 1.7f);
    QCOMPARE(out.at(0).at<float>(0, 6), 1.3f);
}

void TestProfileWidget::flattenInsideOneColumnChangesNothing()
{
    Strip s;
    s.widget.setProfile(oneChannel({1.0f, 1.1f, 1.2f, 0.5f, 2.0f, 0.7f, 1.3f, 1.7f, 0.9f, 1.0f}), 0, 10, true);
    const QList<cv::Mat> out = flatten(s.widget, 31, 38, 0);  // both in column 3
    QVERIFY(menuShown);
    QVERIFY(out.isEmpty());
    QCOMPARE(s.widget.data().at<float>(0, 3), 0.5f);

    cv::Mat bgr = threeChannels(10, 1, 2, 3);
    s.widget.setProfile(bgr, 0, 10, true);
    QVERIFY(flatten(s.widget, 31, 38, 0).isEmpty());
    QVERIFY(menuShown);
}

void TestProfileWidget::flattenOneOfThreeChannels()
{
    Strip s;
    cv::Mat bgr(1, 10, CV_32FC3);
    for (int c = 0; c < 10; ++c) bgr.at<cv::Vec3f>(0, c) = cv::Vec3f(1.0f + c, 2.0f * c, 0.5f + 0.25f * c * c);
    s.widget.setProfile(bgr, 0, 10, true);

    // Index 2 is the G channel (channel 1) alone; columns 1 to 5.
    QList<cv::Mat> out = flatten(s.widget, 15, 55, 2);
    QCOMPARE(out.size(), 1);
    cv::Mat m = out.at(0);
    const float gStep = float((10.0f - 2.0f) * (1.0 / 4));
    for (int i = 0; i <= 4; ++i) {
        const cv::Vec3f px = m.at<cv::Vec3f>(0, 1 + i);
        const cv::Vec3f orig = bgr.at<cv::Vec3f>(0, 1 + i);
        QCOMPARE(px[1], float(i) * gStep + 2.0f);
        QCOMPARE(px[0], orig[0]);
        QCOMPARE(px[2], orig[2]);
    }

    // Index 0 flattens all three; the curved R channel becomes straight.
    out = flatten(s.widget, 15, 55, 0);
    QCOMPARE(out.size(), 1);
    m = out.at(0);
    const cv::Vec3f sPx = bgr.at<cv::Vec3f>(0, 1), ePx = bgr.at<cv::Vec3f>(0, 5);
    for (int i = 0; i <= 4; ++i)
        for (int c = 0; c < 3; ++c) {
            const float step = float((ePx[c] - sPx[c]) * (1.0 / 4));
            QCOMPARE(m.at<cv::Vec3f>(0, 1 + i)[c], float(i) * step + sPx[c]);
        }
    QCOMPARE(m.at<cv::Vec3f>(0, 6), bgr.at<cv::Vec3f>(0, 6));
}

void TestProfileWidget::stairCurveOnThePixels()
{
    ProfileWidget w;
    w.resize(200, 100);
    w.show();
    QVERIFY(QTest::qWaitForWindowExposed(&w));
    // Values at y = 20, 40, 60, 80; one column is 50 pixels wide.
    w.setProfile(oneChannel({204, 153, 102, 51}), 0, 4, false);
    const QImage img = w.grab().toImage();
    QCOMPARE(img.size(), QSize(200, 100));
    QVERIFY(isGray(img.pixel(80, 40)));
    QVERIFY(isGray(img.pixel(125, 60)));
    QVERIFY(isGray(img.pixel(175, 80)));
    QVERIFY(!isGray(img.pixel(125, 40)));
    QVERIFY(!isGray(img.pixel(175, 60)));
    QVERIFY(!isGray(img.pixel(125, 61)));
    QVERIFY(!isGray(img.pixel(125, 59)));
    // The risers between steps stand at the column borders.
    QVERIFY(isGray(img.pixel(100, 50)));
    QVERIFY(isGray(img.pixel(150, 70)));
    QVERIFY(!isGray(img.pixel(125, 50)));
}

void TestProfileWidget::leftEdgeBelowZeroIsClipped()
{
    ProfileWidget w;
    w.resize(200, 100);
    w.show();
    QVERIFY(QTest::qWaitForWindowExposed(&w));
    // Columns -2 to 2 in view: column 0 starts at x = 100.
    w.setProfile(oneChannel({204, 153, 102, 51}), -2, 2, false);
    const QImage img = w.grab().toImage();
    QVERIFY(isGray(img.pixel(125, 20)));
    QVERIFY(isGray(img.pixel(175, 40)));
    for (int x = 60; x < 100; ++x)
        for (int y = 0; y < 100; ++y) QVERIFY2(!isGray(img.pixel(x, y)), qPrintable(QString("%1,%2").arg(x).arg(y)));
}

void TestProfileWidget::channelColours()
{
    ProfileWidget w;
    w.resize(200, 100);
    w.show();
    QVERIFY(QTest::qWaitForWindowExposed(&w));
    w.setProfile(threeChannels(4, 204, 153, 102), 0, 4, false);
    const QImage img = w.grab().toImage();
    QCOMPARE(QColor(img.pixel(120, 20)), QColor(Qt::blue));
    QCOMPARE(QColor(img.pixel(120, 40)), QColor(Qt::green));
    QCOMPARE(QColor(img.pixel(120, 60)), QColor(Qt::red));
}

void TestProfileWidget::guideLineIsDrawn()
{
    ProfileWidget w;
    w.resize(200, 100);
    w.show();
    QVERIFY(QTest::qWaitForWindowExposed(&w));
    w.setProfile(oneChannel({204, 204, 204, 204}), 0, 4, false);
    QTest::mouseDClick(&w, Qt::LeftButton, Qt::NoModifier, QPoint(150, 70));
    QCOMPARE(w.guideLines(), QList<double>{(1.0 - 70.0 / 100.0) * 255.0});
    const QImage img = w.grab().toImage();
    QCOMPARE(QColor(img.pixel(150, 70)), QColor(Qt::white));
    QCOMPARE(QColor(img.pixel(190, 70)), QColor(Qt::white));
}

void TestProfileWidget::emptyDataDrawsNothing()
{
    ProfileWidget w;
    w.resize(200, 100);
    w.show();
    QVERIFY(QTest::qWaitForWindowExposed(&w));
    w.setProfile(cv::Mat(), 0, 4, false);
    const QImage img = w.grab().toImage();
    const QRgb bg = img.pixel(0, 0);
    for (int y = 0; y < 100; y += 3)
        for (int x = 0; x < 200; x += 3) QCOMPARE(img.pixel(x, y), bg);
}

QTEST_MAIN(TestProfileWidget)
#include "test_profilewidget.moc"
