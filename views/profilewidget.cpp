#include "profilewidget.h"

#include "flatfield/ffcadjust.h"

#include <QAction>
#include <QEnterEvent>
#include <QMenu>
#include <QMouseEvent>
#include <QPainter>
#include <QPainterPath>
#include <QWheelEvent>
#include <algorithm>
#include <cmath>

namespace {
const char* const guideToolTip = QT_TRANSLATE_NOOP("ProfileWidget", "双击添加固定辅助线");
constexpr double labelWidth = 60.0;
constexpr double labelHeight = 30.0;
constexpr double hoverLabelHeight = 16.0;
constexpr double minZoom = 1.0;

// Curve colours by channel: B, G, R and the fourth channel; a single channel is gray.
QColor channelColor(int channel, int channels)
{
    if (channels == 1) return QColor(Qt::gray);
    switch (channel) {
    case 0: return QColor(Qt::blue);
    case 1: return QColor(Qt::green);
    case 2: return QColor(Qt::red);
    default: return QColor(Qt::white);
    }
}

// The flatten menu holds one action for one channel, and "all three" plus one per channel
// otherwise.
int menuLengthFor(int channels)
{
    return channels == 1 ? 1 : 4;
}

QString valueText(double value)
{
    return QStringLiteral("%1").arg(value, 0, 'f', 2);
}
}  // namespace

ProfileWidget::ProfileWidget(QWidget* parent) : QWidget(parent)
{
    setMouseTracking(true);
    m_menu = new QMenu(this);
    connect(m_menu, &QMenu::aboutToHide, this, &ProfileWidget::menuHidden);
}

void ProfileWidget::setProfile(const cv::Mat& data, double left, double right, bool editable)
{
    if (!data.empty() && data.depth() != CV_32F)
        data.convertTo(m_data, CV_32F);
    else
        m_data = data;
    m_left = left;
    m_right = right;
    m_editable = editable;
    setToolTip(m_data.empty() ? QString() : tr(guideToolTip));
    // The menu is never rebuilt under the operator's cursor: frames keep coming while it is open.
    if (m_editable && !m_data.empty() && !m_menu->isVisible()
        && m_menu->actions().size() != menuLengthFor(m_data.channels()))
        rebuildMenu(m_data.channels());
    update();
}

void ProfileWidget::clearProfile()
{
    setProfile(cv::Mat(), 0.0, 0.0, false);
}

void ProfileWidget::rebuildMenu(int channels)
{
    m_menu->clear();  // deletes the actions the menu made
    QStringList texts;
    if (channels == 1)
        texts << tr("拉平平场系数");
    else
        texts << tr("拉平三通道平场系数") << tr("拉平B通道平场系数") << tr("拉平G通道平场系数")
              << tr("拉平R通道平场系数");
    for (int i = 0; i < texts.size(); ++i) {
        QAction* action = m_menu->addAction(texts.at(i));
        action->setData(i);
        connect(action, &QAction::triggered, this, &ProfileWidget::adjustData);
    }
}

void ProfileWidget::setYMax(double yMax)
{
    if (yMax == m_yMax) return;
    m_yMax = yMax;
    m_offset = 0.0;
    m_scale = 1.0;
    m_guideLines.clear();
    update();
}

void ProfileWidget::setHoverX(double x)
{
    m_hoverX = x;
    update();
}

double ProfileWidget::xOfColumn(double column) const
{
    return (column - m_left) * width() / (m_right - m_left);
}

double ProfileWidget::yOfValue(double value) const
{
    return (m_yMax - value) * height() * m_scale / m_yMax - m_offset;
}

double ProfileWidget::valueAtY(double y) const
{
    return (1.0 - ((y + m_offset) / m_scale) / height()) * m_yMax;
}

void ProfileWidget::menuHidden()
{
    m_selecting = false;
    update();
}

void ProfileWidget::adjustData()
{
    auto* action = qobject_cast<QAction*>(sender());
    if (!action || m_data.empty() || m_right == m_left) return;

    if (m_selStart > m_selEnd) std::swap(m_selStart, m_selEnd);
    const float sx = float(width() / (m_right - m_left));
    bool changed = false;
    const cv::Mat copy = ffcFlattenStretch(m_data, m_selStart, m_selEnd, sx, m_left, action->data().toInt(), &changed);
    // Nothing is sent for data of another channel count, an action it has no channel for, or a
    // stretch inside one column, whose column keeps its value.
    if (!changed) return;
    emit dataAdjusted(copy);
}

