#pragma once

#include "views/baseitem.h"

// A histogram drawn over the picture; the scene holds at most one.
class HistogramItem : public BaseItem {
    Q_OBJECT

public:
    explicit HistogramItem(const QPixmap& pixmap = QPixmap(), QGraphicsItem* parent = nullptr);
};
