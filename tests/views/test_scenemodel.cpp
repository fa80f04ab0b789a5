// The image scene: zoom steps and limits, fitting the first picture, the cursor and row
// read-outs, clicks, replacing the picture when the frame size changes, and the items.
#include <QGraphicsSceneContextMenuEvent>
#include <QGraphicsSceneMouseEvent>
#include <QGraphicsSceneWheelEvent>
#include <QGraphicsView>
#include <QImage>
#include <QSignalSpy>
#include <QWheelEvent>
#include <QtTest>
#include <cmath>

#include "views/histogramitem.h"
#include "views/imageitem.h"
#include "views/pointitem.h"
#include "views/scenemodel.h"
#include "views/shapeitem.h"

namespace {
// A picture whose every pixel is known: R = 10 * x + y, G = 200 - 10 * x, B = 7 * (y + 1).
QPixmap knownPixmap(int w, int h)
{
    QImage image(w, h, QImage::Format_RGB32);
    for (int y = 0; y < h; ++y)
        for (int x = 0; x < w; ++x) image.setPixel(x, y, qRgb(10 * x + y, 200 - 10 * x, 7 * (y + 1)));
    return QPixmap::fromImage(image);
}

// A shown view over the scene, fitted so that one picture pixel spans many screen pixels.
struct ShownScene {
    SceneModel scene;
    QGraphicsView view{&scene};
    explicit ShownScene(const QPixmap& pixmap)
    {
        view.resize(300, 300);
        view.setTransformationAnchor(QGraphicsView::AnchorUnderMouse);
        view.show();
        scene.setSceneSize(view.viewport()->width(), view.viewport()->height());
        scene.addImage(pixmap, true);
    }
    void moveTo(QPointF scenePos) { QTest::mouseMove(view.viewport(), view.mapFromScene(scenePos)); }
};

void sendWheel(SceneModel& scene, int delta)
{
    QGraphicsSceneWheelEvent event(QEvent::GraphicsSceneWheel);
    event.setDelta(delta);
    event.setOrientation(Qt::Vertical);
    event.setAccepted(false);
    QCoreApplication::sendEvent(&scene, &event);
}

void sendMouse(SceneModel& scene, QEvent::Type type, QPointF scenePos, Qt::MouseButton button = Qt::NoButton)
{
    QGraphicsSceneMouseEvent event(type);
    event.setScenePos(scenePos);
    event.setLastScenePos(scenePos);
    event.setButton(button);
    event.setButtons(type == QEvent::GraphicsSceneMouseRelease ? Qt::NoButton : Qt::MouseButtons(button));
    if (button != Qt::NoButton) event.setButtonDownScenePos(button, scenePos);
    QCoreApplication::sendEvent(&scene, &event);
}
}  // namespace

class TestSceneModel : public QObject {
    Q_OBJECT

private slots:
    void wheelAtScaleFiftyChangesNothing();
    void wheelStepsAndLowerLimit();
    void zeroWheelDeltaIsNoZoom();
    void wheelThroughTheView();
    void setScaleNeedsAView();
    void firstPictureIsFitted();
    void fitUsesTheSceneSize();
    void cursorReadOut();
    void lastColumnHasNoPixelButRowReadOutWorks();
    void rowReadOutMinimaAndMaxima();
    void rowOutsideThePictureSendsNothing();
    void noImageNoReadOut();
    void readOutThroughTheView();
    void clickNeedsAPress();
    void changedSizeReplacesItem();
    void deletedItemLeavesTheLists();
    void movableImagesStackAndFollowTheZoom();
    void fixedImageIgnoresContextMenu();
    void fixStateSwapsPenColour();
    void spinAngle_data();
    void spinAngle();
    void movedItemReportsItsCentre();
    void fitToViewAndActualSize();
    void regionDrawnInPicturePixels();
    void regionModeOffClearsTheRegion();
};

