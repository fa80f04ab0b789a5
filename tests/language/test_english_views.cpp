// The image views in English: the exposure statistics window with its chart and profile, the
// profile's flattening menu for one and for three channels, and the grey plane's name, hold no
// Chinese in any visible text. The histogram's "no image" and the profile's scale are painted, not
// widget texts: their English is checked by test_translations like every other text.
#include "common/cjktexts.h"
#include "language.h"
#include "views/imagestats.h"
#include "views/profilewidget.h"
#include "views/statisticswidget.h"

#include <QAction>
#include <QCheckBox>
#include <QMenu>
#include <QtTest>

#include <opencv2/core.hpp>

class TestEnglishViews : public QObject {
    Q_OBJECT

private slots:
    void initTestCase() { QVERIFY(installLanguage(UiLanguage::English)); }
    void cleanupTestCase() { installLanguage(UiLanguage::Chinese); }

    void theStatisticsWindowIsInEnglish()
    {
        for (int channels : {1, 3}) {
            StatisticsWidget w;
            w.dataReady({100.0, 200.0}, {cv::Mat(1, 8, CV_32FC(channels), cv::Scalar::all(40.0)),
                                         cv::Mat(1, 8, CV_32FC(channels), cv::Scalar::all(80.0))});
            w.show();
            QVERIFY(QTest::qWaitForWindowExposed(&w));
            QCOMPARE(w.windowTitle(), QStringLiteral("Exposure statistics"));
            QCOMPARE(w.showFitlineCheck()->text(), QStringLiteral("Show the fitted line"));
            const QStringList cjk = cjkTexts(&w);
            QVERIFY2(cjk.isEmpty(), qPrintable(cjk.join(QLatin1Char('\n'))));
        }
    }

    void theProfileMenuIsInEnglish()
    {
        for (int channels : {1, 3}) {
            ProfileWidget w;
            w.setProfile(cv::Mat(1, 16, CV_32FC(channels), cv::Scalar::all(1.0)), 0.0, 16.0, true);
            QCOMPARE(w.toolTip(), QStringLiteral("Double-click to add a fixed guide line"));
            const QList<QMenu*> menus = w.findChildren<QMenu*>();
            QCOMPARE(menus.size(), 1);
            QCOMPARE(menus[0]->actions().size(), channels == 1 ? 1 : 4);
            QCOMPARE(menus[0]->actions().last()->text(),
                     channels == 1 ? QStringLiteral("Flatten the flat-field coefficients")
                                   : QStringLiteral("Flatten the flat-field coefficients of channel R"));
            const QStringList cjk = cjkTexts(&w);
            QVERIFY2(cjk.isEmpty(), qPrintable(cjk.join(QLatin1Char('\n'))));
        }
    }

    void theGreyPlaneHasAnEnglishName() { QCOMPARE(framePlanes(1).value(0).name, QStringLiteral("Grey")); }
};

QTEST_MAIN(TestEnglishViews)
#include "test_english_views.moc"
