// The verification's figures on synthetic stacks whose truth is known: temporal noise of a given
// sigma, column patterns of a given spread, sinusoids, ramps and planted defect columns.
#include "calibration/operatorprompt.h"
#include "calibration/verifystats.h"

#include <QJsonArray>
#include <QtTest>

#include <cmath>
#include <numeric>
#include <set>

namespace {

constexpr double kPi = 3.14159265358979323846;

// A column pattern of exactly mean 0 and sample standard deviation `spread` (N - 1), drawn from a
// seeded normal generator.
std::vector<double> pattern(int n, double spread, uint64_t seed)
{
    cv::RNG rng(seed);
    std::vector<double> p(static_cast<size_t>(n));
    for (double& v : p) v = rng.gaussian(1.0);
    const double mu = std::accumulate(p.begin(), p.end(), 0.0) / n;
    double s2 = 0.0;
    for (double& v : p) {
        v -= mu;
        s2 += v * v;
    }
    const double s = std::sqrt(s2 / (n - 1));
    for (double& v : p) v *= spread / s;
    return p;
}

// L lines of `offset + columns[x]` plus white noise of `sigma`, as double samples.
cv::Mat stackOf(const std::vector<double>& columns, double offset, double sigma, int lines, uint64_t seed)
{
    cv::RNG rng(seed);
    cv::Mat s(lines, int(columns.size()), CV_64F);
    for (int l = 0; l < lines; ++l)
        for (int x = 0; x < s.cols; ++x) s.at<double>(l, x) = offset + columns[size_t(x)] + rng.gaussian(sigma);
    return s;
}

// The same as raw 16-bit samples: DN10 in the high bits, rounded to the 64th.
cv::Mat as16(const cv::Mat& dn10)
{
    cv::Mat out;
    dn10.convertTo(out, CV_16U, 64.0);
    return out;
}

double sampleStd(const cv::Mat& row)
{
    cv::Scalar mu, sd;
    cv::meanStdDev(row, mu, sd);
    return sd[0] * std::sqrt(double(row.total()) / double(row.total() - 1));
}

}  // namespace

class TestVerifyStats : public QObject {
    Q_OBJECT

private slots:
    // White noise of sigma 2 DN and a column pattern of spread 1.5 DN over 1000 lines: the
    // temporal variance and DSNU1288 come back within 2 %, in double and in raw 16-bit samples.
    void temporalVarianceAndDsnu()
    {
        const double sigma = 2.0, spread = 1.5;
        const cv::Mat dn = stackOf(pattern(512, spread, 7), 40.0, sigma, 1000, 8);
        for (const auto& [stack, scale] : {std::pair<cv::Mat, double>{dn, 1.0}, {as16(dn), 1.0 / 64.0}}) {
            const StackStats s = stackStats(stack, scale);
            QCOMPARE(s.lines, 1000);
            QCOMPARE(s.columns, 512);
            QCOMPARE(s.means.cols, 512);
            QVERIFY2(std::abs(s.temporalVar / (sigma * sigma) - 1.0) < 0.02,
                     qPrintable(QString::number(s.temporalVar)));
            QVERIFY2(std::abs(dsnu1288(s) / spread - 1.0) < 0.02, qPrintable(QString::number(dsnu1288(s))));
            QVERIFY(std::abs(s.mean - 40.0) < 0.01);
        }
    }

    // Noise alone: the column means scatter by sigma / sqrt(L), and the correction takes that out.
    void pureTemporalNoiseHasNoDsnu()
    {
        const double sigma = 2.0;
        const int lines = 1000;
        const cv::Mat dn = stackOf(std::vector<double>(512, 0.0), 40.0, sigma, lines, 21);
        const StackStats s = stackStats(dn);
        const double meanScatter = sigma / std::sqrt(double(lines));
        // Uncorrected, the row of means would show a pattern of sigma / sqrt(L) ...
        QVERIFY(std::abs(sampleStd(s.means) / meanScatter - 1.0) < 0.1);
        // ... corrected, nothing near it is left.
        QVERIFY2(dsnu1288(s) < 0.5 * meanScatter, qPrintable(QString::number(dsnu1288(s))));
        QVERIFY(std::abs(s.spatialVar) < 0.2 * meanScatter * meanScatter);
    }

