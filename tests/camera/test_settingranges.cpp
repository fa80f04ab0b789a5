// The ranged settings of FPN.ini: the table against the program's defaults, the strict reading of
// what QSettings gives (texts from the file, numbers set in this run, lists), the exact messages,
// the default said once, the gain range that makes no pass.
#include "calibration/verifystats.h"
#include "camera/settingranges.h"
#include "camera/tables.h"

#include <QSettings>
#include <QTemporaryDir>
#include <QtTest>

#include <cmath>

class TestSettingRanges : public QObject {
    Q_OBJECT

private slots:
    void tableHoldsTheProgramsDefaults()
    {
        const VerifyLimits limits;
        const QList<QPair<QString, double>> expected{
            {FpnIni::GainMin, FpnIni::GainMinDefault},   {FpnIni::GainMax, FpnIni::GainMaxDefault},
            {FpnIni::PixelMax, FpnIni::PixelMaxDefault}, {FpnIni::PixelMin, FpnIni::PixelMinDefault},
            {FpnIni::DOffset, FpnIni::DOffsetDefault},   {FpnIni::FpnSel, FpnIni::FpnSelDefault},
            {FpnIni::ColCount, FpnIni::ColCountDefault}, {VerifyIni::MaxPrnu, limits.maxPrnu},
            {VerifyIni::MaxDsnu, limits.maxDsnu},        {VerifyIni::MaxDefects, limits.maxDefects},
            {VerifyIni::DefectDark, limits.defectDark},  {VerifyIni::DefectResponse, limits.defectResponse},
        };
        QCOMPARE(settingRanges().size(), expected.size());
        for (const auto& [key, fallback] : expected) {
            const SettingRange* r = settingRange(key);
            QVERIFY2(r, qPrintable(key));
            QCOMPARE(r->fallback, fallback);
            // Every default lies in its own range.
            QVERIFY2(checkSetting(key, QVariant()).ok(), qPrintable(key));
            QVERIFY2(checkSetting(key, QString::number(fallback)).ok(), qPrintable(key));
        }
        QCOMPARE(settingRange(QStringLiteral("Params/Nothing")), nullptr);
        // Only the unused column count falls back; every other bad value refuses.
        for (const SettingRange& r : settingRanges())
            QCOMPARE(r.onBad == BadSetting::UseDefault, r.key == FpnIni::ColCount);
    }

    void rangeTexts()
    {
        QCOMPARE(rangeText(*settingRange(FpnIni::GainMin)), QStringLiteral("[1, 32]"));
        QCOMPARE(rangeText(*settingRange(FpnIni::DOffset)), QStringLiteral("[-128, 128]"));
        QCOMPARE(rangeText(*settingRange(VerifyIni::MaxPrnu)), QStringLiteral("(0, 100]"));
        QCOMPARE(rangeText(*settingRange(VerifyIni::MaxDsnu)), QStringLiteral("(0, 1023]"));
    }

