// What every fuzz target is made of: the entry that is called with the bytes of one input, and
// the ways in which a target tells a fault. A fault ends the process, as a crash does.
#ifndef FUZZ_FUZZ_H
#define FUZZ_FUZZ_H

#include <cstddef>
#include <cstdint>
#include <string>
#include <string_view>

#include "host/interfaces/DvXML.h"

/// Handles one input; returns 0. Keeps nothing from one input to the next.
extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size);

namespace fuzz {

inline std::string_view Bytes(const std::uint8_t* data, std::size_t size) {
    return {reinterpret_cast<const char*>(data), size};
}

[[noreturn]] void Fault(const std::string& what);
void Require(bool holds, const char* what);
void RequireEqual(const char* what, std::string_view expected, std::string_view actual);

/// No counted object is alive; to be called at the end of an input.
void RequireNothingAlive();

/// The root of a text that must be readable XML.
dv::auto_com<DvXML::INode> RequireXml(const char* what, std::string_view text);

}  // namespace fuzz

#endif
