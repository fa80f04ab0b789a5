// The calibration verification as the operator runs it, on the offscreen platform: the "校正验证"
// button of the FPN tab on a calibrated simulated camera, the two questions in the progress panel
// answered with "继续", "确定", and the result window with the figures before and after side by
// side, the verdict, the charts and the defect columns; "保存报告" with its dialog, the PDF whose
// first page is rendered to a picture (pdftoppm) and read back as text (pdftotext), and the JSON
// beside it holding the same numbers. Also a cancel at a question, and a failing verdict shown.
// With LSX_SCREENSHOT_DIR set, the window and the report's first page are saved there as
// verify_window.png and verify_report.png for a person to look at.
#include "calibration/simharness.h"

#include "app/mainwindow.h"
#include "app/progressinfowidget.h"
#include "app/scenecontrol.h"
#include "app/verifyreport.h"
#include "app/verifywindow.h"

#include <QApplication>
#include <QCheckBox>
#include <QComboBox>
#include <QDir>
#include <QDoubleSpinBox>
#include <QFileDialog>
#include <QGuiApplication>
#include <QJsonArray>
#include <QJsonDocument>
#include <QLabel>
#include <QLineEdit>
#include <QMessageBox>
#include <QPlainTextEdit>
#include <QProcess>
#include <QPushButton>
#include <QRegularExpression>
#include <QScreen>
#include <QStandardPaths>
#include <QTableWidget>
#include <QTextEdit>
#include <QTimer>
#include <QtCharts/QChartView>
#include <QtCharts/QLineSeries>

namespace {

const char* kCamera = "SIM-LS4096-M";
constexpr int kWidth = 512;

// Answers the next file dialog with `path`, from the event loop the dialog runs.
void answerFileDialog(const QString& path, QString* caption, int triesLeft = 500)
{
    QTimer::singleShot(10, qApp, [path, caption, triesLeft] {
        if (auto* dialog = qobject_cast<QFileDialog*>(QApplication::activeModalWidget())) {
            *caption = dialog->windowTitle();
            if (auto* name = dialog->findChild<QLineEdit*>(QStringLiteral("fileNameEdit"))) name->setText(path);
            QMetaObject::invokeMethod(dialog, "accept", Qt::DirectConnection);
            return;
        }
        if (triesLeft > 0) answerFileDialog(path, caption, triesLeft - 1);
    });
}

// Answers the next message box with its "OK", keeping its title and text.
void answerBox(QString* title, QString* text, int triesLeft = 500)
{
    QTimer::singleShot(10, qApp, [title, text, triesLeft] {
        if (auto* box = qobject_cast<QMessageBox*>(QApplication::activeModalWidget())) {
            *title = box->windowTitle();
            *text = box->text();
            box->accept();
            return;
        }
        if (triesLeft > 0) answerBox(title, text, triesLeft - 1);
    });
}

// A tool of poppler-utils, or empty.
QString poppler(const QString& tool)
{
    return QStandardPaths::findExecutable(tool);
}

QString run(const QString& program, const QStringList& args)
{
    QProcess p;
    p.start(program, args);
    if (!p.waitForFinished(60000) || p.exitCode() != 0) return QString();
    return QString::fromUtf8(p.readAllStandardOutput());
}

}  // namespace

class TestVerifyWindow : public QObject, SimHarness {
    Q_OBJECT

    std::unique_ptr<MainWindow> m_window;
    QTemporaryDir m_out;

    CameraServer* server() const { return m_window->m_cameraServer; }
    ProgressInfoWidget* panel() const { return m_window->m_progressInfo; }
    QPushButton* defineBut() const { return panel()->findChild<QPushButton*>(QStringLiteral("defineBut")); }
    QPushButton* continueBut() const { return panel()->findChild<QPushButton*>(QStringLiteral("verifyContinueBut")); }
    QString panelText() const { return panel()->findChild<QTextEdit*>(QStringLiteral("contentEdit"))->toPlainText(); }

