// The window and the settings of FPN.ini out of their ranges, on the simulated camera: a dark
// field with a gain range that makes no pass, or a gain that is no number, shows the refusal in
// the progress panel and never "执行完成", and the camera takes no frame; the panels show a bad
// value as its default and say so once.
#include "app/mainwindow.h"
#include "app/progressinfowidget.h"
#include "camera/cameraserver.h"
#include "camera/metatypes.h"
#include "camera/tables.h"
#include "loader.h"
#include "sim/lsxsim.h"
#include "ui_mainwindow.h"

#include <QApplication>
#include <QMessageBox>
#include <QPushButton>
#include <QSettings>
#include <QTextEdit>
#include <QTimer>
#include <QtTest>

#include <memory>

namespace {

const char* kCamera = "SIM-LS4096-M";

}  // namespace

class TestSettingsWindow : public QObject {
    Q_OBJECT

    std::unique_ptr<MainWindow> m_window;
    QStringList m_boxes;

    Ui::MainWindow* ui() const { return m_window->ui; }
    CameraServer* server() const { return m_window->m_cameraServer; }
    ProgressInfoWidget* panel() const { return m_window->m_progressInfo; }
    QTextEdit* contentEdit() const { return panel()->findChild<QTextEdit*>("contentEdit"); }

    // Every message box shown is read and closed.
    void closeBoxes()
    {
        QTimer::singleShot(10, this, [this] {
            if (auto* box = qobject_cast<QMessageBox*>(QApplication::activeModalWidget())) {
                m_boxes.append(box->text());
                box->accept();
            }
            if (m_window) closeBoxes();
        });
    }

    void store(const QString& key, const QVariant& value)
    {
        server()->m_settings->setValue(key, value);
        server()->m_settings->sync();
    }

private slots:
    void initTestCase()
    {
        const QByteArray lib = qgetenv("LSX_LIBRARY");
        QVERIFY2(!lib.isEmpty(), "LSX_LIBRARY names the simulated camera");
        const lsx::BindResult bound = lsx::bindLibrary(lib.toStdString());
        QVERIFY2(bound.ok, bound.message.c_str());
        QVERIFY(lsx::sim::api().ok());
        registerMetaTypes();
    }

    void init()
    {
        QCOMPARE(lsx::sim::api().reset(), LSX_OK);
        QFile::remove(fpnIniPath());
        m_boxes.clear();
        m_window = std::make_unique<MainWindow>(QString(), 0);
        m_window->show();
        QVERIFY(QTest::qWaitForWindowExposed(m_window.get()));
        server()->enumerate();
        server()->open(QString::fromLatin1(kCamera));
        QVERIFY(server()->m_opened);
        closeBoxes();
    }

    void cleanup()
    {
        m_window.reset();
        QCoreApplication::processEvents();
    }

    void cleanupTestCase() { lsx::unbindLibrary(); }

    void darkFieldRefusesABadGainRange_data()
    {
        QTest::addColumn<QString>("gainMin");
        QTest::addColumn<QString>("gainMax");
        QTest::addColumn<QString>("text");
        QTest::newRow("min above max")
            << "5"
            << "2"
            << "暗场校正-设置 Params/GainMin 的值 5 大于 Params/GainMax 的值 2：增益范围内没有一个增益，校正不会执行。"
               "请把 Params/GainMin 设为不大于 Params/GainMax 的值。";
        QTest::newRow("nan") << "nan"
                             << "2"
                             << "暗场校正-设置 Params/GainMin 的值 \"nan\" 不是数，应在 [1, 32] 之内。";
        QTest::newRow("1e308") << "1"
                               << "1e308"
                               << "暗场校正-设置 Params/GainMax 的值 \"1e308\" 超出范围，应在 [1, 32] 之内。";
    }

    void darkFieldRefusesABadGainRange()
    {
        QFETCH(QString, gainMin);
        QFETCH(QString, gainMax);
        QFETCH(QString, text);
        // Written as a station's file would hold it, after the panels were filled.
        store(FpnIni::GainMin, gainMin);
        store(FpnIni::GainMax, gainMax);
        server()->m_bList = {{7.0}};
        uint64_t framesBefore = 0, fired = 0;
        QCOMPARE(lsx::sim::api().getCounters(kCamera, &framesBefore, &fired), LSX_OK);

        m_window->dsnuProcess();
        QTRY_VERIFY_WITH_TIMEOUT(contentEdit()->toPlainText().contains(text), 10000);
        QPushButton* ok = panel()->findChild<QPushButton*>("defineBut");
        QTRY_VERIFY_WITH_TIMEOUT(ok->isVisible(), 5000);
        QVERIFY(!contentEdit()->toPlainText().contains(QStringLiteral("执行完成")));
        // Nothing measured, the earlier rows kept, the settings as written.
        uint64_t frames = 0;
        QCOMPARE(lsx::sim::api().getCounters(kCamera, &frames, &fired), LSX_OK);
        QCOMPARE(frames, framesBefore);
        QCOMPARE(server()->m_bList, (QList<QList<double>>{{7.0}}));
        QCOMPARE(server()->m_settings->value(FpnIni::GainMin).toString(), gainMin);
        QTest::mouseClick(ok, Qt::LeftButton);
        QTRY_VERIFY_WITH_TIMEOUT(!panel()->isVisible(), 5000);
    }

    // The panels show the default of a bad value and say so once, at the first load only.
    void panelsShowTheDefaultOnce()
    {
        QSettings ini(fpnIniPath(), QSettings::IniFormat);
        ini.setValue(FpnIni::PixelMax, QStringLiteral("1e308"));
        ini.sync();
        m_window->loadParams();
        QCOMPARE(ui()->pixelMaxSBox->value(), 180);
        QTRY_COMPARE_WITH_TIMEOUT(m_boxes.size(), 1, 5000);
        QCOMPARE(m_boxes.first(), QStringLiteral("设置 Params/PixelMax 的值 \"1e308\" 超出范围，应在 [2, 255] 之内，"
                                                 "改用默认值 180。"));
        m_window->loadParams();
        QTest::qWait(100);
        QCOMPARE(m_boxes.size(), 1);
        // The file keeps what the station wrote until the operator sets a value.
        QCOMPARE(QSettings(fpnIniPath(), QSettings::IniFormat).value(FpnIni::PixelMax).toString(),
                 QStringLiteral("1e308"));
    }
};

QTEST_MAIN(TestSettingsWindow)
#include "test_settings_window.moc"
