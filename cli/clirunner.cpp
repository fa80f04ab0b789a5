// The command-line runner (clirunner.h).
//
// A step's story, as the window tells it with its panel:
//  1. the camera opened once, by name or the first one found;
//  2. the simulated camera's scene set when the step asks for it;
//  3. the operator asked to cover or uncover the lens (not with --yes);
//  4. the procedure's signal emitted on the server, its reports printed as they come, and the
//     runner waiting until the slot has left the worker;
//  5. the step's outcome, messages, figures and files kept for the JSON result, and its one
//     closing line on the terminal.
// Ctrl-C sets the server's cancel flag, as the panel's "取消" does; a library still waiting for a
// frame a moment later has its stream stopped, which ends the wait. A write into the camera is
// let finish. The camera's stream is stopped before the program ends with 130. The JSON result is
// written to a temporary file and renamed over the target, so a result that cannot be written
// whole leaves the earlier one as it was.
#include "cli/clirunner.h"

#include "camera/cameraserver.h"
#include "camera/properties.h"
#include "camera/settingranges.h"
#include "camera/tables.h"
#include "fpnparams/paramfile.h"
#include "cli/clihistory.h"
#include "loader.h"
#include "records/stepfigures.h"
#include "statustext.h"

#include <QCoreApplication>
#include <QDir>
#include <QEventLoop>
#include <QFile>
#include <QFileInfo>
#include <QJsonDocument>
#include <QRegularExpression>
#include <QSaveFile>
#include <QSettings>
#include <QSocketNotifier>
#include <QTimer>

#include <unistd.h>
#include <algorithm>
#include <cstdio>

namespace {

void toErr(const QString& text)
{
    std::fputs(text.toLocal8Bit().constData(), stderr);
    std::fflush(stderr);
}

void toOut(const QString& text)
{
    std::fputs(text.toLocal8Bit().constData(), stdout);
    std::fflush(stdout);
}

// After Ctrl-C: how long the procedure gets to notice the cancel before the stream is stopped under
// it (which ends a library's wait for a frame), and how long the runner waits for it at most.
constexpr int kStopStreamAfterMs = 250;
constexpr int kGiveUpAfterMs = 700;

QJsonArray rowsSummary(const QList<QList<double>>& rows)
{
    QJsonArray out;
    for (const QList<double>& r : rows) out.append(int(r.size()));
    return out;
}

// A setting of FPN.ini as the calibrations read it, with its range: the procedure that ran has
// refused a bad one, so the figures show the values it used.
double rangedSetting(CameraServer& s, const QString& key, double fallback)
{
    return checkSetting(key, s.settings().value(key, fallback)).value;
}

// GainMax as the calibrations read it: when absent, 1 on a line-scan camera and 8 on an area camera.
double calibrationGainMax(CameraServer& s)
{
    return rangedSetting(s, FpnIni::GainMax, FpnIni::gainMaxCalibrationDefault(s.m_isLinescan));
}

}  // namespace

QString cliWording(const QString& text)
{
    // "...，点击确定查看效果。" and "...，然后点击“继续”。" end the sentence before the click;
    // "...。点击确定查看报告。" goes whole. The same in English: "..., click OK to see the result.",
    // "..., then click "Continue"." and "... . Click OK to see the report.". The Chinese pattern
    // is data compared with the procedures' texts, written in escapes: (，|。)?(然后)?点击[^。]*。
    static const QRegularExpression click(
        QStringLiteral("(\uFF0C|\u3002)?(\u7136\u540E)?\u70B9\u51FB[^\u3002]*\u3002"));
    static const QRegularExpression clickEn(QStringLiteral("(,\\s*|\\.\\s+)(then\\s+)?[Cc]lick\\b[^.]*\\.$"));
    QString out = text;
    out.replace(click, QStringLiteral("\u3002"));
    out.replace(clickEn, QStringLiteral("."));
    return out;
}

CliRunner::CliRunner() : m_tty(isatty(STDERR_FILENO) != 0) {}

CliRunner::~CliRunner() = default;

void CliRunner::interrupt()
{
    if (m_interrupted) return;
    m_interrupted = true;
    endProgressLine();
    if (m_writing) {
        // Half a set in the camera is worse than a few seconds more.
        toErr(tr("正在写入相机：写入完成后结束。\n"));
    } else if (m_server) {
        m_server->cancel();
    }
    emit interrupted();
}

void CliRunner::endProgressLine()
{
    if (m_progressLine) toErr(QStringLiteral("\n"));
    m_progressLine = false;
}

