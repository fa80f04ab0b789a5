#pragma once
// CameraServer: the one object that holds the camera.
//
// It moves itself onto its own worker thread at construction. The window drives it with the
// queued input signals IS_xxx (each connected to the slot of the same name, so the work runs
// on the worker, one slot at a time) and hears back through the output signals OS_xxx.
// open, close, enumerate, the flag setters and the property setters of the panels are called
// directly on the GUI thread.
//
// m_lock guards only single reads and writes of the flags m_stopCapture, m_cancel,
// m_fpnEnabled, m_filterEnabled, m_sum, m_ffcEnabled, m_lscEnabled (and the GUI's writes of
// m_ffcKList). Everything else is shared between the threads without a lock: the modal progress
// panel and the stopped capture keep them apart during a procedure.

#include "calibration/darkcurrent.h"
#include "calibration/kpoint.h"
#include "calibration/operatorprompt.h"
#include "calibration/verifystats.h"
#include "fpnparams/backup.h"
#include "lsx.h"

#include <QList>
#include <QMap>
#include <QMetaType>
#include <QObject>
#include <QPixmap>
#include <QReadWriteLock>
#include <QString>
#include <QStringList>
#include <QVector>
#include <QtGlobal>

#include <atomic>
#include <exception>
#include <optional>
#include <vector>

#include <opencv2/core.hpp>

class FpnRecord;
class FrameWait;
class QSettings;
struct FpnCamera;
struct FpnFileContent;
class QThread;
struct ExposureSearch;

// The cameras of the last enumeration, by friendly name; refreshed at open.
extern QMap<QString, lsxCameraInfo> cameraInfoMap;
// Line-scan models without a DOffset.
extern const QStringList supportedModels;

class CameraServer : public QObject {
    Q_OBJECT
public:
    CameraServer();
    ~CameraServer() override;