void TestSceneModel::wheelAtScaleFiftyChangesNothing()
{
    SceneModel scene;
    QGraphicsView view(&scene);
    QSignalSpy spy(&scene, &SceneModel::scaleChanged);
    scene.setScale(50.0);
    QCOMPARE(spy.count(), 1);
    sendWheel(scene, 120);
    QCOMPARE(scene.scale(), 50.0);
    QCOMPARE(spy.count(), 1);  // not new: no signal
    QCOMPARE(view.transform(), QTransform::fromScale(50.0, 50.0));

    // From 45 one notch would give 51.69: it stops at the limit, which is new.
    scene.setScale(45.0);
    sendWheel(scene, 120);
    QCOMPARE(spy.count(), 3);
    QCOMPARE(spy.last().at(0).toDouble(), 50.0);
}

void TestSceneModel::wheelStepsAndLowerLimit()
{
    SceneModel scene;
    QGraphicsView view(&scene);
    QSignalSpy spy(&scene, &SceneModel::scaleChanged);
    sendWheel(scene, 120);
    QCOMPARE(scene.scale(), std::pow(2.0, 0.2));
    QCOMPARE(view.transform().m11(), std::pow(2.0, 0.2));
    QCOMPARE(view.transform().m22(), std::pow(2.0, 0.2));
    scene.setScale(1.0);
    sendWheel(scene, -120);
    QCOMPARE(scene.scale(), std::pow(2.0, -0.2));
    // Five notches double the picture.
    scene.setScale(1.0);
    for (int i = 0; i < 5; ++i) sendWheel(scene, 120);
    QVERIFY(std::abs(scene.scale() - 2.0) < 1e-12);

    scene.setScale(0.011);
    spy.clear();
    sendWheel(scene, -120);
    QCOMPARE(scene.scale(), 0.01);
    QCOMPARE(spy.count(), 1);
    sendWheel(scene, -120);
    QCOMPARE(scene.scale(), 0.01);
    QCOMPARE(spy.count(), 1);
}

void TestSceneModel::zeroWheelDeltaIsNoZoom()
{
    SceneModel scene;
    QGraphicsView view(&scene);
    sendWheel(scene, 0);
    QCOMPARE(scene.scale(), 1.0);
}

void TestSceneModel::wheelThroughTheView()
{
    ShownScene s(knownPixmap(40, 30));
    QVERIFY(QTest::qWaitForWindowExposed(&s.view));
    const double fitted = s.scene.scale();
    QCOMPARE(fitted, std::min(s.view.viewport()->height() / 30.0, s.view.viewport()->width() / 40.0));
    QSignalSpy spy(&s.scene, &SceneModel::scaleChanged);
    const QPointF at(150, 150);
    QWheelEvent event(at, s.view.viewport()->mapToGlobal(at), QPoint(), QPoint(0, 120), Qt::NoButton, Qt::NoModifier,
                      Qt::NoScrollPhase, false);
    QCoreApplication::sendEvent(s.view.viewport(), &event);
    QCOMPARE(spy.count(), 1);
    QCOMPARE(s.scene.scale(), fitted * std::pow(2.0, 0.2));
    QCOMPARE(s.view.transform(), QTransform::fromScale(s.scene.scale(), s.scene.scale()));
}

void TestSceneModel::setScaleNeedsAView()
{
    SceneModel scene;
    QSignalSpy spy(&scene, &SceneModel::scaleChanged);
    scene.setScale(3.0);
    QCOMPARE(scene.scale(), 1.0);
    QCOMPARE(spy.count(), 0);
}

