// The scene control of the simulated camera.
#include "app/scenecontrol.h"

#include "loader.h"
#include "lsx.h"
#include "statustext.h"

#include <QCheckBox>
#include <QDoubleSpinBox>
#include <QFormLayout>
#include <QLabel>
#include <QSignalBlocker>
#include <QVBoxLayout>

namespace {

// Scene kinds of the simulated camera.
constexpr int32_t kDark = 0;
constexpr int32_t kFlat = 1;
constexpr int32_t kPattern = 2;

QDoubleSpinBox* spinBox(QWidget* parent, const char* name, double lo, double hi, double step, int decimals)
{
    auto* box = new QDoubleSpinBox(parent);
    box->setObjectName(QLatin1String(name));
    box->setRange(lo, hi);
    box->setSingleStep(step);
    box->setDecimals(decimals);
    box->setKeyboardTracking(false);
    return box;
}

}  // namespace

SceneControl::SceneControl(QWidget* parent) : QDialog(parent)
{
    setObjectName(QStringLiteral("sceneControl"));
    setWindowTitle(tr("模拟场景"));

    m_lensCap = new QCheckBox(tr("盖上镜头盖（暗场）"), this);
    m_lensCap->setObjectName(QStringLiteral("lensCapCheck"));
    m_pattern = new QCheckBox(tr("测试图案"), this);
    m_pattern->setObjectName(QStringLiteral("patternCheck"));
    // Light at the line's centre, in 10-bit units per microsecond at gain 1.
    m_level = spinBox(this, "lightLevelSBox", 0.01, 1000.0, 0.5, 2);
    m_slope = spinBox(this, "lightSlopeSBox", 0.0, 1.0, 0.05, 2);
    m_falloff = spinBox(this, "falloffSBox", 0.0, 0.95, 0.05, 2);
    m_status = new QLabel(this);
    m_status->setObjectName(QStringLiteral("sceneStatusLabel"));

    auto* form = new QFormLayout;
    form->addRow(m_lensCap);
    form->addRow(m_pattern);
    form->addRow(tr("光照强度 (DN/µs)"), m_level);
    form->addRow(tr("光照斜率"), m_slope);
    form->addRow(tr("镜头衰减"), m_falloff);
    auto* layout = new QVBoxLayout(this);
    layout->addLayout(form);
    layout->addWidget(m_status);

    connect(m_lensCap, &QCheckBox::toggled, this, &SceneControl::apply);
    connect(m_pattern, &QCheckBox::toggled, this, &SceneControl::apply);
    connect(m_level, &QDoubleSpinBox::valueChanged, this, &SceneControl::apply);
    connect(m_slope, &QDoubleSpinBox::valueChanged, this, &SceneControl::apply);
    connect(m_falloff, &QDoubleSpinBox::valueChanged, this, &SceneControl::apply);
    setEnabled(false);
}

bool SceneControl::setCamera(const QString& name)
{
    m_camera = name;
    lsx::Scene scene;
    const int32_t status = lsx::getScene(name.toStdString(), scene);
    const bool ok = status == LSX_OK;
    if (ok) {
        const QSignalBlocker b1(m_lensCap), b2(m_pattern), b3(m_level), b4(m_slope), b5(m_falloff);
        m_lensCap->setChecked(scene.kind == kDark);
        m_pattern->setChecked(scene.kind == kPattern);
        m_level->setValue(scene.level);
        m_slope->setValue(scene.slope);
        m_falloff->setValue(scene.falloff);
    }
    m_pattern->setEnabled(!m_lensCap->isChecked());
    setEnabled(ok);
    showStatus(status);
    return ok;
}

void SceneControl::apply()
{
    lsx::Scene scene;
    scene.kind = m_lensCap->isChecked() ? kDark : m_pattern->isChecked() ? kPattern : kFlat;
    scene.level = m_level->value();
    scene.slope = m_slope->value();
    scene.falloff = m_falloff->value();
    m_pattern->setEnabled(!m_lensCap->isChecked());
    showStatus(lsx::setScene(m_camera.toStdString(), scene));
}

void SceneControl::showStatus(int32_t status)
{
    m_status->setText(status == LSX_OK ? QString()
                                       : tr("场景设置出错，错误原因：%1-%2.").arg(status).arg(statusText(status)));
}
