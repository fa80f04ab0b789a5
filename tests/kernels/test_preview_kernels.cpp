// The preview's kernels against a slow, literal version of the corrections written here with
// plain OpenCV row operations, on random frames; and the exact values of the edge cases.
#include "calibration/klevels.h"
#include "camera/framegrab.h"
#include "camera/preview.h"

#include <QtTest>

#include <opencv2/imgproc.hpp>

#include <random>

namespace {

// ---- The literal version ----

// The 256-entry level table exactly as described: one list of K per pixel level.
std::vector<QList<double>> literalLevelTable(const std::vector<uint16_t>& levels, const QList<QList<double>>& bList,
                                             const QList<double>& kScale, const KAtLevelFn& kAt)
{
    std::vector<QList<double>> table;
    const int C = static_cast<int>(bList.size());
    QList<double> current;
    size_t i = 0;
    for (int level = 0; level <= 255; ++level) {
        if (level <= levels[i] && !current.isEmpty()) {
        } else {
            if (level > levels[i]) ++i;
            kAt(levelStepK(levels, static_cast<int>(i)), current, C);
            for (int e = 0; e < current.size(); ++e) current[e] *= kScale[e / (current.size() / C)];
        }
        table.push_back(current);
    }
    return table;
}

struct Literal {
    QList<QList<double>> bList, kList, ffc, lsc;
    std::vector<QList<double>> levelTable;
    bool fpn = false, ffcOn = false, lscOn = false;
    int lineCount = 1, regionX = 0;
};

std::vector<int> listsOf(int format)
{
    switch (format) {
    case FORMAT_BGR24: return {0, 1, 2};
    case FORMAT_RGB24: return {2, 1, 0};
    case FORMAT_BGR32: return {0, 1, 2, 3};
    case FORMAT_RGB32: return {2, 1, 0, 3};
    default: return {0};
    }
}

template <typename T>
void literalApply(cv::Mat& img, int format, const Literal& L)
{
    const int ch = img.channels();
    const int width = img.cols;
    const int depth = img.depth();
    const bool mono = format == FORMAT_MONO;
    // FPN with level bands
    if (L.fpn && L.bList.size() == (mono ? 1 : ch) && L.levelTable.size() == 256) {
        const int columns = static_cast<int>(L.bList[0].size());
        cv::Mat bRow(1, columns, CV_MAKETYPE(CV_32F, ch)), kRow(1, columns, CV_MAKETYPE(CV_32F, ch));
        for (int x = 0; x < columns; ++x)
            for (int c = 0; c < ch; ++c) bRow.ptr<float>(0)[x * ch + c] = float(L.bList[c][x]);
        for (int y = 0; y < img.rows; ++y) {
            const T* p = img.ptr<T>(y);
            for (int x = 0; x < columns; ++x)
                for (int c = 0; c < ch; ++c) {
                    int level = p[x * ch + c];
                    if (sizeof(T) == 2) level >>= 8;
                    kRow.ptr<float>(0)[x * ch + c] = float(L.levelTable[level][c * columns + x]);
                }
            cv::Mat row;
            img.row(y).convertTo(row, CV_MAKETYPE(CV_32F, ch));
            cv::Mat r = (row - bRow).mul(kRow);
            r.convertTo(img.row(y), depth);
        }
    }
    // FPN of several lines
    if (mono && L.fpn && L.lineCount >= 2 && L.kList.size() == L.lineCount && L.bList.size() == L.lineCount) {
        for (int y = 0; y < img.rows; ++y) {
            const int line = y % L.lineCount;
            T* p = img.ptr<T>(y);
            for (int x = 0; x < width; ++x)
                p[x] = cv::saturate_cast<T>((float(p[x]) - float(L.bList[line][x])) * float(L.kList[line][x]));
        }
    }
    // FFC
    const int ffcRows = mono && L.lineCount >= 2 ? L.lineCount : 1;
    if (L.ffcOn && !L.ffc.isEmpty() && L.ffc[0].size() == width && (ffcRows == 1 || L.ffc.size() == ffcRows)) {
        const std::vector<int> lists = listsOf(format);
        std::vector<cv::Mat> gains;
        for (int r = 0; r < ffcRows; ++r) {
            cv::Mat g = cv::Mat::zeros(1, width, CV_MAKETYPE(CV_32F, ch));
            float* f = g.ptr<float>(0);
            const int pitch = format == FORMAT_RGB32 ? 3 : ch;
            for (int x = 0; x < width; ++x)
                for (int c = 0; c < ch; ++c) f[x * pitch + c] = float(L.ffc[mono ? r : lists[c]][x]);
            gains.push_back(g);
        }
        for (int y = 0; y < img.rows; ++y) {
            cv::Mat row;
            img.row(y).convertTo(row, CV_MAKETYPE(CV_32F, ch));
            cv::multiply(row, gains[y % ffcRows], row);
            row.convertTo(img.row(y), depth);
        }
    }
    // LSC
    if (L.lscOn && !L.lsc.isEmpty() && L.lsc[0].size() >= width + L.regionX) {
        const std::vector<int> lists = listsOf(format);
        for (int y = 0; y < img.rows; ++y) {
            T* p = img.ptr<T>(y);
            for (int x = 0; x < width; ++x)
                for (int c = 0; c < ch; ++c)
                    p[x * ch + c] =
                        cv::saturate_cast<T>(double(p[x * ch + c]) * double(float(L.lsc[lists[c]][L.regionX + x])));
        }
    }
    // Regrouping
    if (mono && L.lineCount > 1) {
        std::vector<cv::Mat> blocks;
        for (int l = 0; l < L.lineCount && l < img.rows; ++l) {  // a frame of fewer rows than lines
            std::vector<cv::Mat> rows;
            for (int y = l; y < img.rows; y += L.lineCount) rows.push_back(img.row(y));
            cv::Mat block;
            cv::vconcat(rows, block);
            blocks.push_back(block);
        }
        cv::vconcat(blocks, img);
    }
}

// The row of column means as described: every row converted to float and added, row after row,
// then divided by (256 for 16-bit data, else 1) x rows in single precision; RGB formats swapped
// to B, G, R.
cv::Mat literalMeans(const cv::Mat& img, int format, int bits)
{
    const int ch = img.channels();
    cv::Mat acc = cv::Mat::zeros(1, img.cols, CV_MAKETYPE(CV_32F, ch));
    for (int y = 0; y < img.rows; ++y) {
        cv::Mat row;
        img.row(y).convertTo(row, CV_MAKETYPE(CV_32F, ch));
        cv::add(acc, row, acc);
    }
    const float divisor = float((bits == LSX_BITS_16 ? 256.0 : 1.0) * img.rows);
    float* a = acc.ptr<float>(0);
    for (int i = 0; i < img.cols * ch; ++i) a[i] = a[i] / divisor;
    if (format == FORMAT_RGB24 || format == FORMAT_RGB32)
        for (int x = 0; x < img.cols; ++x) std::swap(a[x * ch], a[x * ch + 2]);
    return acc;
}

// The Sum as described: each output pixel the saturated sum of its s x s block.
template <typename T>
cv::Mat literalSum(const cv::Mat& img, int s)
{
    const int ch = img.channels();
    cv::Mat out(img.rows / s, img.cols / s, img.type());
    for (int y = 0; y < out.rows; ++y)
        for (int x = 0; x < out.cols; ++x)
            for (int c = 0; c < ch; ++c) {
                uint64_t sum = 0;
                for (int dy = 0; dy < s; ++dy)
                    for (int dx = 0; dx < s; ++dx) sum += img.ptr<T>(y * s + dy)[(x * s + dx) * ch + c];
                out.ptr<T>(y)[x * ch + c] = cv::saturate_cast<T>(sum);
            }
    return out;
}

// The thread counts every comparison runs with: one, this machine's two, and more threads than
// parts of a small frame.
constexpr int kThreadCounts[] = {1, 2, 7};

// Puts back the default register width and thread count however a test ends.
struct KernelSettings {
    ~KernelSettings()
    {
        setPreviewIsa(PreviewIsa::Avx512);
        setPreviewThreads(0);
    }
};

// ---- Random coefficients ----

QList<QList<double>> randomLists(std::mt19937& rng, int n, int size, double lo, double hi)
{
    std::uniform_real_distribution<double> d(lo, hi);
    QList<QList<double>> lists;
    for (int i = 0; i < n; ++i) {
        QList<double> l;
        for (int x = 0; x < size; ++x) l.append(d(rng));
        lists.append(l);
    }
    return lists;
}

// K samples of `rows` rows, three exposures each, as a bright-field run leaves them.
QList<QList<KPoint>> randomPoints(std::mt19937& rng, int rows, int columns)
{
    std::uniform_real_distribution<double> k(0.4, 2.2);
    QList<QList<KPoint>> pts;
    for (int r = 0; r < rows; ++r)
        for (double x : {30.0, 110.0, 190.0}) {
            QList<KPoint> l;
            for (int c = 0; c < columns; ++c) l.append(KPoint{x + c % 7, k(rng)});
            pts.append(l);
        }
    return pts;
}

bool sameMat(const cv::Mat& a, const cv::Mat& b)
{
    return a.size() == b.size() && a.type() == b.type() && cv::norm(a, b, cv::NORM_INF) == 0.0;
}

}  // namespace

