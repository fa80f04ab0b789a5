// The help in English: every help document has an English twin under :/help/en/ with no Chinese
// and the same anchors (F1 jumps to them), and the help dialog in English shows the twins.
#include "app/helpdialog.h"
#include "app/style.h"
#include "common/cjk.h"
#include "common/cjktexts.h"
#include "language.h"

#include <QDir>
#include <QFile>
#include <QRegularExpression>
#include <QSet>
#include <QTextBrowser>
#include <QtTest>

namespace {

QString read(const QString& path)
{
    QFile f(path);
    return f.open(QIODevice::ReadOnly) ? QString::fromUtf8(f.readAll()) : QString();
}

QSet<QString> anchors(const QString& html)
{
    QSet<QString> out;
    static const QRegularExpression name(QStringLiteral("<a name=\"([^\"]+)\""));
    for (auto it = name.globalMatch(html); it.hasNext();) out.insert(it.next().captured(1));
    return out;
}

}  // namespace

class TestEnglishHelp : public QObject {
    Q_OBJECT

private slots:
    void initTestCase()
    {
        ensureResources();
        QVERIFY(installLanguage(UiLanguage::English));
    }
    void cleanupTestCase() { installLanguage(UiLanguage::Chinese); }

    void everyDocumentHasAnEnglishTwin()
    {
        const QStringList docs = QDir(QStringLiteral(":/help")).entryList({QStringLiteral("*.html")}, QDir::Files);
        QCOMPARE(docs.size(), 6);
        for (const QString& doc : docs) {
            const QString chinese = read(QStringLiteral(":/help/") + doc);
            const QString english = read(QStringLiteral(":/help/en/") + doc);
            QVERIFY2(containsCjk(chinese), qPrintable(doc));
            QVERIFY2(!english.isEmpty(), qPrintable(doc + QStringLiteral(": no English twin")));
            QVERIFY2(!containsCjk(english), qPrintable(doc));
            QCOMPARE(anchors(english), anchors(chinese));
        }
    }

    void theDialogShowsTheEnglishDocuments()
    {
        HelpDialog dialog;
        const QStringList cjk = cjkTexts(&dialog);
        QVERIFY2(cjk.isEmpty(), qPrintable(cjk.join(QLatin1Char('\n'))));
        const QList<QTextBrowser*> browsers = dialog.findChildren<QTextBrowser*>();
        QCOMPARE(browsers.size(), 6);
        for (QTextBrowser* b : browsers) {
            QVERIFY(!b->toPlainText().isEmpty());
            QVERIFY2(!containsCjk(b->toPlainText()), qPrintable(b->objectName()));
        }
    }
};

QTEST_MAIN(TestEnglishHelp)
#include "test_english_help.moc"
