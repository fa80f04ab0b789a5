#pragma once
// The result window of the calibration verification: the camera and its settings, the verdict
// against the limits of FPN.ini, and for the chosen plane the figures before and after side by
// side, the column profiles before and after on one chart, the spectrogram and the defect
// columns. "保存报告" writes the PDF and the JSON beside it. It only shows a finished run; it
// never talks to the camera.

#include "calibration/verifystats.h"

#include <QWidget>

class QChartView;
class QComboBox;
class QLabel;
class QPlainTextEdit;
class QPushButton;
class QTableWidget;

class VerifyWindow : public QWidget {
    Q_OBJECT
public:
    explicit VerifyWindow(QWidget* parent = nullptr);

    const VerifyReport& report() const { return m_report; }
    // Read-only access for the owner and the tests.
    QLabel* headingLabel() const { return m_heading; }
    QLabel* verdictLabel() const { return m_verdict; }
    QComboBox* planeBox() const { return m_planeBox; }
    QTableWidget* figuresTable() const { return m_table; }
    QChartView* profileView() const { return m_profileView; }
    QChartView* spectrumView() const { return m_spectrumView; }
    QPlainTextEdit* defectsEdit() const { return m_defects; }
    QPushButton* saveBut() const { return m_saveBut; }

    // The report's PDF at `pdfPath` and its JSON beside it; false with a box titled "错误".
    bool saveReport(const QString& pdfPath);
    // The name offered in the save dialog: the document folder, the model, the serial, the time.
    QString suggestedPath() const;

public slots:
    // Takes a finished verification and shows its first plane.
    void setReport(VerifyReport report);
    void showPlane(int index);
    // "保存报告": asks for a file name, then saves.
    void saveReportAs();

signals:
    // A report written: its PDF and the JSON beside it.
    void reportSaved(QString pdfPath, QString jsonPath);

private:
    VerifyReport m_report;
    QLabel* m_heading = nullptr;
    QLabel* m_verdict = nullptr;
    QComboBox* m_planeBox = nullptr;
    QTableWidget* m_table = nullptr;
    QChartView* m_profileView = nullptr;
    QChartView* m_spectrumView = nullptr;
    QPlainTextEdit* m_defects = nullptr;
    QPushButton* m_saveBut = nullptr;
};
