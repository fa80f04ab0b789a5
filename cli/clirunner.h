#pragma once
// The command-line runner: the window's procedures, on the same CameraServer, driven step after
// step without a display. Each procedure runs on the server's worker as the window runs it; its
// reports (OS_FpnInfo) go to standard error as the operator reads them in the progress panel.
//
// Exit codes: 0 every step succeeded (and every verification limit held), 1 a procedure failed,
// 2 a usage error, an unknown camera or a library that cannot be bound, 3 a verification limit
// failed, 130 cancelled by Ctrl-C (the camera's stream stopped).

#include "cli/cliplan.h"

#include <QJsonArray>
#include <QJsonObject>
#include <QObject>

#include <functional>
#include <memory>

class CameraServer;
class QSocketNotifier;

enum CliExit { CliOk = 0, CliFailed = 1, CliUsage = 2, CliLimits = 3, CliInterrupted = 130 };

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
    bool setSimScene(const QString& scene, StepResult& r);
    void report(int progress, const QString& text, StepResult* r);
    void fail(StepResult& r, const QString& text, int exit = CliFailed);
    void writeJson(const QString& path, int exit);

    std::unique_ptr<CameraServer> m_server;
    QString m_bindError;
    bool m_yes = false;
    bool m_interrupted = false;
    bool m_tty = false;
    bool m_progressLine = false;  // a progress bar stands on the terminal's last line
    StepResult* m_current = nullptr;
    QJsonArray m_steps;
    QJsonObject m_camera;
};
