// The window's question before a write into the camera, and "恢复写入前参数", on the simulated
// camera: the question names the set and the backup file (or says there can be none), "取消"
// writes nothing and keeps nothing; "写入" keeps the set in the file named and writes; the
// restore writes the file back value for value; the window's close keeps the written set on, and
// puts back as found what no write-down set.
#include "app/mainwindow.h"
#include "app/progressinfowidget.h"
#include "camera/cameraserver.h"
#include "camera/metatypes.h"
#include "camera/tables.h"
#include "common/fpnreadback.h"
#include "common/writequestion.h"
#include "loader.h"
#include "sim/lsxsim.h"
#include "ui_mainwindow.h"

#include <QDir>
#include <QFileDialog>
#include <QLineEdit>
#include <QPushButton>
#include <QSettings>
#include <QTextEdit>
#include <QtTest>

#include <memory>

namespace {

const char* kCamera = "SIM-LS4096-M";
constexpr int kWidth = 4096;

// Answers the next file dialog with `path`, as the operator types it and presses Enter.
void answerFileDialog(const QString& path, int triesLeft = 500)
{
    QTimer::singleShot(10, qApp, [path, triesLeft] {
        auto* dialog = qobject_cast<QFileDialog*>(QApplication::activeModalWidget());
        if (!dialog) {
            if (triesLeft > 0) answerFileDialog(path, triesLeft - 1);
            return;
        }
        if (auto* name = dialog->findChild<QLineEdit*>(QStringLiteral("fileNameEdit"))) name->setText(path);
        QMetaObject::invokeMethod(dialog, "accept", Qt::DirectConnection);
    });
}

}  // namespace

class TestBackupWindow : public QObject {
    Q_OBJECT

    std::unique_ptr<MainWindow> m_window;

    CameraServer* server() const { return m_window->m_cameraServer; }
    QPushButton* okBut() const
    {
        return m_window->m_progressInfo->findChild<QPushButton*>(QStringLiteral("defineBut"));
    }
    QString panelText() const
    {
        return m_window->m_progressInfo->findChild<QTextEdit*>(QStringLiteral("contentEdit"))->toPlainText();
    }

    // The window on the opened camera, with B and K of a calibration in the server.
    void openWindow()
    {
        m_window = std::make_unique<MainWindow>(QString(), 0);
        m_window->show();
        QVERIFY(QTest::qWaitForWindowExposed(m_window.get()));
        server()->enumerate();
        server()->open(QString::fromLatin1(kCamera));
        QVERIFY(server()->m_opened);
        server()->m_bList = {QList<double>(kWidth, 1000.0)};
        server()->m_kList = {QList<double>(kWidth, 1.25)};
        server()->m_frameBits = LSX_BITS_16;
        m_window->loadFeatures();
        QCOMPARE(m_window->ui->fpnSelCBox->currentText(), QStringLiteral("UserSet0"));
    }

    // UserSet0 as the camera's record gives it back: K, B of every column, and its DOffset.
    QByteArray userSet0() const
    {
        const lsxHandle h = server()->m_handle;
        char selected[64] = {};
        lsxGetConfigString(h, "FPNC.Selector", selected, sizeof selected);
        const std::vector<uint8_t> block = fpnReadBack(h, "UserSet0", kWidth);
        lsxSetConfigString(h, "FPNC.Selector", selected);
        // The pairs and the DOffset at byte 9 of the head.
        return block.empty()
                   ? QByteArray()
                   : QByteArray(reinterpret_cast<const char*>(block.data() + 40), kWidth * 8) + char(block[9]);
    }

    QStringList backups() const
    {
        return QDir(CameraServer::backupFolder()).entryList({QStringLiteral("*.backup.ini")}, QDir::Files);
    }

    // The panel's closing report, then its "确定".
    void finishPanel(const QString& expected)
    {
        QTRY_VERIFY_WITH_TIMEOUT(okBut()->isVisible(), 20000);
        QVERIFY2(panelText().contains(expected), qPrintable(panelText()));
        QTest::mouseClick(okBut(), Qt::LeftButton);
        QTRY_VERIFY(!m_window->m_progressInfo->isVisible());
    }

    QString configString(lsxHandle h, const char* key) const
    {
        char value[64] = {};
        lsxGetConfigString(h, key, value, sizeof value);
        return QString::fromLatin1(value);
    }

private slots:
    void initTestCase()
    {
        const QByteArray lib = qgetenv("LSX_LIBRARY");
        QVERIFY(!lib.isEmpty());
        QVERIFY(lsx::bindLibrary(lib.toStdString()).ok);
        QVERIFY(lsx::sim::api().ok());
        registerMetaTypes();
    }

    void init()
    {
        QCOMPARE(lsx::sim::api().reset(), LSX_OK);
        QCOMPARE(lsx::sim::api().setTimeScale(nullptr, 0.05), LSX_OK);
        QDir(CameraServer::backupFolder()).removeRecursively();
        QFile::remove(fpnIniPath());
        openWindow();
    }

    void cleanup() { m_window.reset(); }

    void cleanupTestCase() { lsx::unbindLibrary(); }

