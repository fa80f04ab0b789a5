#pragma once
// "历史记录": the calibration runs on record for a camera serial (the connected camera's, or any
// typed or chosen; empty for every camera), newest first, from the station's records database;
// the trend of the residual PRNU and DSNU after correction over that camera's verified runs,
// numbered oldest to newest; a chosen run's figures, files and report (its messages); the list exported as
// CSV. It reads the database only; it never talks to the camera.

#include "records/runrecord.h"

#include <QList>
#include <QWidget>

class QChartView;
class QComboBox;
class QLabel;
class QPushButton;
class QTableWidget;
class QTextBrowser;

class HistoryWindow : public QWidget {
    Q_OBJECT
public:
    explicit HistoryWindow(QWidget* parent = nullptr);

    // Shows the runs of `serial` (empty: every camera) as the database holds them now.
    void setSerial(const QString& serial);
    QString serial() const;
    const QList<RunRecord>& runs() const { return m_runs; }

    // The shown runs as CSV at `path`; false with a box titled "错误".
    bool exportCsv(const QString& path);

    // Read-only access for the owner and the tests.
    QComboBox* serialBox() const { return m_serialBox; }
    QTableWidget* runsTable() const { return m_table; }
    QChartView* trendView() const { return m_trendView; }
    QTextBrowser* detailView() const { return m_detail; }
    QLabel* statusLabel() const { return m_status; }
    QPushButton* exportBut() const { return m_exportBut; }

public slots:
    // Reads the runs of the shown serial again.
    void refresh();
    // The figures and report of the run in table row `row`.
    void showRun(int row);
    // "导出CSV": asks for a file name, then exports.
    void exportCsvAs();

private:
    void fillTable();
    void fillTrend();

    QList<RunRecord> m_runs;  // oldest first, as read
    QComboBox* m_serialBox = nullptr;
    QPushButton* m_refreshBut = nullptr;
    QPushButton* m_exportBut = nullptr;
    QLabel* m_status = nullptr;
    QTableWidget* m_table = nullptr;
    QChartView* m_trendView = nullptr;
    QTextBrowser* m_detail = nullptr;
};
