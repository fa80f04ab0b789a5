// The calibration workflows of the main window, on the simulated camera: each run's start test,
// the signal it fires with its arguments, the panel's title and first line, and what the
// panel's answers do: "确定" after a report of 100 runs the closing action, "确定" after a
// failure (101) or "取消" takes the cancel path, and the live image comes back after every run,
// by the closing action's own click or by the window's. The procedures behind the signals are
// unplugged from the worker: the tests report into the panel as a procedure would, and no real
// run races them for the cancel flag or the panel.
#include "app/mainwindow.h"
#include "app/progressinfowidget.h"
#include "camera/cameraserver.h"
#include "camera/metatypes.h"
#include "camera/tables.h"
#include "common/threadspy.h"
#include "common/writequestion.h"
#include "loader.h"
#include "sim/lsxsim.h"
#include "ui_mainwindow.h"
#include "views/statisticswidget.h"

#include <QApplication>
#include <QCheckBox>
#include <QComboBox>
#include <QMessageBox>
#include <QPointer>
#include <QProgressBar>
#include <QPushButton>
#include <QScrollBar>
#include <QSettings>
#include <QSignalSpy>
#include <QStatusBar>
#include <QTextEdit>
#include <QTimer>
#include <QtTest>

#include <atomic>
#include <memory>

namespace {

const char* kCamera = "SIM-LS4096-M";

// Closes the next critical box from the event loop it runs in, recording its title and text.
// Looks again every 10 ms for up to 5 s, so that a box shown a little later is found too.
struct BoxCatcher {
    QString title;
    QString text;
    int seen = 0;

    void arm(int triesLeft = 500)
    {
        QTimer::singleShot(10, qApp, [this, triesLeft] {
            auto* box = qobject_cast<QMessageBox*>(QApplication::activeModalWidget());
            if (box) {
                title = box->windowTitle();
                text = box->text();
                ++seen;
                box->accept();
            } else if (triesLeft > 0) {
                arm(triesLeft - 1);
            }
        });
    }
};

// Fills a "存储" combo as a read of the camera's selection list does, without its setter.
void fillQuietly(QComboBox* box, const QStringList& items)
{
    const QSignalBlocker quiet(box);
    box->clear();
    box->addItems(items);
}

void selectQuietly(QComboBox* box, const QString& text)
{
    const QSignalBlocker quiet(box);
    box->setCurrentIndex(box->findText(text));
}

}  // namespace

class TestWorkflows : public QObject {
    Q_OBJECT

    bool m_bound = false;
    std::unique_ptr<MainWindow> m_window;

    Ui::MainWindow* ui() const { return m_window->ui; }
    CameraServer* server() const { return m_window->m_cameraServer; }
    ProgressInfoWidget* panel() const { return m_window->m_progressInfo; }
    QPushButton* defineBut() const { return panel()->findChild<QPushButton*>("defineBut"); }
    QPushButton* cancelBut() const { return panel()->findChild<QPushButton*>("cancelBut"); }
    QTextEdit* contentEdit() const { return panel()->findChild<QTextEdit*>("contentEdit"); }
    QProgressBar* progressBar() const { return panel()->findChild<QProgressBar*>("progressBar"); }

    bool flag(const bool& member) const
    {
        QReadLocker lock(&server()->m_lock);
        return member;
    }

    // Every procedure signal still fires (the spies see it), but no slot runs behind it; only
    // capture stays wired.
    void unplugProcedures()
    {
        CameraServer* s = server();
        QObject::disconnect(s, &CameraServer::IS_DSNUStart, s, &CameraServer::dsnuStart);
        QObject::disconnect(s, &CameraServer::IS_FpnStart, s, &CameraServer::fpnStart);
        QObject::disconnect(s, &CameraServer::IS_FpnWriteDown, s, &CameraServer::fpnWriteDown);
        QObject::disconnect(s, &CameraServer::IS_ExpTest, s, &CameraServer::expTest);
        QObject::disconnect(s, &CameraServer::IS_ApplyFFC, s, &CameraServer::applyFFC);
        QObject::disconnect(s, &CameraServer::IS_SaveFFC, s, &CameraServer::saveFFC);
        QObject::disconnect(s, &CameraServer::IS_FFCWriteDown, s, &CameraServer::ffcWriteDown);
        QObject::disconnect(s, &CameraServer::IS_ApplyLSC, s, &CameraServer::applyLSC);
        QObject::disconnect(s, &CameraServer::IS_SavaLSC, s, &CameraServer::saveLSC);
        QObject::disconnect(s, &CameraServer::IS_LSCWriteDown, s, &CameraServer::lscWriteDown);
    }

    // A fresh window; with a camera, the first simulated one is opened directly on the server.
    void makeWindow(bool withCamera)
    {
        m_window = std::make_unique<MainWindow>(QString(), 0);
        unplugProcedures();
        m_window->show();
        QVERIFY(QTest::qWaitForWindowExposed(m_window.get()));
        if (!withCamera) return;
        server()->enumerate();
        server()->open(QString::fromLatin1(kCamera));
        QVERIFY(server()->m_opened);
    }

    // Capture as the operator's "采图" leaves it, without the panels' own slot in the way.
    void startFrames(ThreadSpy& frames)
    {
        ui()->startBut->setChecked(true);
        ui()->startBut->setText(QStringLiteral("暂停"));
        emit server()->IS_Capture(true);
        QVERIFY(frames.wait(5000));
    }

    // Selects the open camera in the list: its panels show, read from the camera.
    bool harnessSelect(const QString& name)
    {
        m_window->refresh();
        auto* list = ui()->deviceListTreeWidget;
        for (int i = 0; i < list->topLevelItemCount(); ++i)
            if (list->topLevelItem(i)->text(0) == name) {
                list->setCurrentItem(list->topLevelItem(i));
                m_window->switchSelectCamera();
                return true;
            }
        return false;
    }

    void setFactoryRight(bool allowed)
    {
        server()->m_settings->setValue(FpnIni::Factory, allowed);
        server()->m_settings->sync();
    }

    // The panel as a workflow leaves it: up, titled, cleared to its first line, only "取消".
    void checkPanelStarted(const QString& title, const QString& firstLine)
    {
        QVERIFY(panel()->isVisible());
        QCOMPARE(panel()->windowTitle(), title);
        QCOMPARE(contentEdit()->toPlainText(), firstLine);
        QVERIFY(!defineBut()->isVisible());
        QVERIFY(cancelBut()->isVisible());
        QCOMPARE(ui()->startBut->isChecked(), false);
        QCOMPARE(ui()->startBut->text(), QStringLiteral("采图"));
    }