void CliRunner::report(int progress, const QString& text, StepResult* r)
{
    // What a procedure says after Ctrl-C is the end of a cancelled run; the step's closing line
    // tells it once.
    if (m_interrupted && !m_writing && progress >= 0) return;
    const QString said = cliWording(text);
    if (r) r->messages.append(QJsonObject{{QStringLiteral("progress"), progress}, {QStringLiteral("text"), said}});
    // A report of several lines reads as one line here.
    const QString line = said.trimmed().replace(QLatin1Char('\n'), QLatin1Char(' '));
    if (progress == 100) {
        // The procedure's closing report: the step's closing line says it.
        m_closing = line;
        return;
    }
    if (progress > 100) {
        if (m_failure.isEmpty()) m_failure = line;
        endProgressLine();
        toErr(tr("错误：%1\n").arg(line));
        return;
    }
    if (progress < 0) {
        endProgressLine();
        toErr(line + QLatin1Char('\n'));
        return;
    }
    if (line.isEmpty()) return;
    // Reports of sub-steps start their own count low again; the bar only moves forward.
    m_shownProgress = std::max(m_shownProgress, std::clamp(progress, 0, 99));
    if (m_tty) {
        // One line that the next report overwrites.
        const int filled = m_shownProgress / 5;
        const QString bar = QString(filled, QLatin1Char('#')) + QString(20 - filled, QLatin1Char('.'));
        toErr(QStringLiteral("\r\033[K[%1] %2% %3").arg(bar).arg(m_shownProgress, 3).arg(line));
        m_progressLine = true;
        return;
    }
    toErr(QStringLiteral("[%1] %2\n").arg(m_shownProgress, 3).arg(line));
}

void CliRunner::fail(StepResult& r, const QString& text, int exit)
{
    r.outcome = exit == CliLimits ? QStringLiteral("limits") : QStringLiteral("failed");
    r.exit = exit;
    // Told in the step's closing line.
    if (m_failure.isEmpty()) m_failure = text;
    r.messages.append(QJsonObject{{QStringLiteral("progress"), -1}, {QStringLiteral("text"), text}});
}

void CliRunner::finishStep(const CliStep& step, const StepResult& r)
{
    endProgressLine();
    QString verdict;
    if (r.outcome == QLatin1String("cancelled")) {
        verdict = tr("已取消。");
    } else if (r.outcome == QLatin1String("failed")) {
        const QString why = !m_failure.isEmpty() ? m_failure : m_closing;
        verdict = why.isEmpty() ? tr("失败：过程没有完成。") : tr("失败：%1").arg(why);
    } else if (r.outcome == QLatin1String("limits")) {
        verdict = tr("未达到限值：%1").arg(m_closing.isEmpty() ? m_failure : m_closing);
    } else {
        verdict = m_closing.isEmpty() ? tr("完成。") : tr("完成：%1").arg(m_closing);
    }
    const QString name = (step.name + QLatin1Char(' ') + step.args.join(QLatin1Char(' '))).trimmed();
    toErr(QStringLiteral("%1 %2\n").arg(name, verdict));
}

bool CliRunner::openCamera(const CliPlan& plan, StepResult& r)
{
    if (m_server && m_server->m_opened) return true;
    if (!m_bindError.isEmpty()) {
        fail(r, m_bindError, CliUsage);
        return false;
    }
    if (!m_server) {
        m_server = std::make_unique<CameraServer>();
        m_server->setFrameTimeout(m_frameTimeoutMs);
        connect(m_server.get(), &CameraServer::OS_CameraWarning, this,
                [this](const QString& text) { report(-1, text, m_current); });
    }
    const QStringList cameras = m_server->enumerate();
    if (cameras.isEmpty()) {
        fail(r, tr("没有发现相机。"), CliUsage);
        return false;
    }
    const QString name = plan.camera.isEmpty() ? cameras.first() : plan.camera;
    if (!cameras.contains(name)) {
        fail(r, tr("未找到相机 \"%1\"（找到：%2）。").arg(name, cameras.join(tr("、"))), CliUsage);
        return false;
    }
    lsxStatus openStatus = LSX_OK;
    const auto conn = connect(m_server.get(), &CameraServer::OS_OpenCameraFailed, this,
                              [&openStatus](lsxStatus s) { openStatus = s; });
    m_server->open(name);
    disconnect(conn);
    if (!m_server->m_opened) {
        fail(r, tr("相机打开失败，失败原因：%1").arg(statusText(openStatus)));
        return false;
    }
    m_camera = cameraResultJson(name, m_server->cameraInfo(name));
    report(-1, tr("已连接相机 %1。").arg(name), &r);
    return true;
}

