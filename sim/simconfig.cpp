// The built-in virtual cameras and the optional JSON file of LSX_SIM_CONFIG, checked field by field.
#include "simcamera.h"

#include <QByteArray>
#include <QFile>
#include <QJsonArray>
#include <QJsonDocument>
#include <QJsonObject>
#include <QSet>
#include <QStringList>

#include "lsxsim.h"

#include <algorithm>
#include <cmath>
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

// The operations a fault may name, and "*" for all of them.
bool knownOperation(const std::string& op)
{
#define LSX_SIM_NAME(name, params, args) #name,
    static const char* const names[] = {LSX_OPERATIONS(LSX_SIM_NAME) "lsxDebugFormat", "*"};
#undef LSX_SIM_NAME
    for (const char* n : names)
        if (op == n) return true;
    return false;
}

QString shown(const QJsonValue& v)
{
    if (v.isString()) return QStringLiteral("\"%1\"").arg(v.toString().left(40));
    if (v.isDouble()) return QString::number(v.toDouble(), 'g', 15);
    if (v.isBool()) return v.toBool() ? QStringLiteral("true") : QStringLiteral("false");
    if (v.isNull()) return QStringLiteral("null");
    if (v.isArray()) return QStringLiteral("an array");
    if (v.isObject()) return QStringLiteral("an object");
    return QStringLiteral("nothing");
}

// One camera's fields (or the top level's, which apply to every camera), checked one by one.
// A refusal is a message naming the camera, the field and what is allowed.
class Fields {
public:
    Fields(CameraDefinition& c, const QString& who, QStringList& refusals) : m_c(c), m_who(who), m_refusals(refusals) {}

    void refuse(const QString& field, const QString& why)
    {
        m_refusals << QStringLiteral("%1: field \"%2\" %3").arg(m_who, field, why);
    }

    bool number(const QString& key, const QJsonValue& v, double lo, double hi, double& out, const char* unit = "")
    {
        if (!v.isDouble() || !std::isfinite(v.toDouble()) || v.toDouble() < lo || v.toDouble() > hi) {
            refuse(key, QStringLiteral("= %1 is not a number in %2 .. %3%4")
                            .arg(shown(v), QString::number(lo, 'g', 12), QString::number(hi, 'g', 12), QString(unit)));
            return false;
        }
        out = v.toDouble();
        return true;
    }

    template <typename Int>
    bool integer(const QString& key, const QJsonValue& v, double lo, double hi, Int& out)
    {
        const double d = v.toDouble();
        if (!v.isDouble() || !std::isfinite(d) || d < lo || d > hi || std::floor(d) != d) {
            refuse(key, QStringLiteral("= %1 is not a whole number in %2 .. %3")
                            .arg(shown(v), QString::number(lo, 'f', 0), QString::number(hi, 'f', 0)));
            return false;
        }
        out = static_cast<Int>(d);
        return true;
    }

    // A 32-bit word: a whole number, or a text in decimal or 0x hexadecimal.
    bool word(const QString& key, const QJsonValue& v, uint32_t& out)
    {
        if (v.isString()) {
            bool ok = false;
            const qulonglong n = v.toString().trimmed().toULongLong(&ok, 0);
            if (ok && n <= 0xFFFFFFFFull) {
                out = uint32_t(n);
                return true;
            }
            refuse(key, QStringLiteral("= %1 is not a 32-bit word (0 .. 0xFFFFFFFF)").arg(shown(v)));
            return false;
        }
        return integer(key, v, 0, 4294967295.0, out);
    }

    bool boolean(const QString& key, const QJsonValue& v, bool& out)
    {
        if (!v.isBool()) {
            refuse(key, QStringLiteral("= %1 is not true or false").arg(shown(v)));
            return false;
        }
        out = v.toBool();
        return true;
    }

    bool text(const QString& key, const QJsonValue& v, int maxBytes, std::string& out, bool mayBeEmpty = true)
    {
        const QByteArray t = v.toString().toUtf8();
        if (!v.isString() || t.size() > maxBytes || (!mayBeEmpty && t.isEmpty()) || t.contains('\0')) {
            refuse(key, QStringLiteral("= %1 is not a text of %2%3 bytes")
                            .arg(shown(v), mayBeEmpty ? QStringLiteral("0 .. ") : QStringLiteral("1 .. "))
                            .arg(maxBytes));
            return false;
        }
        out = t.toStdString();
        return true;
    }