void TestSceneModel::firstPictureIsFitted()
{
    SceneModel scene(800.0, 800.0);
    QGraphicsView view(&scene);
    QSignalSpy spy(&scene, &SceneModel::scaleChanged);
    view.setTransform(QTransform::fromScale(7.0, 7.0));
    ImageItem* item = scene.addImage(knownPixmap(400, 200), true);
    QVERIFY(item);
    QCOMPARE(scene.scale(), 2.0);  // min(800 / 200, 800 / 400)
    QCOMPARE(view.transform(), QTransform::fromScale(2.0, 2.0));
    QCOMPARE(scene.sceneRect(), QRectF(0, 0, 400, 200));
    QCOMPARE(item->zValue(), -1000.0);
    QCOMPARE(item->spinCenter(), QPointF(200, 100));
    QCOMPARE(item->spinAngle(), 0.0);
    QVERIFY(item->isFixed());
    QVERIFY(!item->overlayShown());
    QVERIFY(!(item->flags() & QGraphicsItem::ItemIsMovable));
    QCOMPARE(scene.images().size(), 1);
    // The zoom box hears the scale of the fit.
    QCOMPARE(spy.count(), 1);
    QCOMPARE(spy.at(0).at(0).toDouble(), 2.0);
}

void TestSceneModel::fitUsesTheSceneSize()
{
    SceneModel scene;
    QGraphicsView view(&scene);
    scene.setSceneSize(300.0, 120.0);
    scene.addImage(knownPixmap(600, 40), true);
    QCOMPARE(scene.scale(), 0.5);  // min(120 / 40, 300 / 600)
    QCOMPARE(view.transform().m11(), 0.5);

    SceneModel noView;
    noView.addImage(knownPixmap(600, 40), true);
    QCOMPARE(noView.scale(), 1.0);
    QCOMPARE(noView.sceneRect(), QRectF(0, 0, 600, 40));
}

void TestSceneModel::cursorReadOut()
{
    SceneModel scene;
    scene.addImage(knownPixmap(4, 3), true);
    QSignalSpy spy(&scene, &SceneModel::mousePosChanged);
    sendMouse(scene, QEvent::GraphicsSceneMouseMove, QPointF(2.7, 1.2));
    QCOMPARE(spy.count(), 1);
    QCOMPARE(spy.at(0).at(0).toPointF(), QPointF(2.7, 1.2));
    QCOMPARE(spy.at(0).at(1).value<QRgb>() & 0xFFFFFF, qRgb(21, 180, 14) & 0xFFFFFF);
    QCOMPARE(spy.at(0).at(2).toBool(), true);

    // Outside the picture: the scene position, no pixel.
    sendMouse(scene, QEvent::GraphicsSceneMouseMove, QPointF(-5.0, 9.5));
    QCOMPARE(spy.count(), 2);
    QCOMPARE(spy.at(1).at(0).toPointF(), QPointF(-5.0, 9.5));
    QCOMPARE(spy.at(1).at(1).value<QRgb>(), QRgb(0));
    QCOMPARE(spy.at(1).at(2).toBool(), false);
}

void TestSceneModel::lastColumnHasNoPixelButRowReadOutWorks()
{
    ShownScene s(knownPixmap(4, 3));
    QVERIFY(QTest::qWaitForWindowExposed(&s.view));
    QSignalSpy pos(&s.scene, &SceneModel::mousePosChanged);
    QSignalSpy row(&s.scene, &SceneModel::selRowChanged);
    s.moveTo(QPointF(3.5, 1.5));
    QTRY_COMPARE(row.count(), 1);
    QCOMPARE(pos.count(), 1);
    QCOMPARE(pos.at(0).at(2).toBool(), false);
    QCOMPARE(int(pos.at(0).at(0).toPointF().x()), 3);
    QCOMPARE(row.at(0).at(0).toInt(), 1);
    QCOMPARE(row.at(0).at(1).toInt(), 3);
    // Row 1 of the known picture: R = 10x + 1, G = 200 - 10x, B = 14.
    QCOMPARE(row.at(0).at(2).value<QRgb>(), qRgba(1, 170, 14, 255));
    QCOMPARE(row.at(0).at(3).value<QRgb>(), qRgba(31, 200, 14, 255));

    // The last row as well.
    s.moveTo(QPointF(1.5, 2.5));
    QTRY_COMPARE(row.count(), 2);
    QCOMPARE(pos.last().at(2).toBool(), false);
    QCOMPARE(row.last().at(0).toInt(), 2);
}

