// loadStyle and the dark style sheet with its images.
#include "app/style.h"

#include <QApplication>
#include <QCheckBox>
#include <QComboBox>
#include <QDirIterator>
#include <QGroupBox>
#include <QImageReader>
#include <QProgressBar>
#include <QPushButton>
#include <QRadioButton>
#include <QRegularExpression>
#include <QSpinBox>
#include <QTabWidget>
#include <QTemporaryDir>
#include <QTextEdit>
#include <QTreeWidget>
#include <QVBoxLayout>
#include <QtTest>

namespace {
QStringList g_messages;
QtMessageHandler g_previous = nullptr;

void collect(QtMsgType type, const QMessageLogContext& context, const QString& message)
{
    g_messages << message;
    if (g_previous) g_previous(type, context, message);
}
}  // namespace

class TestStyle : public QObject {
    Q_OBJECT

private:
    QTemporaryDir m_dir;

    QString writeFile(const QString& name, const QByteArray& bytes)
    {
        const QString path = m_dir.filePath(name);
        QFile f(path);
        if (!f.open(QFile::WriteOnly)) return QString();
        f.write(bytes);
        return path;
    }

    static QByteArray resourceBytes(const QString& path)
    {
        QFile f(path);
        return f.open(QFile::ReadOnly) ? f.readAll() : QByteArray();
    }

private slots:
    void initTestCase()
    {
        QVERIFY(m_dir.isValid());
        ensureResources();
        ensureResources();  // a second call does nothing
        QVERIFY(QFile::exists(QStringLiteral(":/psblack.css")));
    }

    void cleanup()
    {
        qApp->setStyleSheet(QString());
        QApplication::setPalette(QPalette());
    }

    // ---- edge cases first

    void paletteColourIsTakenFromIndexTwenty()
    {
        const QString path = writeFile("palette.css", "QPalette{background:#123456;}\nQLabel{color:#DCDCDC;}\n");
        QVERIFY(loadStyle(path));
        QCOMPARE(QApplication::palette().color(QPalette::Button), QColor(0x12, 0x34, 0x56));
        QCOMPARE(qApp->styleSheet().mid(20, 7), QStringLiteral("#123456"));
    }

    void missingFileReturnsFalseAndChangesNothing()
    {
        QPalette palette;
        palette.setColor(QPalette::Window, QColor(0x10, 0x20, 0x30));
        QApplication::setPalette(palette);
        qApp->setStyleSheet(QStringLiteral("QLabel{color:red;}"));

        QVERIFY(!loadStyle(m_dir.filePath("no-such.css")));
        QVERIFY(!loadStyle(QStringLiteral(":/no-such.css")));

        QCOMPARE(qApp->styleSheet(), QStringLiteral("QLabel{color:red;}"));
        QCOMPARE(QApplication::palette().color(QPalette::Window), QColor(0x10, 0x20, 0x30));
    }

    void whiteSpaceIsFoldedIntoOneWordPerLine()
    {
        const QString path =
            writeFile("spaces.css", "QPalette{background:#00BB9E;}\n\n  QWidget {\tcolor : red ; }\r\n");
        QVERIFY(loadStyle(path));
        QCOMPARE(qApp->styleSheet(), QStringLiteral("QPalette{background:#00BB9E;}\nQWidget\n{\ncolor\n:\nred\n;\n}"));
        QCOMPARE(QApplication::palette().color(QPalette::Window), QColor(0x00, 0xBB, 0x9E));
    }

    void byteOrderMarkDoesNotShiftTheColour()
    {
        const QString path = writeFile("bom.css", "\xEF\xBB\xBFQPalette{background:#ABCDEF;}");
        QVERIFY(loadStyle(path));
        QCOMPARE(QApplication::palette().color(QPalette::Window), QColor(0xAB, 0xCD, 0xEF));
    }

    // ---- the program's sheet

    void darkSheetLoads()
    {
        const QByteArray raw = resourceBytes(QStringLiteral(":/psblack.css"));
        QVERIFY(raw.startsWith("\xEF\xBB\xBFQPalette{background:#444444;}"));

        QVERIFY(loadStyle(QStringLiteral(":/psblack.css")));
        const QString sheet = qApp->styleSheet();
        QVERIFY(sheet.startsWith(QStringLiteral("QPalette{background:#444444;}")));
        QVERIFY(!sheet.contains(QLatin1Char(' ')));
        QVERIFY(!sheet.contains(QLatin1Char('\t')));
        QCOMPARE(QApplication::palette().color(QPalette::Window), QColor(0x44, 0x44, 0x44));

        for (const char* colour : {"#DCDCDC", "#242424", "#484848", "#383838", "#00BB9E"})
            QVERIFY2(sheet.contains(QLatin1String(colour)), colour);
        QVERIFY(sheet.contains(QStringLiteral("outline:0px")));
    }