    // "确定" after a report of 100.
    void finishAndConfirm()
    {
        panel()->showProgressInfo(100, QStringLiteral("完成"));
        QVERIFY(defineBut()->isVisible());
        QTest::mouseClick(defineBut(), Qt::LeftButton);
    }

    // "确定" after a failure: it answers as a cancel.
    void failAndConfirm()
    {
        panel()->showProgressInfo(101, QStringLiteral("失败"));
        QVERIFY(defineBut()->isVisible());
        QTest::mouseClick(defineBut(), Qt::LeftButton);
    }

    // What every cancel leaves: the flag for the procedure, the panel down with the last line.
    void checkCancelled()
    {
        QVERIFY(flag(server()->m_cancel));
        QVERIFY(!panel()->isVisible());
        QCOMPARE(contentEdit()->toPlainText(), QStringLiteral("取消操作。"));
    }

    // A closing action's restart: one click on the start button, which now reads "暂停"; the
    // window's own resume after the answer finds capture running and adds nothing.
    void checkCaptureRestarted(const QSignalSpy& clicks)
    {
        QCOMPARE(clicks.count(), 1);
        QCoreApplication::processEvents();
        QCOMPARE(clicks.count(), 1);
        QCOMPARE(ui()->startBut->isChecked(), true);
        QCOMPARE(ui()->startBut->text(), QStringLiteral("暂停"));
    }

    // Every other answer to a run started with the live image running: the window gives the
    // camera back to it once the answer's own actions are done, with one click of the button.
    void checkCaptureResumed(const QSignalSpy& clicks)
    {
        QTRY_COMPARE(clicks.count(), 1);
        QCOMPARE(ui()->startBut->isChecked(), true);
        QCOMPARE(ui()->startBut->text(), QStringLiteral("暂停"));
        // The frame loop runs again once the worker is free.
        QTRY_VERIFY(!flag(server()->m_stopCapture));
    }

    // A run started with the live image off: nothing to give back, capture stays off, also after
    // the window's own turn after the answer.
    void checkCaptureLeftOff(const QSignalSpy& clicks)
    {
        QCoreApplication::processEvents();
        QCOMPARE(clicks.count(), 0);
        QCOMPARE(ui()->startBut->isChecked(), false);
        QCOMPARE(ui()->startBut->text(), QStringLiteral("采图"));
    }

    // Every software simulation on, as before a run.
    void simulationsOn()
    {
        giveCoefficients();
        ui()->applyFpnCheck->setChecked(true);
        ui()->ffcCheck->setChecked(true);
        ui()->lscCheck->setChecked(true);
        QVERIFY(ui()->ffcCheck->isChecked());
        QVERIFY(ui()->lscCheck->isChecked());
        QVERIFY(flag(server()->m_fpnEnabled));
        QVERIFY(flag(server()->m_ffcEnabled));
        QVERIFY(flag(server()->m_lscEnabled));
    }

    // With 4096 gains for the 4096 columns of the simulated camera's ROI, and a lens shading.
    void giveCoefficients()
    {
        server()->m_ffcKList = {QList<double>(4096, 1.0)};
        server()->m_lscKList = {QList<double>(4096, 1.0)};
    }

private slots:
    void initTestCase()
    {
        const QByteArray lib = qgetenv("LSX_LIBRARY");
        QVERIFY2(!lib.isEmpty(), "LSX_LIBRARY names the simulated camera");
        const lsx::BindResult bound = lsx::bindLibrary(lib.toStdString());
        QVERIFY2(bound.ok, bound.message.c_str());
        m_bound = true;
        QVERIFY(lsx::sim::api().ok());
        registerMetaTypes();
    }

    void init()
    {
        QCOMPARE(lsx::sim::api().reset(), LSX_OK);
        // Frames at the camera's own pace would slow the capture tests down for nothing.
        QCOMPARE(lsx::sim::api().setTimeScale(nullptr, 0.05), LSX_OK);
    }

    void cleanup()
    {
        // The right to the factory set lives in FPN.ini, shared by the tests: none is left over.
        if (m_window) {
            server()->m_settings->remove(FpnIni::Factory);
            server()->m_settings->sync();
        }
        m_window.reset();
    }

    void cleanupTestCase()
    {
        if (m_bound) lsx::unbindLibrary();
    }

    // ---- Edge cases ----

    void startedDuringCaptureStopsCaptureFirst()
    {
        makeWindow(true);
        ThreadSpy frames(server(), &CameraServer::OS_NewFrame);
        startFrames(frames);
        QSignalSpy started(server(), &CameraServer::IS_DSNUStart);
        m_window->dsnuProcess();
        // Before any frame loop could have noticed: the stop flag is up and the panel shows.
        QVERIFY(flag(server()->m_stopCapture));
        checkPanelStarted(QStringLiteral("暗场校正执行中..."), QStringLiteral("暗场校正执行中..."));
        QCOMPARE(started.count(), 1);

        // The frame loop ends by itself a little later: work queued on the worker now runs, and
        // no frame comes after it.
        std::atomic<bool> workerFree{false};
        QMetaObject::invokeMethod(
            server(), [&workerFree] { workerFree = true; }, Qt::QueuedConnection);
        QTRY_VERIFY_WITH_TIMEOUT(workerFree.load(), 5000);
        QCoreApplication::processEvents();
        const int framesAtEnd = frames.count();
        QVERIFY(!frames.wait(300));
        QCOMPARE(frames.count(), framesAtEnd);
    }

    void lensShadingStopsCaptureAfterThePanelShows()
    {
        makeWindow(true);
        ThreadSpy frames(server(), &CameraServer::OS_NewFrame);
        startFrames(frames);
        // The panel is up before the stop: at its showing the button is still at "暂停".
        bool checkedWhenShown = false;
        struct Probe : QObject {
            bool* out;
            QPushButton* but;
            Probe(bool* o, QPushButton* b) : out(o), but(b) {}
            bool eventFilter(QObject*, QEvent* e) override
            {
                if (e->type() == QEvent::Show) *out = but->isChecked();
                return false;
            }
        } probe(&checkedWhenShown, ui()->startBut);
        panel()->installEventFilter(&probe);
        m_window->applyLSC();
        panel()->removeEventFilter(&probe);
        QVERIFY(checkedWhenShown);
        QVERIFY(flag(server()->m_stopCapture));
        checkPanelStarted(QStringLiteral("镜头校正执行中..."), QStringLiteral("开始执行镜头校正..."));
    }

