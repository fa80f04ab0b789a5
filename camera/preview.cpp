// The preview of one frame: which corrections apply to it, their coefficients for the correction
// library's kernels (the byte table or the row chain), the regrouping of sensor lines, Sum, the
// column means. The tables of a run are made in preview_tables.cpp.
#include "camera/preview.h"

#include "camera/framegrab.h"
#include "correct/kernel.h"
#include "correct/parts.h"
#include "lsx.h"

#include <algorithm>
#include <cstring>
#include <limits>

using lsxc::forEachPart;
using lsxc::PartRange;
using lsxc::partOf;
using lsxc::partsFor;

namespace {

// The lists that meet channels 0, 1, 2(, 3) of a frame of this format.
std::vector<int> channelLists(int format)
{
    switch (format) {
    case FORMAT_BGR24: return {0, 1, 2};
    case FORMAT_RGB24: return {2, 1, 0};
    case FORMAT_BGR32: return {0, 1, 2, 3};
    case FORMAT_RGB32: return {2, 1, 0, 3};
    default: return {0};
    }
}

int channelsOf(int format)
{
    switch (format) {
    case FORMAT_MONO: return 1;
    case FORMAT_BGR24:
    case FORMAT_RGB24: return 3;
    case FORMAT_BGR32:
    case FORMAT_RGB32: return 4;
    default: return 0;
    }
}

// The FFC gain rows of one frame, or empty when the list does not fit it.
std::vector<float> ffcGains(const QList<QList<double>>& ffc, int format, int width, int lineCount, int& rows)
{
    rows = 1;
    if (ffc.isEmpty() || ffc[0].size() != width) return {};
    if (format == FORMAT_MONO) {
        if (lineCount >= 2) {
            if (ffc.size() != lineCount) return {};
            rows = lineCount;
        }
        std::vector<float> g(static_cast<size_t>(rows) * width);
        for (int r = 0; r < rows; ++r) {
            if (ffc[r].size() < width) return {};
            for (int x = 0; x < width; ++x) g[static_cast<size_t>(r) * width + x] = static_cast<float>(ffc[r][x]);
        }
        return g;
    }
    const std::vector<int> lists = channelLists(format);
    const int channels = static_cast<int>(lists.size());
    if (ffc.size() < channels) return {};
    for (int l : lists)
        if (ffc[l].size() < width) return {};
    std::vector<float> g(static_cast<size_t>(channels) * width, 0.0f);
    // RGB32 frames have always been filled at a pitch of three floats: each pixel's fourth gain
    // is overwritten by the next pixel's first, and the last quarter of the row keeps 0.
    const int pitch = format == FORMAT_RGB32 ? 3 : channels;
    for (int x = 0; x < width; ++x)
        for (int c = 0; c < channels; ++c) g[static_cast<size_t>(x) * pitch + c] = static_cast<float>(ffc[lists[c]][x]);
    return g;
}

// The LSC gain row of one frame, or empty when the table does not reach the frame's columns.
std::vector<double> lscGains(const LscTable& lsc, int format, int width, int regionX)
{
    const std::vector<int> lists = channelLists(format);
    const int channels = static_cast<int>(lists.size());
    if (lsc.lists < 1 || regionX < 0 || int64_t(lsc.size) < int64_t(width) + regionX) return {};
    for (int l : lists)
        if (l >= lsc.lists) return {};
    std::vector<double> g(static_cast<size_t>(channels) * width);
    for (int x = 0; x < width; ++x)
        for (int c = 0; c < channels; ++c)
            g[static_cast<size_t>(x) * channels + c] = lsc.gain[static_cast<size_t>(lists[c]) * lsc.size + regionX + x];
    return g;
}

// Output rows [y0, y1) of the Sum of `src`; acc is room for one output row's sums.
template <typename T>
void sumBlockRows(const cv::Mat& src, cv::Mat& dst, int s, int y0, int y1, uint32_t* acc)
{
    const int channels = src.channels();
    const int n = dst.cols * channels;
    const uint32_t top = std::numeric_limits<T>::max();
    for (int y = y0; y < y1; ++y) {
        std::fill(acc, acc + n, 0u);
        for (int dy = 0; dy < s; ++dy) {
            const T* p = src.ptr<T>(y * s + dy);
            for (int x = 0; x < dst.cols; ++x)
                for (int dx = 0; dx < s; ++dx)
                    for (int c = 0; c < channels; ++c) acc[x * channels + c] += p[(x * s + dx) * channels + c];
        }
        T* q = dst.ptr<T>(y);
        for (int i = 0; i < n; ++i) q[i] = static_cast<T>(std::min(acc[i], top));
    }
}

// The Sum into `out` (already of the right size and type), in row stripes of output rows
// shared out among the threads. Integer sums: the same whatever the cut.
void sumBlocksInto(const cv::Mat& img, int s, cv::Mat& out)
{
    const int n = out.cols * out.channels();
    const int parts = partsFor(out.rows);
    std::vector<uint32_t> acc(static_cast<size_t>(parts) * n);
    forEachPart(parts, [&](int part) {
        const PartRange r = partOf(out.rows, parts, part);
        uint32_t* a = acc.data() + static_cast<size_t>(part) * n;
        if (img.depth() == CV_8U)
            sumBlockRows<uint8_t>(img, out, s, r.begin, r.end, a);
        else
            sumBlockRows<uint16_t>(img, out, s, r.begin, r.end, a);
    });
}

// Elements [i0, i1) of every row added into acc as float, from the top row to the bottom.
template <typename T>
void addRows(const cv::Mat& img, int i0, int i1, float* acc)
{
    for (int y = 0; y < img.rows; ++y) {
        const T* p = img.ptr<T>(y);
        for (int i = i0; i < i1; ++i) acc[i] += static_cast<float>(p[i]);
    }
}

// The float column sums of every row, in column strips shared out among the threads: each
// column is added in the order of the rows by one thread, so the sums are the same to the last
// bit whatever the number of threads.
template <typename T>
void addAllRows(const cv::Mat& img, float* acc)
{
    const int n = img.cols * img.channels();
    const int parts = partsFor(n, 64);
    forEachPart(parts, [&](int part) {
        const PartRange r = partOf(n, parts, part, 64);
        addRows<T>(img, r.begin, r.end, acc);
    });
}

// A matrix for one frame's result: a buffer of `buffers` when given, else a new one.
cv::Mat frameMatrix(int rows, int cols, int type, FrameBuffers* buffers)
{
    return buffers ? buffers->take(rows, cols, type) : cv::Mat(rows, cols, type);
}

// Row j of `to` is row rowOf[j] of `from` (row j without rowOf), in row stripes shared out among
// the threads.
void copyRows(const cv::Mat& from, cv::Mat& to, const int* rowOf)
{
    const size_t bytes = to.cols * to.elemSize();
    const int parts = partsFor(to.rows);
    forEachPart(parts, [&](int part) {
        const PartRange r = partOf(to.rows, parts, part);
        for (int j = r.begin; j < r.end; ++j) std::memcpy(to.ptr(j), from.ptr(rowOf ? rowOf[j] : j), bytes);
    });
}

// sumBlocks, into a buffer of `buffers` when given.
cv::Mat sumBlocksWith(const cv::Mat& img, int s, FrameBuffers* buffers)
{
    if (s <= 1 || img.empty()) return img;
    if (img.depth() != CV_8U && img.depth() != CV_16U) return img;
    const int rows = img.rows / s, cols = img.cols / s;
    if (rows == 0 || cols == 0) return cv::Mat(rows, cols, img.type());
    cv::Mat out = frameMatrix(rows, cols, img.type(), buffers);
    sumBlocksInto(img, s, out);
    return out;
}

// The FFC and LSC gain rows of one frame and where its level bands start, kept alive while its
// chain is used.
struct FrameGains {
    std::vector<float> ffc;
    std::vector<double> lsc;
    std::vector<float> bandFrom;
};

// The source row of each row of a regrouped mono frame of several sensor lines: rows l, l + n,
// l + 2n, ... of each line l together, the lines one below the other. Empty for one line.
std::vector<int> regroupedRows(int rows, int lineCount)
{
    std::vector<int> rowOf;
    if (lineCount <= 1) return rowOf;
    rowOf.reserve(static_cast<size_t>(std::max(rows, 0)));
    for (int l = 0; l < lineCount; ++l)
        for (int y = l; y < rows; y += lineCount) rowOf.push_back(y);
    return rowOf;
}

// Resolves which corrections apply to a frame of this format and size. False for a format the
// preview does not take, or a frame it leaves alone (empty, or not matching its format).
bool resolveChain(const cv::Mat& img, int format, const PreviewCorrections& corrections,
                  const PreviewSwitches& switches, const QList<QList<double>>& ffcKList, FrameGains& gains,
                  lsxc::Chain& chain, bool& process)
{
    process = false;
    const int channels = channelsOf(format);
    if (channels == 0) return false;
    if (img.empty() || img.channels() != channels) return true;  // nothing to do
    const bool mono = format == FORMAT_MONO;
    const bool wide = img.depth() == CV_16U;
    if (img.depth() != CV_8U && !wide) return true;
    if (!mono && wide) return true;
    process = true;
    const int width = img.cols;
    chain.top = wide ? 65535.0f : 255.0f;

    if (switches.fpn) {
        // At most one of the two forms fits a frame: the level bands need one FPN row per channel,
        // the sensor lines two or more rows of a mono frame.
        const FpnLevelTable& t = corrections.fpn;
        const bool oneLine = mono ? t.rows == 1 : t.rows == channels;
        const LineFpnTable& l = corrections.lineFpn;
        if (t.valid() && oneLine && t.columns == width) {
            // A band starts at an 8-bit level; 16-bit data is banded by its high byte.
            const float scale = wide ? 256.0f : 1.0f;
            for (int32_t start : t.bandStart) gains.bandFrom.push_back(float(start) * scale - 0.5f);
            chain.b = t.bInterleaved.data();
            chain.bands = t.kByBand.data();
            chain.bandStride = size_t(t.rows) * t.columns;
            chain.bandCount = t.bandCount;
            chain.bandFrom = gains.bandFrom.data();
        } else if (mono && switches.lineCount >= 2 && l.lines == switches.lineCount && l.columns >= width) {
            chain.b = l.b.data();
            chain.k = l.k.data();
            chain.lines = l.lines;
            chain.lineStride = size_t(l.columns);
        }
    }
    if (switches.ffc) {
        gains.ffc = ffcGains(ffcKList, format, width, mono ? switches.lineCount : 1, chain.ffcRows);
        if (!gains.ffc.empty()) {
            chain.ffc = gains.ffc.data();
            chain.ffcStride = size_t(width) * channels;
        }
    }
    if (switches.lsc) {
        gains.lsc = lscGains(corrections.lsc, format, width, switches.regionX);
        if (!gains.lsc.empty()) chain.lsc = gains.lsc.data();
    }
    return true;
}

// The kernels' view of a frame's rows: read from `from`, written to `to`, with the regrouping map.
lsxc::Rows rowsOf(const cv::Mat& from, cv::Mat& to, const int* rowOf)
{
    lsxc::Rows r;
    r.from = from.ptr<uint8_t>(0);
    r.fromStep = from.step[0];
    r.to = to.ptr<uint8_t>(0);
    r.toStep = to.step[0];
    r.rows = to.rows;
    r.elements = to.cols * to.channels();
    r.bytes = int(to.elemSize1());
    r.rowOf = rowOf;
    return r;
}

// The byte table for this frame's chain: the one of the previous frame while nothing it depends
// on has changed (the FFC gains may change between frames), else a new one.
const uint8_t* byteTableFor(const cv::Mat& img, int format, const lsxc::Chain& chain, const PreviewCorrections& c,
                            const PreviewSwitches& switches)
{
    PreviewByteTable& t = c.byteTable;
    const size_t n = static_cast<size_t>(img.cols) * img.channels();
    const bool sameFfc =
        chain.ffc ? t.ffc.size() == n && std::equal(t.ffc.begin(), t.ffc.end(), chain.ffc) : t.ffc.empty();
    const bool same = !t.table.empty() && t.format == format && t.width == img.cols && t.fpn == (chain.b != nullptr)
                      && t.lsc == (chain.lsc != nullptr) && t.regionX == switches.regionX && t.fpnK == c.fpn.k.data()
                      && t.fpnB == c.fpn.bInterleaved.data() && t.lscGain == c.lsc.gain.data() && sameFfc;
    if (!same) {
        t.format = format;
        t.width = img.cols;
        t.fpn = chain.b != nullptr;
        t.lsc = chain.lsc != nullptr;
        t.regionX = switches.regionX;
        t.fpnK = c.fpn.k.data();
        t.fpnB = c.fpn.bInterleaved.data();
        t.lscGain = c.lsc.gain.data();
        if (chain.ffc)
            t.ffc.assign(chain.ffc, chain.ffc + n);
        else
            t.ffc.clear();
        lsxc::buildByteTable(int(n), chain, t.table);
    }
    return t.table.data();
}

// Float column sums to column means on the 8-bit scale, channels as B, G, R.
void finishMeans(cv::Mat& mean, int rows, int format, int bits)
{
    const int channels = mean.channels();
    float* acc = mean.ptr<float>(0);
    const float divisor = static_cast<float>((bits == LSX_BITS_16 ? 256.0 : 1.0) * rows);
    const int n = mean.cols * channels;
    for (int i = 0; i < n; ++i) acc[i] = acc[i] / divisor;
    if ((format == FORMAT_RGB24 || format == FORMAT_RGB32) && channels >= 3)
        for (int x = 0; x < mean.cols; ++x) std::swap(acc[x * channels], acc[x * channels + 2]);
}

// The whole work of one frame, read from `frame`. In place (`inPlace`): the result is `frame`
// itself, or a new matrix where the sensor lines are regrouped; else it is the frame's deep copy
// in a buffer of `buffers` (or a new matrix), made by the same sweep that corrects it. Then the
// Sum of `sum` and, with staticMat, the row of column means: taken in the sweep where no Sum
// comes after it. False for a format the preview does not take.
bool preview(const cv::Mat& frame, bool inPlace, cv::Mat& img, int format, int bits,
             const PreviewCorrections& corrections, const PreviewSwitches& switches,
             const QList<QList<double>>& ffcKList, int sum, cv::Mat* staticMat, FrameBuffers* buffers)
{
    FrameGains gains;
    lsxc::Chain chain;
    bool process = false;
    if (!resolveChain(frame, format, corrections, switches, ffcKList, gains, chain, process)) return false;
    if (staticMat) *staticMat = cv::Mat();
    if (!process) {
        // A frame the corrections leave alone (empty, or not of its format's type).
        img = inPlace ? frame : frame.clone();
    } else {
        const bool regroup = format == FORMAT_MONO && switches.lineCount > 1;
        const std::vector<int> rowOf = regroup ? regroupedRows(frame.rows, switches.lineCount) : std::vector<int>();
        const int* map = regroup ? rowOf.data() : nullptr;
        cv::Mat to = inPlace && !regroup ? frame : frameMatrix(frame.rows, frame.cols, frame.type(), buffers);
        float* acc = nullptr;
        if (staticMat && sum <= 1) {
            *staticMat = cv::Mat::zeros(1, frame.cols, CV_MAKETYPE(CV_32F, frame.channels()));
            acc = staticMat->ptr<float>(0);
        }
        // Column sums of 8-bit data are exact in 32-bit integers and, below 2^24, in float.
        if (lsxc::chainIsPerElement(int(frame.elemSize1()), chain) && frame.rows <= 65793) {
            std::vector<uint32_t> sums(static_cast<size_t>(frame.cols) * frame.channels(), 0u);
            const uint8_t* table = byteTableFor(to, format, chain, corrections, switches);
            lsxc::applyByteTable(rowsOf(frame, to, map), table, sums.data());
            if (acc)
                for (size_t i = 0; i < sums.size(); ++i) acc[i] = static_cast<float>(sums[i]);
        } else if (chain.any() || acc) {
            lsxc::correctRows(rowsOf(frame, to, map), chain, acc);
        } else if (to.data != frame.data) {
            copyRows(frame, to, map);
        }
        if (acc) finishMeans(*staticMat, to.rows, format, bits);
        img = to;
    }
    if (staticMat && staticMat->empty()) {
        img = sumBlocksWith(img, sum, buffers);
        *staticMat = columnMeans(img, format, bits);
    }
    return true;
}

}  // namespace

