#include "verifywindow.h"

#include "app/verifyreport.h"
#include "camera/tables.h"

#include <QComboBox>
#include <QCoreApplication>
#include <QDir>
#include <QFileDialog>
#include <QHBoxLayout>
#include <QHeaderView>
#include <QLabel>
#include <QMessageBox>
#include <QPlainTextEdit>
#include <QPushButton>
#include <QRegularExpression>
#include <QTableWidget>
#include <QVBoxLayout>
#include <QtCharts/QChart>
#include <QtCharts/QChartView>

namespace {

QColor verdictColour(bool passed)
{
    return passed ? QColor(60, 200, 90) : QColor(240, 70, 60);
}

QChartView* chartView(const QString& name)
{
    auto* view = new QChartView;
    view->setObjectName(name);
    view->setRenderHint(QPainter::Antialiasing);
    view->setMinimumHeight(220);
    return view;
}

// Hands a new chart to a view; the view's old chart goes.
void replaceChart(QChartView* view, QChart* chart)
{
    QChart* old = view->chart();
    view->setChart(chart);
    delete old;
}

}  // namespace

VerifyWindow::VerifyWindow(QWidget* parent) : QWidget(parent, Qt::Window)
{
    setObjectName(QStringLiteral("VerifyWindow"));
    setWindowTitle(tr("校正验证结果"));
    resize(1100, 1000);

    m_heading = new QLabel;
    m_heading->setObjectName(QStringLiteral("headingLabel"));
    m_heading->setWordWrap(true);
    m_verdict = new QLabel;
    m_verdict->setObjectName(QStringLiteral("verdictLabel"));
    m_verdict->setAlignment(Qt::AlignCenter);

    m_planeBox = new QComboBox;
    m_planeBox->setObjectName(QStringLiteral("planeBox"));
    m_planeBox->setMinimumWidth(160);
    auto* planeRow = new QHBoxLayout;
    planeRow->addWidget(new QLabel(tr("平面")));
    planeRow->addWidget(m_planeBox);
    planeRow->addStretch(1);

    m_table = new QTableWidget(0, 5);
    m_table->setObjectName(QStringLiteral("figuresTable"));
    m_table->setHorizontalHeaderLabels({tr("指标"), tr("校正前"), tr("校正后"), tr("限值"), tr("结论")});
    m_table->verticalHeader()->hide();
    m_table->setEditTriggers(QAbstractItemView::NoEditTriggers);
    m_table->setSelectionMode(QAbstractItemView::NoSelection);
    m_table->horizontalHeader()->setMinimumSectionSize(64);
    m_table->horizontalHeader()->setSectionResizeMode(0, QHeaderView::Stretch);
    for (int c = 1; c < 5; ++c) m_table->horizontalHeader()->setSectionResizeMode(c, QHeaderView::ResizeToContents);

    m_defects = new QPlainTextEdit;
    m_defects->setObjectName(QStringLiteral("defectsEdit"));
    m_defects->setReadOnly(true);

    m_profileView = chartView(QStringLiteral("profileView"));
    m_spectrumView = chartView(QStringLiteral("spectrumView"));

    m_saveBut = new QPushButton(tr("保存报告"));
    m_saveBut->setObjectName(QStringLiteral("saveReportBut"));
    m_saveBut->setEnabled(false);
    auto* closeBut = new QPushButton(tr("关闭"));
    closeBut->setObjectName(QStringLiteral("closeBut"));
    auto* buttons = new QHBoxLayout;
    buttons->addStretch(1);
    buttons->addWidget(m_saveBut);
    buttons->addWidget(closeBut);

    // Top: the figures of the chosen plane on the left; the verdict and the defect columns beside.
    auto* left = new QVBoxLayout;
    left->addLayout(planeRow);
    left->addWidget(m_table, 1);
    auto* right = new QVBoxLayout;
    right->addWidget(m_verdict);
    right->addWidget(new QLabel(tr("缺陷列与说明")));
    right->addWidget(m_defects, 1);
    auto* top = new QHBoxLayout;
    top->addLayout(left, 3);
    top->addLayout(right, 2);

    auto* outer = new QVBoxLayout(this);
    outer->addWidget(m_heading);
    outer->addLayout(top);
    outer->addWidget(m_profileView, 1);
    outer->addWidget(m_spectrumView, 1);
    outer->addLayout(buttons);

    connect(m_planeBox, &QComboBox::currentIndexChanged, this, &VerifyWindow::showPlane);
    connect(m_saveBut, &QPushButton::clicked, this, &VerifyWindow::saveReportAs);
    connect(closeBut, &QPushButton::clicked, this, &QWidget::close);
}

