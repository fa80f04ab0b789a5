/*
 * The camera device contract: the C interface of the line-scan camera library.
 *
 * Every camera access of the program goes through these 66 operations, under the maker's
 * names, with plain data and pointers across the boundary. Records are byte layouts; the
 * offsets the program reads are pinned by static_asserts below. The library behind them is
 * bound at start by the loader (lsx/loader.h): the maker's library on a station, our
 * simulated camera (sim/) by default and in every test.
 *
 * Rules of the boundary: no exceptions cross it, memory is freed where it was allocated,
 * all numbers are little-endian, every operation returns an lsxStatus (1 = success) and is
 * safe to call from two threads at once on one handle.
 */
#ifndef LSX_H
#define LSX_H

#include <stddef.h>
#include <stdint.h>
#ifndef __cplusplus
#include <stdbool.h>
#endif

#ifdef __cplusplus
extern "C" {
#endif

typedef int32_t lsxStatus;
typedef uint32_t lsxHandle;

/* ---- Status codes the program tests by name (the whole table is in statusText) ---- */
enum {
    LSX_OK = 1,
    LSX_FAILED = 0,
    LSX_ERR_UNKNOWN = -1,
    LSX_ERR_NOT_SUPPORTED = -2, /* also the program's own "unsupported image format" */
    LSX_ERR_INVALID_ARG = -4,
    LSX_ERR_OUT_OF_RANGE = -5,
    LSX_ERR_NOT_CONNECTED = -7,
    LSX_ERR_NOT_OPEN = -9,
    LSX_ERR_NOT_STARTED = -10,
    LSX_ERR_INVALID_HANDLE = -13,
    LSX_ERR_CHECKSUM = -50,
    LSX_ERR_ADDRESS = -41,
    LSX_ERR_BLOCK_SIZE = -42,
    LSX_ERR_TIMEOUT = -1000,
    LSX_ERR_NO_DEVICE = -1100,
    LSX_ERR_LOGICAL_DEVICE = -1101,
    LSX_ERR_ALREADY_OPEN = -1102,
    LSX_ERR_DISCONNECTED = -1104,
    LSX_ERR_WRITE_PROTECTED = -1202,
    LSX_ERR_FILE_OPEN = -1304,
    LSX_ERR_FILE_FORMAT = -1301
};

/* ---- Open modes of lsxOpenByName ---- */
enum { LSX_OPEN_NORMAL = 1, LSX_OPEN_FACTORY = 5 };

/* ---- Image formats (lsxFrame.format, source and target format codes) ---- */
enum {
    FORMAT_MONO = 0,
    FORMAT_MONO16_SOURCE = 2, /* the calibrations' source format */
    FORMAT_MONO16 = 34,       /* the calibrations' 16-bit mono target */
    FORMAT_BGR24 = 10,
    FORMAT_BGR32 = 11,
    FORMAT_RGB24 = 14,
    FORMAT_RGB32 = 15
};

/* lsxFrame.bits: sample width code */
enum { LSX_BITS_8 = 0, LSX_BITS_16 = 2 };

/* Full scale of the 10-bit sensor data in each output width. */
#define LSX_FULL_SCALE_8 255
#define LSX_FULL_SCALE_16 65472

/* ---- Property keys of lsxGet / lsxSet ---- */
enum {
    LSX_KEY_CORRECTION_SWITCH = 40, /* lsxCorrectionSwitch, size 104 */
    LSX_KEY_FPN = 45,               /* lsxFpnHeader + data; size N*8+40 on get, 40 on set */
    LSX_KEY_FPN_ENABLE = 46,        /* one-byte bool */
    LSX_KEY_GAIN_TABLE = 47,        /* the gain table record */
    LSX_KEY_SENSOR_REG = 129,       /* lsxRegPair, no size argument */
    LSX_KEY_FACTORY = 136           /* lsxFactoryRecord */
};

/* FPN record types (bits 0..3 of lsxFpnHeader.type) */
enum {
    LSX_FPN_WHOLE = 0,
    LSX_FPN_DARK = 2,
    LSX_FPN_BRIGHT = 3,
    LSX_FPN_FLATFIELD = 4,
    LSX_FPN_FACTORY_DARK = 5,
    LSX_FPN_FACTORY_KBAND = 6
};

/* Correction switch modes (lsxCorrectionSwitch.mode) */
enum { LSX_SWITCH_LENS_ONLY = 0, LSX_SWITCH_FLAT_ONLY = 1, LSX_SWITCH_BOTH = 2 };

/* Sensor registers reached through key 129: the DOffset on cameras without the black-level register */
enum { LSX_SENSOR_REG_DOFFSET_MAG = 83, LSX_SENSOR_REG_DOFFSET_SIGN = 84 };

/* ---- GenICam registers and memory windows ---- */
#define GVR_SEN_BLACK_LEVEL 0x1000224u  /* DOffset; reads 0xFFFFFFFF where not supported */
#define GVR_MULTI_FPN_SELECT 0x1001620u /* sensor lines with their own FPN data; 0 or ~0 = none */
#define GVR_LSC_SET_INDEX 0x10011DCu    /* byte 2: index of the LSC parameter set */
#define GVR_FLASH_STORE 0x10011ECu      /* writing LSX_FLASH_STORE_LSC stores the LSC block */
#define LSX_FLASH_STORE_LSC 2u
#define LSX_MEM_FFC_SET 0x2C00000u   /* the current flat-field set: 16-byte head, K*2^14 as uint16 */
#define LSX_MEM_LSC_BLOCK 0x1002E00u /* the lens-shading block */
#define LSX_LSC_MAGIC 0x0002FCACu
#define LSX_REG_UNSUPPORTED 0xFFFFFFFFu

/* ---- Records ---- */

/* Camera description, from lsxEnum and lsxGetCameraInfo. All texts NUL-terminated ASCII. */
typedef struct lsxCameraInfo {
    char vendor[128];       /* 0 */
    char model[256];        /* 128: compared with the models without DOffset */
    char serialNumber[128]; /* 384 */
    char version[128];      /* 512 */
    char friendlyName[128]; /* 640: key of the camera list, name for lsxOpenByName */
    char sensor[64];        /* 768: searched for "K317" */
    char cameraType[64];    /* 832: searched for "LineScan" */
    char reserved[320];     /* 896 */
} lsxCameraInfo;

/* Sensor description. Only two fields are read by the program. */
typedef struct lsxSensorInfo {
    char name[64];        /* 0 */
    uint32_t pixelSizeNm; /* 64 */
    uint32_t lineCount;   /* 68: physical sensor lines */
    uint32_t bitDepth;    /* 72 */
    uint32_t reserved0;   /* 76 */
    int32_t maxWidth;     /* 80 */
    int32_t maxHeight;    /* 84 */
    char reserved[168];   /* 88 */
} lsxSensorInfo;

typedef struct lsxRegion {
    int32_t X, Y, W, H;    /* 0, 4, 8, 12 */
    uint8_t reserved[128]; /* copied unchanged */
} lsxRegion;

typedef struct lsxRegionDescr {
    int32_t minWidth;    /* 0 */
    int32_t minHeight;   /* 4 */
    int32_t maxWidth;    /* 8 */
    int32_t maxHeight;   /* 12 */
    int32_t widthStep;   /* 16 */
    int32_t heightStep;  /* 20 */
    int32_t xStep;       /* 24: step of X; the program does not read it */
    int32_t reserved[9]; /* 28 */
} lsxRegionDescr;

/* One frame's descriptor, from lsxGetFrame. */
typedef struct lsxFrame {
    uint32_t format;      /* 0: FORMAT_xxx */
    uint32_t bits;        /* 4: LSX_BITS_8 or LSX_BITS_16 */
    uint32_t channels;    /* 8 */
    int32_t width;        /* 12 */
    int32_t height;       /* 16 */
    uint32_t size;        /* 20: bytes in the buffer */
    uint64_t frameId;     /* 24 */
    uint64_t timestampUs; /* 32 */
    uint8_t reserved[24]; /* 40 */
} lsxFrame;

/* Range of the analog gain (single precision) */
typedef struct lsxFloatDescr {
    float step, min, max; /* 0, 4, 8 */
} lsxFloatDescr;

/* Range of the exposure, microseconds (the double-precision form of lsxFloatDescr) */
typedef struct lsxDoubleDescr {
    double step, min, max; /* 0, 8, 16 */
} lsxDoubleDescr;

typedef struct lsxSelectionDescr {
    int32_t defaultIndex; /* 0 */
    int32_t count;        /* 4 */
} lsxSelectionDescr;

typedef struct lsxSelectionDetail {
    char text[64]; /* 0 */
    int32_t index; /* 64 */
} lsxSelectionDetail;

/* Key 40: the camera's correction switches; read, change bytes 1 and 6, write back whole. */
typedef struct lsxCorrectionSwitch {
    uint8_t reserved0;     /* 0 */
    uint8_t enable;        /* 1: master enable of flat field and lens shading */
    uint8_t reserved2[4];  /* 2 */
    uint8_t mode;          /* 6: LSX_SWITCH_xxx */
    uint8_t reserved7[97]; /* 7 */
} lsxCorrectionSwitch;

/* Key 45: the head of an FPN (or flat-field) record; the data follows at byte 40 as
 * float32 pairs K, B (flat field: K, uint32 0). */
typedef struct lsxFpnHeader {
    uint32_t columns;    /* 0 */
    uint32_t lines;      /* 4 */
    uint8_t bits;        /* 8 */
    uint8_t doffset;     /* 9 */
    uint16_t level;      /* 10 */
    float minK;          /* 12 */
    float maxK;          /* 16 */
    uint32_t type;       /* 20: record type in bits 0..3 */
    uint8_t moreFollows; /* 24 */
    uint8_t reserved[3]; /* 25 */
    uint32_t dataSize;   /* 28: bytes of data */
    void* data;          /* 32: address of the data, byte 40 of the same block */
} lsxFpnHeader;

/* Key 47: the gain table, one entry per analog gain; the data follow at byte 544 (dataOffset),
 * 3 bytes per column and gain: the low 24 bits, low byte first, of (K x 2048) << 12 | (B & 0xFFF).
 * Room for 32 entries. */
typedef struct lsxGainTableEntry {
    float gain;          /* 0 */
    uint32_t offset;     /* 4: of the entry's data, from the start of the data */
    uint32_t size;       /* 8: bytes of the entry's data */
    uint8_t reserved[4]; /* 12 */
} lsxGainTableEntry;
typedef struct lsxGainTableHeader {
    uint16_t zero;                 /* 0 */
    uint16_t dataOffset;           /* 2: 544 */
    uint8_t reserved4[20];         /* 4 */
    uint32_t gains;                /* 24 */
    uint32_t dataSize;             /* 28 */
    lsxGainTableEntry entries[32]; /* 32 */
} lsxGainTableHeader;
#define LSX_GAIN_TABLE_DATA 544

/* Key 45, record type 4 (flat field): one entry of the data after the lsxFpnHeader. The head's
 * columns field holds the entries per line (columns x channels / lines), lines the sensor lines,
 * minK/maxK the range of the gains, dataSize entries x 8. */
typedef struct lsxFfcEntry {
    float k;       /* 0: the column's gain */
    uint32_t zero; /* 4: always 0 */
} lsxFfcEntry;

/* Memory LSX_MEM_FFC_SET: the head of the flat-field set "PRNUC" selects; the gains follow at
 * byte 16 as uint16 K * 2^14, planar: channel after channel, column after column. */
typedef struct lsxFfcMemHead {
    uint8_t reserved0[8];  /* 0 */
    uint16_t columns;      /* 8: columns per channel */
    uint8_t reserved10[4]; /* 10 */
    uint16_t payloadSize;  /* 14: bytes of gains */
} lsxFfcMemHead;
#define LSX_FFC_MEM_K_SCALE 16384.0 /* stored value = K * 2^14 */

/* Memory LSX_MEM_LSC_BLOCK: the lens-shading block. The payload follows at byte 16: for each
 * channel from the last (R) to the first (B), 8 doubles c6..c0 and the target. */
typedef struct lsxLscBlockHead {
    uint32_t magic;       /* 0: LSX_LSC_MAGIC */
    uint16_t roiX;        /* 4 */
    uint16_t roiY;        /* 6 */
    uint16_t roiW;        /* 8 */
    uint16_t roiH;        /* 10 */
    uint16_t checksum;    /* 12: sum of the payload's bytes, modulo 65536 */
    uint16_t payloadSize; /* 14: channels x 64 */
} lsxLscBlockHead;
#define LSX_LSC_CHANNEL_BYTES 64 /* 8 doubles per channel */

/* Key 129: a sensor register and its value. */
typedef struct lsxRegPair {
    uint32_t reg;
    uint32_t value;
} lsxRegPair;

/* Key 136: the factory record. */
typedef struct lsxFactoryRecord {
    uint32_t version;       /* 0 */
    uint32_t flags;         /* 4: bit 9 = multi-level K supported */
    uint8_t reserved8[32];  /* 8 */
    uint8_t maxK;           /* 40 */
    uint8_t maxB;           /* 41 */
    uint8_t reserved42[86]; /* 42 */
} lsxFactoryRecord;
#define LSX_FACTORY_MLK_BIT 9

/* lsxSetUserColorMatrix: 4 rows of 3 floats, then further bytes passed through. */
typedef struct lsxColorMatrix {
    float m[4][3];         /* 0 */
    uint8_t reserved[128]; /* 48 */
} lsxColorMatrix;

/* Text capacities of the string operations. */
#define LSX_TEXT_SIZE 256
#define LSX_NAME_SIZE 64

/* ---- The 66 operations ----
 * X(name, parameter list, argument names). One list feeds the declarations, the loader's
 * binding table and the test libraries, so they cannot drift apart. lsxDebugFormat, the one
 * variadic operation, stands apart at the end of the list.
 */
#define LSX_OPERATIONS(X)                                                                                             \
    /* session and discovery */                                                                                       \
    X(lsxRefresh, (int32_t * count), (count))                                                                         \
    X(lsxEnum, (int32_t index, lsxCameraInfo * info), (index, info))                                                  \
    X(lsxOpenByName, (const char* name, int32_t mode, lsxHandle* handle), (name, mode, handle))                       \
    X(lsxClose, (lsxHandle h), (h))                                                                                   \
    X(lsxGetCameraInfo, (lsxHandle h, lsxCameraInfo * info), (h, info))                                               \
    X(lsxGetSensorInfo, (lsxHandle h, lsxSensorInfo * info), (h, info))                                               \
    X(lsxSaveConfig, (lsxHandle h, const char* path), (h, path))                                                      \
    X(lsxLoadConfig, (lsxHandle h, const char* path), (h, path))                                                      \
    X(lsxShowPropertyModalDialog, (lsxHandle h, uintptr_t parentWindow), (h, parentWindow))                           \
    /* stream and trigger */                                                                                          \
    X(lsxStart, (lsxHandle h), (h))                                                                                   \
    X(lsxStop, (lsxHandle h), (h))                                                                                    \
    X(lsxGetFrame, (lsxHandle h, lsxFrame * frame, void** buffer, uint32_t timeoutMs), (h, frame, buffer, timeoutMs)) \
    X(lsxGetTriggerState, (lsxHandle h, bool* on), (h, on))                                                           \
    X(lsxSetTriggerState, (lsxHandle h, bool on), (h, on))                                                            \
    X(lsxGetTriggerSource, (lsxHandle h, int32_t * source), (h, source))                                              \
    X(lsxSetTriggerSource, (lsxHandle h, int32_t source), (h, source))                                                \
    X(lsxTriggerFire, (lsxHandle h), (h))                                                                             \
    /* image properties */                                                                                            \
    X(lsxGetRoi, (lsxHandle h, lsxRegion * region), (h, region))                                                      \
    X(lsxSetRoi, (lsxHandle h, const lsxRegion* region), (h, region))                                                 \
    X(lsxGetRoiDescr, (lsxHandle h, lsxRegionDescr * descr), (h, descr))                                              \
    X(lsxGetRoiState, (lsxHandle h, bool* inUse), (h, inUse))                                                         \
    X(lsxGetExposure, (lsxHandle h, double* us), (h, us))                                                             \
    X(lsxSetExposure, (lsxHandle h, double us), (h, us))                                                              \
    X(lsxGetExposureDescr, (lsxHandle h, lsxDoubleDescr * descr), (h, descr))                                         \
    X(lsxGetAnalogGain, (lsxHandle h, float* gain), (h, gain))                                                        \
    X(lsxSetAnalogGain, (lsxHandle h, float gain), (h, gain))                                                         \
    X(lsxGetAnalogGainDescr, (lsxHandle h, lsxFloatDescr * descr), (h, descr))                                        \
    X(lsxSetRgbGain, (lsxHandle h, float r, float g, float b), (h, r, g, b))                                          \
    X(lsxGetSourceFormat, (lsxHandle h, int32_t * format), (h, format))                                               \
    X(lsxSetSourceFormat, (lsxHandle h, int32_t format), (h, format))                                                 \
    X(lsxGetTargetFormat, (lsxHandle h, int32_t * format), (h, format))                                               \
    X(lsxSetTargetFormat, (lsxHandle h, int32_t format), (h, format))                                                 \
    X(lsxGetResolutionModeSel, (lsxHandle h, int32_t * index), (h, index))                                            \
    X(lsxSetResolutionModeSel, (lsxHandle h, int32_t index), (h, index))                                              \
    X(lsxGetResolutionModeSelDescr, (lsxHandle h, lsxSelectionDescr * descr), (h, descr))                             \
    X(lsxGetResolutionModeSelDetail, (lsxHandle h, int32_t index, lsxSelectionDetail * detail), (h, index, detail))   \
    /* image-processing switches, turned off for calibration */                                                       \
    X(lsxSetSaturationState, (lsxHandle h, bool on), (h, on))                                                         \
    X(lsxSetColorTemperatureState, (lsxHandle h, bool on), (h, on))                                                   \
    X(lsxSetGammaState, (lsxHandle h, bool on), (h, on))                                                              \
    X(lsxSetContrastState, (lsxHandle h, bool on), (h, on))                                                           \
    X(lsxSetBlackLevelState, (lsxHandle h, bool on), (h, on))                                                         \
    X(lsxSetNoiseReduct2dState, (lsxHandle h, bool on), (h, on))                                                      \
    X(lsxSetNoiseReduct3dState, (lsxHandle h, bool on), (h, on))                                                      \
    X(lsxSetSharpnessState, (lsxHandle h, bool on), (h, on))                                                          \
    X(lsxSetMonoState, (lsxHandle h, bool on), (h, on))                                                               \
    X(lsxSetInverseState, (lsxHandle h, bool on), (h, on))                                                            \
    X(lsxSetFlipHorizontalState, (lsxHandle h, bool on), (h, on))                                                     \
    X(lsxSetBayerDecodeSel, (lsxHandle h, int32_t index), (h, index))                                                 \
    X(lsxGetColorSolutionSelDetail, (lsxHandle h, int32_t index, lsxSelectionDetail * detail), (h, index, detail))    \
    X(lsxSetColorSolutionSel, (lsxHandle h, int32_t index), (h, index))                                               \
    X(lsxSetUserColorMatrix, (lsxHandle h, const lsxColorMatrix* matrix), (h, matrix))                                \
    X(lsxSetBoolValue, (lsxHandle h, const char* name, bool value), (h, name, value))                                 \
    /* named values; values: capacity in *count, entries out in *count */                                             \
    X(lsxGetEnumValue, (lsxHandle h, const char* name, int64_t* current, int64_t* values, int32_t* count),            \
      (h, name, current, values, count))                                                                              \
    X(lsxGetEnumNameValue, (lsxHandle h, const char* name, int32_t index, char* text, uint32_t size),                 \
      (h, name, index, text, size))                                                                                   \
    X(lsxSetEnumValueByString, (lsxHandle h, const char* name, const char* value), (h, name, value))                  \
    X(lsxGetConfigString, (lsxHandle h, const char* key, char* value, uint32_t size), (h, key, value, size))          \
    X(lsxSetConfigString, (lsxHandle h, const char* key, const char* value), (h, key, value))                         \
    X(lsxGetSelectionDescr, (lsxHandle h, const char* key, lsxSelectionDescr* descr), (h, key, descr))                \
    X(lsxGetSelectionDetail, (lsxHandle h, const char* key, int32_t index, lsxSelectionDetail* detail),               \
      (h, key, index, detail))                                                                                        \
    /* raw access */                                                                                                  \
    X(lsxGet, (lsxHandle h, uint32_t key, void* payload, uint32_t* size), (h, key, payload, size))                    \
    X(lsxSet, (lsxHandle h, uint32_t key, void* payload, uint32_t* size), (h, key, payload, size))                    \
    X(lsxReadGenICamReg, (lsxHandle h, uint32_t reg, uint32_t * value), (h, reg, value))                              \
    X(lsxWriteGenICamReg, (lsxHandle h, uint32_t reg, uint32_t value), (h, reg, value))                               \
    X(lsxReadGenICamMem, (lsxHandle h, uint64_t address, void* buffer, uint32_t size), (h, address, buffer, size))    \
    X(lsxWriteGenICamMem, (lsxHandle h, uint64_t address, const void* buffer, uint32_t size),                         \
      (h, address, buffer, size))

/* The library's own log: level (16 = program messages), a tag ("Vesmira") and printf text. */
#define LSX_DEBUG_FORMAT_PARAMS (lsxHandle h, int32_t level, const char* tag, const char* format, ...)

/* Exported with default visibility, so that a library built with hidden visibility still
 * exports exactly the contract. */
#define LSX_API __attribute__((visibility("default")))

#define LSX_DECLARE(name, params, args) LSX_API lsxStatus name params;
LSX_OPERATIONS(LSX_DECLARE)
#undef LSX_DECLARE
LSX_API lsxStatus lsxDebugFormat LSX_DEBUG_FORMAT_PARAMS;

/* 65 in the list plus lsxDebugFormat */
#define LSX_OPERATION_COUNT 66

#ifdef __cplusplus
} /* extern "C" */

