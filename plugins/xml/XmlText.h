#ifndef ZELCONFIG_PLUGINS_XML_XMLTEXT_H
#define ZELCONFIG_PLUGINS_XML_XMLTEXT_H

#include <cstddef>
#include <string>
#include <string_view>

#include <pugixml.hpp>

// The bytes of XML character data: escaping, references, encoding; and the
// walk over the tree that holds them.
namespace zelconfig::xml {

struct XmlError;

// Comments and processing instructions become nodes, so that the bytes
// between an element's start tag and its first child are known to be blanks.
constexpr unsigned kParseOptions = pugi::parse_default | pugi::parse_comments | pugi::parse_pi;

// A copy of bytes in a buffer of its own (std::malloc), for a parse in place
// to change; null when memory runs out.
char* CopyOf(const char* data, size_t size);

// Counts lines and characters up to a byte offset, over a file's bytes fed
// in order from its start: the parse changes its own copy of them. A larger
// target may be set between feeds, to count on from where it stopped.
struct Position
{
    size_t target;
    size_t at = 0, line = 1, column = 1;
    bool afterCarriageReturn = false;

    // `p` holds the bytes from offset `at` on.
    void Feed(const char* p, size_t size);
    bool Done() const { return at >= target; }
    void Into(XmlError& error) const;
};

// The parser's blanks: a text of these only is dropped as indentation.
bool IsBlank(char c);

// Character data of either form: what an element's value is made of.
bool IsText(pugi::xml_node node);
// Whether an element holds character data.
bool HoldsText(pugi::xml_node element);
// Appends the element's character data, as it was parsed, to `out`.
void AppendText(pugi::xml_node element, std::string& out);
// The node after `node` in document order within `root`, null past its last
// one: a walk without recursion, which a deep file cannot exhaust the stack by.
pugi::xml_node NextInOrder(pugi::xml_node node, pugi::xml_node root);

// A value as element text.
std::string EscapeText(const std::string& value);

// A value as an attribute value between `quote`s.
std::string EscapeAttribute(const std::string& value, char quote);

// XML holds no NUL and no other control character but tab and line ends,
// not even as a character reference.
bool Holdable(const std::string& value);

// The '&' of the first reference in [p, end) that the parser would leave
// undecoded (to an entity other than the predefined ones, or to a character
// XML does not allow), with its reason in `why`; null when there is none.
const char* FindBadReference(const char* p, const char* end, const char*& why);

// A bad reference in a text or an attribute value of `raw`, a copy of the
// file parsed as it stands: -1 with error.offset and .description
// (.unsupported when the document type declares entities); 0 when there is
// none; 22 when memory runs out, which must not pass for none.
int BadReferenceInValues(char* raw, size_t size, XmlError& error);

// The encoding the XML declaration at the start of `text` names, or "" when
// it names none.
std::string_view DeclaredEncoding(std::string_view text);

// UTF-8 in any case, also spelt without the hyphen.
bool IsUtf8Name(std::string_view name);

// Where ASCII ends, for files that may hold nothing else.
const char* FirstNonAscii(const char* p, size_t size);

// Where the bytes stop being UTF-8: the first byte of the first sequence
// that is not a character's shortest encoding (a stray continuation byte, a
// sequence cut short, an overlong form, a surrogate, past U+10FFFF); `size`
// when they are UTF-8 throughout.
size_t FirstInvalidUtf8(const char* p, size_t size);

} // namespace zelconfig::xml

#endif
