// A camera without a black level (a standard GenICam camera without BlackLevel: the register reads
// as not there, the sensor's DOffset registers answer "not supported") against the recording
// library: its DOffset reads as 0, is applied without a write and told once per run, the DOffset
// search has nothing to search, and a dark run over several gains gives its rows. A camera that has
// a black level and refuses a write still fails as before.
#include "calibration/recordharness.h"

#include "statustext.h"

#include <QSignalSpy>

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
        QCOMPARE(reports.last(), Report(100, QStringLiteral("暗场校正-暗场校正执行完成。")));
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
};

QTEST_GUILESS_MAIN(TestNoBlackLevel)
#include "test_noblacklevel.moc"
