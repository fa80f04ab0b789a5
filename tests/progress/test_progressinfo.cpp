// The progress panel: its form, and every rule of showProgressInfo, including the way the
// "确定" button's connections carry over from one run to the next.
#include "app/progressinfowidget.h"

#include <QLabel>
#include <QLayout>
#include <QProgressBar>
#include <QPushButton>
#include <QSignalSpy>
#include <QTextBlock>
#include <QTextEdit>
#include <QtTest>

class TestProgressInfo : public QObject {
    Q_OBJECT

private:
    QWidget* m_parent = nullptr;
    ProgressInfoWidget* m_panel = nullptr;

    QPushButton* defineBut() const { return m_panel->findChild<QPushButton*>("defineBut"); }
    QPushButton* cancelBut() const { return m_panel->findChild<QPushButton*>("cancelBut"); }
    QTextEdit* contentEdit() const { return m_panel->findChild<QTextEdit*>("contentEdit"); }
    QProgressBar* progressBar() const { return m_panel->findChild<QProgressBar*>("progressBar"); }

    static QColor blockColour(const QTextBlock& block)
    {
        return block.begin().fragment().charFormat().foreground().color();
    }

private slots:
    void init()
    {
        m_parent = new QWidget;
        m_parent->resize(800, 600);
        m_parent->show();
        m_panel = new ProgressInfoWidget(m_parent);
    }

    void cleanup()
    {
        delete m_parent;
        m_parent = nullptr;
        m_panel = nullptr;
    }

    // ---- edge cases first

    void errorReportShowsRedLineAfterEmptyLine()
    {
        m_panel->show();
        m_panel->showProgressInfo(0, QStringLiteral("暗场校正执行中..."));
        m_panel->showProgressInfo(30, QStringLiteral("检测DOffset..."));
        m_panel->showProgressInfo(101, QStringLiteral("相机打开失败"));

        QCOMPARE(contentEdit()->toPlainText(),
                 QStringLiteral("暗场校正执行中...\n检测DOffset...\n\n错误:相机打开失败"));
        const QTextDocument* doc = contentEdit()->document();
        QCOMPARE(doc->blockCount(), 4);
        const QTextBlock last = doc->lastBlock();
        QCOMPARE(last.text(), QStringLiteral("错误:相机打开失败"));
        QCOMPARE(last.previous().text(), QString());
        QCOMPARE(blockColour(last), QColor(Qt::red));
        QCOMPARE(blockColour(doc->firstBlock()), QColor(Qt::white));
        QCOMPARE(blockColour(doc->firstBlock().next()), QColor(Qt::white));

        QCOMPARE(progressBar()->value(), 100);
        QVERIFY(defineBut()->isVisible());
        QVERIFY(cancelBut()->isVisible());
        QVERIFY(contentEdit()->textCursor().atEnd());
    }

    void emptyInfoAtFiftyChangesNothing()
    {
        m_panel->show();
        m_panel->showProgressInfo(0, QStringLiteral("明场校正执行中..."));
        m_panel->showProgressInfo(40, QStringLiteral("采集曝光序列..."));
        const QString before = contentEdit()->toPlainText();

        m_panel->showProgressInfo(50, QString());

        QCOMPARE(contentEdit()->toPlainText(), before);
        QCOMPARE(progressBar()->value(), 40);
        QVERIFY(!defineBut()->isVisible());
        QVERIFY(cancelBut()->isVisible());
    }

    void emptyInfoAtZeroOnlyClears()
    {
        m_panel->show();
        m_panel->showProgressInfo(0, QStringLiteral("明场校正执行中..."));
        m_panel->showProgressInfo(40, QStringLiteral("采集曝光序列..."));
        m_panel->showProgressInfo(100, QStringLiteral("完成"));
        QVERIFY(defineBut()->isVisible());
        cancelBut()->hide();

        m_panel->showProgressInfo(0, QString());

        QCOMPARE(contentEdit()->toPlainText(), QString());
        QCOMPARE(progressBar()->value(), 100);  // the bar is not moved
        QVERIFY(!defineBut()->isVisible());
        QVERIFY(cancelBut()->isVisible());
    }

    void eachReportOfHundredAddsOneDefinedEmission()
    {
        QSignalSpy defined(m_panel, &ProgressInfoWidget::defined);
        QSignalSpy canceled(m_panel, &ProgressInfoWidget::canceled);

        m_panel->showProgressInfo(0, QStringLiteral("暗场校正执行中..."));
        defineBut()->click();  // the construction's connection alone
        QCOMPARE(defined.count(), 1);
        defined.clear();

        m_panel->showProgressInfo(100, QStringLiteral("暗场校正完成"));
        defineBut()->click();
        QCOMPARE(defined.count(), 2);
        defined.clear();

        m_panel->showProgressInfo(100, QStringLiteral("暗场校正完成"));
        defineBut()->click();
        QCOMPARE(defined.count(), 3);
        QCOMPARE(canceled.count(), 0);
    }