class TestPreviewKernels : public QObject {
    Q_OBJECT

    static std::vector<PreviewIsa> availableIsas()
    {
        std::vector<PreviewIsa> out;
        for (PreviewIsa isa : {PreviewIsa::Sse2, PreviewIsa::Avx2, PreviewIsa::Avx512})
            if (setPreviewIsa(isa) == isa) out.push_back(isa);
        setPreviewIsa(PreviewIsa::Avx512);
        return out;
    }

    // The kernels of every register width the processor has, on 1, 2 and 7 threads, give the
    // literal result: the frame corrected in place (applyPreview), and the corrected copy of a
    // frame left as it is, with its column means (previewFrame).
    void compareWithLiteral(int format, int bits, int lineCount, int fpnSel, int width = 97, int height = 24)
    {
        KernelSettings restore;
        std::mt19937 rng(format * 100 + bits * 10 + lineCount + fpnSel + width);
        const int ch = format == FORMAT_MONO ? 1 : (format == FORMAT_BGR24 || format == FORMAT_RGB24 ? 3 : 4);
        const int regionX = 5;
        const int type = CV_MAKETYPE(bits == LSX_BITS_16 ? CV_16U : CV_8U, ch);
        cv::Mat frame(height, width, type);
        cv::randu(frame, 0, bits == LSX_BITS_16 ? 65536 : 256);
        const cv::Mat untouched = frame.clone();

        const int fpnRows = format == FORMAT_MONO ? lineCount : ch;
        Literal L;
        L.bList = randomLists(rng, fpnRows, width, 0.0, 40.0);
        L.kList = randomLists(rng, fpnRows, width, 0.5, 1.8);
        const QList<double> kScale = randomLists(rng, 1, fpnRows, 0.9, 1.1)[0];
        const QList<QList<KPoint>> pts = randomPoints(rng, fpnRows, width);
        const KAtLevelFn kAt = [&](uint8_t level, QList<double>& out, int rows) { kAtLevel(pts, 2, level, out, rows); };
        L.levelTable = literalLevelTable(fpnLevelsFor(fpnSel), L.bList, kScale, kAt);
        L.ffc = randomLists(rng, format == FORMAT_MONO ? lineCount : ch, width, 0.6, 1.7);
        L.lsc = randomLists(rng, format == FORMAT_MONO ? 1 : ch, width + regionX + 3, 0.6, 1.7);
        L.fpn = L.ffcOn = L.lscOn = true;
        L.lineCount = format == FORMAT_MONO ? lineCount : 1;
        L.regionX = regionX;

        const PreviewCorrections pc =
            buildPreviewCorrections(fpnLevelsFor(fpnSel), L.bList, L.kList, kScale, kAt, L.lineCount, L.lsc);
        PreviewSwitches sw;
        sw.fpn = sw.ffc = sw.lsc = true;
        sw.lineCount = L.lineCount;
        sw.regionX = regionX;

        // Each correction alone, then all together.
        for (int mask = 1; mask < 8; ++mask) {
            Literal l2 = L;
            l2.fpn = mask & 1;
            l2.ffcOn = mask & 2;
            l2.lscOn = mask & 4;
            PreviewSwitches s2 = sw;
            s2.fpn = l2.fpn;
            s2.ffc = l2.ffcOn;
            s2.lsc = l2.lscOn;
            cv::Mat expected = frame.clone();
            if (bits == LSX_BITS_16)
                literalApply<uint16_t>(expected, format, l2);
            else
                literalApply<uint8_t>(expected, format, l2);
            QVERIFY(!sameMat(expected, frame));
            const cv::Mat means = literalMeans(expected, format, bits);
            for (PreviewIsa isa : availableIsas())
                for (int threads : kThreadCounts) {
                    setPreviewIsa(isa);
                    QCOMPARE(setPreviewThreads(threads), threads);
                    const QString where =
                        QStringLiteral("format %1 bits %2 lines %3 %4 x %5 mask %6, %7 kernels, %8 threads")
                            .arg(format)
                            .arg(bits)
                            .arg(lineCount)
                            .arg(width)
                            .arg(height)
                            .arg(mask)
                            .arg(previewIsaName(isa))
                            .arg(threads);
                    cv::Mat fast = frame.clone();
                    QVERIFY(applyPreview(fast, format, pc, s2, L.ffc));
                    QVERIFY2(sameMat(fast, expected), qPrintable(where));
                    cv::Mat copy, staticMat;
                    QVERIFY(previewFrame(frame, copy, format, bits, pc, s2, L.ffc, 1, staticMat));
                    QVERIFY2(sameMat(copy, expected), qPrintable(where));
                    QVERIFY2(sameMat(staticMat, means), qPrintable(where));
                    QVERIFY2(sameMat(frame, untouched), qPrintable(where));
                }
        }
    }

private slots:
    void literalMono8() { compareWithLiteral(FORMAT_MONO, LSX_BITS_8, 1, 9); }
    void literalMono16() { compareWithLiteral(FORMAT_MONO, LSX_BITS_16, 1, 6); }
    void literalMonoTwoLines() { compareWithLiteral(FORMAT_MONO, LSX_BITS_8, 2, 3); }
    void literalMonoFourLines16() { compareWithLiteral(FORMAT_MONO, LSX_BITS_16, 4, 9); }
    void literalBgr24() { compareWithLiteral(FORMAT_BGR24, LSX_BITS_8, 1, 9); }
    void literalRgb24() { compareWithLiteral(FORMAT_RGB24, LSX_BITS_8, 1, 6); }
    void literalBgr32() { compareWithLiteral(FORMAT_BGR32, LSX_BITS_8, 1, 9); }
    void literalRgb32() { compareWithLiteral(FORMAT_RGB32, LSX_BITS_8, 1, 3); }
    // Wider than one strip of the sweep (1024 elements), with a ragged end.
    void literalMono16Wide() { compareWithLiteral(FORMAT_MONO, LSX_BITS_16, 1, 9, 2101, 9); }
    void literalMono8Wide() { compareWithLiteral(FORMAT_MONO, LSX_BITS_8, 1, 6, 1093, 300); }
    void literalBgr24Wide() { compareWithLiteral(FORMAT_BGR24, LSX_BITS_8, 1, 9, 700, 7); }
    void literalTwoLines16Wide() { compareWithLiteral(FORMAT_MONO, LSX_BITS_16, 2, 9, 1500, 6); }

