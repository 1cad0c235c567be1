#include "frontend/Backend.h"

#include "platform/DynamicLoader.h"
#include "platform/ZelLog.h"

namespace zelconfig {

// The loader's error text for a message; never NULL, so that printf gets a string.
static const char* ErrorText(const char* pszError)
{
    return pszError != nullptr ? pszError : "";
}

// Logs a missing factory; one literal format per symbol, as the platform's
// logger may key on the format itself.
static void LogMissingFactory(PluginFactory factory, const char* pszFunction, const char* pszError)
{
    switch (factory) {
    case PluginFactory::kReader:
        ZEL_LOG(kLogOperator, pszFunction, "Unable to load symbol: GetCXMLReaderObject. %s", pszError);
        break;
    case PluginFactory::kWriter:
        ZEL_LOG(kLogOperator, pszFunction, "Unable to load symbol: GetCXMLWriterObject. %s", pszError);
        break;
    case PluginFactory::kWriterNoParam:
        ZEL_LOG(kLogOperator, pszFunction, "Unable to load symbol: GetCXMLWriterObjectNoParam. %s",
                pszError);
        break;
    }
}

static const char* FactorySymbol(PluginFactory factory)
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

void* LoadPluginFactory(std::atomic<void*>& handle, PluginFactory factory, const char* pszFunction)
{
    TakeLoaderError(); // forget an error left pending by someone else

    // Relaxed is enough: two threads loading at once only raise the
    // library's reference count, and the handle itself is all that is shared.
    void* pLibrary = handle.load(std::memory_order_relaxed);
    if (pLibrary == nullptr) {
        pLibrary = OpenLibraryNow("libZel_XMLConfigParser.so");
        if (pLibrary == nullptr) {
            // Taken whether or not it is logged, so that the caller's next
            // dlerror() does not depend on the log mask.
            const char* pszError = ErrorText(TakeLoaderError());
            ZEL_LOG(kLogOperator, pszFunction, "Unable to open libZel_XMLConfigParser.so. %s", pszError);
            return nullptr;
        }
        handle.store(pLibrary, std::memory_order_relaxed);
    }

    void* pFactory = FindSymbol(pLibrary, FactorySymbol(factory));
    if (const char* pszError = TakeLoaderError()) {
        LogMissingFactory(factory, pszFunction, pszError);
        return nullptr;
    }
    return pFactory;
}

} // namespace zelconfig
