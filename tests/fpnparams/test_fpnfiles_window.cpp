// The main window's parameter files on the simulated camera: the save, load and export buttons
// with their dialogs (captions, filters, the document folder, the proposed name and its ending),
// the files written and read back with equal data (FPN with and without multi-level K, FFC, LSC),
// the boxes of a refused save or load with the check that failed (a K row cut short, a file too
// large for the camera, a truncated FFC file the operator may still take), a file read off the
// window's thread, and an FFC adjustment that would leave a gain at 0 or below.
#include "app/mainwindow.h"
#include "app/paramfiledialogs.h"
#include "app/progressinfowidget.h"
#include "calibration/klevels.h"
#include "camera/cameraserver.h"
#include "camera/metatypes.h"
#include "camera/tables.h"
#include "flatfield/ffcfile.h"
#include "flatfield/lscfit.h"
#include "fpnparams/fpnfile.h"
#include "common/writequestion.h"
#include "loader.h"
#include "sim/lsxsim.h"
#include "ui_mainwindow.h"

#include <QApplication>
#include <QDate>
#include <QFileDialog>
#include <QLineEdit>
#include <QMessageBox>
#include <QPushButton>
#include <QTemporaryDir>
#include <QTextEdit>
#include <QTimer>
#include <QtTest>

#include <atomic>
#include <cstring>
#include <memory>

namespace {

const char* kCamera = "SIM-LS4096-M";

struct Box {
    QString title, text;
};

// Answers the next modal dialogs from the event loop they run in: a file dialog with `path` (or
// cancels it when `path` is empty), then every message box, recording its title and text; a
// question is answered with `answer`. A new round (next()) ends the looking of the one before.
struct DialogAnswers {
    QString path;
    QMessageBox::StandardButton answer = QMessageBox::Yes;
    QString fileCaption, fileFilter, fileFolder, proposedName;
    QList<Box> boxes;
    int round = 0;

    void next(const QString& file, QMessageBox::StandardButton reply = QMessageBox::Yes)
    {
        *this = DialogAnswers{file, reply, {}, {}, {}, {}, {}, round + 1};
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
                fileFolder = dialog->directory().absolutePath();
                auto* name = dialog->findChild<QLineEdit*>(QStringLiteral("fileNameEdit"));
                if (name) proposedName = name->text();
                if (path.isEmpty()) {
                    dialog->reject();
                } else {
                    // As the operator types the name and presses Enter.
                    if (name) name->setText(path);
                    QMetaObject::invokeMethod(dialog, "accept", Qt::DirectConnection);
                }
                arm(forRound, 200);  // boxes may follow
                return;
            }
            if (auto* box = qobject_cast<QMessageBox*>(modal)) {
                boxes.append({box->windowTitle(), box->text()});
                if (QAbstractButton* b = box->button(answer))
                    b->click();
                else
                    box->accept();
                arm(forRound, 50);  // another may follow
                return;
            }
            if (triesLeft > 0) arm(forRound, triesLeft - 1);
        });
    }
};

// Gains of one list per channel, as wide as the ROI, none of them 1.0.
QList<QList<double>> ramp(int channels, int columns, double base)
{
    QList<QList<double>> out;
    for (int c = 0; c < channels; ++c) {
        QList<double> row;
        for (int x = 0; x < columns; ++x) row.append(base + 0.125 * c + x / 65536.0);
        out.append(row);
    }
    return out;
}

}  // namespace

class TestFpnFilesWindow : public QObject {
    Q_OBJECT

    std::unique_ptr<MainWindow> m_window;
    std::unique_ptr<QTemporaryDir> m_dir;
    DialogAnswers m_answers;

    CameraServer* server() const { return m_window->m_cameraServer; }
    QString path(const QString& name) const { return m_dir->path() + QLatin1Char('/') + name; }

