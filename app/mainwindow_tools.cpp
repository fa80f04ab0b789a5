// MainWindow: the image tools beside the live image, saving frames, the session log, shortcuts
// and help, and the camera of the last session.
//
//  - Zoom: "适应窗口" shows the whole picture, "1:1" one picture pixel per screen pixel; the zoom
//    box always shows the scale the picture is drawn at.
//  - "直方图": the histogram of each plane and the statistics of each plane (mean, standard
//    deviation, minimum, maximum, share at full scale) of the frame on show, or of the rectangle
//    drawn with "框选" checked. They follow the newest frame, as does the saturation warning in
//    the status bar (more than 0.1 % of a plane's samples at full scale), at most five times a
//    second.
//  - "存图": the BMP of the picture on show as before, and beside it the frame's own samples
//    (16-bit for a 16-bit camera) as TIFF or PNG, and a JSON file of the camera, gain, exposure and
//    time. The message names the files actually written.
//  - "日志": every report of every procedure, the operator's answers, the messages shown and the
//    files saved, with their times, also written as they come to the day's file in the document
//    folder; the window exports them.
//  - The camera connected last is remembered in FPN.ini and selected in the list at the next start
//    (not opened: connecting stays the operator's click).
//  - Shortcuts: F1 help at the page of the tab in use, F5 refresh the list, Ctrl+S save the picture,
//    Ctrl+0 fit, Ctrl+1 1:1, Ctrl+H histogram, Ctrl+L log.
#include "mainwindow.h"
#include "ui_mainwindow.h"

#include "app/framesave.h"
#include "app/histogramwindow.h"
#include "app/liveframe.h"
#include "app/messageboxes.h"
#include "app/progressinfowidget.h"
#include "app/sessionlog.h"
#include "app/showhidehook.h"
#include "app/verifywindow.h"
#include "app/widthtocontents.h"
#include "camera/cameraserver.h"
#include "camera/properties.h"
#include "camera/tables.h"
#include "statustext.h"
#include "views/imagestats.h"
#include "views/scenemodel.h"

#include <QApplication>
#include <QBoxLayout>
#include <QComboBox>
#include <QCoreApplication>
#include <QDateTime>
#include <QDir>
#include <QGraphicsView>
#include <QLabel>
#include <QMessageBox>
#include <QPushButton>
#include <QSettings>
#include <QShortcut>
#include <QStatusBar>
#include <QTabBar>
#include <QTimer>
#include <QTreeWidget>

#include <cmath>

namespace {

// Window keys of FPN.ini.
const QString kLastCamera = QStringLiteral("Window/LastCamera");
const QString kRawFormat = QStringLiteral("Window/RawFormat");

constexpr int kAnalysisMs = 200;

// Inserts `widget` into the row of `anchor`, right after it.
void insertAfter(QWidget* anchor, QWidget* widget)
{
    auto* row = qobject_cast<QBoxLayout*>(anchor->parentWidget()->layout());
    if (!row) return;
    const int at = row->indexOf(anchor);
    row->insertWidget(at < 0 ? row->count() : at + 1, widget);
}

// A button of the row above the picture, right after `anchor`.
QPushButton* toolButton(QWidget* anchor, const QString& name, const QString& text, const QString& tip)
{
    auto* but = new QPushButton(text, anchor->parentWidget());
    but->setObjectName(name);
    but->setToolTip(tip);
    insertAfter(anchor, but);
    return but;
}

// `everywhere`: also from the program's other windows (help, tool windows, the progress panel);
// otherwise only while the main window itself is active and no procedure's panel is up.
void shortcut(MainWindow* w, const QKeySequence& keys, void (MainWindow::*slot)(), bool everywhere)
{
    auto* s = new QShortcut(keys, w);
    s->setContext(everywhere ? Qt::ApplicationShortcut : Qt::WindowShortcut);
    QObject::connect(s, &QShortcut::activated, w, [w, slot, everywhere] {
        if (!everywhere && w->m_progressInfo->isVisible()) return;
        (w->*slot)();
    });
}

QString channelNames(int channels)
{
    if (channels == 1) return QCoreApplication::translate("MainWindow", "灰度");
    return channels == 4 ? QStringLiteral("B,G,R,X") : QStringLiteral("B,G,R");
}

}  // namespace

