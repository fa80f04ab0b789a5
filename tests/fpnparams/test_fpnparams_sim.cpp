// The closed loop through the simulated camera's own correction: dark run, bright run, the FPN
// written into a set of the camera and switched on, and then the camera's output itself flat
// (not the tool's preview of it). Also the factory multi-level set, the factory set refused
// outside factory mode, a bright run on the camera's own dark data that writes back only the
// bright half, and the camera gone between two records.
#include "calibration/simharness.h"

#include "statustext.h"

#include <QRegularExpression>

namespace {

constexpr int kWidth = 256;

// The debug lines of the program while alive: the write logs which halves it sends.
QStringList* g_lines = nullptr;
void keepLine(QtMsgType, const QMessageLogContext&, const QString& text)
{
    if (g_lines) g_lines->append(text);
}

}  // namespace

class TestFpnParamsSim : public QObject, SimHarness {
    Q_OBJECT

    QString cameraFpnSwitch(CameraServer* s)
    {
        char value[32] = {};
        lsxGetConfigString(s->m_handle, "FPNC.Enable", value, sizeof value);
        return QString::fromLatin1(value);
    }

    // Writes into the selected set and checks the two reports of a good write.
    void writeDown(CameraServer* s, int sel)
    {
        const QList<Report> r = reportsOfRun(s, [&] { s->fpnWriteDown(sel); });
        QCOMPARE(r, (QList<Report>{{100, QStringLiteral("FPN参数成功写入")},
                                   {100, QStringLiteral("\n已使能相机内部FPN，点击确定查看效果。")}}));
        QCOMPARE(cameraFpnSwitch(s), QStringLiteral("true"));
    }

