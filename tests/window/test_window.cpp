// The main window: the form's widgets with their texts, ranges, defaults and states, the
// connect step, and what the operator sees before a camera is connected.
#include "app/mainwindow.h"
#include "app/progressinfowidget.h"
#include "ui_mainwindow.h"

#include "camera/cameraserver.h"
#include "loader.h"
#include "views/profilewidget.h"
#include "views/scenemodel.h"

#include <QAbstractButton>
#include <QBoxLayout>
#include <QCheckBox>
#include <QComboBox>
#include <QDoubleSpinBox>
#include <QFrame>
#include <QGraphicsView>
#include <QGroupBox>
#include <QLabel>
#include <QPointer>
#include <QPushButton>
#include <QRadioButton>
#include <QScrollArea>
#include <QScrollBar>
#include <QSpinBox>
#include <QTabWidget>
#include <QTest>
#include <QTreeWidget>

#include <memory>

namespace {

// Counts the receivers of a signal from outside the sender (QObject::receivers is protected;
// a pointer to it formed through a derived class is the sanctioned way in).
struct ReceiverPeek : QObject {
    static int count(const QObject* sender, const char* signal)
    {
        int (QObject::*fn)(const char*) const = &ReceiverPeek::receivers;
        return (sender->*fn)(signal);
    }
};

QString text(QWidget* w)
{
    if (auto* b = qobject_cast<QAbstractButton*>(w)) return b->text();
    if (auto* l = qobject_cast<QLabel*>(w)) return l->text();
    if (auto* g = qobject_cast<QGroupBox*>(w)) return g->title();
    return QStringLiteral("<no text>");
}

QStringList comboItems(QComboBox* box)
{
    QStringList items;
    for (int i = 0; i < box->count(); ++i) items << box->itemText(i);
    return items;
}

QList<int> stretches(QBoxLayout* layout)
{
    QList<int> s;
    for (int i = 0; i < layout->count(); ++i) s << layout->stretch(i);
    return s;
}

}  // namespace

class TestWindow : public QObject {
    Q_OBJECT

    std::unique_ptr<MainWindow> m_window;
    bool m_simBound = false;

    // The form's objects are looked up under the central widget: the progress panel, a child of
    // the window, has widgets and layouts of the same names ("label", "horizontalLayout_3").
    template <typename T>
    T* find(const char* name) const
    {
        if (qstrcmp(name, "centralwidget") == 0) return qobject_cast<T*>(m_window->centralWidget());
        T* w = m_window->centralWidget()->findChild<T*>(QString::fromLatin1(name));
        if (!w) qWarning() << "missing widget" << name;
        return w;
    }

private slots:
    void initTestCase();
    void cleanupTestCase();

    void windowSizeTitleAndName();
    void texts_data();
    void texts();
    void toolTips_data();
    void toolTips();
    void intSpinBoxes_data();
    void intSpinBoxes();
    void doubleSpinBoxes_data();
    void doubleSpinBoxes();
    void prefixesAndSuffixes();
    void checkedAndCheckable();
    void disabledInTheForm();
    void placeHolderComboRows();
    void tabs();
    void formDefaultTabIsOne();
    void layoutsAndStretches();
    void statusLabelsArePanels();
    void graphicsViewStyleSheet();

    void listSetup();
    void sceneOnTheView();
    void profileWidgetInItsLayout();
    void hiddenByTheConnectStep();
    void connections();
    void cameraListFilledByRefresh();
    void onlyTopRowListAndRightColumnBeforeACamera();
    void resizeFollowsTheView();

    void tabIndexAndCloseClosesTheHelpWindow();
    void destructionWithoutShow();
};

void TestWindow::initTestCase()
{
    const QByteArray lib = qgetenv("LSX_LIBRARY");
    if (!lib.isEmpty()) m_simBound = lsx::bindLibrary(lib.toStdString()).ok;
    m_window = std::make_unique<MainWindow>(QString(), 0);
}

void TestWindow::cleanupTestCase()
{
    m_window.reset();
    lsx::unbindLibrary();
}

void TestWindow::windowSizeTitleAndName()
{
    QCOMPARE(m_window->centralWidget()->objectName(), QStringLiteral("centralwidget"));
    QCOMPARE(m_window->objectName(), QStringLiteral("MainWindow"));
    QCOMPARE(m_window->windowTitle(), QStringLiteral("线扫相机校正工具"));
    QCOMPARE(m_window->size(), QSize(1513, 937));
}

