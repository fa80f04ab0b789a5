#pragma once
// The window of the exposure test: how the brightness of one column, and of all columns on
// average, follows the exposure time, with a straight line fitted through the points; and, for
// one exposure, the whole row as a profile. It tells the operator whether the sensor responds
// linearly. Created on the first exposure test; a new test replaces its data.

#include <QList>
#include <QPointF>
#include <QVector>
#include <QWidget>
#include <QtCharts/QChart>

#include <opencv2/core.hpp>

#include <vector>

class QCheckBox;
class QChartView;
class QDoubleSpinBox;
class QGraphicsSceneMouseEvent;
class QGraphicsSceneWheelEvent;
class QGroupBox;
class QLabel;
class QLineSeries;
class QXYSeries;
class QSpinBox;
class ProfileWidget;

// The chart of the statistics window: wheel zoom around the cursor, panning with a held button.
class CustomChart : public QChart {
    Q_OBJECT
public:
    static constexpr float maxScale = 50.0f;
    static constexpr float wheelStep = 1.2f;

    explicit CustomChart(QGraphicsItem* parent = nullptr);

    bool isDragging() const { return m_dragging; }
    float scale() const { return m_scale; }
    // A redraw starts at the whole view again.
    void resetScale() { m_scale = 1.0f; }

public slots:
    void resetLine();

protected:
    void mousePressEvent(QGraphicsSceneMouseEvent* event) override;
    void mouseMoveEvent(QGraphicsSceneMouseEvent* event) override;
    void mouseReleaseEvent(QGraphicsSceneMouseEvent* event) override;
    void wheelEvent(QGraphicsSceneWheelEvent* event) override;

private:
    bool m_dragging = false;
    float m_scale = 1.0f;
    // Kept for a marker line over the chart; nothing draws one yet.
    QLineSeries* m_vLine = nullptr;
    QLineSeries* m_hLine = nullptr;
};

class StatisticsWidget : public QWidget {
    Q_OBJECT
public:
    explicit StatisticsWidget(QWidget* parent = nullptr);

    // Read-only access for the window's owner and its tests.
    CustomChart* chart() const { return m_chart; }
    QChartView* chartView() const { return m_chartView; }
    ProfileWidget* profile() const { return m_profile; }
    QLabel* tipLabel() const { return m_tipLabel; }
    QSpinBox* colSelSBox() const { return m_colSelSBox; }
    QDoubleSpinBox* expSBox() const { return m_expSBox; }
    QCheckBox* showFitlineCheck() const { return m_showFitlineCheck; }
    QCheckBox* showAllColsCheck() const { return m_showAllColsCheck; }
    const QVector<double>& expVec() const { return m_expVec; }
    const QList<cv::Mat>& dataMatList() const { return m_dataMatList; }
    const std::vector<std::vector<float>>& meanVec() const { return m_meanVec; }

    // The channel colours of the chart: white for one channel, else blue, green, red and, for
    // a fourth (alpha or padding) channel, gray.
    static QColor channelColor(int channels, int k);

public slots:
    // Takes a finished test: one exposure per step, ascending, and one row of column means per
    // step (32-bit float, channels interleaved). Fewer than two steps, or lists of different
    // lengths, are ignored and the old data stay on show.
    void dataReady(QVector<double> expVec, QList<cv::Mat> dataMatList);
    // Redraws the chart of the chosen column.
    void updateSingleCol();
    // Shows the row of the chosen exposure in the profile.
    void updateAllCol();
    // Tooltip of a point under the cursor; hidden 4 s after the cursor leaves the series.
    void showData(QPointF point, bool state);

private:
    void buildForm();
    void connectSeries(QXYSeries* series);

    // The form, top to bottom.
    QGroupBox* m_groupBox = nullptr;
    QSpinBox* m_colSelSBox = nullptr;
    QCheckBox* m_showFitlineCheck = nullptr;
    QCheckBox* m_showAllColsCheck = nullptr;
    QGroupBox* m_groupBox2 = nullptr;
    QDoubleSpinBox* m_expSBox = nullptr;

    CustomChart* m_chart = nullptr;
    QChartView* m_chartView = nullptr;
    ProfileWidget* m_profile = nullptr;
    QVector<double> m_expVec;
    QList<cv::Mat> m_dataMatList;
    // Per step, per channel: the mean of all columns.
    std::vector<std::vector<float>> m_meanVec;
    QLabel* m_tipLabel = nullptr;
};
