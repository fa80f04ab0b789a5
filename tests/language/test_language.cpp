// The language of the operator's texts: the choice (option, FPN.ini, locale), the translators of
// the program and of Qt, the device layer's texts in both languages, the window's and the runner's
// hooks run as programs, and the widget walker that the English interface's tests use.
#include "cli/cliplan.h"
#include "common/cjktexts.h"
#include "common/runnerprocess.h"
#include "language.h"
#include "loader.h"
#include "lsx/expected_status.h"
#include "statustext.h"

#include <QComboBox>
#include <QFileDialog>
#include <QGraphicsScene>
#include <QGraphicsView>
#include <QGroupBox>
#include <QLabel>
#include <QLineEdit>
#include <QListWidget>
#include <QMainWindow>
#include <QMenuBar>
#include <QMessageBox>
#include <QProcess>
#include <QProgressBar>
#include <QPushButton>
#include <QSettings>
#include <QSpinBox>
#include <QTabWidget>
#include <QTableWidget>
#include <QTemporaryDir>
#include <QTextEdit>
#include <QToolBox>
#include <QVBoxLayout>
#include <QtCharts/QChartView>
#include <QtCharts/QLineSeries>
#include <QtCharts/QValueAxis>
#include <QtTest>

#include <set>

namespace {

// A program of the build as a test ran it.
using Run = RunnerResult;

// The texts of the walker's test window, each in its own kind of place.
struct Texts {
    QString title, label, button, tip, group, tab, item, header, cell, list, placeholder, suffix, prefix, progress,
        menu, action, tool, document, sceneText, chartTitle, series, axis, message, detail;
};

const Texts kChinese{
    QStringLiteral("主窗口"), QStringLiteral("标签"),     QStringLiteral("按钮"),     QStringLiteral("提示"),
    QStringLiteral("分组"),   QStringLiteral("标签页"),   QStringLiteral("选项"),     QStringLiteral("表头"),
    QStringLiteral("单元格"), QStringLiteral("列表项"),   QStringLiteral("占位"),     QStringLiteral(" 毫秒"),
    QStringLiteral("约 "),    QStringLiteral("进度 %p%"), QStringLiteral("文件"),     QStringLiteral("打开"),
    QStringLiteral("工具"),   QStringLiteral("文档"),     QStringLiteral("场景文字"), QStringLiteral("图表"),
    QStringLiteral("曲线"),   QStringLiteral("轴"),       QStringLiteral("消息"),     QStringLiteral("详情"),
};

const Texts kEnglish{
    QStringLiteral("Main window"), QStringLiteral("Label"),     QStringLiteral("Button"),  QStringLiteral("Tip"),
    QStringLiteral("Group"),       QStringLiteral("Tab"),       QStringLiteral("Choice"),  QStringLiteral("Header"),
    QStringLiteral("Cell"),        QStringLiteral("List item"), QStringLiteral("Hint"),    QStringLiteral(" ms"),
    QStringLiteral("about "),      QStringLiteral("Done %p%"),  QStringLiteral("File"),    QStringLiteral("Open"),
    QStringLiteral("Tool"),        QStringLiteral("Document"),  QStringLiteral("Scene"),   QStringLiteral("Chart"),
    QStringLiteral("Curve"),       QStringLiteral("Axis"),      QStringLiteral("Message"), QStringLiteral("Details"),
};

int endingWith(const QStringList& list, const QString& tail)
{
    return int(std::count_if(list.begin(), list.end(), [&](const QString& s) { return s.endsWith(tail); }));
}

// A window with every kind of place a text can stand in.
QMainWindow* makeWindow(const Texts& t)
{
    auto* w = new QMainWindow;
    w->setWindowTitle(t.title);
    auto* central = new QWidget(w);
    central->setObjectName(QStringLiteral("central"));
    auto* layout = new QVBoxLayout(central);
    layout->addWidget(new QLabel(t.label));
    auto* button = new QPushButton(t.button);
    button->setObjectName(QStringLiteral("okBut"));
    button->setToolTip(t.tip);
    layout->addWidget(button);
    layout->addWidget(new QGroupBox(t.group));
    auto* tabs = new QTabWidget;
    tabs->addTab(new QWidget, t.tab);
    layout->addWidget(tabs);
    auto* combo = new QComboBox;
    combo->addItems({QStringLiteral("1"), t.item});
    layout->addWidget(combo);
    auto* table = new QTableWidget(1, 1);
    table->setHorizontalHeaderLabels({t.header});
    table->setItem(0, 0, new QTableWidgetItem(t.cell));
    layout->addWidget(table);
    auto* list = new QListWidget;
    list->addItem(t.list);
    layout->addWidget(list);
    auto* edit = new QLineEdit;
    edit->setPlaceholderText(t.placeholder);
    layout->addWidget(edit);
    auto* spin = new QSpinBox;
    spin->setSuffix(t.suffix);
    layout->addWidget(spin);
    auto* dspin = new QDoubleSpinBox;
    dspin->setPrefix(t.prefix);
    layout->addWidget(dspin);
    auto* progress = new QProgressBar;
    progress->setFormat(t.progress);
    progress->setValue(10);
    layout->addWidget(progress);
    auto* toolBox = new QToolBox;
    toolBox->addItem(new QWidget, t.tool);
    layout->addWidget(toolBox);
    layout->addWidget(new QTextEdit(t.document));
    auto* scene = new QGraphicsScene(w);
    scene->addSimpleText(t.sceneText);
    layout->addWidget(new QGraphicsView(scene));
    auto* chart = new QChart;
    chart->setTitle(t.chartTitle);
    auto* series = new QLineSeries;
    series->setName(t.series);
    series->append(0, 1);
    chart->addSeries(series);
    auto* axis = new QValueAxis;
    axis->setTitleText(t.axis);
    chart->addAxis(axis, Qt::AlignBottom);
    layout->addWidget(new QChartView(chart));
    w->setCentralWidget(central);
    w->menuBar()->addMenu(t.menu)->addAction(t.action);
    auto* box = new QMessageBox(QMessageBox::Warning, t.title, t.message, QMessageBox::Ok | QMessageBox::Cancel, w);
    box->setInformativeText(t.detail);
    return w;
}

}  // namespace

