// The help window: its form, the "下次不再显示" choice kept in FPN.ini, and the three help
// documents, whose quoted names must be the real texts of the window.
#include "app/helpdialog.h"

#include <QMessageBox>
#include <QPushButton>
#include <QRegularExpression>
#include <QScrollBar>
#include <QSet>
#include <QSettings>
#include <QTabWidget>
#include <QTemporaryDir>
#include <QTextBlock>
#include <QTextBrowser>
#include <QTextList>
#include <QTimer>
#include <QtTest>

class TestHelpDialog : public QObject {
    Q_OBJECT

private:
    QTemporaryDir m_docDir;

    QString iniPath() const { return m_docDir.path() + QStringLiteral("/FPN/FPN.ini"); }

    void writeStopShow(const QVariant& value)
    {
        QSettings s(iniPath(), QSettings::IniFormat);
        if (value.isValid())
            s.setValue(QStringLiteral("Params/StopShowHelp"), value);
        else
            s.remove(QStringLiteral("Params/StopShowHelp"));
        s.sync();
    }

    static QString text(HelpDialog& d, const char* browser)
    {
        return d.findChild<QTextBrowser*>(browser)->toPlainText();
    }

    // Every name the documents quote, as the operator sees it on screen.
    static QSet<QString> windowTexts()
    {
        return {
            // top row, list, right column
            "刷新",
            "连接",
            "断开",
            "帮助",
            "采图",
            "暂停",
            "存图",
            "x",
            // common functions
            "常用功能",
            "分辨率模式",
            "USER",
            "图像合并模式选择",
            "水平合并模式",
            "垂直合并模式",
            "曝光时间",
            "ROI设置",
            "水平偏移(X)",
            "宽度(W)",
            "高度(H)",
            "应用",
            "撤销",
            "更多调节",
            // tabs
            "FPN校正",
            "平场校正",
            "镜头校正",
            "SCS校正",
            // FPN tab
            "校正参数",
            "增益选择",
            "亮度范围",
            "调节量",
            "Auto",
            "同时进行感光平场(FFC)",
            "校正功能",
            "暗场校正",
            "明场校正",
            "相机FPN使能",
            "存储",
            "写入",
            "导出",
            "factory",
            "保存FPN参数到本地",
            "软件模拟FPN",
            // FFC tab
            "加载本地图像",
            "加载FFC参数",
            "目标亮度",
            "自定义比例",
            "平均值",
            "自定义亮度",
            "像素采样半径",
            "FFC校正",
            "软件模拟FFC",
            "显示平场系数",
            "平场调节系数",
            "保存至本地",
            "拉平平场系数",
            // LSC tab
            "LSC校正",
            "写入相机",
            "软件模拟LSC",
            // the progress panel and its messages
            "确定",
            "取消",
            "错误",
            "开始执行平场校正...",
            "参数无效",
            // SCS tab
            "垂直SCS",
            "水平SCS",
            // the image tools beside "存图", the session log, the hidden group
            "适应窗口",
            "1:1",
            "框选统计",
            "直方图",
            "日志",
            "对数坐标",
            "其它功能",
            "曝光测试",
            // the verification, its panel and result window
            "校正验证",
            "继续",
            "校正前",
            "校正后",
            "合格",
            "不合格",
            "保存报告",
            // the simulated camera's scene
            "模拟场景",
            "盖上镜头盖（暗场）",
            "光照强度 (DN/µs)",
            "光照斜率",
            "镜头衰减",
            "测试图案",
            // the help's own pages
            "图像工具与日志",
            "模拟相机与命令行",
        };
    }

    // Answers the next modal message box, recording its title and text.
    void answerNextMessageBox(QString* title, QString* message)
    {
        auto* timer = new QTimer(this);
        timer->setInterval(20);
        connect(timer, &QTimer::timeout, this, [timer, title, message] {
            auto* box = qobject_cast<QMessageBox*>(QApplication::activeModalWidget());
            if (!box) return;
            *title = box->windowTitle();
            *message = box->text();
            box->accept();
            timer->deleteLater();
        });
        timer->start();
    }

private slots:
    void initTestCase()
    {
        QVERIFY(m_docDir.isValid());
        qputenv("TELORINE_DOCUMENT_PATH", m_docDir.path().toLocal8Bit());
    }

    void init() { QFile::remove(iniPath()); }

    // ---- the stop-showing choice

    void stopWidgetHiddenWithoutSettingsFile()
    {
        QVERIFY(!QFile::exists(iniPath()));
        HelpDialog d;
        QVERIFY(d.findChild<QWidget*>("stopWidget")->isHidden());
    }

    void stopWidgetShownWhenFileHoldsFalse()
    {
        writeStopShow(false);
        HelpDialog d;
        QVERIFY(!d.findChild<QWidget*>("stopWidget")->isHidden());
    }