void TestSceneModel::rowReadOutMinimaAndMaxima()
{
    // Each channel has its extremes in a different column.
    QImage image(3, 2, QImage::Format_RGB32);
    image.fill(qRgb(128, 128, 128));
    image.setPixel(0, 1, qRgb(5, 250, 100));
    image.setPixel(1, 1, qRgb(240, 3, 110));
    image.setPixel(2, 1, qRgb(60, 70, 9));
    ShownScene s(QPixmap::fromImage(image));
    QVERIFY(QTest::qWaitForWindowExposed(&s.view));
    QSignalSpy row(&s.scene, &SceneModel::selRowChanged);
    s.moveTo(QPointF(0.9, 1.9));
    QTRY_COMPARE(row.count(), 1);
    QCOMPARE(row.at(0).at(0).toInt(), 1);
    QCOMPARE(row.at(0).at(1).toInt(), 0);
    QCOMPARE(row.at(0).at(2).value<QRgb>(), qRgba(5, 3, 9, 255));
    QCOMPARE(row.at(0).at(3).value<QRgb>(), qRgba(240, 250, 110, 255));

    // A uniform row: minima and maxima meet.
    s.moveTo(QPointF(2.2, 0.3));
    QTRY_COMPARE(row.count(), 2);
    QCOMPARE(row.last().at(2).value<QRgb>(), qRgba(128, 128, 128, 255));
    QCOMPARE(row.last().at(3).value<QRgb>(), qRgba(128, 128, 128, 255));
}

void TestSceneModel::rowOutsideThePictureSendsNothing()
{
    SceneModel scene;
    scene.addImage(knownPixmap(4, 3), true);
    QSignalSpy row(&scene, &SceneModel::selRowChanged);
    sendMouse(scene, QEvent::GraphicsSceneMouseMove, QPointF(1.0, 3.5));
    sendMouse(scene, QEvent::GraphicsSceneMouseMove, QPointF(1.0, -0.5));
    QCOMPARE(row.count(), 0);
}

void TestSceneModel::noImageNoReadOut()
{
    SceneModel scene;
    QSignalSpy pos(&scene, &SceneModel::mousePosChanged);
    sendMouse(scene, QEvent::GraphicsSceneMouseMove, QPointF(1.0, 1.0));
    QCOMPARE(pos.count(), 0);
}

void TestSceneModel::readOutThroughTheView()
{
    SceneModel scene;
    QGraphicsView view(&scene);
    view.resize(300, 300);
    view.setTransformationAnchor(QGraphicsView::AnchorUnderMouse);
    view.show();
    QVERIFY(QTest::qWaitForWindowExposed(&view));
    scene.setSceneSize(view.viewport()->width(), view.viewport()->height());
    scene.addImage(knownPixmap(4, 3), true);
    QSignalSpy pos(&scene, &SceneModel::mousePosChanged);
    QSignalSpy row(&scene, &SceneModel::selRowChanged);
    const QPoint at = view.mapFromScene(QPointF(1.5, 1.5));
    QTest::mouseMove(view.viewport(), at);
    QTRY_VERIFY(pos.count() >= 1);
    const QPointF p = pos.last().at(0).toPointF();
    QCOMPARE(int(p.x()), 1);
    QCOMPARE(int(p.y()), 1);
    QCOMPARE(pos.last().at(2).toBool(), true);
    QCOMPARE(pos.last().at(1).value<QRgb>() & 0xFFFFFF, qRgb(11, 190, 14) & 0xFFFFFF);
    QTRY_VERIFY(row.count() >= 1);
    QCOMPARE(row.last().at(0).toInt(), 1);
    QCOMPARE(row.last().at(1).toInt(), 1);
}

