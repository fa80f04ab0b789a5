// liblsxcorrect's C interface (lsxcorrect.h).
//
// A correction object keeps what its files hold and, for the last image layout it met, the
// coefficients of every element of a line: B in the frame's units and one K that carries the
// flat field and the lens shading too (K x F x L, as the camera multiplies them), per sensor line
// and, with multi-level K, per band. Correcting a block is then the kernels' FPN step alone: one
// subtraction, one product and one rounding per sample.
//
//  1. Load: a file is read and checked whole (files.cpp); only a good one replaces the object's.
//  2. Prepare, when the layout, a setting or a file has changed: the data are matched to the
//     image (colour planes or sensor lines, the rows of the gain, the columns the frames cover)
//     and folded into B and K; a mismatch is refused with a sentence and the image left alone.
//  3. Correct: the block through the kernels, on every core.
#include "lsxcorrect.h"

#include "files.h"
#include "kernel.h"
#include "parts.h"

#include <algorithm>
#include <cmath>
#include <cstring>
#include <limits>
#include <memory>
#include <new>
#include <string>
#include <vector>

namespace {

// The coefficients of one image layout.
struct Prepared {
    uint64_t generation = 0;  // of the object's settings and files they were made from
    int format = 0, bits = 0, width = 0;
    std::vector<float> b;         // [line][element]
    std::vector<float> k;         // [line][element], or with bands [band][line][element]
    std::vector<float> bandFrom;  // per band
    lsxc::Chain chain;
};

}  // namespace

struct lsxcCorrection {
    std::unique_ptr<lsxc::FpnFile> fpn;
    std::unique_ptr<lsxc::FfcFile> ffc;
    std::unique_ptr<lsxc::LscFile> lsc;
    double gain = 1.0;
    int32_t switches = LSXC_ALL;
    int32_t region = -1;
    int32_t sensorLines = 1;
    uint64_t generation = 1;  // counts every change of files and settings
    Prepared prepared;
    lsxcStatus lastStatus = LSXC_OK;
    std::string lastError;
};