    void stopWidgetHiddenWhenFileHoldsTrue()
    {
        writeStopShow(true);
        HelpDialog d;
        QVERIFY(d.findChild<QWidget*>("stopWidget")->isHidden());
    }

    void stopShowAgainWritesTellsAndCloses()
    {
        writeStopShow(false);
        HelpDialog d;
        d.show();
        QVERIFY(QTest::qWaitForWindowExposed(&d));
        QWidget* stopWidget = d.findChild<QWidget*>("stopWidget");
        QVERIFY(stopWidget->isVisible());

        QString title, message;
        answerNextMessageBox(&title, &message);
        d.findChild<QPushButton*>("stopBut")->click();

        QCOMPARE(title, QStringLiteral("提示信息"));
        QCOMPARE(message, QStringLiteral("已设置启动不显示帮助信息，后续可点击界面左上部分的帮助按钮查看。"));
        QVERIFY(stopWidget->isHidden());
        QVERIFY(!d.isVisible());

        QSettings s(iniPath(), QSettings::IniFormat);
        QCOMPARE(s.value(QStringLiteral("Params/StopShowHelp")).toBool(), true);

        HelpDialog next;
        QVERIFY(next.findChild<QWidget*>("stopWidget")->isHidden());
    }

    // ---- the form

    void form()
    {
        HelpDialog d;
        QCOMPARE(d.objectName(), QStringLiteral("HelpDialog"));
        QCOMPARE(d.size(), QSize(1204, 915));
        QCOMPARE(d.windowTitle(), QStringLiteral("使用说明"));
        QVERIFY(!d.windowIcon().isNull());
        QVERIFY(d.isWindow());
        QVERIFY(d.findChild<QTextBrowser*>("textBrowser"));
        QVERIFY(d.findChild<QTextBrowser*>("textBrowser_2"));
        QVERIFY(d.findChild<QTextBrowser*>("textBrowser_3"));
        auto* stopBut = d.findChild<QPushButton*>("stopBut");
        QVERIFY(stopBut);
        QCOMPARE(stopBut->text(), QStringLiteral("下次不再显示"));
        QVERIFY(stopBut->minimumWidth() >= 300);
        QVERIFY(stopBut->minimumHeight() >= 50);
        QCOMPARE(stopBut->parentWidget()->objectName(), QStringLiteral("stopWidget"));
    }

    // ---- the documents

    void basicDocument()
    {
        HelpDialog d;
        const QString t = text(d, "textBrowser");
        QVERIFY(t.startsWith(QStringLiteral("使用说明")));
        for (const char* word :
             {"刷新", "连接", "粗体", "采图", "存图", "相机常用功能：", "分辨率模式", "增益", "ROI设置", "更多调节"})
            QVERIFY2(t.contains(QString::fromUtf8(word)), word);
    }

    void fpnDocument()
    {
        HelpDialog d;
        const QString t = text(d, "textBrowser_2");
        QVERIFY(t.startsWith(QStringLiteral("FPN校正使用说明")));
        for (const char* word : {"第一步", "第二步", "增益选择", "亮度范围", "调节量", "Auto", "同时进行感光平场(FFC)",
                                 "完全黑暗", "均匀的光源", "相机FPN使能", "写入", "软件模拟FPN"})
            QVERIFY2(t.contains(QString::fromUtf8(word)), word);
    }

    void ffcDocumentHasNineItemsAndTheInvalidParameterAdvice()
    {
        HelpDialog d;
        const QTextDocument* doc = d.findChild<QTextBrowser*>("textBrowser_3")->document();
        const QString t = doc->toPlainText();
        QVERIFY(t.startsWith(QStringLiteral("FFC校正使用说明")));
        QVERIFY(t.contains(QStringLiteral("请先完成 FPN 校正")));
        QVERIFY(t.contains(QStringLiteral("“参数无效”")));
        QVERIFY(t.contains(QStringLiteral("4 倍以内")));
        QVERIFY(t.contains(QStringLiteral("LSC校正使用说明")));
        QVERIFY(t.indexOf(QStringLiteral("LSC校正使用说明")) > t.indexOf(QStringLiteral("参数无效")));

        const QTextList* items = nullptr;
        for (QTextBlock b = doc->firstBlock(); b.isValid() && !items; b = b.next())
            if (b.textList() && b.textList()->format().style() == QTextListFormat::ListDecimal) items = b.textList();
        QVERIFY(items);
        QCOMPARE(items->count(), 9);
    }

    void quotedNamesAreTheWindowsOwnTexts()
    {
        HelpDialog d;
        const QSet<QString> known = windowTexts();
        const QRegularExpression quoted(QStringLiteral("“([^”]+)”"));
        int found = 0;
        for (const char* browser :
             {"textBrowser", "textBrowser_2", "textBrowser_3", "textBrowser_4", "textBrowser_5", "textBrowser_6"}) {
            auto it = quoted.globalMatch(text(d, browser));
            while (it.hasNext()) {
                const QString name = it.next().captured(1);
                ++found;
                QVERIFY2(known.contains(name), qPrintable(QStringLiteral("%1: %2").arg(browser, name)));
            }
        }
        QVERIFY(found > 40);
    }

