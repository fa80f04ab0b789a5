// The window says what the debug log says, on the simulated camera: a camera that leaves the link
// during live view (the "相机失去连接" box, the camera counted as closed, the connect button
// ready), a close the camera library refuses (the reason shown, the camera openable again), and a
// camera configuration file of the settings that is missing or refused.
#include "common/threadspy.h"
#include "panels/windowharness.h"
#include "ui_mainwindow.h"

#include <QFile>
#include <QSettings>
#include <QTemporaryDir>

using harness::BoxCatcher;

namespace {

const QString kMono = QStringLiteral("SIM-LS4096-M");

bool anyBox(const BoxCatcher& boxes, const QString& title, const QString& start)
{
    for (const harness::Box& b : boxes.boxes())
        if (b.title == title && b.text.startsWith(start)) return true;
    return false;
}

}  // namespace

class TestCameraFaults : public QObject {
    Q_OBJECT
    std::unique_ptr<MainWindow> w;

    bool connectCamera()
    {
        if (!harness::selectCamera(*w, kMono)) return false;
        w->ui->connectBut->click();
        return w->m_cameraServer->m_opened;
    }

private slots:
    void initTestCase()
    {
        const QString failed = harness::bindSimulator();
        QVERIFY2(failed.isEmpty(), qPrintable(failed));
    }
    void init() { w = harness::makeWindow(); }
    void cleanup()
    {
        lsx::sim::api().clearFaults();
        lsx::sim::api().reconnect(nullptr);
        w.reset();
    }
    void cleanupTestCase() { lsx::unbindLibrary(); }

    void lostCameraIsClosedAndCanBeConnectedAgain()
    {
        BoxCatcher boxes;
        QVERIFY(connectCamera());
        // Live view runs (it starts by itself after the connect), then the cable is pulled.
        QTRY_VERIFY_WITH_TIMEOUT(w->ui->startBut->isChecked(), 3000);
        ThreadSpy frames(w->m_cameraServer, &CameraServer::OS_NewFrame);
        QTRY_VERIFY(frames.count() >= 1);
        QCOMPARE(lsx::sim::api().disconnectAfterFrames(kMono.toLatin1().constData(), 2), LSX_OK);
        QTRY_VERIFY_WITH_TIMEOUT(anyBox(boxes, QStringLiteral("错误"), QStringLiteral("相机失去连接")), 5000);
        QCOMPARE(boxes.boxes().size(), 1);
        QVERIFY(!w->m_cameraServer->m_opened);
        QVERIFY(!w->ui->startBut->isChecked());
        QCOMPARE(w->ui->startBut->text(), QStringLiteral("采图"));
        QVERIFY(w->ui->connectBut->isEnabled());
        QVERIFY(!w->ui->connectBut->isChecked());
        QCOMPARE(w->ui->connectBut->text(), QStringLiteral("连接"));
        QVERIFY(w->ui->featureWidget->isHidden());
        QVERIFY(!harness::cameraItem(*w, kMono)->font(0).bold());
        // The cable back in: the same button connects it again.
        QCOMPARE(lsx::sim::api().reconnect(kMono.toLatin1().constData()), LSX_OK);
        QVERIFY(connectCamera());
        QCOMPARE(w->ui->connectBut->text(), QStringLiteral("断开"));
        QTRY_VERIFY_WITH_TIMEOUT(w->ui->startBut->isChecked(), 3000);
        w->ui->startBut->click();
    }

    void failedCloseIsToldAndTheCameraOpensAgain()
    {
        BoxCatcher boxes;
        QVERIFY(connectCamera());
        QTRY_VERIFY_WITH_TIMEOUT(w->ui->startBut->isChecked(), 3000);
        w->ui->startBut->click();
        QCOMPARE(lsx::sim::api().injectFault("lsxClose", 0, LSX_ERR_UNKNOWN, 1), LSX_OK);
        w->ui->connectBut->click();  // disconnect
        QTRY_VERIFY(anyBox(boxes, QStringLiteral("警告"), QStringLiteral("关闭相机 SIM-LS4096-M 出错，错误原因：-1-")));
        QVERIFY(!w->m_cameraServer->m_opened);
        QCOMPARE(w->ui->connectBut->text(), QStringLiteral("连接"));
        // Not "设备已经打开": the handle the close left is closed first.
        QVERIFY(connectCamera());
        QVERIFY(!anyBox(boxes, QStringLiteral("错误"), QStringLiteral("相机打开失败")));
        QTRY_VERIFY_WITH_TIMEOUT(w->ui->startBut->isChecked(), 3000);
        w->ui->startBut->click();
    }

    void configurationFileProblemsAreShown_data()
    {
        QTest::addColumn<QByteArray>("content");  // empty: no file at all
        QTest::addColumn<QString>("words");
        QTest::newRow("missing") << QByteArray() << QStringLiteral("不存在");
        QTest::newRow("refused") << QByteArray("not a configuration\n")
                                 << QStringLiteral("加载失败，错误原因：-1301-文件格式无效");
    }

    void configurationFileProblemsAreShown()
    {
        QFETCH(QByteArray, content);
        QFETCH(QString, words);
        QTemporaryDir dir;
        const QString file = dir.filePath(QStringLiteral("station.cfg"));
        if (!content.isEmpty()) {
            QFile f(file);
            QVERIFY(f.open(QIODevice::WriteOnly));
            f.write(content);
        }
        {
            QSettings ini(fpnIniPath(), QSettings::IniFormat);
            ini.setValue(FpnIni::CameraConfig, file);
        }
        BoxCatcher boxes;
        QVERIFY(connectCamera());
        QTRY_VERIFY(anyBox(boxes, QStringLiteral("警告"), QStringLiteral("相机配置文件 %1 ").arg(file)));
        QVERIFY(boxes.boxes().first().text.contains(words));
        QTRY_VERIFY_WITH_TIMEOUT(w->ui->startBut->isChecked(), 3000);
        w->ui->startBut->click();
        QSettings(fpnIniPath(), QSettings::IniFormat).remove(FpnIni::CameraConfig);
    }
};

QTEST_MAIN(TestCameraFaults)
#include "test_camera_faults.moc"