    // The non-uniformity of every plane and line of a frame of the camera's own output.
    double worstNonUniformity(const cv::Mat& img, int planes, int lines)
    {
        double worst = 0.0;
        for (int p = 0; p < planes; ++p)
            for (int l = 0; l < lines; ++l) worst = std::max(worst, nonUniformity(lineMeansOf(img, p, l, lines)));
        return worst;
    }

private slots:
    void initTestCase()
    {
        bindSim(QStringLiteral(R"({"timeScale": 0, "hotAmp": 5, "cameras": [
            {"friendlyName": "SIM-LS4096-M", "width": %1},
            {"friendlyName": "SIM-LS2048-ML4", "width": %1},
            {"friendlyName": "SIM-LS2048-C", "width": %1},
            {"friendlyName": "SIM-LS8192-MLK", "width": %1}
        ]})")
                    .arg(kWidth));
    }

    void init() { freshSim(); }

    void cleanupTestCase() { lsx::unbindLibrary(); }

    void cameraOutputFlat_data() { sensorKinds(); }

    void cameraOutputFlat()
    {
        QFETCH(QString, name);
        QFETCH(int, planes);
        QFETCH(int, lines);
        auto s = openServer(name);
        s->setFlatEnable(true);
        calibrate(s.get(), name);
        const cv::Mat raw = frameAtLevel(s.get(), 180.0);
        writeDown(s.get(), 0);

        const cv::Mat out = frameAtLevel(s.get(), 180.0);
        QVERIFY(!raw.empty() && !out.empty());
        const double before = worstNonUniformity(raw, planes, lines);
        const double after = worstNonUniformity(out, planes, lines);
        qInfo("%s: flat output non-uniformity %.3f %% raw, %.3f %% with the camera's FPN", qPrintable(name),
              100 * before, 100 * after);
        QVERIFY(before > 0.02);
        QVERIFY2(after < 0.003, qPrintable(QString::number(after)));

        // In darkness the corrected columns stand together too (DN10: 16-bit / 64, 8-bit x 4).
        setScene(name, LSX_SIM_SCENE_DARK);
        const cv::Mat dark = frameAtLevel(s.get(), 0);
        const double toDn10 = m_bits == LSX_BITS_16 ? 1.0 / 64.0 : 4.0;
        double spread = 0.0;
        for (int p = 0; p < planes; ++p)
            spread = std::max(spread, columnSpread(columnMeansOf(dark, p, 0, dark.rows)) * toDn10);
        qInfo("%s: dark output column spread %.3f DN10", qPrintable(name), spread);
        QVERIFY2(spread < 0.3, qPrintable(QString::number(spread)));
    }

    // The columns roll off differently toward full well, so one K taken at one level leaves
    // them apart at the others; the factory set's K per level band holds them together at a
    // quarter, a half and four fifths of full scale. The light is even, as on a factory's
    // diffuser: under the lens fall-off the top levels would clip the middle of the line before
    // the ends reach them, and the ends' K there would be taken against a clipped mean.
    void multiLevelBeatsOneLevelOnTheRollOff()
    {
        const QString name = QStringLiteral("SIM-LS8192-MLK");
        auto evenLight = [&] {
            QCOMPARE(m_api->setScene(name.toLatin1().constData(), LSX_SIM_SCENE_FLAT, -1, 0.0, 0.0), LSX_OK);
        };
        const QList<double> levels{64.0, 128.0, 204.0};
        auto measure = [&](CameraServer* s) {
            QList<double> out;
            for (double level : levels) {
                const cv::Mat img = frameAtLevel(s, level);
                out.append(img.empty() ? 1.0 : worstNonUniformity(img, 1, 1));
            }
            return out;
        };

        // One level: the user set, written outside factory mode.
        evenLight();
        auto single = openServer(name);
        QVERIFY(m_api->setNoiseSeed(name.toLatin1().constData(), 7) == LSX_OK);
        single->setFlatEnable(true);
        calibrate(single.get(), name);
        writeDown(single.get(), 0);
        const QList<double> one = measure(single.get());
        single.reset();

        freshSim();
        evenLight();
        store(FpnIni::Factory, true);
        auto multi = openServer(name);
        QCOMPARE(multi->m_supportMLK, 1);
        QVERIFY(m_api->setNoiseSeed(name.toLatin1().constData(), 7) == LSX_OK);
        multi->setFlatEnable(true);
        calibrate(multi.get(), name);
        // The four grey levels' spaced series: many exposures, one sample list each.
        QVERIFY(multi->m_kPoints.size() > 30);
        QVERIFY(lsxSetConfigString(multi->m_handle, "FPNC.Selector", "factory") == LSX_OK);
        writeDown(multi.get(), 1);
        const QList<double> bands = measure(multi.get());

        double worstOne = 0.0, worstBands = 0.0;
        for (int i = 0; i < levels.size(); ++i) {
            qInfo("at %.0f: one K %.3f %%, K per level band %.3f %%", levels[i], 100 * one[i], 100 * bands[i]);
            worstOne = std::max(worstOne, one[i]);
            worstBands = std::max(worstBands, bands[i]);
            QVERIFY2(bands[i] < 0.003, qPrintable(QString::number(bands[i])));
        }
        QVERIFY2(worstOne > 2.0 * worstBands,
                 qPrintable(QStringLiteral("one %1 bands %2").arg(worstOne).arg(worstBands)));
    }

    void factorySetRefusedOutsideFactoryMode()
    {
        const QString name = QStringLiteral("SIM-LS4096-M");
        auto s = openServer(name);
        calibrate(s.get(), name);
        const QList<Report> r = reportsOfRun(s.get(), [&] { s->fpnWriteDown(1); });
        QCOMPARE(r,
                 (QList<Report>{{101, QStringLiteral("FPN参数写入失败，失败原因：-1202-%1.").arg(statusText(-1202))}}));
        QCOMPARE(cameraFpnSwitch(s.get()), QStringLiteral("false"));
    }

    void brightRunOnTheCamerasDarkWritesTheBrightHalf()
    {
        const QString name = QStringLiteral("SIM-LS4096-M");
        QList<QList<double>> written;
        int doffset = 0;
        {
            auto s = openServer(name);
            s->setFlatEnable(true);
            calibrate(s.get(), name);
            writeDown(s.get(), 0);
            written = s->m_bList;
            doffset = QSettings(fpnIniPath(), QSettings::IniFormat).value(FpnIni::DOffset).toInt();
        }
        // Another DOffset in the settings: the read-back puts the camera's own back.
        store(FpnIni::DOffset, doffset + 7);
        auto s = openServer(name);
        QVERIFY(s->m_bList.isEmpty());
        s->setFlatEnable(true);
        setScene(name, LSX_SIM_SCENE_FLAT);
        const QList<Report> r = reportsOfRun(s.get(), [&] { s->fpnStart(); });
        QCOMPARE(r.last().first, 100);
        QVERIFY(r.contains(Report(10, QStringLiteral("明场校正-相机内部暗场DOffset = %1").arg(doffset))));
        QVERIFY(s->m_darkFromCamera);
        QCOMPARE(QSettings(fpnIniPath(), QSettings::IniFormat).value(FpnIni::DOffset).toInt(), doffset);
        // B is what the earlier write put there (as single precision), on the scale of the frames
        // the camera now gives (the camera went back to its own format at the close), and no lift
        // is added to it.
        QCOMPARE(s->m_bList.size(), 1);
        QCOMPARE(s->m_bList[0].size(), written[0].size());
        const double scale = s->m_frameBits == LSX_BITS_16 ? 1.0 : 1.0 / 256.0;
        for (int x = 0; x < written[0].size(); ++x)
            QVERIFY2(std::abs(s->m_bList[0][x] - written[0][x] * scale) < 1e-4 * written[0][x] * scale,
                     qPrintable(QString::number(x)));

        QStringList lines;
        g_lines = &lines;
        const QtMessageHandler previous = qInstallMessageHandler(keepLine);
        writeDown(s.get(), 0);
        qInstallMessageHandler(previous);
        g_lines = nullptr;
        QCOMPARE(lines.filter(QRegularExpression(QStringLiteral("^lsxset :\\s+DSNU"))).size(), 0);
        QCOMPARE(lines.filter(QRegularExpression(QStringLiteral("^lsxset :\\s+PRNU"))).size(), 1);
        const cv::Mat out = frameAtLevel(s.get(), 180.0);
        QVERIFY(worstNonUniformity(out, 1, 1) < 0.003);
    }

    void cameraGoneBetweenRecords()
    {
        const QString name = QStringLiteral("SIM-LS4096-M");
        auto s = openServer(name);
        calibrate(s.get(), name);
        // The region, its limits and the dark half pass; from then on the camera answers no more.
        QCOMPARE(m_api->injectFault("*", 3, LSX_ERR_DISCONNECTED, 0), LSX_OK);
        const QList<Report> r = reportsOfRun(s.get(), [&] { s->fpnWriteDown(0); });
        m_api->clearFaults();
        QCOMPARE(r,
                 (QList<Report>{{101, QStringLiteral("FPN参数写入失败，失败原因：-1104-%1.").arg(statusText(-1104))}}));
        // The camera's FPN stays off, as the calibration left it.
        QCOMPARE(cameraFpnSwitch(s.get()), QStringLiteral("false"));
    }
};

QTEST_MAIN(TestFpnParamsSim)
#include "test_fpnparams_sim.moc"
