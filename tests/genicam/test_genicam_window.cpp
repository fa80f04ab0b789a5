// The calibration tool end to end on a GigE Vision line-scan camera on the loopback, through the
// GenICam camera library bound as the program binds it: the window lists the camera by vendor,
// model and serial; a double click connects and the live image comes; its profile shows the
// test camera's column spread (the simulated sensor's dark offsets, response and lens fall-off)
// column by column; the panels set the camera's own features; the dark field under the lens cap
// fills B with the true dark offsets within the noise; and a camera that leaves the network ends
// capture through the failure path with its status in the window. Also the bright field's K in
// the software FPN, the flat-field computation, the FPN file and a refused write-down.
//
// Run again with LSX_TEST_WITHOUT_BLACK_LEVEL set, on the camera with its black-level feature
// removed from its tree: the dark field keeps DOffset at 0 and says so once, the rest alike.
#include "common/threadspy.h"
#include "common/writequestion.h"
#include "genicam/testcamera.h"
#include "panels/windowharness.h"
#include "ui_mainwindow.h"

#include "app/mainwindow.h"
#include "app/progressinfowidget.h"
#include "camera/cameraserver.h"
#include "camera/tables.h"
#include "loader.h"
#include "views/profilewidget.h"

#include <QElapsedTimer>
#include <QFile>
#include <QPushButton>
#include <QSettings>
#include <QTemporaryDir>
#include <QTreeWidget>
#include <QtTest>

#include <cmath>
#include <memory>

namespace {

constexpr int kWidth = 1024;
constexpr double kReadNoise = 0.7;  // the simulated sensor's read noise, 10-bit units at gain 1

QString simConfig()
{
    // Hot columns weak enough that one DOffset at gain 2 lifts the darkest column clear of zero
    // while the brightest stays under the B limit.
    return QStringLiteral(R"({"timeScale": 0, "readNoise": %1, "hotAmp": 5,
        "cameras": [{"friendlyName": "SIM-LS4096-M", "width": %2}]})")
        .arg(kReadNoise)
        .arg(kWidth);
}

using Report = QPair<int, QString>;

bool withoutBlackLevel()
{
    return qEnvironmentVariableIsSet("LSX_TEST_WITHOUT_BLACK_LEVEL");
}

}  // namespace

class TestGenicamWindow : public QObject {
    Q_OBJECT

    gvtest::TestCamera m_camera;
    QTemporaryDir m_dir;
    std::unique_ptr<MainWindow> w;
    QString m_name;

    CameraServer* server() const { return w->m_cameraServer; }
    lsxHandle handle() const { return server()->m_handle; }

    QTreeWidgetItem* cameraItem() const
    {
        QTreeWidget* list = w->ui->deviceListTreeWidget;
        for (int i = 0; i < list->topLevelItemCount(); ++i)
            if (list->topLevelItem(i)->text(0) == m_name) return list->topLevelItem(i);
        return nullptr;
    }

    uint32_t peek(uint32_t address)
    {
        const QString answer = m_camera.command(QStringLiteral("peek %1").arg(address));
        return answer.startsWith(QStringLiteral("ok ")) ? answer.mid(3).toUInt() : 0xDEADBEEFu;
    }

    // The test camera's noise-free level per column at the settings it holds now, DN10.
    QList<double> truth(const char* kind)
    {
        return m_camera.numbers(QStringLiteral("truth %1").arg(QLatin1String(kind)));
    }

    // The reports of one workflow of the window, until its closing one; empty when the progress
    // panel did not come up or the run did not end within `timeoutMs`.
    QList<Report> runWorkflow(void (MainWindow::*start)(), int timeoutMs)
    {
        ThreadSpy reports(server(), &CameraServer::OS_FpnInfo);
        {
            // A write-down asks first; the operator writes.
            const WriteQuestion answered(true);
            (w.get()->*start)();
        }
        if (!w->m_progressInfo->isVisible()) return {};
        auto ended = [&] {
            for (const QList<QVariant>& r : reports)
                if (r.at(0).toInt() >= 100) return true;
            return false;
        };
        QList<Report> all;
        if (!QTest::qWaitFor(ended, timeoutMs)) return all;
        for (const QList<QVariant>& r : reports) all.append({r.at(0).toInt(), r.at(1).toString()});
        return all;
    }

