// MainWindow: the camera list, the feature panels of the left column, capture and the read-outs
// under the image. All of it runs on the GUI thread; the property setters talk to the camera
// directly through the open handle.
#include "mainwindow.h"
#include "ui_mainwindow.h"

// ---- Camera list and connection ----

void MainWindow::connectDevice() {}

void MainWindow::connectDeviceWithName() {}

void MainWindow::switchSelectCamera() {}

void MainWindow::cameraOpenFailed(lsxStatus /*status*/) {}

void MainWindow::cameraLostConnection() {}

void MainWindow::cameraTypeChanged(bool /*isLinescan*/) {}

void MainWindow::changeCameraType() {}

void MainWindow::isTVK317(bool /*isTvk317*/) {}

void MainWindow::showHelpDialog() {}

void MainWindow::showPropertyDialog() {}

// ---- Reading the camera and the settings into the panels ----

void MainWindow::loadFeatures() {}

void MainWindow::loadParams() {}

// ---- Settings and camera properties ----

void MainWindow::paramApply() {}

void MainWindow::setGain() {}

void MainWindow::setExposure() {}

void MainWindow::setResMode() {}

void MainWindow::setBinningMode() {}

void MainWindow::setFpnSel() {}

void MainWindow::setFfcSel() {}

void MainWindow::setLscSel() {}

void MainWindow::enableCameraFpn() {}

void MainWindow::enableDoffsetAuto() {}

void MainWindow::sum4Enable() {}

void MainWindow::fpnEnable() {}

void MainWindow::fpnMannerTwoEnable() {}

void MainWindow::changGuangFilterEnable() {}

void MainWindow::flatEnable() {}

void MainWindow::setFFCRadius() {}

void MainWindow::changeTargetLuminance() {}

void MainWindow::ffcEnable() {}

void MainWindow::lscEnable() {}

// ---- ROI ----

void MainWindow::roiChanged() {}

void MainWindow::roiApply() {}

void MainWindow::roiCancel() {}

// ---- Capture, the picture on show and the read-outs ----

void MainWindow::startCapture() {}

void MainWindow::startCaptureFailed() {}

void MainWindow::showPicture(QPixmap /*pixmap*/, cv::Mat /*staticMat*/) {}

void MainWindow::mouseMoved(QPointF /*mousePos*/, QRgb /*rgb*/, bool /*hasRGB*/) {}

void MainWindow::hoverRow(int /*row*/, int /*col*/, QRgb /*minRgb*/, QRgb /*maxRgb*/) {}

void MainWindow::savePicture() {}

// ---- Zoom and the profile strip ----

void MainWindow::changeScale(double /*scale*/) {}

void MainWindow::scaleChanged(double /*scale*/) {}

void MainWindow::updateProfile() {}