    void darkFieldOkResumesCapture()
    {
        makeWindow(true);
        ThreadSpy frames(server(), &CameraServer::OS_NewFrame);
        startFrames(frames);
        QSignalSpy clicks(ui()->startBut, &QPushButton::clicked);
        m_window->dsnuProcess();
        finishAndConfirm();
        QVERIFY(!panel()->isVisible());
        checkCaptureResumed(clicks);
        QVERIFY(!flag(server()->m_cancel));
        // The live image is back.
        frames.clear();
        QVERIFY(frames.wait(5000));
    }

    // While a procedure holds the camera the status bar says which; afterwards it says the live
    // image is back.
    void statusBarNamesTheProcedureHoldingTheCamera()
    {
        makeWindow(true);
        QStatusBar* bar = m_window->statusBar();
        // Without the live image: only who holds the camera.
        m_window->dsnuProcess();
        QCOMPARE(bar->currentMessage(), QStringLiteral("暗场校正执行中... 相机由该步骤占用。"));
        failAndConfirm();
        QTRY_VERIFY(bar->currentMessage().isEmpty());

        ThreadSpy frames(server(), &CameraServer::OS_NewFrame);
        startFrames(frames);
        m_window->fpnProcess();
        QCOMPARE(bar->currentMessage(),
                 QStringLiteral("明场校正执行中... 相机由该步骤占用，实时图像暂停，结束后自动恢复。"));
        failAndConfirm();
        QTRY_COMPARE(bar->currentMessage(), QStringLiteral("实时图像已恢复。"));

        // A title set after the panel shows is followed.
        m_window->applyFFC();
        QVERIFY(bar->currentMessage().startsWith(QStringLiteral("平场校正执行中...")));
        panel()->setWindowTitle(QStringLiteral("校正参数写入中..."));
        QVERIFY(bar->currentMessage().startsWith(QStringLiteral("校正参数写入中...")));
    }

    // Every procedure and every answer: a live image stopped for the run comes back after it.
    void liveImageComesBackAfterEveryAnswer_data()
    {
        QTest::addColumn<QString>("start");
        QTest::addColumn<QString>("answer");
        for (const char* start : {"dsnuProcess", "fpnProcess", "fpnWriteDown", "expTest", "applyFFC", "ffcWriteDown",
                                  "applyLSC", "lscWriteDown"}) {
            const QString name = QString::fromLatin1(start);
            QTest::newRow(qPrintable(name + " ok")) << name << QStringLiteral("ok");
            // A failure's "确定" answers as "取消" does; the write-downs cannot be cancelled while
            // they write, so they end by a failure.
            if (name.contains(QLatin1String("WriteDown")))
                QTest::newRow(qPrintable(name + " failed")) << name << QStringLiteral("failed");
            else
                QTest::newRow(qPrintable(name + " cancelled")) << name << QStringLiteral("cancelled");
        }
    }

    void liveImageComesBackAfterEveryAnswer()
    {
        QFETCH(QString, start);
        QFETCH(QString, answer);
        makeWindow(true);
        giveCoefficients();
        for (QComboBox* box : {ui()->fpnSelCBox, ui()->ffcSelCBox, ui()->lscSelCBox}) {
            fillQuietly(box, {QStringLiteral("Disable"), QStringLiteral("UserSet0")});
            selectQuietly(box, QStringLiteral("UserSet0"));
        }
        ThreadSpy frames(server(), &CameraServer::OS_NewFrame);
        startFrames(frames);
        QSignalSpy clicks(ui()->startBut, &QPushButton::clicked);
        const WriteQuestion answered(true);
        QVERIFY(QMetaObject::invokeMethod(m_window.get(), start.toLatin1().constData()));
        QVERIFY(panel()->isVisible());
        QVERIFY(!ui()->startBut->isChecked());
        if (answer == QLatin1String("ok"))
            finishAndConfirm();
        else if (answer == QLatin1String("failed"))
            failAndConfirm();
        else
            QTest::mouseClick(cancelBut(), Qt::LeftButton);
        QVERIFY(!panel()->isVisible());
        checkCaptureResumed(clicks);
        frames.clear();
        QVERIFY(frames.wait(5000));
    }

    // A picture loaded as the flat field's source is the operator's work: a cancelled run leaves it
    // on show, with the live image off as before the run.
    void loadedPictureStaysAfterACancelledFlatField()
    {
        makeWindow(true);
        m_window->m_srcImg = cv::Mat(4, 16, CV_8UC1, cv::Scalar(90));
        QPixmap picture(16, 4);
        picture.fill(Qt::gray);
        m_window->showPicture(picture, cv::Mat(1, 16, CV_32FC1, cv::Scalar(90.0f)));
        QSignalSpy clicks(ui()->startBut, &QPushButton::clicked);
        m_window->applyFFC();
        QTest::mouseClick(cancelBut(), Qt::LeftButton);
        checkCaptureLeftOff(clicks);
        QVERIFY(!m_window->m_srcImg.empty());
        QCOMPARE(m_window->m_pixmap.cacheKey(), picture.cacheKey());
    }

    // The left column is where the operator left it after a run.
    void panelScrollPositionIsKeptAcrossARun()
    {
        makeWindow(true);
        QVERIFY(harnessSelect(QString::fromLatin1(kCamera)));
        QVERIFY(ui()->featureWidget->isVisible());
        m_window->resize(1366, 600);
        QScrollBar* scroll = ui()->featureWidget->verticalScrollBar();
        QTRY_VERIFY(scroll->maximum() > 100);
        scroll->setValue(scroll->maximum() - 40);
        const int before = scroll->value();
        m_window->dsnuProcess();
        // What a run may do to the panels meanwhile: they change and the position goes.
        scroll->setValue(0);
        finishAndConfirm();
        QTRY_COMPARE(scroll->value(), before);
    }

    void brightFieldOkRestartsCaptureWithSoftwareFpn()
    {
        makeWindow(true);
        ThreadSpy frames(server(), &CameraServer::OS_NewFrame);
        startFrames(frames);
        QSignalSpy clicks(ui()->startBut, &QPushButton::clicked);
        m_window->fpnProcess();
        QCOMPARE(ui()->startBut->isChecked(), false);
        finishAndConfirm();
        QVERIFY(!panel()->isVisible());
        QVERIFY(ui()->applyFpnCheck->isChecked());
        QVERIFY(flag(server()->m_fpnEnabled));
        checkCaptureRestarted(clicks);
        // The live image is back.
        frames.clear();
        QVERIFY(frames.wait(5000));
    }

