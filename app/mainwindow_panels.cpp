// MainWindow: the camera list, the feature panels of the left column, capture and the read-outs
// under the image. All of it runs on the GUI thread; the property setters talk to the camera
// directly through the open handle while the worker may be grabbing frames beside them.
#include "mainwindow.h"
#include "ui_mainwindow.h"

#include "app/scenecontrol.h"

#include "camera/cameraserver.h"
#include "camera/properties.h"
#include "camera/settingranges.h"
#include "camera/tables.h"
#include "statustext.h"
#include "views/imageitem.h"
#include "views/profilewidget.h"
#include "views/scenemodel.h"

#include <QApplication>
#include <QComboBox>
#include <QCoreApplication>
#include <QDateTime>
#include <QDebug>
#include <QDoubleSpinBox>
#include <QGraphicsView>
#include <QMessageBox>
#include <QPolygonF>
#include <QPushButton>
#include <QReadWriteLock>
#include <QSettings>
#include <QSpinBox>
#include <QTimer>
#include <QTreeWidget>

#include <cstring>

namespace {

// Holds one widget away from one of the window's slots while the panels fill it, and connects
// the two again when it goes out of scope. The first filling is also where the connection is
// made for the first time. Only that one slot is cut: other slots on the same signal still hear
// the change (a QSignalBlocker would silence them all).
template <typename Sender, typename Signal, typename Slot>
class Detached {
public:
    Detached(Sender* sender, Signal signal, MainWindow* window, Slot slot)
        : m_sender(sender), m_signal(signal), m_window(window), m_slot(slot)
    {
        QObject::disconnect(m_sender, m_signal, m_window, m_slot);
    }
    ~Detached() { QObject::connect(m_sender, m_signal, m_window, m_slot); }
    Detached(const Detached&) = delete;
    Detached& operator=(const Detached&) = delete;

private:
    Sender* m_sender;
    Signal m_signal;
    MainWindow* m_window;
    Slot m_slot;
};

template <typename Sender, typename Signal, typename Slot>
Detached<Sender, Signal, Slot> detach(Sender* sender, Signal signal, MainWindow* window, Slot slot)
{
    return Detached<Sender, Signal, Slot>(sender, signal, window, slot);
}

using properties::fieldText;
using properties::kFfcSelKey;
using properties::kFpnSelKey;
using properties::kLscSelKey;

// A range read from the camera into a spin box; a refused read leaves the box as it is.
void setRange(QDoubleSpinBox* box, const properties::Range& range)
{
    if (!range.ok) return;
    box->setMinimum(range.min);
    box->setMaximum(range.max);
    box->setSingleStep(range.step);
}

// A server with an open camera: what the property setters need before they touch it.
bool cameraOpen(const CameraServer* server)
{
    return server && server->m_opened;
}

}  // namespace

// ---- Camera list and connection ----

void MainWindow::connectDevice()
{
    ui->connectBut->setChecked(false);

    const QList<QTreeWidgetItem*> selected = ui->deviceListTreeWidget->selectedItems();
    if (selected.isEmpty()) return;
    QTreeWidgetItem* item = selected.first();
    const QString name = item->text(0);

    if (!m_cameraServer->m_opened || name != m_cameraServer->cameraName()) {
        ui->startBut->setChecked(false);
        ui->startBut->setText(tr("采图"));
        m_cameraServer->open(name);
        // Capture starts by itself half a second after a connect, whether or not the open
        // worked: a failed start resets the button through startCaptureFailed.
        QTimer::singleShot(500, ui->startBut, &QPushButton::click);
        item->setFont(0, listFont(true));
    } else if (qobject_cast<QPushButton*>(sender())) {
        // Only the button disconnects; a double click on the open camera changes nothing.
        m_cameraServer->close();
        ui->startBut->setChecked(false);
        ui->startBut->setText(tr("采图"));
        item->setFont(0, listFont(false));
    }

    ui->connectBut->setEnabled(true);
    switchSelectCamera();
}

void MainWindow::connectDeviceWithName()
{
    QTreeWidget* list = ui->deviceListTreeWidget;
    for (int i = 0; i < list->topLevelItemCount(); ++i) {
        QTreeWidgetItem* item = list->topLevelItem(i);
        if (item->text(0) == m_deviceName) {
            list->setCurrentItem(item);
            item->setSelected(true);
            connectDevice();
            return;
        }
    }
    QMessageBox::critical(this, tr("错误"), tr("相机打开失败，失败原因：没有发现设备"));
}

