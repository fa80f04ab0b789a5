// The window's records and "历史记录", on the offscreen platform with the simulated camera: two
// verifications run from the FPN tab leave two records of the camera's serial; the button beside
// "帮助" opens the history on that serial with both runs listed and the trend chart holding two
// points each of residual PRNU and DSNU, equal to the verifications' figures; a run's figures and
// report shown; a saved verification report recorded with its files' SHA-256; a dark field run
// while the database does not answer completes, waits in the spool and appears in the history
// once the database is back; "导出CSV" writes one row per run. With LSX_SCREENSHOT_DIR set, the
// history window is saved there as history_window.png for a person to look at.
#include "calibration/simharness.h"

#include "app/historywindow.h"
#include "app/mainwindow.h"
#include "app/progressinfowidget.h"
#include "app/runrecorder.h"
#include "app/verifyreport.h"
#include "app/verifywindow.h"
#include "records/recordspool.h"
#include "records/recordstore.h"

#include <QApplication>
#include <QComboBox>
#include <QFileDialog>
#include <QLabel>
#include <QLineEdit>
#include <QPushButton>
#include <QTableWidget>
#include <QTextBrowser>
#include <QTextEdit>
#include <QTimer>
#include <QtCharts/QChartView>
#include <QtCharts/QLineSeries>

namespace {

const char* kCamera = "SIM-LS4096-M";
const char* kSerial = "SN-GUI-7";

// Answers the next file dialog with `path`, from the event loop the dialog runs.
void answerFileDialog(const QString& path, int triesLeft = 500)
{
    QTimer::singleShot(10, qApp, [path, triesLeft] {
        if (auto* dialog = qobject_cast<QFileDialog*>(QApplication::activeModalWidget())) {
            if (auto* name = dialog->findChild<QLineEdit*>(QStringLiteral("fileNameEdit"))) name->setText(path);
            QMetaObject::invokeMethod(dialog, "accept", Qt::DirectConnection);
            return;
        }
        if (triesLeft > 0) answerFileDialog(path, triesLeft - 1);
    });
}

QLineSeries* seriesNamed(QChartView* view, const QString& name)
{
    for (QAbstractSeries* s : view->chart()->series())
        if (s->objectName() == name) return qobject_cast<QLineSeries*>(s);
    return nullptr;
}

}  // namespace

class TestHistoryWindow : public QObject, SimHarness {
    Q_OBJECT

    std::unique_ptr<MainWindow> m_window;
    QTemporaryDir m_out;
    QList<double> m_prnu, m_dsnu;  // of the verifications run, in order

    CameraServer* server() const { return m_window->m_cameraServer; }
    ProgressInfoWidget* panel() const { return m_window->m_progressInfo; }
    QPushButton* panelButton(const char* name) const { return panel()->findChild<QPushButton*>(QLatin1String(name)); }
    QString panelText() const { return panel()->findChild<QTextEdit*>(QStringLiteral("contentEdit"))->toPlainText(); }

    // The runs of the camera as the records' database holds them now; -1 when it cannot be read.
    int storedRuns()
    {
        const RecordSettings s = readRecordSettings(fpnIniPath(), documentDir());
        RecordStore store(s.location);
        QList<RunRecord> runs;
        if (!store.open() || !store.runs(QString::fromLatin1(kSerial), runs)) return -1;
        return int(runs.size());
    }

    void verifyOnce()
    {
        QTest::mouseClick(m_window->m_verifyBut, Qt::LeftButton);
        for (int scene : {LSX_SIM_SCENE_DARK, LSX_SIM_SCENE_FLAT}) {
            QTRY_VERIFY_WITH_TIMEOUT(panelButton("verifyContinueBut")->isVisible(), 20000);
            setScene(QString::fromLatin1(kCamera), scene);
            QTest::mouseClick(panelButton("verifyContinueBut"), Qt::LeftButton);
        }
        QTRY_VERIFY_WITH_TIMEOUT(panelButton("defineBut")->isVisible(), 30000);
        QVERIFY2(panelText().contains(QStringLiteral("校正验证完成")), qPrintable(panelText()));
        QTest::mouseClick(panelButton("defineBut"), Qt::LeftButton);
        const VerifyReport& r = m_window->m_verifyWindow->report();
        QCOMPARE(r.planes.size(), 1);
        m_prnu << r.planes[0].after.prnu;
        m_dsnu << r.planes[0].after.dsnu;
        m_window->m_verifyWindow->close();
    }

private slots:
    void initTestCase()
    {
        QVERIFY(m_out.isValid());
        qRegisterMetaType<VerifyReport>();
        bindSim(QStringLiteral(R"({"timeScale": 0, "cameras": [{"friendlyName": "%1", "width": 256, "serial": "%2"}]})")
                    .arg(QString::fromLatin1(kCamera), QString::fromLatin1(kSerial)));
        freshSim();
        store(QStringLiteral("Station/Id"), QStringLiteral("bench-9"));
        m_window = std::make_unique<MainWindow>(QString(), 0);
        m_window->show();
        QVERIFY(QTest::qWaitForWindowExposed(m_window.get()));
        server()->enumerate();
        server()->open(QString::fromLatin1(kCamera));
        QVERIFY(server()->m_opened);
    }