bool CliRunner::setSimScene(const QString& scene, StepResult& r)
{
    if (!lsx::hasSceneControl()) {
        fail(r, tr("--sim-scene 只用于模拟相机：当前的相机库不能设置场景。"), CliUsage);
        return false;
    }
    lsx::Scene s;
    const std::string camera = m_server->cameraName().toStdString();
    lsx::getScene(camera, s);
    s.kind = scene == QLatin1String("dark") ? 0 : scene == QLatin1String("flat") ? 1 : 2;
    const int32_t status = lsx::setScene(camera, s);
    if (status != LSX_OK) {
        fail(r, tr("设置模拟场景出错，错误原因：%1-%2.").arg(status).arg(statusText(status)));
        return false;
    }
    report(-1, tr("模拟场景：%1").arg(scene), &r);
    return true;
}

bool CliRunner::askOperator(const QString& what, StepResult& r)
{
    if (m_yes) return true;
    endProgressLine();
    toErr(what + tr("\n按回车键继续，Ctrl-C 取消。"));
    const OperatorLine line = readOperatorLine();
    toErr(QStringLiteral("\n"));
    if (m_interrupted) {
        r.outcome = QStringLiteral("cancelled");
        r.exit = CliInterrupted;
        return false;
    }
    if (line.closed) {
        fail(r, tr("没有操作员的确认（标准输入已关闭）；无人值守时请加 --yes。"), CliUsage);
        return false;
    }
    return true;
}

CliRunner::OperatorLine CliRunner::readOperatorLine()
{
    OperatorLine line;
    QEventLoop loop;
    QSocketNotifier input(STDIN_FILENO, QSocketNotifier::Read);
    connect(&input, &QSocketNotifier::activated, &loop, [&] {
        char c = 0;
        const ssize_t n = ::read(STDIN_FILENO, &c, 1);
        if (n <= 0) {
            line.closed = true;
            loop.quit();
        } else if (c == '\n') {
            loop.quit();
        } else {
            line.text += QLatin1Char(c);
        }
    });
    connect(this, &CliRunner::interrupted, &loop, &QEventLoop::quit);
    loop.exec();
    return line;
}

bool CliRunner::runProcedure(const std::function<void()>& start, StepResult& r)
{
    bool failed = false, finished = false;
    const auto conn = connect(m_server.get(), &CameraServer::OS_FpnInfo, this, [&](int progress, const QString& text) {
        report(progress, text, &r);
        if (progress > 100) failed = true;
        if (progress == 100) finished = true;
    });
    QEventLoop loop;
    connect(this, &CliRunner::procedureEnded, &loop, &QEventLoop::quit);
    // After Ctrl-C: the stream stopped under a library that still waits for a frame, and at last
    // the wait given up (the program's end then deals with a worker that does not come back).
    QTimer stopStream, giveUp;
    stopStream.setSingleShot(true);
    giveUp.setSingleShot(true);
    connect(&stopStream, &QTimer::timeout, this, [this] {
        if (m_server && m_server->workerBusy()) lsxStop(m_server->m_handle);
    });
    connect(&giveUp, &QTimer::timeout, &loop, &QEventLoop::quit);
    auto onInterrupt = [&] {
        if (m_writing) return;
        stopStream.start(kStopStreamAfterMs);
        giveUp.start(kGiveUpAfterMs);
    };
    connect(this, &CliRunner::interrupted, &loop, onInterrupt);
    start();
    // Queued behind the slot on the worker: when it runs, the slot has ended and every report it
    // made is already on its way here, ahead of the signal. The runner outlives the worker's
    // queue; a late signal of an earlier procedure finds no loop.
    const int ticket = ++m_procedureTicket;
    QMetaObject::invokeMethod(
        m_server.get(),
        [this, ticket] {
            QMetaObject::invokeMethod(
                this,
                [this, ticket] {
                    if (ticket == m_procedureTicket) emit procedureEnded();
                },
                Qt::QueuedConnection);
        },
        Qt::QueuedConnection);
    if (m_interrupted) onInterrupt();
    loop.exec();
    disconnect(conn);
    endProgressLine();
    if (m_interrupted && !m_writing) {
        r.outcome = QStringLiteral("cancelled");
        r.exit = CliInterrupted;
        return false;
    }
    if (failed || !finished) {
        r.outcome = QStringLiteral("failed");
        r.exit = CliFailed;
        return false;
    }
    return true;
}

