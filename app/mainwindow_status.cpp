// MainWindow: the read-outs under the image, the status bar, and the camera going to a procedure
// and coming back to the live image.
//
// Read-outs. 位置, the pixel, 列均值, 行最小 and 行最大 belong to the cursor's last place over the
// picture and are taken again from every new frame, so that they follow the cursor and the camera
// both. They name only the planes the frame has: one value for a grey frame, R, G, B (and X for a
// fourth channel) for colour. Values are on the 8-bit scale of the profile strip (16-bit samples
// divided by 256), a 16-bit pixel with its own value beside it. Outside the picture the pixel and
// the row and column read-outs are empty.
//
// The camera and the procedures. Every procedure shows the progress panel while it holds the
// camera and hides it once the operator has answered. The panel's showing is where the live image
// stops (the workflow stops capture in the same turn) and the status bar names the procedure; its
// hiding, after the answer's own actions, is where the live image comes back if it ran before,
// a camera is open and the answer did not restart it, and where the left column gets back its
// scroll position. A live image paused by the operator, or a picture loaded from a file, stays.
#include "mainwindow.h"
#include "ui_mainwindow.h"

#include "app/liveframe.h"
#include "app/progressinfowidget.h"
#include "app/showhidehook.h"
#include "camera/cameraserver.h"
#include "camera/properties.h"
#include "views/imagestats.h"
#include "views/profilewidget.h"

#include <QCoreApplication>
#include <QCursor>
#include <QGraphicsView>
#include <QImage>
#include <QScrollBar>
#include <QStatusBar>
#include <QTimer>

#include <opencv2/imgproc.hpp>

#include <cmath>

namespace {

// One value on the 8-bit scale of the read-outs.
QString eightBit(double v, bool wide)
{
    return wide ? QString::number(v / 256.0, 'f', 1) : QString::number(v, 'f', 0);
}

// Values of a frame's channels (B, G, R(, X) order) as the planes are read: "v" for one plane,
// "(r,g,b)" or "(r,g,b,x)" for colour.
QString planesText(const std::vector<QString>& byChannel)
{
    const QList<FramePlane> planes = framePlanes(int(byChannel.size()));
    if (planes.size() == 1) return byChannel[0];
    QStringList parts;
    for (const FramePlane& p : planes) parts.append(byChannel[p.channel]);
    return QStringLiteral("(%1)").arg(parts.join(QLatin1Char(',')));
}

// The pixel at (x, y): "亮度=v" for a grey frame (with the 16-bit sample beside), else
// "R=r,G=g,B=b" (",X=x").
QString pixelText(const cv::Mat& f, bool wide, int x, int y)
{
    const int channels = f.channels();
    std::vector<double> v(channels);
    for (int c = 0; c < channels; ++c)
        v[c] = wide ? f.ptr<uint16_t>(y)[x * channels + c] : f.ptr<uint8_t>(y)[x * channels + c];
    if (channels == 1) {
        if (!wide) return QCoreApplication::translate("MainWindow", "亮度=%1").arg(v[0]);
        return QCoreApplication::translate("MainWindow", "亮度=%1 (原始值 %2)").arg(eightBit(v[0], true)).arg(v[0]);
    }
    QStringList parts;
    for (const FramePlane& p : framePlanes(channels))
        parts.append(p.name + QLatin1Char('=') + eightBit(v[p.channel], wide));
    return parts.join(QLatin1Char(','));
}

// The frame behind a picture of no camera: its pixels as 8-bit grey or B, G, R.
cv::Mat samplesOf(const QPixmap& pixmap)
{
    const QImage image = pixmap.toImage();
    if (image.isGrayscale()) {
        const QImage grey = image.convertToFormat(QImage::Format_Grayscale8);
        return cv::Mat(grey.height(), grey.width(), CV_8UC1, const_cast<uchar*>(grey.constBits()),
                       size_t(grey.bytesPerLine()))
            .clone();
    }
    const QImage rgb = image.convertToFormat(QImage::Format_RGB888);
    const cv::Mat view(rgb.height(), rgb.width(), CV_8UC3, const_cast<uchar*>(rgb.constBits()),
                       size_t(rgb.bytesPerLine()));
    cv::Mat bgr;
    cv::cvtColor(view, bgr, cv::COLOR_RGB2BGR);
    return bgr;
}

}  // namespace

// ---- The frame on show ----

const MainWindow::ShownFrame& MainWindow::shownFrame()
{
    if (m_pixmap.isNull()) {
        m_shownKey = 0;
        m_shownFrame = ShownFrame();
        return m_shownFrame;
    }
    if (m_pixmap.cacheKey() == m_shownKey) return m_shownFrame;
    m_shownKey = m_pixmap.cacheKey();
    m_shownFrame = ShownFrame();

    const LiveFrame::Frame live = m_liveFrame ? m_liveFrame->forPixmap(m_pixmap) : LiveFrame::Frame();
    if (!live.samples.empty()) {
        // Three- and four-channel frames come in the camera's order: R first for its RGB formats.
        if (live.samples.channels() >= 3 && m_rgbOrderKnown < 0 && m_cameraServer && m_cameraServer->m_opened) {
            const int format = int(properties::targetFormat(m_cameraServer->m_handle).value);
            m_rgbOrderKnown = (format == FORMAT_RGB24 || format == FORMAT_RGB32) ? 1 : 0;
        }
        m_shownFrame.samples = toBgrOrder(live.samples, m_rgbOrderKnown == 1);
        m_shownFrame.wide = live.samples.depth() == CV_16U;
        m_shownFrame.live = true;
    } else {
        m_shownFrame.samples = samplesOf(m_pixmap);
    }
    return m_shownFrame;
}

// ---- Read-outs ----

