// lsxcalib-cli on Aravis' own fake GigE Vision camera (arv-fake-gv-camera-0.8 on the loopback): an
// area camera with a standard feature tree, no black level and none of the maker's firmware. Each
// step that makes sense reaches its end: the dark field with DOffset 0 said once, the bright field,
// the FPN file, the flat field and the lens shading saved, every file loading back in the
// correction library; each write into the camera is refused with a message naming what the camera
// lacks, and leaves the exit code of a failure.
#include "correct/lsxcorrect.h"
#include "genicam/testcamera.h"

#include <QFile>
#include <QJsonArray>
#include <QJsonDocument>
#include <QJsonObject>
#include <QRegularExpression>
#include <QSettings>
#include <QStandardPaths>
#include <QTemporaryDir>
#include <QtTest>

namespace {

struct CliRun {
    int exit = -1;
    QString err;
    QJsonArray steps;
};

}  // namespace

class TestGenicamFakeCamera : public QObject {
    Q_OBJECT
    QTemporaryDir m_dir;
    QProcess m_fake;
    QString m_serial;
    bool m_locked = false;

    CliRun cli(const QStringList& steps)
    {
        CliRun run;
        const QString json = m_dir.filePath(QStringLiteral("result.json"));
        QFile::remove(json);
        QProcess p;
        QProcessEnvironment env = QProcessEnvironment::systemEnvironment();
        env.insert(QStringLiteral("LSX_LIBRARY"), QString::fromLocal8Bit(qgetenv("LSX_GENICAM_LIBRARY")));
        p.setProcessEnvironment(env);
        p.setWorkingDirectory(m_dir.path());
        p.start(QCoreApplication::applicationDirPath() + QStringLiteral("/lsxcalib-cli"),
                QStringList{QStringLiteral("-d"), QStringLiteral("Aravis Fake ") + m_serial, QStringLiteral("--yes"),
                            QStringLiteral("--json"), json}
                    + steps);
        if (!p.waitForStarted(10000) || !p.waitForFinished(240000)) {
            p.kill();
            p.waitForFinished(5000);
            run.err = QStringLiteral("lsxcalib-cli did not finish");
            return run;
        }
        run.exit = p.exitStatus() == QProcess::NormalExit ? p.exitCode() : -1;
        // Without the progress lines that carry no text.
        run.err =
            QString::fromLocal8Bit(p.readAllStandardError())
                .remove(QRegularExpression(QStringLiteral("^\\[ *\\d+\\] *\\n"), QRegularExpression::MultilineOption));
        QFile f(json);
        if (f.open(QIODevice::ReadOnly))
            run.steps = QJsonDocument::fromJson(f.readAll()).object()[QStringLiteral("steps")].toArray();
        return run;
    }

    static int count(const QJsonObject& step, const QString& text)
    {
        int n = 0;
        for (const QJsonValue& m : step[QStringLiteral("messages")].toArray())
            if (m.toObject()[QStringLiteral("text")].toString() == text) ++n;
        return n;
    }

private slots:
    void initTestCase()
    {
        QVERIFY(m_dir.isValid());
        const QString fake = QStandardPaths::findExecutable(QStringLiteral("arv-fake-gv-camera-0.8"));
        QVERIFY2(!fake.isEmpty(), "arv-fake-gv-camera-0.8 (Debian package aravis-tools) is not installed");
        m_locked = gvtest::LoopbackLock::take(240000);
        QVERIFY2(m_locked, "the loopback's GigE Vision port stayed taken");
        QVERIFY2(gvtest::loopbackDevice().isEmpty(), qPrintable(gvtest::TestCamera::portTaken()));
        m_serial = gvtest::uniqueSerial("F");
        m_fake.setProcessChannelMode(QProcess::MergedChannels);
        m_fake.start(fake, {QStringLiteral("-i"), QStringLiteral("127.0.0.1"), QStringLiteral("-s"), m_serial});
        QVERIFY(m_fake.waitForStarted(10000));
        QTRY_VERIFY_WITH_TIMEOUT(gvtest::loopbackDevice().contains(m_serial), 10000);
    }

    void cleanupTestCase()
    {
        if (m_fake.state() != QProcess::NotRunning) {
            m_fake.terminate();
            if (!m_fake.waitForFinished(5000)) m_fake.kill();
            m_fake.waitForFinished(5000);
        }
        if (m_locked) gvtest::LoopbackLock::release();
    }