void MainWindow::switchSelectCamera()
{
    QTreeWidget* list = ui->deviceListTreeWidget;
    const QList<QTreeWidgetItem*> selected = list->selectedItems();
    if (selected.isEmpty()) return;
    const bool isOpen = m_cameraServer->m_opened && selected.first()->text(0) == m_cameraServer->cameraName();

    ui->connectBut->setChecked(isOpen);
    ui->connectBut->setText(ui->connectBut->isChecked() ? tr("断开") : tr("连接"));

    if (!isOpen) {
        // The open camera stays open; its panels come back when it is selected again.
        ui->featureWidget->hide();
        ui->propertyDialogBut->setEnabled(false);
        if (m_sceneBut) m_sceneBut->setEnabled(false);
    } else {
        ui->featureWidget->show();
        ui->propertyDialogBut->setEnabled(true);
        if (m_sceneBut) m_sceneBut->setEnabled(true);
        if (m_sceneControl) m_sceneControl->setCamera(m_cameraServer->cameraName());
        ui->lumRangeWidget->setVisible(m_cameraServer->m_supportMLK == 0);
        ui->filterEnableWidget->hide();
        loadFeatures();
        loadParams();
        ui->ffcKListCheck->setEnabled(false);
        ui->ffcSaveBut->setEnabled(false);
        ui->ffcBgrAdjustWidget->setEnabled(false);
        ui->ffcGrayAdjustWidget->setEnabled(false);

        // Models without a DOffset get no DOffset controls.
        ui->doffsetWidget->show();
        const lsxCameraInfo info = m_cameraServer->cameraInfo(m_cameraServer->cameraName());
        const QString model = fieldText(info.model, sizeof info.model);
        for (const QString& row : supportedModels) {
            if (model.contains(row, Qt::CaseSensitive)) {
                ui->doffsetWidget->hide();
                break;
            }
        }
    }

    for (int i = 0; i < list->topLevelItemCount(); ++i) {
        QTreeWidgetItem* item = list->topLevelItem(i);
        const bool bold = m_cameraServer->m_opened && item->text(0) == m_cameraServer->cameraName();
        item->setFont(0, listFont(bold));
    }
}

void MainWindow::cameraOpenFailed(lsxStatus status)
{
    QMessageBox::critical(this, tr("错误"), tr("相机打开失败，失败原因：%1").arg(statusText(status)));
}

void MainWindow::cameraLostConnection()
{
    // The camera has left the link: it counts as closed (its handle released), and the connect
    // button offers to connect it again.
    ui->startBut->setChecked(false);
    ui->startBut->setText(tr("采图"));
    m_cameraServer->close();
    QMessageBox::critical(this, tr("错误"), tr("相机失去连接"));
    ui->connectBut->setEnabled(true);
    switchSelectCamera();
}

void MainWindow::cameraTypeChanged(bool isLinescan)
{
    if (isLinescan) {
        ui->linescanRatio->setChecked(true);
    } else {
        QMessageBox::warning(this, tr("注意"),
                             tr("检测到当前选择相机不是线扫型相机，可能是驱动版本太低导致。"
                                "如果出现软件闪退等问题，请联系售后解决！"));
    }
}

void MainWindow::changeCameraType()
{
    // Read by the procedures on the worker between runs; a plain flag, no lock.
    m_cameraServer->m_isLinescan = ui->linescanRatio->isChecked();
}

void MainWindow::isTVK317(bool isTvk317)
{
    // The area-type sensor has no ROI, no brightness range, no DOffset and none of the flat-field,
    // lens or colour tools.
    ui->roiGroup->setVisible(!isTvk317);
    ui->lumRangeWidget->setVisible(!isTvk317);
    ui->doffsetWidget->setVisible(!isTvk317);
    for (int tab = 1; tab <= 3; ++tab) ui->featureTabWidget->setTabEnabled(tab, !isTvk317);
}

void MainWindow::showHelpDialog()
{
    m_helpDialog.show();
    m_helpDialog.activateWindow();
}

