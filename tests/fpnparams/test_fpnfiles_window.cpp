// The main window's FPN parameter files on the simulated camera: the save, load and export
// buttons with their dialogs ("保存FPN参数", "加载FPN参数", "导出FPN参数", filter "*.FAC.FPN"), the
// file written or read, and the error boxes of a refused save or load; a cancelled dialog does
// nothing.
#include "app/mainwindow.h"
#include "app/progressinfowidget.h"
#include "camera/cameraserver.h"
#include "camera/metatypes.h"
#include "camera/tables.h"
#include "common/writequestion.h"
#include "loader.h"
#include "sim/lsxsim.h"
#include "ui_mainwindow.h"

#include <QApplication>
#include <QFileDialog>
#include <QLineEdit>
#include <QMessageBox>
#include <QPushButton>
#include <QTemporaryDir>
#include <QTextEdit>
#include <QTimer>
#include <QtTest>

#include <memory>

namespace {

const char* kCamera = "SIM-LS4096-M";

// Answers the next modal dialogs from the event loop they run in: a file dialog with `path` (or
// cancels it when `path` is empty), then any message box, recording its title and text. A new
// round (next()) ends the looking of the one before.
struct DialogAnswers {
    QString path;
    QString fileCaption, fileFilter;
    QString boxTitle, boxText;
    int boxes = 0;
    int round = 0;

    void next(const QString& file)
    {
        *this = DialogAnswers{file, {}, {}, {}, {}, 0, round + 1};
        arm(round, 500);
    }

    void arm(int forRound, int triesLeft)
    {
        QTimer::singleShot(10, qApp, [this, forRound, triesLeft] {
            if (forRound != round) return;
            QWidget* modal = QApplication::activeModalWidget();
            if (auto* dialog = qobject_cast<QFileDialog*>(modal)) {
                fileCaption = dialog->windowTitle();
                fileFilter = dialog->nameFilters().join(QLatin1Char(';'));
                if (path.isEmpty()) {
                    dialog->reject();
                } else {
                    // As the operator types the name and presses Enter.
                    auto* name = dialog->findChild<QLineEdit*>(QStringLiteral("fileNameEdit"));
                    if (name) name->setText(path);
                    QMetaObject::invokeMethod(dialog, "accept", Qt::DirectConnection);
                }
                arm(forRound, 100);  // a box may follow
                return;
            }
            if (auto* box = qobject_cast<QMessageBox*>(modal)) {
                boxTitle = box->windowTitle();
                boxText = box->text();
                ++boxes;
                box->accept();
                return;
            }
            if (triesLeft > 0) arm(forRound, triesLeft - 1);
        });
    }
};

}  // namespace

class TestFpnFilesWindow : public QObject {
    Q_OBJECT

    std::unique_ptr<MainWindow> m_window;
    std::unique_ptr<QTemporaryDir> m_dir;

    CameraServer* server() const { return m_window->m_cameraServer; }
    QString path(const QString& name) const { return m_dir->path() + QLatin1Char('/') + name; }

    DialogAnswers m_answers;

    // Runs a slot of the window with its dialogs answered.
    template <typename Slot>
    const DialogAnswers& run(Slot slot, const QString& file)
    {
        m_answers.next(file);
        (m_window.get()->*slot)();
        QTest::qWait(50);
        return m_answers;
    }

private slots:
    void initTestCase()
    {
        const QByteArray lib = qgetenv("LSX_LIBRARY");
        QVERIFY(!lib.isEmpty());
        QVERIFY(lsx::bindLibrary(lib.toStdString()).ok);
        QVERIFY(lsx::sim::api().ok());
        registerMetaTypes();
    }

    void init()
    {
        QCOMPARE(lsx::sim::api().reset(), LSX_OK);
        QCOMPARE(lsx::sim::api().setTimeScale(nullptr, 0.05), LSX_OK);
        m_dir = std::make_unique<QTemporaryDir>();
        m_window = std::make_unique<MainWindow>(QString(), 0);
        m_window->show();
        QVERIFY(QTest::qWaitForWindowExposed(m_window.get()));
        server()->enumerate();
        server()->open(QString::fromLatin1(kCamera));
        QVERIFY(server()->m_opened);
    }

    void cleanup() { m_window.reset(); }

    void cleanupTestCase() { lsx::unbindLibrary(); }

    void saveWithoutCalibrationIsRefused()
    {
        const QString file = path("none.FAC.FPN");
        const DialogAnswers a = run(&MainWindow::saveFpnParams, file);
        QCOMPARE(a.fileCaption, QStringLiteral("保存FPN参数"));
        QVERIFY(a.fileFilter.contains(QStringLiteral("*.FAC.FPN")));
        QCOMPARE(a.boxes, 1);
        QCOMPARE(a.boxTitle, QStringLiteral("错误"));
        QCOMPARE(a.boxText, QStringLiteral("保存FPN参数出错，请重试。"));
        QVERIFY(!QFile::exists(file));
    }

