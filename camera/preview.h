#pragma once
// The numeric kernels of the live preview: the software FPN, FFC and LSC that the camera itself
// would run, the regrouping of multi-line frames, the Sum block sum and the row of column means.
//
// Everything here works in place on the one deep copy of a frame, on plain cv::Mat and lists,
// with no camera and no display, so the tests and the benchmark call it directly. The
// expensive part, K per level band, is built once per capture run (PreviewCorrections); the
// per-frame work is then one table lookup per pixel for K.
//
// The per-sample arithmetic is the correction library's kernels (correct/kernel.h): this file
// builds their coefficients from the server's lists and decides which corrections fit a frame.
// The per-frame work is shared out among the processor's cores (previewThreads), the calling
// thread taking part. The results are the same to the last bit whatever the number of threads.
//
// Arithmetic, as the camera's preview has always shown it:
//  - FPN with level bands: (float(v) - float(B)) * float(K at v's band), rounded to nearest
//    (ties to even) and saturated to the frame's depth; for 16-bit data the band is chosen by
//    the high byte.
//  - FPN of multi-line sensors: the same with B and K of the pixel's sensor line (row modulo
//    the line count), K without level bands.
//  - FFC: float(v) * float(gain of the column), rounded and saturated.
//  - LSC: double(v) * double(float(gain of the sensor column)), rounded and saturated.

#include <QList>

#include <opencv2/core.hpp>

#include <array>
#include <cstdint>
#include <functional>
#include <vector>

class FrameBuffers;

// K of every FPN row and column at one pixel level, row after row (CameraServer::kAtLevel).
using KAtLevelFn = std::function<void(uint8_t level, QList<double>& out, int rows)>;

// K per level band, per FPN row and column, with the offsets B, laid out for one lookup per
// pixel: per row a block of bandCount x columns floats, one contiguous line of K per band.
struct FpnLevelTable {
    int rows = 0;     // rows of the FPN data (1 for mono, 3 or 4 for colour planes)
    int columns = 0;  // columns of the FPN data
    int bandCount = 0;
    std::array<int32_t, 256> bandOffset{};  // per 8-bit level: band * columns
    std::vector<float> k;                   // [row][band][column]
    std::vector<float> b;                   // [row][column]
    std::vector<float> bInterleaved;        // [column][row], as the channels lie in a frame
    std::vector<float> kByBand;             // [band][column][row]: a band's K in the frame's order
    std::vector<int32_t> bandStart;         // per band: its first 8-bit level

    bool valid() const { return rows > 0 && columns > 0 && bandCount > 0; }
    // K of one row and column at one 8-bit level, as the pixel correction uses it.
    float kAt(int level, int row, int column) const
    {
        return k[static_cast<size_t>(row) * bandCount * columns + bandOffset[level] + column];
    }
};

// The level table of a run. Walks the levels 0..255 band by band of `levels`; each band takes
// K at its sampling level (levelStepK) for every row of bList, each row scaled by its entry of
// kScaleList. Invalid (FPN skipped) when bList is empty, kScaleList does not match it, or K does
// not come back for every row and column.
FpnLevelTable buildFpnLevelTable(const std::vector<uint16_t>& levels, const QList<QList<double>>& bList,
                                 const QList<double>& kScaleList, const KAtLevelFn& kAtLevel);

// B and K of each sensor line of a multi-line mono sensor, in single precision.
struct LineFpnTable {
    int lines = 0;
    int columns = 0;          // the shortest list: frames wider than this skip the correction
    std::vector<float> b, k;  // [line][column]
};
LineFpnTable buildLineFpnTable(const QList<QList<double>>& bList, const QList<QList<double>>& kList, int lineCount);

// Lens-shading gains per list and sensor column, each rounded to single precision first.
struct LscTable {
    int lists = 0;
    int size = 0;              // the shortest list
    std::vector<double> gain;  // [list][sensor column]
};
LscTable buildLscTable(const QList<QList<double>>& lscKList);

// For 8-bit frames of one sensor line (and colour frames) the whole chain FPN -> FFC -> LSC of
// an element is a function of its position in the row and its own value: a table of 256 results
// per element, made by running the chain itself over the 256 values, so one lookup replaces the
// arithmetic exactly. It is kept from frame to frame and made again when the frame's size or
// format, the switches, the region's X or the FFC gains change.
struct PreviewByteTable {
    int format = -1;
    int width = 0;
    bool fpn = false;
    bool lsc = false;
    int regionX = 0;
    const void* fpnK = nullptr;  // the tables it was made from
    const void* fpnB = nullptr;
    const void* lscGain = nullptr;
    std::vector<float> ffc;      // the FFC gain row it was made with (empty: FFC not applied)
    std::vector<uint8_t> table;  // [element of the row][value]
};

