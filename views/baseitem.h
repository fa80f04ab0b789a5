#pragma once

#include <QAction>
#include <QColor>
#include <QGraphicsPixmapItem>
#include <QMenu>
#include <QObject>
#include <QPainterPath>
#include <QPointF>
#include <QPointer>
#include <QRectF>

// Common ground of everything the image scene shows: a pixmap item that can be pinned in place
// ("Fixed") and that carries a pen colour for its overlay. The scene hands every item the view's
// zoom through setViewScale(), so that overlays keep their size on screen.
class BaseItem : public QObject, public QGraphicsPixmapItem {
    Q_OBJECT

public:
    explicit BaseItem(const QPixmap& pixmap = QPixmap(), bool fixed = false, QGraphicsItem* parent = nullptr);
    ~BaseItem() override;

    // Replaces the picture and the two rectangles that follow its size.
    void setPixmap(const QPixmap& pixmap);

    virtual QPointF center() const;
    virtual QRectF realRect() const;

    QRectF boundingRect() const override;
    QPainterPath shape() const override;
    // Looks in the inner rectangle (0, 0, width - 1, height - 1): the last row and column are outside.
    bool contains(const QPointF& point) const override;

    bool isFixed() const { return m_fixed; }
    QColor penColor() const { return m_penColor; }
    void setPenColor(const QColor& color)
    {
        m_penColor = color;
        update();
    }
    double viewScale() const { return m_scale; }
    virtual void setViewScale(double scale);
    QMenu* contextMenu() const { return m_menu.data(); }

signals:
    void posChanged(QPointF pos);

public slots:
    void changeFixState();
    void changePenColor();

protected:
    void contextMenuEvent(QGraphicsSceneContextMenuEvent* event) override;
    QVariant itemChange(GraphicsItemChange change, const QVariant& value) override;

    double m_scale = 1.0;
    bool m_fixed = false;
    QColor m_penColor = QColor(Qt::green);
    QColor m_savedPenColor = QColor(Qt::green);
    QRectF m_boundingRect;
    QRectF m_innerRect;
    QPointer<QMenu> m_menu;  // lives on the first view, which may go first
    QAction* m_fixAction = nullptr;
    QAction* m_colorAction = nullptr;

private:
    void updateRects();
};
