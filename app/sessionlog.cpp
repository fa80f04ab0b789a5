#include "sessionlog.h"

#include <QCoreApplication>
#include <QDir>
#include <QFileDialog>
#include <QHBoxLayout>
#include <QLabel>
#include <QMessageBox>
#include <QPlainTextEdit>
#include <QPushButton>
#include <QSaveFile>
#include <QScrollBar>
#include <QVBoxLayout>

namespace {

const QString kTimeFormat = QStringLiteral("hh:mm:ss.zzz");
const QString kIndent = QStringLiteral("              ");

}  // namespace

SessionLog::SessionLog(const QString& folder, QObject* parent) : QObject(parent), m_folder(folder) {}

void SessionLog::append(const QString& source, const QString& text, int progress)
{
    append(SessionEntry{QDateTime::currentDateTime(), source, progress, text});
}

void SessionLog::append(const SessionEntry& entry)
{
    m_entries.append(entry);
    writeToDayFile(entry);
    emit entryAdded(entry);
}

QString SessionLog::dayFile(const QDate& day) const
{
    return QDir(m_folder).filePath(QStringLiteral("lsxcalib_%1.log").arg(day.toString(QStringLiteral("yyyy-MM-dd"))));
}

QString SessionLog::line(const SessionEntry& e)
{
    QString head = e.when.toString(kTimeFormat) + QStringLiteral("  ");
    if (!e.source.isEmpty()) head += QStringLiteral("[%1] ").arg(e.source);
    if (e.progress >= 0) head += QStringLiteral("%1% ").arg(e.progress);
    QString body = e.text.trimmed();
    body.replace(QLatin1Char('\n'), QLatin1Char('\n') + kIndent);
    return head + body;
}

void SessionLog::writeToDayFile(const SessionEntry& entry)
{
    // A new day starts a new file, also in the middle of a run.
    const QDate day = entry.when.date();
    if (!m_file.isOpen() || m_fileDay != day) {
        m_file.close();
        m_fileDay = day;
        m_file.setFileName(dayFile(day));
        QDir().mkpath(m_folder);
        if (!m_file.open(QIODevice::WriteOnly | QIODevice::Append | QIODevice::Text)) {
            tellWriteFailure();
            return;
        }
        m_file.write(
            QStringLiteral("---- %1 ----\n").arg(entry.when.toString(QStringLiteral("yyyy-MM-dd hh:mm:ss"))).toUtf8());
    }
    const QByteArray bytes = (line(entry) + QLatin1Char('\n')).toUtf8();
    if (m_file.write(bytes) != bytes.size() || !m_file.flush()) tellWriteFailure();
}

void SessionLog::tellWriteFailure()
{
    if (m_failedFile == m_file.fileName()) return;
    m_failedFile = m_file.fileName();
    emit writeFailed(
        tr("无法写入日志文件 %1：%2").arg(QDir::toNativeSeparators(m_file.fileName()), m_file.errorString()));
}

bool SessionLog::exportTo(const QString& path, QString* error) const
{
    QSaveFile out(path);
    if (!out.open(QIODevice::WriteOnly | QIODevice::Text)) {
        if (error) *error = out.errorString();
        return false;
    }
    QDate day;
    for (const SessionEntry& e : m_entries) {
        if (e.when.date() != day) {
            day = e.when.date();
            out.write(QStringLiteral("---- %1 ----\n").arg(day.toString(QStringLiteral("yyyy-MM-dd"))).toUtf8());
        }
        out.write((line(e) + QLatin1Char('\n')).toUtf8());
    }
    if (!out.commit()) {
        if (error) *error = out.errorString();
        return false;
    }
    return true;
}

// ---- The window ----

SessionLogWindow::SessionLogWindow(SessionLog* log, QWidget* parent) : QWidget(parent, Qt::Window), m_log(log)
{
    setObjectName(QStringLiteral("SessionLogWindow"));
    setWindowTitle(tr("运行日志"));
    resize(820, 480);

    m_fileLabel = new QLabel(tr("自动保存至：%1").arg(QDir::toNativeSeparators(log->dayFile(QDate::currentDate()))));
    m_fileLabel->setObjectName(QStringLiteral("logFileLabel"));
    m_fileLabel->setTextInteractionFlags(Qt::TextSelectableByMouse);
    m_text = new QPlainTextEdit;
    m_text->setObjectName(QStringLiteral("logEdit"));
    m_text->setReadOnly(true);
    m_text->setLineWrapMode(QPlainTextEdit::NoWrap);
    m_exportBut = new QPushButton(tr("导出"));
    m_exportBut->setObjectName(QStringLiteral("logExportBut"));

    auto* bottom = new QHBoxLayout;
    bottom->addWidget(m_fileLabel, 1);
    bottom->addWidget(m_exportBut);
    auto* layout = new QVBoxLayout(this);
    layout->setContentsMargins(6, 6, 6, 6);
    layout->addWidget(m_text, 1);
    layout->addLayout(bottom);

    for (const SessionEntry& e : log->entries()) add(e);
    connect(log, &SessionLog::entryAdded, this, &SessionLogWindow::add);
    connect(m_exportBut, &QPushButton::clicked, this, &SessionLogWindow::exportAs);
}

void SessionLogWindow::add(const SessionEntry& entry)
{
    QScrollBar* bar = m_text->verticalScrollBar();
    const bool atEnd = bar->value() == bar->maximum();
    m_text->appendPlainText(SessionLog::line(entry));
    if (atEnd) bar->setValue(bar->maximum());
    m_fileLabel->setText(tr("自动保存至：%1").arg(QDir::toNativeSeparators(m_log->dayFile(entry.when.date()))));
}

void SessionLogWindow::exportAs()
{
    const QString proposed = QDir(m_log->folder())
                                 .filePath(QStringLiteral("lsxcalib_session_%1.log")
                                               .arg(QDateTime::currentDateTime().toString("yyyyMMdd_hhmmss")));
    const QString path = QFileDialog::getSaveFileName(this, tr("导出日志"), proposed, tr("日志文件 (*.log *.txt)"));
    if (path.isEmpty()) return;
    exportTo(path);
}

bool SessionLogWindow::exportTo(const QString& path)
{
    QString error;
    if (!m_log->exportTo(path, &error)) {
        QMessageBox::critical(this, tr("错误"), tr("日志导出失败：%1\n%2").arg(QDir::toNativeSeparators(path), error));
        return false;
    }
    QMessageBox::information(this, tr("导出成功"), tr("日志已导出至 %1").arg(QDir::toNativeSeparators(path)));
    return true;
}
