#ifndef ZELCONFIG_TOOLS_INTERNALS_H
#define ZELCONFIG_TOOLS_INTERNALS_H

// The tool's one seam into the library's internal headers. Everything else
// it uses is public (ZelConfigDocument.h, ZelConfigXmlDocument.h, ...).
// What comes through here, and why the tool needs it rather than the public
// API:
//   cfg/          the engine's key split and its check of a line to write:
//                 keys split as lookups split them, and a name or value that
//                 would not read back is refused before a set;
//   frontend/     the back-end choice and the getters' conversions: the tool
//                 chooses and converts exactly as the front ends do;
//   platform/     the log levels;
//   XmlDocument.h the plug-in's tree: the key check.
// Lint is the documents' own (Document::Lint, XmlDocument::Lint).
#include "XmlDocument.h"
#include "cfg/CFGKey.h"
#include "cfg/CFGRead.h"
#include "frontend/Backend.h"
#include "frontend/ValueConversion.h"
#include "platform/ZelLog.h"

#endif
