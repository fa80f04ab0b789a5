// What a station calibration leaves, measured by the verification at the levels of saturation
// EMVA 1288 uses, on the four simulated cameras with their hot and weak columns and their dark
// current: the calibration at a working grey level (the default 180 of 255, and mid-scale), the
// FPN written into the camera and on, then a verification at 25, 50 and 80 % of saturation. Residual PRNU of every plane or line, DSNU
// after correction on a dark clear of 0, the defect columns before correction against the
// simulator's own hot and weak columns, the camera left at its working exposure; and the factory
// set's K per level band on the multi-level camera against one K, at each level, by the spread of
// the response row (the verification judges the larger of PRNU1288 and the response row's: the
// hot columns' corrected dark far from the working exposure is a pattern that enters PRNU1288's
// difference of spatial variances as a cross term).
// The bounds are the figures measured with some margin; where a bound is wider than the aim
// (PRNU 0.20 % at 50 %, 0.35 % elsewhere, 0.15 % per band) the comment says why.
#include "calibration/simharness.h"

namespace {

constexpr int kWidth = 512;

}  // namespace

class TestVerifyTargets : public QObject, SimHarness {
    Q_OBJECT

    std::vector<float> truth(const QString& name, int kind)
    {
        std::vector<float> out(static_cast<size_t>(kWidth));
        int32_t count = kWidth;
        if (m_api->getTruth(name.toLatin1().constData(), kind, 0, 0, out.data(), &count) != LSX_OK) return {};
        out.resize(size_t(count));
        return out;
    }

    // The spread of the response row after correction (lit minus dark column means, at the same
    // exposure) over its mean, per cent, of every plane at each level: [level][plane]. Unlike
    // PRNU1288's difference of spatial variances it holds when the corrected dark carries a
    // pattern of its own that the lit stack does not (hot columns far from their B).
    static QList<QList<double>> responseSpread(const VerifyReport& r)
    {
        QList<QList<double>> out(r.levels.size());
        for (const VerifyPlane& p : r.planes)
            for (int i = 0; i < p.after.levels.size() && i < out.size(); ++i) {
                const VerifyLevelFigures& l = p.after.levels[i];
                std::vector<double> response;
                for (int x = 0; x < l.brightMeans.size() && x < l.darkMeans.size(); ++x)
                    response.push_back(l.brightMeans[x] - l.darkMeans[x]);
                out[i].append(100.0 * columnSpread(response) / meanOf(response));
            }
        return out;
    }

    // The spread over the columns of (row a / its mean) / (row b / its mean) - 1, per cent, of the
    // response rows (bright - dark) of two levels.
    static double linearitySpread(const VerifyLevelFigures& a, const VerifyLevelFigures& b)
    {
        std::vector<double> ra, rb, ratio;
        for (int x = 0; x < a.brightMeans.size() && x < b.brightMeans.size(); ++x) {
            ra.push_back(a.brightMeans[x] - a.darkMeans[x]);
            rb.push_back(b.brightMeans[x] - b.darkMeans[x]);
        }
        const double ma = meanOf(ra), mb = meanOf(rb);
        for (size_t x = 0; x < ra.size(); ++x) ratio.push_back((ra[x] / ma) / (rb[x] / mb));
        const double mr = meanOf(ratio);
        double s2 = 0.0;
        for (double r : ratio) s2 += (r - mr) * (r - mr);
        return 100.0 * std::sqrt(s2 / double(ratio.size() - 1));
    }

