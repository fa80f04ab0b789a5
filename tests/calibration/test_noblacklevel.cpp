// A camera without a black level (a standard GenICam camera without BlackLevel: the register reads
// as not there, the sensor's DOffset registers answer "not supported") against the recording
// library: its DOffset reads as 0, is applied without a write and told once per run, the DOffset
// search has nothing to search, and a dark run over several gains gives its rows; the bright field
// uses the program's own dark rows where the camera has no dark record to read back. A camera that
// has a black level and refuses a write still fails as before.
#include "calibration/recordharness.h"

#include "statustext.h"

#include <QSignalSpy>

#include <cmath>

namespace {

const Report kFixedAtZero{10, QStringLiteral("DOffset固定为0：相机没有黑电平功能（BlackLevel）。")};

}  // namespace

class TestNoBlackLevel : public QObject, RecordCamHarness {
    Q_OBJECT

    // A server on the recording camera without a black level, as fpnReadDoffset leaves it.
    std::unique_ptr<CameraServer> withoutBlackLevel()
    {
        cam().blackLevelReg = LSX_REG_UNSUPPORTED;
        cam().sensorRegs = false;
        auto s = server();
        s->m_hasBlackLevelReg = false;
        return s;
    }

private slots:
    void initTestCase() { bindRecordCam(); }
    void init() { freshCamera(); }
    void cleanupTestCase() { lsx::unbindLibrary(); }

    void readsAsZero()
    {
        store(FpnIni::DOffset, 9);
        auto s = withoutBlackLevel();
        s->m_hasBlackLevelReg = true;
        QSignalSpy info(s.get(), &CameraServer::OS_FpnInfo);
        QCOMPARE(s->fpnReadDoffset(), LSX_OK);
        QVERIFY(!s->m_hasBlackLevelReg);
        QCOMPARE(toList(cam().calls), (QStringList{"lsxReadGenICamReg(16777764)", "lsxGet(129,83)"}));
        QCOMPARE(setting(FpnIni::DOffset), QVariant(0));
        QCOMPARE(reportsOf(info), (QList<Report>{{10, QStringLiteral("当前DOffset为：0.")}}));
    }

    void setKeepsZeroAndSaysSoOnce()
    {
        store(FpnIni::DOffset, 5);
        auto s = withoutBlackLevel();
        QSignalSpy info(s.get(), &CameraServer::OS_FpnInfo);
        QVERIFY(s->fpnSetDoffset());
        QVERIFY(s->fpnSetDoffset());
        QCOMPARE(reportsOf(info), (QList<Report>{kFixedAtZero}));
        QCOMPARE(setting(FpnIni::DOffset), QVariant(0));
        QVERIFY(cam().doffsetWrites.empty());
        QCOMPARE(cam().count("lsxStop"), 0);
    }

    void searchHasNothingToSearch()
    {
        auto s = withoutBlackLevel();
        QSignalSpy info(s.get(), &CameraServer::OS_FpnInfo);
        QVERIFY(s->fpnDetectDoffset());
        QCOMPARE(reportsOf(info), (QList<Report>{kFixedAtZero}));
        QCOMPARE(cam().count("lsxTriggerFire"), 0);
        QCOMPARE(cam().count("lsxStop"), 0);
        QCOMPARE(setting(FpnIni::DOffset), QVariant(0));
    }

    // A camera with a black level that refuses the write is not taken for one without.
    void refusedWriteStillFails_data()
    {
        QTest::addColumn<uint32_t>("blackLevelReg");
        QTest::addColumn<bool>("sensorRegs");
        QTest::newRow("register reads a value") << 3u << false;
        QTest::newRow("sensor registers there") << LSX_REG_UNSUPPORTED << true;
    }
    void refusedWriteStillFails()
    {
        QFETCH(uint32_t, blackLevelReg);
        QFETCH(bool, sensorRegs);
        store(FpnIni::DOffset, 4);
        auto s = withoutBlackLevel();
        cam().blackLevelReg = blackLevelReg;
        cam().sensorRegs = sensorRegs;
        if (sensorRegs) cam().faults["lsxSet"] = {0, LSX_ERR_NOT_SUPPORTED, 1};
        QSignalSpy info(s.get(), &CameraServer::OS_FpnInfo);
        QVERIFY(!s->fpnSetDoffset());
        QCOMPARE(reportsOf(info),
                 (QList<Report>{{101, QStringLiteral("DOffset设置出错，错误原因：-2-%1.").arg(statusText(-2))}}));
        QCOMPARE(setting(FpnIni::DOffset), QVariant(4));
        QCOMPARE(cam().calls.back(), std::string("lsxStop()"));
    }