void MainWindow::mouseMoved(QPointF mousePos, QRgb /*rgb*/, bool hasRGB)
{
    m_cursorPos = mousePos;
    m_cursorOnImage = hasRGB;
    m_cursorKnown = true;
    refreshReadouts();
}

void MainWindow::hoverRow(int row, int col, QRgb /*minRgb*/, QRgb /*maxRgb*/)
{
    // The row read-out also works on the picture's last column, where the pixel read-out does not.
    if (!m_cursorOnImage) m_cursorPos = QPointF(col, row);
    m_cursorKnown = true;
    refreshReadouts();
    // The profile marks the column under the cursor.
    if (m_profileWidget) m_profileWidget->setHoverX(ui->graphicsView->mapFromGlobal(QCursor::pos()).x());
}

void MainWindow::refreshReadouts()
{
    ui->mousePosLabel->setText(tr("位置:(%1,%2)").arg(int(m_cursorPos.x())).arg(int(m_cursorPos.y())));
    const ShownFrame& shown = shownFrame();
    const cv::Mat& f = shown.samples;
    const int x = int(std::floor(m_cursorPos.x()));
    int y = int(std::floor(m_cursorPos.y()));
    // A four-channel frame shows its fourth channel as a second picture below the colour one.
    if (f.channels() == 4 && y >= f.rows) y -= f.rows;
    const bool inColumn = !f.empty() && x >= 0 && x < f.cols;
    const bool inRow = !f.empty() && y >= 0 && y < f.rows;

    if (inColumn && inRow && m_cursorOnImage)
        ui->rgbLabel->setText(pixelText(f, shown.wide, x, y));
    else
        ui->rgbLabel->clear();

    // Column means of the frame, B, G, R(, X), already on the 8-bit scale.
    if (inColumn && m_staticMat.depth() == CV_32F && m_staticMat.cols == f.cols
        && m_staticMat.channels() == f.channels()) {
        const float* means = m_staticMat.ptr<float>(0) + x * m_staticMat.channels();
        std::vector<QString> values;
        for (int c = 0; c < m_staticMat.channels(); ++c) values.push_back(QString::number(means[c], 'f', 1));
        ui->avgLabel->setText(tr("列均值:") + planesText(values));
    } else {
        ui->avgLabel->clear();
    }

    if (!inRow) {
        ui->minLabel->clear();
        ui->maxLabel->clear();
        return;
    }
    std::vector<cv::Mat> channels;
    cv::split(f.row(y), channels);
    std::vector<QString> lows, highs;
    for (const cv::Mat& c : channels) {
        double lo = 0.0, hi = 0.0;
        cv::minMaxIdx(c, &lo, &hi);
        lows.push_back(eightBit(lo, shown.wide));
        highs.push_back(eightBit(hi, shown.wide));
    }
    ui->minLabel->setText(tr("行最小:") + planesText(lows));
    ui->maxLabel->setText(tr("行最大:") + planesText(highs));
}

void MainWindow::liveFrameShown()
{
    // A frame that came after a pause was dropped by showPicture.
    if (!ui->startBut->isChecked()) return;
    if (m_cursorKnown) refreshReadouts();
    m_frameToAnalyse = true;
    if (!m_analysisTimer->isActive()) m_analysisTimer->start();
}

// ---- The camera held by a procedure ----

void MainWindow::procedurePanelShown()
{
    if (!m_cameraHeld) {
        m_cameraHeld = true;
        m_panelScroll = ui->featureWidget->verticalScrollBar()->value();
        // The live image ran when the procedure took the camera: still running (the panel shows
        // before the stop), or stopped by the workflow a moment ago, in the same turn.
        m_resumeCapture = ui->startBut->isChecked() || m_captureJustStopped;
    }
    const QString text =
        m_resumeCapture ? tr("%1 相机由该步骤占用，实时图像暂停，结束后自动恢复。") : tr("%1 相机由该步骤占用。");
    statusBar()->showMessage(text.arg(m_progressInfo->windowTitle()));
}

void MainWindow::procedurePanelHidden()
{
    // After the answer's own actions (a closing action may restart capture itself), and not when
    // the panel is up again for the next procedure.
    QTimer::singleShot(0, this, [this] {
        if (m_progressInfo->isVisible() || !m_cameraHeld) return;
        m_cameraHeld = false;
        statusBar()->clearMessage();
        ui->featureWidget->verticalScrollBar()->setValue(m_panelScroll);
        // A live image stopped for the procedure comes back; a paused one or a picture loaded
        // from a file (the source of a flat field) stays on show.
        if (m_resumeCapture && m_cameraServer && m_cameraServer->m_opened && !ui->startBut->isChecked()) {
            ui->startBut->click();
            statusBar()->showMessage(tr("实时图像已恢复。"), 4000);
        }
    });
}

void MainWindow::setupStatus()
{
    statusBar()->setObjectName(QStringLiteral("statusBar"));
    new ShowHideHook(
        m_progressInfo, [this] { procedurePanelShown(); },
        [this] {
            if (m_cameraServer) procedurePanelHidden();
        });
    connect(m_progressInfo, &QWidget::windowTitleChanged, this, [this] {
        if (m_progressInfo->isVisible()) procedurePanelShown();
    });
    // Live frames, after showPicture has taken them.
    connect(m_liveFrame, &LiveFrame::taken, this, &MainWindow::liveFrameShown, Qt::QueuedConnection);
    connect(ui->startBut, &QPushButton::toggled, this, [this](bool on) {
        // A new run may deliver another colour order.
        if (on) m_rgbOrderKnown = -1;
        // A stop in the same turn as a procedure's panel coming up is the procedure's.
        if (on) return;
        m_captureJustStopped = true;
        QTimer::singleShot(0, this, [this] { m_captureJustStopped = false; });
    });
}
