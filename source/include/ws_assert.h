// The one assertion of the gateway: a broken internal invariant prints the
// condition, the module that checked it and the line, then aborts. Header
// only, so every target (services, backTrace, tools) can use it.
#pragma once

#include <cstdio>
#include <cstdlib>

// Prints "<module>:<line>: Assertion `<cond>' failed." on standard error and
// aborts. Never returns.
[[noreturn]] inline void ws_assert_fail(const char* cond, const char* module, int line) {
    std::fprintf(stderr, "%s:%d: Assertion `%s' failed.\n", module, line, cond);
    std::fflush(stderr);
    std::abort();
}

// The condition is stringified after macro expansion (through WS_ASSERT_STR_),
// so `p != NULL` is reported as the compiler sees it: "p != __null".
#define WS_ASSERT_STR_(text) #text
#define WS_ASSERT(cond, module)                                              \
    do {                                                                     \
        if (!(cond)) ws_assert_fail(WS_ASSERT_STR_(cond), module, __LINE__); \
    } while (0)
