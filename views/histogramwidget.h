#pragma once
// A histogram chart: one curve per plane of a frame (count per bin), each in its plane's colour
// with a legend, on a linear or a logarithmic count axis. It only draws what it is given.

#include <QColor>
#include <QList>
#include <QString>
#include <QWidget>

#include <vector>

struct PlaneHistogram {
    QString name;
    QColor color;
    std::vector<quint64> counts;
};

class HistogramWidget : public QWidget {
    Q_OBJECT

public:
    explicit HistogramWidget(QWidget* parent = nullptr);

    // The curves and the name of the bins' unit for the axis ("DN8", "DN10").
    void setHistograms(const QList<PlaneHistogram>& planes, const QString& unit);
    void clear();
    const QList<PlaneHistogram>& histograms() const { return m_planes; }
    QString unit() const { return m_unit; }

    // Counts on a logarithmic axis (log10 of count + 1), so that a few samples beside a peak show.
    void setLogScale(bool on);
    bool logScale() const { return m_log; }

    // The colour a plane is drawn in, by its name: R, G, B in their colours, the grey plane and the
    // fourth channel light.
    static QColor planeColor(const QString& name);

    QSize sizeHint() const override { return QSize(520, 260); }

protected:
    void paintEvent(QPaintEvent* event) override;

private:
    // The height of a count on the axis, linear or logarithmic.
    double axisValue(quint64 count) const;

    QList<PlaneHistogram> m_planes;
    QString m_unit;
    bool m_log = false;
};