int CliRunner::runStep(const CliStep& step, const CliPlan& plan, StepResult& r)
{
    const QString& n = step.name;
    if (n == QLatin1String("list")) {
        auto server = m_server ? nullptr : std::make_unique<CameraServer>();
        const QStringList cameras = (m_server ? m_server.get() : server.get())->enumerate();
        for (const QString& c : cameras) toOut(c + QLatin1Char('\n'));
        r.figures.insert(QStringLiteral("cameras"), QJsonArray::fromStringList(cameras));
        return CliOk;
    }
    if (n == QLatin1String("history")) {
        const HistoryOutcome h = runHistory(step, plan.db);
        for (const QString& note : h.notes) report(-1, note, &r);
        r.figures = h.figures;
        for (const QString& f : h.files) r.files.append(f);
        if (h.exit != CliOk) fail(r, h.error, h.exit);
        return h.exit;
    }
    if (n == QLatin1String("run")) {
        CliPlan recipe;
        recipe.camera = plan.camera;
        if (!readRecipe(step.args.first(), recipe)) {
            fail(r, recipe.error, CliUsage);
            return r.exit;
        }
        CliPlan inner = plan;
        inner.camera = recipe.camera;
        r.files.append(QFileInfo(step.args.first()).absoluteFilePath());
        m_recipe = QJsonObject{{QStringLiteral("path"), r.files.last()},
                               {QStringLiteral("sha256"), fileDigest(r.files.last().toString()).sha256}};
        QJsonObject recipeSettings;
        for (auto it = recipe.settings.cbegin(); it != recipe.settings.cend(); ++it)
            recipeSettings.insert(it.key(), it.value());
        m_recipe.insert(QStringLiteral("settings"), recipeSettings);
        // The recipe's settings go into FPN.ini before its steps, as the window's panels would put
        // them there.
        if (!recipe.settings.isEmpty()) {
            QSettings ini(fpnIniPath(), QSettings::IniFormat);
            for (auto it = recipe.settings.cbegin(); it != recipe.settings.cend(); ++it)
                ini.setValue(it.key(), it.value());
            ini.sync();
            if (ini.status() != QSettings::NoError) {
                fail(r, tr("无法写入设置文件 %1。").arg(fpnIniPath()));
                return r.exit;
            }
        }
        return runSteps(recipe.steps, inner);
    }

    if (n == QLatin1String("apply")) return applyStep(step, r);

    if (!openCamera(plan, r)) return r.exit;
    if (!step.scene.isEmpty() && !setSimScene(step.scene, r)) return r.exit;
    CameraServer* s = m_server.get();

    if (n == QLatin1String("info")) {
        const properties::RoiLimits limits = properties::roiLimits(s->m_handle);
        const properties::Roi roi = properties::roi(s->m_handle);
        const properties::Range gain = properties::gainRange(s->m_handle);
        const properties::Range exposure = properties::exposureRange(s->m_handle);
        QJsonObject f = m_camera;
        f.insert(QStringLiteral("width"), roi.width);
        f.insert(QStringLiteral("sensorWidth"), limits.maxWidth);
        f.insert(QStringLiteral("lines"), s->m_lineCount);
        f.insert(QStringLiteral("gainMin"), gain.min);
        f.insert(QStringLiteral("gainMax"), gain.max);
        f.insert(QStringLiteral("exposureMin"), exposure.min);
        f.insert(QStringLiteral("exposureMax"), exposure.max);
        f.insert(QStringLiteral("maxK"), int(s->m_maxK));
        f.insert(QStringLiteral("maxB"), int(s->m_maxB));
        f.insert(QStringLiteral("multiLevelK"), s->m_supportMLK != 0);
        for (auto it = f.constBegin(); it != f.constEnd(); ++it)
            toOut(QStringLiteral("%1: %2\n").arg(it.key(), it.value().toVariant().toString()));
        r.figures = f;
        return CliOk;
    }
    if (n == QLatin1String("exposure")) {
        bool ok = false;
        const double us = step.args.first().toDouble(&ok);
        const properties::Range range = properties::exposureRange(s->m_handle);
        if (!ok || !(us >= range.min && us <= range.max)) {
            fail(r,
                 tr("曝光时间应在 %1 到 %2 微秒之间，而不是 \"%3\"。")
                     .arg(range.min)
                     .arg(range.max)
                     .arg(step.args.first()),
                 CliUsage);
            return r.exit;
        }
        const lsxStatus status = lsxSetExposure(s->m_handle, us);
        if (status != LSX_OK) {
            fail(r, tr("设置曝光时间出错，错误原因：%1-%2.").arg(status).arg(statusText(status)));
            return r.exit;
        }
        double now = 0.0;
        lsxGetExposure(s->m_handle, &now);
        report(-1, tr("曝光时间：%1 us").arg(now), &r);
        if (const QString told = s->darkCurrentWarning(now); !told.isEmpty()) report(-1, told, &r);
        r.figures = QJsonObject{{QStringLiteral("exposure"), now}};
        return CliOk;
    }
    if (n == QLatin1String("dark")) {
        if (!askOperator(tr("暗场校正：请盖上镜头盖，使相机处于完全黑暗中。"), r)) return r.exit;
        const bool autoDoffset = step.options.contains(QStringLiteral("auto-doffset"));
        if (!runProcedure([&] { emit s->IS_DSNUStart(autoDoffset); }, r)) return r.exit;
        r.figures = darkStepFigures(s->m_bList, int(rangedSetting(*s, FpnIni::DOffset, FpnIni::DOffsetDefault)),
                                    rangedSetting(*s, FpnIni::GainMin, FpnIni::GainMinDefault), calibrationGainMax(*s),
                                    autoDoffset);
        return CliOk;
    }
    if (n == QLatin1String("bright")) {
        if (!askOperator(tr("明场校正：请取下镜头盖，对准均匀照明的白色目标。"), r)) return r.exit;
        // "同时进行感光平场(FFC)" as the window keeps it in FPN.ini.
        s->setFlatEnable(s->settings().value(FpnIni::FlatEnable, FpnIni::FlatEnableDefault).toBool());
        if (!runProcedure([&] { emit s->IS_FpnStart(); }, r)) return r.exit;
        r.figures =
            brightStepFigures(s->m_kList, s->m_kScaleList, int(s->m_kPoints.size()), exposuresFromMessages(r.messages),
                              rangedSetting(*s, FpnIni::GainMin, FpnIni::GainMinDefault), calibrationGainMax(*s),
                              int(rangedSetting(*s, FpnIni::PixelMax, FpnIni::PixelMaxDefault)));
        return CliOk;
    }
    if (n == QLatin1String("write-fpn")) {
        const QString set = step.args.first();
        const bool factory = set == QLatin1String("factory");
        if (factory && !s->factoryMode()) {
            fail(r, tr("没有写入Factory参数权限。"));
            return r.exit;
        }
        if (!confirmWrite(CameraServer::WriteKind::Fpn, set, r)) return r.exit;
        const lsxStatus selected = properties::setSelection(s->m_handle, properties::kFpnSelKey, set);
        if (selected != LSX_OK) {
            fail(r, tr("选择FPN参数组 \"%1\" 出错，错误原因：%2-%3.").arg(set).arg(selected).arg(statusText(selected)));
            return r.exit;
        }
        m_writing = true;
        const bool written = runProcedure([&] { emit s->IS_FpnWriteDown(factory ? 1 : 0); }, r);
        m_writing = false;
        if (!written) return r.exit;
        r.figures = QJsonObject{{QStringLiteral("set"), set}};
        return CliOk;
    }
    if (n == QLatin1String("save-fpn")) {
        // The files' one rule: the name given, with its type's mark added when it is missing.
        const QString path = withEnding(QFileInfo(step.args.first()).absoluteFilePath(), QStringLiteral(".FAC.FPN"));
        QString why;
        if (!s->saveFpnFile(path, &why)) {
            fail(r, tr("保存FPN参数出错，请重试。%1").arg(why));
            return r.exit;
        }
        report(-1, tr("FPN参数已保存到 %1").arg(path), &r);
        r.files.append(path);
        return CliOk;
    }
    if (n == QLatin1String("load-fpn")) {
        const QString path = QFileInfo(step.args.first()).absoluteFilePath();
        QString why;
        if (!s->loadFpnFile(path, &why)) {
            fail(r, tr("加载FPN参数出错，请重试。%1").arg(why));
            return r.exit;
        }
        report(-1, tr("已加载FPN参数 %1").arg(path), &r);
        r.figures = QJsonObject{{QStringLiteral("bRows"), rowsSummary(s->m_bList)},
                                {QStringLiteral("kRows"), rowsSummary(s->m_kList)}};
        return CliOk;
    }
    if (n == QLatin1String("ffc") || n == QLatin1String("lsc")) return flatStep(step, r);
    if (n == QLatin1String("verify")) return verifyStep(step, r);
    if (n == QLatin1String("restore")) return restoreStep(step, r);
    fail(r, tr("未知的步骤 %1。").arg(n), CliUsage);
    return r.exit;
}