    // Answers the open question with "继续" once it shows, as the operator of the simulated camera
    // does: the camera's image comes meanwhile although capture is off, and the answer itself sets
    // the scene the question asks for.
    void answerWithContinue(const QString& question, int scene)
    {
        m_window->showPicture(QPixmap(), cv::Mat());
        // A picture loaded as the flat field's source: the camera's frames replace it, and the
        // flat field must not pair it with their statistics.
        m_window->m_srcImg = cv::Mat(4, 4, CV_8UC1, cv::Scalar(200));
        QTRY_VERIFY_WITH_TIMEOUT(continueBut()->isVisible(), 20000);
        QVERIFY2(panelText().contains(question), qPrintable(panelText()));
        QVERIFY(!m_window->findChild<QPushButton*>(QStringLiteral("startBut"))->isChecked());
        QTRY_VERIFY_WITH_TIMEOUT(!m_window->m_pixmap.isNull(), 5000);
        QVERIFY(m_window->m_srcImg.empty());
        QTest::mouseClick(continueBut(), Qt::LeftButton);
        QVERIFY(!continueBut()->isVisible());
        lsx::Scene now;
        QCOMPARE(lsx::getScene(kCamera, now), LSX_OK);
        QCOMPARE(now.kind, scene);
    }

    void saveShot(QWidget* w, const QString& file)
    {
        const QByteArray dir = qgetenv("LSX_SCREENSHOT_DIR");
        if (dir.isEmpty()) return;
        QDir().mkpath(QString::fromLocal8Bit(dir));
        QPixmap shot;
        if (QGuiApplication::platformName() == QStringLiteral("xcb")) shot = w->screen()->grabWindow(w->winId());
        if (shot.isNull()) shot = w->grab();
        QVERIFY(shot.save(QString::fromLocal8Bit(dir) + QLatin1Char('/') + file));
    }

    // The whole screen under X, as the operator sees it (nothing on the offscreen platform).
    void saveScreen(const QString& file)
    {
        const QByteArray dir = qgetenv("LSX_SCREENSHOT_DIR");
        if (dir.isEmpty() || QGuiApplication::platformName() != QStringLiteral("xcb")) return;
        QDir().mkpath(QString::fromLocal8Bit(dir));
        QTest::qWait(200);
        QVERIFY(QGuiApplication::primaryScreen()->grabWindow(0).save(QString::fromLocal8Bit(dir) + QLatin1Char('/') + file));
    }

private slots:
    void initTestCase()
    {
        QVERIFY(m_out.isValid());
        qRegisterMetaType<VerifyReport>();
        bindSim(QStringLiteral(R"({"timeScale": 0, "cameras": [{"friendlyName": "%1", "width": %2}]})")
                    .arg(QString::fromLatin1(kCamera))
                    .arg(kWidth));
        freshSim();
        m_window = std::make_unique<MainWindow>(QString(), 0);
        m_window->show();
        QVERIFY(QTest::qWaitForWindowExposed(m_window.get()));
        server()->enumerate();
        server()->open(QString::fromLatin1(kCamera));
        QVERIFY(server()->m_opened);
    }

    void cleanupTestCase()
    {
        m_window.reset();
        lsx::unbindLibrary();
    }

    // The button sits on the FPN tab, in the group of the calibration functions.
    void buttonOnTheFpnTab()
    {
        auto* button = m_window->findChild<QPushButton*>(QStringLiteral("verifyBut"));
        QVERIFY(button);
        QCOMPARE(button->text(), QStringLiteral("校正验证"));
        QCOMPARE(button->parentWidget()->objectName(), QStringLiteral("groupBox_2"));
        QVERIFY(!continueBut()->isVisible());
    }

    // A cancel at the first question: the panel goes, the run ends, the camera is as it was.
    void cancelAtTheQuestion()
    {
        char before[32] = {};
        lsxGetConfigString(server()->m_handle, "FPNC.Enable", before, sizeof before);
        QTest::mouseClick(m_window->m_verifyBut, Qt::LeftButton);
        QVERIFY(panel()->isVisible());
        QCOMPARE(panel()->windowTitle(), QStringLiteral("校正验证执行中..."));
        QTRY_VERIFY_WITH_TIMEOUT(continueBut()->isVisible(), 20000);
        QTest::mouseClick(panel()->findChild<QPushButton*>(QStringLiteral("cancelBut")), Qt::LeftButton);
        QVERIFY(!panel()->isVisible());
        QTRY_VERIFY_WITH_TIMEOUT(!server()->workerBusy(), 5000);
        char after[32] = {};
        lsxGetConfigString(server()->m_handle, "FPNC.Enable", after, sizeof after);
        QCOMPARE(QString::fromLatin1(after), QString::fromLatin1(before));
        QVERIFY(!m_window->m_verifyWindow->isVisible());
    }