    void apply(const QJsonObject& o);
    void check();

    QSet<QString> given;

private:
    void factory(const QJsonValue& v);
    void registers(const QJsonValue& v);

    CameraDefinition& m_c;
    QString m_who;
    QStringList& m_refusals;
};

void Fields::apply(const QJsonObject& o)
{
    CameraDefinition& c = m_c;
    for (auto it = o.begin(); it != o.end(); ++it) {
        const QString k = it.key();
        const QJsonValue v = it.value();
        given.insert(k);
        if (k == "friendlyName")
            text(k, v, 127, c.friendlyName, false);
        else if (k == "model")
            text(k, v, 255, c.model);
        else if (k == "vendor")
            text(k, v, 127, c.vendor);
        else if (k == "serial")
            text(k, v, 127, c.serial);
        else if (k == "version")
            text(k, v, 127, c.version);
        else if (k == "sensor")
            text(k, v, 63, c.sensorText);
        else if (k == "type")
            text(k, v, 63, c.typeText);
        else if (k == "width")
            integer(k, v, 16, 32768, c.width);
        else if (k == "lines")
            integer(k, v, 1, 16, c.lines);
        else if (k == "planes") {
            if (integer(k, v, 1, 3, c.planes) && c.planes == 2)
                refuse(k, QStringLiteral("= 2 is not 1 (mono) or 3 (colour)"));
        } else if (k == "areaHeight")
            integer(k, v, 1, 64, c.areaHeight);
        else if (k == "roiHeight")
            integer(k, v, 1, 16384, c.roiHeight);
        else if (k == "darkMean")
            number(k, v, 0, 500, c.darkMean, " DN10");
        else if (k == "dsnu")
            number(k, v, 0, 100, c.dsnu, " DN10");
        else if (k == "darkCurrent")
            number(k, v, 0, 10000, c.darkCurrent, " DN10/ms");
        else if (k == "darkCurrentSpread")
            number(k, v, 0, 1, c.darkCurrentSpread);
        else if (k == "hotColumns")
            integer(k, v, 0, 32768, c.hotColumns);
        else if (k == "hotAmp")
            number(k, v, 0, 100000, c.hotAmp, " DN10/ms");
        else if (k == "prnu")
            number(k, v, 0, 0.5, c.prnu);
        else if (k == "weakColumns")
            integer(k, v, 0, 32768, c.weakColumns);
        else if (k == "weakFactor")
            number(k, v, 0, 1, c.weakFactor);
        else if (k == "nonLinearity")
            number(k, v, -0.05, 0.1, c.nonLinearity);
        else if (k == "nonLinearitySpread")
            number(k, v, 0, 0.03, c.nonLinearitySpread);
        else if (k == "readNoise")
            number(k, v, 0, 50, c.readNoise, " DN10");
        else if (k == "postGainNoise")
            number(k, v, 0, 1, c.postGainNoise);
        else if (k == "postGainOffset")
            number(k, v, 0, 1, c.postGainOffset);
        else if (k == "ePerDn")
            number(k, v, 0.01, 100000, c.ePerDn, " electrons per DN10");
        else if (k == "light")
            number(k, v, 0, 100000, c.light, " DN10/us");
        else if (k == "slope")
            number(k, v, -1, 1, c.slope);
        else if (k == "falloff")
            number(k, v, 0, 0.95, c.falloff);
        else if (k == "lineDistance")
            number(k, v, -50, 50, c.lineDistance, " lines");
        else if (k == "pixelMismatch")
            number(k, v, -50, 50, c.pixelMismatch, " pixels");
        else if (k == "timeScale")
            number(k, v, 0, 1000, c.timeScale);
        else if (k == "seed")
            integer(k, v, 0, 4294967295.0, c.seed);
        else if (k == "noiseSeed") {
            if (integer(k, v, 0, 4294967295.0, c.noiseSeed)) c.fixedNoiseSeed = true;
        } else if (k == "exposure")
            number(k, v, 2, 20000, c.exposure, " us");
        else if (k == "lineRate")
            number(k, v, 100, 200000, c.lineRate, " lines/s");
        else if (k == "frameTimeouts")
            integer(k, v, 0, 1000000, c.frameTimeouts);
        else if (k == "disconnectAfterFrames")
            integer(k, v, -1, 1000000000, c.disconnectAfterFrames);
        else if (k == "area")
            boolean(k, v, c.area);
        else if (k == "blackLevelReg")
            boolean(k, v, c.blackLevelReg);
        else if (k == "binningEnums")
            boolean(k, v, c.binningEnums);
        else if (k == "roiState")
            boolean(k, v, c.roiState);
        else if (k == "noise")
            boolean(k, v, c.noise);
        else if (k == "scene") {
            const QString s = v.toString();
            if (v.isString() && (s == "dark" || s == "flat" || s == "pattern"))
                c.scene = s == "dark"      ? LSX_SIM_SCENE_DARK
                          : s == "pattern" ? LSX_SIM_SCENE_PATTERN
                                           : LSX_SIM_SCENE_FLAT;
            else
                refuse(k, QStringLiteral("= %1 is not \"dark\", \"flat\" or \"pattern\"").arg(shown(v)));
        } else if (k == "resModes") {
            static const QStringList known{"Full", "SUM2", "BIN2", "SUM4", "BIN4", "USER"};
            const QJsonArray a = v.toArray();
            bool ok = v.isArray() && !a.isEmpty() && a.size() <= 16;
            for (const auto& m : a) ok = ok && m.isString() && known.contains(m.toString());
            if (!ok) {
                refuse(k, QStringLiteral("= %1 is not a list of 1 .. 16 of %2").arg(shown(v), known.join(", ")));
            } else {
                c.resModes.clear();
                for (const auto& m : a) c.resModes.push_back(m.toString().toStdString());
            }
        } else if (k == "factory")
            factory(v);
        else if (k == "registers")
            registers(v);
        else
            refuse(k, QStringLiteral("is not a field of a simulated camera"));
    }
}

