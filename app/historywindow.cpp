#include "historywindow.h"

#include "camera/tables.h"
#include "records/recordexport.h"
#include "records/recordspool.h"
#include "records/recordstore.h"

#include <QComboBox>
#include <QCoreApplication>
#include <QFileDialog>
#include <QHBoxLayout>
#include <QHeaderView>
#include <QLabel>
#include <QLineEdit>
#include <QMessageBox>
#include <QPushButton>
#include <QSplitter>
#include <QTableWidget>
#include <QTextBrowser>
#include <QUrl>
#include <QVBoxLayout>
#include <QtCharts/QChart>
#include <QtCharts/QChartView>
#include <QtCharts/QLineSeries>
#include <QtCharts/QValueAxis>

#include <algorithm>
#include <cmath>

namespace {

QString stepText(const QString& step)
{
    static const QList<QPair<const char*, const char*>> names{
        {"dark", QT_TRANSLATE_NOOP("HistoryWindow", "暗场校正")},
        {"bright", QT_TRANSLATE_NOOP("HistoryWindow", "明场校正")},
        {"write-fpn", QT_TRANSLATE_NOOP("HistoryWindow", "写入FPN")},
        {"save-fpn", QT_TRANSLATE_NOOP("HistoryWindow", "保存FPN参数")},
        {"load-fpn", QT_TRANSLATE_NOOP("HistoryWindow", "加载FPN参数")},
        {"ffc", QT_TRANSLATE_NOOP("HistoryWindow", "平场校正")},
        {"write-ffc", QT_TRANSLATE_NOOP("HistoryWindow", "写入FFC")},
        {"save-ffc", QT_TRANSLATE_NOOP("HistoryWindow", "保存FFC参数")},
        {"lsc", QT_TRANSLATE_NOOP("HistoryWindow", "镜头校正")},
        {"write-lsc", QT_TRANSLATE_NOOP("HistoryWindow", "写入LSC")},
        {"save-lsc", QT_TRANSLATE_NOOP("HistoryWindow", "保存LSC参数")},
        {"verify", QT_TRANSLATE_NOOP("HistoryWindow", "校正验证")},
        {"save-report", QT_TRANSLATE_NOOP("HistoryWindow", "保存验证报告")},
        {"exposure", QT_TRANSLATE_NOOP("HistoryWindow", "曝光时间")},
        {"exposure-test", QT_TRANSLATE_NOOP("HistoryWindow", "曝光测试")},
        {"info", QT_TRANSLATE_NOOP("HistoryWindow", "相机信息")},
        {"list", QT_TRANSLATE_NOOP("HistoryWindow", "相机列表")},
        {"run", QT_TRANSLATE_NOOP("HistoryWindow", "配方")}};
    for (const auto& [key, text] : names)
        if (step == QLatin1String(key)) return QCoreApplication::translate("HistoryWindow", text);
    return step;
}

QString outcomeText(const QString& outcome)
{
    if (outcome == QLatin1String("ok")) return QCoreApplication::translate("HistoryWindow", "成功");
    if (outcome == QLatin1String("failed")) return QCoreApplication::translate("HistoryWindow", "失败");
    if (outcome == QLatin1String("cancelled")) return QCoreApplication::translate("HistoryWindow", "已取消");
    if (outcome == QLatin1String("limits")) return QCoreApplication::translate("HistoryWindow", "超出限值");
    if (outcome == QLatin1String("skipped")) return QCoreApplication::translate("HistoryWindow", "未执行");
    if (outcome == QLatin1String("usage")) return QCoreApplication::translate("HistoryWindow", "用法错误");
    return outcome;
}

QString verdictText(const QString& verdict)
{
    if (verdict == QLatin1String("pass")) return QCoreApplication::translate("HistoryWindow", "合格");
    if (verdict == QLatin1String("fail")) return QCoreApplication::translate("HistoryWindow", "不合格");
    return QString();
}

QString figureText(double v, int decimals)
{
    return std::isnan(v) ? QString() : QString::number(v, 'f', decimals);
}

QString localTime(const QDateTime& t)
{
    return t.isValid() ? t.toLocalTime().toString(QStringLiteral("yyyy-MM-dd HH:mm:ss")) : QString();
}

QTableWidgetItem* cell(const QString& text)
{
    auto* item = new QTableWidgetItem(text);
    item->setFlags(item->flags() & ~Qt::ItemIsEditable);
    return item;
}

QString escaped(const QString& s)
{
    return s.toHtmlEscaped();
}

}  // namespace

