#include "gcfeatures.h"

#include "gcstatus.h"

#include <algorithm>
#include <cmath>

namespace lsxgc {

namespace {

// A float feature without an increment of its own reports the smallest double.
double realIncrement(double inc)
{
    return (inc > 1e-12 && std::isfinite(inc)) ? inc : 0.0;
}

bool inRange(double v, double min, double max)
{
    const double slack = 1e-9 * std::max(1.0, std::max(std::fabs(min), std::fabs(max)));
    return v >= min - slack && v <= max + slack;
}

}  // namespace

ArvGcNode* Features::node(const char* name) const
{
    if (!m_device || !name || !*name) return nullptr;
    ArvGcNode* n = arv_device_get_feature(m_device, name);
    if (!n || !ARV_IS_GC_FEATURE_NODE(n)) return nullptr;
    ErrorSlot e;
    if (!arv_gc_feature_node_is_implemented(ARV_GC_FEATURE_NODE(n), e.out())) return nullptr;
    if (!arv_gc_feature_node_is_available(ARV_GC_FEATURE_NODE(n), e.out())) return nullptr;
    return n;
}

lsxStatus Features::take(GError* error)
{
    bool lost = false;
    const lsxStatus status = statusOf(error, &lost);
    if (lost && m_lost) m_lost->store(true);
    if (error) g_error_free(error);
    return status;
}

FeatureKind Features::kind(const char* name) const
{
    ArvGcNode* n = node(name);
    if (!n) return FeatureKind::Absent;
    if (ARV_IS_GC_ENUMERATION(n)) return FeatureKind::Enumeration;
    if (ARV_IS_GC_BOOLEAN(n)) return FeatureKind::Boolean;
    if (ARV_IS_GC_COMMAND(n)) return FeatureKind::Command;
    if (ARV_IS_GC_INTEGER(n)) return FeatureKind::Integer;
    if (ARV_IS_GC_FLOAT(n)) return FeatureKind::Float;
    if (ARV_IS_GC_STRING(n)) return FeatureKind::String;
    return FeatureKind::Other;
}

const char* Features::firstOf(std::initializer_list<const char*> names) const
{
    for (const char* n : names)
        if (has(n)) return n;
    return nullptr;
}

lsxStatus Features::getNumber(const char* name, double& value)
{
    ArvGcNode* n = node(name);
    if (!n) return LSX_ERR_NOT_SUPPORTED;
    GError* error = nullptr;
    if (ARV_IS_GC_ENUMERATION(n)) return LSX_ERR_NOT_SUPPORTED;
    if (ARV_IS_GC_INTEGER(n)) {
        const gint64 v = arv_gc_integer_get_value(ARV_GC_INTEGER(n), &error);
        if (!error) value = double(v);
    } else if (ARV_IS_GC_FLOAT(n)) {
        const double v = arv_gc_float_get_value(ARV_GC_FLOAT(n), &error);
        if (!error) value = v;
    } else {
        return LSX_ERR_NOT_SUPPORTED;
    }
    return take(error);
}

lsxStatus Features::bounds(const char* name, Bounds& out)
{
    ArvGcNode* n = node(name);
    if (!n || ARV_IS_GC_ENUMERATION(n)) return LSX_ERR_NOT_SUPPORTED;
    GError* error = nullptr;
    if (ARV_IS_GC_INTEGER(n)) {
        ArvGcInteger* i = ARV_GC_INTEGER(n);
        const gint64 min = arv_gc_integer_get_min(i, &error);
        if (error) return take(error);
        const gint64 max = arv_gc_integer_get_max(i, &error);
        if (error) return take(error);
        const gint64 inc = arv_gc_integer_get_inc(i, &error);
        if (error) return take(error);
        out = {double(min), double(max), double(inc > 0 ? inc : 1)};
        return LSX_OK;
    }
    if (ARV_IS_GC_FLOAT(n)) {
        ArvGcFloat* f = ARV_GC_FLOAT(n);
        const double min = arv_gc_float_get_min(f, &error);
        if (error) return take(error);
        const double max = arv_gc_float_get_max(f, &error);
        if (error) return take(error);
        const double inc = arv_gc_float_get_inc(f, &error);
        if (error) g_clear_error(&error);  // no increment is no fault
        out = {min, max, realIncrement(inc)};
        return LSX_OK;
    }
    return LSX_ERR_NOT_SUPPORTED;
}

lsxStatus Features::setNumber(const char* name, double value)
{
    ArvGcNode* n = node(name);
    if (!n || ARV_IS_GC_ENUMERATION(n)) return LSX_ERR_NOT_SUPPORTED;
    if (!std::isfinite(value)) return LSX_ERR_INVALID_ARG;
    Bounds b;
    if (const lsxStatus st = bounds(name, b); st != LSX_OK) return st;
    GError* error = nullptr;
    if (ARV_IS_GC_INTEGER(n)) {
        const double whole = std::nearbyint(value);
        if (!inRange(whole, b.min, b.max)) return LSX_ERR_OUT_OF_RANGE;
        const auto v = static_cast<gint64>(whole);
        const auto min = static_cast<gint64>(b.min), inc = static_cast<gint64>(b.inc);
        if (inc > 1 && (v - min) % inc != 0) return LSX_ERR_OUT_OF_RANGE;
        arv_gc_integer_set_value(ARV_GC_INTEGER(n), v, &error);
        return take(error);
    }
    if (ARV_IS_GC_FLOAT(n)) {
        if (!inRange(value, b.min, b.max)) return LSX_ERR_OUT_OF_RANGE;
        arv_gc_float_set_value(ARV_GC_FLOAT(n), std::min(std::max(value, b.min), b.max), &error);
        return take(error);
    }
    return LSX_ERR_NOT_SUPPORTED;
}

lsxStatus Features::getInteger(const char* name, int64_t& value)
{
    double v = 0.0;
    const lsxStatus st = getNumber(name, v);
    if (st == LSX_OK) value = static_cast<int64_t>(std::llround(v));
    return st;
}

lsxStatus Features::setInteger(const char* name, int64_t value)
{
    return setNumber(name, double(value));
}

lsxStatus Features::getEntry(const char* name, std::string& entry)
{
    ArvGcNode* n = node(name);
    if (!n || !ARV_IS_GC_ENUMERATION(n)) return LSX_ERR_NOT_SUPPORTED;
    GError* error = nullptr;
    const char* v = arv_gc_enumeration_get_string_value(ARV_GC_ENUMERATION(n), &error);
    if (!error) entry = v ? v : "";
    return take(error);
}

lsxStatus Features::getEntryValue(const char* name, int64_t& value)
{
    ArvGcNode* n = node(name);
    if (!n || !ARV_IS_GC_ENUMERATION(n)) return LSX_ERR_NOT_SUPPORTED;
    GError* error = nullptr;
    const gint64 v = arv_gc_enumeration_get_int_value(ARV_GC_ENUMERATION(n), &error);
    if (!error) value = v;
    return take(error);
}

lsxStatus Features::entries(const char* name, std::vector<std::string>& names, std::vector<int64_t>& values)
{
    names.clear();
    values.clear();
    ArvGcNode* n = node(name);
    if (!n || !ARV_IS_GC_ENUMERATION(n)) return LSX_ERR_NOT_SUPPORTED;
    GError* error = nullptr;
    guint count = 0;
    const char** strings = arv_gc_enumeration_dup_available_string_values(ARV_GC_ENUMERATION(n), &count, &error);
    if (error) {
        g_free(strings);
        return take(error);
    }
    guint countValues = 0;
    gint64* ints = arv_gc_enumeration_dup_available_int_values(ARV_GC_ENUMERATION(n), &countValues, &error);
    if (error) {
        g_free(strings);
        g_free(ints);
        return take(error);
    }
    for (guint i = 0; i < count; ++i) {
        names.emplace_back(strings[i] ? strings[i] : "");
        values.push_back(i < countValues ? ints[i] : int64_t(i));
    }
    g_free(strings);
    g_free(ints);
    return LSX_OK;
}

bool Features::hasEntry(const char* name, const char* entry)
{
    std::vector<std::string> names;
    std::vector<int64_t> values;
    if (entries(name, names, values) != LSX_OK) return false;
    for (const std::string& n : names)
        if (n == entry) return true;
    return false;
}

lsxStatus Features::setEntry(const char* name, const std::string& entry)
{
    ArvGcNode* n = node(name);
    if (!n || !ARV_IS_GC_ENUMERATION(n)) return LSX_ERR_NOT_SUPPORTED;
    std::vector<std::string> names;
    std::vector<int64_t> values;
    if (const lsxStatus st = entries(name, names, values); st != LSX_OK) return st;
    bool found = false;
    for (const std::string& e : names) found = found || e == entry;
    if (!found) return LSX_ERR_OUT_OF_RANGE;
    GError* error = nullptr;
    arv_gc_enumeration_set_string_value(ARV_GC_ENUMERATION(n), entry.c_str(), &error);
    return take(error);
}

lsxStatus Features::getBoolean(const char* name, bool& value)
{
    ArvGcNode* n = node(name);
    if (!n || !ARV_IS_GC_BOOLEAN(n)) return LSX_ERR_NOT_SUPPORTED;
    GError* error = nullptr;
    const gboolean v = arv_gc_boolean_get_value(ARV_GC_BOOLEAN(n), &error);
    if (!error) value = v != FALSE;
    return take(error);
}

lsxStatus Features::setBoolean(const char* name, bool value)
{
    ArvGcNode* n = node(name);
    if (!n || !ARV_IS_GC_BOOLEAN(n)) return LSX_ERR_NOT_SUPPORTED;
    GError* error = nullptr;
    arv_gc_boolean_set_value(ARV_GC_BOOLEAN(n), value ? TRUE : FALSE, &error);
    return take(error);
}

lsxStatus Features::execute(const char* name)
{
    ArvGcNode* n = node(name);
    if (!n || !ARV_IS_GC_COMMAND(n)) return LSX_ERR_NOT_SUPPORTED;
    GError* error = nullptr;
    arv_gc_command_execute(ARV_GC_COMMAND(n), &error);
    return take(error);
}

lsxStatus Features::getText(const char* name, std::string& text)
{
    ArvGcNode* n = node(name);
    if (!n || ARV_IS_GC_COMMAND(n)) return LSX_ERR_NOT_SUPPORTED;
    GError* error = nullptr;
    const char* v = arv_gc_feature_node_get_value_as_string(ARV_GC_FEATURE_NODE(n), &error);
    if (!error) text = v ? v : "";
    return take(error);
}

lsxStatus Features::setText(const char* name, const std::string& text)
{
    switch (kind(name)) {
    case FeatureKind::Absent: return LSX_ERR_NOT_SUPPORTED;
    case FeatureKind::Command: return execute(name);
    case FeatureKind::Enumeration: return setEntry(name, text);
    case FeatureKind::Boolean:
        if (text == "true" || text == "1") return setBoolean(name, true);
        if (text == "false" || text == "0") return setBoolean(name, false);
        return LSX_ERR_INVALID_ARG;
    case FeatureKind::Integer:
    case FeatureKind::Float: {
        char* end = nullptr;
        const double v = g_ascii_strtod(text.c_str(), &end);  // not the program's locale
        if (text.empty() || !end || *end != '\0') return LSX_ERR_INVALID_ARG;
        return setNumber(name, v);
    }
    default: break;
    }
    GError* error = nullptr;
    arv_gc_feature_node_set_value_from_string(ARV_GC_FEATURE_NODE(node(name)), text.c_str(), &error);
    return take(error);
}

void Features::select(const char* selector, const char* entry)
{
    if (!hasEntry(selector, entry)) return;
    std::string current;
    if (getEntry(selector, current) == LSX_OK && current == entry) return;
    setEntry(selector, entry);
}

lsxStatus Features::probe()
{
    if (!m_device) return LSX_ERR_NOT_CONNECTED;
    GError* error = nullptr;
    guint32 value = 0;
    arv_device_read_register(m_device, 0, &value, &error);
    return take(error);
}

}  // namespace lsxgc
