#pragma once
// The figures of each kind of step, as the runner's JSON result and the window's records carry
// them: one mapping from the procedures' results to named fields, for both. Plain data in, a JSON
// object out; no camera.
//
//   dark      doffset, gainMin, gainMax, autoDoffset, bRows (columns per row),
//             b: per row {row, columns, mean, min, max, std}
//   bright    gainMin, gainMax, pixelMax, exposures (us, in the order taken), kRows, kScale,
//             samples, k: per row {row, columns, mean, min, max, std}
//   ffc       channels: per channel {columns, minK, maxK}
//   lsc       channels: per channel the polynomial (c6 .. c0, target)
//   verify    passes, verdict, gain, exposureUs, bits, maxPrnu, maxDsnu, maxDefects, and per plane
//             {plane (its key: mono, line0, R ...), dsnuBefore, dsnuAfter (DN10), prnuBefore, prnuAfter (%),
//             defectsBefore, defectsAfter, brightAfter (DN10), passes}
// A figure that could not be measured (a PRNU without a bright stack) is null.

#include "calibration/verifystats.h"
#include "lsx.h"

#include <QJsonArray>
#include <QJsonObject>
#include <QList>
#include <QVector>

// The camera as a run's result names it: the friendly name it was opened by, and from its record
// the model, serial, firmware (the version text), vendor, sensor and type.
QJsonObject cameraResultJson(const QString& name, const lsxCameraInfo& info);

// Per row: its index, its number of columns, and the mean, least, greatest value and the standard
// deviation (population, 1/N) of its values; a row without values has only its index and 0 columns.
QJsonArray rowSummaries(const QList<QList<double>>& rows);

QJsonObject darkStepFigures(const QList<QList<double>>& b, double doffset, double gainMin, double gainMax,
                            bool autoDoffset);
QJsonObject brightStepFigures(const QList<QList<double>>& k, const QList<double>& kScale, int samples,
                              const QVector<double>& exposures, double gainMin, double gainMax, double pixelMax);
QJsonObject flatStepFigures(bool ffc, const QList<QList<double>>& coefficients);
QJsonObject verifyStepFigures(const VerifyReport& report);

// The exposures of a bright-field series, in microseconds, in the order taken, from the
// procedure's reports ({progress, text} objects): the series reports each frame as
// "曝光设为 <us> us, 第 <n> 张图像采集完成".
QVector<double> exposuresFromMessages(const QJsonArray& messages);