void TestWindow::texts_data()
{
    QTest::addColumn<QString>("name");
    QTest::addColumn<QString>("expected");
    const char* rows[][2] = {
        // top row
        {"refreshBut", "刷新"},
        {"connectBut", "连接"},
        {"helpBut", "帮助"},
        // common functions
        {"groupBox_4", "常用功能"},
        {"label_6", "分辨率模式"},
        {"label_23", "图像合并模式选择"},
        {"label_24", "水平合并模式"},
        {"label_25", "垂直合并模式"},
        {"label_7", "曝光时间"},
        {"roiGroup", "ROI设置"},
        {"label_9", "水平偏移(X)"},
        {"label_16", "宽度(W)"},
        {"label_17", "高度(H)"},
        {"roiApplyBut", "应用"},
        {"roiCancelBut", "撤销"},
        {"propertyDialogBut", "更多调节"},
        // FPN tab
        {"groupBox", "校正参数"},
        {"label", "增益选择"},
        {"label_3", "亮度范围"},
        {"label_4", "—"},
        {"label_5", "调节量"},
        {"autoDoffsetCheck", "Auto"},
        {"flatEnableCheck", "同时进行感光平场(FFC)"},
        {"loadFPNBut", "加载本地FPN参数"},
        {"groupBox_2", "校正功能"},
        {"dsnuProcessBut", "暗场校正"},
        {"prnuProcessBut", "明场校正"},
        {"fpnEnableCheck", "相机FPN使能"},
        {"label_8", "存储"},
        {"writeFpnBut", "写入"},
        {"exportFpnBut", "导出"},
        {"saveFPNBut", "保存FPN参数到本地"},
        {"applyFpnCheck", "软件模拟FPN"},
        {"hideGroupBox", "其它功能"},
        {"linescanRatio", "线扫"},
        {"matrixRatio", "面阵"},
        {"applyFpnMannerTwoCheck", "原厂FPN使能"},
        {"label_10", "Sum"},
        {"applyFilterCheck", "长光Sensor滤波使能"},
        {"label_11", "自动检测曝光范围，取"},
        {"label_18", "个曝光数据"},
        {"expTestBut", "曝光测试"},
        // FFC tab
        {"loadBut", "加载本地图像"},
        {"loadFfcParamBut", "加载FFC参数"},
        {"groupBox_3", "FFC功能"},
        {"label_2", "目标亮度"},
        {"customRBut", "自定义比例"},
        {"avgRBut", "平均值"},
        {"customLumRBut", "自定义亮度"},
        {"label_15", "像素采样半径"},
        {"ffcBut", "FFC校正"},
        {"label_14", "存储"},
        {"writeDownBut", "写入"},
        {"ffcExportBut", "导出"},
        {"ffcCheck", "软件模拟FFC"},
        {"ffcKListCheck", "显示平场系数"},
        {"ffcSaveBut", "保存至本地"},
        {"label_21", "平场调节系数"},
        {"label_22", "平场调节系数"},
        {"ffcAdjustSaveBut", "保存平场调节系数"},
        // LSC tab
        {"groupBox_5", "LSC校正功能"},
        {"lscAvgRBut", "平均值"},
        {"lscCustomRBut", "自定义比例"},
        {"label_12", "目标亮度"},
        {"lscCustomLumRBut", "自定义亮度"},
        {"lscBut", "LSC校正"},
        {"label_13", "存储"},
        {"lscWriteDownBut", "写入相机"},
        {"lscCheck", "软件模拟LSC"},
        {"lscSaveBut", "保存至本地"},
        // SCS tab
        {"scsLoadBut", "加载本地图像"},
        {"label_19", "垂直SCS"},
        {"label_20", "水平SCS"},
        {"scsWriteBut", "写入"},
        {"scsCancelBut", "撤销"},
        // right column
        {"startBut", "采图"},
        {"picSaveBut", "存图"},
        {"captureRateLabel", "采集帧率"},
        {"imageSizeLabel", "图像大小"},
        {"mousePosLabel", "位置"},
        {"rgbLabel", "RGB"},
        {"avgLabel", "AVG"},
        {"minLabel", "MIN"},
        {"maxLabel", "MAX"},
    };
    for (const auto& r : rows) QTest::newRow(r[0]) << QString::fromLatin1(r[0]) << QString::fromUtf8(r[1]);
}

