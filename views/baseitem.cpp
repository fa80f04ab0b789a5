#include "baseitem.h"

#include <QAction>
#include <QColorDialog>
#include <QGraphicsScene>
#include <QGraphicsSceneContextMenuEvent>
#include <QGraphicsView>
#include <QMenu>

BaseItem::BaseItem(const QPixmap& pixmap, bool fixed, QGraphicsItem* parent)
    : QObject(nullptr), QGraphicsPixmapItem(pixmap, parent), m_fixed(fixed)
{
    updateRects();
    setFlag(ItemSendsGeometryChanges, true);
    setFlag(ItemIsMovable, !m_fixed);
}

BaseItem::~BaseItem()
{
    delete m_menu.data();
}

void BaseItem::setPixmap(const QPixmap& pixmap)
{
    const bool sizeChanged = pixmap.size() != QGraphicsPixmapItem::pixmap().size();
    if (sizeChanged) prepareGeometryChange();
    QGraphicsPixmapItem::setPixmap(pixmap);
    if (sizeChanged) updateRects();
}

void BaseItem::updateRects()
{
    const QSizeF size = QGraphicsPixmapItem::pixmap().size();
    m_boundingRect = QRectF(QPointF(0, 0), size);
    m_innerRect = QRectF(0, 0, size.width() - 1, size.height() - 1);
}

QPointF BaseItem::center() const
{
    return m_boundingRect.center();
}

QRectF BaseItem::realRect() const
{
    return m_innerRect;
}

QRectF BaseItem::boundingRect() const
{
    return m_boundingRect;
}

QPainterPath BaseItem::shape() const
{
    QPainterPath path;
    path.addRect(m_boundingRect);
    return path;
}

bool BaseItem::contains(const QPointF& point) const
{
    return m_innerRect.contains(point);
}

void BaseItem::setViewScale(double scale)
{
    if (scale <= 0) return;
    m_scale = scale;
    update();
}

void BaseItem::changeFixState()
{
    m_fixed = !m_fixed;
    if (m_fixed) {
        m_savedPenColor = m_penColor;
        m_penColor = QColor(Qt::blue);
    } else {
        m_penColor = m_savedPenColor;
    }
    setFlag(ItemIsMovable, !m_fixed);
    update();
}

void BaseItem::changePenColor()
{
    const QColor color = QColorDialog::getColor(m_penColor, nullptr, QStringLiteral("Select pen color"));
    if (color.isValid()) setPenColor(color);
}

void BaseItem::contextMenuEvent(QGraphicsSceneContextMenuEvent* event)
{
    if (!m_menu) {
        QWidget* parentWidget = nullptr;
        if (scene() && !scene()->views().isEmpty()) parentWidget = scene()->views().first();
        m_menu = new QMenu(parentWidget);
        m_fixAction = m_menu->addAction(QStringLiteral("Fixed"));
        m_fixAction->setCheckable(true);
        connect(m_fixAction, &QAction::triggered, this, &BaseItem::changeFixState);
        m_colorAction = m_menu->addAction(QStringLiteral("Color"));
        connect(m_colorAction, &QAction::triggered, this, &BaseItem::changePenColor);
    }
    m_menu->move(event->screenPos());
    m_fixAction->setChecked(m_fixed);
    event->accept();
    m_menu->exec(event->screenPos());
}

QVariant BaseItem::itemChange(GraphicsItemChange change, const QVariant& value)
{
    if (change == ItemPositionHasChanged && scene()) emit posChanged(mapToScene(center()));
    return QGraphicsPixmapItem::itemChange(change, value);
}
