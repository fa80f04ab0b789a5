// The SCS and LSC tabs of the main window on the simulated colour camera, offscreen. SCS: on the
// test pattern the three colour planes are offset by the sensor's line distance and pixel
// mismatch; the shifts set in the tab bring them into register on the stopped image, and written
// to the camera they stay in register in its own output. A mono camera is refused. LSC: a run
// from the tab, the simulation switched on, and the parameter file.
#include "panels/windowharness.h"

#include "app/progressinfowidget.h"
#include "flatfield/lscfit.h"
#include "ui_mainwindow.h"

#include <QFileDialog>
#include <QFileInfo>
#include <QLineEdit>
#include <QPushButton>
#include <QSettings>
#include <QTemporaryDir>

#include <cmath>
#include <cstring>

namespace {

const QString kColour = QStringLiteral("SIM-LS2048-C");
const QString kMono = QStringLiteral("SIM-LS4096-M");
constexpr int kWidth = 1024;
constexpr int kRows = 256;
// The sensor's misalignment in the simulated colour camera (its configuration below).
constexpr double kLineDistance = 2.0;
constexpr double kPixelMismatch = 1.5;

class FileAnswer : public QObject {
public:
    explicit FileAnswer(const QString& path) : m_path(path)
    {
        m_timer.setInterval(20);
        QObject::connect(&m_timer, &QTimer::timeout, this, [this] {
            auto* dialog = qobject_cast<QFileDialog*>(QApplication::activeModalWidget());
            if (!dialog) return;
            auto* name = dialog->findChild<QLineEdit*>(QStringLiteral("fileNameEdit"));
            if (!name) return;
            name->setText(m_path);
            if (QFileInfo(dialog->selectedFiles().value(0)) != QFileInfo(m_path)) return;
            m_caption = dialog->windowTitle();
            static_cast<QDialog*>(dialog)->done(QDialog::Accepted);
            m_timer.stop();
        });
        m_timer.start();
    }
    QString caption() const { return m_caption; }

private:
    QString m_path;
    QString m_caption;
    QTimer m_timer;
};

// The 50 % crossings of a profile, each by linear interpolation between its two samples, signed
// by its direction, away from the ends by `margin` samples.
struct Edge {
    double at = 0;
    bool rising = false;
};
std::vector<Edge> crossings(const std::vector<double>& p, int margin)
{
    std::vector<double> sorted = p;
    std::sort(sorted.begin(), sorted.end());
    const double t = (sorted[sorted.size() / 20] + sorted[sorted.size() * 19 / 20]) / 2.0;
    std::vector<Edge> out;
    for (size_t i = size_t(margin); i + 1 + size_t(margin) < p.size(); ++i)
        if ((p[i] - t) * (p[i + 1] - t) < 0)
            out.push_back({double(i) + (t - p[i]) / (p[i + 1] - p[i]), p[i + 1] > p[i]});
    return out;
}

// The largest distance from an edge of `ref` to the nearest edge of the same direction in
// `other`; infinite when one has none within 16 samples or `ref` has no edges.
double worstDistance(const std::vector<Edge>& ref, const std::vector<Edge>& other)
{
    if (ref.empty()) return 1e9;
    double worst = 0;
    for (const Edge& e : ref) {
        double nearest = 1e9;
        for (const Edge& o : other)
            if (o.rising == e.rising) nearest = std::min(nearest, std::abs(o.at - e.at));
        if (nearest > 16) return 1e9;
        worst = std::max(worst, nearest);
    }
    return worst;
}

// Row profile (mean over columns) and column profile (mean over rows) of one plane.
std::vector<double> rowProfile(const cv::Mat& plane)
{
    std::vector<double> out;
    for (int r = 0; r < plane.rows; ++r) out.push_back(cv::mean(plane.row(r))[0]);
    return out;
}
std::vector<double> columnProfile(const cv::Mat& plane)
{
    std::vector<double> out;
    for (int c = 0; c < plane.cols; ++c) out.push_back(cv::mean(plane.col(c))[0]);
    return out;
}

// The largest distance between the edges of plane 0 or 2 and those of plane 1; infinite when the
// planes have different edge counts.
struct Misregistration {
    double lines = 0, pixels = 0;
};
Misregistration misregistration(const std::vector<cv::Mat>& planes)
{
    Misregistration m;
    if (planes.size() != 3) return {1e9, 1e9};
    // Edges of green away from the ends, where a moved plane keeps its own border rows.
    const std::vector<Edge> gRows = crossings(rowProfile(planes[1]), 8);
    const std::vector<Edge> gCols = crossings(columnProfile(planes[1]), 8);
    for (int p : {0, 2}) {
        m.lines = std::max(m.lines, worstDistance(gRows, crossings(rowProfile(planes[size_t(p)]), 2)));
        m.pixels = std::max(m.pixels, worstDistance(gCols, crossings(columnProfile(planes[size_t(p)]), 2)));
    }
    return m;
}

// One frame of the camera's own output, as B, G, R planes.
std::vector<cv::Mat> grabPlanes(lsxHandle h)
{
    std::vector<cv::Mat> planes;
    // Live capture leaves the trigger off: one frame on the soft trigger.
    if (lsxSetTriggerSource(h, 0) != LSX_OK || lsxSetTriggerState(h, true) != LSX_OK) return planes;
    if (lsxStart(h) < LSX_OK) return planes;
    lsxFrame frame;
    void* buffer = nullptr;
    if (lsxTriggerFire(h) == LSX_OK && lsxGetFrame(h, &frame, &buffer, 3000) == LSX_OK && frame.format == FORMAT_BGR24)
        cv::split(cv::Mat(frame.height, frame.width, CV_8UC3, buffer).clone(), planes);
    lsxStop(h);
    return planes;
}

}  // namespace

