#include "mainwindow.h"

MainWindow::MainWindow(const QString&, int, QWidget* parent) : QMainWindow(parent)
{
    setWindowTitle(QStringLiteral("线扫相机校正工具"));
    resize(1513, 937);
}