    // ---- Plain operations, GUI thread ----
    void open(const QString& name);
    void close();
    QStringList enumerate();
    QString cameraName() const { return m_cameraName; }
    lsxCameraInfo cameraInfo(const QString& name) const;
    // The library's own property dialog, modal over the window `parent` (its native id; 0 for
    // none). The engine knows no widgets: the window passes its active window's id.
    void showPropertyDialog(uintptr_t parent);
    void stopCapture();
    void cancel();
    void setFpnEnabled(bool on);
    void setFilterEnabled(bool on);
    void setFlatEnable(bool on) { m_flatEnable = on; }
    // Refused (false, nothing changed) when switching on without matching coefficients.
    bool setFfcEnabled(bool on);
    bool setLscEnabled(bool on);
    void setSum(int sum);
    void readLineCount();
    bool factoryMode();
    QList<QList<double>> readFfcParam(int index);
    // FPN parameter files (fpnparams/fpnfileio.cpp). False, with `why` naming the check that
    // failed, for nothing to save, data that would not load back, a file that cannot be written,
    // or a file that does not fit the open camera (nothing of the camera or the data changed).
    // A load is fpnFileCamera (here), readFpnFile (any thread) and applyFpnFile (here).
    bool saveFpnFile(const QString& path, QString* why = nullptr);
    bool loadFpnFile(const QString& path, QString* why = nullptr);
    FpnCamera fpnFileCamera() const;
    bool applyFpnFile(const FpnFileContent& content, QString* why = nullptr);
    // The flat-field file of the gains held here (flatfield/flatfiles.cpp): written under the name
    // the operator chose, with the camera's model in front; the path written, empty (with `why`)
    // when there are no gains, gains that would not load back, or a file that cannot be written.
    QString saveFfcFile(const QString& chosen, QString* why = nullptr);
    // The lens-shading file of the polynomials held here (the head and zeros without any), under
    // the name chosen with ".LSC.FAC" added when it is missing; the path written, or empty with `why`.
    QString saveLscFile(const QString& chosen, QString* why = nullptr);
    // The name proposed for a parameter file of the open camera: "<model>_<serial>_<yyyyMMdd>".
    QString parameterFileStem() const;
    // The export offered beside saving writes nothing; it answers true.
    bool exportFpnFile(const QString&) const { return true; }
    // Drops every coefficient list and the simulation flags, as at close.
    void clearCoefficients();
    // The settings object of the calling thread, on FPN.ini: m_settings on the GUI thread, one of
    // the worker's own on the worker (a QSettings object must not be used by two threads at once).
    QSettings& settings();
    // Writes the settings out; a file that cannot be written is told to the operator once.
    void syncSettings();
    // Set from the start of a close until the next open: the worker's waits end at the next
    // chance, and procedures take it as a cancel.
    bool closing() const { return m_closing.load(); }
    // How long a procedure waits for a frame from a silent camera before it gives up, in
    // milliseconds; 0 (the window's way) waits until the operator cancels. Any thread.
    void setFrameTimeout(int ms) { m_frameTimeoutMs = ms > 0 ? ms : 0; }
    int frameTimeout() const { return m_frameTimeoutMs.load(); }
    // Whether a slot runs on the worker now.
    bool workerBusy() const { return m_busy.load() > 0; }
    // At teardown a worker that does not leave its slot in time is killed. The program's own
    // end asks instead for the process to end at once with this status, settings written: a
    // killed thread can abort the process.
    static void exitWhenWorkerStuck(int status);
    // What the operator must hear as the program starts (a settings file that cannot be
    // written); empty when all is well.
    QString startWarning() const { return m_warned.isEmpty() ? QString() : m_warned.first(); }
    // The backup of the camera's state taken at open: document directory + "/<name>.ini".
    QString backupPath(const QString& name) const;

signals:
    void IS_Capture(bool continuous);
    void IS_Capture();
    void OS_OpenCameraFailed(lsxStatus status);
    void OS_IsLinescan(bool isLinescan);
    void OS_FrameCaptured(cv::Mat frame, int format);
    void OS_CaptureFailed(lsxStatus status);
    void OS_CameraLostConnection();
    void OS_IsTVK317(bool isTVK317);
    void OS_NewFrame(QPixmap pixmap, cv::Mat staticMat);
    void IS_DSNUStart(bool autoDoffset);
    void IS_FpnStart();
    void IS_FpnWriteDown(int sel);
    void OS_FpnInfo(int progress, QString info);
    void IS_ExpTest(int expCount);
    void OS_ExpTestFinished(QVector<double> expVec, QList<cv::Mat> dataMatList);
    void IS_ApplyFFC(cv::Mat srcImg, cv::Mat statisticMat, float goalRate);
    void IS_SaveFFC(QString path);
    void IS_FFCWriteDown(int lscSel, QString lscStr);
    void OS_FFCFinished(QList<QList<double>> kList);
    void IS_ApplyLSC(float goalRate);
    void IS_SavaLSC();
    void IS_LSCWriteDown(int lscSel, QString lscStr);
    // Something the operator must hear about once, outside any procedure: a value of the camera
    // refused, a settings file that cannot be written, a camera state that could not be backed up.
    void OS_CameraWarning(QString text);

public slots:
    void capture(bool continuous = true);
    void disableSoftIsp();
    void dsnuStart(bool autoDoffset);
    void fpnStart();
    void fpnWriteDown(int sel);
    void expTest(int expCount);
    void applyFFC(cv::Mat srcImg, cv::Mat statisticMat, float goalRate);
    void saveFFC(QString path);
    void ffcWriteDown(int lscSel, QString lscStr);
    void applyLSC(float goalRate);
    void saveLSC();
    void lscWriteDown(int lscSel, QString lscStr);

public:
    // ---- Members, in the order of the design; shared with the window as described above ----
    QThread* m_thread = nullptr;
    mutable QReadWriteLock m_lock;
    QSettings* m_settings = nullptr;
    QString m_cameraName;
    bool m_opened = false;
    lsxHandle m_handle = 0;
    bool m_isLinescan = true;
    bool m_isTvk317 = false;
    cv::Mat m_lastFrame;
    cv::Mat m_lastStatistic;
    bool m_stopCapture = false;
    bool m_cancel = false;
    uint8_t m_maxK = 2;
    uint8_t m_maxB = 64;
    QList<QList<double>> m_kList;
    QList<double> m_kScaleList;
    QList<QList<double>> m_bList;
    QList<double> m_incBList;
    int32_t m_supportMLK = 0;
    QList<QList<KPoint>> m_kPoints;
    QList<QList<double>> m_ffcKList;
    QList<QList<double>> m_lscKList;
    QList<QList<double>> m_lscPolyList;
    int32_t m_ffcRadius = 60;
    bool m_flatEnable = true;
    bool m_fpnEnabled = false;
    bool m_filterEnabled = false;
    int32_t m_sum = 1;
    bool m_ffcEnabled = false;
    bool m_lscEnabled = false;
    int32_t m_frameBits = 0;
    bool m_darkFromCamera = false;
    bool m_hasBlackLevelReg = false;
    int32_t m_lineCount = 4;
    int32_t m_roiHeight = 4000;
    // The dark current of the last dark run (or of the FPN file loaded with its side file): per
    // row of m_bList, per column, the slope of the dark over the exposure. Used only while it fits
    // m_bList and the dark rows are a measurement (calibration/darkcurrent.h).
    DarkCurrent m_darkCurrent;