    // The whole workflow on a calibrated camera with its FPN on.
    void verifyAndSaveTheReport()
    {
        CameraServer* s = server();
        s->setFlatEnable(true);
        calibrateAt(s, QString::fromLatin1(kCamera), 160.0);
        if (QTest::currentTestFailed()) return;
        QCOMPARE(reportsOfRun(s, [s] { s->fpnWriteDown(0); }).last().first, 100);

        QTest::mouseClick(m_window->m_verifyBut, Qt::LeftButton);
        setScene(QString::fromLatin1(kCamera), LSX_SIM_SCENE_DARK);
        answerWithContinue(QStringLiteral("请取下镜头盖"), LSX_SIM_SCENE_FLAT);
        answerWithContinue(QStringLiteral("请盖上镜头盖"), LSX_SIM_SCENE_DARK);
        QTRY_VERIFY_WITH_TIMEOUT(defineBut()->isVisible(), 30000);
        QVERIFY2(panelText().contains(QStringLiteral("校正验证-校正验证完成，结果：合格。点击确定查看报告。")),
                 qPrintable(panelText()));
        QTest::mouseClick(defineBut(), Qt::LeftButton);
        QVERIFY(!panel()->isVisible());

        VerifyWindow* w = m_window->m_verifyWindow;
        QVERIFY(w->isVisible());
        QVERIFY(QTest::qWaitForWindowExposed(w));
        w->resize(1100, 950);
        const VerifyReport& r = w->report();
        QCOMPARE(r.planes.size(), 1);
        QVERIFY(r.fpnOn);
        const VerifyPlane& p = r.planes.first();

        // Heading and verdict.
        QVERIFY(w->headingLabel()->text().contains(r.serial));
        QVERIFY(w->headingLabel()->text().contains(QStringLiteral("LSM4096A")));
        QCOMPARE(w->verdictLabel()->text(), QStringLiteral("结论：合格"));
        QCOMPARE(w->planeBox()->count(), 1);
        QCOMPARE(w->planeBox()->currentText(), QStringLiteral("黑白"));

        // The figures before and after side by side, each judged row with its limit and verdict.
        QTableWidget* t = w->figuresTable();
        QCOMPARE(t->columnCount(), 5);
        QCOMPARE(t->horizontalHeaderItem(1)->text(), QStringLiteral("校正前"));
        QCOMPARE(t->horizontalHeaderItem(2)->text(), QStringLiteral("校正后"));
        QCOMPARE(t->rowCount(), 12 + 2 * r.levels.size());
        QCOMPARE(t->item(0, 0)->text(), QStringLiteral("DSNU1288 (DN10)"));
        QCOMPARE(t->item(0, 1)->text(), QString::number(p.before.dsnu, 'f', 3));
        QCOMPARE(t->item(0, 2)->text(), QString::number(p.after.dsnu, 'f', 3));
        QCOMPARE(t->item(0, 3)->text(), QStringLiteral("≤ 0.5"));
        QCOMPARE(t->item(0, 4)->text(), QStringLiteral("合格"));
        QCOMPARE(t->item(1, 0)->text(), QStringLiteral("PRNU (%)"));
        QCOMPARE(t->item(1, 1)->text(), QString::number(p.before.prnu, 'f', 3));
        QCOMPARE(t->item(1, 2)->text(), QString::number(p.after.prnu, 'f', 3));
        QCOMPARE(t->item(1, 4)->text(), QStringLiteral("合格"));
        QCOMPARE(t->item(2, 2)->text(), QStringLiteral("0"));
        QVERIFY(p.before.prnu > 1.0 && p.after.prnu < 0.3);

        // Both profiles on one chart, the spectrogram, the defect columns.
        const QList<QAbstractSeries*> profile = w->profileView()->chart()->series();
        QCOMPARE(profile.size(), 4);
        for (QAbstractSeries* series : profile) QCOMPARE(qobject_cast<QLineSeries*>(series)->count(), kWidth);
        QCOMPARE(qobject_cast<QLineSeries*>(profile.at(1))->at(7).y(), p.after.brightMeans.at(7));
        const QList<QAbstractSeries*> spectrum = w->spectrumView()->chart()->series();
        QCOMPARE(spectrum.size(), 4);
        QCOMPARE(qobject_cast<QLineSeries*>(spectrum.at(0))->count(), kWidth / 2);
        const QString defects = w->defectsEdit()->toPlainText();
        QVERIFY2(defects.startsWith(QStringLiteral("校正前：")), qPrintable(defects));
        QVERIFY(defects.contains(QStringLiteral("\n校正后：无")));
        // The corrected dark output stands at 0: the note says what its DSNU means.
        QVERIFY(p.after.darkZero > 0.5);
        QVERIFY(defects.contains(QStringLiteral("说明：校正后暗场输出有 ")));
        QTest::qWait(100);
        saveShot(w, QStringLiteral("verify_window.png"));

        // "保存报告": the dialog, then the PDF and the JSON beside it.
        const QString pdf = m_out.filePath(QStringLiteral("report.pdf"));
        QString caption;
        answerFileDialog(pdf, &caption);
        QVERIFY(w->saveBut()->isEnabled());
        QTest::mouseClick(w->saveBut(), Qt::LeftButton);
        QCOMPARE(caption, QStringLiteral("保存报告"));
        QVERIFY(QFileInfo(pdf).size() > 10000);
        QFile jsonFile(verifyJsonPath(pdf));
        QCOMPARE(jsonFile.fileName(), m_out.filePath(QStringLiteral("report.json")));
        QVERIFY(jsonFile.open(QIODevice::ReadOnly));
        QJsonParseError error;
        const QJsonDocument doc = QJsonDocument::fromJson(jsonFile.readAll(), &error);
        QCOMPARE(error.error, QJsonParseError::NoError);
        const QJsonObject j = doc.object();
        QCOMPARE(j[QStringLiteral("passed")].toBool(), true);
        QCOMPARE(j[QStringLiteral("camera")].toObject()[QStringLiteral("serial")].toString(), r.serial);
        QCOMPARE(j[QStringLiteral("settings")].toObject()[QStringLiteral("gain")].toDouble(), r.gain);
        QCOMPARE(j[QStringLiteral("settings")].toObject()[QStringLiteral("exposureUs")].toDouble(), r.exposure);
        const QJsonObject plane = j[QStringLiteral("planes")].toArray().at(0).toObject();
        for (const auto& [state, f] : {std::pair<QString, const VerifyFigures*>{QStringLiteral("before"), &p.before},
                                       {QStringLiteral("after"), &p.after}}) {
            const QJsonObject o = plane[state].toObject();
            QCOMPARE(o[QStringLiteral("dsnu")].toDouble(), f->dsnu);
            QCOMPARE(o[QStringLiteral("prnu")].toDouble(), f->prnu);
            QCOMPARE(o[QStringLiteral("defectCount")].toInt(), int(f->defects.size()));
            const QJsonArray dark = o[QStringLiteral("darkColumnMeans")].toArray();
            const QJsonArray bright = o[QStringLiteral("brightColumnMeans")].toArray();
            QCOMPARE(dark.size(), kWidth);
            QCOMPARE(bright.size(), kWidth);
            for (int x = 0; x < kWidth; x += 37) {
                QCOMPARE(dark.at(x).toDouble(), f->darkMeans.at(x));
                QCOMPARE(bright.at(x).toDouble(), f->brightMeans.at(x));
            }
        }

        // The first page as a picture, and as text: the title, the camera, the verdict, the figures.
        const QString pdftoppm = poppler(QStringLiteral("pdftoppm"));
        const QString pdftotext = poppler(QStringLiteral("pdftotext"));
        QVERIFY2(!pdftoppm.isEmpty() && !pdftotext.isEmpty(), "poppler-utils missing: run scripts/setup.sh");
        const QString stem = m_out.filePath(QStringLiteral("page"));
        run(pdftoppm,
            {QStringLiteral("-png"), QStringLiteral("-r"), QStringLiteral("110"), QStringLiteral("-f"),
             QStringLiteral("1"), QStringLiteral("-l"), QStringLiteral("1"), QStringLiteral("-singlefile"), pdf, stem});
        const QImage page(stem + QStringLiteral(".png"));
        QVERIFY(!page.isNull());
        QVERIFY(page.height() > page.width());  // A4 upright
        // Ink on the page: a good share of it is not white.
        int inked = 0;
        for (int y = 0; y < page.height(); y += 4)
            for (int x = 0; x < page.width(); x += 4) inked += page.pixelColor(x, y).lightness() < 200;
        QVERIFY2(inked > 500, qPrintable(QString::number(inked)));
        const QByteArray dir = qgetenv("LSX_SCREENSHOT_DIR");
        if (!dir.isEmpty()) QVERIFY(page.save(QString::fromLocal8Bit(dir) + QStringLiteral("/verify_report.png")));
        const QString text = run(pdftotext, {QStringLiteral("-f"), QStringLiteral("1"), QStringLiteral("-l"),
                                             QStringLiteral("1"), QStringLiteral("-layout"), pdf, QStringLiteral("-")});
        for (const QString& expected : {QStringLiteral("线扫相机校正验证报告"), r.serial, QStringLiteral("LSM4096A"),
                                        QStringLiteral("结论：合格"), QStringLiteral("校正前"),
                                        QStringLiteral("校正后"), QString::number(p.before.prnu, 'f', 3),
                                        QString::number(p.after.prnu, 'f', 3), QString::number(p.after.dsnu, 'f', 3)})
            QVERIFY2(text.contains(expected), qPrintable(expected + QStringLiteral(" not in:\n") + text));
    }

