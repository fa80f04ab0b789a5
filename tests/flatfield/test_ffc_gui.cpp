// The FFC tab of the main window on the simulated camera, offscreen: a run from the live camera
// whose software simulation flattens the image's profile strip; the gains in the strip and the
// flatten menu on a marked stretch, which changes that stretch only; the adjustment boxes; the
// source picture with the pictures that cannot be used; the parameter files with the files that
// cannot be loaded, which leave the camera untouched.
#include "panels/windowharness.h"

#include "app/progressinfowidget.h"
#include "flatfield/ffcfile.h"
#include "ui_mainwindow.h"
#include "views/profilewidget.h"

#include <QAction>
#include <QFileDialog>
#include <QFileInfo>
#include <QImage>
#include <QLineEdit>
#include <QMenu>
#include <QPushButton>
#include <QSettings>
#include <QTemporaryDir>
#include <QTextEdit>

#include <cmath>
#include <cstring>

namespace {

const QString kMono = QStringLiteral("SIM-LS4096-M");
constexpr int kWidth = 512;

// Answers the next modal file dialog with `path`, as the operator's choice.
class FileAnswer : public QObject {
public:
    explicit FileAnswer(const QString& path) : m_path(path)
    {
        m_timer.setInterval(20);
        QObject::connect(&m_timer, &QTimer::timeout, this, [this] {
            auto* dialog = qobject_cast<QFileDialog*>(QApplication::activeModalWidget());
            if (!dialog) return;
            m_caption = dialog->windowTitle();
            if (m_path.isEmpty()) {
                dialog->reject();
            } else {
                // Typed into the name field, as the operator would: the dialog's own selection
                // leaves a field that has the focus alone.
                auto* name = dialog->findChild<QLineEdit*>(QStringLiteral("fileNameEdit"));
                if (!name) return;
                name->setText(m_path);
                if (QFileInfo(dialog->selectedFiles().value(0)) != QFileInfo(m_path)) return;
                static_cast<QDialog*>(dialog)->done(QDialog::Accepted);
            }
            m_timer.stop();
        });
        m_timer.start();
    }
    QString caption() const { return m_caption; }

private:
    QString m_path;
    QString m_caption;
    QTimer m_timer;
};

double relativeSd(const cv::Mat& row, int channel)
{
    std::vector<cv::Mat> planes;
    cv::split(row, planes);
    cv::Scalar mean, sd;
    cv::meanStdDev(planes[size_t(channel)], mean, sd);
    return sd[0] / mean[0];
}

lsxRegion roiOf(lsxHandle h)
{
    lsxRegion roi;
    std::memset(&roi, 0, sizeof roi);
    lsxGetRoi(h, &roi);
    return roi;
}

}  // namespace

class TestFfcGui : public QObject, harness::WindowFixture {
    Q_OBJECT
    QTemporaryDir m_root;
    // Live frames on show: the capture the connect starts by itself.
    void waitForFrames()
    {
        QTRY_VERIFY_WITH_TIMEOUT(ui()->startBut->isChecked(), 3000);
        w->m_staticMat.release();
        QTRY_VERIFY_WITH_TIMEOUT(!w->m_staticMat.empty(), 5000);
    }

    // The FFC run from the live camera with the target 180 and one gain per column, accepted.
    void runFfc()
    {
        ui()->featureTabWidget->setCurrentIndex(1);
        ui()->ffcRadiusSBox->setValue(0);
        QCOMPARE(server()->m_ffcRadius, 0);
        ui()->customLumRBut->setChecked(true);
        ui()->customLumRangeSBox->setValue(180);
        ui()->ffcBut->click();
        QCOMPARE(w->m_progressInfo->windowTitle(), QStringLiteral("平场校正执行中..."));
        QVERIFY(!ui()->startBut->isChecked());
        QTRY_VERIFY_WITH_TIMEOUT(defineBut()->isVisible(), 15000);
        QTest::mouseClick(defineBut(), Qt::LeftButton);
        QVERIFY(!w->m_progressInfo->isVisible());
        QVERIFY(ui()->ffcCheck->isChecked());
        QVERIFY(ui()->ffcKListCheck->isEnabled());
        QCOMPARE(w->m_ffcSavedKList, server()->m_ffcKList);
        QCOMPARE(server()->m_ffcKList.size(), 1);
        QCOMPARE(server()->m_ffcKList.first().size(), kWidth);
        QVERIFY(ui()->startBut->isChecked());
    }