class TestLanguage : public QObject {
    Q_OBJECT

    QTemporaryDir m_dir;

    QString iniWith(const QString& name, const QByteArray& content)
    {
        const QString path = m_dir.filePath(name);
        QFile f(path);
        if (!f.open(QIODevice::WriteOnly) || f.write(content) != content.size() || !f.flush()) return QString();
        return path;
    }

    // A program of the build run with this locale, these arguments and, when given, this FPN.ini.
    Run run(const QString& program, const QString& lang, const QStringList& args, const QByteArray& ini = QByteArray())
    {
        QTemporaryDir doc;
        QDir().mkpath(doc.filePath(QStringLiteral("FPN")));
        if (!ini.isNull()) {
            QFile f(doc.filePath(QStringLiteral("FPN/FPN.ini")));
            if (!f.open(QIODevice::WriteOnly) || f.write(ini) != ini.size() || !f.flush()) return {};
        }
        QProcessEnvironment env = QProcessEnvironment::systemEnvironment();
        env.insert(QStringLiteral("LANG"), lang);
        env.insert(QStringLiteral("TELORINE_DOCUMENT_PATH"), doc.path());
        env.insert(QStringLiteral("QT_QPA_PLATFORM"), QStringLiteral("offscreen"));
        QProcess p;
        p.setProcessEnvironment(env);
        p.start(QCoreApplication::applicationDirPath() + QLatin1Char('/') + program, args);
        return finishRunner(p);
    }

    Run runner(const QString& lang, const QStringList& args, const QByteArray& ini = QByteArray())
    {
        return run(QStringLiteral("lsxcalib-cli"), lang,
                   QStringList{QStringLiteral("--sdk"), QStringLiteral("/nonexistent/libcamera.so")} + args, ini);
    }

private slots:
    void cleanup() { installLanguage(UiLanguage::Chinese); }

