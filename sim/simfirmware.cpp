// The simulated camera's firmware: property keys, registers, memory windows, the correction
// sets it stores (FPN, flat field, lens shading) and how they act on the sensor's data.
#include "simcamera_p.h"

#include <algorithm>
#include <cmath>

namespace lsxsim {

namespace {

bool rgbOrder(int target)
{
    return target == FORMAT_RGB24 || target == FORMAT_RGB32;
}

int indexOf(const std::vector<std::string>& list, const std::string& v)
{
    for (size_t i = 0; i < list.size(); ++i)
        if (list[i] == v) return int(i);
    return -1;
}

uint16_t rd16(const uint8_t* p)
{
    return uint16_t(p[0] | (p[1] << 8));
}
uint32_t rd32(const uint8_t* p)
{
    return uint32_t(p[0] | (p[1] << 8) | (p[2] << 16) | (uint32_t(p[3]) << 24));
}

}  // namespace

// ---- selections ----

std::vector<std::string> Camera::selectionLocked(const std::string& key) const
{
    std::vector<std::string> out;
    if (key == "FPNC.Selector") {
        out.push_back("factory");
        for (int i = 0; i < kFpnUserSets; ++i) out.push_back("UserSet" + std::to_string(i));
    } else if (key == "PRNUC" || key == "LSC") {
        out.push_back("Disable");
        const int n = key == "PRNUC" ? kFfcSets : kLscSets;
        for (int i = 0; i < n; ++i) out.push_back("UserSet" + std::to_string(i));
    }
    return out;
}

std::string& Camera::selectionValueLocked(const std::string& key)
{
    if (key == "FPNC.Selector") return m_s->fpnSel;
    if (key == "PRNUC") return m_s->prnuc;
    return m_s->lsc;
}

lsxStatus Camera::getSelectionDescr(const char* key, lsxSelectionDescr* d)
{
    if (!key || !d) return LSX_ERR_INVALID_ARG;
    Lock lock(m_mutex);
    const auto list = selectionLocked(key);
    if (list.empty()) return LSX_ERR_NOT_SUPPORTED;
    d->count = int32_t(list.size());
    d->defaultIndex = std::string(key) == "FPNC.Selector" ? 1 : 0;
    return LSX_OK;
}

lsxStatus Camera::getSelectionDetail(const char* key, int32_t i, lsxSelectionDetail* d)
{
    if (!key || !d) return LSX_ERR_INVALID_ARG;
    Lock lock(m_mutex);
    const auto list = selectionLocked(key);
    if (list.empty()) return LSX_ERR_NOT_SUPPORTED;
    if (i < 0 || i >= int(list.size())) return LSX_ERR_OUT_OF_RANGE;
    std::memset(d, 0, sizeof *d);
    copyText(d->text, sizeof d->text, list[size_t(i)]);
    d->index = i;
    return LSX_OK;
}

// ---- configuration strings ----

lsxStatus Camera::getConfigString(const char* key, char* value, uint32_t size)
{
    if (!key || !value || size == 0) return LSX_ERR_INVALID_ARG;
    Lock lock(m_mutex);
    const std::string k = key;
    std::string v;
    char num[64];
    if (k == "FPNC.Selector" || k == "PRNUC" || k == "LSC") {
        v = selectionValueLocked(k);
    } else if (k == "FPNC.Enable") {
        v = m_s->fpnEnable ? "true" : "false";
    } else if (k == "ReverseX") {
        v = m_s->reverseX ? "true" : "false";
    } else if (k == "LineRate") {
        std::snprintf(num, sizeof num, "%g", m_s->lineRate);
        v = num;
    } else if ((k == "SCS.LineShift" || k == "SCS.PixelShift") && m_def.planes == 3) {
        std::snprintf(num, sizeof num, "%g", k == "SCS.LineShift" ? m_s->scsLine : m_s->scsPixel);
        v = num;
    } else {
        return LSX_ERR_NOT_SUPPORTED;
    }
    if (v.size() + 1 > size) return LSX_ERR_BLOCK_SIZE;
    copyText(value, size, v);
    return LSX_OK;
}

lsxStatus Camera::setConfigString(const char* key, const char* value)
{
    if (!key || !value) return LSX_ERR_INVALID_ARG;
    Lock lock(m_mutex);
    const std::string k = key, v = value;
    auto parseBool = [&](bool& field) {
        if (v != "true" && v != "false") return LSX_ERR_INVALID_ARG;
        field = v == "true";
        return LSX_OK;
    };
    auto parseNumber = [&](double& out) {
        char* end = nullptr;
        out = std::strtod(v.c_str(), &end);
        return !v.empty() && end && *end == 0 && std::isfinite(out);
    };
    lsxStatus st = LSX_OK;
    if (k == "FPNC.Selector" || k == "PRNUC" || k == "LSC") {
        const int i = indexOf(selectionLocked(k), v);
        if (i < 0) return LSX_ERR_OUT_OF_RANGE;
        selectionValueLocked(k) = v;
        // A flat-field record written while no set was selected lands in the next set chosen.
        if (k == "PRNUC" && i > 0 && m_ffcPending.written) {
            m_ffc[size_t(i - 1)] = m_ffcPending;
            m_ffcPending = FfcSet{};
            saveNvLocked();
        }
    } else if (k == "FPNC.Enable") {
        st = parseBool(m_s->fpnEnable);
    } else if (k == "ReverseX") {
        st = parseBool(m_s->reverseX);
    } else if (k == "LineRate") {
        double d = 0;
        if (!parseNumber(d)) return LSX_ERR_INVALID_ARG;
        if (d < 100 || d > 200000) return LSX_ERR_OUT_OF_RANGE;
        m_s->lineRate = d;
    } else if ((k == "SCS.LineShift" || k == "SCS.PixelShift") && m_def.planes == 3) {
        double d = 0;
        if (!parseNumber(d)) return LSX_ERR_INVALID_ARG;
        if (d < -50 || d > 50) return LSX_ERR_OUT_OF_RANGE;
        (k == "SCS.LineShift" ? m_s->scsLine : m_s->scsPixel) = d;
    } else {
        return LSX_ERR_NOT_SUPPORTED;
    }
    invalidateLocked();
    return st;
}

// ---- enumerations (the binning of the "USER" resolution mode) ----

namespace {
struct EnumDef {
    const char* name;
    std::vector<int64_t> values;
    std::vector<const char*> names;
};
const EnumDef* findEnum(const char* name)
{
    static const EnumDef defs[] = {{"BinningMode", {0, 1}, {"SUM", "BIN"}},
                                   {"BinningHorizontal", {1, 2, 4}, {"1", "2", "4"}},
                                   {"BinningVertical", {1, 2, 4}, {"1", "2", "4"}}};
    for (const auto& d : defs)
        if (name && std::strcmp(d.name, name) == 0) return &d;
    return nullptr;
}
}  // namespace

lsxStatus Camera::getEnumValue(const char* name, int64_t* current, int64_t* values, int32_t* count)
{
    if (!name || !count) return LSX_ERR_INVALID_ARG;
    const EnumDef* e = findEnum(name);
    if (!e || !m_def.binningEnums) return LSX_ERR_NOT_SUPPORTED;
    Lock lock(m_mutex);
    const std::string n = name;
    if (current) *current = n == "BinningMode" ? m_s->binMode : n == "BinningHorizontal" ? m_s->binH : m_s->binV;
    const int32_t total = int32_t(e->values.size());
    if (values) {
        if (*count < total) {
            *count = total;
            return LSX_ERR_BLOCK_SIZE;
        }
        for (int32_t i = 0; i < total; ++i) values[i] = e->values[size_t(i)];
    }
    *count = total;
    return LSX_OK;
}

lsxStatus Camera::getEnumName(const char* name, int32_t index, char* text, uint32_t size)
{
    if (!name || !text || size == 0) return LSX_ERR_INVALID_ARG;
    const EnumDef* e = findEnum(name);
    if (!e || !m_def.binningEnums) return LSX_ERR_NOT_SUPPORTED;
    if (index < 0 || index >= int32_t(e->names.size())) return LSX_ERR_OUT_OF_RANGE;
    copyText(text, size, e->names[size_t(index)]);
    return LSX_OK;
}

lsxStatus Camera::setEnumByString(const char* name, const char* value)
{
    if (!name || !value) return LSX_ERR_INVALID_ARG;
    const EnumDef* e = findEnum(name);
    if (!e || !m_def.binningEnums) return LSX_ERR_NOT_SUPPORTED;
    int64_t v = -1;
    for (size_t i = 0; i < e->names.size(); ++i)
        if (std::strcmp(e->names[i], value) == 0) v = e->values[i];
    if (v < 0) return LSX_ERR_OUT_OF_RANGE;
    Lock lock(m_mutex);
    const std::string n = name;
    (n == "BinningMode" ? m_s->binMode : n == "BinningHorizontal" ? m_s->binH : m_s->binV) = int(v);
    if (m_def.resModes[size_t(m_s->resMode)] == "USER") {
        m_s->roiX = 0;
        m_s->roiW = outWidthLocked();
    }
    invalidateLocked();
    return LSX_OK;
}

// ---- registers and memory ----

lsxStatus Camera::readReg(uint32_t reg, uint32_t* v)
{
    if (!v) return LSX_ERR_INVALID_ARG;
    Lock lock(m_mutex);
    if (reg == GVR_SEN_BLACK_LEVEL) {
        *v = m_def.blackLevelReg ? (m_s->blackReg & 0xFF) : LSX_REG_UNSUPPORTED;
    } else if (reg == GVR_LSC_SET_INDEX) {
        *v = m_s->lscIndexReg;
    } else if (reg == GVR_FLASH_STORE) {
        *v = 0;
    } else if (m_def.registers.count(reg)) {
        *v = m_def.registers.at(reg);
    } else if (m_s->regs.count(reg)) {
        *v = m_s->regs.at(reg);
    } else {
        return LSX_ERR_ADDRESS;
    }
    return LSX_OK;
}

lsxStatus Camera::writeReg(uint32_t reg, uint32_t v)
{
    Lock lock(m_mutex);
    if (reg == GVR_SEN_BLACK_LEVEL) {
        if (!m_def.blackLevelReg) return LSX_ERR_NOT_SUPPORTED;
        const int32_t s = int32_t(v);
        if (s < -128 || s > 255) return LSX_ERR_OUT_OF_RANGE;
        m_s->blackReg = uint32_t(s) & 0xFF;  // the sensor keeps one byte
        saveNvLocked();
    } else if (reg == GVR_LSC_SET_INDEX) {
        if (((v >> 16) & 0xFF) >= uint32_t(kLscSets)) return LSX_ERR_OUT_OF_RANGE;
        m_s->lscIndexReg = v;
    } else if (reg == GVR_FLASH_STORE) {
        if (v != LSX_FLASH_STORE_LSC) return LSX_ERR_OUT_OF_RANGE;
        if (m_lscMem.empty()) return -51;  // nothing to store
        m_lscSets[(m_s->lscIndexReg >> 16) & 0xFF] = m_lscMem;
        saveNvLocked();
    } else if (m_def.registers.count(reg)) {
        return -54;  // read-only
    } else {
        m_s->regs[reg] = v;
    }
    invalidateLocked();
    return LSX_OK;
}

bool Camera::lscBlockValid(const std::vector<uint8_t>& b, lsxStatus* why) const
{
    if (b.size() < 16 || rd32(b.data()) != LSX_LSC_MAGIC) {
        *why = LSX_ERR_CHECKSUM;
        return false;
    }
    const uint32_t payload = rd16(&b[14]);
    if (payload == 0 || payload % 64 || payload > 4 * 64 || 16 + payload > b.size()) {
        *why = LSX_ERR_BLOCK_SIZE;
        return false;
    }
    uint32_t sum = 0;
    for (uint32_t i = 0; i < payload; ++i) sum += b[16 + i];
    if ((sum & 0xFFFF) != rd16(&b[12])) {
        *why = LSX_ERR_CHECKSUM;
        return false;
    }
    return true;
}

lsxStatus Camera::writeMem(uint64_t addr, const void* buf, uint32_t size)
{
    if (!buf || size == 0) return LSX_ERR_INVALID_ARG;
    if (addr != LSX_MEM_LSC_BLOCK) {
        if (addr >= LSX_MEM_FFC_SET && addr < LSX_MEM_FFC_SET + kFfcWindow) return -54;  // read-only window
        return LSX_ERR_ADDRESS;
    }
    if (size > kLscWindow) return LSX_ERR_BLOCK_SIZE;
    std::vector<uint8_t> block(static_cast<const uint8_t*>(buf), static_cast<const uint8_t*>(buf) + size);
    lsxStatus why = LSX_OK;
    if (!lscBlockValid(block, &why)) return why;
    Lock lock(m_mutex);
    block.resize(16 + rd16(&block[14]));
    m_lscMem = block;
    return LSX_OK;
}

lsxStatus Camera::readMem(uint64_t addr, void* buf, uint32_t size)
{
    if (!buf || size == 0) return LSX_ERR_INVALID_ARG;
    Lock lock(m_mutex);
    std::vector<uint8_t> image;
    uint64_t base = 0, window = 0;
    if (addr >= LSX_MEM_FFC_SET && addr < LSX_MEM_FFC_SET + kFfcWindow) {
        base = LSX_MEM_FFC_SET;
        window = kFfcWindow;
        // The flat-field set selected by "PRNUC": 16-byte head, then K * 2^14 planar.
        image.assign(16, 0);
        const int i = indexOf(selectionLocked("PRNUC"), m_s->prnuc);
        if (i > 0 && m_ffc[size_t(i - 1)].written) {
            const FfcSet& f = m_ffc[size_t(i - 1)];
            const uint32_t cols = uint32_t(f.k[0].size());
            const uint32_t payload = uint32_t(cols * f.channels * 2);
            image[8] = uint8_t(cols);
            image[9] = uint8_t(cols >> 8);
            image[14] = uint8_t(payload);
            image[15] = uint8_t(payload >> 8);
            for (const auto& ch : f.k)
                for (uint16_t k : ch) {
                    image.push_back(uint8_t(k));
                    image.push_back(uint8_t(k >> 8));
                }
        }
    } else if (addr >= LSX_MEM_LSC_BLOCK && addr < LSX_MEM_LSC_BLOCK + kLscWindow) {
        base = LSX_MEM_LSC_BLOCK;
        window = kLscWindow;
        image = m_lscMem;
    } else {
        return LSX_ERR_ADDRESS;
    }
    if (addr + size > base + window) return LSX_ERR_BLOCK_SIZE;
    auto* out = static_cast<uint8_t*>(buf);
    for (uint32_t i = 0; i < size; ++i) {
        const uint64_t at = addr - base + i;
        out[i] = at < image.size() ? image[size_t(at)] : 0;
    }
    return LSX_OK;
}

// ---- property keys ----

lsxStatus Camera::get(uint32_t key, void* payload, uint32_t* size)
{
    if (!payload) return LSX_ERR_INVALID_ARG;
    switch (key) {
    case LSX_KEY_CORRECTION_SWITCH: {
        if (size && *size < 104) return LSX_ERR_BLOCK_SIZE;
        Lock lock(m_mutex);
        std::memcpy(payload, m_s->sw, 104);
        if (size) *size = 104;
        return LSX_OK;
    }
    case LSX_KEY_FPN: return getFpnRecord(payload, size);
    case LSX_KEY_FPN_ENABLE: {
        if (size && *size < 1) return LSX_ERR_BLOCK_SIZE;
        Lock lock(m_mutex);
        *static_cast<uint8_t*>(payload) = m_s->fpnEnable ? 1 : 0;
        if (size) *size = 1;
        return LSX_OK;
    }
    case LSX_KEY_GAIN_TABLE: {
        if (!size) return LSX_ERR_INVALID_ARG;
        Lock lock(m_mutex);
        if (m_gainTable.empty()) return -51;
        if (*size < m_gainTable.size()) return LSX_ERR_BLOCK_SIZE;
        std::memcpy(payload, m_gainTable.data(), m_gainTable.size());
        *size = uint32_t(m_gainTable.size());
        return LSX_OK;
    }
    case LSX_KEY_SENSOR_REG: {
        if (m_def.blackLevelReg) return LSX_ERR_NOT_SUPPORTED;
        auto* pair = static_cast<lsxRegPair*>(payload);
        Lock lock(m_mutex);
        if (pair->reg == LSX_SENSOR_REG_DOFFSET_MAG)
            pair->value = m_s->reg83;
        else if (pair->reg == LSX_SENSOR_REG_DOFFSET_SIGN)
            pair->value = m_s->reg84;
        else
            return LSX_ERR_ADDRESS;
        return LSX_OK;
    }
    case LSX_KEY_FACTORY: {
        if (size && *size < 128) return LSX_ERR_BLOCK_SIZE;
        Lock lock(m_mutex);
        std::memcpy(payload, m_def.factory.data(), 128);
        if (size) *size = 128;
        return LSX_OK;
    }
    default: return LSX_ERR_NOT_SUPPORTED;
    }
}

lsxStatus Camera::set(uint32_t key, void* payload, uint32_t* size)
{
    if (!payload) return LSX_ERR_INVALID_ARG;
    switch (key) {
    case LSX_KEY_CORRECTION_SWITCH: {
        if (size && *size < 104) return LSX_ERR_BLOCK_SIZE;
        Lock lock(m_mutex);
        std::memcpy(m_s->sw, payload, 104);
        invalidateLocked();
        return LSX_OK;
    }
    case LSX_KEY_FPN: {
        if (size && *size < sizeof(lsxFpnHeader)) return LSX_ERR_BLOCK_SIZE;
        const auto* h = static_cast<const lsxFpnHeader*>(payload);
        if ((h->type & 0xF) == LSX_FPN_FLATFIELD) return setFfcRecord(h);
        return setFpnRecord(h, size);
    }
    case LSX_KEY_FPN_ENABLE: {
        Lock lock(m_mutex);
        m_s->fpnEnable = *static_cast<const uint8_t*>(payload) != 0;
        invalidateLocked();
        return LSX_OK;
    }
    case LSX_KEY_GAIN_TABLE: {
        if (!size || *size < 544 || *size > (1u << 22)) return LSX_ERR_BLOCK_SIZE;
        Lock lock(m_mutex);
        const auto* b = static_cast<const uint8_t*>(payload);
        m_gainTable.assign(b, b + *size);
        saveNvLocked();
        return LSX_OK;
    }
    case LSX_KEY_SENSOR_REG: {
        if (m_def.blackLevelReg) return LSX_ERR_NOT_SUPPORTED;
        const auto* pair = static_cast<const lsxRegPair*>(payload);
        Lock lock(m_mutex);
        if (pair->reg == LSX_SENSOR_REG_DOFFSET_MAG) {
            if (pair->value > 255) return LSX_ERR_OUT_OF_RANGE;
            m_s->reg83 = pair->value;
        } else if (pair->reg == LSX_SENSOR_REG_DOFFSET_SIGN) {
            if (pair->value != 0 && pair->value != 8) return LSX_ERR_OUT_OF_RANGE;
            m_s->reg84 = pair->value;
        } else {
            return LSX_ERR_ADDRESS;
        }
        saveNvLocked();
        invalidateLocked();
        return LSX_OK;
    }
    case LSX_KEY_FACTORY: {
        Lock lock(m_mutex);
        if (m_mode != LSX_OPEN_FACTORY) return LSX_ERR_WRITE_PROTECTED;
        if (size && *size < 128) return LSX_ERR_BLOCK_SIZE;
        std::memcpy(m_def.factory.data(), payload, 128);
        m_factoryWritten = true;
        saveNvLocked();
        return LSX_OK;
    }
    default: return LSX_ERR_NOT_SUPPORTED;
    }
}

// The FPN record of key 45. Types 0, 2, 3, 5, 6; the data, float32 pairs K, B, follow the
// 40-byte head at the address it holds. B comes in the units of the head's bit depth.
lsxStatus Camera::setFpnRecord(const lsxFpnHeader* h, uint32_t*)
{
    const uint32_t type = h->type & 0xF;
    if (type != LSX_FPN_WHOLE && type != LSX_FPN_DARK && type != LSX_FPN_BRIGHT && type != LSX_FPN_FACTORY_DARK
        && type != LSX_FPN_FACTORY_KBAND)
        return LSX_ERR_INVALID_ARG;
    if (!h->data) return LSX_ERR_INVALID_ARG;
    const uint64_t n = uint64_t(h->columns) * std::max<uint32_t>(1, h->lines);
    if (n == 0 || h->dataSize != n * 8 || n > (1u << 24)) return LSX_ERR_BLOCK_SIZE;
    const auto* pairs = static_cast<const float*>(h->data);

    Lock lock(m_mutex);
    const bool factoryRecord =
        type == LSX_FPN_FACTORY_DARK || type == LSX_FPN_FACTORY_KBAND || (type == LSX_FPN_WHOLE && !m_def.area);
    const std::string target = factoryRecord ? std::string("factory") : m_s->fpnSel;
    if (target == "factory" && m_mode != LSX_OPEN_FACTORY) return LSX_ERR_WRITE_PROTECTED;

    // Shape of the data: sensor lines row after row, or planes (and gains) interleaved by column.
    const int P = m_def.planes;
    int rows, cols, rowsPerGain;
    bool perLine;
    if (h->lines > 1) {
        rows = int(h->lines);
        cols = int(h->columns);
        rowsPerGain = rows;
        perLine = true;
    } else {
        perLine = m_def.lines > 1 && P == 1;
        cols = 0;
        for (int c : {m_s->roiW, outWidthLocked()})
            if (c > 0 && n % uint64_t(c * P) == 0) {
                cols = c;
                break;
            }
        if (!cols) {
            if (n % uint64_t(P)) return LSX_ERR_BLOCK_SIZE;
            cols = int(n / uint64_t(P));
        }
        rows = int(n / uint64_t(cols));
        rowsPerGain = rows % P == 0 ? P : rows;
    }
    // B to DN10: on the scale of the head's bit depth; the area sensor's firmware always takes
    // B on the 8-bit scale (its dark field is measured in 8-bit units whatever the output).
    const float scale = (h->bits == 0 || m_def.area) ? 4.0f : 1.0f / 64.0f;
    const bool swap = P == 3 && rgbOrder(m_s->target);
    std::vector<std::vector<float>> K(size_t(rows), std::vector<float>(size_t(cols), 0.0f));
    std::vector<std::vector<float>> B = K;
    for (int r = 0; r < rows; ++r) {
        int rr = r;
        if (swap) rr = (r / 3) * 3 + (2 - r % 3);  // stored in B, G, R order
        for (int x = 0; x < cols; ++x) {
            const size_t e = perLine ? size_t(r) * cols + x : size_t(x) * rows + r;
            K[size_t(rr)][size_t(x)] = pairs[2 * e];
            B[size_t(rr)][size_t(x)] = pairs[2 * e + 1] * scale;
        }
    }

    FpnSet& set = m_fpn[target];
    const bool sameShape = set.written && int(set.k.size()) == rows && !set.k.empty() && int(set.k[0].size()) == cols;
    auto reshape = [&] {
        set.perLine = perLine;
        set.rowsPerGain = rowsPerGain;
        set.gains = std::max(1, rows / rowsPerGain);
    };
    switch (type) {
    case LSX_FPN_DARK:
        if (!sameShape) set.k.assign(size_t(rows), std::vector<float>(size_t(cols), 1.0f));
        set.b = B;
        reshape();
        break;
    case LSX_FPN_BRIGHT:
        if (!sameShape || set.b.size() != size_t(rows)) set.b = B;
        set.k = K;
        reshape();
        break;
    case LSX_FPN_WHOLE:
    case LSX_FPN_FACTORY_DARK:
        set.k = K;
        set.b = B;
        set.bandLevels.clear();
        set.bandK.clear();
        reshape();
        break;
    case LSX_FPN_FACTORY_KBAND: {
        if (!set.written || set.k.size() != size_t(rows)) {
            set.k = K;
            set.b = B;
            reshape();
        }
        const float level = float(h->level);
        size_t at = 0;
        while (at < set.bandLevels.size() && set.bandLevels[at] < level) ++at;
        if (at < set.bandLevels.size() && set.bandLevels[at] == level) {
            set.bandK[at] = K;
        } else {
            set.bandLevels.insert(set.bandLevels.begin() + long(at), level);
            set.bandK.insert(set.bandK.begin() + long(at), K);
        }
        break;
    }
    default: break;
    }
    set.doffset = int(int8_t(h->doffset));
    set.written = true;
    saveNvLocked();
    invalidateLocked();
    return LSX_OK;
}

lsxStatus Camera::getFpnRecord(void* payload, uint32_t* size)
{
    if (!size || *size < sizeof(lsxFpnHeader)) return LSX_ERR_BLOCK_SIZE;
    auto* h = static_cast<lsxFpnHeader*>(payload);
    const uint64_t n = uint64_t(h->columns) * std::max<uint32_t>(1, h->lines);
    if (n == 0 || n > (1u << 24) || *size < 40 + n * 8) return LSX_ERR_BLOCK_SIZE;
    Lock lock(m_mutex);
    const FpnSet& set = m_fpn[m_s->fpnSel];
    const int outW = outWidthLocked();
    const int P = n % uint64_t(outW) == 0 ? int(n / uint64_t(outW)) : m_def.planes;
    const int cols = int(n / uint64_t(P));
    const bool sixteen = m_def.planes == 1 && m_s->target == FORMAT_MONO16;
    const float toOut = sixteen && !m_def.area ? 64.0f : 0.25f;
    const bool swap = P == 3 && rgbOrder(m_s->target);
    const int block = set.written ? std::clamp(int(std::lround(m_s->gain - 1.0f)), 0, set.gains - 1) : 0;
    auto* pairs = reinterpret_cast<float*>(static_cast<uint8_t*>(payload) + 40);
    for (int x = 0; x < cols; ++x)
        for (int p = 0; p < P; ++p) {
            const int plane = swap ? 2 - p : p;
            const size_t row = size_t(block * set.rowsPerGain + plane);
            float k = 1.0f, b = 0.0f;
            if (set.written && row < set.k.size() && size_t(x) < set.k[row].size()) {
                k = set.k[row][size_t(x)];
                b = set.b[row][size_t(x)] * toOut;
            }
            pairs[2 * (size_t(x) * P + p)] = k;
            pairs[2 * (size_t(x) * P + p) + 1] = b;
        }
    h->lines = 1;
    h->columns = uint32_t(n);
    h->bits = sixteen ? LSX_BITS_16 : LSX_BITS_8;
    h->doffset = uint8_t(set.written ? set.doffset : doffsetLocked());
    h->type = 0;
    h->dataSize = uint32_t(n * 8);
    h->data = static_cast<uint8_t*>(payload) + 40;
    *size = uint32_t(40 + n * 8);
    return LSX_OK;
}

// A flat-field set, record type 4: K per column and channel in the target's memory order
// (planar by line on a multi-line sensor). It lands in the set "PRNUC" selects, or, with
// "Disable" selected, in the set selected next.
lsxStatus Camera::setFfcRecord(const lsxFpnHeader* h)
{
    if (!h->data) return LSX_ERR_INVALID_ARG;
    const uint64_t n = uint64_t(h->columns) * std::max<uint32_t>(1, h->lines);
    if (n == 0 || h->dataSize != n * 8 || n > (1u << 20)) return LSX_ERR_BLOCK_SIZE;
    const auto* pairs = static_cast<const float*>(h->data);
    Lock lock(m_mutex);
    FfcSet f;
    const bool planar = h->lines > 1;
    int channels = planar ? int(h->lines) : m_def.planes;
    if (!planar && m_def.planes == 3 && (m_s->target == FORMAT_BGR32 || m_s->target == FORMAT_RGB32) && n % 4 == 0)
        channels = 4;
    if (n % uint64_t(channels)) return LSX_ERR_BLOCK_SIZE;
    const int cols = int(n / uint64_t(channels));
    const bool swap = !planar && m_def.planes == 3 && rgbOrder(m_s->target);
    f.channels = std::min(channels, planar ? channels : m_def.planes);
    f.k.assign(size_t(f.channels), std::vector<uint16_t>(size_t(cols)));
    for (int c = 0; c < channels; ++c) {
        const int ch = swap && c < 3 ? 2 - c : c;
        if (ch >= f.channels) continue;
        for (int x = 0; x < cols; ++x) {
            const size_t e = planar ? size_t(c) * cols + x : size_t(x) * channels + c;
            const double k = pairs[2 * e];
            f.k[size_t(ch)][size_t(x)] = uint16_t(std::clamp(std::lround(k * 16384.0), 0L, 65535L));
        }
    }
    f.domain = cols == m_def.width ? 0 : cols == outWidthLocked() ? 1 : 2;
    f.roiX = m_s->roiX;
    f.written = true;
    const int i = indexOf(selectionLocked("PRNUC"), m_s->prnuc);
    if (i > 0) {
        m_ffc[size_t(i - 1)] = f;
        saveNvLocked();
    } else {
        m_ffcPending = f;
    }
    invalidateLocked();
    return LSX_OK;
}

// The per-column terms of the corrections that are switched on, for the frame pipeline.
void Camera::buildCorrectionsLocked(Pipeline& p)
{
    const Settings& s = *m_s;
    const FpnSet* fpn = nullptr;
    if (s.fpnEnable) {
        auto it = m_fpn.find(s.fpnSel);
        if (it != m_fpn.end() && it->second.written) fpn = &it->second;
    }
    const bool master = s.sw[1] == 1;
    const FfcSet* ffc = nullptr;
    if (master && (s.sw[6] == LSX_SWITCH_FLAT_ONLY || s.sw[6] == LSX_SWITCH_BOTH)) {
        const int i = indexOf(selectionLocked("PRNUC"), s.prnuc);
        if (i > 0 && m_ffc[size_t(i - 1)].written) ffc = &m_ffc[size_t(i - 1)];
    }
    const std::vector<uint8_t>* lsc = nullptr;
    if (master && (s.sw[6] == LSX_SWITCH_LENS_ONLY || s.sw[6] == LSX_SWITCH_BOTH)) {
        const int i = indexOf(selectionLocked("LSC"), s.lsc);
        lsxStatus why = LSX_OK;
        if (i > 0 && lscBlockValid(m_lscSets[size_t(i - 1)], &why)) lsc = &m_lscSets[size_t(i - 1)];
    }
    const bool rgbOn = m_def.planes == 3 && (s.rgb[0] != 1.0f || s.rgb[1] != 1.0f || s.rgb[2] != 1.0f);
    p.correct = fpn || ffc || lsc || rgbOn;
    if (!p.correct) return;

    const int W = p.width, f = binFactorLocked();
    const int block = fpn ? std::clamp(int(std::lround(s.gain - 1.0f)), 0, fpn->gains - 1) : 0;
    p.corrB.assign(size_t(p.classes), std::vector<float>(size_t(W), 0.0f));
    p.corrM.assign(size_t(p.classes), std::vector<float>(size_t(W), 1.0f));
    const bool bands = fpn && !fpn->bandLevels.empty();
    if (bands) {
        p.bandLevels = fpn->bandLevels;
        p.bandK.assign(fpn->bandLevels.size(),
                       std::vector<std::vector<float>>(size_t(p.classes), std::vector<float>(size_t(W), 1.0f)));
    }
    int lscX = 0, lscW = 0, lscN = 0;
    if (lsc) {
        lscX = rd16(&(*lsc)[4]);
        lscW = rd16(&(*lsc)[8]);
        lscN = rd16(&(*lsc)[14]) / 64;
    }
    for (int cls = 0; cls < p.classes; ++cls) {
        const int line = cls / m_def.planes, plane = cls % m_def.planes;
        const size_t row = fpn ? size_t(block * fpn->rowsPerGain + (fpn->perLine ? line : plane)) : 0;
        const bool fpnRow = fpn && row < fpn->k.size();
        int ffcCh = ffc ? (ffc->channels == p.lineCount && p.lineCount > 1 ? line : plane) : 0;
        if (ffc && ffcCh >= ffc->channels) ffcCh = 0;
        const int lscList = lscN == 3 ? plane : 0;
        const double* poly = nullptr;
        if (lsc && lscList < lscN)
            poly = reinterpret_cast<const double*>(lsc->data() + 16 + size_t(lscN - 1 - lscList) * 64);
        const float rgb = rgbOn ? s.rgb[2 - plane] : 1.0f;
        for (int i = 0; i < W; ++i) {
            const int ox = s.roiX + i;
            float b = 0.0f, k = 1.0f;
            if (fpnRow && size_t(ox) < fpn->k[row].size()) {
                k = fpn->k[row][size_t(ox)];
                b = fpn->b[row][size_t(ox)];
            }
            double ff = 1.0;
            if (ffc) {
                const auto& t = ffc->k[size_t(ffcCh)];
                if (ffc->domain == 0) {
                    double acc = 0;
                    int cnt = 0;
                    for (int j = 0; j < f; ++j)
                        if (size_t(ox * f + j) < t.size()) {
                            acc += t[size_t(ox * f + j)];
                            ++cnt;
                        }
                    ff = cnt ? acc / cnt / 16384.0 : 1.0;
                } else {
                    const int at = ffc->domain == 1 ? ox : ox - ffc->roiX;
                    ff = at >= 0 && size_t(at) < t.size() ? t[size_t(at)] / 16384.0 : 1.0;
                }
            }
            double ls = 1.0;
            if (poly && ox >= lscX && ox < lscX + lscW) {
                double q[8];
                std::memcpy(q, poly, sizeof q);
                const double x = ox - lscX;
                double v = 0;
                for (int d = 0; d < 7; ++d) v += q[d] * std::pow(x, 6 - d);
                ls = q[7] / v;
                if (!std::isfinite(ls) || ls <= 0) ls = 1.0;
                ls = std::min(ls, 16.0);
            }
            const float extra = float(ff * ls) * rgb;
            p.corrB[size_t(cls)][size_t(i)] = b;
            p.corrM[size_t(cls)][size_t(i)] = k * extra;
            if (bands)
                for (size_t n = 0; n < fpn->bandLevels.size(); ++n) {
                    const auto& bk = fpn->bandK[n];
                    const float kb = row < bk.size() && size_t(ox) < bk[row].size() ? bk[row][size_t(ox)] : 1.0f;
                    p.bandK[n][size_t(cls)][size_t(i)] = kb * extra;
                }
        }
    }
}

}  // namespace lsxsim