    // Frames whose height does not divide into the threads' parts: one row, three rows, 1001
    // rows (where the float column sums of 16-bit data are no longer exact, so their order shows).
    void literalHeightsThatDoNotDivide_data()
    {
        QTest::addColumn<int>("height");
        for (int height : {1, 3, 1001}) QTest::addRow("%d rows", height) << height;
    }
    void literalHeightsThatDoNotDivide()
    {
        QFETCH(int, height);
        compareWithLiteral(FORMAT_MONO, LSX_BITS_8, 1, 9, 211, height);
        compareWithLiteral(FORMAT_MONO, LSX_BITS_16, 1, 6, 130, height);
        compareWithLiteral(FORMAT_MONO, LSX_BITS_16, 3, 9, 70, height);
        compareWithLiteral(FORMAT_MONO, LSX_BITS_8, 2, 3, 66, height);
        compareWithLiteral(FORMAT_BGR24, LSX_BITS_8, 1, 9, 50, height);
        compareWithLiteral(FORMAT_RGB32, LSX_BITS_8, 1, 3, 33, height);
    }

    // The table of 8-bit frames is made again when the FFC gains change between frames, and
    // a frame of another width or format gets its own.
    void byteTableFollowsTheFfcGains()
    {
        std::mt19937 rng(11);
        const int width = 130;
        Literal L;
        L.bList = randomLists(rng, 1, width, 0.0, 30.0);
        const QList<QList<KPoint>> pts = randomPoints(rng, 1, width);
        const KAtLevelFn kAt = [&](uint8_t level, QList<double>& out, int rows) { kAtLevel(pts, 2, level, out, rows); };
        L.levelTable = literalLevelTable(fpnLevels9, L.bList, {1.0}, kAt);
        L.lsc = randomLists(rng, 1, width + 2, 0.7, 1.5);
        L.fpn = L.ffcOn = L.lscOn = true;
        L.regionX = 2;
        const PreviewCorrections pc = buildPreviewCorrections(fpnLevels9, L.bList, {}, {1.0}, kAt, 1, L.lsc);
        PreviewSwitches sw;
        sw.fpn = sw.ffc = sw.lsc = true;
        sw.regionX = 2;
        cv::Mat frame(40, width, CV_8UC1);
        cv::randu(frame, 0, 256);
        for (int round = 0; round < 3; ++round) {
            L.ffc = randomLists(rng, 1, width, 0.6, 1.7);
            cv::Mat expected = frame.clone(), fast = frame.clone();
            literalApply<uint8_t>(expected, FORMAT_MONO, L);
            QVERIFY(applyPreview(fast, FORMAT_MONO, pc, sw, L.ffc));
            QVERIFY(sameMat(fast, expected));
        }
        // FFC switched off: the next frame is corrected without it.
        Literal noFfc = L;
        noFfc.ffcOn = false;
        sw.ffc = false;
        cv::Mat expected = frame.clone(), fast = frame.clone();
        literalApply<uint8_t>(expected, FORMAT_MONO, noFfc);
        QVERIFY(applyPreview(fast, FORMAT_MONO, pc, sw, L.ffc));
        QVERIFY(sameMat(fast, expected));
        // A narrower frame skips FPN (its B does not fit) but keeps LSC.
        cv::Mat narrow = frame.colRange(0, 64).clone();
        Literal lscOnly = noFfc;
        lscOnly.fpn = false;
        expected = narrow.clone();
        literalApply<uint8_t>(expected, FORMAT_MONO, lscOnly);
        QVERIFY(applyPreview(narrow, FORMAT_MONO, pc, sw, L.ffc));
        QVERIFY(sameMat(narrow, expected));
    }

