#include "pointitem.h"

PointItem::PointItem(PointID id, bool fixed, QGraphicsItem* parent) : BaseItem(QPixmap(), fixed, parent), m_id(id) {}