    // A dark dithered over black-level steps, one block of rows per step: the temporal variance is
    // that within the blocks, the steps between them no noise.
    void temporalVarianceWithinDitherSteps()
    {
        // Two columns, two steps of two rows: column 0 holds 0, 2 | 10, 12; column 1 holds 5, 9 | 6, 10.
        const cv::Mat exact = (cv::Mat_<double>(4, 2) << 0, 5, 2, 9, 10, 6, 12, 10);
        // Squared deviations within the blocks: column 0 2 + 2, column 1 8 + 8; over 4 - 2 degrees.
        QCOMPARE(stackTemporalVariance(exact, 1.0, 2), (4.0 / 2.0 + 16.0 / 2.0) / 2.0);
        const StackStats s = stackStats(exact, 2.0, 2);
        QCOMPARE(s.temporalVar, 4.0 * 5.0);
        QCOMPARE(s.means.at<double>(0, 0), 12.0);
        QCOMPARE(s.means.at<double>(0, 1), 15.0);
        QCOMPARE(s.spatialVar, 4.5 - 20.0 / 4.0);
        // As one block, the steps count as noise.
        // (column 0: deviations from 6 squared 36 + 16 + 16 + 36; column 1 from 7.5: 17 in all).
        QCOMPARE(stackTemporalVariance(exact, 1.0, 1), (104.0 / 3.0 + 17.0 / 3.0) / 2.0);
        // Too many steps for two rows each: one block.
        QCOMPARE(stackTemporalVariance(exact, 1.0, 3), stackTemporalVariance(exact));

        // Noise of sigma 2 over 8 steps of 1 DN on 1000 lines: sigma^2 comes back, not the 5.25
        // DN^2 the steps would add, and the column pattern keeps its spread.
        const double sigma = 2.0, spread = 1.5;
        cv::Mat dn = stackOf(pattern(512, spread, 31), 40.0, sigma, 1000, 32);
        for (int b = 0; b < 8; ++b) dn.rowRange(b * 125, (b + 1) * 125) += double(b);
        const StackStats d = stackStats(dn, 1.0, 8);
        QVERIFY2(std::abs(d.temporalVar / (sigma * sigma) - 1.0) < 0.02, qPrintable(QString::number(d.temporalVar)));
        QVERIFY2(std::abs(stackStats(dn).temporalVar - sigma * sigma - 5.25) < 0.2,
                 qPrintable(QString::number(stackStats(dn).temporalVar)));
        QVERIFY2(std::abs(dsnu1288(d) / spread - 1.0) < 0.02, qPrintable(QString::number(dsnu1288(d))));
    }

    // The bright stack: dark pattern and signal with a 2 % response spread; PRNU1288 within 2 %.
    void prnuOfAKnownResponse()
    {
        const int n = 512;
        const std::vector<double> dark = pattern(n, 1.0, 3);
        const std::vector<double> response = pattern(n, 0.02, 4);
        std::vector<double> lit(static_cast<size_t>(n));
        for (int x = 0; x < n; ++x) lit[size_t(x)] = dark[size_t(x)] + 500.0 * (1.0 + response[size_t(x)]);
        const StackStats d = stackStats(stackOf(dark, 30.0, 0.7, 1000, 5));
        const StackStats b = stackStats(stackOf(lit, 30.0, 5.0, 1000, 6));
        QVERIFY(std::abs(b.mean - d.mean - 500.0) < 0.5);
        const double prnu = prnu1288(d, b);
        QVERIFY2(std::abs(prnu / 2.0 - 1.0) < 0.02, qPrintable(QString::number(prnu)));
        // Not brighter than the dark: no figure.
        QVERIFY(std::isnan(prnu1288(d, d)));
        QVERIFY(std::isnan(prnu1288(b, d)));
    }