    // Runs a slot of the window with its dialogs answered, until its last box is answered.
    template <typename Slot>
    const DialogAnswers& run(Slot slot, const QString& file, QMessageBox::StandardButton reply = QMessageBox::Yes)
    {
        m_answers.next(file, reply);
        (m_window.get()->*slot)();
        QTest::qWait(80);
        return m_answers;
    }

    void open(const char* camera)
    {
        m_window = std::make_unique<MainWindow>(QString(), 0);
        m_window->show();
        QVERIFY(QTest::qWaitForWindowExposed(m_window.get()));
        server()->enumerate();
        server()->open(QString::fromLatin1(camera));
        QVERIFY(server()->m_opened);
    }

    lsxRegion roi() const
    {
        lsxRegion r;
        std::memset(&r, 0, sizeof r);
        lsxGetRoi(server()->m_handle, &r);
        return r;
    }

    QString stem() const
    {
        const lsxCameraInfo info = server()->cameraInfo(server()->cameraName());
        return QStringLiteral("%1_%2_%3")
            .arg(cameraInfoText(info.model, sizeof info.model),
                 cameraInfoText(info.serialNumber, sizeof info.serialNumber),
                 QDate::currentDate().toString(QStringLiteral("yyyyMMdd")));
    }

    QString write(const QString& name, const QByteArray& text)
    {
        QFile f(path(name));
        if (!f.open(QIODevice::WriteOnly | QIODevice::Truncate)) return QString();
        f.write(text);
        return f.fileName();
    }

    // A B and K of the whole 4096-column camera, as a calibration leaves them.
    void calibrated()
    {
        server()->m_bList = ramp(1, 4096, 1000.0);
        server()->m_kList = ramp(1, 4096, 1.05);
    }

private slots:
    void initTestCase()
    {
        const QByteArray lib = qgetenv("LSX_LIBRARY");
        QVERIFY(!lib.isEmpty());
        QVERIFY(lsx::bindLibrary(lib.toStdString()).ok);
        QVERIFY(lsx::sim::api().ok());
        registerMetaTypes();
        QCOMPARE(makeDocumentDir(), QString());
    }

    void init()
    {
        QCOMPARE(lsx::sim::api().reset(), LSX_OK);
        QCOMPARE(lsx::sim::api().setTimeScale(nullptr, 0.05), LSX_OK);
        m_dir = std::make_unique<QTemporaryDir>();
        open(kCamera);
    }

    void cleanup() { m_window.reset(); }

    void cleanupTestCase() { lsx::unbindLibrary(); }

    void saveWithoutCalibrationIsRefused()
    {
        const QString file = path("none.FAC.FPN");
        const DialogAnswers a = run(&MainWindow::saveFpnParams, file);
        QCOMPARE(a.fileCaption, QStringLiteral("保存FPN参数"));
        QVERIFY(a.fileFilter.contains(QStringLiteral("*.FAC.FPN")));
        QCOMPARE(a.boxes.size(), 1);
        QCOMPARE(a.boxes[0].title, QStringLiteral("错误"));
        QCOMPARE(a.boxes[0].text, QStringLiteral("保存FPN参数出错，请重试。\n没有可保存的FPN参数，请先执行校正过程。"));
        QVERIFY(!QFile::exists(file));
    }

