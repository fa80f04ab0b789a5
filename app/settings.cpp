#include "settings.h"

#include <QSettings>

const QStringList toolList{QStringLiteral("FPN"), QStringLiteral("FFC"), QStringLiteral("LSC"), QStringLiteral("SCS")};

int tabIndexForTool(const QString& tool)
{
    const int index = static_cast<int>(toolList.indexOf(tool.toUpper()));
    if (index < 0) return 0;
    return index > 3 ? 3 : index;
}

bool isKnownTool(const QString& tool)
{
    return toolList.contains(tool.toUpper());
}

bool hideFunctionSetting()
{
    QSettings settings(fpnIniPath(), QSettings::IniFormat);
    return settings.value(FpnIni::HideFunction, FpnIni::HideFunctionDefault).toBool();
}
