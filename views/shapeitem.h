#pragma once

#include "views/baseitem.h"

// A drawn shape over the picture. The scene keeps these in their own list and hands them the zoom.
class ShapeItem : public BaseItem {
    Q_OBJECT

public:
    explicit ShapeItem(bool fixed = false, QGraphicsItem* parent = nullptr);

signals:
    void shapeDataChanged();
};
