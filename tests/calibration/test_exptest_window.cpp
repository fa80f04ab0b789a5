// The exposure test as the operator runs it: the main window's button on the simulated colour
// camera, the real run on the worker behind the progress panel, "确定", and the statistics window
// that comes up with the run's exposures, one column's points, fitted lines and mean curves, and
// the profile of the first exposure. With LSX_SCREENSHOT_DIR set, the window is saved there as
// statistics.png for a person to look at (scripts/statistics-screenshot.sh runs this under Xvfb).
#include "app/mainwindow.h"
#include "app/progressinfowidget.h"
#include "camera/cameraserver.h"
#include "loader.h"
#include "sim/lsxsim.h"
#include "views/profilewidget.h"
#include "views/statisticswidget.h"

#include <QCheckBox>
#include <QDir>
#include <QDoubleSpinBox>
#include <QFile>
#include <QGuiApplication>
#include <QLabel>
#include <QPushButton>
#include <QScreen>
#include <QSpinBox>
#include <QTemporaryDir>
#include <QTextEdit>
#include <QtCharts/QChartView>
#include <QtCharts/QLineSeries>
#include <QtCharts/QScatterSeries>
#include <QtCharts/QSplineSeries>
#include <QtCharts/QValueAxis>
#include <QtTest>

#include <memory>

namespace {

const char* kCamera = "SIM-LS2048-C";
constexpr int kWidth = 512;

}  // namespace

class TestExpTestWindow : public QObject {
    Q_OBJECT

    QTemporaryDir m_root;
    std::unique_ptr<MainWindow> m_window;

    CameraServer* server() const { return m_window->m_cameraServer; }
    ProgressInfoWidget* panel() const { return m_window->m_progressInfo; }
    QPushButton* defineBut() const { return panel()->findChild<QPushButton*>("defineBut"); }
    QTextEdit* contentEdit() const { return panel()->findChild<QTextEdit*>("contentEdit"); }

private slots:
    void initTestCase()
    {
        QVERIFY(m_root.isValid());
        const QString config = m_root.path() + QStringLiteral("/sim.json");
        QFile f(config);
        QVERIFY(f.open(QIODevice::WriteOnly));
        f.write(
            QStringLiteral(R"({"timeScale": 0, "cameras": [{"friendlyName": "%1", "width": %2, "roiHeight": 200}]})")
                .arg(QString::fromLatin1(kCamera))
                .arg(kWidth)
                .toLatin1());
        f.close();
        qputenv("LSX_SIM_CONFIG", config.toLocal8Bit());
        qputenv("TELORINE_DOCUMENT_PATH", m_root.path().toLocal8Bit());
        const lsx::BindResult bound = lsx::bindLibrary(lsx::chooseLibrary("", ""));
        QVERIFY2(bound.ok, bound.message.c_str());
        QVERIFY(lsx::sim::api().ok());
    }

    void cleanupTestCase()
    {
        m_window.reset();
        lsx::unbindLibrary();
    }