    // The operator's "确定" at the end of a workflow: false when it was not there to click.
    bool accept()
    {
        auto* defineBut = w->m_progressInfo->findChild<QPushButton*>(QStringLiteral("defineBut"));
        if (!defineBut || !defineBut->isVisible()) return false;
        QTest::mouseClick(defineBut, Qt::LeftButton);
        return true;
    }

private slots:
    void initTestCase()
    {
        gvtest::Options options;
        options.serial = gvtest::uniqueSerial("W");
        options.simConfig = simConfig();
        if (withoutBlackLevel()) {
            options.xml = m_dir.filePath(QStringLiteral("noblack.xml"));
            QVERIFY(
                gvtest::writeTreeWithoutBlackLevel(QString::fromLocal8Bit(qgetenv("LSX_GVCAMERA_XML")), options.xml));
        }
        const QString failed = m_camera.start(options);
        QVERIFY2(failed.isEmpty(), qPrintable(failed));
        m_name = m_camera.friendlyName(kWidth);

        const QByteArray library = qgetenv("LSX_GENICAM_LIBRARY");
        QVERIFY2(!library.isEmpty(), "LSX_GENICAM_LIBRARY names the GenICam camera library");
        const lsx::BindResult bound = lsx::bindLibrary(library.toStdString());
        QVERIFY2(bound.ok, bound.message.c_str());
        QVERIFY(!lsx::hasSceneControl());  // a real camera's library: no scene of its own

        QFile::remove(fpnIniPath());
        w = std::make_unique<MainWindow>(QString(), 0);
        w->resize(1513, 937);
        w->show();
        QVERIFY(QTest::qWaitForWindowExposed(w.get()));
        w->m_helpDialog.hide();
    }

    void cleanupTestCase()
    {
        w.reset();
        m_camera.stop();
        lsx::unbindLibrary();
    }

    void theWindowListsTheCamera()
    {
        QVERIFY2(cameraItem(), qPrintable(m_name));
        QCOMPARE(m_name, QStringLiteral("LSXTest LS1024-GV %1").arg(gvtest::uniqueSerial("W")));
    }

    void liveImageAndProfileShowTheColumnSpread()
    {
        QCOMPARE(m_camera.command(QStringLiteral("noise off")), QStringLiteral("ok"));
        QTreeWidget* list = w->ui->deviceListTreeWidget;
        QTreeWidgetItem* item = cameraItem();
        QVERIFY(item);
        ThreadSpy frames(server(), &CameraServer::OS_NewFrame);
        const QPoint at = list->visualItemRect(item).center();
        QTest::mouseClick(list->viewport(), Qt::LeftButton, {}, at);
        QTest::mouseDClick(list->viewport(), Qt::LeftButton, {}, at);
        QVERIFY(server()->m_opened);
        QCOMPARE(server()->cameraName(), m_name);
        QVERIFY(server()->m_isLinescan);
        QCOMPARE(w->ui->connectBut->text(), QStringLiteral("断开"));
        QTRY_VERIFY_WITH_TIMEOUT(w->ui->startBut->isChecked(), 3000);
        QTRY_VERIFY_WITH_TIMEOUT(frames.size() >= 3, 10000);

        // The picture of the whole line, 1000 lines high, and its profile.
        QTRY_COMPARE_WITH_TIMEOUT(w->ui->imageSizeLabel->text(), QStringLiteral("宽高:[%1,1000]").arg(kWidth), 5000);
        QCOMPARE(w->m_pixmap.size(), QSize(kWidth, 1000));
        const cv::Mat profile = w->m_staticMat.clone();
        QCOMPARE(profile.cols, kWidth);
        QCOMPARE(profile.type(), CV_32FC1);
        QCOMPARE(w->m_profileWidget->data().cols, kWidth);

        // Column by column the test camera's own picture: dark offset plus the response to the
        // lit scene, 8-bit (the top 8 of 10 bits), noise off.
        const QList<double> dark = truth("dark");
        const QList<double> signal = truth("signal");
        QCOMPARE(dark.size(), kWidth);
        QCOMPARE(signal.size(), kWidth);
        double worst = 0.0, lo = 1e9, hi = -1e9;
        for (int x = 0; x < kWidth; ++x) {
            const double expected = (dark[x] + signal[x]) / 4.0;
            worst = std::max(worst, std::abs(double(profile.at<float>(0, x)) - expected));
            lo = std::min(lo, expected);
            hi = std::max(hi, expected);
        }
        QVERIFY2(worst <= 1.0, qPrintable(QStringLiteral("largest difference %1").arg(worst)));
        QVERIFY2(hi - lo > 10.0, qPrintable(QStringLiteral("spread %1").arg(hi - lo)));  // not a flat picture
        QVERIFY2(lo > 5.0 && hi < 250.0, qPrintable(QStringLiteral("%1..%2").arg(lo).arg(hi)));
        QTRY_VERIFY_WITH_TIMEOUT(w->ui->captureRateLabel->text().startsWith(QStringLiteral("帧率:")), 5000);
    }