    void codesNameALanguage()
    {
        QCOMPARE(languageFromCode(QStringLiteral("zh")), std::optional(UiLanguage::Chinese));
        QCOMPARE(languageFromCode(QStringLiteral(" ZH_cn ")), std::optional(UiLanguage::Chinese));
        QCOMPARE(languageFromCode(QStringLiteral("zh-Hant-TW")), std::optional(UiLanguage::Chinese));
        QCOMPARE(languageFromCode(QStringLiteral("en")), std::optional(UiLanguage::English));
        QCOMPARE(languageFromCode(QStringLiteral("en_GB")), std::optional(UiLanguage::English));
        QVERIFY(!languageFromCode(QString()));
        QVERIFY(!languageFromCode(QStringLiteral("fr")));
        QVERIFY(!languageFromCode(QStringLiteral("english")));
        QVERIFY(!languageFromCode(QStringLiteral("zhx")));
        QCOMPARE(languageCode(UiLanguage::Chinese), QStringLiteral("zh"));
        QCOMPARE(languageCode(UiLanguage::English), QStringLiteral("en"));
    }

    void localesGiveChineseOnlyForChinese()
    {
        QCOMPARE(languageOfLocale(QLocale(QStringLiteral("zh_CN"))), UiLanguage::Chinese);
        QCOMPARE(languageOfLocale(QLocale(QStringLiteral("zh_TW"))), UiLanguage::Chinese);
        QCOMPARE(languageOfLocale(QLocale(QStringLiteral("en_US"))), UiLanguage::English);
        QCOMPARE(languageOfLocale(QLocale(QStringLiteral("de_DE"))), UiLanguage::English);
        QCOMPARE(languageOfLocale(QLocale::c()), UiLanguage::English);
        // This test runs in the Chinese locale every test gets.
        QCOMPARE(languageOfLocale(QLocale::system()), UiLanguage::Chinese);
    }

    void theOptionIsFoundWhereverItStands()
    {
        auto value = [](const QStringList& args) {
            return languageOptionValue(QStringList{QStringLiteral("p")} + args);
        };
        QVERIFY(!value({}));
        QVERIFY(!value({QStringLiteral("-d"), QStringLiteral("cam")}));
        QCOMPARE(value({QStringLiteral("--lang"), QStringLiteral("en")}), std::optional(QStringLiteral("en")));
        QCOMPARE(value({QStringLiteral("list"), QStringLiteral("--lang=zh")}), std::optional(QStringLiteral("zh")));
        QCOMPARE(
            value({QStringLiteral("--lang"), QStringLiteral("en"), QStringLiteral("--lang"), QStringLiteral("zh")}),
            std::optional(QStringLiteral("zh")));
        QCOMPARE(value({QStringLiteral("--lang")}), std::optional(QString()));
        QVERIFY(!value({QStringLiteral("--"), QStringLiteral("--lang"), QStringLiteral("en")}));
        // The program's own name is never an option.
        QVERIFY(!languageOptionValue({QStringLiteral("--lang=en")}));
    }

    void theOptionBeatsTheSettingWhichBeatsTheLocale()
    {
        const QString en = iniWith(QStringLiteral("en.ini"), "[General]\nLanguage=en\n\n[Params]\nGainMax=1\n");
        const QString zh = iniWith(QStringLiteral("zh.ini"), "[General]\nLanguage = zh_CN\n");
        const QString bad = iniWith(QStringLiteral("bad.ini"), "[General]\nLanguage=klingon\n");
        const QString none = m_dir.filePath(QStringLiteral("missing.ini"));
        QVERIFY(!en.isEmpty() && !zh.isEmpty() && !bad.isEmpty());
        const QLocale chinese(QStringLiteral("zh_CN")), english(QStringLiteral("en_US"));
        const QStringList noOption{QStringLiteral("p")};
        const QStringList optionZh{QStringLiteral("p"), QStringLiteral("--lang"), QStringLiteral("zh")};
        const QStringList optionEn{QStringLiteral("p"), QStringLiteral("--lang=en")};
        const QStringList optionBad{QStringLiteral("p"), QStringLiteral("--lang"), QStringLiteral("fr")};

        LanguageChoice c = chooseLanguage(noOption, none, chinese);
        QCOMPARE(c.language, UiLanguage::Chinese);
        QCOMPARE(c.source, LanguageSource::Locale);
        QCOMPARE(chooseLanguage(noOption, none, english).language, UiLanguage::English);
        c = chooseLanguage(noOption, en, chinese);
        QCOMPARE(c.language, UiLanguage::English);
        QCOMPARE(c.source, LanguageSource::Settings);
        QCOMPARE(chooseLanguage(noOption, zh, english).language, UiLanguage::Chinese);
        c = chooseLanguage(optionZh, en, english);
        QCOMPARE(c.language, UiLanguage::Chinese);
        QCOMPARE(c.source, LanguageSource::Option);
        QCOMPARE(chooseLanguage(optionEn, zh, chinese).language, UiLanguage::English);

        // A bad option falls through to the setting, a bad setting to the locale; each is told.
        c = chooseLanguage(optionBad, en, chinese);
        QCOMPARE(c.language, UiLanguage::English);
        QCOMPARE(c.source, LanguageSource::Settings);
        QCOMPARE(c.badOption, std::optional(QStringLiteral("fr")));
        QCOMPARE(c.optionWarning(), QStringLiteral("选项 --lang 的值 \"fr\" 不是可选的语言（zh、en），忽略该选项。"));
        c = chooseLanguage(noOption, bad, english);
        QCOMPARE(c.language, UiLanguage::English);
        QCOMPARE(c.source, LanguageSource::Locale);
        QCOMPARE(c.badSetting, QStringLiteral("klingon"));
        QCOMPARE(c.settingsWarning(),
                 QStringLiteral("%1 中 [General] 的 Language 为 \"klingon\"，不是可选的语言（zh、en），忽略该设置。")
                     .arg(bad));
        QVERIFY(chooseLanguage(noOption, en, chinese).optionWarning().isEmpty());
        QVERIFY(chooseLanguage(noOption, en, chinese).settingsWarning().isEmpty());
    }