    // The re-read of the settings after a run switches every software simulation off; only a
    // closing action turns one on again.
    void okSwitchesTheSimulationsOff_data()
    {
        QTest::addColumn<QString>("start");
        QTest::addColumn<bool>("fpn");
        QTest::addColumn<bool>("ffc");
        QTest::addColumn<bool>("lsc");
        QTest::newRow("dark field") << "dsnuProcess" << false << false << false;
        QTest::newRow("bright field") << "fpnProcess" << true << false << false;
        QTest::newRow("FPN write-down") << "fpnWriteDown" << false << false << false;
        QTest::newRow("flat field") << "applyFFC" << false << true << false;
        QTest::newRow("lens shading") << "applyLSC" << false << false << true;
        // These two don't re-read the panels: only their own box goes off.
        QTest::newRow("FFC write-down") << "ffcWriteDown" << true << false << true;
        QTest::newRow("LSC write-down") << "lscWriteDown" << true << true << false;
        // The exposure test measures the camera as it is set and leaves all on.
        QTest::newRow("exposure test") << "expTest" << true << true << true;
    }

    void okSwitchesTheSimulationsOff()
    {
        QFETCH(QString, start);
        QFETCH(bool, fpn);
        QFETCH(bool, ffc);
        QFETCH(bool, lsc);
        makeWindow(true);
        fillQuietly(ui()->fpnSelCBox, {QStringLiteral("factory"), QStringLiteral("UserSet0")});
        selectQuietly(ui()->fpnSelCBox, QStringLiteral("UserSet0"));
        fillQuietly(ui()->ffcSelCBox, {QStringLiteral("Disable"), QStringLiteral("UserSet0")});
        selectQuietly(ui()->ffcSelCBox, QStringLiteral("UserSet0"));
        fillQuietly(ui()->lscSelCBox, {QStringLiteral("Disable"), QStringLiteral("UserSet0")});
        selectQuietly(ui()->lscSelCBox, QStringLiteral("UserSet0"));
        simulationsOn();
        const WriteQuestion answered(true);
        QVERIFY(QMetaObject::invokeMethod(m_window.get(), start.toLatin1().constData()));
        QVERIFY(panel()->isVisible());
        finishAndConfirm();
        QVERIFY(!panel()->isVisible());
        QCOMPARE(ui()->applyFpnCheck->isChecked(), fpn);
        QCOMPARE(ui()->ffcCheck->isChecked(), ffc);
        QCOMPARE(ui()->lscCheck->isChecked(), lsc);
        QCOMPARE(flag(server()->m_fpnEnabled), fpn);
        QCOMPARE(flag(server()->m_ffcEnabled), ffc);
        QCOMPARE(flag(server()->m_lscEnabled), lsc);
    }

    void cancelSwitchesTheSimulationsOff_data()
    {
        QTest::addColumn<QString>("start");
        QTest::addColumn<bool>("kept");
        QTest::newRow("dark field") << "dsnuProcess" << false;
        QTest::newRow("bright field") << "fpnProcess" << false;
        QTest::newRow("FPN write-down") << "fpnWriteDown" << false;
        QTest::newRow("flat field") << "applyFFC" << false;
        QTest::newRow("lens shading") << "applyLSC" << false;
        QTest::newRow("FFC write-down") << "ffcWriteDown" << true;
        QTest::newRow("LSC write-down") << "lscWriteDown" << true;
        QTest::newRow("exposure test") << "expTest" << true;
    }

    void cancelSwitchesTheSimulationsOff()
    {
        QFETCH(QString, start);
        QFETCH(bool, kept);
        makeWindow(true);
        fillQuietly(ui()->fpnSelCBox, {QStringLiteral("factory"), QStringLiteral("UserSet0")});
        selectQuietly(ui()->fpnSelCBox, QStringLiteral("UserSet0"));
        fillQuietly(ui()->ffcSelCBox, {QStringLiteral("Disable"), QStringLiteral("UserSet0")});
        selectQuietly(ui()->ffcSelCBox, QStringLiteral("UserSet0"));
        fillQuietly(ui()->lscSelCBox, {QStringLiteral("Disable"), QStringLiteral("UserSet0")});
        selectQuietly(ui()->lscSelCBox, QStringLiteral("UserSet0"));
        simulationsOn();
        QSignalSpy clicks(ui()->startBut, &QPushButton::clicked);
        const WriteQuestion answered(true);
        QVERIFY(QMetaObject::invokeMethod(m_window.get(), start.toLatin1().constData()));
        failAndConfirm();
        checkCancelled();
        for (QCheckBox* box : {ui()->applyFpnCheck, ui()->ffcCheck, ui()->lscCheck}) QCOMPARE(box->isChecked(), kept);
        QCOMPARE(flag(server()->m_fpnEnabled), kept);
        QCOMPARE(flag(server()->m_ffcEnabled), kept);
        QCOMPARE(flag(server()->m_lscEnabled), kept);
        checkCaptureLeftOff(clicks);
    }

    void factoryWithoutTheRightShowsOnlyTheErrorBox()
    {
        makeWindow(true);
        setFactoryRight(false);
        fillQuietly(ui()->fpnSelCBox, {QStringLiteral("factory"), QStringLiteral("UserSet0")});
        selectQuietly(ui()->fpnSelCBox, QStringLiteral("factory"));
        QSignalSpy writes(server(), &CameraServer::IS_FpnWriteDown);
        BoxCatcher box;
        box.arm();
        m_window->fpnWriteDown();
        QCOMPARE(box.seen, 1);
        QCOMPARE(box.title, QStringLiteral("错误"));
        QCOMPARE(box.text, QStringLiteral("没有写入Factory参数权限。"));
        QVERIFY(!panel()->isVisible());
        QCOMPARE(writes.count(), 0);
        QVERIFY(cancelBut()->isEnabled());
    }

    void expTestAtTheLowerBoundAsksForTwo()
    {
        makeWindow(true);
        QCOMPARE(ui()->expTotalSBox->minimum(), 2);
        ui()->expTotalSBox->setValue(ui()->expTotalSBox->minimum());
        QSignalSpy tests(server(), &CameraServer::IS_ExpTest);
        m_window->expTest();
        QCOMPARE(tests.count(), 1);
        QCOMPARE(tests.first().at(0).toInt(), 2);
        checkPanelStarted(QStringLiteral("曝光数据采集中..."), QStringLiteral("曝光数据采集中..."));
    }

