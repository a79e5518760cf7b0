// The texts that steps are filled with: from the pools of the generated test, at the borders and
// colliding, or from the bytes themselves.
#ifndef FUZZ_VALUES_H
#define FUZZ_VALUES_H

#include <string>

#include "fuzz/ByteReader.h"

namespace fuzz {

unsigned long DeviceId(ByteReader& bytes);
/// A text as users type it, or any bytes.
std::string Text(ByteReader& bytes);
std::string Key(ByteReader& bytes);
/// What fits a command's parameter of that name, mostly.
std::string Value(ByteReader& bytes, const std::string& parameter);

}  // namespace fuzz

#endif