    static double worst(const QList<double>& v)
    {
        double w = 0.0;
        for (double x : v) w = std::isnan(x) ? x : std::max(w, x);
        return w;
    }

private slots:
    void initTestCase()
    {
        qRegisterMetaType<VerifyReport>();
        bindSim(QStringLiteral(R"({"timeScale": 0, "cameras": [
            {"friendlyName": "SIM-LS4096-M", "width": %1},
            {"friendlyName": "SIM-LS2048-ML4", "width": %1},
            {"friendlyName": "SIM-LS2048-C", "width": %1},
            {"friendlyName": "SIM-LS8192-MLK", "width": %1}
        ]})")
                    .arg(kWidth));
    }

    void init()
    {
        freshSim();
        store(VerifyIni::Levels, QStringLiteral("25,50,80"));
    }

    void cleanupTestCase() { lsx::unbindLibrary(); }

    // Each camera calibrated at the default grey level (PixelMax 180 of 255, some 70 % of
    // saturation) and at mid-scale (128, EMVA's 50 %).
    void stationCalibration_data()
    {
        QTest::addColumn<QString>("name");
        QTest::addColumn<int>("level");
        for (int working : {180, 128}) {
            const QByteArray at = " at " + QByteArray::number(working);
            QTest::newRow("mono" + at) << "SIM-LS4096-M" << working;
            QTest::newRow("four lines" + at) << "SIM-LS2048-ML4" << working;
            QTest::newRow("colour" + at) << "SIM-LS2048-C" << working;
            QTest::newRow("multi-level" + at) << "SIM-LS8192-MLK" << working;
        }
    }

    void stationCalibration()
    {
        QFETCH(QString, name);
        QFETCH(int, level);
        auto s = openServer(name);
        s->setFlatEnable(true);
        store(FpnIni::PixelMax, level);
        calibrateAt(s.get(), name, level);
        if (QTest::currentTestFailed()) return;
        QCOMPARE(reportsOfRun(s.get(), [&] { s->fpnWriteDown(0); }).last().first, 100);
        double working = 0.0;
        QCOMPARE(lsxGetExposure(s->m_handle, &working), LSX_OK);

        QList<Report> reports;
        const VerifyReport r = verifyAnswered(s.get(), name, &reports);
        QVERIFY2(!r.planes.isEmpty(), qPrintable(textsOf(reports).join(QLatin1Char('|'))));
        QCOMPARE(r.levels, (QList<double>{25.0, 50.0, 80.0}));
        QCOMPARE(r.levelExposures.size(), 3);
        // Each level's exposure set by the run, rising with the level; the working one back.
        QVERIFY(r.levelExposures[0] < r.levelExposures[1] && r.levelExposures[1] < r.levelExposures[2]);
        double after = 0.0;
        QCOMPARE(lsxGetExposure(s->m_handle, &after), LSX_OK);
        QCOMPARE(after, working);
        QCOMPARE(r.exposure, working);

        const bool colour = r.planes.size() == 3;
        for (int plane = 0; plane < r.planes.size(); ++plane) {
            const VerifyPlane& p = r.planes[plane];
            QCOMPARE(p.after.levels.size(), 3);
            qInfo(
                "%s %s: DSNU %.3f -> %.3f DN10 (dark at 0 as found %.0f %%, lifts %d/%d); PRNU before %.3f %%; "
                "after at 25 %% (%.1f us) %.3f %%, 50 %% (%.1f us) %.3f %%, 80 %% (%.1f us) %.3f %%; defects %d -> %d",
                qPrintable(name), qPrintable(p.name), p.before.dsnu, p.after.dsnu, 100.0 * p.after.darkZero,
                p.after.darkLift.first, p.after.darkLift.second, p.before.prnu, r.levelExposures[0],
                p.after.levels[0].prnu, r.levelExposures[1], p.after.levels[1].prnu, r.levelExposures[2],
                p.after.levels[2].prnu, int(p.before.defects.size()), int(p.after.defects.size()));
            // A dark cut off at 0 was measured clear of it.
            QVERIFY(p.after.darkLift.measurable);
            QVERIFY(p.after.darkLift.worstColumnZeros <= 0.01);
            // The worst level is the judged one.
            QCOMPARE(p.after.prnu, worst({p.after.levels[0].prnu, p.after.levels[1].prnu, p.after.levels[2].prnu}));
            // The columns' spread of non-linearity, as the report gives it: how much the response
            // row's shape changes between the lowest and the highest level (the spread of the
            // ratio of the two normalised rows), against the formula written out here. One K
            // follows the row at its own level only.
            const double shape = linearitySpread(p.after.levels[0], p.after.levels[2]);
            qInfo("%s %s at %d: response row's shape from 25 to 80 %% changes by %.3f %%", qPrintable(name),
                  qPrintable(p.name), level, p.after.shapeChange);
            QVERIFY2(std::abs(p.after.shapeChange - shape) < 1e-9, qPrintable(QString::number(shape)));
            QVERIFY2(p.after.shapeChange > 0.2 && p.after.shapeChange < 0.6, qPrintable(QString::number(shape)));
            // Every plane or line without a defect column (colour B has one: below).
            const bool clean = p.after.defects.isEmpty();
            if (clean && level == 128) {
                // K taken at mid-scale: the aims, 0.20 % at 50 % and 0.35 % at 25 and 80 %.
                QVERIFY2(p.after.levels[1].prnu < 0.20, qPrintable(QString::number(p.after.levels[1].prnu)));
                QVERIFY2(p.after.levels[0].prnu < 0.35, qPrintable(QString::number(p.after.levels[0].prnu)));
                QVERIFY2(p.after.levels[2].prnu < 0.35, qPrintable(QString::number(p.after.levels[2].prnu)));
            } else if (clean) {
                // K taken at some 70 % leaves the roll-off's spread at the other levels: 0.16 to
                // 0.22 % at 50 %, 0.30 to 0.37 % at 25 %, beyond the aims at those levels.
                QVERIFY2(p.after.levels[1].prnu < 0.25, qPrintable(QString::number(p.after.levels[1].prnu)));
                QVERIFY2(p.after.levels[0].prnu < 0.40, qPrintable(QString::number(p.after.levels[0].prnu)));
                QVERIFY2(p.after.levels[2].prnu < 0.20, qPrintable(QString::number(p.after.levels[2].prnu)));
            }
            if (colour) {
                // Under the lens fall-off one weak column at the line's end needs more than the
                // camera's K limit: it stays a defect, its shortfall dominates PRNU (about 0.7 %), and
                // the verdict says so. The other columns' DSNU meets the 8-bit target.
                QVERIFY2(p.after.dsnu < 0.5, qPrintable(QString::number(p.after.dsnu)));
                for (int x : p.after.defects) QVERIFY(std::abs(s->m_kList[plane][x] - (s->m_maxK - 0.2)) < 1e-6);
                continue;
            }
            // The lift of B (the bright field's last step: the noise's mean peak over each column's
            // K) leaves every column's corrected dark the same lift below 0, so K's spread under the
            // lens fall-off (some 0.15 DN10 with one K for the row) does not come back in the dark
            // lifted clear of 0: 0.025 to 0.032 DN10 on 16-bit output.
            QVERIFY2(p.after.dsnu < 0.10, qPrintable(QString::number(p.after.dsnu)));
            QCOMPARE(p.after.defects, QVector<int>());
        }
        QCOMPARE(reportPasses(r), !colour);

        // Before correction the mono camera's defect columns are exactly its hot and weak ones.
        if (name == QStringLiteral("SIM-LS4096-M")) {
            const std::vector<float> current = truth(name, LSX_SIM_TRUE_DARK_CURRENT);
            const std::vector<float> response = truth(name, LSX_SIM_TRUE_RESPONSE);
            QCOMPARE(int(current.size()), kWidth);
            QCOMPARE(int(response.size()), kWidth);
            QVector<int> expected;
            for (int x = 0; x < kWidth; ++x)
                if (current[size_t(x)] > 50.0f || response[size_t(x)] < 0.85f) expected.append(x);
            QVERIFY(expected.size() >= 5);
            QCOMPARE(r.planes.first().before.defects, expected);
        }
    }

    // The factory set of the multi-level camera: K per level band against one K, each measured by
    // the verification at 25, 50 and 80 %, hot columns included.
    void multiLevelPerBand()
    {
        const QString name = QStringLiteral("SIM-LS8192-MLK");
        auto run = [&](bool factory) {
            QList<QList<double>> prnu;
            freshSim();
            store(VerifyIni::Levels, QStringLiteral("25,50,80"));
            if (factory) store(FpnIni::Factory, true);
            // Even light, as on a factory's diffuser: under the lens fall-off the top levels would
            // clip the middle of the line before its ends reach them.
            if (m_api->setScene(name.toLatin1().constData(), LSX_SIM_SCENE_FLAT, -1, 0.0, 0.0) != LSX_OK) return prnu;
            auto s = openServer(name);
            s->setFlatEnable(true);
            calibrateAt(s.get(), name, 180.0);
            if (QTest::currentTestFailed()) return prnu;
            if (factory) {
                if (s->m_supportMLK != 1 || s->m_kPoints.isEmpty()) return prnu;
                lsxSetConfigString(s->m_handle, "FPNC.Selector", "factory");
            }
            if (reportsOfRun(s.get(), [&] { s->fpnWriteDown(factory ? 1 : 0); }).last().first != 100) return prnu;
            QList<Report> reports;
            const VerifyReport r = verifyAnswered(s.get(), name, &reports);
            if (r.planes.isEmpty()) qInfo("%s", qPrintable(textsOf(reports).join(QLatin1Char('|'))));
            for (const VerifyPlane& p : r.planes)
                for (const VerifyLevelFigures& l : p.after.levels)
                    qInfo("%s at %.0f %%: dark %.2f DN10 (lifts %d/%d), s2 dark %.3f bright %.3f DN10^2, PRNU %.3f %%",
                          factory ? "K per level band" : "one K", l.target, l.darkMean, l.darkLift.first,
                          l.darkLift.second, l.darkSpatialVar, l.brightSpatialVar, l.prnu);
            return responseSpread(r);
        };
        const QList<QList<double>> one = run(false);
        const QList<QList<double>> bands = run(true);
        QCOMPARE(one.size(), 3);
        QCOMPARE(bands.size(), 3);
        const char* levels[] = {"25", "50", "80"};
        for (int i = 0; i < 3; ++i) {
            qInfo("%s %% of saturation: response spread with one K %.3f %%, with K per level band %.3f %%", levels[i],
                  worst(one[i]), worst(bands[i]));
            // The bands leave 0.16 % at 25 %, 0.15 % at 50 % and 0.07 % at 80 %, against 0.28, 0.16
            // and 0.10 % with one K. What is left: 25 and 50 % fall on the band limits 64 and 128,
            // so the columns on either side take K sampled at 48 and 96 or at 96 and 191, whose
            // difference is the column's non-linearity between those levels; and a hot column's
            // band is chosen on its raw level less B, off by its dark current over the exposure's
            // distance from the working one (up to 1.25 % on the column with 290 DN10/ms).
            const double bound[] = {0.20, 0.17, 0.10};
            QVERIFY2(worst(bands[i]) < bound[i], qPrintable(QString::number(worst(bands[i]))));
            QVERIFY2(worst(bands[i]) < worst(one[i]), qPrintable(QString::number(worst(one[i]))));
        }
    }
};

QTEST_GUILESS_MAIN(TestVerifyTargets)
#include "test_verify_targets.moc"
