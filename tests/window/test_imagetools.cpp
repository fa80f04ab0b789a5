// The window's image tools and its honest status, on the simulated camera and on pictures of
// known pixels: the zoom box's true scale, fit and 1:1; read-outs that follow new frames and name
// only the frame's planes; the histogram and the region statistics as literal counts and figures;
// the saturation warning; a 16-bit frame saved as TIFF and PNG that reads back equal with OpenCV,
// with its metadata; message boxes wide enough for a path; F1 at the tab in use; the last camera
// offered at the next start; "校正验证" in view at 1366 x 768; the live image back after a
// verification.
#include "common/threadspy.h"
#include "panels/windowharness.h"
#include "ui_mainwindow.h"

#include "app/histogramwindow.h"
#include "app/liveframe.h"
#include "app/sessionlog.h"
#include "app/verifywindow.h"
#include "views/histogramwidget.h"
#include "views/scenemodel.h"

#include <QDir>
#include <QGraphicsSceneMouseEvent>
#include <QGraphicsView>
#include <QJsonDocument>
#include <QJsonObject>
#include <QLabel>
#include <QScreen>
#include <QScrollArea>
#include <QScrollBar>
#include <QSettings>
#include <QStatusBar>
#include <QTabWidget>
#include <QTableWidget>

#include <opencv2/core.hpp>
#include <opencv2/imgcodecs.hpp>

#include <cmath>

namespace {

const QString kMono = QStringLiteral("SIM-LS4096-M");

// A grey picture whose pixel (x, y) is 10 * y + x % 10: rows of ten values each.
QPixmap greyRamp(int width, int height)
{
    QImage image(width, height, QImage::Format_Grayscale8);
    for (int y = 0; y < height; ++y)
        for (int x = 0; x < width; ++x) image.scanLine(y)[x] = uchar(10 * y + x % 10);
    return QPixmap::fromImage(image);
}

cv::Mat meansOf(int width, int channels)
{
    return cv::Mat(1, width, CV_32FC(channels), cv::Scalar::all(1.0));
}

void sendMouse(SceneModel* scene, QEvent::Type type, QPointF scenePos)
{
    QGraphicsSceneMouseEvent event(type);
    event.setScenePos(scenePos);
    event.setLastScenePos(scenePos);
    event.setButton(Qt::LeftButton);
    event.setButtons(type == QEvent::GraphicsSceneMouseRelease ? Qt::NoButton : Qt::LeftButton);
    event.setButtonDownScenePos(Qt::LeftButton, scenePos);
    QCoreApplication::sendEvent(scene, &event);
}

QString cell(QTableWidget* table, int row, int column)
{
    return table->item(row, column) ? table->item(row, column)->text() : QString();
}

}  // namespace

class TestImageTools : public QObject {
    Q_OBJECT

    harness::WindowFixture f;
    MainWindow* w() const { return f.w.get(); }
    Ui::MainWindow* ui() const { return f.ui(); }

    bool connectMono()
    {
        if (!f.connectCamera(kMono)) return false;
        return QTest::qWaitFor([this] { return ui()->startBut->isChecked(); }, 3000);
    }

    // Points the cursor at a picture pixel through the view, as a mouse would; the pixel it lands
    // on (a screen pixel of a picture drawn smaller spans several picture pixels).
    QPoint hover(int x, int y)
    {
        QGraphicsView* view = ui()->graphicsView;
        const QPoint at = view->mapFromScene(QPointF(x + 0.5, y + 0.5));
        QMouseEvent move(QEvent::MouseMove, QPointF(at), QPointF(view->viewport()->mapToGlobal(at)), Qt::NoButton,
                         Qt::NoButton, Qt::NoModifier);
        QApplication::sendEvent(view->viewport(), &move);
        const QPointF landed = view->mapToScene(at);
        return QPoint(int(landed.x()), int(landed.y()));
    }

    // Shows the picture as a loaded one, then the histogram window.
    HistogramWindow* histogramOf(const QPixmap& pixmap, int channels)
    {
        w()->showPicture(pixmap, meansOf(pixmap.width(), channels));
        w()->m_histogramBut->click();
        return w()->m_histogramWindow;
    }

private slots:
    void initTestCase()
    {
        const QString failed = harness::bindSimulator();
        QVERIFY2(failed.isEmpty(), qPrintable(failed));
    }

