// The command-line runner (clirunner.h).
//
// A step's story, as the window tells it with its panel:
//  1. the camera opened once, by name or the first one found;
//  2. the simulated camera's scene set when the step asks for it;
//  3. the operator asked to cover or uncover the lens (not with --yes);
//  4. the procedure's signal emitted on the server, its reports printed as they come, and the
//     runner waiting until the slot has left the worker;
//  5. the step's outcome, messages, figures and files kept for the JSON result.
// Ctrl-C sets the server's cancel flag, as the panel's "取消" does; the camera's stream is stopped
// before the program ends with 130.
#include "cli/clirunner.h"

#include "camera/cameraserver.h"
#include "camera/properties.h"
#include "camera/tables.h"
#include "loader.h"
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

QJsonArray rowsSummary(const QList<QList<double>>& rows)
{
    QJsonArray out;
    for (const QList<double>& r : rows) out.append(int(r.size()));
    return out;
}

}  // namespace

CliRunner::CliRunner() : m_tty(isatty(STDERR_FILENO) != 0) {}

CliRunner::~CliRunner() = default;

void CliRunner::interrupt()
{
    if (m_interrupted) return;
    m_interrupted = true;
    toErr(QStringLiteral("\n取消操作。\n"));
    if (m_server) m_server->cancel();
    emit interrupted();
}

void CliRunner::report(int progress, const QString& text, StepResult* r)
{
    if (r) r->messages.append(QJsonObject{{QStringLiteral("progress"), progress}, {QStringLiteral("text"), text}});
    // A report of several lines reads as one line here.
    const QString line = text.trimmed().replace(QLatin1Char('\n'), QLatin1Char(' '));
    if (line.isEmpty() && progress > 0 && progress < 100) return;
    if (m_tty && progress >= 0 && progress <= 100) {
        // One line that the next report overwrites; a closing report stays.
        const int filled = std::clamp(progress, 0, 100) / 5;
        const QString bar = QString(filled, QLatin1Char('#')) + QString(20 - filled, QLatin1Char('.'));
        toErr(QStringLiteral("\r\033[K[%1] %2% %3").arg(bar).arg(progress, 3).arg(line));
        m_progressLine = true;
        if (progress == 100) {
            toErr(QStringLiteral("\n"));
            m_progressLine = false;
        }
        return;
    }
    if (m_progressLine) toErr(QStringLiteral("\n"));
    m_progressLine = false;
    toErr(progress >= 0 ? QStringLiteral("[%1] %2\n").arg(progress, 3).arg(line) : line + QLatin1Char('\n'));
}

void CliRunner::fail(StepResult& r, const QString& text, int exit)
{
    r.outcome = exit == CliLimits ? QStringLiteral("limits") : QStringLiteral("failed");
    r.exit = exit;
    report(-1, text, &r);
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
        connect(m_server.get(), &CameraServer::OS_CameraWarning, this,
                [this](const QString& text) { report(-1, text, m_current); });
    }
    const QStringList cameras = m_server->enumerate();
    if (cameras.isEmpty()) {
        fail(r, QStringLiteral("没有发现相机。"), CliUsage);
        return false;
    }
    const QString name = plan.camera.isEmpty() ? cameras.first() : plan.camera;
    if (!cameras.contains(name)) {
        fail(r, QStringLiteral("未找到相机 \"%1\"（找到：%2）。").arg(name, cameras.join(QStringLiteral("、"))),
             CliUsage);
        return false;
    }
    lsxStatus openStatus = LSX_OK;
    const auto conn = connect(m_server.get(), &CameraServer::OS_OpenCameraFailed, this,
                              [&openStatus](lsxStatus s) { openStatus = s; });
    m_server->open(name);
    disconnect(conn);
    if (!m_server->m_opened) {
        fail(r, QStringLiteral("相机打开失败，失败原因：%1").arg(statusText(openStatus)));
        return false;
    }
    const lsxCameraInfo info = m_server->cameraInfo(name);
    m_camera = QJsonObject{{QStringLiteral("name"), name},
                           {QStringLiteral("model"), cameraInfoText(info.model, sizeof info.model)},
                           {QStringLiteral("sensor"), cameraInfoText(info.sensor, sizeof info.sensor)},
                           {QStringLiteral("type"), cameraInfoText(info.cameraType, sizeof info.cameraType)}};
    report(-1, QStringLiteral("已连接相机 %1。").arg(name), &r);
    return true;
}