    // The response row's PRNU against the same formula written out: column means of each stack,
    // their difference, its sample variance over the columns less each stack's temporal variance
    // over its lines. Then the case it is for: a dark pattern of hot columns present in both stacks
    // and correlated with the response, where PRNU1288's difference of variances falls far below
    // the truth (here to not measurable) and the response row finds it.
    void prnuOfTheResponseRow()
    {
        const int n = 256, lines = 300;
        std::vector<double> dark = pattern(n, 0.8, 51);
        const std::vector<double> response = pattern(n, 0.004, 52);
        std::vector<double> lit(static_cast<size_t>(n));
        for (int x = 0; x < n; ++x) lit[size_t(x)] = dark[size_t(x)] + 500.0 * (1.0 + response[size_t(x)]);
        const cv::Mat d = stackOf(dark, 20.0, 1.0, lines, 53), b = stackOf(lit, 20.0, 4.0, lines, 54);
        const StackStats ds = stackStats(d), bs = stackStats(b);
        double s2 = 0.0, mu = 0.0;
        std::vector<double> row(static_cast<size_t>(n));
        for (int x = 0; x < n; ++x) {
            double sd = 0.0, sb = 0.0;
            for (int l = 0; l < lines; ++l) {
                sd += d.at<double>(l, x);
                sb += b.at<double>(l, x);
            }
            row[size_t(x)] = (sb - sd) / lines;
            mu += row[size_t(x)] / n;
        }
        for (double v : row) s2 += (v - mu) * (v - mu);
        s2 /= n - 1;
        const double literal =
            100.0 * std::sqrt(s2 - bs.temporalVar / lines - ds.temporalVar / lines) / (bs.mean - ds.mean);
        QVERIFY2(std::abs(prnuOfResponse(ds, bs) - literal) < 1e-9, qPrintable(QString::number(literal)));
        QVERIFY(std::abs(literal - 0.4) < 0.05);
        // No pattern of its own in the dark: the two estimators agree.
        QVERIFY(std::abs(prnu1288(ds, bs) / literal - 1.0) < 0.05);
        QCOMPARE(judgedPrnu(prnu1288(ds, bs), literal), std::max(prnu1288(ds, bs), literal));

        // Four hot columns 60 DN10 above their neighbours in both stacks, each a little weak in
        // response (lit = dark + 0.99 x signal): the cross term of the two patterns takes the
        // difference of spatial variances below 0.
        std::vector<double> hotDark = dark, hotLit = lit;
        for (int x : {20, 90, 150, 230}) {
            hotDark[size_t(x)] += 60.0;
            hotLit[size_t(x)] = hotDark[size_t(x)] + 0.99 * (lit[size_t(x)] - dark[size_t(x)]);
        }
        const StackStats hd = stackStats(stackOf(hotDark, 20.0, 1.0, lines, 53));
        const StackStats hb = stackStats(stackOf(hotLit, 20.0, 4.0, lines, 54));
        const double flattering = prnu1288(hd, hb), honest = prnuOfResponse(hd, hb);
        qInfo("hot columns: PRNU1288 %.4f %%, response row %.4f %%", flattering, honest);
        QVERIFY2(std::isnan(flattering) || flattering < 0.5 * honest, qPrintable(QString::number(flattering)));
        QVERIFY2(honest > literal, qPrintable(QString::number(honest)));
        QCOMPARE(judgedPrnu(flattering, honest), honest);
        // Not brighter than the dark: no figure, and no verdict on it. Noise alone (20 lines of
        // sigma 3 over 300 DN): its share taken off, no figure or a small one; left in, it would
        // read 0.32 %.
        QVERIFY(std::isnan(prnuOfResponse(bs, ds)));
        QVERIFY(std::isnan(judgedPrnu(1.0, std::numeric_limits<double>::quiet_NaN())));
        const StackStats flatDark = stackStats(stackOf(std::vector<double>(64, 0.0), 20.0, 3.0, 20, 55));
        const StackStats flatLit = stackStats(stackOf(std::vector<double>(64, 300.0), 20.0, 3.0, 20, 56));
        const double noise = prnuOfResponse(flatDark, flatLit);
        QVERIFY(std::isnan(noise) || noise < 0.2);
    }

    // A sinusoidal column pattern of amplitude 3 DN at 37 cycles over 512 columns: one peak, at 37,
    // of 3 * sqrt(512) / 2; every other frequency far below it.
    void sinusoidShowsOnePeak()
    {
        const int n = 512, k0 = 37;
        const double a = 3.0;
        std::vector<double> columns(static_cast<size_t>(n));
        for (int x = 0; x < n; ++x) columns[size_t(x)] = a * std::sin(2.0 * kPi * k0 * x / n);
        const StackStats s = stackStats(stackOf(columns, 50.0, 2.0, 1000, 9));
        const std::vector<double> spectrum = spectrogram(s.means);
        QCOMPARE(int(spectrum.size()), n / 2 + 1);
        QCOMPARE(spectrum[0], 0.0);
        const auto peak = std::max_element(spectrum.begin(), spectrum.end());
        QCOMPARE(int(peak - spectrum.begin()), k0);
        QVERIFY2(std::abs(*peak / (a * std::sqrt(double(n)) / 2.0) - 1.0) < 0.02, qPrintable(QString::number(*peak)));
        for (int k = 0; k < int(spectrum.size()); ++k)
            if (k != k0) QVERIFY2(spectrum[size_t(k)] < 0.05 * *peak, qPrintable(QString::number(k)));
    }