class TestScsGui : public QObject, harness::WindowFixture {
    Q_OBJECT
    QTemporaryDir m_root;
    void waitForFrames()
    {
        QTRY_VERIFY_WITH_TIMEOUT(ui()->startBut->isChecked(), 3000);
        server()->m_lastFrame.release();
        QTRY_VERIFY_WITH_TIMEOUT(!server()->m_lastFrame.empty(), 5000);
    }

    // The picture on show as its three planes in the order they were merged.
    std::vector<cv::Mat> shownPlanes() const
    {
        const QImage image = w->m_pixmap.toImage().convertToFormat(QImage::Format_RGB888);
        cv::Mat rgb(image.height(), image.width(), CV_8UC3, const_cast<uchar*>(image.constBits()),
                    size_t(image.bytesPerLine()));
        std::vector<cv::Mat> planes;
        cv::split(rgb.clone(), planes);
        return planes;
    }

private slots:
    void initTestCase()
    {
        QVERIFY(m_root.isValid());
        // The colour camera without noise, weak or hot columns: the edges of its test pattern are
        // then where the geometry puts them, and a single column does not make an edge of its own.
        const QString json = QStringLiteral(R"({"timeScale": 0, "cameras": [
            {"friendlyName": "SIM-LS2048-C", "width": %1, "roiHeight": %2, "noise": false,
             "weakColumns": 0, "hotColumns": 0,
             "lineDistance": %3, "pixelMismatch": %4},
            {"friendlyName": "SIM-LS4096-M", "width": %1, "roiHeight": %2}
        ]})")
                                 .arg(kWidth)
                                 .arg(kRows)
                                 .arg(kLineDistance)
                                 .arg(kPixelMismatch);
        const QString failed = harness::bindSimulator(m_root.path(), json);
        QVERIFY2(failed.isEmpty(), qPrintable(failed));
    }
    void init() { w = harness::makeWindow(); }
    void cleanup()
    {
        lsx::sim::api().clearFaults();
        w.reset();
    }
    void cleanupTestCase() { lsx::unbindLibrary(); }

    void shiftsBringThePlanesIntoRegister()
    {
        harness::BoxCatcher boxes;
        const QByteArray cam = kColour.toLatin1();
        QCOMPARE(lsx::sim::api().setScene(cam.constData(), LSX_SIM_SCENE_PATTERN, -1, -1, -1), LSX_OK);
        QVERIFY(connectCamera(kColour));
        const lsxHandle h = server()->m_handle;
        // The camera without its alignment, read into the tab.
        QCOMPARE(lsxSetConfigString(h, "SCS.LineShift", "0"), LSX_OK);
        QCOMPARE(lsxSetConfigString(h, "SCS.PixelShift", "0"), LSX_OK);
        w->loadFeatures();
        QVERIFY(ui()->featureTabWidget->isTabEnabled(3));
        QCOMPARE(ui()->scsVSBox->property("ScsUID").toDouble(), 0.0);
        QVERIFY(!ui()->scsWriteBut->isEnabled());
        waitForFrames();

        // The frame as the camera gives it: blue and red offset against green.
        w->m_scsChannels.clear();
        const Misregistration raw = misregistration([&] {
            std::vector<cv::Mat> p;
            cv::split(server()->m_lastFrame, p);
            return p;
        }());
        qInfo("camera without SCS: %.3f lines, %.3f pixels", raw.lines, raw.pixels);
        QVERIFY(raw.lines > 1.5 && raw.lines < 1e9);
        QVERIFY(raw.pixels > 1.0);

        // The operator sets the shifts in the tab: the stopped image comes into register.
        ui()->featureTabWidget->setCurrentIndex(3);
        ui()->scsVSBox->setValue(kLineDistance);
        QVERIFY(!ui()->startBut->isChecked());
        QVERIFY(ui()->scsWriteBut->isEnabled());
        QVERIFY(ui()->scsCancelBut->isEnabled());
        ui()->scsHSBox->setValue(kPixelMismatch);
        const Misregistration tried = misregistration(shownPlanes());
        qInfo("tried in software: %.3f lines, %.3f pixels", tried.lines, tried.pixels);
        QVERIFY2(tried.lines < 0.1, qPrintable(QString::number(tried.lines)));
        QVERIFY2(tried.pixels < 0.1, qPrintable(QString::number(tried.pixels)));

        // Written to the camera: its own output in register.
        ui()->scsWriteBut->click();
        QTRY_COMPARE(boxes.boxes().size(), 1);
        QCOMPARE(boxes.boxes()[0].title, QStringLiteral("写入成功"));
        QCOMPARE(boxes.boxes()[0].text, QStringLiteral("写入SCS成功，请查看应用后效果。"));
        QCOMPARE(ui()->scsVSBox->property("ScsUID").toDouble(), kLineDistance);
        QVERIFY(!ui()->scsWriteBut->isEnabled());
        QVERIFY(ui()->startBut->isChecked());
        char text[LSX_TEXT_SIZE] = {};
        QCOMPARE(lsxGetConfigString(h, "SCS.PixelShift", text, sizeof text), LSX_OK);
        QCOMPARE(QString::fromLatin1(text), QStringLiteral("1.5"));
        // The capture the write started must be delivering frames before it is stopped: a stop
        // that reaches the worker before the capture slot does is overridden by its start, and
        // the worker is busy with the write itself for a while after the message.
        waitForFrames();
        ui()->startBut->click();
        QTRY_VERIFY(!server()->workerBusy());
        const Misregistration written = misregistration(grabPlanes(h));
        qInfo("written to the camera: %.3f lines, %.3f pixels", written.lines, written.pixels);
        QVERIFY(written.lines < 0.1);
        QVERIFY(written.pixels < 0.1);
    }

    void cancelGoesBackToTheCamera()
    {
        QCOMPARE(lsx::sim::api().setScene("SIM-LS2048-C", LSX_SIM_SCENE_PATTERN, -1, -1, -1), LSX_OK);
        QVERIFY(connectCamera(kColour));
        waitForFrames();
        ui()->featureTabWidget->setCurrentIndex(3);
        const double camera = ui()->scsVSBox->value();
        ui()->scsVSBox->setValue(camera + 0.4);
        QVERIFY(ui()->scsCancelBut->isEnabled());
        const QPixmap shifted = w->m_pixmap;
        // Back to the camera's value: nothing moves, the stored planes show, but the buttons
        // stay as they are.
        ui()->scsVSBox->setValue(camera);
        const QPixmap unshifted = w->m_pixmap;
        QVERIFY(unshifted.toImage() != shifted.toImage());
        QVERIFY(ui()->scsCancelBut->isEnabled());
        QVERIFY(ui()->scsWriteBut->isEnabled());
        ui()->scsVSBox->setValue(camera + 0.4);
        ui()->scsCancelBut->click();
        QCOMPARE(w->m_pixmap.toImage(), unshifted.toImage());
        QCOMPARE(ui()->scsVSBox->value(), camera);
        QVERIFY(!ui()->scsCancelBut->isEnabled());
        QVERIFY(w->m_pixmap.toImage() != shifted.toImage());
    }

    void monoCameraIsRefused()
    {
        harness::BoxCatcher boxes;
        QVERIFY(connectCamera(kMono));
        waitForFrames();
        w->m_scsChannels.clear();
        w->scsApply();
        QTRY_COMPARE(boxes.boxes().size(), 1);
        QCOMPARE(boxes.boxes()[0].title, QStringLiteral("错误"));
        QCOMPARE(boxes.boxes()[0].text, QStringLiteral("仅三通道彩色图像支持SCS设置。"));
        QVERIFY(ui()->startBut->isChecked());
    }

    void lscTabRunAndFile()
    {
        harness::BoxCatcher boxes;
        QVERIFY(connectCamera(kColour));
        waitForFrames();
        ui()->featureTabWidget->setCurrentIndex(2);
        ui()->lscCustomLumRBut->setChecked(true);
        ui()->lscCustomLumRangeSBox->setValue(180);
        ui()->lscBut->click();
        QCOMPARE(w->m_progressInfo->windowTitle(), QStringLiteral("镜头校正执行中..."));
        QTRY_VERIFY_WITH_TIMEOUT(defineBut()->isVisible(), 15000);
        QTest::mouseClick(defineBut(), Qt::LeftButton);
        QVERIFY(ui()->lscCheck->isChecked());
        QCOMPARE(server()->m_lscPolyList.size(), 3);
        QCOMPARE(server()->m_lscPolyList[1][7], 180.0);

        const QString path = m_root.filePath(QStringLiteral("lens.LSC.FAC"));
        {
            FileAnswer answer(path);
            w->saveLSC();
            QCOMPARE(answer.caption(), QStringLiteral("LSC保存"));
        }
        QTRY_COMPARE(boxes.boxes().size(), 1);
        QCOMPARE(boxes.boxes()[0].title, QStringLiteral("保存成功"));
        const LscFileContent file = lscReadFile(path);
        QVERIFY(file.ok);
        QCOMPARE(file.polys, server()->m_lscPolyList);
        QCOMPARE(file.roiW, kWidth);
    }
};

QTEST_MAIN(TestScsGui)
#include "test_scs_gui.moc"
