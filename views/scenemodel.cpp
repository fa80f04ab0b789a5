#include "scenemodel.h"

#include <QDebug>
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
}

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
    }
    return item;
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
    QGraphicsScene::mousePressEvent(event);
}

void SceneModel::mouseMoveEvent(QGraphicsSceneMouseEvent* event)
{
    // The base class also turns the move into the hover events that feed the row read-out.
    QGraphicsScene::mouseMoveEvent(event);
    if (m_images.isEmpty()) return;

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
