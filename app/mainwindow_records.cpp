// MainWindow: the calibration records. Every workflow's run and every file saved from the window
// leaves a record (RunRecorder listens to the server by itself: the workflow slots stay as they
// are); "历史记录" beside "帮助" opens the history of the connected camera.
#include "mainwindow.h"
#include "ui_mainwindow.h"

#include "app/historywindow.h"
#include "app/runrecorder.h"
#include "app/verifywindow.h"
#include "camera/cameraserver.h"
#include "camera/tables.h"

#include <QBoxLayout>
#include <QPushButton>

void MainWindow::setupRecords()
{
    m_recorder = new RunRecorder(m_cameraServer, this);
    // Nothing is lost without the operator hearing of it.
    connect(m_recorder, &RunRecorder::recordLost, this, &MainWindow::showCameraWarning);
    connect(m_recorder, &RunRecorder::delivered, this, [this] {
        if (m_historyWindow && m_historyWindow->isVisible()) m_historyWindow->refresh();
    });
    if (m_verifyWindow)
        connect(m_verifyWindow, &VerifyWindow::reportSaved, this, [this](const QString& pdf, const QString& json) {
            m_recorder->fileSaved(QStringLiteral("save-report"), {pdf, json});
        });

    m_historyBut = new QPushButton(tr("历史记录"), ui->centralwidget);
    m_historyBut->setObjectName(QStringLiteral("historyBut"));
    ui->horizontalLayout->addWidget(m_historyBut);
    connect(m_historyBut, &QPushButton::clicked, this, &MainWindow::showHistory);
}

void MainWindow::showHistory()
{
    if (!m_historyWindow) m_historyWindow = new HistoryWindow(this);
    // The connected camera's runs; without a camera the serial shown last stays.
    QString serial = m_historyWindow->serial();
    if (m_cameraServer && m_cameraServer->m_opened) {
        const lsxCameraInfo info = m_cameraServer->cameraInfo(m_cameraServer->cameraName());
        serial = cameraInfoText(info.serialNumber, sizeof info.serialNumber);
    }
    m_historyWindow->setSerial(serial);
    m_historyWindow->show();
    m_historyWindow->raise();
    m_historyWindow->activateWindow();
    // Whatever waits in the spool goes now; the window refreshes when it has gone.
    m_recorder->sendNow();
}
