// MainWindow: the calibration workflows and the tools around them.
//
// Every workflow follows one pattern: xxxProcess stops capture, binds the progress panel's
// "确定" and "取消" to xxxOk and xxxCancel, shows the panel and fires one IS_xxx signal; the
// procedure reports on the worker through OS_FpnInfo until the operator answers.
//
// Answers: xxxOk hides the panel, re-reads the camera and the settings into the panels (which
// also switches every software simulation off), unbinds the panel and runs its own closing
// action; xxxCancel raises the server's cancel flag, says so, and does the same without the
// closing action. A failed procedure reports above 100, which turns the panel's "确定" into a
// cancel, so the closing action never runs on a failure.
//
// Capture: every workflow starts with capture off. The Ok of a workflow whose result shows in
// the live image (bright field, FPN, FFC and LSC runs and write-downs) clicks the start button
// again; the dark field, the cancels and the exposure test leave capture off.
#include "mainwindow.h"
#include "ui_mainwindow.h"

#include "app/paramfiledialogs.h"
#include "app/progressinfowidget.h"
#include "app/runrecorder.h"
#include "app/writeconfirm.h"
#include "camera/cameraserver.h"
#include "fpnparams/backup.h"
#include "fpnparams/fpnfile.h"
#include "fpnparams/paramfile.h"
#include "views/statisticswidget.h"

#include <QCoreApplication>
#include <QFileDialog>
#include <QFileInfo>
#include <QMessageBox>

namespace {

const char* const kCancelText = QT_TRANSLATE_NOOP("MainWindow", "取消操作。");
const QString kFactoryEntry = QStringLiteral("factory");
const char* const kWriteTitle = QT_TRANSLATE_NOOP("MainWindow", "校正参数写入中...");

// The answer slots of one workflow: what the panel's defined() and canceled() run.
using Answer = void (MainWindow::*)();

// The calibrations need an open camera; without one the operator is told and nothing starts.
bool cameraReady(MainWindow& w)
{
    if (w.m_cameraServer && w.m_cameraServer->m_opened) return true;
    QMessageBox::critical(&w, QCoreApplication::translate("MainWindow", "错误"),
                          QCoreApplication::translate("MainWindow", "没有连接上相机。"));
    return false;
}

// Stops a running capture. The frame loop is not awaited: the procedure's signal queues behind
// it on the worker and starts when the loop has seen the flag.
void stopRunningCapture(MainWindow& w)
{
    if (!w.ui->startBut->isChecked()) return;
    w.m_cameraServer->stopCapture();
    w.ui->startBut->setChecked(false);
    w.ui->startBut->setText(QCoreApplication::translate("MainWindow", "采图"));
}

void bindPanel(MainWindow& w, Answer ok, Answer cancel)
{
    QObject::connect(w.m_progressInfo, &ProgressInfoWidget::defined, &w, ok, Qt::UniqueConnection);
    QObject::connect(w.m_progressInfo, &ProgressInfoWidget::canceled, &w, cancel, Qt::UniqueConnection);
}

// A report of 100 adds a further connection of "确定" to defined(), so one click may emit it
// more than once: the first answer unbinds the workflow, and the later emissions find no one.
void unbindPanel(MainWindow& w, Answer ok, Answer cancel)
{
    QObject::disconnect(w.m_progressInfo, &ProgressInfoWidget::defined, &w, ok);
    QObject::disconnect(w.m_progressInfo, &ProgressInfoWidget::canceled, &w, cancel);
}

// Titles the panel, shows it and clears it with the workflow's first line.
void showPanel(MainWindow& w, const QString& title, const QString& firstLine)
{
    w.m_progressInfo->setWindowTitle(title);
    w.m_progressInfo->show();
    w.m_progressInfo->showProgressInfo(0, firstLine);
}

// The common start: capture off, panel bound and up. The caller then fires its signal.
void startWorkflow(MainWindow& w, Answer ok, Answer cancel, const QString& title)
{
    stopRunningCapture(w);
    bindPanel(w, ok, cancel);
    showPanel(w, title, title);
}

// The common end of an answer: panel down, panels re-read from the camera and FPN.ini, unbound.
void endWorkflow(MainWindow& w, Answer ok, Answer cancel)
{
    w.m_progressInfo->hide();
    w.loadFeatures();
    w.loadParams();
    unbindPanel(w, ok, cancel);
}

// The procedure sees the flag the next time it polls; the panel says so before it goes down.
void cancelRunning(MainWindow& w)
{
    w.m_cameraServer->cancel();
    w.m_progressInfo->showProgressInfo(0, QCoreApplication::translate("MainWindow", kCancelText));
}

// Live capture comes back at once to show the result. A click, so that the button's own slot
// starts the frame loop as the operator's click would.
void restartCapture(MainWindow& w)
{
    w.ui->startBut->click();
}

// The target brightness of a flat-field or lens-shading run: below 0 the channel's mean, 0..1
// a point between the channel's minimum and maximum, above 1 an absolute brightness.
float targetRate(const QAbstractButton* rangeBut, double range, const QAbstractButton* lumBut, int lum)
{
    if (rangeBut->isChecked()) return static_cast<float>(range);
    if (lumBut->isChecked()) return static_cast<float>(lum);
    return -1.0f;
}

// The write-downs of FFC and LSC name the camera's set by the combo's entry; entry 0 is the
// "Disable" position and no set. An empty combo has no set either.
bool writeTargetChosen(MainWindow& w, QComboBox* box)
{
    if (box->currentIndex() > 0) return true;
    QMessageBox::critical(&w, QCoreApplication::translate("MainWindow", "错误"),
                          QCoreApplication::translate("MainWindow", "请选择正确的写入位置！"));
    box->setFocus();
    return false;
}

// The start of an FFC or LSC write-down: a chosen set, the operator's "写入", capture off, the
// panel up with its "取消" disabled while the camera is written.
bool startWriteDown(MainWindow& w, QComboBox* box, CameraServer::WriteKind kind, Answer ok, Answer cancel)
{
    if (!w.m_cameraServer) return false;
    if (!writeTargetChosen(w, box)) return false;
    if (!confirmCameraWrite(&w, w.m_cameraServer, kind, box->currentText())) return false;
    stopRunningCapture(w);
    bindPanel(w, ok, cancel);
    w.m_progressInfo->setCancelEnabled(false);
    showPanel(w, QCoreApplication::translate("MainWindow", kWriteTitle),
              QCoreApplication::translate("MainWindow", kWriteTitle));
    return true;
}

// The Ok of an FFC or LSC write-down: the camera's own correction now shows in the live image,
// so the software one goes off. The panels are not re-read: the written set stays selected.
void finishWriteDown(MainWindow& w, Answer ok, Answer cancel, QCheckBox* simulation)
{
    w.m_progressInfo->hide();
    w.m_progressInfo->setCancelEnabled(true);
    unbindPanel(w, ok, cancel);
    simulation->setChecked(false);
    restartCapture(w);
}

}  // namespace

