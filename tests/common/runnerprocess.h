#pragma once
// The command-line runner as the tests start it: one process, its exit code and its two streams.

#include <QProcess>
#include <QString>

// What a run of the runner left: its exit code (-1 when it did not end within the time, -2 when
// it crashed), standard error (the reports) and standard output.
struct RunnerResult {
    int exit = -1;
    QString err;
    QString out;
};

// Waits up to two minutes for a started runner to end (killing it after) and collects what it left.
inline RunnerResult finishRunner(QProcess& p)
{
    RunnerResult r;
    if (!p.waitForFinished(120000)) {
        p.kill();
        p.waitForFinished(5000);
        return r;
    }
    r.exit = p.exitStatus() == QProcess::NormalExit ? p.exitCode() : -2;
    r.err = QString::fromLocal8Bit(p.readAllStandardError());
    r.out = QString::fromLocal8Bit(p.readAllStandardOutput());
    return r;
}
