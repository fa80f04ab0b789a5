// Entry of the calibration tool: binds the camera library, reads the options, opens the window.
#include "camera/cameraserver.h"
#include "language.h"
#include "loader.h"
#include "mainwindow.h"
#include "settings.h"

#include <QApplication>
#include <QCommandLineParser>
#include <QCoreApplication>
#include <QDebug>
#include <QMessageBox>

int main(int argc, char* argv[])
{
    QApplication app(argc, argv);
    QApplication::setApplicationName(QStringLiteral("LineScanCalibration"));
    QApplication::setApplicationVersion(QStringLiteral(PROJECT_VERSION_TEXT));
    // Before the first text the operator reads, the options' help included.
    const LanguageChoice language = installLanguageAtStart(fpnIniPath());

    QCommandLineParser parser;
    parser.addHelpOption();
    parser.addVersionOption();
    const QCommandLineOption device(QStringList{QStringLiteral("d")}, QStringLiteral("camera to connect"),
                                    QStringLiteral("value"));
    const QCommandLineOption tool(QStringList{QStringLiteral("t")}, QStringLiteral("tool to show: FPN, FFC, LSC, SCS"),
                                  QStringLiteral("value"));
    const QCommandLineOption sdk(QStringList{QStringLiteral("sdk")}, QStringLiteral("camera library"),
                                 QStringLiteral("PATH"));
    parser.addOption(device);
    parser.addOption(tool);
    parser.addOption(sdk);
    parser.addOption(languageOption());
    parser.process(app);

    QApplication::setFont(QApplication::font("QMenu"));

    // Bound before the window exists: its first camera list comes from this library. A library
    // that fails to bind leaves every operation answering "not connected", so the list is empty.
    const std::string lib =
        lsx::chooseLibrary(parser.value(sdk).toStdString(), QCoreApplication::applicationDirPath().toStdString());
    const lsx::BindResult bound = lsx::bindLibrary(lib);
    if (!bound.ok) qWarning() << "camera library not bound:" << QString::fromStdString(bound.message);
    const QString sdkNote =
        QString::fromStdString(lsx::emptySdkNote(parser.isSet(sdk), parser.value(sdk).toStdString(), lib));
    if (!sdkNote.isEmpty()) qWarning().noquote() << sdkNote;

    // Before the window and its camera server open FPN.ini in it.
    const QString documentError = makeDocumentDir();
    if (!documentError.isEmpty()) qWarning().noquote() << documentError;

    const int tabIndex = tabIndexForTool(parser.value(tool));
    if (parser.isSet(tool) && !isKnownTool(parser.value(tool)))
        qWarning().noquote() << QCoreApplication::translate(
                                    "Main", "未知的工具 \"%1\"（可选 FPN、FFC、LSC、SCS），显示第一个工具。")
                                    .arg(parser.value(tool));
    if (language.badOption) qWarning().noquote() << language.optionWarning();
    if (!parser.positionalArguments().isEmpty())
        qWarning().noquote()
            << QCoreApplication::translate("Main", "忽略多余的参数：%1").arg(parser.positionalArguments().join(' '));

    MainWindow window(parser.value(device), tabIndex, nullptr);
    window.show();
    if (!bound.ok)
        QMessageBox::critical(&window, QCoreApplication::translate("Main", "错误"),
                              QString::fromStdString(bound.message));
    if (!sdkNote.isEmpty()) QMessageBox::warning(&window, QCoreApplication::translate("Main", "警告"), sdkNote);
    if (!documentError.isEmpty())
        QMessageBox::warning(&window, QCoreApplication::translate("Main", "警告"), documentError);
    const int status = app.exec();
    // A worker that a misbehaving camera library holds must not keep the process, nor abort it.
    CameraServer::exitWhenWorkerStuck(status);
    return status;
}