    // A program writing the key through QSettings puts it under "[%General]"; that is read too, and
    // the line an operator writes under "[General]" first.
    void theSettingWrittenByAProgramIsReadToo()
    {
        const QString path = m_dir.filePath(QStringLiteral("qsettings.ini"));
        {
            QSettings s(path, QSettings::IniFormat);
            s.setValue(QStringLiteral("General/Language"), QStringLiteral("en"));
            s.sync();
            QCOMPARE(s.status(), QSettings::NoError);
        }
        QCOMPARE(languageSetting(path), QStringLiteral("en"));
        QCOMPARE(chooseLanguage({QStringLiteral("p")}, path, QLocale(QStringLiteral("zh_CN"))).language,
                 UiLanguage::English);
        const QString both = iniWith(QStringLiteral("both.ini"), "[General]\nLanguage=zh\n\n[%General]\nLanguage=en\n");
        QCOMPARE(languageSetting(both), QStringLiteral("zh"));
        QCOMPARE(languageSetting(QString()), QString());
    }

    void englishIsEmbeddedAndInstalled()
    {
        QVERIFY(QFile::exists(QStringLiteral(":/i18n/lsxcalib_en.qm")));
        QVERIFY(installLanguage(UiLanguage::English));
        QCOMPARE(currentLanguage(), UiLanguage::English);
        QVERIFY(installLanguage(UiLanguage::Chinese));
        QCOMPARE(currentLanguage(), UiLanguage::Chinese);
    }

    void statusTextsInBothLanguages()
    {
        QVERIFY(installLanguage(UiLanguage::English));
        QCOMPARE(statusText(1), QStringLiteral("Operation succeeded"));
        QCOMPARE(statusText(-7), QStringLiteral("Not connected to a device"));
        QCOMPARE(statusText(-1000), QStringLiteral("Timeout"));
        QCOMPARE(statusText(-1104), QStringLiteral("Device disconnected"));
        QCOMPARE(statusText(-13), QStringLiteral("Invalid handle (null or stale), usually because the camera is not "
                                                 "open"));
        QVERIFY(statusText(-999).isEmpty());
        std::set<QString> english;
        for (const auto& [code, text] : kExpectedStatusTexts) {
            const QString e = statusText(code);
            QVERIFY2(!e.isEmpty() && !containsCjk(e), qPrintable(QStringLiteral("%1: %2").arg(code).arg(e)));
            english.insert(e);
        }
        // Only the two codes the camera library calls alike ("功能无效") read alike.
        QCOMPARE(english.size(), std::size(kExpectedStatusTexts) - 1);

        // Back in Chinese, exactly the library's texts.
        QVERIFY(installLanguage(UiLanguage::Chinese));
        for (const auto& [code, text] : kExpectedStatusTexts) QCOMPARE(statusText(code), QString::fromUtf8(text));
    }