/* ---- Layout checks: every size and every offset the program reads ---- */
static_assert(sizeof(void*) == 8, "the camera library is 64-bit");
static_assert(sizeof(lsxCameraInfo) == 1216, "lsxCameraInfo");
static_assert(offsetof(lsxCameraInfo, model) == 128, "model");
static_assert(offsetof(lsxCameraInfo, friendlyName) == 640, "friendly name");
static_assert(offsetof(lsxCameraInfo, sensor) == 768, "sensor text");
static_assert(offsetof(lsxCameraInfo, cameraType) == 832, "type text");
static_assert(offsetof(lsxSensorInfo, maxWidth) == 80, "sensor max width");
static_assert(offsetof(lsxSensorInfo, maxHeight) == 84, "sensor max height");
static_assert(sizeof(lsxRegion) == 144, "lsxRegion");
static_assert(offsetof(lsxRegion, X) == 0 && offsetof(lsxRegion, Y) == 4 && offsetof(lsxRegion, W) == 8
                  && offsetof(lsxRegion, H) == 12,
              "lsxRegion fields");
static_assert(offsetof(lsxRegionDescr, minWidth) == 0 && offsetof(lsxRegionDescr, minHeight) == 4
                  && offsetof(lsxRegionDescr, maxWidth) == 8 && offsetof(lsxRegionDescr, maxHeight) == 12
                  && offsetof(lsxRegionDescr, widthStep) == 16 && offsetof(lsxRegionDescr, heightStep) == 20,
              "lsxRegionDescr fields");
