#ifndef ZELCONFIG_TOOLS_INTERNALS_H
#define ZELCONFIG_TOOLS_INTERNALS_H

// The tool's one seam into the library's internal headers. Everything else
// it uses is public (ZelConfigDocument.h, ZelConfigXmlDocument.h, ...).
// What comes through here, and why the tool needs it rather than the public
// API:
//   cfg/          the engine's key split: keys split as lookups split them;
//                 the byte order mark the INI dialect skips, skipped too
//                 where a file's first byte chooses its reading;
//   frontend/     the back-end choice and the getters' conversions: the tool
//                 chooses and converts exactly as the front ends do;
//   platform/     the log levels; OpenRegular, so that the first bytes of
//                 a file are read as the documents open it (no wait on a
//                 FIFO, nothing but a regular file read).
// Reading, editing, the checks of what an edit writes and lint are the
// documents' own.
#include "cfg/CFGKey.h"
#include "cfg/CFGRead.h"
#include "frontend/Backend.h"
#include "frontend/ValueConversion.h"
#include "platform/FileIO.h"
#include "platform/ZelLog.h"

#endif
