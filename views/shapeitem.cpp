#include "shapeitem.h"

ShapeItem::ShapeItem(bool fixed, QGraphicsItem* parent) : BaseItem(QPixmap(), fixed, parent) {}