    // ---- Start tests ----

    void noCameraShowsTheErrorBox_data()
    {
        QTest::addColumn<QString>("slot");
        QTest::newRow("dark field") << "dsnuProcess";
        QTest::newRow("bright field") << "fpnProcess";
        QTest::newRow("FPN write-down") << "fpnWriteDown";
        QTest::newRow("exposure test") << "expTest";
    }

    void noCameraShowsTheErrorBox()
    {
        QFETCH(QString, slot);
        makeWindow(false);
        QSignalSpy dsnu(server(), &CameraServer::IS_DSNUStart);
        QSignalSpy fpn(server(), &CameraServer::IS_FpnStart);
        QSignalSpy write(server(), &CameraServer::IS_FpnWriteDown);
        QSignalSpy exp(server(), &CameraServer::IS_ExpTest);
        BoxCatcher box;
        box.arm();
        QVERIFY(QMetaObject::invokeMethod(m_window.get(), slot.toLatin1().constData()));
        QCOMPARE(box.seen, 1);
        QCOMPARE(box.title, QStringLiteral("错误"));
        QCOMPARE(box.text, QStringLiteral("没有连接上相机。"));
        QVERIFY(!panel()->isVisible());
        QCOMPARE(dsnu.count() + fpn.count() + write.count() + exp.count(), 0);
        QVERIFY(!m_window->m_statisticsWidget);
    }

    // The flat field, lens shading and their write-downs need only the server: they start
    // without an open camera (the procedure then reports its own failure).
    void flatFieldAndLensShadingStartWithoutCamera()
    {
        makeWindow(false);
        QSignalSpy ffc(server(), &CameraServer::IS_ApplyFFC);
        QSignalSpy lsc(server(), &CameraServer::IS_ApplyLSC);
        m_window->applyFFC();
        QCOMPARE(ffc.count(), 1);
        QVERIFY(panel()->isVisible());
        m_window->ffcCancel();
        m_window->applyLSC();
        QCOMPARE(lsc.count(), 1);
        QVERIFY(panel()->isVisible());
    }

    void writeDownAtDisableEntryShowsTheErrorBox_data()
    {
        QTest::addColumn<bool>("lens");
        QTest::addColumn<bool>("empty");
        QTest::newRow("FFC, Disable") << false << false;
        QTest::newRow("LSC, Disable") << true << false;
        QTest::newRow("FFC, empty combo") << false << true;
        QTest::newRow("LSC, empty combo") << true << true;
    }

    void writeDownAtDisableEntryShowsTheErrorBox()
    {
        QFETCH(bool, lens);
        QFETCH(bool, empty);
        makeWindow(true);
        QComboBox* box = lens ? ui()->lscSelCBox : ui()->ffcSelCBox;
        // The panels as a connect leaves them, with the combo's tab in front.
        ui()->featureWidget->show();
        for (int i = 0; i < ui()->featureTabWidget->count(); ++i)
            if (ui()->featureTabWidget->widget(i)->isAncestorOf(box)) ui()->featureTabWidget->setCurrentIndex(i);
        m_window->activateWindow();
        QVERIFY(QTest::qWaitForWindowActive(m_window.get()));
        QVERIFY(box->isVisible());
        {
            const QSignalBlocker quiet(box);
            box->clear();
            if (!empty) box->addItems({QStringLiteral("Disable"), QStringLiteral("UserSet0")});
            box->setCurrentIndex(empty ? -1 : 0);
        }
        QSignalSpy ffc(server(), &CameraServer::IS_FFCWriteDown);
        QSignalSpy lsc(server(), &CameraServer::IS_LSCWriteDown);
        BoxCatcher catcher;
        catcher.arm();
        if (lens)
            m_window->lscWriteDown();
        else
            m_window->ffcWriteDown();
        QCOMPARE(catcher.seen, 1);
        QCOMPARE(catcher.title, QStringLiteral("错误"));
        QCOMPARE(catcher.text, QStringLiteral("请选择正确的写入位置！"));
        // The window's focus goes to the combo (given to it as the window becomes active again).
        QCOMPARE(m_window->focusWidget(), static_cast<QWidget*>(box));
        QVERIFY(!panel()->isVisible());
        QCOMPARE(ffc.count() + lsc.count(), 0);
    }

    // ---- Each workflow: signal, panel, and both answers ----

    void darkField_data()
    {
        QTest::addColumn<bool>("autoDoffset");
        QTest::newRow("Auto") << true;
        QTest::newRow("manual") << false;
    }

    void darkField()
    {
        QFETCH(bool, autoDoffset);
        makeWindow(true);
        ui()->autoDoffsetCheck->setChecked(autoDoffset);
        QSignalSpy started(server(), &CameraServer::IS_DSNUStart);
        m_window->dsnuProcess();
        QCOMPARE(started.count(), 1);
        QCOMPARE(started.first().at(0).toBool(), autoDoffset);
        checkPanelStarted(QStringLiteral("暗场校正执行中..."), QStringLiteral("暗场校正执行中..."));
    }

    void darkFieldFailureCancels()
    {
        makeWindow(true);
        QSignalSpy clicks(ui()->startBut, &QPushButton::clicked);
        m_window->dsnuProcess();
        failAndConfirm();
        checkCancelled();
        checkCaptureLeftOff(clicks);
    }

    void cancelButtonCancelsARun()
    {
        makeWindow(true);
        m_window->dsnuProcess();
        panel()->showProgressInfo(40, QStringLiteral("采集暗场..."));
        QTest::mouseClick(cancelBut(), Qt::LeftButton);
        checkCancelled();
        // Unbound: a later "确定" of the panel reaches no dark-field answer.
        QSignalSpy clicks(ui()->startBut, &QPushButton::clicked);
        panel()->show();
        finishAndConfirm();
        QVERIFY(panel()->isVisible());
        QCOMPARE(clicks.count(), 0);
    }

    void brightField()
    {
        makeWindow(true);
        QSignalSpy started(server(), &CameraServer::IS_FpnStart);
        m_window->fpnProcess();
        QCOMPARE(started.count(), 1);
        checkPanelStarted(QStringLiteral("明场校正执行中..."), QStringLiteral("明场校正执行中..."));
    }