void ProfileWidget::paintEvent(QPaintEvent* event)
{
    if (m_data.empty()) {
        QWidget::paintEvent(event);
        return;
    }
    const double w = width();
    const double h = height();
    QPainter painter(this);

    // Only the columns in view are stroked: this runs on every frame.
    const int columns = m_data.cols;
    const int channels = m_data.channels();
    if (m_right > m_left) {
        const double sx = w / (m_right - m_left);
        const double start = std::max(0.0, m_left);
        const int end = std::min(columns, int(std::ceil(m_right)));
        const int first = int(std::floor(start));
        const int firstWhole = int(std::ceil(start));
        const float* row = m_data.ptr<float>(0);
        if (first < columns) {
            for (int ch = 0; ch < channels; ++ch) {
                QPainterPath path;
                const double y0 = yOfValue(row[first * channels + ch]);
                path.moveTo(xOfColumn(start), y0);
                path.lineTo(xOfColumn(firstWhole), y0);
                for (int c = firstWhole; c < end; ++c) {
                    const double x = xOfColumn(c);
                    const double y = yOfValue(row[c * channels + ch]);
                    path.lineTo(x, y);
                    path.lineTo(x + sx, y);
                }
                painter.setPen(channelColor(ch, channels));
                painter.drawPath(path);
            }
        }
    }

    painter.setPen(QColor(Qt::white));
    painter.drawText(QRectF(0, 0, labelWidth, labelHeight), Qt::AlignLeft, valueText(valueAtY(0)));
    painter.drawText(QRectF(0, h / 2, labelWidth, labelHeight), Qt::AlignLeft, valueText(valueAtY(h / 2)));
    painter.drawText(QRectF(0, h - 16, labelWidth, labelHeight), Qt::AlignLeft, valueText(valueAtY(h)));

    if (m_hover) {
        painter.drawLine(QPointF(0, m_hoverY), QPointF(w, m_hoverY));
        drawValueLabel(painter, m_hoverY, hoverLabelHeight);
    }
    for (double value : std::as_const(m_guideLines)) {
        const double y = (1.0 - value / m_yMax) * m_scale * h - m_offset;
        if (y < 0 || y > h) continue;
        painter.drawLine(QPointF(0, y), QPointF(w, y));
        drawValueLabel(painter, y, labelHeight);
    }
    if (m_hoverX > 0) painter.drawLine(QPointF(m_hoverX, 0), QPointF(m_hoverX, h));

    if (m_editable && m_selecting && m_selStart != m_selEnd)
        painter.fillRect(QRectF(int(m_selStart), 0, int(m_selEnd - m_selStart), h), QColor(255, 255, 255, 60));
}

// The value at a horizontal line, written above the line in the lower part of the strip and
// below it in the upper part, so that it stays clear of the middle scale label.
void ProfileWidget::drawValueLabel(QPainter& painter, double y, double rectHeight) const
{
    const double h = height();
    const double top = y > h / 2 + 48 ? y - 16 : y;
    painter.drawText(QRectF(0, top, labelWidth, rectHeight), Qt::AlignLeft, valueText(valueAtY(y)));
}

void ProfileWidget::wheelEvent(QWheelEvent* event)
{
    const int delta = event->angleDelta().y();
    if (delta == 0) {
        event->ignore();
        return;
    }
    static const double stepUp = std::pow(2.0, 0.2);
    static const double stepDown = std::pow(2.0, -0.2);
    double factor = delta > 0 ? stepUp : stepDown;
    double zoom = m_scale * factor;
    const double maxZoom = std::max(minZoom, m_yMax);
    if (zoom > maxZoom || zoom < minZoom) {
        zoom = std::clamp(zoom, minZoom, maxZoom);
        factor = zoom / m_scale;
    }
    if (zoom == m_scale) {
        event->ignore();
        return;
    }
    // Keep the value under the cursor in place.
    const double y = event->position().y();
    m_offset = (y + m_offset) * factor - y;
    m_scale = zoom;
    event->accept();
    update();
}

void ProfileWidget::mousePressEvent(QMouseEvent* event)
{
    const QPointF pos = event->position();
    if (event->button() == Qt::LeftButton) {
        m_dragging = true;
        m_selecting = false;
        m_pressY = pos.y();
    } else if (event->button() == Qt::RightButton) {
        m_selecting = true;
        m_dragging = false;
        m_selStart = pos.x();
        m_selEnd = pos.x();
    }
    update();
}

void ProfileWidget::mouseMoveEvent(QMouseEvent* event)
{
    const QPointF pos = event->position();
    m_hoverX = pos.x();
    m_hoverY = pos.y();
    if (m_dragging) {
        m_offset += m_pressY - pos.y();
        m_pressY = pos.y();
    }
    if (m_selecting) m_selEnd = pos.x();
    update();
}

void ProfileWidget::mouseReleaseEvent(QMouseEvent* event)
{
    if (m_dragging) {
        m_dragging = false;
    } else if (m_selecting) {
        if (m_editable && m_selStart != m_selEnd && !m_menu->actions().isEmpty())
            m_menu->popup(event->globalPosition().toPoint());  // the stretch stays until the menu hides
        else
            m_selecting = false;
    }
    update();
}

void ProfileWidget::mouseDoubleClickEvent(QMouseEvent* event)
{
    if (height() <= 0) return;
    const double value = valueAtY(event->position().y());
    if (m_guideLines.contains(value)) {
        m_guideLines.removeAll(value);
    } else {
        m_guideLines.append(value);
        while (m_guideLines.size() > maxGuideLines) m_guideLines.removeFirst();
    }
    update();
}

void ProfileWidget::enterEvent(QEnterEvent* event)
{
    m_hover = true;
    QWidget::enterEvent(event);
}

void ProfileWidget::leaveEvent(QEvent* event)
{
    m_hover = false;
    update();
    QWidget::leaveEvent(event);
}
