/*
 * liblsxcorrect: a line-scan camera's corrections applied on the host, to the frames of any
 * camera, from the calibration tool's parameter files.
 *
 * The tool measures a camera and keeps what it measured in files: the FPN file "*.FAC.FPN" (per
 * column an offset B and a gain K, per gain and colour plane or sensor line, on a multi-level
 * camera K per level band), the FFC file "<model>.FAC.FFC.<name>" (one gain per sensor column
 * and channel) and the LSC file "*.LSC.FAC" (a degree-6 polynomial per channel). A camera with
 * the maker's firmware takes them into its memory; for any other camera this library applies
 * them to the frames as they arrive, with the camera's own arithmetic: per sample
 *
 *     v' = saturate(round((v - B) x K x F x L))
 *
 * in the frame's own units, with B and K of the row the gain picks, F the flat-field gain of the
 * column and L the lens-shading gain target / p(column - ROI X) (1 outside the ROI, at most 16).
 * With K bands, K is that of the band of the level of v - B (the bands of the finest level table,
 * 4, 8, 12, 16, 24, 32, 64, 128, 255 on the 8-bit scale, each up to and with its level). The live
 * preview of the tool runs the same kernels.
 *
 * Five lines:
 *
 *     lsxcCorrection* c = NULL;
 *     lsxcCreate(&c);
 *     lsxcLoadFpn(c, "cam.FAC.FPN");                       (lsxcLoadFfc, lsxcLoadLsc alike)
 *     lsxcImage frame = {LSXC_MONO8, 0, width, lines, 0, pixels, 0};
 *     lsxcCorrect(c, &frame, &frame);                      (in place, on every core)
 *     lsxcDestroy(c);
 *
 * Rules of the boundary: plain data and pointers, no exceptions, memory freed where it was
 * allocated (a correction object by lsxcDestroy), every operation returns an lsxcStatus (1 is
 * success) and leaves the object as it was when it fails; lsxcLastError tells why in a sentence
 * that names the file, the line or the sizes. One object is used by one thread at a time;
 * objects do not share anything but the helper threads.
 */
#ifndef LSXCORRECT_H
#define LSXCORRECT_H

#include <stddef.h>
#include <stdint.h>