void TestWindow::texts()
{
    QFETCH(QString, name);
    QFETCH(QString, expected);
    QWidget* w = m_window->centralWidget()->findChild<QWidget*>(name);
    QVERIFY2(w, qPrintable(name));
    QCOMPARE(text(w), expected);
}

void TestWindow::toolTips_data()
{
    QTest::addColumn<QString>("name");
    QTest::addColumn<QString>("tip");
    const QString range =
        QStringLiteral("自定义可选范围为0.5-1.0，表示用 最小值+(最大值-最小值)*自定义值 作为平场校正的目标亮度");
    const QString lum = QStringLiteral("自定义亮度可选范围为10-255，直接将对应亮度数据作为目标亮度。");
    const QString avg = QStringLiteral("计算图像的平均值用作平场的目标亮度");
    QTest::newRow("customLumRangeSBox") << "customLumRangeSBox" << lum;
    QTest::newRow("customRBut") << "customRBut" << range;
    QTest::newRow("customRangeSBox") << "customRangeSBox" << range;
    QTest::newRow("avgRBut") << "avgRBut" << avg;
    QTest::newRow("customLumRBut") << "customLumRBut" << lum;
    QTest::newRow("lscAvgRBut") << "lscAvgRBut" << avg;
    QTest::newRow("lscCustomRBut") << "lscCustomRBut" << range;
    QTest::newRow("lscCustomLumRBut") << "lscCustomLumRBut" << lum;
    QTest::newRow("lscCustomRangeSBox") << "lscCustomRangeSBox" << range;
    QTest::newRow("lscCustomLumRangeSBox") << "lscCustomLumRangeSBox" << lum;
    QTest::newRow("ffcBut has none") << "ffcBut" << QString();
}

void TestWindow::toolTips()
{
    QFETCH(QString, name);
    QFETCH(QString, tip);
    QWidget* w = m_window->centralWidget()->findChild<QWidget*>(name);
    QVERIFY2(w, qPrintable(name));
    QCOMPARE(w->toolTip(), tip);
}

void TestWindow::intSpinBoxes_data()
{
    QTest::addColumn<QString>("name");
    QTest::addColumn<int>("minimum");
    QTest::addColumn<int>("maximum");
    QTest::addColumn<int>("step");
    QTest::addColumn<int>("value");
    QTest::addColumn<bool>("enabled");
    QTest::newRow("pixelMaxSBox") << "pixelMaxSBox" << 2 << 255 << 10 << 2 << true;
    QTest::newRow("doffsetSBox") << "doffsetSBox" << -127 << 127 << 1 << 30 << false;
    QTest::newRow("sumSBox") << "sumSBox" << 1 << 99 << 1 << 1 << true;
    QTest::newRow("expTotalSBox lower bound 2") << "expTotalSBox" << 2 << 999 << 1 << 20 << true;
    QTest::newRow("customLumRangeSBox") << "customLumRangeSBox" << 10 << 255 << 1 << 180 << false;
    QTest::newRow("ffcRadiusSBox") << "ffcRadiusSBox" << 0 << 16384 << 20 << 60 << true;
    QTest::newRow("lscCustomLumRangeSBox") << "lscCustomLumRangeSBox" << 10 << 255 << 1 << 180 << false;
    QTest::newRow("spinBox_3") << "spinBox_3" << 0 << 99 << 1 << 0 << false;
}

void TestWindow::intSpinBoxes()
{
    QFETCH(QString, name);
    QFETCH(int, minimum);
    QFETCH(int, maximum);
    QFETCH(int, step);
    QFETCH(int, value);
    QFETCH(bool, enabled);
    auto* box = m_window->centralWidget()->findChild<QSpinBox*>(name);
    QVERIFY2(box, qPrintable(name));
    QCOMPARE(box->minimum(), minimum);
    QCOMPARE(box->maximum(), maximum);
    QCOMPARE(box->singleStep(), step);
    QCOMPARE(box->value(), value);
    QCOMPARE(box->isEnabled(), enabled);
}

