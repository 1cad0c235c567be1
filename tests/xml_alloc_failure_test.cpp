// The XML document code when the parser's memory runs out: every allocation
// of a load is refused in turn, and each refusal must come back as status
// 22, never as a load that skipped a check, nor as another failure.
#include <cstdlib>
#include <string>

#include <gtest/gtest.h>
#include <pugixml.hpp>

#include "TestFiles.h"
#include "XmlDocument.h"

namespace {

using zelconfig::xml::XmlDocument;
using zelconfig::xml::XmlError;

// The parser's allocations: all granted until `g_left` is used up, refused after.
size_t g_left = 0;
bool g_refused = false;

void* CountedAllocate(size_t size)
{
    if (g_left == 0) {
        g_refused = true;
        return nullptr;
    }
    --g_left;
    return std::malloc(size);
}

// Elements enough that the parser allocates pages of its own.
std::string Large(const std::string& head, const std::string& tail)
{
    std::string text = head;
    for (int i = 0; i < 3000; ++i) {
        text += "<k>v</k>";
    }
    return text + tail;
}

struct AllocCase
{
    const char* name;
    std::string text;
    int status; // of the load that runs out of nothing
};
using AllocTable = testing::TestWithParam<AllocCase>;

TEST_P(AllocTable, EveryRefusalIsOutOfMemory)
{
    const AllocCase& row = GetParam();
    XmlError error;
    ASSERT_EQ(XmlDocument().LoadBuffer(row.text.data(), row.text.size(), error), row.status);
    pugi::set_memory_management_functions(CountedAllocate, std::free);
    for (size_t granted = 0;; ++granted) {
        g_left = granted;
        g_refused = false;
        XmlDocument document;
        const int status = document.LoadBuffer(row.text.data(), row.text.size(), error);
        if (!g_refused) {
            EXPECT_EQ(status, row.status);
            break;
        }
        EXPECT_EQ(status, 22) << "with " << granted << " allocations granted: " << error.description;
    }
    pugi::set_memory_management_functions(std::malloc, std::free);
}

// A '&' that may start a bad reference makes the load parse a copy as it
// stands a second time: its allocations count too.
INSTANTIATE_TEST_SUITE_P(Load, AllocTable, testing::Values(
    AllocCase{"BadReference", Large("<r>", "<x>&bad;</x></r>"), -1},
    AllocCase{"EntityDeclared", Large("<!DOCTYPE r [<!ENTITY e 'x'>]><r>", "<x>&e;</x></r>"), -1},
    AllocCase{"SuspectInAComment", Large("<r><!-- &bad; -->", "</r>"), 0},
    AllocCase{"NoSuspect", Large("<r a='&amp;'>", "</r>"), 0}),
    RowName());

} // namespace