    // ---- Dark current (calibration/darkfield.cpp) ----
    // Whether the bright field has a dark current for the dark rows it uses.
    bool darkCurrentUsable() const { return !m_darkFromCamera && m_darkCurrent.fits(m_bList); }
    // The dark rows predicted at `exposure`; m_bList itself without a usable dark current.
    QList<QList<double>> darkRowsAt(double exposure) const;
    // What the operator must hear when the exposure moves to `exposure`: once, when a column's
    // predicted dark moves more than 1 DN10 from the dark run's exposure; empty otherwise.
    QString darkCurrentWarning(double exposure);
    // The dark current beside an FPN file (called by saveFpnFile and loadFpnFile): written when it
    // fits the rows saved, an old side file removed otherwise; read back when present, dropped
    // when absent or damaged (told with OS_CameraWarning). Saving answers false when the side
    // file cannot be written.
    bool saveDarkCurrentBeside(const QString& fpnPath, QString* why = nullptr);
    void loadDarkCurrentBeside(const QString& fpnPath);

private:
    // Marks the worker busy while one of its slots runs.
    struct BusyGuard {
        explicit BusyGuard(std::atomic<int>& count) : m_count(count) { ++m_count; }
        ~BusyGuard() { --m_count; }
        std::atomic<int>& m_count;
    };
    // Runs a worker slot's body; an exception is logged and answered by `failed`, so that none
    // leaves the slot.
    template <typename Body, typename Failed>
    void guarded(const char* slot, Body&& body, Failed&& failed)
    {
        const BusyGuard busy(m_busy);
        try {
            body();
        } catch (const std::exception& e) {
            qWarning("%s: exception: %s", slot, e.what());
            failed();
        } catch (...) {
            qWarning("%s: unknown exception", slot);
            failed();
        }
    }
    // Waits up to `ms` for the worker to leave its slot; true when it is idle.
    bool waitWorkerIdle(int ms) const;
    void warnOnce(const QString& text);
    void dsnuRun(bool autoDoffset);
    void captureRun(bool continuous);

    QSettings* m_workerSettings = nullptr;
    std::atomic<bool> m_closing{false};
    std::atomic<int> m_frameTimeoutMs{0};
    // A handle whose lsxClose failed: closed again at the next open.
    std::optional<lsxHandle> m_staleHandle;
    std::atomic<int> m_busy{0};
    QStringList m_warned;

    // Reads a flag under the read lock (the capture loop and the procedures poll this way).
    template <typename T>
    T locked(const T& member) const
    {
        QReadLocker lock(&m_lock);
        return member;
    }
    friend class CameraServerTestAccess;
    // The factory record (key 136): m_maxK, m_maxB and m_supportMLK, a zero falling back alone.
    void readFactoryRecord();

