// The simulated camera measured the way a sensor test bench measures a camera (EMVA 1288 terms):
// photon transfer from two-frame differences (system gain, read noise at gains 1 and 2), the dark
// signal against exposure (dark current and its shot noise), the linearity of each column,
// spatial non-uniformity from averaged rows, vertical binning, and what the columns' roll-off
// means for a correction with one K against one with K bands. Every figure is checked against
// the camera's configured values, not against the simulator's own arithmetic.
#include "simtestutil.h"

#include <algorithm>
#include <numeric>

using namespace simtest;

namespace {

constexpr const char* kCam = "SIM-LS4096-M";
// The built-in camera's sensor, as configured.
constexpr double kEPerDn = 20.0, kReadNoise = 0.7, kPostGainNoise = 0.3, kPostGainOffset = 0.2;
constexpr double kDarkMean = 6.0, kDsnu = 1.0, kPrnu = 0.02;
constexpr double kDarkCurrent = 0.5, kDarkCurrentSpread = 0.1, kHotAmp = 300.0;
constexpr double kNonLinearity = 0.01, kNonLinearitySpread = 0.004;
constexpr double kLevel80 = 0.8 * 1023;

// Mean level and temporal variance of a pair of frames: the mean of both, and half the mean
// square of their difference (less its mean), over the columns kept.
struct Pair {
    double mean = 0, var = 0;
};
Pair twoFrames(lsxHandle h, const std::vector<bool>& keep)
{
    Frame a, b;
    if (grab(h, a) != LSX_OK || grab(h, b) != LSX_OK) return {};
    double sum = 0, diff = 0, sq = 0;
    long n = 0;
    for (int y = 0; y < a.info.height; ++y)
        for (int x = 0; x < a.info.width; ++x) {
            if (!keep[size_t(x)]) continue;
            const double u = a.at(y, x), v = b.at(y, x);
            sum += u + v;
            diff += u - v;
            sq += (u - v) * (u - v);
            ++n;
        }
    const double md = diff / n;
    return {sum / (2.0 * n), (sq / n - md * md) / 2.0};
}

// The columns that are neither hot (dark current ten times the median) nor weak (response under
// 0.8): what a bench measures the sensor's typical pixel on.
std::vector<bool> plainColumns(lsxHandle h)
{
    const auto current = truth(h, LSX_SIM_TRUE_DARK_CURRENT), resp = truth(h, LSX_SIM_TRUE_RESPONSE);
    std::vector<float> sorted = current;
    std::nth_element(sorted.begin(), sorted.begin() + long(sorted.size() / 2), sorted.end());
    const double median = sorted[sorted.size() / 2];
    std::vector<bool> keep(current.size());
    for (size_t x = 0; x < current.size(); ++x) keep[x] = current[x] < 10 * median && resp[x] > 0.8;
    return keep;
}

std::vector<double> kept(const std::vector<double>& v, const std::vector<bool>& keep)
{
    std::vector<double> out;
    for (size_t i = 0; i < v.size(); ++i)
        if (keep[i]) out.push_back(v[i]);
    return out;
}

// Least-squares line y = a + b x.
struct Line {
    double a = 0, b = 0;
};
Line fit(const std::vector<double>& x, const std::vector<double>& y)
{
    const double n = double(x.size());
    const double mx = std::accumulate(x.begin(), x.end(), 0.0) / n, my = std::accumulate(y.begin(), y.end(), 0.0) / n;
    double sxy = 0, sxx = 0;
    for (size_t i = 0; i < x.size(); ++i) {
        sxy += (x[i] - mx) * (y[i] - my);
        sxx += (x[i] - mx) * (x[i] - mx);
    }
    return {my - sxy / sxx * mx, sxy / sxx};
}

QString num(double v)
{
    return QString::number(v, 'g', 6);
}

}  // namespace

class TestSimEmva : public QObject {
    Q_OBJECT

private slots:
    void init() { QCOMPARE(lsxSimReset(), LSX_OK); }