    void init()
    {
        f.w = harness::makeWindow();
        QCOMPARE(lsx::sim::api().setTimeScale(nullptr, 0.05), LSX_OK);
    }

    void cleanup() { f.w.reset(); }

    void cleanupTestCase() { lsx::unbindLibrary(); }

    // ---- Zoom ----

    void zoomBoxShowsTheTrueScale()
    {
        w()->showPicture(greyRamp(4000, 100), meansOf(4000, 1));
        const double drawn = ui()->graphicsView->transform().m11();
        QVERIFY(drawn < 0.5);
        // The box holds the scale the picture is drawn at, to its two decimals.
        QCOMPARE(ui()->ratioSBox->value(), std::round(drawn * 100.0) / 100.0);
        QCOMPARE(ui()->ratioSBox->text(), QString::number(std::round(drawn * 100.0) / 100.0, 'f', 2) + "x");

        w()->m_actualSizeBut->click();
        QCOMPARE(ui()->graphicsView->transform().m11(), 1.0);
        QCOMPARE(ui()->ratioSBox->value(), 1.0);

        w()->m_fitBut->click();
        const QSize port = ui()->graphicsView->maximumViewportSize();
        const double fitted = std::min(port.width() / 4000.0, port.height() / 100.0);
        QCOMPARE(ui()->graphicsView->transform().m11(), fitted);
        QCOMPARE(ui()->ratioSBox->value(), std::round(fitted * 100.0) / 100.0);
    }

    // ---- Read-outs ----

    void readOutsFollowTheNewestFrame()
    {
        QVERIFY(connectMono());
        QTRY_VERIFY_WITH_TIMEOUT(!w()->m_pixmap.isNull(), 5000);
        const QString camera = kMono;
        QCOMPARE(lsx::sim::api().setScene(camera.toLatin1().constData(), LSX_SIM_SCENE_FLAT, 0.0, -1.0, -1.0), LSX_OK);
        hover(2000, 10);
        QTRY_VERIFY_WITH_TIMEOUT(ui()->avgLabel->text().startsWith(QStringLiteral("列均值:")), 3000);
        // A mono camera: one value each, no R, G, B.
        QVERIFY(ui()->rgbLabel->text().startsWith(QStringLiteral("亮度=")));
        QVERIFY(!ui()->avgLabel->text().contains(QLatin1Char(',')));
        QVERIFY(!ui()->minLabel->text().contains(QLatin1Char(',')));

        // The lens covered: without moving the mouse the labels follow the new frames down.
        QCOMPARE(lsx::sim::api().setScene(camera.toLatin1().constData(), LSX_SIM_SCENE_DARK, 0.0, -1.0, -1.0), LSX_OK);
        QTRY_VERIFY_WITH_TIMEOUT(ui()->avgLabel->text().section(QLatin1Char(':'), 1).toDouble() < 5.0, 5000);
        const QString dark = ui()->avgLabel->text();
        QCOMPARE(lsx::sim::api().setScene(camera.toLatin1().constData(), LSX_SIM_SCENE_FLAT, 0.0, -1.0, -1.0), LSX_OK);
        QTRY_VERIFY_WITH_TIMEOUT(ui()->avgLabel->text().section(QLatin1Char(':'), 1).toDouble() > 20.0, 5000);
        QVERIFY(ui()->avgLabel->text() != dark);
        // What the labels say is the frame on show.
        ui()->startBut->click();
        QCoreApplication::processEvents();
        const cv::Mat& shown = w()->shownFrame().samples;
        QCOMPARE(shown.cols, 4096);
        const QPoint p = hover(2000, 10);
        QCOMPARE(ui()->rgbLabel->text(), QStringLiteral("亮度=%1").arg(shown.at<uint8_t>(p.y(), p.x())));
        QCOMPARE(ui()->avgLabel->text(),
                 QStringLiteral("列均值:%1").arg(w()->m_staticMat.at<float>(0, p.x()), 0, 'f', 1));
        double lo = 0, hi = 0;
        cv::minMaxIdx(shown.row(p.y()), &lo, &hi);
        QCOMPARE(ui()->minLabel->text(), QStringLiteral("行最小:%1").arg(lo));
        QCOMPARE(ui()->maxLabel->text(), QStringLiteral("行最大:%1").arg(hi));
    }

    // ---- Histogram, region statistics, saturation ----

