#pragma once
// MainWindow: the one window of the calibration tool.
//
// It owns the form, the image scene, the profile strip, the progress panel, the help window and
// the one CameraServer. Its slots run on the GUI thread; the camera work runs on the server's
// worker and comes back through the server's OS_xxx signals.
//
// The class is split over three files by concern:
//   mainwindow.cpp            construction, the connect step, destruction, window events, refresh
//   mainwindow_panels.cpp     the camera list, the feature panels, capture and the image read-outs
//   mainwindow_workflows.cpp  the calibration workflows and the FPN files
//   mainwindow_ffc.cpp        the FFC source picture, parameter files and gain adjustment
//   mainwindow_scs.cpp        the colour-line alignment and the LSC file
//   mainwindow_verify.cpp     the calibration verification and its result window
//   mainwindow_records.cpp    the records of the runs and the history window
//   mainwindow_backup.cpp     the question before every write into the camera, "恢复写入前参数"
//   mainwindow_status.cpp     the read-outs under the image, the status bar, the camera held by
//                             a procedure and given back to the live image
//   mainwindow_tools.cpp      zoom, histogram and region statistics, saturation, saving frames,
//                             the session log, shortcuts and help, the last camera

#include "app/helpdialog.h"
#include "lsx.h"

#include <QFont>
#include <QList>
#include <QMainWindow>
#include <QPixmap>
#include <QPointF>
#include <QRgb>
#include <QString>
#include <QVector>

#include <opencv2/core.hpp>

#include <vector>

namespace Ui {
class MainWindow;
}

class CameraServer;
class ProgressInfoWidget;
class SceneModel;
class ImageItem;
class ProfileWidget;
class StatisticsWidget;
class SceneControl;
class VerifyWindow;
class RunRecorder;
class HistoryWindow;
class HistogramWindow;
class LiveFrame;
class MessageBoxWatcher;
class SessionLog;
class SessionLogWindow;
class QLabel;
class QPushButton;
class QCloseEvent;
class QComboBox;
class QResizeEvent;
class QTimer;

class MainWindow : public QMainWindow {
    Q_OBJECT
public:
    // deviceName: the camera to connect one second after start (empty: none);
    // tabIndex: the tool tab to show, 0 to 3.
    MainWindow(const QString& deviceName, int tabIndex, QWidget* parent = nullptr);
    ~MainWindow() override;

    // Applies a style sheet to the whole application; false when the file can't be read.
    bool loadStyle(const QString& path);

    // Reads all features of the open camera into the panels; nothing without an open camera.
    void loadFeatures();
    // Loads the panels' settings from FPN.ini.
    void loadParams();

protected:
    void closeEvent(QCloseEvent* event) override;
    void resizeEvent(QResizeEvent* event) override;

public slots:
    // ---- Camera list and connection (mainwindow.cpp: refresh; panels: the rest) ----
    void refresh();
    void connectDevice();
    void connectDeviceWithName();
    void switchSelectCamera();
    void cameraOpenFailed(lsxStatus status);
    void cameraLostConnection();
    void cameraTypeChanged(bool isLinescan);
    void changeCameraType();
    void isTVK317(bool isTvk317);
    void showHelpDialog();
    void showPropertyDialog();
    // The simulated camera's scene (lens cap, light); offered only when the library has one.
    void showSceneControl();

    // ---- Feature panels: settings and camera properties ----
    void paramApply();
    void setGain();
    void setExposure();
    void setResMode();
    void setBinningMode();
    void setFpnSel();
    void setFfcSel();
    void setLscSel();
    void enableCameraFpn();
    void enableDoffsetAuto();
    void sum4Enable();
    void fpnEnable();
    void fpnMannerTwoEnable();
    void changGuangFilterEnable();
    void flatEnable();
    void setFFCRadius();
    void changeTargetLuminance();
    void ffcEnable();
    void lscEnable();

    // ---- ROI ----
    void roiChanged();
    void roiApply();
    void roiCancel();