    void panelsSetTheCamerasFeatures()
    {
        QVERIFY(w->ui->startBut->isChecked());
        QCOMPARE(w->ui->gainSelSBox->minimum(), 1.0);
        QCOMPARE(w->ui->gainSelSBox->maximum(), 8.0);
        QCOMPARE(w->ui->exposureSBox->maximum(), 20000.0);
        w->ui->gainSelSBox->setValue(2.0);
        QCOMPARE(peek(0x110), 200u);  // Gain in hundredths in the device
        w->ui->gainSelSBox->setValue(1.0);
        QCOMPARE(peek(0x110), 100u);
        const int before = int(peek(0x120));
        w->ui->exposureSBox->setValue(before + 20);
        QCOMPARE(peek(0x120), uint32_t(before + 20));
        w->ui->exposureSBox->setValue(before);
        QCOMPARE(peek(0x120), uint32_t(before));
        // The camera has no FPN correction of its own: its switch reads off.
        QVERIFY(!w->ui->fpnEnableCheck->isChecked());
        QCOMPARE(w->ui->ffcSelCBox->currentText(), QStringLiteral("Disable"));
        QCOMPARE(w->ui->fpnSelCBox->count(), 0);
    }

    void darkFieldUnderTheLensCap()
    {
        // The calibration gain as the operator sets it, in the panel's gain box (the window keeps
        // one calibration gain and writes it to FPN.ini as both ends of the range): gain 2.
        constexpr float kGain = 2.0f;
        w->ui->gainSelSBox->setValue(kGain);
        {
            QSettings ini(fpnIniPath(), QSettings::IniFormat);
            QCOMPARE(ini.value(FpnIni::GainMin).toFloat(), kGain);
            QCOMPARE(ini.value(FpnIni::GainMax).toFloat(), kGain);
        }
        QCOMPARE(m_camera.command(QStringLiteral("scene dark")), QStringLiteral("ok"));
        QCOMPARE(m_camera.command(QStringLiteral("noise on")), QStringLiteral("ok"));
        const QList<Report> all = runWorkflow(&MainWindow::dsnuProcess, 90000);
        QVERIFY(!all.isEmpty());
        QCOMPARE(all.last(), Report(100, QStringLiteral("暗场校正-暗场校正执行完成。")));
        QVERIFY(!w->ui->startBut->isChecked());

        QStringList lines;
        for (const Report& r : all) lines << QStringLiteral("%1 %2").arg(r.first).arg(r.second);
        QVERIFY2(all.contains(Report(1, QStringLiteral("暗场校正-增益范围 : [2, 2]"))),
                 qPrintable(lines.join(QLatin1Char('|'))));

        // The DOffset the search found at that gain; without a black level, 0 said once.
        QList<int> found;
        int fixedAtZero = 0;
        for (const Report& r : all) {
            if (r.second.startsWith(QStringLiteral("DOffset设置为：")))
                found.append(r.second.mid(11).chopped(1).toInt());
            if (r.second == QStringLiteral("DOffset固定为0：相机没有黑电平功能（BlackLevel）。")) ++fixedAtZero;
        }
        QVERIFY2(withoutBlackLevel() ? found.isEmpty() && fixedAtZero == 1 : found.size() == 1 && fixedAtZero == 0,
                 qPrintable(lines.join(QLatin1Char('|'))));
        QCOMPARE(server()->m_bList.size(), 1);

        // The row against the test camera's true dark level at that gain and DOffset. A row is the
        // mean of 1000 noisy lines in raw 16-bit units, cut to a whole unit.
        const int rows = 1000;
        for (int g = 0; g < 1; ++g) {
            const float gain = kGain;
            QCOMPARE(lsxSetAnalogGain(handle(), gain), LSX_OK);
            if (!withoutBlackLevel())
                QCOMPARE(lsxWriteGenICamReg(handle(), GVR_SEN_BLACK_LEVEL, uint32_t(found[g])), LSX_OK);
            const QList<double> t = truth("dark");
            QCOMPARE(t.size(), kWidth);
            const QList<double>& b = server()->m_bList[g];
            QCOMPARE(b.size(), kWidth);
            const double tolerance = 64.0 * 5.0 * kReadNoise * gain / std::sqrt(double(rows)) + 2.0;
            for (int x = 0; x < kWidth; ++x)
                if (std::abs(b[x] - 64.0 * t[x]) > tolerance)
                    QFAIL(qPrintable(QStringLiteral("gain %1 column %2: B %3, truth %4 (tolerance %5)")
                                         .arg(gain)
                                         .arg(x)
                                         .arg(b[x])
                                         .arg(64.0 * t[x])
                                         .arg(tolerance)));
        }

        // The operator's "确定": the panel goes, the panels are read again from the camera.
        QVERIFY(accept());
        QVERIFY(!w->m_progressInfo->isVisible());
        QCOMPARE(m_camera.command(QStringLiteral("scene flat")), QStringLiteral("ok"));
    }

