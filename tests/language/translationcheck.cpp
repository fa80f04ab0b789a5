// The checks of the translation system over a source tree (translationcheck.h).
#include "translationcheck.h"

#include "common/cjk.h"

#include <QDir>
#include <QDirIterator>
#include <QFile>
#include <QFileInfo>
#include <QProcess>
#include <QRegularExpression>
#include <QSet>
#include <QXmlStreamReader>

#include <algorithm>
#include <cstdlib>

namespace {

bool isIdentifierChar(QChar c)
{
    return c.isLetterOrNumber() || c == QLatin1Char('_');
}

// The length of a string literal's prefix and quote at i ("\"", "u8\"", "LR\"" ...), 0 when no
// string literal starts there; raw tells a raw literal.
int literalStart(const QString& code, int i, bool& raw)
{
    if (i > 0 && isIdentifierChar(code[i - 1])) return 0;
    int j = i;
    if (code.mid(j, 2) == QLatin1String("u8"))
        j += 2;
    else if (j < code.size()
             && (code[j] == QLatin1Char('u') || code[j] == QLatin1Char('U') || code[j] == QLatin1Char('L')))
        ++j;
    raw = j < code.size() && code[j] == QLatin1Char('R');
    if (raw) ++j;
    if (j < code.size() && code[j] == QLatin1Char('"')) return j - i + 1;
    return 0;
}

// Reads an ordinary literal's body from i (after the quote) to its closing quote; returns the index
// after the quote. Escapes of a character by its code are kept as written.
int readOrdinary(const QString& code, int i, QString& text, int& line)
{
    while (i < code.size()) {
        const QChar c = code[i];
        if (c == QLatin1Char('"')) return i + 1;
        if (c == QLatin1Char('\n')) ++line;  // an unterminated literal: go on as the compiler would fail
        if (c != QLatin1Char('\\') || i + 1 >= code.size()) {
            text += c;
            ++i;
            continue;
        }
        const QChar e = code[i + 1];
        i += 2;
        switch (e.unicode()) {
        case 'n': text += QLatin1Char('\n'); break;
        case 't': text += QLatin1Char('\t'); break;
        case 'r': text += QLatin1Char('\r'); break;
        case 'a': text += QLatin1Char('\a'); break;
        case 'b': text += QLatin1Char('\b'); break;
        case 'f': text += QLatin1Char('\f'); break;
        case 'v': text += QLatin1Char('\v'); break;
        case '\\': text += QLatin1Char('\\'); break;
        case '"': text += QLatin1Char('"'); break;
        case '\'': text += QLatin1Char('\''); break;
        case '?': text += QLatin1Char('?'); break;
        case '\n': ++line; break;  // a continued line
        default: text += QLatin1Char('\\'); text += e;
        }
    }
    return i;
}

// Reads a raw literal from i (after the quote): R"delim( ... )delim".
int readRaw(const QString& code, int i, QString& text, int& line)
{
    const int open = code.indexOf(QLatin1Char('('), i);
    if (open < 0) return code.size();
    const QString close = QLatin1Char(')') + code.mid(i, open - i) + QLatin1Char('"');
    const int end = code.indexOf(close, open + 1);
    const int stop = end < 0 ? code.size() : end;
    text = code.mid(open + 1, stop - open - 1);
    line += int(code.mid(i, stop - i).count(QLatin1Char('\n')));
    return end < 0 ? code.size() : end + close.size();
}

QList<SourceText> chineseTextsInForm(const QString& path)
{
    QList<SourceText> out;
    QFile file(path);
    if (!file.open(QIODevice::ReadOnly)) return out;
    QXmlStreamReader xml(&file);
    while (!xml.atEnd()) {
        if (xml.readNext() != QXmlStreamReader::StartElement || xml.name() != QLatin1String("string")) continue;
        const int line = int(xml.lineNumber());
        const bool notr = xml.attributes().value(QLatin1String("notr")) == QLatin1String("true");
        const QString text = xml.readElementText(QXmlStreamReader::IncludeChildElements);
        if (containsCjk(text)) out.append({path, line, text, notr});
    }
    return out;
}

QString relative(const QString& root, const QString& file)
{
    return QDir(root).relativeFilePath(file);
}

// Whether a file (relative to the root) is covered by a pending entry.
bool isPending(const QString& rel, const QString& entry)
{
    return entry.endsWith(QLatin1Char('/')) ? rel.startsWith(entry) : rel == entry;
}

bool anyPending(const QString& rel, const QStringList& pending)
{
    return std::any_of(pending.begin(), pending.end(), [&](const QString& e) { return isPending(rel, e); });
}

QStringList sourceFiles(const QString& root, const QStringList& folders)
{
    static const QStringList patterns{QStringLiteral("*.cpp"), QStringLiteral("*.h"),   QStringLiteral("*.hpp"),
                                      QStringLiteral("*.cc"),  QStringLiteral("*.cxx"), QStringLiteral("*.c"),
                                      QStringLiteral("*.ui")};
    QStringList files;
    for (const QString& folder : folders) {
        QDirIterator it(QDir(root).filePath(folder), patterns, QDir::Files, QDirIterator::Subdirectories);
        while (it.hasNext()) files.append(QFileInfo(it.next()).canonicalFilePath());
    }
    files.sort();
    return files;
}

// The %1..%99 of a text (with or without L), as a sorted list.
QStringList placeholders(const QString& text)
{
    static const QRegularExpression re(QStringLiteral("%L?([1-9][0-9]?)"));
    QStringList found;
    for (auto it = re.globalMatch(text); it.hasNext();) found.append(it.next().captured(1));
    found.sort();
    found.removeDuplicates();
    return found;
}

QString shown(const QString& text)
{
    QString t = text;
    t.replace(QLatin1Char('\n'), QStringLiteral("\\n"));
    return QStringLiteral("\"%1\"").arg(t);
}

}  // namespace

