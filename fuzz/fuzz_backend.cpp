// Back-end choice on any path, checked against properties of the choice
// rather than against a second copy of it:
// - the reader and writer front ends act as the choice says;
// - writers choose a subset of what readers choose;
// - a path without '.' names no back end;
// - a prefix without '.' changes nothing; ".cfg" anywhere makes it CFG;
//   ".inf" in front makes it anonymous CFG unless it was CFG already; ".xml"
//   at the end makes a path that named nothing XML.
// Files are looked for under a directory that does not exist, so the CFG
// engine fails to open them and no plug-in is found.
#include <algorithm>

#include "CCFGParser.h"
#include "CZelConfigReader.h"
#include "CZelConfigWriter.h"
#include "FuzzSupport.h"
#include "frontend/Backend.h"

using zelconfig::Backend;
using zelconfig::BackendUse;
using zelconfig::ChooseBackend;

namespace {

const char kNowhere[] = "/nonexistent-zelconfig-fuzz/";

bool Logged(const char* text)
{
    return capture_log::Text().find(text) != std::string::npos;
}

void CheckReader(const std::string& path, Backend chosen)
{
    static CZelConfigReader reader;
    capture_log::Reset();
    const int status = reader.Parse(path);
    const auto* parser = static_cast<const CCFGParser*>(reader.GetDataPtr());
    switch (chosen) {
    case Backend::kCfgBlock:
    case Backend::kCfgAnonymous:
        FUZZ_REQUIRE(status == -2 && Logged("Error Opening File") && parser != nullptr, path);
        FUZZ_REQUIRE((parser->m_uiAnonymousMode != 0) == (chosen == Backend::kCfgAnonymous), path);
        break;
    case Backend::kXml:
        FUZZ_REQUIRE(status == 22 && Logged("Unable to open libZel_XMLConfigParser.so") && parser == nullptr,
                     path);
        break;
    case Backend::kNone:
        FUZZ_REQUIRE(status == 22 && Logged("Neither XML nor CFG") && parser == nullptr, path);
        break;
    }
}

void CheckWriter(const std::string& path, Backend chosen)
{
    static CZelConfigWriter writer;
    capture_log::Reset();
    const int status = writer.Create(path);
    switch (chosen) {
    case Backend::kCfgBlock:
        FUZZ_REQUIRE(status == 0 && !Logged("Neither XML nor CFG"), path);
        break;
    case Backend::kXml:
        FUZZ_REQUIRE(status == 22 && Logged("Unable to open libZel_XMLConfigParser.so"), path);
        break;
    case Backend::kCfgAnonymous:
        fuzz::Fail("writers never choose anonymous CFG", path);
    case Backend::kNone:
        FUZZ_REQUIRE(status == 22 && Logged("Neither XML nor CFG"), path);
        break;
    }
}

} // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size)
{
    // The front ends pass the path on as a C string: it ends at a NUL.
    const std::string raw(reinterpret_cast<const char*>(data), size);
    const std::string path = raw.substr(0, raw.find('\0'));
    const Backend read = ChooseBackend(path.c_str(), BackendUse::kRead);
    const Backend write = ChooseBackend(path.c_str(), BackendUse::kWrite);

    const bool sameForBoth = read == Backend::kCfgBlock || read == Backend::kXml || read == Backend::kNone;
    FUZZ_REQUIRE(sameForBoth ? write == read : write != Backend::kCfgBlock, path);

    const std::string placed = kNowhere + path;
    FUZZ_REQUIRE(ChooseBackend(placed.c_str(), BackendUse::kRead) == read, path);
    FUZZ_REQUIRE(ChooseBackend(placed.c_str(), BackendUse::kWrite) == write, path);
    CheckReader(placed, read);
    CheckWriter(placed, write);

    std::string dotless = path;
    dotless.erase(std::remove(dotless.begin(), dotless.end(), '.'), dotless.end());
    FUZZ_REQUIRE(ChooseBackend(dotless.c_str(), BackendUse::kRead) == Backend::kNone, path);
    FUZZ_REQUIRE(ChooseBackend(dotless.c_str(), BackendUse::kWrite) == Backend::kNone, path);

    std::string cfg = path;
    cfg.insert(path.empty() ? 0 : static_cast<unsigned char>(path[0]) % (path.size() + 1), ".cfg");
    FUZZ_REQUIRE(ChooseBackend(cfg.c_str(), BackendUse::kRead) == Backend::kCfgBlock, cfg);
    FUZZ_REQUIRE(ChooseBackend(cfg.c_str(), BackendUse::kWrite) == Backend::kCfgBlock, cfg);

    const std::string inf = ".inf" + path;
    FUZZ_REQUIRE(ChooseBackend(inf.c_str(), BackendUse::kRead)
                     == (read == Backend::kCfgBlock ? Backend::kCfgBlock : Backend::kCfgAnonymous),
                 inf);

    if (read == Backend::kNone) {
        const std::string xml = path + ".xml";
        FUZZ_REQUIRE(ChooseBackend(xml.c_str(), BackendUse::kRead) == Backend::kXml, xml);
        FUZZ_REQUIRE(ChooseBackend(xml.c_str(), BackendUse::kWrite) == Backend::kXml, xml);
    }
    return 0;
}