void MainWindow::showSceneControl()
{
    if (!m_cameraServer->m_opened) return;
    // A window of its own, not one of this window's: the progress panel, modal to this window,
    // must leave it usable, so that the operator can cover the lens while a procedure waits.
    if (!m_sceneControl) {
        m_sceneControl = new SceneControl();
        m_sceneControl->setAttribute(Qt::WA_QuitOnClose, false);
    }
    m_sceneControl->setCamera(m_cameraServer->cameraName());
    m_sceneControl->show();
    m_sceneControl->raise();
}

void MainWindow::showPropertyDialog()
{
    if (!m_cameraServer || !m_cameraServer->m_opened) return;
    QWidget* active = QApplication::activeWindow();
    m_cameraServer->showPropertyDialog(active ? static_cast<uintptr_t>(active->winId()) : 0);
    loadFeatures();
    // The FFC box follows the lens-shading setter here, as it always has.
    if (ui->ffcCheck->isChecked()) ui->ffcCheck->setChecked(m_cameraServer->setLscEnabled(true));
}

// ---- Reading the camera and the settings into the panels ----

void MainWindow::loadFeatures()
{
    if (!m_cameraServer || !m_cameraServer->m_opened) return;
    const lsxHandle h = m_cameraServer->m_handle;

    // Gain.
    {
        auto cut = detach(ui->gainSelSBox, &QDoubleSpinBox::valueChanged, this, &MainWindow::setGain);
        setRange(ui->gainSelSBox, properties::gainRange(h));
        const properties::Value gain = properties::gain(h);
        if (gain.ok) ui->gainSelSBox->setValue(gain.value);
    }

    // Resolution mode.
    {
        auto cut = detach(ui->resModeCBox, &QComboBox::currentIndexChanged, this, &MainWindow::setResMode);
        ui->resModeCBox->clear();
        const properties::Selection modes = properties::resolutionModes(h);
        for (int i = 0; i < modes.texts.size(); ++i) ui->resModeCBox->addItem(modes.texts[i], modes.indices[i]);
        const int row = ui->resModeCBox->findData(modes.currentIndex);
        if (row >= 0) ui->resModeCBox->setCurrentIndex(row);
    }

    // Binning, only in the free "USER" mode.
    const bool user = ui->resModeCBox->currentText() == QLatin1String("USER");
    ui->binningModeWidget->setVisible(user);
    if (user) {
        QComboBox* const boxes[] = {ui->binningModeCBox, ui->hBinningModeCBox, ui->vBinningModeCBox};
        for (int i = 0; i < 3; ++i) {
            QComboBox* box = boxes[i];
            auto cut = detach(box, &QComboBox::currentIndexChanged, this, &MainWindow::setBinningMode);
            box->clear();
            const properties::Enumeration e = properties::enumeration(h, properties::kBinningEnums[i]);
            box->addItems(e.names);
            if (e.selected >= 0) box->setCurrentIndex(e.selected);
        }
    }

    // Exposure.
    {
        auto cut = detach(ui->exposureSBox, &QDoubleSpinBox::valueChanged, this, &MainWindow::setExposure);
        setRange(ui->exposureSBox, properties::exposureRange(h));
        const properties::Value us = properties::exposure(h);
        if (us.ok) ui->exposureSBox->setValue(us.value);
    }

    // ROI limits; the values come from roiCancel.
    {
        auto cutX = detach(ui->roixSBox, &QSpinBox::valueChanged, this, &MainWindow::roiChanged);
        auto cutW = detach(ui->roiWSBox, &QSpinBox::valueChanged, this, &MainWindow::roiChanged);
        auto cutH = detach(ui->roiHSBox, &QSpinBox::valueChanged, this, &MainWindow::roiChanged);
        const properties::RoiLimits limits = properties::roiLimits(h);
        if (limits.ok) {
            ui->roixSBox->setRange(0, limits.maxWidth);
            ui->roixSBox->setSingleStep(2);
            ui->roiWSBox->setRange(limits.minWidth, limits.maxWidth);
            ui->roiWSBox->setSingleStep(limits.widthStep);
            ui->roiHSBox->setRange(limits.minHeight, limits.maxHeight);
            ui->roiHSBox->setSingleStep(limits.heightStep);
        }
    }
    roiCancel();

    // The camera's own FPN correction.
    const properties::Value fpnOn = properties::cameraFpnEnabled(h);
    if (fpnOn.ok) ui->fpnEnableCheck->setChecked(fpnOn.value != 0.0);

    // The three "存储" selections: FPN set, flat-field set, lens-shading set.
    fillSelection(ui->fpnSelCBox, kFpnSelKey, &MainWindow::setFpnSel);
    fillSelection(ui->ffcSelCBox, kFfcSelKey, &MainWindow::setFfcSel);
    fillSelection(ui->lscSelCBox, kLscSelKey, &MainWindow::setLscSel);

    // Colour alignment only for three-byte colour output.
    ui->featureTabWidget->setTabEnabled(3, false);
    const int format = int(properties::targetFormat(h).value);
    if (format == FORMAT_BGR24 || format == FORMAT_RGB24) {
        ui->featureTabWidget->setTabEnabled(3, true);
        scsCancel();
    }
}