    // The mean of the squared amplitudes over all N frequencies is the row's variance (1/N): here
    // over the one-sided half, the other half mirrors it.
    void spectrogramKeepsTheVariance()
    {
        const int n = 256;
        const std::vector<double> p = pattern(n, 2.0, 11);
        const cv::Mat row(1, n, CV_64F, const_cast<double*>(p.data()));
        const std::vector<double> spectrum = spectrogram(row);
        double power = 0.0;
        for (int k = 1; k < n / 2; ++k) power += 2.0 * spectrum[size_t(k)] * spectrum[size_t(k)];
        power += spectrum[size_t(n / 2)] * spectrum[size_t(n / 2)];
        const double variance = 4.0 * (n - 1) / n;
        QVERIFY(std::abs(power / n - variance) < 1e-9);
        QVERIFY(spectrogram(cv::Mat()).empty());
    }

    // Hot and weak columns planted among ordinary ones, at the ends, side by side, and one both
    // hot and weak: each counted once, and nothing else.
    void plantedDefectsCountedExactly()
    {
        const int n = 512;
        std::vector<double> dark = pattern(n, 1.0, 13);
        std::vector<double> response = pattern(n, 0.01, 14);
        const std::set<int> hot = {0, 40, 41, 200, 333};
        const std::set<int> weak = {77, 333, 400, n - 1};
        for (int x : hot) dark[size_t(x)] += 9.0;
        std::vector<double> lit(static_cast<size_t>(n));
        for (int x = 0; x < n; ++x) {
            const double r = weak.count(x) ? 0.8 : 1.0 + response[size_t(x)];
            lit[size_t(x)] = dark[size_t(x)] + 600.0 * r;
        }
        const cv::Mat d = stackColumnMeans(stackOf(dark, 20.0, 0.7, 200, 15));
        const cv::Mat b = stackColumnMeans(stackOf(lit, 20.0, 5.0, 200, 16));
        const std::vector<int> found = defectColumns(d, b, 5.0, 10.0, kDefectWindow);
        const std::vector<int> expected = {0, 40, 41, 77, 200, 333, 400, n - 1};
        QCOMPARE(found, expected);
        // Limits above the planted deviations: none.
        QVERIFY(defectColumns(d, b, 20.0, 30.0, kDefectWindow).empty());
        // Rows of different length: none.
        QVERIFY(defectColumns(d, b.colRange(0, n - 1), 5.0, 10.0, kDefectWindow).empty());
    }

    // The neighbours' mean leaves the column out and is cut at the ends.
    void neighbourMeansExact()
    {
        const cv::Mat row = (cv::Mat_<double>(1, 6) << 1, 2, 3, 4, 5, 100);
        const std::vector<double> m = neighbourMeans(row, 5);
        QCOMPARE(m[0], (2.0 + 3.0) / 2.0);
        QCOMPARE(m[2], (1.0 + 2.0 + 4.0 + 5.0) / 4.0);
        QCOMPARE(m[5], (4.0 + 5.0) / 2.0);
    }

    // A ramp of 0.02 DN per column: the 64-column average is a ramp over N - 63 positions, so its
    // peak-to-peak is 0.02 * (N - 64); a window wider than the row gives its mean alone.
    void slowProfileOfARamp()
    {
        const int n = 1000;
        cv::Mat row(1, n, CV_64F);
        for (int x = 0; x < n; ++x) row.at<double>(0, x) = 10.0 + 0.02 * x + ((x % 2) ? 0.5 : -0.5);
        QCOMPARE(int(movingAverage(row, 64).size()), n - 63);
        QVERIFY(std::abs(slowProfilePeakToPeak(row, 64) - 0.02 * (n - 64)) < 1e-9);
        QCOMPARE(int(movingAverage(row.colRange(0, 10), 64).size()), 1);
        QCOMPARE(slowProfilePeakToPeak(row.colRange(0, 10), 64), 0.0);
        QCOMPARE(slowProfilePeakToPeak(cv::Mat(), 64), 0.0);
    }