    void loaderMessagesInBothLanguages()
    {
        const std::string missing = qEnvironmentVariable("LSX_STUB_MISSING").toStdString();
        QVERIFY(!missing.empty());
        const std::string nowhere = "/nonexistent/lib%2.so";
        auto messages = [&] {
            std::vector<std::string> out{lsx::bindLibrary(nowhere).message, lsx::bindLibrary(missing).message,
                                         lsx::emptySdkNote(true, "", "/exe/liblsxsim.so")};
            lsx::unbindLibrary();
            return out;
        };
        std::vector<std::string> zh = messages();
        QVERIFY2(zh[0].rfind("无法加载相机库 \"/nonexistent/lib%2.so\"：", 0) == 0, zh[0].c_str());
        QCOMPARE(zh[1], "相机库 \"" + missing + "\" 缺少函数 lsxWriteGenICamMem，无法使用该相机库");
        QCOMPARE(zh[2], std::string("选项 --sdk 没有给出相机库的路径，使用的是 \"/exe/liblsxsim.so\"。"));

        QVERIFY(installLanguage(UiLanguage::English));
        std::vector<std::string> en = messages();
        QVERIFY2(en[0].rfind("Cannot load the camera library \"/nonexistent/lib%2.so\": ", 0) == 0, en[0].c_str());
        QCOMPARE(en[1],
                 "The camera library \"" + missing + "\" lacks the function lsxWriteGenICamMem and cannot be used");
        QCOMPARE(en[2], std::string("The option --sdk gives no camera library path; using \"/exe/liblsxsim.so\"."));
        for (const std::string& m : en) QVERIFY2(!containsCjk(QString::fromStdString(m)), m.c_str());
    }

    // Qt's own buttons and dialogs speak the language chosen.
    void qtDialogsFollowTheLanguage()
    {
        QVERIFY(installLanguage(UiLanguage::Chinese));
        {
            QMessageBox box(QMessageBox::Warning, QStringLiteral("t"), QStringLiteral("x"),
                            QMessageBox::Ok | QMessageBox::Cancel);
            QCOMPARE(box.button(QMessageBox::Ok)->text(), QStringLiteral("确定"));
            QCOMPARE(box.button(QMessageBox::Cancel)->text(), QStringLiteral("取消"));
            QFileDialog dialog(nullptr, QStringLiteral("t"), m_dir.path());
            dialog.setOption(QFileDialog::DontUseNativeDialog);
            QVERIFY(!cjkTexts(&dialog).isEmpty());
        }
        QVERIFY(installLanguage(UiLanguage::English));
        {
            QMessageBox box(QMessageBox::Warning, QStringLiteral("t"), QStringLiteral("x"),
                            QMessageBox::Ok | QMessageBox::Cancel);
            QCOMPARE(box.button(QMessageBox::Ok)->text().remove(QLatin1Char('&')), QStringLiteral("OK"));
            QCOMPARE(box.button(QMessageBox::Cancel)->text().remove(QLatin1Char('&')), QStringLiteral("Cancel"));
            QFileDialog dialog(nullptr, QStringLiteral("t"), m_dir.path());
            dialog.setOption(QFileDialog::DontUseNativeDialog);
            QVERIFY2(cjkTexts(&dialog).isEmpty(), qPrintable(cjkTexts(&dialog).join('\n')));
        }
    }

    // Names of months and numbers follow the language when the system speaks another.
    void theDefaultLocaleFollowsTheLanguage()
    {
        QVERIFY(installLanguage(UiLanguage::English, QLocale(QStringLiteral("zh_CN"))));
        QCOMPARE(QLocale().language(), QLocale::English);
        QCOMPARE(QLocale().monthName(1), QStringLiteral("January"));
        QVERIFY(installLanguage(UiLanguage::Chinese, QLocale(QStringLiteral("en_US"))));
        QCOMPARE(QLocale().language(), QLocale::Chinese);
        QVERIFY(installLanguage(UiLanguage::English, QLocale(QStringLiteral("en_GB"))));
        QCOMPARE(QLocale().name(), QStringLiteral("en_GB"));
        QVERIFY(installLanguage(UiLanguage::Chinese));
        QCOMPARE(QLocale().name(), QLocale::system().name());
    }

