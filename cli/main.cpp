// lsxcalib-cli: the calibration tool's procedures from the command line, for scripted stations.
// No window and no display: the runner starts its own offscreen GUI application (the procedures
// make pictures of the frames they show), binds the camera library as the window does, and runs
// the steps in order.
#include "cli/cliplan.h"
#include "cli/clirunner.h"

#include "camera/cameraserver.h"
#include "camera/metatypes.h"
#include "camera/tables.h"
#include "language.h"
#include "loader.h"

#include <QGuiApplication>
#include <QSocketNotifier>

#include <sys/stat.h>
#include <unistd.h>
#include <csignal>
#include <cstdio>

namespace {

int g_interruptPipe[2] = {-1, -1};
bool g_verbose = false;

// The operator reads the procedures' reports; the program's debug log only when asked for.
void onMessage(QtMsgType type, const QMessageLogContext&, const QString& text)
{
    if ((type == QtDebugMsg || type == QtInfoMsg) && !g_verbose) return;
    std::fprintf(stderr, "%s\n", text.toLocal8Bit().constData());
}

// Ctrl-C only writes a byte: the runner hears it in its event loop.
void onInterrupt(int)
{
    const char c = 1;
    if (g_interruptPipe[1] >= 0) (void)!::write(g_interruptPipe[1], &c, 1);
}

}  // namespace

int main(int argc, char* argv[])
{
    if (qEnvironmentVariableIsEmpty("QT_QPA_PLATFORM")) qputenv("QT_QPA_PLATFORM", "offscreen");
    // A station's service account may have no session folder; Qt would make one and say so.
    if (qEnvironmentVariableIsEmpty("XDG_RUNTIME_DIR")) {
        const QByteArray dir = QByteArray("/tmp/lsxcalib-cli-") + QByteArray::number(uint(getuid()));
        ::mkdir(dir.constData(), 0700);
        qputenv("XDG_RUNTIME_DIR", dir);
    }
    // Before the application: its platform plugin has things to say at start.
    qInstallMessageHandler(onMessage);
    QGuiApplication app(argc, argv);
    QGuiApplication::setApplicationName(QStringLiteral("LineScanCalibration"));
    registerMetaTypes();
    // Before the first text the operator reads; a --lang naming no language is the plan's usage error.
    installLanguageAtStart(fpnIniPath());

    CliPlan plan = parseCommandLine(app.arguments().mid(1));
    g_verbose = plan.verbose;
    if (plan.help) {
        std::fputs(cliUsage().toLocal8Bit().constData(), stdout);
        return CliOk;
    }
    if (!plan.error.isEmpty()) {
        std::fprintf(stderr, "%s\n%s", plan.error.toLocal8Bit().constData(), cliUsage().toLocal8Bit().constData());
        return CliUsage;
    }

    // Before the camera server opens FPN.ini in it: the window and the runner share one file.
    const QString documentError = makeDocumentDir();
    if (!documentError.isEmpty()) std::fprintf(stderr, "%s\n", documentError.toLocal8Bit().constData());

    const lsx::BindResult bound = lsx::bindLibrary(
        lsx::chooseLibrary(plan.sdk.toStdString(), QCoreApplication::applicationDirPath().toStdString()));
    const QString bindError = bound.ok ? QString() : QString::fromStdString(bound.message);

    CliRunner runner;
    if (::pipe(g_interruptPipe) == 0) {
        auto* notifier = new QSocketNotifier(g_interruptPipe[0], QSocketNotifier::Read, &runner);
        QObject::connect(notifier, &QSocketNotifier::activated, &runner, [&runner] {
            char c;
            (void)!::read(g_interruptPipe[0], &c, 1);
            runner.interrupt();
        });
        std::signal(SIGINT, onInterrupt);
    }
    // A file size limit makes a write fail with its error instead of ending the program: the
    // runner then says which file it could not write.
    std::signal(SIGXFSZ, SIG_IGN);
    const int code = runner.run(plan, bindError);
    // A worker that a misbehaving camera library holds must not keep the process.
    CameraServer::exitWhenWorkerStuck(code);
    return code;
}