void MainWindow::setupTools()
{
    // The camera list needs a few rows; the room goes to the panels, so that on a 1366 x 768
    // screen the FPN tab's buttons are in view without scrolling.
    ui->deviceListTreeWidget->setMaximumHeight(ui->deviceListTreeWidget->fontMetrics().height() * 5 + 12);
    // The panels' column is as wide as their texts need in either language, the tabs' names
    // included (no scroll buttons hiding some of them); the picture takes what is left.
    ui->featureTabWidget->setUsesScrollButtons(false);
    ui->featureTabWidget->tabBar()->setElideMode(Qt::ElideNone);
    new WidthToContents(ui->featureWidget);

    m_liveFrame = new LiveFrame(m_cameraServer, this);
    m_analysisTimer = new QTimer(this);
    m_analysisTimer->setSingleShot(true);
    m_analysisTimer->setInterval(kAnalysisMs);
    connect(m_analysisTimer, &QTimer::timeout, this, &MainWindow::analyseFrame);
    setupStatus();

    // The row above the picture: zoom beside the zoom box, the tools after "存图".
    m_fitBut = toolButton(ui->ratioSBox, QStringLiteral("fitBut"), tr("适应窗口"), tr("显示整幅图像（Ctrl+0）"));
    m_actualSizeBut = toolButton(m_fitBut, QStringLiteral("actualSizeBut"), QStringLiteral("1:1"),
                                 tr("一个图像像素对应一个屏幕像素（Ctrl+1）"));
    m_rawFormatCBox = new QComboBox(ui->opWidget);
    m_rawFormatCBox->setObjectName(QStringLiteral("rawFormatCBox"));
    m_rawFormatCBox->addItem(QStringLiteral("TIFF"), QStringLiteral("tif"));
    m_rawFormatCBox->addItem(QStringLiteral("PNG"), QStringLiteral("png"));
    m_rawFormatCBox->setToolTip(tr("存图时在 BMP 旁另存原始数据（16位相机为16位）的格式"));
    insertAfter(ui->picSaveBut, m_rawFormatCBox);
    m_regionBut = toolButton(m_rawFormatCBox, QStringLiteral("regionBut"), tr("框选统计"),
                             tr("在图像上拖动鼠标框选区域，统计该区域各通道的数值"));
    m_regionBut->setCheckable(true);
    m_histogramBut =
        toolButton(m_regionBut, QStringLiteral("histogramBut"), tr("直方图"), tr("各通道直方图与统计（Ctrl+H）"));
    m_logBut = toolButton(m_histogramBut, QStringLiteral("logBut"), tr("日志"), tr("本次运行的日志（Ctrl+L）"));
    {
        QSettings settings(fpnIniPath(), QSettings::IniFormat);
        const int row = m_rawFormatCBox->findData(rawSuffix(settings.value(kRawFormat).toString()));
        m_rawFormatCBox->setCurrentIndex(std::max(0, row));
    }
    connect(m_rawFormatCBox, &QComboBox::currentIndexChanged, this, [this] {
        QSettings settings(fpnIniPath(), QSettings::IniFormat);
        settings.setValue(kRawFormat, m_rawFormatCBox->currentData().toString());
    });
    connect(m_fitBut, &QPushButton::clicked, this, &MainWindow::fitPicture);
    connect(m_actualSizeBut, &QPushButton::clicked, this, &MainWindow::showActualSize);
    connect(m_histogramBut, &QPushButton::clicked, this, &MainWindow::showHistogramWindow);
    connect(m_logBut, &QPushButton::clicked, this, &MainWindow::showSessionLog);
    connect(m_regionBut, &QPushButton::toggled, this, [this](bool on) {
        m_scene->setRegionMode(on);
        ui->graphicsView->viewport()->setCursor(on ? Qt::CrossCursor : Qt::ArrowCursor);
    });
    connect(m_scene, &SceneModel::regionChanged, this, [this](QRect region) {
        if (!region.isEmpty())
            showHistogramWindow();
        else if (m_histogramWindow && m_histogramWindow->isVisible())
            m_histogramWindow->showFrame(shownFrame().samples, QRect());
    });

    // The saturation warning, at the right of the status bar.
    m_saturationLabel = new QLabel(this);
    m_saturationLabel->setObjectName(QStringLiteral("saturationLabel"));
    m_saturationLabel->setStyleSheet(QStringLiteral("QLabel#saturationLabel { color: #FF5050; font-weight: bold; }"));
    m_saturationLabel->hide();
    statusBar()->addPermanentWidget(m_saturationLabel);

    shortcut(this, QKeySequence(Qt::Key_F1), &MainWindow::showHelpForCurrentTab, true);
    shortcut(this, QKeySequence(Qt::CTRL | Qt::Key_H), &MainWindow::showHistogramWindow, true);
    shortcut(this, QKeySequence(Qt::CTRL | Qt::Key_L), &MainWindow::showSessionLog, true);
    shortcut(this, QKeySequence(Qt::Key_F5), &MainWindow::refresh, false);
    shortcut(this, QKeySequence(Qt::CTRL | Qt::Key_S), &MainWindow::savePicture, false);
    shortcut(this, QKeySequence(Qt::CTRL | Qt::Key_0), &MainWindow::fitPicture, false);
    shortcut(this, QKeySequence(Qt::CTRL | Qt::Key_1), &MainWindow::showActualSize, false);
    ui->helpBut->setToolTip(tr("使用说明（F1）"));
    ui->refreshBut->setToolTip(tr("重新查找相机（F5）"));
    ui->picSaveBut->setToolTip(tr("保存当前图像（Ctrl+S）"));

    // The session log: procedures' reports, the operator's answers, the messages, the camera.
    m_sessionLog = new SessionLog(QDir(documentDir()).filePath(QStringLiteral("logs")), this);
    connect(m_sessionLog, &SessionLog::writeFailed, this,
            [this](const QString& text) { statusBar()->showMessage(text, 10000); });
    connect(m_cameraServer, &CameraServer::OS_FpnInfo, this, &MainWindow::logProcedureReport);
    connect(m_progressInfo, &ProgressInfoWidget::defined, this,
            [this] { m_sessionLog->append(m_progressInfo->windowTitle(), tr("操作员：确定")); });
    connect(m_progressInfo, &ProgressInfoWidget::canceled, this,
            [this] { m_sessionLog->append(m_progressInfo->windowTitle(), tr("操作员：取消")); });
    if (m_verifyContinueBut)
        connect(m_verifyContinueBut, &QPushButton::clicked, this,
                [this] { m_sessionLog->append(m_progressInfo->windowTitle(), tr("操作员：继续")); });
    connect(m_cameraServer, &CameraServer::OS_CaptureFailed, this, [this](lsxStatus status) {
        m_saturationLabel->hide();
        m_sessionLog->append(tr("采图"), tr("采集停止：%1-%2").arg(status).arg(statusText(status)));
    });
    m_boxWatcher = new MessageBoxWatcher(this);
    connect(m_boxWatcher, &MessageBoxWatcher::boxShown, this, [this](const QString& title, const QString& text) {
        m_sessionLog->append(tr("提示框"), tr("%1：%2").arg(title, text));
    });

    // The panels come with an open camera and go when it closes (or another one is selected).
    // Not while the window itself comes or goes (its destruction hides every child).
    const auto follow = [this] {
        if (m_cameraServer && isVisible()) rememberCamera();
    };
    new ShowHideHook(ui->featureWidget, follow, follow);
    offerLastCamera();
}