    // The operator of the simulated camera answers each question in the scene control, which comes
    // up with the question and takes clicks while the modal panel waits (clicked through the window
    // system, which drops input to a window a modal one blocks); the live image shows the change
    // before "继续". The camera is the one calibrated above, its FPN on: the verdict is a pass.
    void answeredThroughTheSceneControl()
    {
        m_window->m_verifyWindow->hide();
        setScene(QString::fromLatin1(kCamera), LSX_SIM_SCENE_DARK);
        QTest::mouseClick(m_window->m_verifyBut, Qt::LeftButton);
        auto frameMean = [this] { return m_window->m_staticMat.empty() ? -1.0 : cv::mean(m_window->m_staticMat)[0]; };
        auto answer = [&](const QString& question, bool cap) {
            QTRY_VERIFY_WITH_TIMEOUT(continueBut()->isVisible(), 20000);
            QVERIFY2(panelText().contains(question), qPrintable(panelText()));
            SceneControl* control = m_window->m_sceneControl;
            QVERIFY(control && control->isVisible());
            QVERIFY(QTest::qWaitForWindowExposed(control));
            QVERIFY(panel()->isVisible() && panel()->windowModality() == Qt::WindowModal);
            auto* check = control->findChild<QCheckBox*>(QStringLiteral("lensCapCheck"));
            QVERIFY(check);
            QCOMPARE(check->isChecked(), !cap);
            QTest::mouseClick(control->windowHandle(), Qt::LeftButton, Qt::NoModifier,
                              check->mapTo(control, check->rect().center()));
            QCOMPARE(check->isChecked(), cap);
            lsx::Scene now;
            QCOMPARE(lsx::getScene(kCamera, now), LSX_OK);
            QCOMPARE(now.kind, cap ? int(LSX_SIM_SCENE_DARK) : int(LSX_SIM_SCENE_FLAT));
            // The run's frames show it while the question waits.
            if (cap)
                QTRY_VERIFY_WITH_TIMEOUT(frameMean() >= 0.0 && frameMean() < 5.0, 10000);
            else
                QTRY_VERIFY_WITH_TIMEOUT(frameMean() > 30.0, 10000);
            if (cap) saveScreen(QStringLiteral("verify_question_scene.png"));
            QTest::mouseClick(continueBut(), Qt::LeftButton);
        };
        answer(QStringLiteral("请取下镜头盖"), false);
        if (QTest::currentTestFailed()) return;
        answer(QStringLiteral("请盖上镜头盖"), true);
        if (QTest::currentTestFailed()) return;
        QTRY_VERIFY_WITH_TIMEOUT(defineBut()->isVisible(), 30000);
        QVERIFY2(panelText().contains(QStringLiteral("校正验证-校正验证完成，结果：合格。点击确定查看报告。")),
                 qPrintable(panelText()));
        QTest::mouseClick(defineBut(), Qt::LeftButton);
        VerifyWindow* w = m_window->m_verifyWindow;
        QVERIFY(w->isVisible());
        QCOMPARE(w->verdictLabel()->text(), QStringLiteral("结论：合格"));
        QCOMPARE(w->report().planes.size(), 1);
        QVERIFY(w->report().planes.first().after.prnu < 0.3);
        QVERIFY(w->report().planes.first().after.dsnu < 0.1);
        w->hide();
        m_window->m_sceneControl->hide();
    }

