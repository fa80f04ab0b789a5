// MainWindow: the flat field's source picture, its parameter files and the editing of its gains.
//
//  - loadFFCImage: a picture file becomes the image on show and the source of the next FFC run
//    (turned by 90 degrees, so that a column of the file is a row here).
//  - saveFFC / exportFFC / loadFFCParam: the FFC file of the gains held here, of the camera's
//    current set, and back; the file's name carries the camera's model. A file is checked whole
//    against the camera before anything is applied.
//  - ffcKSelCheck / ffcAdjust / updateFfcParam: the gains in the profile strip, their damping
//    per channel and the flattening of a marked stretch; an edit that would leave a gain at 0 or
//    below is refused with its channel and column.
// All of it runs on the GUI thread; the server's gains are written under its lock, since the
// preview reads them on the worker.
#include "mainwindow.h"
#include "ui_mainwindow.h"

#include "app/paramfiledialogs.h"
#include "app/runrecorder.h"
#include "camera/cameraserver.h"
#include "camera/tables.h"
#include "flatfield/ffcadjust.h"
#include "flatfield/ffcfile.h"
#include "flatfield/ffcgains.h"
#include "statustext.h"

#include <QCoreApplication>
#include <QDebug>
#include <QFileDialog>
#include <QImage>
#include <QMessageBox>
#include <QTransform>

#include <cstring>

namespace {

// Stops a running capture; the frame loop sees the flag on its next frame.
void stopCaptureOf(MainWindow& w)
{
    if (!w.ui->startBut->isChecked()) return;
    w.m_cameraServer->stopCapture();
    w.ui->startBut->setChecked(false);
    w.ui->startBut->setText(QCoreApplication::translate("MainWindow", "采图"));
}

// A picture counts as grey when every pixel has R = G = B. `rgb` is RGB888.
bool isGrey(const QImage& rgb)
{
    for (int y = 0; y < rgb.height(); ++y) {
        const uchar* p = rgb.constScanLine(y);
        for (int x = 0; x < rgb.width(); ++x, p += 3)
            if (p[0] != p[1] || p[1] != p[2]) return false;
    }
    return true;
}

// A header over the image's pixels; the caller clones what it keeps.
cv::Mat matOver(const QImage& image, int type)
{
    return cv::Mat(image.height(), image.width(), type, const_cast<uchar*>(image.constBits()),
                   size_t(image.bytesPerLine()));
}

lsxRegion currentRoi(const CameraServer* server)
{
    lsxRegion roi;
    std::memset(&roi, 0, sizeof roi);
    lsxGetRoi(server->m_handle, &roi);
    return roi;
}

// The folder of a file, for the link of the "saved" message.
QString folderOf(const QString& path)
{
    QString folder = path;
    folder.replace(QLatin1Char('\\'), QLatin1Char('/'));
    return folder.left(folder.lastIndexOf(QLatin1Char('/')));
}

// The operator is told where the file went, with a link to its folder.
void savedMessage(MainWindow& w, const QString& path)
{
    QMessageBox::information(
        &w, QCoreApplication::translate("MainWindow", "保存成功"),
        QCoreApplication::translate("MainWindow", "校正参数已保存至<a style='color: white;' href=\"%1\">%2.")
            .arg(folderOf(path), path));
}

void saveFailedMessage(MainWindow& w, const QString& why)
{
    QMessageBox::critical(&w, QCoreApplication::translate("MainWindow", "保存失败"), why);
}

QString modelText(const CameraServer* server)
{
    const lsxCameraInfo info = server->cameraInfo(server->cameraName());
    return cameraInfoText(info.model, sizeof info.model);
}

// The channels of the camera's images, as its flat-field gains have them: one per sensor line on
// a multi-line sensor, else three for a colour format and one for mono.
int imageChannels(const CameraServer* server)
{
    if (server->m_lineCount > 1) return server->m_lineCount;
    int32_t target = FORMAT_MONO;
    lsxGetTargetFormat(server->m_handle, &target);
    const bool colour =
        target == FORMAT_BGR24 || target == FORMAT_BGR32 || target == FORMAT_RGB24 || target == FORMAT_RGB32;
    return colour ? 3 : 1;
}

int sensorWidth(const CameraServer* server)
{
    lsxRegionDescr descr;
    std::memset(&descr, 0, sizeof descr);
    return lsxGetRoiDescr(server->m_handle, &descr) == LSX_OK ? descr.maxWidth : 0;
}

// The name of a gain's channel for the operator: B, G, R on a colour list, the line on a
// multi-line one, "灰度" for mono.
QString channelName(int channel, int channels)
{
    if (channels == 1) return QCoreApplication::translate("MainWindow", "灰度");
    if (channels == 3) return QString(QLatin1Char("BGR"[channel]));
    return QCoreApplication::translate("MainWindow", "第 %1 行").arg(channel);
}

// The factors of the adjustment boxes as they made the gains in use; a refused turn goes back to them.
const char* const kAcceptedFactor = "ffcAcceptedFactor";

QList<QDoubleSpinBox*> adjustBoxes(MainWindow& w)
{
    return {w.ui->bFfcAdjustSBox, w.ui->gFfcAdjustSBox, w.ui->rFfcAdjustSBox, w.ui->grayffcAdjustSBox};
}

void acceptFactors(MainWindow& w)
{
    for (QDoubleSpinBox* box : adjustBoxes(w)) box->setProperty(kAcceptedFactor, box->value());
}

void restoreFactors(MainWindow& w)
{
    for (QDoubleSpinBox* box : adjustBoxes(w)) {
        const QVariant accepted = box->property(kAcceptedFactor);
        const QSignalBlocker quiet(box);
        box->setValue(accepted.isValid() ? accepted.toDouble() : 1.0);
    }
}

}  // namespace

