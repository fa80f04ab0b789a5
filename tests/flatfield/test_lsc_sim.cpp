// Lens shading on the simulated camera: the fit on the flat scene with lens fall-off and light
// slope, written into the camera's memory and FLASH and switched on, removes the slow profile of
// the camera's own output (on the mono and the colour camera); the block, the set index register
// and the switch as the camera holds them; a block with a wrong checksum refused by the camera
// with its message; gains that are not numbers never written.
#include "calibration/reports.h"
#include "calibration/simharness.h"
#include "camera/cameraserver.h"
#include "camera/tables.h"
#include "flatfield/flatharness.h"
#include "flatfield/lscfit.h"
#include "loader.h"
#include "sim/lsxsim.h"
#include "statustext.h"

#include <QFile>
#include <QSignalSpy>
#include <QTemporaryDir>
#include <QtTest>

#include <cmath>
#include <cstring>
#include <memory>

namespace {

constexpr int kWidth = 1024;
constexpr int kRows = 200;

// Peak-to-peak of the 64-column moving average, relative to its mean.
double movingAveragePp(const std::vector<double>& v)
{
    const int n = int(v.size()), w = 64;
    double lo = 1e300, hi = -1e300, total = 0;
    for (int i = 0; i + w <= n; ++i) {
        double s = 0;
        for (int j = i; j < i + w; ++j) s += v[size_t(j)];
        s /= w;
        lo = std::min(lo, s);
        hi = std::max(hi, s);
        total += s;
    }
    return (hi - lo) / (total / (n - w + 1));
}

std::vector<float> truth(const lsx::sim::Api& api, const char* cam, int kind, int plane)
{
    std::vector<float> out(kWidth);
    int32_t count = kWidth;
    if (api.getTruth(cam, kind, plane, 0, out.data(), &count) != LSX_OK) return {};
    out.resize(size_t(count));
    return out;
}

}  // namespace