    // previewFrame gives what the corrections (applyPreview on one thread), the literal Sum and the
    // literal column means give one after the other, for every register width and thread count,
    // in place and from a frame left as it is.
    void previewFrameEqualsTheStepsOneByOne()
    {
        KernelSettings restore;
        previewFrameEqualsTheStepsOn();
    }

    // The widest kernels are the default, and a request is capped at what the processor has.
    void registerWidthFollowsTheProcessor()
    {
        const PreviewIsa best = __builtin_cpu_supports("avx512f") ? PreviewIsa::Avx512
                                : __builtin_cpu_supports("avx2")  ? PreviewIsa::Avx2
                                                                  : PreviewIsa::Sse2;
        QCOMPARE(previewIsa(), best);
        QCOMPARE(setPreviewIsa(PreviewIsa::Sse2), PreviewIsa::Sse2);
        QCOMPARE(setPreviewIsa(PreviewIsa::Avx512), best);
        qInfo("kernels compared here: %d widths, the widest %s", int(availableIsas().size()), previewIsaName(best));
    }

private:
    void previewFrameEqualsTheStepsOn()
    {
        std::mt19937 rng(5);
        struct Case {
            int format, bits, lines, sum, width, height;
        };
        const Case cases[] = {{FORMAT_MONO, LSX_BITS_8, 1, 1, 1100, 300},  {FORMAT_MONO, LSX_BITS_16, 1, 1, 1100, 30},
                              {FORMAT_BGR24, LSX_BITS_8, 1, 1, 90, 20},    {FORMAT_RGB24, LSX_BITS_8, 1, 1, 90, 20},
                              {FORMAT_MONO, LSX_BITS_8, 1, 3, 200, 31},    {FORMAT_MONO, LSX_BITS_16, 2, 1, 64, 12},
                              {FORMAT_BGR32, LSX_BITS_8, 1, 2, 40, 10},    {FORMAT_MONO, LSX_BITS_16, 1, 3, 301, 1001},
                              {FORMAT_MONO, LSX_BITS_16, 3, 1, 150, 1001}, {FORMAT_BGR24, LSX_BITS_8, 1, 2, 77, 3},
                              {FORMAT_MONO, LSX_BITS_8, 1, 1, 500, 1},     {FORMAT_MONO, LSX_BITS_16, 2, 2, 64, 1001}};
        for (const Case& c : cases) {
            const int ch = c.format == FORMAT_MONO ? 1 : (c.format == FORMAT_BGR32 ? 4 : 3);
            const int rows = c.format == FORMAT_MONO ? c.lines : ch;
            const QList<QList<double>> b = randomLists(rng, rows, c.width, 0.0, 30.0);
            const QList<QList<double>> k = randomLists(rng, rows, c.width, 0.6, 1.6);
            const QList<QList<KPoint>> pts = randomPoints(rng, rows, c.width);
            const KAtLevelFn kAt = [&](uint8_t level, QList<double>& out, int n) { kAtLevel(pts, 2, level, out, n); };
            const PreviewCorrections pc = buildPreviewCorrections(fpnLevels9, b, k, QList<double>(rows, 1.0), kAt,
                                                                  c.lines, randomLists(rng, ch, c.width, 0.7, 1.4));
            const QList<QList<double>> ffc =
                randomLists(rng, c.format == FORMAT_MONO ? c.lines : ch, c.width, 0.7, 1.4);
            PreviewSwitches sw;
            sw.fpn = sw.ffc = sw.lsc = true;
            sw.lineCount = c.lines;
            cv::Mat frame(c.height, c.width, CV_MAKETYPE(c.bits == LSX_BITS_16 ? CV_16U : CV_8U, ch));
            cv::randu(frame, 0, c.bits == LSX_BITS_16 ? 65536 : 256);
            const cv::Mat untouched = frame.clone();
            setPreviewIsa(PreviewIsa::Sse2);
            setPreviewThreads(1);
            cv::Mat stepwise = frame.clone();
            QVERIFY(applyPreview(stepwise, c.format, pc, sw, ffc));
            if (c.sum > 1)
                stepwise = c.bits == LSX_BITS_16 ? literalSum<uint16_t>(stepwise, c.sum)
                                                 : literalSum<uint8_t>(stepwise, c.sum);
            const cv::Mat means = literalMeans(stepwise, c.format, c.bits);
            for (PreviewIsa isa : availableIsas())
                for (int threads : kThreadCounts) {
                    setPreviewIsa(isa);
                    setPreviewThreads(threads);
                    const QString where =
                        QStringLiteral("format %1 bits %2 lines %3 sum %4, %5 x %6, %7 kernels, %8 threads")
                            .arg(c.format)
                            .arg(c.bits)
                            .arg(c.lines)
                            .arg(c.sum)
                            .arg(c.width)
                            .arg(c.height)
                            .arg(previewIsaName(isa))
                            .arg(threads);
                    cv::Mat fused = frame.clone();
                    cv::Mat staticMat;
                    QVERIFY(previewFrame(fused, c.format, c.bits, pc, sw, ffc, c.sum, staticMat));
                    QVERIFY2(sameMat(fused, stepwise), qPrintable(where));
                    QVERIFY2(sameMat(staticMat, means), qPrintable(where));
                    FrameBuffers buffers;
                    cv::Mat copy, copyMeans;
                    QVERIFY(previewFrame(frame, copy, c.format, c.bits, pc, sw, ffc, c.sum, copyMeans, &buffers));
                    QVERIFY2(sameMat(copy, stepwise), qPrintable(where));
                    QVERIFY2(sameMat(copyMeans, means), qPrintable(where));
                    QVERIFY2(sameMat(frame, untouched), qPrintable(where));
                }
        }
        cv::Mat img(2, 2, CV_8UC1, cv::Scalar(5));
        cv::Mat staticMat, copy;
        QVERIFY(!previewFrame(img, 7, 0, PreviewCorrections{}, PreviewSwitches{}, {}, 1, staticMat));
        QVERIFY(!previewFrame(img, copy, 7, 0, PreviewCorrections{}, PreviewSwitches{}, {}, 1, staticMat));
    }

private slots:
    void fpnOfTwoHundredWithBTenAndKOneAndAHalfSaturates()
    {
        const QList<QList<KPoint>> pts{QList<KPoint>(4, KPoint{100, 1.5})};
        const KAtLevelFn kAt = [&](uint8_t level, QList<double>& out, int rows) { kAtLevel(pts, 2, level, out, rows); };
        PreviewCorrections pc = buildPreviewCorrections(fpnLevels9, {QList<double>(4, 10.0)}, {}, {1.0}, kAt, 1, {});
        PreviewSwitches sw;
        sw.fpn = true;
        cv::Mat img(2, 4, CV_8UC1, cv::Scalar(200));
        QVERIFY(applyPreview(img, FORMAT_MONO, pc, sw, {}));
        QCOMPARE(img.at<uint8_t>(1, 3), uint8_t(255));

        // The lower limit of K is 0.51; the table itself carries K 0.5 here.
        pc = buildPreviewCorrections(fpnLevels9, {QList<double>(4, 10.0)}, {}, {1.0},
                                     [](uint8_t, QList<double>& out, int rows) { out = QList<double>(4 * rows, 0.5); },
                                     1, {});
        img = cv::Mat(2, 4, CV_8UC1, cv::Scalar(200));
        QVERIFY(applyPreview(img, FORMAT_MONO, pc, sw, {}));
        QCOMPARE(img.at<uint8_t>(0, 0), uint8_t(95));
    }

