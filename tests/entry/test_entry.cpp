// The entry's rules: the tab shown for -t, the document and picture folders, the keys of
// FPN.ini and their defaults.
#include "app/settings.h"

#include <QCommandLineParser>
#include <QCoreApplication>
#include <QDir>
#include <QFile>
#include <QSettings>
#include <QTemporaryDir>
#include <QtTest>

class TestEntry : public QObject {
    Q_OBJECT
    QByteArray m_savedDoc;
    QByteArray m_savedPic;

    // The value of -t as the entry's parser reads it from a command line.
    static QString toolOption(const QStringList& arguments)
    {
        QCommandLineParser parser;
        const QCommandLineOption device(QStringList{QStringLiteral("d")}, QString(), QStringLiteral("value"));
        const QCommandLineOption tool(QStringList{QStringLiteral("t")}, QString(), QStringLiteral("value"));
        parser.addOption(device);
        parser.addOption(tool);
        if (!parser.parse(QStringList{QStringLiteral("lsxcalib")} + arguments)) return QStringLiteral("<error>");
        return parser.value(tool);
    }

private slots:
    void initTestCase()
    {
        m_savedDoc = qgetenv("TELORINE_DOCUMENT_PATH");
        m_savedPic = qgetenv("TELORINE_PICTURE_PATH");
    }
    void cleanup()
    {
        qputenv("TELORINE_DOCUMENT_PATH", m_savedDoc);
        qputenv("TELORINE_PICTURE_PATH", m_savedPic);
    }

    void toolListInTabOrder() { QCOMPARE(toolList, (QStringList{"FPN", "FFC", "LSC", "SCS"})); }

    void tabIndexFromTheToolOption_data()
    {
        QTest::addColumn<QStringList>("arguments");
        QTest::addColumn<int>("tab");
        QTest::newRow("-t ffc") << QStringList{"-t", "ffc"} << 1;
        QTest::newRow("-t SCS") << QStringList{"-t", "SCS"} << 3;
        QTest::newRow("-t nonsense") << QStringList{"-t", "nonsense"} << 0;
        QTest::newRow("no option") << QStringList{} << 0;
        QTest::newRow("-t Lsc with -d") << QStringList{"-d", "SIM-LS4096-M", "-t", "Lsc"} << 2;
        QTest::newRow("-t fpn") << QStringList{"-t", "fpn"} << 0;
        QTest::newRow("-t empty") << QStringList{"-t", ""} << 0;
    }

    void tabIndexFromTheToolOption()
    {
        QFETCH(QStringList, arguments);
        QTEST(tabIndexForTool(toolOption(arguments)), "tab");
    }

    // An unknown tool is warned about at start; the known ones in any case are not.
    void knownTools()
    {
        for (const char* t : {"FPN", "ffc", "Lsc", "scs"}) QVERIFY2(isKnownTool(QLatin1String(t)), t);
        for (const char* t : {"nonsense", "", "FP", "FPNX"}) QVERIFY2(!isKnownTool(QLatin1String(t)), t);
    }

    void documentDirCreatesFpnFolder()
    {
        QTemporaryDir root;
        qputenv("TELORINE_DOCUMENT_PATH", root.path().toLocal8Bit());
        QCOMPARE(documentDir(), root.path() + QStringLiteral("/FPN"));
        QVERIFY(QDir(root.path() + QStringLiteral("/FPN")).exists());
        // Existing already: the same answer.
        QCOMPARE(documentDir(), root.path() + QStringLiteral("/FPN"));
        QCOMPARE(fpnIniPath(), root.path() + QStringLiteral("/FPN/FPN.ini"));
    }

    void documentDirOfAMissingDirectoryIsUsedAsItStands()
    {
        QTemporaryDir root;
        const QString missing = root.path() + QStringLiteral("/not/there");
        qputenv("TELORINE_DOCUMENT_PATH", missing.toLocal8Bit());
        QCOMPARE(documentDir(), missing);
        QVERIFY(!QDir(missing).exists());
        QCOMPARE(fpnIniPath(), missing + QStringLiteral("/FPN.ini"));
    }

    // Made at start, a missing document folder gives documentDir() one answer from the first
    // settings object to the last, so that every part of the program shares one FPN.ini.
    void documentFolderMadeAtStart()
    {
        QTemporaryDir root;
        const QString missing = root.path() + QStringLiteral("/not/yet");
        qputenv("TELORINE_DOCUMENT_PATH", missing.toLocal8Bit());
        QCOMPARE(makeDocumentDir(), QString());
        QVERIFY(QDir(missing + QStringLiteral("/FPN")).exists());
        QCOMPARE(documentDir(), missing + QStringLiteral("/FPN"));
        const QString before = fpnIniPath();
        {
            QSettings first(fpnIniPath(), QSettings::IniFormat);
            first.setValue(QStringLiteral("Params/PixelMax"), 170);
        }
        QCOMPARE(fpnIniPath(), before);
        QCOMPARE(QSettings(fpnIniPath(), QSettings::IniFormat).value(QStringLiteral("Params/PixelMax")).toInt(), 170);
        // Already there: nothing to do, nothing to say.
        QCOMPARE(makeDocumentDir(), QString());
    }