HistoryWindow::HistoryWindow(QWidget* parent) : QWidget(parent, Qt::Window)
{
    setObjectName(QStringLiteral("HistoryWindow"));
    setWindowTitle(tr("历史记录"));
    resize(1200, 820);

    m_serialBox = new QComboBox;
    m_serialBox->setObjectName(QStringLiteral("serialBox"));
    m_serialBox->setEditable(true);
    m_serialBox->setMinimumWidth(200);
    m_serialBox->lineEdit()->setPlaceholderText(tr("全部相机"));
    m_refreshBut = new QPushButton(tr("刷新"));
    m_refreshBut->setObjectName(QStringLiteral("refreshBut"));
    m_exportBut = new QPushButton(tr("导出CSV"));
    m_exportBut->setObjectName(QStringLiteral("exportBut"));
    m_status = new QLabel;
    m_status->setObjectName(QStringLiteral("statusLabel"));
    m_status->setWordWrap(true);
    auto* top = new QHBoxLayout;
    top->addWidget(new QLabel(tr("相机序列号")));
    top->addWidget(m_serialBox);
    top->addWidget(m_refreshBut);
    top->addWidget(m_exportBut);
    top->addWidget(m_status, 1);

    m_table = new QTableWidget(0, 10);
    m_table->setObjectName(QStringLiteral("runsTable"));
    m_table->setHorizontalHeaderLabels({tr("开始时间"), tr("序列号"), tr("工位"), tr("操作员"), tr("来源"), tr("步骤"),
                                        tr("结果"), tr("结论"), QStringLiteral("PRNU (%)"),
                                        QStringLiteral("DSNU (DN10)")});
    m_table->setSelectionBehavior(QAbstractItemView::SelectRows);
    m_table->setSelectionMode(QAbstractItemView::SingleSelection);
    m_table->verticalHeader()->hide();
    m_table->horizontalHeader()->setSectionResizeMode(5, QHeaderView::Stretch);

    m_trendView = new QChartView;
    m_trendView->setObjectName(QStringLiteral("trendView"));
    m_trendView->setRenderHint(QPainter::Antialiasing);
    m_trendView->setMinimumHeight(280);
    m_detail = new QTextBrowser;
    m_detail->setObjectName(QStringLiteral("detailView"));
    m_detail->setOpenExternalLinks(true);

    auto* bottom = new QSplitter(Qt::Horizontal);
    bottom->addWidget(m_trendView);
    bottom->addWidget(m_detail);
    bottom->setStretchFactor(0, 3);
    bottom->setStretchFactor(1, 2);
    auto* split = new QSplitter(Qt::Vertical);
    split->addWidget(m_table);
    split->addWidget(bottom);
    split->setStretchFactor(0, 1);
    split->setStretchFactor(1, 1);

    auto* outer = new QVBoxLayout(this);
    outer->addLayout(top);
    outer->addWidget(split, 1);

    connect(m_refreshBut, &QPushButton::clicked, this, &HistoryWindow::refresh);
    connect(m_serialBox, &QComboBox::textActivated, this, &HistoryWindow::refresh);
    connect(m_exportBut, &QPushButton::clicked, this, &HistoryWindow::exportCsvAs);
    connect(m_table, &QTableWidget::currentCellChanged, this, [this](int row) { showRun(row); });
    fillTrend();
}

QString HistoryWindow::serial() const
{
    return m_serialBox->currentText().trimmed();
}

void HistoryWindow::setSerial(const QString& serial)
{
    m_serialBox->setEditText(serial);
    refresh();
}