    void goodValues_data()
    {
        QTest::addColumn<QString>("key");
        QTest::addColumn<QVariant>("raw");
        QTest::addColumn<double>("value");
        QTest::newRow("gain text") << FpnIni::GainMin << QVariant(QStringLiteral("2.5")) << 2.5;
        QTest::newRow("gain low end") << FpnIni::GainMax << QVariant(QStringLiteral("1")) << 1.0;
        QTest::newRow("gain high end") << FpnIni::GainMax << QVariant(QStringLiteral("32")) << 32.0;
        QTest::newRow("gain float set in this run") << FpnIni::GainMin << QVariant(3.0f) << 3.0;
        QTest::newRow("gain with spaces") << FpnIni::GainMin << QVariant(QStringLiteral(" 4 ")) << 4.0;
        QTest::newRow("pixel int") << FpnIni::PixelMax << QVariant(200) << 200.0;
        QTest::newRow("pixel exponent") << FpnIni::PixelMax << QVariant(QStringLiteral("1.8e2")) << 180.0;
        QTest::newRow("pixel fraction zero") << FpnIni::PixelMax << QVariant(QStringLiteral("180.0")) << 180.0;
        QTest::newRow("doffset negative") << FpnIni::DOffset << QVariant(QStringLiteral("-63")) << -63.0;
        QTest::newRow("doffset 128 from camera") << FpnIni::DOffset << QVariant(QStringLiteral("128")) << 128.0;
        QTest::newRow("fpnsel 7") << FpnIni::FpnSel << QVariant(QStringLiteral("7")) << 7.0;
        QTest::newRow("prnu small") << VerifyIni::MaxPrnu << QVariant(QStringLiteral("0.01")) << 0.01;
        QTest::newRow("prnu 100") << VerifyIni::MaxPrnu << QVariant(QStringLiteral("100")) << 100.0;
        QTest::newRow("defects none") << VerifyIni::MaxDefects << QVariant(QStringLiteral("0")) << 0.0;
    }
    void goodValues()
    {
        QFETCH(QString, key);
        QFETCH(QVariant, raw);
        QFETCH(double, value);
        const SettingValue v = checkSetting(key, raw);
        QVERIFY2(v.ok(), qPrintable(v.error));
        QCOMPARE(v.value, value);
    }