// ---- Zoom ----

void MainWindow::fitPicture()
{
    m_scene->fitToView();
}

void MainWindow::showActualSize()
{
    m_scene->showActualSize();
}

// ---- Histogram, region statistics and saturation ----

void MainWindow::showHistogramWindow()
{
    if (!m_histogramWindow) m_histogramWindow = new HistogramWindow(this);
    m_histogramWindow->showFrame(shownFrame().samples, m_scene->region());
    m_histogramWindow->show();
    m_histogramWindow->raise();
}

void MainWindow::analyseFrame()
{
    m_frameToAnalyse = false;
    const ShownFrame& shown = shownFrame();
    if (m_histogramWindow && m_histogramWindow->isVisible())
        m_histogramWindow->showFrame(shown.samples, m_scene->region());

    const std::vector<double> shares = fullScaleShares(shown.samples);
    QStringList over;
    for (const FramePlane& plane : framePlanes(shown.samples.channels()))
        if (shares[plane.channel] > kSaturationShare)
            over.append(QStringLiteral("%1 %2%").arg(plane.name).arg(100.0 * shares[plane.channel], 0, 'f', 2));
    if (over.isEmpty()) {
        m_saturationLabel->hide();
        return;
    }
    m_saturationLabel->setText(tr("图像饱和：%1 的像素达到满量程（超过 0.1%）").arg(over.join(tr("，"))));
    m_saturationLabel->show();
}