QList<SourceText> chineseTextsInCpp(const QString& path, const QString& code)
{
    QList<SourceText> out;
    int line = 1;
    // The literal being joined with the ones that follow it.
    bool joining = false;
    int joinedLine = 0;
    QString joined;
    auto flush = [&] {
        if (joining && containsCjk(joined)) out.append({path, joinedLine, joined, false});
        joining = false;
        joined.clear();
    };

    const int n = int(code.size());
    int i = 0;
    while (i < n) {
        const QChar c = code[i];
        const QChar next = i + 1 < n ? code[i + 1] : QChar();
        if (c == QLatin1Char('\n')) {
            ++line;
            ++i;
        } else if (c.isSpace()) {
            ++i;
        } else if (c == QLatin1Char('/') && next == QLatin1Char('/')) {
            while (i < n && code[i] != QLatin1Char('\n')) ++i;
        } else if (c == QLatin1Char('/') && next == QLatin1Char('*')) {
            const int end = code.indexOf(QLatin1String("*/"), i + 2);
            const int stop = end < 0 ? n : end + 2;
            line += int(code.mid(i, stop - i).count(QLatin1Char('\n')));
            i = stop;
        } else if (bool raw = false; const int prefix = literalStart(code, i, raw)) {
            const int startLine = line;
            QString text;
            i = raw ? readRaw(code, i + prefix, text, line) : readOrdinary(code, i + prefix, text, line);
            if (!joining) {
                joining = true;
                joinedLine = startLine;
            }
            joined += text;
        } else if (c == QLatin1Char('\'')) {
            flush();
            // A digit separator (1'000) or a character literal.
            int s = i - 1;
            while (s >= 0 && (isIdentifierChar(code[s]) || code[s] == QLatin1Char('\'') || code[s] == QLatin1Char('.')))
                --s;
            if (s + 1 < i && code[s + 1].isDigit()) {
                ++i;
                continue;
            }
            ++i;
            while (i < n && code[i] != QLatin1Char('\'') && code[i] != QLatin1Char('\n'))
                i += code[i] == QLatin1Char('\\') ? 2 : 1;
            ++i;
        } else {
            flush();
            // A whole word at once, so that a letter inside a name is never taken for a prefix.
            if (isIdentifierChar(c))
                while (i < n && isIdentifierChar(code[i])) ++i;
            else
                ++i;
        }
    }
    flush();
    return out;
}

