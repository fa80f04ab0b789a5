// What the command-line runner is asked to do (cliplan.h).
#include "cli/cliplan.h"

#include "camera/settingranges.h"
#include "camera/tables.h"
#include "language.h"

#include <QCoreApplication>
#include <QFile>
#include <QTextStream>

#include <algorithm>

namespace {

// A step: its name, how many positional arguments it takes, and its options (those that take a
// value end with '=').
struct StepKind {
    const char* name;
    int arguments;
    QStringList options;
    const char* help;
};

const std::vector<StepKind>& stepKinds()
{
    static const std::vector<StepKind> kinds{
        {"list", 0, {}, QT_TRANSLATE_NOOP("CliPlan", "列出找到的相机")},
        {"info", 0, {}, QT_TRANSLATE_NOOP("CliPlan", "显示相机的型号、传感器、分辨率、增益与曝光范围")},
        {"exposure", 1, {}, QT_TRANSLATE_NOOP("CliPlan", "设置相机的曝光时间 US（微秒），如工位的工作曝光")},
        {"dark",
         0,
         {"auto-doffset"},
         QT_TRANSLATE_NOOP("CliPlan", "暗场校正（盖上镜头）；--auto-doffset 每个增益自动检测DOffset")},
        {"bright", 0, {}, QT_TRANSLATE_NOOP("CliPlan", "明场校正（均匀光照的白色目标）")},
        {"write-fpn", 1, {}, QT_TRANSLATE_NOOP("CliPlan", "将FPN参数写入相机的参数组 SET（如 UserSet0 或 factory）")},
        {"save-fpn", 1, {}, QT_TRANSLATE_NOOP("CliPlan", "将FPN参数保存到文件 FILE（缺少时加上 .FAC.FPN）")},
        {"load-fpn", 1, {}, QT_TRANSLATE_NOOP("CliPlan", "从文件 FILE 加载FPN参数")},
        {"ffc",
         0,
         {"goal=", "write=", "save="},
         QT_TRANSLATE_NOOP(
             "CliPlan",
             "平场校正；--goal mean|rate:R|level:L 目标亮度，--write SET 写入相机，--save NAME 保存文件（<型号>.FAC.FFC.NAME）")},
        {"lsc",
         0,
         {"goal=", "write=", "save="},
         QT_TRANSLATE_NOOP(
             "CliPlan",
             "镜头校正；--goal mean|rate:R|level:L 目标亮度，--write SET 写入相机，--save NAME 保存文件（缺少时加上 .LSC.FAC）")},
        {"verify",
         0,
         {"report="},
         QT_TRANSLATE_NOOP("CliPlan",
                           "校正验证（先明场后暗场），超出限值时退出码为 3；--report FILE.json 保存验证报告")},
        {"restore",
         1,
         {},
         QT_TRANSLATE_NOOP("CliPlan", "把写入前的备份文件 BACKUP 写回相机（先备份参数组的当前内容）")},
        {"apply",
         2,
         {"fpn=", "ffc=", "lsc=", "gain=", "region=", "width=", "format=", "bits="},
         QT_TRANSLATE_NOOP("CliPlan",
                           "用校正文件校正图像 IN，写入 OUT（不需要相机）：8/16 位 PNG、TIFF 或原始数据；--gain 相机增益，"
                           "--region 首列的传感器列号，原始数据的 --width 行宽、--format mono8|mono16|rgb8|bgr8，"
                           "16 位数据的 --bits 10|12|16")},
        {"run", 1, {}, QT_TRANSLATE_NOOP("CliPlan", "按配方文件 RECIPE.ini 执行其中的步骤")},
        {"history",
         0,
         {"serial=", "csv=", "json="},
         QT_TRANSLATE_NOOP("CliPlan",
                           "列出记录数据库中的校正记录；--serial S 只列该序列号的相机，--csv FILE、--json FILE 导出")},
    };
    return kinds;
}

const StepKind* kindOf(const QString& name)
{
    for (const StepKind& k : stepKinds())
        if (name == QLatin1String(k.name)) return &k;
    return nullptr;
}

// A word that reads as a number is a value, even with a leading minus: "exposure -100".
bool isNumber(const QString& word)
{
    bool ok = false;
    word.toDouble(&ok);
    return ok;
}

bool sceneKnown(const QString& s)
{
    return s == QLatin1String("dark") || s == QLatin1String("flat") || s == QLatin1String("pattern");
}

// Reads the words of steps (and the global options among them) into plan; false with plan.error.
bool readWords(const QStringList& words, CliPlan& plan, bool globalsAllowed)
{
    QString scene;
    for (int i = 0; i < words.size(); ++i) {
        const QString w = words[i];
        auto value = [&](QString& out) {
            if (i + 1 >= words.size()) {
                plan.error = QCoreApplication::translate("CliPlan", "选项 %1 缺少参数。").arg(w);
                return false;
            }
            out = words[++i];
            return true;
        };
        if (globalsAllowed && (w == QLatin1String("-d") || w == QLatin1String("--camera"))) {
            if (!value(plan.camera)) return false;
        } else if (globalsAllowed && w == QLatin1String("--sdk")) {
            if (!value(plan.sdk)) return false;
            // An empty path would quietly bind the simulated camera instead.
            if (plan.sdk.isEmpty()) {
                plan.error = QCoreApplication::translate("CliPlan", "选项 --sdk 的相机库路径为空。");
                return false;
            }
        } else if (globalsAllowed && w == QLatin1String("--frame-timeout")) {
            QString text;
            if (!value(text)) return false;
            bool ok = false;
            const double seconds = text.toDouble(&ok);
            if (!ok || !(seconds > 0.0 && seconds <= 86400.0)) {
                plan.error = QCoreApplication::translate("CliPlan",
                                                         "--frame-timeout 应为 0 到 86400 之间的秒数，而不是 \"%1\"。")
                                 .arg(text);
                return false;
            }
            plan.frameTimeoutMs = std::max(1, int(seconds * 1000.0 + 0.5));
        } else if (globalsAllowed && w == QLatin1String("--lang")) {
            if (!value(plan.language)) return false;
            // The entry has installed the language already; a value it could not read is refused here.
            if (!languageFromCode(plan.language)) {
                plan.error =
                    QCoreApplication::translate("CliPlan", "未知的界面语言 \"%1\"（可选 zh、en）。").arg(plan.language);
                return false;
            }
        } else if (globalsAllowed && w == QLatin1String("--json")) {
            if (!value(plan.json)) return false;
        } else if (globalsAllowed && w == QLatin1String("--operator")) {
            if (!value(plan.operatorName)) return false;
        } else if (globalsAllowed && w == QLatin1String("--db")) {
            if (!value(plan.db)) return false;
        } else if (globalsAllowed && (w == QLatin1String("--yes") || w == QLatin1String("-y"))) {
            plan.yes = true;
        } else if (globalsAllowed && (w == QLatin1String("--verbose") || w == QLatin1String("-v"))) {
            plan.verbose = true;
        } else if (globalsAllowed && (w == QLatin1String("--help") || w == QLatin1String("-h"))) {
            plan.help = true;
        } else if (w == QLatin1String("--sim-scene")) {
            if (!value(scene)) return false;
            if (!sceneKnown(scene)) {
                plan.error =
                    QCoreApplication::translate("CliPlan", "未知的模拟场景 \"%1\"（可选 dark、flat、pattern）。")
                        .arg(scene);
                return false;
            }
        } else if (const StepKind* kind = kindOf(w)) {
            CliStep step;
            step.name = w;
            step.scene = scene;
            scene.clear();
            // The step's own options and arguments follow it, up to the next step or global option.
            while (i + 1 < words.size() && !kindOf(words[i + 1]) && words[i + 1] != QLatin1String("--sim-scene")) {
                const QString next = words[i + 1];
                if (next.startsWith(QLatin1String("--"))) {
                    const QString name = next.mid(2);
                    if (kind->options.contains(name)) {
                        step.options.insert(name, QString());
                        ++i;
                        continue;
                    }
                    if (kind->options.contains(name + QLatin1Char('='))) {
                        ++i;
                        if (i + 1 >= words.size()) {
                            plan.error =
                                QCoreApplication::translate("CliPlan", "步骤 %1 的选项 %2 缺少参数。").arg(w, next);
                            return false;
                        }
                        step.options.insert(name, words[++i]);
                        continue;
                    }
                    break;  // a global option, or an unknown one (reported below)
                }
                if (next.startsWith(QLatin1Char('-')) && !isNumber(next)) break;
                if (step.args.size() >= kind->arguments) break;
                step.args.append(next);
                ++i;
            }
            if (step.args.size() != kind->arguments) {
                plan.error =
                    QCoreApplication::translate("CliPlan", "步骤 %1 需要 %2 个参数。").arg(w).arg(kind->arguments);
                return false;
            }
            plan.steps.push_back(step);
        } else {
            plan.error = w.startsWith(QLatin1Char('-'))
                             ? QCoreApplication::translate("CliPlan", "未知的选项 \"%1\"。").arg(w)
                             : QCoreApplication::translate("CliPlan", "未知的步骤 \"%1\"。").arg(w);
            return false;
        }
    }
    if (!scene.isEmpty()) {
        plan.error = QCoreApplication::translate("CliPlan", "--sim-scene 之后缺少步骤。");
        return false;
    }
    return true;
}

// The options' lines of the help: the option as typed, and its description in the interface
// language; a description's further lines are indented under its first.
struct OptionHelp {
    const char* option;
    const char* help;
};

const OptionHelp kOptionHelp[] = {
    {"-d CAMERA", QT_TRANSLATE_NOOP("CliPlan", "要连接的相机（友好名称）；缺省为找到的第一台相机")},
    {"--sdk PATH", QT_TRANSLATE_NOOP("CliPlan", "相机库（也可用环境变量 LSX_LIBRARY）；缺省为模拟相机")},
    {"--json FILE", QT_TRANSLATE_NOOP("CliPlan", "把每一步的结果、信息、数值和写出的文件写入 JSON 文件")},
    {"--yes", QT_TRANSLATE_NOOP("CliPlan", "不询问操作员（不等待回车），并确认写入相机")},
    {"--frame-timeout S", QT_TRANSLATE_NOOP("CliPlan", "相机持续 S 秒没有送出图像时结束该步骤（缺省 30 秒）")},
    {"--verbose", QT_TRANSLATE_NOOP("CliPlan", "同时在标准错误输出程序的调试日志")},
    {"--operator NAME", QT_TRANSLATE_NOOP("CliPlan", "记录中的操作员（缺省为登录名）")},
    {"--db URL", QT_TRANSLATE_NOOP("CliPlan",
                                   "记录数据库：postgresql://主机/数据库名 或 sqlite:文件（缺省为 FPN.ini 的\n"
                                   "Records/Url，再缺省为文档目录中的 records.sqlite）")},
    {"--lang zh|en",
     QT_TRANSLATE_NOOP("CliPlan",
                       "界面语言：zh 中文，en 英文；缺省为 FPN.ini 中 [General] 的 Language，再缺省按系统的区域设置")},
    {"--sim-scene S",
     QT_TRANSLATE_NOOP("CliPlan", "在下一步之前设置模拟相机的场景：dark、flat 或 pattern（仅模拟相机）")},
    {"--help", QT_TRANSLATE_NOOP("CliPlan", "显示本帮助")},
};

}  // namespace