// ---- Saving the picture ----

void MainWindow::savePicture()
{
    if (m_pixmap.isNull()) return;
    // One reading of the clock names every file, and the message names them as written.
    const QDateTime now = QDateTime::currentDateTime();
    const QString base = QDir(pictureDir()).filePath(now.toString(QStringLiteral("yyyy_MM_dd-hh_mm_ss_zzz")));
    const QString bmp = base + QStringLiteral(".bmp");
    if (!m_pixmap.save(bmp, "BMP")) {
        QMessageBox::critical(this, tr("错误"), tr("图片保存失败：%1").arg(QDir::toNativeSeparators(bmp)));
        return;
    }
    QStringList lines = {tr("图片保存至 %1").arg(bmp)};
    m_sessionLog->append(tr("存图"), bmp);

    // The frame's own samples and what was set, beside the picture.
    const ShownFrame& shown = shownFrame();
    const QString suffix = rawSuffix(m_rawFormatCBox->currentData().toString());
    const QString samples = base + QLatin1Char('.') + suffix;
    const QString json = base + QStringLiteral(".json");
    FrameMetadata m;
    m.when = now;
    m.live = shown.live;
    m.width = shown.samples.cols;
    m.height = shown.samples.rows;
    m.sampleBits = shown.wide ? 16 : 8;
    m.channels = channelNames(shown.samples.channels());
    m.picture = QFileInfo(bmp).fileName();
    m.samples = QFileInfo(samples).fileName();
    if (shown.live && m_cameraServer->m_opened) {
        const lsxHandle h = m_cameraServer->m_handle;
        const lsxCameraInfo info = m_cameraServer->cameraInfo(m_cameraServer->cameraName());
        m.camera = m_cameraServer->cameraName();
        m.model = cameraInfoText(info.model, sizeof info.model);
        m.serial = cameraInfoText(info.serialNumber, sizeof info.serialNumber);
        m.firmware = cameraInfoText(info.version, sizeof info.version);
        const properties::Value gain = properties::gain(h);
        const properties::Value exposure = properties::exposure(h);
        m.gain = gain.ok ? gain.value : std::nan("");
        m.exposureUs = exposure.ok ? exposure.value : std::nan("");
        const properties::Roi roi = properties::roi(h);
        m.roiX = roi.ok ? roi.x : 0;
        m.roiY = 0;
        m.sum = ui->sumSBox->value();
        if (ui->applyFpnCheck->isChecked()) m.softwareCorrections.append(QStringLiteral("FPN"));
        if (ui->ffcCheck->isChecked()) m.softwareCorrections.append(QStringLiteral("FFC"));
        if (ui->lscCheck->isChecked()) m.softwareCorrections.append(QStringLiteral("LSC"));
    }
    QString error;
    if (writeFrameSamples(shown.samples, samples, &error) && writeFrameMetadata(m, json, &error)) {
        lines.append(tr("原始数据（%1位 %2）：%3").arg(m.sampleBits).arg(suffix.toUpper(), samples));
        lines.append(tr("拍摄参数：%1").arg(json));
        m_sessionLog->append(tr("存图"), samples + QLatin1Char('\n') + json);
    } else {
        lines.append(tr("原始数据未能保存：%1（%2）").arg(samples, error));
    }
    QMessageBox::information(this, tr("图片保存成功"), lines.join(QLatin1Char('\n')));
}

