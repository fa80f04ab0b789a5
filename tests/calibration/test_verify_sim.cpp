// The calibration verification on the simulated camera: the "before" figures against the camera's
// own truth at the settings used, the "after" figures of a camera calibrated, written down and
// switched on (the closed loop's limits), and the camera's switches as found after a pass, a
// cancel, a "stop" answer, an injected frame failure and a refused bright frame. Also the run
// driven through the worker, and the limits of FPN.ini.
#include "calibration/simharness.h"

#include "calibration/verifystages.h"
#include "statustext.h"

#include <QRegularExpression>

namespace {

constexpr int kWidth = 512;

// What the verification must leave as it found it.
struct Switches {
    QString fpn;
    QByteArray flat;
    bool trigger = false;
    int32_t triggerSource = -1;
    int32_t source = -1, target = -1;
    double exposure = 0.0;
    uint32_t blackLevel = 0;
    bool operator==(const Switches& o) const
    {
        return fpn == o.fpn && flat == o.flat && trigger == o.trigger && triggerSource == o.triggerSource
               && source == o.source && target == o.target && exposure == o.exposure && blackLevel == o.blackLevel;
    }
};

Switches switchesOf(lsxHandle h)
{
    Switches s;
    char text[32] = {};
    lsxGetConfigString(h, "FPNC.Enable", text, sizeof text);
    s.fpn = QString::fromLatin1(text);
    lsxCorrectionSwitch block{};
    uint32_t size = sizeof block;
    lsxGet(h, LSX_KEY_CORRECTION_SWITCH, &block, &size);
    s.flat = QByteArray(reinterpret_cast<const char*>(&block), sizeof block);
    lsxGetTriggerState(h, &s.trigger);
    lsxGetTriggerSource(h, &s.triggerSource);
    lsxGetSourceFormat(h, &s.source);
    lsxGetTargetFormat(h, &s.target);
    lsxGetExposure(h, &s.exposure);
    lsxReadGenICamReg(h, GVR_SEN_BLACK_LEVEL, &s.blackLevel);
    return s;
}

QString describe(const Switches& s)
{
    return QStringLiteral("fpn %1 flat %2/%3 trigger %4 source %5 formats %6/%7 exposure %8 black level %9")
        .arg(s.fpn)
        .arg(int(uint8_t(s.flat.at(1))))
        .arg(int(uint8_t(s.flat.at(6))))
        .arg(s.trigger)
        .arg(s.triggerSource)
        .arg(s.source)
        .arg(s.target)
        .arg(s.exposure)
        .arg(s.blackLevel);
}

// Sample standard deviation (N - 1) of a list.
double sampleSd(const std::vector<double>& v)
{
    const double mu = meanOf(v);
    double s2 = 0.0;
    for (double x : v) s2 += (x - mu) * (x - mu);
    return std::sqrt(s2 / double(v.size() - 1));
}

double sampleVar(const std::vector<double>& v)
{
    return sampleSd(v) * sampleSd(v);
}

}  // namespace

// What a run on the worker says, received on the test's thread (queued, as the window hears it).
struct Heard {
    QList<Report> asked, info;
    int reports = 0;
    bool reportBeforeClose = false;
    VerifyReport report;

    Heard(CameraServer* s, QObject* here)
    {
        QObject::connect(
            s, &CameraServer::OS_VerifyAsk, here,
            [this](int step, QString text) {
                asked.append({step, text});
            },
            Qt::QueuedConnection);
        QObject::connect(
            s, &CameraServer::OS_FpnInfo, here,
            [this](int progress, QString text) {
                info.append({progress, text});
            },
            Qt::QueuedConnection);
        QObject::connect(
            s, &CameraServer::OS_VerifyFinished, here,
            [this](VerifyReport r) {
                ++reports;
                report = r;
                reportBeforeClose = info.isEmpty() || info.last().first < 100;
            },
            Qt::QueuedConnection);
    }
};

class TestVerifySim : public QObject, SimHarness {
    Q_OBJECT

    // How the operator answers the run's questions in a test.
    enum class Answer { Go, Stop, Cancel };

