// The live preview loop (to come).
#include "cameraserver.h"

void CameraServer::capture(bool) {}
