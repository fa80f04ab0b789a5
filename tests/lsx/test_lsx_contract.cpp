// The device contract: status texts and the byte layout of the records.
#include "expected_status.h"
#include "lsx.h"
#include "statustext.h"

#include <QtTest>

class TestLsxContract : public QObject {
    Q_OBJECT
private slots:
    void everyCodeOfTheTable()
    {
        QCOMPARE(int(std::size(kExpectedStatusTexts)), 83);
        for (const auto& [code, text] : kExpectedStatusTexts) QCOMPARE(statusText(code), QString::fromUtf8(text));
    }

    void knownTextsByHand()
    {
        QCOMPARE(statusText(1), QStringLiteral("操作成功"));
        QCOMPARE(statusText(0), QStringLiteral("操作失败"));
        QCOMPARE(statusText(-1000), QStringLiteral("超时错误"));
        QCOMPARE(statusText(-7), QStringLiteral("未连接到设备"));
        QCOMPARE(statusText(-13), QStringLiteral("无效句柄（空句柄或野句柄），通常是相机未打开所致"));
        QCOMPARE(statusText(-1104), QStringLiteral("设备已经断开连接"));
        QCOMPARE(statusText(-1202), QStringLiteral("写保护，不可写"));
        QCOMPARE(statusText(-1611), QStringLiteral("ROI功能不支持"));
        QCOMPARE(statusText(7), QStringLiteral("操作忽略掉了，不须要任何动作"));
    }

    void unknownCodesAreEmpty()
    {
        for (int code : {8, -14, -1612, -999, 100, -100000, INT32_MIN, INT32_MAX, -56, -1108})
            QVERIFY2(statusText(code).isEmpty(), qPrintable(QString::number(code)));
        QVERIFY(!statusText(-1611).isEmpty());
    }

    void recordSizesAndOffsets()
    {
        QCOMPARE(sizeof(lsxCameraInfo), size_t(1216));
        QCOMPARE(offsetof(lsxCameraInfo, model), size_t(128));
        QCOMPARE(offsetof(lsxCameraInfo, friendlyName), size_t(640));
        QCOMPARE(offsetof(lsxCameraInfo, sensor), size_t(768));
        QCOMPARE(offsetof(lsxCameraInfo, cameraType), size_t(832));
        QCOMPARE(sizeof(lsxRegion), size_t(144));
        QCOMPARE(offsetof(lsxRegion, H), size_t(12));
        QCOMPARE(offsetof(lsxRegionDescr, heightStep), size_t(20));
        QCOMPARE(offsetof(lsxFrame, bits), size_t(4));
        QCOMPARE(offsetof(lsxFrame, width), size_t(12));
        QCOMPARE(offsetof(lsxFrame, height), size_t(16));
        QCOMPARE(sizeof(lsxFloatDescr), size_t(12));
        QCOMPARE(sizeof(lsxDoubleDescr), size_t(24));
        QCOMPARE(offsetof(lsxSelectionDetail, index), size_t(64));
        QCOMPARE(sizeof(lsxCorrectionSwitch), size_t(104));
        QCOMPARE(offsetof(lsxCorrectionSwitch, enable), size_t(1));
        QCOMPARE(offsetof(lsxCorrectionSwitch, mode), size_t(6));
        QCOMPARE(sizeof(lsxFpnHeader), size_t(40));
        QCOMPARE(offsetof(lsxFpnHeader, doffset), size_t(9));
        QCOMPARE(offsetof(lsxFpnHeader, level), size_t(10));
        QCOMPARE(offsetof(lsxFpnHeader, type), size_t(20));
        QCOMPARE(offsetof(lsxFpnHeader, moreFollows), size_t(24));
        QCOMPARE(offsetof(lsxFpnHeader, dataSize), size_t(28));
        QCOMPARE(offsetof(lsxFpnHeader, data), size_t(32));
        QCOMPARE(offsetof(lsxSensorInfo, maxWidth), size_t(80));
        QCOMPARE(offsetof(lsxSensorInfo, maxHeight), size_t(84));
        QCOMPARE(offsetof(lsxFactoryRecord, flags), size_t(4));
        QCOMPARE(offsetof(lsxFactoryRecord, maxK), size_t(40));
        QCOMPARE(offsetof(lsxFactoryRecord, maxB), size_t(41));
    }

    void namedConstants()
    {
        QCOMPARE(GVR_SEN_BLACK_LEVEL, 0x1000224u);
        QCOMPARE(GVR_MULTI_FPN_SELECT, 0x1001620u);
        QCOMPARE(GVR_LSC_SET_INDEX, 0x10011DCu);
        QCOMPARE(GVR_FLASH_STORE, 0x10011ECu);
        QCOMPARE(LSX_MEM_FFC_SET, 0x2C00000u);
        QCOMPARE(LSX_MEM_LSC_BLOCK, 0x1002E00u);
        QCOMPARE(LSX_LSC_MAGIC, 0x0002FCACu);
        QCOMPARE(int(LSX_KEY_CORRECTION_SWITCH), 40);
        QCOMPARE(int(LSX_KEY_FPN), 45);
        QCOMPARE(int(LSX_KEY_FPN_ENABLE), 46);
        QCOMPARE(int(LSX_KEY_GAIN_TABLE), 47);
        QCOMPARE(int(LSX_KEY_SENSOR_REG), 129);
        QCOMPARE(int(LSX_KEY_FACTORY), 136);
        QCOMPARE(int(FORMAT_BGR24), 10);
        QCOMPARE(int(FORMAT_RGB32), 15);
    }

    void sixtySixOperations()
    {
        int n = 0;
#define LSX_COUNT(name, params, args) ++n;
        LSX_OPERATIONS(LSX_COUNT)
#undef LSX_COUNT
        QCOMPARE(n + 1, LSX_OPERATION_COUNT);  // plus lsxDebugFormat
        QCOMPARE(LSX_OPERATION_COUNT, 66);
    }
};

QTEST_GUILESS_MAIN(TestLsxContract)
#include "test_lsx_contract.moc"