    void badValues_data()
    {
        QTest::addColumn<QString>("key");
        QTest::addColumn<QVariant>("raw");
        QTest::addColumn<QString>("error");
        const QString notNumber = QStringLiteral("设置 %1 的值 \"%2\" 不是数，应在 %3 之内");
        const QString outOfRange = QStringLiteral("设置 %1 的值 \"%2\" 超出范围，应在 %3 之内");
        const QString notWhole = QStringLiteral("设置 %1 的值 \"%2\" 不是整数，应在 %3 之内");
        const QString gains = QStringLiteral("[1, 32]");
        QTest::newRow("gain nan") << FpnIni::GainMin << QVariant(QStringLiteral("nan"))
                                  << notNumber.arg(FpnIni::GainMin, QStringLiteral("nan"), gains);
        QTest::newRow("gain NaN") << FpnIni::GainMax << QVariant(QStringLiteral("NaN"))
                                  << notNumber.arg(FpnIni::GainMax, QStringLiteral("NaN"), gains);
        QTest::newRow("gain 1e308") << FpnIni::GainMin << QVariant(QStringLiteral("1e308"))
                                    << outOfRange.arg(FpnIni::GainMin, QStringLiteral("1e308"), gains);
        QTest::newRow("gain 1e400") << FpnIni::GainMin << QVariant(QStringLiteral("1e400"))
                                    << outOfRange.arg(FpnIni::GainMin, QStringLiteral("1e400"), gains);
        QTest::newRow("gain inf") << FpnIni::GainMax << QVariant(QStringLiteral("inf"))
                                  << outOfRange.arg(FpnIni::GainMax, QStringLiteral("inf"), gains);
        QTest::newRow("gain -inf") << FpnIni::GainMax << QVariant(QStringLiteral("-inf"))
                                   << outOfRange.arg(FpnIni::GainMax, QStringLiteral("-inf"), gains);
        QTest::newRow("gain 0.5") << FpnIni::GainMin << QVariant(QStringLiteral("0.5"))
                                  << outOfRange.arg(FpnIni::GainMin, QStringLiteral("0.5"), gains);
        QTest::newRow("gain junk") << FpnIni::GainMin << QVariant(QStringLiteral("2x"))
                                   << notNumber.arg(FpnIni::GainMin, QStringLiteral("2x"), gains);
        QTest::newRow("gain hex") << FpnIni::GainMin << QVariant(QStringLiteral("0x2"))
                                  << notNumber.arg(FpnIni::GainMin, QStringLiteral("0x2"), gains);
        QTest::newRow("gain empty") << FpnIni::GainMin << QVariant(QString())
                                    << notNumber.arg(FpnIni::GainMin, QString(), gains);
        QTest::newRow("gain list") << FpnIni::GainMin << QVariant(QStringList{"1", "2"})
                                   << notNumber.arg(FpnIni::GainMin, QStringLiteral("1, 2"), gains);
        QTest::newRow("gain bool") << FpnIni::GainMin << QVariant(true)
                                   << notNumber.arg(FpnIni::GainMin, QStringLiteral("true"), gains);
        QTest::newRow("gain float nan set in this run") << FpnIni::GainMax << QVariant(std::nanf(""))
                                                        << notNumber.arg(FpnIni::GainMax, QStringLiteral("nan"), gains);
        // toInt() read this as 0: the bright field calibrated toward level 0.
        QTest::newRow("pixelmax 1e308") << FpnIni::PixelMax << QVariant(QStringLiteral("1e308"))
                                        << outOfRange.arg(FpnIni::PixelMax, QStringLiteral("1e308"), "[2, 255]");
        QTest::newRow("pixelmax fraction") << FpnIni::PixelMax << QVariant(QStringLiteral("180.5"))
                                           << notWhole.arg(FpnIni::PixelMax, QStringLiteral("180.5"), "[2, 255]");
        QTest::newRow("pixelmax 256") << FpnIni::PixelMax << QVariant(256)
                                      << outOfRange.arg(FpnIni::PixelMax, QStringLiteral("256"), "[2, 255]");
        QTest::newRow("pixelmin -1") << FpnIni::PixelMin << QVariant(QStringLiteral("-1"))
                                     << outOfRange.arg(FpnIni::PixelMin, QStringLiteral("-1"), "[0, 255]");
        QTest::newRow("doffset 200") << FpnIni::DOffset << QVariant(QStringLiteral("200"))
                                     << outOfRange.arg(FpnIni::DOffset, QStringLiteral("200"), "[-128, 128]");
        QTest::newRow("fpnsel 12") << FpnIni::FpnSel << QVariant(QStringLiteral("12"))
                                   << outOfRange.arg(FpnIni::FpnSel, QStringLiteral("12"), "[3, 9]");
        QTest::newRow("prnu 1e308") << VerifyIni::MaxPrnu << QVariant(QStringLiteral("1e308"))
                                    << outOfRange.arg(VerifyIni::MaxPrnu, QStringLiteral("1e308"), "(0, 100]");
        QTest::newRow("prnu nan") << VerifyIni::MaxPrnu << QVariant(QStringLiteral("nan"))
                                  << notNumber.arg(VerifyIni::MaxPrnu, QStringLiteral("nan"), "(0, 100]");
        QTest::newRow("prnu 0") << VerifyIni::MaxPrnu << QVariant(QStringLiteral("0"))
                                << outOfRange.arg(VerifyIni::MaxPrnu, QStringLiteral("0"), "(0, 100]");
        QTest::newRow("dsnu -1") << VerifyIni::MaxDsnu << QVariant(QStringLiteral("-1"))
                                 << outOfRange.arg(VerifyIni::MaxDsnu, QStringLiteral("-1"), "(0, 1023]");
        QTest::newRow("defects -5") << VerifyIni::MaxDefects << QVariant(QStringLiteral("-5"))
                                    << outOfRange.arg(VerifyIni::MaxDefects, QStringLiteral("-5"), "[0, 65535]");
        QTest::newRow("defects 1.5") << VerifyIni::MaxDefects << QVariant(QStringLiteral("1.5"))
                                     << notWhole.arg(VerifyIni::MaxDefects, QStringLiteral("1.5"), "[0, 65535]");
        QTest::newRow("defect dark nan") << VerifyIni::DefectDark << QVariant(QStringLiteral("nan"))
                                         << notNumber.arg(VerifyIni::DefectDark, QStringLiteral("nan"), "(0, 1023]");
        QTest::newRow("defect response -5")
            << VerifyIni::DefectResponse << QVariant(QStringLiteral("-5"))
            << outOfRange.arg(VerifyIni::DefectResponse, QStringLiteral("-5"), "(0, 100]");
    }
    void badValues()
    {
        QFETCH(QString, key);
        QFETCH(QVariant, raw);
        QFETCH(QString, error);
        const SettingValue v = checkSetting(key, raw);
        QCOMPARE(v.error, error);
        QVERIFY(!v.ok());
        // A bad value leaves the default, never a number made of it.
        QCOMPARE(v.value, settingRange(key)->fallback);
    }

