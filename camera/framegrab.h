#pragma once
// Frame grabbing: from the library's frame descriptor and buffer to a cv::Mat the program owns,
// the TVK317 family's stacking of single readouts into one image, and the display conversion of
// a processed frame.
//
// The library's pixel buffer is only valid until the next lsxGetFrame, so every frame kept
// past that is a deep copy of a header laid over the buffer.

#include "lsx.h"

#include <QImage>
#include <QString>
#include <QPixmap>

#include <opencv2/core.hpp>

class CameraServer;

// The cv::Mat type of a frame by its format and sample width, or -1 when the program does not
// take it (an unknown format, or a mono frame whose bits are neither 8- nor 16-bit).
int frameMatType(const lsxFrame& frame);

// Why a delivered frame cannot be read, as a status and a text for the log; status 1 and an
// empty text when it can. The descriptor is checked before any byte of the buffer is touched, in
// 64-bit arithmetic: a format and sample width the program takes, a positive width and height,
// a buffer, and a size that holds width x height samples.
struct FrameCheck {
    lsxStatus status = LSX_OK;
    QString why;
    bool ok() const { return status == LSX_OK; }
};
FrameCheck checkFrame(const lsxFrame& frame, const void* buffer);

// Deep copy of the frame's buffer (rows `height`, columns `width`, automatic row step). Empty
// when checkFrame refuses the frame.
cv::Mat frameToMat(const lsxFrame& frame, const void* buffer);

// One TVK317 image: 512 readouts of the sensor, each laid out as one row (height x width
// samples, 16-bit when bits is 2, 8-bit when 0). Non-mono readouts count without adding a row; a
// change of sample type throws away the rows so far and restarts the count. Returns the status of
// the last lsxGetFrame (1 on full success) and leaves the rows gathered so far in `out`, so a grab
// failing half-way still yields a partial image. A mono readout that checkFrame refuses ends the
// grab with its status, and so does the server closing the camera meanwhile. `frame` receives the
// last descriptor.
lsxStatus grabLines(CameraServer* server, lsxHandle handle, lsxFrame* frame, cv::Mat& out);

// The number of readouts stacked into one TVK317 image, and the wait for each of them
// (about 16 minutes: the sensor is read out on an external trigger).
constexpr int kTvk317Lines = 512;
constexpr uint32_t kTvk317TimeoutMs = 1000000;

// The display conversion of a processed frame, as an image owning its pixels:
// mono 8-bit as grey; mono 16-bit scaled by 1/255 with saturation (the 10-bit data in the high
// bits then fills the 8-bit range, and everything from 64898 up is white); three-channel frames
// as RGB; four-channel frames as the colour image above a grey image of the fourth channel.
// A null image for a mono frame of another width, an unknown format or an empty matrix.
QImage matToImage(const cv::Mat& img, int format, int bits);
QPixmap matToPixmap(const cv::Mat& img, int format, int bits);