// ---- Dark field ----

void MainWindow::dsnuProcess()
{
    if (!cameraReady(*this)) return;
    startWorkflow(*this, &MainWindow::dsnuOk, &MainWindow::dsnuCancel, tr("暗场校正执行中..."));
    emit m_cameraServer->IS_DSNUStart(ui->autoDoffsetCheck->isChecked());
}

// The dark field alone shows nothing new in the live image: capture stays off.
void MainWindow::dsnuOk()
{
    endWorkflow(*this, &MainWindow::dsnuOk, &MainWindow::dsnuCancel);
}

void MainWindow::dsnuCancel()
{
    cancelRunning(*this);
    endWorkflow(*this, &MainWindow::dsnuOk, &MainWindow::dsnuCancel);
}

// ---- Bright field ----

void MainWindow::fpnProcess()
{
    if (!cameraReady(*this)) return;
    startWorkflow(*this, &MainWindow::fpnOk, &MainWindow::fpnCancel, tr("明场校正执行中..."));
    emit m_cameraServer->IS_FpnStart();
}

// The new B and K go straight into the software FPN of the live image.
void MainWindow::fpnOk()
{
    endWorkflow(*this, &MainWindow::fpnOk, &MainWindow::fpnCancel);
    ui->applyFpnCheck->setChecked(true);
    m_cameraServer->setFpnEnabled(ui->applyFpnCheck->isChecked());
    restartCapture(*this);
}

void MainWindow::fpnCancel()
{
    cancelRunning(*this);
    endWorkflow(*this, &MainWindow::fpnOk, &MainWindow::fpnCancel);
}

// ---- Writing FPN to the camera ----