    // The fake's picture is a ramp that grows with the exposure; at 300 us it lies under the dark
    // field's limit, as a covered sensor would.
    void calibrationStepsReachTheirEnd()
    {
        const QString fpn = m_dir.filePath(QStringLiteral("fake.FAC.FPN"));
        const QString lsc = m_dir.filePath(QStringLiteral("fake.LSC.FAC"));
        const CliRun run =
            cli({QStringLiteral("exposure"), QStringLiteral("300"), QStringLiteral("dark"), QStringLiteral("bright"),
                 QStringLiteral("save-fpn"), fpn, QStringLiteral("ffc"), QStringLiteral("--save"),
                 QStringLiteral("run"), QStringLiteral("lsc"), QStringLiteral("--save"), lsc});
        if (run.exit != 0) qInfo().noquote() << run.err;
        QCOMPARE(run.exit, 0);
        QCOMPARE(run.steps.size(), 6);
        for (const QJsonValue& step : run.steps)
            QCOMPARE(step.toObject()[QStringLiteral("outcome")].toString(), QStringLiteral("ok"));
        const QJsonObject dark = run.steps[1].toObject();
        QCOMPARE(count(dark, QStringLiteral("DOffset固定为0：相机没有黑电平功能（BlackLevel）。")), 1);
        QCOMPARE(dark[QStringLiteral("figures")].toObject()[QStringLiteral("doffset")].toInt(-1), 0);
        QCOMPARE(count(dark, QStringLiteral("暗场校正-暗场校正执行完成。")), 1);
        QCOMPARE(count(run.steps[2].toObject(), QStringLiteral("明场校正-明场校正执行完成")), 1);
        QCOMPARE(QSettings(fpn, QSettings::IniFormat).value(QStringLiteral("Head/Doffset")).toString(),
                 QStringLiteral("0"));

        // Every file loads back in the correction library.
        const QString ffc = run.steps[4].toObject()[QStringLiteral("files")].toArray().last().toString();
        lsxcCorrection* c = nullptr;
        QCOMPARE(lsxcCreate(&c), LSXC_OK);
        char why[256] = {};
        for (const auto& [load, path] : {std::pair{lsxcLoadFpn, fpn}, {lsxcLoadFfc, ffc}, {lsxcLoadLsc, lsc}}) {
            const lsxcStatus s = load(c, path.toLocal8Bit().constData());
            if (s != LSXC_OK) lsxcLastError(c, why, sizeof why);
            QVERIFY2(s == LSXC_OK, qPrintable(path + QStringLiteral(": ") + QString::fromUtf8(why)));
        }
        lsxcInfo info{};
        QCOMPARE(lsxcGetInfo(c, &info), LSXC_OK);
        QCOMPARE(int(info.loaded), int(LSXC_ALL));
        lsxcDestroy(c);
    }

    void writesAreRefusedNamingWhatIsMissing_data()
    {
        QTest::addColumn<QStringList>("steps");
        QTest::addColumn<int>("exit");
        QTest::addColumn<QString>("said");
        QTest::newRow("FPN set") << QStringList{"exposure", "300", "dark", "write-fpn", "UserSet0"} << 1
                                 << QStringLiteral("选择FPN参数组 \"UserSet0\" 出错，错误原因：-2-不支持该功能.");
        QTest::newRow("FFC set") << QStringList{"ffc", "--write", "UserSet0"} << 2
                                 << QStringLiteral("相机没有FFC参数组，无法写入相机；可用 --save 保存为文件。");
        QTest::newRow("LSC set") << QStringList{"lsc", "--write", "UserSet0"} << 2
                                 << QStringLiteral("相机没有LSC参数组，无法写入相机；可用 --save 保存为文件。");
    }
    void writesAreRefusedNamingWhatIsMissing()
    {
        QFETCH(QStringList, steps);
        QFETCH(int, exit);
        QFETCH(QString, said);
        const CliRun run = cli(steps);
        QVERIFY2(run.exit == exit, qPrintable(run.err));
        QVERIFY2(run.err.contains(said), qPrintable(run.err));
        QCOMPARE(run.steps.last().toObject()[QStringLiteral("outcome")].toString(), QStringLiteral("failed"));
    }
};

QTEST_GUILESS_MAIN(TestGenicamFakeCamera)
#include "test_genicam_fakecamera.moc"