    void photonTransferGivesGainAndReadNoise_data()
    {
        QTest::addColumn<bool>("rollOff");
        QTest::addColumn<double>("tolerance");
        QTest::newRow("linear") << false << 0.015;
        // The response's slope lowers the shot noise toward the top: 3 % at 60 % of full scale.
        QTest::newRow("roll-off") << true << 0.05;
    }

    void photonTransferGivesGainAndReadNoise()
    {
        // A flat scene at six levels up to 60 % of full scale and the dark, at exposure 10 us
        // (no dark current to speak of), gains 1 and 2: the variance of two-frame differences
        // against the mean level gives the system gain K = gain / ePerDn, the dark variance the
        // read noise. A share of the read noise comes after the amplifier, so the noise referred
        // to the input, in electrons, is lower at gain 2.
        QFETCH(bool, rollOff);
        QFETCH(double, tolerance);
        lsxHandle h = openCamera(kCam);
        QCOMPARE(lsxSimSetNonLinearity(kCam, rollOff), LSX_OK);
        prepare(h, 2, 34, 200);
        QCOMPARE(lsxSetExposure(h, 10.0), LSX_OK);
        QCOMPARE(lsxSimSetScene(kCam, LSX_SIM_SCENE_FLAT, 1.0, 0.0, 0.0), LSX_OK);
        const auto keep = plainColumns(h);
        double electrons[2] = {0, 0};
        for (int g = 1; g <= 2; ++g) {
            QCOMPARE(lsxSetAnalogGain(h, float(g)), LSX_OK);
            QCOMPARE(lsxSimSetScene(kCam, LSX_SIM_SCENE_DARK, 0, -1, -1), LSX_OK);
            const Pair dark = twoFrames(h, keep);
            std::vector<double> mu, var;
            for (double frac : {0.1, 0.2, 0.3, 0.4, 0.5, 0.6}) {
                QCOMPARE(lsxSimSetScene(kCam, LSX_SIM_SCENE_FLAT, frac * 1023 / (g * 10.0), -1, -1), LSX_OK);
                const Pair p = twoFrames(h, keep);
                mu.push_back(p.mean - dark.mean);
                var.push_back(p.var - dark.var);
            }
            const double k = fit(mu, var).b;  // DN per electron
            const double expectK = g / kEPerDn;
            QVERIFY2(std::abs(k / expectK - 1) < tolerance,
                     qPrintable(QString("gain %1: K %2 vs %3").arg(g).arg(num(k), num(expectK))));
            // Read noise: the dark variance less the ADC's 1/12.
            const double read = dark.var - 1.0 / 12;
            const double expectRead = kReadNoise * kReadNoise * ((1 - kPostGainNoise) * g * g + kPostGainNoise);
            QVERIFY2(
                std::abs(read / expectRead - 1) < 0.03,
                qPrintable(QString("gain %1: read noise variance %2 vs %3").arg(g).arg(num(read), num(expectRead))));
            // The dark level: a fifth of the offset comes after the amplifier.
            const double expectDark = kDarkMean * (g * (1 - kPostGainOffset) + kPostGainOffset);
            QVERIFY2(std::abs(dark.mean - expectDark) < 0.1 * g,
                     qPrintable(QString("gain %1: dark %2 vs %3").arg(g).arg(num(dark.mean), num(expectDark))));
            electrons[g - 1] = std::sqrt(read) / k;
        }
        // 14 electrons at gain 1; at gain 2 the post-amplifier share counts a quarter.
        QVERIFY2(std::abs(electrons[0] / (kReadNoise * kEPerDn) - 1) < tolerance + 0.01, qPrintable(num(electrons[0])));
        const double ratio = electrons[1] / electrons[0];
        const double expectRatio = std::sqrt((1 - kPostGainNoise) + kPostGainNoise / 4);
        QVERIFY2(std::abs(ratio - expectRatio) < tolerance + 0.01,
                 qPrintable(QString("%1 vs %2").arg(num(ratio), num(expectRatio))));
    }

