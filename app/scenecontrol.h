#pragma once
// The scene in front of a simulated camera: lens cap, light level, light slope and lens fall-off,
// test pattern. Only the simulated camera library can change what its camera sees; with a real
// camera library the window offers none of this (lsx::hasSceneControl()).
//
// Each change goes to the camera at once; the next frame shows it.
#include <QDialog>

class QCheckBox;
class QDoubleSpinBox;
class QLabel;

class SceneControl : public QDialog {
    Q_OBJECT
public:
    explicit SceneControl(QWidget* parent = nullptr);

    // Shows the scene of the named camera and aims the controls at it; false (controls off) when
    // the camera's library has no scene or does not know the camera.
    bool setCamera(const QString& name);
    QString camera() const { return m_camera; }

private slots:
    void apply();

private:
    void showStatus(int32_t status);

    QString m_camera;
    QCheckBox* m_lensCap = nullptr;
    QCheckBox* m_pattern = nullptr;
    QDoubleSpinBox* m_level = nullptr;
    QDoubleSpinBox* m_slope = nullptr;
    QDoubleSpinBox* m_falloff = nullptr;
    QLabel* m_status = nullptr;
};