    // Clipped share and level of a bright plane, raw 16-bit.
    void brightLevelOfAPlane()
    {
        cv::Mat plane(100, 100, CV_16U, cv::Scalar(32768));
        for (int i = 0; i < 15; ++i) plane.at<uint16_t>(i, 3) = 65472;
        const BrightLevel l = brightLevel(plane, 65472.0);
        QCOMPARE(l.clipped, 15.0 / 10000.0);
        QVERIFY(l.clipped > kVerifyMaxClipped);
        QVERIFY(std::abs(l.level - (9985.0 * 32768 + 15.0 * 65472) / 10000.0 / 65472.0) < 1e-12);
        plane.setTo(cv::Scalar(20));
        const BrightLevel dim = brightLevel(plane.rowRange(0, 10), 65472.0);
        QCOMPARE(dim.clipped, 0.0);
        QVERIFY(dim.level < kVerifyMinBright);
        // 8-bit: at 255.
        cv::Mat eight(10, 10, CV_8U, cv::Scalar(255));
        QCOMPARE(brightLevel(eight, 255.0).clipped, 1.0);
    }

    void degenerateStacks()
    {
        QVERIFY(stackColumnMeans(cv::Mat()).empty());
        QVERIFY(stackColumnMeans(cv::Mat(4, 4, CV_8UC3)).empty());
        QVERIFY(stackColumnMeans(cv::Mat(4, 4, CV_32S)).empty());
        QCOMPARE(stackTemporalVariance(cv::Mat(1, 8, CV_16U, cv::Scalar(9))), 0.0);
        const StackStats one = stackStats(cv::Mat(3, 1, CV_8U, cv::Scalar(9)));
        QCOMPARE(one.spatialVar, 0.0);
        // The share of samples at 0.
        cv::Mat cut(10, 10, CV_16U, cv::Scalar(64));
        cut.rowRange(0, 3).setTo(0);
        QCOMPARE(stackStats(cut).zeros, 0.3);
        QCOMPARE(dn10Scale(0), 4.0);
        QCOMPARE(dn10Scale(2), 1.0 / 64.0);
        QCOMPARE(rawFullScale(0), 255.0);
        QCOMPARE(rawFullScale(2), 65472.0);
    }

