#include "camera/settingranges.h"

#include "camera/tables.h"

#include <QCoreApplication>
#include <QLocale>
#include <QMutex>
#include <QRegularExpression>
#include <QSet>

#include <cmath>

namespace {

const char* const kNotANumber = QT_TRANSLATE_NOOP("SettingRanges", "设置 %1 的值 \"%2\" 不是数，应在 %3 之内");
const char* const kNotWhole = QT_TRANSLATE_NOOP("SettingRanges", "设置 %1 的值 \"%2\" 不是整数，应在 %3 之内");
const char* const kOutOfRange = QT_TRANSLATE_NOOP("SettingRanges", "设置 %1 的值 \"%2\" 超出范围，应在 %3 之内");
const char* const kNotFinite = QT_TRANSLATE_NOOP("SettingRanges", "设置 %1 的值 \"%2\" 不是有限的数");
const char* const kDefaultUsed = QT_TRANSLATE_NOOP("SettingRanges", "%1，改用默认值 %2。");
const char* const kNoGainPass = QT_TRANSLATE_NOOP(
    "SettingRanges",
    "设置 %1 的值 %2 大于 %3 的值 %4：增益范围内没有一个增益，校正不会执行。请把 %1 设为不大于 %3 的值。");

// The verification's limits are per cent or DN10 (10-bit data: full scale 1023); a limit of 0
// would fail every camera, one beyond the scale would pass any.
constexpr double kFullScaleDn10 = 1023.0;

QList<SettingRange> makeRanges()
{
    const auto real = [](const QString& key, double min, double max, double fallback, bool minOpen = false) {
        return SettingRange{key, false, min, max, minOpen, fallback, BadSetting::Refuse};
    };
    const auto whole = [](const QString& key, double min, double max, double fallback,
                          BadSetting onBad = BadSetting::Refuse) {
        return SettingRange{key, true, min, max, false, fallback, onBad};
    };
    return {
        // Gains of a calibration: the walk rises 1.0 a pass in single precision.
        real(FpnIni::GainMin, 1.0, 32.0, FpnIni::GainMinDefault),
        real(FpnIni::GainMax, 1.0, 32.0, FpnIni::GainMaxDefault),
        // Grey levels on the 8-bit scale, as the panel's box allows them.
        whole(FpnIni::PixelMax, 2.0, 255.0, FpnIni::PixelMaxDefault),
        whole(FpnIni::PixelMin, 0.0, 255.0, FpnIni::PixelMinDefault),
        // The black level as the camera's registers hold it: a byte read back signed, 128 kept.
        whole(FpnIni::DOffset, -128.0, 128.0, FpnIni::DOffsetDefault),
        // The level tables: 3, 6 or 9 levels; the values between select the three-level table.
        whole(FpnIni::FpnSel, 3.0, 9.0, FpnIni::FpnSelDefault),
        // Handed to the column fit, which makes no use of it.
        whole(FpnIni::ColCount, 1.0, 65535.0, FpnIni::ColCountDefault, BadSetting::UseDefault),
        real(VerifyIni::MaxPrnu, 0.0, 100.0, 0.5, true),
        real(VerifyIni::MaxDsnu, 0.0, kFullScaleDn10, 0.5, true),
        whole(VerifyIni::MaxDefects, 0.0, 65535.0, 0.0),
        real(VerifyIni::DefectDark, 0.0, kFullScaleDn10, 5.0, true),
        real(VerifyIni::DefectResponse, 0.0, 100.0, 10.0, true),
    };
}

// The value as the file holds it, for the message.
QString rawText(const QVariant& raw)
{
    if (raw.userType() == QMetaType::QStringList) return raw.toStringList().join(QStringLiteral(", "));
    return raw.toString();
}

bool isNumberType(int type)
{
    switch (type) {
    case QMetaType::Int:
    case QMetaType::UInt:
    case QMetaType::LongLong:
    case QMetaType::ULongLong:
    case QMetaType::Short:
    case QMetaType::UShort:
    case QMetaType::Long:
    case QMetaType::ULong:
    case QMetaType::Float:
    case QMetaType::Double: return true;
    default: return false;
    }
}

// The number a value holds, strictly: false for anything but one plain decimal number (nan counts
// as no number; the infinities parse, to be refused as out of range).
bool strictNumber(const QVariant& raw, double& out)
{
    const int type = raw.userType();
    if (isNumberType(type)) {
        out = raw.toDouble();
        return !std::isnan(out);
    }
    if (type != QMetaType::QString && type != QMetaType::QByteArray) return false;
    const QString text = raw.toString().trimmed();
    if (text.isEmpty()) return false;
    bool ok = false;
    out = QLocale::c().toDouble(text, &ok);
    if (ok) return !std::isnan(out);
    // A decimal number QLocale refuses is one beyond a double ("1e400"): a number out of any range.
    static const QRegularExpression decimal(QStringLiteral("^([+-]?)(\\d+\\.?\\d*|\\.\\d+)([eE][+-]?\\d+)?$"));
    const QRegularExpressionMatch m = decimal.match(text);
    if (m.hasMatch()) {
        out = m.captured(1) == QLatin1String("-") ? -HUGE_VAL : HUGE_VAL;
        return true;
    }
    // QLocale takes "inf" but not every spelling of it; an infinity is a number out of range.
    const QString lower = text.toLower();
    if (lower == QLatin1String("inf") || lower == QLatin1String("+inf") || lower == QLatin1String("infinity")) {
        out = HUGE_VAL;
        return true;
    }
    if (lower == QLatin1String("-inf") || lower == QLatin1String("-infinity")) {
        out = -HUGE_VAL;
        return true;
    }
    return false;
}

}  // namespace