namespace {

lsxcStatus done(lsxcCorrection* c, lsxcStatus status, const std::string& why = std::string())
{
    if (c) {
        c->lastStatus = status;
        c->lastError = status == LSXC_OK ? std::string() : why;
    }
    return status;
}

// Every operation's body: what it throws becomes a status, never crosses the boundary.
template <typename F>
lsxcStatus guarded(lsxcCorrection* c, F&& body)
{
    try {
        return body();
    } catch (const std::bad_alloc&) {
        return done(c, LSXC_ERR_NO_MEMORY, "out of memory");
    } catch (...) {
        return done(c, LSXC_ERR_UNKNOWN, "internal failure");
    }
}

bool isMono(int format)
{
    return format == LSXC_MONO8 || format == LSXC_MONO16;
}

int bytesPerPixel(int format)
{
    return format == LSXC_MONO8 ? 1 : format == LSXC_MONO16 ? 2 : 3;
}

// The depth of the image's samples: 8, or 10, 12, 16 for 16-bit words; 0 for a depth not taken.
int depthOf(const lsxcImage& image)
{
    if (image.format == LSXC_MONO16) {
        const int bits = image.bits == 0 ? 16 : image.bits;
        return bits == 10 || bits == 12 || bits == 16 ? bits : 0;
    }
    return image.bits == 0 || image.bits == 8 ? 8 : 0;
}

// The colour name of each channel of a pixel; mono frames go by R, the name a one-channel file
// gives its list.
std::string channelNames(int format)
{
    switch (format) {
    case LSXC_RGB8: return "RGB";
    case LSXC_BGR8: return "BGR";
    default: return "R";
    }
}

std::string number(int64_t v)
{
    return std::to_string(v);
}

// The sensor line names of a multi-line sensor's FFC lists, as the tool writes them: one list
// under R, two under R and G, three reversed (R holds the last line).
char ffcLineName(int line, int lines)
{
    if (lines == 3) return "BGR"[line];
    return "RGB"[line];
}

// The object's data folded into the coefficients of one layout; false with the sentence.
bool prepare(lsxcCorrection& c, const lsxcImage& image, int depth, std::string& why)
{
    Prepared p;
    p.generation = c.generation;
    p.format = image.format;
    p.bits = depth;
    p.width = image.width;
    const bool mono = isMono(image.format);
    const std::string names = channelNames(image.format);
    const int channels = mono ? 1 : 3;
    const int lines = mono ? std::max(1, c.sensorLines) : 1;
    const int width = image.width;
    const size_t n = size_t(width) * channels;
    const lsxc::FpnFile* fpn = (c.switches & LSXC_FPN) ? c.fpn.get() : nullptr;
    const lsxc::FfcFile* ffc = (c.switches & LSXC_FFC) ? c.ffc.get() : nullptr;
    const lsxc::LscFile* lsc = (c.switches & LSXC_LSC) ? c.lsc.get() : nullptr;
    if (!fpn && !ffc && !lsc) {
        why = "no correction is loaded and switched on";
        return false;
    }
    const int64_t x0 = c.region >= 0 ? c.region
                       : c.fpn       ? c.fpn->x
                       : c.ffc       ? c.ffc->x
                       : c.lsc       ? c.lsc->x
                                     : 0;
    const std::string frameText = "a frame of " + number(width) + " columns from sensor column " + number(x0);

    // FPN: the rows of the gain, one per colour plane or sensor line.
    int block = 0, bands = 0;
    double bScale = 1.0;
    std::vector<int> fpnRow(size_t(lines) * channels, 0);
    if (fpn) {
        if (fpn->colour == mono) {
            why = std::string("the FPN file was made on a ") + (fpn->colour ? "colour" : "mono") + " camera, "
                  + "the frames are " + (mono ? "mono" : "colour");
            return false;
        }
        const int planes = mono ? lines : 3;
        const int rows = int(fpn->b.size());
        if (rows % planes != 0) {
            why = "the FPN file's " + number(rows) + " rows are not a whole number of gains of " + number(planes)
                  + (mono ? " sensor lines" : " colour planes");
            return false;
        }
        if (x0 < fpn->x || x0 + width > int64_t(fpn->x) + fpn->columns) {
            why = "the FPN file covers sensor columns " + number(fpn->x) + " to " + number(fpn->x + fpn->columns - 1)
                  + ", not " + frameText;
            return false;
        }
        const int gains = rows / planes;
        block = int(std::clamp<long>(std::lround(c.gain - 1.0), 0L, long(gains - 1)));
        const std::string order = fpn->rgbOrder ? "RGB" : "BGR";
        for (int l = 0; l < lines; ++l)
            for (int ch = 0; ch < channels; ++ch)
                fpnRow[size_t(l) * channels + ch] =
                    block * planes + (mono ? l : int(order.find(names[size_t(ch)])));
        bands = fpn->multiLevel && !fpn->k.empty() ? int(fpn->k.size()) : 0;
        // B from the file's scale (8-bit or 16-bit frames) to the image's.
        bScale = std::ldexp(fpn->bits == 8 ? 256.0 : 1.0, depth - 16);
    }

    // FFC: the list of each channel, or of each sensor line.
    std::vector<const std::vector<double>*> ffcList(size_t(lines) * channels, nullptr);
    if (ffc) {
        if (x0 < ffc->x || x0 + width > int64_t(ffc->x) + ffc->width) {
            why = "the FFC file covers sensor columns " + number(ffc->x) + " to " + number(ffc->x + ffc->width - 1)
                  + ", not " + frameText;
            return false;
        }
        const int have = int(ffc->channels.size());
        const bool perLine = mono && lines > 1 && have == lines && lines <= 3;
        if (mono ? !(have == 1 || perLine) : have != 3) {
            why = "the FFC file has " + number(have) + " channels; " + (mono ? "a mono" : "a colour") + " frame"
                  + (mono && lines > 1 ? " of " + number(lines) + " sensor lines" : std::string()) + " takes "
                  + (mono ? (lines > 1 && lines <= 3 ? "1 or " + number(lines) : std::string("1")) : std::string("3"));
            return false;
        }
        for (int l = 0; l < lines; ++l)
            for (int ch = 0; ch < channels; ++ch) {
                const char name = mono ? (perLine ? ffcLineName(l, lines) : ffc->channels.begin()->first)
                                       : names[size_t(ch)];
                // Two lists of two sensor lines may be named other than R and G.
                const auto list = ffc->channels.find(name);
                if (list == ffc->channels.end()) {
                    why = std::string("the FFC file has no list ") + name + " for sensor line " + number(l);
                    return false;
                }
                ffcList[size_t(l) * channels + ch] = &list->second;
            }
    }

    // LSC: the polynomial of each channel.
    std::vector<const std::array<double, 8>*> lscPoly(size_t(channels), nullptr);
    if (lsc) {
        if (int(lsc->channels.size()) != channels) {
            why = "the LSC file has " + number(int(lsc->channels.size())) + " channels; a " + (mono ? "mono" : "colour")
                  + " frame takes " + number(channels);
            return false;
        }
        for (int ch = 0; ch < channels; ++ch) lscPoly[size_t(ch)] = &lsc->channels.at(names[size_t(ch)]);
    }

    // The lens-shading gain of every element, the same on every sensor line.
    std::vector<double> lscGain;
    if (lsc) {
        lscGain.resize(n);
        for (int x = 0; x < width; ++x)
            for (int ch = 0; ch < channels; ++ch)
                lscGain[size_t(x) * channels + ch] =
                    lsxc::lscGainAt(*lscPoly[size_t(ch)], lsc->x, lsc->width, int(x0 + x));
    }

    // B and K x F x L of every element of every line (and band).
    const int kCount = std::max(1, bands);
    p.b.assign(size_t(lines) * n, 0.0f);
    p.k.assign(size_t(kCount) * lines * n, 1.0f);
    for (int l = 0; l < lines; ++l)
        for (int x = 0; x < width; ++x)
            for (int ch = 0; ch < channels; ++ch) {
                const size_t e = size_t(x) * channels + ch;
                const int64_t sensor = x0 + x;
                double gain = 1.0;
                if (const auto* f = ffcList[size_t(l) * channels + ch]) gain *= (*f)[size_t(sensor - ffc->x)];
                if (lsc) gain *= lscGain[e];
                const float extra = float(gain);
                float b = 0.0f;
                if (fpn) {
                    const size_t row = size_t(fpnRow[size_t(l) * channels + ch]);
                    const size_t col = size_t(sensor - fpn->x);
                    b = float(fpn->b[row][col] * bScale);
                    for (int j = 0; j < kCount; ++j) {
                        const double k = fpn->k.empty() ? 1.0
                                         : bands      ? fpn->k[size_t(j)][row * size_t(fpn->columns) + col]
                                                      : fpn->k[row][col];
                        p.k[(size_t(j) * lines + l) * n + e] = float(k) * extra;
                    }
                } else {
                    p.k[size_t(l) * n + e] = extra;
                }
                p.b[size_t(l) * n + e] = b;
            }

    lsxc::Chain& chain = p.chain;
    chain.b = p.b.data();
    if (bands) {
        // A band holds the levels up to and with its own (8-bit scale), of v - B as the camera
        // picks them.
        p.bandFrom.assign(size_t(bands), -std::numeric_limits<float>::infinity());
        for (int j = 1; j < bands; ++j)
            p.bandFrom[size_t(j)] = float(std::ldexp(double(lsxc::kFpnBandLevels[size_t(j - 1)]), depth - 8));
        chain.bands = p.k.data();
        chain.bandStride = size_t(lines) * n;
        chain.bandCount = bands;
        chain.bandFrom = p.bandFrom.data();
        chain.bandByOffset = true;
    } else {
        chain.k = p.k.data();
    }
    chain.lines = lines;
    chain.lineStride = n;
    chain.top = float(depth == 8 ? 255 : (1 << depth) - 1);
    c.prepared = std::move(p);
    return true;
}

// The layout of an image: false with the sentence when it cannot be read as one.
bool checkImage(const lsxcImage& image, const char* which, std::string& why)
{
    const std::string name = which;
    if (image.format < LSXC_MONO8 || image.format > LSXC_BGR8) {
        why = name + " image: format " + number(image.format) + " is none of LSXC_MONO8, LSXC_MONO16, LSXC_RGB8, LSXC_BGR8";
        return false;
    }
    if (image.width < 0 || image.lines < 0) {
        why = name + " image: " + number(image.width) + " x " + number(image.lines) + " pixels";
        return false;
    }
    const int64_t row = int64_t(image.width) * bytesPerPixel(image.format);
    if (image.stride != 0 && image.stride < row) {
        why = name + " image: lines of " + number(image.stride) + " bytes hold no " + number(image.width) + " pixels";
        return false;
    }
    if (image.lines > 0 && image.width > 0 && !image.data) {
        why = name + " image: no pixels";
        return false;
    }
    const int64_t stride = image.stride ? image.stride : row;
    if (image.format == LSXC_MONO16 && ((reinterpret_cast<uintptr_t>(image.data) | uintptr_t(stride)) & 1u)) {
        why = name + " image: 16-bit samples at an odd address or line length";
        return false;
    }
    return true;
}

}  // namespace

