// The camera list and the feature panels on the simulated camera: connecting and selecting,
// what the panels read from the camera and from FPN.ini, that filling them writes nothing back,
// the setters, the ROI, the start button and the picture on show with its read-outs.
#include "camera/framegrab.h"
#include "common/threadspy.h"
#include "panels/windowharness.h"
#include "ui_mainwindow.h"

#include "app/progressinfowidget.h"
#include "app/scenecontrol.h"
#include "statustext.h"

#include "views/imageitem.h"
#include "views/profilewidget.h"
#include "views/scenemodel.h"

#include <QCheckBox>
#include <QDir>
#include <QDoubleSpinBox>
#include <QElapsedTimer>
#include <QRegularExpression>
#include <QSettings>
#include <QSignalSpy>
#include <QTextEdit>

#include <opencv2/core.hpp>

#include <cstring>
#include <functional>

using harness::BoxCatcher;

namespace {

const QString kMono = QStringLiteral("SIM-LS4096-M");
const QString kMultiLine = QStringLiteral("SIM-LS2048-ML4");
const QString kMlk = QStringLiteral("SIM-LS8192-MLK");

QPixmap filledPixmap(int width, int height, QColor colour)
{
    QPixmap p(width, height);
    p.fill(colour);
    return p;
}

// True when the next call of `op` hits the fault injected before: nobody called it meanwhile.
// The fault is consumed either way.
bool faultStillArmed(const std::function<lsxStatus()>& call)
{
    return call() == -99;
}

}  // namespace

class TestPanels : public QObject {
    Q_OBJECT
    std::unique_ptr<MainWindow> w;

    // Connects a camera through the list and the connect button; the capture that starts by
    // itself half a second later is let run.
    bool connectCamera(const QString& name)
    {
        if (!harness::selectCamera(*w, name)) return false;
        w->ui->connectBut->click();
        return w->m_cameraServer->m_opened && w->m_cameraServer->cameraName() == name;
    }

    // Stops the capture the connect started, once it has started.
    void stopAutoCapture()
    {
        QTRY_VERIFY_WITH_TIMEOUT(w->ui->startBut->isChecked(), 3000);
        w->ui->startBut->click();
        QCOMPARE(w->ui->startBut->text(), QStringLiteral("采图"));
    }