    // All figures of a plane at once, the verdict at the limits, and the report's JSON with them.
    void figuresVerdictAndJson()
    {
        const int n = 256;
        std::vector<double> dark = pattern(n, 1.0, 31);
        dark[100] += 12.0;
        const std::vector<double> response = pattern(n, 0.02, 32);
        std::vector<double> lit(static_cast<size_t>(n));
        for (int x = 0; x < n; ++x) lit[size_t(x)] = dark[size_t(x)] + 400.0 * (1.0 + response[size_t(x)]);
        const cv::Mat d = as16(stackOf(dark, 20.0, 0.7, 500, 33));
        const cv::Mat b = as16(stackOf(lit, 20.0, 4.0, 500, 34));
        VerifyLimits limits;
        const VerifyFigures f = verifyFigures(d, b, 1.0 / 64.0, limits);
        QCOMPARE(f.darkMeans.size(), n);
        QCOMPARE(f.brightMeans.size(), n);
        QCOMPARE(f.darkSpectrum.size(), n / 2 + 1);
        QCOMPARE(f.responseSpectrum.size(), n / 2 + 1);
        QCOMPARE(f.defects, QVector<int>{100});
        QCOMPARE(f.darkZero, 0.0);
        QVERIFY(std::abs(f.brightMean - f.darkMean - 400.0) < 0.5);
        const StackStats ds = stackStats(d, 1.0 / 64.0);
        QCOMPARE(f.dsnu, dsnu1288(ds));
        QCOMPARE(f.prnu1288, prnu1288(ds, stackStats(b, 1.0 / 64.0)));
        QCOMPARE(f.prnuResponse, prnuOfResponse(ds, stackStats(b, 1.0 / 64.0)));
        QCOMPARE(f.prnu, std::max(f.prnu1288, f.prnuResponse));
        QVERIFY(f.prnu > 1.8 && f.prnu < 2.2);

        // The verdict: at a limit passes, above it fails; one failing plane fails the report.
        VerifyFigures after = f;
        after.defects.clear();
        limits.maxPrnu = after.prnu;
        limits.maxDsnu = after.dsnu;
        QVERIFY(planePasses(after, limits));
        limits.maxPrnu = std::nextafter(after.prnu, 0.0);
        QVERIFY(!planePasses(after, limits));
        limits.maxPrnu = 100.0;
        after.defects = {1};
        QVERIFY(!planePasses(after, limits));
        limits.maxDefects = 1;
        QVERIFY(planePasses(after, limits));
        after.prnu = std::nan("");
        QVERIFY(!planePasses(after, limits));

        VerifyReport r;
        r.camera = QStringLiteral("SIM");
        r.serial = QStringLiteral("SN1");
        r.gain = 2.0;
        r.exposure = 123.5;
        r.bits = 2;
        r.lines = 500;
        r.limits = VerifyLimits{};
        QVERIFY(!reportPasses(r));  // nothing measured
        r.planes.append({QStringLiteral("Mono shown"), QStringLiteral("mono"), f, f});
        QVERIFY(!reportPasses(r));  // the hot column is still there after
        const QJsonObject j = verifyReportJson(r);
        QCOMPARE(j[QStringLiteral("passed")].toBool(), false);
        QCOMPARE(j[QStringLiteral("camera")].toObject()[QStringLiteral("serial")].toString(), QStringLiteral("SN1"));
        QCOMPARE(j[QStringLiteral("settings")].toObject()[QStringLiteral("exposureUs")].toDouble(), 123.5);
        // The plane by the name the operator read and by its key.
        QCOMPARE(j[QStringLiteral("planes")].toArray()[0].toObject()[QStringLiteral("name")].toString(),
                 QStringLiteral("Mono shown"));
        QCOMPARE(j[QStringLiteral("planes")].toArray()[0].toObject()[QStringLiteral("plane")].toString(),
                 QStringLiteral("mono"));
        const QJsonObject before =
            j[QStringLiteral("planes")].toArray()[0].toObject()[QStringLiteral("before")].toObject();
        QCOMPARE(before[QStringLiteral("dsnu")].toDouble(), f.dsnu);
        QCOMPARE(before[QStringLiteral("prnu")].toDouble(), f.prnu);
        QCOMPARE(before[QStringLiteral("defectColumns")].toArray(), QJsonArray{100});
        QCOMPARE(before[QStringLiteral("darkColumnMeans")].toArray().size(), n);
        QCOMPARE(before[QStringLiteral("darkColumnMeans")].toArray()[7].toDouble(), f.darkMeans[7]);
        // A figure that could not be had is null, not a number JSON cannot hold.
        r.planes[0].after.prnu = std::nan("");
        const QJsonObject after2 =
            verifyReportJson(r)[QStringLiteral("planes")].toArray()[0].toObject()[QStringLiteral("after")].toObject();
        QVERIFY(after2[QStringLiteral("prnu")].isNull());
    }

    // The question and its answer: an answer given before the wait is kept; one naming another
    // question, or coming when none is open, is dropped; "stop" and the caller's stop condition
    // end the wait; a closed question takes no more answers.
    void operatorPrompt()
    {
        OperatorPrompt prompt;
        int polls = 0;
        auto stopAfter = [&polls](int n) { return [&polls, n] { return ++polls > n; }; };

        prompt.answer(1, true);  // nothing asked yet
        prompt.arm(1);
        QCOMPARE(prompt.openStep(), 1);
        prompt.answer(2, true);  // another question
        polls = 0;
        QCOMPARE(prompt.wait(stopAfter(3), 1), OperatorPrompt::Outcome::Stop);
        QCOMPARE(polls, 4);
        QCOMPARE(prompt.openStep(), -1);

        prompt.arm(1);
        prompt.answer(1, true);
        prompt.answer(1, false);  // a second click changes nothing
        polls = 0;
        QCOMPARE(prompt.wait(stopAfter(100), 1), OperatorPrompt::Outcome::Proceed);
        QCOMPARE(polls, 0);
        prompt.answer(1, true);  // closed
        QCOMPARE(prompt.openStep(), -1);

        prompt.arm(2);
        prompt.answer(2, false);
        QCOMPARE(prompt.wait(stopAfter(100), 1), OperatorPrompt::Outcome::Stop);

        // An answer from another thread while the wait runs.
        prompt.arm(3);
        QThread* other = QThread::create([&prompt] {
            QThread::msleep(20);
            prompt.answer(3, true);
        });
        other->start();
        const QDeadlineTimer deadline(5000);
        QCOMPARE(prompt.wait([&deadline] { return deadline.hasExpired(); }), OperatorPrompt::Outcome::Proceed);
        QVERIFY(other->wait(5000));
        delete other;
    }