    void histogramOfAKnownFrameIsALiteralCount()
    {
        // 30 x 4: each row holds ten values three times: 0..9, 10..19, 20..29, 30..39.
        HistogramWindow* win = histogramOf(greyRamp(30, 4), 1);
        QVERIFY(win && win->isVisible());
        const QList<PlaneHistogram> planes = win->histogram()->histograms();
        QCOMPARE(planes.size(), 1);
        QCOMPARE(planes[0].name, QStringLiteral("灰度"));
        QCOMPARE(int(planes[0].counts.size()), 256);
        QCOMPARE(planes[0].counts[0], quint64(3));
        QCOMPARE(planes[0].counts[17], quint64(3));
        QCOMPARE(planes[0].counts[39], quint64(3));
        QCOMPARE(planes[0].counts[40], quint64(0));
        quint64 total = 0;
        for (quint64 n : planes[0].counts) total += n;
        QCOMPARE(total, quint64(120));
        QCOMPARE(win->histogram()->unit(), QStringLiteral("DN8"));
        // Whole frame: mean 19.5, values 0 .. 39.
        QCOMPARE(win->table()->rowCount(), 1);
        QCOMPARE(cell(win->table(), 0, 1), QStringLiteral("19.50"));
        QCOMPARE(cell(win->table(), 0, 3), QStringLiteral("0"));
        QCOMPARE(cell(win->table(), 0, 4), QStringLiteral("39"));
        QVERIFY(win->scopeLabel()->text().contains(QStringLiteral("整幅图像 30 × 4")));
        // The logarithmic axis is a switch of the view; the counts stay.
        win->logCheck()->setChecked(true);
        QVERIFY(win->histogram()->logScale());
        QCOMPARE(win->histogram()->histograms()[0].counts[17], quint64(3));
    }

    void colourHistogramNamesItsPlanes()
    {
        QImage image(4, 2, QImage::Format_RGB888);
        image.fill(QColor(200, 100, 50));
        image.setPixel(0, 0, qRgb(201, 100, 50));
        HistogramWindow* win = histogramOf(QPixmap::fromImage(image), 3);
        const QList<PlaneHistogram> planes = win->histogram()->histograms();
        QCOMPARE(planes.size(), 3);
        QCOMPARE(planes[0].name, QStringLiteral("R"));
        QCOMPARE(planes[0].counts[200], quint64(7));
        QCOMPARE(planes[0].counts[201], quint64(1));
        QCOMPARE(planes[1].name, QStringLiteral("G"));
        QCOMPARE(planes[1].counts[100], quint64(8));
        QCOMPARE(planes[2].name, QStringLiteral("B"));
        QCOMPARE(planes[2].counts[50], quint64(8));
    }

    void regionStatisticsOfAKnownFrame()
    {
        HistogramWindow* win = histogramOf(greyRamp(30, 4), 1);
        w()->m_regionBut->click();
        QVERIFY(w()->m_scene->regionMode());
        // From pixel (2, 1) to pixel (5, 2): values 12..15 and 22..25.
        sendMouse(w()->m_scene, QEvent::GraphicsSceneMousePress, QPointF(2.5, 1.5));
        sendMouse(w()->m_scene, QEvent::GraphicsSceneMouseMove, QPointF(5.5, 2.5));
        sendMouse(w()->m_scene, QEvent::GraphicsSceneMouseRelease, QPointF(5.5, 2.5));
        QCOMPARE(w()->m_scene->region(), QRect(2, 1, 4, 2));
        QVERIFY(win->scopeLabel()->text().contains(QStringLiteral("框选区域 (2, 1) 4 × 2，8 个像素")));
        // Mean 18.5; deviations ±3.5, ±4.5, ±5.5, ±6.5: variance 26.25.
        QCOMPARE(cell(win->table(), 0, 1), QStringLiteral("18.50"));
        QCOMPARE(cell(win->table(), 0, 2), QString::number(std::sqrt(26.25), 'f', 2));
        QCOMPARE(cell(win->table(), 0, 3), QStringLiteral("12"));
        QCOMPARE(cell(win->table(), 0, 4), QStringLiteral("25"));
        quint64 total = 0;
        for (quint64 n : win->histogram()->histograms()[0].counts) total += n;
        QCOMPARE(total, quint64(8));

        // Off: the whole frame again.
        w()->m_regionBut->click();
        QVERIFY(w()->m_scene->region().isEmpty());
        QCOMPARE(cell(win->table(), 0, 1), QStringLiteral("19.50"));
    }