    void darkSignalGrowsWithExposure()
    {
        // In the dark at exposures from 10 us to 20 ms: the mean dark level rises by the dark
        // current, its temporal variance by the dark current's shot noise; each column's rise is
        // its own dark current, spread by 10 %; the hot columns are dark-current defects.
        lsxHandle h = openCamera(kCam);
        QCOMPARE(lsxSimSetScene(kCam, LSX_SIM_SCENE_DARK, 0, -1, -1), LSX_OK);
        prepare(h, 2, 34, 200);
        const auto keep = plainColumns(h);
        std::vector<double> ms, mu, var;
        std::vector<std::vector<double>> columns;
        for (double t : {10.0, 5000.0, 10000.0, 20000.0}) {
            QCOMPARE(lsxSetExposure(h, t), LSX_OK);
            const Pair p = twoFrames(h, keep);
            Frame f;
            QCOMPARE(grab(h, f), LSX_OK);
            ms.push_back(t / 1000);
            mu.push_back(p.mean);
            var.push_back(p.var);
            columns.push_back(columnMeans(f));
        }
        const double current = fit(ms, mu).b;
        QVERIFY2(std::abs(current / kDarkCurrent - 1) < 0.02, qPrintable(num(current)));
        const double shot = fit(ms, var).b;  // DN^2 per ms: the dark current's electrons over ePerDn^2
        QVERIFY2(std::abs(shot / (kDarkCurrent / kEPerDn) - 1) < 0.05, qPrintable(num(shot)));
        // Each column's dark current from its averaged rows, against the camera's truth.
        const auto truthCurrent = truth(h, LSX_SIM_TRUE_DARK_CURRENT);
        std::vector<double> perColumn;
        double worst = 0;
        for (size_t x = 0; x < keep.size(); ++x) {
            if (!keep[x]) continue;
            const double c = (columns[3][x] - columns[0][x]) / (ms[3] - ms[0]);
            perColumn.push_back(c);
            worst = std::max(worst, std::abs(c - truthCurrent[x]));
        }
        QVERIFY2(worst < 0.03, qPrintable(num(worst)));
        const double spread = stddev(perColumn) / mean(perColumn);
        QVERIFY2(std::abs(spread - kDarkCurrentSpread) < 0.01, qPrintable(num(spread)));
        // The hot columns: 18 to 30 DN more at 100 us than at 10 us, eleven times that at 1 ms,
        // with the shot noise of that charge.
        int hot = 0;
        for (size_t x = 0; x < truthCurrent.size(); ++x) {
            if (truthCurrent[x] < 0.6 * kHotAmp) continue;
            ++hot;
            double level[3], noise[3];
            int i = 0;
            for (double t : {10.0, 100.0, 1000.0}) {
                QCOMPARE(lsxSetExposure(h, t), LSX_OK);
                Frame a, b;
                QCOMPARE(grab(h, a), LSX_OK);
                QCOMPARE(grab(h, b), LSX_OK);
                double s = 0, d = 0;
                for (int y = 0; y < a.info.height; ++y) {
                    const double u = a.at(y, int(x)), v = b.at(y, int(x));
                    s += u + v;
                    d += (u - v) * (u - v);
                }
                level[i] = s / (2.0 * a.info.height);
                noise[i] = d / (2.0 * a.info.height);
                ++i;
            }
            const double rise100 = level[1] - level[0], rise1000 = level[2] - level[0];
            QVERIFY2(rise100 > 16 && rise100 < 28, qPrintable(num(rise100)));
            QVERIFY2(std::abs(rise1000 / rise100 - 11) < 0.4,
                     qPrintable(QString("%1 %2").arg(num(rise100), num(rise1000))));
            const double expectNoise = kReadNoise * kReadNoise + (level[2] - kDarkMean) / kEPerDn + 1.0 / 12;
            QVERIFY2(std::abs(noise[2] / expectNoise - 1) < 0.3,
                     qPrintable(QString("%1 vs %2").arg(num(noise[2]), num(expectNoise))));
        }
        QVERIFY2(hot >= 2 && hot <= 4, qPrintable(QString::number(hot)));
    }

    void linearityErrorPerColumnAsConfigured_data()
    {
        QTest::addColumn<bool>("rollOff");
        QTest::newRow("roll-off on") << true;
        QTest::newRow("roll-off off") << false;
    }

