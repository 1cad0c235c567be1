#ifndef ZELCONFIG_DOCUMENT_DOCUMENTACCESS_H
#define ZELCONFIG_DOCUMENT_DOCUMENTACCESS_H

// What the library's merge reaches inside the documents it edits: a CFG or
// INI document's state, an XML document's tree, and making a merged text
// an XML document's own edit.

#include <string>
#include <string_view>

#include "ZelConfigDocument.h"
#include "ZelConfigXmlDocument.h"

namespace zelconfig {

namespace xml {
class XmlDocument;
}

struct __attribute__((visibility("hidden"))) DocumentAccess
{
    using State = Document::State;
    static State& Of(Document& document);
    static const State& Of(const Document& document);
    // The text becomes that of `parsed`, whose bytes move rather than be
    // copied, as an edit does it: the loaded bytes, the lock and the file to
    // save stay.
    static void Replace(XmlDocument& document, XmlDocument& parsed);
    // Whether the XML document's text as it stands is well-formed XML.
    static bool Parsed(const XmlDocument& document);
    // Error() says `why`.
    static void Fail(XmlDocument& document, const std::string& why);
    // The XML document's tree, reading its text as it stands once Parsed
    // said so: the merge records its edits there and renders them once.
    static xml::XmlDocument& Tree(XmlDocument& document);
    static const xml::XmlDocument& Tree(const XmlDocument& document);
};

} // namespace zelconfig

#endif