void TestSceneModel::clickNeedsAPress()
{
    SceneModel scene;
    scene.addImage(knownPixmap(4, 3), true);
    QSignalSpy clicks(&scene, &SceneModel::mouseClicked);
    sendMouse(scene, QEvent::GraphicsSceneMouseRelease, QPointF(1, 1), Qt::LeftButton);
    QCOMPARE(clicks.count(), 0);
    sendMouse(scene, QEvent::GraphicsSceneMousePress, QPointF(1, 1), Qt::LeftButton);
    sendMouse(scene, QEvent::GraphicsSceneMouseRelease, QPointF(2.5, 1.5), Qt::LeftButton);
    QCOMPARE(clicks.count(), 1);
    QCOMPARE(clicks.at(0).at(0).toPointF(), QPointF(2.5, 1.5));
    sendMouse(scene, QEvent::GraphicsSceneMouseRelease, QPointF(2.5, 1.5), Qt::LeftButton);
    QCOMPARE(clicks.count(), 1);
}

void TestSceneModel::changedSizeReplacesItem()
{
    SceneModel scene;
    QGraphicsView view(&scene);
    QSignalSpy row(&scene, &SceneModel::selRowChanged);
    ImageItem* item = scene.addImage(knownPixmap(4, 3), true);
    QCOMPARE(scene.sceneRect(), QRectF(0, 0, 4, 3));

    // What the window does with a frame of another size.
    const QPixmap frame = knownPixmap(16, 5);
    QVERIFY(item->pixmap().size() != frame.size());
    scene.removeItem(item);
    QVERIFY(item->scene() == nullptr);
    QVERIFY(scene.images().isEmpty());
    emit item->selRowChanged(0, 0, 0, 0);  // no longer forwarded
    QCOMPARE(row.count(), 0);
    delete item;

    ImageItem* replacement = scene.addImage(frame, true);
    QCOMPARE(scene.sceneRect(), QRectF(0, 0, 16, 5));
    QCOMPARE(scene.images(), QList<ImageItem*>{replacement});
    QCOMPARE(scene.items().size(), 1);
    QCOMPARE(scene.scale(), 50.0);  // min(800 / 5, 800 / 16)
    QCOMPARE(replacement->zValue(), -1000.0);
    QCOMPARE(replacement->spinCenter(), QPointF(8, 2.5));

    // A frame of the same size only changes the picture.
    replacement->setPixmap(knownPixmap(16, 5));
    QCOMPARE(replacement->boundingRect(), QRectF(0, 0, 16, 5));
    QCOMPARE(replacement->realRect(), QRectF(0, 0, 15, 4));
}

void TestSceneModel::deletedItemLeavesTheLists()
{
    SceneModel scene;
    ImageItem* item = scene.addImage(knownPixmap(4, 3), true);
    auto* point = new PointItem(3);
    scene.addPoint(point);
    QCOMPARE(scene.points().size(), 1);
    delete item;
    delete point;
    QVERIFY(scene.images().isEmpty());
    QVERIFY(scene.points().isEmpty());
    QSignalSpy pos(&scene, &SceneModel::mousePosChanged);
    sendMouse(scene, QEvent::GraphicsSceneMouseMove, QPointF(1.0, 1.0));
    QCOMPARE(pos.count(), 0);
}

