#pragma once
// The camera's properties as the feature panels show and set them, in plain structs: the gain
// and exposure with their ranges, the resolution modes, the binning enumerations, the ROI with
// its limits, the camera's own FPN switch, the "存储" selection lists and the target format.
//
// Each read answers `ok` false when the camera refuses it, and the panels then leave their
// widget as it is. Called on the GUI thread with the open camera's handle.
#include "lsx.h"

#include <QList>
#include <QString>
#include <QStringList>

namespace properties {

// A number with its range and step.
struct Range {
    bool ok = false;
    double min = 0.0;
    double max = 0.0;
    double step = 0.0;
};

struct Value {
    bool ok = false;
    double value = 0.0;
};

// The entries of a selection with the camera's own index of each, and the current entry: an
// index of the camera (`currentIndex`) or a text (`currentText`), by how the camera tells it.
struct Selection {
    bool ok = false;
    QStringList texts;
    QList<int> indices;
    int currentIndex = -1;
    QString currentText;
    bool hasCurrentText = false;
};

// The names of an enumeration and the position among them of the current value (-1: none).
struct Enumeration {
    bool ok = false;
    QStringList names;
    int selected = -1;
};

struct RoiLimits {
    bool ok = false;
    int minWidth = 0, maxWidth = 0, widthStep = 1;
    int minHeight = 0, maxHeight = 0, heightStep = 1;
};

struct Roi {
    bool ok = false;
    int x = 0, width = 0, height = 0;
};

// The selection keys behind the three "存储" combo boxes.
constexpr char kFpnSelKey[] = "FPNC.Selector";
constexpr char kFfcSelKey[] = "PRNUC";
constexpr char kLscSelKey[] = "LSC";
// The enumerations of the free binning ("USER") mode.
constexpr const char* kBinningEnums[] = {"BinningMode", "BinningHorizontal", "BinningVertical"};

// A text field filled by the camera library, read no further than its capacity.
QString fieldText(const char* text, std::size_t capacity);

Range gainRange(lsxHandle h);
Value gain(lsxHandle h);
lsxStatus setGain(lsxHandle h, double gain);

Range exposureRange(lsxHandle h);
Value exposure(lsxHandle h);
lsxStatus setExposure(lsxHandle h, double us);

// The resolution modes; the current one by the camera's index.
Selection resolutionModes(lsxHandle h);
lsxStatus setResolutionMode(lsxHandle h, int index);

// At most 64 values of the enumeration.
Enumeration enumeration(lsxHandle h, const char* name);
lsxStatus setEnumeration(lsxHandle h, const char* name, const QString& value);

RoiLimits roiLimits(lsxHandle h);
Roi roi(lsxHandle h);
// Y is always 0 on a line-scan camera.
lsxStatus setRoi(lsxHandle h, int x, int width, int height);

// The camera's own FPN correction (key 46).
Value cameraFpnEnabled(lsxHandle h);
lsxStatus setCameraFpnEnabled(lsxHandle h, bool on);

// A "存储" selection: its entries, and the current one by its text.
Selection selection(lsxHandle h, const char* key);
lsxStatus setSelection(lsxHandle h, const char* key, const QString& text);

Value targetFormat(lsxHandle h);

}  // namespace properties
