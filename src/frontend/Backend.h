#ifndef ZELCONFIG_FRONTEND_BACKEND_H
#define ZELCONFIG_FRONTEND_BACKEND_H

#include <atomic>

#include "platform/DynamicLoader.h"

namespace zelconfig {

// The back ends a path can select.
enum class Backend
{
    kNone,         // no known text in the path
    kCfgBlock,     // ".cfg": CFG engine in block mode
    kCfgAnonymous, // ".inf" or ".cksum": CFG engine in anonymous mode
    kXml,          // ".xml": the XML plug-in
};

// Who is asking: writers accept fewer paths than readers.
enum class BackendUse
{
    kRead,
    kWrite,
};

// The one routine that decides a path's back end: the first of ".cfg",
// ".inf", ".cksum", ".xml" found anywhere in the path (case-sensitive) wins;
// writers know only ".cfg" and ".xml".
Backend ChooseBackend(const char* path, BackendUse use);

// The XML plug-in's factories.
enum class PluginFactory
{
    kReader,        // "GetCXMLReaderObject"
    kWriter,        // "GetCXMLWriterObject"
    kWriterNoParam, // "GetCXMLWriterObjectNoParam"
};

// The file name the XML plug-in is loaded by.
inline constexpr char kXmlPluginName[] = "libZel_XMLConfigParser.so";

// Whether the XML plug-in is loaded in this process: after a failed XML
// parse, it tells a back end that refused the file from one that is missing.
inline bool XmlPluginLoaded()
{
    return IsLibraryLoaded(kXmlPluginName);
}

// Looks up a factory of the XML plug-in, loading the library into `handle`
// when it is not loaded yet. Failures are logged at level 31 under
// function; the result is then NULL. A null symbol is NULL silently.
void* LoadPluginFactory(std::atomic<void*>& handle, PluginFactory factory,
                        const char* function);

} // namespace zelconfig

#endif