    // The dialogs open in the document folder with "<model>_<serial>_<date>" and the file's ending
    // proposed; a name typed without the ending gets it, and the box says where the file went.
    void proposedNamesAndEndings()
    {
        calibrated();
        DialogAnswers a = run(&MainWindow::saveFpnParams, path("cam1"));
        QCOMPARE(QDir(a.fileFolder), QDir(documentDir()));
        QCOMPARE(a.proposedName, stem() + QStringLiteral(".FAC.FPN"));
        QVERIFY(stem().startsWith(QStringLiteral("LSM4096A_SN100011_")));
        QVERIFY(QFile::exists(path("cam1.FAC.FPN")));
        QVERIFY(!QFile::exists(path("cam1")));
        QCOMPARE(a.boxes.size(), 1);
        QCOMPARE(a.boxes[0].title, QStringLiteral("保存成功"));
        QCOMPARE(a.boxes[0].text, QStringLiteral("FPN参数已保存至 %1").arg(path("cam1.FAC.FPN")));

        server()->m_lscPolyList = {{1e-15, -2e-12, 3e-9, -4e-6, 5e-4, -0.01, 180.5, 180.0}};
        a = run(&MainWindow::saveLSC, path("lens"));
        QCOMPARE(a.fileCaption, QStringLiteral("LSC保存"));
        QCOMPARE(QDir(a.fileFolder), QDir(documentDir()));
        QCOMPARE(a.proposedName, stem() + QStringLiteral(".LSC.FAC"));
        QVERIFY(QFile::exists(path("lens.LSC.FAC")));
        QCOMPARE(a.boxes.size(), 1);
        QVERIFY(a.boxes[0].text.contains(path("lens.LSC.FAC")));

        server()->m_ffcKList = ramp(1, roi().W, 0.9);
        a = run(&MainWindow::saveFFC, path(stem()));
        QCOMPARE(a.fileCaption, QStringLiteral("FFC保存"));
        QCOMPARE(QDir(a.fileFolder), QDir(documentDir()));
        QCOMPARE(a.proposedName, stem());
        QVERIFY(QFile::exists(path(QStringLiteral("LSM4096A.FAC.FFC.") + stem())));
        QCOMPARE(a.boxes.size(), 1);
        QVERIFY(a.boxes[0].text.contains(path(QStringLiteral("LSM4096A.FAC.FFC.") + stem())));

        a = run(&MainWindow::loadFpnParams, QString());
        QCOMPARE(QDir(a.fileFolder), QDir(documentDir()));
        a = run(&MainWindow::loadFFCParam, QString());
        QCOMPARE(QDir(a.fileFolder), QDir(documentDir()));
    }

    // A name whose ending the program supplies is not overwritten without the operator's word.
    void suppliedNameOverwritesOnlyWhenAsked()
    {
        calibrated();
        const QString file = write(QStringLiteral("cam2.FAC.FPN"), "earlier");
        DialogAnswers a = run(&MainWindow::saveFpnParams, path("cam2"), QMessageBox::No);
        QCOMPARE(a.boxes.size(), 1);
        QCOMPARE(a.boxes[0].title, QStringLiteral("文件已存在"));
        QFile f(file);
        QVERIFY(f.open(QIODevice::ReadOnly));
        QCOMPARE(f.readAll(), QByteArray("earlier"));
        f.close();
        a = run(&MainWindow::saveFpnParams, path("cam2"), QMessageBox::Yes);
        QCOMPARE(a.boxes.size(), 2);
        QCOMPARE(a.boxes[1].title, QStringLiteral("保存成功"));
        QVERIFY(f.open(QIODevice::ReadOnly));
        QVERIFY(f.readAll().startsWith("[Head]"));
    }

    // Saved as the writer writes it and loaded back as it stands: equal B and K, and the camera
    // in the file's region.
    void fpnRoundTrip()
    {
        calibrated();
        const QList<QList<double>> b = server()->m_bList, k = server()->m_kList;
        const QString file = path("cal.FAC.FPN");
        DialogAnswers a = run(&MainWindow::saveFpnParams, file);
        QCOMPARE(a.boxes.size(), 1);
        server()->clearCoefficients();
        a = run(&MainWindow::loadFpnParams, file);
        QCOMPARE(a.fileCaption, QStringLiteral("加载FPN参数"));
        QCOMPARE(a.boxes.size(), 0);
        QCOMPARE(server()->m_bList, b);
        QCOMPARE(server()->m_kList, k);
    }