void MainWindow::fillSelection(QComboBox* box, const char* key, void (MainWindow::*setter)())
{
    auto cut = detach(box, &QComboBox::currentIndexChanged, this, setter);
    box->clear();
    const properties::Selection sel = properties::selection(m_cameraServer->m_handle, key);
    for (int i = 0; i < sel.texts.size(); ++i) box->addItem(sel.texts[i], sel.indices[i]);
    if (sel.hasCurrentText) box->setCurrentText(sel.currentText);
}

void MainWindow::loadParams()
{
    QSettings settings(fpnIniPath(), QSettings::IniFormat);
    m_hideFunction = settings.value(FpnIni::HideFunction, FpnIni::HideFunctionDefault).toBool();
    // The panel shows a bad value as its default, said once; the calibration itself refuses it.
    auto say = [this](const QString& text) { QTimer::singleShot(0, this, [this, text] { showCameraWarning(text); }); };
    const SettingValue gainMin = checkSetting(FpnIni::GainMin, settings.value(FpnIni::GainMin));
    const SettingValue gainMaxRead = checkSetting(FpnIni::GainMax, settings.value(FpnIni::GainMax));
    const float gainMax = settingOrDefault(FpnIni::GainMax, settings.value(FpnIni::GainMax), say);
    // One calibration gain: the lower bound follows the upper one, when that one is good.
    if (gainMaxRead.ok() && (!gainMin.ok() || float(gainMin.value) != gainMax)) {
        settings.setValue(FpnIni::GainMin, gainMax);
        settings.sync();
    }

    {
        auto cutGain = detach(ui->gainSelSBox, &QDoubleSpinBox::valueChanged, this, &MainWindow::paramApply);
        auto cutPixel = detach(ui->pixelMaxSBox, &QSpinBox::valueChanged, this, &MainWindow::paramApply);
        auto cutDoffset = detach(ui->doffsetSBox, &QSpinBox::valueChanged, this, &MainWindow::paramApply);
        // The calibration gain is a setting, not the camera's gain: showing it writes nothing.
        auto cutSetGain = detach(ui->gainSelSBox, &QDoubleSpinBox::valueChanged, this, &MainWindow::setGain);
        ui->gainSelSBox->setValue(gainMax);
        ui->pixelMaxSBox->setValue(settingOrDefault(FpnIni::PixelMax, settings.value(FpnIni::PixelMax), say));
        ui->doffsetSBox->setValue(settingOrDefault(FpnIni::DOffset, settings.value(FpnIni::DOffset), say));
        ui->flatEnableCheck->setChecked(settings.value(FpnIni::FlatEnable, FpnIni::FlatEnableDefault).toBool());
    }

    m_cameraServer->setFlatEnable(ui->flatEnableCheck->isChecked());

    ui->applyFpnCheck->setChecked(false);
    ui->ffcCheck->setChecked(false);
    ui->lscCheck->setChecked(false);
    ui->hideGroupBox->setVisible(!m_hideFunction);
}

// ---- Settings and camera properties ----

void MainWindow::paramApply()
{
    QSettings settings(fpnIniPath(), QSettings::IniFormat);
    const double gain = ui->gainSelSBox->value();
    settings.setValue(FpnIni::GainMin, gain);
    settings.setValue(FpnIni::GainMax, gain);
    settings.setValue(FpnIni::PixelMax, ui->pixelMaxSBox->value());
    settings.setValue(FpnIni::DOffset, ui->doffsetSBox->value());
    settings.setValue(FpnIni::FlatEnable, ui->flatEnableCheck->isChecked());
    settings.sync();
}

void MainWindow::setGain()
{
    if (!cameraOpen(m_cameraServer)) return;
    properties::setGain(m_cameraServer->m_handle, ui->gainSelSBox->value());
}

