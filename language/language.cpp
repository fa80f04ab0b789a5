// The language of the operator's texts (language.h).
#include "language.h"

#include <QCoreApplication>
#include <QDebug>
#include <QFileInfo>
#include <QLibraryInfo>
#include <QRegularExpression>
#include <QSettings>
#include <QTranslator>

namespace {

// The program's English, built from translations/lsxcalib_en.ts and embedded by the build.
const char kProgramEnglish[] = ":/i18n/lsxcalib_en.qm";

// The translators this module installed, owned by the application object.
QTranslator* g_program = nullptr;
QTranslator* g_qt = nullptr;
UiLanguage g_current = UiLanguage::Chinese;

void removeTranslator(QTranslator*& translator)
{
    if (!translator) return;
    QCoreApplication::removeTranslator(translator);
    delete translator;
    translator = nullptr;
}

// Loads one translation file and installs it; the translator stays null when the file is missing.
bool installFile(QTranslator*& slot, const QString& path)
{
    auto* translator = new QTranslator(QCoreApplication::instance());
    if (!translator->load(path)) {
        delete translator;
        return false;
    }
    QCoreApplication::installTranslator(translator);
    slot = translator;
    return true;
}

}  // namespace

QString LanguageChoice::optionWarning() const
{
    if (!badOption) return QString();
    return QCoreApplication::translate("Language", "选项 --lang 的值 \"%1\" 不是可选的语言（zh、en），忽略该选项。")
        .arg(*badOption);
}

QString LanguageChoice::settingsWarning() const
{
    if (badSetting.isEmpty()) return QString();
    return QCoreApplication::translate("Language",
                                       "%1 中 [General] 的 Language 为 \"%2\"，不是可选的语言（zh、en），忽略该设置。")
        .arg(iniPath, badSetting);
}

std::optional<UiLanguage> languageFromCode(const QString& code)
{
    static const QRegularExpression form(QStringLiteral("^(zh|en)([_-][A-Za-z0-9_-]+)?$"),
                                         QRegularExpression::CaseInsensitiveOption);
    const QRegularExpressionMatch m = form.match(code.trimmed());
    if (!m.hasMatch()) return std::nullopt;
    return m.captured(1).toLower() == QLatin1String("zh") ? UiLanguage::Chinese : UiLanguage::English;
}

UiLanguage languageOfLocale(const QLocale& locale)
{
    // The first of the languages the system prefers for its interface (LANGUAGE, LC_MESSAGES,
    // LANG), as Qt's own translations are chosen; "C" and every other language give English.
    const QStringList ui = locale.uiLanguages();
    const QString first = ui.isEmpty() ? locale.name() : ui.first();
    return first.startsWith(QLatin1String("zh"), Qt::CaseInsensitive) ? UiLanguage::Chinese : UiLanguage::English;
}

std::optional<QString> languageOptionValue(const QStringList& arguments)
{
    std::optional<QString> value;
    for (int i = 1; i < arguments.size(); ++i) {
        const QString& a = arguments[i];
        if (a == QLatin1String("--")) break;
        if (a == QLatin1String("--lang")) {
            value = i + 1 < arguments.size() ? arguments[++i] : QString();
        } else if (a.startsWith(QLatin1String("--lang="))) {
            value = a.mid(7);
        }
    }
    return value;
}

QCommandLineOption languageOption()
{
    return QCommandLineOption(
        QStringList{QStringLiteral("lang")},
        QCoreApplication::translate(
            "Language", "界面语言：zh 中文，en 英文；缺省为 FPN.ini 中 [General] 的 Language，再缺省按系统的区域设置"),
        QStringLiteral("zh|en"));
}

QString languageSetting(const QString& iniPath)
{
    if (iniPath.isEmpty() || !QFileInfo::exists(iniPath)) return QString();
    const QSettings settings(iniPath, QSettings::IniFormat);
    // QSettings keeps the keys of an INI file's [General] section without a group, and writes a
    // key "General/Language" under "[%General]": take the first, as an operator writes it, then
    // the second, as a program writing through QSettings does.
    QString value = settings.value(QStringLiteral("Language")).toString();
    if (value.trimmed().isEmpty()) value = settings.value(QStringLiteral("General/Language")).toString();
    return value.trimmed();
}

LanguageChoice chooseLanguage(const QStringList& arguments, const QString& iniPath, const QLocale& system)
{
    LanguageChoice choice;
    choice.iniPath = iniPath;
    if (const std::optional<QString> option = languageOptionValue(arguments)) {
        if (const std::optional<UiLanguage> language = languageFromCode(*option)) {
            choice.language = *language;
            choice.source = LanguageSource::Option;
            return choice;
        }
        choice.badOption = option;
    }
    const QString setting = languageSetting(iniPath);
    if (!setting.isEmpty()) {
        if (const std::optional<UiLanguage> language = languageFromCode(setting)) {
            choice.language = *language;
            choice.source = LanguageSource::Settings;
            return choice;
        }
        choice.badSetting = setting;
    }
    choice.language = languageOfLocale(system);
    choice.source = LanguageSource::Locale;
    return choice;
}

bool installLanguage(UiLanguage language, const QLocale& system)
{
    removeTranslator(g_program);
    removeTranslator(g_qt);
    g_current = language;
    bool ok = true;

    // The program's texts are Chinese already; English comes from its translation.
    if (language == UiLanguage::English && !installFile(g_program, QString::fromLatin1(kProgramEnglish))) {
        qWarning().noquote() << QCoreApplication::translate("Language", "无法加载程序的英文翻译 %1，界面仍为中文。")
                                    .arg(QString::fromLatin1(kProgramEnglish));
        ok = false;
    }
    // Qt's dialogs and buttons: its Chinese, or its English (which holds the plural forms).
    const QString qtFile =
        QLibraryInfo::path(QLibraryInfo::TranslationsPath)
        + (language == UiLanguage::Chinese ? QStringLiteral("/qtbase_zh_CN.qm") : QStringLiteral("/qtbase_en.qm"));
    if (!installFile(g_qt, qtFile)) {
        qWarning().noquote() << QCoreApplication::translate(
                                    "Language", "无法加载 Qt 的翻译 %1，Qt 的对话框和按钮可能不是所选的语言。")
                                    .arg(qtFile);
        ok = false;
    }

    // Names of months and days, and numbers, in the chosen language when the system's is another.
    const QLocale wanted = language == UiLanguage::Chinese ? QLocale(QLocale::Chinese, QLocale::China)
                                                           : QLocale(QLocale::English, QLocale::UnitedStates);
    QLocale::setDefault(languageOfLocale(system) == language ? system : wanted);
    return ok;
}

LanguageChoice installLanguageAtStart(const QString& iniPath)
{
    const LanguageChoice choice = chooseLanguage(QCoreApplication::arguments(), iniPath);
    installLanguage(choice.language);
    if (!choice.badSetting.isEmpty()) qWarning().noquote() << choice.settingsWarning();
    return choice;
}

UiLanguage currentLanguage()
{
    return g_current;
}

QString languageCode(UiLanguage language)
{
    return language == UiLanguage::Chinese ? QStringLiteral("zh") : QStringLiteral("en");
}
