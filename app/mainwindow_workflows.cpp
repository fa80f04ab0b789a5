// MainWindow: the calibration workflows and the tools around them.
//
// Every workflow follows one pattern: xxxProcess stops capture, binds the progress panel's
// "确定" and "取消" to xxxOk and xxxCancel, shows the panel and fires one IS_xxx signal; the
// procedure reports on the worker through OS_FpnInfo until the operator answers.
#include "mainwindow.h"
#include "ui_mainwindow.h"

// ---- Dark field ----

void MainWindow::dsnuProcess() {}

void MainWindow::dsnuOk() {}

void MainWindow::dsnuCancel() {}

// ---- Bright field ----

void MainWindow::fpnProcess() {}

void MainWindow::fpnOk() {}

void MainWindow::fpnCancel() {}

// ---- Writing FPN to the camera ----

void MainWindow::fpnWriteDown() {}

void MainWindow::fpnWriteDownOk() {}

void MainWindow::fpnWriteDownCancel() {}

// ---- Exposure test ----

void MainWindow::expTest() {}

void MainWindow::expTestOk() {}

void MainWindow::expTestCancel() {}

// ---- FPN parameter files ----

void MainWindow::loadFpnParams() {}

void MainWindow::saveFpnParams() {}

void MainWindow::exportFpnParams() {}

// ---- FFC: source picture, run and write-down ----

void MainWindow::loadFFCImage() {}

void MainWindow::applyFFC() {}

void MainWindow::ffcOk() {}

void MainWindow::ffcCancel() {}

void MainWindow::ffcWriteDown() {}

void MainWindow::ffcWriteDownOk() {}

void MainWindow::ffcWriteDownCancel() {}

// The server reports a finished FFC run here; the panel's "确定" does the rest.
void MainWindow::ffcFinished() {}

// Kept for the form; the FFC region follows the camera's ROI.
void MainWindow::setFFCRoi() {}

// ---- FFC parameter files ----

void MainWindow::loadFFCParam() {}

void MainWindow::saveFFC() {}

void MainWindow::exportFFC() {}

// ---- FFC coefficients: the profile in gain mode and the adjustment boxes ----

void MainWindow::ffcKSelCheck() {}

void MainWindow::ffcAdjust() {}

void MainWindow::updateFfcParam(cv::Mat /*staticMat*/) {}

// ---- LSC ----

void MainWindow::applyLSC() {}

void MainWindow::lscOk() {}

void MainWindow::lscCancel() {}

void MainWindow::lscWriteDown() {}

void MainWindow::lscWriteDownOk() {}

void MainWindow::lscWriteDownCancel() {}

void MainWindow::saveLSC() {}

// ---- SCS alignment ----

void MainWindow::scsApply() {}

void MainWindow::scsWriteDown() {}

void MainWindow::scsCancel() {}