    // The EMVA 1288 formulas written out literally over the stacks, against the verification's
    // figures: per column the mean over L lines, s2_y.measured over the N column means (N - 1),
    // sigma2_y as the mean over the columns of each column's temporal variance (L - 1), and
    // s2_y = s2_y.measured - sigma2_y / L; DSNU = sqrt(s2_y.dark), PRNU = 100 sqrt(s2_y.bright -
    // s2_y.dark) / (mu_y.bright - mu_y.dark).
    void agreesWithTheLiteralFormulas()
    {
        const int n = 256, lines = 400;
        const std::vector<double> dark = pattern(n, 0.8, 31);
        const std::vector<double> response = pattern(n, 0.015, 32);
        std::vector<double> lit(static_cast<size_t>(n));
        for (int x = 0; x < n; ++x) lit[size_t(x)] = dark[size_t(x)] + 400.0 * (1.0 + response[size_t(x)]);
        const cv::Mat d = stackOf(dark, 20.0, 0.9, lines, 33), b = stackOf(lit, 20.0, 4.0, lines, 34);
        auto literal = [](const cv::Mat& y, double& mu, double& s2) {
            const int rows = y.rows, cols = y.cols;
            std::vector<double> means(static_cast<size_t>(cols), 0.0);
            double temporal = 0.0;
            for (int x = 0; x < cols; ++x) {
                for (int l = 0; l < rows; ++l) means[size_t(x)] += y.at<double>(l, x);
                means[size_t(x)] /= rows;
                double t = 0.0;
                for (int l = 0; l < rows; ++l) t += std::pow(y.at<double>(l, x) - means[size_t(x)], 2);
                temporal += t / (rows - 1);
            }
            temporal /= cols;
            mu = std::accumulate(means.begin(), means.end(), 0.0) / cols;
            double measured = 0.0;
            for (double m : means) measured += (m - mu) * (m - mu);
            measured /= cols - 1;
            s2 = measured - temporal / rows;
        };
        double muD = 0.0, s2D = 0.0, muB = 0.0, s2B = 0.0;
        literal(d, muD, s2D);
        literal(b, muB, s2B);
        const VerifyFigures f = verifyFigures(d, b, 1.0, VerifyLimits());
        QVERIFY2(std::abs(f.dsnu - std::sqrt(s2D)) < 1e-9, qPrintable(QString::number(f.dsnu - std::sqrt(s2D))));
        const double prnu = 100.0 * std::sqrt(s2B - s2D) / (muB - muD);
        QVERIFY2(std::abs(f.prnu1288 - prnu) < 1e-9, qPrintable(QString::number(f.prnu1288 - prnu)));
        QVERIFY(std::abs(f.dsnu - 0.8) < 0.05 && std::abs(f.prnu1288 - 1.5) < 0.1);
    }

    // A negative estimate of the spatial variance is no figure: not measurable, never 0.
    void negativeVarianceNotMeasurable()
    {
        StackStats dark, bright;
        dark.spatialVar = -0.01;
        QVERIFY(std::isnan(dsnu1288(dark)));
        dark.spatialVar = 0.5;
        dark.mean = 10.0;
        bright.mean = 500.0;
        bright.spatialVar = 0.4;
        QVERIFY(std::isnan(prnu1288(dark, bright)));
        bright.spatialVar = 0.5 + 4.0;
        QCOMPARE(prnu1288(dark, bright), 100.0 * 2.0 / 490.0);
        // Noise alone, fewer lines than its spread needs: with this seed the estimate falls below 0
        // (about -0.17 DN10^2 beside a temporal variance of 9 over 20 lines), not measurable.
        const StackStats noise = stackStats(stackOf(std::vector<double>(64, 0.0), 40.0, 3.0, 20, 13));
        QVERIFY2(noise.spatialVar < -0.1, qPrintable(QString::number(noise.spatialVar)));
        QVERIFY(std::isnan(dsnu1288(noise)));
    }

