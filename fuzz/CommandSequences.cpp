// Any bytes as a sequence of what may happen to the agent: commands, drivers' calls, system events,
// restarts. Nothing crashes or leaks, what leaves is XML, and the state survives writing and reading.
//
//     FUZZ_TRACE=1 build/dev/bin/fuzz_command_sequences FILE     tells what an input does
#include "fuzz/SequenceHome.h"

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    {
        fuzz::ByteReader bytes(fuzz::Bytes(data, size));
        fuzz::SequenceHome home(bytes);
        home.Run();
    }
    fuzz::RequireExpectations();
    fuzz::RequireNothingAlive();
    return 0;
}