void MainWindow::setExposure()
{
    if (!cameraOpen(m_cameraServer)) return;
    properties::setExposure(m_cameraServer->m_handle, ui->exposureSBox->value());
    // Far from the dark run's exposure the dark data no longer fit: told once, without a wait.
    if (const QString told = m_cameraServer->darkCurrentWarning(ui->exposureSBox->value()); !told.isEmpty()) {
        auto* box = new QMessageBox(QMessageBox::Warning, tr("警告"), told, QMessageBox::Ok, this);
        box->setAttribute(Qt::WA_DeleteOnClose);
        box->setModal(false);
        box->show();
    }
}

void MainWindow::setResMode()
{
    if (!cameraOpen(m_cameraServer)) return;
    const int32_t index = ui->resModeCBox->currentData().toInt();
    // Every coefficient was measured at the old resolution: none of them fits any more.
    if (properties::setResolutionMode(m_cameraServer->m_handle, index) == LSX_OK) m_cameraServer->clearCoefficients();
    ui->applyFpnCheck->setChecked(false);
    loadFeatures();
}

void MainWindow::setBinningMode()
{
    if (!m_cameraServer) return;
    auto* box = qobject_cast<QComboBox*>(sender());
    if (!box) return;
    const char* name = box == ui->binningModeCBox    ? properties::kBinningEnums[0]
                       : box == ui->hBinningModeCBox ? properties::kBinningEnums[1]
                       : box == ui->vBinningModeCBox ? properties::kBinningEnums[2]
                                                     : nullptr;
    if (!name) return;
    properties::setEnumeration(m_cameraServer->m_handle, name, box->currentText());
    loadFeatures();
}

void MainWindow::setFpnSel()
{
    if (!cameraOpen(m_cameraServer)) return;
    // A refused set: the panels show the camera's own choice again.
    if (properties::setSelection(m_cameraServer->m_handle, kFpnSelKey, ui->fpnSelCBox->currentText()) != LSX_OK)
        loadFeatures();
}

void MainWindow::setFfcSel()
{
    if (!cameraOpen(m_cameraServer)) return;
    // The simulated flat field belongs to the set it was computed for.
    ui->ffcCheck->setChecked(false);
    if (!m_cameraServer->setFfcEnabled(ui->ffcCheck->isChecked())) ui->ffcCheck->setChecked(false);
    if (properties::setSelection(m_cameraServer->m_handle, kFfcSelKey, ui->ffcSelCBox->currentText()) != LSX_OK)
        loadFeatures();
}

void MainWindow::setLscSel()
{
    if (!cameraOpen(m_cameraServer)) return;
    ui->lscCheck->setChecked(false);
    if (!m_cameraServer->setLscEnabled(ui->lscCheck->isChecked())) ui->lscCheck->setChecked(false);
    if (properties::setSelection(m_cameraServer->m_handle, kLscSelKey, ui->lscSelCBox->currentText()) != LSX_OK)
        loadFeatures();
}

void MainWindow::enableCameraFpn()
{
    if (!cameraOpen(m_cameraServer)) return;
    if (properties::setCameraFpnEnabled(m_cameraServer->m_handle, ui->fpnEnableCheck->isChecked()) != LSX_OK)
        loadFeatures();
}

void MainWindow::enableDoffsetAuto()
{
    ui->doffsetSBox->setEnabled(!ui->autoDoffsetCheck->isChecked());
}

void MainWindow::sum4Enable()
{
    if (!cameraOpen(m_cameraServer)) return;
    m_cameraServer->setSum(ui->sumSBox->value());
}

void MainWindow::fpnEnable()
{
    if (!cameraOpen(m_cameraServer)) return;
    m_cameraServer->setFpnEnabled(ui->applyFpnCheck->isChecked());
}

void MainWindow::fpnMannerTwoEnable()
{
    // The box is read and has no effect: the camera's own FPN is switched by fpnEnableCheck.
    const bool on = ui->applyFpnMannerTwoCheck->isChecked();
    Q_UNUSED(on);
}

void MainWindow::changGuangFilterEnable()
{
    if (!cameraOpen(m_cameraServer)) return;
    m_cameraServer->setFilterEnabled(ui->applyFilterCheck->isChecked());
}

void MainWindow::flatEnable()
{
    if (!cameraOpen(m_cameraServer)) return;
    m_cameraServer->setFlatEnable(ui->flatEnableCheck->isChecked());
}