    void levelTableNeedsMatchingScales()
    {
        const KAtLevelFn kAt = [](uint8_t, QList<double>& out, int rows) { out = QList<double>(3 * rows, 1.0); };
        QVERIFY(!buildFpnLevelTable(fpnLevels9, {QList<double>(3, 1.0)}, {}, kAt).valid());
        QVERIFY(!buildFpnLevelTable(fpnLevels9, {}, {}, kAt).valid());
        QVERIFY(buildFpnLevelTable(fpnLevels9, {QList<double>(3, 1.0)}, {1.0}, kAt).valid());
        // No samples: no K at any level, and FPN is skipped.
        const KAtLevelFn none = [](uint8_t, QList<double>& out, int) { out.clear(); };
        QVERIFY(!buildFpnLevelTable(fpnLevels9, {QList<double>(3, 1.0)}, {1.0}, none).valid());
    }

    void kScaleMultipliesEachRow()
    {
        const KAtLevelFn kAt = [](uint8_t, QList<double>& out, int rows) { out = QList<double>(2 * rows, 1.0); };
        const FpnLevelTable t = buildFpnLevelTable(
            fpnLevels3, {QList<double>(2, 0.0), QList<double>(2, 0.0), QList<double>(2, 0.0)}, {1.0, 0.5, 2.0}, kAt);
        QCOMPARE(t.kAt(100, 0, 1), 1.0f);
        QCOMPARE(t.kAt(100, 1, 1), 0.5f);
        QCOMPARE(t.kAt(100, 2, 0), 2.0f);
    }