    // ---- Capture, picture and read-outs ----
    void startCapture();
    void startCaptureFailed();
    // The reason capture ended on, in the status row until the next start.
    void showCaptureError(lsxStatus status);
    // A warning of the camera server, in a box.
    void showCameraWarning(QString text);
    void showPicture(QPixmap pixmap, cv::Mat staticMat);
    void mouseMoved(QPointF mousePos, QRgb rgb, bool hasRGB);
    void hoverRow(int row, int col, QRgb minRgb, QRgb maxRgb);
    void savePicture();
    void changeScale(double scale);
    void scaleChanged(double scale);
    void updateProfile();

    // ---- FPN workflows and files ----
    void dsnuProcess();
    void dsnuOk();
    void dsnuCancel();
    void fpnProcess();
    void fpnOk();
    void fpnCancel();
    void fpnWriteDown();
    void fpnWriteDownOk();
    void fpnWriteDownCancel();
    void expTest();
    void expTestOk();
    void expTestCancel();
    void loadFpnParams();
    void saveFpnParams();
    void exportFpnParams();

    // ---- FFC workflows, files and coefficients ----
    void loadFFCImage();
    void loadFFCParam();
    void applyFFC();
    void ffcOk();
    void ffcCancel();
    void ffcWriteDown();
    void ffcWriteDownOk();
    void ffcWriteDownCancel();
    void saveFFC();
    void exportFFC();
    void ffcKSelCheck();
    void ffcAdjust();
    void updateFfcParam(cv::Mat staticMat);
    void ffcFinished();
    void setFFCRoi();

    // ---- LSC workflows and file ----
    void applyLSC();
    void lscOk();
    void lscCancel();
    void lscWriteDown();
    void lscWriteDownOk();
    void lscWriteDownCancel();
    void saveLSC();

    // ---- SCS alignment ----
    void scsApply();
    void scsWriteDown();
    void scsCancel();

private:
    // Wires the form to the slots, once, right after the form is built.
    void connectForm();
    // The camera list's fonts: plain, and bold for the open camera.
    const QFont& listFont(bool bold) const;
    // Fills one of the "存储" combo boxes from a selection key of the camera and selects the
    // camera's current choice, with the box cut from its setter meanwhile.
    void fillSelection(QComboBox* box, const char* key, void (MainWindow::*setter)());

public:
    // ---- Members, in this order; public, as the panels and the tests read them ----
    Ui::MainWindow* ui = nullptr;
    HelpDialog m_helpDialog;
    CameraServer* m_cameraServer = nullptr;
    ProgressInfoWidget* m_progressInfo = nullptr;
    SceneModel* m_scene = nullptr;
    ImageItem* m_imageItem = nullptr;
    qint64 m_frameTimer = 0;
    qint32 m_frameCount = 0;
    QPixmap m_pixmap;
    cv::Mat m_staticMat;
    cv::Mat m_srcImg;
    std::vector<cv::Mat> m_scsChannels;
    QList<QList<double>> m_ffcSavedKList;
    // Working copy of the coefficients while they are adjusted.
    QVector<double> m_ffcAdjustList;
    ProfileWidget* m_profileWidget = nullptr;
    bool m_hideFunction = true;
    QString m_deviceName;
    StatisticsWidget* m_statisticsWidget = nullptr;
    // Beside "更多调节" when the camera library is the simulated camera's.
    QPushButton* m_sceneBut = nullptr;
    // Why capture ended, shown in the rate label of the status row until the next start.
    bool m_captureErrorShown = false;
    SceneControl* m_sceneControl = nullptr;

    // ---- Calibration verification (mainwindow_verify.cpp) ----
public slots:
    void verifyProcess();
    void verifyOk();
    void verifyCancel();
    // A question of the running verification: "继续" in the progress panel answers it.
    void verifyAsked(int step, QString text);
    void verifyContinue();

public:
    QPushButton* m_verifyBut = nullptr;
    QPushButton* m_verifyContinueBut = nullptr;
    VerifyWindow* m_verifyWindow = nullptr;
    int m_verifyStep = -1;

private:
    // The button on the FPN tab, "继续" in the progress panel, the result window, their connections.
    void setupVerify();