    // ---- Procedure helpers of the calibration folder, on the worker unless said otherwise ----
    // The answer of an operation as the operator reads it: the text's "%1-%2" filled with the
    // status in decimal and its text.
    static QString withStatus(const QString& text, lsxStatus status);
    // The cancel flag, read under the read lock; a camera being closed counts as a cancel.
    bool cancelRequested() const { return locked(m_cancel) || closing(); }
    // The dark-field procedure of the TVK317 family.
    void dsnuTvk317();
    // ---- Bright field (calibration/exposure.cpp, calibration/brightfield.cpp) ----
    // How one exposure search ended: in its window (or cancelled), at the sensor's minimum
    // exposure, on a camera call that failed, or with no frame within the frame time-out.
    enum class SearchEnd { Found, AtMinimum, Failed, Silent };
    // One exposure search: frames taken on soft trigger and judged until the search ends. A search
    // that runs for over a second reports its trial once a second, its progress rising from
    // `progress` (left at the last value reported) to below `ceiling`.
    SearchEnd runExposureSearch(ExposureSearch& search, int& progress, int ceiling);
    void fpnRun();
    // The bright field of the TVK317 family: one stacked image, no gains, no final step.
    void fpnTvk317();
    // The camera's own dark rows into m_bList; false after a failure it has reported.
    bool fpnReadDark();
    // A camera without a black level (calibration/doffset.cpp): its register reads as not there and
    // the sensor's DOffset registers answer "not supported" (a standard camera without
    // BlackLevel). Its DOffset is 0 and stays so: read as 0, "set" without a write, told once per
    // dark or bright run (m_doffsetZeroSaid).
    bool doffsetAbsent();
    bool m_doffsetZeroSaid = false;
    // K scale and the lift of B once every gain is done.
    void fpnFinish();
    // ---- Writing FPN (fpnparams/fpnwrite.cpp) ----
    void fpnWriteRun(int sel);
    void fpnWriteTvk317();
    // The factory set of a multi-level camera: its dark half, then one K band per level of the
    // table; false after a failure it has reported.
    bool fpnWriteFactoryLevels(FpnRecord& record, const std::vector<uint16_t>& levels, int rows, int columns,
                               bool& partial);
    // Sends a record as its set takes it: whole (a factory set without multi-level K), or as its
    // dark half (unless `sendDark` is false) and its bright half. The status of the record that
    // failed (LSX_OK when all went in); `partial` when an earlier record of it went in.
    lsxStatus fpnSendSet(FpnRecord& record, bool whole, bool sendDark, bool& partial);
    // Key 47, for a camera of several gains without line-scan data.
    void fpnWriteGainTable(const QList<QList<double>>& k, const QList<QList<double>>& b, int gains, float gainMin);
    // The preparation of a normal dark-field run; false after a failure it has reported.
    bool dsnuPrepare();
    // One gain of a normal dark-field run; false when the run must end with a failure.
    bool dsnuGain(float gain, bool autoDoffset);
    // One soft-triggered frame of the dark field, waiting through any number of time-outs; false
    // for a cancel or a failed trigger or frame (the run ends quietly).
    bool dsnuGrab(lsxFrame& frame, void*& buffer);
    // The second dark of a gain at the second exposure, and the slopes of its planes appended to
    // m_darkCurrent; the exposure back as found. False when the run must end.
    bool dsnuDarkCurrent(const std::vector<cv::Mat>& atWorking, uint32_t bits);
    // An 8-bit dark's planes at the stored DOffset plus 1, 2 and 3 (minus them near the top of
    // the black level), after `planes` (taken at it): per plane the frames a step apart, the
    // DOffset back. Nothing for 16-bit frames or a camera without a DOffset. False when the run must end (a cancel, a frame or DOffset failure).
    bool dsnuDither(uint32_t bits, const std::vector<cv::Mat>& planes, std::vector<std::vector<cv::Mat>>& out);
    // ---- Exposure test (calibration/exposuretest.cpp) ----
    void expTestRun(int expCount);

public:
    // Procedure helpers shared by several slots; defined in the folders of those procedures.
    // Preparation of a calibration (calibration/preparation.cpp).
    lsxStatus enableSoftTrigger();
    // The camera's own FPN correction on or off (key 46).
    lsxStatus setCameraFpn(bool on);
    // The camera's FPN and flat field off before a measurement, a failure told with the
    // procedure's prefix ("暗场校正-"); false after a failure it has reported.
    bool cameraCorrectionsOff(const QString& prefix);
    bool fpnRoiCheck(int height);
    // The planes of a delivered frame (deep copies), by m_lineCount; false for a format the
    // calibrations don't take.
    bool splitFramePlanes(const lsxFrame& frameInfo, const void* buffer, bool deinterleave,
                          std::vector<cv::Mat>& planes) const;
    // A procedure's frame loop after a time-out (camera/framegrab.cpp): the count and the time
    // waited told at `progress` with the procedure's prefix (at the first time-out, then at most
    // once a second), and a pause when the library answers at once. False when the loop must end:
    // the frame time-out has passed (the camera's silence told with progress 101), or the operator
    // cancelled.
    bool frameRetry(FrameWait& wait, const QString& prefix, int progress);
    // DOffset (calibration/doffset.cpp). fpnReadDoffset also runs on the GUI thread at open.
    lsxStatus fpnReadDoffset();
    // Whether the DOffset operations leave this camera alone: not a line-scan camera, or a model
    // that takes no DOffset.
    bool doffsetSkipped() const;
    // Writes a DOffset value by the camera's path: its register, or the two sensor registers
    // (magnitude, then sign; a failure of the first skips the second).
    lsxStatus writeDoffset(int value);
    // Reads the camera's DOffset by the path found at open, quietly (no report, nothing stored).
    lsxStatus readDoffset(int& value) const;
    bool fpnSetDoffset();
    bool fpnDetectDoffset();
    // K of every row and column at one pixel level, from m_kPoints and m_maxK (see klevels.h).
    void kAtLevel(uint8_t level, QList<double>& out, int rows) const;
    // Exposure range detection (calibration/exposure.cpp). The bright field's form: one exposure
    // per target found, or the spaced series of a four-level calibration; empty when nothing
    // could be measured.
    QVector<double> fpnExposureCheck(std::vector<double> targets);
    // The exposure test's form: the shortest and longest usable exposure.
    bool fpnExposureCheck(double& lower, double& upper, int lowTarget, int highTarget);
    // One full frame per exposure, shown as it comes; false only when the series could not begin.
    // `taken`, when given, receives the exposure of each frame kept.
    bool fpnCapture(const QVector<double>& exposures, QList<cv::Mat>& images, QVector<double>* taken = nullptr);
    // The column gains of a list of images into m_kList and m_kPoints (calibration/brightfield.cpp),
    // each image against the dark predicted at its exposure (`exposures`, one per image) where the
    // dark current is known, else against m_bList. A gain no column can use is limited and its
    // column told as a defect.
    bool fpnCorrect(const QList<cv::Mat>& images, const QVector<double>& exposures = {});