    void cleanupTestCase()
    {
        m_window.reset();
        lsx::unbindLibrary();
    }

    void buttonBesideHelp()
    {
        QPushButton* history = m_window->m_historyBut;
        QVERIFY(history);
        QCOMPARE(history->objectName(), QStringLiteral("historyBut"));
        QCOMPARE(history->text(), QStringLiteral("历史记录"));
        QVERIFY(history->isVisible());
        auto* help = m_window->findChild<QPushButton*>(QStringLiteral("helpBut"));
        QCOMPARE(history->parentWidget(), help->parentWidget());
        QCOMPARE(history->y(), help->y());
        QVERIFY(history->x() > help->x());
    }

    // Two verifications: the history of the camera lists both, and the trend has two points.
    void historyAfterTwoRuns()
    {
        verifyOnce();
        if (QTest::currentTestFailed()) return;
        verifyOnce();
        if (QTest::currentTestFailed()) return;
        QTRY_COMPARE_WITH_TIMEOUT(storedRuns(), 2, 10000);

        QTest::mouseClick(m_window->m_historyBut, Qt::LeftButton);
        HistoryWindow* h = m_window->m_historyWindow;
        QVERIFY(h && h->isVisible());
        QCOMPARE(h->windowTitle(), QStringLiteral("历史记录"));
        QCOMPARE(h->serialBox()->currentText(), QString::fromLatin1(kSerial));
        QTableWidget* t = h->runsTable();
        QCOMPARE(t->rowCount(), 2);
        // Newest first.
        for (int row = 0; row < 2; ++row) {
            const int run = 1 - row;
            QCOMPARE(t->item(row, 1)->text(), QString::fromLatin1(kSerial));
            QCOMPARE(t->item(row, 2)->text(), QStringLiteral("bench-9"));
            QCOMPARE(t->item(row, 3)->text(), loginName());
            QCOMPARE(t->item(row, 4)->text(), QStringLiteral("窗口"));
            QVERIFY(t->item(row, 5)->text().startsWith(QStringLiteral("校正验证")));
            QCOMPARE(t->item(row, 8)->text(), QString::number(m_prnu[run], 'f', 3));
            QCOMPARE(t->item(row, 9)->text(), QString::number(m_dsnu[run], 'f', 3));
        }
        QCOMPARE(h->runs()[0].source, QStringLiteral("window"));
        QCOMPARE(h->runs()[0].steps.size(), 1);
        QCOMPARE(h->runs()[0].steps[0].name, QStringLiteral("verify"));

        // The trend: two points of each, oldest first, the verifications' own figures.
        QLineSeries* prnu = seriesNamed(h->trendView(), QStringLiteral("prnuSeries"));
        QLineSeries* dsnu = seriesNamed(h->trendView(), QStringLiteral("dsnuSeries"));
        QVERIFY(prnu && dsnu);
        QCOMPARE(prnu->count(), 2);
        QCOMPARE(dsnu->count(), 2);
        for (int i = 0; i < 2; ++i) {
            QCOMPARE(prnu->at(i).y(), m_prnu[i]);
            QCOMPARE(dsnu->at(i).y(), m_dsnu[i]);
            QCOMPARE(prnu->at(i).x(), double(i + 1));
        }
        QVERIFY(m_prnu[0] > 1.0);  // an uncalibrated camera: its pattern shows

        // A run's figures and report.
        t->setCurrentCell(1, 0);
        const QString detail = h->detailView()->toPlainText();
        QVERIFY2(detail.contains(QStringLiteral("planes.prnuAfter")), qPrintable(detail));
        QVERIFY(detail.contains(QString::number(m_prnu[0], 'g', 8)));
        QVERIFY(detail.contains(QStringLiteral("校正验证完成")));
        QVERIFY(detail.contains(QString::fromLatin1(kSerial)));

        const QByteArray shots = qgetenv("LSX_SCREENSHOT_DIR");
        if (!shots.isEmpty()) {
            QDir().mkpath(QString::fromLocal8Bit(shots));
            QVERIFY(h->grab().save(QString::fromLocal8Bit(shots) + QStringLiteral("/history_window.png")));
        }
    }