static_assert(offsetof(lsxFrame, format) == 0 && offsetof(lsxFrame, bits) == 4 && offsetof(lsxFrame, width) == 12
                  && offsetof(lsxFrame, height) == 16,
              "lsxFrame fields");
static_assert(sizeof(lsxFloatDescr) == 12 && offsetof(lsxFloatDescr, min) == 4 && offsetof(lsxFloatDescr, max) == 8,
              "lsxFloatDescr");
static_assert(sizeof(lsxDoubleDescr) == 24 && offsetof(lsxDoubleDescr, min) == 8 && offsetof(lsxDoubleDescr, max) == 16,
              "lsxDoubleDescr");
static_assert(sizeof(lsxSelectionDescr) == 8 && offsetof(lsxSelectionDescr, count) == 4, "lsxSelectionDescr");
static_assert(offsetof(lsxSelectionDetail, text) == 0 && offsetof(lsxSelectionDetail, index) == 64
                  && sizeof(lsxSelectionDetail) == 68,
              "lsxSelectionDetail");
static_assert(sizeof(lsxCorrectionSwitch) == 104 && offsetof(lsxCorrectionSwitch, enable) == 1
                  && offsetof(lsxCorrectionSwitch, mode) == 6,
              "lsxCorrectionSwitch");
static_assert(sizeof(lsxFpnHeader) == 40, "lsxFpnHeader");
static_assert(offsetof(lsxFpnHeader, lines) == 4 && offsetof(lsxFpnHeader, bits) == 8
                  && offsetof(lsxFpnHeader, doffset) == 9 && offsetof(lsxFpnHeader, level) == 10
                  && offsetof(lsxFpnHeader, minK) == 12 && offsetof(lsxFpnHeader, maxK) == 16
                  && offsetof(lsxFpnHeader, type) == 20 && offsetof(lsxFpnHeader, moreFollows) == 24
                  && offsetof(lsxFpnHeader, dataSize) == 28 && offsetof(lsxFpnHeader, data) == 32,
              "lsxFpnHeader fields");
