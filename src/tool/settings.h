// The settings of the home as they take effect.
#ifndef TOOL_SETTINGS_H
#define TOOL_SETTINGS_H

#include "session.h"

namespace tool {

// Writes a row for each setting, with its value and where that comes from, and one for each file of the home.
void show_settings(Session &session);

}  // namespace tool

#endif
