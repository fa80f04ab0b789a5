#pragma once
// The tool's parameter files read without Qt: a second reader of what the tool writes, that takes
// a file whole or not at all and says in a sentence what is wrong with one it refuses.
//
// All three are INI files as QSettings writes them: "[section]" lines, "key=value" lines, text
// values in double quotes with backslash escapes, keys and sections with %XX escapes. Numbers are
// read as the C locale writes them.

#include <array>
#include <map>
#include <string>
#include <vector>

namespace lsxc {

// An INI file: section -> key -> value text (unquoted, unescaped).
using IniSections = std::map<std::string, std::map<std::string, std::string>>;

// Reads an INI file. False with `why` when it cannot be read, is not text of this form, or
// repeats a section's key.
bool readIniFile(const std::string& path, IniSections& out, std::string& why);
// The same from text in memory (`name` names it in the sentence).
bool parseIniText(const std::string& text, const std::string& name, IniSections& out, std::string& why);

// The FPN file "*.FAC.FPN": B per row and column; K per row and column, or with multi-level K per
// band of the finest level table, each band holding all rows one after the other.
struct FpnFile {
    int x = 0;             // Head/X: sensor column of column 0
    int targetFormat = 0;  // Head/TargetFormat: the camera's target code the data were taken in
    int bits = 8;          // the scale of B: 8 (8-bit frames) or 16 (16-bit frames)
    bool rgbOrder = false;  // colour rows in R, G, B order (an RGB target), else B, G, R
    bool colour = false;    // rows are colour planes (a colour target)
    bool multiLevel = false;
    int columns = 0;
    std::vector<std::vector<double>> b;  // [row][column]
    std::vector<std::vector<double>> k;  // [row][column]; or [band][row * columns + column]; empty: K 1
};
// The levels of the bands of a multi-level file (8-bit scale, each band up to and with its level).
extern const std::array<int, 9> kFpnBandLevels;
bool loadFpnFile(const std::string& path, FpnFile& out, std::string& why);
bool parseFpnFile(const IniSections& ini, const std::string& name, FpnFile& out, std::string& why);

// The FFC file: the gains of the sensor columns x .. x + width - 1 per channel, by name.
struct FfcFile {
    int x = 0, y = 0, width = 0, height = 0;
    std::map<char, std::vector<double>> channels;  // 'R', 'G', 'B' -> [column - x]
};
bool loadFfcFile(const std::string& path, FfcFile& out, std::string& why);
bool parseFfcFile(const IniSections& ini, const std::string& name, FfcFile& out, std::string& why);

// The LSC file: per channel c6 .. c0 and the target, the argument the column less x.
struct LscFile {
    int x = 0, y = 0, width = 0, height = 0;
    std::map<char, std::array<double, 8>> channels;  // 'R' alone (mono), or 'R', 'G', 'B'
};
bool loadLscFile(const std::string& path, LscFile& out, std::string& why);
bool parseLscFile(const IniSections& ini, const std::string& name, LscFile& out, std::string& why);

// The lens-shading gain at sensor column s as the camera's firmware takes it: target / p(s - x)
// inside the ROI, 1 outside; 1 where that is not a finite number above 0, at most 16.
double lscGainAt(const std::array<double, 8>& poly, int x, int width, int s);

}  // namespace lsxc
