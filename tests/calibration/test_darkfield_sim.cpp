// The dark field on the simulated camera: the B rows measured in darkness against the camera's
// truth for the mono, four-line and colour cameras over gains 1 to 3, the DOffset the search
// leaves, the lit scene refused, and the run under the camera's faults.
#include "calibration/simharness.h"

#include "statustext.h"

#include <QElapsedTimer>
#include <QFile>
#include <QRegularExpression>
#include <QTemporaryDir>

namespace {

// Read noise of the test cameras, 10-bit units at gain 1.
constexpr double kReadNoise = 0.7;
constexpr int kWidth = 256;

double normalCdf(double z)
{
    return 0.5 * std::erfc(-z / std::sqrt(2.0));
}

// Mean and standard deviation of a sample as the camera delivers it: the 10-bit value t plus
// Gaussian noise sigma, rounded to a whole number, clipped to 0..1023, then put on the frame's
// scale (x 64 for 16-bit frames, the top 8 bits for 8-bit frames).
struct Moments {
    double mean = 0.0;
    double sd = 0.0;
};
Moments delivered(double t, double sigma, bool eightBit)
{
    double m1 = 0.0, m2 = 0.0;
    const int lo = std::max(0, int(std::floor(t - 10 * sigma)) - 1);
    const int hi = std::min(1023, int(std::ceil(t + 10 * sigma)) + 1);
    for (int r = lo; r <= hi; ++r) {
        const double below = r == 0 ? 0.0 : normalCdf((r - 0.5 - t) / sigma);
        const double upTo = r == 1023 ? 1.0 : normalCdf((r + 0.5 - t) / sigma);
        const double p = upTo - below;
        const double q = eightBit ? double(r >> 2) : double(r) * 64.0;
        m1 += p * q;
        m2 += p * q * q;
    }
    return {m1, std::sqrt(std::max(0.0, m2 - m1 * m1))};
}

// The mean of an 8-bit dark dithered over four black levels a step (1 DN10) apart, up or down
// (`direction`) from the true level t, equal shares of its rows, each share cut to 8-bit samples,
// less the mean lift (1.5 steps of a quarter sample): the level at 10-bit resolution.
double ditheredMean(double t, double sigma, int direction)
{
    double mean = 0.0;
    for (int j = 0; j < 4; ++j) mean += delivered(t + direction * j, sigma, true).mean;
    return mean / 4.0 - direction * 1.5 * 0.25;
}

}  // namespace

class TestDarkFieldSim : public QObject, SimHarness {
    Q_OBJECT

    void coverLens(const QString& name, bool covered)
    {
        setScene(name, covered ? LSX_SIM_SCENE_DARK : LSX_SIM_SCENE_FLAT);
    }