    void linearityErrorPerColumnAsConfigured()
    {
        // A flat scene at six levels from 10 % to 82 % of full scale, 1000 rows averaged per
        // column: each column's response divided by the light, against the light squared, is a
        // line whose slope gives the column's shortfall at 80 % of full scale.
        QFETCH(bool, rollOff);
        lsxHandle h = openCamera(kCam);
        QCOMPARE(lsxSimSetNonLinearity(kCam, rollOff), LSX_OK);
        prepare(h, 2, 34, 1000);
        const auto keep = plainColumns(h);
        QCOMPARE(lsxSimSetScene(kCam, LSX_SIM_SCENE_DARK, 0, 0.0, 0.0), LSX_OK);
        Frame f;
        QCOMPARE(grab(h, f), LSX_OK);
        const auto dark = columnMeans(f);
        std::vector<double> light;
        std::vector<std::vector<double>> level;
        for (double frac : {0.1, 0.25, 0.4, 0.55, 0.7, 0.82}) {
            light.push_back(frac * 1023 / 100.0);
            QCOMPARE(lsxSimSetScene(kCam, LSX_SIM_SCENE_FLAT, light.back(), -1, -1), LSX_OK);
            QCOMPARE(grab(h, f), LSX_OK);
            level.push_back(columnMeans(f));
        }
        // The truth: the column's signal at a linear signal of 80 % of full scale.
        const auto at80 = truthAt(h, LSX_SIM_TRUE_SIGNAL, kLevel80);
        QCOMPARE(int(at80.size()), 4096);
        std::vector<double> shortfall;
        double worst = 0;
        for (size_t x = 0; x < keep.size(); ++x) {
            if (!keep[x]) continue;
            std::vector<double> x2, r;
            for (size_t k = 0; k < light.size(); ++k) {
                x2.push_back(light[k] * light[k]);
                r.push_back((level[k][x] - dark[x]) / light[k]);
            }
            // r = a (1 - c (a L)^2): intercept a, slope -a^3 c; the shortfall at 80 % is c 818.4^2.
            const Line l = fit(x2, r);
            const double n = -l.b / (l.a * l.a * l.a) * kLevel80 * kLevel80;
            shortfall.push_back(n);
            worst = std::max(worst, std::abs(n - (1.0 - at80[x] / kLevel80)));
        }
        const double m = mean(shortfall), s = stddev(shortfall);
        QVERIFY2(worst < 0.0025, qPrintable(QString("worst column against the truth: %1").arg(num(worst))));
        if (rollOff) {
            QVERIFY2(std::abs(m - kNonLinearity) < 0.0005, qPrintable(num(m)));
            QVERIFY2(std::abs(s / kNonLinearitySpread - 1) < 0.1, qPrintable(num(s)));
        } else {
            QVERIFY2(std::abs(m) < 0.0003, qPrintable(num(m)));
            QVERIFY2(s < 0.0006, qPrintable(num(s)));
        }
    }

    void spatialNonUniformityFromAveragedRows()
    {
        // Column means of 1000 rows: in the dark their spread is the DSNU (1 DN), in a flat scene
        // at half of full scale the spread of the signal over its mean is the PRNU (2 %).
        lsxHandle h = openCamera(kCam);
        prepare(h, 2, 34, 1000);
        const auto keep = plainColumns(h);
        QCOMPARE(lsxSimSetScene(kCam, LSX_SIM_SCENE_DARK, 0, 0.0, 0.0), LSX_OK);
        Frame f;
        QCOMPARE(grab(h, f), LSX_OK);
        const auto dark = columnMeans(f);
        const double dsnu = stddev(kept(dark, keep));
        QVERIFY2(std::abs(dsnu - kDsnu) < 0.06, qPrintable(num(dsnu)));
        QCOMPARE(lsxSimSetScene(kCam, LSX_SIM_SCENE_FLAT, 0.5 * 1023 / 100.0, -1, -1), LSX_OK);
        QCOMPARE(grab(h, f), LSX_OK);
        auto sig = columnMeans(f);
        for (size_t x = 0; x < sig.size(); ++x) sig[x] -= dark[x];
        const auto s = kept(sig, keep);
        const double prnu = stddev(s) / mean(s);
        QVERIFY2(std::abs(prnu - kPrnu) < 0.0015, qPrintable(num(prnu)));
    }

