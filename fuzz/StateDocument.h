// What holds for every state document that the agent writes.
#ifndef FUZZ_STATEDOCUMENT_H
#define FUZZ_STATEDOCUMENT_H

#include <string>

namespace fuzz {

/// Starts agents with the document, one after the other, each with what the one before wrote: the first may
/// have to put right what docs/state.md names, what it writes is then written the same for ever.
/// The running test's FakeSysman answers them.
void RequireSettles(const std::string& state);

}  // namespace fuzz

#endif