bool applyPreview(cv::Mat& img, int format, const PreviewCorrections& corrections, const PreviewSwitches& switches,
                  const QList<QList<double>>& ffcKList)
{
    const cv::Mat frame = img;
    return preview(frame, true, img, format, 0, corrections, switches, ffcKList, 1, nullptr, nullptr);
}

bool previewFrame(cv::Mat& img, int format, int bits, const PreviewCorrections& corrections,
                  const PreviewSwitches& switches, const QList<QList<double>>& ffcKList, int sum, cv::Mat& staticMat,
                  FrameBuffers* buffers)
{
    const cv::Mat frame = img;
    return preview(frame, true, img, format, bits, corrections, switches, ffcKList, sum, &staticMat, buffers);
}

bool previewFrame(const cv::Mat& frame, cv::Mat& img, int format, int bits, const PreviewCorrections& corrections,
                  const PreviewSwitches& switches, const QList<QList<double>>& ffcKList, int sum, cv::Mat& staticMat,
                  FrameBuffers* buffers)
{
    return preview(frame, false, img, format, bits, corrections, switches, ffcKList, sum, &staticMat, buffers);
}

cv::Mat regroupLines(const cv::Mat& img, int lineCount)
{
    if (lineCount <= 1 || img.rows == 0) return img;
    cv::Mat out(img.rows, img.cols, img.type());
    copyRows(img, out, regroupedRows(img.rows, lineCount).data());
    return out;
}

