#include "frontend/Backend.h"

#include "platform/DynamicLoader.h"
#include "platform/ZelLog.h"

namespace zelconfig {

namespace {

// The loader's error text for a message; never NULL, so that printf gets a string.
const char* ErrorText(const char* error)
{
    return error != nullptr ? error : "";
}

// Logs a missing factory; one literal format per symbol, as the platform's
// logger may key on the format itself.
void LogMissingFactory(PluginFactory factory, const char* function, const char* error)
{
    switch (factory) {
    case PluginFactory::kReader:
        ZEL_LOG(kLogOperator, function, "Unable to load symbol: GetCXMLReaderObject. %s", error);
        break;
    case PluginFactory::kWriter:
        ZEL_LOG(kLogOperator, function, "Unable to load symbol: GetCXMLWriterObject. %s", error);
        break;
    case PluginFactory::kWriterNoParam:
        ZEL_LOG(kLogOperator, function, "Unable to load symbol: GetCXMLWriterObjectNoParam. %s",
                error);
        break;
    }
}

// The name the plug-in exports a factory under; the switch makes the
// compiler check that every factory has one.
const char* FactorySymbol(PluginFactory factory)
{
    switch (factory) {
    case PluginFactory::kReader:
        return "GetCXMLReaderObject";
    case PluginFactory::kWriter:
        return "GetCXMLWriterObject";
    case PluginFactory::kWriterNoParam:
        break;
    }
    return "GetCXMLWriterObjectNoParam";
}

} // namespace

void* LoadPluginFactory(std::atomic<void*>& handle, PluginFactory factory, const char* function)
{
    TakeLoaderError(); // forget an error left pending by someone else

    // Relaxed is enough: two threads loading at once only raise the
    // library's reference count, and the handle itself is all that is shared.
    void* library = handle.load(std::memory_order_relaxed);
    if (library == nullptr) {
        library = OpenLibraryNow(kXmlPluginName);
        if (library == nullptr) {
            // Taken whether or not it is logged, so that the caller's next
            // dlerror() does not depend on the log mask.
            const char* error = ErrorText(TakeLoaderError());
            ZEL_LOG(kLogOperator, function, "Unable to open libZel_XMLConfigParser.so. %s", error);
            return nullptr;
        }
        handle.store(library, std::memory_order_relaxed);
    }

    void* symbol = FindSymbol(library, FactorySymbol(factory));
    if (const char* error = TakeLoaderError()) {
        LogMissingFactory(factory, function, error);
        return nullptr;
    }
    return symbol;
}

} // namespace zelconfig
