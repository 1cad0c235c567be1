#ifndef ZELCONFIG_TOOLS_INTERNALS_H
#define ZELCONFIG_TOOLS_INTERNALS_H

// The tool's one seam into the library's internal headers. Everything else
// it uses is public (ZelConfigDocument.h, ZelConfigXmlDocument.h, ...).
// What comes through here, and why the tool needs it rather than the public
// API:
//   cfg/          the engine's line reader and key split: lint reports what
//                 the engine makes of each line, and keys split as lookups
//                 split them;
//   frontend/     the back-end choice and the getters' conversions: the tool
//                 chooses and converts exactly as the front ends do;
//   platform/     reading standard input, and the log levels;
//   XmlDocument.h the plug-in's tree: XML lint and the key check.
#include "XmlDocument.h"
#include "cfg/CFGKey.h"
#include "cfg/CFGLineReader.h"
#include "cfg/CFGRead.h"
#include "frontend/Backend.h"
#include "frontend/ValueConversion.h"
#include "platform/FileIO.h"
#include "platform/ZelLog.h"

#endif