    // Three gains, with the search and without: B of every gain, DOffset 0 told once.
    void darkRunOverThreeGains_data()
    {
        QTest::addColumn<bool>("autoDoffset");
        QTest::newRow("stored DOffset") << false;
        QTest::newRow("DOffset search") << true;
    }
    void darkRunOverThreeGains()
    {
        QFETCH(bool, autoDoffset);
        store(FpnIni::GainMin, 1.0);
        store(FpnIni::GainMax, 3.0);
        store(FpnIni::DOffset, 6);
        auto s = withoutBlackLevel();
        cam().frame = monoFrames(LSX_BITS_8, [](int x, int, float gain) { return 10 + x + int(gain); });
        QSignalSpy info(s.get(), &CameraServer::OS_FpnInfo);
        s->dsnuStart(autoDoffset);
        const QList<Report> reports = reportsOf(info);
        QStringList told;
        for (const Report& r : reports) told.append(QStringLiteral("%1 %2").arg(r.first).arg(r.second));
        QVERIFY2(reports.last() == Report(100, QStringLiteral("暗场校正-暗场校正执行完成。")),
                 qPrintable(told.join(QLatin1Char('\n'))));
        QCOMPARE(reports.count(kFixedAtZero), 1);
        QCOMPARE(s->m_bList.size(), 3);
        for (int g = 0; g < 3; ++g) QCOMPARE(s->m_bList[g][5], double(10 + 5 + g + 1));
        QCOMPARE(setting(FpnIni::DOffset), QVariant(0));
        QVERIFY(cam().doffsetWrites.empty());

        // The next run tells it again.
        QSignalSpy again(s.get(), &CameraServer::OS_FpnInfo);
        s->dsnuStart(autoDoffset);
        QCOMPARE(reportsOf(again).count(kFixedAtZero), 1);
    }

    // The bright field where the camera has no dark record to read back: the program's own dark
    // rows (here a loaded file's, after an earlier read-back) are used; without any the run is
    // refused, naming the cause.
    void brightUsesTheProgramsDark_data()
    {
        QTest::addColumn<bool>("own");
        QTest::newRow("dark rows in the program") << true;
        QTest::newRow("none") << false;
    }
    void brightUsesTheProgramsDark()
    {
        QFETCH(bool, own);
        store(FpnIni::PixelMax, 100);
        auto s = withoutBlackLevel();
        if (own) {
            s->m_bList = {QList<double>(8, 1024.0)};
            s->m_incBList = {0.0};
        }
        s->m_darkFromCamera = true;
        cam().faults["lsxGet"] = {0, LSX_ERR_NOT_SUPPORTED, 1};  // the record, read first
        // Columns respond 0.8, 0.9, ..., 1.5 above the dark level 1024.
        cam().frame = cameraFrames(LSX_BITS_16, [](const RecordCam& c, int x, int) {
            return int(std::lround(1024.0 + (0.8 + 0.1 * x) * 0.5 * c.exposure * 256.0));
        });
        QSignalSpy info(s.get(), &CameraServer::OS_FpnInfo);
        s->fpnStart();
        const QList<Report> reports = reportsOf(info);
        if (!own) {
            QCOMPARE(
                reports.mid(reports.size() - 2),
                (QList<Report>{{90, QStringLiteral("明场校正-读取暗场参数出错，错误原因：-2-%1.").arg(statusText(-2))},
                               {101, QStringLiteral("明场校正-无法读取暗场参数，请先执行暗场校正。")}}));
            QVERIFY(s->m_kList.isEmpty());
            return;
        }
        QCOMPARE(reports.last(), Report(100, QStringLiteral("明场校正-明场校正执行完成")));
        QCOMPARE(failures(reports), 0);
        QCOMPARE(reports.count(Report(
                     10, QStringLiteral("明场校正-相机不支持读取暗场参数，将使用程序中的暗场参数进行FPN校正。"))),
                 1);
        QCOMPARE(reports.count(kFixedAtZero), 1);
        QVERIFY(!s->m_darkFromCamera);
        // K against the dark rows kept: the columns' responses in inverse proportion.
        QCOMPARE(s->m_kList.size(), 1);
        QCOMPARE(s->m_kList[0].size(), 8);
        for (int x = 0; x < 8; ++x)
            QVERIFY2(std::abs(s->m_kList[0][x] / s->m_kList[0][7] - 1.5 / (0.8 + 0.1 * x)) < 2e-3,
                     qPrintable(QString::number(s->m_kList[0][x])));
    }
};

QTEST_GUILESS_MAIN(TestNoBlackLevel)
#include "test_noblacklevel.moc"
