// MainWindow: the flat field's source picture, its parameter files and the editing of its gains.
//
//  - loadFFCImage: a picture file becomes the image on show and the source of the next FFC run
//    (turned by 90 degrees, so that a column of the file is a row here).
//  - saveFFC / exportFFC / loadFFCParam: the FFC file of the gains held here, of the camera's
//    current set, and back; the file's name carries the camera's model.
//  - ffcKSelCheck / ffcAdjust / updateFfcParam: the gains in the profile strip, their damping
//    per channel and the flattening of a marked stretch.
// All of it runs on the GUI thread; the server's gains are written under its lock, since the
// preview reads them on the worker.
#include "mainwindow.h"
#include "ui_mainwindow.h"

#include "app/runrecorder.h"
#include "camera/cameraserver.h"
#include "camera/tables.h"
#include "flatfield/ffcadjust.h"
#include "flatfield/ffcfile.h"
#include "flatfield/ffcgains.h"
#include "statustext.h"

#include <QDebug>
#include <QFileDialog>
#include <QImage>
#include <QMessageBox>
#include <QSettings>
#include <QTransform>

#include <cstring>

namespace {

// Stops a running capture; the frame loop sees the flag on its next frame.
void stopCaptureOf(MainWindow& w)
{
    if (!w.ui->startBut->isChecked()) return;
    w.m_cameraServer->stopCapture();
    w.ui->startBut->setChecked(false);
    w.ui->startBut->setText(QStringLiteral("采图"));
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

// Writes the gains under the file name and tells the operator where they went.
// The operator is told where the file went, with a link to its folder.
void savedMessage(MainWindow& w, const QString& path)
{
    QMessageBox::information(
        &w, QStringLiteral("保存成功"),
        QStringLiteral("校正参数已保存至<a style='color: white;' href=\"%1\">%2.").arg(folderOf(path), path));
}

// The gains of the camera's set as a file (the export), and the operator told where it went.
void writeFfcFile(MainWindow& w, const QString& path, const lsxRegion& roi, const GainList& gains)
{
    QSettings file(path, QSettings::IniFormat);
    ffcWriteFile(file, FfcRoi{roi.X, roi.Y, roi.W, roi.H}, gains);
    if (file.status() != QSettings::NoError) {
        QMessageBox::critical(&w, QStringLiteral("保存失败"), QStringLiteral("无法写入文件：%1").arg(path));
        return;
    }
    savedMessage(w, path);
}

QString modelText(const CameraServer* server)
{
    const lsxCameraInfo info = server->cameraInfo(server->cameraName());
    return cameraInfoText(info.model, sizeof info.model);
}

}  // namespace

// ---- The source picture ----

void MainWindow::loadFFCImage()
{
    const QString path =
        QFileDialog::getOpenFileName(this, QStringLiteral("加载源图"), QString(), QStringLiteral("*.bmp *.png *.jpg"));
    if (path.isEmpty()) return;
    if (m_cameraServer) stopCaptureOf(*this);

    // A file that is not a picture (or one of no pixels) changes nothing.
    const QImage image(path);
    if (image.isNull() || image.width() <= 0 || image.height() <= 0) {
        QMessageBox::critical(this, QStringLiteral("错误"), QStringLiteral("无法读取图像文件：%1").arg(path));
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
            QMessageBox::critical(
                this, QStringLiteral("错误"),
                QStringLiteral("图像宽度不足%1像素，无法取出平场统计行。").arg(ui->ffcRadiusSBox->value() + 1));
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

void MainWindow::saveFFC()
{
    const QString chosen = QFileDialog::getSaveFileName(this, QStringLiteral("FFC保存"));
    if (chosen.isEmpty()) return;
    if (!m_cameraServer) return;
    if (m_cameraServer->m_ffcKList.isEmpty()) {
        QMessageBox::critical(this, QStringLiteral("读取失败"), QStringLiteral("当前没有FFC参数可供读取。"));
        return;
    }
    const QString path = m_cameraServer->saveFfcFile(chosen);
    if (path.isEmpty()) {
        QMessageBox::critical(this, QStringLiteral("保存失败"), QStringLiteral("无法写入文件：%1").arg(chosen));
        return;
    }
    m_recorder->fileSaved(QStringLiteral("save-ffc"), {path});
    savedMessage(*this, path);
}

void MainWindow::exportFFC()
{
    if (ui->ffcSelCBox->currentIndex() == 0) {
        QMessageBox::critical(this, QStringLiteral("FFC选项错误"),
                              QStringLiteral("请在下拉框选择要导出的FFC参数选项。"));
        return;
    }
    const QString chosen = QFileDialog::getSaveFileName(this, QStringLiteral("导出FFC"));
    if (chosen.isEmpty() || !m_cameraServer) return;
    // The export always prefixes, even a name that already has a prefix.
    const QString path = ffcFileName(ffcCleanPath(chosen), modelText(m_cameraServer), false);

    const lsxRegion roi = currentRoi(m_cameraServer);
    const GainList gains = m_cameraServer->readFfcParam(ui->ffcSelCBox->currentIndex());
    if (gains.isEmpty()) {
        QMessageBox::critical(this, QStringLiteral("读取失败"), QStringLiteral("当前选项没有FFC参数可供读取。"));
        return;
    }
    writeFfcFile(*this, path, roi, gains);
}

void MainWindow::loadFFCParam()
{
    const QString path = QFileDialog::getOpenFileName(this, QStringLiteral("FFC参数加载"));
    if (path.isEmpty() || !m_cameraServer) return;

    // The whole file is read and checked before the camera is touched.
    lsxRegion roi = currentRoi(m_cameraServer);
    const FfcFileContent content = ffcReadFile(path, FfcRoi{roi.X, roi.Y, roi.W, roi.H});
    if (!content.ok) {
        QMessageBox::critical(this, content.title, content.text);
        return;
    }
    roi.X = content.roi.x;
    roi.Y = content.roi.y;
    roi.W = content.roi.w;
    roi.H = content.roi.h;
    const lsxStatus status = lsxSetRoi(m_cameraServer->m_handle, &roi);
    if (status != LSX_OK) {
        QMessageBox::critical(this, QStringLiteral("操作失败"),
                              QStringLiteral("设置ROI失败，失败原因：%1 - %2").arg(status).arg(statusText(status)));
        return;
    }

    for (const QString& section : content.missingSections) qDebug() << section;
    m_ffcSavedKList = content.gains;
    {
        QWriteLocker lock(&m_cameraServer->m_lock);
        m_cameraServer->m_ffcKList = m_ffcSavedKList;
    }
    QMessageBox::information(this, QStringLiteral("加载成功"), QStringLiteral("加载FFC成功。"));
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
    if (!m_cameraServer || m_ffcSavedKList.isEmpty()) return;
    QList<double> factors;
    if (!ui->ffcBgrAdjustWidget->isHidden()) {
        factors << ui->bFfcAdjustSBox->value() << ui->gFfcAdjustSBox->value() << ui->rFfcAdjustSBox->value();
    } else if (!ui->ffcGrayAdjustWidget->isHidden()) {
        factors << ui->grayffcAdjustSBox->value();
    }
    GainList scaled;
    if (!ffcScaleGains(m_ffcSavedKList, factors, scaled)) {
        QMessageBox::critical(this, QStringLiteral("错误"),
                              QStringLiteral("图像通道数与参数通道数不一致，请重新进行平场校正。"));
        return;
    }
    QWriteLocker lock(&m_cameraServer->m_lock);
    m_cameraServer->m_ffcKList = scaled;
}

// The flattened stretch of the profile strip replaces the gains; the saved gains stay, so a
// later turn of a box starts from the run's values again.
void MainWindow::updateFfcParam(cv::Mat staticMat)
{
    if (!m_cameraServer) return;
    const GainList edited = ffcGainsFromProfile(staticMat, m_cameraServer->m_ffcKList);
    QWriteLocker lock(&m_cameraServer->m_lock);
    m_cameraServer->m_ffcKList = edited;
}
