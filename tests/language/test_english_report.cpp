// The verification report in English: the PDF's text (read back with pdftotext), its JSON beside
// it, the charts' titles, axes and series, the table rows, notes and verdicts hold no Chinese. The
// planes are named here: their names come from the procedure (calibration/, still to translate).
#include "app/verifyreport.h"
#include "common/cjk.h"
#include "language.h"

#include <QDateTime>
#include <QFile>
#include <QProcess>
#include <QStandardPaths>
#include <QTemporaryDir>
#include <QtCharts/QAbstractAxis>
#include <QtCharts/QChart>
#include <QtCharts/QLineSeries>
#include <QtTest>

#include <memory>

namespace {

VerifyFigures figures(double dark, double bright, double darkZero)
{
    VerifyFigures f;
    f.darkMean = dark;
    f.brightMean = bright;
    f.dsnu = 0.3;
    f.prnu = 0.4;
    f.darkZero = darkZero;
    for (int i = 0; i < 64; ++i) {
        f.darkMeans.append(dark + 0.01 * i);
        f.brightMeans.append(bright + 0.1 * i);
    }
    for (int i = 0; i < 33; ++i) {
        f.darkSpectrum.append(0.5 + 0.01 * i);
        f.responseSpectrum.append(0.8 + 0.01 * i);
    }
    return f;
}

VerifyReport report()
{
    VerifyReport r;
    r.camera = QStringLiteral("SIM-LS4096-M");
    r.model = QStringLiteral("LSM4096A");
    r.serial = QStringLiteral("S0001");
    r.version = QStringLiteral("1.0");
    r.when = QDateTime(QDate(2026, 11, 24), QTime(10, 0));
    r.gain = 1.0;
    r.exposure = 400.0;
    r.bits = 2;
    r.lines = 1000;
    r.fpnOn = true;
    VerifyPlane plane;
    plane.name = QStringLiteral("mono");
    plane.before = figures(40.0, 500.0, 0.0);
    plane.after = figures(2.0, 480.0, 0.8);  // a note: most of the dark output clipped at 0, lifted
    plane.after.darkLift.first = 4;
    plane.after.darkLift.second = 14;
    plane.after.darkLift.worstColumnZeros = 0.002;
    plane.after.defects = {17, 18};
    r.planes.append(plane);
    return r;
}

QStringList chartTexts(const QChart* chart)
{
    QStringList texts{chart->title()};
    for (const QAbstractAxis* a : chart->axes()) texts << a->titleText();
    for (const QAbstractSeries* s : chart->series()) texts << s->name();
    return texts;
}

}  // namespace

class TestEnglishReport : public QObject {
    Q_OBJECT

private slots:
    void initTestCase() { QVERIFY(installLanguage(UiLanguage::English)); }
    void cleanupTestCase() { installLanguage(UiLanguage::Chinese); }

    void tablesNotesAndVerdictsAreInEnglish()
    {
        const VerifyReport r = report();
        const QList<VerifyRow> rows = verifyRows(r.planes[0], r.limits);
        QVERIFY(rows.size() > 5);
        for (const VerifyRow& row : rows) QVERIFY2(!containsCjk(row.label + row.limit), qPrintable(row.label));
        const QStringList notes = verifyNotes(r.planes[0]);
        QCOMPARE(notes.size(), 1);
        QVERIFY2(notes[0].startsWith(QLatin1String("After correction: 80.0% of the dark output pixels are 0: DSNU measured")),
                 qPrintable(notes[0]));
        QCOMPARE(verdictText(true), QStringLiteral("pass"));
        QCOMPARE(verdictText(false), QStringLiteral("fail"));
        QCOMPARE(defectText({}), QStringLiteral("none"));
    }

    void chartsAreInEnglish()
    {
        const VerifyReport r = report();
        for (ChartStyle style : {ChartStyle::Dark, ChartStyle::Paper}) {
            std::unique_ptr<QChart> profile(verifyProfileChart(r.planes[0], style));
            std::unique_ptr<QChart> spectrum(verifySpectrumChart(r.planes[0], style));
            const QStringList texts = chartTexts(profile.get()) + chartTexts(spectrum.get());
            QVERIFY2(!containsCjk(texts.join(QLatin1Char('|'))), qPrintable(texts.join(QLatin1Char('|'))));
            QVERIFY(texts.contains(QStringLiteral("Column means (mono)")));
        }
    }

    void thePdfAndItsJsonAreInEnglish()
    {
        const QString pdftotext = QStandardPaths::findExecutable(QStringLiteral("pdftotext"));
        QVERIFY2(!pdftotext.isEmpty(), "poppler-utils missing: run scripts/setup.sh");
        QTemporaryDir dir;
        const QString pdf = dir.filePath(QStringLiteral("report.pdf"));
        QString error;
        QVERIFY2(writeVerifyReport(report(), pdf, &error), qPrintable(error));
        QProcess p;
        p.start(pdftotext, {QStringLiteral("-enc"), QStringLiteral("UTF-8"), pdf, QStringLiteral("-")});
        QVERIFY(p.waitForFinished(60000));
        QCOMPARE(p.exitCode(), 0);
        const QString text = QString::fromUtf8(p.readAllStandardOutput());
        QVERIFY2(text.contains(QLatin1String("Line-Scan Camera Calibration Verification Report")), qPrintable(text));
        QVERIFY2(text.contains(QLatin1String("Result: fail")) || text.contains(QLatin1String("Result: pass")),
                 qPrintable(text));
        QVERIFY2(!containsCjk(text), qPrintable(text));

        QFile json(verifyJsonPath(pdf));
        QVERIFY(json.open(QIODevice::ReadOnly));
        const QString content = QString::fromUtf8(json.readAll());
        QVERIFY(content.contains(QLatin1String("\"mono\"")));
        QVERIFY2(!containsCjk(content), qPrintable(content));
    }
};

QTEST_MAIN(TestEnglishReport)
#include "test_english_report.moc"
