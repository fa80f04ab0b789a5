// The camera's properties for the feature panels.
#include "camera/properties.h"

#include "statustext.h"

#include <QDebug>

#include <algorithm>
#include <cstring>

namespace properties {

QString fieldText(const char* text, std::size_t capacity)
{
    return QString::fromLocal8Bit(text, int(qstrnlen(text, uint(capacity))));
}

Range gainRange(lsxHandle h)
{
    lsxFloatDescr d{};
    if (lsxGetAnalogGainDescr(h, &d) != LSX_OK) return {};
    return {true, d.min, d.max, d.step};
}

Value gain(lsxHandle h)
{
    float g = 0.0f;
    if (lsxGetAnalogGain(h, &g) != LSX_OK) return {};
    return {true, g};
}

lsxStatus setGain(lsxHandle h, double gain)
{
    const lsxStatus status = lsxSetAnalogGain(h, float(gain));
    if (status != LSX_OK) qDebug() << "set gain failed with : " << status;
    return status;
}

Range exposureRange(lsxHandle h)
{
    lsxDoubleDescr d{};
    if (lsxGetExposureDescr(h, &d) != LSX_OK) return {};
    return {true, d.min, d.max, d.step};
}

Value exposure(lsxHandle h)
{
    double us = 0.0;
    if (lsxGetExposure(h, &us) != LSX_OK) return {};
    return {true, us};
}

lsxStatus setExposure(lsxHandle h, double us)
{
    return lsxSetExposure(h, us);
}

Selection resolutionModes(lsxHandle h)
{
    Selection s;
    int32_t current = -1;
    lsxGetResolutionModeSel(h, &current);
    s.currentIndex = current;
    lsxSelectionDescr d{};
    if (lsxGetResolutionModeSelDescr(h, &d) != LSX_OK) return s;
    s.ok = true;
    for (int32_t i = 0; i < d.count; ++i) {
        lsxSelectionDetail detail;
        std::memset(&detail, 0, sizeof detail);
        if (lsxGetResolutionModeSelDetail(h, i, &detail) != LSX_OK) continue;
        s.texts.append(fieldText(detail.text, sizeof detail.text));
        s.indices.append(i);
    }
    return s;
}

lsxStatus setResolutionMode(lsxHandle h, int index)
{
    return lsxSetResolutionModeSel(h, index);
}

Enumeration enumeration(lsxHandle h, const char* name)
{
    constexpr int32_t kMaxValues = 64;
    Enumeration e;
    int64_t current = -1;
    int64_t values[kMaxValues] = {};
    int32_t count = kMaxValues;
    if (lsxGetEnumValue(h, name, &current, values, &count) != LSX_OK) return e;
    e.ok = true;
    count = std::clamp(count, 0, kMaxValues);
    for (int32_t i = 0; i < count; ++i) {
        char text[LSX_NAME_SIZE] = {};
        if (lsxGetEnumNameValue(h, name, i, text, sizeof text) != LSX_OK) continue;
        e.names.append(fieldText(text, sizeof text));
        if (values[i] == current) e.selected = int(e.names.size()) - 1;
    }
    return e;
}

lsxStatus setEnumeration(lsxHandle h, const char* name, const QString& value)
{
    const QByteArray text = value.toLocal8Bit();
    return lsxSetEnumValueByString(h, name, text.constData());
}

RoiLimits roiLimits(lsxHandle h)
{
    lsxRegionDescr d;
    std::memset(&d, 0, sizeof d);
    if (lsxGetRoiDescr(h, &d) != LSX_OK) return {};
    return {true, d.minWidth, d.maxWidth, d.widthStep, d.minHeight, d.maxHeight, d.heightStep};
}

Roi roi(lsxHandle h)
{
    lsxRegion r;
    std::memset(&r, 0, sizeof r);
    if (lsxGetRoi(h, &r) != LSX_OK) return {};
    return {true, r.X, r.W, r.H};
}

lsxStatus setRoi(lsxHandle h, int x, int width, int height)
{
    lsxRegion r;
    std::memset(&r, 0, sizeof r);
    r.X = x;
    r.Y = 0;
    r.W = width;
    r.H = height;
    return lsxSetRoi(h, &r);
}

Value cameraFpnEnabled(lsxHandle h)
{
    uint8_t payload[48] = {};
    uint32_t size = sizeof payload;
    const lsxStatus status = lsxGet(h, LSX_KEY_FPN_ENABLE, payload, &size);
    qDebug() << status << " - " << statusText(status) << " -- " << size << " - " << payload[0];
    if (status != LSX_OK) return {};
    return {true, payload[0] != 0 ? 1.0 : 0.0};
}

lsxStatus setCameraFpnEnabled(lsxHandle h, bool on)
{
    uint8_t value = on ? 1 : 0;
    uint32_t size = 0;
    return lsxSet(h, LSX_KEY_FPN_ENABLE, &value, &size);
}

Selection selection(lsxHandle h, const char* key)
{
    Selection s;
    lsxSelectionDescr d{};
    if (lsxGetSelectionDescr(h, key, &d) == LSX_OK && d.count > 0) {
        s.ok = true;
        for (int32_t i = 0; i < d.count; ++i) {
            lsxSelectionDetail detail;
            std::memset(&detail, 0, sizeof detail);
            if (lsxGetSelectionDetail(h, key, i, &detail) != LSX_OK) continue;
            s.texts.append(fieldText(detail.text, sizeof detail.text));
            s.indices.append(i);
        }
    }
    char value[LSX_TEXT_SIZE] = {};
    if (lsxGetConfigString(h, key, value, sizeof value) == LSX_OK) {
        s.currentText = fieldText(value, sizeof value);
        s.hasCurrentText = true;
    }
    return s;
}

lsxStatus setSelection(lsxHandle h, const char* key, const QString& text)
{
    const QByteArray value = text.toLocal8Bit();
    return lsxSetConfigString(h, key, value.constData());
}

Value targetFormat(lsxHandle h)
{
    int32_t format = -1;
    if (lsxGetTargetFormat(h, &format) != LSX_OK) return {false, double(format)};
    return {true, double(format)};
}

}  // namespace properties
