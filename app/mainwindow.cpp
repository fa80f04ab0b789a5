// MainWindow: construction, the connect step that wires the form, destruction, the window's
// own events and the camera list.
#include "mainwindow.h"
#include "ui_mainwindow.h"

#include "app/progressinfowidget.h"
#include "app/scenecontrol.h"
#include "app/showhidehook.h"
#include "app/style.h"
#include "camera/cameraserver.h"
#include "camera/metatypes.h"
#include "loader.h"
#include "views/imageitem.h"
#include "views/profilewidget.h"
#include "views/scenemodel.h"
#include "views/statisticswidget.h"

#include <QAbstractItemView>
#include <QBoxLayout>
#include <QCloseEvent>
#include <QDebug>
#include <QGraphicsView>
#include <QIcon>
#include <QResizeEvent>
#include <QScrollBar>
#include <QTimer>
#include <QTreeWidget>

namespace {

// The box layout, at any depth below `layout`, that holds `widget` itself.
QBoxLayout* boxHolding(QLayout* layout, QWidget* widget)
{
    if (!layout) return nullptr;
    if (layout->indexOf(widget) >= 0) return qobject_cast<QBoxLayout*>(layout);
    for (int i = 0; i < layout->count(); ++i)
        if (QBoxLayout* found = boxHolding(layout->itemAt(i)->layout(), widget)) return found;
    return nullptr;
}

}  // namespace

MainWindow::MainWindow(const QString& deviceName, int tabIndex, QWidget* parent)
    : QMainWindow(parent),
      ui(new Ui::MainWindow),
      m_helpDialog(nullptr),             // a window of its own
      m_cameraServer(new CameraServer),  // its worker thread starts here
      m_progressInfo(new ProgressInfoWidget(this)),
      m_scene(new SceneModel(800.0, 800.0)),
      m_deviceName(deviceName)
{
    // Before the first queued signal can carry a frame, a status or a coefficient list.
    registerMetaTypes();
    ensureResources();

    ui->setupUi(this);
    connectForm();
    setupRecords();
    setupTools();

    ui->graphicsView->setTransformationAnchor(QGraphicsView::AnchorUnderMouse);
    loadStyle(QStringLiteral(":/psblack.css"));

    // Give the window a second to come up before opening the camera named on the command line.
    if (!m_deviceName.isEmpty()) QTimer::singleShot(1000, this, &MainWindow::connectDeviceWithName);

    ui->featureTabWidget->setCurrentIndex(tabIndex);
    setWindowIcon(QIcon(QStringLiteral(":/base/icon.ico")));

    // Told once the window is up: a settings file that cannot be written.
    const QString warning = m_cameraServer->startWarning();
    if (!warning.isEmpty()) QTimer::singleShot(0, this, [this, warning] { showCameraWarning(warning); });
}

MainWindow::~MainWindow()
{
    // The hooks on the progress panel and the left column call into this window: they go first,
    // before the destruction of the widgets hides what they watch.
    for (QObject* child : findChildren<QObject*>())
        if (auto* hook = dynamic_cast<ShowHideHook*>(child)) delete hook;
    // Closes the camera and ends the worker without waiting for a procedure still running; what
    // the close has to say no longer reaches this window.
    m_cameraServer->disconnect(this);
    delete m_cameraServer;
    m_cameraServer = nullptr;
    delete m_imageItem;
    m_imageItem = nullptr;
    m_scene->deleteLater();
    if (m_profileWidget) m_profileWidget->deleteLater();
    m_progressInfo->deleteLater();
    delete m_sceneControl;
    m_sceneControl = nullptr;
    if (m_statisticsWidget) m_statisticsWidget->deleteLater();
    delete ui;
    ui = nullptr;
}

bool MainWindow::loadStyle(const QString& path)
{
    return ::loadStyle(path);
}