void HistoryWindow::refresh()
{
    const QString shown = serial();
    const RecordSettings settings = readRecordSettings(fpnIniPath(), documentDir());
    const int pending = int(RecordSpool(settings.spoolDir).pending().size());
    RecordStore store(settings.location);
    QStringList serials;
    QString status;
    bool ok = store.open() && store.runs(shown, m_runs) && store.serials(serials);
    if (!ok) {
        m_runs.clear();
        status = store.error();
    } else {
        status = tr("%1：%2 条记录").arg(settings.location.shown()).arg(m_runs.size());
    }
    if (pending > 0) status += tr("；%1 条记录等待发送到数据库").arg(pending);
    m_status->setText(status);
    m_status->setStyleSheet(ok ? QString() : QStringLiteral("QLabel#statusLabel { color: #E04040; }"));

    // The known serials to choose from, the shown one kept.
    const QSignalBlocker block(m_serialBox);
    m_serialBox->clear();
    m_serialBox->addItem(QString());
    m_serialBox->addItems(serials);
    m_serialBox->setEditText(shown);

    fillTable();
    fillTrend();
    if (m_table->rowCount() > 0)
        m_table->setCurrentCell(0, 0);
    else
        m_detail->clear();
}

void HistoryWindow::fillTable()
{
    m_table->setRowCount(0);
    m_table->setRowCount(int(m_runs.size()));
    // Newest first.
    for (int row = 0; row < m_runs.size(); ++row) {
        const RunRecord& r = m_runs[m_runs.size() - 1 - row];
        QStringList steps;
        for (const RecordStep& s : r.steps)
            steps << (s.outcome == QLatin1String("ok") ? stepText(s.name)
                                                       : tr("%1（%2）").arg(stepText(s.name), outcomeText(s.outcome)));
        const QStringList texts{localTime(r.started),
                                r.serial,
                                r.station,
                                r.operatorName,
                                r.source == QLatin1String("window") ? tr("窗口") : tr("命令行"),
                                steps.join(tr("、")),
                                outcomeText(r.outcome),
                                verdictText(r.verdict),
                                figureText(r.prnuAfter, 3),
                                figureText(r.dsnuAfter, 3)};
        for (int c = 0; c < texts.size(); ++c) m_table->setItem(row, c, cell(texts[c]));
        m_table->item(row, 0)->setData(Qt::UserRole, r.runId);
    }
    m_table->resizeColumnsToContents();
}

void HistoryWindow::fillTrend()
{
    auto* chart = new QChart;
    chart->setTitle(tr("校正后残余非均匀性"));
    auto* prnu = new QLineSeries;
    prnu->setObjectName(QStringLiteral("prnuSeries"));
    prnu->setName(tr("残余PRNU (%)"));
    prnu->setPointsVisible(true);
    auto* dsnu = new QLineSeries;
    dsnu->setObjectName(QStringLiteral("dsnuSeries"));
    dsnu->setName(tr("残余DSNU (DN10)"));
    dsnu->setPointsVisible(true);
    // One point per verified run, numbered oldest first: runs minutes apart stay apart.
    const QList<TrendPoint> points = trendSeries(m_runs);
    double top = 0.0;
    for (int i = 0; i < points.size(); ++i) {
        const TrendPoint& p = points[i];
        if (!std::isnan(p.prnu)) prnu->append(i + 1, p.prnu);
        if (!std::isnan(p.dsnu)) dsnu->append(i + 1, p.dsnu);
        for (double v : {p.prnu, p.dsnu})
            if (!std::isnan(v)) top = std::max(top, v);
    }
    chart->addSeries(prnu);
    chart->addSeries(dsnu);
    auto* runs = new QValueAxis;
    runs->setTitleText(tr("校正验证（按时间先后）"));
    runs->setLabelFormat(QStringLiteral("%d"));
    runs->setRange(0.5, std::max<qsizetype>(points.size(), 1) + 0.5);
    runs->setTickType(QValueAxis::TicksDynamic);
    runs->setTickAnchor(1.0);
    runs->setTickInterval(std::max(1.0, std::ceil(points.size() / 10.0)));
    auto* value = new QValueAxis;
    value->setTitleText(QStringLiteral("PRNU (%) / DSNU (DN10)"));
    value->setRange(0.0, top > 0.0 ? top * 1.2 : 1.0);
    chart->addAxis(runs, Qt::AlignBottom);
    chart->addAxis(value, Qt::AlignLeft);
    for (QLineSeries* s : {prnu, dsnu}) {
        s->attachAxis(runs);
        s->attachAxis(value);
    }
    QChart* old = m_trendView->chart();
    m_trendView->setChart(chart);
    delete old;
}

