#pragma once
// The question the window puts before any write into the camera (mainwindow_backup.cpp).

#include "camera/cameraserver.h"

#include <QString>

class QWidget;

// Asks whether to overwrite the set `set` (of `kind`) of the open camera, naming the backup file
// the write will keep of it, or saying that this camera's set cannot be read back and so cannot
// be restored. True only when the operator chose "写入"; "取消" or closing the box writes nothing.
bool confirmCameraWrite(QWidget* parent, CameraServer* server, CameraServer::WriteKind kind, const QString& set);

// The same before a backup file is written back into the set it came from.
bool confirmRestore(QWidget* parent, CameraServer* server, const QString& file, const CameraBackup& backup);

// The title of both questions.
inline const char* const kWriteQuestionTitle = QT_TRANSLATE_NOOP("MainWindow", "确认写入相机");