void Fields::factory(const QJsonValue& v)
{
    if (!v.isObject()) {
        refuse("factory", QStringLiteral("= %1 is not an object").arg(shown(v)));
        return;
    }
    const QJsonObject f = v.toObject();
    for (auto it = f.begin(); it != f.end(); ++it) {
        const QString k = "factory." + it.key();
        uint8_t byte = 0;
        if (it.key() == "maxK") {
            if (integer(k, it.value(), 0, 255, byte)) m_c.factory[40] = byte;
        } else if (it.key() == "maxB") {
            if (integer(k, it.value(), 0, 255, byte)) m_c.factory[41] = byte;
        } else if (it.key() == "flags") {
            uint32_t flags = 0;
            if (word(k, it.value(), flags))
                for (int i = 0; i < 4; ++i) m_c.factory[size_t(4 + i)] = uint8_t(flags >> (8 * i));
        } else if (it.key() == "bytes") {  // {"offset": value, ...}
            if (!it.value().isObject()) {
                refuse(k, QStringLiteral("= %1 is not an object of offsets 0 .. 127").arg(shown(it.value())));
                continue;
            }
            const QJsonObject b = it.value().toObject();
            for (auto jt = b.begin(); jt != b.end(); ++jt) {
                bool ok = false;
                const int off = jt.key().toInt(&ok);
                if (!ok || off < 0 || off > 127) {
                    refuse(k + "." + jt.key(), QStringLiteral("is not an offset 0 .. 127"));
                    continue;
                }
                if (integer(k + "." + jt.key(), jt.value(), 0, 255, byte)) m_c.factory[size_t(off)] = byte;
            }
        } else {
            refuse(k, QStringLiteral("is not one of maxK, maxB, flags, bytes"));
        }
    }
}

void Fields::registers(const QJsonValue& v)
{
    if (!v.isObject()) {
        refuse("registers", QStringLiteral("= %1 is not an object of register: value").arg(shown(v)));
        return;
    }
    const QJsonObject r = v.toObject();
    if (r.size() > 256) {
        refuse("registers", QStringLiteral("has %1 registers, more than 256").arg(r.size()));
        return;
    }
    for (auto it = r.begin(); it != r.end(); ++it) {
        uint32_t reg = 0, value = 0;
        if (word("registers." + it.key(), QJsonValue(it.key()), reg)
            && word("registers." + it.key(), it.value(), value))
            m_c.registers[reg] = value;
    }
}

