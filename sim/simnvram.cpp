// The simulated camera's non-volatile memory: what a real camera keeps across power cycles (the
// FPN sets with the factory set, the flat-field sets, the lens-shading sets of the FLASH store,
// the gain table, the factory record and the stored DOffset), kept in a state folder so that
// another process opening the same camera finds what this one wrote.
//
// The folder is LSX_SIM_STATE, else $XDG_STATE_HOME/lsxsim, else ~/.local/state/lsxsim; one file
// per camera, named after its friendly name, rewritten (to a temporary name, then renamed) after
// every change of that memory. The settings (formats, ROI, selections, switches) are not in it:
// like a camera switched off and on, a new process finds them at their defaults. A file written
// for another geometry, or one that does not parse, is not taken (the camera starts empty and
// says why in its log). lsxSimReset removes the files.
//
// The text is the simulator's own, read by its own code: nothing of the program's files or
// records is shared with it.
#include "simcamera_p.h"

#include <QDir>
#include <QFile>
#include <QFileInfo>
#include <QSaveFile>

#include <cctype>
#include <cerrno>
#include <cmath>
#include <cstdlib>
#include <sstream>

namespace lsxsim {

namespace {

const char* const kNvHeader = "# lsxsim non-volatile memory 1";
// Larger than any camera's memory can be: a file beyond it is not read.
constexpr qint64 kMaxNvBytes = qint64(512) << 20;

std::string hexOf(const uint8_t* p, size_t n)
{
    static const char digits[] = "0123456789abcdef";
    std::string out(n * 2, '0');
    for (size_t i = 0; i < n; ++i) {
        out[2 * i] = digits[p[i] >> 4];
        out[2 * i + 1] = digits[p[i] & 15];
    }
    return out;
}

bool bytesOf(const std::string& hex, std::vector<uint8_t>& out)
{
    if (hex.size() % 2) return false;
    out.assign(hex.size() / 2, 0);
    for (size_t i = 0; i < out.size(); ++i) {
        int v = 0;
        for (int j = 0; j < 2; ++j) {
            const char c = hex[2 * i + size_t(j)];
            const int d = c >= '0' && c <= '9' ? c - '0' : c >= 'a' && c <= 'f' ? c - 'a' + 10 : -1;
            if (d < 0) return false;
            v = v * 16 + d;
        }
        out[i] = uint8_t(v);
    }
    return true;
}

void writeFloats(std::ostream& o, const char* key, const std::vector<float>& row)
{
    o << key << '=';
    char num[32];
    for (size_t i = 0; i < row.size(); ++i) {
        std::snprintf(num, sizeof num, "%.9g", double(row[i]));
        o << (i ? " " : "") << num;
    }
    o << '\n';
}

bool readFloats(const std::string& text, size_t count, std::vector<float>& out)
{
    out.clear();
    out.reserve(count);
    const char* p = text.c_str();
    while (*p) {
        char* end = nullptr;
        errno = 0;
        const float v = std::strtof(p, &end);
        if (end == p || errno == ERANGE || !std::isfinite(v)) return false;
        out.push_back(v);
        p = end;
        while (*p == ' ') ++p;
    }
    return out.size() == count;
}

// The reader of one file: its lines as key=value, taken in order.
struct Lines {
    std::vector<std::pair<std::string, std::string>> items;
    size_t at = 0;
    bool next(const char* key, std::string& value)
    {
        if (at >= items.size() || items[at].first != key) return false;
        value = items[at++].second;
        return true;
    }
    bool done() const { return at == items.size(); }
};

bool ints(const std::string& text, std::vector<long long>& out, size_t count)
{
    std::istringstream in(text);
    out.clear();
    long long v = 0;
    while (in >> v) out.push_back(v);
    return in.eof() && out.size() == count;
}

}  // namespace

std::string stateFolder()
{
    const QByteArray set = qgetenv("LSX_SIM_STATE");
    if (!set.isEmpty()) return set.toStdString();
    const QByteArray xdg = qgetenv("XDG_STATE_HOME");
    if (!xdg.isEmpty()) return xdg.toStdString() + "/lsxsim";
    return QDir::homePath().toStdString() + "/.local/state/lsxsim";
}

std::string Camera::nvPath() const
{
    std::string name = m_def.friendlyName;
    for (char& c : name)
        if (!std::isalnum(static_cast<unsigned char>(c)) && c != '-' && c != '_' && c != '.') c = '_';
    return stateFolder() + "/" + name + ".nvram";
}

void clearStateFolder()
{
    QDir dir(QString::fromStdString(stateFolder()));
    for (const QString& f : dir.entryList({QStringLiteral("*.nvram")}, QDir::Files)) dir.remove(f);
}

std::string Camera::nvTextLocked() const
{
    std::ostringstream o;
    o << kNvHeader << '\n';
    o << "camera=" << m_def.friendlyName << '\n';
    o << "geometry=" << m_def.width << ' ' << m_def.lines << ' ' << m_def.planes << '\n';
    o << "doffset=" << m_s->blackReg << ' ' << m_s->reg83 << ' ' << m_s->reg84 << '\n';
    o << "factory=" << (m_factoryWritten ? hexOf(m_def.factory.data(), m_def.factory.size()) : std::string()) << '\n';
    o << "gaintable=" << hexOf(m_gainTable.data(), m_gainTable.size()) << '\n';
    for (const auto& [name, set] : m_fpn) {
        if (!set.written) continue;
        const size_t cols = set.k.empty() ? 0 : set.k[0].size();
        o << "fpn=" << name << '\n';
        o << "shape=" << set.perLine << ' ' << set.rowsPerGain << ' ' << set.gains << ' ' << set.doffset << ' '
          << set.k.size() << ' ' << cols << ' ' << set.bandLevels.size() << '\n';
        for (size_t r = 0; r < set.k.size(); ++r) {
            writeFloats(o, "k", set.k[r]);
            writeFloats(o, "b", set.b[r]);
        }
        for (size_t n = 0; n < set.bandLevels.size(); ++n) {
            o << "band=" << set.bandLevels[n] << '\n';
            for (const auto& row : set.bandK[n]) writeFloats(o, "bk", row);
        }
    }
    for (size_t i = 0; i < m_ffc.size(); ++i) {
        const FfcSet& f = m_ffc[i];
        if (!f.written) continue;
        const size_t cols = f.k.empty() ? 0 : f.k[0].size();
        o << "ffc=" << i << ' ' << f.channels << ' ' << f.domain << ' ' << f.roiX << ' ' << cols << '\n';
        for (const auto& ch : f.k)
            o << "fk=" << hexOf(reinterpret_cast<const uint8_t*>(ch.data()), ch.size() * 2) << '\n';
    }
    for (size_t i = 0; i < m_lscSets.size(); ++i)
        if (!m_lscSets[i].empty()) o << "lsc=" << i << ' ' << hexOf(m_lscSets[i].data(), m_lscSets[i].size()) << '\n';
    return o.str();
}

void Camera::saveNvLocked()
{
    const std::string text = nvTextLocked();
    if (text == m_nvWritten) return;
    const QString path = QString::fromStdString(nvPath());
    QDir().mkpath(QFileInfo(path).absolutePath());
    QSaveFile f(path);
    if (!f.open(QIODevice::WriteOnly) || f.write(text.data(), qint64(text.size())) != qint64(text.size())
        || !f.commit()) {
        if (!m_nvFailed) simLog("state: cannot write " + path.toStdString() + ": the camera forgets at exit");
        m_nvFailed = true;
        return;
    }
    m_nvWritten = text;
}

void Camera::loadNv()
{
    const QString path = QString::fromStdString(nvPath());
    QFile f(path);
    if (!f.exists()) return;
    auto refuse = [&](const std::string& why) {
        simLog("state: " + path.toStdString() + " not taken: " + why);
        return;
    };
    if (f.size() > kMaxNvBytes) return refuse("larger than any camera's memory");
    if (!f.open(QIODevice::ReadOnly)) return refuse("cannot be read");
    Lines lines;
    const QList<QByteArray> raw = f.readAll().split('\n');
    if (raw.isEmpty() || raw.first() != kNvHeader) return refuse("not a state file");
    for (int i = 1; i < raw.size(); ++i) {
        if (raw[i].isEmpty()) continue;
        const int eq = raw[i].indexOf('=');
        if (eq <= 0) return refuse("line " + std::to_string(i + 1) + " is not key=value");
        lines.items.emplace_back(raw[i].left(eq).toStdString(), raw[i].mid(eq + 1).toStdString());
    }

    std::string v;
    std::vector<long long> n;
    if (!lines.next("camera", v) || v != m_def.friendlyName) return refuse("another camera's");
    if (!lines.next("geometry", v) || !ints(v, n, 3) || n[0] != m_def.width || n[1] != m_def.lines
        || n[2] != m_def.planes)
        return refuse("written for another sensor geometry");
    if (!lines.next("doffset", v) || !ints(v, n, 3) || n[0] < 0 || n[0] > 255 || n[1] < 0 || n[1] > 255
        || (n[2] != 0 && n[2] != 8))
        return refuse("bad doffset");
    const uint32_t blackReg = uint32_t(n[0]), reg83 = uint32_t(n[1]), reg84 = uint32_t(n[2]);
    std::vector<uint8_t> factory, gainTable;
    if (!lines.next("factory", v) || !bytesOf(v, factory) || (!factory.empty() && factory.size() != 128))
        return refuse("bad factory record");
    if (!lines.next("gaintable", v) || !bytesOf(v, gainTable)) return refuse("bad gain table");

    std::map<std::string, FpnSet> fpn = m_fpn;
    std::vector<FfcSet> ffc = m_ffc;
    std::vector<std::vector<uint8_t>> lsc = m_lscSets;
    while (lines.next("fpn", v)) {
        const std::string name = v;
        if (!fpn.count(name)) return refuse("unknown FPN set " + name);
        FpnSet set;
        if (!lines.next("shape", v) || !ints(v, n, 7)) return refuse("bad shape of " + name);
        const long long rows = n[4], cols = n[5], bands = n[6];
        if (rows < 1 || rows > 4096 || cols < 1 || cols > (1 << 20) || bands < 0 || bands > 64 || n[1] < 1 || n[2] < 1
            || rows * cols > (1 << 24))
            return refuse("bad shape of " + name);
        set.perLine = n[0] != 0;
        set.rowsPerGain = int(n[1]);
        set.gains = int(n[2]);
        set.doffset = int(n[3]);
        set.k.resize(size_t(rows));
        set.b.resize(size_t(rows));
        for (long long r = 0; r < rows; ++r)
            if (!lines.next("k", v) || !readFloats(v, size_t(cols), set.k[size_t(r)]) || !lines.next("b", v)
                || !readFloats(v, size_t(cols), set.b[size_t(r)]))
                return refuse("bad row " + std::to_string(r) + " of " + name);
        for (long long b = 0; b < bands; ++b) {
            char* end = nullptr;
            if (!lines.next("band", v)) return refuse("missing band of " + name);
            const float level = std::strtof(v.c_str(), &end);
            if (!end || *end || !std::isfinite(level)) return refuse("bad band of " + name);
            set.bandLevels.push_back(level);
            set.bandK.emplace_back(size_t(rows));
            for (long long r = 0; r < rows; ++r)
                if (!lines.next("bk", v) || !readFloats(v, size_t(cols), set.bandK.back()[size_t(r)]))
                    return refuse("bad band row of " + name);
        }
        set.written = true;
        fpn[name] = set;
    }
    while (lines.next("ffc", v)) {
        if (!ints(v, n, 5) || n[0] < 0 || n[0] >= static_cast<long long>(ffc.size()) || n[1] < 1 || n[1] > 16
            || n[2] < 0 || n[2] > 2 || n[4] < 1 || n[4] > (1 << 20))
            return refuse("bad flat-field set");
        FfcSet f;
        f.channels = int(n[1]);
        f.domain = int(n[2]);
        f.roiX = int(n[3]);
        for (int c = 0; c < f.channels; ++c) {
            std::vector<uint8_t> bytes;
            if (!lines.next("fk", v) || !bytesOf(v, bytes) || bytes.size() != size_t(n[4]) * 2)
                return refuse("bad flat-field gains");
            f.k.emplace_back(size_t(n[4]));
            std::memcpy(f.k.back().data(), bytes.data(), bytes.size());
        }
        f.written = true;
        ffc[size_t(n[0])] = f;
    }
    while (lines.next("lsc", v)) {
        const size_t space = v.find(' ');
        char* end = nullptr;
        const long index = std::strtol(v.c_str(), &end, 10);
        std::vector<uint8_t> block;
        lsxStatus why = LSX_OK;
        if (space == std::string::npos || end != v.c_str() + space || index < 0 || index >= long(lsc.size())
            || !bytesOf(v.substr(space + 1), block) || !lscBlockValid(block, &why))
            return refuse("bad lens-shading set");
        lsc[size_t(index)] = block;
    }
    if (!lines.done()) return refuse("unknown line " + lines.items[lines.at].first);

    Lock lock(m_mutex);
    m_fpn = fpn;
    m_ffc = ffc;
    m_lscSets = lsc;
    m_gainTable = gainTable;
    if (!factory.empty()) {
        std::memcpy(m_def.factory.data(), factory.data(), 128);
        m_factoryWritten = true;
    }
    m_s->blackReg = blackReg;
    m_s->reg83 = reg83;
    m_s->reg84 = reg84;
    m_nvWritten = nvTextLocked();
    invalidateLocked();
}

}  // namespace lsxsim
