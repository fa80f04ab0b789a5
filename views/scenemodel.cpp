#include "scenemodel.h"

#include <QDebug>
#include <QGraphicsRectItem>
#include <QGraphicsSceneMouseEvent>
#include <QGraphicsSceneWheelEvent>
#include <QGraphicsView>
#include <QImage>
#include <algorithm>
#include <cmath>

#include "views/histogramitem.h"
#include "views/imageitem.h"
#include "views/pointitem.h"
#include "views/shapeitem.h"

namespace {
constexpr double backdropZ = -1000.0;

// The rectangle of whole pixels with `a` and `b` as opposite corners, both inside.
QRect spanning(QPoint a, QPoint b)
{
    return QRect(QPoint(std::min(a.x(), b.x()), std::min(a.y(), b.y())),
                 QPoint(std::max(a.x(), b.x()), std::max(a.y(), b.y())));
}
}  // namespace

double SceneModel::zoomStep()
{
    static const double step = std::pow(2.0, 0.2);
    return step;
}

SceneModel::SceneModel(double width, double height, QObject* parent)
    : QGraphicsScene(parent), m_sceneWidth(width), m_sceneHeight(height)
{
    setBackgroundBrush(QBrush(Qt::transparent, Qt::SolidPattern));
}

SceneModel::~SceneModel()
{
    // The items go while the lists they leave are still here.
    clear();
}

ImageItem* SceneModel::addImage(const QPixmap& pixmap, bool fixed)
{
    auto* item = new ImageItem(pixmap, fixed);
    double z = m_images.isEmpty() ? backdropZ : m_images.last()->zValue();
    if (fixed) {
        z = backdropZ;
        setSceneRect(QRectF(pixmap.rect()));
        m_images.prepend(item);
        connect(item, &ImageItem::selRowChanged, this, &SceneModel::selRowChanged);
    } else {
        z += 1.0;
        m_images.append(item);
        item->setViewScale(m_scale);
    }
    item->setZValue(z);
    // An item deleted by its owner must not stay behind in the lists.
    connect(item, &QObject::destroyed, this, [this, item] { forget(item); });
    addItem(item);

    if (fixed && !views().isEmpty() && pixmap.width() > 0 && pixmap.height() > 0) {
        QGraphicsView* view = views().first();
        m_scale = 1.0;
        view->resetTransform();
        const double s = std::min(m_sceneHeight / pixmap.height(), m_sceneWidth / pixmap.width());
        view->scale(s, s);
        m_scale *= s;
        view->centerOn(item);
        // The zoom box shows the scale the picture is drawn at, also after a fit.
        emit scaleChanged(m_scale);
    }
    return item;
}

void SceneModel::fitToView()
{
    if (views().isEmpty() || m_images.isEmpty()) return;
    ImageItem* backdrop = m_images.first();
    const QSizeF picture = backdrop->pixmap().size();
    if (picture.isEmpty()) return;
    QGraphicsView* view = views().first();
    // The viewport as it is without scroll bars: a fitted picture needs none.
    const QSize port = view->maximumViewportSize();
    const double s = std::min(port.width() / picture.width(), port.height() / picture.height());
    setScale(std::clamp(s, minScale, maxScale));
    view->centerOn(backdrop);
}

void SceneModel::showActualSize()
{
    if (views().isEmpty()) return;
    QGraphicsView* view = views().first();
    const QPointF middle = view->mapToScene(view->viewport()->rect().center());
    setScale(1.0);
    view->centerOn(middle);
}

void SceneModel::setRegionMode(bool on)
{
    m_regionMode = on;
    m_drawing = false;
    if (!on) clearRegion();
}

void SceneModel::clearRegion()
{
    const bool had = !m_region.isEmpty();
    m_region = QRect();
    if (m_regionItem) {
        QGraphicsScene::removeItem(m_regionItem);
        delete m_regionItem;
        m_regionItem = nullptr;
    }
    if (had) emit regionChanged(m_region);
}

QPoint SceneModel::pixelAt(QPointF scenePos) const
{
    const ImageItem* backdrop = m_images.first();
    const QPointF p = backdrop->mapFromScene(scenePos);
    const QSize size = backdrop->pixmap().size();
    const int x = std::clamp(int(std::floor(p.x())), 0, std::max(0, size.width() - 1));
    const int y = std::clamp(int(std::floor(p.y())), 0, std::max(0, size.height() - 1));
    return QPoint(x, y);
}

void SceneModel::showRegion(const QRect& region)
{
    m_region = region;
    if (!m_regionItem) {
        m_regionItem = new QGraphicsRectItem;
        QPen pen(QColor(255, 220, 0));
        pen.setCosmetic(true);
        pen.setWidth(1);
        m_regionItem->setPen(pen);
        m_regionItem->setBrush(QColor(255, 220, 0, 40));
        m_regionItem->setZValue(1000.0);
        m_regionItem->setAcceptedMouseButtons(Qt::NoButton);
        m_regionItem->setAcceptHoverEvents(false);
        addItem(m_regionItem);
    }
    // Whole pixels: the rectangle's right and bottom edges lie after its last pixel.
    const QRectF pixels(region.x(), region.y(), region.width(), region.height());
    m_regionItem->setRect(m_images.isEmpty() ? pixels : m_images.first()->mapRectToScene(pixels));
    emit regionChanged(m_region);
}

