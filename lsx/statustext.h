#pragma once
#include "lsx.h"

#include <QString>

// The Chinese text of a camera library status, empty for a code the library does not define.
QString statusText(lsxStatus status);