    void verticalBinningAveragesOrSumsRows()
    {
        // "USER" mode, gain 4 (the read noise well above the ADC's step): BIN vertical 2 keeps
        // the level and halves the read-noise variance; SUM vertical 2 doubles the level; the
        // test pattern's noise follows the sum as well.
        const char* cam = "SIM-LS8192-MLK";
        lsxHandle h = openCamera(cam);
        prepare(h, 2, 34, 100);
        QCOMPARE(lsxSetResolutionModeSel(h, 4), LSX_OK);
        QCOMPARE(lsxSetAnalogGain(h, 4.0f), LSX_OK);
        const std::vector<bool> all(8192, true);
        auto measure = [&](const char* mode, const char* vertical) {
            if (lsxSetEnumValueByString(h, "BinningMode", mode) != LSX_OK
                || lsxSetEnumValueByString(h, "BinningVertical", vertical) != LSX_OK)
                return Pair{-1, -1};
            return twoFrames(h, all);
        };
        QCOMPARE(lsxSimSetScene(cam, LSX_SIM_SCENE_DARK, 0, -1, -1), LSX_OK);
        const Pair one = measure("BIN", "1"), bin2 = measure("BIN", "2"), sum2 = measure("SUM", "2");
        const double read1 = one.var - 1.0 / 12, readBin = bin2.var - 1.0 / 12, readSum = sum2.var - 1.0 / 12;
        QVERIFY2(std::abs(readBin / read1 - 0.5) < 0.02, qPrintable(QString("%1 %2").arg(num(read1), num(readBin))));
        QVERIFY2(std::abs(readSum / read1 - 2.0) < 0.05, qPrintable(QString("%1 %2").arg(num(read1), num(readSum))));
        QVERIFY2(std::abs(bin2.mean - one.mean) < 0.05,
                 qPrintable(QString("%1 %2").arg(num(one.mean), num(bin2.mean))));
        QCOMPARE(lsxSimSetScene(cam, LSX_SIM_SCENE_FLAT, 0.75, -1, -1), LSX_OK);
        const Pair litOne = measure("BIN", "1"), litBin = measure("BIN", "2"), litSum = measure("SUM", "2");
        QVERIFY2(litOne.mean > 250 && litOne.mean < 400, qPrintable(num(litOne.mean)));
        QVERIFY2(std::abs(litBin.mean / litOne.mean - 1) < 0.002, qPrintable(num(litBin.mean)));
        QVERIFY2(std::abs(litSum.mean / litOne.mean - 2) < 0.004, qPrintable(num(litSum.mean)));
        // Averaging two lines halves the shot noise's variance too.
        QVERIFY2(std::abs((litBin.var - 1.0 / 12) / (litOne.var - 1.0 / 12) - 0.5) < 0.02,
                 qPrintable(QString("%1 %2").arg(num(litOne.var), num(litBin.var))));
        // The test pattern with next to no light: its rows differ only by noise.
        QCOMPARE(lsxSimSetScene(cam, LSX_SIM_SCENE_PATTERN, 1e-9, -1, -1), LSX_OK);
        double var[2];
        for (int i = 0; i < 2; ++i) {
            QCOMPARE(lsxSetEnumValueByString(h, "BinningVertical", i ? "2" : "1"), LSX_OK);
            QCOMPARE(lsxSetEnumValueByString(h, "BinningMode", "SUM"), LSX_OK);
            Frame f;
            QCOMPARE(grab(h, f), LSX_OK);
            const auto m = columnMeans(f);
            double acc = 0;
            for (int y = 0; y < f.info.height; ++y)
                for (int x = 0; x < f.info.width; ++x) acc += (f.at(y, x) - m[size_t(x)]) * (f.at(y, x) - m[size_t(x)]);
            var[i] = acc / (double(f.info.height - 1) * f.info.width) - 1.0 / 12;
        }
        QVERIFY2(std::abs(var[1] / var[0] - 2.0) < 0.06, qPrintable(QString("%1 %2").arg(num(var[0]), num(var[1]))));
    }