    // The median of the neighbours, the column itself left out, the mean of the two middle ones
    // for an even count; one hot column flags itself only, where its neighbours' mean would have
    // flagged them too.
    void oneHotColumnFlagsOneColumn()
    {
        const cv::Mat row = (cv::Mat_<double>(1, 7) << 1, 2, 3, 100, 5, 6, 7);
        const std::vector<double> m = neighbourMedians(row, 5);
        QCOMPARE(m, (std::vector<double>{2.5, 3.0, 3.5, 4.0, 6.5, 7.0, 5.5}));
        cv::Mat dark(1, 64, CV_64F, cv::Scalar(10.0));
        dark.at<double>(0, 20) = 100.0;
        const cv::Mat bright = dark + 500.0;
        QCOMPARE(defectColumns(dark, bright, 5.0, 10.0, 15), (std::vector<int>{20}));
        // Its neighbours' mean moves by 90 / 14 = 6.4 DN10, beyond the limit of 5.
        const std::vector<double> means = neighbourMeans(dark, 15);
        QVERIFY(means[21] - 10.0 > 5.0);
        // A weak column: its response 20 % short.
        cv::Mat weak = bright.clone();
        weak.at<double>(0, 40) = 10.0 + 400.0;
        QCOMPARE(defectColumns(dark, weak, 5.0, 10.0, 15), (std::vector<int>{20, 40}));
    }

    // The response spectrum in per cent of the signal: a sinusoid of 5 DN10 on 500 DN10 peaks at
    // 100 / 500 of its amplitude in DN10.
    void responseSpectrumInPerCent()
    {
        cv::Mat row(1, 512, CV_64F);
        for (int x = 0; x < 512; ++x) row.at<double>(0, x) = 500.0 + 5.0 * std::sin(2.0 * kPi * 37.0 * x / 512.0);
        const std::vector<double> dn10 = spectrogram(row), percent = responseSpectrogram(row);
        QCOMPARE(percent.size(), dn10.size());
        QVERIFY(std::abs(percent[37] - dn10[37] * 100.0 / 500.0) < 1e-9);
        QVERIFY(std::abs(percent[37] - 5.0 * std::sqrt(512.0) / 2.0 / 5.0) < 1e-6);
        QVERIFY(responseSpectrogram(cv::Mat(1, 8, CV_64F, cv::Scalar(0.0))).empty());
    }

    // Two darks lifted by known steps give the dark at no lift, row by row; mismatched stacks or
    // steps not rising give none.
    void extrapolatedBackToTheLevelAsFound()
    {
        const cv::Mat y0 = (cv::Mat_<double>(2, 3) << 0.5, -1.0, 2.0, 0.0, -2.5, 1.0);
        const cv::Mat gain = (cv::Mat_<double>(2, 3) << 1.0, 1.2, 0.9, 1.0, 1.2, 0.9);
        const cv::Mat at4 = y0 + 4.0 * gain, at12 = y0 + 12.0 * gain;
        const cv::Mat back = extrapolatedDark(at4, 4.0, at12, 12.0);
        QCOMPARE(back.type(), CV_64F);
        QVERIFY(cv::norm(back - y0, cv::NORM_INF) < 1e-12);
        QVERIFY(extrapolatedDark(at4, 12.0, at12, 4.0).empty());
        QVERIFY(extrapolatedDark(at4, 4.0, at12.colRange(0, 2).clone(), 12.0).empty());
        // The share of a column at 0: the worst column's.
        const cv::Mat stack = (cv::Mat_<uint16_t>(4, 2) << 0, 0, 5, 0, 7, 3, 9, 4);
        QCOMPARE(worstColumnZeroShare(stack), 0.5);
        QCOMPARE(worstColumnZeroShare(cv::Mat_<uint16_t>(2, 2, uint16_t(1))), 0.0);
        QCOMPARE(dark8BitDither(0), 8);
        QCOMPARE(dark8BitDither(2), 1);
    }

    // Verify/Levels: ascending per cents from 10 to 95, by commas or spaces; anything else leaves
    // the list as it was.
    void levelsOfTheSetting()
    {
        QList<double> levels{50.0};
        QVERIFY(parseVerifyLevels(QStringLiteral("25,50,80"), levels));
        QCOMPARE(levels, (QList<double>{25.0, 50.0, 80.0}));
        QVERIFY(parseVerifyLevels(QStringLiteral(" 30 62.5 "), levels));
        QCOMPARE(levels, (QList<double>{30.0, 62.5}));
        for (const char* bad : {"", "50,25", "5,50", "50,96", "25,abc", "50,50"})
            QVERIFY2(!parseVerifyLevels(QString::fromLatin1(bad), levels), bad);
        QCOMPARE(levels, (QList<double>{30.0, 62.5}));
    }
};

QTEST_GUILESS_MAIN(TestVerifyStats)
#include "test_verifystats.moc"
