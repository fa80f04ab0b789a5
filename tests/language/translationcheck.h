#pragma once
// The checks of the translation system over a source tree:
//  1. every Chinese text in the program's sources is one that lupdate extracts, that is, one that
//     goes through tr(), QCoreApplication::translate(), QT_TR_NOOP/QT_TRANSLATE_NOOP or a form's
//     translatable strings;
//  2. every text lupdate extracts has a finished English translation in the kept .ts, with the
//     same %1..%99 placeholders as its source and no Chinese left in it.
// Files and folders listed in the pending file (still to convert) are left out of both, and an
// entry there that has nothing left to convert is itself an offence, so that the list only
// shrinks. Every offence is one line "file:line: text: what is wrong", the file relative to the
// tree's root.
//
// What counts as a Chinese text: a C++ string literal (adjacent literals joined, as the compiler
// and lupdate join them; comments and character literals skipped; \n, \t, \" and the like read as
// the compiler reads them, but \x, \u and \U escapes left as written) or a .ui <string> holding a
// character of cjktexts.h's isCjk. A Chinese text that is data rather than a message is therefore
// written with \u escapes, with a comment saying why.

#include <QList>
#include <QMap>
#include <QString>
#include <QStringList>

struct SourceText {
    QString file;  // absolute path
    int line = 0;
    QString text;
    bool notr = false;  // a form's string marked notr="true"
};

struct TsLocation {
    QString file;  // absolute path
    int line = 0;
};

struct TsMessage {
    QString context;
    QString source;
    QString comment;
    bool numerus = false;
    QString translationType;   // "", "unfinished", "obsolete" or "vanished"
    QStringList translations;  // one, or the numerus forms
    QList<TsLocation> locations;
};

// The Chinese texts of one source file (.ui read as a form, anything else as C++).
QList<SourceText> chineseTexts(const QString& path);
// The same, from the text of a C++ source.
QList<SourceText> chineseTextsInCpp(const QString& path, const QString& code);

// The messages of a .ts file, locations made absolute; false with error when it cannot be read.
bool readTs(const QString& path, QList<TsMessage>& messages, QString* error);

// Runs lupdate over folders of root into tsPath with line numbers; false with error on failure.
bool runLupdate(const QString& lupdate, const QStringList& options, const QString& root, const QStringList& folders,
                const QString& tsPath, QString* error);

// The entries of a pending file: paths relative to the root, a folder ending with '/'; '#' starts a
// comment. Empty for a missing file.
QStringList readPending(const QString& path);

struct CheckResult {
    QStringList offences;
    // Per pending entry, how many texts it still holds: "app/: 230".
    QStringList pendingCounts;
};

// Check 1 over the source files of folders under root.
CheckResult untranslatedTexts(const QString& root, const QStringList& folders, const QList<TsMessage>& extracted,
                              const QStringList& pending);

// Check 2: the fresh extraction against the kept translation (tsName names it in the messages).
QStringList translationGaps(const QString& root, const QList<TsMessage>& extracted, const QList<TsMessage>& kept,
                            const QStringList& pending, const QString& tsName);
