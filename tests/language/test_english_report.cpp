// The verification report in English: the PDF's text (read back with pdftotext), its JSON beside
// it, the charts' titles, axes and series, the table rows, notes and verdicts, and the result
// window hold no Chinese; the planes' names are the procedures' own (planeName), in English, and
// their keys stay as in every language.
#include "app/verifyreport.h"
#include "app/verifywindow.h"
#include "calibration/darkstats.h"
#include "common/cjk.h"
#include "common/cjktexts.h"
#include "common/verifyreportheader.h"
#include "language.h"
#include "lsx.h"

#include <QComboBox>
#include <QDateTime>
#include <QFile>
#include <QJsonArray>
#include <QJsonDocument>
#include <QJsonObject>
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

// A report of a mono sensor of `lines` sensor lines, its planes named as the procedure names them.
VerifyReport report(size_t lines = 1)
{
    VerifyReport r = verifyReportHeader();
    VerifyPlane plane;
    plane.before = figures(40.0, 500.0, 0.0);
    plane.after = figures(2.0, 480.0, 0.8);  // a note: most of the dark output clipped at 0, lifted
    plane.after.darkLift.first = 4;
    plane.after.darkLift.second = 14;
    plane.after.darkLift.worstColumnZeros = 0.002;
    plane.after.defects = {17, 18};
    for (size_t p = 0; p < lines; ++p) {
        plane.name = planeName(FORMAT_MONO, lines, p);
        plane.key = planeKey(FORMAT_MONO, lines, p);
        r.planes.append(plane);
    }
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

    void planesAreNamedInEnglish()
    {
        QCOMPARE(planeName(FORMAT_MONO, 1, 0), QStringLiteral("mono"));
        QCOMPARE(planeName(FORMAT_MONO, 4, 3), QStringLiteral("sensor line 3"));
        QCOMPARE(planeName(FORMAT_RGB32, 4, 0), QStringLiteral("R"));
        QCOMPARE(planeName(FORMAT_RGB32, 4, 3), QStringLiteral("channel 4"));
        // The keys are the same as in Chinese.
        QCOMPARE(planeKey(FORMAT_MONO, 4, 3), QStringLiteral("line3"));
        QCOMPARE(planeKey(FORMAT_RGB32, 4, 3), QStringLiteral("channel4"));
    }

    // The result window of a two-line sensor whose planes fail their limits.
    void theResultWindowIsInEnglish()
    {
        VerifyWindow w;
        w.setReport(report(2));
        w.show();
        QVERIFY(QTest::qWaitForWindowExposed(&w));
        QCOMPARE(w.planeBox()->count(), 2);
        QCOMPARE(w.planeBox()->itemText(1).left(13), QStringLiteral("sensor line 1"));
        const QStringList cjk = cjkTexts(&w);
        QVERIFY2(cjk.isEmpty(), qPrintable(cjk.join(QLatin1Char('\n'))));
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
        QVERIFY2(writeVerifyReport(report(2), pdf, &error), qPrintable(error));
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
        const QByteArray content = json.readAll();
        QVERIFY2(!containsCjk(QString::fromUtf8(content)), content.constData());
        // Each plane by its name in English and by its key.
        const QJsonArray planes = QJsonDocument::fromJson(content).object().value(QLatin1String("planes")).toArray();
        QCOMPARE(planes.size(), 2);
        QCOMPARE(planes[1].toObject().value(QLatin1String("name")).toString(), QStringLiteral("sensor line 1"));
        QCOMPARE(planes[1].toObject().value(QLatin1String("plane")).toString(), QStringLiteral("line1"));
        QVERIFY2(text.contains(QLatin1String("sensor line 1")), qPrintable(text));
    }
};

QTEST_MAIN(TestEnglishReport)
#include "test_english_report.moc"
