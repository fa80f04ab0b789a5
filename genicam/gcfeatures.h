#pragma once
// Typed access to the features of a camera's GenICam tree, every answer a status.
//
// A feature that the tree does not have, that is not implemented or not available at the moment
// reads as absent (-2). Values are checked against the feature's bounds and increment before
// anything is written (-5), so that a value out of range never reaches the camera. An error that
// means the camera stopped answering marks the link lost through the flag given at construction.
// Not thread-safe: the camera's own lock serializes the callers.

#include "lsx.h"

#include <arv.h>

#include <atomic>
#include <cstdint>
#include <initializer_list>
#include <string>
#include <vector>

namespace lsxgc {

enum class FeatureKind { Absent, Integer, Float, Enumeration, Boolean, Command, String, Other };

struct Bounds {
    double min = 0.0;
    double max = 0.0;
    double inc = 0.0;  // 0 when the feature gives none
};

class Features {
public:
    Features(ArvDevice* device, std::atomic<bool>* linkLost) : m_device(device), m_lost(linkLost) {}

    FeatureKind kind(const char* name) const;
    bool has(const char* name) const { return kind(name) != FeatureKind::Absent; }
    // The first of the names that the camera has, or nullptr.
    const char* firstOf(std::initializer_list<const char*> names) const;

    // Integer and float features alike, as double; an integer feature takes the nearest whole
    // value, which must lie on its increment.
    lsxStatus getNumber(const char* name, double& value);
    lsxStatus setNumber(const char* name, double value);
    lsxStatus bounds(const char* name, Bounds& out);

    lsxStatus getInteger(const char* name, int64_t& value);
    lsxStatus setInteger(const char* name, int64_t value);

    // Enumerations by their entry names; only the entries available now count.
    lsxStatus getEntry(const char* name, std::string& entry);
    lsxStatus setEntry(const char* name, const std::string& entry);
    lsxStatus entries(const char* name, std::vector<std::string>& names, std::vector<int64_t>& values);
    bool hasEntry(const char* name, const char* entry);
    lsxStatus getEntryValue(const char* name, int64_t& value);

    lsxStatus getBoolean(const char* name, bool& value);
    lsxStatus setBoolean(const char* name, bool value);

    lsxStatus execute(const char* name);

    // Any feature as text, and from text.
    lsxStatus getText(const char* name, std::string& text);
    lsxStatus setText(const char* name, const std::string& text);

    // A selector set to one of its entries when the camera has both; otherwise nothing is written.
    void select(const char* selector, const char* entry);

    // One register read that proves the camera still answers.
    lsxStatus probe();

    ArvDevice* device() const { return m_device; }

private:
    ArvGcNode* node(const char* name) const;
    lsxStatus take(GError* error);

    ArvDevice* m_device;
    std::atomic<bool>* m_lost;
};

}  // namespace lsxgc