    void darkSheetParsesAndStylesWidgets()
    {
        g_messages.clear();
        g_previous = qInstallMessageHandler(collect);
        QVERIFY(loadStyle(QStringLiteral(":/psblack.css")));

        QWidget w;
        auto* layout = new QVBoxLayout(&w);
        auto* button = new QPushButton(QStringLiteral("采图"));
        auto* check = new QCheckBox(QStringLiteral("软件模拟FPN"));
        check->setChecked(true);
        layout->addWidget(button);
        layout->addWidget(check);
        layout->addWidget(new QRadioButton(QStringLiteral("平均值")));
        layout->addWidget(new QSpinBox);
        layout->addWidget(new QComboBox);
        layout->addWidget(new QProgressBar);
        layout->addWidget(new QTextEdit);
        layout->addWidget(new QGroupBox(QStringLiteral("常用功能")));
        auto* tree = new QTreeWidget;
        new QTreeWidgetItem(new QTreeWidgetItem(tree, {QStringLiteral("相机")}), {QStringLiteral("子项")});
        layout->addWidget(tree);
        auto* tabs = new QTabWidget;
        tabs->addTab(new QWidget, QStringLiteral("FPN校正"));
        layout->addWidget(tabs);
        w.show();
        QVERIFY(QTest::qWaitForWindowExposed(&w));
        w.grab();

        qInstallMessageHandler(g_previous);
        for (const QString& m : std::as_const(g_messages))
            QVERIFY2(!m.contains(QStringLiteral("parse"), Qt::CaseInsensitive), qPrintable(m));

        QCOMPARE(button->palette().color(QPalette::ButtonText), QColor(0xDC, 0xDC, 0xDC));
    }

    void everyImageTheSheetNamesExists()
    {
        const QString sheet = QString::fromUtf8(resourceBytes(QStringLiteral(":/psblack.css")));
        const QRegularExpression url(QStringLiteral("url\\((:[^)]+)\\)"));
        auto it = url.globalMatch(sheet);
        QSet<QString> names;
        while (it.hasNext()) names.insert(it.next().captured(1));
        QVERIFY(names.size() >= 16);
        for (const QString& name : std::as_const(names)) {
            QVERIFY2(name.startsWith(QStringLiteral(":/qss/psblack/")), qPrintable(name));
            QVERIFY2(!QImage(name).isNull(), qPrintable(name));
        }
    }

    void themeImagesAreSmallAndComplete()
    {
        const QStringList expected = {"add_bottom.png",
                                      "add_left.png",
                                      "add_right.png",
                                      "add_top.png",
                                      "branch_close.png",
                                      "branch_open.png",
                                      "calendar_nextmonth.png",
                                      "calendar_prevmonth.png",
                                      "checkbox_checked.png",
                                      "checkbox_checked_disable.png",
                                      "checkbox_parcial.png",
                                      "checkbox_parcial_disable.png",
                                      "checkbox_unchecked.png",
                                      "checkbox_unchecked_disable.png",
                                      "radiobutton_checked.png",
                                      "radiobutton_checked_disable.png",
                                      "radiobutton_unchecked.png",
                                      "radiobutton_unchecked_disable.png"};
        for (const QString& name : expected) {
            const QImage image(QStringLiteral(":/qss/psblack/") + name);
            QVERIFY2(!image.isNull(), qPrintable(name));
            QVERIFY2(image.width() <= 16 && image.height() <= 16, qPrintable(name));
        }
        QCOMPARE(QImage(":/qss/psblack/checkbox_checked.png").size(), QSize(15, 15));
        QCOMPARE(QImage(":/qss/psblack/radiobutton_checked.png").size(), QSize(15, 15));
        // A checked box carries the accent colour in its middle.
        QCOMPARE(QImage(":/qss/psblack/checkbox_checked.png").pixelColor(3, 11), QColor(0x00, 0xBB, 0x9E));
    }

    void windowIcons()
    {
        QCOMPARE(QImage(QStringLiteral(":/base/icon.png")).size(), QSize(64, 64));
        QImageReader ico(QStringLiteral(":/base/icon.ico"));
        QCOMPARE(ico.format(), QByteArray("ico"));
        QVERIFY(!ico.read().isNull());
    }
};

QTEST_MAIN(TestStyle)
#include "test_style.moc"