// What holds between the fields, once all of them are in.
void Fields::check()
{
    CameraDefinition& c = m_c;
    // Every resolution mode's line is a whole number of ROI width steps (8).
    int bin = 1;
    for (const auto& m : c.resModes) bin = std::max(bin, m == "USER" || m.back() == '4' ? 4 : m.back() == '2' ? 2 : 1);
    if (c.width % (8 * bin))
        refuse("width",
               bin == 1 ? QStringLiteral("= %1 is not a multiple of 8").arg(c.width)
                        : QStringLiteral("= %1 is not a multiple of 8 x its largest binning %2").arg(c.width).arg(bin));
    if (c.area) {
        if (given.contains("lines") && c.lines != c.areaHeight)
            refuse("lines",
                   QStringLiteral("= %1 differs from areaHeight %2 on an area camera").arg(c.lines).arg(c.areaHeight));
        c.lines = c.areaHeight;  // the area sensor's lines are its rows
        if (c.roiHeight != c.areaHeight) {
            if (given.contains("roiHeight"))
                refuse("roiHeight", QStringLiteral("= %1 differs from areaHeight %2 on an area camera")
                                        .arg(c.roiHeight)
                                        .arg(c.areaHeight));
            c.roiHeight = c.areaHeight;
        }
    }
    if (int64_t(c.width) * c.lines * c.planes > (int64_t(1) << 20))
        refuse("width", QStringLiteral("x lines x planes = %1 x %2 x %3 is more than 1048576 columns of data")
                            .arg(c.width)
                            .arg(c.lines)
                            .arg(c.planes));
    if (c.hotColumns > c.width)
        refuse("hotColumns", QStringLiteral("= %1 is more than the width %2").arg(c.hotColumns).arg(c.width));
    if (c.weakColumns > c.width)
        refuse("weakColumns", QStringLiteral("= %1 is more than the width %2").arg(c.weakColumns).arg(c.width));
}

}  // namespace