bool CliRunner::setSimScene(const QString& scene, StepResult& r)
{
    if (!lsx::hasSceneControl()) {
        fail(r, QStringLiteral("--sim-scene 只用于模拟相机：当前的相机库不能设置场景。"), CliUsage);
        return false;
    }
    lsx::Scene s;
    const std::string camera = m_server->cameraName().toStdString();
    lsx::getScene(camera, s);
    s.kind = scene == QLatin1String("dark") ? 0 : scene == QLatin1String("flat") ? 1 : 2;
    const int32_t status = lsx::setScene(camera, s);
    if (status != LSX_OK) {
        fail(r, QStringLiteral("设置模拟场景出错，错误原因：%1-%2.").arg(status).arg(statusText(status)));
        return false;
    }
    report(-1, QStringLiteral("模拟场景：%1").arg(scene), &r);
    return true;
}

bool CliRunner::askOperator(const QString& what, StepResult& r)
{
    if (m_yes) return true;
    toErr(what + QStringLiteral("\n按回车键继续，Ctrl-C 取消。"));
    // Waits in an event loop, so that Ctrl-C still reaches the runner.
    QEventLoop loop;
    bool answered = false, closed = false;
    QSocketNotifier input(STDIN_FILENO, QSocketNotifier::Read);
    connect(&input, &QSocketNotifier::activated, &loop, [&] {
        char c = 0;
        const ssize_t n = ::read(STDIN_FILENO, &c, 1);
        if (n <= 0) {
            closed = true;
            loop.quit();
        } else if (c == '\n') {
            answered = true;
            loop.quit();
        }
    });
    connect(this, &CliRunner::interrupted, &loop, &QEventLoop::quit);
    loop.exec();
    toErr(QStringLiteral("\n"));
    if (m_interrupted) {
        r.outcome = QStringLiteral("cancelled");
        r.exit = CliInterrupted;
        return false;
    }
    if (!answered || closed) {
        fail(r, QStringLiteral("没有操作员的确认（标准输入已关闭）；无人值守时请加 --yes。"), CliUsage);
        return false;
    }
    return true;
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
    start();
    // Queued behind the slot on the worker: when it runs, the slot has ended and every report it
    // made is already on its way here, ahead of the quit.
    QMetaObject::invokeMethod(
        m_server.get(), [&loop] { QMetaObject::invokeMethod(&loop, &QEventLoop::quit, Qt::QueuedConnection); },
        Qt::QueuedConnection);
    loop.exec();
    disconnect(conn);
    if (m_progressLine) {
        toErr(QStringLiteral("\n"));
        m_progressLine = false;
    }
    if (m_interrupted) {
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
        // The recipe's settings go into FPN.ini before its steps, as the window's panels would put
        // them there.
        if (!recipe.settings.isEmpty()) {
            QSettings ini(fpnIniPath(), QSettings::IniFormat);
            for (auto it = recipe.settings.cbegin(); it != recipe.settings.cend(); ++it)
                ini.setValue(it.key(), it.value());
            ini.sync();
            if (ini.status() != QSettings::NoError) {
                fail(r, QStringLiteral("无法写入设置文件 %1。").arg(fpnIniPath()));
                return r.exit;
            }
        }
        return runSteps(recipe.steps, inner);
    }

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
                 QStringLiteral("曝光时间应在 %1 到 %2 微秒之间，而不是 \"%3\"。")
                     .arg(range.min)
                     .arg(range.max)
                     .arg(step.args.first()),
                 CliUsage);
            return r.exit;
        }
        const lsxStatus status = lsxSetExposure(s->m_handle, us);
        if (status != LSX_OK) {
            fail(r, QStringLiteral("设置曝光时间出错，错误原因：%1-%2.").arg(status).arg(statusText(status)));
            return r.exit;
        }
        double now = 0.0;
        lsxGetExposure(s->m_handle, &now);
        report(-1, QStringLiteral("曝光时间：%1 us").arg(now), &r);
        if (const QString told = s->darkCurrentWarning(now); !told.isEmpty()) report(-1, told, &r);
        r.figures = QJsonObject{{QStringLiteral("exposure"), now}};
        return CliOk;
    }
    if (n == QLatin1String("dark")) {
        if (!askOperator(QStringLiteral("暗场校正：请盖上镜头盖，使相机处于完全黑暗中。"), r)) return r.exit;
        const bool autoDoffset = step.options.contains(QStringLiteral("auto-doffset"));
        if (!runProcedure([&] { emit s->IS_DSNUStart(autoDoffset); }, r)) return r.exit;
        r.figures = QJsonObject{{QStringLiteral("bRows"), rowsSummary(s->m_bList)},
                                {QStringLiteral("doffset"), s->settings().value(FpnIni::DOffset).toInt()}};
        return CliOk;
    }
    if (n == QLatin1String("bright")) {
        if (!askOperator(QStringLiteral("明场校正：请取下镜头盖，对准均匀照明的白色目标。"), r)) return r.exit;
        // "同时进行感光平场(FFC)" as the window keeps it in FPN.ini.
        s->setFlatEnable(s->settings().value(FpnIni::FlatEnable, FpnIni::FlatEnableDefault).toBool());
        if (!runProcedure([&] { emit s->IS_FpnStart(); }, r)) return r.exit;
        QJsonArray scale;
        for (double v : s->m_kScaleList) scale.append(v);
        r.figures = QJsonObject{{QStringLiteral("kRows"), rowsSummary(s->m_kList)},
                                {QStringLiteral("kScale"), scale},
                                {QStringLiteral("samples"), int(s->m_kPoints.size())}};
        return CliOk;
    }
    if (n == QLatin1String("write-fpn")) {
        const QString set = step.args.first();
        const bool factory = set == QLatin1String("factory");
        if (factory && !s->factoryMode()) {
            fail(r, QStringLiteral("没有写入Factory参数权限。"));
            return r.exit;
        }
        const lsxStatus selected = properties::setSelection(s->m_handle, properties::kFpnSelKey, set);
        if (selected != LSX_OK) {
            fail(r, QStringLiteral("选择FPN参数组 \"%1\" 出错，错误原因：%2-%3.")
                        .arg(set)
                        .arg(selected)
                        .arg(statusText(selected)));
            return r.exit;
        }
        if (!runProcedure([&] { emit s->IS_FpnWriteDown(factory ? 1 : 0); }, r)) return r.exit;
        r.figures = QJsonObject{{QStringLiteral("set"), set}};
        return CliOk;
    }
    if (n == QLatin1String("save-fpn")) {
        const QString path = QFileInfo(step.args.first()).absoluteFilePath();
        if (!s->saveFpnFile(path)) {
            fail(r, QStringLiteral("保存FPN参数出错，请重试。"));
            return r.exit;
        }
        report(-1, QStringLiteral("FPN参数已保存到 %1").arg(path), &r);
        r.files.append(path);
        return CliOk;
    }
    if (n == QLatin1String("load-fpn")) {
        const QString path = QFileInfo(step.args.first()).absoluteFilePath();
        if (!s->loadFpnFile(path)) {
            fail(r, QStringLiteral("加载FPN参数出错，请重试。"));
            return r.exit;
        }
        report(-1, QStringLiteral("已加载FPN参数 %1").arg(path), &r);
        r.figures = QJsonObject{{QStringLiteral("bRows"), rowsSummary(s->m_bList)},
                                {QStringLiteral("kRows"), rowsSummary(s->m_kList)}};
        return CliOk;
    }
    if (n == QLatin1String("ffc") || n == QLatin1String("lsc")) return flatStep(step, r);
    if (n == QLatin1String("verify")) return verifyStep(step, r);
    fail(r, QStringLiteral("未知的步骤 %1。").arg(n), CliUsage);
    return r.exit;
}