void TestWindow::doubleSpinBoxes_data()
{
    QTest::addColumn<QString>("name");
    QTest::addColumn<double>("minimum");
    QTest::addColumn<double>("maximum");
    QTest::addColumn<double>("step");
    QTest::addColumn<double>("value");
    QTest::addColumn<int>("decimals");
    QTest::newRow("customRangeSBox") << "customRangeSBox" << 0.0 << 1.0 << 0.1 << 1.0 << 1;
    QTest::newRow("lscCustomRangeSBox") << "lscCustomRangeSBox" << 0.0 << 1.0 << 0.1 << 1.0 << 1;
    for (const char* n : {"bFfcAdjustSBox", "gFfcAdjustSBox", "rFfcAdjustSBox", "grayffcAdjustSBox"})
        QTest::newRow(n) << n << -100.0 << 100.0 << 0.01 << 1.0 << 2;
    QTest::newRow("scsVSBox") << "scsVSBox" << -50.0 << 50.0 << 0.1 << 0.0 << 2;
    QTest::newRow("scsHSBox") << "scsHSBox" << -50.0 << 50.0 << 0.1 << 0.0 << 2;
    QTest::newRow("ratioSBox") << "ratioSBox" << 0.01 << 50.0 << 0.05 << 1.0 << 2;
}

void TestWindow::doubleSpinBoxes()
{
    QFETCH(QString, name);
    QFETCH(double, minimum);
    QFETCH(double, maximum);
    QFETCH(double, step);
    QFETCH(double, value);
    QFETCH(int, decimals);
    auto* box = m_window->centralWidget()->findChild<QDoubleSpinBox*>(name);
    QVERIFY2(box, qPrintable(name));
    QCOMPARE(box->minimum(), minimum);
    QCOMPARE(box->maximum(), maximum);
    QCOMPARE(box->singleStep(), step);
    QCOMPARE(box->value(), value);
    QCOMPARE(box->decimals(), decimals);
}

void TestWindow::prefixesAndSuffixes()
{
    QCOMPARE(find<QDoubleSpinBox>("ratioSBox")->suffix(), QStringLiteral("x"));
    QCOMPARE(find<QDoubleSpinBox>("bFfcAdjustSBox")->prefix(), QStringLiteral("B: "));
    QCOMPARE(find<QDoubleSpinBox>("gFfcAdjustSBox")->prefix(), QStringLiteral("G: "));
    QCOMPARE(find<QDoubleSpinBox>("rFfcAdjustSBox")->prefix(), QStringLiteral("R: "));
    QCOMPARE(find<QDoubleSpinBox>("grayffcAdjustSBox")->prefix(), QString());
    QCOMPARE(find<QSpinBox>("roixSBox")->prefix(), QString());
    QCOMPARE(find<QSpinBox>("roiWSBox")->prefix(), QString());
    QCOMPARE(find<QSpinBox>("roiHSBox")->prefix(), QString());
}

void TestWindow::checkedAndCheckable()
{
    QVERIFY(find<QPushButton>("connectBut")->isCheckable());
    QVERIFY(!find<QPushButton>("connectBut")->isChecked());
    QVERIFY(find<QPushButton>("startBut")->isCheckable());
    QVERIFY(!find<QPushButton>("startBut")->isChecked());
    QVERIFY(!find<QPushButton>("refreshBut")->isCheckable());
    QVERIFY(find<QCheckBox>("autoDoffsetCheck")->isChecked());
    QVERIFY(find<QCheckBox>("flatEnableCheck")->isChecked());
    QVERIFY(find<QRadioButton>("linescanRatio")->isChecked());
    QVERIFY(!find<QRadioButton>("matrixRatio")->isChecked());
    QVERIFY(find<QRadioButton>("customRBut")->isChecked());
    QVERIFY(!find<QRadioButton>("avgRBut")->isChecked());
    QVERIFY(!find<QRadioButton>("customLumRBut")->isChecked());
    QVERIFY(find<QRadioButton>("lscCustomRBut")->isChecked());
    QVERIFY(!find<QRadioButton>("lscAvgRBut")->isChecked());
    QVERIFY(!find<QRadioButton>("lscCustomLumRBut")->isChecked());
    for (const char* n : {"fpnEnableCheck", "applyFpnCheck", "applyFpnMannerTwoCheck", "applyFilterCheck", "ffcCheck",
                          "ffcKListCheck", "lscCheck"})
        QVERIFY2(!find<QCheckBox>(n)->isChecked(), n);
    QVERIFY(find<QScrollArea>("featureWidget")->widgetResizable());

    // The FFC and LSC choices are separate groups: choosing one does not move the other.
    find<QRadioButton>("avgRBut")->setChecked(true);
    QVERIFY(!find<QRadioButton>("customRBut")->isChecked());
    QVERIFY(find<QRadioButton>("lscCustomRBut")->isChecked());
    QVERIFY(find<QRadioButton>("linescanRatio")->isChecked());
    find<QRadioButton>("customRBut")->setChecked(true);
    QVERIFY(!find<QRadioButton>("avgRBut")->isChecked());
}