    // A plane over a limit: the verdict, its row and the plane's entry say so.
    void failingVerdictShown()
    {
        VerifyWindow* w = m_window->m_verifyWindow;
        VerifyReport r = w->report();
        QVERIFY(!r.planes.isEmpty());
        r.limits.maxPrnu = r.planes.first().after.prnu / 2.0;
        w->setReport(r);
        QCOMPARE(w->verdictLabel()->text(), QStringLiteral("结论：不合格"));
        QCOMPARE(w->figuresTable()->item(1, 4)->text(), QStringLiteral("不合格"));
        QCOMPARE(w->figuresTable()->item(0, 4)->text(), QStringLiteral("合格"));
        QCOMPARE(w->planeBox()->itemText(0), QStringLiteral("黑白（不合格）"));
    }

    // A colour camera's report: the first page with all three planes in its table and the first
    // plane's charts, one more page for each further plane.
    void onePagePerFurtherPlane()
    {
        VerifyReport r = m_window->m_verifyWindow->report();
        QVERIFY(!r.planes.isEmpty());
        const VerifyPlane plane = r.planes.first();
        r.planes.clear();
        for (const char* name : {"B", "G", "R"}) {
            r.planes.append(plane);
            r.planes.last().name = QString::fromLatin1(name);
        }
        const QString pdf = m_out.filePath(QStringLiteral("colour.pdf"));
        QString error;
        QVERIFY2(writeVerifyReport(r, pdf, &error), qPrintable(error));
        const QString info = run(poppler(QStringLiteral("pdfinfo")), {pdf});
        QVERIFY2(info.contains(QRegularExpression(QStringLiteral("Pages:\\s+3\\n"))), qPrintable(info));
        auto page = [&](int n) {
            return run(poppler(QStringLiteral("pdftotext")),
                       {QStringLiteral("-f"), QString::number(n), QStringLiteral("-l"), QString::number(n), pdf,
                        QStringLiteral("-")});
        };
        QVERIFY(page(1).contains(QStringLiteral("平面：B")));
        QVERIFY(page(2).contains(QStringLiteral("平面：G")));
        QVERIFY(page(3).contains(QStringLiteral("平面：R")));
        QVERIFY(!page(3).contains(QStringLiteral("线扫相机校正验证报告")));
        QVERIFY(QFile::exists(m_out.filePath(QStringLiteral("colour.json"))));
    }