void MainWindow::setFFCRadius()
{
    // The radius belongs to the server, camera or not: the next run uses the box's value.
    if (!m_cameraServer) return;
    m_cameraServer->m_ffcRadius = ui->ffcRadiusSBox->value();
}

void MainWindow::changeTargetLuminance()
{
    ui->customRangeSBox->setEnabled(ui->customRBut->isChecked());
    ui->customLumRangeSBox->setEnabled(ui->customLumRBut->isChecked());
    ui->lscCustomRangeSBox->setEnabled(ui->lscCustomRBut->isChecked());
    ui->lscCustomLumRangeSBox->setEnabled(ui->lscCustomLumRBut->isChecked());
}

void MainWindow::ffcEnable()
{
    if (!cameraOpen(m_cameraServer)) return;
    if (!m_cameraServer->setFfcEnabled(ui->ffcCheck->isChecked())) ui->ffcCheck->setChecked(false);
}

void MainWindow::lscEnable()
{
    if (!cameraOpen(m_cameraServer)) return;
    if (!m_cameraServer->setLscEnabled(ui->lscCheck->isChecked())) ui->lscCheck->setChecked(false);
}

// ---- ROI ----

void MainWindow::roiChanged()
{
    ui->roiApplyBut->setEnabled(true);
    ui->roiCancelBut->setEnabled(true);
    // The width can't reach past the sensor's right edge.
    if (sender() == ui->roixSBox) ui->roiWSBox->setMaximum(ui->roixSBox->maximum() - ui->roixSBox->value());
}

void MainWindow::roiApply()
{
    if (cameraOpen(m_cameraServer))
        properties::setRoi(m_cameraServer->m_handle, ui->roixSBox->value(), ui->roiWSBox->value(),
                           ui->roiHSBox->value());
    // Whatever the camera took, the boxes show it.
    roiCancel();
}

void MainWindow::roiCancel()
{
    if (cameraOpen(m_cameraServer)) {
        const properties::Roi region = properties::roi(m_cameraServer->m_handle);
        if (region.ok) {
            ui->roiWSBox->setMaximum(ui->roixSBox->maximum() - region.x);
            auto cutX = detach(ui->roixSBox, &QSpinBox::valueChanged, this, &MainWindow::roiChanged);
            auto cutW = detach(ui->roiWSBox, &QSpinBox::valueChanged, this, &MainWindow::roiChanged);
            auto cutH = detach(ui->roiHSBox, &QSpinBox::valueChanged, this, &MainWindow::roiChanged);
            ui->roixSBox->setValue(region.x);
            ui->roiWSBox->setValue(region.width);
            ui->roiHSBox->setValue(region.height);
        }
    }
    ui->roiApplyBut->setEnabled(false);
    ui->roiCancelBut->setEnabled(false);
}

// ---- Capture, the picture on show and the read-outs ----

void MainWindow::startCapture()
{
    m_frameCount = 0;
    m_frameTimer = QDateTime::currentMSecsSinceEpoch();
    if (ui->startBut->isChecked()) {
        if (m_captureErrorShown) {
            ui->captureRateLabel->setText(tr("采集帧率"));
            ui->captureRateLabel->setToolTip(QString());
            m_captureErrorShown = false;
        }
        emit m_cameraServer->IS_Capture(true);
        ui->startBut->setText(tr("暂停"));
        // Live frames from now on: a loaded source picture is no longer on show.
        m_srcImg.release();
    } else {
        m_cameraServer->stopCapture();
        ui->startBut->setText(tr("采图"));
    }
}

void MainWindow::showCaptureError(lsxStatus status)
{
    const QString text =
        QCoreApplication::translate("MainWindow", "采集停止：%1-%2").arg(status).arg(statusText(status));
    ui->captureRateLabel->setText(text);
    ui->captureRateLabel->setToolTip(text);
    m_captureErrorShown = true;
}

void MainWindow::showCameraWarning(QString text)
{
    QMessageBox::warning(this, tr("警告"), text);
}

void MainWindow::startCaptureFailed()
{
    ui->startBut->setChecked(false);
    ui->startBut->setText(tr("采图"));
    if (m_imageItem) {
        m_scene->removeItem(m_imageItem);
        delete m_imageItem;
        m_imageItem = nullptr;
    }
    if (m_profileWidget) m_profileWidget->clearProfile();
}