    // The report saved from the verification's window is recorded with its files.
    void savedReportRecorded()
    {
        const QString pdf = m_out.filePath(QStringLiteral("report.pdf"));
        QVERIFY(m_window->m_verifyWindow->saveReport(pdf));
        QTRY_COMPARE_WITH_TIMEOUT(storedRuns(), 3, 10000);
        HistoryWindow* h = m_window->m_historyWindow;
        h->refresh();
        const RunRecord& saved = h->runs().last();
        QCOMPARE(saved.steps[0].name, QStringLiteral("save-report"));
        QCOMPARE(saved.files.size(), 2);
        for (const RecordFile& f : saved.files) {
            QVERIFY2(f.path == pdf || f.path == verifyJsonPath(pdf), qPrintable(f.path));
            QFile file(f.path);
            QVERIFY(file.open(QIODevice::ReadOnly));
            QCOMPARE(f.bytes, file.size());
            QCOMPARE(f.sha256,
                     QString::fromLatin1(QCryptographicHash::hash(file.readAll(), QCryptographicHash::Sha256).toHex()));
        }
        QVERIFY(saved.files[0].path != saved.files[1].path);
        // Not a verification: the trend keeps its two points.
        QCOMPARE(seriesNamed(h->trendView(), QStringLiteral("prnuSeries"))->count(), 2);
    }

    // A dark field while the database does not answer: the run completes, its record waits in the
    // spool, and the history shows it once the database is back.
    void databaseAwayAndBack()
    {
        store(QStringLiteral("Records/Url"),
              QStringLiteral("postgresql://lsx@/records?host=") + m_out.filePath(QStringLiteral("no-server")));
        setScene(QString::fromLatin1(kCamera), LSX_SIM_SCENE_DARK);
        QSignalSpy delivered(m_window->m_recorder, &RunRecorder::delivered);
        QTest::mouseClick(m_window->findChild<QPushButton*>(QStringLiteral("dsnuProcessBut")), Qt::LeftButton);
        QTRY_VERIFY_WITH_TIMEOUT(panelButton("defineBut")->isVisible(), 30000);
        QVERIFY2(panelText().contains(QStringLiteral("暗场校正执行完成")), qPrintable(panelText()));
        QTest::mouseClick(panelButton("defineBut"), Qt::LeftButton);
        QTRY_VERIFY_WITH_TIMEOUT(m_window->m_recorder->pending() == 1, 10000);
        const QStringList waiting = RecordSpool(documentDir() + QStringLiteral("/records-spool")).pending();
        QCOMPARE(waiting.size(), 1);
        HistoryWindow* h = m_window->m_historyWindow;
        h->refresh();
        QVERIFY2(h->statusLabel()->text().contains(QStringLiteral("1 条记录等待发送")),
                 qPrintable(h->statusLabel()->text()));

        store(QStringLiteral("Records/Url"), QString());
        QTest::mouseClick(m_window->m_historyBut, Qt::LeftButton);
        QTRY_COMPARE_WITH_TIMEOUT(h->runsTable()->rowCount(), 4, 10000);
        QCOMPARE(m_window->m_recorder->pending(), 0);
        QVERIFY(!QFile::exists(waiting.first()));
        const RunRecord& dark = h->runs().last();
        QCOMPARE(dark.steps[0].name, QStringLiteral("dark"));
        QCOMPARE(dark.steps[0].outcome, QStringLiteral("ok"));
        QCOMPARE(dark.steps[0].options.value(QStringLiteral("auto-doffset")).toBool(), true);
        bool doffset = false;
        for (const RecordFigure& f : dark.figures)
            doffset = doffset || (f.name == QStringLiteral("doffset") && f.hasValue());
        QVERIFY(doffset);
        QCOMPARE(h->runsTable()->item(0, 5)->text(), QStringLiteral("暗场校正"));
    }

    // "导出CSV": one header and one row per run.
    void exportCsv()
    {
        HistoryWindow* h = m_window->m_historyWindow;
        const QString csv = m_out.filePath(QStringLiteral("history.csv"));
        answerFileDialog(csv);
        QTest::mouseClick(h->exportBut(), Qt::LeftButton);
        QFile f(csv);
        QVERIFY(f.open(QIODevice::ReadOnly));
        const QStringList lines = QString::fromUtf8(f.readAll()).split(QStringLiteral("\r\n"), Qt::SkipEmptyParts);
        QCOMPARE(lines.size(), 5);
        QVERIFY(lines[0].startsWith(QStringLiteral("run_id,started_at")));
        for (int i = 1; i < lines.size(); ++i) QVERIFY(lines[i].startsWith(h->runs()[i - 1].runId));
    }
};

QTEST_MAIN(TestHistoryWindow)
#include "test_history_window.moc"
