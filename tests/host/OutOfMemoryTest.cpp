// Reading when memory runs out: every single allocation of it is made to fail once.
#include <gtest/gtest.h>

#include <cstdlib>
#include <new>

#include "host/xml/ElementWriter.h"
#include "tests/host/Xml.h"

namespace {

constexpr long kNever = -1;
thread_local long allocationsLeft = kNever;

}  // namespace

// Not inlined: the compiler would take malloc and delete for a mismatched pair.
__attribute__((noinline)) void* operator new(std::size_t size) {
    if (allocationsLeft == 0) throw std::bad_alloc();
    if (allocationsLeft > 0) --allocationsLeft;
    void* memory = std::malloc(size ? size : 1);
    if (!memory) throw std::bad_alloc();
    return memory;
}

__attribute__((noinline)) void operator delete(void* memory) noexcept {
    std::free(memory);
}

__attribute__((noinline)) void operator delete(void* memory, std::size_t) noexcept {
    std::free(memory);
}

namespace {

constexpr char kText[] =
    "<home with=\"an attribute that is too long to need no memory\"><child>and a text of which the same is "
    "true"
    "</child><child><grandchild>and another text that is too long to need no memory</grandchild></child>"
    "<child/></home>";

constexpr char kBroken[] = "<home><child>and a text that is too long to need no memory</wrong></home>";

// The outcome when the allocation of that number fails: the result's text, or the error.
std::string ParseWithout(long allocation, const std::string& text) {
    const auto document = DvXML::CreateXmlDocument("a");
    allocationsLeft = allocation;
    document->DocumentParse(text);
    allocationsLeft = kNever;
    const DvXML::INode* root = document->DocumentGetRoot();
    return root ? root->NodeToText() : document->DocumentGetError();
}

long AllocationsUntil(const std::string& text, const std::string& outcome) {
    long allocation = 0;
    for (; allocation < 1000; ++allocation) {
        const std::string result = ParseWithout(allocation, text);
        if (result == outcome) return allocation;
        EXPECT_EQ("out of memory", result) << "without allocation " << allocation;
    }
    return allocation;
}

TEST(OutOfMemory, FailsTheParseAndThrowsNothing) {
    const long needed = AllocationsUntil(kText, kText);
    EXPECT_GT(needed, 5);
    EXPECT_LT(needed, 1000);
}

TEST(OutOfMemory, WhileAnErrorIsWordedIsNotHidden) {
    const long needed = AllocationsUntil(kBroken, "line 1, column 61: mismatched tag");
    EXPECT_GT(needed, 3);
    EXPECT_LT(needed, 1000);
}

TEST(OutOfMemory, LeavesAWrittenElementAsItWasForTheNextOneToLookIntoIt) {
    DvXML::ElementWriter writer;
    writer.Begin("home");
    writer.NamedValue("child", "and a text that is too long to need no memory");
    writer.End();
    const DvXML::ElementText text = writer.TakeExactText();
    long allocation = 0;
    for (bool failed = true; failed; ++allocation) {
        const auto element = DvXML::CreateXmlNode(text);
        allocationsLeft = allocation;
        try {
            element->NodeChildCount();
            failed = false;
        } catch (const std::bad_alloc&) {
        }
        allocationsLeft = kNever;
        EXPECT_EQ("and a text that is too long to need no memory", element->NodeGetNamedValue("child"));
        EXPECT_EQ(*text, element->NodeToText());
        ASSERT_LT(allocation, 1000);
    }
    EXPECT_GT(allocation, 3);
}

}  // namespace
