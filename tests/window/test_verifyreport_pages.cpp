// The verification report on paper and in the window: a defect list longer than a page goes on to
// the next pages with every entry (read back from the PDF with pdftotext), and the four curves of a
// plane (bright and dark, before and after) have four colours and a legend, on both styles.
#include "app/verifyreport.h"
#include "common/verifyreportheader.h"

#include <QDateTime>
#include <QProcess>
#include <QRegularExpression>
#include <QSet>
#include <QStandardPaths>
#include <QTemporaryDir>
#include <QtCharts/QChart>
#include <QtCharts/QLegend>
#include <QtCharts/QLegendMarker>
#include <QtCharts/QLineSeries>
#include <QtTest>

#include <memory>

namespace {

QVector<double> ramp(int n, double from, double step)
{
    QVector<double> v(n);
    for (int i = 0; i < n; ++i) v[i] = from + step * i;
    return v;
}

VerifyFigures figures(double dark, double bright)
{
    VerifyFigures f;
    f.darkMean = dark;
    f.brightMean = bright;
    f.dsnu = 0.3;
    f.prnu = 0.4;
    f.darkMeans = ramp(64, dark, 0.01);
    f.brightMeans = ramp(64, bright, 0.1);
    f.darkSpectrum = ramp(33, 0.5, 0.01);
    f.responseSpectrum = ramp(33, 0.8, 0.01);
    return f;
}

// A camera whose every plane shows `defects` defect columns after correction, numbered 20000,
// 20003, ... (numbers that nothing else on the pages holds).
VerifyReport reportWithDefects(int planes, int defects)
{
    VerifyReport r = verifyReportHeader();
    for (int p = 0; p < planes; ++p) {
        VerifyPlane plane;
        plane.name = QStringLiteral("平面%1").arg(p + 1);
        plane.before = figures(40.0, 500.0);
        plane.after = figures(2.0, 480.0);
        for (int i = 0; i < defects; ++i) plane.after.defects.append(20000 + 3 * i);
        r.planes.append(plane);
    }
    return r;
}

QString tool(const QString& name)
{
    return QStandardPaths::findExecutable(name);
}

// The text of a PDF, page by page (pdftotext separates pages by a form feed).
QStringList pdfPages(const QString& pdf)
{
    QProcess p;
    p.start(tool(QStringLiteral("pdftotext")),
            {QStringLiteral("-enc"), QStringLiteral("UTF-8"), pdf, QStringLiteral("-")});
    if (!p.waitForFinished(60000) || p.exitCode() != 0) return {};
    return QString::fromUtf8(p.readAllStandardOutput()).split(QLatin1Char('\f'));
}

// The colours of a chart's series, and whether its legend shows a marker for each.
void checkFourCurves(QChart* chart)
{
    QCOMPARE(chart->series().size(), 4);
    QSet<QRgb> colours;
    for (QAbstractSeries* s : chart->series()) colours.insert(static_cast<QLineSeries*>(s)->pen().color().rgb());
    QCOMPARE(colours.size(), 4);
    QVERIFY(chart->legend()->isVisible());
    QCOMPARE(chart->legend()->markers().size(), 4);
    for (QLegendMarker* m : chart->legend()->markers()) QVERIFY(!m->label().isEmpty());
}

}  // namespace

class TestVerifyReportPages : public QObject {
    Q_OBJECT

private slots:
    void fourCurvesFourColoursWithALegend_data()
    {
        QTest::addColumn<int>("style");
        QTest::newRow("window") << int(ChartStyle::Dark);
        QTest::newRow("paper") << int(ChartStyle::Paper);
    }

    void fourCurvesFourColoursWithALegend()
    {
        QFETCH(int, style);
        const VerifyReport r = reportWithDefects(1, 0);
        std::unique_ptr<QChart> profile(verifyProfileChart(r.planes[0], ChartStyle(style)));
        checkFourCurves(profile.get());
        if (QTest::currentTestFailed()) return;
        std::unique_ptr<QChart> spectrum(verifySpectrumChart(r.planes[0], ChartStyle(style)));
        checkFourCurves(spectrum.get());
    }

    void defectListGoesOnToFurtherPagesWithEveryEntry()
    {
        QVERIFY2(!tool(QStringLiteral("pdftotext")).isEmpty(), "poppler-utils missing: run scripts/setup.sh");
        QTemporaryDir dir;
        const QString pdf = dir.filePath(QStringLiteral("report.pdf"));
        // Two planes: the second list starts on the page after the first one's end.
        const VerifyReport r = reportWithDefects(2, 2500);
        QString error;
        QVERIFY2(writeVerifyReport(r, pdf, &error), qPrintable(error));
        const QStringList pages = pdfPages(pdf);
        QVERIFY2(pages.size() > 4, qPrintable(QString::number(pages.size())));

        // Every entry of both lists, each once per plane, and the count beside each list.
        const QRegularExpression number(QStringLiteral("\\b2\\d{4}\\b"));
        QMap<int, int> seen;
        for (const QString& page : pages) {
            auto it = number.globalMatch(page);
            while (it.hasNext()) ++seen[it.next().captured(0).toInt()];
        }
        int missing = 0, wrong = 0;
        for (int i = 0; i < 2500; ++i) {
            const int column = 20000 + 3 * i;
            if (seen.value(column) != 2) ++missing;
            seen.remove(column);
        }
        for (auto it = seen.cbegin(); it != seen.cend(); ++it) wrong += it.value();
        QVERIFY2(missing == 0, qPrintable(QStringLiteral("%1 of 2500 entries not printed twice").arg(missing)));
        QCOMPARE(wrong, 0);
        const QString all = pages.join(QLatin1Char('\n'));
        QCOMPARE(all.count(QStringLiteral("共 2500 列")), 2);
        // The list of the first plane ends before the second plane's page begins.
        QVERIFY(all.indexOf(QStringLiteral("20000")) < all.indexOf(QStringLiteral("平面：平面2")));
        QVERIFY(all.indexOf(QStringLiteral("平面：平面2")) < all.lastIndexOf(QStringLiteral("27497")));
    }
};

QTEST_MAIN(TestVerifyReportPages)
#include "test_verifyreport_pages.moc"
