// Procedures that run on the worker and whose work comes with their own modules. Until then
// each one does nothing.
#include "cameraserver.h"

void CameraServer::applyFFC(cv::Mat, cv::Mat, float) {}
void CameraServer::ffcWriteDown(int, QString) {}
void CameraServer::applyLSC(float) {}
void CameraServer::lscWriteDown(int, QString) {}
QList<QList<double>> CameraServer::readFfcParam(int) { return {}; }
