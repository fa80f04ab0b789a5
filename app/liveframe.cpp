#include "liveframe.h"

#include "camera/cameraserver.h"

#include <QMutexLocker>

LiveFrame::LiveFrame(CameraServer* server, QObject* parent) : QObject(parent)
{
    // On the worker, right after the server replaced m_lastFrame. Pictures of a procedure come
    // with no column means and are not the live image: they are left alone.
    connect(
        server, &CameraServer::OS_NewFrame, this,
        [this, server](const QPixmap& pixmap, const cv::Mat& staticMat) {
            const cv::Mat& last = server->m_lastFrame;
            if (staticMat.empty() || last.empty() || last.cols != staticMat.cols) return;
            take(last, server->m_frameBits, pixmap.cacheKey());
            emit taken();
        },
        Qt::DirectConnection);
}

void LiveFrame::take(const cv::Mat& samples, int bits, qint64 pixmapKey)
{
    QMutexLocker lock(&m_mutex);
    m_newest = (m_newest + 1) % kKept;
    m_frames[m_newest] = Frame{samples, bits, pixmapKey};
}

LiveFrame::Frame LiveFrame::latest() const
{
    QMutexLocker lock(&m_mutex);
    return m_frames[m_newest];
}

LiveFrame::Frame LiveFrame::forPixmap(const QPixmap& pixmap) const
{
    if (pixmap.isNull()) return Frame();
    QMutexLocker lock(&m_mutex);
    for (const Frame& f : m_frames)
        if (!f.samples.empty() && f.pixmapKey == pixmap.cacheKey()) return f;
    return Frame();
}
