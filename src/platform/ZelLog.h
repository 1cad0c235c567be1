#ifndef ZELCONFIG_PLATFORM_ZELLOG_H
#define ZELCONFIG_PLATFORM_ZELLOG_H

// The platform's logging library, which the application links (on a host,
// the ZelLogDefault library; in the tests, a capturing one), and the one gate
// every diagnostic passes: both public, for the XML plug-in and for
// applications that bring their own logger.
#include "ZelConfigLog.h"

// The library's short name for the public gate.
#define ZEL_LOG ZELCONFIG_LOG

#endif
