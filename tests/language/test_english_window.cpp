// The window in English, offscreen: the main window with its panels, before a camera and with the
// simulated camera connected, and the windows it opens without a procedure (history, session
// log, histogram, scene control), hold no Chinese in any visible text.
#include "app/mainwindow.h"
#include "common/cjktexts.h"
#include "language.h"
#include "loader.h"

#include <QApplication>
#include <QPushButton>
#include <QTreeWidget>
#include <QtTest>

#include <memory>

class TestEnglishWindow : public QObject {
    Q_OBJECT

    bool m_simBound = false;

private slots:
    void initTestCase()
    {
        QVERIFY(installLanguage(UiLanguage::English));
        const QByteArray lib = qgetenv("LSX_LIBRARY");
        if (!lib.isEmpty()) m_simBound = lsx::bindLibrary(lib.toStdString()).ok;
    }

    void cleanupTestCase()
    {
        lsx::unbindLibrary();
        installLanguage(UiLanguage::Chinese);
    }

    void theWindowBeforeACameraIsInEnglish()
    {
        MainWindow w(QString(), 0);
        w.show();
        QVERIFY(QTest::qWaitForWindowExposed(&w));
        QCOMPARE(w.windowTitle(), QStringLiteral("Line-Scan Camera Calibration Tool"));
        const QStringList cjk = cjkTexts(&w);
        QVERIFY2(cjk.isEmpty(), qPrintable(cjk.join(QLatin1Char('\n'))));
    }

    void theWindowWithTheSimulatedCameraIsInEnglish()
    {
        if (!m_simBound) QSKIP("the simulated camera library is not bound");
        MainWindow w(QString(), 0);
        w.show();
        QVERIFY(QTest::qWaitForWindowExposed(&w));
        auto* list = w.findChild<QTreeWidget*>(QStringLiteral("deviceListTreeWidget"));
        QVERIFY(list);
        QTRY_VERIFY_WITH_TIMEOUT(list->topLevelItemCount() > 0, 10000);
        const QList<QTreeWidgetItem*> mono = list->findItems(QStringLiteral("SIM-LS4096-M"), Qt::MatchExactly);
        QCOMPARE(mono.size(), 1);
        list->setCurrentItem(mono[0]);
        auto* connect = w.findChild<QPushButton*>(QStringLiteral("connectBut"));
        QVERIFY(connect);
        connect->click();
        QTRY_COMPARE_WITH_TIMEOUT(connect->text(), QStringLiteral("Disconnect"), 20000);
        QStringList cjk = cjkTexts(&w);
        QVERIFY2(cjk.isEmpty(), qPrintable(cjk.join(QLatin1Char('\n'))));

        // The windows its buttons open without a procedure. The help's documents are checked by
        // their own test.
        const QStringList opened{QStringLiteral("History"), QStringLiteral("Simulated scene"),
                                 QStringLiteral("Histogram"), QStringLiteral("Log")};
        for (const QString& text : opened) {
            QAbstractButton* button = nullptr;
            for (QAbstractButton* b : w.findChildren<QAbstractButton*>())
                if (b->text() == text) button = b;
            QVERIFY2(button, qPrintable(text));
            button->click();
            QCoreApplication::processEvents();
        }
        QVERIFY(QApplication::topLevelWidgets().size() > 1);
        cjk = cjkTextsOfTopLevels();
        QVERIFY2(cjk.isEmpty(), qPrintable(cjk.join(QLatin1Char('\n'))));
        connect->click();
        QTRY_COMPARE_WITH_TIMEOUT(connect->text(), QStringLiteral("Connect"), 20000);
    }
};

QTEST_MAIN(TestEnglishWindow)
#include "test_english_window.moc"
