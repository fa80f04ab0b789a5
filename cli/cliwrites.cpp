// The command-line runner's writes into the camera (clirunner.h).
//
// A write's story, for write-fpn, ffc --write, lsc --write and restore:
//  1. the server plans the backup of the set about to be overwritten: the file it will go to, or
//     why this camera cannot read the set back;
//  2. the operator confirms at the terminal with "y" (the question names the camera, the set and
//     the backup), or --yes confirms for an unattended station; anything else writes nothing;
//  3. the procedure runs on the worker (it takes the backup first) and reports as the window's
//     panel would.
// At the end the camera is closed before the JSON result is written: the state found at open
// goes back, what the write-downs reported stays, and "cameraLeft" says what the camera holds. What
// could not be put back or kept is told on the terminal too; a written set not kept fails the run.
#include "cli/clirunner.h"

#include "camera/cameraserver.h"

#include <QFileInfo>

#include <cstdio>

bool CliRunner::confirmWrite(CameraServer::WriteKind kind, const QString& set, StepResult& r)
{
    const CameraServer::BackupPlan plan = m_server->planBackup(kind, set);
    const QString kept = plan.path.isEmpty() ? tr("无法备份（%1），写入后不能恢复原有参数。").arg(plan.reason)
                                             : tr("写入前的内容将备份到 %1。").arg(plan.path);
    const QString question =
        tr("将覆盖相机 %1 的%2参数组 %3。%4").arg(m_server->cameraName(), CameraServer::writeKindName(kind), set, kept);
    report(-1, question, &r);
    if (m_yes) return true;

    std::fputs(tr("确认写入请输入 y 并按回车，其他输入取消：").toLocal8Bit().constData(), stderr);
    std::fflush(stderr);
    const OperatorLine line = readOperatorLine();
    std::fputs("\n", stderr);
    if (m_interrupted) {
        r.outcome = QStringLiteral("cancelled");
        r.exit = CliInterrupted;
        return false;
    }
    if (line.closed) {
        fail(r, tr("写入相机需要操作员确认，但标准输入已关闭；无人值守时请加 --yes。相机未被改动。"), CliUsage);
        return false;
    }
    const QString answer = line.text.trimmed().toLower();
    if (answer != QLatin1String("y") && answer != QLatin1String("yes")) {
        fail(r, tr("没有确认写入，相机未被改动。"));
        return false;
    }
    return true;
}

int CliRunner::restoreStep(const CliStep& step, StepResult& r)
{
    CameraServer* s = m_server.get();
    const QString path = QFileInfo(step.args.first()).absoluteFilePath();
    // The file is checked before the question, so that the question names its set.
    CameraBackup backup;
    QString error;
    if (!loadBackupFile(path, backup, error)) {
        fail(r, error + tr("。未写入相机。"));
        return r.exit;
    }
    const CameraServer::WriteKind kind =
        backup.kind == CameraBackup::Kind::Fpn ? CameraServer::WriteKind::Fpn : CameraServer::WriteKind::Ffc;
    if (!confirmWrite(kind, backup.set, r)) return r.exit;
    if (!runProcedure([&] { emit s->IS_RestoreBackup(path); }, r)) return r.exit;
    r.files.append(path);
    if (!s->lastBackupPath().isEmpty()) r.files.append(s->lastBackupPath());
    r.figures = QJsonObject{{QStringLiteral("set"), backup.set}, {QStringLiteral("kind"), backupKindName(backup.kind)}};
    return CliOk;
}

QJsonObject CliRunner::closeCamera()
{
    if (!m_server || !m_server->m_opened) return {};
    m_server->close();
    const CameraServer::CameraLeft& left = m_server->cameraLeft();
    if (!left.closed) return {};
    QJsonObject o{
        {QStringLiteral("stateAsFound"), left.asFound}, {QStringLiteral("kept"), QJsonArray::fromStringList(left.kept)},
        {QStringLiteral("fpnSet"), left.fpnSet},        {QStringLiteral("fpnEnabled"), left.fpnEnabled},
        {QStringLiteral("flatFieldSet"), left.ffcSet},  {QStringLiteral("lensShadingSet"), left.lscSet}};
    if (left.doffsetKnown) o.insert(QStringLiteral("doffset"), left.doffset);
    if (left.switchEnable >= 0)
        o.insert(QStringLiteral("correctionSwitch"),
                 QJsonObject{{QStringLiteral("enable"), left.switchEnable}, {QStringLiteral("mode"), left.switchMode}});
    if (!left.problems.isEmpty()) o.insert(QStringLiteral("problems"), QJsonArray::fromStringList(left.problems));

    // The problems after the one of the state found at open are written sets that were not kept.
    m_keepFailed = left.problems.size() > (left.asFound ? 0 : 1);
    const QString kept = !left.kept.isEmpty() ? left.kept.join(tr("、"))
                         : m_keepFailed       ? tr("无")
                                              : tr("没有写入的参数");
    report(-1,
           tr("相机已关闭：保持 %1；其余设置%2。相机现在：FPN参数组 %3（%4）%5。")
               .arg(kept, left.asFound ? tr("恢复为打开时的状态") : tr("没能恢复为打开时的状态"), left.fpnSet,
                    left.fpnEnabled ? tr("已使能") : tr("未使能"),
                    left.doffsetKnown ? tr("，DOffset %1").arg(left.doffset) : QString()),
           nullptr);
    // Said where the operator reads, not only in the result.
    for (const QString& problem : left.problems) report(-1, tr("错误：%1\n").arg(problem), nullptr);
    return o;
}