void TestWindow::disabledInTheForm()
{
    QVERIFY(!find<QSpinBox>("spinBox_3")->isEnabled());
    QVERIFY(!find<QSpinBox>("doffsetSBox")->isEnabled());
    QVERIFY(!find<QSpinBox>("customLumRangeSBox")->isEnabled());
    QVERIFY(!find<QSpinBox>("lscCustomLumRangeSBox")->isEnabled());
    QVERIFY(find<QDoubleSpinBox>("customRangeSBox")->isEnabled());
    QVERIFY(find<QPushButton>("writeFpnBut")->isEnabled());
}

void TestWindow::placeHolderComboRows()
{
    QCOMPARE(comboItems(find<QComboBox>("fpnSelCBox")), QStringList{QStringLiteral("用户")});
    QStringList userSets;
    for (int i = 0; i < 16; ++i) userSets << QStringLiteral("UserSet%1").arg(i);
    QCOMPARE(comboItems(find<QComboBox>("lscSelCBox")), userSets);
    for (const char* n : {"resModeCBox", "binningModeCBox", "hBinningModeCBox", "vBinningModeCBox", "ffcSelCBox"})
        QVERIFY2(find<QComboBox>(n)->count() == 0, n);
}

void TestWindow::tabs()
{
    auto* tabs = find<QTabWidget>("featureTabWidget");
    QCOMPARE(tabs->count(), 4);
    const QStringList texts{QStringLiteral("FPN校正"), QStringLiteral("平场校正"), QStringLiteral("镜头校正"),
                            QStringLiteral("SCS校正")};
    const QStringList names{QStringLiteral("tab"), QStringLiteral("tab_2"), QStringLiteral("tab_3"),
                            QStringLiteral("tab_4")};
    for (int i = 0; i < 4; ++i) {
        QCOMPARE(tabs->tabText(i), texts[i]);
        QCOMPARE(tabs->widget(i)->objectName(), names[i]);
    }
    // The widgets sit on their tabs.
    QVERIFY(tabs->widget(0)->isAncestorOf(find<QWidget>("hideGroupBox")));
    QVERIFY(tabs->widget(1)->isAncestorOf(find<QWidget>("ffcGrayAdjustWidget")));
    QVERIFY(tabs->widget(2)->isAncestorOf(find<QWidget>("lscSaveWidget")));
    QVERIFY(tabs->widget(3)->isAncestorOf(find<QWidget>("scsCancelBut")));
    // The entry's index replaces the form's default.
    QCOMPARE(tabs->currentIndex(), 0);
}

void TestWindow::formDefaultTabIsOne()
{
    QMainWindow bare;
    Ui::MainWindow form;
    form.setupUi(&bare);
    QCOMPARE(form.featureTabWidget->currentIndex(), 1);
}

