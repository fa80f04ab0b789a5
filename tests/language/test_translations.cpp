// The translation system over the program's sources: no Chinese text outside it, and a finished
// English translation of every text in it, except in the files translations/pending.txt still
// lists. The checks themselves are tried first on small trees with known faults.
#include "translationcheck.h"

#include <QTemporaryDir>
#include <QtTest>

namespace {

const QStringList kLupdateOptions = QString::fromUtf8(LSX_LUPDATE_OPTIONS).split(QLatin1Char(','));

void write(const QString& path, const QByteArray& text)
{
    QDir().mkpath(QFileInfo(path).absolutePath());
    QFile f(path);
    QVERIFY(f.open(QIODevice::WriteOnly));
    QCOMPARE(f.write(text), qint64(text.size()));
    QVERIFY(f.flush());
}

// The offences without their explanations: "file:line: text".
QStringList heads(const QStringList& offences)
{
    QStringList out;
    for (const QString& o : offences) out.append(o.section(QStringLiteral(": "), 0, 1));
    return out;
}

// A small module: wrapped texts in each form, and three that are not.
const char kModule[] = R"src(// 注释里的中文不算 "引号里的也不算"
#include <QCoreApplication>
class Panel {
    Q_DECLARE_TR_FUNCTIONS(Panel)
public:
    QString title() const { return tr("面板"); }
};
QString done() { return QCoreApplication::translate("Module", "已翻译，第 %1 步").arg(1); }
QString bare() { return QStringLiteral("未翻译"); }
const char* const kTable[] = {QT_TRANSLATE_NOOP("Module", "表格的"
                                                          "两段"),
                              "表格里漏掉的"};
int thousand = 1'000; char quote = '"'; char apostrophe = '\'';
/* 块注释 "也不算" */
QString raw() { return QString::fromUtf8(R"x(原始"文字)x"); }
QString data() { return QStringLiteral("\u4e2d"); }  // data, not a message
QString joined() { return QCoreApplication::translate("Module", "换行\n之后"); }
)src";

const char kForm[] = R"ui(<?xml version="1.0" encoding="UTF-8"?>
<ui version="4.0">
 <class>Form</class>
 <widget class="QWidget" name="Form">
  <property name="windowTitle">
   <string>窗体</string>
  </property>
  <widget class="QLabel" name="label">
   <property name="text">
    <string notr="true">不翻译的标签</string>
   </property>
  </widget>
 </widget>
</ui>
)ui";

}  // namespace

class TestTranslations : public QObject {
    Q_OBJECT
private slots:
    void literalsAreReadAsTheCompilerJoinsThem()
    {
        const QList<SourceText> texts = chineseTextsInCpp(QStringLiteral("m.cpp"), QString::fromUtf8(kModule));
        QStringList found;
        for (const SourceText& t : texts) found.append(QStringLiteral("%1 %2").arg(t.line).arg(t.text));
        QCOMPARE(found, (QStringList{
                            QStringLiteral("6 面板"),
                            QStringLiteral("8 已翻译，第 %1 步"),
                            QStringLiteral("9 未翻译"),
                            QStringLiteral("10 表格的两段"),
                            QStringLiteral("12 表格里漏掉的"),
                            QStringLiteral("15 原始\"文字"),
                            QStringLiteral("17 换行\n之后"),
                        }));
    }