    void answerSlotThatDisconnectsItselfRunsOnce()
    {
        // The workflows' Ok slots disconnect themselves on the first emission.
        QSignalSpy defined(m_panel, &ProgressInfoWidget::defined);
        int okRuns = 0;
        auto connection = std::make_shared<QMetaObject::Connection>();
        *connection = connect(m_panel, &ProgressInfoWidget::defined, this, [&okRuns, connection] {
            ++okRuns;
            QObject::disconnect(*connection);
        });

        m_panel->showProgressInfo(0, QStringLiteral("明场校正执行中..."));
        m_panel->showProgressInfo(100, QStringLiteral("明场校正完成"));
        defineBut()->click();

        QCOMPARE(defined.count(), 2);
        QCOMPARE(okRuns, 1);
    }

    // ---- the ordinary reports

    void formAndWindow()
    {
        QCOMPARE(m_panel->size(), QSize(600, 450));
        QCOMPARE(m_panel->windowTitle(), QStringLiteral("FPN执行中..."));
        QCOMPARE(int(m_panel->windowFlags()), int(0x80003001));
        QVERIFY(m_panel->windowFlags().testFlag(Qt::Window));
        QVERIFY(!m_panel->windowFlags().testFlag(Qt::WindowCloseButtonHint));
        QCOMPARE(m_panel->windowModality(), Qt::WindowModal);
        QVERIFY(m_panel->isWindow());
        QCOMPARE(m_panel->parentWidget(), m_parent);
        QVERIFY(!m_panel->windowIcon().isNull());  // the panel registers the resources itself

        QCOMPARE(m_panel->findChild<QLabel*>("label")->text(), QStringLiteral("进度"));
        QCOMPARE(progressBar()->value(), 24);
        QVERIFY(contentEdit()->isReadOnly());
        QCOMPARE(defineBut()->text(), QStringLiteral("确定"));
        QCOMPARE(cancelBut()->text(), QStringLiteral("取消"));
        QVERIFY(defineBut()->minimumHeight() >= 30);
        QVERIFY(cancelBut()->minimumHeight() >= 30);
        QVERIFY(m_panel->findChild<QLayout*>("horizontalLayout"));
        QVERIFY(m_panel->findChild<QLayout*>("horizontalLayout_2"));
        QVERIFY(m_panel->findChild<QLayout*>("horizontalLayout_3"));
    }

    void zeroClearsAndRearms()
    {
        m_panel->show();
        m_panel->showProgressInfo(60, QStringLiteral("旧的信息"));
        m_panel->showProgressInfo(100, QStringLiteral("完成"));
        cancelBut()->hide();

        m_panel->showProgressInfo(0, QStringLiteral("校正参数写入中..."));

        QCOMPARE(contentEdit()->toPlainText(), QStringLiteral("校正参数写入中..."));
        QCOMPARE(progressBar()->value(), 0);
        QVERIFY(!defineBut()->isVisible());
        QVERIFY(cancelBut()->isVisible());
    }

    void progressMovesBarAndLogsInWhite()
    {
        m_panel->show();
        m_panel->showProgressInfo(0, QStringLiteral("开始执行平场校正..."));
        m_panel->showProgressInfo(1, QStringLiteral("第一步"));
        QCOMPARE(progressBar()->value(), 1);
        m_panel->showProgressInfo(99, QStringLiteral("最后一步"));
        QCOMPARE(progressBar()->value(), 99);
        m_panel->showProgressInfo(90, QStringLiteral("不支持的图像格式"));
        QCOMPARE(progressBar()->value(), 90);
        QVERIFY(!defineBut()->isVisible());

        QCOMPARE(contentEdit()->toPlainText(),
                 QStringLiteral("开始执行平场校正...\n第一步\n最后一步\n不支持的图像格式"));
        for (QTextBlock b = contentEdit()->document()->firstBlock(); b.isValid(); b = b.next())
            QCOMPARE(blockColour(b), QColor(Qt::white));
        QVERIFY(contentEdit()->textCursor().atEnd());
    }

    void hundredShowsDefineButton()
    {
        m_panel->show();
        m_panel->showProgressInfo(0, QStringLiteral("镜头校正执行中..."));
        m_panel->showProgressInfo(100, QStringLiteral("镜头校正完成"));
        QCOMPARE(progressBar()->value(), 100);
        QVERIFY(defineBut()->isVisible());
        QVERIFY(cancelBut()->isVisible());
        QCOMPARE(blockColour(contentEdit()->document()->lastBlock()), QColor(Qt::white));
        QCOMPARE(contentEdit()->document()->lastBlock().text(), QStringLiteral("镜头校正完成"));
    }