    // The multi-level camera's file: B and the nine K bands back, so that the same file comes out
    // of a second save.
    void multiLevelFpnRoundTrip()
    {
        open("SIM-LS8192-MLK");
        QCOMPARE(server()->m_supportMLK, 1);
        const int width = roi().W;
        server()->m_bList = ramp(1, width, 900.0);
        for (double level : {20.0, 90.0, 200.0}) {
            QList<KPoint> row;
            for (int c = 0; c < width; ++c) row.append({level, 1.0 + level / 1000.0 + c / 100000.0});
            server()->m_kPoints.append(row);
        }
        const QString first = path("mlk1.FAC.FPN"), second = path("mlk2.FAC.FPN");
        QCOMPARE(run(&MainWindow::saveFpnParams, first).boxes.size(), 1);
        QList<QList<double>> bands;
        for (int n = 0; n < 9; ++n) {
            QList<double> band;
            server()->kAtLevel(levelStepK(fpnLevels9, n), band, 1);
            bands.append(band);
        }
        const QList<QList<double>> b = server()->m_bList;
        server()->clearCoefficients();
        server()->m_kPoints.clear();
        QCOMPARE(run(&MainWindow::loadFpnParams, first).boxes.size(), 0);
        QCOMPARE(server()->m_bList, b);
        for (int n = 0; n < 9; ++n) {
            QList<double> band;
            server()->kAtLevel(levelStepK(fpnLevels9, n), band, 1);
            QCOMPARE(band, bands[n]);
        }
        QCOMPARE(run(&MainWindow::saveFpnParams, second).boxes.size(), 1);
        QFile a(first), c(second);
        QVERIFY(a.open(QIODevice::ReadOnly) && c.open(QIODevice::ReadOnly));
        QCOMPARE(c.readAll(), a.readAll());
    }

    void ffcAndLscRoundTrips()
    {
        const GainList gains = ramp(1, roi().W, 0.8);
        server()->m_ffcKList = gains;
        QCOMPARE(run(&MainWindow::saveFFC, path("rt")).boxes.size(), 1);
        server()->m_ffcKList.clear();
        const DialogAnswers a = run(&MainWindow::loadFFCParam, path("LSM4096A.FAC.FFC.rt"));
        QCOMPARE(a.boxes.size(), 1);
        QCOMPARE(a.boxes[0].text, QStringLiteral("加载FFC成功。"));
        QCOMPARE(server()->m_ffcKList, gains);
        QCOMPARE(m_window->m_ffcSavedKList, gains);

        const QList<QList<double>> polys{{1e-15, -2e-12, 3e-9, -4e-6, 5e-4, -0.01, 180.5, 180.0}};
        server()->m_lscPolyList = polys;
        QCOMPARE(run(&MainWindow::saveLSC, path("rt.LSC.FAC")).boxes.size(), 1);
        const LscFileContent lsc = lscReadFile(path("rt.LSC.FAC"));
        QVERIFY(lsc.ok);
        QCOMPARE(lsc.polys, polys);
        QCOMPARE(lsc.roiW, roi().W);
    }

    // A K row cut short (3 of 4096 columns): refused, the check named; the calibration in memory
    // and the camera's region as they were.
    void fpnFileWithAKRowCutShort()
    {
        calibrated();
        const QList<QList<double>> b = server()->m_bList, k = server()->m_kList;
        const QString good = path("good.FAC.FPN");
        QCOMPARE(run(&MainWindow::saveFpnParams, good).boxes.size(), 1);
        QFile f(good);
        QVERIFY(f.open(QIODevice::ReadOnly));
        QByteArray text = f.readAll();
        f.close();
        text.truncate(text.indexOf("\n3=", text.indexOf("[K_0]")) + 1);
        const QString cut = write(QStringLiteral("cut.FAC.FPN"), text);
        lsxRegion before = roi();
        before.X = 8;
        before.W = 1024;
        QCOMPARE(lsxSetRoi(server()->m_handle, &before), LSX_OK);
        const DialogAnswers a = run(&MainWindow::loadFpnParams, cut);
        QCOMPARE(a.boxes.size(), 1);
        QCOMPARE(a.boxes[0].title, QStringLiteral("错误"));
        QCOMPARE(
            a.boxes[0].text,
            QStringLiteral("加载FPN参数出错，请重试。\n[K_0] 只有 3 列，应有 4096 列（与 [B_0] 相同）：缺少第 3 列。"));
        QCOMPARE(server()->m_bList, b);
        QCOMPARE(server()->m_kList, k);
        QCOMPARE(roi().X, 8);
        QCOMPARE(roi().W, 1024);
    }

