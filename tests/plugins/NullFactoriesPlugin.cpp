// A plug-in whose factories exist but make nothing.
class IConfigReader;
class IConfigWriter;

extern "C" {

IConfigReader* GetCXMLReaderObject(const char* /*pszPath*/)
{
    return nullptr;
}

IConfigWriter* GetCXMLWriterObject(const char* /*pszPath*/)
{
    return nullptr;
}

IConfigWriter* GetCXMLWriterObjectNoParam()
{
    return nullptr;
}

} // extern "C"
