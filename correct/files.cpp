// The tool's parameter files read without Qt (files.h).
//
// Each loader reads the whole file first, checks every group and value it takes, and only then
// fills its result, so that a file refused leaves nothing half-read behind. The sentences name
// the file, the section and the key.
#include "files.h"

#include <algorithm>
#include <cctype>
#include <cerrno>
#include <charconv>
#include <climits>
#include <cmath>
#include <cstdio>
#include <cstring>
#include <fstream>

namespace lsxc {

const std::array<int, 9> kFpnBandLevels{4, 8, 12, 16, 24, 32, 64, 128, 255};

namespace {

// No parameter file of a camera comes near this; a larger file is not one.
constexpr size_t kMaxFileBytes = size_t(512) << 20;

std::string trimmed(const std::string& s)
{
    const char* blanks = " \t\r\n";
    const size_t a = s.find_first_not_of(blanks);
    if (a == std::string::npos) return std::string();
    const size_t b = s.find_last_not_of(blanks);
    return s.substr(a, b - a + 1);
}

int hexValue(char c)
{
    if (c >= '0' && c <= '9') return c - '0';
    if (c >= 'a' && c <= 'f') return c - 'a' + 10;
    if (c >= 'A' && c <= 'F') return c - 'A' + 10;
    return -1;
}

void appendUtf8(std::string& out, uint32_t cp)
{
    if (cp < 0x80) {
        out += char(cp);
    } else if (cp < 0x800) {
        out += char(0xC0 | (cp >> 6));
        out += char(0x80 | (cp & 0x3F));
    } else {
        out += char(0xE0 | (cp >> 12));
        out += char(0x80 | ((cp >> 6) & 0x3F));
        out += char(0x80 | (cp & 0x3F));
    }
}

// A key or section name with QSettings' %XX and %UXXXX escapes undone.
std::string unescapedName(const std::string& s)
{
    auto hexRun = [&](size_t from, size_t count, uint32_t& v) {
        v = 0;
        if (from + count > s.size()) return false;
        for (size_t j = from; j < from + count; ++j) {
            const int h = hexValue(s[j]);
            if (h < 0) return false;
            v = v * 16 + uint32_t(h);
        }
        return true;
    };
    std::string out;
    for (size_t i = 0; i < s.size(); ++i) {
        uint32_t v = 0;
        if (s[i] == '%' && i + 1 < s.size() && s[i + 1] == 'U' && hexRun(i + 2, 4, v)) {
            appendUtf8(out, v);
            i += 5;
        } else if (s[i] == '%' && hexRun(i + 1, 2, v)) {
            out += char(v);
            i += 2;
        } else {
            out += s[i];
        }
    }
    return out;
}

// A value's text: a quoted text with its escapes undone, or the plain text as it stands. False
// for a quote that does not close or text after it.
bool unescapedValue(const std::string& raw, std::string& out)
{
    const std::string s = trimmed(raw);
    out.clear();
    if (s.empty() || s[0] != '"') {
        out = s;
        return true;
    }
    size_t i = 1;
    for (; i < s.size() && s[i] != '"'; ++i) {
        if (s[i] != '\\' || i + 1 >= s.size()) {
            out += s[i];
            continue;
        }
        const char e = s[++i];
        switch (e) {
        case 'n': out += '\n'; break;
        case 't': out += '\t'; break;
        case 'r': out += '\r'; break;
        case 'x': {
            uint32_t cp = 0;
            int digits = 0;
            while (digits < 4 && i + 1 < s.size() && hexValue(s[i + 1]) >= 0) {
                cp = cp * 16 + uint32_t(hexValue(s[++i]));
                ++digits;
            }
            appendUtf8(out, cp);
            break;
        }
        default: out += e;
        }
    }
    return i < s.size() && trimmed(s.substr(i + 1)).empty();
}

bool toInt(const std::string& text, long long& v)
{
    const std::string t = trimmed(text);
    if (t.empty()) return false;
    const auto r = std::from_chars(t.data(), t.data() + t.size(), v);
    return r.ec == std::errc() && r.ptr == t.data() + t.size();
}

// A finite number as the C locale writes it.
bool toNumber(const std::string& text, double& v)
{
    const std::string t = trimmed(text);
    if (t.empty()) return false;
    const auto r = std::from_chars(t.data(), t.data() + t.size(), v);
    return r.ec == std::errc() && r.ptr == t.data() + t.size() && std::isfinite(v);
}

std::string quoted(const std::string& s)
{
    std::string shown = s.size() > 40 ? s.substr(0, 40) + "..." : s;
    return "\"" + shown + "\"";
}

const std::map<std::string, std::string>* sectionOf(const IniSections& ini, const std::string& name)
{
    const auto it = ini.find(name);
    return it == ini.end() ? nullptr : &it->second;
}

// An integer key of a section; false with the sentence when missing or not an integer.
bool intKey(const IniSections& ini, const std::string& file, const std::string& section, const std::string& key,
            long long lo, long long hi, long long& v, std::string& why)
{
    const auto* s = sectionOf(ini, section);
    const auto it = s ? s->find(key) : decltype(s->end()){};
    if (!s || it == s->end()) {
        why = file + ": no " + section + "/" + key;
        return false;
    }
    if (!toInt(it->second, v) || v < lo || v > hi) {
        why = file + ": " + section + "/" + key + " is " + quoted(it->second) + ", not a whole number from "
              + std::to_string(lo) + " to " + std::to_string(hi);
        return false;
    }
    return true;
}

bool startsWithNoCase(const std::string& s, const char* prefix)
{
    const size_t n = std::strlen(prefix);
    if (s.size() < n) return false;
    for (size_t i = 0; i < n; ++i)
        if (std::tolower(static_cast<unsigned char>(s[i])) != std::tolower(static_cast<unsigned char>(prefix[i])))
            return false;
    return true;
}

// The value groups "<prefix><n>" of an FPN file in the order of n, which must run 0, 1, 2, ...
bool numberedGroups(const IniSections& ini, const std::string& file, const char* prefix,
                    std::vector<const std::map<std::string, std::string>*>& groups, std::string& why)
{
    std::map<long long, const std::map<std::string, std::string>*> byNumber;
    for (const auto& [name, keys] : ini) {
        if (!startsWithNoCase(name, prefix)) continue;
        long long n = -1;
        if (!toInt(name.substr(std::strlen(prefix)), n) || n < 0 || n > 1000000
            || name.substr(std::strlen(prefix)) != std::to_string(n)) {
            why = file + ": section [" + name + "] is not " + prefix + "<row number>";
            return false;
        }
        byNumber[n] = &keys;
    }
    groups.clear();
    for (const auto& [n, keys] : byNumber) {
        if (n != (long long)groups.size()) {
            why = file + ": section [" + prefix + std::to_string(groups.size()) + "] is missing";
            return false;
        }
        groups.push_back(keys);
    }
    return true;
}

// A value group whose keys are the columns 0 .. n-1, each a finite number.
bool columnRow(const std::map<std::string, std::string>& keys, const std::string& file, const std::string& section,
               std::vector<double>& row, std::string& why)
{
    row.assign(keys.size(), 0.0);
    std::vector<bool> seen(keys.size(), false);
    for (const auto& [key, value] : keys) {
        long long c = -1;
        if (!toInt(key, c) || c < 0 || c >= (long long)keys.size() || key != std::to_string(c) || seen[size_t(c)]) {
            why = file + ": [" + section + "] has the key " + quoted(key) + ", not a column 0 to "
                  + std::to_string(keys.size() - 1);
            return false;
        }
        seen[size_t(c)] = true;
        if (!toNumber(value, row[size_t(c)])) {
            why = file + ": [" + section + "] " + key + " is " + quoted(value) + ", not a finite number";
            return false;
        }
    }
    return true;
}

bool loadIni(const std::string& path, IniSections& ini, std::string& why)
{
    return readIniFile(path, ini, why);
}

// The version of FFC and LSC files, [FFC] Version, must be 2.
bool flatVersion(const IniSections& ini, const std::string& file, std::string& why)
{
    long long version = 0;
    if (!intKey(ini, file, "FFC", "Version", LLONG_MIN, LLONG_MAX, version, why)) return false;
    if (version != 2) {
        why = file + ": version " + std::to_string(version) + "; only version 2 is read";
        return false;
    }
    return true;
}

// The ROI of FFC and LSC files: OffsetH and Width needed, OffsetV and Height when there.
bool flatRoi(const IniSections& ini, const std::string& file, int& x, int& y, int& w, int& h, std::string& why)
{
    long long vx = 0, vw = 0, vy = 0, vh = 0;
    if (!intKey(ini, file, "FFC_ROI", "OffsetH", 0, 1 << 20, vx, why)) return false;
    if (!intKey(ini, file, "FFC_ROI", "Width", 1, 1 << 16, vw, why)) return false;
    const auto* roi = sectionOf(ini, "FFC_ROI");
    if (roi->count("OffsetV") && !intKey(ini, file, "FFC_ROI", "OffsetV", 0, 1 << 20, vy, why)) return false;
    if (roi->count("Height") && !intKey(ini, file, "FFC_ROI", "Height", 0, 1 << 24, vh, why)) return false;
    x = int(vx);
    w = int(vw);
    y = int(vy);
    h = int(vh);
    return true;
}

}  // namespace

bool parseIniText(const std::string& text, const std::string& name, IniSections& out, std::string& why)
{
    IniSections ini;
    std::string section = "General";
    size_t lineNo = 0, at = 0;
    while (at <= text.size()) {
        size_t end = text.find('\n', at);
        if (end == std::string::npos) end = text.size();
        const std::string line = trimmed(text.substr(at, end - at));
        at = end + 1;
        ++lineNo;
        if (line.empty() || line[0] == ';' || line[0] == '#') continue;
        if (line[0] == '[') {
            if (line.back() != ']' || line.size() < 3) {
                why = name + ": line " + std::to_string(lineNo) + " is no section name: " + quoted(line);
                return false;
            }
            section = unescapedName(line.substr(1, line.size() - 2));
            ini[section];
            continue;
        }
        const size_t eq = line.find('=');
        if (eq == std::string::npos || eq == 0) {
            why = name + ": line " + std::to_string(lineNo) + " is no key=value: " + quoted(line);
            return false;
        }
        const std::string key = unescapedName(trimmed(line.substr(0, eq)));
        std::string value;
        if (!unescapedValue(line.substr(eq + 1), value)) {
            why = name + ": line " + std::to_string(lineNo) + " has a quoted value that does not close";
            return false;
        }
        if (!ini[section].emplace(key, value).second) {
            why = name + ": [" + section + "] has the key " + quoted(key) + " twice";
            return false;
        }
    }
    out.swap(ini);
    return true;
}

bool readIniFile(const std::string& path, IniSections& out, std::string& why)
{
    std::ifstream in(path, std::ios::binary);
    if (!in) {
        why = path + ": cannot be opened (" + std::strerror(errno) + ")";
        return false;
    }
    in.seekg(0, std::ios::end);
    const std::streamoff size = in.tellg();
    in.seekg(0, std::ios::beg);
    if (size < 0 || size_t(size) > kMaxFileBytes) {
        why = path + ": not a parameter file (" + std::to_string(size) + " bytes)";
        return false;
    }
    std::string text(size_t(size), '\0');
    if (!in.read(text.data(), size)) {
        why = path + ": cannot be read (" + std::strerror(errno) + ")";
        return false;
    }
    if (text.find('\0') != std::string::npos) {
        why = path + ": not a text file";
        return false;
    }
    return parseIniText(text, path, out, why);
}

bool parseFpnFile(const IniSections& ini, const std::string& name, FpnFile& out, std::string& why)
{
    FpnFile f;
    long long version = 0, target = 0, x = 0, unused = 0;
    if (!intKey(ini, name, "Head", "Version", LLONG_MIN, LLONG_MAX, version, why)) return false;
    if (version != 1) {
        why = name + ": version " + std::to_string(version) + "; only version 1 is read";
        return false;
    }
    if (!intKey(ini, name, "Head", "TargetFormat", LLONG_MIN, LLONG_MAX, target, why)) return false;
    if (!intKey(ini, name, "Head", "X", 0, 1 << 20, x, why)) return false;
    if (!intKey(ini, name, "Head", "W", 0, 1 << 20, unused, why)) return false;
    if (!intKey(ini, name, "Head", "SourceFormat", LLONG_MIN, LLONG_MAX, unused, why)) return false;
    f.x = int(x);
    f.targetFormat = int(target);
    switch (target) {
    case 0:
    case 30: f.bits = 8; break;
    case 34: f.bits = 16; break;
    case 10:
    case 11: f.colour = true; break;
    case 14:
    case 15: f.colour = f.rgbOrder = true; break;
    default:
        why = name + ": Head/TargetFormat " + std::to_string(target)
              + " is none of 0, 30 (8-bit mono), 34 (16-bit mono), 10, 11 (BGR), 14, 15 (RGB): the scale of B is not known";
        return false;
    }
    const auto* head = sectionOf(ini, "Head");
    const auto mlk = head->find("SupportMLK");
    if (mlk == head->end()) {
        why = name + ": no Head/SupportMLK";
        return false;
    }
    if (mlk->second == "true" || mlk->second == "1")
        f.multiLevel = true;
    else if (mlk->second != "false" && mlk->second != "0") {
        why = name + ": Head/SupportMLK is " + quoted(mlk->second) + ", not true, false, 1 or 0";
        return false;
    }

    std::vector<const std::map<std::string, std::string>*> bGroups, kGroups;
    if (!numberedGroups(ini, name, "B_", bGroups, why) || !numberedGroups(ini, name, "K_", kGroups, why)) return false;
    if (bGroups.empty()) {
        why = name + ": no B rows ([B_0] missing)";
        return false;
    }
    for (size_t r = 0; r < bGroups.size(); ++r) {
        std::vector<double> row;
        const std::string section = "B_" + std::to_string(r);
        if (!columnRow(*bGroups[r], name, section, row, why)) return false;
        if (row.empty() || (r > 0 && row.size() != f.b[0].size())) {
            why = name + ": [" + section + "] has " + std::to_string(row.size()) + " columns, [B_0] "
                  + std::to_string(f.b.empty() ? row.size() : f.b[0].size());
            if (row.empty()) why = name + ": [" + section + "] has no columns";
            return false;
        }
        f.b.push_back(std::move(row));
    }
    f.columns = int(f.b[0].size());
    const size_t rows = f.b.size();
    // K: none (a dark field alone: K 1), a row per B row, or the nine bands of all rows.
    const size_t kLength = f.multiLevel ? rows * size_t(f.columns) : size_t(f.columns);
    if (!kGroups.empty() && f.multiLevel && kGroups.size() != kFpnBandLevels.size()) {
        why = name + ": " + std::to_string(kGroups.size()) + " K bands; a multi-level file has "
              + std::to_string(kFpnBandLevels.size());
        return false;
    }
    if (!kGroups.empty() && !f.multiLevel && kGroups.size() != rows) {
        why = name + ": " + std::to_string(kGroups.size()) + " K rows for " + std::to_string(rows) + " B rows";
        return false;
    }
    for (size_t r = 0; r < kGroups.size(); ++r) {
        std::vector<double> row;
        const std::string section = "K_" + std::to_string(r);
        if (!columnRow(*kGroups[r], name, section, row, why)) return false;
        if (row.size() != kLength) {
            why = name + ": [" + section + "] has " + std::to_string(row.size()) + " values, not "
                  + std::to_string(kLength);
            return false;
        }
        f.k.push_back(std::move(row));
    }
    out = std::move(f);
    return true;
}

bool loadFpnFile(const std::string& path, FpnFile& out, std::string& why)
{
    IniSections ini;
    return loadIni(path, ini, why) && parseFpnFile(ini, path, out, why);
}

bool parseFfcFile(const IniSections& ini, const std::string& name, FfcFile& out, std::string& why)
{
    FfcFile f;
    if (!flatVersion(ini, name, why) || !flatRoi(ini, name, f.x, f.y, f.width, f.height, why)) return false;
    for (char channel : {'R', 'G', 'B'}) {
        const std::string section = std::string("FFC_") + channel;
        const auto* keys = sectionOf(ini, section);
        if (!keys) continue;
        // Every key a column of the ROI (a key outside it belongs to another file), and every
        // column with its key: the tool asks its operator before it loads a file that lacks some,
        // and there is no one to ask here.
        std::vector<double> gains(size_t(f.width), 0.0);  // 0 until the column's key is read
        for (const auto& [key, value] : *keys) {
            long long column = -1;
            if (!toInt(key, column) || column < f.x || column >= (long long)f.x + f.width) {
                why = name + ": [" + section + "] " + quoted(key) + " is not a column of the ROI (sensor columns "
                      + std::to_string(f.x) + " to " + std::to_string((long long)f.x + f.width - 1) + ")";
                return false;
            }
            double g = 0.0;
            if (!toNumber(value, g) || !(g > 0.0)) {
                why = name + ": [" + section + "] " + key + " is " + quoted(value) + ", not a gain above 0";
                return false;
            }
            gains[size_t(column - f.x)] = g;
        }
        const auto gap = std::find(gains.begin(), gains.end(), 0.0);
        if (gap != gains.end()) {
            why = name + ": [" + section + "] has no gain for " + std::to_string(std::count(gap, gains.end(), 0.0))
                  + " of the ROI's " + std::to_string(f.width) + " columns, the first sensor column "
                  + std::to_string(f.x + (gap - gains.begin()));
            return false;
        }
        f.channels[channel] = std::move(gains);
    }
    if (f.channels.empty()) {
        why = name + ": none of [FFC_R], [FFC_G], [FFC_B]";
        return false;
    }
    out = std::move(f);
    return true;
}

bool loadFfcFile(const std::string& path, FfcFile& out, std::string& why)
{
    IniSections ini;
    return loadIni(path, ini, why) && parseFfcFile(ini, path, out, why);
}

bool parseLscFile(const IniSections& ini, const std::string& name, LscFile& out, std::string& why)
{
    LscFile f;
    if (!flatVersion(ini, name, why) || !flatRoi(ini, name, f.x, f.y, f.width, f.height, why)) return false;
    std::map<char, bool> zero;
    for (char channel : {'R', 'G', 'B'}) {
        const std::string section = std::string("FFC_") + channel;
        const auto* keys = sectionOf(ini, section);
        if (!keys) continue;
        std::array<double, 8> poly{};
        bool allZero = true;
        for (int i = 0; i < 8; ++i) {
            const std::string key = std::string(1, char('A' + i)) + "_" + channel;
            const auto it = keys->find(key);
            if (it == keys->end() || !toNumber(it->second, poly[size_t(i)])) {
                why = name + ": [" + section + "] " + key
                      + (it == keys->end() ? " is missing" : " is " + quoted(it->second) + ", not a finite number");
                return false;
            }
            allZero = allZero && poly[size_t(i)] == 0.0;
        }
        zero[channel] = allZero;
        f.channels[channel] = poly;
    }
    // One channel is written under R, with G and B all zeros; three channels have all three.
    if (!f.channels.count('R') || zero['R']) {
        why = name + ": no polynomial in [FFC_R]";
        return false;
    }
    const bool g = f.channels.count('G') && !zero['G'], b = f.channels.count('B') && !zero['B'];
    if (g != b) {
        why = name + ": a polynomial in one of [FFC_G], [FFC_B] but not in the other";
        return false;
    }
    if (!g) {
        f.channels.erase('G');
        f.channels.erase('B');
    }
    out = std::move(f);
    return true;
}

bool loadLscFile(const std::string& path, LscFile& out, std::string& why)
{
    IniSections ini;
    return loadIni(path, ini, why) && parseLscFile(ini, path, out, why);
}

double lscGainAt(const std::array<double, 8>& poly, int x, int width, int s)
{
    if (s < x || s >= x + width) return 1.0;
    const double arg = double(s - x);
    double p = 0.0;
    for (int d = 0; d < 7; ++d) p += poly[size_t(d)] * std::pow(arg, double(6 - d));
    const double gain = poly[7] / p;
    if (!std::isfinite(gain) || gain <= 0.0) return 1.0;
    return std::min(gain, 16.0);
}

}  // namespace lsxc
