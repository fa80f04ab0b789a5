#pragma once
// The image tools' window: the histogram of each plane of the frame on show (linear or
// logarithmic counts) and the statistics of each plane (mean, standard deviation, minimum,
// maximum, share at full scale), over the whole frame or over the rectangle drawn on the image.
// The window only shows what it is given; MainWindow feeds it the newest frame.

#include <QRect>
#include <QWidget>

#include <opencv2/core.hpp>

class HistogramWidget;
class QCheckBox;
class QLabel;
class QTableWidget;

class HistogramWindow : public QWidget {
    Q_OBJECT
public:
    explicit HistogramWindow(QWidget* parent = nullptr);

    // `frame`: samples in B, G, R(, X) channel order, 8 or 16 bits; `region`: the rectangle drawn,
    // in frame pixels, or an empty one for the whole frame. An empty frame clears the window.
    void showFrame(const cv::Mat& frame, const QRect& region);

    HistogramWidget* histogram() const { return m_histogram; }
    QTableWidget* table() const { return m_table; }
    QLabel* scopeLabel() const { return m_scope; }
    QCheckBox* logCheck() const { return m_log; }

private:
    HistogramWidget* m_histogram = nullptr;
    QCheckBox* m_log = nullptr;
    QLabel* m_scope = nullptr;
    QTableWidget* m_table = nullptr;
};