// ---- The source picture ----

void MainWindow::loadFFCImage()
{
    const QString path =
        QFileDialog::getOpenFileName(this, tr("加载源图"), QString(), QStringLiteral("*.bmp *.png *.jpg"));
    if (path.isEmpty()) return;
    if (m_cameraServer) stopCaptureOf(*this);

    // A file that is not a picture (or one of no pixels) changes nothing.
    const QImage image(path);
    if (image.isNull() || image.width() <= 0 || image.height() <= 0) {
        QMessageBox::critical(this, tr("错误"), tr("无法读取图像文件：%1").arg(path));
        return;
    }
    const bool grey = isGrey(image.convertToFormat(QImage::Format_RGB888));
    // A column of the file becomes a row here.
    const QImage turned = image.transformed(QTransform().rotate(90.0), Qt::FastTransformation);

    QPixmap pixmap;
    cv::Mat statistic;
    cv::Mat source;
    std::vector<cv::Mat> planes;
    if (!grey) {
        const QImage rgb = turned.convertToFormat(QImage::Format_RGB888);
        const cv::Mat pixels = matOver(rgb, CV_8UC3);
        // The statistic is the one row named by the radius box's value.
        statistic = ffcPictureStatistic(pixels, ui->ffcRadiusSBox->value());
        if (statistic.empty()) {
            QMessageBox::critical(this, tr("错误"),
                                  tr("图像宽度不足%1像素，无法取出平场统计行。").arg(ui->ffcRadiusSBox->value() + 1));
            return;
        }
        cv::split(pixels.clone(), planes);  // R, G, B
        const std::vector<cv::Mat> bgr{planes[2], planes[1], planes[0]};
        cv::merge(bgr, source);
        pixmap = QPixmap::fromImage(rgb);
    } else {
        const QImage grey8 = turned.convertToFormat(QImage::Format_Grayscale8);
        const cv::Mat pixels = matOver(grey8, CV_8UC1);
        statistic = ffcPictureStatistic(pixels, 0);
        source = pixels.clone();
        planes.push_back(source);
        pixmap = QPixmap::fromImage(grey8);
    }

    m_scsChannels = planes;
    m_srcImg = source;
    m_pixmap = pixmap;
    m_staticMat = statistic;
    showPicture(m_pixmap, m_staticMat);
}