// ---- The session log ----

void MainWindow::showSessionLog()
{
    if (!m_sessionLogWindow) m_sessionLogWindow = new SessionLogWindow(m_sessionLog, this);
    m_sessionLogWindow->show();
    m_sessionLogWindow->raise();
}

void MainWindow::logProcedureReport(int progress, const QString& text)
{
    if (text.isEmpty()) return;
    // A report outside a procedure (the camera's DOffset read at connect) belongs to the camera.
    const QString source =
        m_progressInfo->isVisible() ? m_progressInfo->windowTitle() : QCoreApplication::translate("MainWindow", "相机");
    m_sessionLog->append(source, text, progress);
}

// ---- The camera of the last session ----

void MainWindow::rememberCamera()
{
    const QString name = m_cameraServer->m_opened ? m_cameraServer->cameraName() : QString();
    if (name == m_connectedCamera) return;
    m_sessionLog->append(tr("相机"),
                         name.isEmpty() ? tr("已断开：%1").arg(m_connectedCamera) : tr("已连接：%1").arg(name));
    m_connectedCamera = name;
    if (name.isEmpty()) return;
    QSettings settings(fpnIniPath(), QSettings::IniFormat);
    settings.setValue(kLastCamera, name);
    settings.sync();
}

void MainWindow::offerLastCamera()
{
    // A camera named on the command line is connected by itself.
    if (!m_deviceName.isEmpty()) return;
    const QString last = QSettings(fpnIniPath(), QSettings::IniFormat).value(kLastCamera).toString();
    if (last.isEmpty()) return;
    QTreeWidget* list = ui->deviceListTreeWidget;
    for (int i = 0; i < list->topLevelItemCount(); ++i) {
        QTreeWidgetItem* item = list->topLevelItem(i);
        if (item->text(0) != last) continue;
        list->setCurrentItem(item);
        statusBar()->showMessage(tr("已选中上次连接的相机 %1：点击“连接”或双击即可连接。").arg(last), 15000);
        return;
    }
    statusBar()->showMessage(tr("上次连接的相机 %1 不在列表中，请检查连接后点击“刷新”。").arg(last), 15000);
}

// ---- Help ----

void MainWindow::showHelpForCurrentTab()
{
    HelpTopic topic = HelpTopic::Basic;
    const QWidget* active = QApplication::activeWindow();
    if (active
        && (active == m_verifyWindow
            || (active == m_progressInfo && m_progressInfo->windowTitle().startsWith(tr("校正验证")))))
        topic = HelpTopic::Verify;
    else if (active && (active == m_histogramWindow || active == m_sessionLogWindow))
        topic = HelpTopic::Tools;
    else if (ui->featureWidget->isVisible()) {
        static const HelpTopic byTab[] = {HelpTopic::Fpn, HelpTopic::Ffc, HelpTopic::Lsc, HelpTopic::Scs};
        const int tab = ui->featureTabWidget->currentIndex();
        if (tab >= 0 && tab < 4) topic = byTab[tab];
    }
    m_helpDialog.showTopic(topic);
    m_helpDialog.show();
    m_helpDialog.raise();
    m_helpDialog.activateWindow();
}
