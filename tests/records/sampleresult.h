#pragma once
// A run's result as the runner writes it, with known figures, for the store and spool tests: a
// dark field, a bright field, a saved file and a verification of one plane.
#include "records/runrecord.h"

#include <QDateTime>
#include <QJsonArray>
#include <QJsonObject>
#include <QUuid>

inline QJsonObject sampleResult(const QString& serial, double prnuAfter, double dsnuAfter,
                                const QDateTime& started = QDateTime::currentDateTimeUtc(),
                                const QString& runId = QUuid::createUuid().toString(QUuid::WithoutBraces))
{
    const QJsonObject dark{
        {"step", "dark"},
        {"args", QJsonArray()},
        {"options", QJsonObject{{"auto-doffset", true}}},
        {"outcome", "ok"},
        {"startedAt", recordTime(started)},
        {"endedAt", recordTime(started.addMSecs(300))},
        {"durationMs", 300},
        {"messages", QJsonArray{QJsonObject{{"progress", 100}, {"text", "暗场校正-暗场校正执行完成。"}}}},
        {"figures", QJsonObject{{"doffset", -2},
                                {"gainMin", 1},
                                {"gainMax", 2},
                                {"b", QJsonArray{QJsonObject{{"row", 0}, {"mean", 12.5}, {"std", 1.25}},
                                                 QJsonObject{{"row", 1}, {"mean", 13.0}, {"std", 1.5}}}}}}};
    const QJsonObject bright{{"step", "bright"},
                             {"args", QJsonArray()},
                             {"options", QJsonObject()},
                             {"outcome", "ok"},
                             {"startedAt", recordTime(started.addMSecs(300))},
                             {"endedAt", recordTime(started.addMSecs(800))},
                             {"durationMs", 500},
                             {"messages", QJsonArray()},
                             {"figures", QJsonObject{{"exposures", QJsonArray{120.5, 240.25}}, {"pixelMax", 180}}}};
    const QJsonObject save{{"step", "save-fpn"},
                           {"args", QJsonArray{"cam, \"A\".FAC.FPN"}},
                           {"outcome", "ok"},
                           {"files", QJsonArray{"/data/cam, \"A\".FAC.FPN"}},
                           {"fileDigests", QJsonArray{QJsonObject{{"path", "/data/cam, \"A\".FAC.FPN"},
                                                                  {"sha256", QString(64, QLatin1Char('a'))},
                                                                  {"bytes", 1234}}}}};
    QJsonObject plane{{"plane", "黑白"},    {"prnuBefore", 2.5},      {"prnuAfter", prnuAfter},
                      {"dsnuBefore", 1.25}, {"dsnuAfter", dsnuAfter}, {"defectsAfter", 0}};
    // As the step figures give a figure that could not be measured.
    if (std::isnan(prnuAfter)) plane.insert("prnuAfter", QJsonValue::Null);
    if (std::isnan(dsnuAfter)) plane.insert("dsnuAfter", QJsonValue::Null);
    const QJsonObject verify{
        {"step", "verify"},
        {"args", QJsonArray()},
        {"outcome", prnuAfter <= 0.5 ? "ok" : "limits"},
        {"figures", QJsonObject{{"passes", prnuAfter <= 0.5}, {"maxPrnu", 0.5}, {"planes", QJsonArray{plane}}}}};
    return QJsonObject{
        {"runId", runId},
        {"source", "lsxcalib-cli"},
        {"station", "station-1"},
        {"operator", "张三"},
        {"startedAt", recordTime(started)},
        {"endedAt", recordTime(started.addMSecs(1000))},
        {"durationMs", 1000},
        {"camera", QJsonObject{{"name", "SIM-LS4096-M"},
                               {"model", "LSM4096A"},
                               {"serial", serial},
                               {"firmware", "1.0.0"},
                               {"sensor", "LS4096-10"}}},
        {"steps", QJsonArray{dark, bright, save, verify,
                             QJsonObject{{"step", "info"}, {"args", QJsonArray()}, {"outcome", "skipped"}}}},
        {"outcome", prnuAfter <= 0.5 ? "ok" : "limits"},
        {"exitCode", prnuAfter <= 0.5 ? 0 : 3}};
}