// ---- FFC parameter files ----

// Files are named "<model>.FAC.FFC.<name>"; the dialogs propose "<model>_<serial>_<date>" as the
// name, in the document folder. The whole file is read (off the window's thread) and checked
// before the camera is touched; a file cut short is loaded only when the operator agrees.

void MainWindow::saveFFC()
{
    const QString chosen = chooseParameterFileToSave(
        this, tr("FFC保存"), m_cameraServer ? m_cameraServer->parameterFileStem() : QString(), QString());
    if (chosen.isEmpty()) return;
    if (!m_cameraServer) return;
    if (m_cameraServer->m_ffcKList.isEmpty()) {
        QMessageBox::critical(this, tr("读取失败"), tr("当前没有FFC参数可供读取。"));
        return;
    }
    if (!confirmOverwrite(this, chosen, ffcFileName(ffcCleanPath(chosen), modelText(m_cameraServer), true))) return;
    QString why;
    const QString path = m_cameraServer->saveFfcFile(chosen, &why);
    if (path.isEmpty()) {
        saveFailedMessage(*this, why);
        return;
    }
    m_recorder->fileSaved(QStringLiteral("save-ffc"), {path});
    savedMessage(*this, path);
}

void MainWindow::exportFFC()
{
    if (ui->ffcSelCBox->currentIndex() == 0) {
        QMessageBox::critical(this, tr("FFC选项错误"), tr("请在下拉框选择要导出的FFC参数选项。"));
        return;
    }
    const QString chosen = chooseParameterFileToSave(
        this, tr("导出FFC"), m_cameraServer ? m_cameraServer->parameterFileStem() : QString(), QString());
    if (chosen.isEmpty() || !m_cameraServer) return;
    // The export always prefixes, even a name that already has a prefix.
    const QString path = ffcFileName(ffcCleanPath(chosen), modelText(m_cameraServer), false);

    const lsxRegion roi = currentRoi(m_cameraServer);
    const GainList gains = m_cameraServer->readFfcParam(ui->ffcSelCBox->currentIndex());
    if (gains.isEmpty()) {
        QMessageBox::critical(this, tr("读取失败"), tr("当前选项没有FFC参数可供读取。"));
        return;
    }
    if (!confirmOverwrite(this, chosen, path)) return;
    QString why;
    if (!ffcSaveFile(path, FfcRoi{roi.X, roi.Y, roi.W, roi.H}, gains, &why)) {
        saveFailedMessage(*this, why);
        return;
    }
    savedMessage(*this, path);
}

void MainWindow::loadFFCParam()
{
    const QString path =
        chooseParameterFileToOpen(this, QCoreApplication::translate("MainWindow", "FFC参数加载"), QString());
    if (path.isEmpty() || !m_cameraServer) return;

    // The whole file is read and checked before the camera is touched.
    lsxRegion roi = currentRoi(m_cameraServer);
    const FfcRoi current{roi.X, roi.Y, roi.W, roi.H};
    FfcFileContent content;
    runOffGuiThread(this, tr("正在读取FFC参数..."), [&] { content = ffcReadFile(path, current); });
    if (!content.ok) {
        QMessageBox::critical(this, content.title, content.text);
        return;
    }
    const QString region = ffcRegionRefusal(content, sensorWidth(m_cameraServer));
    if (!region.isEmpty()) {
        QMessageBox::critical(this, tr("操作失败"), tr("设置ROI失败，失败原因：%1").arg(region));
        return;
    }
    const QString channels = ffcChannelRefusal(content, imageChannels(m_cameraServer));
    if (!channels.isEmpty()) {
        QMessageBox::critical(this, tr("错误"), channels);
        return;
    }
    if (content.partial
        && QMessageBox::question(this, tr("参数文件不完整"), ffcPartialQuestion(content),
                                 QMessageBox::Yes | QMessageBox::No, QMessageBox::No)
               != QMessageBox::Yes)
        return;
    roi.X = content.roi.x;
    roi.Y = content.roi.y;
    roi.W = content.roi.w;
    roi.H = content.roi.h;
    const lsxStatus status = lsxSetRoi(m_cameraServer->m_handle, &roi);
    if (status != LSX_OK) {
        QMessageBox::critical(this, tr("操作失败"),
                              tr("设置ROI失败，失败原因：%1 - %2").arg(status).arg(statusText(status)));
        return;
    }

    for (const QString& section : content.missingSections) qDebug() << section;
    m_ffcSavedKList = content.gains;
    {
        QWriteLocker lock(&m_cameraServer->m_lock);
        m_cameraServer->m_ffcKList = m_ffcSavedKList;
    }
    QMessageBox::information(this, tr("加载成功"), tr("加载FFC成功。"));
    ui->ffcCheck->setChecked(true);
    ui->ffcKListCheck->setEnabled(true);
    ui->ffcSaveBut->setEnabled(true);
    ui->ffcBgrAdjustWidget->setEnabled(true);
    ui->ffcGrayAdjustWidget->setEnabled(true);
}

