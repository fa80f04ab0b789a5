#pragma once
// Placeholder main window until the form lands.
#include <QMainWindow>

class MainWindow : public QMainWindow {
    Q_OBJECT
public:
    MainWindow(const QString& deviceName, int tabIndex, QWidget* parent = nullptr);
};