    // The bright field on the loopback camera, after a dark field at one gain: its K in the live
    // picture's software FPN flattens the camera's output; the flat-field computation runs on
    // its frames; the FPN file is saved; a write-down is refused as unsupported and leaves the
    // camera as it was.
    void brightFieldFlatFieldAndFiles()
    {
        {
            QSettings ini(fpnIniPath(), QSettings::IniFormat);
            ini.setValue(FpnIni::GainMin, 1.0);
            ini.setValue(FpnIni::GainMax, 1.0);
            ini.setValue(FpnIni::FlatEnable, true);
        }
        w->loadParams();
        QVERIFY(w->ui->flatEnableCheck->isChecked());
        QCOMPARE(m_camera.command(QStringLiteral("scene dark")), QStringLiteral("ok"));
        QList<Report> r = runWorkflow(&MainWindow::dsnuProcess, 90000);
        QVERIFY(!r.isEmpty());
        QCOMPARE(r.last(), Report(100, QStringLiteral("暗场校正-暗场校正执行完成。")));
        QVERIFY(accept());
        QCOMPARE(server()->m_bList.size(), 1);

        QCOMPARE(m_camera.command(QStringLiteral("scene flat")), QStringLiteral("ok"));
        ThreadSpy frames(server(), &CameraServer::OS_NewFrame);
        r = runWorkflow(&MainWindow::fpnProcess, 120000);
        QVERIFY(!r.isEmpty());
        QCOMPARE(r.last(), Report(100, QStringLiteral("明场校正-明场校正执行完成")));
        QVERIFY(accept());
        QCOMPARE(server()->m_kList.size(), 1);
        QCOMPARE(server()->m_kList[0].size(), kWidth);

        // "确定" turned the software FPN on and capture again: the profile of the corrected
        // picture is flat where the raw one spread by the lens fall-off and the columns.
        QVERIFY(w->ui->applyFpnCheck->isChecked());
        QTRY_VERIFY_WITH_TIMEOUT(w->ui->startBut->isChecked(), 3000);
        const int seen = frames.size();
        QTRY_VERIFY_WITH_TIMEOUT(frames.size() >= seen + 3, 10000);
        const cv::Mat profile = w->m_staticMat.clone();
        QCOMPARE(profile.cols, kWidth);
        cv::Scalar mean, sd;
        cv::meanStdDev(profile, mean, sd);
        qInfo("software FPN on the loopback camera: column means %.2f, spread %.3f %%", mean[0], 100 * sd[0] / mean[0]);
        QVERIFY(mean[0] > 50.0);
        QVERIFY2(sd[0] / mean[0] < 0.005, qPrintable(QString::number(sd[0] / mean[0])));

        // The flat-field computation on the camera's own frames.
        w->ui->startBut->click();
        QTRY_VERIFY_WITH_TIMEOUT(!server()->workerBusy(), 5000);
        ThreadSpy ffc(server(), &CameraServer::OS_FpnInfo);
        emit server()->IS_ApplyFFC(cv::Mat(), cv::Mat(), 180.0f);
        QTRY_VERIFY_WITH_TIMEOUT(!ffc.isEmpty() && ffc.last().at(0).toInt() >= 100, 30000);
        QCOMPARE(ffc.last().at(0).toInt(), 100);
        QCOMPARE(server()->m_ffcKList.size(), 1);
        QCOMPARE(server()->m_ffcKList[0].size(), kWidth);

        // The FPN file.
        QTemporaryDir dir;
        const QString file = dir.filePath(QStringLiteral("loopback.FAC.FPN"));
        QVERIFY(server()->saveFpnFile(file));
        QFile saved(file);
        QVERIFY(saved.open(QIODevice::ReadOnly));
        QVERIFY(saved.readAll().startsWith("[Head]"));
        saved.close();

        // The write-down: not supported, and the camera's gain and exposure as they were.
        const uint32_t gain = peek(0x110), exposure = peek(0x120);
        r = runWorkflow(&MainWindow::fpnWriteDown, 30000);
        QVERIFY(!r.isEmpty());
        QVERIFY2(r.last().first == 101 && r.last().second.contains(QStringLiteral("不支持该功能")),
                 qPrintable(r.last().second));
        // The camera holds no FPN data to read back: the write said it could keep no backup.
        QVERIFY(r.first().first == 5 && r.first().second.startsWith(QStringLiteral("写入前无法备份相机")));
        QVERIFY(accept());
        QCOMPARE(peek(0x110), gain);
        QCOMPARE(peek(0x120), exposure);
        QVERIFY(!w->m_progressInfo->isVisible());
    }

