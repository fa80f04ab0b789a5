#include "gcstatus.h"

#include <arv.h>
#include <gio/gio.h>

namespace lsxgc {

namespace {

lsxStatus deviceStatus(int code, bool* linkLost)
{
    switch (code) {
    case ARV_DEVICE_ERROR_TIMEOUT:
    case ARV_DEVICE_ERROR_TRANSFER_ERROR:
    case ARV_DEVICE_ERROR_NOT_CONNECTED:
        // The control channel gave up after its own retries: the camera is gone.
        if (linkLost) *linkLost = true;
        return LSX_ERR_DISCONNECTED;
    case ARV_DEVICE_ERROR_WRONG_FEATURE: return -22;  // a value of the wrong kind
    case ARV_DEVICE_ERROR_FEATURE_NOT_FOUND: return LSX_ERR_NOT_SUPPORTED;
    case ARV_DEVICE_ERROR_PROTOCOL_ERROR: return -1002;
    case ARV_DEVICE_ERROR_NOT_FOUND: return LSX_ERR_LOGICAL_DEVICE;
    case ARV_DEVICE_ERROR_INVALID_PARAMETER: return LSX_ERR_INVALID_ARG;
    case ARV_DEVICE_ERROR_GENICAM_NOT_FOUND: return -1005;
    case ARV_DEVICE_ERROR_NO_STREAM_CHANNEL: return LSX_ERR_NOT_SUPPORTED;
    case ARV_DEVICE_ERROR_NOT_CONTROLLER: return -1105;  // another host holds the camera
    case ARV_DEVICE_ERROR_PROTOCOL_ERROR_NOT_IMPLEMENTED: return LSX_ERR_NOT_SUPPORTED;
    case ARV_DEVICE_ERROR_PROTOCOL_ERROR_INVALID_PARAMETER: return LSX_ERR_INVALID_ARG;
    case ARV_DEVICE_ERROR_PROTOCOL_ERROR_INVALID_ADDRESS: return LSX_ERR_ADDRESS;
    case ARV_DEVICE_ERROR_PROTOCOL_ERROR_WRITE_PROTECT: return LSX_ERR_WRITE_PROTECTED;
    case ARV_DEVICE_ERROR_PROTOCOL_ERROR_BAD_ALIGNMENT: return -40;
    case ARV_DEVICE_ERROR_PROTOCOL_ERROR_ACCESS_DENIED: return -31;
    case ARV_DEVICE_ERROR_PROTOCOL_ERROR_BUSY: return 4;  // busy: this call could not be done
    default: return LSX_ERR_UNKNOWN;
    }
}

lsxStatus genicamStatus(int code)
{
    switch (code) {
    case ARV_GC_ERROR_PROPERTY_NOT_DEFINED:
    case ARV_GC_ERROR_PVALUE_NOT_DEFINED:
    case ARV_GC_ERROR_NODE_NOT_FOUND:
    case ARV_GC_ERROR_NO_DEVICE_SET:
    case ARV_GC_ERROR_NO_EVENT_IMPLEMENTATION:
    case ARV_GC_ERROR_EMPTY_ENUMERATION:
    case ARV_GC_ERROR_SET_FROM_STRING_UNDEFINED:
    case ARV_GC_ERROR_GET_AS_STRING_UNDEFINED: return LSX_ERR_NOT_SUPPORTED;
    case ARV_GC_ERROR_OUT_OF_RANGE:
    case ARV_GC_ERROR_ENUM_ENTRY_NOT_FOUND: return LSX_ERR_OUT_OF_RANGE;
    case ARV_GC_ERROR_INVALID_LENGTH: return LSX_ERR_BLOCK_SIZE;
    case ARV_GC_ERROR_READ_ONLY: return -54;
    case ARV_GC_ERROR_INVALID_PVALUE:
    case ARV_GC_ERROR_INVALID_BIT_RANGE: return -20;  // a fault of the camera's description
    case ARV_GC_ERROR_INVALID_SYNTAX: return LSX_ERR_INVALID_ARG;
    default: return LSX_ERR_UNKNOWN;
    }
}

}  // namespace

lsxStatus statusOf(const GError* error, bool* linkLost)
{
    if (!error) return LSX_OK;
    if (error->domain == ARV_DEVICE_ERROR) return deviceStatus(error->code, linkLost);
    if (error->domain == ARV_GC_ERROR) return genicamStatus(error->code);
    if (error->domain == G_IO_ERROR) {
        switch (error->code) {
        case G_IO_ERROR_TIMED_OUT: return LSX_ERR_TIMEOUT;
        case G_IO_ERROR_NOT_FOUND: return LSX_ERR_FILE_OPEN;
        case G_IO_ERROR_PERMISSION_DENIED: return -1304;
        default: return -1090;  // the network or the bus below the camera
        }
    }
    if (error->domain == G_FILE_ERROR) return LSX_ERR_FILE_OPEN;
    return LSX_ERR_UNKNOWN;
}

}  // namespace lsxgc