    void aSmallTreeShowsEachFault()
    {
        QTemporaryDir dir;
        QVERIFY(dir.isValid());
        write(dir.filePath(QStringLiteral("mod/module.cpp")), kModule);
        write(dir.filePath(QStringLiteral("mod/form.ui")), kForm);
        write(dir.filePath(QStringLiteral("clean/clean.cpp")), "int x = 0;\n");
        const QString ts = dir.filePath(QStringLiteral("out/extracted.ts"));
        QDir().mkpath(dir.filePath(QStringLiteral("out")));
        QString error;
        QVERIFY2(runLupdate(QStringLiteral(LSX_LUPDATE), kLupdateOptions, dir.path(),
                            {QStringLiteral("mod"), QStringLiteral("clean")}, ts, &error),
                 qPrintable(error));
        QList<TsMessage> extracted;
        QVERIFY2(readTs(ts, extracted, &error), qPrintable(error));
        QCOMPARE(extracted.size(), 5);

        CheckResult r = untranslatedTexts(dir.path(), {QStringLiteral("mod"), QStringLiteral("clean")}, extracted, {});
        QCOMPARE(heads(r.offences), (QStringList{
                                        QStringLiteral("mod/form.ui:10: \"不翻译的标签\""),
                                        QStringLiteral("mod/module.cpp:9: \"未翻译\""),
                                        QStringLiteral("mod/module.cpp:12: \"表格里漏掉的\""),
                                        QStringLiteral("mod/module.cpp:15: \"原始\"文字\""),
                                    }));
        QVERIFY(r.offences.first().endsWith(QLatin1String("marked notr")));
        QVERIFY(r.pendingCounts.isEmpty());

        // Listed as still to convert: the file's faults wait; a clean file on the list is a fault.
        r = untranslatedTexts(dir.path(), {QStringLiteral("mod"), QStringLiteral("clean")}, extracted,
                              {QStringLiteral("mod/module.cpp"), QStringLiteral("clean/")});
        QCOMPARE(heads(r.offences), (QStringList{
                                        QStringLiteral("mod/form.ui:10: \"不翻译的标签\""),
                                        QStringLiteral("clean/: listed as still to convert, but holds no Chinese "
                                                       "text outside the translation system"),
                                    }));
        QCOMPARE(r.pendingCounts, QStringList{QStringLiteral("mod/module.cpp: 3")});
        r = untranslatedTexts(dir.path(), {QStringLiteral("mod")}, extracted, {QStringLiteral("mod/")});
        QVERIFY(r.offences.isEmpty());
        QCOMPARE(r.pendingCounts, QStringList{QStringLiteral("mod/: 4")});
    }

    void aKeptTranslationShowsEachGap()
    {
        QTemporaryDir dir;
        QVERIFY(dir.isValid());
        write(dir.filePath(QStringLiteral("mod/module.cpp")), kModule);
        write(dir.filePath(QStringLiteral("mod/form.ui")), kForm);
        const QString ts = dir.filePath(QStringLiteral("extracted.ts"));
        QString error;
        QVERIFY2(
            runLupdate(QStringLiteral(LSX_LUPDATE), kLupdateOptions, dir.path(), {QStringLiteral("mod")}, ts, &error),
            qPrintable(error));
        QList<TsMessage> extracted;
        QVERIFY2(readTs(ts, extracted, &error), qPrintable(error));

        // The kept file: one good, one unfinished, one obsolete, one with a placeholder lost, one
        // with Chinese left, and one text missing.
        const QString keptPath = dir.filePath(QStringLiteral("kept.ts"));
        write(keptPath, R"ts(<?xml version="1.0" encoding="utf-8"?>
<!DOCTYPE TS>
<TS version="2.1" language="en" sourcelanguage="zh_CN">
<context>
    <name>Form</name>
    <message>
        <source>窗体</source>
        <translation>Form</translation>
    </message>
</context>
<context>
    <name>Module</name>
    <message>
        <source>已翻译，第 %1 步</source>
        <translation>Translated, step</translation>
    </message>
    <message>
        <source>表格的两段</source>
        <translation type="unfinished">Table</translation>
    </message>
    <message>
        <source>换行
之后</source>
        <translation type="vanished">Line</translation>
    </message>
</context>
<context>
    <name>Panel</name>
    <message>
        <source>面板</source>
        <translation>面板 panel</translation>
    </message>
</context>
</TS>
)ts");
        QList<TsMessage> kept;
        QVERIFY2(readTs(keptPath, kept, &error), qPrintable(error));
        QCOMPARE(kept.size(), 5);

        const QStringList gaps = translationGaps(dir.path(), extracted, kept, {}, QStringLiteral("kept.ts"));
        QCOMPARE(gaps.size(), 4);
        QVERIFY2(gaps.filter(QStringLiteral("mod/module.cpp:8: [Module] \"已翻译，第 %1 步\": its English "
                                            "\"Translated, step\" has the placeholders  instead of 1"))
                         .size()
                     == 1,
                 qPrintable(gaps.join('\n')));
        QVERIFY2(gaps.filter(QStringLiteral("mod/module.cpp:10: [Module] \"表格的两段\": unfinished")).size() == 1,
                 qPrintable(gaps.join('\n')));
        QVERIFY2(
            gaps.filter(QStringLiteral("[Module] \"换行\\n之后\": used, but kept.ts marks it vanished")).size() == 1,
            qPrintable(gaps.join('\n')));
        QVERIFY2(gaps.filter(QStringLiteral("mod/module.cpp:6: [Panel] \"面板\": its English \"面板 panel\" holds "
                                            "Chinese"))
                         .size()
                     == 1,
                 qPrintable(gaps.join('\n')));

        // The same file with the module still to convert: only the form is checked, and it is good.
        QVERIFY(
            translationGaps(dir.path(), extracted, kept, {QStringLiteral("mod/module.cpp")}, QStringLiteral("kept.ts"))
                .isEmpty());
        // A kept file without the form's text.
        kept.removeFirst();
        QVERIFY(
            translationGaps(dir.path(), extracted, kept, {QStringLiteral("mod/module.cpp")}, QStringLiteral("kept.ts"))
                .first()
                .endsWith(QLatin1String("not in kept.ts: build the target update_translations")));
    }

