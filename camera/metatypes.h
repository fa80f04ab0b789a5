#pragma once
// The types that cross between the GUI thread and the worker in queued signals.

// Registers "lsxHandle" and "QRgb" as names of unsigned int, and "lsxStatus", "cv::Mat",
// "QList<cv::Mat>", "QVector<double>" and "QList<QList<double>>". Safe to call more than once.
void registerMetaTypes();