    void sixteenBitMeansOnTheEightBitScale()
    {
        const cv::Mat img(7, 5, CV_16UC1, cv::Scalar(25600));
        const cv::Mat m = columnMeans(img, FORMAT_MONO, LSX_BITS_16);
        QCOMPARE(m.rows, 1);
        QCOMPARE(m.cols, 5);
        QCOMPARE(m.type(), CV_32FC1);
        for (int x = 0; x < 5; ++x) QCOMPARE(m.at<float>(0, x), 100.0f);
        // 1000 rows: the float sum stays exact.
        const cv::Mat big(1000, 3, CV_16UC1, cv::Scalar(25600));
        QCOMPARE(columnMeans(big, FORMAT_MONO, LSX_BITS_16).at<float>(0, 2), 100.0f);
    }

    void colourMeansAreAlwaysBgr()
    {
        cv::Mat img(4, 2, CV_8UC3, cv::Scalar(10, 20, 30));
        cv::Mat m = columnMeans(img, FORMAT_BGR24, LSX_BITS_8);
        QCOMPARE(m.type(), CV_32FC3);
        QCOMPARE(m.at<cv::Vec3f>(0, 1), cv::Vec3f(10, 20, 30));
        m = columnMeans(img, FORMAT_RGB24, LSX_BITS_8);
        QCOMPARE(m.at<cv::Vec3f>(0, 0), cv::Vec3f(30, 20, 10));
        cv::Mat four(3, 2, CV_8UC4, cv::Scalar(1, 2, 3, 4));
        m = columnMeans(four, FORMAT_RGB32, LSX_BITS_8);
        QCOMPARE(m.type(), CV_32FC4);
        QCOMPARE(m.at<cv::Vec4f>(0, 1), cv::Vec4f(3, 2, 1, 4));
        // Means of mixed rows.
        cv::Mat mono = (cv::Mat_<uint8_t>(2, 2) << 10, 0, 21, 255);
        m = columnMeans(mono, FORMAT_MONO, LSX_BITS_8);
        QCOMPARE(m.at<float>(0, 0), 15.5f);
        QCOMPARE(m.at<float>(0, 1), 127.5f);
        QVERIFY(columnMeans(cv::Mat(), FORMAT_MONO, LSX_BITS_8).empty());
    }