int CliRunner::verifyStep(const CliStep& step, StepResult& r)
{
    CameraServer* s = m_server.get();
    // The report is the JSON one: its PDF needs the window's charts.
    const QString reportName = step.options.value(QStringLiteral("report"));
    if (!reportName.isEmpty() && !reportName.endsWith(QLatin1String(".json"), Qt::CaseInsensitive)) {
        fail(r, QStringLiteral("--report 保存 JSON 报告（FILE.json）；PDF 报告请在窗口的校正验证结果中保存。"),
             CliUsage);
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
            what.remove(QRegularExpression(QStringLiteral("^校正验证-")));
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
        fail(r, QStringLiteral("校正验证没有给出结果。"));
        return r.exit;
    }

    const bool passes = reportPasses(result);
    // A figure that could not be measured is said so, never printed as a number.
    auto figure = [](double v) { return std::isfinite(v) ? QString::number(v, 'f', 3) : QStringLiteral("不可测"); };
    QStringList levels;
    for (int i = 0; i < result.levels.size() && i < result.levelExposures.size(); ++i)
        levels.append(QStringLiteral("%1% 饱和 %2 us").arg(result.levels[i]).arg(result.levelExposures[i], 0, 'f', 1));
    report(-1, QStringLiteral("PRNU 测量：%1").arg(levels.join(QStringLiteral("、"))), &r);
    QJsonArray planes;
    for (const VerifyPlane& p : result.planes) {
        const bool ok = planePasses(p.after, result.limits);
        planes.append(QJsonObject{{QStringLiteral("plane"), p.name},
                                  {QStringLiteral("dsnuBefore"), p.before.dsnu},
                                  {QStringLiteral("dsnuAfter"), p.after.dsnu},
                                  {QStringLiteral("prnuBefore"), p.before.prnu},
                                  {QStringLiteral("prnuAfter"), p.after.prnu},
                                  {QStringLiteral("defectsAfter"), int(p.after.defects.size())},
                                  {QStringLiteral("passes"), ok}});
        report(-1,
               QStringLiteral("%1：DSNU %2 → %3 DN10，PRNU %4 → %5 %，缺陷列 %6（%7）")
                   .arg(p.name)
                   .arg(figure(p.before.dsnu), figure(p.after.dsnu), figure(p.before.prnu), figure(p.after.prnu))
                   .arg(p.after.defects.size())
                   .arg(ok ? QStringLiteral("合格") : QStringLiteral("不合格")),
               &r);
    }
    r.figures = QJsonObject{{QStringLiteral("passes"), passes},
                            {QStringLiteral("maxPrnu"), result.limits.maxPrnu},
                            {QStringLiteral("maxDsnu"), result.limits.maxDsnu},
                            {QStringLiteral("maxDefects"), result.limits.maxDefects},
                            {QStringLiteral("planes"), planes}};
    if (!reportName.isEmpty()) {
        const QString path = QFileInfo(reportName).absoluteFilePath();
        QSaveFile f(path);
        if (!f.open(QIODevice::WriteOnly) || f.write(QJsonDocument(verifyReportJson(result)).toJson()) < 0
            || !f.commit()) {
            fail(r, QStringLiteral("无法保存验证报告 %1。").arg(path));
            return r.exit;
        }
        report(-1, QStringLiteral("验证报告已保存到 %1").arg(path), &r);
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
        fail(r, QStringLiteral("--goal 应为 mean、rate:R（0 到 1）或 level:L（1 到 255），而不是 \"%1\"。").arg(g),
             CliUsage);
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
            fail(r,
                 QStringLiteral("请选择正确的写入位置！（可选：%1）").arg(sets.texts.mid(1).join(QStringLiteral("、"))),
                 CliUsage);
            return r.exit;
        }
    }

    if (!askOperator(ffc ? QStringLiteral("平场校正：请对准均匀照明的白色目标。")
                         : QStringLiteral("镜头校正：请对准均匀照明的白色目标。"),
                     r))
        return r.exit;
    if (!runProcedure([&] { ffc ? emit s->IS_ApplyFFC(cv::Mat(), cv::Mat(), goal) : emit s->IS_ApplyLSC(goal); }, r))
        return r.exit;
    QJsonArray channels;
    for (const QList<double>& c : ffc ? s->m_ffcKList : s->m_lscPolyList) {
        if (ffc) {
            const auto [lo, hi] = std::minmax_element(c.begin(), c.end());
            channels.append(QJsonObject{{QStringLiteral("columns"), int(c.size())},
                                        {QStringLiteral("minK"), c.isEmpty() ? 0.0 : *lo},
                                        {QStringLiteral("maxK"), c.isEmpty() ? 0.0 : *hi}});
        } else {
            QJsonArray poly;
            for (double v : c) poly.append(v);
            channels.append(poly);
        }
    }
    r.figures.insert(QStringLiteral("channels"), channels);

    if (setIndex > 0) {
        report(-1, QStringLiteral("写入 %1 ...").arg(set), &r);
        if (!runProcedure(
                [&] { ffc ? emit s->IS_FFCWriteDown(setIndex - 1, set) : emit s->IS_LSCWriteDown(setIndex - 1, set); },
                r))
            return r.exit;
        r.figures.insert(QStringLiteral("set"), set);
    }
    const QString name = step.options.value(QStringLiteral("save"));
    if (!name.isEmpty()) {
        const QString path =
            ffc ? s->saveFfcFile(QFileInfo(name).absoluteFilePath())
                : (s->saveLscFile(QFileInfo(name).absoluteFilePath()) ? QFileInfo(name).absoluteFilePath() : QString());
        if (path.isEmpty()) {
            fail(r, QStringLiteral("保存校正参数出错：无法写入文件 %1。").arg(name));
            return r.exit;
        }
        report(-1, QStringLiteral("校正参数已保存至 %1").arg(path), &r);
        r.files.append(path);
    }
    return CliOk;
}