int CliRunner::verifyStep(const CliStep& step, StepResult& r)
{
    CameraServer* s = m_server.get();
    // The report is the JSON one: its PDF needs the window's charts.
    const QString reportName = step.options.value(QStringLiteral("report"));
    if (!reportName.isEmpty() && !reportName.endsWith(QLatin1String(".json"), Qt::CaseInsensitive)) {
        fail(r, tr("--report 保存 JSON 报告（FILE.json）；PDF 报告请在窗口的校正验证结果中保存。"), CliUsage);
        return r.exit;
    }

    // The run's two questions: lens covered, target lit. With --yes the simulated camera's scene
    // follows them; a real station covers and uncovers the lens itself.
    bool answered = true;
    const auto asked = connect(s, &CameraServer::OS_VerifyAsk, this, [&](int question, const QString& text) {
        bool go = true;
        if (m_yes) {
            if (lsx::hasSceneControl())
                go = setSimScene(question == 1 ? QStringLiteral("dark") : QStringLiteral("flat"), r);
        } else {
            QString what = text;
            // The procedure's prefix, data compared with its text: 校正验证- or its English.
            what.remove(QRegularExpression(QStringLiteral("^(\u6821\u6B63\u9A8C\u8BC1-|Calibration verification: )")));
            go = askOperator(what, r);
        }
        if (!go) answered = false;
        s->verifyAnswer(question, go);
    });
    VerifyReport result;
    bool finished = false;
    const auto done = connect(s, &CameraServer::OS_VerifyFinished, this, [&](const VerifyReport& v) {
        result = v;
        finished = true;
    });
    const bool ran = runProcedure([&] { emit s->IS_VerifyStart(); }, r);
    disconnect(asked);
    disconnect(done);
    if (!answered && r.exit != CliOk) return r.exit;
    if (!ran) return r.exit;
    if (!finished) {
        fail(r, tr("校正验证没有给出结果。"));
        return r.exit;
    }

    const bool passes = reportPasses(result);
    // A figure that could not be measured is said so, never printed as a number.
    auto figure = [](double v) { return std::isfinite(v) ? QString::number(v, 'f', 3) : tr("不可测"); };
    QStringList levels;
    for (int i = 0; i < result.levels.size() && i < result.levelExposures.size(); ++i)
        levels.append(tr("%1% 饱和 %2 us").arg(result.levels[i]).arg(result.levelExposures[i], 0, 'f', 1));
    report(-1, tr("PRNU 测量：%1").arg(levels.join(tr("、"))), &r);
    for (const VerifyPlane& p : result.planes) {
        const bool ok = planePasses(p.after, result.limits);
        report(-1,
               tr("%1：DSNU %2 → %3 DN10，PRNU %4 → %5 %，缺陷列 %6（%7）")
                   .arg(p.name)
                   .arg(figure(p.before.dsnu), figure(p.after.dsnu), figure(p.before.prnu), figure(p.after.prnu))
                   .arg(p.after.defects.size())
                   .arg(ok ? tr("合格") : tr("不合格")),
               &r);
    }
    r.figures = verifyStepFigures(result);
    if (!reportName.isEmpty()) {
        const QString path = QFileInfo(reportName).absoluteFilePath();
        QString why;
        if (!saveAtomically(path, QJsonDocument(verifyReportJson(result)).toJson(), &why)) {
            fail(r, tr("无法保存验证报告 %1（%2）。").arg(path, why));
            return r.exit;
        }
        report(-1, tr("验证报告已保存到 %1").arg(path), &r);
        r.files.append(path);
    }
    if (!passes) {
        r.outcome = QStringLiteral("limits");
        r.exit = CliLimits;
        return r.exit;
    }
    return CliOk;
}

