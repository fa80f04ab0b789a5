#pragma once
// Saving the frame on show beside its BMP snapshot: the frame's own samples, losslessly, as TIFF
// or PNG (16 bits for a 16-bit frame, 8 bits for an 8-bit one; never scaled), and a JSON file of
// what was set when it was taken. Both are written whole or not at all (a temporary file renamed).

#include <QDateTime>
#include <QJsonObject>
#include <QString>
#include <QStringList>

#include <opencv2/core.hpp>

// What goes beside a saved frame.
struct FrameMetadata {
    QDateTime when;
    bool live = true;  // from the camera's live image; false for a picture loaded from a file
    QString camera, model, serial, firmware;
    double gain = 0.0;        // the camera's gain, as it reports it; NaN when it could not be read
    double exposureUs = 0.0;  // microseconds; NaN when it could not be read
    int roiX = 0, roiY = 0;
    int width = 0, height = 0;
    int sampleBits = 8;  // 8 or 16
    QString channels;    // "灰度", "B,G,R", "B,G,R,X"
    int sum = 1;
    QStringList softwareCorrections;  // the simulations on in the live image: "FPN", "FFC", "LSC"
    QString picture;                  // the BMP snapshot, as shown
    QString samples;                  // the TIFF or PNG of the samples
};

// The suffix of the samples' file for a setting text: "png" for "png" (any case), else "tif".
QString rawSuffix(const QString& setting);

// Writes `frame` (B, G, R(, X) channel order, 8 or 16 bits, 1, 3 or 4 channels) at `path`, the
// format by its suffix (.tif, .tiff or .png); false with the reason in `error`.
bool writeFrameSamples(const cv::Mat& frame, const QString& path, QString* error);

QJsonObject frameMetadataJson(const FrameMetadata& m);
// The JSON file of `m` at `path`; false with the reason in `error`.
bool writeFrameMetadata(const FrameMetadata& m, const QString& path, QString* error);
