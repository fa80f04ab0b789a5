#pragma once
// The head of a verification report as the report tests build it: a mono camera's identity, the
// date, its settings and the FPN on; planes and levels are the test's own.

#include "calibration/verifystats.h"

#include <QDateTime>

inline VerifyReport verifyReportHeader()
{
    VerifyReport r;
    r.camera = QStringLiteral("SIM-LS4096-M");
    r.model = QStringLiteral("LSM4096A");
    r.serial = QStringLiteral("S0001");
    r.version = QStringLiteral("1.0");
    r.when = QDateTime(QDate(2026, 11, 24), QTime(10, 0));
    r.gain = 1.0;
    r.exposure = 400.0;
    r.bits = 2;
    r.lines = 1000;
    r.fpnOn = true;
    return r;
}
