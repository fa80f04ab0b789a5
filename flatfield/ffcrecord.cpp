#include "ffcrecord.h"

#include <cstring>
#include <limits>

GainList ffcPadTable(const GainList& table, int roiX, int roiW, int maxWidth, int factor)
{
    if (factor < 1) factor = 1;
    GainList out;
    for (const QList<double>& channel : table) {
        QList<double> wide;
        wide.reserve((qMax(0, roiX) + channel.size() + qMax(0, maxWidth - roiX - roiW)) * factor);
        for (int i = 0; i < roiX; ++i) wide.append(1.0);
        wide.append(channel);
        for (int i = roiX + roiW; i < maxWidth; ++i) wide.append(1.0);
        QList<double> physical;
        physical.reserve(wide.size() * factor);
        for (double k : wide)
            for (int j = 0; j < factor; ++j) physical.append(k);
        out.append(physical);
    }
    return out;
}

int ffcBinningFactor(const QString& modeName)
{
    if (modeName == QLatin1String("SUM2") || modeName == QLatin1String("BIN2")) return 2;
    if (modeName == QLatin1String("SUM4")) return 4;
    return 1;
}

void ffcGainRange(const GainList& table, float& minK, float& maxK)
{
    double lo = std::numeric_limits<double>::max();
    double hi = std::numeric_limits<double>::lowest();
    for (const QList<double>& channel : table)
        for (double k : channel) {
            lo = std::min(lo, k);
            hi = std::max(hi, k);
        }
    minK = float(lo);
    maxK = float(hi);
}

std::vector<uint8_t> ffcPackRecord(const GainList& table, const FfcRecordHead& head)
{
    if (table.isEmpty() || table.first().isEmpty()) return {};
    const int channels = int(table.size());
    const int columns = int(table.first().size());
    for (const QList<double>& channel : table)
        if (channel.size() != columns) return {};
    const int lines = head.lineCount < 1 ? 1 : head.lineCount;
    const size_t n = size_t(columns) * size_t(channels);

    // The channel of each interleaved position within a column.
    std::vector<int> order(static_cast<size_t>(channels));
    for (int c = 0; c < channels; ++c) order[size_t(c)] = c;
    if (lines == 1 && head.targetFormat == FORMAT_RGB24) {
        for (int c = 0; c < channels; ++c) order[size_t(c)] = channels - 1 - c;
    } else if (lines == 1 && head.targetFormat == FORMAT_RGB32 && channels == 4) {
        order = {2, 1, 0, 3};
    }

    std::vector<uint8_t> out(sizeof(lsxFpnHeader) + n * sizeof(lsxFfcEntry) + 1, 0);
    lsxFpnHeader h;
    std::memset(&h, 0, sizeof h);
    h.columns = uint32_t(n / size_t(lines));
    h.lines = uint32_t(lines);
    h.bits = uint8_t(head.frameBits);
    h.doffset = uint8_t(head.doffset & 0xFF);
    h.level = uint16_t(head.pixelMax & 0xFFFF);
    h.minK = head.minK;
    h.maxK = head.maxK;
    h.type = LSX_FPN_FLATFIELD;
    h.moreFollows = 0;
    h.dataSize = uint32_t(n * sizeof(lsxFfcEntry));
    h.data = out.data() + sizeof(lsxFpnHeader);
    std::memcpy(out.data(), &h, sizeof h);

    auto* entries = reinterpret_cast<lsxFfcEntry*>(out.data() + sizeof(lsxFpnHeader));
    size_t e = 0;
    if (lines >= 2) {
        for (int c = 0; c < channels; ++c)
            for (int x = 0; x < columns; ++x) entries[e++] = lsxFfcEntry{float(table[c][x]), 0u};
    } else {
        for (int x = 0; x < columns; ++x)
            for (int c = 0; c < channels; ++c) entries[e++] = lsxFfcEntry{float(table[order[size_t(c)]][x]), 0u};
    }
    return out;
}

GainList ffcParseMemory(const uint8_t* block, size_t size)
{
    GainList out;
    if (!block || size < sizeof(lsxFfcMemHead)) return out;
    lsxFfcMemHead head;
    std::memcpy(&head, block, sizeof head);
    const size_t columns = head.columns;
    const size_t payload = head.payloadSize;
    if (columns == 0) return out;
    const size_t channels = payload / (columns * 2);
    if (channels == 0 || sizeof head + channels * columns * 2 > size) return out;
    const uint8_t* p = block + sizeof head;
    for (size_t c = 0; c < channels; ++c) {
        QList<double> list;
        list.reserve(qsizetype(columns));
        for (size_t x = 0; x < columns; ++x) {
            const size_t at = (c * columns + x) * 2;
            const uint16_t v = uint16_t(p[at] | (p[at + 1] << 8));
            list.append(v / LSX_FFC_MEM_K_SCALE);
        }
        out.append(list);
    }
    return out;
}
