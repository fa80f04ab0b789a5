#pragma once
// A log line that repeats, folded: a library answering the same failure thousands of times a
// second must not flood the log. The first line is written; its repeats are counted and told
// as "... ×N" when another line comes, at every tenfold count, and at the end.
#include <QDebug>
#include <QString>

class FoldedLog {
public:
    ~FoldedLog() { flush(); }

    void line(const QString& text)
    {
        if (text == m_last) {
            ++m_repeats;
            if (m_repeats == m_mark) {
                qDebug().noquote() << m_last << QStringLiteral("… ×%1").arg(m_repeats);
                m_mark *= 10;
            }
            return;
        }
        flush();
        m_last = text;
        qDebug().noquote() << text;
    }

    // Tells the repeats not told yet.
    void flush()
    {
        if (m_repeats > 0 && m_repeats != m_mark / 10)
            qDebug().noquote() << m_last << QStringLiteral("… ×%1").arg(m_repeats);
        m_last.clear();
        m_repeats = 0;
        m_mark = 10;
    }

private:
    QString m_last;
    qint64 m_repeats = 0;
    qint64 m_mark = 10;
};