    void brightFieldFailureLeavesFpnOffAndCaptureOff()
    {
        makeWindow(true);
        QSignalSpy clicks(ui()->startBut, &QPushButton::clicked);
        m_window->fpnProcess();
        failAndConfirm();
        checkCancelled();
        QVERIFY(!ui()->applyFpnCheck->isChecked());
        QVERIFY(!flag(server()->m_fpnEnabled));
        checkCaptureLeftOff(clicks);
    }

    // Two reports of 100 make one click emit defined() twice: the answer runs once.
    void repeatedFinishRunsTheAnswerOnce()
    {
        makeWindow(true);
        QSignalSpy clicks(ui()->startBut, &QPushButton::clicked);
        QSignalSpy defined(panel(), &ProgressInfoWidget::defined);
        m_window->fpnProcess();
        panel()->showProgressInfo(100, QStringLiteral("完成"));
        finishAndConfirm();
        QVERIFY(defined.count() >= 2);
        checkCaptureRestarted(clicks);
    }

    void fpnWriteDown_data()
    {
        QTest::addColumn<QString>("entry");
        QTest::addColumn<bool>("factoryRight");
        QTest::addColumn<int>("sel");
        QTest::newRow("user set") << "UserSet0" << false << 0;
        QTest::newRow("user set, factory right") << "UserSet3" << true << 0;
        QTest::newRow("factory with the right") << "factory" << true << 1;
    }

    void fpnWriteDown()
    {
        QFETCH(QString, entry);
        QFETCH(bool, factoryRight);
        QFETCH(int, sel);
        makeWindow(true);
        setFactoryRight(factoryRight);
        fillQuietly(ui()->fpnSelCBox,
                    {QStringLiteral("factory"), QStringLiteral("UserSet0"), QStringLiteral("UserSet3")});
        selectQuietly(ui()->fpnSelCBox, entry);
        QSignalSpy writes(server(), &CameraServer::IS_FpnWriteDown);
        const WriteQuestion answered(true);
        m_window->fpnWriteDown();
        QCOMPARE(writes.count(), 1);
        QCOMPARE(writes.first().at(0).toInt(), sel);
        checkPanelStarted(QStringLiteral("校正参数写入中..."), QStringLiteral("校正参数写入中..."));
        QVERIFY(!cancelBut()->isEnabled());
    }

    void fpnWriteDownOkTurnsSoftwareFpnOffAndRestartsCapture()
    {
        makeWindow(true);
        fillQuietly(ui()->fpnSelCBox, {QStringLiteral("factory"), QStringLiteral("UserSet0")});
        selectQuietly(ui()->fpnSelCBox, QStringLiteral("UserSet0"));
        ui()->applyFpnCheck->setChecked(true);
        QSignalSpy clicks(ui()->startBut, &QPushButton::clicked);
        const WriteQuestion answered(true);
        m_window->fpnWriteDown();
        QVERIFY(!cancelBut()->isEnabled());
        finishAndConfirm();
        QVERIFY(!panel()->isVisible());
        QVERIFY(cancelBut()->isEnabled());
        QVERIFY(!ui()->applyFpnCheck->isChecked());
        checkCaptureRestarted(clicks);
    }

    void fpnWriteDownFailureEnablesCancelAgain()
    {
        makeWindow(true);
        fillQuietly(ui()->fpnSelCBox, {QStringLiteral("factory"), QStringLiteral("UserSet0")});
        selectQuietly(ui()->fpnSelCBox, QStringLiteral("UserSet0"));
        QSignalSpy clicks(ui()->startBut, &QPushButton::clicked);
        const WriteQuestion answered(true);
        m_window->fpnWriteDown();
        failAndConfirm();
        checkCancelled();
        QVERIFY(cancelBut()->isEnabled());
        checkCaptureLeftOff(clicks);
    }

    // Every write-down asks first, naming the set and the backup it keeps (or that there can be
    // none); "取消" fires nothing and leaves capture as it was.
    void writeQuestionCancelWritesNothing_data()
    {
        QTest::addColumn<QString>("slot");
        QTest::addColumn<QString>("named");
        QTest::addColumn<QString>("kept");
        QTest::newRow("FPN") << "fpnWriteDown"
                             << "的FPN参数组“UserSet0”"
                             << "写入前该参数组的内容将备份到：";
        QTest::newRow("FFC") << "ffcWriteDown"
                             << "的平场（FFC）参数组“UserSet0”"
                             << "写入前该参数组的内容将备份到：";
        QTest::newRow("LSC") << "lscWriteDown"
                             << "的镜头校正（LSC）参数组“UserSet0”"
                             << "无法备份：相机的镜头校正（LSC）参数组不能读回。写入后不能恢复原有参数。";
    }

    void writeQuestionCancelWritesNothing()
    {
        QFETCH(QString, slot);
        QFETCH(QString, named);
        QFETCH(QString, kept);
        makeWindow(true);
        fillQuietly(ui()->fpnSelCBox, {QStringLiteral("factory"), QStringLiteral("UserSet0")});
        selectQuietly(ui()->fpnSelCBox, QStringLiteral("UserSet0"));
        for (QComboBox* box : {ui()->ffcSelCBox, ui()->lscSelCBox}) {
            fillQuietly(box, {QStringLiteral("Disable"), QStringLiteral("UserSet0")});
            selectQuietly(box, QStringLiteral("UserSet0"));
        }
        QSignalSpy fpn(server(), &CameraServer::IS_FpnWriteDown);
        QSignalSpy ffc(server(), &CameraServer::IS_FFCWriteDown);
        QSignalSpy lsc(server(), &CameraServer::IS_LSCWriteDown);
        ui()->startBut->setChecked(true);
        const WriteQuestion cancelled(false);
        QVERIFY(QMetaObject::invokeMethod(m_window.get(), slot.toLatin1().constData()));
        QCOMPARE(cancelled.texts().size(), 1);
        const QString text = cancelled.texts().first();
        QVERIFY2(text.startsWith(QStringLiteral("将覆盖相机 %1").arg(QLatin1String(kCamera))), qPrintable(text));
        QVERIFY2(text.contains(named), qPrintable(text));
        QVERIFY2(text.contains(kept), qPrintable(text));
        QCOMPARE(fpn.count() + ffc.count() + lsc.count(), 0);
        QVERIFY(!panel()->isVisible());
        QVERIFY(ui()->startBut->isChecked());
    }