// The file's shape:
// {"timeScale": 0, "noise": false,
//  "cameras": [{"friendlyName": "SIM-LS4096-M", "width": 2048, ...},     overrides by name
//              {"friendlyName": "MY-CAM", "base": "SIM-LS4096-M", ...},  new cameras
//              {"friendlyName": "SIM-TVK317", "remove": true}],         removed ones
//  "faults": [{"op": "lsxSetExposure", "after": 2, "status": -1001, "times": 1}, ...],
//  "replace": true}                                                      no built-in camera
// Top-level keys other than "cameras", "faults" and "replace" apply to every camera first.
// Fields of a camera, with their ranges (DN10 = 10-bit units at gain 1):
//  texts: friendlyName (1..127 bytes), model (..255), vendor, serial, version (..127), sensor,
//    type (..63); width 16..32768 (a multiple of 8), lines 1..16, planes 1 or 3, area, areaHeight
//    1..64, roiHeight 1..16384 (the area camera: its areaHeight); width x lines x planes at most
//    2^20, and 2^22 for all cameras together; darkMean 0..500, dsnu 0..100 DN10; darkCurrent
//    0..10000 DN10/ms, darkCurrentSpread 0..1; hotColumns, weakColumns 0..width; hotAmp 0..100000
//    DN10/ms; prnu 0..0.5, weakFactor 0..1; nonLinearity -0.05..0.1, nonLinearitySpread 0..0.03;
//    readNoise 0..50 DN10, postGainNoise, postGainOffset 0..1, ePerDn 0.01..100000; noise,
//    noiseSeed, seed (32-bit); scene "dark" | "flat" | "pattern", light 0..100000 DN10/us, slope
//    -1..1, falloff 0..0.95; lineDistance, pixelMismatch -50..50; timeScale 0..1000; exposure
//    2..20000 us; lineRate 100..200000 lines/s; frameTimeouts 0..10^6, disconnectAfterFrames
//    -1..10^9; blackLevelReg, binningEnums, roiState; resModes (1..16 of Full, SUM2, BIN2, SUM4,
//    BIN4, USER); factory {maxK, maxB 0..255, flags 32-bit, bytes {"offset 0..127": 0..255}};
//    registers {"reg": word}, at most 256.
void applyConfig(const QByteArray& text, const std::string& source, std::vector<CameraDefinition>& cameras,
                 std::vector<FaultPlan>& faults, std::vector<std::string>& messages)
{
    const QString file = QStringLiteral("LSX_SIM_CONFIG %1").arg(QString::fromStdString(source));
    auto say = [&](const QString& m) { messages.push_back(m.toStdString()); };
    QJsonParseError err{};
    const QJsonDocument doc = QJsonDocument::fromJson(text, &err);
    if (err.error != QJsonParseError::NoError) {
        say(QStringLiteral("%1: not JSON (%2 at byte %3); no camera is built")
                .arg(file, err.errorString())
                .arg(err.offset));
        cameras.clear();
        return;
    }
    if (!doc.isObject()) {
        say(QStringLiteral("%1: the top level is %2, not an object; no camera is built")
                .arg(file, doc.isArray() ? QStringLiteral("an array") : QStringLiteral("not an object")));
        cameras.clear();
        return;
    }
    QJsonObject top = doc.object();
    const QJsonValue list = top.take("cameras");
    const QJsonValue faultList = top.take("faults");
    const QJsonValue replace = top.take("replace");

    // Faults: each one checked; a bad one is not injected.
    if (!faultList.isUndefined() && !faultList.isArray())
        say(QStringLiteral("%1: field \"faults\" = %2 is not a list").arg(file, shown(faultList)));
    const QJsonArray faultArray = faultList.toArray();
    for (int i = 0; i < faultArray.size(); ++i) {
        QStringList refusals;
        CameraDefinition scratch;
        Fields check(scratch, QStringLiteral("%1: fault %2").arg(file).arg(i), refusals);
        const QJsonObject o = faultArray[i].toObject();
        FaultPlan f;
        if (!faultArray[i].isObject()) check.refuse("", QStringLiteral("is not an object"));
        for (auto it = o.begin(); it != o.end(); ++it) {
            if (it.key() == "op") {
                if (!check.text("op", it.value(), 64, f.op, false) || !knownOperation(f.op))
                    check.refuse("op", QStringLiteral("= %1 is not an operation of the camera library or \"*\"")
                                           .arg(shown(it.value())));
            } else if (it.key() == "after") {
                check.integer("after", it.value(), 0, 2147483647.0, f.after);
            } else if (it.key() == "status") {
                check.integer("status", it.value(), -2147483648.0, 2147483647.0, f.status);
            } else if (it.key() == "times") {
                check.integer("times", it.value(), 0, 2147483647.0, f.times);
            } else {
                check.refuse(it.key(), QStringLiteral("is not one of op, after, status, times"));
            }
        }
        if (f.op.empty() && refusals.isEmpty()) check.refuse("op", QStringLiteral("is missing"));
        for (const QString& r : refusals) say(r + QStringLiteral("; the fault is not injected"));
        if (refusals.isEmpty()) faults.push_back(f);
    }

    // The top level's fields apply to every camera: a bad one leaves none.
    {
        QStringList refusals;
        CameraDefinition scratch;
        Fields check(scratch, QStringLiteral("%1: every camera").arg(file), refusals);
        check.apply(top);
        if (!replace.isUndefined() && !replace.isBool())
            check.refuse("replace", QStringLiteral("= %1 is not true or false").arg(shown(replace)));
        if (!list.isUndefined() && !list.isArray())
            check.refuse("cameras", QStringLiteral("= %1 is not a list").arg(shown(list)));
        if (list.toArray().size() > 64)
            check.refuse("cameras", QStringLiteral("has %1 cameras, more than 64").arg(list.toArray().size()));
        if (!refusals.isEmpty()) {
            for (const QString& r : refusals) say(r + QStringLiteral("; no camera is built"));
            cameras.clear();
            return;
        }
    }
    if (replace.toBool()) cameras.clear();

    // Every camera: the built-ins, then the file's own, each with the top level's fields and
    // then its entry's. A camera with a refused field is not built.
    struct Entry {
        CameraDefinition def;
        QJsonObject own;
        bool remove = false;
    };
    std::vector<Entry> entries;
    for (const auto& c : cameras) entries.push_back(Entry{c, {}, false});
    const QJsonArray array = list.toArray();
    std::vector<bool> refusedNew;
    for (int i = 0; i < array.size(); ++i) {
        const QJsonObject o = array[i].toObject();
        const QString name = o.value("friendlyName").toString();
        const QString who =
            QStringLiteral("%1: camera %2").arg(file, name.isEmpty() ? QString::number(i) : "\"" + name + "\"");
        if (!array[i].isObject() || !o.value("friendlyName").isString() || name.isEmpty()) {
            say(QStringLiteral("%1: field \"friendlyName\" is missing; the camera is not built").arg(who));
            continue;
        }
        Entry* target = nullptr;
        for (auto& e : entries)
            if (QString::fromStdString(e.def.friendlyName) == name) target = &e;
        QJsonObject own = o;
        const QJsonValue remove = own.take("remove");
        const QJsonValue base = own.take("base");
        if (!remove.isUndefined() && !remove.isBool()) {
            say(QStringLiteral("%1: field \"remove\" = %2 is not true or false; the camera is not built")
                    .arg(who, shown(remove)));
            if (target) target->remove = true;
            continue;
        }
        if (remove.toBool()) {
            if (target) target->remove = true;
            continue;
        }
        if (!target) {
            // A new camera: a copy of its base (a camera before it, or a built-in).
            const QString baseName = base.isUndefined() ? QStringLiteral("SIM-LS4096-M") : base.toString();
            const CameraDefinition* from = nullptr;
            std::vector<CameraDefinition> builtins = builtinCameras();
            for (const auto& b : builtins)
                if (QString::fromStdString(b.friendlyName) == baseName) from = &b;
            for (const auto& e : entries)
                if (QString::fromStdString(e.def.friendlyName) == baseName) from = &e.def;
            if (!from || (!base.isUndefined() && !base.isString())) {
                say(QStringLiteral("%1: field \"base\" = %2 names no camera; the camera is not built")
                        .arg(who, shown(base)));
                continue;
            }
            Entry e{*from, own, false};
            e.def.friendlyName = name.toStdString();
            e.def.seed += uint32_t(entries.size() * 7 + 3);
            entries.push_back(e);
        } else if (!base.isUndefined()) {
            say(QStringLiteral("%1: field \"base\" is for new cameras, this one is built in; the camera is not built")
                    .arg(who));
            target->remove = true;
        } else {
            for (auto it = own.begin(); it != own.end(); ++it) target->own.insert(it.key(), it.value());
        }
    }
    cameras.clear();
    int64_t columns = 0;  // the sensors' data of all cameras together
    for (Entry& e : entries) {
        if (e.remove) continue;
        QStringList refusals;
        Fields check(e.def, QStringLiteral("%1: camera \"%2\"").arg(file, QString::fromStdString(e.def.friendlyName)),
                     refusals);
        check.apply(top);
        check.apply(e.own);
        check.check();
        const int64_t own = int64_t(e.def.width) * e.def.lines * e.def.planes;
        if (refusals.isEmpty() && columns + own > (int64_t(1) << 22))
            check.refuse("width", QStringLiteral("makes the cameras' data together more than 4194304 columns"));
        for (const QString& r : refusals) say(r + QStringLiteral("; the camera is not built"));
        bool twin = false;
        for (const auto& c : cameras) twin = twin || c.friendlyName == e.def.friendlyName;
        if (twin)
            say(QStringLiteral("%1: camera \"%2\" is named twice; the second is not built")
                    .arg(file, QString::fromStdString(e.def.friendlyName)));
        if (refusals.isEmpty() && !twin) {
            cameras.push_back(e.def);
            columns += own;
        }
    }
}

void applyConfigFile(std::vector<CameraDefinition>& cameras, std::vector<FaultPlan>& faults,
                     std::vector<std::string>& messages)
{
    const char* path = std::getenv("LSX_SIM_CONFIG");
    if (!path || !*path) return;
    QFile file(QString::fromLocal8Bit(path));
    if (!file.open(QIODevice::ReadOnly) || file.size() > (1 << 24)) {
        messages.push_back(std::string("LSX_SIM_CONFIG ") + path
                           + ": cannot be read (or is larger than 16 MB); no camera is built");
        cameras.clear();
        return;
    }
    applyConfig(file.readAll(), path, cameras, faults, messages);
}

}  // namespace lsxsim
