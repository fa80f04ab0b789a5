#pragma once
// How the errors of Aravis and GLib read as statuses of the camera contract.

#include "lsx.h"

#include <glib.h>

namespace lsxgc {

// The status of an error of Aravis (device and GenICam errors) or GLib (socket and file
// errors). `linkLost` is set when the error means the camera no longer answers: a time-out of
// the control channel after its retries, a transfer error, a device that is not connected.
// A null error is success.
lsxStatus statusOf(const GError* error, bool* linkLost = nullptr);

// Owns the GError of one Aravis call: `out()` is the argument, `status()` its reading.
class ErrorSlot {
public:
    ErrorSlot() = default;
    ErrorSlot(const ErrorSlot&) = delete;
    ErrorSlot& operator=(const ErrorSlot&) = delete;
    ~ErrorSlot() { g_clear_error(&m_error); }
    GError** out()
    {
        g_clear_error(&m_error);
        return &m_error;
    }
    bool failed() const { return m_error != nullptr; }
    const GError* get() const { return m_error; }
    lsxStatus status(bool* linkLost = nullptr) const { return statusOf(m_error, linkLost); }

private:
    GError* m_error = nullptr;
};

}  // namespace lsxgc