const QList<SettingRange>& settingRanges()
{
    static const QList<SettingRange> ranges = makeRanges();
    return ranges;
}

const SettingRange* settingRange(const QString& key)
{
    for (const SettingRange& r : settingRanges())
        if (r.key == key) return &r;
    return nullptr;
}

QString rangeText(const SettingRange& range)
{
    return QStringLiteral("%1%2, %3]")
        .arg(range.minOpen ? QLatin1Char('(') : QLatin1Char('['))
        .arg(QString::number(range.min), QString::number(range.max));
}

SettingValue checkSetting(const QString& key, const QVariant& raw)
{
    const SettingRange* range = settingRange(key);
    SettingValue v;
    v.value = range ? range->fallback : 0.0;
    if (!raw.isValid()) return v;

    double number = 0.0;
    const bool parsed = strictNumber(raw, number);
    if (!range) {
        if (parsed && std::isfinite(number))
            v.value = number;
        else
            v.error = QCoreApplication::translate("SettingRanges", kNotFinite).arg(key, rawText(raw));
        return v;
    }
    const QString where = rangeText(*range);
    if (!parsed) {
        v.error = QCoreApplication::translate("SettingRanges", kNotANumber).arg(key, rawText(raw), where);
    } else if (!std::isfinite(number) || number > range->max || number < range->min
               || (range->minOpen && number == range->min)) {
        v.error = QCoreApplication::translate("SettingRanges", kOutOfRange).arg(key, rawText(raw), where);
    } else if (range->whole && std::floor(number) != number) {
        v.error = QCoreApplication::translate("SettingRanges", kNotWhole).arg(key, rawText(raw), where);
    } else {
        v.value = number;
    }
    return v;
}

double settingOrDefault(const QString& key, const QVariant& raw, const std::function<void(const QString&)>& say)
{
    const SettingValue v = checkSetting(key, raw);
    if (v.ok()) return v.value;
    static QMutex mutex;
    static QSet<QString> said;
    bool first = false;
    {
        QMutexLocker lock(&mutex);
        const QString what = key + QLatin1Char('=') + rawText(raw);
        first = !said.contains(what);
        said.insert(what);
    }
    if (first && say)
        say(QCoreApplication::translate("SettingRanges", kDefaultUsed).arg(v.error, QString::number(v.value)));
    return v.value;
}

QString gainRangeError(double gainMin, double gainMax)
{
    if (!(gainMin > gainMax)) return QString();
    return QCoreApplication::translate("SettingRanges", kNoGainPass)
        .arg(FpnIni::GainMin, QString::number(gainMin), FpnIni::GainMax, QString::number(gainMax));
}

double SettingCheck::number(const QString& key, const QVariant& raw)
{
    const SettingValue v = checkSetting(key, raw);
    if (!v.ok()) {
        m_errors.append(v.error + QCoreApplication::translate("SettingRanges", "。"));
        m_badKeys.append(key);
    }
    return v.value;
}

double SettingCheck::read(const QString& key, double fallback)
{
    if (!m_settings || !m_settings->contains(key)) return fallback;
    return number(key, m_settings->value(key));
}

void SettingCheck::gainRange(double gainMin, double gainMax)
{
    if (m_badKeys.contains(FpnIni::GainMin) || m_badKeys.contains(FpnIni::GainMax)) return;
    const QString error = gainRangeError(gainMin, gainMax);
    if (!error.isEmpty()) m_errors.append(error);
}

void SettingCheck::refuse(const QString& message)
{
    m_errors.append(message);
}

QString SettingCheck::message() const
{
    return m_errors.join(QLatin1Char('\n'));
}