    void kBandsFollowTheRollOffWhereOneKCannot()
    {
        // K from the camera's truth at one level flattens that level only: the columns roll off
        // differently toward full well. K bands at four levels flatten every level between. The
        // bands are chosen by the pixel's level, so the scene is evenly lit.
        const char* cam = "SIM-LS8192-MLK";
        lsxHandle h = openCamera(cam, LSX_OPEN_FACTORY);
        lsxSimSetNoise(cam, false);
        QCOMPARE(lsxSimSetScene(cam, LSX_SIM_SCENE_FLAT, 0, 0.0, 0.0), LSX_OK);
        prepare(h, 2, 34, 8);
        const int W = 8192;
        const auto dark = truth(h, LSX_SIM_TRUE_DARK), sig100 = truth(h, LSX_SIM_TRUE_SIGNAL);
        const double perUs = mean(std::vector<double>(sig100.begin(), sig100.end())) / 100.0;
        // The hot columns' dark grows with the exposure, away from the B written: left out.
        const auto keep = plainColumns(h);
        // The exposure that brings the mean signal to an 8-bit level.
        auto exposureFor = [&](double level8) { return level8 * 4 / perUs; };
        auto kAt = [&](double level8, std::vector<float>& k) {
            lsxSetExposure(h, exposureFor(level8));
            const auto sig = truth(h, LSX_SIM_TRUE_SIGNAL);
            double target = 0;
            for (float s : sig) target += s;
            target /= sig.size();
            k.resize(size_t(W));
            for (int x = 0; x < W; ++x) k[size_t(x)] = float(target / sig[size_t(x)]);
            return target / 4;
        };
        auto residual = [&](double level8) {
            lsxSetExposure(h, exposureFor(level8));
            Frame f;
            if (grab(h, f) != LSX_OK) return -1.0;
            return stddev(kept(columnMeans(f), keep));
        };
        FpnRecord rec(uint32_t(W), 1, LSX_FPN_FACTORY_DARK);
        std::vector<float> k;
        kAt(100, k);
        for (int x = 0; x < W; ++x) {
            rec.pairs()[2 * x] = k[size_t(x)];
            rec.pairs()[2 * x + 1] = dark[size_t(x)] * 64.0f;
        }
        QCOMPARE(rec.send(h), LSX_OK);
        QCOMPARE(lsxSetConfigString(h, "FPNC.Selector", "factory"), LSX_OK);
        QCOMPARE(lsxSetConfigString(h, "FPNC.Enable", "true"), LSX_OK);
        const double oneAt100 = residual(100), oneAt215 = residual(215);
        // Four bands, each with the K of a level inside it; a band's level is its top.
        rec.head()->type = LSX_FPN_FACTORY_KBAND;
        const double sampled[] = {40.0, 100.0, 160.0, 215.0}, tops[] = {70.0, 130.0, 190.0, 255.0};
        for (int b = 0; b < 4; ++b) {
            kAt(sampled[b], k);
            rec.head()->level = uint16_t(tops[b]);
            for (int x = 0; x < W; ++x) rec.pairs()[2 * x] = k[size_t(x)];
            QCOMPARE(rec.send(h), LSX_OK);
        }
        const double bandsAt40 = residual(40), bandsAt215 = residual(215);
        // One K: flat at its own level but for the ADC's steps (0.4 DN), 1.2 DN and more at 215;
        // the bands flat at the levels they were taken at, low and high alike.
        qInfo() << "column spread, one K at 100 / 215:" << oneAt100 << oneAt215 << " K bands at 40 / 215:" << bandsAt40
                << bandsAt215;
        QVERIFY2(oneAt100 < 0.6, qPrintable(num(oneAt100)));
        QVERIFY2(oneAt215 > 1.2, qPrintable(num(oneAt215)));
        QVERIFY2(bandsAt40 < 0.6 && bandsAt215 < 0.6,
                 qPrintable(QString("%1 %2").arg(num(bandsAt40), num(bandsAt215))));
    }
};

QTEST_GUILESS_MAIN(TestSimEmva)
#include "test_sim_emva.moc"
