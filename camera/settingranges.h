#pragma once
// The numeric settings of FPN.ini that the procedures read, each with its range, its default and
// what a bad value does. A value is read strictly: a text that is not a whole number where one is
// wanted, "nan", "inf", "1e308" or trailing junk is never turned into 0 or into a number nobody
// wrote. A value that decides a calibration, a write-down or a verdict refuses the procedure
// before the camera is touched, naming key, value and range; a value that only steers the display
// falls back to its default, said once.

#include <QList>
#include <QSettings>
#include <QString>
#include <QStringList>
#include <QVariant>

#include <functional>

enum class BadSetting {
    Refuse,      // the procedure does not run; the message names key, value and range
    UseDefault,  // the default is used instead, and said once
};

struct SettingRange {
    QString key;
    bool whole = false;  // an integer key: "180.5" is refused
    double min = 0.0;
    double max = 0.0;
    bool minOpen = false;  // the lower end itself is outside: "(0, 100]"
    double fallback = 0.0;
    BadSetting onBad = BadSetting::Refuse;
};

// Every ranged key, Params first, then Verify.
const QList<SettingRange>& settingRanges();
// The row of `key`; nullptr for a key that has no range here.
const SettingRange* settingRange(const QString& key);
// The range as the messages write it: "[1, 32]", "(0, 100]".
QString rangeText(const SettingRange& range);

// A value read: the number, or, when the value is bad, the row's default and the message.
struct SettingValue {
    double value = 0.0;
    QString error;  // empty for a good value
    bool ok() const { return error.isEmpty(); }
};

// Checks what QSettings gives for `key` against its row. An absent value (an invalid QVariant)
// is the default and good. A list (an INI value with a comma), an empty text, a text that is not
// entirely one number, nan and a fraction for a whole key are "not a number" / "not whole"; the
// infinities and anything beyond the range are "out of range". For a key without a row the value
// is only required to be a finite number.
SettingValue checkSetting(const QString& key, const QVariant& raw);

// For the settings that steer the display: the value, or the default when it is bad, the message
// (ending with the default used) handed to `say` only the first time this key has this bad value
// in this process.
double settingOrDefault(const QString& key, const QVariant& raw, const std::function<void(const QString&)>& say);

// Empty when the gain walk from gainMin in steps of 1.0 up to gainMax makes at least one pass;
// otherwise a message naming both settings and their values.
QString gainRangeError(double gainMin, double gainMax);

// Several settings of one procedure checked together: each read gives its value (the default
// when bad), and the procedure refuses when any was bad, with every message at once.
class SettingCheck {
public:
    SettingCheck() = default;
    // Reads from `settings`, which must outlive the check.
    explicit SettingCheck(const QSettings& settings) : m_settings(&settings) {}

    // `raw` checked against the row of `key`.
    double number(const QString& key, const QVariant& raw);
    // The value of `key` in the settings; `fallback` when the key is absent.
    double read(const QString& key, double fallback);
    int readWhole(const QString& key, int fallback) { return static_cast<int>(read(key, fallback)); }
    // The gain walk must make a pass; judged only when both gains read were good.
    void gainRange(double gainMin, double gainMax);
    // Adds a message of the caller's own.
    void refuse(const QString& message);
    bool ok() const { return m_errors.isEmpty(); }
    // The messages, one per line.
    QString message() const;

private:
    const QSettings* m_settings = nullptr;
    QStringList m_errors;
    QStringList m_badKeys;
};