void TestSceneModel::movableImagesStackAndFollowTheZoom()
{
    SceneModel scene;
    QGraphicsView view(&scene);
    ImageItem* backdrop = scene.addImage(knownPixmap(100, 100), true);
    QCOMPARE(scene.scale(), 8.0);
    ImageItem* first = scene.addImage(knownPixmap(10, 10), false);
    ImageItem* second = scene.addImage(knownPixmap(10, 10), false);
    QCOMPARE(first->zValue(), -999.0);
    QCOMPARE(second->zValue(), -998.0);
    QCOMPARE(scene.images(), (QList<ImageItem*>{backdrop, first, second}));
    QVERIFY(first->overlayShown());
    QVERIFY(first->flags() & QGraphicsItem::ItemIsMovable);
    QCOMPARE(scene.sceneRect(), QRectF(0, 0, 100, 100));  // only a backdrop sets it
    QCOMPARE(first->viewScale(), 8.0);

    auto* shape = new ShapeItem();
    auto* histogram = new HistogramItem();
    scene.addShape(shape);
    scene.setHistogram(histogram);
    scene.setScale(4.0);
    QCOMPARE(backdrop->viewScale(), 1.0);
    QCOMPARE(first->viewScale(), 4.0);
    QCOMPARE(second->viewScale(), 4.0);
    QCOMPARE(shape->viewScale(), 4.0);
    QCOMPARE(histogram->viewScale(), 4.0);

    // The read-out looks at the topmost image first: the movable one over the backdrop.
    first->setPos(50, 50);
    QSignalSpy pos(&scene, &SceneModel::mousePosChanged);
    sendMouse(scene, QEvent::GraphicsSceneMouseMove, QPointF(52.5, 51.5));
    QCOMPARE(pos.last().at(0).toPointF(), QPointF(2.5, 1.5));
    second->setVisible(false);
    QCOMPARE(pos.last().at(2).toBool(), true);
}

void TestSceneModel::fixedImageIgnoresContextMenu()
{
    SceneModel scene;
    ImageItem* item = scene.addImage(knownPixmap(4, 3), true);
    QGraphicsSceneContextMenuEvent event(QEvent::GraphicsSceneContextMenu);
    event.setScenePos(QPointF(1, 1));
    event.setPos(QPointF(1, 1));
    event.setAccepted(true);
    QCoreApplication::sendEvent(&scene, &event);
    QVERIFY(!event.isAccepted());
    QVERIFY(item->contextMenu() == nullptr);
}

void TestSceneModel::fixStateSwapsPenColour()
{
    ImageItem item(knownPixmap(4, 3), false);
    QCOMPARE(item.penColor(), QColor(Qt::green));
    item.setPenColor(QColor(Qt::red));
    item.changeFixState();
    QVERIFY(item.isFixed());
    QCOMPARE(item.penColor(), QColor(Qt::blue));
    QVERIFY(!(item.flags() & QGraphicsItem::ItemIsMovable));
    item.changeFixState();
    QVERIFY(!item.isFixed());
    QCOMPARE(item.penColor(), QColor(Qt::red));
    QVERIFY(item.flags() & QGraphicsItem::ItemIsMovable);
}

void TestSceneModel::spinAngle_data()
{
    QTest::addColumn<QPointF>("point");
    QTest::addColumn<double>("angle");
    QTest::newRow("right") << QPointF(15, 10) << 0.0;
    QTest::newRow("left") << QPointF(2, 10) << 180.0;
    QTest::newRow("below") << QPointF(10, 30) << 90.0;
    QTest::newRow("above") << QPointF(10, 0) << -90.0;
    QTest::newRow("below right") << QPointF(13, 13) << 45.0;
    QTest::newRow("above left") << QPointF(7, 7) << -135.0;
}

void TestSceneModel::spinAngle()
{
    QFETCH(QPointF, point);
    QFETCH(double, angle);
    QCOMPARE(ImageItem::spinAngleTo(QPointF(10, 10), point), angle);
}

void TestSceneModel::movedItemReportsItsCentre()
{
    SceneModel scene;
    ImageItem* item = scene.addImage(knownPixmap(10, 6), false);
    QSignalSpy spy(item, &BaseItem::posChanged);
    item->setPos(100, 20);
    QCOMPARE(spy.count(), 1);
    QCOMPARE(spy.at(0).at(0).toPointF(), QPointF(105, 23));
}

