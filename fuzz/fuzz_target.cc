// libFuzzer entry: each input is a program of calls over a small pool of
// properties and predicates (see session.h); every promise of vortan.h that
// a call makes is checked after it (checks.h).

#include <cstddef>
#include <cstdint>

#include "checks.h"
#include "input.h"
#include "session.h"

extern "C" int LLVMFuzzerInitialize(int*, char***) {
    vortan::fuzz::keep_error_stream();
    return 0;
}

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    vortan::fuzz::Input input(data, size);
    // The callback is process-wide: every input starts without one.
    vortan::fuzz::set_callback(-1, nullptr);
    vortan::fuzz::Session session(input);
    session.run();
    return 0;
}