void MainWindow::showPicture(QPixmap pixmap, cv::Mat staticMat)
{
    const bool fromServer = sender() && sender() == m_cameraServer;
    // Frames still queued when the operator paused come late: drop them. Loaded pictures show.
    if (!ui->startBut->isChecked() && fromServer) return;

    if (pixmap.isNull()) {
        m_pixmap = QPixmap();
        ui->imageSizeLabel->setText(tr("宽高:[0,0]"));
    } else {
        m_pixmap = pixmap;
        m_staticMat = staticMat;
        const bool bgr = staticMat.channels() == 3;
        ui->ffcBgrAdjustWidget->setVisible(bgr);
        ui->ffcGrayAdjustWidget->setVisible(!bgr);
        if (fromServer) m_scsChannels.clear();
    }

    // The rate of the frames on show, over five frames.
    ++m_frameCount;
    if (m_frameCount >= 5) {
        const qint64 now = QDateTime::currentMSecsSinceEpoch();
        const qint64 elapsed = qMax<qint64>(1, now - m_frameTimer);
        const qint64 rate = qint64(m_frameCount) * 1000 / elapsed;
        ui->captureRateLabel->setText(tr("帧率:%1").arg(rate));
        m_frameCount = 0;
        m_frameTimer = now;
    }

    if (m_imageItem && (m_pixmap.isNull() || m_imageItem->pixmap().size() != m_pixmap.size())) {
        m_scene->removeItem(m_imageItem);
        delete m_imageItem;
        m_imageItem = nullptr;
    }
    // Nothing to fit a view to.
    if (m_pixmap.isNull()) return;

    if (m_imageItem) {
        m_imageItem->setPixmap(m_pixmap);
    } else {
        const QSize view = ui->graphicsView->viewport()->size();
        m_scene->setSceneSize(view.width(), view.height());
        m_imageItem = m_scene->addImage(m_pixmap, true);
        m_imageItem->setSpinData(QPointF(m_pixmap.width() / 2.0, m_pixmap.height() / 2.0), 0.0);
        ui->imageSizeLabel->setText(tr("宽高:[%1,%2]").arg(m_pixmap.width()).arg(m_pixmap.height()));
    }

    updateProfile();
}

// ---- Zoom and the profile strip ----

void MainWindow::changeScale(double scale)
{
    disconnect(m_scene, &SceneModel::scaleChanged, this, &MainWindow::scaleChanged);
    m_scene->setScale(scale);
    connect(m_scene, &SceneModel::scaleChanged, this, &MainWindow::scaleChanged);
}

void MainWindow::scaleChanged(double scale)
{
    disconnect(ui->ratioSBox, &QDoubleSpinBox::valueChanged, this, &MainWindow::changeScale);
    ui->ratioSBox->setValue(scale);
    connect(ui->ratioSBox, &QDoubleSpinBox::valueChanged, this, &MainWindow::changeScale);
}

void MainWindow::updateProfile()
{
    if (m_pixmap.isNull() || m_staticMat.empty() || !m_profileWidget) return;

    // The image columns at the view's left and right edge.
    const QPolygonF inView = ui->graphicsView->mapToScene(ui->graphicsView->viewport()->rect());
    if (inView.size() < 2) return;
    const double left = inView.at(0).x();
    const double right = inView.at(1).x();

    if (ui->featureTabWidget->currentIndex() == 1 && ui->ffcKListCheck->isChecked()) {
        if (!m_cameraServer) return;
        const QList<QList<double>> kList = m_cameraServer->m_ffcKList;
        if (kList.size() != m_staticMat.channels() || kList.isEmpty()) return;
        if (kList.first().size() != m_staticMat.cols) return;
        cv::Mat gains(m_staticMat.rows, m_staticMat.cols, m_staticMat.type(), cv::Scalar::all(0));
        const int channels = gains.channels();
        for (int x = 0; x < gains.cols; ++x) {
            float* element = gains.ptr<float>(0) + x * channels;
            if (channels == 3) {
                for (int c = 0; c < 3; ++c) element[c] = kList.at(c).value(x);
            } else {
                element[0] = kList.at(0).value(x);
            }
        }
        m_profileWidget->setProfile(gains, left, right, true);
        m_profileWidget->setYMax(4.0);
        return;
    }

    m_profileWidget->setProfile(m_staticMat, left, right, false);
    m_profileWidget->setYMax(255.0);
}