    void expTestOkShowsTheStatistics()
    {
        makeWindow(true);
        ui()->expTotalSBox->setValue(7);
        QSignalSpy tests(server(), &CameraServer::IS_ExpTest);
        QSignalSpy clicks(ui()->startBut, &QPushButton::clicked);
        m_window->expTest();
        QCOMPARE(tests.first().at(0).toInt(), 7);
        QPointer<StatisticsWidget> stats = m_window->m_statisticsWidget;
        QVERIFY(stats);
        QVERIFY(!stats->isVisible());

        // The test's result reaches the window through the server's signal.
        cv::Mat row(1, 8, CV_32FC1, cv::Scalar(40.0f));
        emit server()->OS_ExpTestFinished(QVector<double>{100.0, 200.0},
                                          QList<cv::Mat>{row, cv::Mat(1, 8, CV_32FC1, cv::Scalar(80.0f))});
        QCOMPARE(stats->expVec(), (QVector<double>{100.0, 200.0}));
        QCOMPARE(stats->meanVec().at(1).at(0), 80.0f);

        finishAndConfirm();
        QVERIFY(!panel()->isVisible());
        QVERIFY(stats->isVisible());
        checkCaptureLeftOff(clicks);

        // A second test keeps the same window and its one connection.
        stats->hide();
        m_window->expTest();
        QCOMPARE(m_window->m_statisticsWidget, stats.data());
        emit server()->OS_ExpTestFinished(QVector<double>{1.0, 2.0, 3.0}, QList<cv::Mat>{row, row, row});
        QCOMPARE(stats->expVec().size(), 3);
    }

    void expTestCancelHidesTheStatistics()
    {
        makeWindow(true);
        m_window->expTest();
        StatisticsWidget* stats = m_window->m_statisticsWidget;
        QVERIFY(stats);
        stats->show();
        failAndConfirm();
        checkCancelled();
        QVERIFY(!stats->isVisible());
        QCoreApplication::processEvents();
        QCOMPARE(ui()->startBut->isChecked(), false);
    }

    void flatField_data()
    {
        QTest::addColumn<int>("choice");
        QTest::addColumn<float>("rate");
        QTest::newRow("mean") << 0 << -1.0f;
        QTest::newRow("custom range 0.7") << 1 << 0.7f;
        QTest::newRow("custom brightness 200") << 2 << 200.0f;
    }

    void flatField()
    {
        QFETCH(int, choice);
        QFETCH(float, rate);
        makeWindow(true);
        ui()->customRangeSBox->setValue(0.7);
        ui()->customLumRangeSBox->setValue(200);
        QRadioButton* buttons[] = {ui()->avgRBut, ui()->customRBut, ui()->customLumRBut};
        buttons[choice]->setChecked(true);
        // The boxes first: with saved gains in place a turn of a box would adjust them (and
        // refuse, with neither box group on show, in a dialog).
        ui()->bFfcAdjustSBox->setValue(1.5);
        ui()->grayffcAdjustSBox->setValue(0.5);
        m_window->m_ffcSavedKList = {QList<double>{1.0, 2.0}};
        const cv::Mat src(2, 4, CV_8UC1, cv::Scalar(9));
        const cv::Mat stat(1, 4, CV_32FC3, cv::Scalar(1, 2, 3));
        m_window->m_srcImg = src;
        m_window->m_staticMat = stat;

        QSignalSpy runs(server(), &CameraServer::IS_ApplyFFC);
        m_window->applyFFC();
        QCOMPARE(runs.count(), 1);
        const cv::Mat sentSrc = runs.first().at(0).value<cv::Mat>();
        const cv::Mat sentStat = runs.first().at(1).value<cv::Mat>();
        QCOMPARE(runs.first().at(2).toFloat(), rate);
        // Copies of the picture and its statistics, equal in content.
        QVERIFY(sentSrc.data != src.data);
        QVERIFY(sentStat.data != stat.data);
        QCOMPARE(cv::norm(sentSrc, src, cv::NORM_INF), 0.0);
        QCOMPARE(cv::norm(sentStat, stat, cv::NORM_INF), 0.0);
        QVERIFY(m_window->m_ffcSavedKList.isEmpty());
        for (QDoubleSpinBox* box :
             {ui()->bFfcAdjustSBox, ui()->gFfcAdjustSBox, ui()->rFfcAdjustSBox, ui()->grayffcAdjustSBox})
            QCOMPARE(box->value(), 1.0);
        checkPanelStarted(QStringLiteral("平场校正执行中..."), QStringLiteral("开始执行平场校正..."));
    }

    void flatFieldOk_data()
    {
        QTest::addColumn<bool>("withGains");
        QTest::newRow("gains of the ROI's width") << true;
        QTest::newRow("no gains: refused") << false;
    }

    void flatFieldOk()
    {
        QFETCH(bool, withGains);
        makeWindow(true);
        if (withGains) giveCoefficients();
        ui()->ffcKListCheck->setEnabled(false);
        ui()->ffcSaveBut->setEnabled(false);
        ui()->ffcBgrAdjustWidget->setEnabled(false);
        ui()->ffcGrayAdjustWidget->setEnabled(false);
        QSignalSpy clicks(ui()->startBut, &QPushButton::clicked);
        m_window->applyFFC();
        finishAndConfirm();
        QVERIFY(!panel()->isVisible());
        QVERIFY(ui()->ffcKListCheck->isEnabled());
        QVERIFY(ui()->ffcSaveBut->isEnabled());
        QVERIFY(ui()->ffcBgrAdjustWidget->isEnabled());
        QVERIFY(ui()->ffcGrayAdjustWidget->isEnabled());
        QCOMPARE(m_window->m_ffcSavedKList, server()->m_ffcKList);
        QCOMPARE(ui()->ffcCheck->isChecked(), withGains);
        QCOMPARE(flag(server()->m_ffcEnabled), withGains);
        checkCaptureRestarted(clicks);
    }

    void flatFieldFailureCancels()
    {
        makeWindow(true);
        giveCoefficients();
        QSignalSpy clicks(ui()->startBut, &QPushButton::clicked);
        m_window->applyFFC();
        failAndConfirm();
        checkCancelled();
        QVERIFY(!ui()->ffcCheck->isChecked());
        QVERIFY(!flag(server()->m_ffcEnabled));
        QVERIFY(m_window->m_ffcSavedKList.isEmpty());
        checkCaptureLeftOff(clicks);
    }