int CliRunner::flatStep(const CliStep& step, StepResult& r)
{
    CameraServer* s = m_server.get();
    const bool ffc = step.name == QLatin1String("ffc");
    // The target as the tab's three choices: the channel's mean, a share of its range, a level.
    float goal = -1.0f;
    const QString g = step.options.value(QStringLiteral("goal"), QStringLiteral("mean"));
    bool ok = true;
    if (g.startsWith(QLatin1String("rate:"))) {
        goal = g.mid(5).toFloat(&ok);
        ok = ok && goal >= 0.0f && goal <= 1.0f;
    } else if (g.startsWith(QLatin1String("level:"))) {
        goal = g.mid(6).toFloat(&ok);
        ok = ok && goal > 1.0f && goal <= 255.0f;
    } else if (g != QLatin1String("mean")) {
        ok = false;
    }
    if (!ok) {
        fail(r, tr("--goal 应为 mean、rate:R（0 到 1）或 level:L（1 到 255），而不是 \"%1\"。").arg(g), CliUsage);
        return r.exit;
    }
    // The write target checked before anything runs: an entry of the camera's list, not "Disable".
    const QString set = step.options.value(QStringLiteral("write"));
    int setIndex = -1;
    if (!set.isEmpty()) {
        const properties::Selection sets =
            properties::selection(s->m_handle, ffc ? properties::kFfcSelKey : properties::kLscSelKey);
        setIndex = int(sets.texts.indexOf(set));
        if (setIndex <= 0) {
            const QStringList choices = sets.texts.mid(1);
            fail(r,
                 choices.isEmpty() ? tr("相机没有%1参数组，无法写入相机；可用 --save 保存为文件。")
                                         .arg(ffc ? QStringLiteral("FFC") : QStringLiteral("LSC"))
                                   : tr("请选择正确的写入位置！（可选：%1）").arg(choices.join(tr("、"))),
                 CliUsage);
            return r.exit;
        }
        if (!confirmWrite(ffc ? CameraServer::WriteKind::Ffc : CameraServer::WriteKind::Lsc, set, r)) return r.exit;
    }

    if (!askOperator(ffc ? tr("平场校正：请对准均匀照明的白色目标。") : tr("镜头校正：请对准均匀照明的白色目标。"), r))
        return r.exit;
    if (!runProcedure([&] { ffc ? emit s->IS_ApplyFFC(cv::Mat(), cv::Mat(), goal) : emit s->IS_ApplyLSC(goal); }, r))
        return r.exit;
    r.figures = flatStepFigures(ffc, ffc ? s->m_ffcKList : s->m_lscPolyList);

    if (setIndex > 0) {
        // A Ctrl-C during the gains ends the step before the write.
        if (m_interrupted) {
            r.outcome = QStringLiteral("cancelled");
            r.exit = CliInterrupted;
            return r.exit;
        }
        report(-1, tr("写入 %1 ...").arg(set), &r);
        m_writing = true;
        const bool written = runProcedure(
            [&] { ffc ? emit s->IS_FFCWriteDown(setIndex - 1, set) : emit s->IS_LSCWriteDown(setIndex - 1, set); }, r);
        m_writing = false;
        if (!written) return r.exit;
        r.figures.insert(QStringLiteral("set"), set);
    }
    const QString name = step.options.value(QStringLiteral("save"));
    if (!name.isEmpty()) {
        // The files' one rule: the name given, with its type's mark added ("<model>.FAC.FFC." in
        // front of an FFC file, ".LSC.FAC" after an LSC file).
        const QString chosen = QFileInfo(name).absoluteFilePath();
        QString why;
        const QString path = ffc ? s->saveFfcFile(chosen, &why) : s->saveLscFile(chosen, &why);
        if (path.isEmpty()) {
            fail(r, tr("保存校正参数出错：%1").arg(why));
            return r.exit;
        }
        report(-1, tr("校正参数已保存至 %1").arg(path), &r);
        r.files.append(path);
    }
    return CliOk;
}