QList<SourceText> chineseTexts(const QString& path)
{
    if (path.endsWith(QLatin1String(".ui"))) return chineseTextsInForm(path);
    QFile file(path);
    if (!file.open(QIODevice::ReadOnly)) return {};
    return chineseTextsInCpp(path, QString::fromUtf8(file.readAll()));
}

bool readTs(const QString& path, QList<TsMessage>& messages, QString* error)
{
    QFile file(path);
    if (!file.open(QIODevice::ReadOnly)) {
        if (error) *error = QStringLiteral("cannot read %1: %2").arg(path, file.errorString());
        return false;
    }
    const QDir base = QFileInfo(path).absoluteDir();
    QXmlStreamReader xml(&file);
    QString context;
    TsMessage* current = nullptr;
    QString lastFile;
    while (!xml.atEnd()) {
        if (xml.readNext() != QXmlStreamReader::StartElement) continue;
        const auto name = xml.name();
        if (name == QLatin1String("name")) {
            context = xml.readElementText();
        } else if (name == QLatin1String("message")) {
            messages.append(TsMessage{});
            current = &messages.last();
            current->context = context;
            current->numerus = xml.attributes().value(QLatin1String("numerus")) == QLatin1String("yes");
        } else if (current && name == QLatin1String("location")) {
            const QString f = xml.attributes().value(QLatin1String("filename")).toString();
            if (!f.isEmpty()) lastFile = QFileInfo(base.filePath(f)).canonicalFilePath();
            current->locations.append({lastFile, xml.attributes().value(QLatin1String("line")).toInt()});
        } else if (current && name == QLatin1String("source")) {
            current->source = xml.readElementText();
        } else if (current && name == QLatin1String("comment")) {
            current->comment = xml.readElementText();
        } else if (current && name == QLatin1String("translation")) {
            current->translationType = xml.attributes().value(QLatin1String("type")).toString();
            if (current->numerus) {
                while (xml.readNextStartElement()) current->translations.append(xml.readElementText());
            } else {
                current->translations.append(xml.readElementText());
            }
        }
    }
    if (xml.hasError()) {
        if (error) *error = QStringLiteral("%1:%2: %3").arg(path).arg(xml.lineNumber()).arg(xml.errorString());
        return false;
    }
    return true;
}

bool runLupdate(const QString& lupdate, const QStringList& options, const QString& root, const QStringList& folders,
                const QString& tsPath, QString* error)
{
    QProcess p;
    p.setWorkingDirectory(root);
    p.start(lupdate,
            options + QStringList{QStringLiteral("-locations"), QStringLiteral("absolute"), QStringLiteral("-silent")}
                + folders + QStringList{QStringLiteral("-ts"), tsPath});
    if (!p.waitForFinished(120000) || p.exitStatus() != QProcess::NormalExit || p.exitCode() != 0) {
        if (error)
            *error = QStringLiteral("%1 failed (%2): %3")
                         .arg(lupdate, p.errorString(), QString::fromLocal8Bit(p.readAllStandardError()));
        p.kill();
        return false;
    }
    return true;
}

QStringList readPending(const QString& path)
{
    QStringList entries;
    QFile file(path);
    if (!file.open(QIODevice::ReadOnly | QIODevice::Text)) return entries;
    for (const QByteArray& raw : file.readAll().split('\n')) {
        QString line = QString::fromUtf8(raw);
        const int hash = int(line.indexOf(QLatin1Char('#')));
        if (hash >= 0) line.truncate(hash);
        line = line.trimmed();
        if (!line.isEmpty()) entries.append(line);
    }
    return entries;
}

