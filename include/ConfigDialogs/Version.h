// Version of the ConfigDialogs library: the one a dialog was compiled with
// (macros) and the one it runs with (function).
#pragma once

#include <ConfigDialogs/configdialogs_export.h>

#define CONFIGDIALOGS_VERSION_MAJOR 1
#define CONFIGDIALOGS_VERSION_MINOR 0
#define CONFIGDIALOGS_VERSION_PATCH 0
#define CONFIGDIALOGS_VERSION_STRING "1.0.0"

namespace ConfigDialogs {
// The version of the library loaded at run time, as "major.minor.patch".
CONFIGDIALOGS_EXPORT const char* version();
}
