#pragma once
// Helpers of the window tests that run on the simulated camera: binding the library, a window
// per test with the settings file cleared, the camera list, and a catcher for the modal message
// boxes that the window raises (they would otherwise block the test in their own event loop).

#include "app/mainwindow.h"
#include "app/progressinfowidget.h"
#include "camera/cameraserver.h"
#include "camera/tables.h"
#include "loader.h"
#include "sim/lsxsim.h"
#include "ui_mainwindow.h"

#include <QApplication>
#include <QFile>
#include <QMessageBox>
#include <QPushButton>
#include <QTimer>
#include <QTreeWidget>
#include <QtTest>

#include <memory>

namespace harness {

// Binds the simulated camera named by LSX_LIBRARY; empty on success, else the reason.
inline QString bindSimulator()
{
    const lsx::BindResult bound = lsx::bindLibrary(lsx::chooseLibrary("", ""));
    if (!bound.ok) return QString::fromStdString(bound.message);
    if (!lsx::sim::api().ok()) return QStringLiteral("the bound library has no simulator extensions");
    return QString();
}

// The same on the cameras of a JSON configuration, written into `folder` as sim.json.
inline QString bindSimulator(const QString& folder, const QString& json)
{
    const QString config = folder + QStringLiteral("/sim.json");
    QFile f(config);
    if (!f.open(QIODevice::WriteOnly) || f.write(json.toLatin1()) < 0) return QStringLiteral("cannot write ") + config;
    f.close();
    qputenv("LSX_SIM_CONFIG", config.toLocal8Bit());
    return bindSimulator();
}

// A message box seen and answered by the catcher.
struct Box {
    QString title;
    QString text;
};

// Answers every modal message box that comes up while it lives, and keeps what they said.
class BoxCatcher : public QObject {
public:
    BoxCatcher()
    {
        m_timer.setInterval(20);
        QObject::connect(&m_timer, &QTimer::timeout, this, [this] {
            auto* box = qobject_cast<QMessageBox*>(QApplication::activeModalWidget());
            if (!box) return;
            m_boxes.append({box->windowTitle(), box->text()});
            box->done(QMessageBox::Ok);
        });
        m_timer.start();
    }
    const QList<Box>& boxes() const { return m_boxes; }

private:
    QTimer m_timer;
    QList<Box> m_boxes;
};

// A fresh window on a reset simulator, with no FPN.ini left by an earlier test.
inline std::unique_ptr<MainWindow> makeWindow()
{
    lsx::sim::api().reset();
    QFile::remove(fpnIniPath());
    auto window = std::make_unique<MainWindow>(QString(), 0);
    window->show();
    if (!QTest::qWaitForWindowExposed(window.get())) qWarning() << "window not exposed";
    window->m_helpDialog.hide();
    return window;
}

inline QTreeWidgetItem* cameraItem(MainWindow& window, const QString& name)
{
    QTreeWidget* list = window.findChild<QTreeWidget*>(QStringLiteral("deviceListTreeWidget"));
    for (int i = 0; list && i < list->topLevelItemCount(); ++i)
        if (list->topLevelItem(i)->text(0) == name) return list->topLevelItem(i);
    return nullptr;
}

inline bool selectCamera(MainWindow& window, const QString& name)
{
    QTreeWidgetItem* item = cameraItem(window, name);
    if (!item) return false;
    item->treeWidget()->setCurrentItem(item);
    return item->isSelected();
}

// The window of a test and what the procedure tests reach in it.
struct WindowFixture {
    std::unique_ptr<MainWindow> w;

    Ui::MainWindow* ui() const { return w->ui; }
    CameraServer* server() const { return w->m_cameraServer; }
    QPushButton* defineBut() const { return w->m_progressInfo->findChild<QPushButton*>("defineBut"); }

    // Connects a camera through the list and the connect button, with the procedures' settling
    // pauses off (the simulated camera needs none).
    bool connectCamera(const QString& name)
    {
        if (!selectCamera(*w, name)) return false;
        ui()->connectBut->click();
        if (!server()->m_opened) return false;
        server()->m_pauseScale = 0.0;
        return true;
    }
};

}  // namespace harness
