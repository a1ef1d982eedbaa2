// What every target has, whichever program runs it.
#include "fuzz/input.h"

uint64_t g_u64FuzzTold;

// A request for more memory than there is fails, as it does in a player. What a run frees stays out of use to its end;
// more would cost new pages for every run.
extern "C" __attribute__((visibility("default"))) const char *__asan_default_options() {
    return "allocator_may_return_null=1:strict_string_checks=1:quarantine_size_mb=16";
}

extern "C" __attribute__((visibility("default"))) const char *__ubsan_default_options() {
    return "print_stacktrace=1";
}
