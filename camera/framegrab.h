#pragma once
// Frame grabbing: from the library's frame descriptor and buffer to a cv::Mat the program owns,
// the TVK317 family's stacking of single readouts into one image, and the display conversion of
// a processed frame.
//
// The library's pixel buffer is only valid until the next lsxGetFrame, so every frame kept
// past that is a deep copy of a header laid over the buffer.

#include "lsx.h"

#include <QElapsedTimer>
#include <QImage>
#include <QPixmap>
#include <QString>

#include <functional>

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

// A header of that shape laid over the library's buffer, no copy: valid only until the next
// lsxGetFrame, so never to be kept (previewFrame makes the deep copy from it). Empty when
// checkFrame refuses the frame.
cv::Mat frameView(const lsxFrame& frame, const void* buffer);

// Frame buffers kept from one frame to the next, for a stream of frames of one size. take()
// hands out a matrix that nothing outside the pool holds any more, so a steady stream writes
// into the same few buffers instead of a fresh allocation per frame (a 16384 x 1000 BGR24
// frame is 49 MB: a fresh one is a new mapping whose pages all fault in). A matrix still held
// elsewhere (as m_lastFrame, by a pixmap sharing its pixels, or by anyone who took a header of
// it) is never handed out again,
// so a frame kept past the next grab keeps its pixels: it is still a deep copy that nothing
// writes into. Used on one thread.
class FrameBuffers {
public:
    // A matrix of this size and type, its pixels left as they were.
    cv::Mat take(int rows, int cols, int type);

private:
    // The frame in the works, the one kept as m_lastFrame, and the outputs of Sum or of the
    // regrouping of sensor lines for both.
    cv::Mat m_kept[4];
};

// One TVK317 image: 512 readouts of the sensor, each laid out as one row (height x width
// samples, 16-bit when bits is 2, 8-bit when 0). Non-mono readouts count without adding a row; a
// change of sample type throws away the rows so far and restarts the count. Returns the status of
// the last lsxGetFrame (1 on full success) and leaves the rows gathered so far in `out`, so a grab
// failing half-way still yields a partial image. A mono readout that checkFrame refuses ends the
// grab with its status, and so does the server closing the camera meanwhile. `frame` receives the
// last descriptor. Each readout is waited for kTvk317TimeoutMs, or the server's frame time-out
// when it has one.
lsxStatus grabLines(CameraServer* server, lsxHandle handle, lsxFrame* frame, cv::Mat& out);

// How long a loop has waited for a frame from a camera that may have gone silent. The wait starts
// when the object is made and again at every frame delivered; each time-out is counted. A library
// that answers a time-out sooner than it was asked to wait is paced: the next attempt comes no
// sooner than 10 ms after the first time-out, 20 ms after the second, and so on doubling up to one
// second, so that a silent camera is asked about once a second and not in a tight loop.
class FrameWait {
public:
    FrameWait();
    // After a time-out: counts it and answers the pause in milliseconds to take before the next
    // attempt (0 when the library itself waited long enough).
    int timedOut();
    // A frame came: the count and the clock start again.
    void delivered();
    int count() const { return m_count; }
    qint64 elapsedMs() const { return m_since.elapsed(); }
    // Whether the wait is to be told now: at the first time-out, then at most once a second.
    bool reportDue();

    static constexpr int kFirstPauseMs = 10;
    static constexpr int kLongestPauseMs = 1000;

private:
    int m_count = 0;
    QElapsedTimer m_since;     // since the wait began
    QElapsedTimer m_attempt;   // since the last time-out was answered
    qint64 m_lastPauseMs = 0;  // the pause asked for after it
    QElapsedTimer m_reported;  // since the wait was last told; invalid before the first time
};

// Sleeps `ms` in slices of 20 ms; ends early, answering false, as soon as `stop` answers true.
bool pauseUnless(int ms, const std::function<bool()>& stop);

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
// The same as a pixmap of its own, made on the worker (BGR24 frames as Qt's BGR888, which draws
// the same pixels).
QPixmap matToPixmap(const cv::Mat& img, int format, int bits);
// The same for a frame that is not written again, as the live preview's frames are not: mono
// 8-bit, RGB24 and BGR24 frames are their own display image, and the pixmap shares the frame's
// pixels read-only and holds a header of the frame while it lives (so the capture loop's
// FrameBuffers do not hand its buffer out again); other frames as matToPixmap.
QPixmap sharedPixmap(const cv::Mat& img, int format, int bits);