    void saturationWarningAboveATenthOfAPerCent()
    {
        // 100 x 100: 10 pixels at 255 are 0.1 %, not above it; 11 are.
        QImage image(100, 100, QImage::Format_Grayscale8);
        image.fill(100);
        for (int x = 0; x < 10; ++x) image.scanLine(50)[x] = 255;
        w()->showPicture(QPixmap::fromImage(image), meansOf(100, 1));
        w()->analyseFrame();
        QVERIFY(w()->m_saturationLabel->isHidden());
        image.scanLine(50)[10] = 255;
        w()->showPicture(QPixmap::fromImage(image), meansOf(100, 1));
        w()->analyseFrame();
        QVERIFY(!w()->m_saturationLabel->isHidden());
        QVERIFY2(w()->m_saturationLabel->text().contains(QStringLiteral("灰度 0.11%")),
                 qPrintable(w()->m_saturationLabel->text()));
    }

    void saturationWarningOnTheLiveImage()
    {
        QVERIFY(connectMono());
        const QByteArray camera = kMono.toLatin1();
        // A light far beyond full scale at the exposure as set.
        QCOMPARE(lsx::sim::api().setScene(camera.constData(), LSX_SIM_SCENE_FLAT, 1000.0, -1.0, -1.0), LSX_OK);
        QTRY_VERIFY_WITH_TIMEOUT(!w()->m_saturationLabel->isHidden(), 5000);
        QVERIFY(w()->statusBar()->isAncestorOf(w()->m_saturationLabel));
        QCOMPARE(lsx::sim::api().setScene(camera.constData(), LSX_SIM_SCENE_DARK, 0.0, -1.0, -1.0), LSX_OK);
        QTRY_VERIFY_WITH_TIMEOUT(w()->m_saturationLabel->isHidden(), 5000);
    }

    // ---- Saving the frame ----

    void sixteenBitFrameSavedAsTiffAndPngReadsBackEqual()
    {
        QVERIFY(f.connectCamera(kMono));
        QTRY_VERIFY_WITH_TIMEOUT(ui()->startBut->isChecked(), 3000);
        ui()->startBut->click();
        QCOMPARE(lsxSetTargetFormat(f.server()->m_handle, FORMAT_MONO16), LSX_OK);
        QCOMPARE(lsx::sim::api().setScene(kMono.toLatin1().constData(), LSX_SIM_SCENE_FLAT, 0.0, -1.0, -1.0), LSX_OK);
        ThreadSpy frames(f.server(), &CameraServer::OS_NewFrame);
        ui()->startBut->click();
        QVERIFY(frames.wait(5000));
        QTRY_VERIFY_WITH_TIMEOUT(w()->shownFrame().wide, 5000);
        ui()->startBut->click();
        QCoreApplication::processEvents();
        const cv::Mat shown = w()->shownFrame().samples.clone();
        QCOMPARE(shown.type(), CV_16UC1);
        double lo = 0, hi = 0;
        cv::minMaxIdx(shown, &lo, &hi);
        QVERIFY2(hi > 1000.0 && hi < 65472.0, "a lit 16-bit frame, not clipped");
        // The picture on show is this frame: its grey is the sample scaled to 8 bits.
        const QImage picture = w()->m_pixmap.toImage();
        QCOMPARE(qGray(picture.pixel(100, 3)), std::min(255, int(std::lround(shown.at<uint16_t>(3, 100) / 255.0))));

        for (const QString& format : {QStringLiteral("tif"), QStringLiteral("png")}) {
            w()->m_rawFormatCBox->setCurrentIndex(w()->m_rawFormatCBox->findData(format));
            harness::BoxCatcher boxes;
            ui()->picSaveBut->click();
            QTRY_COMPARE(boxes.boxes().size(), 1);
            const QStringList lines = boxes.boxes().first().text.split(QLatin1Char('\n'));
            QCOMPARE(lines.size(), 3);
            const QString bmp = lines[0].section(QLatin1Char(' '), 1);
            const QString samples = lines[1].section(QStringLiteral("："), 1);
            const QString json = lines[2].section(QStringLiteral("："), 1);
            QVERIFY2(lines[1].startsWith(QStringLiteral("原始数据（16位 %1）").arg(format.toUpper())),
                     qPrintable(lines[1]));
            QVERIFY(QFileInfo::exists(bmp));
            QCOMPARE(QFileInfo(samples).suffix(), format);
            QCOMPARE(QFileInfo(samples).completeBaseName(), QFileInfo(bmp).completeBaseName());

            const cv::Mat back = cv::imread(samples.toStdString(), cv::IMREAD_UNCHANGED);
            QCOMPARE(back.type(), CV_16UC1);
            QCOMPARE(back.size(), shown.size());
            QCOMPARE(cv::countNonZero(back != shown), 0);

            QFile file(json);
            QVERIFY(file.open(QIODevice::ReadOnly));
            const QJsonObject m = QJsonDocument::fromJson(file.readAll()).object();
            QCOMPARE(m.value("camera").toString(), kMono);
            QCOMPARE(m.value("sampleBits").toInt(), 16);
            QCOMPARE(m.value("fullScale").toInt(), 65472);
            double exposure = 0, gain = 0;
            QCOMPARE(lsxGetExposure(f.server()->m_handle, &exposure), LSX_OK);
            float g = 0;
            QCOMPARE(lsxGetAnalogGain(f.server()->m_handle, &g), LSX_OK);
            gain = g;
            QCOMPARE(m.value("exposureUs").toDouble(), exposure);
            QCOMPARE(m.value("gain").toDouble(), gain);
            QCOMPARE(m.value("width").toInt(), shown.cols);
            QCOMPARE(m.value("samples").toString(), QFileInfo(samples).fileName());
            QVERIFY(QDateTime::fromString(m.value("time").toString(), Qt::ISODateWithMs).isValid());
            QTest::qWait(2);  // the next name has other milliseconds
        }
    }