    // Answers every question as it is asked, on the asking thread: the lens cap on for the dark
    // question and off for the bright one, and "继续"; or, at question `atStep`, `answer` instead.
    QMetaObject::Connection answerQuestions(CameraServer* s, const QString& name, int atStep = 0,
                                            Answer answer = Answer::Go)
    {
        return connect(
            s, &CameraServer::OS_VerifyAsk, this,
            [this, s, name, atStep, answer](int step, QString) {
                setScene(name, step == 1 ? LSX_SIM_SCENE_DARK : LSX_SIM_SCENE_FLAT);
                if (step == atStep && answer == Answer::Cancel) {
                    s->cancel();
                    return;
                }
                s->verifyAnswer(step, !(step == atStep && answer == Answer::Stop));
            },
            Qt::DirectConnection);
    }

    // One run on the test's thread, every question answered; its reports and its result.
    QList<Report> verify(CameraServer* s, const QString& name, VerifyReport* result = nullptr, int atStep = 0,
                         Answer answer = Answer::Go)
    {
        const QMetaObject::Connection c = answerQuestions(s, name, atStep, answer);
        QSignalSpy finished(s, &CameraServer::OS_VerifyFinished);
        const QList<Report> r = reportsOfRun(s, [s] { s->verifyStart(); });
        disconnect(c);
        if (result && finished.size() == 1) *result = finished.at(0).at(0).value<VerifyReport>();
        return r;
    }

    // The exposure at which the flat scene's mean signal (noise-free) is `dn10` above the dark.
    double exposureFor(CameraServer* s, const QString& name, double dn10)
    {
        setScene(name, LSX_SIM_SCENE_FLAT);
        double e = 0.0;
        lsxGetExposure(s->m_handle, &e);
        const std::vector<double> signal = truth(name, LSX_SIM_TRUE_SIGNAL, 0, 0);
        return e * dn10 / meanOf(signal);
    }

    std::vector<double> truth(const QString& name, int kind, int plane, int line)
    {
        std::vector<float> out(static_cast<size_t>(kWidth));
        int32_t count = kWidth;
        if (m_api->getTruth(name.toLatin1().constData(), kind, plane, line, out.data(), &count) != LSX_OK) return {};
        return std::vector<double>(out.begin(), out.begin() + count);
    }