    // The program's sources, as they are.
    void theProgramHasNoTextOutsideTheTranslationSystem()
    {
        extract();
        const CheckResult r = untranslatedTexts(root(), folders(), m_extracted, pending());
        for (const QString& p : r.pendingCounts)
            qInfo().noquote() << "still to convert (translations/pending.txt):" << p;
        for (const QString& o : r.offences) qWarning().noquote() << o;
        QVERIFY2(r.offences.isEmpty(), qPrintable(QStringLiteral("%1 Chinese texts outside the translation system "
                                                                 "(listed above)")
                                                      .arg(r.offences.size())));
    }

    void theEnglishTranslationIsFinished()
    {
        extract();
        QList<TsMessage> kept;
        QString error;
        QVERIFY2(readTs(QStringLiteral(LSX_TS_FILE), kept, &error), qPrintable(error));
        const QStringList gaps =
            translationGaps(root(), m_extracted, kept, pending(), QFileInfo(QStringLiteral(LSX_TS_FILE)).fileName());
        for (const QString& g : gaps) qWarning().noquote() << g;
        QVERIFY2(gaps.isEmpty(), qPrintable(QStringLiteral("%1 texts without a finished English translation "
                                                           "(listed above)")
                                                .arg(gaps.size())));
    }

    // lupdate files a tr() that follows a QCoreApplication::translate() in one statement under
    // "QCoreApplication", where the program never looks: such a text would stay Chinese.
    void noTextIsFiledUnderQCoreApplication()
    {
        extract();
        QStringList misfiled;
        for (const TsMessage& m : m_extracted)
            if (m.context == QLatin1String("QCoreApplication"))
                for (const TsLocation& l : m.locations)
                    misfiled << QStringLiteral("%1:%2: \"%3\"").arg(l.file).arg(l.line).arg(m.source);
        QVERIFY2(misfiled.isEmpty(), qPrintable(misfiled.join(QLatin1Char('\n'))));
    }

private:
    static QString root() { return QFileInfo(QStringLiteral(LSX_SOURCE_DIR)).canonicalFilePath(); }
    static QStringList folders() { return QString::fromUtf8(LSX_FOLDERS).split(QLatin1Char(',')); }
    static QStringList pending() { return readPending(root() + QStringLiteral("/translations/pending.txt")); }

    void extract()
    {
        if (!m_extracted.isEmpty()) return;
        QVERIFY(m_dir.isValid());
        const QString ts = m_dir.filePath(QStringLiteral("extracted_en.ts"));
        QString error;
        QVERIFY2(runLupdate(QStringLiteral(LSX_LUPDATE), kLupdateOptions, root(), folders(), ts, &error),
                 qPrintable(error));
        QVERIFY2(readTs(ts, m_extracted, &error), qPrintable(error));
        QVERIFY(!m_extracted.isEmpty());
    }

    QTemporaryDir m_dir;
    QList<TsMessage> m_extracted;
};

QTEST_GUILESS_MAIN(TestTranslations)
#include "test_translations.moc"