QString cliUsage()
{
    const auto translated = [](const char* text) { return QCoreApplication::translate("CliPlan", text); };
    QString text = QCoreApplication::translate("CliPlan", "线扫相机校正工具（命令行）") + QLatin1Char('\n');
    text += QCoreApplication::translate("CliPlan", "用法:")
            + QStringLiteral(
                " lsxcalib-cli [-d CAMERA] [--sdk PATH] [--json FILE] [--yes] [--frame-timeout S]"
                " [--operator NAME]\n"
                "                    [--db URL] [--lang zh|en] STEP...\n\n");
    text += QCoreApplication::translate("CliPlan", "选项:") + QLatin1Char('\n');
    for (const OptionHelp& o : kOptionHelp) {
        const QString help =
            translated(o.help).replace(QLatin1Char('\n'), QLatin1Char('\n') + QString(21, QLatin1Char(' ')));
        text += QStringLiteral("  %1%2\n").arg(QString::fromLatin1(o.option).leftJustified(19), help);
    }
    text += QLatin1Char('\n')
            + QCoreApplication::translate("CliPlan", "步骤（按给出的顺序执行，共享内存中的校正数据）:")
            + QLatin1Char('\n');
    for (const StepKind& k : stepKinds()) {
        QString head = QString::fromLatin1(k.name);
        if (k.arguments == 1) {
            const QString n = QString::fromLatin1(k.name);
            head += n == QLatin1String("write-fpn")  ? QStringLiteral(" SET")
                    : n == QLatin1String("run")      ? QStringLiteral(" RECIPE.ini")
                    : n == QLatin1String("exposure") ? QStringLiteral(" US")
                    : n == QLatin1String("restore")  ? QStringLiteral(" BACKUP")
                                                     : QStringLiteral(" FILE");
        }
        if (k.arguments == 2) head += QStringLiteral(" IN OUT");
        for (const QString& o : k.options)
            head += o.endsWith(QLatin1Char('=')) ? QStringLiteral(" [--%1 V]").arg(o.chopped(1))
                                                 : QStringLiteral(" [--%1]").arg(o);
        text += QStringLiteral("  %1\n      %2\n").arg(head, translated(k.help));
    }
    text += QLatin1Char('\n')
            + QCoreApplication::translate(
                "CliPlan",
                "写入相机（write-fpn、ffc --write、lsc --write、restore）之前先把要覆盖的参数组备份到文档文件夹的"
                " backup 文件夹，并要求确认：在终端输入 y，或给出 --yes；相机不能读回的参数组会说明无法备份。"
                "结束时相机恢复为打开时的状态，只保持写入的参数组（已使能）及其 DOffset。")
            + QLatin1Char('\n');
    text += QLatin1Char('\n')
            + QCoreApplication::translate(
                "CliPlan",
                "退出码: 0 全部成功；1 某一步失败、写入相机的参数组在结束时没能保持，或结果文件无法写入；"
                "2 用法错误、未知相机或相机库无法加载；"
                "3 校正验证未达到限值；130 被 Ctrl-C 取消。")
            + QLatin1Char('\n');
    return text;
}