    // The camera's stream is stopped: a frame asked for answers "not started" at once.
    static bool streamStopped(lsxHandle h)
    {
        lsxFrame frame;
        void* buffer = nullptr;
        return lsxGetFrame(h, &frame, &buffer, 0) == LSX_ERR_NOT_STARTED;
    }

private slots:
    void initTestCase()
    {
        // Small sensors; hot columns weak enough that at gain 2 one DOffset lifts the darkest
        // column clear of zero while the brightest stays under the B limit on the walk's scale.
        // The multi-level camera keeps its hot columns, and its clock runs in real time.
        bindSim(QStringLiteral(R"({"timeScale": 0, "readNoise": %1, "hotAmp": 5, "scene": "dark", "cameras": [
            {"friendlyName": "SIM-LS4096-M", "width": %2},
            {"friendlyName": "SIM-LS2048-ML4", "width": %2},
            {"friendlyName": "SIM-LS2048-C", "width": %2},
            {"friendlyName": "SIM-LS8192-MLK", "width": 1024, "hotAmp": 300, "timeScale": 1, "exposure": 300}
        ]})")
                    .arg(kReadNoise)
                    .arg(kWidth));
        QVERIFY(lsx::hasSceneControl());
    }

    void init() { freshSim(); }

    void cleanupTestCase() { lsx::unbindLibrary(); }

    void darkRowsMatchTheTruth_data()
    {
        QTest::addColumn<QString>("name");
        QTest::addColumn<int>("planes");
        QTest::addColumn<bool>("eightBit");
        QTest::newRow("mono") << "SIM-LS4096-M" << 1 << false;
        QTest::newRow("four lines") << "SIM-LS2048-ML4" << 4 << false;
        QTest::newRow("colour") << "SIM-LS2048-C" << 3 << true;
    }

    void darkRowsMatchTheTruth()
    {
        QFETCH(QString, name);
        QFETCH(int, planes);
        QFETCH(bool, eightBit);
        auto s = openServer(name);
        QVERIFY(s->m_opened);
        store(FpnIni::GainMin, 1.0);
        store(FpnIni::GainMax, 2.0);
        QSignalSpy info(s.get(), &CameraServer::OS_FpnInfo);
        s->dsnuStart(true);
        const QList<Report> reports = reportsOf(info);
        QCOMPARE(reports.last(), Report(100, QStringLiteral("暗场校正-暗场校正执行完成。")));
        QCOMPARE(s->m_bList.size(), 2 * planes);
        QCOMPARE(s->m_incBList.size(), 2 * planes);
        // With the dark current of every row.
        QVERIFY(s->darkCurrentUsable());
        QVERIFY(!s->m_darkFromCamera);
        QVERIFY(streamStopped(s->m_handle));

        // The DOffset found at each gain, as the search applied it.
        QList<int> found;
        for (const Report& r : reports)
            if (r.second.startsWith(QStringLiteral("DOffset设置为：")))
                found.append(r.second.mid(11).chopped(1).toInt());
        QCOMPARE(found.size(), 2);

        const int rows = 1000;  // per plane: one sensor line in every fourth row of 4000 on four lines
        const double walkScale = eightBit ? 1.0 : 1.0 / 64.0;
        const QByteArray cam = name.toLatin1();
        for (int g = 0; g < 2; ++g) {
            const float gain = 1.0f + g;
            QCOMPARE(lsxSetAnalogGain(s->m_handle, gain), LSX_OK);
            QCOMPARE(lsxWriteGenICamReg(s->m_handle, GVR_SEN_BLACK_LEVEL, uint32_t(found[g])), LSX_OK);
            // The columns' temporal noise: read noise (part of it after the amplifier) and the
            // dark current's shot noise, as the camera's truth gives it.
            double sigma = 0;
            double darkest = 1e9, brightest = 0;
            for (int p = 0; p < planes; ++p) {
                const QList<double>& row = s->m_bList[g * planes + p];
                QCOMPARE(row.size(), kWidth);
                std::vector<float> truth(kWidth);
                int32_t count = kWidth;
                const int plane = planes == 3 ? p : 0, line = planes == 4 ? p : 0;
                QCOMPARE(m_api->getTrueDark(cam.constData(), plane, line, truth.data(), &count), LSX_OK);
                QCOMPARE(count, kWidth);
                std::vector<float> noise(kWidth);
                QCOMPARE(m_api->getTruth(cam.constData(), LSX_SIM_TRUE_NOISE, plane, line, noise.data(), &count),
                         LSX_OK);
                QCOMPARE(count, kWidth);
                for (int x = 0; x < kWidth; ++x) {
                    // At gain 1 the noise is the read noise alone, to a few hundredths.
                    if (g == 0) QVERIFY(std::abs(noise[size_t(x)] - kReadNoise) < 0.05);
                    sigma = std::max(sigma, double(noise[size_t(x)]));
                    Moments m = delivered(truth[size_t(x)], noise[size_t(x)], eightBit);
                    // An 8-bit dark is dithered over four black levels: B at 10-bit resolution.
                    if (eightBit) m.mean = ditheredMean(truth[size_t(x)], noise[size_t(x)], 1);
                    // 16-bit rows are truncated to whole raw units; the 8-bit lift is measured over
                    // the columns, to a few thousandths of a sample. Five standard errors: some 7000
                    // column means are compared, and the camera's noise differs from opening to opening.
                    const double tolerance = 5.0 * m.sd / std::sqrt(double(rows)) + (eightBit ? 0.01 : 1.0);
                    if (std::abs(row[x] - m.mean) > tolerance)
                        QFAIL(qPrintable(QStringLiteral("gain %1 plane %2 column %3: B %4, truth %5 (tolerance %6)")
                                             .arg(gain)
                                             .arg(p)
                                             .arg(x)
                                             .arg(row[x])
                                             .arg(m.mean)
                                             .arg(tolerance)));
                    darkest = std::min(darkest, row[x] * walkScale);
                    brightest = std::max(brightest, row[x] * walkScale);
                }
            }
            // The DOffset found lifts the darkest column clear of zero and keeps the brightest
            // under the limit, within what one frame's noise moves a column mean.
            const double slack = 4.0 * sigma / std::sqrt(double(rows)) * (eightBit ? 0.25 : 1.0);
            QVERIFY2(darkest > 1.0 - slack, qPrintable(QString::number(darkest)));
            QVERIFY2(brightest < s->m_maxB + slack, qPrintable(QString::number(brightest)));
        }
    }

    // At a black level of 127 the colour camera's 8-bit dark is dithered downwards: B matches the
    // truth at the level as found at 10-bit resolution, and the camera is left at that level.
    void ditherDownAtTheTopOfTheBlackLevel()
    {
        const QString name = QStringLiteral("SIM-LS2048-C");
        const QByteArray cam = name.toLatin1();
        auto s = openServer(name);
        store(FpnIni::GainMax, 1.0);
        store(FpnIni::DOffset, 127);
        QSignalSpy info(s.get(), &CameraServer::OS_FpnInfo);
        s->dsnuStart(false);
        QCOMPARE(reportsOf(info).last(), Report(100, QStringLiteral("暗场校正-暗场校正执行完成。")));
        QCOMPARE(s->m_bList.size(), 3);
        uint32_t level = 0;
        QCOMPARE(lsxReadGenICamReg(s->m_handle, GVR_SEN_BLACK_LEVEL, &level), LSX_OK);
        QCOMPARE(level, 127u);
        for (int p = 0; p < 3; ++p) {
            std::vector<float> truth(kWidth), noise(kWidth);
            int32_t count = kWidth;
            QCOMPARE(m_api->getTrueDark(cam.constData(), p, 0, truth.data(), &count), LSX_OK);
            QCOMPARE(m_api->getTruth(cam.constData(), LSX_SIM_TRUE_NOISE, p, 0, noise.data(), &count), LSX_OK);
            const QList<double>& row = s->m_bList[p];
            QCOMPARE(row.size(), kWidth);
            for (int x = 0; x < kWidth; ++x) {
                const double t = truth[size_t(x)], sigma = noise[size_t(x)];
                // Clear of the bottom of the 8-bit range, so that no share is cut off at 0.
                QVERIFY(t > 100.0);
                const double expected = ditheredMean(t, sigma, -1);
                // The step is measured over the columns: where their darks lie within one sample
                // it comes out some 10 % off, and B some 0.04 sample, up or down alike. Steps past
                // 127 wrap to negative levels whose shares are cut off at 0: B falls back to the
                // whole samples of the first share, up to 0.4 sample off.
                const double tolerance = 5.0 * delivered(t, sigma, true).sd / std::sqrt(1000.0) + 0.05;
                if (std::abs(row[x] - expected) > tolerance)
                    QFAIL(qPrintable(QStringLiteral("plane %1 column %2: B %3, truth %4 (tolerance %5)")
                                         .arg(p)
                                         .arg(x)
                                         .arg(row[x])
                                         .arg(expected)
                                         .arg(tolerance)));
            }
        }
    }

    void litSceneIsRefused()
    {
        auto s = openServer(QStringLiteral("SIM-LS4096-M"));
        coverLens(QStringLiteral("SIM-LS4096-M"), false);
        store(FpnIni::GainMax, 2.0);
        QSignalSpy info(s.get(), &CameraServer::OS_FpnInfo);
        s->dsnuStart(false);
        const QList<Report> reports = reportsOf(info);
        QCOMPARE(reports[reports.size() - 2],
                 Report(101, QStringLiteral("暗场校正-暗场亮度过高，超过限制值64，无法继续执行暗场校正。")));
        QCOMPARE(reports.last(), Report(101, QStringLiteral("暗场校正-暗场校正执行失败，请重试。")));
        QVERIFY(s->m_bList.isEmpty());
        QVERIFY(s->m_incBList.isEmpty());
        QVERIFY(streamStopped(s->m_handle));
    }

    void faultsEndTheRunAndAFreshRunSucceeds_data()
    {
        QTest::addColumn<QString>("fault");
        QTest::addColumn<int>("rowsKept");
        QTest::addColumn<QString>("words");
        QTest::newRow("trigger") << "trigger" << 1 << QString();
        QTest::newRow("frame") << "frame" << 1 << QString();
        QTest::newRow("gain setter") << "gain" << 1
                                     << QStringLiteral("暗场校正-设置增益出错，错误原因：-5-%1.").arg(statusText(-5));
        QTest::newRow("disconnect") << "disconnect" << 1
                                    << QStringLiteral("DOffset设置出错，错误原因：-1104-%1.").arg(statusText(-1104));
    }

    void faultsEndTheRunAndAFreshRunSucceeds()
    {
        QFETCH(QString, fault);
        QFETCH(int, rowsKept);
        QFETCH(QString, words);
        const QString name = QStringLiteral("SIM-LS4096-M");
        const QByteArray cam = name.toLatin1();
        auto s = openServer(name);
        store(FpnIni::GainMax, 2.0);
        // The first gain takes its frames (the search's, the measurement's and the second dark's),
        // then the fault.
        QSignalSpy first(s.get(), &CameraServer::OS_FpnInfo);
        s->dsnuStart(true);
        QCOMPARE(reportsOf(first).last().first, 100);
        uint64_t framesPerRun = 0, fires = 0;
        QCOMPARE(m_api->getCounters(cam.constData(), &framesPerRun, &fires), LSX_OK);
        const int perGain = int(framesPerRun / 2);

        // With the stored DOffset a gain takes three frames (one and the second dark's two): the
        // trigger and frame faults hit the second dark; the disconnect comes in the middle of the
        // second gain's DOffset search.
        if (fault == "trigger") m_api->injectFault("lsxTriggerFire", 1, -53, 1);
        if (fault == "frame") m_api->injectFault("lsxGetFrame", 1, -1001, 1);
        if (fault == "gain") m_api->injectFault("lsxSetAnalogGain", 1, -5, 1);
        if (fault == "disconnect") m_api->disconnectAfterFrames(cam.constData(), perGain + 2);
        // The search's value of the last gain cuts gain 1 off at 0: the stored DOffset is one that
        // suits both gains.
        store(FpnIni::DOffset, 0);
        QSignalSpy info(s.get(), &CameraServer::OS_FpnInfo);
        s->dsnuStart(fault == "disconnect");
        const QList<Report> reports = reportsOf(info);
        QCOMPARE(reports.last(), Report(101, QStringLiteral("暗场校正-暗场校正执行失败，请重试。")));
        if (!words.isEmpty()) QVERIFY2(reports.contains(Report(101, words)), qPrintable(reports.last().second));
        QCOMPARE(s->m_bList.size(), rowsKept);
        QCOMPARE(s->m_incBList.size(), rowsKept);
        if (fault == "disconnect") {
            QCOMPARE(m_api->reconnect(cam.constData()), LSX_OK);
        }
        QVERIFY(streamStopped(s->m_handle));

        m_api->clearFaults();
        QSignalSpy again(s.get(), &CameraServer::OS_FpnInfo);
        s->dsnuStart(true);
        QCOMPARE(reportsOf(again).last(), Report(100, QStringLiteral("暗场校正-暗场校正执行完成。")));
        QCOMPARE(s->m_bList.size(), 2);
    }

    // The dark current goes with the FPN file into a file beside it and comes back with it; a
    // save without one removes an old side file; a damaged one is told and dropped.
    void darkCurrentBesideTheFpnFile()
    {
        const QString name = QStringLiteral("SIM-LS4096-M");
        auto s = openServer(name);
        QSignalSpy info(s.get(), &CameraServer::OS_FpnInfo);
        s->dsnuStart(true);
        QCOMPARE(reportsOf(info).last().first, 100);
        QVERIFY(s->darkCurrentUsable());
        const DarkCurrent measured = s->m_darkCurrent;
        QTemporaryDir dir;
        const QString fpn = dir.filePath(QStringLiteral("cam.FAC.FPN"));
        QVERIFY(s->saveFpnFile(fpn));
        QVERIFY(QFile::exists(fpn + QStringLiteral(".dark")));

        s->m_darkCurrent = DarkCurrent();
        s->m_bList.clear();
        QVERIFY(s->loadFpnFile(fpn));
        QVERIFY(s->darkCurrentUsable());
        QCOMPARE(s->m_darkCurrent.exposure, measured.exposure);
        QCOMPARE(s->m_darkCurrent.secondExposure, measured.secondExposure);
        QCOMPARE(s->m_darkCurrent.slope, measured.slope);

        // A save cut short after it moved the side file aside, the FPN file not yet replaced: the
        // aside file is this file's (its digest says so) and goes back in place.
        const QString dark = fpn + QStringLiteral(".dark"), aside = dark + QStringLiteral(".old");
        QVERIFY(QFile::rename(dark, aside));
        s->m_darkCurrent = DarkCurrent();
        QSignalSpy told(s.get(), &CameraServer::OS_CameraWarning);
        QVERIFY(s->loadFpnFile(fpn));
        QVERIFY(s->darkCurrentUsable());
        QCOMPARE(s->m_darkCurrent.slope, measured.slope);
        QVERIFY(QFile::exists(dark) && !QFile::exists(aside));
        QCOMPARE(told.size(), 0);

        // The FPN file changed after its dark current was saved (by hand, or the save cut short
        // after the file was replaced): the side file is not this file's, told and not loaded.
        QSettings(fpn, QSettings::IniFormat).setValue(QStringLiteral("Head/SupportMLK"), QStringLiteral("0"));
        QVERIFY(s->loadFpnFile(fpn));
        QCOMPARE(told.size(), 1);
        QVERIFY2(told.at(0).at(0).toString().contains(QStringLiteral("不属于这个FPN文件")),
                 qPrintable(told.at(0).at(0).toString()));
        QVERIFY(!s->darkCurrentUsable());
        QVERIFY(QFile::rename(dark, aside));
        QVERIFY(s->loadFpnFile(fpn));
        QCOMPARE(told.size(), 2);
        QVERIFY2(told.at(1).at(0).toString().contains(QStringLiteral("被替换前的版本")),
                 qPrintable(told.at(1).at(0).toString()));
        QVERIFY(!s->darkCurrentUsable());
        QVERIFY(QFile::exists(aside) && !QFile::exists(dark));
        QVERIFY(QFile::rename(aside, dark));

        // Damaged: told, the FPN file still loads, without a dark current.
        QFile side(fpn + QStringLiteral(".dark"));
        QVERIFY(side.open(QIODevice::WriteOnly));
        side.write("{");
        side.close();
        QSignalSpy warned(s.get(), &CameraServer::OS_CameraWarning);
        QVERIFY(s->loadFpnFile(fpn));
        QCOMPARE(warned.size(), 1);
        QVERIFY(warned.at(0).at(0).toString().contains(QStringLiteral("不是 JSON 文件")));
        QVERIFY(!s->darkCurrentUsable());
        // Saved without a dark current: no side file to mislead the next load.
        QVERIFY(s->saveFpnFile(fpn));
        QVERIFY(!QFile::exists(fpn + QStringLiteral(".dark")));
    }

    // An exposure change that moves a hot column's dark by more than 1 DN10 is told once, naming
    // the dark field to repeat; a small one is not.
    void exposureChangeTold()
    {
        const QString name = QStringLiteral("SIM-LS8192-MLK");
        auto s = openServer(name);
        m_api->setTimeScale(name.toLatin1().constData(), 0.0);
        lsxSetExposure(s->m_handle, 20.0);
        QSignalSpy info(s.get(), &CameraServer::OS_FpnInfo);
        s->dsnuStart(true);
        QCOMPARE(reportsOf(info).last().first, 100);
        // The hottest column gains some 300 DN10 per ms: 1 DN10 in about 3.3 us.
        QCOMPARE(s->darkCurrentWarning(21.0), QString());
        const QString told = s->darkCurrentWarning(40.0);
        QVERIFY2(told.startsWith(QStringLiteral("曝光时间由暗场校正时的 20 us 改为 40 us，热像素列的暗电平将变化 ")),
                 qPrintable(told));
        QVERIFY(told.contains(QStringLiteral("请在新的曝光时间下重新执行暗场校正")));
        QCOMPARE(s->darkCurrentWarning(45.0), QString());
        // Back near the dark run's exposure, and away again: told again.
        QCOMPARE(s->darkCurrentWarning(20.0), QString());
        QVERIFY(!s->darkCurrentWarning(8.0).isEmpty());
    }

    // At 300 us the hot columns' dark current puts them more than the DOffset's window above the
    // darkest column: the search fails at its first frame, in real time well within 5 s, naming
    // hot columns only, their level, the exposure and the remedy.
    void hotColumnsAtALongExposureFailTheSearch()
    {
        const QString name = QStringLiteral("SIM-LS8192-MLK");
        auto s = openServer(name);
        QSignalSpy info(s.get(), &CameraServer::OS_FpnInfo);
        QElapsedTimer clock;
        clock.start();
        s->dsnuStart(true);
        const qint64 ms = clock.elapsed();
        const QList<Report> reports = reportsOf(info);
        QCOMPARE(reports.last(), Report(101, QStringLiteral("暗场校正-暗场校正执行失败，请重试。")));
        const QString refusal = reports.at(reports.size() - 2).second;
        qInfo("%lld ms: %s", ms, qPrintable(refusal));
        QVERIFY2(ms < 5000, qPrintable(QString::number(ms)));
        QVERIFY2(refusal.startsWith(QStringLiteral("检测DOffset出错：曝光时间 300 us 下第 ")), qPrintable(refusal));
        QVERIFY(refusal.endsWith(QStringLiteral("请缩短曝光时间后重试。")));
        // Every column named is a hot one.
        std::vector<float> current(1024);
        int32_t count = 1024;
        QCOMPARE(m_api->getTruth(name.toLatin1().constData(), LSX_SIM_TRUE_DARK_CURRENT, 0, 0, current.data(), &count),
                 LSX_OK);
        const QRegularExpression column(QStringLiteral("第 (\\d+) 列（([0-9.]+) DN10）"));
        int named = 0;
        for (auto it = column.globalMatch(refusal); it.hasNext(); ++named) {
            const QRegularExpressionMatch m = it.next();
            const int x = m.captured(1).toInt();
            QVERIFY2(current[size_t(x)] > 100.0f, qPrintable(QString::number(x)));
            QVERIFY(m.captured(2).toDouble() > 64.0);
        }
        QVERIFY(named >= 1);
        QVERIFY(s->m_bList.isEmpty());
    }

    // At gain 3 the read noise is 1.8 DN10: the search's darkest column just above 1 DN10 leaves
    // more than 1 % of the samples at 0, and the run says so instead of keeping a B cut off there.
    void darkCutOffAtHighGainFails()
    {
        auto s = openServer(QStringLiteral("SIM-LS4096-M"));
        store(FpnIni::GainMin, 3.0);
        store(FpnIni::GainMax, 3.0);
        QSignalSpy info(s.get(), &CameraServer::OS_FpnInfo);
        s->dsnuStart(true);
        const QList<Report> reports = reportsOf(info);
        QCOMPARE(reports.last(), Report(101, QStringLiteral("暗场校正-暗场校正执行失败，请重试。")));
        const QString refusal = reports.at(reports.size() - 2).second;
        QVERIFY2(refusal.startsWith(QStringLiteral("暗场校正-黑白 有 "))
                     && refusal.contains(QStringLiteral("请提高DOffset")),
                 qPrintable(refusal));
        QVERIFY(s->m_bList.isEmpty());
        // A stored DOffset a few DN10 higher gives a dark clear of 0.
        const int found = QSettings(fpnIniPath(), QSettings::IniFormat).value(FpnIni::DOffset).toInt();
        store(FpnIni::DOffset, found + 4);
        QSignalSpy again(s.get(), &CameraServer::OS_FpnInfo);
        s->dsnuStart(false);
        QCOMPARE(reportsOf(again).last().first, 100);
    }
};

QTEST_GUILESS_MAIN(TestDarkFieldSim)
#include "test_darkfield_sim.moc"