    // A state of the switches nothing in a calibration would leave: FPN on, the flat-field block
    // on in flat-field mode with its other bytes patterned, free running from line 1, 8-bit mono.
    Switches setOddSwitches(CameraServer* s)
    {
        const lsxHandle h = s->m_handle;
        lsxSetConfigString(h, "FPNC.Enable", "true");
        lsxCorrectionSwitch block{};
        for (size_t i = 0; i < sizeof block; ++i) reinterpret_cast<uint8_t*>(&block)[i] = uint8_t(i * 7 + 3);
        block.enable = 1;
        block.mode = LSX_SWITCH_FLAT_ONLY;
        uint32_t size = sizeof block;
        lsxSet(h, LSX_KEY_CORRECTION_SWITCH, &block, &size);
        lsxSetTriggerState(h, false);
        lsxSetTriggerSource(h, 1);
        lsxSetSourceFormat(h, FORMAT_MONO);
        lsxSetTargetFormat(h, FORMAT_MONO);
        return switchesOf(h);
    }

private slots:
    void initTestCase()
    {
        qRegisterMetaType<VerifyReport>();
        // The mono camera with short frames (three make a stack) and neither hot nor weak columns
        // under an even light: its figures are those it is configured with. The others keep their
        // defects and the lens fall-off; the colour camera's weak columns are weak enough for the
        // camera's K limit to correct them all under the usual light.
        bindSim(QStringLiteral(R"({"timeScale": 0, "cameras": [
            {"friendlyName": "SIM-LS4096-M", "width": %1, "roiHeight": 400, "hotColumns": 0, "weakColumns": 0,
             "slope": 0, "falloff": 0},
            {"friendlyName": "SIM-LS2048-ML4", "width": %1},
            {"friendlyName": "SIM-LS2048-C", "width": %1, "weakFactor": 0.8},
            {"friendlyName": "SIM-TVK317"},
            {"friendlyName": "SIM-NO-DOFFSET", "base": "SIM-LS4096-M", "model": "TQW4A1N60", "width": %1,
             "roiHeight": 400, "hotColumns": 0, "weakColumns": 0, "slope": 0, "falloff": 0}
        ]})")
                    .arg(kWidth));
    }

    void init() { freshSim(); }

    void cleanupTestCase() { lsx::unbindLibrary(); }

    // Corrections off, the camera as it comes: DSNU1288 and PRNU1288 of every plane and line
    // equal those of the camera's truth at the gain and exposure used, within 5 %.
    void beforeEqualsTheTruth_data() { sensorKinds(); }

    void beforeEqualsTheTruth()
    {
        QFETCH(QString, name);
        QFETCH(int, planes);
        QFETCH(int, lines);
        auto s = openServer(name);
        lsxSetExposure(s->m_handle, exposureFor(s.get(), name, 450.0));

        VerifyReport r;
        const QList<Report> reports = verify(s.get(), name, &r);
        QCOMPARE(reports.last(),
                 Report(100, QStringLiteral("校正验证-校正验证完成，结果：不合格。点击确定查看报告。")));
        QVERIFY(reports.contains(
            Report(5, QStringLiteral("校正验证-相机FPN与平场校正均未打开，校正后的数值将与校正前相同。"))));
        QCOMPARE(r.planes.size(), planes * lines);
        QVERIFY(r.lines >= 1000);
        QCOMPARE(r.fpnOn, false);
        QCOMPARE(r.serial.isEmpty(), false);

        // The truth of what was measured: the dark (DSNU) at the working exposure, the lit target
        // at the exposure the run set for its level.
        QCOMPARE(r.levelExposures.size(), 1);
        setScene(name, LSX_SIM_SCENE_FLAT);
        const bool eightBit = r.bits == LSX_BITS_8;
        for (int p = 0; p < planes; ++p)
            for (int l = 0; l < lines; ++l) {
                const VerifyFigures& f = r.planes.at(p * lines + l).before;
                QCOMPARE(lsxSetExposure(s->m_handle, r.exposure), LSX_OK);
                const std::vector<double> dark = truth(name, LSX_SIM_TRUE_DARK, p, l);
                QCOMPARE(lsxSetExposure(s->m_handle, r.levelExposures.first()), LSX_OK);
                const std::vector<double> signal = truth(name, LSX_SIM_TRUE_SIGNAL, p, l);
                const std::vector<double> darkAtLevel = truth(name, LSX_SIM_TRUE_DARK, p, l);
                QCOMPARE(int(dark.size()), kWidth);
                QCOMPARE(int(darkAtLevel.size()), kWidth);
                std::vector<double> lit(dark.size());
                for (size_t x = 0; x < lit.size(); ++x) lit[x] = darkAtLevel[x] + signal[x];
                const double dsnu = sampleSd(dark);
                const double prnu = 100.0 * std::sqrt(sampleVar(lit) - sampleVar(darkAtLevel)) / meanOf(signal);
                qInfo("%s plane %d line %d: DSNU %.3f DN10 (truth %.3f), PRNU %.3f %% (truth %.3f %%)",
                      qPrintable(name), p, l, f.dsnu, dsnu, f.prnu1288, prnu);
                QVERIFY2(std::abs(f.prnu1288 / prnu - 1.0) < 0.05, qPrintable(QString::number(f.prnu1288)));
                // Without a dark pattern that the lit stack lacks, the response row says the same.
                QVERIFY2(std::abs(f.prnuResponse / prnu - 1.0) < 0.05, qPrintable(QString::number(f.prnuResponse)));
                // The 8-bit colour output is cut to steps of 4 DN10 with less than one step of
                // noise: no dark spread below a step survives it, so DSNU is compared on 16-bit
                // output only.
                if (!eightBit) {
                    QVERIFY2(std::abs(f.dsnu / dsnu - 1.0) < 0.05, qPrintable(QString::number(f.dsnu)));
                    QVERIFY(std::abs(f.darkMean - meanOf(dark)) < 0.05);
                    QVERIFY(std::abs(f.brightMean - meanOf(lit)) < 0.2);
                }
                // Nothing is switched on: after is another measurement of the same.
                QVERIFY(std::abs(r.planes.at(p * lines + l).after.prnu / f.prnu - 1.0) < 0.05);
            }
        // The camera without defects under an even light shows what it is configured with: a dark
        // spread of 1 DN10 and a response spread of 2 %, within the scatter of 512 columns.
        if (name == QStringLiteral("SIM-LS4096-M")) {
            const VerifyFigures& f = r.planes.first().before;
            QVERIFY2(std::abs(f.dsnu - 1.0) < 0.1, qPrintable(QString::number(f.dsnu)));
            QVERIFY2(std::abs(f.prnu - 2.0) < 0.2, qPrintable(QString::number(f.prnu)));
            // The 64-column average of a 2 % spread scatters by 0.25 %: a few of that peak to peak.
            QVERIFY2(f.brightSlow < 2.0, qPrintable(QString::number(f.brightSlow)));
            QVERIFY(f.defects.isEmpty());
        } else {
            // Hot and weak columns, and the lens fall-off in the slow profile.
            QVERIFY(!r.planes.first().before.defects.isEmpty());
            QVERIFY(r.planes.first().before.brightSlow > 5.0);
        }
    }

    // The closed loop: dark run, bright run, the FPN written and on; after: PRNU below 0.3 % and
    // DSNU below 0.1 DN10 (0.4 on 8-bit colour) on every plane and line, no defect left, and the
    // switches as found.
    void afterCalibrationIsFlat_data() { sensorKinds(); }

    void afterCalibrationIsFlat()
    {
        QFETCH(QString, name);
        QFETCH(int, planes);
        QFETCH(int, lines);
        auto s = openServer(name);
        s->setFlatEnable(true);
        calibrateAt(s.get(), name, 180.0);
        if (QTest::currentTestFailed()) return;
        const QList<Report> written = reportsOfRun(s.get(), [&] { s->fpnWriteDown(0); });
        QCOMPARE(written.last().first, 100);
        const Switches found = switchesOf(s->m_handle);
        QCOMPARE(found.fpn, QStringLiteral("true"));

        VerifyReport r;
        const QList<Report> reports = verify(s.get(), name, &r);
        QCOMPARE(failures(reports), 0);
        QVERIFY(r.fpnOn);
        QCOMPARE(r.planes.size(), planes * lines);
        for (const VerifyPlane& p : r.planes) {
            qInfo(
                "%s %s: before DSNU %.3f DN10 PRNU %.3f %% defects %d; after DSNU %.3f DN10 PRNU %.3f %% "
                "defects %d, dark at 0: %.0f %%",
                qPrintable(name), qPrintable(p.name), p.before.dsnu, p.before.prnu, int(p.before.defects.size()),
                p.after.dsnu, p.after.prnu, int(p.after.defects.size()), 100.0 * p.after.darkZero);
            QVERIFY2(p.after.prnu < 0.3, qPrintable(QString::number(p.after.prnu)));
            // 16-bit output 0.025 DN10; 8-bit colour output some 0.33 DN10, what is left of its
            // 4-DN10 steps after the black level's dither (the aim there is 0.5).
            QVERIFY2(p.after.dsnu < (planes == 3 ? 0.4 : 0.1), qPrintable(QString::number(p.after.dsnu)));
            QCOMPARE(p.after.defects, QVector<int>());
            QVERIFY(p.before.prnu > 1.0);
            // The mono camera is made without hot and weak columns.
            if (name != QStringLiteral("SIM-LS4096-M")) QVERIFY(!p.before.defects.isEmpty());
        }
        QVERIFY(reportPasses(r));
        QCOMPARE(reports.last(), Report(100, QStringLiteral("校正验证-校正验证完成，结果：合格。点击确定查看报告。")));
        QVERIFY2(switchesOf(s->m_handle) == found, qPrintable(describe(switchesOf(s->m_handle))));
    }

    // Under a strong lens fall-off a weak column at the sensor's end needs more gain than the
    // camera's K may give: the calibration cannot correct it, and the verification says so.
    void uncorrectableColumnFails()
    {
        const QString name = QStringLiteral("SIM-LS2048-C");
        QCOMPARE(m_api->setScene(name.toLatin1().constData(), LSX_SIM_SCENE_FLAT, -1, 0.0, 0.7), LSX_OK);
        auto s = openServer(name);
        s->setFlatEnable(true);
        // A grey low enough that the line's bright middle does not clip.
        calibrateAt(s.get(), name, 110.0);
        if (QTest::currentTestFailed()) return;
        QCOMPARE(reportsOfRun(s.get(), [&] { s->fpnWriteDown(0); }).last().first, 100);

        VerifyReport r;
        const QList<Report> reports = verify(s.get(), name, &r);
        QVERIFY2(
            reports.last() == Report(100, QStringLiteral("校正验证-校正验证完成，结果：不合格。点击确定查看报告。")),
            qPrintable(textsOf(reports).join(QLatin1Char('|'))));
        QVERIFY(!reportPasses(r));
        // Each defect left is a column at the K limit.
        const double kLimit = s->m_maxK - 0.2;
        int left = 0;
        for (int p = 0; p < r.planes.size(); ++p) {
            const VerifyFigures& after = r.planes[p].after;
            left += after.defects.size();
            for (int x : after.defects) {
                qInfo("%s column %d: K %.3f, output %.1f DN10", qPrintable(r.planes[p].name), x, s->m_kList[p][x],
                      after.brightMeans[x]);
                QVERIFY(std::abs(s->m_kList[p][x] - kLimit) < 1e-6);
                // Its output falls more than 10 % short of the columns beside it.
                const QVector<double>& b = after.brightMeans;
                QVERIFY(x >= 2 && x + 2 < b.size());
                QVERIFY(b[x] < 0.9 * (b[x - 2] + b[x - 1] + b[x + 1] + b[x + 2]) / 4.0);
            }
        }
        QVERIFY(left > 0);
    }

    // A corrected dark cut off at 0 on a camera whose black level cannot be lifted: DSNU after is
    // not measurable, said so, and the verdict is not a pass.
    void clippedDarkNotMeasurable()
    {
        const QString name = QStringLiteral("SIM-NO-DOFFSET");
        auto s = openServer(name);
        QVERIFY(s->m_opened);
        QVERIFY(s->doffsetSkipped());
        s->setFlatEnable(true);
        calibrateAt(s.get(), name, 180.0);
        if (QTest::currentTestFailed()) return;
        QCOMPARE(reportsOfRun(s.get(), [&] { s->fpnWriteDown(0); }).last().first, 100);
        VerifyReport r;
        const QList<Report> reports = verify(s.get(), name, &r);
        QCOMPARE(reports.last(),
                 Report(100, QStringLiteral("校正验证-校正验证完成，结果：不合格。点击确定查看报告。")));
        QVERIFY(reports.contains(Report(
            60, QStringLiteral(
                    "校正验证-在曝光时间 %1 us 的暗场被截断为 0（有列超过 1% 的像素为 0），相机的黑电平无法调节：该暗场"
                    "不可测，相应的 DSNU/PRNU 记为不可测，结论不能为合格。")
                    .arg(r.exposure))));
        QCOMPARE(r.planes.size(), 1);
        const VerifyFigures& after = r.planes.first().after;
        QVERIFY(after.darkZero > 0.5);
        QVERIFY(!after.darkLift.measurable);
        QVERIFY(std::isnan(after.dsnu));
        QVERIFY(!planePasses(after, r.limits));
        QVERIFY(!reportPasses(r));
        // Before correction the dark is clear of 0 and measured as it comes.
        QVERIFY(r.planes.first().before.darkLift.measurable);
        QVERIFY(std::isfinite(r.planes.first().before.dsnu));
    }

    // Odd switches go back as found after a pass, a cancel at either question, a "stop" answer, a
    // frame the camera fails to deliver, and a bright frame refused.
    void switchesBackAsFound_data()
    {
        QTest::addColumn<int>("atStep");
        QTest::addColumn<int>("answer");
        QTest::addColumn<QString>("fault");
        QTest::newRow("pass") << 0 << int(Answer::Go) << QString();
        QTest::newRow("cancel at the dark question") << 1 << int(Answer::Cancel) << QString();
        QTest::newRow("cancel at the bright question") << 2 << int(Answer::Cancel) << QString();
        QTest::newRow("stop at the bright question") << 2 << int(Answer::Stop) << QString();
        QTest::newRow("frame failure") << 0 << int(Answer::Go) << QStringLiteral("lsxGetFrame");
        QTest::newRow("trigger failure") << 0 << int(Answer::Go) << QStringLiteral("lsxTriggerFire");
    }

    void switchesBackAsFound()
    {
        QFETCH(int, atStep);
        QFETCH(int, answer);
        QFETCH(QString, fault);
        const QString name = QStringLiteral("SIM-LS4096-M");
        auto s = openServer(name);
        lsxSetExposure(s->m_handle, exposureFor(s.get(), name, 450.0));
        const Switches found = setOddSwitches(s.get());
        QCOMPARE(found.fpn, QStringLiteral("true"));
        QCOMPARE(found.triggerSource, 1);
        QCOMPARE(found.target, FORMAT_MONO);
        // The third call fails: the dark stack with the corrections off is under way.
        if (!fault.isEmpty()) QCOMPARE(m_api->injectFault(fault.toLatin1().constData(), 2, -1601, 1), LSX_OK);

        VerifyReport r;
        QSignalSpy finished(s.get(), &CameraServer::OS_VerifyFinished);
        const QList<Report> reports = verify(s.get(), name, &r, atStep, Answer(answer));
        m_api->clearFaults();
        QVERIFY2(switchesOf(s->m_handle) == found, qPrintable(describe(switchesOf(s->m_handle))));
        if (!fault.isEmpty()) {
            QCOMPARE(reports.mid(reports.size() - 2),
                     (QList<Report>{
                         {101, QStringLiteral("校正验证-采集图像失败，错误原因：-1601-%1.").arg(statusText(-1601))},
                         {101, QStringLiteral("校正验证-校正验证执行失败，请重试。")}}));
            QCOMPARE(finished.size(), 0);
        } else if (atStep != 0) {
            // Quiet: no closing report either way, no result.
            QCOMPARE(failures(reports), 0);
            QVERIFY(reports.last().first < 100);
            QCOMPARE(finished.size(), 0);
        } else {
            QCOMPARE(reports.last().first, 100);
            QCOMPARE(finished.size(), 1);
            // 8-bit mono target widened for the measurement: 16-bit figures.
            QCOMPARE(r.bits, int(LSX_BITS_16));
        }
        // The stream is off: a frame asked for answers "not started".
        lsxFrame frame;
        void* buffer = nullptr;
        QCOMPARE(lsxGetFrame(s->m_handle, &frame, &buffer, 0), LSX_ERR_NOT_STARTED);
    }

    // A lit stage that is not lit is refused with what to change, never turned into a figure:
    // the lens left covered at the bright question (the lit stage as dark as the dark one), and a
    // light too weak for the camera's longest exposure. Nothing is reported as figures, and the
    // camera is back as found.
    void litStageRefused_data()
    {
        QTest::addColumn<double>("light");
        QTest::addColumn<QString>("message");
        QTest::newRow("lens covered") << 0.0
                                      << QStringLiteral(
                                             "校正验证-明场过暗：曝光时间 %1 us 时亮度最高的平面只有满量程的 %2%，"
                                             "请确认镜头盖已取下、光源已打开后重试。");
        QTest::newRow("light too weak") << 0.02
                                        << QStringLiteral(
                                               "校正验证-无法达到 %1% 饱和：约需曝光时间 %2 us，超出相机的范围 %3 – "
                                               "%4 us，请调整光源亮度后重试。");
    }

    void litStageRefused()
    {
        QFETCH(double, light);
        QFETCH(QString, message);
        const QString name = QStringLiteral("SIM-LS4096-M");
        auto s = openServer(name);
        // 0 leaves the lens covered; 0.02 DN10/us gives 40 DN10 at 2000 us, and 50 % of
        // saturation would take some 25000 us, beyond the camera's 20000.
        lsxSetExposure(s->m_handle, light == 0.0 ? exposureFor(s.get(), name, 450.0) : 2000.0);
        const Switches found = switchesOf(s->m_handle);
        const QMetaObject::Connection c = connect(
            s.get(), &CameraServer::OS_VerifyAsk, this,
            [&](int step, QString) {
                if (light == 0.0)
                    setScene(name, LSX_SIM_SCENE_DARK);
                else
                    m_api->setScene(name.toLatin1().constData(), LSX_SIM_SCENE_FLAT, light, -1, -1);
                s->verifyAnswer(step, true);
            },
            Qt::DirectConnection);
        QSignalSpy finished(s.get(), &CameraServer::OS_VerifyFinished);
        const QList<Report> reports = reportsOfRun(s.get(), [&] { s->verifyStart(); });
        disconnect(c);
        QCOMPARE(finished.size(), 0);
        QCOMPARE(reports.last(), Report(101, QStringLiteral("校正验证-校正验证执行失败，请重试。")));
        const QString refusal = reports.at(reports.size() - 2).second;
        QStringList parts = message.split(QRegularExpression(QStringLiteral("%[1-4]")));
        for (QString& part : parts) part = QRegularExpression::escape(part);
        const QString pattern = parts.join(QStringLiteral("[0-9.]+"));
        QVERIFY2(QRegularExpression(QStringLiteral("^") + pattern + QStringLiteral("$")).match(refusal).hasMatch(),
                 qPrintable(refusal));
        QCOMPARE(reports.at(reports.size() - 2).first, 101);
        QVERIFY2(switchesOf(s->m_handle) == found, qPrintable(describe(switchesOf(s->m_handle))));
    }

    // Two time-outs in a row are waited through; a third ends the run.
    void timeOutsInARow()
    {
        const QString name = QStringLiteral("SIM-LS4096-M");
        auto s = openServer(name);
        lsxSetExposure(s->m_handle, exposureFor(s.get(), name, 450.0));
        const QByteArray camera = name.toLatin1();
        QCOMPARE(m_api->frameTimeouts(camera.constData(), 2), LSX_OK);
        QCOMPARE(verify(s.get(), name).last().first, 100);
        QCOMPARE(m_api->frameTimeouts(camera.constData(), 3), LSX_OK);
        const QList<Report> reports = verify(s.get(), name);
        QCOMPARE(
            reports.mid(reports.size() - 2),
            (QList<Report>{{101, QStringLiteral("校正验证-采集图像失败，错误原因：-1000-%1.").arg(statusText(-1000))},
                           {101, QStringLiteral("校正验证-校正验证执行失败，请重试。")}}));
    }

    // The camera gone in the middle of the run: the failure, then that the camera could not be
    // put back, then the closing failure.
    void cameraGoneMidway()
    {
        const QString name = QStringLiteral("SIM-LS4096-M");
        auto s = openServer(name);
        lsxSetExposure(s->m_handle, exposureFor(s.get(), name, 450.0));
        QCOMPARE(m_api->disconnectAfterFrames(name.toLatin1().constData(), 3), LSX_OK);
        QSignalSpy finished(s.get(), &CameraServer::OS_VerifyFinished);
        const QList<Report> reports = verify(s.get(), name);
        m_api->reconnect(name.toLatin1().constData());
        QCOMPARE(finished.size(), 0);
        QCOMPARE(reports.mid(reports.size() - 3),
                 (QList<Report>{
                     {101, QStringLiteral("校正验证-采集图像失败，错误原因：-1104-%1.").arg(statusText(-1104))},
                     {101, QStringLiteral("校正验证-恢复相机设置出错，错误原因：-1104-%1.请检查相机的FPN与平场使能、"
                                          "触发方式、图像格式、曝光时间和黑电平。")
                               .arg(statusText(-1104))},
                     {101, QStringLiteral("校正验证-校正验证执行失败，请重试。")}}));
    }

    // The lens left open at the dark question: refused as the dark field refuses it, the switches
    // back; the colour camera's 8-bit dark too, whose planes are extrapolated from its lifts.
    void openLensRefused_data()
    {
        QTest::addColumn<QString>("name");
        QTest::addColumn<QString>("plane");
        QTest::newRow("mono") << "SIM-LS4096-M" << QStringLiteral("黑白");
        QTest::newRow("colour") << "SIM-LS2048-C" << QStringLiteral("B");
    }

    void openLensRefused()
    {
        QFETCH(QString, name);
        QFETCH(QString, plane);
        auto s = openServer(name);
        lsxSetExposure(s->m_handle, exposureFor(s.get(), name, 450.0));
        const Switches found = switchesOf(s->m_handle);
        // The operator answers without covering the lens.
        const QMetaObject::Connection c = connect(
            s.get(), &CameraServer::OS_VerifyAsk, this, [&s](int step, QString) { s->verifyAnswer(step, true); },
            Qt::DirectConnection);
        const QList<Report> reports = reportsOfRun(s.get(), [&] { s->verifyStart(); });
        disconnect(c);
        QCOMPARE(reports.last(), Report(101, QStringLiteral("校正验证-校正验证执行失败，请重试。")));
        const QString refusal = reports.at(reports.size() - 2).second;
        QVERIFY2(refusal.startsWith(QStringLiteral("校正验证-暗场图像过亮：%1 的最大列均值为 ").arg(plane)),
                 qPrintable(refusal));
        QVERIFY(refusal.endsWith(QStringLiteral("（限制 64），请确认镜头盖已盖好后重试。")));
        QVERIFY(switchesOf(s->m_handle) == found);
    }

    // Through the worker, as the window drives it: the questions arrive queued and are answered
    // from this thread; the result comes before the closing report.
    void drivenThroughTheWorker()
    {
        const QString name = QStringLiteral("SIM-LS4096-M");
        auto s = openServer(name);
        lsxSetExposure(s->m_handle, exposureFor(s.get(), name, 450.0));
        Heard heard(s.get(), this);
        emit s->IS_VerifyStart();
        QTRY_COMPARE_WITH_TIMEOUT(heard.asked.size(), 1, 10000);
        QCOMPARE(heard.asked.at(0),
                 Report(2, QStringLiteral("校正验证-请取下镜头盖，用均匀光源照亮平场目标，然后点击“继续”。")));
        QVERIFY(s->workerBusy());
        setScene(name, LSX_SIM_SCENE_FLAT);
        s->verifyAnswer(2, true);
        QTRY_COMPARE_WITH_TIMEOUT(heard.asked.size(), 2, 20000);
        QCOMPARE(heard.asked.at(1).first, 1);
        setScene(name, LSX_SIM_SCENE_DARK);
        s->verifyAnswer(1, true);
        QTRY_VERIFY_WITH_TIMEOUT(!heard.info.isEmpty() && heard.info.last().first == 100, 20000);
        QTRY_VERIFY(!s->workerBusy());
        // The result came before the closing report.
        QCOMPARE(heard.reports, 1);
        QCOMPARE(heard.reportBeforeClose, true);
        QCOMPARE(heard.report.planes.size(), 1);
        // A late answer to a finished run changes nothing.
        s->verifyAnswer(2, true);
        QCOMPARE(failures(heard.info), 0);
    }

    // A cancel while the run waits for the operator ends it at once, quietly.
    void cancelWhileWaiting()
    {
        const QString name = QStringLiteral("SIM-LS4096-M");
        auto s = openServer(name);
        const Switches found = switchesOf(s->m_handle);
        Heard heard(s.get(), this);
        emit s->IS_VerifyStart();
        QTRY_COMPARE_WITH_TIMEOUT(heard.asked.size(), 1, 10000);
        s->cancel();
        QTRY_VERIFY_WITH_TIMEOUT(!s->workerBusy(), 5000);
        QCOMPARE(failures(heard.info), 0);
        QCOMPARE(heard.reports, 0);
        QVERIFY(switchesOf(s->m_handle) == found);
    }

    // The limits come from FPN.ini, written there with their defaults when missing; a station's
    // stricter limit fails the same camera.
    void limitsFromTheSettings()
    {
        const QString name = QStringLiteral("SIM-LS4096-M");
        auto s = openServer(name);
        lsxSetExposure(s->m_handle, exposureFor(s.get(), name, 450.0));
        VerifyReport r;
        verify(s.get(), name, &r);
        QSettings ini(fpnIniPath(), QSettings::IniFormat);
        QCOMPARE(ini.value(QStringLiteral("Verify/MaxPRNU")).toDouble(), 0.5);
        QCOMPARE(ini.value(QStringLiteral("Verify/MaxDSNU")).toDouble(), 0.5);
        QCOMPARE(ini.value(QStringLiteral("Verify/MaxDefects")).toInt(), 0);
        QCOMPARE(ini.value(QStringLiteral("Verify/DefectDark")).toDouble(), 5.0);
        QCOMPARE(ini.value(QStringLiteral("Verify/DefectResponse")).toDouble(), 10.0);
        QCOMPARE(r.limits.maxPrnu, 0.5);

        // Limits wide enough for the uncorrected camera: it passes.
        store(QStringLiteral("Verify/MaxPRNU"), 5.0);
        store(QStringLiteral("Verify/MaxDSNU"), 3.0);
        const QList<Report> reports = verify(s.get(), name, &r);
        QCOMPARE(reports.last(), Report(100, QStringLiteral("校正验证-校正验证完成，结果：合格。点击确定查看报告。")));
        QCOMPARE(r.limits.maxPrnu, 5.0);
        QCOMPARE(r.limits.maxDsnu, 3.0);
    }

    // No camera, and a camera of the area family: told, nothing measured.
    void refusedWithoutALineScanCamera()
    {
        auto none = std::make_unique<CameraServer>();
        QCOMPARE(reportsOfRun(none.get(), [&] { none->verifyStart(); }),
                 (QList<Report>{{101, QStringLiteral("校正验证-没有连接上相机。")}}));
        auto area = openServer(QStringLiteral("SIM-TVK317"));
        QVERIFY(area->m_opened);
        QCOMPARE(reportsOfRun(area.get(), [&] { area->verifyStart(); }),
                 (QList<Report>{{101, QStringLiteral("校正验证-此相机类型不支持校正验证。")}}));
    }
};

QTEST_MAIN(TestVerifySim)
#include "test_verify_sim.moc"