    // 200,000 columns on a 4096-column camera: refused with both widths named. 1 GiB: larger than
    // the camera could use, refused before it is read, at once.
    void fpnFilesTooWideOrTooLarge()
    {
        QByteArray text =
            "[Head]\nVersion=1\nCamera=SIM-LS4096-M\nSupportMLK=false\nSourceFormat=2\n"
            "TargetFormat=34\nX=0\nW=200000\nCols=200000\nDoffset=8\n";
        for (const char* g : {"[B_0]\n", "[K_0]\n"}) {
            text += g;
            for (int c = 0; c < 200000; ++c) text += QByteArray::number(c) + "=1.0625\n";
        }
        const FpnCamera camera = server()->fpnFileCamera();
        DialogAnswers a = run(&MainWindow::loadFpnParams, write(QStringLiteral("wide.FAC.FPN"), text));
        QCOMPARE(a.boxes.size(), 1);
        QCOMPARE(
            a.boxes[0].text,
            QStringLiteral("加载FPN参数出错，请重试。\n文件的区域 Head/X = 0、Head/W = 200000 不在相机当前的宽度 4096 "
                           "列之内（宽度至少 %1 列）。")
                .arg(camera.minWidth));
        QVERIFY(server()->m_bList.isEmpty());

        const QString huge = path("huge.FAC.FPN");
        {
            QFile f(huge);
            QVERIFY(f.open(QIODevice::WriteOnly));
            QVERIFY(f.resize(qint64(1) << 30));
        }
        QElapsedTimer t;
        t.start();
        a = run(&MainWindow::loadFpnParams, huge);
        QVERIFY(t.elapsed() < 3000);
        QCOMPARE(a.boxes.size(), 1);
        QCOMPARE(
            a.boxes[0].text,
            QStringLiteral(
                "加载FPN参数出错，请重试。\n文件过大：1073741824 字节，而相机 SIM-LS4096-M（宽 4096 列）的FPN参数文件至多 %1 字节。")
                .arg(fpnFileSizeLimit(camera)));
        QVERIFY(server()->m_bList.isEmpty());
    }

    // The reading runs on a thread of its own while the window's event loop goes on: the work
    // sees a timer of the window's thread fire while it runs.
    void filesAreReadOffTheWindowsThread()
    {
        std::atomic<int> ticks{0};
        QTimer timer;
        QObject::connect(&timer, &QTimer::timeout, [&ticks] { ++ticks; });
        timer.start(5);
        QThread* worker = nullptr;
        bool sawTicks = false;
        runOffGuiThread(m_window.get(), QStringLiteral("正在读取..."), [&] {
            worker = QThread::currentThread();
            QElapsedTimer t;
            t.start();
            while (ticks.load() < 3 && t.elapsed() < 5000) QThread::msleep(1);
            sawTicks = ticks.load() >= 3;
        });
        QVERIFY(worker && worker != QThread::currentThread());
        QVERIFY(sawTicks);
    }