void HistoryWindow::showRun(int row)
{
    if (row < 0 || row >= m_runs.size()) {
        m_detail->clear();
        return;
    }
    const RunRecord& r = m_runs[m_runs.size() - 1 - row];
    QString html = tr("<h3>%1　%2　序列号 %3　固件版本 %4</h3>")
                       .arg(escaped(r.camera), escaped(r.model), escaped(r.serial), escaped(r.firmware));
    html += tr("<p>运行编号 %1<br>工位 %2　操作员 %3　%4 至 %5（%6 s）<br>结果：%7%8</p>")
                .arg(escaped(r.runId), escaped(r.station), escaped(r.operatorName), localTime(r.started),
                     localTime(r.ended), r.durationMs < 0 ? QString() : QString::number(r.durationMs / 1000.0, 'f', 1),
                     outcomeText(r.outcome), r.verdict.isEmpty() ? QString() : tr("　结论：") + verdictText(r.verdict));
    for (const RecordStep& s : r.steps) {
        html += tr("<h4>%1 %2（%3%4）</h4>")
                    .arg(s.index + 1)
                    .arg(stepText(s.name), outcomeText(s.outcome),
                         s.durationMs < 0 ? QString() : tr("，%1 s").arg(s.durationMs / 1000.0, 0, 'f', 1));
        if (!s.options.isEmpty()) {
            QStringList options;
            for (auto it = s.options.constBegin(); it != s.options.constEnd(); ++it)
                options << it.key() + QLatin1Char('=') + it.value().toVariant().toString();
            html += tr("<p>选项：%1</p>").arg(escaped(options.join(tr("，"))));
        }
        QString rows;
        for (const RecordFigure& f : r.figures) {
            if (f.step != s.index) continue;
            const QString value = f.hasValue() ? (f.text.isEmpty() ? QString::number(f.value, 'g', 8) : f.text)
                                               : (f.text.isEmpty() ? tr("无法测量") : f.text);
            rows += QStringLiteral("<tr><td>%1</td><td>%2</td><td align=right>%3</td></tr>")
                        .arg(escaped(f.name), escaped(f.plane), escaped(value));
        }
        if (!rows.isEmpty())
            html +=
                tr("<table border=1 cellspacing=0 cellpadding=2><tr><th>名称</th><th>平面</th><th>数值</th></tr>%1</table>")
                    .arg(rows);
        for (const RecordFile& f : r.files)
            if (f.step == s.index)
                html += tr("<p>文件 <a href=\"%1\">%2</a><br>SHA-256 %3</p>")
                            .arg(QUrl::fromLocalFile(f.path).toString(), escaped(f.path),
                                 f.sha256.isEmpty() ? tr("（无法读取）") : f.sha256);
        // The step's report as the operator read it.
        QStringList lines;
        for (const QJsonValue& m : s.messages) {
            const QString text = m.toObject().value(QLatin1String("text")).toString().trimmed();
            if (!text.isEmpty()) lines << escaped(text);
        }
        if (!lines.isEmpty()) html += QStringLiteral("<pre>%1</pre>").arg(lines.join(QLatin1Char('\n')));
    }
    m_detail->setHtml(html);
}

bool HistoryWindow::exportCsv(const QString& path)
{
    QString error;
    if (writeRunsCsv(path, m_runs, &error)) return true;
    QMessageBox::critical(this, tr("错误"), error);
    return false;
}

void HistoryWindow::exportCsvAs()
{
    const QString name = serial().isEmpty() ? QStringLiteral("records") : QStringLiteral("records-") + serial();
    const QString path = QFileDialog::getSaveFileName(this, QCoreApplication::translate("HistoryWindow", "导出CSV"),
                                                      documentDir() + QLatin1Char('/') + name + QStringLiteral(".csv"),
                                                      QStringLiteral("CSV (*.csv)"));
    if (path.isEmpty()) return;
    exportCsv(path);
}
