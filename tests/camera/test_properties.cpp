// The feature panels' properties on the simulated camera, without a window: each read as the
// camera answers it, each write read back, and a handle the camera does not know refused.
#include "camera/properties.h"

#include "loader.h"
#include "sim/lsxsim.h"

#include <QtTest>

class TestProperties : public QObject {
    Q_OBJECT
    lsxHandle m_h = 0;

private slots:
    void initTestCase()
    {
        const lsx::BindResult bound = lsx::bindLibrary(lsx::chooseLibrary("", ""));
        QVERIFY2(bound.ok, bound.message.c_str());
        QVERIFY(lsx::sim::api().ok());
    }

    void init()
    {
        QCOMPARE(lsx::sim::api().reset(), LSX_OK);
        QCOMPARE(lsxOpenByName("SIM-LS8192-MLK", LSX_OPEN_NORMAL, &m_h), LSX_OK);
    }

    void cleanup() { lsxClose(m_h); }
    void cleanupTestCase() { lsx::unbindLibrary(); }

    void gainAndExposure()
    {
        const properties::Range gains = properties::gainRange(m_h);
        QVERIFY(gains.ok);
        QVERIFY(gains.min >= 1.0 && gains.max > gains.min && gains.step > 0.0);
        QCOMPARE(properties::gain(m_h).value, 1.0);
        QCOMPARE(properties::setGain(m_h, 2.0), LSX_OK);
        QCOMPARE(properties::gain(m_h).value, 2.0);
        QVERIFY(properties::setGain(m_h, gains.max + 100.0) != LSX_OK);

        const properties::Range exposures = properties::exposureRange(m_h);
        QVERIFY(exposures.ok && exposures.max > exposures.min);
        QCOMPARE(properties::exposure(m_h).value, 100.0);
        QCOMPARE(properties::setExposure(m_h, 250.0), LSX_OK);
        QCOMPARE(properties::exposure(m_h).value, 250.0);
    }

    void resolutionModesAndBinning()
    {
        properties::Selection modes = properties::resolutionModes(m_h);
        QVERIFY(modes.ok);
        QCOMPARE(modes.texts, (QStringList{"Full", "SUM2", "BIN2", "SUM4", "USER"}));
        QCOMPARE(modes.indices, (QList<int>{0, 1, 2, 3, 4}));
        QCOMPARE(modes.currentIndex, 0);
        QCOMPARE(properties::setResolutionMode(m_h, 4), LSX_OK);
        QCOMPARE(properties::resolutionModes(m_h).currentIndex, 4);

        for (const char* name : properties::kBinningEnums) {
            const properties::Enumeration e = properties::enumeration(m_h, name);
            QVERIFY2(e.ok && e.names.size() >= 2, name);
            QVERIFY2(e.selected >= 0 && e.selected < e.names.size(), name);
        }
        const properties::Enumeration before = properties::enumeration(m_h, "BinningHorizontal");
        const QString other = before.names[(before.selected + 1) % before.names.size()];
        QCOMPARE(properties::setEnumeration(m_h, "BinningHorizontal", other), LSX_OK);
        const properties::Enumeration after = properties::enumeration(m_h, "BinningHorizontal");
        QCOMPARE(after.names[after.selected], other);
        QVERIFY(!properties::enumeration(m_h, "NoSuchEnum").ok);
    }

    void roi()
    {
        const properties::RoiLimits limits = properties::roiLimits(m_h);
        QVERIFY(limits.ok);
        QCOMPARE(limits.maxWidth, 8192);
        QVERIFY(limits.minWidth > 0 && limits.widthStep > 0 && limits.heightStep > 0);
        properties::Roi r = properties::roi(m_h);
        QVERIFY(r.ok);
        QCOMPARE(r.x, 0);
        QCOMPARE(r.width, 8192);
        QCOMPARE(r.height, 1000);
        QCOMPARE(properties::setRoi(m_h, 16, 4096, 500), LSX_OK);
        r = properties::roi(m_h);
        QCOMPARE(r.x, 16);
        QCOMPARE(r.width, 4096);
        QCOMPARE(r.height, 500);
    }

    void cameraFpnSwitch()
    {
        QVERIFY(properties::cameraFpnEnabled(m_h).ok);
        QCOMPARE(properties::setCameraFpnEnabled(m_h, true), LSX_OK);
        QCOMPARE(properties::cameraFpnEnabled(m_h).value, 1.0);
        QCOMPARE(properties::setCameraFpnEnabled(m_h, false), LSX_OK);
        QCOMPARE(properties::cameraFpnEnabled(m_h).value, 0.0);
    }

    void storeSelections()
    {
        properties::Selection fpn = properties::selection(m_h, properties::kFpnSelKey);
        QVERIFY(fpn.ok);
        QCOMPARE(fpn.texts, (QStringList{"factory", "UserSet0", "UserSet1", "UserSet2"}));
        QVERIFY(fpn.hasCurrentText);
        QCOMPARE(fpn.currentText, QStringLiteral("UserSet0"));
        QCOMPARE(properties::setSelection(m_h, properties::kFpnSelKey, QStringLiteral("UserSet2")), LSX_OK);
        QCOMPARE(properties::selection(m_h, properties::kFpnSelKey).currentText, QStringLiteral("UserSet2"));
        QVERIFY(properties::selection(m_h, properties::kFfcSelKey).texts.contains(QStringLiteral("UserSet3")));
        QCOMPARE(properties::selection(m_h, properties::kLscSelKey).texts.size(), 17);  // "Disable" and 16 sets
        QVERIFY(properties::setSelection(m_h, properties::kFpnSelKey, QStringLiteral("NoSuchSet")) != LSX_OK);
    }

    void targetFormat()
    {
        const properties::Value format = properties::targetFormat(m_h);
        QVERIFY(format.ok);
        QCOMPARE(int(format.value), int(FORMAT_MONO));
    }

    void unknownHandleRefused()
    {
        const lsxHandle wrong = m_h + 1000;
        QVERIFY(!properties::gainRange(wrong).ok);
        QVERIFY(!properties::gain(wrong).ok);
        QVERIFY(!properties::exposure(wrong).ok);
        QVERIFY(!properties::resolutionModes(wrong).ok);
        QVERIFY(!properties::roiLimits(wrong).ok);
        QVERIFY(!properties::roi(wrong).ok);
        QVERIFY(!properties::cameraFpnEnabled(wrong).ok);
        QVERIFY(!properties::selection(wrong, properties::kFpnSelKey).ok);
        QVERIFY(!properties::targetFormat(wrong).ok);
        QVERIFY(properties::setGain(wrong, 1.0) != LSX_OK);
    }

    void textFieldsReadNoFurtherThanTheirCapacity()
    {
        const char text[4] = {'A', 'B', 'C', 'D'};
        QCOMPARE(properties::fieldText(text, sizeof text), QStringLiteral("ABCD"));
        QCOMPARE(properties::fieldText("AB\0CD", 5), QStringLiteral("AB"));
    }
};

QTEST_GUILESS_MAIN(TestProperties)
#include "test_properties.moc"