int CliRunner::runSteps(const std::vector<CliStep>& steps, const CliPlan& plan)
{
    for (size_t i = 0; i < steps.size(); ++i) {
        const CliStep& step = steps[i];
        StepResult r;
        m_current = &r;
        m_shownProgress = 0;
        m_failure.clear();
        m_closing.clear();
        report(-1, QStringLiteral("== %1 %2").arg(step.name, step.args.join(QLatin1Char(' '))).trimmed(), nullptr);
        const QDateTime started = QDateTime::currentDateTimeUtc();
        const int exit = runStep(step, plan, r);
        const QDateTime ended = QDateTime::currentDateTimeUtc();
        m_current = nullptr;
        // A recipe's steps close with lines of their own; the recipe itself only when it failed.
        if (step.name != QLatin1String("run") || r.outcome != QLatin1String("ok")) finishStep(step, r);
        QJsonObject entry = stepEntry(step);
        entry.insert(QStringLiteral("outcome"), r.outcome);
        entry.insert(QStringLiteral("startedAt"), recordTime(started));
        entry.insert(QStringLiteral("endedAt"), recordTime(ended));
        entry.insert(QStringLiteral("durationMs"), double(started.msecsTo(ended)));
        entry.insert(QStringLiteral("messages"), r.messages);
        if (!r.figures.isEmpty()) entry.insert(QStringLiteral("figures"), r.figures);
        if (!r.files.isEmpty()) {
            entry.insert(QStringLiteral("files"), r.files);
            QJsonArray digests;
            for (const QJsonValue& f : r.files) {
                const RecordFile d = fileDigest(f.toString());
                digests.append(QJsonObject{{QStringLiteral("path"), d.path},
                                           {QStringLiteral("sha256"), d.sha256},
                                           {QStringLiteral("bytes"), double(d.bytes)}});
            }
            entry.insert(QStringLiteral("fileDigests"), digests);
        }
        if (step.name != QLatin1String("run")) m_steps.append(entry);
        if (m_interrupted || exit != CliOk) {
            skipSteps(steps, i + 1);
            return m_interrupted ? CliInterrupted : exit;
        }
    }
    return CliOk;
}

