#include "style.h"

#include <QApplication>
#include <QColor>
#include <QFile>
#include <QPalette>
#include <QStringList>
#include <QTextStream>

void ensureResources()
{
    static const bool registered = [] {
        Q_INIT_RESOURCE(resources);
        return true;
    }();
    (void)registered;
}

bool loadStyle(const QString& path)
{
    ensureResources();
    QFile file(path);
    if (!file.open(QFile::ReadOnly)) return false;

    // Read word by word, so all white space (and the byte-order mark, which the stream skips)
    // is dropped; the words are joined again one per line.
    QTextStream in(&file);
    QStringList words;
    while (!in.atEnd()) {
        QString word;
        in >> word;
        if (!word.isEmpty()) words << word;
    }
    const QString sheet = words.join(QLatin1Char('\n'));

    // "QPalette{background:" is 20 characters: the colour "#rrggbb" follows.
    QColor colour;
    colour.setNamedColor(sheet.mid(20, 7));
    QApplication::setPalette(QPalette(colour));
    qApp->setStyleSheet(sheet);
    return true;
}