    QString writeFile(const QString& name, const QByteArray& bytes)
    {
        const QString path = m_root.filePath(name);
        QFile f(path);
        if (!f.open(QIODevice::WriteOnly)) return QString();
        f.write(bytes);
        return path;
    }

private slots:
    void initTestCase()
    {
        QVERIFY(m_root.isValid());
        const QString json = QStringLiteral(R"({"timeScale": 0, "cameras": [
            {"friendlyName": "SIM-LS4096-M", "width": %1, "roiHeight": 100, "light": 8.0}
        ]})")
                                 .arg(kWidth);
        const QString failed = harness::bindSimulator(m_root.path(), json);
        QVERIFY2(failed.isEmpty(), qPrintable(failed));
    }
    void init() { w = harness::makeWindow(); }
    void cleanup()
    {
        lsx::sim::api().clearFaults();
        w.reset();
    }
    void cleanupTestCase() { lsx::unbindLibrary(); }

    void liveRunFlattensTheProfileStrip()
    {
        harness::BoxCatcher boxes;
        QVERIFY(connectCamera(kMono));
        waitForFrames();
        const double rawSd = relativeSd(w->m_staticMat, 0);
        runFfc();
        // The software flat field on the live image: the strip shows flat column means.
        w->m_staticMat.release();
        QTRY_VERIFY_WITH_TIMEOUT(!w->m_staticMat.empty(), 5000);
        const double flatSd = relativeSd(w->m_profileWidget->data(), 0);
        qInfo("profile strip: %.3f %% before, %.3f %% with the simulated FFC", 100 * rawSd, 100 * flatSd);
        QVERIFY(rawSd > 0.05);
        QVERIFY2(flatSd < 0.01, qPrintable(QString::number(flatSd)));
        QVERIFY(!w->m_profileWidget->isEditable());
        QCOMPARE(w->m_profileWidget->yMax(), 255.0);
        QVERIFY(boxes.boxes().isEmpty());
    }

    void flattenMenuChangesOnlyTheStretch()
    {
        QVERIFY(connectCamera(kMono));
        waitForFrames();
        runFfc();
        ui()->startBut->click();  // a still picture, so the strip holds still
        QVERIFY(!ui()->startBut->isChecked());
        ui()->ffcKListCheck->setChecked(true);
        ProfileWidget* strip = w->m_profileWidget;
        QVERIFY(strip->isEditable());
        QCOMPARE(strip->yMax(), 4.0);
        QCOMPARE(strip->menu()->actions().size(), 1);
        QCOMPARE(strip->menu()->actions().first()->text(), QStringLiteral("拉平平场系数"));
        const GainList before = server()->m_ffcKList;
        for (int x = 0; x < kWidth; ++x) QCOMPARE(strip->data().at<float>(0, x), float(before[0][x]));

        // Mark a stretch with the right button and flatten it.
        const int y = strip->height() / 2;
        const int x0 = strip->width() / 4, x1 = strip->width() / 2;
        QTest::mousePress(strip, Qt::RightButton, {}, QPoint(x0, y));
        QTest::mouseMove(strip, QPoint(x1, y));
        QTest::mouseRelease(strip, Qt::RightButton, {}, QPoint(x1, y));
        QVERIFY(strip->isSelecting());
        const float sx = float(strip->width() / (strip->right() - strip->left()));
        const int a = int(std::floor(strip->selStart() / sx + strip->left()));
        const int b = int(std::floor(strip->selEnd() / sx + strip->left()));
        QVERIFY(a > 0 && b > a + 2 && b < kWidth - 1);
        strip->menu()->actions().first()->trigger();
        strip->menu()->hide();

        const GainList after = server()->m_ffcKList;
        QCOMPARE(after.size(), 1);
        QCOMPARE(after[0].size(), kWidth);
        const float s = float(before[0][a]), e = float(before[0][b]);
        const float step = (e - s) / float(b - a);
        for (int x = 0; x < kWidth; ++x) {
            if (x < a || x > b)
                QCOMPARE(after[0][x], before[0][x]);
            else
                QCOMPARE(after[0][x], double(float(x - a) * step + s));
        }
        // The saved gains stay: the adjustment box starts from the run's values again.
        ui()->grayffcAdjustSBox->setValue(1.0);
        QCOMPARE(w->m_ffcSavedKList, before);
    }

    void adjustmentBoxesScaleAndRestore()
    {
        harness::BoxCatcher boxes;
        QVERIFY(connectCamera(kMono));
        waitForFrames();
        runFfc();
        const GainList run = w->m_ffcSavedKList;
        QVERIFY(!ui()->ffcGrayAdjustWidget->isHidden());
        ui()->grayffcAdjustSBox->setValue(0.5);
        for (int x = 0; x < kWidth; x += 37) QCOMPARE(server()->m_ffcKList[0][x], (run[0][x] - 1.0) * 0.5 + 1.0);
        ui()->grayffcAdjustSBox->setValue(1.0);
        QCOMPARE(server()->m_ffcKList, run);
        // Three boxes against one list: refused, the gains stay.
        ui()->ffcGrayAdjustWidget->hide();
        ui()->ffcBgrAdjustWidget->show();
        ui()->gFfcAdjustSBox->setValue(2.0);
        QTRY_COMPARE(boxes.boxes().size(), 1);
        QCOMPARE(boxes.boxes().first().text, QStringLiteral("图像通道数与参数通道数不一致，请重新进行平场校正。"));
        QCOMPARE(server()->m_ffcKList, run);
    }

    void radiusReachesTheServerWithoutACamera()
    {
        QVERIFY(!server()->m_opened);
        ui()->ffcRadiusSBox->setValue(140);
        QCOMPARE(server()->m_ffcRadius, 140);
    }

    void gainModeNeedsFittingGains()
    {
        QVERIFY(connectCamera(kMono));
        waitForFrames();
        ui()->featureTabWidget->setCurrentIndex(1);
        server()->m_ffcKList = {QList<double>(kWidth - 1, 1.0)};
        ui()->ffcKListCheck->setEnabled(true);
        ui()->ffcKListCheck->setChecked(true);
        QVERIFY(!ui()->ffcKListCheck->isChecked());
        QVERIFY(!w->m_profileWidget->isEditable());
    }

    void sourcePictures()
    {
        harness::BoxCatcher boxes;
        QVERIFY(connectCamera(kMono));
        waitForFrames();
        ui()->startBut->click();

        // Grey: 40 wide, 30 high; turned, a column of the file is a row, so the statistic has
        // 30 columns, each the mean of one file row (read bottom to top).
        QImage grey(40, 30, QImage::Format_Grayscale8);
        for (int y = 0; y < 30; ++y)
            for (int x = 0; x < 40; ++x) grey.setPixel(x, y, qRgb(y * 5 + x % 2, y * 5 + x % 2, y * 5 + x % 2));
        const QString greyPath = m_root.filePath(QStringLiteral("grey.bmp"));
        QVERIFY(grey.save(greyPath));
        {
            FileAnswer answer(greyPath);
            w->loadFFCImage();
            QCOMPARE(answer.caption(), QStringLiteral("加载源图"));
        }
        QCOMPARE(w->m_staticMat.cols, 30);
        QCOMPARE(w->m_staticMat.channels(), 1);
        QCOMPARE(w->m_staticMat.at<float>(0, 0), 29 * 5 + 0.5f);
        QCOMPARE(w->m_staticMat.at<float>(0, 29), 0.5f);
        QCOMPARE(w->m_srcImg.type(), CV_8UC1);
        QCOMPARE(int(w->m_scsChannels.size()), 1);

        // Colour: the row named by the radius box, B, G, R.
        ui()->ffcRadiusSBox->setValue(2);  // the box steps by 20 but takes any value
        QImage colour(6, 4, QImage::Format_RGB888);
        colour.fill(qRgb(10, 20, 30));
        colour.setPixel(2, 3, qRgb(200, 100, 50));  // turned: row 2, column 0
        const QString colourPath = m_root.filePath(QStringLiteral("colour.png"));
        QVERIFY(colour.save(colourPath));
        {
            FileAnswer answer(colourPath);
            w->loadFFCImage();
        }
        QCOMPARE(w->m_staticMat.type(), CV_32FC3);
        QCOMPARE(w->m_staticMat.cols, 4);
        QCOMPARE(w->m_staticMat.at<cv::Vec3f>(0, 0), cv::Vec3f(50, 100, 200));
        QCOMPARE(w->m_staticMat.at<cv::Vec3f>(0, 1), cv::Vec3f(30, 20, 10));
        QCOMPARE(w->m_srcImg.type(), CV_8UC3);
        QCOMPARE(int(w->m_scsChannels.size()), 3);
        QCOMPARE(w->m_scsChannels[0].at<uint8_t>(2, 0), uint8_t(200));  // R plane first

        // A 16-bit PNG is read as a grey picture on the 8-bit scale.
        QImage deep(8, 5, QImage::Format_Grayscale16);
        for (int y = 0; y < 5; ++y)
            for (int x = 0; x < 8; ++x) reinterpret_cast<quint16*>(deep.scanLine(y))[x] = quint16(257 * (40 + y));
        const QString deepPath = m_root.filePath(QStringLiteral("deep.png"));
        QVERIFY(deep.save(deepPath));
        {
            FileAnswer answer(deepPath);
            w->loadFFCImage();
        }
        QCOMPARE(w->m_staticMat.cols, 5);
        QCOMPARE(w->m_staticMat.at<float>(0, 0), 44.0f);
        QCOMPARE(w->m_staticMat.at<float>(0, 4), 40.0f);
        QVERIFY(boxes.boxes().isEmpty());

        // Pictures that cannot be read change nothing.
        QByteArray png;
        {
            QFile f(colourPath);
            QVERIFY(f.open(QIODevice::ReadOnly));
            png = f.readAll();
        }
        QByteArray emptyBmp(54, '\0');
        emptyBmp[0] = 'B';
        emptyBmp[1] = 'M';
        emptyBmp[10] = 54;
        emptyBmp[14] = 40;
        emptyBmp[26] = 1;
        emptyBmp[28] = 24;
        const cv::Mat keptStat = w->m_staticMat.clone();
        const cv::Mat keptSrc = w->m_srcImg.clone();
        const QStringList bad = {writeFile(QStringLiteral("corrupt.png"), QByteArray(300, 'x')),
                                 writeFile(QStringLiteral("truncated.png"), png.left(40)),
                                 writeFile(QStringLiteral("empty.bmp"), emptyBmp)};
        for (const QString& path : bad) {
            FileAnswer answer(path);
            w->loadFFCImage();
        }
        QTRY_COMPARE(boxes.boxes().size(), 3);
        for (int i = 0; i < 3; ++i) {
            QCOMPARE(boxes.boxes()[i].title, QStringLiteral("错误"));
            QCOMPARE(boxes.boxes()[i].text, QStringLiteral("无法读取图像文件：%1").arg(bad[i]));
        }
        QCOMPARE(cv::norm(w->m_staticMat, keptStat, cv::NORM_INF), 0.0);
        QCOMPARE(cv::norm(w->m_srcImg, keptSrc, cv::NORM_INF), 0.0);

        // A colour picture without the radius's row.
        ui()->ffcRadiusSBox->setValue(60);
        {
            FileAnswer answer(colourPath);
            w->loadFFCImage();
        }
        QTRY_COMPARE(boxes.boxes().size(), 4);
        QCOMPARE(boxes.boxes()[3].text, QStringLiteral("图像宽度不足61像素，无法取出平场统计行。"));
        QCOMPARE(cv::norm(w->m_staticMat, keptStat, cv::NORM_INF), 0.0);
    }

    // A picture narrower than the camera's ROI, as the FFC run gets it from the tab.
    void pictureOfTheWrongWidthIsRefused()
    {
        QVERIFY(connectCamera(kMono));
        waitForFrames();
        ui()->startBut->click();
        QImage wide(40, kWidth + 8, QImage::Format_Grayscale8);
        wide.fill(120);
        const QString path = m_root.filePath(QStringLiteral("wide.bmp"));
        QVERIFY(wide.save(path));
        {
            FileAnswer answer(path);
            w->loadFFCImage();
        }
        QCOMPARE(w->m_staticMat.cols, kWidth + 8);
        server()->m_ffcKList.clear();
        ui()->ffcBut->click();
        QTRY_VERIFY_WITH_TIMEOUT(defineBut()->isVisible(), 10000);
        QVERIFY(w->m_progressInfo->findChild<QTextEdit*>("contentEdit")
                    ->toPlainText()
                    .contains(QStringLiteral("加载图像与相机尺寸不一致，无法进行对应平场操作。")));
        QVERIFY(server()->m_ffcKList.isEmpty());
        QTest::mouseClick(defineBut(), Qt::LeftButton);
        QVERIFY(!ui()->ffcCheck->isChecked());
    }

    void parameterFiles()
    {
        harness::BoxCatcher boxes;
        QVERIFY(connectCamera(kMono));
        waitForFrames();
        runFfc();
        ui()->startBut->click();
        const GainList run = server()->m_ffcKList;
        const lsxHandle h = server()->m_handle;

        // Saved under the model's name in place of x.
        const QString chosen = m_root.filePath(QStringLiteral("x.FAC.FFC.old"));
        {
            FileAnswer answer(chosen);
            w->saveFFC();
            QCOMPARE(answer.caption(), QStringLiteral("FFC保存"));
        }
        const QString saved = m_root.filePath(QStringLiteral("LSM4096A.FAC.FFC.old"));
        QVERIFY(QFile::exists(saved));
        QTRY_COMPARE(boxes.boxes().size(), 1);
        QCOMPARE(boxes.boxes()[0].title, QStringLiteral("保存成功"));

        // Files that cannot be loaded: the message, the gains and the camera's ROI untouched.
        const lsxRegion roi = roiOf(h);
        const QStringList bad = {
            writeFile(QStringLiteral("v1"), "[FFC]\nVersion=1\n[FFC_ROI]\nOffsetH=8\nWidth=4\n"),
            writeFile(QStringLiteral("garbage"), "[FFC]\nVersion=2\n[FFC_ROI]\nOffsetH=8\nWidth=2\n[FFC_R]\n8=x\n"),
            writeFile(QStringLiteral("nan"), "[FFC]\nVersion=2\n[FFC_ROI]\nOffsetH=8\nWidth=2\n[FFC_R]\n9=nan\n"),
            writeFile(QStringLiteral("negative"), "[FFC]\nVersion=2\n[FFC_ROI]\nOffsetH=8\nWidth=2\n[FFC_R]\n8=-2\n"),
            writeFile(QStringLiteral("narrow"), "[FFC]\nVersion=2\n[FFC_ROI]\nOffsetH=8\nWidth=0\n[FFC_R]\n8=1\n")};
        for (const QString& path : bad) {
            FileAnswer answer(path);
            w->loadFFCParam();
        }
        QTRY_COMPARE(boxes.boxes().size(), 6);
        QCOMPARE(boxes.boxes()[1].title, QStringLiteral("版本错误"));
        QCOMPARE(boxes.boxes()[2].text, QStringLiteral("参数文件中 FFC_R/8 的值无效，无法加载。"));
        QCOMPARE(boxes.boxes()[3].text, QStringLiteral("参数文件中 FFC_R/9 的值无效，无法加载。"));
        QCOMPARE(boxes.boxes()[4].text, QStringLiteral("参数文件中 FFC_R/8 的值无效，无法加载。"));
        QCOMPARE(boxes.boxes()[5].text, QStringLiteral("参数文件中的ROI无效（FFC_ROI/Width = 0），无法加载。"));
        QCOMPARE(server()->m_ffcKList, run);
        const lsxRegion same = roiOf(h);
        QCOMPARE(same.X, roi.X);
        QCOMPARE(same.W, roi.W);

        // A ROI the camera refuses: the message, nothing loaded.
        QVERIFY(!writeFile(QStringLiteral("offside"),
                           "[FFC]\nVersion=2\n[FFC_ROI]\nOffsetH=500\nWidth=100\n[FFC_R]\n500=1.5\n")
                     .isEmpty());
        {
            FileAnswer answer(m_root.filePath(QStringLiteral("offside")));
            w->loadFFCParam();
        }
        QTRY_COMPARE(boxes.boxes().size(), 7);
        QCOMPARE(boxes.boxes()[6].title, QStringLiteral("操作失败"));
        QVERIFY(boxes.boxes()[6].text.startsWith(QStringLiteral("设置ROI失败，失败原因：")));
        QCOMPARE(server()->m_ffcKList, run);

        // The saved file back: the gains as saved, the simulation on.
        server()->m_ffcKList.clear();
        ui()->ffcCheck->setChecked(false);
        {
            FileAnswer answer(saved);
            w->loadFFCParam();
            QCOMPARE(answer.caption(), QStringLiteral("FFC参数加载"));
        }
        QTRY_COMPARE(boxes.boxes().size(), 8);
        QCOMPARE(boxes.boxes()[7].text, QStringLiteral("加载FFC成功。"));
        QCOMPARE(server()->m_ffcKList, run);
        QCOMPARE(w->m_ffcSavedKList, run);
        QVERIFY(ui()->ffcCheck->isChecked());

        // Export: the "Disable" entry is refused; a set that was never written has no gains.
        ui()->ffcSelCBox->setCurrentIndex(0);
        w->exportFFC();
        QTRY_COMPARE(boxes.boxes().size(), 9);
        QCOMPARE(boxes.boxes()[8].title, QStringLiteral("FFC选项错误"));
        {
            const QSignalBlocker quiet(ui()->ffcSelCBox);
            ui()->ffcSelCBox->setCurrentIndex(2);
        }
        QCOMPARE(lsxSetConfigString(h, "PRNUC", "UserSet1"), LSX_OK);
        {
            FileAnswer answer(m_root.filePath(QStringLiteral("exported")));
            w->exportFFC();
        }
        QTRY_COMPARE(boxes.boxes().size(), 10);
        QCOMPARE(boxes.boxes()[9].text, QStringLiteral("当前选项没有FFC参数可供读取。"));
    }
};

QTEST_MAIN(TestFfcGui)
#include "test_ffc_gui.moc"