    // ---- Flat field, lens shading and colour alignment (flatfield/) ----
    // The settling pauses of the flat-field and lens-shading procedures are multiplied by this;
    // the camera needs them, tests on the simulated camera set 0.
    double m_pauseScale = 1.0;
    // The camera's flat-field set of the combo entry `index` (0 = "Disable": none), read from
    // its memory window; empty when nothing can be read.
    // Reads the switch record of key 40, sets its master switch (byte 1) and mode (byte 6) by
    // whether the other correction's set (key `otherKey`) is "Disable", and writes it back.
    lsxStatus setCorrectionSwitch(const char* otherKey, uint8_t enableIfOtherOff, uint8_t modeIfOtherOff,
                                  uint8_t enableOtherwise, uint8_t modeOtherwise);
    // The current set name of a selection key ("PRNUC", "LSC"); empty when it can't be read.
    QString currentSelection(const char* key) const;

private:
    // A procedure's pause of `ms` times m_pauseScale; it ends early when the camera is closing.
    void settle(int ms) const;
    // The same pause in a measurement the operator may cancel: it ends early on a cancel too, and
    // then answers false.
    bool settleUnlessCancelled(int ms) const;
    void ffcRun(cv::Mat srcImg, cv::Mat statisticMat, float goalRate);
    // The picture path: checks the loaded picture against the camera and crops the statistic to
    // the ROI; false after a failure it has reported.
    bool ffcFromPicture(const cv::Mat& srcImg, cv::Mat& statisticMat);
    // The camera path: one soft-triggered frame with the camera's flat field off; false after a
    // failure or the unsupported-format end, both reported.
    bool ffcFromCamera(cv::Mat& srcImg, cv::Mat& statisticMat);
    void ffcWriteRun(const QString& setName);
    // The flat-field table (one gain per column the camera's set takes) sent as the set
    // `setName`, made current and switched on, reporting each step; true when all went.
    bool ffcSendTable(const QList<QList<double>>& table, float minK, float maxK, const QString& setName);
    void lscRun(float goalRate);
    void lscWriteRun(int setIndex, const QString& setName);

    // ---- Calibration verification (calibration/verification.cpp) ----
    // IS_VerifyStart runs verifyStart on the worker. The run puts two questions to the operator
    // (flat target lit: step 2, asked first; lens covered: step 1) with OS_VerifyAsk and waits for
    // verifyAnswer of that step, showing the camera's image meanwhile with OS_VerifyFrame (a
    // picture and its row of column means, as OS_NewFrame); its figures go out with
    // OS_VerifyFinished just before the closing report of 100.
signals:
    void IS_VerifyStart();
    void OS_VerifyAsk(int step, QString text);
    void OS_VerifyFrame(QPixmap pixmap, cv::Mat staticMat);
    void OS_VerifyFinished(VerifyReport report);
public slots:
    void verifyStart();

public:
    // The operator's answer to question `step`, from any thread: true goes on, false ends the run
    // as a cancel would. An answer to a question that is not open is dropped.
    void verifyAnswer(int step, bool proceed) { m_verifyPrompt.answer(step, proceed); }

private:
    void verifyRun();
    OperatorPrompt m_verifyPrompt;