void MainWindow::closeEvent(QCloseEvent* event)
{
    qDebug() << "closeEvent";
    m_helpDialog.close();
    // The window closes at once, even while a procedure runs: the destructor ends the worker.
    QMainWindow::closeEvent(event);
}

void MainWindow::resizeEvent(QResizeEvent* event)
{
    if (m_scene && ui) {
        const QSize inner = ui->graphicsView->viewport()->size();
        m_scene->setSceneSize(inner.width(), inner.height());
    }
    QMainWindow::resizeEvent(event);
}

void MainWindow::connectForm()
{
    QTreeWidget* list = ui->deviceListTreeWidget;
    list->setHeaderHidden(true);
    list->setColumnCount(1);
    list->setAnimated(true);
    list->setSelectionMode(QAbstractItemView::SingleSelection);

    ui->graphicsView->setScene(m_scene);
    ui->graphicsView->setHorizontalScrollBarPolicy(Qt::ScrollBarAsNeeded);
    ui->graphicsView->setVerticalScrollBarPolicy(Qt::ScrollBarAsNeeded);

    // The first three stay hidden for good; the two adjustment rows appear with a picture.
    ui->loadFpnWidget->hide();
    ui->exportFpnBut->hide();
    ui->ffcAdjustSaveWidget->hide();
    ui->ffcBgrAdjustWidget->hide();
    ui->ffcGrayAdjustWidget->hide();

    // The profile strip follows the columns the view shows.
    connect(ui->graphicsView->horizontalScrollBar(), &QScrollBar::valueChanged, this, &MainWindow::updateProfile);
    connect(m_scene, &SceneModel::scaleChanged, this, &MainWindow::updateProfile);

    m_profileWidget = new ProfileWidget(ui->profileWidget);
    ui->profileLayout->addWidget(m_profileWidget);

    connect(m_profileWidget, &ProfileWidget::dataAdjusted, this, &MainWindow::updateFfcParam);
    connect(m_scene, &SceneModel::mousePosChanged, this, &MainWindow::mouseMoved);
    connect(m_scene, &SceneModel::selRowChanged, this, &MainWindow::hoverRow);
    connect(m_scene, &SceneModel::scaleChanged, this, &MainWindow::scaleChanged);

    // Camera list and connection.
    connect(ui->refreshBut, &QPushButton::clicked, this, &MainWindow::refresh);
    refresh();
    connect(ui->connectBut, &QPushButton::clicked, this, &MainWindow::connectDevice);
    connect(ui->helpBut, &QPushButton::clicked, this, &MainWindow::showHelpDialog);
    connect(ui->propertyDialogBut, &QPushButton::clicked, this, &MainWindow::showPropertyDialog);
    if (lsx::hasSceneControl()) {
        // A simulated camera: the operator can cover its lens and change its light.
        m_sceneBut = new QPushButton(tr("模拟场景"), ui->propertyDialogBut->parentWidget());
        m_sceneBut->setObjectName(QStringLiteral("sceneControlBut"));
        if (QBoxLayout* row = boxHolding(ui->propertyDialogBut->parentWidget()->layout(), ui->propertyDialogBut))
            row->insertWidget(row->indexOf(ui->propertyDialogBut) + 1, m_sceneBut);
        m_sceneBut->setEnabled(false);
        connect(m_sceneBut, &QPushButton::clicked, this, &MainWindow::showSceneControl);
    }
    connect(ui->linescanRatio, &QRadioButton::clicked, this, &MainWindow::changeCameraType);
    connect(ui->matrixRatio, &QRadioButton::clicked, this, &MainWindow::changeCameraType);
    connect(m_cameraServer, &CameraServer::OS_IsLinescan, this, &MainWindow::cameraTypeChanged);
    connect(m_cameraServer, &CameraServer::OS_IsTVK317, this, &MainWindow::isTVK317);
    connect(ui->roiApplyBut, &QPushButton::clicked, this, &MainWindow::roiApply);
    connect(ui->roiCancelBut, &QPushButton::clicked, this, &MainWindow::roiCancel);

    // FPN tab.
    connect(ui->autoDoffsetCheck, &QCheckBox::toggled, this, &MainWindow::enableDoffsetAuto);
    connect(ui->flatEnableCheck, &QCheckBox::clicked, this, &MainWindow::flatEnable);
    connect(ui->flatEnableCheck, &QCheckBox::clicked, this, &MainWindow::paramApply);
    connect(ui->dsnuProcessBut, &QPushButton::clicked, this, &MainWindow::dsnuProcess);
    connect(ui->prnuProcessBut, &QPushButton::clicked, this, &MainWindow::fpnProcess);
    connect(ui->applyFpnMannerTwoCheck, &QCheckBox::stateChanged, this, &MainWindow::fpnMannerTwoEnable);
    connect(ui->sumSBox, &QSpinBox::valueChanged, this, &MainWindow::sum4Enable);
    connect(ui->applyFpnCheck, &QCheckBox::stateChanged, this, &MainWindow::fpnEnable);
    connect(ui->applyFilterCheck, &QCheckBox::stateChanged, this, &MainWindow::changGuangFilterEnable);
    connect(ui->fpnEnableCheck, &QCheckBox::clicked, this, &MainWindow::enableCameraFpn);
    connect(ui->writeFpnBut, &QPushButton::clicked, this, &MainWindow::fpnWriteDown);
    connect(ui->loadFPNBut, &QPushButton::clicked, this, &MainWindow::loadFpnParams);
    connect(ui->exportFpnBut, &QPushButton::clicked, this, &MainWindow::exportFpnParams);
    connect(ui->saveFPNBut, &QPushButton::clicked, this, &MainWindow::saveFpnParams);
    connect(ui->expTestBut, &QPushButton::clicked, this, &MainWindow::expTest);
    setupVerify();
    setupBackup();

    // FFC tab. The two "自定义亮度" buttons need no connection of their own: leaving or taking
    // that choice always toggles one of the other two buttons of the group.
    connect(ui->loadBut, &QPushButton::clicked, this, &MainWindow::loadFFCImage);
    connect(ui->loadFfcParamBut, &QPushButton::clicked, this, &MainWindow::loadFFCParam);
    connect(ui->avgRBut, &QRadioButton::toggled, this, &MainWindow::changeTargetLuminance);
    connect(ui->customRBut, &QRadioButton::toggled, this, &MainWindow::changeTargetLuminance);
    connect(ui->lscAvgRBut, &QRadioButton::toggled, this, &MainWindow::changeTargetLuminance);
    connect(ui->lscCustomRBut, &QRadioButton::toggled, this, &MainWindow::changeTargetLuminance);
    connect(ui->ffcRadiusSBox, &QSpinBox::valueChanged, this, &MainWindow::setFFCRadius);
    connect(ui->ffcBut, &QPushButton::clicked, this, &MainWindow::applyFFC);
    connect(ui->ffcCheck, &QCheckBox::toggled, this, &MainWindow::ffcEnable);
    connect(ui->ffcKListCheck, &QCheckBox::toggled, this, &MainWindow::ffcKSelCheck);
    connect(ui->ffcSaveBut, &QPushButton::clicked, this, &MainWindow::saveFFC);
    connect(ui->ffcExportBut, &QPushButton::clicked, this, &MainWindow::exportFFC);
    connect(ui->writeDownBut, &QPushButton::clicked, this, &MainWindow::ffcWriteDown);
    connect(ui->bFfcAdjustSBox, &QDoubleSpinBox::valueChanged, this, &MainWindow::ffcAdjust);
    connect(ui->gFfcAdjustSBox, &QDoubleSpinBox::valueChanged, this, &MainWindow::ffcAdjust);
    connect(ui->rFfcAdjustSBox, &QDoubleSpinBox::valueChanged, this, &MainWindow::ffcAdjust);
    connect(ui->grayffcAdjustSBox, &QDoubleSpinBox::valueChanged, this, &MainWindow::ffcAdjust);

    // LSC tab.
    connect(ui->lscBut, &QPushButton::clicked, this, &MainWindow::applyLSC);
    connect(ui->lscSaveBut, &QPushButton::clicked, this, &MainWindow::saveLSC);
    connect(ui->lscWriteDownBut, &QPushButton::clicked, this, &MainWindow::lscWriteDown);
    connect(ui->lscCheck, &QCheckBox::toggled, this, &MainWindow::lscEnable);

    // SCS tab.
    connect(ui->scsLoadBut, &QPushButton::clicked, this, &MainWindow::loadFFCImage);
    connect(ui->scsVSBox, &QDoubleSpinBox::valueChanged, this, &MainWindow::scsApply);
    connect(ui->scsHSBox, &QDoubleSpinBox::valueChanged, this, &MainWindow::scsApply);
    connect(ui->scsWriteBut, &QPushButton::clicked, this, &MainWindow::scsWriteDown);
    connect(ui->scsCancelBut, &QPushButton::clicked, this, &MainWindow::scsCancel);

    // Reports of the worker, capture and the list.
    connect(m_cameraServer, &CameraServer::OS_FFCFinished, this, &MainWindow::ffcFinished);
    connect(m_cameraServer, &CameraServer::OS_FpnInfo, m_progressInfo, &ProgressInfoWidget::showProgressInfo);
    connect(ui->startBut, &QPushButton::clicked, this, &MainWindow::startCapture);
    connect(m_cameraServer, &CameraServer::OS_OpenCameraFailed, this, &MainWindow::cameraOpenFailed);
    connect(m_cameraServer, &CameraServer::OS_CaptureFailed, this, &MainWindow::startCaptureFailed);
    connect(m_cameraServer, &CameraServer::OS_CaptureFailed, this, &MainWindow::showCaptureError);
    connect(m_cameraServer, &CameraServer::OS_CameraWarning, this, &MainWindow::showCameraWarning);
    connect(m_cameraServer, &CameraServer::OS_NewFrame, this, &MainWindow::showPicture);
    connect(m_cameraServer, &CameraServer::OS_CameraLostConnection, this, &MainWindow::cameraLostConnection);
    connect(ui->picSaveBut, &QPushButton::clicked, this, &MainWindow::savePicture);
    connect(list, &QTreeWidget::itemSelectionChanged, this, &MainWindow::switchSelectCamera);
    connect(list, &QTreeWidget::itemDoubleClicked, this, &MainWindow::connectDevice);

    // The panels appear only with a connected camera.
    ui->featureWidget->hide();
    ui->propertyDialogBut->setEnabled(false);
}

const QFont& MainWindow::listFont(bool bold) const
{
    // Made once from the list's own item font and kept for the program's life.
    static const QFont normal = ui->deviceListTreeWidget->font();
    static const QFont strong = [] {
        QFont f(normal.family(), normal.pointSize() + 1);
        f.setWeight(QFont::Bold);
        return f;
    }();
    return bold ? strong : normal;
}

void MainWindow::refresh()
{
    ui->refreshBut->setEnabled(false);

    const QStringList names = m_cameraServer->enumerate();
    QTreeWidget* list = ui->deviceListTreeWidget;
    list->clear();

    QTreeWidgetItem* openItem = nullptr;
    for (const QString& name : names) {
        auto* item = new QTreeWidgetItem;
        qDebug() << "camera" << name;
        item->setText(0, name);
        if (m_cameraServer->m_opened && name == m_cameraServer->cameraName()) {
            item->setFont(0, listFont(true));
            openItem = item;
        }
        list->addTopLevelItem(item);
    }

    list->expandAll();
    if (openItem) list->setCurrentItem(openItem);
    ui->refreshBut->setEnabled(true);
}
