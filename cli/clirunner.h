#pragma once
// The command-line runner: the window's procedures, on the same CameraServer, driven step after
// step without a display. Each procedure runs on the server's worker as the window runs it; its
// reports (OS_FpnInfo) go to standard error as the operator reads them in the progress panel.
//
// Exit codes: 0 every step succeeded (and every verification limit held), 1 a procedure failed,
// a set written into the camera could not be kept at the close, or the JSON result could not be
// written whole, 2 a usage error, an unknown camera or a library that cannot be bound, 3 a
// verification limit failed, 130 cancelled by Ctrl-C (the camera's stream stopped).
//
// The runner speaks as a command line: each step prints its progress (never going backwards) and
// its failures as they come, and ends with one line of its own: "STEP 完成：...", "STEP 失败：...",
// "STEP 未达到限值：..." or "STEP 已取消。". The window's wording ("点击确定查看效果", "然后点击
// “继续”") is turned into the terminal's.

#include "camera/cameraserver.h"
#include "cli/cliplan.h"
#include "records/recordspool.h"

#include <QDateTime>
#include <QJsonArray>
#include <QJsonObject>
#include <QObject>

#include <functional>
#include <memory>

class QSocketNotifier;

enum CliExit { CliOk = 0, CliFailed = 1, CliUsage = 2, CliLimits = 3, CliInterrupted = 130 };

// A procedure's report as the terminal says it: the window's "点击..." phrases left out.
QString cliWording(const QString& text);

class CliRunner : public QObject {
    Q_OBJECT
public:
    CliRunner();
    ~CliRunner() override;

    // Runs the plan; the exit code. The library must be bound (or its failure passed in
    // `bindError`, which makes every step that needs a camera a usage error).
    int run(const CliPlan& plan, const QString& bindError);

    // Ctrl-C: the running procedure is cancelled as the window's "取消" cancels it.
    void interrupt();

signals:
    void interrupted();
    // The procedure's slot has left the worker (runProcedure's wait).
    void procedureEnded();

private:
    struct StepResult {
        QString outcome = QStringLiteral("ok");  // "ok", "failed", "cancelled", "limits"
        QJsonArray messages;
        QJsonObject figures;
        QJsonArray files;
        int exit = CliOk;
    };

    int runSteps(const std::vector<CliStep>& steps, const CliPlan& plan);
    int runStep(const CliStep& step, const CliPlan& plan, StepResult& r);
    bool openCamera(const CliPlan& plan, StepResult& r);
    // The flat-field and lens-shading steps: the gains from one frame of the camera, then written
    // to a set of the camera and saved to a file as asked.
    int flatStep(const CliStep& step, StepResult& r);
    int verifyStep(const CliStep& step, StepResult& r);
    // The correction files applied to a picture or raw dump on the disk (cliapply.cpp).
    int applyStep(const CliStep& step, StepResult& r);
    // Emits a procedure's signal and waits until its slot has left the worker; false when its
    // reports ended in a failure (101) or it ended without a report of 100 (a cancel).
    bool runProcedure(const std::function<void()>& start, StepResult& r);
    // Asks the operator to do something with the camera and waits for Enter (unless --yes).
    bool askOperator(const QString& what, StepResult& r);
    // One line the operator types at the terminal, read in an event loop so that Ctrl-C still
    // reaches the runner: the line without its end, or `closed` when standard input ended first.
    struct OperatorLine {
        QString text;
        bool closed = false;
    };
    OperatorLine readOperatorLine();
    bool setSimScene(const QString& scene, StepResult& r);
    void report(int progress, const QString& text, StepResult* r);
    void fail(StepResult& r, const QString& text, int exit = CliFailed);
    // The step's one closing line, by its outcome.
    void finishStep(const CliStep& step, const StepResult& r);
    // Ends a progress bar standing on the terminal's last line.
    void endProgressLine();
    void writeJson(const QString& path, int exit);
    // The result file written whole through a temporary file, or the earlier file left as it was
    // and the reason told; false then.
    bool saveResultFile(const QString& path, const QByteArray& data);
    // ---- The run's result and record (clirunner_record.cpp) ----
    // The run's identity, station, operator and options as given, before its first step.
    void beginRecord(const CliPlan& plan);
    // The result as --json writes it and the run's record keeps it.
    QJsonObject resultJson(int exit) const;
    // A step's entry in the result: its name, arguments and options as given.
    static QJsonObject stepEntry(const CliStep& step);
    // The steps after a failure or a cancel, marked "skipped".
    void skipSteps(const std::vector<CliStep>& steps, size_t from);
    // The run's record into the records' database (or its spool); nothing for a run that did not
    // reach a calibration step.
    void recordRun(int exit);
    // ---- Writes into the camera (cliwrites.cpp) ----
    // The question before a write of `kind` into `set`, naming its backup: true with --yes or the
    // operator's "y"; false, with the step failed and nothing written, otherwise.
    bool confirmWrite(CameraServer::WriteKind kind, const QString& set, StepResult& r);
    int restoreStep(const CliStep& step, StepResult& r);
    // Closes the camera (the state found at open back, what the writes reported kept) and says
    // what it holds now; the JSON result's "cameraLeft" (empty when no camera was open).
    QJsonObject closeCamera();

    std::unique_ptr<CameraServer> m_server;
    QString m_bindError;
    bool m_yes = false;
    bool m_interrupted = false;
    bool m_tty = false;
    bool m_progressLine = false;  // a progress bar stands on the terminal's last line
    bool m_writing = false;       // a write into the camera runs: Ctrl-C lets it finish
    bool m_resultSaved = true;    // the JSON result was written whole
    bool m_keepFailed = false;    // at the close, a set written into the camera could not be kept
    int m_frameTimeoutMs = 0;
    int m_procedureTicket = 0;
    // The running step's progress shown so far, its first failure and its closing report.
    int m_shownProgress = 0;
    QString m_failure;
    QString m_closing;
    StepResult* m_current = nullptr;
    QJsonArray m_steps;
    QJsonObject m_camera;
    // The run's record.
    RecordSettings m_records;
    QString m_runId;
    QString m_operator;
    QDateTime m_started, m_ended;
    QJsonArray m_commandLine;
    QJsonObject m_options;
    QJsonObject m_recipe;
    QJsonObject m_cameraLeft;
};
