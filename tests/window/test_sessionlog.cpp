// The session log: its lines, one file per day written as entries come, the export, a folder
// that cannot be written; and in the window, a real dark field on the simulated camera whose
// every report, and the operator's answer, stand in the day's file.
#include "common/threadspy.h"
#include "panels/windowharness.h"
#include "ui_mainwindow.h"

#include "app/scenecontrol.h"
#include "app/sessionlog.h"

#include <QCheckBox>
#include <QDir>
#include <QPlainTextEdit>
#include <QSettings>
#include <QSignalSpy>
#include <QTemporaryDir>
#include <QTextEdit>

namespace {

QString readAll(const QString& path)
{
    QFile f(path);
    if (!f.open(QIODevice::ReadOnly)) return QString();
    return QString::fromUtf8(f.readAll());
}

SessionEntry at(const QString& when, const QString& source, const QString& text, int progress = -1)
{
    return SessionEntry{QDateTime::fromString(when, Qt::ISODateWithMs), source, progress, text};
}

}  // namespace

class TestSessionLog : public QObject {
    Q_OBJECT

private slots:
    void initTestCase()
    {
        const QString failed = harness::bindSimulator();
        QVERIFY2(failed.isEmpty(), qPrintable(failed));
    }

    void cleanupTestCase() { lsx::unbindLibrary(); }

    void lineOfAnEntry()
    {
        QCOMPARE(SessionLog::line(at("2026-11-24T10:15:42.123", "暗场校正执行中...", "暗场校正-开始", 5)),
                 QStringLiteral("10:15:42.123  [暗场校正执行中...] 5% 暗场校正-开始"));
        // A text of several lines goes on indented below its first line; no source, no progress.
        QCOMPARE(SessionLog::line(at("2026-11-24T08:00:00.000", "", "第一行\n第二行")),
                 QStringLiteral("08:00:00.000  第一行\n              第二行"));
    }

    void oneFilePerDayWrittenAsEntriesCome()
    {
        QTemporaryDir dir;
        const QString folder = dir.filePath(QStringLiteral("logs"));
        SessionLog log(folder);
        QSignalSpy added(&log, &SessionLog::entryAdded);
        log.append(at("2026-11-24T23:59:59.500", "相机", "已连接：SIM-LS4096-M"));
        // Written at once: a crash after this loses nothing.
        const QString first = log.dayFile(QDate(2026, 11, 24));
        QCOMPARE(QFileInfo(first).fileName(), QStringLiteral("lsxcalib_2026-11-24.log"));
        QVERIFY(readAll(first).contains(QStringLiteral("23:59:59.500  [相机] 已连接：SIM-LS4096-M\n")));
        // Past midnight the next day's file.
        log.append(at("2026-11-25T00:00:00.250", "明场校正执行中...", "明场校正-完成", 100));
        const QString second = log.dayFile(QDate(2026, 11, 25));
        QVERIFY(readAll(second).contains(QStringLiteral("00:00:00.250  [明场校正执行中...] 100% 明场校正-完成\n")));
        QVERIFY(!readAll(first).contains(QStringLiteral("明场校正")));
        QCOMPARE(added.count(), 2);
        QCOMPARE(log.entries().size(), 2);

        // A second run of the same day appends.
        SessionLog later(folder);
        later.append(at("2026-11-25T09:00:00.000", "相机", "已断开：SIM-LS4096-M"));
        const QString both = readAll(second);
        QVERIFY(both.contains(QStringLiteral("明场校正-完成")));
        QVERIFY(both.indexOf(QStringLiteral("已断开")) > both.indexOf(QStringLiteral("明场校正-完成")));
    }

    void exportHoldsEveryEntryWithItsDate()
    {
        QTemporaryDir dir;
        SessionLog log(dir.filePath(QStringLiteral("logs")));
        log.append(at("2026-11-24T10:00:00.000", "A", "一"));
        log.append(at("2026-11-25T10:00:00.000", "B", "二"));
        const QString path = dir.filePath(QStringLiteral("export.log"));
        QString error;
        QVERIFY(log.exportTo(path, &error));
        const QString text = readAll(path);
        QVERIFY(text.contains(QStringLiteral("---- 2026-11-24 ----\n10:00:00.000  [A] 一\n")));
        QVERIFY(text.contains(QStringLiteral("---- 2026-11-25 ----\n10:00:00.000  [B] 二\n")));

        // A place that cannot be written: refused with a reason, the earlier file left whole.
        QVERIFY(!log.exportTo(dir.filePath(QStringLiteral("missing/folder/export.log")), &error));
        QVERIFY(!error.isEmpty());
        QCOMPARE(readAll(path), text);

        // The window's export says where it wrote.
        SessionLogWindow window(&log);
        QCOMPARE(window.textEdit()->toPlainText().count(QLatin1Char('\n')), 1);
        harness::BoxCatcher boxes;
        const QString again = dir.filePath(QStringLiteral("again.log"));
        QVERIFY(window.exportTo(again));
        QTRY_COMPARE(boxes.boxes().size(), 1);
        QCOMPARE(boxes.boxes().first().text, QStringLiteral("日志已导出至 %1").arg(QDir::toNativeSeparators(again)));
        QCOMPARE(readAll(again), text);
    }