cv::Mat sumBlocks(const cv::Mat& img, int s)
{
    return sumBlocksWith(img, s, nullptr);
}

cv::Mat columnMeans(const cv::Mat& img, int format, int bits)
{
    if (img.empty()) return cv::Mat();
    const int channels = img.channels();
    cv::Mat mean = cv::Mat::zeros(1, img.cols, CV_MAKETYPE(CV_32F, channels));
    float* acc = mean.ptr<float>(0);
    switch (img.depth()) {
    case CV_8U: addAllRows<uint8_t>(img, acc); break;
    case CV_16U: addAllRows<uint16_t>(img, acc); break;
    case CV_32F: addAllRows<float>(img, acc); break;
    default: {
        cv::Mat f;
        img.convertTo(f, CV_MAKETYPE(CV_32F, channels));
        addAllRows<float>(f, acc);
    }
    }
    finishMeans(mean, img.rows, format, bits);
    return mean;
}

PreviewIsa previewIsa()
{
    return static_cast<PreviewIsa>(lsxc::isa());
}

PreviewIsa setPreviewIsa(PreviewIsa wanted)
{
    return static_cast<PreviewIsa>(lsxc::setIsa(static_cast<lsxc::Isa>(wanted)));
}

const char* previewIsaName(PreviewIsa isa)
{
    return lsxc::isaName(static_cast<lsxc::Isa>(isa));
}

int previewThreads()
{
    return lsxc::threads();
}

int setPreviewThreads(int n)
{
    return lsxc::setThreads(n);
}
