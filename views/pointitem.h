#pragma once

#include "views/baseitem.h"

using PointID = int;

// A marked point on the picture. The scene keeps these in their own list and hands them the zoom.
class PointItem : public BaseItem {
    Q_OBJECT

public:
    explicit PointItem(PointID id = 0, bool fixed = false, QGraphicsItem* parent = nullptr);

    PointID pointId() const { return m_id; }

signals:
    void posChanged(QPointF pos, PointID id);
    void selectStateChanged(PointID id, bool state);

private:
    PointID m_id = 0;
};
