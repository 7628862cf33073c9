/* main.cpp - the fuzzer's entry into the target that TARGET names. */
#include "fakes.h"

void TARGET(input &in);

extern "C" int LLVMFuzzerTestOneInput(const uint8_t *data, size_t size)
{
    input in = {
        {reinterpret_cast<const char *>(data), size}
    };
    set_input(&in);
    TARGET(in);
    return 0;
}
