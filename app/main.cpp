// Entry of the calibration tool: binds the camera library, then opens the main window.
#include "loader.h"

#include <QApplication>
#include <QCommandLineParser>
#include <QMainWindow>
#include <QMessageBox>

int main(int argc, char* argv[])
{
    QApplication app(argc, argv);
    QApplication::setApplicationName(QStringLiteral("LineScanCalibration"));
    QApplication::setApplicationVersion(QStringLiteral(PROJECT_VERSION_TEXT));

    QCommandLineParser parser;
    parser.addHelpOption();
    parser.addVersionOption();
    QCommandLineOption sdk(QStringList{QStringLiteral("sdk")}, QStringLiteral("camera library"), QStringLiteral("PATH"));
    parser.addOption(sdk);
    parser.process(app);

    const std::string lib = lsx::chooseLibrary(parser.value(sdk).toStdString(),
                                               QCoreApplication::applicationDirPath().toStdString());
    const lsx::BindResult bound = lsx::bindLibrary(lib);

    QMainWindow window;
    window.setWindowTitle(QStringLiteral("线扫相机校正工具"));
    window.resize(1513, 937);
    window.show();
    if (!bound.ok) QMessageBox::critical(&window, QStringLiteral("错误"), QString::fromStdString(bound.message));
    return app.exec();
}