void TestWindow::layoutsAndStretches()
{
    auto* outer = find<QBoxLayout>("horizontalLayout_4");
    QCOMPARE(outer->parentWidget(), find<QWidget>("centralwidget"));
    QCOMPARE(stretches(outer), (QList<int>{2, 5}));
    QCOMPARE(outer->contentsMargins(), QMargins(0, 0, 0, 0));

    auto* left = find<QBoxLayout>("verticalLayout");
    QCOMPARE(left->spacing(), 2);
    QCOMPARE(left->count(), 3);
    QCOMPARE(left->itemAt(0)->layout(), find<QLayout>("horizontalLayout"));
    QCOMPARE(left->itemAt(1)->widget(), find<QWidget>("deviceListTreeWidget"));
    QCOMPARE(left->itemAt(2)->widget(), find<QWidget>("featureWidget"));
    QCOMPARE(left->stretch(1), 2);
    QCOMPARE(left->stretch(2), 7);

    auto* top = find<QBoxLayout>("horizontalLayout");
    QCOMPARE(top->itemAt(0)->widget(), find<QWidget>("refreshBut"));
    QCOMPARE(top->itemAt(1)->widget(), find<QWidget>("connectBut"));
    QCOMPARE(top->itemAt(2)->widget(), find<QWidget>("helpBut"));

    auto* content = find<QBoxLayout>("verticalLayout_14");
    QCOMPARE(content->parentWidget(), find<QScrollArea>("featureWidget")->widget());
    QCOMPARE(content->itemAt(0)->widget(), find<QWidget>("groupBox_4"));
    QCOMPARE(content->itemAt(1)->widget(), find<QWidget>("featureTabWidget"));

    auto* right = find<QBoxLayout>("verticalLayout_15");
    QCOMPARE(right->count(), 4);
    QCOMPARE(right->itemAt(0)->widget(), find<QWidget>("opWidget"));
    QCOMPARE(right->itemAt(1)->widget(), find<QWidget>("graphicsView"));
    QCOMPARE(right->itemAt(2)->widget(), find<QWidget>("profileWidget"));
    QCOMPARE(right->itemAt(3)->layout(), find<QLayout>("horizontalLayout_3"));
    QCOMPARE(right->stretch(1), 2);
    QCOMPARE(right->stretch(2), 1);

    QVERIFY(find<QWidget>("opWidget")->isAncestorOf(find<QWidget>("startBut")));
    QVERIFY(find<QWidget>("opWidget")->isAncestorOf(find<QWidget>("ratioSBox")));
    QVERIFY(find<QWidget>("opWidget")->isAncestorOf(find<QWidget>("picSaveBut")));
    QCOMPARE(stretches(find<QBoxLayout>("horizontalLayout_3")), (QList<int>{2, 3, 3, 3, 3, 2, 2}));
}

void TestWindow::statusLabelsArePanels()
{
    auto* row = find<QBoxLayout>("horizontalLayout_3");
    const QStringList names{"captureRateLabel", "imageSizeLabel", "mousePosLabel", "rgbLabel",
                            "avgLabel",         "minLabel",       "maxLabel"};
    QCOMPARE(row->count(), names.size());
    for (int i = 0; i < names.size(); ++i) {
        auto* label = qobject_cast<QLabel*>(row->itemAt(i)->widget());
        QVERIFY(label);
        QCOMPARE(label->objectName(), names[i]);
        QCOMPARE(label->frameShape(), QFrame::Panel);
    }
}

void TestWindow::graphicsViewStyleSheet()
{
    QCOMPARE(find<QGraphicsView>("graphicsView")->styleSheet(),
             QStringLiteral("QGraphicsView#graphicsView{\nbackground-color: transparent;\nborder:0px;\n}"));
}

void TestWindow::listSetup()
{
    auto* list = find<QTreeWidget>("deviceListTreeWidget");
    QVERIFY(list->isHeaderHidden());
    QCOMPARE(list->columnCount(), 1);
    QVERIFY(list->isAnimated());
    QCOMPARE(list->selectionMode(), QAbstractItemView::SingleSelection);
}

void TestWindow::sceneOnTheView()
{
    auto* view = find<QGraphicsView>("graphicsView");
    QVERIFY(m_window->m_scene);
    QCOMPARE(view->scene(), static_cast<QGraphicsScene*>(m_window->m_scene));
    QCOMPARE(view->horizontalScrollBarPolicy(), Qt::ScrollBarAsNeeded);
    QCOMPARE(view->verticalScrollBarPolicy(), Qt::ScrollBarAsNeeded);
    QCOMPARE(view->transformationAnchor(), QGraphicsView::AnchorUnderMouse);
    QVERIFY(m_window->m_cameraServer);
    QVERIFY(m_window->m_progressInfo);
    QCOMPARE(m_window->m_progressInfo->parent(), m_window.get());
    QVERIFY(!m_window->m_imageItem);
    QVERIFY(!m_window->m_statisticsWidget);
    QVERIFY(m_window->m_pixmap.isNull());
    QVERIFY(m_window->m_staticMat.empty());
    QCOMPARE(m_window->m_frameCount, 0);
    QVERIFY(m_window->m_hideFunction);
}

void TestWindow::profileWidgetInItsLayout()
{
    QVERIFY(m_window->m_profileWidget);
    QCOMPARE(m_window->m_profileWidget->parentWidget(), find<QWidget>("profileWidget"));
    auto* layout = find<QLayout>("profileLayout");
    QCOMPARE(layout->parentWidget(), find<QWidget>("profileWidget"));
    QCOMPARE(layout->indexOf(m_window->m_profileWidget), 0);
}

