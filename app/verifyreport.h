#pragma once
// What the calibration verification hands on: its charts, the rows of its figures, and the
// report files, a PDF for people and a JSON file beside it for a station's database. Used by the
// result window; nothing here talks to the camera.

#include "calibration/verifystats.h"

#include <QString>
#include <QStringList>

class QChart;

// Colours of a chart: the window's dark style or the white paper of the PDF.
enum class ChartStyle { Dark, Paper };

// The column means of one plane: bright and dark, before and after, on one chart (DN10 over the
// column).
QChart* verifyProfileChart(const VerifyPlane& plane, ChartStyle style);
// The spectrograms of one plane: the response (bright - dark) and the dark row, before and after
// (amplitude over the spatial frequency in cycles per column: the dark's in DN10, the response's
// in per cent of the signal, like PRNU).
QChart* verifySpectrumChart(const VerifyPlane& plane, ChartStyle style);

// One figure of the table: its label, the value before and after as shown, the limit (empty for
// a figure without one) and whether the after value keeps it.
struct VerifyRow {
    QString label;
    QString before, after;
    QString limit;
    bool judged = false;
    bool passed = true;
};
QList<VerifyRow> verifyRows(const VerifyPlane& plane, const VerifyLimits& limits);

// What the operator should know to read a plane's figures: an output whose dark level the
// correction takes to 0 is cut off there, so its DSNU was measured with the black level lifted,
// or is not measurable.
QStringList verifyNotes(const VerifyPlane& plane);

// A list of defect columns as the operator reads it: "12, 40, 41（共 3 列）", or "无".
QString defectText(const QVector<int>& columns);
// The levels of saturation PRNU was measured at, with the exposure the run set for each:
// "PRNU 测量：25% 饱和 48.2 us、50% 饱和 96.1 us".
QString verifyLevelsText(const VerifyReport& report);
// "合格" or "不合格".
QString verdictText(bool passed);

// The JSON file that goes beside a PDF: same folder and name, suffix ".json".
QString verifyJsonPath(const QString& pdfPath);

// Writes the report as a PDF at `pdfPath` (first page: the camera, the settings, the verdict, the
// figures of every plane and the first plane's charts; one more page per further plane) and its
// JSON beside it. False, with a Chinese message in `error`, when either cannot be written.
bool writeVerifyReport(const VerifyReport& report, const QString& pdfPath, QString* error);
