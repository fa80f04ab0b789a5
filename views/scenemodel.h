#pragma once

#include <QGraphicsScene>
#include <QList>
#include <QPixmap>
#include <QPointF>
#include <QRect>
#include <QRgb>

class BaseItem;
class QGraphicsRectItem;
class HistogramItem;
class ImageItem;
class PointItem;
class ShapeItem;

// The scene behind the image view. It holds the picture on show as an ImageItem, zooms the
// first view in steps of 2^0.2 on the wheel, and reports what lies under the cursor: the pixel
// (mousePosChanged), the statistics of the hovered row (selRowChanged) and clicks.
class SceneModel : public QGraphicsScene {
    Q_OBJECT

public:
    static constexpr double minScale = 0.01;
    static constexpr double maxScale = 50.0;
    static constexpr double defaultSceneSize = 800.0;
    // One wheel notch zooms by 2^0.2: five notches double the picture.
    static double zoomStep();

    explicit SceneModel(double width = defaultSceneSize, double height = defaultSceneSize, QObject* parent = nullptr);
    ~SceneModel() override;

    // Adds a picture. A fixed picture becomes the backdrop: it goes under every other item, the
    // scene rectangle takes its size and, when a view exists, the view is fitted to it. A movable
    // one is stacked on top of the last picture. The scene owns the item until removeItem().
    ImageItem* addImage(const QPixmap& pixmap, bool fixed);
    // Takes an item out of the scene and out of the scene's lists; the caller owns it afterwards
    // (as with QGraphicsScene::removeItem) and deletes it.
    void removeItem(QGraphicsItem* item);
    // Zooms the first view to `scale` (a pure scale transform) and reports it through
    // scaleChanged; nothing happens without a view or when the value is not new.
    void setScale(double scale);
    // The size of the view's viewport, used to fit a new picture.
    void setSceneSize(double width, double height);
    // Zooms the first view so that the whole picture shows in its viewport, centred ("适应窗口").
    void fitToView();
    // One picture pixel per screen pixel ("1:1"), around the middle of what the view shows now.
    void showActualSize();

    // Region mode: a left drag over the picture draws a rectangle, reported by regionChanged in
    // picture pixels. Off, the rectangle goes away and the mouse only reads out.
    void setRegionMode(bool on);
    bool regionMode() const { return m_regionMode; }
    // The rectangle drawn, in picture pixels; empty when none is.
    QRect region() const { return m_region; }
    void clearRegion();

    void addPoint(PointItem* item);
    void addShape(ShapeItem* item);
    void setHistogram(HistogramItem* item);

    double scale() const { return m_scale; }
    double sceneWidth() const { return m_sceneWidth; }
    double sceneHeight() const { return m_sceneHeight; }
    const QList<ImageItem*>& images() const { return m_images; }
    const QList<PointItem*>& points() const { return m_points; }
    const QList<ShapeItem*>& shapes() const { return m_shapes; }
    HistogramItem* histogram() const { return m_histogram; }

signals:
    void mousePosChanged(QPointF mousePos, QRgb rgb, bool hasRGB);
    void mouseClicked(QPointF clickPos);
    void selRowChanged(int row, int col, QRgb minRgb, QRgb maxRgb);
    void scaleChanged(double scale);
    // A rectangle drawn in region mode, in picture pixels, while it is drawn and when it is done;
    // an empty one when it is cleared.
    void regionChanged(QRect region);

protected:
    void dragMoveEvent(QGraphicsSceneDragDropEvent* event) override;
    void mousePressEvent(QGraphicsSceneMouseEvent* event) override;
    void mouseMoveEvent(QGraphicsSceneMouseEvent* event) override;
    void mouseReleaseEvent(QGraphicsSceneMouseEvent* event) override;
    void wheelEvent(QGraphicsSceneWheelEvent* event) override;

private:
    void forget(BaseItem* item);
    // The pixel of the backdrop picture under a scene position, held inside the picture.
    QPoint pixelAt(QPointF scenePos) const;
    void showRegion(const QRect& region);

    double m_sceneWidth = defaultSceneSize;
    double m_sceneHeight = defaultSceneSize;
    QList<PointItem*> m_points;
    QList<ShapeItem*> m_shapes;
    QList<ImageItem*> m_images;
    HistogramItem* m_histogram = nullptr;
    double m_scale = 1.0;
    bool m_buttonPressed = false;
    bool m_regionMode = false;
    bool m_drawing = false;
    QPoint m_regionStart;
    QRect m_region;
    QGraphicsRectItem* m_regionItem = nullptr;
};