#ifdef __cplusplus
extern "C" {
#endif

typedef int32_t lsxcStatus;
typedef struct lsxcCorrection lsxcCorrection;

/* Version of this interface; lsxcVersion answers the library's. */
#define LSXC_VERSION 1

/* ---- Statuses ---- */
enum {
    LSXC_OK = 1,
    LSXC_ERR_UNKNOWN = -1,
    LSXC_ERR_NOT_SUPPORTED = -2,  /* an image format or depth the library does not take */
    LSXC_ERR_ARGUMENT = -4,       /* a null pointer or a value out of its range */
    LSXC_ERR_SIZE = -42,          /* image and correction data do not fit each other */
    LSXC_ERR_NO_DATA = -51,       /* no correction is loaded and switched on */
    LSXC_ERR_NO_MEMORY = -1200,   /* out of memory */
    LSXC_ERR_FILE_FORMAT = -1301, /* a parameter file that is not one, is damaged, or of another version */
    LSXC_ERR_FILE_OPEN = -1304    /* a file that cannot be read */
};

/* ---- Image formats (lsxcImage.format) ---- */
enum {
    LSXC_MONO8 = 1,  /* one byte per pixel */
    LSXC_MONO16 = 2, /* one 16-bit word per pixel (host order); lsxcImage.bits tells its depth */
    LSXC_RGB8 = 3,   /* three bytes per pixel: R, G, B */
    LSXC_BGR8 = 4    /* three bytes per pixel: B, G, R */
};

/* ---- Corrections (lsxcSetSwitches; lsxcInfo.loaded) ---- */
enum { LSXC_FPN = 1, LSXC_FFC = 2, LSXC_LSC = 4, LSXC_ALL = 7 };

/* A block of lines of one frame. */
typedef struct lsxcImage {
    int32_t format;    /* 0: LSXC_xxx */
    int32_t bits;      /* 4: LSXC_MONO16 only: the sample's depth, 10, 12 or 16 bits in the low bits
                          of the word (Mono10, Mono12 as GenICam and GStreamer deliver them), or 0
                          for 16 (the tool's own 16-bit frames: 10-bit data in the high bits) */
    int32_t width;     /* 8: pixels per line */
    int32_t lines;     /* 12: lines in the block (0: nothing to do) */
    int64_t stride;    /* 16: bytes from a line to the next; 0: width x bytes per pixel */
    void* data;        /* 24: the first pixel */
    int64_t firstLine; /* 32: number of the block's first line in the stream; picks the sensor line
                          of a multi-line sensor (lsxcSetSensorLines), else unused */
} lsxcImage;

/* What a correction object holds and applies. */
typedef struct lsxcInfo {
    int32_t loaded;      /* 0: LSXC_FPN | LSXC_FFC | LSXC_LSC, the files loaded */
    int32_t switches;    /* 4: the corrections switched on (default LSXC_ALL) */
    double gain;         /* 8: the camera's analog gain the FPN rows are picked for (default 1) */
    int32_t region;      /* 16: the frames' first sensor column, or -1: the files' ROI X */
    int32_t sensorLines; /* 20: sensor lines interleaved line by line in a mono frame (default 1) */
    int32_t fpnRows;     /* 24: rows of B in the FPN file (gains x planes or sensor lines) */
    int32_t fpnColumns;  /* 28 */
    int32_t fpnX;        /* 32: sensor column of the FPN data's first column (Head/X) */
    int32_t fpnBits;     /* 36: the scale of B: 8 (8-bit frames) or 16 (16-bit frames) */
    int32_t fpnBands;    /* 40: K bands (multi-level K), or 0 for one K per row */
    int32_t fpnTarget;   /* 44: the camera's target format code the file was made on */
    int32_t ffcChannels; /* 48 */
    int32_t ffcX;        /* 52 */
    int32_t ffcWidth;    /* 56 */
    int32_t lscChannels; /* 60 */
    int32_t lscX;        /* 64 */
    int32_t lscWidth;    /* 68 */
    int32_t reserved[8]; /* 72 */
} lsxcInfo;

/* ---- The operations ----
 * X(name, parameter list, argument names): one list for the declarations and for a program that
 * binds the library at run time.
 *
 * lsxcCreate        a new object with nothing loaded; free it with lsxcDestroy.
 * lsxcLoadFpn       an FPN file "*.FAC.FPN" (version 1, as the tool saves it); replaces the FPN
 * lsxcLoadFfc       an FFC file (version 2); replaces the flat field
 * lsxcLoadLsc       an LSC file "*.LSC.FAC" (version 2); replaces the lens shading
 *                   A file that fails to load leaves what was loaded before.
 * lsxcSetGain       the camera's analog gain: FPN rows of gain round(gain) (the first rows for
 *                   gain 1; the last rows above the file's range), as the camera picks them.
 * lsxcSetSwitches   which of the loaded corrections apply (LSXC_FPN | LSXC_FFC | LSXC_LSC).
 * lsxcSetRegion     the first sensor column of the frames (the camera's ROI X); -1: the ROI X of
 *                   the FPN file, else of the FFC file, else of the LSC file.
 * lsxcSetSensorLines  sensor lines of a multi-line mono sensor, interleaved line by line.
 * lsxcSetThreads    threads of the process's corrections, the caller's included (0: every core).
 * lsxcGetInfo       what is loaded and set.
 * lsxcCorrect       corrects `in` into `out`: the same format, depth and size; out may be in
 *                   (in place). A block of any number of lines; a block of many pixels is shared
 *                   out among the threads. Checks first that the data fit the image (channels,
 *                   columns covered, rows of the gain) and touches nothing when they do not.
 * lsxcLastError     the status of the object's last failure and its sentence (NUL-terminated,
 *                   cut to `size`); LSXC_OK and "" when the last operation succeeded.
 */
#define LSXC_OPERATIONS(X)                                                                     \
    X(lsxcCreate, (lsxcCorrection * *out), (out))                                              \
    X(lsxcDestroy, (lsxcCorrection * c), (c))                                                  \
    X(lsxcLoadFpn, (lsxcCorrection * c, const char* path), (c, path))                          \
    X(lsxcLoadFfc, (lsxcCorrection * c, const char* path), (c, path))                          \
    X(lsxcLoadLsc, (lsxcCorrection * c, const char* path), (c, path))                          \
    X(lsxcSetGain, (lsxcCorrection * c, double gain), (c, gain))                               \
    X(lsxcSetSwitches, (lsxcCorrection * c, int32_t switches), (c, switches))                  \
    X(lsxcSetRegion, (lsxcCorrection * c, int32_t firstColumn), (c, firstColumn))              \
    X(lsxcSetSensorLines, (lsxcCorrection * c, int32_t lines), (c, lines))                     \
    X(lsxcSetThreads, (int32_t threads), (threads))                                            \
    X(lsxcGetInfo, (const lsxcCorrection* c, lsxcInfo* info), (c, info))                       \
    X(lsxcCorrect, (lsxcCorrection * c, const lsxcImage* in, const lsxcImage* out), (c, in, out)) \
    X(lsxcLastError, (const lsxcCorrection* c, char* text, uint32_t size), (c, text, size))    \
    X(lsxcVersion, (int32_t * version), (version))

#define LSXC_API __attribute__((visibility("default")))

#define LSXC_DECLARE(name, params, args) LSXC_API lsxcStatus name params;
LSXC_OPERATIONS(LSXC_DECLARE)
#undef LSXC_DECLARE

#ifdef __cplusplus
} /* extern "C" */

static_assert(sizeof(lsxcImage) == 40 && offsetof(lsxcImage, stride) == 16 && offsetof(lsxcImage, data) == 24
                  && offsetof(lsxcImage, firstLine) == 32,
              "lsxcImage");
static_assert(sizeof(lsxcInfo) == 104 && offsetof(lsxcInfo, gain) == 8 && offsetof(lsxcInfo, region) == 16
                  && offsetof(lsxcInfo, lscWidth) == 68,
              "lsxcInfo");
#endif

#endif /* LSXCORRECT_H */