    void valuesAboveHundredCountAsFailure()
    {
        m_panel->show();
        m_panel->showProgressInfo(0, QStringLiteral("曝光数据采集中..."));
        m_panel->showProgressInfo(150, QStringLiteral("超时"));
        QCOMPARE(progressBar()->value(), 100);
        QCOMPARE(contentEdit()->document()->lastBlock().text(), QStringLiteral("错误:超时"));
        QVERIFY(defineBut()->isVisible());
    }

    void failureRoutesDefineToCanceledUntilNextHundred()
    {
        QSignalSpy defined(m_panel, &ProgressInfoWidget::defined);
        QSignalSpy canceled(m_panel, &ProgressInfoWidget::canceled);

        m_panel->showProgressInfo(0, QStringLiteral("暗场校正执行中..."));
        m_panel->showProgressInfo(101, QStringLiteral("失败"));
        defineBut()->click();
        QCOMPARE(defined.count(), 0);
        QCOMPARE(canceled.count(), 1);

        // A new run: 0 clears the panel but leaves "确定" on the cancel path.
        canceled.clear();
        m_panel->showProgressInfo(0, QStringLiteral("明场校正执行中..."));
        m_panel->showProgressInfo(50, QStringLiteral("进行中"));
        defineBut()->click();
        QCOMPARE(defined.count(), 0);
        QCOMPARE(canceled.count(), 1);

        // The next report of 100 swaps it back, with one connection only.
        canceled.clear();
        m_panel->showProgressInfo(100, QStringLiteral("完成"));
        defineBut()->click();
        QCOMPARE(defined.count(), 1);
        QCOMPARE(canceled.count(), 0);
    }

    void repeatedFailuresAddCanceledConnections()
    {
        QSignalSpy defined(m_panel, &ProgressInfoWidget::defined);
        QSignalSpy canceled(m_panel, &ProgressInfoWidget::canceled);

        m_panel->showProgressInfo(101, QStringLiteral("失败一"));
        m_panel->showProgressInfo(101, QStringLiteral("失败二"));
        defineBut()->click();
        QCOMPARE(canceled.count(), 2);
        QCOMPARE(defined.count(), 0);

        canceled.clear();
        m_panel->showProgressInfo(100, QStringLiteral("完成"));
        defineBut()->click();
        QCOMPARE(canceled.count(), 0);
        QCOMPARE(defined.count(), 1);
    }

    void emptyInfoAtHundredKeepsConnections()
    {
        QSignalSpy defined(m_panel, &ProgressInfoWidget::defined);
        QSignalSpy canceled(m_panel, &ProgressInfoWidget::canceled);
        m_panel->showProgressInfo(101, QStringLiteral("失败"));
        m_panel->showProgressInfo(100, QString());  // stops before the swap
        defineBut()->click();
        QCOMPARE(canceled.count(), 1);
        QCOMPARE(defined.count(), 0);
    }

    void cancelButtonAlwaysCancels()
    {
        QSignalSpy defined(m_panel, &ProgressInfoWidget::defined);
        QSignalSpy canceled(m_panel, &ProgressInfoWidget::canceled);
        m_panel->showProgressInfo(100, QStringLiteral("完成"));
        cancelBut()->click();
        m_panel->showProgressInfo(101, QStringLiteral("失败"));
        cancelBut()->click();
        QCOMPARE(canceled.count(), 2);
        QCOMPARE(defined.count(), 0);
    }

    void setCancelEnabled()
    {
        QSignalSpy canceled(m_panel, &ProgressInfoWidget::canceled);
        m_panel->setCancelEnabled(false);
        QVERIFY(!cancelBut()->isEnabled());
        cancelBut()->click();
        QCOMPARE(canceled.count(), 0);
        // Clearing the panel does not enable it again: the workflow does.
        m_panel->showProgressInfo(0, QStringLiteral("校正参数写入中..."));
        QVERIFY(!cancelBut()->isEnabled());
        m_panel->setCancelEnabled(true);
        QVERIFY(cancelBut()->isEnabled());
        cancelBut()->click();
        QCOMPARE(canceled.count(), 1);
    }

    void queuedReportsArriveAsSlot()
    {
        // Reports reach the panel as a queued connection from the worker's signal.
        QObject sender;
        m_panel->show();
        QMetaObject::invokeMethod(m_panel, "showProgressInfo", Qt::QueuedConnection, Q_ARG(int, 0),
                                  Q_ARG(QString, QStringLiteral("开始")));
        QMetaObject::invokeMethod(m_panel, "showProgressInfo", Qt::QueuedConnection, Q_ARG(int, 100),
                                  Q_ARG(QString, QStringLiteral("结束")));
        QTRY_COMPARE(progressBar()->value(), 100);
        QCOMPARE(contentEdit()->toPlainText(), QStringLiteral("开始\n结束"));
    }
};

QTEST_MAIN(TestProgressInfo)
#include "test_progressinfo.moc"