CliPlan parseCommandLine(const QStringList& arguments)
{
    CliPlan plan;
    readWords(arguments, plan, true);
    if (plan.error.isEmpty() && plan.steps.empty() && !plan.help)
        plan.error = QCoreApplication::translate("CliPlan", "没有给出任何步骤。");
    return plan;
}

QStringList splitWords(const QString& text)
{
    QStringList words;
    QString word;
    bool quoted = false, any = false;
    for (QChar c : text) {
        if (c == QLatin1Char('"')) {
            quoted = !quoted;
            any = true;
        } else if (c.isSpace() && !quoted) {
            if (any) words.append(word);
            word.clear();
            any = false;
        } else {
            word += c;
            any = true;
        }
    }
    if (any) words.append(word);
    return words;
}

bool readRecipe(const QString& path, CliPlan& plan)
{
    QFile file(path);
    if (!file.open(QIODevice::ReadOnly | QIODevice::Text)) {
        plan.error = QCoreApplication::translate("CliPlan", "无法读取配方文件 \"%1\"。").arg(path);
        return false;
    }
    QTextStream in(&file);
    QString section;
    int lineNo = 0;
    while (!in.atEnd()) {
        QString line = in.readLine();
        ++lineNo;
        // A comment runs from ';' or '#' to the end of the line, outside quotes.
        bool quoted = false;
        for (int i = 0; i < line.size(); ++i) {
            if (line[i] == QLatin1Char('"')) quoted = !quoted;
            if (!quoted && (line[i] == QLatin1Char(';') || line[i] == QLatin1Char('#'))) {
                line.truncate(i);
                break;
            }
        }
        line = line.trimmed();
        if (line.isEmpty()) continue;
        auto bad = [&](const QString& why) {
            plan.error =
                QCoreApplication::translate("CliPlan", "配方文件 \"%1\" 第 %2 行：%3").arg(path).arg(lineNo).arg(why);
            return false;
        };
        if (line.startsWith(QLatin1Char('['))) {
            if (!line.endsWith(QLatin1Char(']')))
                return bad(QCoreApplication::translate("CliPlan", "节名缺少 \"]\"。"));
            section = line.mid(1, line.size() - 2).trimmed().toLower();
            if (section != QLatin1String("camera") && section != QLatin1String("params")
                && section != QLatin1String("verify") && section != QLatin1String("steps"))
                return bad(QCoreApplication::translate("CliPlan", "未知的节 [%1]。").arg(section));
            continue;
        }
        const int eq = line.indexOf(QLatin1Char('='));
        if (eq <= 0) return bad(QCoreApplication::translate("CliPlan", "应为 \"键 = 值\"。"));
        const QString key = line.left(eq).trimmed();
        const QString value = line.mid(eq + 1).trimmed();
        if (section == QLatin1String("camera")) {
            if (key.compare(QLatin1String("name"), Qt::CaseInsensitive) != 0)
                return bad(QCoreApplication::translate("CliPlan", "[camera] 只认 name。"));
            if (plan.camera.isEmpty()) plan.camera = value;
        } else if (section == QLatin1String("params") || section == QLatin1String("verify")) {
            // A value out of its range is refused here, before anything runs.
            const QString setting =
                (section == QLatin1String("params") ? QStringLiteral("Params/") : QStringLiteral("Verify/")) + key;
            if (settingRange(setting)) {
                const SettingValue checked = checkSetting(setting, value);
                if (!checked.ok()) return bad(checked.error + QCoreApplication::translate("CliPlan", "。"));
            }
            plan.settings.insert(setting, value);
        } else if (section == QLatin1String("steps")) {
            if (key.compare(QLatin1String("step"), Qt::CaseInsensitive) != 0)
                return bad(QCoreApplication::translate("CliPlan", "[steps] 只认 step。"));
            CliPlan steps;
            if (!readWords(splitWords(value), steps, false)) return bad(steps.error);
            for (const CliStep& s : steps.steps) {
                if (s.name == QLatin1String("run"))
                    return bad(QCoreApplication::translate("CliPlan", "配方里不能再用 run。"));
                plan.steps.push_back(s);
            }
        } else {
            return bad(QCoreApplication::translate("CliPlan", "键 \"%1\" 不在任何节中。").arg(key));
        }
    }
    if (plan.settings.contains(FpnIni::GainMin) && plan.settings.contains(FpnIni::GainMax)) {
        const QString gains = gainRangeError(checkSetting(FpnIni::GainMin, plan.settings.value(FpnIni::GainMin)).value,
                                             checkSetting(FpnIni::GainMax, plan.settings.value(FpnIni::GainMax)).value);
        if (!gains.isEmpty()) {
            plan.error = QCoreApplication::translate("CliPlan", "配方文件 \"%1\"：%2").arg(path, gains);
            return false;
        }
    }
    return true;
}