    void lensShading_data()
    {
        QTest::addColumn<int>("choice");
        QTest::addColumn<float>("rate");
        QTest::newRow("mean") << 0 << -1.0f;
        QTest::newRow("custom range 0.6") << 1 << 0.6f;
        QTest::newRow("custom brightness 150") << 2 << 150.0f;
    }

    void lensShading()
    {
        QFETCH(int, choice);
        QFETCH(float, rate);
        makeWindow(true);
        ui()->lscCustomRangeSBox->setValue(0.6);
        ui()->lscCustomLumRangeSBox->setValue(150);
        QRadioButton* buttons[] = {ui()->lscAvgRBut, ui()->lscCustomRBut, ui()->lscCustomLumRBut};
        buttons[choice]->setChecked(true);
        QSignalSpy runs(server(), &CameraServer::IS_ApplyLSC);
        m_window->applyLSC();
        QCOMPARE(runs.count(), 1);
        QCOMPARE(runs.first().at(0).toFloat(), rate);
        checkPanelStarted(QStringLiteral("镜头校正执行中..."), QStringLiteral("开始执行镜头校正..."));
    }

    void lensShadingOk_data()
    {
        QTest::addColumn<bool>("withShading");
        QTest::newRow("with a lens shading") << true;
        QTest::newRow("none: refused") << false;
    }

    void lensShadingOk()
    {
        QFETCH(bool, withShading);
        makeWindow(true);
        if (withShading) giveCoefficients();
        QSignalSpy clicks(ui()->startBut, &QPushButton::clicked);
        m_window->applyLSC();
        finishAndConfirm();
        QVERIFY(!panel()->isVisible());
        QCOMPARE(ui()->lscCheck->isChecked(), withShading);
        QCOMPARE(flag(server()->m_lscEnabled), withShading);
        checkCaptureRestarted(clicks);
    }

    void lensShadingFailureCancels()
    {
        makeWindow(true);
        giveCoefficients();
        QSignalSpy clicks(ui()->startBut, &QPushButton::clicked);
        m_window->applyLSC();
        failAndConfirm();
        checkCancelled();
        QVERIFY(!ui()->lscCheck->isChecked());
        QVERIFY(!flag(server()->m_lscEnabled));
        checkCaptureLeftOff(clicks);
    }

    // ---- The write-downs of FFC and LSC: the same workflow on two combos and two check boxes ----

private:
    // What differs between the two write-downs, resolved on the window of the running test.
    struct WriteDown {
        QComboBox* box;
        QCheckBox* simulation;
        void (MainWindow::*start)();
        void (CameraServer::*signal)(int, QString);
    };
    WriteDown writeDownOf(const QString& which) const
    {
        if (which == QLatin1String("ffc"))
            return {ui()->ffcSelCBox, ui()->ffcCheck, &MainWindow::ffcWriteDown, &CameraServer::IS_FFCWriteDown};
        return {ui()->lscSelCBox, ui()->lscCheck, &MainWindow::lscWriteDown, &CameraServer::IS_LSCWriteDown};
    }

private slots:

    void writeDown_data()
    {
        QTest::addColumn<QString>("which");
        QTest::addColumn<QString>("set");
        QTest::newRow("flat field") << QStringLiteral("ffc") << QStringLiteral("UserSet1");
        QTest::newRow("lens shading") << QStringLiteral("lsc") << QStringLiteral("UserSet2");
    }

    void writeDown()
    {
        QFETCH(QString, which);
        QFETCH(QString, set);
        makeWindow(true);
        const WriteDown w = writeDownOf(which);
        fillQuietly(w.box, {QStringLiteral("Disable"), QStringLiteral("UserSet0"), QStringLiteral("UserSet1"),
                            QStringLiteral("UserSet2")});
        selectQuietly(w.box, set);
        const int index = w.box->currentIndex();
        QVERIFY(index > 0);
        QSignalSpy writes(server(), w.signal);
        const WriteQuestion answered(true);
        (m_window.get()->*w.start)();
        QCOMPARE(writes.count(), 1);
        QCOMPARE(writes.first().at(0).toInt(), index - 1);
        QCOMPARE(writes.first().at(1).toString(), set);
        checkPanelStarted(QStringLiteral("校正参数写入中..."), QStringLiteral("校正参数写入中..."));
        QVERIFY(!cancelBut()->isEnabled());
    }

    void writeDownOk_data()
    {
        QTest::addColumn<QString>("which");
        QTest::newRow("flat field") << QStringLiteral("ffc");
        QTest::newRow("lens shading") << QStringLiteral("lsc");
    }

    // The camera's own correction shows from now on: the software one goes off, capture comes back.
    void writeDownOk()
    {
        QFETCH(QString, which);
        makeWindow(true);
        giveCoefficients();
        const WriteDown w = writeDownOf(which);
        fillQuietly(w.box, {QStringLiteral("Disable"), QStringLiteral("UserSet0")});
        selectQuietly(w.box, QStringLiteral("UserSet0"));
        w.simulation->setChecked(true);
        QSignalSpy clicks(ui()->startBut, &QPushButton::clicked);
        const WriteQuestion answered(true);
        (m_window.get()->*w.start)();
        finishAndConfirm();
        QVERIFY(!panel()->isVisible());
        QVERIFY(cancelBut()->isEnabled());
        QVERIFY(!w.simulation->isChecked());
        checkCaptureRestarted(clicks);
    }

    void writeDownFailure_data()
    {
        QTest::addColumn<QString>("which");
        QTest::addColumn<bool>("cancelEnabledAfter");
        // The flat-field write-down's cancel leaves "取消" disabled, unlike the other two.
        QTest::newRow("flat field") << QStringLiteral("ffc") << false;
        QTest::newRow("lens shading") << QStringLiteral("lsc") << true;
    }

    void writeDownFailure()
    {
        QFETCH(QString, which);
        QFETCH(bool, cancelEnabledAfter);
        makeWindow(true);
        const WriteDown w = writeDownOf(which);
        fillQuietly(w.box, {QStringLiteral("Disable"), QStringLiteral("UserSet0")});
        selectQuietly(w.box, QStringLiteral("UserSet0"));
        w.simulation->setChecked(false);
        QSignalSpy clicks(ui()->startBut, &QPushButton::clicked);
        const WriteQuestion answered(true);
        (m_window.get()->*w.start)();
        failAndConfirm();
        checkCancelled();
        QCOMPARE(cancelBut()->isEnabled(), cancelEnabledAfter);
        checkCaptureLeftOff(clicks);
    }
};

QTEST_MAIN(TestWorkflows)
#include "test_workflows.moc"