    // A truncated FFC file: the operator is asked; "No" loads nothing, "Yes" loads it with 1.0
    // for the columns it lacks.
    void truncatedFfcFileAsksFirst()
    {
        const GainList gains = ramp(1, roi().W, 0.8);
        server()->m_ffcKList = gains;
        QCOMPARE(run(&MainWindow::saveFFC, path("t")).boxes.size(), 1);
        QFile f(path("LSM4096A.FAC.FFC.t"));
        QVERIFY(f.open(QIODevice::ReadOnly));
        QByteArray text = f.readAll();
        f.close();
        text.truncate(text.indexOf("\n4000="));
        const QString cut = write(QStringLiteral("LSM4096A.FAC.FFC.cut"), text + "\n");
        const GainList before = ramp(1, roi().W, 1.1);
        server()->m_ffcKList = before;

        DialogAnswers a = run(&MainWindow::loadFFCParam, cut, QMessageBox::No);
        QCOMPARE(a.boxes.size(), 1);
        QCOMPARE(a.boxes[0].title, QStringLiteral("参数文件不完整"));
        QCOMPARE(
            a.boxes[0].text,
            QStringLiteral(
                "参数文件不完整：缺少 96 列的增益（从 FFC_R/4000 起）。\n是否加载不完整的参数？缺少的列按增益 1.0 加载。"));
        QCOMPARE(server()->m_ffcKList, before);

        a = run(&MainWindow::loadFFCParam, cut, QMessageBox::Yes);
        QCOMPARE(a.boxes.size(), 2);
        QCOMPARE(a.boxes[1].text, QStringLiteral("加载FFC成功。"));
        GainList expected = gains;
        for (int x = 4000; x < 4096; ++x) expected[0][x] = 1.0;
        QCOMPARE(server()->m_ffcKList, expected);
    }

    // An FFC file of another kind of camera (three channels on a mono camera) is refused whole.
    void ffcFileOfOtherChannelsIsRefused()
    {
        QString why;
        QVERIFY(ffcSaveFile(path("LSC2048T.FAC.FFC.c"), FfcRoi{0, 0, roi().W, roi().H}, ramp(3, roi().W, 0.9), &why));
        const GainList before = ramp(1, roi().W, 1.1);
        server()->m_ffcKList = before;
        const DialogAnswers a = run(&MainWindow::loadFFCParam, path("LSC2048T.FAC.FFC.c"));
        QCOMPARE(a.boxes.size(), 1);
        QCOMPARE(a.boxes[0].text, QStringLiteral("参数文件有 3 个通道，而相机的图像有 1 个通道，无法加载。"));
        QCOMPARE(server()->m_ffcKList, before);
    }

    // A turn of an adjustment box that would make a gain 0 or below is refused with its channel and
    // column, the gains stay, and the box goes back to the factor that made them.
    void ffcAdjustmentToANonGainIsRefused()
    {
        GainList saved = ramp(1, 8, 1.5);
        saved[0][5] = 2.5;
        m_window->m_ffcSavedKList = saved;
        server()->m_ffcKList = saved;
        m_window->ui->ffcBgrAdjustWidget->hide();
        m_window->ui->ffcGrayAdjustWidget->show();
        m_window->ui->grayffcAdjustSBox->setValue(0.5);
        QCOMPARE(server()->m_ffcKList[0][5], 1.75);

        m_answers.next(QString());
        m_window->ui->grayffcAdjustSBox->setValue(-0.75);
        QTRY_COMPARE(m_answers.boxes.size(), 1);
        QCOMPARE(
            m_answers.boxes[0].text,
            QStringLiteral("平场调节系数 -0.75 会使灰度通道第 5 列的增益变为 -0.125，增益必须大于 0，调节未执行。"));
        QCOMPARE(server()->m_ffcKList[0][5], 1.75);
        QCOMPARE(m_window->ui->grayffcAdjustSBox->value(), 0.5);
    }

    void exportWritesNothing()
    {
        server()->m_bList = {{1.0}};
        const QString file = path("export.FAC.FPN");
        const DialogAnswers a = run(&MainWindow::exportFpnParams, file);
        QCOMPARE(a.fileCaption, QStringLiteral("导出FPN参数"));
        QCOMPARE(a.boxes.size(), 0);
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
        QCOMPARE(a.boxes.size(), 0);
    }
};

QTEST_MAIN(TestFpnFilesWindow)
#include "test_fpnfiles_window.moc"
