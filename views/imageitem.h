#pragma once

#include <QLineF>
#include <QPainterPath>
#include <QPointF>
#include <QRgb>

#include "views/baseitem.h"

// The picture on show. A fixed image (the only kind the window creates) is a plain picture that
// reports the statistics of the row under the cursor. A movable image also shows the spin
// overlay: an arrow from its spin centre, dragged by the centre handle to move the centre and by
// the handle at the arrow's tip to turn it.
class ImageItem : public BaseItem {
    Q_OBJECT

public:
    enum DragState { DragNone = 0, DragCenter = 1, DragRotation = 2 };

    explicit ImageItem(const QPixmap& pixmap, bool fixed = true, QGraphicsItem* parent = nullptr);

    QPointF spinCenter() const { return m_spinCenter; }
    double spinAngle() const { return m_spinAngle; }
    void setSpinData(const QPointF& spinCenter, double spinAngle);
    bool overlayShown() const { return m_showOverlay; }
    int dragState() const { return m_dragState; }

    void setViewScale(double scale) override;

    void paint(QPainter* painter, const QStyleOptionGraphicsItem* option, QWidget* widget = nullptr) override;

    // Angle in degrees of the direction from `center` to `point`: acos(dx / distance), negative
    // above the centre (dy < 0); 0 or 180 on the centre's own row.
    static double spinAngleTo(const QPointF& center, const QPointF& point);

signals:
    void spinDataChanged(QPointF spinCenter, double spinAngle);
    void selRowChanged(int row, int col, QRgb minRgb, QRgb maxRgb);

public slots:
    void enableArrow();
    void enableHandDrag();
    void enableRubberBand();

protected:
    void contextMenuEvent(QGraphicsSceneContextMenuEvent* event) override;
    void hoverMoveEvent(QGraphicsSceneHoverEvent* event) override;
    void mousePressEvent(QGraphicsSceneMouseEvent* event) override;
    void mouseMoveEvent(QGraphicsSceneMouseEvent* event) override;
    void mouseReleaseEvent(QGraphicsSceneMouseEvent* event) override;

private:
    void updateOverlay();
    void setViewDragMode(int mode);

    QPointF m_spinCenter;
    double m_spinAngle = 0.0;
    bool m_showOverlay = false;
    double m_width = 0.0;
    double m_height = 0.0;
    QLineF m_xArrow[3];  // shaft and the two edges of the head, along the spin direction
    QLineF m_yArrow[3];
    QPainterPath m_xHead;
    QPainterPath m_yHead;
    QRectF m_centerHandle;
    QRectF m_rotationHandle;
    int m_dragState = DragNone;
};
