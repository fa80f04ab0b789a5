#pragma once
// The language of the operator's texts, shared by the window and the command-line runner.
//
// The program's texts are written in Chinese (the source texts of Qt's translation system);
// English is a translation loaded at start. The language is chosen, first rule that gives one:
//   1. the option --lang zh|en of the command line;
//   2. the key General/Language of FPN.ini (the line "Language=en" under "[General]");
//   3. the system locale: a Chinese one (zh*) gives Chinese, any other English.
// With the language the program installs its own translation (English only) and Qt's
// (qtbase_zh_CN or qtbase_en), so that Qt's own dialogs and buttons speak the same language, and
// makes the default QLocale one of that language when the system's is another.

#include <QCommandLineOption>
#include <QLocale>
#include <QString>
#include <QStringList>

#include <optional>

enum class UiLanguage { Chinese, English };

// Where the language came from.
enum class LanguageSource { Option, Settings, Locale };

struct LanguageChoice {
    UiLanguage language = UiLanguage::Chinese;
    LanguageSource source = LanguageSource::Locale;
    // A --lang value that names no language; the choice then goes on with the settings file.
    std::optional<QString> badOption;
    // A General/Language value that names no language; the choice then follows the locale.
    QString badSetting;
    QString iniPath;

    // What the operator is told about a bad value, in the language installed when asked; empty
    // when there is nothing to tell.
    QString optionWarning() const;
    QString settingsWarning() const;
};

// A language code: "zh" or "en", in any case, optionally with a region ("zh_CN", "en-US").
// Nothing for anything else, including an empty text.
std::optional<UiLanguage> languageFromCode(const QString& code);

// The language of a locale: Chinese for zh*, English for every other.
UiLanguage languageOfLocale(const QLocale& locale);

// The value of --lang in a command line (the program's name first, as QCoreApplication::arguments
// gives it): "--lang VALUE" or "--lang=VALUE", the last one given, none after "--". Nothing when
// the option is absent; an empty text when it has no value.
std::optional<QString> languageOptionValue(const QStringList& arguments);

// The option as the window's command-line parser declares it.
QCommandLineOption languageOption();

// The value of General/Language in the settings file at iniPath; empty when the file or the key
// is missing.
QString languageSetting(const QString& iniPath);

// The choice of the rules above, from the command line, the settings file and a locale.
LanguageChoice chooseLanguage(const QStringList& arguments, const QString& iniPath,
                              const QLocale& system = QLocale::system());

// Installs the translations of `language` into the application (call after the application object
// exists and before the first translated text is made): the program's own for English, Qt's for
// both, and the default QLocale when the system's is of another language. Earlier translations of
// this module are removed first, so that a test may switch. False when a translation could not be
// loaded; every failure is logged with the file's name, and the program goes on in the texts it has.
bool installLanguage(UiLanguage language, const QLocale& system = QLocale::system());

// The hook of an entry: chooseLanguage over the application's arguments and FPN.ini, then
// installLanguage, then a warning for a bad General/Language. A bad --lang is left to the entry's
// own option parsing (choice.optionWarning()).
LanguageChoice installLanguageAtStart(const QString& iniPath);

// The language now installed (Chinese until installLanguage ran).
UiLanguage currentLanguage();

// The code of a language as --lang takes it: "zh", "en".
QString languageCode(UiLanguage language);