    // ---- Calibration records (mainwindow_records.cpp) ----
public slots:
    // "历史记录": the history window, on the connected camera's serial.
    void showHistory();

public:
    RunRecorder* m_recorder = nullptr;
    HistoryWindow* m_historyWindow = nullptr;
    QPushButton* m_historyBut = nullptr;

private:
    // The recorder of the runs, the button beside "帮助", their connections.
    void setupRecords();
    // ---- Backups of the camera's sets (mainwindow_backup.cpp; the workflow in
    // mainwindow_workflows.cpp) ----
public slots:
    // "恢复写入前参数": a backup file chosen, checked and written back after the question.
    void restoreProcess();
    void restoreOk();
    void restoreCancel();

public:
    QPushButton* m_restoreBut = nullptr;

private:
    void setupBackup();
    // ---- The live image around the procedures and the status under it (mainwindow_status.cpp) ----
public:
    // The frame on show as samples in B, G, R(, X) order: the camera's own 8 or 16 bits for a live
    // frame, the picture's 8 bits for one loaded from a file; empty without a picture.
    struct ShownFrame {
        cv::Mat samples;
        bool wide = false;  // 16-bit samples
        bool live = false;  // from the camera's live image
    };
    const ShownFrame& shownFrame();

private slots:
    // After showPicture took a frame of the server: the read-outs and the tools follow it.
    void liveFrameShown();
    // The progress panel shows or hides: a procedure takes the camera or gives it back.
    void procedurePanelShown();
    void procedurePanelHidden();

private:
    // The four read-outs for the cursor's last place over the frame on show.
    void refreshReadouts();
    // The status bar, the hooks on the progress panel, the read-outs' frame connections.
    void setupStatus();

public:
    LiveFrame* m_liveFrame = nullptr;
    ShownFrame m_shownFrame;
    qint64 m_shownKey = 0;
    // Whether the camera delivers R, G, B (not B, G, R); read at the first colour frame of a run.
    int m_rgbOrderKnown = -1;
    QPointF m_cursorPos;
    bool m_cursorOnImage = false;
    // The cursor has been over the picture: the read-outs follow new frames from then on.
    bool m_cursorKnown = false;
    // A procedure holds the camera (its panel is up); the featureWidget's scroll position then,
    // and whether the live image ran.
    bool m_cameraHeld = false;
    int m_panelScroll = 0;
    bool m_resumeCapture = false;
    // Capture was stopped in this turn of the event loop.
    bool m_captureJustStopped = false;

    // ---- Image tools, saving, the session log, help (mainwindow_tools.cpp) ----
public slots:
    // "适应窗口": the whole picture in the view; "1:1": one picture pixel per screen pixel.
    void fitPicture();
    void showActualSize();
    void showHistogramWindow();
    void showSessionLog();
    // F1: the help at the page of what the operator is doing.
    void showHelpForCurrentTab();
    // The histogram window and the saturation warning for the frame on show; for live frames
    // at most five times a second.
    void analyseFrame();

private slots:
    void rememberCamera();

private:
    void setupTools();
    void offerLastCamera();
    void logProcedureReport(int progress, const QString& text);

public:
    QPushButton* m_fitBut = nullptr;
    QPushButton* m_actualSizeBut = nullptr;
    QPushButton* m_regionBut = nullptr;
    QPushButton* m_histogramBut = nullptr;
    QPushButton* m_logBut = nullptr;
    QComboBox* m_rawFormatCBox = nullptr;
    QLabel* m_saturationLabel = nullptr;
    HistogramWindow* m_histogramWindow = nullptr;
    SessionLog* m_sessionLog = nullptr;
    SessionLogWindow* m_sessionLogWindow = nullptr;
    MessageBoxWatcher* m_boxWatcher = nullptr;
    QTimer* m_analysisTimer = nullptr;
    bool m_frameToAnalyse = false;
    // The camera open when the log last heard of it; empty for none.
    QString m_connectedCamera;
};