void TestWindow::hiddenByTheConnectStep()
{
    for (const char* n : {"loadFpnWidget", "exportFpnBut", "ffcAdjustSaveWidget", "ffcBgrAdjustWidget",
                          "ffcGrayAdjustWidget", "featureWidget"})
        QVERIFY2(find<QWidget>(n)->isHidden(), n);
    QVERIFY(!find<QPushButton>("propertyDialogBut")->isEnabled());
    // Everything else in the panels is left to the camera's features.
    for (const char* n : {"hideGroupBox", "lumRangeWidget", "doffsetWidget", "binningModeWidget", "saveFpnWidget"})
        QVERIFY2(!find<QWidget>(n)->isHidden(), n);
}

void TestWindow::connections()
{
    auto count = [this](const char* name, const char* signal) {
        return ReceiverPeek::count(find<QObject>(name), signal);
    };
    // One slot each for the buttons of the table.
    QCOMPARE(count("refreshBut", SIGNAL(clicked(bool))), 1);
    QCOMPARE(count("connectBut", SIGNAL(clicked(bool))), 1);
    QCOMPARE(count("startBut", SIGNAL(clicked(bool))), 1);
    QCOMPARE(count("writeDownBut", SIGNAL(clicked(bool))), 1);
    QCOMPARE(count("ffcAdjustSaveBut", SIGNAL(clicked(bool))), 0);
    // flatEnable, then paramApply.
    QCOMPARE(count("flatEnableCheck", SIGNAL(clicked(bool))), 2);
    // The "自定义亮度" buttons are followed through the other two of their group.
    QCOMPARE(count("avgRBut", SIGNAL(toggled(bool))), 1);
    QCOMPARE(count("lscCustomRBut", SIGNAL(toggled(bool))), 1);
    QCOMPARE(count("customLumRBut", SIGNAL(toggled(bool))), 0);
    QCOMPARE(count("lscCustomLumRBut", SIGNAL(toggled(bool))), 0);
    QCOMPARE(count("sumSBox", SIGNAL(valueChanged(int))), 1);
    QCOMPARE(count("scsVSBox", SIGNAL(valueChanged(double))), 1);
    QCOMPARE(count("grayffcAdjustSBox", SIGNAL(valueChanged(double))), 1);
    // Made and unmade at run time by the panels, not here.
    QCOMPARE(count("ratioSBox", SIGNAL(valueChanged(double))), 0);
    QCOMPARE(count("gainSelSBox", SIGNAL(valueChanged(double))), 0);
    QCOMPARE(count("exposureSBox", SIGNAL(valueChanged(double))), 0);
    QCOMPARE(count("resModeCBox", SIGNAL(currentIndexChanged(int))), 0);
    QCOMPARE(count("deviceListTreeWidget", SIGNAL(itemSelectionChanged())), 1);
    QCOMPARE(count("deviceListTreeWidget", SIGNAL(itemDoubleClicked(QTreeWidgetItem*, int))), 1);

    // The scene: the profile and the zoom box both follow the zoom.
    QCOMPARE(ReceiverPeek::count(m_window->m_scene, SIGNAL(scaleChanged(double))), 2);
    QCOMPARE(ReceiverPeek::count(m_window->m_scene, SIGNAL(mousePosChanged(QPointF, QRgb, bool))), 1);
    QCOMPARE(ReceiverPeek::count(m_window->m_scene, SIGNAL(selRowChanged(int, int, QRgb, QRgb))), 1);
    QCOMPARE(ReceiverPeek::count(m_window->m_profileWidget, SIGNAL(dataAdjusted(cv::Mat))), 1);

    // The server's reports.
    CameraServer* server = m_window->m_cameraServer;
    // Beside showPicture, the holder of the live frame's samples for the image tools.
    QCOMPARE(ReceiverPeek::count(server, SIGNAL(OS_NewFrame(QPixmap, cv::Mat))), 2);
    // The progress panel, the run's record (RunRecorder) and the session log beside it.
    QCOMPARE(ReceiverPeek::count(server, SIGNAL(OS_FpnInfo(int, QString))), 3);
    QCOMPARE(ReceiverPeek::count(server, SIGNAL(OS_CameraLostConnection())), 1);
    QCOMPARE(ReceiverPeek::count(server, SIGNAL(OS_IsTVK317(bool))), 1);
    QCOMPARE(ReceiverPeek::count(server, SIGNAL(OS_FFCFinished(QList<QList<double>>))), 1);
}

