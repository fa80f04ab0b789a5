// The closed loop through the simulated camera's own correction: dark run, bright run, the FPN
// written into a set of the camera and switched on, and then the camera's output itself flat
// (not the tool's preview of it). Also the factory multi-level set, the factory set refused
// outside factory mode, a bright run on the camera's own dark data that writes back only the
// bright half; the backup taken before every write and written back value for value, a write
// that fails half way putting the earlier set back, and the camera gone between two records.
#include "calibration/simharness.h"
#include "common/fpnreadback.h"

#include "statustext.h"

#include <QDir>
#include <QRegularExpression>

#include <sys/resource.h>
#include <csignal>
#include <cstring>
#include <functional>

namespace {

constexpr int kWidth = 256;

// The debug lines of the program while alive: the write logs which halves it sends.
QStringList* g_lines = nullptr;
void keepLine(QtMsgType, const QMessageLogContext&, const QString& text)
{
    if (g_lines) g_lines->append(text);
}

// Runs `save` with files limited to `bytes` (a disk that fills up), then without the limit again.
bool savedWithin(qint64 bytes, const std::function<bool()>& save)
{
    rlimit old{};
    getrlimit(RLIMIT_FSIZE, &old);
    const auto previous = std::signal(SIGXFSZ, SIG_IGN);
    rlimit small = old;
    small.rlim_cur = rlim_t(bytes);
    setrlimit(RLIMIT_FSIZE, &small);
    const bool saved = save();
    setrlimit(RLIMIT_FSIZE, &old);
    std::signal(SIGXFSZ, previous);
    return saved;
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

    // Writes into the selected set and checks the reports of a good write: the backup (or why
    // there is none), then the two reports of the write.
    void writeDown(CameraServer* s, int sel)
    {
        QList<Report> r = reportsOfRun(s, [&] { s->fpnWriteDown(sel); });
        QVERIFY(!r.isEmpty());
        const Report backup = r.takeFirst();
        QCOMPARE(backup.first, 5);
        QVERIFY2(backup.second.startsWith(QStringLiteral("写入前已将相机参数组 "))
                     || backup.second.startsWith(QStringLiteral("写入前无法备份")),
                 qPrintable(backup.second));
        QCOMPARE(r, (QList<Report>{{100, QStringLiteral("FPN参数成功写入")},
                                   {100, QStringLiteral("\n已使能相机内部FPN，点击确定查看效果。")}}));
        QCOMPARE(cameraFpnSwitch(s), QStringLiteral("true"));
    }

    // The set `set` of the camera as its record gives it back at the current gain: K, B pairs of
    // every column and plane.
    std::vector<float> readSet(CameraServer* s, const char* set, int planes)
    {
        lsxRegionDescr descr{};
        lsxGetRoiDescr(s->m_handle, &descr);
        const std::vector<uint8_t> block = fpnReadBack(s->m_handle, set, uint32_t(descr.maxWidth * planes));
        if (block.empty()) return {};
        std::vector<float> out = fpnPairs(block);
        out.push_back(float(reinterpret_cast<const lsxFpnHeader*>(block.data())->doffset));
        return out;
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
            {"friendlyName": "SIM-LS8192-MLK", "width": %1},
            {"friendlyName": "SIM-LS4096-NL", "base": "SIM-LS4096-M", "serial": "SN 7\nbroken", "width": %1}
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
        // The factory set can be read (and is kept) but not written.
        QCOMPARE(r.size(), 2);
        QVERIFY(r.first().second.startsWith(QStringLiteral("写入前已将相机参数组 factory 备份到 ")));
        QCOMPARE(r.last(), Report(101, QStringLiteral("FPN参数写入失败，失败原因：-1202-%1.").arg(statusText(-1202))));
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

    // The camera gone before the write: the set it holds cannot be read, so nothing is written.
    void cameraGoneBeforeTheWrite()
    {
        const QString name = QStringLiteral("SIM-LS4096-M");
        auto s = openServer(name);
        calibrate(s.get(), name);
        QCOMPARE(m_api->injectFault("lsxGet", 0, LSX_ERR_DISCONNECTED, 0), LSX_OK);
        const QList<Report> r = reportsOfRun(s.get(), [&] { s->fpnWriteDown(0); });
        m_api->clearFaults();
        QCOMPARE(r, (QList<Report>{{101, QStringLiteral("写入前读取相机参数组 UserSet0 出错，错误原因：-1104-%1。"
                                                        "为免丢失原有参数，未写入相机。")
                                             .arg(statusText(-1104))}}));
        QCOMPARE(cameraFpnSwitch(s.get()), QStringLiteral("false"));
    }

    // The dark half in, then the camera answers no more: the earlier set cannot be put back
    // either, and the operator hears that the set is a mixture.
    void cameraGoneBetweenRecords()
    {
        const QString name = QStringLiteral("SIM-LS4096-M");
        auto s = openServer(name);
        calibrate(s.get(), name);
        QCOMPARE(m_api->injectFault("lsxSet", 1, LSX_ERR_DISCONNECTED, 0), LSX_OK);
        const QList<Report> r = reportsOfRun(s.get(), [&] { s->fpnWriteDown(0); });
        m_api->clearFaults();
        QCOMPARE(r.size(), 3);
        QVERIFY(r.first().second.startsWith(QStringLiteral("写入前已将相机参数组 UserSet0 备份到 ")));
        QCOMPARE(r.at(1), Report(101, QStringLiteral("FPN参数写入失败，失败原因：-1104-%1.").arg(statusText(-1104))));
        QCOMPARE(
            r.at(2),
            Report(101, QStringLiteral(
                            "从备份写回写入前的参数也失败，失败原因：-1104-%1。相机参数组 UserSet0 现在是新的"
                            "暗场参数与原有明场参数的混合，不能使用：请重新写入，或用“恢复写入前参数”写回备份 %2。")
                            .arg(statusText(-1104), s->lastBackupPath())));
        // The camera's FPN stays off, as the calibration left it.
        QCOMPARE(cameraFpnSwitch(s.get()), QStringLiteral("false"));
    }

    // The bright half refused once: the earlier set goes back from the backup, value for value.
    void halfWrittenSetPutBackFromTheBackup()
    {
        const QString name = QStringLiteral("SIM-LS4096-M");
        auto s = openServer(name);
        calibrate(s.get(), name);
        writeDown(s.get(), 0);
        const std::vector<float> before = readSet(s.get(), "UserSet0", 1);
        QVERIFY(!before.empty());
        for (QList<double>& row : s->m_bList)
            for (double& b : row) b += 320.0;
        QCOMPARE(m_api->injectFault("lsxSet", 1, -1201, 1), LSX_OK);
        const QList<Report> r = reportsOfRun(s.get(), [&] { s->fpnWriteDown(0); });
        m_api->clearFaults();
        QCOMPARE(r.size(), 3);
        QCOMPARE(r.at(1), Report(101, QStringLiteral("FPN参数写入失败，失败原因：-1201-%1.").arg(statusText(-1201))));
        QCOMPARE(r.at(2),
                 Report(101, QStringLiteral("已从备份 %1 写回写入前的参数组 UserSet0，相机中的参数与写入前相同。")
                                 .arg(s->lastBackupPath())));
        QVERIFY(s->lastBackupPath().startsWith(CameraServer::backupFolder() + QLatin1Char('/')));
        QCOMPARE(readSet(s.get(), "UserSet0", 1), before);
    }

    // A backup written back through the write-down's records gives the set as it was: every K,
    // every B and the DOffset stored with it; the camera's FPN switch as it was.
    void backupRestoredValueForValue_data()
    {
        QTest::addColumn<QString>("name");
        QTest::addColumn<int>("planes");
        QTest::addColumn<bool>("factory");
        QTest::newRow("mono") << "SIM-LS4096-M" << 1 << false;
        QTest::newRow("colour") << "SIM-LS2048-C" << 3 << false;
        QTest::newRow("factory set") << "SIM-LS4096-M" << 1 << true;
    }

    void backupRestoredValueForValue()
    {
        QFETCH(QString, name);
        QFETCH(int, planes);
        QFETCH(bool, factory);
        // The factory set, in factory mode: written whole (a camera without multi-level K).
        if (factory) store(FpnIni::Factory, true);
        const int sel = factory ? 1 : 0;
        const char* set = factory ? "factory" : "UserSet0";
        auto s = openServer(name);
        calibrate(s.get(), name);
        if (factory) QCOMPARE(lsxSetConfigString(s->m_handle, "FPNC.Selector", "factory"), LSX_OK);
        writeDown(s.get(), sel);
        QCOMPARE(lsxSetConfigString(s->m_handle, "FPNC.Enable", "false"), LSX_OK);
        const std::vector<float> before = readSet(s.get(), set, planes);
        QVERIFY(!before.empty());

        // Another calibration over it, with another DOffset.
        store(FpnIni::DOffset, 3);
        for (QList<double>& row : s->m_bList)
            for (double& b : row) b *= 0.5;
        writeDown(s.get(), sel);
        const QString backup = s->lastBackupPath();
        QVERIFY(QFile::exists(backup));
        QVERIFY(readSet(s.get(), set, planes) != before);

        const QList<Report> r = reportsOfRun(s.get(), [&] { s->restoreBackup(backup); });
        QCOMPARE(r.last(),
                 Report(100, QStringLiteral("\n已将备份 %1 写回相机参数组 %2。").arg(backup, QLatin1String(set))));
        // The restore kept what it overwrote too.
        QVERIFY(s->lastBackupPath() != backup);
        QVERIFY(QFile::exists(s->lastBackupPath()));
        QCOMPARE(readSet(s.get(), set, planes), before);
        QCOMPARE(cameraFpnSwitch(s.get()), QStringLiteral("false"));
    }

    // A backup that cannot be saved (its folder cannot be made) stops the write: nothing that was
    // meant to be kept is overwritten.
    void unsavedBackupStopsTheWrite()
    {
        const QString name = QStringLiteral("SIM-LS4096-M");
        auto s = openServer(name);
        calibrate(s.get(), name);
        const std::vector<float> before = readSet(s.get(), "UserSet0", 1);
        QFile blocker(CameraServer::backupFolder());
        QVERIFY(blocker.open(QIODevice::WriteOnly));
        blocker.close();
        const QList<Report> r = reportsOfRun(s.get(), [&] { s->fpnWriteDown(0); });
        QVERIFY(QFile::remove(CameraServer::backupFolder()));
        QCOMPARE(r, (QList<Report>{{101, QStringLiteral("无法创建备份文件夹 %1。为免丢失原有参数，未写入相机。")
                                             .arg(CameraServer::backupFolder())}}));
        QCOMPARE(readSet(s.get(), "UserSet0", 1), before);
        QCOMPARE(cameraFpnSwitch(s.get()), QStringLiteral("false"));
    }

    // A camera whose serial carries a line break: its backup keeps the serial on one line, loads
    // back, lets the write go on, and a restore from it finds the same camera and puts the earlier
    // set back.
    void serialWithALineBreak()
    {
        const QString name = QStringLiteral("SIM-LS4096-NL");
        auto s = openServer(name);
        QVERIFY(s->m_opened);
        calibrate(s.get(), name);
        const std::vector<float> before = readSet(s.get(), "UserSet0", 1);
        QVERIFY(!before.empty());
        for (QList<double>& row : s->m_bList)
            for (double& b : row) b *= 0.5;
        const QList<Report> r = reportsOfRun(s.get(), [&] { s->fpnWriteDown(0); });
        QCOMPARE(failures(r), 0);
        QCOMPARE(r.last().first, 100);
        QVERIFY(readSet(s.get(), "UserSet0", 1) != before);
        const QString backup = s->lastBackupPath();
        CameraBackup kept;
        QString error;
        QVERIFY2(loadBackupFile(backup, kept, error), qPrintable(error));
        QCOMPARE(kept.serial, QStringLiteral("SN 7 broken"));
        QVERIFY(QFileInfo(backup).fileName().startsWith(QStringLiteral("SN_7_broken_")));

        const QList<Report> back = reportsOfRun(s.get(), [&] { s->restoreBackup(backup); });
        QCOMPARE(back.last(), Report(100, QStringLiteral("\n已将备份 %1 写回相机参数组 UserSet0。").arg(backup)));
        QCOMPARE(readSet(s.get(), "UserSet0", 1), before);
    }

    // The FPN file and the dark current beside it go as a pair: a save whose dark current cannot
    // be written leaves the new file without one, never beside the earlier file's; a save whose
    // file cannot be written leaves the earlier file with its own.
    void darkCurrentBesideTheFileIsItsOwn()
    {
        auto s = openServer(QStringLiteral("SIM-LS4096-M"));
        QVERIFY(s->m_opened);
        // B and K in short numbers, slopes in long ones: the dark current's file is the larger.
        auto calibration = [&](double b, double slope) {
            s->m_bList = {QList<double>(kWidth, b)};
            s->m_kList = {QList<double>(kWidth, 1.0)};
            s->m_darkFromCamera = false;
            s->m_darkCurrent = DarkCurrent();
            s->m_darkCurrent.exposure = 100.0;
            s->m_darkCurrent.secondExposure = 20.0;
            s->m_darkCurrent.bits = 2;
            s->m_darkCurrent.slope = {QList<double>(kWidth, slope)};
            QVERIFY(s->darkCurrentUsable());
        };
        // What a load of the file finds: its B, and the slope beside it (0 without a dark current).
        auto loaded = [&](const QString& file) {
            s->m_bList.clear();
            QString why;
            if (!s->loadFpnFile(file, &why)) return qMakePair(-1.0, -1.0);
            return qMakePair(s->m_bList.value(0).value(0),
                             s->darkCurrentUsable() ? s->m_darkCurrent.slope.value(0).value(0) : 0.0);
        };
        const QString file = m_doc->filePath(QStringLiteral("pair.FAC.FPN"));
        const QString dark = file + QStringLiteral(".dark");
        calibration(100.0, 0.12345678901234568);
        QVERIFY(s->saveFpnFile(file));
        QCOMPARE(loaded(file), qMakePair(100.0, 0.12345678901234568));
        const qint64 fileBytes = QFileInfo(file).size(), darkBytes = QFileInfo(dark).size();
        QVERIFY2(fileBytes + 512 < darkBytes, qPrintable(QStringLiteral("%1 %2").arg(fileBytes).arg(darkBytes)));

        // Room for the file, not for its dark current.
        calibration(200.0, 0.23456789012345678);
        QString why;
        QVERIFY(!savedWithin((fileBytes + darkBytes) / 2, [&] { return s->saveFpnFile(file, &why); }));
        QVERIFY2(why.startsWith(QStringLiteral("无法写入暗电流文件 %1：").arg(dark)), qPrintable(why));
        QCOMPARE(loaded(file), qMakePair(200.0, 0.0));
        QVERIFY(!QFileInfo::exists(dark));

        // Saved whole, then a save without room for the file: the pair stays as it was.
        calibration(200.0, 0.23456789012345678);
        QVERIFY(s->saveFpnFile(file));
        calibration(300.0, 0.34567890123456789);
        QVERIFY(!savedWithin(fileBytes / 2, [&] { return s->saveFpnFile(file, &why); }));
        QVERIFY2(why.startsWith(QStringLiteral("无法写入文件 %1：").arg(file)), qPrintable(why));
        QCOMPARE(loaded(file), qMakePair(200.0, 0.23456789012345678));
        QCOMPARE(QDir(m_doc->path()).entryList({QStringLiteral("pair.*")}, QDir::Files),
                 (QStringList{"pair.FAC.FPN", "pair.FAC.FPN.dark"}));
    }

    // At the close, a written set the camera does not take back is a problem and not kept: the
    // close never reports as kept what it could not keep.
    void setNotKeptAtTheCloseIsAProblem()
    {
        const QString name = QStringLiteral("SIM-LS4096-M");
        auto s = openServer(name);
        calibrate(s.get(), name);
        writeDown(s.get(), 0);
        QCOMPARE(m_api->injectFault("lsxSetConfigString", 0, LSX_ERR_DISCONNECTED, 0), LSX_OK);
        s->close();
        m_api->clearFaults();
        const CameraServer::CameraLeft& left = s->cameraLeft();
        QVERIFY(left.closed);
        QVERIFY(left.asFound);
        QVERIFY2(!left.kept.contains(QStringLiteral("FPN UserSet0")), qPrintable(left.kept.join(", ")));
        QCOMPARE(left.problems, QStringList{QStringLiteral("保持FPN参数组 UserSet0出错（%1-%2）")
                                                .arg(LSX_ERR_DISCONNECTED)
                                                .arg(statusText(LSX_ERR_DISCONNECTED))});
    }

    // A backup of another camera, or one cut short, writes nothing.
    void restoreRefusals()
    {
        const QString name = QStringLiteral("SIM-LS4096-M");
        auto s = openServer(name);
        calibrate(s.get(), name);
        writeDown(s.get(), 0);
        writeDown(s.get(), 0);
        const QString backup = s->lastBackupPath();
        const std::vector<float> now = readSet(s.get(), "UserSet0", 1);
        QFile f(backup);
        QVERIFY(f.open(QIODevice::ReadOnly));
        const QByteArray text = f.readAll();
        f.close();

        QByteArray other = text;
        other.replace("Camera=SIM-LS4096-M", "Camera=SIM-LS9999-X").replace("Serial=", "Serial=X");
        const QString otherPath = m_doc->filePath(QStringLiteral("other.backup.ini"));
        QFile o(otherPath);
        QVERIFY(o.open(QIODevice::WriteOnly));
        o.write(other);
        o.close();
        QList<Report> r = reportsOfRun(s.get(), [&] { s->restoreBackup(otherPath); });
        QCOMPARE(r.size(), 1);
        QCOMPARE(r.first().first, 101);
        QVERIFY2(r.first().second.contains(QStringLiteral("不是当前的相机 SIM-LS4096-M")),
                 qPrintable(r.first().second));

        QByteArray cut = text;
        cut.truncate(cut.lastIndexOf(' '));
        QVERIFY(o.open(QIODevice::WriteOnly | QIODevice::Truncate));
        o.write(cut);
        o.close();
        r = reportsOfRun(s.get(), [&] { s->restoreBackup(otherPath); });
        QCOMPARE(r.size(), 1);
        QVERIFY2(r.first().second.contains(QStringLiteral("FPN/B0 有 255 列，应为 256 列")),
                 qPrintable(r.first().second));
        QCOMPARE(readSet(s.get(), "UserSet0", 1), now);
    }
};

QTEST_MAIN(TestFpnParamsSim)
#include "test_fpnparams_sim.moc"