CheckResult untranslatedTexts(const QString& root, const QStringList& folders, const QList<TsMessage>& extracted,
                              const QStringList& pending)
{
    // What lupdate found, by file: the line and the text of each occurrence, each used once.
    struct Found {
        int line;
        QString text;
        bool used = false;
    };
    QMap<QString, QList<Found>> byFile;
    for (const TsMessage& m : extracted)
        for (const TsLocation& l : m.locations) byFile[l.file].append({l.line, m.source});

    CheckResult result;
    QMap<QString, int> perEntry;
    for (const QString& e : pending) perEntry[e] = 0;
    for (const QString& file : sourceFiles(root, folders)) {
        const QString rel = relative(root, file);
        QList<Found>& found = byFile[file];
        for (const SourceText& t : chineseTexts(file)) {
            // The occurrence of the same text nearest to the literal's line.
            Found* best = nullptr;
            if (!t.notr) {
                for (Found& f : found)
                    if (!f.used && f.text == t.text
                        && (!best || std::abs(f.line - t.line) < std::abs(best->line - t.line)))
                        best = &f;
            }
            if (best) {
                best->used = true;
                continue;
            }
            bool skipped = false;
            for (const QString& e : pending) {
                if (isPending(rel, e)) {
                    ++perEntry[e];
                    skipped = true;
                }
            }
            if (skipped) continue;
            result.offences.append(QStringLiteral("%1:%2: %3: %4")
                                       .arg(rel)
                                       .arg(t.line)
                                       .arg(shown(t.text), t.notr ? QStringLiteral("a form's string marked notr")
                                                                  : QStringLiteral("not in the translation system")));
        }
    }
    for (auto it = perEntry.cbegin(); it != perEntry.cend(); ++it) {
        if (it.value() == 0)
            result.offences.append(QStringLiteral("%1: listed as still to convert, but holds no Chinese text outside "
                                                  "the translation system: take it off the list")
                                       .arg(it.key()));
        else
            result.pendingCounts.append(QStringLiteral("%1: %2").arg(it.key()).arg(it.value()));
    }
    return result;
}

QStringList translationGaps(const QString& root, const QList<TsMessage>& extracted, const QList<TsMessage>& kept,
                            const QStringList& pending, const QString& tsName)
{
    auto key = [](const TsMessage& m) { return m.context + QChar(0) + m.source + QChar(0) + m.comment; };
    QMap<QString, const TsMessage*> keptByKey;
    for (const TsMessage& m : kept) keptByKey.insert(key(m), &m);

    QStringList offences;
    for (const TsMessage& m : extracted) {
        // Where the text is used outside the files still to convert; nowhere: nothing to check yet.
        const TsLocation* at = nullptr;
        for (const TsLocation& l : m.locations) {
            if (!anyPending(relative(root, l.file), pending)) {
                at = &l;
                break;
            }
        }
        if (!at) continue;
        const QString where = QStringLiteral("%1:%2: [%3] %4: ")
                                  .arg(relative(root, at->file))
                                  .arg(at->line)
                                  .arg(m.context, shown(m.source));
        const TsMessage* k = keptByKey.value(key(m));
        if (!k) {
            offences.append(where + QStringLiteral("not in %1: build the target update_translations").arg(tsName));
            continue;
        }
        if (k->translationType == QLatin1String("obsolete") || k->translationType == QLatin1String("vanished")) {
            offences.append(where
                            + QStringLiteral("used, but %1 marks it %2: build the target update_translations")
                                  .arg(tsName, k->translationType));
            continue;
        }
        const bool empty = k->translations.isEmpty()
                           || std::any_of(k->translations.begin(), k->translations.end(),
                                          [](const QString& t) { return t.trimmed().isEmpty(); });
        if (k->translationType == QLatin1String("unfinished") || empty) {
            offences.append(where + QStringLiteral("unfinished in %1").arg(tsName));
            continue;
        }
        for (const QString& t : k->translations) {
            if (containsCjk(t)) offences.append(where + QStringLiteral("its English %1 holds Chinese").arg(shown(t)));
            if (placeholders(t) != placeholders(m.source))
                offences.append(where
                                + QStringLiteral("its English %1 has the placeholders %2 instead of %3")
                                      .arg(shown(t), placeholders(t).join(QLatin1Char(',')),
                                           placeholders(m.source).join(QLatin1Char(','))));
        }
    }
    return offences;
}
