#include "Utility/Generic/SUGAssert.h"

#include <cstdio>
#include <cstdlib>

void XTAssertFailed(const char* file, int line, const char* condition) noexcept {
    std::fprintf(stderr, "Assertion failed: %s, file %s, line %d\n", condition, file, line);
    std::fflush(stderr);
    std::abort();
}

void XTLogicErrorAt(const char* file, int line, const char* text) noexcept {
    std::fprintf(stderr, "Logic error: %s, file %s, line %d\n", text, file, line);
    std::fflush(stderr);
    std::abort();
}