    void documentFolderThatCannotBeMadeIsTold()
    {
        QTemporaryDir root;
        QFile blocker(root.path() + QStringLiteral("/file"));
        QVERIFY(blocker.open(QIODevice::WriteOnly));
        blocker.close();
        const QString below = blocker.fileName() + QStringLiteral("/doc");
        qputenv("TELORINE_DOCUMENT_PATH", below.toLocal8Bit());
        QCOMPARE(makeDocumentDir(),
                 QStringLiteral("无法创建文档目录 %1/FPN（TELORINE_DOCUMENT_PATH），设置和参数文件无法保存在那里。")
                     .arg(below));
        qputenv("TELORINE_DOCUMENT_PATH", QByteArray());
        QCOMPARE(makeDocumentDir(), QString());
    }

    void documentDirWithoutTheVariableIsTheApplicationFolder()
    {
        qputenv("TELORINE_DOCUMENT_PATH", QByteArray());
        QCOMPARE(documentDir(), QCoreApplication::applicationDirPath());
        qunsetenv("TELORINE_DOCUMENT_PATH");
        QCOMPARE(documentDir(), QCoreApplication::applicationDirPath());
    }

    void pictureDir()
    {
        qputenv("TELORINE_PICTURE_PATH", QByteArrayLiteral("/some/where"));
        QCOMPARE(::pictureDir(), QStringLiteral("/some/where"));
        qunsetenv("TELORINE_PICTURE_PATH");
        QCOMPARE(::pictureDir(), QCoreApplication::applicationDirPath());
    }

    void fpnIniDefaults()
    {
        QTemporaryDir root;
        qputenv("TELORINE_DOCUMENT_PATH", root.path().toLocal8Bit());
        QSettings settings(fpnIniPath(), QSettings::IniFormat);  // no file: all defaults
        auto read = [&](const QString& key) { return settings.value(key, FpnIni::defaultValue(key)); };
        QCOMPARE(read(FpnIni::GainMin).toFloat(), 1.0f);
        QCOMPARE(read(FpnIni::GainMax).toFloat(), 1.0f);
        QCOMPARE(FpnIni::gainMaxCalibrationDefault(true), 1.0f);
        QCOMPARE(FpnIni::gainMaxCalibrationDefault(false), 8.0f);
        QCOMPARE(read(FpnIni::PixelMax).toInt(), 180);
        QCOMPARE(read(FpnIni::PixelMin).toInt(), 0);
        QCOMPARE(read(FpnIni::DOffset).toInt(), 0);
        QCOMPARE(read(FpnIni::FlatEnable).toBool(), false);
        QCOMPARE(read(FpnIni::HideFunction).toString(), QStringLiteral("true"));
        QCOMPARE(read(FpnIni::HideFunction).toBool(), true);
        QCOMPARE(read(FpnIni::FpnSel).toInt(), 9);
        QCOMPARE(read(FpnIni::Factory).toBool(), false);
        QVERIFY(!read(FpnIni::MaxK).isValid());
        QVERIFY(!read(FpnIni::MaxB).isValid());
        QCOMPARE(read(FpnIni::CameraConfig).toString(), QString());
        QCOMPARE(read(FpnIni::ColCount).toInt(), 600);
        QCOMPARE(read(FpnIni::StopShowHelp).toBool(), true);
        QCOMPARE(FpnIni::allKeys().size(), 14);
        for (const QString& key : FpnIni::allKeys()) QVERIFY(key.startsWith(QStringLiteral("Params/")));
    }

    void hideFunctionFromTheFile()
    {
        QTemporaryDir root;
        qputenv("TELORINE_DOCUMENT_PATH", root.path().toLocal8Bit());
        QVERIFY(hideFunctionSetting());  // absent: hidden
        {
            QSettings settings(fpnIniPath(), QSettings::IniFormat);
            settings.setValue(FpnIni::HideFunction, false);
        }
        QVERIFY(!hideFunctionSetting());  // an outside edit shows the group at the next load
        {
            QFile f(fpnIniPath());
            QVERIFY(f.open(QIODevice::WriteOnly | QIODevice::Truncate));
            f.write("[Params]\nHideFunction=true\n");
        }
        QVERIFY(hideFunctionSetting());
    }
};

QTEST_GUILESS_MAIN(TestEntry)
#include "test_entry.moc"
