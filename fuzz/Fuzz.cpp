#include "fuzz/Fuzz.h"

#include <cstdio>
#include <cstdlib>

#include "host/glue/LiveObjects.h"

namespace fuzz {

void Fault(const std::string& what) {
    std::fprintf(stderr, "FAULT: %s\n", what.c_str());
    std::abort();
}

void Require(bool holds, const char* what) {
    if (!holds) Fault(std::string("it does not hold that ") + what);
}

void RequireEqual(const char* what, std::string_view expected, std::string_view actual) {
    if (expected == actual) return;
    Fault(
        std::string(what).append("\n  expected: ").append(expected).append("\n  actual:   ").append(actual));
}

void RequireNothingAlive() {
    const long alive = dv::LiveObjects::Count();
    if (alive != 0) Fault("counted objects are still alive: " + std::to_string(alive));
}

dv::auto_com<DvXML::INode> RequireXml(const char* what, std::string_view text) {
    const auto document = DvXML::CreateXmlDocument("");
    if (document->DocumentParse(text) != 0) {
        Fault(std::string(what)
                  .append(" is no XML: ")
                  .append(document->DocumentGetError())
                  .append("\n  ")
                  .append(text));
    }
    return dv::auto_com<DvXML::INode>::share(document->DocumentGetRoot());
}

}  // namespace fuzz
