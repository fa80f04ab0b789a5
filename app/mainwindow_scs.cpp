// MainWindow: the colour-line alignment (SCS) tried on a stopped image, and the LSC file.
//
// SCS: the two boxes hold the line and pixel shift to try; each box's property "ScsUID" holds
// the value now in the camera. scsApply shows the difference in software (blue and red moved in
// opposite ways around green) on the loaded picture or the last frame; scsWriteDown hands the
// boxes' values to the camera and shows its live image; scsCancel goes back to the camera's
// values, and is also how the boxes get them after every read of the camera's features.
#include "mainwindow.h"
#include "ui_mainwindow.h"

#include "app/paramfiledialogs.h"
#include "app/runrecorder.h"
#include "camera/cameraserver.h"
#include "flatfield/lscfit.h"
#include "flatfield/scs.h"
#include "fpnparams/paramfile.h"
#include "statustext.h"

#include <QImage>
#include <QMessageBox>
#include <QSettings>

#include <cstring>

namespace {

const char* const kScsProperty = "ScsUID";

// The three planes merged in their order and shown as RGB888, with the statistic as it is.
void showPlanes(MainWindow& w, const std::vector<cv::Mat>& planes)
{
    if (planes.size() != 3) return;
    cv::Mat merged;
    cv::merge(planes, merged);
    const QImage image(merged.data, merged.cols, merged.rows, int(merged.cols * 3), QImage::Format_RGB888);
    w.m_pixmap = QPixmap::fromImage(image);  // a copy: the merged planes go out of scope
    w.showPicture(w.m_pixmap, w.m_staticMat);
}

void setScsButtons(MainWindow& w, bool on)
{
    w.ui->scsWriteBut->setEnabled(on);
    w.ui->scsCancelBut->setEnabled(on);
}

bool cameraReady(const MainWindow& w)
{
    return w.m_cameraServer && w.m_cameraServer->m_opened;
}

}  // namespace

void MainWindow::scsApply()
{
    if (!m_cameraServer) return;
    if (m_scsChannels.empty() && !m_cameraServer->m_lastFrame.empty()) {
        cv::split(m_cameraServer->m_lastFrame, m_scsChannels);
        int32_t format = FORMAT_BGR24;
        lsxGetTargetFormat(m_cameraServer->m_handle, &format);
        if (format == FORMAT_RGB24 && m_scsChannels.size() == 3) std::swap(m_scsChannels[0], m_scsChannels[2]);
    }
    if (m_scsChannels.size() != 3) {
        QMessageBox::critical(this, tr("错误"), tr("仅三通道彩色图像支持SCS设置。"));
        return;
    }
    if (ui->startBut->isChecked()) {
        m_cameraServer->stopCapture();
        ui->startBut->setChecked(false);
        ui->startBut->setText(tr("采图"));
    }
    setScsButtons(*this, true);

    const float dV = float(ui->scsVSBox->value() - ui->scsVSBox->property(kScsProperty).toDouble());
    const float dH = float(ui->scsHSBox->value() - ui->scsHSBox->property(kScsProperty).toDouble());
    showPlanes(*this, scsShiftPlanes(m_scsChannels, dV, dH));
}

void MainWindow::scsCancel()
{
    if (!cameraReady(*this)) return;
    const lsxHandle h = m_cameraServer->m_handle;
    char line[LSX_TEXT_SIZE] = {};
    char pixel[LSX_TEXT_SIZE] = {};
    if (lsxGetConfigString(h, "SCS.LineShift", line, sizeof line) != LSX_OK) return;
    if (lsxGetConfigString(h, "SCS.PixelShift", pixel, sizeof pixel) != LSX_OK) return;
    line[sizeof line - 1] = pixel[sizeof pixel - 1] = 0;

    disconnect(ui->scsVSBox, &QDoubleSpinBox::valueChanged, this, &MainWindow::scsApply);
    disconnect(ui->scsHSBox, &QDoubleSpinBox::valueChanged, this, &MainWindow::scsApply);
    ui->scsVSBox->setValue(QString::fromLatin1(line).toDouble());
    ui->scsHSBox->setValue(QString::fromLatin1(pixel).toDouble());
    connect(ui->scsVSBox, &QDoubleSpinBox::valueChanged, this, &MainWindow::scsApply);
    connect(ui->scsHSBox, &QDoubleSpinBox::valueChanged, this, &MainWindow::scsApply);

    ui->scsVSBox->setProperty(kScsProperty, ui->scsVSBox->value());
    ui->scsHSBox->setProperty(kScsProperty, ui->scsHSBox->value());
    setScsButtons(*this, false);
    if (!m_scsChannels.empty()) showPlanes(*this, m_scsChannels);
}

void MainWindow::scsWriteDown()
{
    if (!cameraReady(*this)) return;
    const lsxHandle h = m_cameraServer->m_handle;
    const double v = ui->scsVSBox->value();
    const double hShift = ui->scsHSBox->value();
    if (v != ui->scsVSBox->property(kScsProperty).toDouble()) {
        const lsxStatus status =
            lsxSetConfigString(h, "SCS.LineShift", QString::number(v, 'g', 6).toLatin1().constData());
        if (status != LSX_OK) {
            QMessageBox::critical(this, tr("错误"),
                                  tr("写入SCS垂直偏移出错：%1-%2").arg(status).arg(statusText(status)));
            return;
        }
    }
    if (hShift != ui->scsHSBox->property(kScsProperty).toDouble()) {
        const lsxStatus status =
            lsxSetConfigString(h, "SCS.PixelShift", QString::number(hShift, 'g', 6).toLatin1().constData());
        if (status != LSX_OK) {
            QMessageBox::critical(this, tr("错误"),
                                  tr("写入SCS水平偏移出错：%1-%2").arg(status).arg(statusText(status)));
            return;
        }
    }
    QMessageBox::information(this, tr("写入成功"), tr("写入SCS成功，请查看应用后效果。"));
    ui->scsVSBox->setProperty(kScsProperty, v);
    ui->scsHSBox->setProperty(kScsProperty, hShift);
    setScsButtons(*this, false);
    ui->startBut->click();
}

// ---- The LSC file: for the operator's records; the program does not load it ----
// The dialog proposes "<model>_<serial>_<date>.LSC.FAC" in the document folder; the ending is
// added when the operator leaves it out; the file is written atomically.

void MainWindow::saveLSC()
{
    const QString ending = QStringLiteral(".LSC.FAC");
    const QString chosen = chooseParameterFileToSave(
        this, tr("LSC保存"), m_cameraServer ? m_cameraServer->parameterFileStem() + ending : QString(),
        QStringLiteral("*.LSC.FAC"));
    if (chosen.isEmpty() || !m_cameraServer) return;
    if (!confirmOverwrite(this, chosen, withEnding(chosen, ending))) return;
    QString why;
    QString path = m_cameraServer->saveLscFile(chosen, &why);
    if (path.isEmpty()) {
        QMessageBox::critical(this, tr("保存失败"), why);
        return;
    }
    m_recorder->fileSaved(QStringLiteral("save-lsc"), {path});
    path.replace(QLatin1Char('\\'), QLatin1Char('/'));
    const QString folder = path.left(path.lastIndexOf(QLatin1Char('/')));
    QMessageBox::information(this, tr("保存成功"),
                             tr("校正参数已保存至<a style='color: blue;' href=\"%1\">%2.").arg(folder, path));
}