void MainWindow::fpnWriteDown()
{
    if (!cameraReady(*this)) return;
    // The factory set is written only by a user with the right to it in FPN.ini.
    const bool factory = ui->fpnSelCBox->currentText() == kFactoryEntry;
    if (factory && !m_cameraServer->factoryMode()) {
        QMessageBox::critical(this, tr("错误"), tr("没有写入Factory参数权限。"));
        return;
    }
    if (!confirmCameraWrite(this, m_cameraServer, CameraServer::WriteKind::Fpn, ui->fpnSelCBox->currentText())) return;
    stopRunningCapture(*this);
    bindPanel(*this, &MainWindow::fpnWriteDownOk, &MainWindow::fpnWriteDownCancel);
    // A write into the camera's memory must not be broken off halfway.
    m_progressInfo->setCancelEnabled(false);
    showPanel(*this, QCoreApplication::translate("MainWindow", kWriteTitle),
              QCoreApplication::translate("MainWindow", kWriteTitle));
    emit m_cameraServer->IS_FpnWriteDown(factory ? 1 : 0);
}

// The camera now corrects by itself: the software FPN goes off and the live image shows the
// camera's own result.
void MainWindow::fpnWriteDownOk()
{
    endWorkflow(*this, &MainWindow::fpnWriteDownOk, &MainWindow::fpnWriteDownCancel);
    m_progressInfo->setCancelEnabled(true);
    ui->applyFpnCheck->setChecked(false);
    restartCapture(*this);
}

void MainWindow::fpnWriteDownCancel()
{
    cancelRunning(*this);
    endWorkflow(*this, &MainWindow::fpnWriteDownOk, &MainWindow::fpnWriteDownCancel);
    m_progressInfo->setCancelEnabled(true);
}

// ---- Exposure test ----

void MainWindow::expTest()
{
    if (!cameraReady(*this)) return;
    if (!m_statisticsWidget) {
        m_statisticsWidget = new StatisticsWidget(this);
        connect(m_cameraServer, &CameraServer::OS_ExpTestFinished, m_statisticsWidget, &StatisticsWidget::dataReady);
    }
    startWorkflow(*this, &MainWindow::expTestOk, &MainWindow::expTestCancel, tr("曝光数据采集中..."));
    emit m_cameraServer->IS_ExpTest(ui->expTotalSBox->value());
}

// The test measures the camera as it is set and changes nothing: no re-reading of the panels.
void MainWindow::expTestOk()
{
    m_progressInfo->hide();
    unbindPanel(*this, &MainWindow::expTestOk, &MainWindow::expTestCancel);
    m_statisticsWidget->show();
}

void MainWindow::expTestCancel()
{
    cancelRunning(*this);
    m_progressInfo->hide();
    unbindPanel(*this, &MainWindow::expTestOk, &MainWindow::expTestCancel);
    if (m_statisticsWidget) m_statisticsWidget->hide();
}

// ---- FPN parameter files ----
//
// Loading: the dialog in the document folder; the file read and checked whole off the window's
// thread (fpnFileCamera before, applyFpnFile after, on this one); a refusal says which check
// failed. Saving: the proposed name "<model>_<serial>_<date>.FAC.FPN", the ending added when the
// operator leaves it out, the file written atomically and the full path told.

namespace {

const QString kFpnFilter = QStringLiteral("*.FAC.FPN");
const QString kFpnEnding = QStringLiteral(".FAC.FPN");

// The message of a refusal: the program's own first line, then what failed.
void fpnFileError(QWidget* parent, const QString& text, const QString& why = QString())
{
    QMessageBox::critical(parent, QCoreApplication::translate("MainWindow", "错误"),
                          why.isEmpty() ? text : text + QLatin1Char('\n') + why);
}

}  // namespace

void MainWindow::loadFpnParams()
{
    if (!m_cameraServer) return;
    const QString path =
        chooseParameterFileToOpen(this, QCoreApplication::translate("MainWindow", "加载FPN参数"), kFpnFilter);
    if (path.isEmpty()) return;
    const FpnCamera camera = m_cameraServer->fpnFileCamera();
    FpnFileContent content;
    runOffGuiThread(this, tr("正在读取FPN参数..."), [&] { content = readFpnFile(path, camera); });
    QString why;
    if (!m_cameraServer->applyFpnFile(content, &why)) {
        fpnFileError(this, tr("加载FPN参数出错，请重试。"), why);
        return;
    }
    // The file has put the camera into its formats and region: the panels show them.
    loadFeatures();
}

