// Procedures that run on the worker and whose work comes with their own modules. Until then
// each one does nothing.
#include "cameraserver.h"

void CameraServer::fpnStart() {}
void CameraServer::fpnWriteDown(int) {}
void CameraServer::expTest(int) {}
bool CameraServer::saveFpnFile(const QString&) { return false; }
bool CameraServer::loadFpnFile(const QString&) { return false; }
