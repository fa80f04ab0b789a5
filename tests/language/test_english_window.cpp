// The window in English, offscreen: the main window with its panels, before a camera and with the
// simulated camera connected, and the windows it opens without a procedure (history, session
// log, histogram, scene control), hold no Chinese in any visible text. And the column of the
// panels, at the window's default size and at 1366 x 700 (a 1366 x 768 screen less its title and
// task bars), with the simulated mono and colour cameras connected: every button, check box,
// label and tab in it shows its whole text, none narrower than its text needs, none cut off at
// the column's edge.
#include "app/mainwindow.h"
#include "common/cjktexts.h"
#include "language.h"
#include "loader.h"

#include <QAbstractButton>
#include <QApplication>
#include <QLabel>
#include <QPushButton>
#include <QScrollArea>
#include <QScrollBar>
#include <QTabBar>
#include <QTabWidget>
#include <QTreeWidget>
#include <QtTest>

#include <memory>

namespace {

QString describe(const QWidget* w, const QString& text, const QString& why)
{
    return QStringLiteral("%1 \"%2\": %3").arg(w->objectName(), text, why);
}

// The texts of the column's shown widgets that do not show whole: a widget narrower than its
// text, or reaching past the right edge of the part of `column` in view.
QStringList cutTexts(QWidget* column, const QRect& inView)
{
    QStringList cut;
    const auto outside = [&](const QWidget* w) {
        const QRect r(w->mapTo(column, QPoint(0, 0)), w->size());
        return r.left() < inView.left() || r.right() > inView.right();
    };
    for (QAbstractButton* b : column->findChildren<QAbstractButton*>()) {
        if (!b->isVisible() || b->text().isEmpty() || qobject_cast<QTabBar*>(b->parentWidget())) continue;
        if (b->width() < b->sizeHint().width())
            cut << describe(b, b->text(),
                            QStringLiteral("%1 px wide, needs %2").arg(b->width()).arg(b->sizeHint().width()));
        else if (outside(b))
            cut << describe(b, b->text(), QStringLiteral("past the column's edge"));
    }
    for (QLabel* l : column->findChildren<QLabel*>()) {
        if (!l->isVisible() || l->text().isEmpty() || l->wordWrap()) continue;
        const int needs = l->fontMetrics().horizontalAdvance(l->text()) + 2 * l->margin();
        if (l->contentsRect().width() < needs)
            cut << describe(l, l->text(),
                            QStringLiteral("%1 px wide, needs %2").arg(l->contentsRect().width()).arg(needs));
        else if (outside(l))
            cut << describe(l, l->text(), QStringLiteral("past the column's edge"));
    }
    for (QTabBar* bar : column->findChildren<QTabBar*>()) {
        if (!bar->isVisible()) continue;
        for (int i = 0; i < bar->count(); ++i) {
            if (!bar->isTabVisible(i)) continue;
            const QRect tab = bar->tabRect(i);
            const int needs = bar->fontMetrics().horizontalAdvance(bar->tabText(i));
            if (tab.width() < needs || tab.right() > bar->width() - 1)
                cut << describe(bar, bar->tabText(i),
                                QStringLiteral("tab %1..%2 of a bar %3 px wide, the text needs %4")
                                    .arg(tab.left())
                                    .arg(tab.right())
                                    .arg(bar->width())
                                    .arg(needs));
            else if (outside(bar))
                cut << describe(bar, bar->tabText(i), QStringLiteral("past the column's edge"));
        }
    }
    return cut;
}

}  // namespace

class TestEnglishWindow : public QObject {
    Q_OBJECT