    // ---- Message boxes ----

    void messageBoxesAreWideEnoughForAPath()
    {
        // Wider than a message box makes itself, narrower than the screen: on one line.
        const QString text =
            QStringLiteral("图片保存至 /home/operator/pictures/station-07/2026_11_24-10_15_42_123.bmp");
        struct Seen {
            bool checked = false;
            int needed = 0, width = 0, height = 0, wanted = 0, screen = 0;
        } seen;
        QTimer::singleShot(0, w(), [&] {
            // After the box has come up and been widened.
            QTimer::singleShot(50, w(), [&] {
                auto* box = qobject_cast<QMessageBox*>(QApplication::activeModalWidget());
                if (!box) return;
                auto* label = box->findChild<QLabel*>(QStringLiteral("qt_msgbox_label"));
                seen.needed = label->fontMetrics().horizontalAdvance(text);
                seen.width = label->width();
                seen.height = label->height();
                seen.wanted = label->heightForWidth(label->width());
                seen.screen = box->screen()->availableGeometry().width();
                seen.checked = true;
                box->accept();
            });
        });
        QMessageBox::information(w(), QStringLiteral("图片保存成功"), text);
        QVERIFY(seen.checked);
        QVERIFY2(seen.needed < seen.screen * 3 / 4,
                 qPrintable(QStringLiteral("text %1, screen %2").arg(seen.needed).arg(seen.screen)));
        QVERIFY2(seen.needed > 400, "wider than the box Qt makes on its own");
        QVERIFY2(seen.width >= seen.needed,
                 qPrintable(QStringLiteral("label %1 wide, text %2").arg(seen.width).arg(seen.needed)));
        QVERIFY(seen.height >= seen.wanted);
        // And told to the session log.
        QCOMPARE(w()->m_sessionLog->entries().last().text, QStringLiteral("图片保存成功：") + text);
    }

    void messageBoxesWiderThanTheScreenWrapWithNothingCut()
    {
        const QString text = QStringLiteral(
            "图片保存至 /home/operator/documents/line-scan-calibration/station-07/"
            "pictures/a-very-long-folder-name/2026_11_24-10_15_42_123.bmp");
        bool checked = false;
        int height = 0, wanted = 0, right = 0, screen = 0;
        QTimer::singleShot(0, w(), [&] {
            QTimer::singleShot(50, w(), [&] {
                auto* box = qobject_cast<QMessageBox*>(QApplication::activeModalWidget());
                if (!box) return;
                auto* label = box->findChild<QLabel*>(QStringLiteral("qt_msgbox_label"));
                height = label->height();
                wanted = label->heightForWidth(label->width());
                right = box->width();
                screen = box->screen()->availableGeometry().width();
                checked = true;
                box->accept();
            });
        });
        QMessageBox::information(w(), QStringLiteral("图片保存成功"), text);
        QVERIFY(checked);
        QVERIFY(right <= screen);
        QVERIFY2(height >= wanted, qPrintable(QStringLiteral("%1 high, text %2").arg(height).arg(wanted)));
    }