    void captureEndsWhenTheCameraLeaves()
    {
        harness::BoxCatcher boxes;
        ThreadSpy frames(server(), &CameraServer::OS_NewFrame);
        ThreadSpy failed(server(), &CameraServer::OS_CaptureFailed);
        if (!w->ui->startBut->isChecked()) w->ui->startBut->click();
        QCOMPARE(w->ui->startBut->text(), QStringLiteral("暂停"));
        QTRY_VERIFY_WITH_TIMEOUT(!frames.isEmpty(), 10000);
        m_camera.kill();  // the cable pulled
        QTRY_VERIFY_WITH_TIMEOUT(!failed.isEmpty(), 15000);
        QCOMPARE(failed.first().at(0).value<lsxStatus>(), lsxStatus(LSX_ERR_DISCONNECTED));
        QTRY_VERIFY(!w->ui->startBut->isChecked());
        QCOMPARE(w->ui->startBut->text(), QStringLiteral("采图"));
        QCOMPARE(w->ui->captureRateLabel->text(), QStringLiteral("采集停止：-1104-设备已经断开连接"));
        QVERIFY(!w->m_imageItem);
        // Told as a lost camera, which counts as closed.
        QTRY_VERIFY(!boxes.boxes().isEmpty());
        QCOMPARE(boxes.boxes().first().text, QStringLiteral("相机失去连接"));
        QVERIFY(!server()->m_opened);
        QCOMPARE(w->ui->connectBut->text(), QStringLiteral("连接"));
    }

    void closingTheWindowLetsGoAtOnce()
    {
        // The camera is gone; the window and its worker do not wait for it.
        QElapsedTimer t;
        t.start();
        w.reset();
        QVERIFY2(t.elapsed() < 2000, qPrintable(QString::number(t.elapsed())));
    }
};

QTEST_MAIN(TestGenicamWindow)
#include "test_genicam_window.moc"
