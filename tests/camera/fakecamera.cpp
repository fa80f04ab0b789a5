// The scripted camera library of fakecamera.h. Handles are camera index + 1.
#include "fakecamera.h"

#include <cstdio>
#include <cstring>

namespace {

FakeCamControl g;

FakeCam* camOf(lsxHandle h)
{
    if (h < 1 || h > static_cast<lsxHandle>(g.cameraCount)) return nullptr;
    return &g.cams[h - 1];
}

void copyText(char* to, std::size_t size, const char* from)
{
    std::snprintf(to, size, "%s", from ? from : "");
}

}  // namespace

extern "C" {

FakeCamControl* fakecamControl()
{
    return &g;
}

void fakecamReset()
{
    std::memset(&g, 0, sizeof g);
    g.cameraCount = 3;
    const char* names[] = {"FAKE-A", "FAKE-B", "FAKE-C"};
    for (int i = 0; i < 3; ++i) {
        FakeCam& c = g.cams[i];
        copyText(c.info.friendlyName, sizeof c.info.friendlyName, names[i]);
        copyText(c.info.model, sizeof c.info.model, "LS4096M");
        copyText(c.info.sensor, sizeof c.info.sensor, "GL4096");
        copyText(c.info.cameraType, sizeof c.info.cameraType, "LineScan");
        c.enumStatus = LSX_OK;
        c.factoryStatus = LSX_OK;
        c.factory.maxK = 2;
        c.factory.maxB = 64;
        c.lineRegStatus = LSX_OK;
        c.lineReg = 0;
        c.state = 10 * (i + 1);
        c.roiWidth = 4096;
        c.roiStatus = LSX_OK;
    }
    g.openStatus = LSX_OK;
    g.closeStatus = LSX_OK;
    g.cameraInfoStatus = LSX_OK;
    g.loadConfigStatus = LSX_OK;
    g.dialogStatus = LSX_OK;
}

lsxStatus lsxRefresh(int32_t* count)
{
    *count = g.cameraCount;
    return LSX_OK;
}

lsxStatus lsxEnum(int32_t index, lsxCameraInfo* info)
{
    if (index < 0 || index >= g.cameraCount) return LSX_ERR_OUT_OF_RANGE;
    if (g.cams[index].enumStatus != LSX_OK) return g.cams[index].enumStatus;
    *info = g.cams[index].info;
    return LSX_OK;
}

lsxStatus lsxOpenByName(const char* name, int32_t mode, lsxHandle* handle)
{
    ++g.openCalls;
    g.lastOpenMode = mode;
    copyText(g.lastOpenName, sizeof g.lastOpenName, name);
    if (g.openStatus != LSX_OK) return g.openStatus;
    for (int i = 0; i < g.cameraCount; ++i) {
        if (std::strcmp(g.cams[i].info.friendlyName, name) == 0) {
            *handle = static_cast<lsxHandle>(i + 1);
            return LSX_OK;
        }
    }
    return LSX_ERR_NO_DEVICE;
}

lsxStatus lsxClose(lsxHandle)
{
    ++g.closeCalls;
    return g.closeStatus;
}

lsxStatus lsxGetCameraInfo(lsxHandle h, lsxCameraInfo* info)
{
    FakeCam* c = camOf(h);
    if (!c) return LSX_ERR_INVALID_HANDLE;
    if (g.cameraInfoStatus != LSX_OK) return g.cameraInfoStatus;
    *info = c->info;
    return LSX_OK;
}

lsxStatus lsxSaveConfig(lsxHandle h, const char* path)
{
    ++g.saveConfigCalls;
    copyText(g.lastSavePath, sizeof g.lastSavePath, path);
    FakeCam* c = camOf(h);
    if (!c) return LSX_ERR_INVALID_HANDLE;
    FILE* f = std::fopen(path, "w");
    if (!f) return LSX_ERR_FILE_OPEN;
    std::fprintf(f, "state=%d\n", c->state);
    std::fclose(f);
    return LSX_OK;
}

lsxStatus lsxLoadConfig(lsxHandle h, const char* path)
{
    ++g.loadConfigCalls;
    copyText(g.lastLoadPath, sizeof g.lastLoadPath, path);
    if (g.loadConfigStatus != LSX_OK) return g.loadConfigStatus;
    FakeCam* c = camOf(h);
    if (!c) return LSX_ERR_INVALID_HANDLE;
    FILE* f = std::fopen(path, "r");
    if (!f) return LSX_ERR_FILE_OPEN;
    int state = 0;
    const int read = std::fscanf(f, "state=%d", &state);
    std::fclose(f);
    if (read != 1) return LSX_ERR_FILE_FORMAT;
    c->state = state;
    return LSX_OK;
}

lsxStatus lsxShowPropertyModalDialog(lsxHandle, uintptr_t)
{
    ++g.dialogCalls;
    return g.dialogStatus;
}

lsxStatus lsxGetRoi(lsxHandle h, lsxRegion* region)
{
    FakeCam* c = camOf(h);
    if (!c) return LSX_ERR_INVALID_HANDLE;
    if (c->roiStatus != LSX_OK) return c->roiStatus;
    std::memset(region, 0, sizeof *region);
    region->W = c->roiWidth;
    region->H = 1;
    return LSX_OK;
}

lsxStatus lsxGet(lsxHandle h, uint32_t key, void* payload, uint32_t* size)
{
    FakeCam* c = camOf(h);
    if (!c) return LSX_ERR_INVALID_HANDLE;
    if (key != LSX_KEY_FACTORY) return LSX_ERR_NOT_SUPPORTED;
    ++g.factoryReads;
    if (c->factoryStatus != LSX_OK) return c->factoryStatus;
    if (size && *size < sizeof(lsxFactoryRecord)) return LSX_ERR_BLOCK_SIZE;
    std::memcpy(payload, &c->factory, sizeof(lsxFactoryRecord));
    return LSX_OK;
}

lsxStatus lsxReadGenICamReg(lsxHandle h, uint32_t reg, uint32_t* value)
{
    FakeCam* c = camOf(h);
    if (!c) return LSX_ERR_INVALID_HANDLE;
    if (reg != GVR_MULTI_FPN_SELECT) return LSX_ERR_NOT_SUPPORTED;
    ++g.lineRegReads;
    if (c->lineRegStatus != LSX_OK) return c->lineRegStatus;
    *value = c->lineReg;
    return LSX_OK;
}

lsxStatus lsxDebugFormat(lsxHandle, int32_t, const char*, const char*, ...)
{
    return LSX_OK;
}

}  // extern "C"