    void theRunnerTakesTheOption()
    {
        CliPlan plan = parseCommandLine({QStringLiteral("--lang"), QStringLiteral("en"), QStringLiteral("list")});
        QVERIFY2(plan.error.isEmpty(), qPrintable(plan.error));
        QCOMPARE(plan.language, QStringLiteral("en"));
        plan = parseCommandLine({QStringLiteral("list"), QStringLiteral("--lang"), QStringLiteral("fr")});
        QCOMPARE(plan.error, QStringLiteral("未知的界面语言 \"fr\"（可选 zh、en）。"));
        plan = parseCommandLine({QStringLiteral("list"), QStringLiteral("--lang")});
        QCOMPARE(plan.error, QStringLiteral("选项 --lang 缺少参数。"));
        QVERIFY(cliUsage().contains(QLatin1String("--lang zh|en")));
    }

    void theWalkerFindsEveryKindOfText()
    {
        std::unique_ptr<QMainWindow> w(makeWindow(kChinese));
        w->show();
        QVERIFY(QTest::qWaitForWindowExposed(w.get()));
        const QStringList found = cjkTexts(w.get());
        const QStringList all{kChinese.title,    kChinese.label,     kChinese.button,      kChinese.tip,
                              kChinese.group,    kChinese.tab,       kChinese.item,        kChinese.header,
                              kChinese.cell,     kChinese.list,      kChinese.placeholder, kChinese.suffix,
                              kChinese.prefix,   kChinese.menu,      kChinese.action,      kChinese.tool,
                              kChinese.document, kChinese.sceneText, kChinese.chartTitle,  kChinese.series,
                              kChinese.axis,     kChinese.message,   kChinese.detail};
        for (const QString& t : all)
            QVERIFY2(endingWith(found, QStringLiteral(": ") + t) > 0,
                     qPrintable(QStringLiteral("%1 not found among:\n%2").arg(t, found.join('\n'))));
        QVERIFY2(endingWith(found, QStringLiteral("okBut(QPushButton) text: 按钮")) == 1, qPrintable(found.join('\n')));
        QVERIFY2(endingWith(found, QStringLiteral("okBut(QPushButton) toolTip: 提示")) == 1,
                 qPrintable(found.join('\n')));
        // The progress bar shows its format with the value in it.
        QVERIFY2(endingWith(found, QStringLiteral("QProgressBar text: 进度 10%")) == 1, qPrintable(found.join('\n')));
        // A message box on screen is read among the top-level widgets, once.
        auto* box = w->findChild<QMessageBox*>();
        QVERIFY(box);
        box->show();
        QVERIFY(QTest::qWaitForWindowExposed(box));
        const QStringList top = cjkTextsOfTopLevels();
        QCOMPARE(endingWith(top, QStringLiteral(": 消息")), 1);
        // Qt's own Chinese buttons are found too.
        QVERIFY2(endingWith(top, QStringLiteral(": 确定")) > 0, qPrintable(top.join('\n')));
    }

    void anEnglishWindowHoldsNoChinese()
    {
        QVERIFY(installLanguage(UiLanguage::English));
        std::unique_ptr<QMainWindow> w(makeWindow(kEnglish));
        w->show();
        QVERIFY(QTest::qWaitForWindowExposed(w.get()));
        auto* box = w->findChild<QMessageBox*>();
        box->show();
        QVERIFY(QTest::qWaitForWindowExposed(box));
        QVERIFY(visibleTexts(w.get()).size() >= 24);
        QVERIFY2(cjkTextsOfTopLevels().isEmpty(), qPrintable(cjkTextsOfTopLevels().join('\n')));
    }

