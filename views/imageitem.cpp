#include "imageitem.h"

#include <QCursor>
#include <QGraphicsScene>
#include <QGraphicsSceneContextMenuEvent>
#include <QGraphicsSceneHoverEvent>
#include <QGraphicsSceneMouseEvent>
#include <QGraphicsView>
#include <QImage>
#include <QPainter>
#include <QtMath>
#include <algorithm>
#include <cmath>

namespace {
// Length of the spin arrow and width of its head, in screen pixels.
constexpr double arrowLength = 50.0;
constexpr double arrowHeadWidth = 8.0;
constexpr double handleSize = 10.0;
}  // namespace

ImageItem::ImageItem(const QPixmap& pixmap, bool fixed, QGraphicsItem* parent)
    : BaseItem(pixmap, fixed, parent), m_showOverlay(!fixed), m_width(pixmap.width()), m_height(pixmap.height())
{
    m_spinCenter = QPointF(m_width / 2.0, m_height / 2.0);
    setAcceptHoverEvents(true);
    updateOverlay();
}

void ImageItem::setSpinData(const QPointF& spinCenter, double spinAngle)
{
    m_spinCenter = spinCenter;
    m_spinAngle = spinAngle;
    updateOverlay();
    update();
}

void ImageItem::setViewScale(double scale)
{
    BaseItem::setViewScale(scale);
    updateOverlay();
}

double ImageItem::spinAngleTo(const QPointF& center, const QPointF& point)
{
    const double dx = point.x() - center.x();
    const double dy = point.y() - center.y();
    if (dy == 0.0) return dx < 0.0 ? 180.0 : 0.0;
    const double distance = std::hypot(dx, dy);
    const double angle = qRadiansToDegrees(std::acos(dx / distance));
    return dy < 0.0 ? -angle : angle;
}

void ImageItem::updateOverlay()
{
    m_width = pixmap().width();
    m_height = pixmap().height();
    const double length = arrowLength / m_scale;
    const double head = arrowHeadWidth / m_scale;
    const double rad = qDegreesToRadians(m_spinAngle);
    const QPointF ux(std::cos(rad), std::sin(rad));  // the spin direction
    const QPointF uy(-ux.y(), ux.x());               // and its normal

    auto makeArrow = [&](const QPointF& dir, const QPointF& normal, QLineF* lines, QPainterPath* headPath) {
        const QPointF tip = m_spinCenter + dir * length;
        const QPointF back = tip - dir * head;
        lines[0] = QLineF(m_spinCenter, back);
        lines[1] = QLineF(back + normal * (head / 2.0), tip);
        lines[2] = QLineF(back - normal * (head / 2.0), tip);
        QPainterPath path;
        path.moveTo(tip);
        path.lineTo(back + normal * (head / 2.0));
        path.lineTo(back - normal * (head / 2.0));
        path.closeSubpath();
        *headPath = path;
    };
    makeArrow(ux, uy, m_xArrow, &m_xHead);
    makeArrow(uy, ux, m_yArrow, &m_yHead);

    const double half = handleSize / m_scale / 2.0;
    m_centerHandle = QRectF(m_spinCenter - QPointF(half, half), m_spinCenter + QPointF(half, half));
    const QPointF tip = m_spinCenter + ux * length;
    m_rotationHandle = QRectF(tip - QPointF(half, half), tip + QPointF(half, half));
}

void ImageItem::paint(QPainter* painter, const QStyleOptionGraphicsItem* option, QWidget* widget)
{
    QGraphicsPixmapItem::paint(painter, option, widget);
    if (!m_showOverlay) return;
    painter->save();
    QPen pen(m_penColor);
    pen.setCosmetic(true);
    painter->setPen(pen);
    painter->setBrush(m_penColor);
    painter->drawLines(m_xArrow, 3);
    painter->drawLines(m_yArrow, 3);
    painter->drawPath(m_xHead);
    painter->drawPath(m_yHead);
    painter->setBrush(Qt::NoBrush);
    painter->drawRect(m_centerHandle);
    painter->drawRect(m_rotationHandle);
    painter->restore();
}

void ImageItem::contextMenuEvent(QGraphicsSceneContextMenuEvent* event)
{
    if (m_showOverlay) {
        BaseItem::contextMenuEvent(event);
        return;
    }
    event->ignore();
}

void ImageItem::hoverMoveEvent(QGraphicsSceneHoverEvent* event)
{
    const QPointF pos = event->pos();
    if (m_showOverlay && m_centerHandle.contains(pos))
        setCursor(Qt::SizeAllCursor);
    else if (m_showOverlay && m_rotationHandle.contains(pos))
        setCursor(Qt::OpenHandCursor);
    else
        setCursor(Qt::ArrowCursor);

    // Every hover scans the row afresh: the picture changes with every frame.
    const QImage image = pixmap().toImage();
    const double y = pos.y();
    if (y >= 0.0 && y < image.height()) {
        const int row = int(y);
        int minR = 255, minG = 255, minB = 255;
        int maxR = 0, maxG = 0, maxB = 0;
        for (int x = 0; x < image.width(); ++x) {
            const QRgb p = image.pixel(x, row);
            minR = std::min(minR, qRed(p));
            minG = std::min(minG, qGreen(p));
            minB = std::min(minB, qBlue(p));
            maxR = std::max(maxR, qRed(p));
            maxG = std::max(maxG, qGreen(p));
            maxB = std::max(maxB, qBlue(p));
        }
        emit selRowChanged(row, int(pos.x()), qRgb(minR, minG, minB), qRgb(maxR, maxG, maxB));
    }
    BaseItem::hoverMoveEvent(event);
}

void ImageItem::mousePressEvent(QGraphicsSceneMouseEvent* event)
{
    if (m_showOverlay && event->button() == Qt::LeftButton) {
        if (m_centerHandle.contains(event->pos())) {
            m_dragState = DragCenter;
        } else if (m_rotationHandle.contains(event->pos())) {
            m_dragState = DragRotation;
            setCursor(Qt::ClosedHandCursor);
        }
        if (m_dragState != DragNone) {
            event->accept();
            return;
        }
    }
    BaseItem::mousePressEvent(event);
}

void ImageItem::mouseMoveEvent(QGraphicsSceneMouseEvent* event)
{
    if (m_showOverlay && m_dragState != DragNone) {
        if (m_dragState == DragCenter)
            m_spinCenter = event->pos();
        else
            m_spinAngle = spinAngleTo(mapToScene(m_spinCenter), event->scenePos());
        updateOverlay();
        update();
        emit spinDataChanged(m_spinCenter, m_spinAngle);
        event->accept();
        return;
    }
    BaseItem::mouseMoveEvent(event);
}

void ImageItem::mouseReleaseEvent(QGraphicsSceneMouseEvent* event)
{
    if (m_showOverlay && m_dragState != DragNone) {
        m_dragState = DragNone;
        setCursor(Qt::ArrowCursor);
        emit spinDataChanged(m_spinCenter, m_spinAngle);
        event->accept();
        return;
    }
    BaseItem::mouseReleaseEvent(event);
}

void ImageItem::setViewDragMode(int mode)
{
    if (!scene() || scene()->views().isEmpty()) return;
    scene()->views().first()->setDragMode(QGraphicsView::DragMode(mode));
}

void ImageItem::enableArrow()
{
    setViewDragMode(QGraphicsView::NoDrag);
}

void ImageItem::enableHandDrag()
{
    setViewDragMode(QGraphicsView::ScrollHandDrag);
}

void ImageItem::enableRubberBand()
{
    setViewDragMode(QGraphicsView::RubberBandDrag);
}
