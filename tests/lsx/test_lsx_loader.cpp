// The loader: all-or-nothing binding, clear refusals, the unbound answers, the choice of library.
#include "loader.h"
#include "lsx.h"

#include <QtTest>

class TestLsxLoader : public QObject {
    Q_OBJECT
private slots:
    void cleanup() { lsx::unbindLibrary(); }

    void unboundAnswersNotConnected()
    {
        QVERIFY(!lsx::isBound());
        int32_t count = 99;
        QCOMPARE(lsxRefresh(&count), LSX_ERR_NOT_CONNECTED);
        QCOMPARE(count, 0);
        lsxHandle h = 0;
        QCOMPARE(lsxOpenByName("cam", 1, &h), LSX_ERR_NOT_CONNECTED);
        QCOMPARE(lsxStart(1), LSX_ERR_NOT_CONNECTED);
        QCOMPARE(lsxDebugFormat(1, 16, "Vesmira", "x %d", 1), LSX_ERR_NOT_CONNECTED);
    }

    void fullLibraryBinds()
    {
        const std::string path = qEnvironmentVariable("LSX_STUB_FULL").toStdString();
        QVERIFY(!path.empty());
        lsx::BindResult r = lsx::bindLibrary(path);
        QVERIFY2(r.ok, r.message.c_str());
        QVERIFY(r.message.empty());
        QVERIFY(lsx::isBound());
        QCOMPARE(lsx::boundLibraryPath(), path);
        int32_t count = 0;
        QCOMPARE(lsxRefresh(&count), LSX_OK);
        QCOMPARE(count, 3);
        QCOMPARE(lsxWriteGenICamMem(1, 0, nullptr, 0), LSX_OK);
        QCOMPARE(lsxDebugFormat(1, 16, "Vesmira", "lsxset set %d's k val.", 2), LSX_OK);
    }

    void libraryLackingASymbolIsRefused()
    {
        const std::string path = qEnvironmentVariable("LSX_STUB_MISSING").toStdString();
        lsx::BindResult r = lsx::bindLibrary(path);
        QVERIFY(!r.ok);
        QCOMPARE(r.missingSymbol, std::string("lsxWriteGenICamMem"));
        QVERIFY(r.message.find("lsxWriteGenICamMem") != std::string::npos);
        QVERIFY(r.message.find(path) != std::string::npos);
        QVERIFY(!lsx::isBound());
        int32_t count = 5;
        QCOMPARE(lsxRefresh(&count), LSX_ERR_NOT_CONNECTED);
        QCOMPARE(count, 0);
    }

    void failedBindDropsThePreviousOne()
    {
        QVERIFY(lsx::bindLibrary(qEnvironmentVariable("LSX_STUB_FULL").toStdString()).ok);
        QVERIFY(!lsx::bindLibrary("/nonexistent/libnothing.so").ok);
        QVERIFY(!lsx::isBound());
        QCOMPARE(lsxStart(1), LSX_ERR_NOT_CONNECTED);
    }

    void missingFileIsRefusedWithItsPath()
    {
        const std::string path = "/nonexistent/dir/libLSXCamera64.so";
        lsx::BindResult r = lsx::bindLibrary(path);
        QVERIFY(!r.ok);
        QVERIFY(r.missingSymbol.empty());
        QVERIFY(r.message.find(path) != std::string::npos);
        QCOMPARE(r.path, path);
    }

    void choiceOfLibrary()
    {
        qputenv("LSX_LIBRARY", "/env/lib.so");
        QCOMPARE(lsx::chooseLibrary("/opt/sdk.so", "/exe"), std::string("/opt/sdk.so"));
        QCOMPARE(lsx::chooseLibrary("", "/exe"), std::string("/env/lib.so"));
        qunsetenv("LSX_LIBRARY");
        QCOMPARE(lsx::chooseLibrary("", "/exe"), std::string("/exe/liblsxsim.so"));
    }

    // "--sdk=" with no path falls through to the next choice, and the operator is told which.
    void emptySdkOptionIsTold()
    {
        QCOMPARE(lsx::emptySdkNote(true, "", "/exe/liblsxsim.so"),
                 std::string("选项 --sdk 没有给出相机库的路径，使用的是 \"/exe/liblsxsim.so\"。"));
        QVERIFY(lsx::emptySdkNote(false, "", "/exe/liblsxsim.so").empty());
        QVERIFY(lsx::emptySdkNote(true, "/opt/sdk.so", "/opt/sdk.so").empty());
    }
};

QTEST_GUILESS_MAIN(TestLsxLoader)
#include "test_lsx_loader.moc"