    // Connects the simulated camera `name` in the window; its "Connect" button, or null.
    static QPushButton* connectCamera(MainWindow& w, const QString& name)
    {
        auto* list = w.findChild<QTreeWidget*>(QStringLiteral("deviceListTreeWidget"));
        auto* connect = w.findChild<QPushButton*>(QStringLiteral("connectBut"));
        if (!list || !connect) return nullptr;
        if (!QTest::qWaitFor([list] { return list->topLevelItemCount() > 0; }, 10000)) return nullptr;
        const QList<QTreeWidgetItem*> found = list->findItems(name, Qt::MatchExactly);
        if (found.size() != 1) return nullptr;
        list->setCurrentItem(found[0]);
        connect->click();
        if (!QTest::qWaitFor([connect] { return connect->text() == QStringLiteral("Disconnect"); }, 20000))
            return nullptr;
        return connect;
    }

    // Every tab of the panels in turn, each scrolled through; the cut texts of all.
    static QStringList cutTextsOfEveryTab(MainWindow& w)
    {
        auto* area = w.findChild<QScrollArea*>(QStringLiteral("featureWidget"));
        auto* tabs = w.findChild<QTabWidget*>(QStringLiteral("featureTabWidget"));
        if (!area || !tabs) return {QStringLiteral("no panels")};
        QStringList cut;
        if (area->horizontalScrollBar()->maximum() > 0)
            cut << QStringLiteral("the panels scroll sideways by %1 px").arg(area->horizontalScrollBar()->maximum());
        for (int i = 0; i < tabs->count(); ++i) {
            if (!tabs->isTabVisible(i)) continue;
            tabs->setCurrentIndex(i);
            QCoreApplication::processEvents();
            const QRect inView(area->widget()->mapFrom(area->viewport(), QPoint(0, 0)), area->viewport()->size());
            cut += cutTexts(area->widget(), inView);
        }
        cut.removeDuplicates();
        return cut;
    }

private slots:
    void initTestCase()
    {
        QVERIFY(installLanguage(UiLanguage::English));
        // The tests' camera library is the simulated one: not bound is a failure, never a skip.
        const QByteArray lib = qgetenv("LSX_LIBRARY");
        QVERIFY2(!lib.isEmpty(), "LSX_LIBRARY is not set");
        const lsx::BindResult bound = lsx::bindLibrary(lib.toStdString());
        QVERIFY2(bound.ok, bound.message.c_str());
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
        MainWindow w(QString(), 0);
        w.show();
        QVERIFY(QTest::qWaitForWindowExposed(&w));
        QPushButton* connect = connectCamera(w, QStringLiteral("SIM-LS4096-M"));
        QVERIFY(connect);
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

    void theLeftColumnShowsWholeTexts_data()
    {
        QTest::addColumn<QString>("camera");
        QTest::addColumn<QSize>("size");
        QTest::newRow("mono, default size") << QStringLiteral("SIM-LS4096-M") << QSize();
        QTest::newRow("mono, 1366 x 700") << QStringLiteral("SIM-LS4096-M") << QSize(1366, 700);
        QTest::newRow("colour, default size") << QStringLiteral("SIM-LS2048-C") << QSize();
        QTest::newRow("colour, 1366 x 700") << QStringLiteral("SIM-LS2048-C") << QSize(1366, 700);
    }

    void theLeftColumnShowsWholeTexts()
    {
        QFETCH(QString, camera);
        QFETCH(QSize, size);
        MainWindow w(QString(), 0);
        if (size.isValid()) w.resize(size);
        w.show();
        QVERIFY(QTest::qWaitForWindowExposed(&w));
        if (size.isValid()) QTRY_COMPARE(w.size(), size);
        QPushButton* connect = connectCamera(w, camera);
        QVERIFY(connect);
        QCoreApplication::processEvents();

        // Everything in the window within it (the row above the camera list, the picture's
        // tools), then the panels of each tab within the part of the column in view.
        QWidget* central = w.centralWidget();
        QStringList cut = cutTexts(central, central->rect());
        cut += cutTextsOfEveryTab(w);
        QVERIFY2(cut.isEmpty(), qPrintable(cut.join(QLatin1Char('\n'))));
        connect->click();
        QTRY_COMPARE_WITH_TIMEOUT(connect->text(), QStringLiteral("Connect"), 20000);
    }
};

QTEST_MAIN(TestEnglishWindow)
#include "test_english_window.moc"