    void unwritableFolderIsToldOnce()
    {
        QTemporaryDir dir;
        // A file where the folder should be.
        const QString blocked = dir.filePath(QStringLiteral("logs"));
        QFile file(blocked);
        QVERIFY(file.open(QIODevice::WriteOnly));
        file.close();
        SessionLog log(blocked);
        QSignalSpy failed(&log, &SessionLog::writeFailed);
        log.append(QStringLiteral("相机"), QStringLiteral("一"));
        log.append(QStringLiteral("相机"), QStringLiteral("二"));
        QCOMPARE(failed.count(), 1);
        QVERIFY(failed.first().at(0).toString().startsWith(QStringLiteral("无法写入日志文件")));
        // The entries are kept for the window and the export all the same.
        QCOMPARE(log.entries().size(), 2);
    }

    // The log file holds every report of a dark field run from the window, in order, and the
    // operator's answer after them; the live image comes back afterwards.
    void logFileHoldsEveryReportOfADarkField()
    {
        harness::WindowFixture f;
        f.w = harness::makeWindow();
        {
            QSettings ini(fpnIniPath(), QSettings::IniFormat);
            ini.setValue(FpnIni::GainMin, 1.0);
            ini.setValue(FpnIni::GainMax, 1.0);
        }
        QCOMPARE(lsx::sim::api().setTimeScale(nullptr, 0.05), LSX_OK);
        QVERIFY(f.connectCamera(QStringLiteral("SIM-LS4096-M")));
        QTRY_VERIFY_WITH_TIMEOUT(f.ui()->startBut->isChecked(), 3000);
        QCOMPARE(lsx::sim::api().setScene("SIM-LS4096-M", LSX_SIM_SCENE_DARK, 0.0, -1.0, -1.0), LSX_OK);
        f.ui()->autoDoffsetCheck->setChecked(true);

        ThreadSpy reports(f.server(), &CameraServer::OS_FpnInfo);
        QTest::mouseClick(f.ui()->dsnuProcessBut, Qt::LeftButton);
        QTRY_VERIFY_WITH_TIMEOUT(!reports.isEmpty() && reports.last().at(0).toInt() >= 100, 30000);
        QCOMPARE(reports.last().at(0).toInt(), 100);
        QTRY_VERIFY(f.defineBut()->isVisible());
        QTest::mouseClick(f.defineBut(), Qt::LeftButton);
        QTRY_VERIFY(f.ui()->startBut->isChecked());

        const QString file = f.w->m_sessionLog->dayFile(QDate::currentDate());
        const QString text = readAll(file);
        QVERIFY2(!text.isEmpty(), qPrintable(file));
        int from = 0, logged = 0;
        for (const QList<QVariant>& r : std::as_const(reports)) {
            const QString info = r.at(1).toString().trimmed();
            if (info.isEmpty()) continue;
            const QString expected = QStringLiteral("[暗场校正执行中...] %1% %2")
                                         .arg(r.at(0).toInt())
                                         .arg(info.section(QLatin1Char('\n'), 0, 0));
            const int found = text.indexOf(expected, from);
            QVERIFY2(found >= 0, qPrintable(QStringLiteral("not in the log after %1: %2").arg(from).arg(expected)));
            from = found + expected.size();
            ++logged;
        }
        QVERIFY2(logged >= 5, "a dark field reports its steps");
        QVERIFY(text.indexOf(QStringLiteral("[暗场校正执行中...] 操作员：确定"), from) > 0);
        // The log window shows the same lines.
        f.w->m_logBut->click();
        QVERIFY(f.w->m_sessionLogWindow->isVisible());
        QVERIFY(f.w->m_sessionLogWindow->textEdit()->toPlainText().contains(QStringLiteral("操作员：确定")));
    }
};

QTEST_MAIN(TestSessionLog)
#include "test_sessionlog.moc"