void TestWindow::cameraListFilledByRefresh()
{
    // Every test runs with LSX_LIBRARY naming the simulated camera: a failed bind is a failure.
    QVERIFY2(m_simBound, "the simulated camera library could not be bound");
    auto* list = find<QTreeWidget>("deviceListTreeWidget");
    const QStringList names = m_window->m_cameraServer->enumerate();
    QVERIFY(names.contains(QStringLiteral("SIM-LS4096-M")));
    list->clear();
    QTest::mouseClick(find<QPushButton>("refreshBut"), Qt::LeftButton);
    QCOMPARE(list->topLevelItemCount(), names.size());
    for (int i = 0; i < names.size(); ++i) {
        QCOMPARE(list->topLevelItem(i)->text(0), names[i]);
        // No camera is open: no item is bold and none is selected.
        QVERIFY(!list->topLevelItem(i)->font(0).bold());
    }
    QVERIFY(list->selectedItems().isEmpty());
    QVERIFY(find<QPushButton>("refreshBut")->isEnabled());
}

void TestWindow::onlyTopRowListAndRightColumnBeforeACamera()
{
    m_window->show();
    QVERIFY(QTest::qWaitForWindowExposed(m_window.get()));

    for (const char* n : {"refreshBut", "connectBut", "helpBut", "deviceListTreeWidget", "opWidget", "startBut",
                          "ratioSBox", "picSaveBut", "graphicsView", "profileWidget", "captureRateLabel",
                          "imageSizeLabel", "mousePosLabel", "rgbLabel", "avgLabel", "minLabel", "maxLabel"})
        QVERIFY2(find<QWidget>(n)->isVisible(), n);
    QVERIFY(m_window->m_profileWidget->isVisible());

    for (const char* n : {"featureWidget", "groupBox_4", "featureTabWidget", "propertyDialogBut", "roiGroup",
                          "groupBox", "dsnuProcessBut", "ffcBut", "lscBut", "scsWriteBut"})
        QVERIFY2(!find<QWidget>(n)->isVisible(), n);

    // The left column keeps its share of the width: list over the (hidden) panels, right column wider.
    QVERIFY(find<QWidget>("graphicsView")->width() > find<QWidget>("deviceListTreeWidget")->width());
    QCOMPARE(find<QPushButton>("connectBut")->text(), QStringLiteral("连接"));
    QCOMPARE(find<QPushButton>("startBut")->text(), QStringLiteral("采图"));
}

void TestWindow::resizeFollowsTheView()
{
    m_window->resize(1200, 800);
    auto* view = find<QGraphicsView>("graphicsView");
    QTRY_COMPARE(m_window->m_scene->sceneWidth(), double(view->viewport()->width()));
    QCOMPARE(m_window->m_scene->sceneHeight(), double(view->viewport()->height()));
}

// Every window made here ends its camera worker on destruction, so the tests make few of them.
void TestWindow::tabIndexAndCloseClosesTheHelpWindow()
{
    MainWindow window(QString(), 3);
    QCOMPARE(window.findChild<QTabWidget*>(QStringLiteral("featureTabWidget"))->currentIndex(), 3);
    window.show();
    QVERIFY(QTest::qWaitForWindowExposed(&window));
    window.m_helpDialog.show();
    QVERIFY(window.m_helpDialog.isVisible());
    QVERIFY(window.close());
    QVERIFY(!window.isVisible());
    QVERIFY(!window.m_helpDialog.isVisible());
}

void TestWindow::destructionWithoutShow()
{
    auto* window = new MainWindow(QString(), 2);
    QCOMPARE(window->findChild<QTabWidget*>(QStringLiteral("featureTabWidget"))->currentIndex(), 2);
    QPointer<SceneModel> scene = window->m_scene;
    QPointer<ProfileWidget> profile = window->m_profileWidget;
    QPointer<ProgressInfoWidget> progress = window->m_progressInfo;
    delete window;
    // The children go with the window; the scene, parentless, on the next turn of the event loop.
    QVERIFY(profile.isNull());
    QVERIFY(progress.isNull());
    QTRY_VERIFY(scene.isNull());
}

QTEST_MAIN(TestWindow)
#include "test_window.moc"