int CliRunner::runSteps(const std::vector<CliStep>& steps, const CliPlan& plan)
{
    for (const CliStep& step : steps) {
        StepResult r;
        m_current = &r;
        report(-1, QStringLiteral("== %1 %2").arg(step.name, step.args.join(QLatin1Char(' '))).trimmed(), nullptr);
        const int exit = runStep(step, plan, r);
        m_current = nullptr;
        QJsonObject entry{{QStringLiteral("step"), step.name},
                          {QStringLiteral("args"), QJsonArray::fromStringList(step.args)},
                          {QStringLiteral("outcome"), r.outcome},
                          {QStringLiteral("messages"), r.messages}};
        if (!r.figures.isEmpty()) entry.insert(QStringLiteral("figures"), r.figures);
        if (!r.files.isEmpty()) entry.insert(QStringLiteral("files"), r.files);
        if (step.name != QLatin1String("run")) m_steps.append(entry);
        if (m_interrupted) return CliInterrupted;
        if (exit != CliOk) return exit;
    }
    return CliOk;
}

int CliRunner::run(const CliPlan& plan, const QString& bindError)
{
    m_bindError = bindError;
    m_yes = plan.yes;
    int exit = runSteps(plan.steps, plan);
    if (m_interrupted) exit = CliInterrupted;
    // The stream stopped, whatever the procedure left: a cancelled run ends at its next frame.
    if (m_server && m_server->m_opened) lsxStop(m_server->m_handle);
    if (!plan.json.isEmpty()) writeJson(plan.json, exit);
    // Closing restores the camera's state as found at its opening, as the window's close does.
    m_server.reset();
    return exit;
}

void CliRunner::writeJson(const QString& path, int exit)
{
    const QJsonObject root{{QStringLiteral("library"), QString::fromStdString(lsx::boundLibraryPath())},
                           {QStringLiteral("camera"), m_camera},
                           {QStringLiteral("steps"), m_steps},
                           {QStringLiteral("exitCode"), exit}};
    QFile f(path);
    if (!f.open(QIODevice::WriteOnly | QIODevice::Truncate)
        || f.write(QJsonDocument(root).toJson(QJsonDocument::Indented)) < 0)
        toErr(QStringLiteral("无法写入结果文件 %1。\n").arg(path));
}
