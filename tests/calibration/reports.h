#pragma once
// The reports of a procedure as the operator's panel receives them: OS_FpnInfo(progress, text),
// recorded by a QSignalSpy on the server.
#include <QList>
#include <QPair>
#include <QSignalSpy>
#include <QString>
#include <QStringList>

#include <algorithm>

using Report = QPair<int, QString>;

inline QList<Report> reportsOf(const QSignalSpy& spy)
{
    QList<Report> out;
    for (const QList<QVariant>& args : spy) out.append({args.at(0).toInt(), args.at(1).toString()});
    return out;
}

// How many failure reports (101) a run gave.
inline int failures(const QList<Report>& reports)
{
    return int(std::count_if(reports.begin(), reports.end(), [](const Report& r) { return r.first == 101; }));
}

inline QStringList textsOf(const QList<Report>& reports)
{
    QStringList out;
    for (const Report& r : reports) out.append(r.second);
    return out;
}