    // After the dark run (verifyAndSaveTheReport's calibration) an exposure far from it is told
    // once, in a box that does not hold the window; a small change is not.
    void exposureChangeTold()
    {
        CameraServer* s = server();
        QVERIFY(s->darkCurrentUsable());
        auto* box = m_window->findChild<QDoubleSpinBox*>(QStringLiteral("exposureSBox"));
        QVERIFY(box);
        const double dark = s->m_darkCurrent.exposure;
        // The panels were not filled through the window here: the box is set and its slot run.
        box->setRange(2.0, 20000.0);
        auto set = [&](double us) {
            {
                const QSignalBlocker quiet(box);
                box->setValue(us);
            }
            m_window->setExposure();
        };
        auto told = [this] {
            QStringList texts;
            for (QMessageBox* b : m_window->findChildren<QMessageBox*>())
                if (b->isVisible()) texts.append(b->text());
            return texts;
        };
        set(dark + 0.5);
        QCOMPARE(told(), QStringList());
        set(dark * 2.0);
        QTRY_COMPARE(told().size(), 1);
        QVERIFY2(told().first().startsWith(QStringLiteral("曝光时间由暗场校正时的 ")), qPrintable(told().first()));
        QVERIFY(!QApplication::activeModalWidget());
        for (QMessageBox* b : m_window->findChildren<QMessageBox*>()) b->close();
        set(dark * 2.0 + 1.0);
        QCOMPARE(told(), QStringList());
        set(dark);
    }

    // A folder that cannot be written: an error box, nothing claimed.
    void unwritableReportRefused()
    {
        VerifyWindow* w = m_window->m_verifyWindow;
        QString title, text;
        answerBox(&title, &text);
        QVERIFY(!w->saveReport(QStringLiteral("/nonexistent-folder/report.pdf")));
        QCOMPARE(title, QStringLiteral("错误"));
        QVERIFY2(text.startsWith(QStringLiteral("无法写入报告文件")), qPrintable(text));
    }
};

QTEST_MAIN(TestVerifyWindow)
#include "test_verify_window.moc"