// ---- FFC gains: the profile in gain mode and the adjustment boxes ----

void MainWindow::ffcKSelCheck()
{
    bool fits = m_cameraServer && !m_staticMat.empty();
    if (fits) {
        const GainList& gains = m_cameraServer->m_ffcKList;
        fits = gains.size() == m_staticMat.channels() && !gains.isEmpty() && gains.first().size() == m_staticMat.cols;
    }
    if (!fits) {
        ui->ffcKListCheck->setChecked(false);
        return;
    }
    updateProfile();
}

void MainWindow::ffcAdjust()
{
    if (!m_cameraServer || m_ffcSavedKList.isEmpty()) {
        acceptFactors(*this);
        return;
    }
    QList<double> factors;
    if (!ui->ffcBgrAdjustWidget->isHidden()) {
        factors << ui->bFfcAdjustSBox->value() << ui->gFfcAdjustSBox->value() << ui->rFfcAdjustSBox->value();
    } else if (!ui->ffcGrayAdjustWidget->isHidden()) {
        factors << ui->grayffcAdjustSBox->value();
    }
    GainList scaled;
    const FfcScaleResult result = ffcScaleGains(m_ffcSavedKList, factors, scaled);
    if (result.outcome == FfcScale::ChannelCount) {
        QMessageBox::critical(this, tr("错误"), tr("图像通道数与参数通道数不一致，请重新进行平场校正。"));
        return;
    }
    if (result.outcome == FfcScale::NotAGain) {
        // A gain of 0 or below is no gain: the turn is refused and the box goes back.
        restoreFactors(*this);
        QMessageBox::critical(this, tr("错误"),
                              tr("平场调节系数 %1 会使%2通道第 %3 列的增益变为 %4，增益必须大于 0，调节未执行。")
                                  .arg(factors.value(result.channel))
                                  .arg(channelName(result.channel, int(factors.size())))
                                  .arg(result.column)
                                  .arg(result.value));
        return;
    }
    acceptFactors(*this);
    QWriteLocker lock(&m_cameraServer->m_lock);
    m_cameraServer->m_ffcKList = scaled;
}

// The flattened stretch of the profile strip replaces the gains; the saved gains stay, so a
// later turn of a box starts from the run's values again.
void MainWindow::updateFfcParam(cv::Mat staticMat)
{
    if (!m_cameraServer) return;
    const GainList edited = ffcGainsFromProfile(staticMat, m_cameraServer->m_ffcKList);
    const auto [channel, column] = ffcFirstNonGain(edited);
    if (channel >= 0) {
        QMessageBox::critical(this, tr("错误"),
                              tr("拉平后%1通道第 %2 列的增益为 %3，增益必须大于 0，调节未执行。")
                                  .arg(channelName(channel, int(edited.size())))
                                  .arg(column)
                                  .arg(edited[channel][column]));
        return;
    }
    QWriteLocker lock(&m_cameraServer->m_lock);
    m_cameraServer->m_ffcKList = edited;
}