extern "C" {

LSXC_API lsxcStatus lsxcCreate(lsxcCorrection** out)
{
    if (!out) return LSXC_ERR_ARGUMENT;
    try {
        *out = new lsxcCorrection;
        return LSXC_OK;
    } catch (...) {
        *out = nullptr;
        return LSXC_ERR_NO_MEMORY;
    }
}

LSXC_API lsxcStatus lsxcDestroy(lsxcCorrection* c)
{
    delete c;
    return LSXC_OK;
}

#define LSXC_LOADER(function, member, load, Type, kind)                                                   \
    LSXC_API lsxcStatus function(lsxcCorrection* c, const char* path)                                     \
    {                                                                                                     \
        if (!c) return LSXC_ERR_ARGUMENT;                                                                 \
        if (!path || !*path) return done(c, LSXC_ERR_ARGUMENT, "no " kind " file named");                 \
        return guarded(c, [&] {                                                                           \
            auto data = std::make_unique<lsxc::Type>();                                                   \
            std::string why;                                                                              \
            if (!lsxc::load(path, *data, why)) {                                                          \
                const bool unreadable = why.find("cannot be") != std::string::npos;                       \
                return done(c, unreadable ? LSXC_ERR_FILE_OPEN : LSXC_ERR_FILE_FORMAT, why);              \
            }                                                                                             \
            c->member = std::move(data);                                                                  \
            ++c->generation;                                                                              \
            return done(c, LSXC_OK);                                                                      \
        });                                                                                               \
    }
LSXC_LOADER(lsxcLoadFpn, fpn, loadFpnFile, FpnFile, "FPN")
LSXC_LOADER(lsxcLoadFfc, ffc, loadFfcFile, FfcFile, "FFC")
LSXC_LOADER(lsxcLoadLsc, lsc, loadLscFile, LscFile, "LSC")
#undef LSXC_LOADER

LSXC_API lsxcStatus lsxcSetGain(lsxcCorrection* c, double gain)
{
    if (!c) return LSXC_ERR_ARGUMENT;
    if (!std::isfinite(gain) || gain <= 0.0 || gain > 1000.0)
        return done(c, LSXC_ERR_ARGUMENT, "gain " + std::to_string(gain) + " is not from 0 to 1000");
    c->gain = gain;
    ++c->generation;
    return done(c, LSXC_OK);
}

LSXC_API lsxcStatus lsxcSetSwitches(lsxcCorrection* c, int32_t switches)
{
    if (!c) return LSXC_ERR_ARGUMENT;
    if (switches & ~LSXC_ALL) return done(c, LSXC_ERR_ARGUMENT, "switches " + number(switches) + " beyond LSXC_ALL");
    c->switches = switches;
    ++c->generation;
    return done(c, LSXC_OK);
}

LSXC_API lsxcStatus lsxcSetRegion(lsxcCorrection* c, int32_t firstColumn)
{
    if (!c) return LSXC_ERR_ARGUMENT;
    if (firstColumn < -1 || firstColumn > (1 << 20))
        return done(c, LSXC_ERR_ARGUMENT, "first sensor column " + number(firstColumn) + " is not from -1 to 1048576");
    c->region = firstColumn;
    ++c->generation;
    return done(c, LSXC_OK);
}

LSXC_API lsxcStatus lsxcSetSensorLines(lsxcCorrection* c, int32_t lines)
{
    if (!c) return LSXC_ERR_ARGUMENT;
    if (lines < 1 || lines > 64) return done(c, LSXC_ERR_ARGUMENT, number(lines) + " sensor lines is not from 1 to 64");
    c->sensorLines = lines;
    ++c->generation;
    return done(c, LSXC_OK);
}

LSXC_API lsxcStatus lsxcSetThreads(int32_t threads)
{
    if (threads < 0) return LSXC_ERR_ARGUMENT;
    lsxc::setThreads(threads);
    return LSXC_OK;
}

LSXC_API lsxcStatus lsxcGetInfo(const lsxcCorrection* c, lsxcInfo* info)
{
    if (!c || !info) return LSXC_ERR_ARGUMENT;
    std::memset(info, 0, sizeof *info);
    info->loaded = (c->fpn ? LSXC_FPN : 0) | (c->ffc ? LSXC_FFC : 0) | (c->lsc ? LSXC_LSC : 0);
    info->switches = c->switches;
    info->gain = c->gain;
    info->region = c->region;
    info->sensorLines = c->sensorLines;
    if (c->fpn) {
        info->fpnRows = int32_t(c->fpn->b.size());
        info->fpnColumns = c->fpn->columns;
        info->fpnX = c->fpn->x;
        info->fpnBits = c->fpn->bits;
        info->fpnBands = c->fpn->multiLevel ? int32_t(c->fpn->k.size()) : 0;
        info->fpnTarget = c->fpn->targetFormat;
    }
    if (c->ffc) {
        info->ffcChannels = int32_t(c->ffc->channels.size());
        info->ffcX = c->ffc->x;
        info->ffcWidth = c->ffc->width;
    }
    if (c->lsc) {
        info->lscChannels = int32_t(c->lsc->channels.size());
        info->lscX = c->lsc->x;
        info->lscWidth = c->lsc->width;
    }
    return LSXC_OK;
}

LSXC_API lsxcStatus lsxcCorrect(lsxcCorrection* c, const lsxcImage* in, const lsxcImage* out)
{
    if (!c) return LSXC_ERR_ARGUMENT;
    if (!in || !out) return done(c, LSXC_ERR_ARGUMENT, "no image");
    return guarded(c, [&] {
        std::string why;
        if (!checkImage(*in, "input", why) || !checkImage(*out, "output", why)) return done(c, LSXC_ERR_ARGUMENT, why);
        if (in->format != out->format || in->bits != out->bits || in->width != out->width || in->lines != out->lines)
            return done(c, LSXC_ERR_ARGUMENT, "input and output images differ in format, depth or size");
        const int depth = depthOf(*in);
        if (depth == 0)
            return done(c, LSXC_ERR_NOT_SUPPORTED,
                        "samples of " + number(in->bits) + " bits; 16-bit words take 10, 12 or 16, bytes 8");
        const int64_t row = int64_t(in->width) * bytesPerPixel(in->format);
        const int64_t inStride = in->stride ? in->stride : row, outStride = out->stride ? out->stride : row;
        // The output is the input itself, or memory apart from it.
        const auto* a = static_cast<const uint8_t*>(in->data);
        const auto* b = static_cast<const uint8_t*>(out->data);
        const int64_t span = in->lines > 0 ? (in->lines - 1) * std::max(inStride, outStride) + row : 0;
        const bool same = a == b && inStride == outStride;
        if (!same && span > 0 && a < b + span && b < a + span)
            return done(c, LSXC_ERR_ARGUMENT, "input and output images overlap");
        Prepared& p = c->prepared;
        const bool current = p.generation == c->generation && p.format == in->format && p.bits == depth
                             && p.width == in->width && p.chain.any();
        if (!current) {
            p = Prepared();
            if (!prepare(*c, *in, depth, why)) {
                const bool nothing = why.rfind("no correction", 0) == 0;
                return done(c, nothing ? LSXC_ERR_NO_DATA : LSXC_ERR_SIZE, why);
            }
        }
        if (in->lines == 0 || in->width == 0) return done(c, LSXC_OK);
        lsxc::Rows rows;
        rows.from = a;
        rows.fromStep = size_t(inStride);
        rows.to = const_cast<uint8_t*>(b);
        rows.toStep = size_t(outStride);
        rows.rows = in->lines;
        rows.elements = in->width * (isMono(in->format) ? 1 : 3);
        rows.bytes = in->format == LSXC_MONO16 ? 2 : 1;
        rows.firstRow = p.chain.lines > 1 ? ((in->firstLine % p.chain.lines) + p.chain.lines) % p.chain.lines : 0;
        lsxc::correctRows(rows, p.chain);
        return done(c, LSXC_OK);
    });
}

LSXC_API lsxcStatus lsxcLastError(const lsxcCorrection* c, char* text, uint32_t size)
{
    if (!c) return LSXC_ERR_ARGUMENT;
    if (text && size > 0) {
        const size_t n = std::min<size_t>(size - 1, c->lastError.size());
        std::memcpy(text, c->lastError.data(), n);
        text[n] = '\0';
    }
    return c->lastStatus;
}

LSXC_API lsxcStatus lsxcVersion(int32_t* version)
{
    if (!version) return LSXC_ERR_ARGUMENT;
    *version = LSXC_VERSION;
    return LSXC_OK;
}

}  // extern "C"
