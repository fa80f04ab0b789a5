#pragma once
#include <QString>

// Applies the style sheet at `path` to the whole application. The palette colour is taken from
// the sheet's opening rule "QPalette{background:#rrggbb;}": the seven characters from index 20
// of the sheet once its white space has been folded. Returns false, changing nothing, when the
// file can't be opened.
bool loadStyle(const QString& path);

// Registers the embedded resources (":/psblack.css", ":/base/icon.png", the help documents).
// They live in a static library, so the first user registers them; calling it again does
// nothing. The panels and loadStyle call it themselves.
void ensureResources();