void MainWindow::saveFpnParams()
{
    if (!m_cameraServer) return;
    const QString chosen = chooseParameterFileToSave(this, QCoreApplication::translate("MainWindow", "保存FPN参数"),
                                                     m_cameraServer->parameterFileStem() + kFpnEnding, kFpnFilter);
    if (chosen.isEmpty()) return;
    const QString path = QFileInfo(withEnding(chosen, kFpnEnding)).absoluteFilePath();
    if (!confirmOverwrite(this, chosen, path)) return;
    QString why;
    if (!m_cameraServer->saveFpnFile(path, &why)) {
        fpnFileError(this, tr("保存FPN参数出错，请重试。"), why);
        return;
    }
    m_recorder->fileSaved(QStringLiteral("save-fpn"), {path});
    QMessageBox::information(this, tr("保存成功"), tr("FPN参数已保存至 %1").arg(path));
}

void MainWindow::exportFpnParams()
{
    if (!m_cameraServer) return;
    const QString path = chooseParameterFileToSave(this, QCoreApplication::translate("MainWindow", "导出FPN参数"),
                                                   m_cameraServer->parameterFileStem() + kFpnEnding, kFpnFilter);
    if (path.isEmpty()) return;
    if (!m_cameraServer->exportFpnFile(path)) fpnFileError(this, tr("导出FPN参数出错，请重试。"));
}

// ---- FFC: run and write-down (the source picture, files and gains: mainwindow_ffc.cpp) ----

void MainWindow::applyFFC()
{
    if (!m_cameraServer) return;
    const float rate =
        targetRate(ui->customRBut, ui->customRangeSBox->value(), ui->customLumRBut, ui->customLumRangeSBox->value());
    // A new run starts from its own gains: the adjustment of the last one is dropped.
    m_ffcSavedKList.clear();
    ui->bFfcAdjustSBox->setValue(1.0);
    ui->gFfcAdjustSBox->setValue(1.0);
    ui->rFfcAdjustSBox->setValue(1.0);
    ui->grayffcAdjustSBox->setValue(1.0);

    bindPanel(*this, &MainWindow::ffcOk, &MainWindow::ffcCancel);
    showPanel(*this, tr("平场校正执行中..."), tr("开始执行平场校正..."));
    stopRunningCapture(*this);
    // Copies: the picture on show may change while the worker computes.
    emit m_cameraServer->IS_ApplyFFC(m_srcImg.clone(), m_staticMat.clone(), rate);
}

// The gains are tried in software on the live image at once, and become editable and savable.
void MainWindow::ffcOk()
{
    endWorkflow(*this, &MainWindow::ffcOk, &MainWindow::ffcCancel);
    ui->ffcKListCheck->setEnabled(true);
    ui->ffcSaveBut->setEnabled(true);
    ui->ffcBgrAdjustWidget->setEnabled(true);
    ui->ffcGrayAdjustWidget->setEnabled(true);
    m_ffcSavedKList = m_cameraServer->m_ffcKList;
    ui->ffcCheck->setChecked(true);
    // Refused when the gains don't fit the image as it is now (no run, or another ROI).
    if (!m_cameraServer->setFfcEnabled(true)) ui->ffcCheck->setChecked(false);
    restartCapture(*this);
}

void MainWindow::ffcCancel()
{
    cancelRunning(*this);
    endWorkflow(*this, &MainWindow::ffcOk, &MainWindow::ffcCancel);
}

void MainWindow::ffcWriteDown()
{
    if (!startWriteDown(*this, ui->ffcSelCBox, CameraServer::WriteKind::Ffc, &MainWindow::ffcWriteDownOk,
                        &MainWindow::ffcWriteDownCancel))
        return;
    emit m_cameraServer->IS_FFCWriteDown(ui->ffcSelCBox->currentIndex() - 1, ui->ffcSelCBox->currentText());
}

void MainWindow::ffcWriteDownOk()
{
    finishWriteDown(*this, &MainWindow::ffcWriteDownOk, &MainWindow::ffcWriteDownCancel, ui->ffcCheck);
}