void SceneModel::forget(BaseItem* item)
{
    const auto same = [item](BaseItem* listed) { return listed == item; };
    m_images.removeIf(same);
    m_points.removeIf(same);
    m_shapes.removeIf(same);
    if (m_histogram == item) m_histogram = nullptr;
}

void SceneModel::removeItem(QGraphicsItem* item)
{
    if (!item) return;
    if (auto* base = dynamic_cast<BaseItem*>(item)) {
        disconnect(base, nullptr, this, nullptr);
        forget(base);
    }
    if (item->scene() == this) QGraphicsScene::removeItem(item);
}

void SceneModel::addPoint(PointItem* item)
{
    if (!item || m_points.contains(item)) return;
    m_points.append(item);
    item->setViewScale(m_scale);
    connect(item, &QObject::destroyed, this, [this, item] { forget(item); });
    addItem(item);
}

void SceneModel::addShape(ShapeItem* item)
{
    if (!item || m_shapes.contains(item)) return;
    m_shapes.append(item);
    item->setViewScale(m_scale);
    connect(item, &QObject::destroyed, this, [this, item] { forget(item); });
    addItem(item);
}

void SceneModel::setHistogram(HistogramItem* item)
{
    if (m_histogram == item) return;
    if (m_histogram) removeItem(m_histogram);
    m_histogram = item;
    if (!item) return;
    item->setViewScale(m_scale);
    connect(item, &QObject::destroyed, this, [this, item] { forget(item); });
    addItem(item);
}

void SceneModel::setScale(double scale)
{
    if (views().isEmpty() || scale == m_scale) return;
    m_scale = scale;
    views().first()->setTransform(QTransform::fromScale(scale, scale));
    for (ImageItem* image : std::as_const(m_images))
        if (!image->isFixed()) image->setViewScale(scale);
    for (PointItem* point : std::as_const(m_points)) point->setViewScale(scale);
    for (ShapeItem* shape : std::as_const(m_shapes)) shape->setViewScale(scale);
    if (m_histogram) m_histogram->setViewScale(scale);
    emit scaleChanged(scale);
}

void SceneModel::setSceneSize(double width, double height)
{
    m_sceneWidth = width;
    m_sceneHeight = height;
}

void SceneModel::dragMoveEvent(QGraphicsSceneDragDropEvent* event)
{
    qDebug() << "dragMoveEvent";
    QGraphicsScene::dragMoveEvent(event);
}

void SceneModel::mousePressEvent(QGraphicsSceneMouseEvent* event)
{
    m_buttonPressed = true;
    if (m_regionMode && event->button() == Qt::LeftButton && !m_images.isEmpty()) {
        m_drawing = true;
        m_regionStart = pixelAt(event->scenePos());
        showRegion(QRect(m_regionStart, m_regionStart));
        event->accept();
        return;
    }
    QGraphicsScene::mousePressEvent(event);
}

void SceneModel::mouseMoveEvent(QGraphicsSceneMouseEvent* event)
{
    // The base class also turns the move into the hover events that feed the row read-out.
    QGraphicsScene::mouseMoveEvent(event);
    if (m_images.isEmpty()) return;
    if (m_drawing) showRegion(spanning(m_regionStart, pixelAt(event->scenePos())));

    const QPointF scenePos = event->scenePos();
    for (auto it = m_images.crbegin(); it != m_images.crend(); ++it) {
        ImageItem* image = *it;
        if (!image->isVisible()) continue;
        const QPointF itemPos = image->mapFromScene(scenePos);
        if (!image->contains(itemPos)) continue;
        const QRgb rgb = image->pixmap().toImage().pixel(int(itemPos.x()), int(itemPos.y()));
        emit mousePosChanged(itemPos, rgb, true);
        return;
    }
    emit mousePosChanged(scenePos, 0, false);
}

void SceneModel::mouseReleaseEvent(QGraphicsSceneMouseEvent* event)
{
    if (m_drawing && event->button() == Qt::LeftButton) {
        m_drawing = false;
        if (!m_images.isEmpty()) showRegion(spanning(m_regionStart, pixelAt(event->scenePos())));
    }
    if (m_buttonPressed) {
        m_buttonPressed = false;
        emit mouseClicked(event->scenePos());
    }
    QGraphicsScene::mouseReleaseEvent(event);
}

void SceneModel::wheelEvent(QGraphicsSceneWheelEvent* event)
{
    // A wheel that only tilts sideways carries no zoom.
    if (event->delta() == 0) {
        QGraphicsScene::wheelEvent(event);
        return;
    }
    static const double stepDown = std::pow(2.0, -0.2);
    const double factor = event->delta() > 0 ? zoomStep() : stepDown;
    setScale(std::clamp(m_scale * factor, minScale, maxScale));
    event->accept();
}