void TestSceneModel::fitToViewAndActualSize()
{
    ShownScene s(knownPixmap(40, 10));
    QSignalSpy spy(&s.scene, &SceneModel::scaleChanged);
    s.scene.showActualSize();
    QCOMPARE(s.scene.scale(), 1.0);
    QCOMPARE(s.view.transform().m11(), 1.0);
    QCOMPARE(spy.last().at(0).toDouble(), 1.0);

    // The whole picture in the viewport: the narrower of the two fits.
    s.scene.fitToView();
    const QSize port = s.view.maximumViewportSize();
    const double expected = std::min(port.width() / 40.0, port.height() / 10.0);
    QCOMPARE(s.scene.scale(), expected);
    QCOMPARE(s.view.transform().m11(), expected);
    QCOMPARE(spy.last().at(0).toDouble(), expected);
    const QRectF shown = s.view.mapToScene(s.view.viewport()->rect()).boundingRect();
    QVERIFY2(shown.contains(QRectF(0, 0, 40, 10).adjusted(0.5, 0.5, -0.5, -0.5)), "the picture is in view");

    // Without a picture nothing changes.
    SceneModel empty;
    QGraphicsView view(&empty);
    empty.fitToView();
    QCOMPARE(empty.scale(), 1.0);
}

void TestSceneModel::regionDrawnInPicturePixels()
{
    SceneModel scene;
    QGraphicsView view(&scene);
    scene.addImage(knownPixmap(20, 10), true);
    QSignalSpy spy(&scene, &SceneModel::regionChanged);

    // Without region mode a drag draws nothing.
    sendMouse(scene, QEvent::GraphicsSceneMousePress, QPointF(2.5, 2.5), Qt::LeftButton);
    sendMouse(scene, QEvent::GraphicsSceneMouseMove, QPointF(6.5, 4.5), Qt::LeftButton);
    sendMouse(scene, QEvent::GraphicsSceneMouseRelease, QPointF(6.5, 4.5), Qt::LeftButton);
    QCOMPARE(spy.count(), 0);
    QVERIFY(scene.region().isEmpty());

    // Dragged from pixel (6, 4) up to pixel (2, 1): both corner pixels are inside.
    scene.setRegionMode(true);
    sendMouse(scene, QEvent::GraphicsSceneMousePress, QPointF(6.5, 4.5), Qt::LeftButton);
    sendMouse(scene, QEvent::GraphicsSceneMouseMove, QPointF(2.2, 1.9), Qt::LeftButton);
    sendMouse(scene, QEvent::GraphicsSceneMouseRelease, QPointF(2.2, 1.9), Qt::LeftButton);
    QCOMPARE(scene.region(), QRect(2, 1, 5, 4));
    QCOMPARE(spy.last().at(0).toRect(), QRect(2, 1, 5, 4));

    // A drag past the picture's edge stops at its last pixel.
    sendMouse(scene, QEvent::GraphicsSceneMousePress, QPointF(15.5, 5.5), Qt::LeftButton);
    sendMouse(scene, QEvent::GraphicsSceneMouseRelease, QPointF(300.0, -40.0), Qt::LeftButton);
    QCOMPARE(scene.region(), QRect(QPoint(15, 0), QPoint(19, 5)));
}

void TestSceneModel::regionModeOffClearsTheRegion()
{
    SceneModel scene;
    QGraphicsView view(&scene);
    scene.addImage(knownPixmap(20, 10), true);
    scene.setRegionMode(true);
    sendMouse(scene, QEvent::GraphicsSceneMousePress, QPointF(1.5, 1.5), Qt::LeftButton);
    sendMouse(scene, QEvent::GraphicsSceneMouseRelease, QPointF(3.5, 3.5), Qt::LeftButton);
    QCOMPARE(scene.items().size(), 2);  // the picture and the rectangle
    QSignalSpy spy(&scene, &SceneModel::regionChanged);
    scene.setRegionMode(false);
    QVERIFY(scene.region().isEmpty());
    QCOMPARE(spy.count(), 1);
    QVERIFY(spy.at(0).at(0).toRect().isEmpty());
    QCOMPARE(scene.items().size(), 1);
}

QTEST_MAIN(TestSceneModel)
#include "test_scenemodel.moc"