    void cancelWritesNothing()
    {
        const QByteArray before = userSet0();
        QVERIFY(!before.isEmpty());
        QSignalSpy writes(server(), &CameraServer::IS_FpnWriteDown);
        const WriteQuestion cancelled(false);
        m_window->ui->writeFpnBut->click();
        QCOMPARE(cancelled.texts().size(), 1);
        const QString text = cancelled.texts().first();
        QVERIFY2(text.startsWith(QStringLiteral("将覆盖相机 SIM-LS4096-M 的FPN参数组“UserSet0”。")), qPrintable(text));
        QVERIFY2(text.contains(QStringLiteral("写入前该参数组的内容将备份到：\n%1/").arg(CameraServer::backupFolder())),
                 qPrintable(text));
        QVERIFY(text.contains(QStringLiteral("_FPN_UserSet0.backup.ini")));
        QCOMPARE(writes.count(), 0);
        QVERIFY(!m_window->m_progressInfo->isVisible());
        QTest::qWait(100);  // nothing queued on the worker either
        QVERIFY(!server()->workerBusy());
        QCOMPARE(userSet0(), before);
        QVERIFY(backups().isEmpty());
        QCOMPARE(configString(server()->m_handle, "FPNC.Enable"), QStringLiteral("false"));
    }

    // The lens shading cannot be read back: the question says so, and "取消" writes nothing.
    void lensShadingQuestionSaysNoBackup()
    {
        server()->m_lscPolyList = {{0, 0, 0, 0, 0, 0, 100.0, 120.0}};
        m_window->ui->lscSelCBox->setCurrentText(QStringLiteral("UserSet1"));
        QCOMPARE(m_window->ui->lscSelCBox->currentText(), QStringLiteral("UserSet1"));
        QSignalSpy writes(server(), &CameraServer::IS_LSCWriteDown);
        const WriteQuestion cancelled(false);
        m_window->ui->lscWriteDownBut->click();
        QCOMPARE(cancelled.texts().size(), 1);
        QCOMPARE(cancelled.texts().first(),
                 QStringLiteral(
                     "将覆盖相机 SIM-LS4096-M 的镜头校正（LSC）参数组“UserSet1”。\n\n无法备份：相机的镜头校正（LSC）"
                     "参数组不能读回。写入后不能恢复原有参数。"));
        QCOMPARE(writes.count(), 0);
    }

    // "写入" keeps the set in the file the question named and writes; "恢复写入前参数" writes the
    // file back, value for value, after its own question.
    void writeThenRestore()
    {
        const QByteArray before = userSet0();
        QString named;
        {
            const WriteQuestion written(true);
            m_window->ui->writeFpnBut->click();
            QCOMPARE(written.texts().size(), 1);
            named = written.texts().first().section(QLatin1Char('\n'), 3, 3);
        }
        QVERIFY2(named.endsWith(QStringLiteral(".backup.ini")), qPrintable(named));
        finishPanel(QStringLiteral("写入前已将相机参数组 UserSet0 备份到 %1").arg(named));
        QVERIFY(QFile::exists(named));
        QVERIFY(userSet0() != before);
        QCOMPARE(configString(server()->m_handle, "FPNC.Enable"), QStringLiteral("true"));

        answerFileDialog(named);
        {
            const WriteQuestion restored(true);
            m_window->m_restoreBut->click();
            QCOMPARE(restored.texts().size(), 1);
            QVERIFY2(restored.texts().first().contains(
                         QStringLiteral("%1 写回相机 SIM-LS4096-M 的FPN参数组“UserSet0”").arg(named)),
                     qPrintable(restored.texts().first()));
        }
        finishPanel(QStringLiteral("已将备份 %1 写回相机参数组 UserSet0。").arg(named));
        QCOMPARE(userSet0(), before);
        // The set as it was before the write: the camera's FPN off, as it was.
        QCOMPARE(configString(server()->m_handle, "FPNC.Enable"), QStringLiteral("false"));
        // The restore kept what it overwrote too.
        QCOMPARE(backups().size(), 2);
    }

    // After a write-down the window's close leaves the written set on, with the DOffset it was
    // measured at; a switch the operator turned on without a write-down goes back as found.
    void closeKeepsWhatWasWritten()
    {
        const lsxHandle h = server()->m_handle;
        uint32_t found = 0;
        QCOMPARE(lsxReadGenICamReg(h, GVR_SEN_BLACK_LEVEL, &found), LSX_OK);
        m_window->ui->fpnEnableCheck->click();
        QCOMPARE(configString(h, "FPNC.Enable"), QStringLiteral("true"));
        m_window.reset();
        lsxHandle again = 0;
        QCOMPARE(lsxOpenByName(kCamera, LSX_OPEN_NORMAL, &again), LSX_OK);
        QCOMPARE(configString(again, "FPNC.Enable"), QStringLiteral("false"));
        QCOMPARE(lsxClose(again), LSX_OK);

        openWindow();
        QSettings(fpnIniPath(), QSettings::IniFormat).setValue(FpnIni::DOffset, 5);
        m_window->ui->fpnSelCBox->setCurrentText(QStringLiteral("UserSet1"));
        {
            const WriteQuestion written(true);
            m_window->ui->writeFpnBut->click();
            QCOMPARE(written.texts().size(), 1);
        }
        finishPanel(QStringLiteral("已使能相机内部FPN"));
        m_window.reset();
        QCOMPARE(lsxOpenByName(kCamera, LSX_OPEN_NORMAL, &again), LSX_OK);
        QCOMPARE(configString(again, "FPNC.Enable"), QStringLiteral("true"));
        QCOMPARE(configString(again, "FPNC.Selector"), QStringLiteral("UserSet1"));
        uint32_t black = 0;
        QCOMPARE(lsxReadGenICamReg(again, GVR_SEN_BLACK_LEVEL, &black), LSX_OK);
        QCOMPARE(black, 5u);
        QVERIFY(black != found);
        QCOMPARE(lsxClose(again), LSX_OK);
    }
};

QTEST_MAIN(TestBackupWindow)
#include "test_backup_window.moc"