    lsxHandle handle() const { return w->m_cameraServer->m_handle; }

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
        w.reset();
    }
    void cleanupTestCase() { lsx::unbindLibrary(); }

    void selectingAnotherCameraHidesThePanels()
    {
        QVERIFY(connectCamera(kMono));
        QVERIFY(!w->ui->featureWidget->isHidden());
        QVERIFY(w->ui->propertyDialogBut->isEnabled());
        QCOMPARE(w->ui->connectBut->text(), QStringLiteral("断开"));
        QVERIFY(w->ui->connectBut->isChecked());
        QVERIFY(harness::cameraItem(*w, kMono)->font(0).bold());

        QVERIFY(harness::selectCamera(*w, kMultiLine));
        QVERIFY(w->ui->featureWidget->isHidden());
        QVERIFY(!w->ui->propertyDialogBut->isEnabled());
        QCOMPARE(w->ui->connectBut->text(), QStringLiteral("连接"));
        QVERIFY(!w->ui->connectBut->isChecked());
        // The open camera stays open and stays bold.
        QVERIFY(w->m_cameraServer->m_opened);
        QCOMPARE(w->m_cameraServer->cameraName(), kMono);
        QVERIFY(harness::cameraItem(*w, kMono)->font(0).bold());
        QVERIFY(!harness::cameraItem(*w, kMultiLine)->font(0).bold());

        // Back on the open camera: the panels come back.
        QVERIFY(harness::selectCamera(*w, kMono));
        QVERIFY(!w->ui->featureWidget->isHidden());
        QCOMPARE(w->ui->connectBut->text(), QStringLiteral("断开"));
        stopAutoCapture();
    }

    void doubleClickConnectsAndCaptureStartsHalfASecondLater()
    {
        QVERIFY(harness::selectCamera(*w, kMono));
        QSignalSpy clicks(w->ui->startBut, &QPushButton::clicked);
        ThreadSpy frames(w->m_cameraServer, &CameraServer::OS_NewFrame);
        QElapsedTimer clock;
        clock.start();
        QTreeWidgetItem* item = harness::cameraItem(*w, kMono);
        emit w->ui->deviceListTreeWidget->itemDoubleClicked(item, 0);
        QVERIFY(w->m_cameraServer->m_opened);
        QVERIFY(!w->ui->startBut->isChecked());
        QCOMPARE(w->ui->startBut->text(), QStringLiteral("采图"));
        QVERIFY(clicks.isEmpty());

        QVERIFY(clicks.wait(3000));
        QVERIFY2(clock.elapsed() >= 480, qPrintable(QString::number(clock.elapsed())));
        QVERIFY(w->ui->startBut->isChecked());
        QCOMPARE(w->ui->startBut->text(), QStringLiteral("暂停"));
        QTRY_VERIFY_WITH_TIMEOUT(!frames.isEmpty(), 3000);

        // A second double click on the open camera changes nothing.
        emit w->ui->deviceListTreeWidget->itemDoubleClicked(item, 0);
        QVERIFY(w->m_cameraServer->m_opened);
        QVERIFY(w->ui->startBut->isChecked());
        QCOMPARE(clicks.size(), 1);
        stopAutoCapture();
    }

    void connectButtonOnTheOpenCameraDisconnects()
    {
        QVERIFY(connectCamera(kMono));
        stopAutoCapture();
        w->ui->connectBut->click();
        QVERIFY(!w->m_cameraServer->m_opened);
        QCOMPARE(w->ui->connectBut->text(), QStringLiteral("连接"));
        QVERIFY(!w->ui->connectBut->isChecked());
        QVERIFY(w->ui->featureWidget->isHidden());
        QVERIFY(!harness::cameraItem(*w, kMono)->font(0).bold());
        QCOMPARE(w->ui->startBut->text(), QStringLiteral("采图"));
    }

    void failedOpenThenTheTimedClickResetsTheButton()
    {
        BoxCatcher boxes;
        QCOMPARE(lsx::sim::api().injectFault("lsxOpenByName", 0, LSX_ERR_NO_DEVICE, 1), LSX_OK);
        ThreadSpy failed(w->m_cameraServer, &CameraServer::OS_CaptureFailed);
        QSignalSpy clicks(w->ui->startBut, &QPushButton::clicked);
        QVERIFY(harness::selectCamera(*w, kMono));
        w->ui->connectBut->click();
        QVERIFY(!w->m_cameraServer->m_opened);
        QCOMPARE(boxes.boxes().size(), 1);
        QCOMPARE(boxes.boxes().first().title, QStringLiteral("错误"));
        QCOMPARE(boxes.boxes().first().text,
                 QStringLiteral("相机打开失败，失败原因：%1").arg(statusText(LSX_ERR_NO_DEVICE)));
        QVERIFY(w->ui->featureWidget->isHidden());

        // The click comes all the same; the capture fails at the trigger mode and the button
        // goes back without a word.
        // (The failure may come before a wait on it could start: counted, not awaited.)
        QTRY_VERIFY_WITH_TIMEOUT(!clicks.isEmpty(), 3000);
        QTRY_VERIFY_WITH_TIMEOUT(!failed.isEmpty(), 3000);
        QTRY_VERIFY(!w->ui->startBut->isChecked());
        QCOMPARE(w->ui->startBut->text(), QStringLiteral("采图"));
        QVERIFY(w->m_imageItem == nullptr);
        QVERIFY(w->m_profileWidget->data().empty());
        QCOMPARE(boxes.boxes().size(), 1);
    }

    void lostConnectionTellsAndResetsTheButton()
    {
        QVERIFY(connectCamera(kMono));
        QTRY_VERIFY_WITH_TIMEOUT(w->ui->startBut->isChecked(), 3000);
        BoxCatcher boxes;
        emit w->m_cameraServer->OS_CameraLostConnection();
        QCOMPARE(boxes.boxes().size(), 1);
        QCOMPARE(boxes.boxes().first().title, QStringLiteral("错误"));
        QCOMPARE(boxes.boxes().first().text, QStringLiteral("相机失去连接"));
        QVERIFY(!w->ui->startBut->isChecked());
        QCOMPARE(w->ui->startBut->text(), QStringLiteral("采图"));
        // The lost camera counts as closed: the button offers to connect it again.
        QVERIFY(!w->m_cameraServer->m_opened);
        QCOMPARE(w->ui->connectBut->text(), QStringLiteral("连接"));
        QVERIFY(w->ui->connectBut->isEnabled());
        QVERIFY(w->ui->featureWidget->isHidden());
    }

    void propertyDialogRereadsThePanels()
    {
        QVERIFY(connectCamera(kMono));
        stopAutoCapture();
        // Changed behind the panels' back, shown after the dialog.
        QCOMPARE(lsxSetExposure(handle(), 640.0), LSX_OK);
        w->ui->propertyDialogBut->click();
        QCOMPARE(w->ui->exposureSBox->value(), 640.0);
        // The FFC box follows the lens-shading setter, which refuses without coefficients.
        w->m_cameraServer->m_ffcKList = {QList<double>(4096, 1.0)};
        w->ui->ffcCheck->setChecked(true);
        QVERIFY(w->ui->ffcCheck->isChecked());
        w->ui->propertyDialogBut->click();
        QVERIFY(!w->ui->ffcCheck->isChecked());
    }

    void connectByNameWithoutMatch()
    {
        BoxCatcher boxes;
        w->m_deviceName = QStringLiteral("NO-SUCH-CAMERA");
        w->connectDeviceWithName();
        QCOMPARE(boxes.boxes().size(), 1);
        QCOMPARE(boxes.boxes().first().title, QStringLiteral("错误"));
        QCOMPARE(boxes.boxes().first().text, QStringLiteral("相机打开失败，失败原因：没有发现设备"));
        QVERIFY(!w->m_cameraServer->m_opened);
    }

    void connectByNameSelectsAndConnects()
    {
        w->m_deviceName = kMultiLine;
        w->connectDeviceWithName();
        QVERIFY(w->m_cameraServer->m_opened);
        QCOMPARE(w->m_cameraServer->cameraName(), kMultiLine);
        QCOMPARE(w->ui->deviceListTreeWidget->selectedItems().first()->text(0), kMultiLine);
        stopAutoCapture();
    }

    void pausedLateFramesDroppedButLoadedPictureShows()
    {
        QVERIFY(connectCamera(kMono));
        ThreadSpy frames(w->m_cameraServer, &CameraServer::OS_NewFrame);
        QTRY_VERIFY_WITH_TIMEOUT(!frames.isEmpty(), 3000);
        QTRY_VERIFY(!w->m_pixmap.isNull());
        stopAutoCapture();
        const qint64 shown = w->m_pixmap.cacheKey();

        // A frame of the server that comes after "暂停" is late.
        cv::Mat stat(1, 64, CV_32FC1, cv::Scalar(40.0f));
        emit w->m_cameraServer->OS_NewFrame(filledPixmap(64, 8, Qt::gray), stat);
        QCOMPARE(w->m_pixmap.cacheKey(), shown);

        // A picture loaded by the window itself shows at any time.
        const QPixmap loaded = filledPixmap(320, 40, Qt::darkGray);
        w->showPicture(loaded, stat);
        QCOMPARE(w->m_pixmap.cacheKey(), loaded.cacheKey());
        QCOMPARE(w->ui->imageSizeLabel->text(), QStringLiteral("宽高:[320,40]"));
        QVERIFY(w->m_imageItem);
        QCOMPARE(w->m_imageItem->pixmap().size(), QSize(320, 40));
        QCOMPARE(w->m_staticMat.cols, 64);
    }

    void resolutionChangeDropsAllCalibration()
    {
        QVERIFY(connectCamera(kMlk));
        stopAutoCapture();
        CameraServer* s = w->m_cameraServer;
        QCOMPARE(w->ui->resModeCBox->count(), 5);
        QCOMPARE(w->ui->resModeCBox->itemText(0), QStringLiteral("Full"));
        QCOMPARE(w->ui->resModeCBox->currentIndex(), 0);
        QVERIFY(w->ui->binningModeWidget->isHidden());

        s->m_bList = {{1.0, 2.0}};
        s->m_kList = {{1.0, 1.1}};
        s->m_ffcKList = {{1.0, 1.0}};
        s->m_lscKList = {{1.0, 1.0}};
        s->m_lscPolyList = {{0, 0, 0, 0, 0, 0, 1, 100}};
        w->ui->applyFpnCheck->setChecked(true);
        QVERIFY(s->m_fpnEnabled);

        w->ui->resModeCBox->setCurrentIndex(1);
        int32_t mode = -1;
        QCOMPARE(lsxGetResolutionModeSel(handle(), &mode), LSX_OK);
        QCOMPARE(mode, 1);
        QVERIFY(s->m_bList.isEmpty());
        QVERIFY(s->m_kList.isEmpty());
        QVERIFY(s->m_ffcKList.isEmpty());
        QVERIFY(s->m_lscKList.isEmpty());
        QVERIFY(s->m_lscPolyList.isEmpty());
        QVERIFY(!s->m_fpnEnabled);
        QVERIFY(!w->ui->applyFpnCheck->isChecked());
        // The panels were read again: the box still lists every mode and shows the new one.
        QCOMPARE(w->ui->resModeCBox->count(), 5);
        QCOMPARE(w->ui->resModeCBox->currentIndex(), 1);

        // "USER" unlocks the binning boxes, filled from the camera's enumerations.
        w->ui->resModeCBox->setCurrentIndex(4);
        QCOMPARE(w->ui->resModeCBox->currentText(), QStringLiteral("USER"));
        QVERIFY(!w->ui->binningModeWidget->isHidden());
        QVERIFY(w->ui->binningModeCBox->count() > 0);
        QVERIFY(w->ui->hBinningModeCBox->count() > 0);
        QVERIFY(w->ui->vBinningModeCBox->count() > 0);
        int64_t current = -1;
        int32_t count = 0;
        QCOMPARE(lsxGetEnumValue(handle(), "BinningHorizontal", &current, nullptr, &count), LSX_OK);
        QCOMPARE(w->ui->hBinningModeCBox->count(), count);

        // A binning choice goes to the camera by its name.
        const int other = (w->ui->hBinningModeCBox->currentIndex() + 1) % w->ui->hBinningModeCBox->count();
        const QString chosen = w->ui->hBinningModeCBox->itemText(other);
        w->ui->hBinningModeCBox->setCurrentIndex(other);
        QCOMPARE(w->ui->hBinningModeCBox->currentText(), chosen);
        int64_t after = -1;
        count = 0;
        QCOMPARE(lsxGetEnumValue(handle(), "BinningHorizontal", &after, nullptr, &count), LSX_OK);
        QVERIFY(after != current);
    }

    void gainMinRewrittenFromGainMax()
    {
        {
            QSettings ini(fpnIniPath(), QSettings::IniFormat);
            ini.setValue(FpnIni::GainMin, 2.0);
            ini.setValue(FpnIni::GainMax, 3.0);
            ini.setValue(FpnIni::PixelMax, 200);
            ini.setValue(FpnIni::DOffset, -5);
            ini.setValue(FpnIni::FlatEnable, true);
            ini.setValue(FpnIni::HideFunction, QStringLiteral("false"));
        }
        QVERIFY(connectCamera(kMono));
        QCOMPARE(w->ui->gainSelSBox->value(), 3.0);
        QCOMPARE(w->ui->pixelMaxSBox->value(), 200);
        // Connecting a line-scan camera reads its own black level (0 here) over the stored one.
        QCOMPARE(w->ui->doffsetSBox->value(), 0);
        QVERIFY(w->ui->flatEnableCheck->isChecked());
        QVERIFY(w->m_cameraServer->m_flatEnable);
        QVERIFY(!w->m_hideFunction);
        QVERIFY(!w->ui->hideGroupBox->isHidden());
        {
            QSettings ini(fpnIniPath(), QSettings::IniFormat);
            QCOMPARE(ini.value(FpnIni::GainMin).toFloat(), 3.0f);
            QCOMPARE(ini.value(FpnIni::GainMax).toFloat(), 3.0f);
        }
        // Showing the calibration gain did not set the camera's gain.
        float gain = 0.0f;
        QCOMPARE(lsxGetAnalogGain(handle(), &gain), LSX_OK);
        QCOMPARE(gain, 1.0f);
        stopAutoCapture();

        // The operator's choice is stored at once, both bounds alike.
        w->ui->pixelMaxSBox->setValue(150);
        w->ui->gainSelSBox->setValue(2.5);
        QSettings ini(fpnIniPath(), QSettings::IniFormat);
        QCOMPARE(ini.value(FpnIni::GainMin).toDouble(), 2.5);
        QCOMPARE(ini.value(FpnIni::GainMax).toDouble(), 2.5);
        QCOMPARE(ini.value(FpnIni::PixelMax).toInt(), 150);
        QCOMPARE(ini.value(FpnIni::DOffset).toInt(), 0);
        QCOMPARE(ini.value(FpnIni::FlatEnable).toBool(), true);
    }

    void defaultsWithoutSettingsFile()
    {
        QVERIFY(connectCamera(kMono));
        stopAutoCapture();
        QCOMPARE(w->ui->gainSelSBox->value(), 1.0);
        QCOMPARE(w->ui->pixelMaxSBox->value(), 180);
        QCOMPARE(w->ui->doffsetSBox->value(), 0);
        QVERIFY(!w->ui->flatEnableCheck->isChecked());
        QVERIFY(w->m_hideFunction);
        QVERIFY(w->ui->hideGroupBox->isHidden());
        QVERIFY(w->ui->filterEnableWidget->isHidden());
        QVERIFY(!w->ui->applyFpnCheck->isChecked());
        QVERIFY(!w->ui->ffcCheck->isChecked());
        QVERIFY(!w->ui->lscCheck->isChecked());
        QVERIFY(!w->ui->ffcKListCheck->isEnabled());
        QVERIFY(!w->ui->ffcSaveBut->isEnabled());
    }

    void featuresReadFromTheCamera()
    {
        QVERIFY(connectCamera(kMono));
        stopAutoCapture();
        QCOMPARE(w->ui->gainSelSBox->minimum(), 1.0);
        QCOMPARE(w->ui->gainSelSBox->maximum(), 8.0);
        lsxDoubleDescr exp{};
        QCOMPARE(lsxGetExposureDescr(handle(), &exp), LSX_OK);
        QCOMPARE(w->ui->exposureSBox->minimum(), exp.min);
        QCOMPARE(w->ui->exposureSBox->maximum(), exp.max);
        double us = 0;
        QCOMPARE(lsxGetExposure(handle(), &us), LSX_OK);
        QCOMPARE(w->ui->exposureSBox->value(), us);

        lsxRegionDescr rd;
        std::memset(&rd, 0, sizeof rd);
        QCOMPARE(lsxGetRoiDescr(handle(), &rd), LSX_OK);
        QCOMPARE(w->ui->roixSBox->minimum(), 0);
        QCOMPARE(w->ui->roixSBox->maximum(), rd.maxWidth);
        QCOMPARE(w->ui->roixSBox->singleStep(), 2);
        QCOMPARE(w->ui->roiWSBox->minimum(), rd.minWidth);
        QCOMPARE(w->ui->roiWSBox->singleStep(), rd.widthStep);
        QCOMPARE(w->ui->roiHSBox->minimum(), rd.minHeight);
        QCOMPARE(w->ui->roiHSBox->maximum(), rd.maxHeight);
        lsxRegion roi;
        std::memset(&roi, 0, sizeof roi);
        QCOMPARE(lsxGetRoi(handle(), &roi), LSX_OK);
        QCOMPARE(w->ui->roixSBox->value(), roi.X);
        QCOMPARE(w->ui->roiWSBox->value(), roi.W);
        QCOMPARE(w->ui->roiHSBox->value(), roi.H);
        QVERIFY(!w->ui->roiApplyBut->isEnabled());
        QVERIFY(!w->ui->roiCancelBut->isEnabled());

        // The three selections, each showing the camera's current choice.
        const struct {
            QComboBox* box;
            const char* key;
        } sels[] = {{w->ui->fpnSelCBox, "FPNC.Selector"}, {w->ui->ffcSelCBox, "PRNUC"}, {w->ui->lscSelCBox, "LSC"}};
        for (const auto& sel : sels) {
            lsxSelectionDescr d{};
            QCOMPARE(lsxGetSelectionDescr(handle(), sel.key, &d), LSX_OK);
            QCOMPARE(sel.box->count(), d.count);
            char value[LSX_TEXT_SIZE] = {};
            QCOMPARE(lsxGetConfigString(handle(), sel.key, value, sizeof value), LSX_OK);
            QCOMPARE(sel.box->currentText(), QString::fromLatin1(value));
            QCOMPARE(sel.box->currentData().toInt(), sel.box->currentIndex());
        }

        // A mono camera: no colour alignment tab; its model has a DOffset.
        QVERIFY(!w->ui->featureTabWidget->isTabEnabled(3));
        QVERIFY(!w->ui->doffsetWidget->isHidden());
        QVERIFY(!w->ui->lumRangeWidget->isHidden());
    }

    void modelWithoutDoffsetHidesItsWidget()
    {
        QVERIFY(connectCamera(QStringLiteral("SIM-TQW4A2N60")));
        stopAutoCapture();
        QVERIFY(w->ui->doffsetWidget->isHidden());
    }

    void colourCameraEnablesTheScsTab()
    {
        QVERIFY(connectCamera(QStringLiteral("SIM-LS2048-C")));
        stopAutoCapture();
        int32_t format = -1;
        QCOMPARE(lsxGetTargetFormat(handle(), &format), LSX_OK);
        QCOMPARE(w->ui->featureTabWidget->isTabEnabled(3), format == FORMAT_BGR24 || format == FORMAT_RGB24);
    }

    void multiLevelKHidesTheBrightnessRange()
    {
        QVERIFY(connectCamera(kMlk));
        stopAutoCapture();
        QCOMPARE(w->m_cameraServer->m_supportMLK, 1);
        QVERIFY(w->ui->lumRangeWidget->isHidden());
    }

    void fillingWritesNothingBack()
    {
        QVERIFY(connectCamera(kMono));
        stopAutoCapture();
        const lsxHandle h = handle();
        // The camera changes behind the panels' back, and the boxes hold other values.
        QCOMPARE(lsxSetAnalogGain(h, 2.0f), LSX_OK);
        QCOMPARE(lsxSetExposure(h, 250.0), LSX_OK);
        w->ui->exposureSBox->blockSignals(true);
        w->ui->exposureSBox->setValue(400.0);
        w->ui->exposureSBox->blockSignals(false);

        // Each setter of the camera is armed to fail once: a call made by the filling would use
        // the fault up.
        auto& sim = lsx::sim::api();
        for (const char* op : {"lsxSetAnalogGain", "lsxSetExposure", "lsxSetResolutionModeSel", "lsxSetConfigString",
                               "lsxSet", "lsxSetRoi", "lsxSetEnumValueByString"})
            QCOMPARE(sim.injectFault(op, 0, -99, 1), LSX_OK);

        w->loadFeatures();
        w->loadParams();

        QCOMPARE(w->ui->exposureSBox->value(), 250.0);
        lsxRegion roi;
        std::memset(&roi, 0, sizeof roi);
        QVERIFY(faultStillArmed([&] { return lsxSetAnalogGain(h, 2.0f); }));
        QVERIFY(faultStillArmed([&] { return lsxSetExposure(h, 250.0); }));
        QVERIFY(faultStillArmed([&] { return lsxSetResolutionModeSel(h, 0); }));
        QVERIFY(faultStillArmed([&] { return lsxSetConfigString(h, "FPNC.Selector", "UserSet0"); }));
        uint8_t off = 0;
        uint32_t size = 0;
        QVERIFY(faultStillArmed([&] { return lsxSet(h, LSX_KEY_FPN_ENABLE, &off, &size); }));
        QVERIFY(faultStillArmed([&] { return lsxSetRoi(h, &roi); }));
        QVERIFY(faultStillArmed([&] { return lsxSetEnumValueByString(h, "BinningMode", "SUM"); }));

        float gain = 0.0f;
        QCOMPARE(lsxGetAnalogGain(h, &gain), LSX_OK);
        QCOMPARE(gain, 2.0f);
        double us = 0.0;
        QCOMPARE(lsxGetExposure(h, &us), LSX_OK);
        QCOMPARE(us, 250.0);
    }

    void settersReachTheCamera()
    {
        QVERIFY(connectCamera(kMono));
        stopAutoCapture();
        const lsxHandle h = handle();

        w->ui->gainSelSBox->setValue(4.0);
        float gain = 0.0f;
        QCOMPARE(lsxGetAnalogGain(h, &gain), LSX_OK);
        QCOMPARE(gain, 4.0f);

        w->ui->exposureSBox->setValue(320.0);
        double us = 0.0;
        QCOMPARE(lsxGetExposure(h, &us), LSX_OK);
        QCOMPARE(us, 320.0);

        // The camera's own FPN switch.
        const bool wasOn = w->ui->fpnEnableCheck->isChecked();
        w->ui->fpnEnableCheck->click();
        uint8_t on[48] = {};
        uint32_t size = 48;
        QCOMPARE(lsxGet(h, LSX_KEY_FPN_ENABLE, on, &size), LSX_OK);
        QCOMPARE(bool(on[0]), !wasOn);

        // The FPN set.
        QVERIFY(w->ui->fpnSelCBox->count() > 1);
        const int other = (w->ui->fpnSelCBox->currentIndex() + 1) % w->ui->fpnSelCBox->count();
        w->ui->fpnSelCBox->setCurrentIndex(other);
        char value[LSX_TEXT_SIZE] = {};
        QCOMPARE(lsxGetConfigString(h, "FPNC.Selector", value, sizeof value), LSX_OK);
        QCOMPARE(QString::fromLatin1(value), w->ui->fpnSelCBox->itemText(other));

        // Software switches and values of the server.
        w->ui->sumSBox->setValue(3);
        QCOMPARE(w->m_cameraServer->m_sum, 3);
        w->ui->ffcRadiusSBox->setValue(120);
        QCOMPARE(w->m_cameraServer->m_ffcRadius, 120);
        w->ui->applyFpnCheck->setChecked(true);
        QVERIFY(w->m_cameraServer->m_fpnEnabled);
        w->ui->applyFpnCheck->setChecked(false);
        QVERIFY(!w->m_cameraServer->m_fpnEnabled);
        w->ui->flatEnableCheck->click();
        QCOMPARE(w->m_cameraServer->m_flatEnable, w->ui->flatEnableCheck->isChecked());
        QCOMPARE(QSettings(fpnIniPath(), QSettings::IniFormat).value(FpnIni::FlatEnable).toBool(),
                 w->ui->flatEnableCheck->isChecked());

        // Without coefficients the simulated FFC and LSC are refused and their boxes uncheck.
        w->ui->ffcCheck->setChecked(true);
        QVERIFY(!w->ui->ffcCheck->isChecked());
        QVERIFY(!w->m_cameraServer->m_ffcEnabled);
        w->ui->lscCheck->setChecked(true);
        QVERIFY(!w->ui->lscCheck->isChecked());

        // The camera type follows the radio buttons.
        w->ui->matrixRatio->click();
        QVERIFY(!w->m_cameraServer->m_isLinescan);
        w->ui->linescanRatio->click();
        QVERIFY(w->m_cameraServer->m_isLinescan);
    }

    void failedSelectionWriteShowsTheCamerasChoice()
    {
        QVERIFY(connectCamera(kMono));
        stopAutoCapture();
        const QString before = w->ui->fpnSelCBox->currentText();
        QCOMPARE(lsx::sim::api().injectFault("lsxSetConfigString", 0, -99, 1), LSX_OK);
        const int other = (w->ui->fpnSelCBox->currentIndex() + 1) % w->ui->fpnSelCBox->count();
        w->ui->fpnSelCBox->setCurrentIndex(other);
        QCOMPARE(w->ui->fpnSelCBox->currentText(), before);
    }

    void guiOnlySlots()
    {
        w->ui->autoDoffsetCheck->setChecked(false);
        QVERIFY(w->ui->doffsetSBox->isEnabled());
        w->ui->autoDoffsetCheck->setChecked(true);
        QVERIFY(!w->ui->doffsetSBox->isEnabled());

        w->ui->avgRBut->setChecked(true);
        QVERIFY(!w->ui->customRangeSBox->isEnabled());
        QVERIFY(!w->ui->customLumRangeSBox->isEnabled());
        w->ui->customLumRBut->setChecked(true);
        QVERIFY(w->ui->customLumRangeSBox->isEnabled());
        w->ui->customRBut->setChecked(true);
        QVERIFY(w->ui->customRangeSBox->isEnabled());
        QVERIFY(!w->ui->customLumRangeSBox->isEnabled());
        w->ui->lscCustomLumRBut->setChecked(true);
        QVERIFY(w->ui->lscCustomLumRangeSBox->isEnabled());
        QVERIFY(!w->ui->lscCustomRangeSBox->isEnabled());

        w->isTVK317(true);
        QVERIFY(w->ui->roiGroup->isHidden());
        QVERIFY(w->ui->lumRangeWidget->isHidden());
        QVERIFY(w->ui->doffsetWidget->isHidden());
        for (int tab = 1; tab <= 3; ++tab) QVERIFY(!w->ui->featureTabWidget->isTabEnabled(tab));
        QVERIFY(w->ui->featureTabWidget->isTabEnabled(0));
        w->isTVK317(false);
        QVERIFY(!w->ui->roiGroup->isHidden());
        for (int tab = 1; tab <= 3; ++tab) QVERIFY(w->ui->featureTabWidget->isTabEnabled(tab));

        w->ui->matrixRatio->setChecked(true);
        w->cameraTypeChanged(true);
        QVERIFY(w->ui->linescanRatio->isChecked());
        BoxCatcher boxes;
        w->cameraTypeChanged(false);
        QCOMPARE(boxes.boxes().size(), 1);
        QCOMPARE(boxes.boxes().first().title, QStringLiteral("注意"));
        QCOMPARE(
            boxes.boxes().first().text,
            QStringLiteral(
                "检测到当前选择相机不是线扫型相机，可能是驱动版本太低导致。如果出现软件闪退等问题，请联系售后解决！"));
    }

    void roiApplyAndCancel()
    {
        QVERIFY(connectCamera(kMono));
        stopAutoCapture();
        const lsxHandle h = handle();
        const int maxX = w->ui->roixSBox->maximum();
        lsxRegion before;
        std::memset(&before, 0, sizeof before);
        QCOMPARE(lsxGetRoi(h, &before), LSX_OK);

        w->ui->roixSBox->setValue(1024);
        QVERIFY(w->ui->roiApplyBut->isEnabled());
        QVERIFY(w->ui->roiCancelBut->isEnabled());
        QCOMPARE(w->ui->roiWSBox->maximum(), maxX - 1024);

        // Cancel: the boxes show the camera's region again.
        w->ui->roiCancelBut->click();
        QCOMPARE(w->ui->roixSBox->value(), before.X);
        QCOMPARE(w->ui->roiWSBox->maximum(), maxX - before.X);
        QVERIFY(!w->ui->roiApplyBut->isEnabled());
        QVERIFY(!w->ui->roiCancelBut->isEnabled());

        // Apply: the camera takes the region, the buttons go grey.
        w->ui->roixSBox->setValue(1024);
        w->ui->roiWSBox->setValue(2048);
        w->ui->roiApplyBut->click();
        lsxRegion after;
        std::memset(&after, 0, sizeof after);
        QCOMPARE(lsxGetRoi(h, &after), LSX_OK);
        QCOMPARE(after.X, 1024);
        QCOMPARE(after.W, 2048);
        QCOMPARE(after.Y, 0);
        QCOMPARE(w->ui->roixSBox->value(), 1024);
        QCOMPARE(w->ui->roiWSBox->value(), 2048);
        QCOMPARE(w->ui->roiWSBox->maximum(), maxX - 1024);
        QVERIFY(!w->ui->roiApplyBut->isEnabled());
    }

    void adjustmentRowsAndReadOutsFollowThePlanes()
    {
        // A colour picture: the B, G, R adjustment; the read-outs name R, G, B, from the picture.
        QImage colour(16, 4, QImage::Format_RGB888);
        for (int y = 0; y < 4; ++y)
            for (int x = 0; x < 16; ++x) colour.setPixel(x, y, qRgb(10 + x, 20 + y, 30));
        cv::Mat bgr(1, 16, CV_32FC3, cv::Scalar(10.04f, 20.06f, 30.0f));
        w->showPicture(QPixmap::fromImage(colour), bgr);
        QVERIFY(!w->ui->ffcBgrAdjustWidget->isHidden());
        QVERIFY(w->ui->ffcGrayAdjustWidget->isHidden());
        w->mouseMoved(QPointF(5.5, 1.5), 0, true);
        QCOMPARE(w->ui->rgbLabel->text(), QStringLiteral("R=15,G=21,B=30"));
        QCOMPARE(w->ui->avgLabel->text(), QStringLiteral("列均值:(30.0,20.1,10.0)"));
        QCOMPARE(w->ui->minLabel->text(), QStringLiteral("行最小:(10,21,30)"));
        QCOMPARE(w->ui->maxLabel->text(), QStringLiteral("行最大:(25,21,30)"));

        // Four-channel means: the one-value adjustment. The picture of three channels does not
        // go with them: no column mean is shown rather than a wrong one.
        cv::Mat bgra(1, 16, CV_32FC4, cv::Scalar(50.0f, 60.0f, 70.0f, 255.0f));
        w->showPicture(QPixmap::fromImage(colour), bgra);
        QVERIFY(w->ui->ffcBgrAdjustWidget->isHidden());
        QVERIFY(!w->ui->ffcGrayAdjustWidget->isHidden());
        w->hoverRow(2, 7, 0, 0);
        QVERIFY(w->ui->avgLabel->text().isEmpty());

        // A grey picture: one value each, the brightness without R, G, B.
        QImage grey(16, 4, QImage::Format_Grayscale8);
        for (int y = 0; y < 4; ++y)
            for (int x = 0; x < 16; ++x) grey.scanLine(y)[x] = uchar(100 + 3 * x + y);
        cv::Mat mono(1, 16, CV_32FC1, cv::Scalar(12.34f));
        w->showPicture(QPixmap::fromImage(grey), mono);
        QVERIFY(!w->ui->ffcGrayAdjustWidget->isHidden());
        w->mouseMoved(QPointF(15.2, 0.7), 0, true);
        QCOMPARE(w->ui->rgbLabel->text(), QStringLiteral("亮度=145"));
        QCOMPARE(w->ui->avgLabel->text(), QStringLiteral("列均值:12.3"));
        QCOMPARE(w->ui->minLabel->text(), QStringLiteral("行最小:100"));
        QCOMPARE(w->ui->maxLabel->text(), QStringLiteral("行最大:145"));
    }

    void pictureOnShowAndItsSize()
    {
        cv::Mat stat(1, 200, CV_32FC1, cv::Scalar(80.0f));
        w->showPicture(filledPixmap(200, 50, Qt::gray), stat);
        ImageItem* first = w->m_imageItem;
        QVERIFY(first);
        QCOMPARE(w->ui->imageSizeLabel->text(), QStringLiteral("宽高:[200,50]"));
        QCOMPARE(first->spinCenter(), QPointF(100.0, 25.0));
        QCOMPARE(w->m_scene->sceneRect(), QRectF(0, 0, 200, 50));
        // The profile strip shows the means, in the means' scale.
        QCOMPARE(w->m_profileWidget->data().cols, 200);
        QVERIFY(!w->m_profileWidget->isEditable());
        QCOMPARE(w->m_profileWidget->yMax(), 255.0);

        // Same size: the item stays and takes the new picture.
        w->showPicture(filledPixmap(200, 50, Qt::white), stat);
        QCOMPARE(w->m_imageItem, first);
        QCOMPARE(w->m_imageItem->pixmap().toImage().pixel(3, 3), qRgb(255, 255, 255));

        // Another size: a new item, the scene follows.
        cv::Mat wide(1, 300, CV_32FC1, cv::Scalar(80.0f));
        w->showPicture(filledPixmap(300, 20, Qt::gray), wide);
        QVERIFY(w->m_imageItem);
        QCOMPARE(w->m_imageItem->pixmap().size(), QSize(300, 20));
        QCOMPARE(w->m_scene->images().size(), 1);
        QCOMPARE(w->m_scene->sceneRect(), QRectF(0, 0, 300, 20));
        QCOMPARE(w->ui->imageSizeLabel->text(), QStringLiteral("宽高:[300,20]"));

        // A failed capture takes the picture and the profile away.
        w->startCaptureFailed();
        QVERIFY(!w->m_imageItem);
        QVERIFY(w->m_scene->images().isEmpty());
        QVERIFY(w->m_profileWidget->data().empty());
    }

    void frameRateOverFiveFrames()
    {
        w->m_frameCount = 0;
        w->m_frameTimer = QDateTime::currentMSecsSinceEpoch() - 500;
        cv::Mat stat(1, 8, CV_32FC1, cv::Scalar(1.0f));
        const QPixmap p = filledPixmap(8, 8, Qt::gray);
        for (int i = 0; i < 4; ++i) w->showPicture(p, stat);
        QCOMPARE(w->ui->captureRateLabel->text(), QStringLiteral("采集帧率"));
        w->showPicture(p, stat);
        // Five frames in about half a second: 10 a second, or 9 when the clock moved on.
        const QString label = w->ui->captureRateLabel->text();
        QVERIFY2(label == QStringLiteral("帧率:10") || label == QStringLiteral("帧率:9"), qPrintable(label));
        QCOMPARE(w->m_frameCount, 0);
    }

    void mouseReadOut()
    {
        // Nothing on show: the position alone.
        w->mouseMoved(QPointF(12.7, 3.2), qRgb(10, 20, 30), true);
        QCOMPARE(w->ui->mousePosLabel->text(), QStringLiteral("位置:(12,3)"));
        QVERIFY(w->ui->rgbLabel->text().isEmpty());

        cv::Mat stat(1, 20, CV_32FC1, cv::Scalar(80.0f));
        w->showPicture(filledPixmap(20, 8, QColor(10, 20, 30)), stat);
        w->mouseMoved(QPointF(12.7, 3.2), 0, true);
        QCOMPARE(w->ui->rgbLabel->text(), QStringLiteral("R=10,G=20,B=30"));
        // Off the picture: the position, and no pixel, row or column.
        w->mouseMoved(QPointF(-1.5, 2.9), 0, false);
        QCOMPARE(w->ui->mousePosLabel->text(), QStringLiteral("位置:(-1,2)"));
        QVERIFY(w->ui->rgbLabel->text().isEmpty());
        QVERIFY(w->ui->avgLabel->text().isEmpty());
        QVERIFY(!w->ui->minLabel->text().isEmpty());  // row 2 is still a row of the picture
        w->mouseMoved(QPointF(3.0, 40.0), 0, false);
        QVERIFY(w->ui->minLabel->text().isEmpty());
    }

    void zoomBoxAndSceneFollowEachOther()
    {
        // Wider than the view: the fitted scale is below 1, so 2 is a new value.
        cv::Mat stat(1, 4000, CV_32FC1, cv::Scalar(80.0f));
        w->showPicture(filledPixmap(4000, 100, Qt::gray), stat);
        QVERIFY(w->m_scene->scale() < 1.0);
        w->m_scene->setScale(2.0);
        QCOMPARE(w->ui->ratioSBox->value(), 2.0);
        // From the first report on, the box drives the scene.
        w->ui->ratioSBox->setValue(3.0);
        QCOMPARE(w->m_scene->scale(), 3.0);
        QCOMPARE(w->ui->graphicsView->transform().m11(), 3.0);
        // The profile follows the columns in view.
        QVERIFY(w->m_profileWidget->right() - w->m_profileWidget->left() > 0.0);
    }

    void savePictureWritesABitmap()
    {
        QVERIFY(QDir().mkpath(pictureDir()));
        BoxCatcher boxes;
        w->savePicture();
        QVERIFY(boxes.boxes().isEmpty());  // nothing on show, nothing saved

        cv::Mat stat(1, 32, CV_32FC1, cv::Scalar(80.0f));
        w->showPicture(filledPixmap(32, 16, QColor(90, 90, 90)), stat);
        QDir dir(pictureDir());
        const QStringList before = dir.entryList({QStringLiteral("*.bmp")}, QDir::Files);
        w->ui->picSaveBut->click();
        const QStringList after = dir.entryList({QStringLiteral("*.bmp")}, QDir::Files);
        QCOMPARE(after.size(), before.size() + 1);
        QCOMPARE(boxes.boxes().size(), 1);
        QCOMPARE(boxes.boxes().first().title, QStringLiteral("图片保存成功"));
        // The first line names the picture; the further ones the samples and their settings.
        QVERIFY(boxes.boxes().first().text.startsWith(QStringLiteral("图片保存至 %1/").arg(pictureDir())));
        QVERIFY(boxes.boxes().first().text.section(QLatin1Char('\n'), 0, 0).endsWith(QStringLiteral(".bmp")));
        QString added;
        for (const QString& f : after)
            if (!before.contains(f)) added = f;
        QVERIFY(QRegularExpression(QStringLiteral("^\\d{4}_\\d{2}_\\d{2}-\\d{2}_\\d{2}_\\d{2}_\\d{3}\\.bmp$"))
                    .match(added)
                    .hasMatch());
        QImage saved(dir.filePath(added));
        QCOMPARE(saved.size(), QSize(32, 16));
        QCOMPARE(QColor(saved.pixel(5, 5)), QColor(90, 90, 90));

        // A mono frame's picture is a grey pixmap as the worker makes it; the file holds the
        // same grey values.
        cv::Mat mono(16, 40, CV_8UC1);
        for (int y = 0; y < mono.rows; ++y)
            for (int x = 0; x < mono.cols; ++x) mono.at<uint8_t>(y, x) = static_cast<uint8_t>(6 * x + y);
        w->showPicture(matToPixmap(mono, FORMAT_MONO, LSX_BITS_8), cv::Mat(1, 40, CV_32FC1, cv::Scalar(1.0f)));
        QTest::qWait(2);  // the file name has the milliseconds
        const QStringList before2 = dir.entryList({QStringLiteral("*.bmp")}, QDir::Files);
        w->ui->picSaveBut->click();
        QString grey;
        for (const QString& f : dir.entryList({QStringLiteral("*.bmp")}, QDir::Files))
            if (!before2.contains(f)) grey = f;
        QVERIFY(!grey.isEmpty());
        const QImage greySaved(dir.filePath(grey));
        QCOMPARE(greySaved.size(), QSize(40, 16));
        QCOMPARE(QColor(greySaved.pixel(0, 0)), QColor(0, 0, 0));
        QCOMPARE(QColor(greySaved.pixel(39, 15)), QColor(249, 249, 249));
        QCOMPARE(QColor(greySaved.pixel(10, 3)), QColor(63, 63, 63));
    }

    // ---- The simulated camera's scene ----

    // The scene of the open camera, as the simulated camera holds it.
    int32_t sceneKind(double* level = nullptr)
    {
        int32_t kind = -1;
        double l = 0, slope = 0, falloff = 0;
        const QByteArray name = w->m_cameraServer->cameraName().toLatin1();
        if (lsx::sim::api().getScene(name.constData(), &kind, &l, &slope, &falloff) != LSX_OK) return -1;
        if (level) *level = l;
        return kind;
    }

    // The mean of the last mono frame's column means, on the 8-bit scale.
    double lastFrameMean() const { return w->m_staticMat.empty() ? -1.0 : cv::mean(w->m_staticMat)[0]; }

    SceneControl* openSceneControl()
    {
        auto* but = w->findChild<QPushButton*>(QStringLiteral("sceneControlBut"));
        if (!but || !but->isEnabled()) return nullptr;
        but->click();
        SceneControl* control = w->m_sceneControl;
        return control && control->isVisible() ? control : nullptr;
    }

    void sceneControlCoversTheLens()
    {
        auto* but = w->findChild<QPushButton*>(QStringLiteral("sceneControlBut"));
        QVERIFY(but);
        QCOMPARE(but->text(), QStringLiteral("模拟场景"));
        QVERIFY(!but->isEnabled());
        QVERIFY(connectCamera(kMono));
        QVERIFY(but->isEnabled());
        SceneControl* control = openSceneControl();
        QVERIFY(control);
        QCOMPARE(control->windowTitle(), QStringLiteral("模拟场景"));
        auto* cap = control->findChild<QCheckBox*>(QStringLiteral("lensCapCheck"));
        auto* pattern = control->findChild<QCheckBox*>(QStringLiteral("patternCheck"));
        auto* level = control->findChild<QDoubleSpinBox*>(QStringLiteral("lightLevelSBox"));
        QVERIFY(cap && pattern && level);
        QVERIFY(!cap->isChecked());
        QCOMPARE(sceneKind(), int(LSX_SIM_SCENE_FLAT));
        QTRY_VERIFY_WITH_TIMEOUT(lastFrameMean() > 60.0, 5000);

        // Covered: the live image goes dark.
        cap->click();
        QCOMPARE(sceneKind(), int(LSX_SIM_SCENE_DARK));
        QVERIFY(!pattern->isEnabled());
        QTRY_VERIFY_WITH_TIMEOUT(lastFrameMean() >= 0.0 && lastFrameMean() < 5.0, 5000);

        // Uncovered with half the light, then the test pattern.
        level->setValue(level->value() / 2);
        cap->click();
        double light = 0;
        QCOMPARE(sceneKind(&light), int(LSX_SIM_SCENE_FLAT));
        QCOMPARE(light, level->value());
        pattern->click();
        QCOMPARE(sceneKind(), int(LSX_SIM_SCENE_PATTERN));

        // Another camera selected: the control goes off with the panels.
        QVERIFY(harness::selectCamera(*w, kMultiLine));
        QVERIFY(!but->isEnabled());
        QVERIFY(harness::selectCamera(*w, kMono));
        stopAutoCapture();
    }

    void darkFieldEndToEndUnderTheLensCap()
    {
        {
            QSettings ini(fpnIniPath(), QSettings::IniFormat);
            ini.setValue(FpnIni::GainMin, 1.0);
            ini.setValue(FpnIni::GainMax, 1.0);
        }
        QVERIFY(lsx::sim::api().setTimeScale(nullptr, 0.05) == LSX_OK);
        QVERIFY(connectCamera(kMono));
        QTRY_VERIFY_WITH_TIMEOUT(w->ui->startBut->isChecked(), 3000);
        SceneControl* control = openSceneControl();
        QVERIFY(control);
        control->findChild<QCheckBox*>(QStringLiteral("lensCapCheck"))->click();
        control->hide();
        w->ui->autoDoffsetCheck->setChecked(true);

        // The operator's click, with the live image running.
        QTest::mouseClick(w->ui->dsnuProcessBut, Qt::LeftButton);
        ProgressInfoWidget* panel = w->m_progressInfo;
        auto* content = panel->findChild<QTextEdit*>(QStringLiteral("contentEdit"));
        auto* define = panel->findChild<QPushButton*>(QStringLiteral("defineBut"));
        QVERIFY(panel->isVisible());
        QCOMPARE(w->ui->startBut->text(), QStringLiteral("采图"));
        QTRY_VERIFY_WITH_TIMEOUT(content->toPlainText().contains(QStringLiteral("暗场校正-暗场校正执行完成。")), 30000);
        QVERIFY(content->toPlainText().contains(QStringLiteral("暗场校正-增益为 1 暗场校正完成.")));
        QVERIFY(!content->toPlainText().contains(QStringLiteral("错误")));
        QTRY_VERIFY_WITH_TIMEOUT(define->isVisible(), 5000);
        // For a person to look at: LSX_SHOT_DIR=folder keeps pictures of the panel and the control.
        if (const QByteArray dir = qgetenv("LSX_SHOT_DIR"); !dir.isEmpty()) {
            panel->grab().save(QString::fromLocal8Bit(dir) + QStringLiteral("/darkfield_panel.png"));
            control->show();
            control->grab().save(QString::fromLocal8Bit(dir) + QStringLiteral("/scene_control.png"));
            control->hide();
            w->grab().save(QString::fromLocal8Bit(dir) + QStringLiteral("/darkfield_window.png"));
        }
        QCOMPARE(w->m_cameraServer->m_bList.size(), 1);
        QCOMPARE(w->m_cameraServer->m_bList[0].size(), 4096);

        // "确定": the panel goes, the panels show the DOffset found, and the live image comes back
        // by itself: dark, as the lens is still covered.
        w->m_staticMat.release();
        QTest::mouseClick(define, Qt::LeftButton);
        QVERIFY(!panel->isVisible());
        QSettings ini(fpnIniPath(), QSettings::IniFormat);
        QCOMPARE(w->ui->doffsetSBox->value(), ini.value(FpnIni::DOffset).toInt());
        QTRY_COMPARE(w->ui->startBut->text(), QStringLiteral("暂停"));
        QTRY_VERIFY_WITH_TIMEOUT(lastFrameMean() >= 0.0, 5000);
        QVERIFY(lastFrameMean() < 5.0);
        stopAutoCapture();
    }

    // ---- What the operator is told ----

    void captureErrorShownUntilTheNextStart()
    {
        QVERIFY(connectCamera(kMono));
        QTRY_VERIFY_WITH_TIMEOUT(w->ui->startBut->isChecked(), 3000);
        // A grab that fails once, the camera still there (a camera gone from the link is told
        // with a box of its own).
        QVERIFY(lsx::sim::api().injectFault("lsxGetFrame", 0, LSX_ERR_UNKNOWN, 1) == LSX_OK);
        const QString reason = QStringLiteral("采集停止：%1-%2").arg(LSX_ERR_UNKNOWN).arg(statusText(LSX_ERR_UNKNOWN));
        QTRY_COMPARE_WITH_TIMEOUT(w->ui->captureRateLabel->text(), reason, 5000);
        QVERIFY(!w->ui->startBut->isChecked());
        QCOMPARE(w->ui->captureRateLabel->toolTip(), reason);
        // Still there a while later; gone with the next start.
        QTest::qWait(100);
        QCOMPARE(w->ui->captureRateLabel->text(), reason);
        w->ui->startBut->click();
        QVERIFY(w->ui->captureRateLabel->text() != reason);
        QTRY_VERIFY_WITH_TIMEOUT(w->ui->captureRateLabel->text().startsWith(QStringLiteral("帧率:")), 5000);
        stopAutoCapture();
    }

    void nullPictureShowsNoSize()
    {
        w->showPicture(filledPixmap(40, 20, Qt::gray), cv::Mat(1, 40, CV_32FC1, cv::Scalar(128)));
        QCOMPARE(w->ui->imageSizeLabel->text(), QStringLiteral("宽高:[40,20]"));
        w->showPicture(QPixmap(), cv::Mat());
        QCOMPARE(w->ui->imageSizeLabel->text(), QStringLiteral("宽高:[0,0]"));
    }

    void windowHasItsIcon() { QVERIFY(!w->windowIcon().isNull()); }

    // Whatever the camera library does, closing the window lets go within two seconds.
    void windowClosesUnderEveryFault_data()
    {
        QTest::addColumn<QString>("op");
        QTest::addColumn<int>("status");
        QTest::newRow("time-outs for ever") << "lsxGetFrame" << int(LSX_ERR_TIMEOUT);
        QTest::newRow("frames fail") << "lsxGetFrame" << int(LSX_ERR_DISCONNECTED);
        QTest::newRow("close fails") << "lsxClose" << int(LSX_ERR_UNKNOWN);
        QTest::newRow("restore fails") << "lsxLoadConfig" << int(LSX_ERR_FILE_FORMAT);
        QTest::newRow("stop fails") << "lsxStop" << int(LSX_ERR_UNKNOWN);
        QTest::newRow("everything fails") << "*" << int(LSX_ERR_UNKNOWN);
        QTest::newRow("disconnect") << "disconnect" << 0;
        QTest::newRow("slow time-outs") << "timeouts" << 0;
    }

    void windowClosesUnderEveryFault()
    {
        QFETCH(QString, op);
        QFETCH(int, status);
        BoxCatcher boxes;  // a camera gone from the link is told with a box
        QVERIFY(connectCamera(kMono));
        QTRY_VERIFY_WITH_TIMEOUT(w->ui->startBut->isChecked(), 3000);
        ThreadSpy frames(w->m_cameraServer, &CameraServer::OS_NewFrame);
        QVERIFY(frames.wait(5000));
        const QByteArray camera = kMono.toLatin1();
        if (op == "disconnect")
            lsx::sim::api().disconnectAfterFrames(camera.constData(), 0);
        else if (op == "timeouts")
            lsx::sim::api().frameTimeouts(camera.constData(), 1000000);
        else
            QCOMPARE(lsx::sim::api().injectFault(op.toLatin1().constData(), 0, status, 0), LSX_OK);
        QTest::qWait(100);
        QElapsedTimer timer;
        timer.start();
        w->close();
        w.reset();
        QVERIFY2(timer.elapsed() < 2000, qPrintable(QString::number(timer.elapsed())));
        lsx::sim::api().clearFaults();
        w = harness::makeWindow();
    }
};

QTEST_MAIN(TestPanels)
#include "test_panels.moc"