    // The window's entry: its --help in the language of the locale, the option or FPN.ini.
    void theWindowSpeaksTheLanguageChosen()
    {
        const QString zhVersion = QStringLiteral("显示版本信息。"),
                      enVersion = QStringLiteral("Displays version information.");
        const QString zhLang = QStringLiteral("界面语言：zh 中文"),
                      enLang = QStringLiteral("interface language: zh Chinese");
        Run r = run(QStringLiteral("lsxcalib"), QStringLiteral("zh_CN.UTF-8"), {QStringLiteral("--help")});
        QCOMPARE(r.exit, 0);
        QVERIFY2(r.out.contains(zhVersion) && r.out.contains(zhLang), qPrintable(r.out));
        r = run(QStringLiteral("lsxcalib"), QStringLiteral("en_US.UTF-8"), {QStringLiteral("--help")});
        QVERIFY2(r.out.contains(enVersion) && r.out.contains(enLang) && !containsCjk(r.out), qPrintable(r.out));
        r = run(QStringLiteral("lsxcalib"), QStringLiteral("zh_CN.UTF-8"),
                {QStringLiteral("--lang"), QStringLiteral("en"), QStringLiteral("--help")});
        QVERIFY2(r.out.contains(enVersion) && r.out.contains(enLang), qPrintable(r.out));
        r = run(QStringLiteral("lsxcalib"), QStringLiteral("en_US.UTF-8"), {QStringLiteral("--help")},
                "[General]\nLanguage=zh\n");
        QVERIFY2(r.out.contains(zhVersion) && r.out.contains(zhLang), qPrintable(r.out));
        r = run(QStringLiteral("lsxcalib"), QStringLiteral("en_US.UTF-8"),
                {QStringLiteral("--help"), QStringLiteral("--lang=en")}, "[General]\nLanguage=zh\n");
        QVERIFY2(r.out.contains(enVersion), qPrintable(r.out));
    }

    // The runner's entry: a camera library that cannot be bound is told in the language chosen.
    void theRunnerSpeaksTheLanguageChosen()
    {
        const QString zh = QStringLiteral("无法加载相机库 \"/nonexistent/libcamera.so\"");
        const QString en = QStringLiteral("Cannot load the camera library \"/nonexistent/libcamera.so\"");
        const QStringList info{QStringLiteral("info")};
        Run r = runner(QStringLiteral("zh_CN.UTF-8"), info);
        QCOMPARE(r.exit, 2);
        QVERIFY2(r.err.contains(zh), qPrintable(r.err));
        r = runner(QStringLiteral("en_US.UTF-8"), info);
        QCOMPARE(r.exit, 2);
        QVERIFY2(r.err.contains(en), qPrintable(r.err));
        r = runner(QStringLiteral("zh_CN.UTF-8"), QStringList{QStringLiteral("--lang"), QStringLiteral("en")} + info);
        QVERIFY2(r.err.contains(en), qPrintable(r.err));
        r = runner(QStringLiteral("en_US.UTF-8"), QStringList{QStringLiteral("--lang"), QStringLiteral("zh")} + info);
        QVERIFY2(r.err.contains(zh), qPrintable(r.err));
        r = runner(QStringLiteral("zh_CN.UTF-8"), info, "[General]\nLanguage=en\n");
        QVERIFY2(r.err.contains(en), qPrintable(r.err));
        r = runner(QStringLiteral("zh_CN.UTF-8"), QStringList{QStringLiteral("--lang"), QStringLiteral("zh")} + info,
                   "[General]\nLanguage=en\n");
        QVERIFY2(r.err.contains(zh), qPrintable(r.err));
        // A setting that names no language is told, with the file, and the locale decides.
        r = runner(QStringLiteral("en_US.UTF-8"), info, "[General]\nLanguage=klingon\n");
        QVERIFY2(r.err.contains(en), qPrintable(r.err));
        QVERIFY2(r.err.contains(QRegularExpression(QStringLiteral("Language under \\[General\\] in \\S*/FPN/FPN.ini is "
                                                                  "\"klingon\", not one of the languages"))),
                 qPrintable(r.err));
        // An option that names no language is a usage error.
        r = runner(QStringLiteral("en_US.UTF-8"), QStringList{QStringLiteral("--lang"), QStringLiteral("fr")} + info);
        QCOMPARE(r.exit, 2);
        QVERIFY2(r.err.count(QStringLiteral("Unknown interface language \"fr\" (choose zh or en).")) == 1,
                 qPrintable(r.err));
        QVERIFY2(!r.err.contains(QLatin1String("--lang")) || r.err.contains(QLatin1String("--lang zh|en")),
                 qPrintable(r.err));
    }
};

QTEST_MAIN(TestLanguage)
#include "test_language.moc"