    void sumOfThreeShrinksAndSaturates()
    {
        const cv::Mat img(1000, 4000, CV_8UC1, cv::Scalar(30));
        const cv::Mat s = sumBlocks(img, 3);
        QCOMPARE(s.cols, 1333);
        QCOMPARE(s.rows, 333);
        QCOMPARE(s.at<uint8_t>(0, 0), uint8_t(255));  // nine pixels of 30
        const cv::Mat small(3, 3, CV_8UC1, cv::Scalar(20));
        QCOMPARE(sumBlocks(small, 3).at<uint8_t>(0, 0), uint8_t(180));
        const cv::Mat wide(4, 4, CV_16UC1, cv::Scalar(20000));
        QCOMPARE(sumBlocks(wide, 2).at<uint16_t>(1, 1), uint16_t(65535));
        const cv::Mat wideSmall(4, 4, CV_16UC1, cv::Scalar(1000));
        QCOMPARE(sumBlocks(wideSmall, 2).at<uint16_t>(0, 1), uint16_t(4000));
        cv::Mat colour(2, 4, CV_8UC3, cv::Scalar(1, 2, 100));
        colour.at<cv::Vec3b>(1, 3) = cv::Vec3b(5, 6, 7);
        const cv::Mat cs = sumBlocks(colour, 2);
        QCOMPARE(cs.size(), cv::Size(2, 1));
        QCOMPARE(cs.at<cv::Vec3b>(0, 0), cv::Vec3b(4, 8, 255));
        QCOMPARE(cs.at<cv::Vec3b>(0, 1), cv::Vec3b(8, 12, 255));
        // Sum 1 leaves the frame alone.
        QCOMPARE(sumBlocks(img, 1).data, img.data);
    }

    // Sum, the column means and the regrouping alone, on 1, 2 and 7 threads, against their
    // literal versions, for heights that do not divide into the threads' parts.
    void stepsOnEveryThreadCount()
    {
        KernelSettings restore;
        std::mt19937 rng(9);
        for (int height : {1, 3, 1001})
            for (int threads : kThreadCounts) {
                setPreviewThreads(threads);
                const QString where = QStringLiteral("%1 rows, %2 threads").arg(height).arg(threads);
                cv::Mat wide(height, 257, CV_16UC1), colour(height, 91, CV_8UC3);
                cv::randu(wide, 0, 65536);
                cv::randu(colour, 0, 256);
                QVERIFY2(
                    sameMat(columnMeans(wide, FORMAT_MONO, LSX_BITS_16), literalMeans(wide, FORMAT_MONO, LSX_BITS_16)),
                    qPrintable(where));
                QVERIFY2(sameMat(columnMeans(colour, FORMAT_RGB24, 0), literalMeans(colour, FORMAT_RGB24, 0)),
                         qPrintable(where));
                for (int s : {2, 3}) {
                    if (height < s) continue;
                    QVERIFY2(sameMat(sumBlocks(wide, s), literalSum<uint16_t>(wide, s)), qPrintable(where));
                    QVERIFY2(sameMat(sumBlocks(colour, s), literalSum<uint8_t>(colour, s)), qPrintable(where));
                }
                for (int lines : {2, 3}) {
                    cv::Mat expected;
                    std::vector<cv::Mat> blocks;
                    for (int l = 0; l < lines; ++l)
                        for (int y = l; y < height; y += lines) blocks.push_back(wide.row(y));
                    cv::vconcat(blocks, expected);
                    QVERIFY2(sameMat(regroupLines(wide, lines), expected), qPrintable(where));
                }
            }
    }