    // What an INI file written by hand gives back through QSettings: the texts, not numbers.
    void throughTheFile()
    {
        QTemporaryDir dir;
        QVERIFY(dir.isValid());
        const QString path = dir.filePath(QStringLiteral("FPN.ini"));
        {
            QFile f(path);
            QVERIFY(f.open(QIODevice::WriteOnly));
            f.write(
                "[Params]\nGainMin=nan\nGainMax=1e308\nPixelMax=1e308\nDOffset=-3\nFpnSel=7 levels\n"
                "[Verify]\nMaxPRNU=1,2\n");
        }
        QSettings s(path, QSettings::IniFormat);
        QVERIFY(!checkSetting(FpnIni::GainMin, s.value(FpnIni::GainMin)).ok());
        QVERIFY(!checkSetting(FpnIni::GainMax, s.value(FpnIni::GainMax)).ok());
        // The reading this replaces: 1e308 as an int is 0.
        QCOMPARE(s.value(FpnIni::PixelMax).toInt(), 0);
        QVERIFY(checkSetting(FpnIni::PixelMax, s.value(FpnIni::PixelMax)).error.contains(QStringLiteral("超出范围")));
        QCOMPARE(checkSetting(FpnIni::DOffset, s.value(FpnIni::DOffset)).value, -3.0);
        QVERIFY(checkSetting(FpnIni::FpnSel, s.value(FpnIni::FpnSel)).error.contains(QStringLiteral("\"7 levels\"")));
        QVERIFY(
            checkSetting(VerifyIni::MaxPrnu, s.value(VerifyIni::MaxPrnu)).error.contains(QStringLiteral("\"1, 2\"")));
        // Absent: the default, good.
        const SettingValue absent = checkSetting(FpnIni::PixelMin, s.value(FpnIni::PixelMin));
        QVERIFY(absent.ok());
        QCOMPARE(absent.value, 0.0);
    }

    void keyWithoutRangeMustBeFinite()
    {
        const QString key = QStringLiteral("Params/Other");
        QCOMPARE(checkSetting(key, QStringLiteral("12.5")).value, 12.5);
        QCOMPARE(checkSetting(key, QStringLiteral("inf")).error,
                 QStringLiteral("设置 Params/Other 的值 \"inf\" 不是有限的数"));
    }

    void defaultSaidOnce()
    {
        QStringList said;
        auto say = [&](const QString& t) { said.append(t); };
        QCOMPARE(settingOrDefault(FpnIni::ColCount, QStringLiteral("lots"), say), 600.0);
        QCOMPARE(settingOrDefault(FpnIni::ColCount, QStringLiteral("lots"), say), 600.0);
        QCOMPARE(said, QStringList{QStringLiteral(
                           "设置 Params/ColCount 的值 \"lots\" 不是数，应在 [1, 65535] 之内，改用默认值 600。")});
        // Another bad value is said again; a good one says nothing.
        QCOMPARE(settingOrDefault(FpnIni::ColCount, QStringLiteral("0"), say), 600.0);
        QCOMPARE(settingOrDefault(FpnIni::ColCount, QStringLiteral("700"), say), 700.0);
        QCOMPARE(said.size(), 2);
        QVERIFY(said[1].contains(QStringLiteral("\"0\" 超出范围")));
    }

