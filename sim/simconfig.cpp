// The built-in virtual cameras and the optional JSON file of LSX_SIM_CONFIG.
#include "simcamera.h"

#include <QByteArray>
#include <QFile>
#include <QJsonArray>
#include <QJsonDocument>
#include <QJsonObject>

#include <cstdio>
#include <cstdlib>

namespace lsxsim {

namespace {

void setFactory(CameraDefinition& c, uint8_t maxK, uint8_t maxB, bool multiLevelK)
{
    c.factory.fill(0);
    c.factory[0] = 1;  // record version
    uint32_t flags = multiLevelK ? (1u << LSX_FACTORY_MLK_BIT) : 0u;
    for (int i = 0; i < 4; ++i) c.factory[4 + i] = uint8_t(flags >> (8 * i));
    c.factory[40] = maxK;
    c.factory[41] = maxB;
}

CameraDefinition monoLine(const char* name, const char* model, int width, uint32_t seed)
{
    CameraDefinition c;
    c.friendlyName = name;
    c.model = model;
    c.serial = std::string("SN") + std::to_string(100000 + seed);
    c.sensorText = "LS" + std::to_string(width) + "-10";
    c.width = width;
    c.seed = seed;
    c.registers[GVR_MULTI_FPN_SELECT] = 1;
    setFactory(c, 2, 64, false);
    return c;
}

}  // namespace

std::vector<CameraDefinition> builtinCameras()
{
    std::vector<CameraDefinition> list;
    list.push_back(monoLine("SIM-LS4096-M", "LSM4096A", 4096, 11));

    CameraDefinition ml = monoLine("SIM-LS2048-ML4", "LSM2048Q", 2048, 12);
    ml.lines = 4;
    ml.registers[GVR_MULTI_FPN_SELECT] = 4;
    ml.roiHeight = 4000;
    list.push_back(ml);

    CameraDefinition col = monoLine("SIM-LS2048-C", "LSC2048T", 2048, 13);
    col.planes = 3;
    col.sensorText = "TRI2048-10";
    list.push_back(col);

    CameraDefinition mlk = monoLine("SIM-LS8192-MLK", "LSM8192K", 8192, 14);
    setFactory(mlk, 4, 64, true);
    mlk.resModes = {"Full", "SUM2", "BIN2", "SUM4", "USER"};
    mlk.binningEnums = true;
    mlk.blackLevelReg = false;
    list.push_back(mlk);

    list.push_back(monoLine("SIM-TQW4A2N60", "TQW4A2N60", 4096, 15));

    CameraDefinition tvk = monoLine("SIM-TVK317", "TVK317A", 1024, 16);
    tvk.sensorText = "TVK317";
    tvk.typeText = "AreaScan";
    tvk.area = true;
    tvk.areaHeight = 8;
    tvk.lines = 8;
    tvk.roiHeight = 8;
    tvk.lineRate = 5000;
    tvk.registers[GVR_MULTI_FPN_SELECT] = 0;
    list.push_back(tvk);
    return list;
}

namespace {

uint32_t parseNumber(const QJsonValue& v)
{
    if (v.isString()) return uint32_t(v.toString().toULongLong(nullptr, 0));
    return uint32_t(qint64(v.toDouble()));
}

void applyObject(CameraDefinition& c, const QJsonObject& o)
{
    auto text = [&](const char* key, std::string& field) {
        if (o.contains(key)) field = o.value(key).toString().toStdString();
    };
    auto number = [&](const char* key, auto& field) {
        if (o.contains(key)) field = static_cast<std::remove_reference_t<decltype(field)>>(o.value(key).toDouble());
    };
    text("friendlyName", c.friendlyName);
    text("model", c.model);
    text("vendor", c.vendor);
    text("serial", c.serial);
    text("version", c.version);
    text("sensor", c.sensorText);
    text("type", c.typeText);
    number("width", c.width);
    number("lines", c.lines);
    number("planes", c.planes);
    number("areaHeight", c.areaHeight);
    number("darkMean", c.darkMean);
    number("dsnu", c.dsnu);
    number("hotColumns", c.hotColumns);
    number("hotAmp", c.hotAmp);
    number("darkCurrent", c.darkCurrent);
    number("darkCurrentSpread", c.darkCurrentSpread);
    number("nonLinearity", c.nonLinearity);
    number("nonLinearitySpread", c.nonLinearitySpread);
    number("postGainNoise", c.postGainNoise);
    number("postGainOffset", c.postGainOffset);
    if (o.contains("noiseSeed")) {
        c.fixedNoiseSeed = true;
        c.noiseSeed = parseNumber(o.value("noiseSeed"));
    }
    number("prnu", c.prnu);
    number("weakColumns", c.weakColumns);
    number("weakFactor", c.weakFactor);
    number("readNoise", c.readNoise);
    number("ePerDn", c.ePerDn);
    number("light", c.light);
    number("slope", c.slope);
    number("falloff", c.falloff);
    number("lineDistance", c.lineDistance);
    number("pixelMismatch", c.pixelMismatch);
    number("timeScale", c.timeScale);
    number("seed", c.seed);
    number("exposure", c.exposure);
    number("lineRate", c.lineRate);
    number("roiHeight", c.roiHeight);
    number("frameTimeouts", c.frameTimeouts);
    number("disconnectAfterFrames", c.disconnectAfterFrames);
    if (o.contains("area")) c.area = o.value("area").toBool();
    if (o.contains("blackLevelReg")) c.blackLevelReg = o.value("blackLevelReg").toBool();
    if (o.contains("binningEnums")) c.binningEnums = o.value("binningEnums").toBool();
    if (o.contains("roiState")) c.roiState = o.value("roiState").toBool();
    if (o.contains("noise")) c.noise = o.value("noise").toBool();
    if (o.contains("scene")) {
        const QString s = o.value("scene").toString();
        c.scene = s == "dark" ? 0 : s == "pattern" ? 2 : 1;
    }
    if (o.contains("resModes")) {
        c.resModes.clear();
        for (const auto& m : o.value("resModes").toArray()) c.resModes.push_back(m.toString().toStdString());
        if (c.resModes.empty()) c.resModes.push_back("Full");
    }
    if (o.contains("factory")) {
        const QJsonObject f = o.value("factory").toObject();
        if (f.contains("maxK")) c.factory[40] = uint8_t(f.value("maxK").toInt());
        if (f.contains("maxB")) c.factory[41] = uint8_t(f.value("maxB").toInt());
        if (f.contains("flags")) {
            const uint32_t flags = parseNumber(f.value("flags"));
            for (int i = 0; i < 4; ++i) c.factory[4 + i] = uint8_t(flags >> (8 * i));
        }
        if (f.contains("bytes")) {  // {"offset": value, ...}
            const QJsonObject b = f.value("bytes").toObject();
            for (auto it = b.begin(); it != b.end(); ++it) {
                const int off = it.key().toInt();
                if (off >= 0 && off < 128) c.factory[size_t(off)] = uint8_t(parseNumber(it.value()));
            }
        }
    }
    if (o.contains("registers")) {
        const QJsonObject r = o.value("registers").toObject();
        for (auto it = r.begin(); it != r.end(); ++it)
            c.registers[uint32_t(it.key().toULongLong(nullptr, 0))] = parseNumber(it.value());
    }
    if (c.area) c.lines = c.areaHeight;
    if (c.width < 16) c.width = 16;
    if (c.lines < 1) c.lines = 1;
    if (c.planes != 3) c.planes = 1;
}

}  // namespace

// {"timeScale": 0, "noise": false,
//  "cameras": [{"friendlyName": "SIM-LS4096-M", "width": 2048, ...},     overrides by name
//              {"friendlyName": "MY-CAM", "base": "SIM-LS4096-M", ...}]} new cameras
// Top-level keys other than "cameras" and "faults" apply to every camera first.
// "faults": [{"op": "lsxSetExposure", "after": 2, "status": -1001, "times": 1}, ...]
void applyConfig(const QByteArray& text, const std::string& source, std::vector<CameraDefinition>& cameras,
                 std::vector<FaultPlan>& faults, std::vector<std::string>& messages)
{
    QJsonParseError err{};
    const QJsonDocument doc = QJsonDocument::fromJson(text, &err);
    if (!doc.isObject()) {
        messages.push_back("LSX_SIM_CONFIG " + source + ": " + err.errorString().toStdString());
        return;
    }
    QJsonObject top = doc.object();
    const QJsonArray list = top.take("cameras").toArray();
    for (const auto& v : top.take("faults").toArray()) {
        const QJsonObject o = v.toObject();
        FaultPlan f;
        f.op = o.value("op").toString().toStdString();
        f.after = o.value("after").toInt();
        f.status = o.value("status").toInt(LSX_ERR_UNKNOWN);
        f.times = o.value("times").toInt();
        if (!f.op.empty()) faults.push_back(f);
    }
    if (top.contains("replace") && top.value("replace").toBool()) cameras.clear();
    top.remove("replace");
    for (auto& c : cameras) applyObject(c, top);
    for (const auto& v : list) {
        const QJsonObject o = v.toObject();
        const std::string name = o.value("friendlyName").toString().toStdString();
        CameraDefinition* target = nullptr;
        for (auto& c : cameras)
            if (c.friendlyName == name) target = &c;
        if (!target) {
            const std::string base = o.value("base").toString("SIM-LS4096-M").toStdString();
            CameraDefinition copy = cameras.empty() ? builtinCameras().front() : cameras.front();
            for (const auto& b : builtinCameras())
                if (b.friendlyName == base) copy = b;
            for (const auto& c : cameras)
                if (c.friendlyName == base) copy = c;
            copy.seed += uint32_t(cameras.size() * 7 + 3);
            applyObject(copy, top);
            cameras.push_back(copy);
            target = &cameras.back();
        }
        if (o.value("remove").toBool()) {
            for (auto it = cameras.begin(); it != cameras.end(); ++it)
                if (it->friendlyName == name) {
                    cameras.erase(it);
                    break;
                }
            continue;
        }
        applyObject(*target, o);
    }
}

void applyConfigFile(std::vector<CameraDefinition>& cameras, std::vector<FaultPlan>& faults,
                     std::vector<std::string>& messages)
{
    const char* path = std::getenv("LSX_SIM_CONFIG");
    if (!path || !*path) return;
    QFile file(QString::fromLocal8Bit(path));
    if (!file.open(QIODevice::ReadOnly)) {
        messages.push_back(std::string("LSX_SIM_CONFIG ") + path + ": cannot be read");
        return;
    }
    applyConfig(file.readAll(), path, cameras, faults, messages);
}

}  // namespace lsxsim