    void runShowsTheStatistics()
    {
        m_window = std::make_unique<MainWindow>(QString(), 0);
        m_window->show();
        QVERIFY(QTest::qWaitForWindowExposed(m_window.get()));
        server()->enumerate();
        server()->open(QString::fromLatin1(kCamera));
        QVERIFY(server()->m_opened);
        // Short frames for the series: the column means run over all rows anyway.
        server()->m_roiHeight = 200;

        auto* count = m_window->findChild<QSpinBox*>(QStringLiteral("expTotalSBox"));
        QVERIFY(count);
        count->setValue(12);
        m_window->expTest();
        QVERIFY(panel()->isVisible());
        QCOMPARE(panel()->windowTitle(), QStringLiteral("曝光数据采集中..."));
        StatisticsWidget* stats = m_window->m_statisticsWidget;
        QVERIFY(stats);
        QVERIFY(!stats->isVisible());

        // The run on the worker ends with the closing report; its result is in the window already.
        QTRY_VERIFY_WITH_TIMEOUT(defineBut()->isVisible(), 60000);
        const QString text = contentEdit()->toPlainText();
        QVERIFY2(text.contains(QStringLiteral("曝光范围内图像采集成功，点击确认显示统计图。")), qPrintable(text));
        QVERIFY(text.contains(QStringLiteral("曝光范围取[2, ")));
        QTRY_VERIFY(stats->expVec().size() >= 12);
        QCOMPARE(stats->dataMatList().size(), stats->expVec().size());

        QTest::mouseClick(defineBut(), Qt::LeftButton);
        QVERIFY(!panel()->isVisible());
        QVERIFY(stats->isVisible());
        QVERIFY(QTest::qWaitForWindowExposed(stats));
        stats->resize(1100, 800);

        // What the window shows: 3 channels of the colour camera, 512 columns; per channel the
        // points of column 0 as a curve and markers, the fitted line, the columns' mean curve.
        const QVector<double> e = stats->expVec();
        QCOMPARE(stats->dataMatList().first().type(), CV_32FC3);
        QCOMPARE(stats->dataMatList().first().cols, kWidth);
        QCOMPARE(stats->colSelSBox()->maximum(), kWidth - 1);
        QCOMPARE(stats->expSBox()->minimum(), e.first());
        QCOMPARE(stats->expSBox()->maximum(), e.last());
        // A column in the middle of the sensor, where the light is strongest.
        stats->colSelSBox()->setValue(kWidth / 2);
        const QList<QAbstractSeries*> series = stats->chart()->series();
        QCOMPARE(series.size(), 12);
        for (int k = 0; k < 3; ++k) {
            auto* points = qobject_cast<QScatterSeries*>(series.at(4 * k + 1));
            auto* fit = qobject_cast<QLineSeries*>(series.at(4 * k + 2));
            auto* means = qobject_cast<QSplineSeries*>(series.at(4 * k + 3));
            QVERIFY(points && fit && means);
            QCOMPARE(points->count(), int(e.size()));
            QCOMPARE(fit->count(), 2);
            // The response rises with the exposure, and the line follows the points.
            QVERIFY(points->at(points->count() - 1).y() > points->at(0).y() + 100.0);
            QVERIFY(std::abs(fit->at(1).y() - points->at(points->count() - 1).y()) < 5.0);
        }
        // The profile of the first exposure: the whole row.
        QCOMPARE(stats->profile()->data().cols, kWidth);
        stats->expSBox()->setValue(e.at(e.size() / 2));
        QCOMPARE(stats->profile()->data().at<cv::Vec3f>(0, 7),
                 stats->dataMatList().at(e.size() / 2).at<cv::Vec3f>(0, 7));

        // The tooltip of a point of the green line, near the point.
        auto* green = qobject_cast<QScatterSeries*>(series.at(5));
        const QPointF p = green->at(int(e.size()) - 3);
        const QPointF at = stats->chart()->mapToPosition(p, green);
        QCursor::setPos(stats->chartView()->mapToGlobal(stats->chartView()->mapFromScene(at)));
        stats->showData(p, true);
        QVERIFY(stats->tipLabel()->isVisible());
        QCOMPARE(stats->tipLabel()->text(), QStringLiteral("(%1, %2)").arg(p.x()).arg(p.y()));
        QTest::qWait(200);

        const QByteArray dir = qgetenv("LSX_SCREENSHOT_DIR");
        if (!dir.isEmpty()) {
            QDir().mkpath(QString::fromLocal8Bit(dir));
            const QString path = QString::fromLocal8Bit(dir) + QStringLiteral("/statistics.png");
            // From the screen when there is one (a real X server), else the widget's own picture.
            QPixmap shot;
            if (QGuiApplication::platformName() == QStringLiteral("xcb"))
                shot = stats->screen()->grabWindow(stats->winId());
            if (shot.isNull()) shot = stats->grab();
            QVERIFY(shot.save(path));
            qInfo("saved %s", qPrintable(path));
        }
    }
};

QTEST_MAIN(TestExpTestWindow)
#include "test_exptest_window.moc"