    void gainRange()
    {
        QCOMPARE(gainRangeError(1.0, 1.0), QString());
        QCOMPARE(gainRangeError(1.0, 2.5), QString());
        QCOMPARE(gainRangeError(5.0, 2.0),
                 QStringLiteral(
                     "设置 Params/GainMin 的值 5 大于 Params/GainMax 的值 2：增益范围内没有一个增益，校正不会执行。"
                     "请把 Params/GainMin 设为不大于 Params/GainMax 的值。"));
        QVERIFY(!gainRangeError(2.5, 2.4).isEmpty());
    }

    void checkCollectsEveryMessage()
    {
        SettingCheck check;
        QCOMPARE(check.number(VerifyIni::MaxPrnu, QStringLiteral("2")), 2.0);
        QVERIFY(check.ok());
        QCOMPARE(check.number(VerifyIni::MaxPrnu, QStringLiteral("nan")), 0.5);
        QCOMPARE(check.number(VerifyIni::MaxDefects, QStringLiteral("-5")), 0.0);
        QVERIFY(!check.ok());
        QCOMPARE(check.message(),
                 QStringLiteral("设置 Verify/MaxPRNU 的值 \"nan\" 不是数，应在 (0, 100] 之内。\n"
                                "设置 Verify/MaxDefects 的值 \"-5\" 超出范围，应在 [0, 65535] 之内。"));
        check.refuse(QStringLiteral("x"));
        QVERIFY(check.message().endsWith(QStringLiteral("\nx")));
    }

    // From the settings: an absent key is the caller's default; the gain range is judged only on
    // good values.
    void checkReadsTheSettings()
    {
        QTemporaryDir dir;
        QSettings s(dir.filePath(QStringLiteral("FPN.ini")), QSettings::IniFormat);
        SettingCheck absent(s);
        QCOMPARE(absent.read(FpnIni::GainMax, 8.0), 8.0);
        QCOMPARE(absent.readWhole(FpnIni::PixelMax, 180), 180);
        absent.gainRange(1.0, 8.0);
        QVERIFY(absent.ok());

        s.setValue(FpnIni::GainMin, QStringLiteral("5"));
        s.setValue(FpnIni::GainMax, QStringLiteral("2"));
        SettingCheck reversed(s);
        reversed.gainRange(reversed.read(FpnIni::GainMin, 1.0), reversed.read(FpnIni::GainMax, 1.0));
        QVERIFY(!reversed.ok());
        QVERIFY(reversed.message().startsWith(QStringLiteral("设置 Params/GainMin 的值 5 大于 Params/GainMax 的值 2")));

        s.setValue(FpnIni::GainMax, QStringLiteral("nan"));
        SettingCheck bad(s);
        bad.gainRange(bad.read(FpnIni::GainMin, 1.0), bad.read(FpnIni::GainMax, 1.0));
        // One message: the value, not a range made of its default.
        QCOMPARE(bad.message(), QStringLiteral("设置 Params/GainMax 的值 \"nan\" 不是数，应在 [1, 32] 之内。"));

        // Another bad setting does not hide a reversed range.
        s.setValue(FpnIni::GainMax, QStringLiteral("2"));
        s.setValue(FpnIni::PixelMax, QStringLiteral("1e308"));
        SettingCheck both(s);
        both.readWhole(FpnIni::PixelMax, 180);
        both.gainRange(both.read(FpnIni::GainMin, 1.0), both.read(FpnIni::GainMax, 1.0));
        QCOMPARE(both.message().count(QLatin1Char('\n')), 1);
        QVERIFY(both.message().contains(QStringLiteral("大于 Params/GainMax 的值 2")));
    }
};

QTEST_GUILESS_MAIN(TestSettingRanges)
#include "test_settingranges.moc"