class TestLscSim : public QObject, SimHarness {
    Q_OBJECT

private slots:
    void initTestCase()
    {
        // No PRNU and no weak columns: those are the flat field's to correct, and a polynomial
        // of the whole line cannot follow them; a 64-column window of a 2 % PRNU alone moves by
        // about 1 % peak-to-peak over the line.
        bindSim(QStringLiteral(R"({"timeScale": 0, "cameras": [
            {"friendlyName": "SIM-LS4096-M", "width": %1, "roiHeight": %2, "prnu": 0, "weakColumns": 0},
            {"friendlyName": "SIM-LS2048-C", "width": %1, "roiHeight": %2, "prnu": 0, "weakColumns": 0},
            {"friendlyName": "SIM-TQW4A2N60", "width": %1, "roiHeight": %2, "darkMean": 0, "dsnu": 0,
             "hotColumns": 0, "noise": false, "scene": "dark"}
        ]})")
                    .arg(kWidth)
                    .arg(kRows));
    }

    void init() { freshSim(); }

    void cleanupTestCase() { lsx::unbindLibrary(); }

    void closedLoopRemovesTheSlowProfile_data()
    {
        QTest::addColumn<QString>("name");
        QTest::addColumn<int>("channels");
        QTest::newRow("mono 16-bit") << "SIM-LS4096-M" << 1;
        QTest::newRow("colour") << "SIM-LS2048-C" << 3;
    }

    void closedLoopRemovesTheSlowProfile()
    {
        QFETCH(QString, name);
        QFETCH(int, channels);
        const QByteArray cam = name.toLatin1();
        auto s = openServer(cam.constData());
        const lsxHandle h = s->m_handle;
        if (channels == 1) {
            QCOMPARE(lsxSetSourceFormat(h, FORMAT_MONO16_SOURCE), LSX_OK);
            QCOMPARE(lsxSetTargetFormat(h, FORMAT_MONO16), LSX_OK);
        }
        QCOMPARE(m_api->setScene(cam.constData(), LSX_SIM_SCENE_FLAT, 7.0, 0.1, 0.25), LSX_OK);
        // Bytes of the set index register beside byte 2 are kept.
        QCOMPARE(lsxWriteGenICamReg(h, GVR_LSC_SET_INDEX, 0x0A0B0C0Du), LSX_OK);

        QSignalSpy info(s.get(), &CameraServer::OS_FpnInfo);
        s->applyLSC(-1.0f);
        QList<Report> reports = reportsOf(info);
        QCOMPARE(reports.first(), Report(1, QStringLiteral("LSC执行中...")));
        QVERIFY(reports.contains(Report(40, QStringLiteral("LSC-获取到Sensor最大宽度 : %1").arg(kWidth))));
        QCOMPARE(reports.last().first, 100);
        QCOMPARE(s->m_lscPolyList.size(), channels);
        QCOMPARE(s->m_lscKList.size(), channels);
        for (const QList<double>& p : s->m_lscPolyList) QCOMPARE(p.size(), 8);
        QCOMPARE(s->m_lscKList.first().size(), kWidth);
        // The lens shading was off for the measurement (no flat-field set is selected).
        QCOMPARE(int(switchOf(h).enable), 0);
        QCOMPARE(int(switchOf(h).mode), int(LSX_SWITCH_BOTH));

        info.clear();
        s->lscWriteDown(0, QStringLiteral("UserSet0"));
        reports = reportsOf(info);
        QCOMPARE(failures(reports), 0);
        // The memory and the FLASH store each told before they start, in that order.
        const qsizetype memory = reports.indexOf(Report(30, QStringLiteral("LSC参数写入相机内存...")));
        const qsizetype flash = reports.indexOf(Report(60, QStringLiteral("LSC参数存入相机FLASH，请勿断开相机...")));
        const qsizetype written = reports.indexOf(Report(99, QStringLiteral("LSC参数成功写入")));
        QVERIFY(memory >= 0);
        QVERIFY(flash > memory);
        QVERIFY(written > flash);
        QVERIFY(reports.contains(Report(99, QStringLiteral("\nLSC参数组设为UserSet0."))));
        QCOMPARE(reports.last(), Report(100, QStringLiteral("\nLSC使能成功。")));
        uint32_t reg = 0;
        QCOMPARE(lsxReadGenICamReg(h, GVR_LSC_SET_INDEX, &reg), LSX_OK);
        QCOMPARE(reg, 0x0A000C0Du);
        QCOMPARE(int(switchOf(h).enable), 1);
        QCOMPARE(int(switchOf(h).mode), int(LSX_SWITCH_LENS_ONLY));
        // The block in the camera's memory is the program's, byte for byte.
        const size_t size = 16 + size_t(channels) * 64;
        std::vector<uint8_t> held(size);
        QCOMPARE(lsxReadGenICamMem(h, LSX_MEM_LSC_BLOCK, held.data(), uint32_t(size)), LSX_OK);
        lsxRegion roi;
        QCOMPARE(lsxGetRoi(h, &roi), LSX_OK);
        QVERIFY(held == lscPackBlock(s->m_lscPolyList, roi));

        // The camera's own output: its slow profile over a 64-column window, against the scene's
        // light (fall-off and slope) that it had before.
        const auto out = outputMeans(h, 5);
        QCOMPARE(int(out.size()), channels);
        for (int c = 0; c < channels; ++c) {
            const std::vector<float> light = truth(*m_api, cam.constData(), LSX_SIM_TRUE_LIGHT, c);
            QCOMPARE(int(light.size()), kWidth);
            const std::vector<double> before(light.begin(), light.end());
            const double pp = movingAveragePp(out[size_t(c)]);
            qInfo("%s channel %d: slow profile %.3f %% p-p before, %.4f %% after", cam.constData(), c,
                  100 * movingAveragePp(before), 100 * pp);
            QVERIFY(movingAveragePp(before) > 0.2);
            QVERIFY2(pp < 0.005, qPrintable(QString::number(pp)));
        }
    }

    void checksumRefusedByTheCamera()
    {
        auto s = openServer("SIM-LS4096-M");
        const lsxHandle h = s->m_handle;
        lsxRegion roi;
        QCOMPARE(lsxGetRoi(h, &roi), LSX_OK);
        std::vector<uint8_t> block = lscPackBlock({{0, 0, 0, 0, 0, 0, 100.0, 120.0}}, roi);
        block[20] ^= 0x01;
        QCOMPARE(lsxWriteGenICamMem(h, LSX_MEM_LSC_BLOCK, block.data(), uint32_t(block.size())), LSX_ERR_CHECKSUM);

        // The camera's answer reaches the operator as it is, and nothing further is written.
        s->m_lscPolyList = {{0, 0, 0, 0, 0, 0, 100.0, 120.0}};
        QCOMPARE(lsxWriteGenICamReg(h, GVR_LSC_SET_INDEX, 0x00030000u), LSX_OK);
        m_api->injectFault("lsxWriteGenICamMem", 0, LSX_ERR_CHECKSUM, 1);
        QSignalSpy info(s.get(), &CameraServer::OS_FpnInfo);
        s->lscWriteDown(5, QStringLiteral("UserSet5"));
        const QList<Report> reports = reportsOf(info);
        // The lens-shading sets cannot be read back: the operator hears so first, then the write
        // into the camera's memory starting, and its failure.
        QCOMPARE(reports.size(), 3);
        QCOMPARE(reports[1], Report(30, QStringLiteral("LSC参数写入相机内存...")));
        QCOMPARE(reports.first(),
                 Report(5, QStringLiteral("写入前无法备份相机参数组 UserSet5：相机的镜头校正（LSC）参数组不能读回。"
                                          "写入后不能恢复原有参数。")));
        QCOMPARE(reports.last(),
                 Report(101, QStringLiteral("LSC参数写入失败，失败原因：-50-%1.").arg(statusText(LSX_ERR_CHECKSUM))));
        uint32_t reg = 0;
        QCOMPARE(lsxReadGenICamReg(h, GVR_LSC_SET_INDEX, &reg), LSX_OK);
        QCOMPARE(reg, 0x00030000u);
    }

    void nothingThatIsNotANumberIsWritten()
    {
        auto s = openServer("SIM-LS4096-M");
        QSignalSpy info(s.get(), &CameraServer::OS_FpnInfo);
        s->lscWriteDown(0, QStringLiteral("UserSet0"));
        QCOMPARE(reportsOf(info).last(), Report(101, QStringLiteral("没有执行LSC校正功能，请先执行LSC校正。")));
        info.clear();
        s->m_lscPolyList = {{0, 0, 0, 0, 0, std::nan(""), 100.0, 120.0}};
        s->lscWriteDown(0, QStringLiteral("UserSet0"));
        QCOMPARE(reportsOf(info).last(), Report(101, QStringLiteral("LSC参数中有无效数值，无法写入相机。")));
        uint8_t head[16] = {};
        QCOMPARE(lsxReadGenICamMem(s->m_handle, LSX_MEM_LSC_BLOCK, head, 16), LSX_OK);
        QCOMPARE(int(head[0] | head[1] | head[2] | head[3]), 0);
    }

    // A failure of the set selection is told and the run goes on to the switch.
    void selectionFailureGoesOn()
    {
        auto s = openServer("SIM-LS4096-M");
        s->m_lscPolyList = {{0, 0, 0, 0, 0, 0, 100.0, 120.0}};
        QSignalSpy info(s.get(), &CameraServer::OS_FpnInfo);
        s->lscWriteDown(0, QStringLiteral("NoSuchSet"));
        const QList<Report> reports = reportsOf(info);
        QCOMPARE(
            reports.at(reports.size() - 2),
            Report(101, QStringLiteral("\n设为选中的LSC参数组失败，失败原因：-5-%1.请手动选择写入的参数组-NoSuchSet")
                            .arg(statusText(-5))));
        QCOMPARE(reports.last(), Report(100, QStringLiteral("\nLSC使能成功。")));
    }

    // A camera in darkness with no dark level: every column mean is 0 and the normal equations
    // answer all zeros. The run ends with its message and leaves no result.
    void darkRowCannotBeFitted()
    {
        auto s = openServer("SIM-TQW4A2N60");
        QSignalSpy info(s.get(), &CameraServer::OS_FpnInfo);
        s->applyLSC(-1.0f);
        QCOMPARE(reportsOf(info).last(),
                 Report(101, QStringLiteral("LSC拟合失败：第1通道的多项式无法求解，请检查图像亮度或缩小ROI后重试。")));
        QVERIFY(s->m_lscPolyList.isEmpty());
        QVERIFY(s->m_lscKList.isEmpty());
    }

    // The switch to "Disable" failing is told, and the run still selects the set and switches.
    void disableFailureGoesOn()
    {
        auto s = openServer("SIM-LS4096-M");
        s->m_lscPolyList = {{0, 0, 0, 0, 0, 0, 100.0, 120.0}};
        m_api->injectFault("lsxSetConfigString", 0, LSX_ERR_TIMEOUT, 1);
        QSignalSpy info(s.get(), &CameraServer::OS_FpnInfo);
        s->lscWriteDown(1, QStringLiteral("UserSet1"));
        const QList<Report> reports = reportsOf(info);
        QVERIFY(reports.contains(
            Report(101, QStringLiteral("\n切换Disable失败，失败原因：-1000-%1.请手动切换。").arg(statusText(-1000)))));
        QVERIFY(reports.contains(Report(99, QStringLiteral("\nLSC参数组设为UserSet1."))));
        QCOMPARE(reports.last(), Report(100, QStringLiteral("\nLSC使能成功。")));
        char text[LSX_TEXT_SIZE] = {};
        QCOMPARE(lsxGetConfigString(s->m_handle, "LSC", text, sizeof text), LSX_OK);
        QCOMPARE(QString::fromLatin1(text), QStringLiteral("UserSet1"));
    }

    void runFailuresLeaveNoResult()
    {
        auto s = openServer("SIM-LS4096-M");
        s->m_lscPolyList = {{1, 2, 3, 4, 5, 6, 7, 8}};
        s->m_lscKList = {{1.0}};
        m_api->injectFault("lsxGetFrame", 0, LSX_ERR_TIMEOUT, 1);
        QSignalSpy info(s.get(), &CameraServer::OS_FpnInfo);
        s->applyLSC(-1.0f);
        QCOMPARE(reportsOf(info).last(),
                 Report(101, QStringLiteral("触发出图出错，出错原因：-1000-%1.").arg(statusText(-1000))));
        QVERIFY(s->m_lscPolyList.isEmpty());
        QVERIFY(s->m_lscKList.isEmpty());
        QVERIFY(!s->setLscEnabled(false));
    }
};

QTEST_GUILESS_MAIN(TestLscSim)
#include "test_lsc_sim.moc"
