#pragma once

#include <QList>
#include <QWidget>
#include <opencv2/core.hpp>

class QMenu;

// The strip under the image: the column means of the picture (or, in the gain mode, the FFC
// gains) drawn as stair curves, one flat step per image column, aligned with the columns that
// the image view shows between `left` and `right`. The operator zooms (wheel) and pans (left
// drag) vertically, sets up to two guide lines by double click and, in the gain mode, marks a
// stretch of columns with the right button to flatten it from the menu (dataAdjusted).
class ProfileWidget : public QWidget {
    Q_OBJECT

public:
    static constexpr int maxGuideLines = 2;

    explicit ProfileWidget(QWidget* parent = nullptr);

    // `data`: one row of 32-bit float with 1, 3 or 4 channels; `left`, `right`: the image
    // columns at the widget's left and right edge; `editable`: the gain mode.
    void setProfile(const cv::Mat& data, double left, double right, bool editable);
    // Shows nothing until the next setProfile.
    void clearProfile();
    // The value at the top at zoom 1 (255 for means, 4 for gains). A new value resets the zoom,
    // the pan and the guide lines.
    void setYMax(double yMax);
    // The cursor's x over the image view, drawn as a vertical line when above 0.
    void setHoverX(double x);

    const cv::Mat& data() const { return m_data; }
    double left() const { return m_left; }
    double right() const { return m_right; }
    bool isEditable() const { return m_editable; }
    double scale() const { return m_scale; }
    double offset() const { return m_offset; }
    double yMax() const { return m_yMax; }
    const QList<double>& guideLines() const { return m_guideLines; }
    bool isDragging() const { return m_dragging; }
    bool isSelecting() const { return m_selecting; }
    double selStart() const { return m_selStart; }
    double selEnd() const { return m_selEnd; }
    bool isHovering() const { return m_hover; }
    double hoverX() const { return m_hoverX; }
    double hoverY() const { return m_hoverY; }
    QMenu* menu() const { return m_menu; }

    // Mapping between the widget and the curves.
    double xOfColumn(double column) const;
    double yOfValue(double value) const;
    double valueAtY(double y) const;

signals:
    void dataAdjusted(cv::Mat data);

public slots:
    void menuHidden();
    // Flattens the marked stretch: a straight line from the value at its first column to the
    // value at its last, in the channels the triggering menu action names. Emits the result;
    // the widget's own data stays as it is until the next setProfile.
    void adjustData();

protected:
    void paintEvent(QPaintEvent* event) override;
    void wheelEvent(QWheelEvent* event) override;
    void mousePressEvent(QMouseEvent* event) override;
    void mouseMoveEvent(QMouseEvent* event) override;
    void mouseReleaseEvent(QMouseEvent* event) override;
    void mouseDoubleClickEvent(QMouseEvent* event) override;
    void enterEvent(QEnterEvent* event) override;
    void leaveEvent(QEvent* event) override;

private:
    void rebuildMenu(int channels);
    void drawValueLabel(QPainter& painter, double y, double labelHeight) const;

    cv::Mat m_data;
    double m_left = 0.0;
    double m_right = 0.0;
    bool m_editable = false;
    QMenu* m_menu = nullptr;
    double m_scale = 1.0;
    double m_offset = 0.0;
    double m_yMax = 255.0;
    bool m_dragging = false;
    double m_pressY = 0.0;
    bool m_selecting = false;
    double m_selStart = 0.0;
    double m_selEnd = 0.0;
    bool m_hover = false;
    double m_hoverX = -1.0;
    double m_hoverY = 0.0;
    QList<double> m_guideLines;
};