    void twoLinesAreRegrouped()
    {
        // Rows a0, b0, a1, b1 show as a0, a1, b0, b1.
        cv::Mat img = (cv::Mat_<uint8_t>(4, 2) << 10, 11, 20, 21, 12, 13, 22, 23);
        PreviewSwitches sw;
        sw.lineCount = 2;
        QVERIFY(applyPreview(img, FORMAT_MONO, PreviewCorrections{}, sw, {}));
        const cv::Mat expected = (cv::Mat_<uint8_t>(4, 2) << 10, 11, 12, 13, 20, 21, 22, 23);
        QVERIFY(sameMat(img, expected));
        // Colour frames are never regrouped.
        cv::Mat colour(4, 1, CV_8UC3);
        for (int y = 0; y < 4; ++y) colour.at<cv::Vec3b>(y, 0) = cv::Vec3b(y, y, y);
        const cv::Mat before = colour.clone();
        QVERIFY(applyPreview(colour, FORMAT_BGR24, PreviewCorrections{}, sw, {}));
        QVERIFY(sameMat(colour, before));
    }

    void narrowFrameSkipsFfc()
    {
        PreviewSwitches sw;
        sw.ffc = true;
        const QList<QList<double>> ffc{QList<double>(8, 2.0)};
        cv::Mat img(2, 6, CV_8UC1, cv::Scalar(50));
        QVERIFY(applyPreview(img, FORMAT_MONO, PreviewCorrections{}, sw, ffc));
        QCOMPARE(cv::countNonZero(img != 50), 0);
        cv::Mat fits(2, 8, CV_8UC1, cv::Scalar(50));
        QVERIFY(applyPreview(fits, FORMAT_MONO, PreviewCorrections{}, sw, ffc));
        QCOMPARE(cv::countNonZero(fits != 100), 0);
    }

    void lscNeedsTheRegionOffset()
    {
        const QList<QList<double>> lsc{QList<double>{1, 1, 1, 2.0, 0.5, 3.0}};
        PreviewCorrections pc;
        pc.lsc = buildLscTable(lsc);
        PreviewSwitches sw;
        sw.lsc = true;
        sw.regionX = 3;
        cv::Mat img = (cv::Mat_<uint8_t>(1, 3) << 100, 101, 100);
        QVERIFY(applyPreview(img, FORMAT_MONO, pc, sw, {}));
        QCOMPARE(img.at<uint8_t>(0, 0), uint8_t(200));
        QCOMPARE(img.at<uint8_t>(0, 1), uint8_t(50));  // 50.5 rounds to even
        QCOMPARE(img.at<uint8_t>(0, 2), uint8_t(255));
        sw.regionX = 4;  // the gains stop short of the frame: skipped
        cv::Mat other = (cv::Mat_<uint8_t>(1, 3) << 100, 101, 100);
        QVERIFY(applyPreview(other, FORMAT_MONO, pc, sw, {}));
        QCOMPARE(other.at<uint8_t>(0, 0), uint8_t(100));
    }

    void rgb32FfcKeepsItsPitchOfThree()
    {
        const int w = 4;
        QList<QList<double>> ffc;
        for (double g : {1.0, 2.0, 3.0, 4.0}) ffc.append(QList<double>(w, g));
        PreviewSwitches sw;
        sw.ffc = true;
        cv::Mat img(1, w, CV_8UC4, cv::Scalar(10, 10, 10, 10));
        QVERIFY(applyPreview(img, FORMAT_RGB32, PreviewCorrections{}, sw, ffc));
        // Float row: pixel x at 3x: gains of lists 2, 1, 0, 3; the fourth is overwritten by the
        // next pixel's first, and the last quarter keeps 0 (after the final pixel's fourth).
        const uint8_t* p = img.ptr<uint8_t>(0);
        const std::vector<uint8_t> expected{30, 20, 10, 30, 20, 10, 30, 20, 10, 30, 20, 10, 40, 0, 0, 0};
        QCOMPARE(std::vector<uint8_t>(p, p + 16), expected);
        // BGR32 keeps the order of the lists.
        cv::Mat bgr(1, w, CV_8UC4, cv::Scalar(10, 10, 10, 10));
        QVERIFY(applyPreview(bgr, FORMAT_BGR32, PreviewCorrections{}, sw, ffc));
        QCOMPARE(bgr.at<cv::Vec4b>(0, 3), cv::Vec4b(10, 20, 30, 40));
    }

    void unsupportedFormatIsRefused()
    {
        cv::Mat img(2, 2, CV_8UC1, cv::Scalar(5));
        QVERIFY(!applyPreview(img, 7, PreviewCorrections{}, PreviewSwitches{}, {}));
        QVERIFY(!applyPreview(img, FORMAT_MONO16, PreviewCorrections{}, PreviewSwitches{}, {}));
    }
};

QTEST_MAIN(TestPreviewKernels)
#include "test_preview_kernels.moc"
