#pragma once
// The newest frame of the live image as the camera server made it: its samples before the
// display conversion (8 or 16 bits, every channel), for the window's image tools.
//
// The server replaces its m_lastFrame on the worker and then emits OS_NewFrame. A direct
// connection takes a header of that frame right there, on the worker, so that the window never
// reads the server's member while the worker writes it; the window then pairs it with the picture
// it shows by the pixmap's cache key. Holding the header keeps the frame's buffer as it is: the
// preview hands out only buffers that nothing else holds.

#include <QMutex>
#include <QObject>
#include <QPixmap>

#include <opencv2/core.hpp>

class CameraServer;

class LiveFrame : public QObject {
    Q_OBJECT
public:
    struct Frame {
        cv::Mat samples;       // as the preview made it, channels in the delivered order
        int bits = 0;          // LSX_BITS_8 or LSX_BITS_16
        qint64 pixmapKey = 0;  // the cache key of the picture made from it
    };

    explicit LiveFrame(CameraServer* server, QObject* parent = nullptr);

    // The newest frame taken; an empty one before the first.
    Frame latest() const;
    // The frame whose picture has this cache key, among the last few taken (the picture on show
    // may be older than the newest frame: one that came after a pause is not shown); an empty one
    // when it is not among them.
    Frame forPixmap(const QPixmap& pixmap) const;

signals:
    // A live frame was taken, on the worker; a receiver on the window's thread hears it queued,
    // after the window's own slot of the same OS_NewFrame.
    void taken();

private:
    void take(const cv::Mat& samples, int bits, qint64 pixmapKey);

    static constexpr int kKept = 3;
    mutable QMutex m_mutex;
    Frame m_frames[kKept];  // the newest at m_newest
    int m_newest = 0;
};