// Everything of one capture run that does not change from frame to frame. Its tables are made
// by buildPreviewCorrections and not changed in place afterwards; byteTable is the preview's own
// memo, filled on the worker thread as frames go through.
struct PreviewCorrections {
    FpnLevelTable fpn;
    LineFpnTable lineFpn;
    LscTable lsc;
    mutable PreviewByteTable byteTable;
};
PreviewCorrections buildPreviewCorrections(const std::vector<uint16_t>& levels, const QList<QList<double>>& bList,
                                           const QList<QList<double>>& kList, const QList<double>& kScaleList,
                                           const KAtLevelFn& kAtLevel, int lineCount,
                                           const QList<QList<double>>& lscKList);

// The switches and frame facts read for each frame.
struct PreviewSwitches {
    bool fpn = false;
    bool ffc = false;
    bool lsc = false;
    int lineCount = 1;  // sensor lines interleaved row by row in a mono frame
    int regionX = 0;    // the ROI's X: LSC gains are per sensor column
};

// Runs FPN, FFC and LSC in place on `img` (a frame of `format`), each only when switched on and
// when its coefficients fit the frame, then regroups a multi-line mono frame by sensor line.
// ffcKList is the flat-field gain list as it stands for this frame (the window may adjust it
// while capturing). False for a format the preview does not take; `img` is then untouched.
bool applyPreview(cv::Mat& img, int format, const PreviewCorrections& corrections, const PreviewSwitches& switches,
                  const QList<QList<double>>& ffcKList);

// The whole work of one frame before the display: applyPreview, the Sum of `sum` (sumBlocks) and
// the row of column means (columnMeans) into staticMat. Where no Sum comes after them, the means
// are gathered in the same sweep as the corrections. The summed frame goes into a buffer of
// `buffers` when given (a capture run's buffers), else into a new matrix. False, with `img`
// untouched, for a format the preview does not take.
bool previewFrame(cv::Mat& img, int format, int bits, const PreviewCorrections& corrections,
                  const PreviewSwitches& switches, const QList<QList<double>>& ffcKList, int sum, cv::Mat& staticMat,
                  FrameBuffers* buffers = nullptr);

// The same from a frame that is not to be written, such as a header over the library's buffer:
// `img` receives the frame's deep copy, made by the sweep that corrects it (so the frame is read
// once and the copy written once), in a buffer of `buffers` when given. The result is what a
// clone of `frame` through the in-place previewFrame gives.
bool previewFrame(const cv::Mat& frame, cv::Mat& img, int format, int bits, const PreviewCorrections& corrections,
                  const PreviewSwitches& switches, const QList<QList<double>>& ffcKList, int sum, cv::Mat& staticMat,
                  FrameBuffers* buffers = nullptr);

// Mono frames of several sensor lines: rows l, l + n, l + 2n, ... of each line l together,
// the lines one below the other.
cv::Mat regroupLines(const cv::Mat& img, int lineCount);

// The Sum of the preview: each output pixel the saturated sum of an s x s block, the image
// floor(cols / s) x floor(rows / s). Brighter and smaller, not a mean. s of 1 or less, or a
// depth other than 8 or 16 bits, leaves the frame as it is.
cv::Mat sumBlocks(const cv::Mat& img, int s);

// The row of column means on the 8-bit scale: 1 row, 32-bit float with the frame's channel
// count, always B, G, R (RGB formats are swapped). 16-bit data (bits 2) is divided by 256.
// Empty for an empty frame.
cv::Mat columnMeans(const cv::Mat& img, int format, int bits);

// The widest registers the preview's arithmetic runs on: the best the processor has (SSE2 is
// part of every x86-64), unless a test asked for narrower ones to compare them. All give the
// same results bit for bit.
enum class PreviewIsa { Sse2 = 0, Avx2 = 1, Avx512 = 2 };
PreviewIsa previewIsa();
// Asks for `wanted`, capped at what the processor has; returns what is then in use.
PreviewIsa setPreviewIsa(PreviewIsa wanted);
const char* previewIsaName(PreviewIsa isa);

// The threads the preview's per-frame work is shared out among, the calling thread included:
// by default as many as the processor runs at once. setPreviewThreads(n) asks for n (0 or less:
// that default) and returns what is then in use; tests and the benchmark compare the counts.
int previewThreads();
int setPreviewThreads(int n);
