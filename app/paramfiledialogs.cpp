// The window's way to the parameter files (paramfiledialogs.h).
#include "app/paramfiledialogs.h"

#include "camera/tables.h"

#include <QCoreApplication>
#include <QDir>
#include <QEventLoop>
#include <QFileDialog>
#include <QFileInfo>
#include <QMessageBox>
#include <QProgressDialog>
#include <QThread>
#include <QTimer>

#include <memory>

namespace {

// A busy dialog only for a read that takes longer than this: a small file shows nothing.
constexpr int kBusyAfterMs = 300;

}  // namespace

QString chooseParameterFileToOpen(QWidget* parent, const QString& caption, const QString& filter)
{
    return QFileDialog::getOpenFileName(parent, caption, documentDir(), filter);
}

QString chooseParameterFileToSave(QWidget* parent, const QString& caption, const QString& proposedName,
                                  const QString& filter)
{
    return QFileDialog::getSaveFileName(parent, caption, QDir(documentDir()).filePath(proposedName), filter);
}

bool confirmOverwrite(QWidget* parent, const QString& chosen, const QString& path)
{
    if (QFileInfo(chosen) == QFileInfo(path) || !QFileInfo::exists(path)) return true;
    return QMessageBox::question(parent, QCoreApplication::translate("ParamFileDialogs", "文件已存在"),
                                 QCoreApplication::translate("ParamFileDialogs", "文件 %1 已存在，是否覆盖？")
                                     .arg(QFileInfo(path).absoluteFilePath()),
                                 QMessageBox::Yes | QMessageBox::No, QMessageBox::No)
           == QMessageBox::Yes;
}

void runOffGuiThread(QWidget* parent, const QString& text, const std::function<void()>& work)
{
    QProgressDialog busy(text, QString(), 0, 0, parent);
    busy.setWindowTitle(text);
    busy.setCancelButton(nullptr);
    busy.setWindowModality(Qt::WindowModal);
    busy.setAutoClose(false);
    busy.setAutoReset(false);
    // Shown by this timer alone (the dialog's own one waits for a value that never comes).
    busy.setMinimumDuration(24 * 3600 * 1000);
    QTimer::singleShot(kBusyAfterMs, &busy, [&busy] { busy.show(); });

    QEventLoop loop;
    std::unique_ptr<QThread> thread(QThread::create(work));
    QObject::connect(thread.get(), &QThread::finished, &loop, &QEventLoop::quit, Qt::QueuedConnection);
    thread->start();
    loop.exec(QEventLoop::ExcludeUserInputEvents);
    thread->wait();
}