    // ---- the further pages

    void verificationSimulatorRunnerAndToolsAreCovered()
    {
        HelpDialog d;
        const QString verify = text(d, "textBrowser_4");
        QVERIFY(verify.startsWith(QStringLiteral("校正验证使用说明")));
        for (const char* word : {"EMVA 1288", "DSNU1288", "PRNU1288", "继续", "MaxPRNU", "MaxDSNU", "MaxDefects",
                                 "保存报告", "JSON", "实时图像自动恢复"})
            QVERIFY2(verify.contains(QString::fromUtf8(word)), word);
        const QString tools = text(d, "textBrowser_5");
        for (const char* word : {"适应窗口", "直方图", "框选统计", "0.1%", "TIFF", "PNG", "16 位", "logs", "导出", "F1",
                                 "上次连接", "HideFunction=false", "其它功能", "FPN.ini", "TELORINE_DOCUMENT_PATH"})
            QVERIFY2(tools.contains(QString::fromUtf8(word)), word);
        const QString sim = text(d, "textBrowser_6");
        for (const char* word :
             {"模拟场景", "盖上镜头盖（暗场）", "lsxcalib-cli", "--yes", "--sim-scene", "--help", "130"})
            QVERIFY2(sim.contains(QString::fromUtf8(word)), word);
        QVERIFY(text(d, "textBrowser_3").contains(QStringLiteral("SCS校正使用说明")));
    }

    void topicsTurnToTheirPage_data()
    {
        QTest::addColumn<int>("topic");
        QTest::addColumn<QString>("page");
        QTest::addColumn<QString>("browser");
        QTest::newRow("basic") << int(HelpTopic::Basic) << QStringLiteral("tabBasic") << QStringLiteral("textBrowser");
        QTest::newRow("fpn") << int(HelpTopic::Fpn) << QStringLiteral("tabFpn") << QStringLiteral("textBrowser_2");
        QTest::newRow("ffc") << int(HelpTopic::Ffc) << QStringLiteral("tabFfc") << QStringLiteral("textBrowser_3");
        QTest::newRow("lsc") << int(HelpTopic::Lsc) << QStringLiteral("tabFfc") << QStringLiteral("textBrowser_3");
        QTest::newRow("scs") << int(HelpTopic::Scs) << QStringLiteral("tabFfc") << QStringLiteral("textBrowser_3");
        QTest::newRow("verify") << int(HelpTopic::Verify) << QStringLiteral("tabVerify")
                                << QStringLiteral("textBrowser_4");
        QTest::newRow("tools") << int(HelpTopic::Tools) << QStringLiteral("tabTools")
                               << QStringLiteral("textBrowser_5");
        QTest::newRow("simulator") << int(HelpTopic::Simulator) << QStringLiteral("tabSimulator")
                                   << QStringLiteral("textBrowser_6");
        QTest::newRow("runner") << int(HelpTopic::Runner) << QStringLiteral("tabSimulator")
                                << QStringLiteral("textBrowser_6");
    }

    void topicsTurnToTheirPage()
    {
        QFETCH(int, topic);
        QFETCH(QString, page);
        QFETCH(QString, browser);
        HelpDialog d;
        d.show();
        QVERIFY(QTest::qWaitForWindowExposed(&d));
        d.showTopic(HelpTopic::Tools);
        d.showTopic(HelpTopic(topic));
        auto* tabs = d.findChild<QTabWidget*>("helpTabWidget");
        QCOMPARE(tabs->currentWidget()->objectName(), page);
        QVERIFY(tabs->currentWidget()->isAncestorOf(d.findChild<QTextBrowser*>(browser)));
    }

    void lensShadingAndScsScrollToTheirPart()
    {
        HelpDialog d;
        d.show();
        QVERIFY(QTest::qWaitForWindowExposed(&d));
        // Small enough for the page to scroll.
        d.resize(700, 400);
        auto* ffc = d.findChild<QTextBrowser*>("textBrowser_3");
        QScrollBar* bar = ffc->verticalScrollBar();
        d.showTopic(HelpTopic::Lsc);
        QTRY_VERIFY(bar->value() > 0);
        const int lsc = bar->value();
        d.showTopic(HelpTopic::Ffc);
        QTRY_COMPARE(bar->value(), 0);
        // The SCS part is the last one: further down, or at the end of the range.
        d.showTopic(HelpTopic::Scs);
        QTRY_VERIFY(bar->value() > lsc || (bar->value() == bar->maximum() && bar->maximum() > 0));
    }
};

QTEST_MAIN(TestHelpDialog)
#include "test_helpdialog.moc"