    void saveThenLoad()
    {
        server()->m_bList = {{10.5, 11.25, 12.0}};
        server()->m_kList = {{1.0, 1.5, 0.75}};
        const QString file = path("cal.FAC.FPN");
        DialogAnswers a = run(&MainWindow::saveFpnParams, file);
        QCOMPARE(a.boxes, 0);
        QVERIFY(QFile::exists(file));
        {
            QSettings in(file, QSettings::IniFormat);
            QCOMPARE(in.value(QStringLiteral("Head/Camera")).toString(), QString::fromLatin1(kCamera));
            QCOMPARE(in.value(QStringLiteral("B_0/1")).toDouble(), 11.25);
        }

        // As written, the kind of K reads "false" and the load refuses it.
        server()->m_bList.clear();
        a = run(&MainWindow::loadFpnParams, file);
        QCOMPARE(a.fileCaption, QStringLiteral("加载FPN参数"));
        QCOMPARE(a.boxText, QStringLiteral("加载FPN参数出错，请重试。"));
        QVERIFY(server()->m_bList.isEmpty());

        // Edited to "0", it loads.
        QFile f(file);
        QVERIFY(f.open(QIODevice::ReadOnly));
        QByteArray text = f.readAll();
        f.close();
        QVERIFY(f.open(QIODevice::WriteOnly | QIODevice::Truncate));
        f.write(text.replace("SupportMLK=false", "SupportMLK=0"));
        f.close();
        a = run(&MainWindow::loadFpnParams, file);
        QCOMPARE(a.boxes, 0);
        QCOMPARE(server()->m_bList, (QList<QList<double>>{{10.5, 11.25, 12.0}}));
        QCOMPARE(server()->m_kList, (QList<QList<double>>{{1.0, 1.5, 0.75}}));
    }

    void exportWritesNothing()
    {
        server()->m_bList = {{1.0}};
        const QString file = path("export.FAC.FPN");
        const DialogAnswers a = run(&MainWindow::exportFpnParams, file);
        QCOMPARE(a.fileCaption, QStringLiteral("导出FPN参数"));
        QCOMPARE(a.boxes, 0);
        QVERIFY(!QFile::exists(file));
    }

    void writeDownThroughThePanel()
    {
        // B and K for the 4096 columns, the camera's FPN off as a calibration leaves it.
        server()->m_bList = {QList<double>(4096, 1000.0)};
        server()->m_kList = {QList<double>(4096, 1.25)};
        server()->m_frameBits = LSX_BITS_16;
        QCOMPARE(lsxSetConfigString(server()->m_handle, "FPNC.Enable", "false"), LSX_OK);
        m_window->loadFeatures();
        QVERIFY(!m_window->ui->fpnEnableCheck->isChecked());
        const QString set = m_window->ui->fpnSelCBox->currentText();
        QVERIFY(set.startsWith(QStringLiteral("UserSet")));

        ++m_answers.round;  // the dialog answers of the tests before look no more
        {
            const WriteQuestion answered(true);
            m_window->fpnWriteDown();
            QCOMPARE(answered.texts().size(), 1);
        }
        auto* panel = m_window->m_progressInfo;
        auto* ok = panel->findChild<QPushButton*>(QStringLiteral("defineBut"));
        QVERIFY(ok);
        QTRY_VERIFY_WITH_TIMEOUT(ok->isVisible(), 10000);
        auto* content = panel->findChild<QTextEdit*>(QStringLiteral("contentEdit"));
        QVERIFY(content->toPlainText().contains(QStringLiteral("已使能相机内部FPN，点击确定查看效果。")));
        QTest::mouseClick(ok, Qt::LeftButton);
        // The panels follow the camera: its FPN on, the set as it was chosen; the live image back.
        QVERIFY(m_window->ui->fpnEnableCheck->isChecked());
        QCOMPARE(m_window->ui->fpnSelCBox->currentText(), set);
        QVERIFY(m_window->ui->startBut->isChecked());
        QVERIFY(!m_window->ui->applyFpnCheck->isChecked());
    }

    void cancelledDialogDoesNothing()
    {
        const DialogAnswers a = run(&MainWindow::saveFpnParams, QString());
        QCOMPARE(a.fileCaption, QStringLiteral("保存FPN参数"));
        QCOMPARE(a.boxes, 0);
    }
};

QTEST_MAIN(TestFpnFilesWindow)
#include "test_fpnfiles_window.moc"