static_assert(sizeof(lsxGainTableEntry) == 16 && offsetof(lsxGainTableEntry, offset) == 4
                  && offsetof(lsxGainTableEntry, size) == 8,
              "lsxGainTableEntry");
static_assert(sizeof(lsxGainTableHeader) == LSX_GAIN_TABLE_DATA && offsetof(lsxGainTableHeader, dataOffset) == 2
                  && offsetof(lsxGainTableHeader, gains) == 24 && offsetof(lsxGainTableHeader, dataSize) == 28
                  && offsetof(lsxGainTableHeader, entries) == 32,
              "lsxGainTableHeader");

static_assert(sizeof(lsxFfcEntry) == 8 && offsetof(lsxFfcEntry, zero) == 4, "lsxFfcEntry");
static_assert(sizeof(lsxFfcMemHead) == 16 && offsetof(lsxFfcMemHead, columns) == 8
                  && offsetof(lsxFfcMemHead, payloadSize) == 14,
              "lsxFfcMemHead");
static_assert(sizeof(lsxLscBlockHead) == 16 && offsetof(lsxLscBlockHead, roiX) == 4
                  && offsetof(lsxLscBlockHead, roiY) == 6 && offsetof(lsxLscBlockHead, roiW) == 8
                  && offsetof(lsxLscBlockHead, roiH) == 10 && offsetof(lsxLscBlockHead, checksum) == 12
                  && offsetof(lsxLscBlockHead, payloadSize) == 14,
              "lsxLscBlockHead");
static_assert(sizeof(lsxRegPair) == 8, "lsxRegPair");
static_assert(offsetof(lsxFactoryRecord, flags) == 4 && offsetof(lsxFactoryRecord, maxK) == 40
                  && offsetof(lsxFactoryRecord, maxB) == 41 && sizeof(lsxFactoryRecord) == 128,
              "lsxFactoryRecord");
static_assert(sizeof(lsxColorMatrix) == 176, "lsxColorMatrix");
#endif /* __cplusplus */

#endif /* LSX_H */