    // ---- Help ----

    void f1OpensTheHelpAtTheTabInUse()
    {
        QTest::keyClick(w(), Qt::Key_F1);
        QVERIFY(w()->m_helpDialog.isVisible());
        QCOMPARE(w()->m_helpDialog.currentPage(), 0);  // no camera: basic use
        w()->m_helpDialog.hide();

        QVERIFY(connectMono());
        ui()->featureTabWidget->setCurrentIndex(0);
        QTest::keyClick(w(), Qt::Key_F1);
        QCOMPARE(w()->m_helpDialog.currentPage(), 1);
        ui()->featureTabWidget->setCurrentIndex(2);
        QTest::keyClick(w(), Qt::Key_F1);
        QCOMPARE(w()->m_helpDialog.currentPage(), 2);

        // From the histogram window: the image tools' page.
        w()->m_histogramBut->click();
        w()->m_histogramWindow->activateWindow();
        QVERIFY(QTest::qWaitForWindowActive(w()->m_histogramWindow));
        QTest::keyClick(w()->m_histogramWindow, Qt::Key_F1);
        QCOMPARE(w()->m_helpDialog.currentPage(), 4);
    }

    void windowShortcutsWaitWhileAProcedureHoldsTheCamera()
    {
        w()->showPicture(greyRamp(4000, 100), meansOf(4000, 1));
        w()->activateWindow();
        QVERIFY(QTest::qWaitForWindowActive(w()));
        QTest::keyClick(w(), Qt::Key_1, Qt::ControlModifier);
        QCOMPARE(w()->m_scene->scale(), 1.0);
        QTest::keyClick(w(), Qt::Key_0, Qt::ControlModifier);
        QVERIFY(w()->m_scene->scale() < 0.5);
        // The panel up: Ctrl+1 does nothing in the window behind it.
        w()->m_progressInfo->show();
        const double fitted = w()->m_scene->scale();
        QTest::keyClick(w(), Qt::Key_1, Qt::ControlModifier);
        QCOMPARE(w()->m_scene->scale(), fitted);
        w()->m_progressInfo->hide();
    }

    // ---- The camera of the last session ----

    void lastCameraIsRememberedAndOffered()
    {
        QVERIFY(connectMono());
        QCOMPARE(QSettings(fpnIniPath(), QSettings::IniFormat).value("Window/LastCamera").toString(), kMono);
        f.w.reset();
        // A new start: the camera selected, not opened; the status bar says how to connect.
        f.w = std::make_unique<MainWindow>(QString(), 0);
        f.w->show();
        QVERIFY(QTest::qWaitForWindowExposed(w()));
        const QList<QTreeWidgetItem*> selected = ui()->deviceListTreeWidget->selectedItems();
        QCOMPARE(selected.size(), 1);
        QCOMPARE(selected.first()->text(0), kMono);
        QVERIFY(!f.server()->m_opened);
        QVERIFY(w()->statusBar()->currentMessage().contains(kMono));
        QCOMPARE(ui()->connectBut->text(), QStringLiteral("连接"));
        ui()->connectBut->click();
        QVERIFY(f.server()->m_opened);
    }

    // ---- Layout ----

    void verificationInViewAt1366x768()
    {
        QVERIFY(connectMono());
        // A maximised window on a 1366 x 768 screen, less its title bar and a task bar.
        w()->resize(1366, 700);
        QTRY_COMPARE(w()->size(), QSize(1366, 700));
        ui()->featureTabWidget->setCurrentIndex(0);
        QScrollArea* area = ui()->featureWidget;
        area->verticalScrollBar()->setValue(0);
        QCoreApplication::processEvents();
        QVERIFY(w()->m_verifyBut->isVisible());
        const QRect but(w()->m_verifyBut->mapTo(area->viewport(), QPoint(0, 0)), w()->m_verifyBut->size());
        QVERIFY2(area->viewport()->rect().contains(but), qPrintable(QStringLiteral("button at %1..%2, viewport %3 high")
                                                                        .arg(but.top())
                                                                        .arg(but.bottom())
                                                                        .arg(area->viewport()->height())));
    }