// Unlike the FPN and LSC write-downs, the cancel button is left disabled here; the next
// write-down disables it anyway, and the other workflows never enable it.
void MainWindow::ffcWriteDownCancel()
{
    cancelRunning(*this);
    m_progressInfo->hide();
    unbindPanel(*this, &MainWindow::ffcWriteDownOk, &MainWindow::ffcWriteDownCancel);
}

// The server reports a finished FFC run here; the panel's "确定" does the rest.
void MainWindow::ffcFinished() {}

// Kept for the form; the FFC region follows the camera's ROI.
void MainWindow::setFFCRoi() {}

// ---- LSC ----

void MainWindow::applyLSC()
{
    if (!m_cameraServer) return;
    const float rate = targetRate(ui->lscCustomRBut, ui->lscCustomRangeSBox->value(), ui->lscCustomLumRBut,
                                  ui->lscCustomLumRangeSBox->value());
    bindPanel(*this, &MainWindow::lscOk, &MainWindow::lscCancel);
    showPanel(*this, tr("镜头校正执行中..."), tr("开始执行镜头校正..."));
    // Only now, with the panel up.
    stopRunningCapture(*this);
    emit m_cameraServer->IS_ApplyLSC(rate);
}

void MainWindow::lscOk()
{
    endWorkflow(*this, &MainWindow::lscOk, &MainWindow::lscCancel);
    ui->lscCheck->setChecked(true);
    if (!m_cameraServer->setLscEnabled(true)) ui->lscCheck->setChecked(false);
    restartCapture(*this);
}

void MainWindow::lscCancel()
{
    cancelRunning(*this);
    endWorkflow(*this, &MainWindow::lscOk, &MainWindow::lscCancel);
}

void MainWindow::lscWriteDown()
{
    if (!startWriteDown(*this, ui->lscSelCBox, CameraServer::WriteKind::Lsc, &MainWindow::lscWriteDownOk,
                        &MainWindow::lscWriteDownCancel))
        return;
    emit m_cameraServer->IS_LSCWriteDown(ui->lscSelCBox->currentIndex() - 1, ui->lscSelCBox->currentText());
}

void MainWindow::lscWriteDownOk()
{
    finishWriteDown(*this, &MainWindow::lscWriteDownOk, &MainWindow::lscWriteDownCancel, ui->lscCheck);
}

void MainWindow::lscWriteDownCancel()
{
    cancelRunning(*this);
    m_progressInfo->hide();
    m_progressInfo->setCancelEnabled(true);
    unbindPanel(*this, &MainWindow::lscWriteDownOk, &MainWindow::lscWriteDownCancel);
}

// ---- Restoring a backup ----

void MainWindow::restoreProcess()
{
    if (!cameraReady(*this)) return;
    const QString path = QFileDialog::getOpenFileName(this, tr("恢复写入前参数"), CameraServer::backupFolder(),
                                                      tr("写入前备份 (%1)").arg(kBackupFilter));
    if (path.isEmpty()) return;
    CameraBackup backup;
    QString error;
    if (!loadBackupFile(path, backup, error)) {
        QMessageBox::critical(this, tr("错误"), error);
        return;
    }
    if (backup.set == kFactoryEntry && !m_cameraServer->factoryMode()) {
        QMessageBox::critical(this, tr("错误"), tr("没有写入Factory参数权限。"));
        return;
    }
    if (!confirmRestore(this, m_cameraServer, path, backup)) return;
    stopRunningCapture(*this);
    bindPanel(*this, &MainWindow::restoreOk, &MainWindow::restoreCancel);
    // A write into the camera's memory must not be broken off halfway.
    m_progressInfo->setCancelEnabled(false);
    showPanel(*this, QCoreApplication::translate("MainWindow", kWriteTitle),
              QCoreApplication::translate("MainWindow", "恢复写入前参数..."));
    emit m_cameraServer->IS_RestoreBackup(path);
}

// The restored set is the camera's own correction again: the live image shows it, and the
// panels show its selection.
void MainWindow::restoreOk()
{
    endWorkflow(*this, &MainWindow::restoreOk, &MainWindow::restoreCancel);
    m_progressInfo->setCancelEnabled(true);
    restartCapture(*this);
}

void MainWindow::restoreCancel()
{
    cancelRunning(*this);
    endWorkflow(*this, &MainWindow::restoreOk, &MainWindow::restoreCancel);
    m_progressInfo->setCancelEnabled(true);
}