    // ---- Durable state (fpnparams/backupcamera.cpp): a backup before every write into the
    // camera, its restore, and the camera left at close as the write-downs reported it ----
public:
    enum class WriteKind { Fpn, Ffc, Lsc };
    // "FPN", "FFC" or "LSC".
    static QString writeKindName(WriteKind kind);
    // What a write of `kind` into the set `set` keeps of what it overwrites: the backup file it
    // will write, or (path empty) why the camera cannot be read back. Decided on the GUI thread
    // before the write is asked for; the next write of that kind into that set takes the path.
    struct BackupPlan {
        WriteKind kind = WriteKind::Fpn;
        QString set;
        QString path;
        QString reason;
    };
    BackupPlan planBackup(WriteKind kind, const QString& set);
    // The folder of the backups: the document folder's "backup".
    static QString backupFolder();
    // The path of the backup the last write of this opening took (empty: none).
    QString lastBackupPath() const { return m_lastBackup; }

    // What the camera was left with at the last close, read back from it before lsxClose.
    struct CameraLeft {
        bool closed = false;      // a camera was closed
        bool asFound = false;     // its state found at open was put back
        QStringList kept;         // what write-downs left in place ("FPN UserSet0", ...)
        QStringList problems;     // what could not be put back or kept, in the operator's words
        QString fpnSet;           // "FPNC.Selector"
        bool fpnEnabled = false;  // "FPNC.Enable"
        bool doffsetKnown = false;
        int doffset = 0;
        QString ffcSet, lscSet;  // "PRNUC", "LSC"
        int switchEnable = -1;   // the correction switch record's master switch and mode
        int switchMode = -1;
    };
    const CameraLeft& cameraLeft() const { return m_cameraLeft; }

signals:
    // Writes the backup file back into the camera (restoreBackup on the worker).
    void IS_RestoreBackup(QString path);
public slots:
    void restoreBackup(QString path);

private:
    enum class Backup { Taken, Impossible, Failed };
    // Reads what a write of `kind` into `set` overwrites and keeps it in its file, reporting it;
    // Failed after a failure it has reported (nothing may then be written).
    Backup backupBeforeWrite(WriteKind kind, const QString& set, CameraBackup& out);
    // Why the set cannot be read back (empty: it can); `probe` tries a read on the calling thread.
    QString backupImpossible(WriteKind kind, const QString& set, bool probe);
    QString newBackupPath(WriteKind kind, const QString& set) const;
    CameraBackup backupHead(WriteKind kind, const QString& set) const;
    lsxStatus readFpnBackup(const QString& set, CameraBackup& out);
    lsxStatus readFfcBackup(const QString& set, CameraBackup& out);
    // The camera's flat-field memory window: the set "PRNUC" selects.
    lsxStatus readFfcMemory(QList<QList<double>>& gains);
    // A backup written back through the write-down's own records; `partial` when the dark half
    // went in before a failure.
    lsxStatus fpnWriteBack(const CameraBackup& backup, bool& partial);
    // After a write that failed half way: the earlier set back from the backup, and the operator
    // told which of the two the camera holds.
    void fpnRecover(const CameraBackup* backup, const QString& set);
    void restoreRun(const QString& path);
    // After the state found at open is loaded back at close: what the write-downs of this
    // opening left goes back in place, and the camera's state is read into m_cameraLeft.
    void keepWrittenSets(bool asFound);

    // What the write-downs of this opening left in the camera, kept at close.
    struct Written {
        bool fpn = false;
        QString fpnSet;  // empty on the TVK317 family (key 46)
        bool fpnEnabled = true;
        bool keepDoffset = false;  // the DOffset the set was measured at
        int doffset = 0;
        QString ffcSet, lscSet;
    };
    Written m_written;
    BackupPlan m_backupPlan;
    QString m_lastBackup;
    CameraLeft m_cameraLeft;
};

Q_DECLARE_METATYPE(cv::Mat)
Q_DECLARE_METATYPE(QList<cv::Mat>)