    // ---- The tool windows on a live colour image (and their pictures for a person to look at) ----

    void toolWindowsOnTheLiveColourImage()
    {
        QVERIFY(f.connectCamera(QStringLiteral("SIM-LS2048-C")));
        QTRY_VERIFY_WITH_TIMEOUT(ui()->startBut->isChecked(), 3000);
        QCOMPARE(lsx::sim::api().setScene("SIM-LS2048-C", LSX_SIM_SCENE_FLAT, 0.0, 0.2, 0.3), LSX_OK);
        QTRY_VERIFY_WITH_TIMEOUT(w()->shownFrame().live && w()->shownFrame().samples.channels() == 3, 5000);
        w()->resize(1366, 700);
        w()->m_fitBut->click();
        w()->m_histogramBut->click();
        HistogramWindow* win = w()->m_histogramWindow;
        w()->m_regionBut->click();
        sendMouse(w()->m_scene, QEvent::GraphicsSceneMousePress, QPointF(600.5, 100.5));
        sendMouse(w()->m_scene, QEvent::GraphicsSceneMouseMove, QPointF(1399.5, 299.5));
        sendMouse(w()->m_scene, QEvent::GraphicsSceneMouseRelease, QPointF(1399.5, 299.5));
        QCOMPARE(w()->m_scene->region(), QRect(600, 100, 800, 200));
        // New frames keep coming into the window: three planes, each counting the region's pixels.
        ThreadSpy frames(f.server(), &CameraServer::OS_NewFrame);
        QVERIFY(frames.wait(5000));
        QTRY_VERIFY(!w()->m_frameToAnalyse);
        const QList<PlaneHistogram> planes = win->histogram()->histograms();
        QCOMPARE(planes.size(), 3);
        for (const PlaneHistogram& plane : planes) {
            quint64 total = 0;
            for (quint64 n : plane.counts) total += n;
            QCOMPARE(total, quint64(800 * 200));
        }
        QCOMPARE(win->table()->rowCount(), 3);
        QCOMPARE(cell(win->table(), 0, 0), QStringLiteral("R"));
        win->logCheck()->setChecked(true);
        w()->m_logBut->click();
        QVERIFY(w()->m_sessionLogWindow->isVisible());
        QVERIFY(!w()->m_sessionLog->entries().isEmpty());

        const QString dir = qEnvironmentVariable("LSX_SCREENSHOT_DIR");
        if (dir.isEmpty()) return;
        QDir().mkpath(dir);
        QTest::qWait(300);
        const auto save = [&dir](QWidget* window, const QString& name) {
            // The window's own picture: the tool windows stand over the main window on the screen.
            const QPixmap shot = window->grab();
            const QString path = dir + QLatin1Char('/') + name;
            QVERIFY(shot.save(path));
            qInfo("saved %s", qPrintable(path));
        };
        save(win, QStringLiteral("histogram.png"));
        save(w()->m_sessionLogWindow, QStringLiteral("sessionlog.png"));
        save(w(), QStringLiteral("window_1366x700.png"));
    }

    // ---- The live image after a verification ----

    void liveImageBackAfterAVerification()
    {
        QVERIFY(connectMono());
        // The run itself is not wanted here: only the window's answers.
        QObject::disconnect(f.server(), &CameraServer::IS_VerifyStart, f.server(), &CameraServer::verifyStart);
        w()->m_verifyBut->click();
        QVERIFY(w()->m_progressInfo->isVisible());
        QVERIFY(!ui()->startBut->isChecked());
        QVERIFY(w()->statusBar()->currentMessage().startsWith(QStringLiteral("校正验证执行中...")));
        QTest::mouseClick(w()->m_progressInfo->findChild<QPushButton*>("cancelBut"), Qt::LeftButton);
        QTRY_VERIFY(ui()->startBut->isChecked());

        w()->m_verifyBut->click();
        w()->m_progressInfo->showProgressInfo(100, QStringLiteral("校正验证完成"));
        QTest::mouseClick(f.defineBut(), Qt::LeftButton);
        QVERIFY(w()->m_verifyWindow->isVisible());
        QTRY_VERIFY(ui()->startBut->isChecked());
        ThreadSpy frames(f.server(), &CameraServer::OS_NewFrame);
        QVERIFY(frames.wait(5000));
    }
};

QTEST_MAIN(TestImageTools)
#include "test_imagetools.moc"
