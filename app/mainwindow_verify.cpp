// MainWindow: the calibration verification, from the "校正验证" button of the FPN tab to the
// result window.
//
// It follows the workflow pattern: verifyProcess stops capture, binds the progress panel to
// verifyOk and verifyCancel, shows it and fires IS_VerifyStart. Twice the run asks the operator
// to do something (light the flat target, cover the lens): its question is written in the panel
// and "继续", in the panel's button row while a question is open, answers it; meanwhile the
// camera's image, sent by the run, is shown as live. On the simulated camera the scene control
// comes up with each question and stays usable while the panel waits (the operator covers the
// lens there and sees it in the live image); "继续" also sets the scene the question asks for (the
// scene control shows it), as the runner's --yes does. "确定" after the
// closing report shows the result window; "取消" cancels, also while a question is open. The run
// puts the camera back as it found it, so nothing is re-read into the panels, and capture stays
// off as after the exposure test.
#include "mainwindow.h"
#include "ui_mainwindow.h"

#include "app/progressinfowidget.h"
#include "app/scenecontrol.h"
#include "app/verifywindow.h"
#include "camera/cameraserver.h"
#include "loader.h"

#include <QBoxLayout>
#include <QCoreApplication>
#include <QMessageBox>
#include <QPushButton>

namespace {

const char* const kVerifyTitle = QT_TRANSLATE_NOOP("MainWindow", "校正验证执行中...");

}  // namespace

void MainWindow::setupVerify()
{
    m_verifyBut = new QPushButton(tr("校正验证"), ui->groupBox_2);
    m_verifyBut->setObjectName(QStringLiteral("verifyBut"));
    // Beside the dark and bright fields, in view without scrolling on a 1366 x 768 screen.
    ui->horizontalLayout_18->addWidget(m_verifyBut);
    connect(m_verifyBut, &QPushButton::clicked, this, &MainWindow::verifyProcess);

    // The panel's own row holds "确定" and "取消"; "继续" goes in front of them, shown only while
    // the run waits for an answer.
    m_verifyContinueBut = new QPushButton(tr("继续"), m_progressInfo);
    m_verifyContinueBut->setObjectName(QStringLiteral("verifyContinueBut"));
    m_verifyContinueBut->setMinimumHeight(30);
    m_verifyContinueBut->hide();
    if (auto* row = m_progressInfo->findChild<QBoxLayout*>(QStringLiteral("horizontalLayout_3")))
        row->insertWidget(0, m_verifyContinueBut);
    connect(m_verifyContinueBut, &QPushButton::clicked, this, &MainWindow::verifyContinue);

    m_verifyWindow = new VerifyWindow(this);
    connect(m_cameraServer, &CameraServer::OS_VerifyAsk, this, &MainWindow::verifyAsked);
    // The run's frames while a question is open, shown although capture is off (received in the
    // panel's context: the picture's own slot takes the server's frames only while capturing).
    // They are the camera's frames as live ones are: a picture loaded as the flat field's source,
    // and the colour statistics of an earlier frame, go.
    connect(m_cameraServer, &CameraServer::OS_VerifyFrame, m_progressInfo, [this](QPixmap pixmap, cv::Mat staticMat) {
        if (m_verifyStep < 0) return;
        m_srcImg.release();
        m_scsChannels.clear();
        showPicture(pixmap, staticMat);
    });
    connect(m_cameraServer, &CameraServer::OS_VerifyFinished, m_verifyWindow, &VerifyWindow::setReport);
}

void MainWindow::verifyProcess()
{
    if (!m_cameraServer || !m_cameraServer->m_opened) {
        QMessageBox::critical(this, tr("错误"), tr("没有连接上相机。"));
        return;
    }
    if (ui->startBut->isChecked()) {
        m_cameraServer->stopCapture();
        ui->startBut->setChecked(false);
        ui->startBut->setText(tr("采图"));
    }
    connect(m_progressInfo, &ProgressInfoWidget::defined, this, &MainWindow::verifyOk, Qt::UniqueConnection);
    connect(m_progressInfo, &ProgressInfoWidget::canceled, this, &MainWindow::verifyCancel, Qt::UniqueConnection);
    m_verifyStep = -1;
    m_verifyContinueBut->hide();
    m_progressInfo->setWindowTitle(tr(kVerifyTitle));
    m_progressInfo->show();
    m_progressInfo->showProgressInfo(0, tr(kVerifyTitle));
    emit m_cameraServer->IS_VerifyStart();
}

void MainWindow::verifyAsked(int step, QString)
{
    // The question itself is in the panel already, through the run's report.
    m_verifyStep = step;
    m_verifyContinueBut->show();
    m_verifyContinueBut->setFocus();
    // On the simulated camera the scene control comes up beside the panel, usable while it waits.
    if (lsx::hasSceneControl()) showSceneControl();
}

void MainWindow::verifyContinue()
{
    m_verifyContinueBut->hide();
    // Question 1 is the lens cap, 2 the lit target. A scene that cannot be set is left to the
    // run, which refuses a lit dark or a dark lit stage with its own message.
    if (lsx::hasSceneControl()) {
        const std::string camera = m_cameraServer->cameraName().toStdString();
        lsx::Scene scene;
        if (lsx::getScene(camera, scene) == LSX_OK) {
            scene.kind = m_verifyStep == 1 ? 0 : 1;  // dark, flat target
            lsx::setScene(camera, scene);
        }
        if (m_sceneControl) m_sceneControl->setCamera(m_cameraServer->cameraName());
    }
    m_cameraServer->verifyAnswer(m_verifyStep, true);
    m_verifyStep = -1;
}

void MainWindow::verifyOk()
{
    m_progressInfo->hide();
    m_verifyContinueBut->hide();
    disconnect(m_progressInfo, &ProgressInfoWidget::defined, this, &MainWindow::verifyOk);
    disconnect(m_progressInfo, &ProgressInfoWidget::canceled, this, &MainWindow::verifyCancel);
    m_verifyWindow->show();
    m_verifyWindow->raise();
    m_verifyWindow->activateWindow();
}

void MainWindow::verifyCancel()
{
    m_cameraServer->cancel();
    m_progressInfo->showProgressInfo(0, tr("取消操作。"));
    m_progressInfo->hide();
    m_verifyContinueBut->hide();
    m_verifyStep = -1;
    disconnect(m_progressInfo, &ProgressInfoWidget::defined, this, &MainWindow::verifyOk);
    disconnect(m_progressInfo, &ProgressInfoWidget::canceled, this, &MainWindow::verifyCancel);
}