int CliRunner::run(const CliPlan& plan, const QString& bindError)
{
    m_bindError = bindError;
    m_yes = plan.yes;
    m_frameTimeoutMs = plan.frameTimeoutMs;
    // A result that could not be kept is found out before the camera is touched.
    if (!plan.json.isEmpty()) {
        const QFileInfo target(plan.json);
        const QFileInfo folder(target.absolutePath());
        QString why;
        if (!folder.isDir())
            why = tr("目录 %1 不存在").arg(folder.absoluteFilePath());
        else if (target.isDir())
            why = tr("这是一个目录");
        else if (!folder.isWritable())
            why = tr("目录 %1 不可写").arg(folder.absoluteFilePath());
        if (!why.isEmpty()) {
            toErr(tr("无法写入结果文件 %1：%2。没有执行任何步骤。\n").arg(target.absoluteFilePath(), why));
            return CliFailed;
        }
    }
    beginRecord(plan);
    if (!m_records.error.isEmpty() && !plan.db.isEmpty()) {
        // A --db that cannot be understood is the command line's fault, told before anything runs.
        toErr(m_records.error + QLatin1Char('\n'));
        return CliUsage;
    }
    int exit = runSteps(plan.steps, plan);
    if (m_interrupted) exit = CliInterrupted;
    m_ended = QDateTime::currentDateTimeUtc();
    // The stream stopped, whatever the procedure left: a cancelled run ends at its next frame.
    if (m_server && m_server->m_opened) lsxStop(m_server->m_handle);
    // Closed before the result is written, so that the result says what the camera holds; a set
    // written but not kept leaves the camera other than the steps reported it.
    m_cameraLeft = closeCamera();
    if (m_keepFailed && exit != CliUsage && exit != CliInterrupted) exit = CliFailed;
    if (!plan.json.isEmpty()) {
        writeJson(plan.json, exit);
        // The station reads its result from the file: one that is not there whole is a failure,
        // unless the run already ended as a usage error or by Ctrl-C.
        if (!m_resultSaved && exit != CliUsage && exit != CliInterrupted) exit = CliFailed;
    }
    recordRun(exit);
    m_server.reset();
    return exit;
}

void CliRunner::writeJson(const QString& path, int exit)
{
    m_resultSaved = saveResultFile(path, QJsonDocument(resultJson(exit)).toJson(QJsonDocument::Indented));
}

bool CliRunner::saveResultFile(const QString& path, const QByteArray& data)
{
    QSaveFile f(path);
    QString why;
    // Flushed before the commit: a commit does not see its own last flush fail, and would put a
    // file cut short in place of the earlier one.
    if (!f.open(QIODevice::WriteOnly))
        why = f.errorString();
    else if (f.write(data) != data.size() || !f.flush())
        // The library's text for a write cut short is often no more than "Unknown error".
        why = tr("文件没有完整写入，磁盘可能已满或超出了文件大小限制");
    else if (!f.commit())
        why = f.errorString();
    if (why.isEmpty()) return true;
    toErr(tr("无法写入结果文件 %1：%2。结果没有保存，原有的文件保持不变。\n")
              .arg(QFileInfo(path).absoluteFilePath(), why));
    return false;
}
