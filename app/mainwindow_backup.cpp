// MainWindow: the question before every write into the camera, and "恢复写入前参数".
//
// Every write-down (FPN, FFC, LSC) asks first: the question names the camera, the set about to be
// overwritten and the backup file the write will keep of it, or says that the camera cannot read
// that set back, so that it cannot be restored; "写入" goes on, "取消" writes nothing. The backup
// itself is read and saved on the worker just before the first record (CameraServer).
// "恢复写入前参数" on the FPN tab opens a backup file (in the document folder's backup folder),
// checks it, asks in the same way, and runs the restore as a workflow (restoreProcess, in
// mainwindow_workflows.cpp).
#include "app/writeconfirm.h"
#include "mainwindow.h"
#include "ui_mainwindow.h"

#include <QBoxLayout>
#include <QCoreApplication>
#include <QMessageBox>
#include <QPushButton>

namespace {

QString kindWords(CameraServer::WriteKind kind)
{
    switch (kind) {
    case CameraServer::WriteKind::Fpn: return QStringLiteral("FPN");
    case CameraServer::WriteKind::Ffc: return QCoreApplication::translate("MainWindow", "平场（FFC）");
    case CameraServer::WriteKind::Lsc: return QCoreApplication::translate("MainWindow", "镜头校正（LSC）");
    }
    return QString();
}

// What the write keeps of the set, as the question ends.
QString keptWords(const CameraServer::BackupPlan& plan)
{
    if (plan.path.isEmpty())
        return QCoreApplication::translate("MainWindow", "无法备份：%1。写入后不能恢复原有参数。").arg(plan.reason);
    return QCoreApplication::translate("MainWindow", "写入前该参数组的内容将备份到：\n%1\n可用“恢复写入前参数”写回。")
        .arg(plan.path);
}

// "写入" or "取消", "取消" the default: only an explicit "写入" writes.
bool ask(QWidget* parent, const QString& text)
{
    QMessageBox box(QMessageBox::Question, QCoreApplication::translate("MainWindow", kWriteQuestionTitle), text,
                    QMessageBox::NoButton, parent);
    QPushButton* write = box.addButton(QCoreApplication::translate("MainWindow", "写入"), QMessageBox::AcceptRole);
    QPushButton* cancel = box.addButton(QCoreApplication::translate("MainWindow", "取消"), QMessageBox::RejectRole);
    box.setDefaultButton(cancel);
    box.setEscapeButton(cancel);
    box.exec();
    return box.clickedButton() == write;
}

}  // namespace

bool confirmCameraWrite(QWidget* parent, CameraServer* server, CameraServer::WriteKind kind, const QString& set)
{
    const CameraServer::BackupPlan plan = server->planBackup(kind, set);
    const QString camera =
        server->m_opened ? server->cameraName() : QCoreApplication::translate("MainWindow", "（未连接）");
    return ask(parent, QCoreApplication::translate("MainWindow", "将覆盖相机 %1 的%2参数组“%3”。\n\n%4")
                           .arg(camera, kindWords(kind), set, keptWords(plan)));
}

bool confirmRestore(QWidget* parent, CameraServer* server, const QString& file, const CameraBackup& backup)
{
    const CameraServer::WriteKind kind =
        backup.kind == CameraBackup::Kind::Fpn ? CameraServer::WriteKind::Fpn : CameraServer::WriteKind::Ffc;
    const CameraServer::BackupPlan plan = server->planBackup(kind, backup.set);
    return ask(parent, QCoreApplication::translate("MainWindow", "将用 %1 备份的 %2 写回相机 %3 的%4参数组“%5”。\n\n%6")
                           .arg(backup.time.toString(QStringLiteral("yyyy-MM-dd HH:mm:ss")), file, server->cameraName(),
                                kindWords(kind), backup.set, keptWords(plan)));
}

void MainWindow::setupBackup()
{
    m_restoreBut = new QPushButton(tr("恢复写入前参数"), ui->groupBox_2);
    m_restoreBut->setObjectName(QStringLiteral("restoreBut"));
    if (auto* column = qobject_cast<QBoxLayout*>(ui->groupBox_2->layout())) column->addWidget(m_restoreBut);
    connect(m_restoreBut, &QPushButton::clicked, this, &MainWindow::restoreProcess);
}
