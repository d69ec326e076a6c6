#pragma once

#include <cstdio>
#include <cstdlib>

// A broken invariant is a crash to libFuzzer; the message says which one.
#define FUZZ_CHECK(condition)                                                                      \
    do {                                                                                           \
        if (!(condition)) {                                                                        \
            std::fprintf(stderr, "fuzz check failed: %s (%s:%d)\n", #condition, __FILE__,          \
                         __LINE__);                                                                \
            std::abort();                                                                          \
        }                                                                                          \
    } while (0)
