#ifndef ZELCONFIG_TOOLS_INTERNALS_H
#define ZELCONFIG_TOOLS_INTERNALS_H

// The tool's one seam into the library's internal headers. Everything else
// it uses is public (ZelConfigDocument.h, ZelConfigXmlDocument.h, ...).
// What comes through here, and why the tool needs it rather than the public
// API:
//   cfg/          the engine's key split: keys split as lookups split them;
//   frontend/     the back-end choice and the getters' conversions: the tool
//                 chooses and converts exactly as the front ends do;
//   platform/     the log levels.
// Reading, editing, the checks of what an edit writes and lint are the
// documents' own.
#include "cfg/CFGKey.h"
#include "frontend/Backend.h"
#include "frontend/ValueConversion.h"
#include "platform/ZelLog.h"

#endif
