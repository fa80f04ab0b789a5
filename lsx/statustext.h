#pragma once
#include "lsx.h"

#include <QString>

// The text of a camera library status in the language installed (Chinese unless an English
// translation is), empty for a code the library does not define.
QString statusText(lsxStatus status);