void VerifyWindow::setReport(VerifyReport report)
{
    m_report = std::move(report);
    const VerifyReport& r = m_report;
    const QString on = QCoreApplication::translate("VerifyWindow", "开"),
                  off = QCoreApplication::translate("VerifyWindow", "关");
    m_heading->setText(
        tr("相机 %1　型号 %2　序列号 %3　固件版本 %4\n"
                       "%5　增益 %6　工作曝光时间 %7 us　%8 位　每平面 %9 行　")
            .arg(r.camera, r.model, r.serial, r.version, r.when.toString(QStringLiteral("yyyy-MM-dd HH:mm:ss")))
            .arg(r.gain)
            .arg(r.exposure)
            .arg(r.bits == 0 ? 8 : 16)
            .arg(r.lines)
        + tr("校正后：相机FPN %1，平场/镜头校正 %2\n").arg(r.fpnOn ? on : off, r.flatOn ? on : off)
        + verifyLevelsText(r));
    const bool passed = reportPasses(r);
    m_verdict->setText(tr("结论：%1").arg(verdictText(passed)));
    // A style sheet of its own: the application's sheet would override a palette.
    m_verdict->setStyleSheet(QStringLiteral("QLabel#verdictLabel { color: %1; font-size: 20pt; font-weight: bold; }")
                                 .arg(verdictColour(passed).name()));

    {
        const QSignalBlocker block(m_planeBox);
        m_planeBox->clear();
        for (const VerifyPlane& p : r.planes)
            m_planeBox->addItem(planePasses(p.after, r.limits) ? p.name : p.name + tr("（不合格）"));
    }
    m_saveBut->setEnabled(!r.planes.isEmpty());
    showPlane(0);
}

void VerifyWindow::showPlane(int index)
{
    if (index < 0 || index >= m_report.planes.size()) {
        m_table->setRowCount(0);
        m_defects->clear();
        return;
    }
    const VerifyPlane& plane = m_report.planes[index];
    const QList<VerifyRow> rows = verifyRows(plane, m_report.limits);
    m_table->setRowCount(int(rows.size()));
    for (int i = 0; i < rows.size(); ++i) {
        const VerifyRow& r = rows[i];
        const QStringList cells = {r.label, r.before, r.after, r.limit, r.judged ? verdictText(r.passed) : QString()};
        for (int c = 0; c < cells.size(); ++c) {
            auto* item = new QTableWidgetItem(cells[c]);
            item->setTextAlignment(Qt::AlignVCenter | (c == 0 ? Qt::AlignLeft : Qt::AlignRight));
            if (c == 4 && r.judged) item->setForeground(verdictColour(r.passed));
            m_table->setItem(i, c, item);
        }
    }
    // The whole table in view: every row of figures at once.
    m_table->resizeRowsToContents();
    int height = m_table->horizontalHeader()->height() + 2 * m_table->frameWidth();
    for (int i = 0; i < m_table->rowCount(); ++i) height += m_table->rowHeight(i);
    m_table->setMinimumHeight(height);
    QString defects =
        tr("校正前：%1\n校正后：%2").arg(defectText(plane.before.defects), defectText(plane.after.defects));
    for (const QString& note : verifyNotes(plane)) defects += tr("\n\n说明：") + note;
    m_defects->setPlainText(defects);
    replaceChart(m_profileView, verifyProfileChart(plane, ChartStyle::Dark));
    replaceChart(m_spectrumView, verifySpectrumChart(plane, ChartStyle::Dark));
    if (m_planeBox->currentIndex() != index) {
        const QSignalBlocker block(m_planeBox);
        m_planeBox->setCurrentIndex(index);
    }
}

QString VerifyWindow::suggestedPath() const
{
    const QString stamp = m_report.when.toString(QStringLiteral("yyyyMMdd_HHmmss"));
    QString name = tr("校正验证_%1_%2_%3.pdf").arg(m_report.model, m_report.serial, stamp);
    // A name the file system takes, whatever the camera calls itself.
    name.replace(QRegularExpression(QStringLiteral(R"([\\/:*?"<>|\s])")), QStringLiteral("_"));
    return QDir(documentDir()).filePath(name);
}

bool VerifyWindow::saveReport(const QString& pdfPath)
{
    QString error;
    if (writeVerifyReport(m_report, pdfPath, &error)) {
        emit reportSaved(pdfPath, verifyJsonPath(pdfPath));
        return true;
    }
    QMessageBox::critical(this, tr("错误"), error);
    return false;
}

void VerifyWindow::saveReportAs()
{
    const QString path =
        QFileDialog::getSaveFileName(this, tr("保存报告"), suggestedPath(), QStringLiteral("PDF (*.pdf)"));
    if (path.isEmpty()) return;
    saveReport(path.endsWith(QStringLiteral(".pdf"), Qt::CaseInsensitive) ? path : path + QStringLiteral(".pdf"));
}
