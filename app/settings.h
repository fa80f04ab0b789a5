#pragma once
// Start-up settings: the tools that -t can name, the tab shown at start, and (through
// camera/tables.h) the document and picture folders and the keys of FPN.ini.

#include "camera/tables.h"

#include <QString>
#include <QStringList>

// The tools in the order of the tabs of the feature panel: "FPN", "FFC", "LSC", "SCS".
extern const QStringList toolList;

// The tab to show for the value of -t: its upper-case form looked up in toolList; not found
// (or no option) gives 0, anything past the last tab the last tab.
int tabIndexForTool(const QString& tool);
// Whether -t names one of the tools (any case).
bool isKnownTool(const QString& tool);

// Params/HideFunction of FPN.ini as the window reads it at a panel load: true unless the file
// says otherwise.
bool hideFunctionSetting();
