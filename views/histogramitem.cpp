#include "histogramitem.h"

HistogramItem::HistogramItem(const QPixmap& pixmap, QGraphicsItem* parent) : BaseItem(pixmap, true, parent) {}
